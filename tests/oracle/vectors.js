// Makes rows for tests/codec from an independent codec: packets with random fields, as that codec
// writes and reads them. Nothing here comes from our own encoders. `./run vectors` calls it.
//
// Usage: node vectors.js v311|v50 <seed> [rounds]
'use strict';

const assert = require('assert');
const mqtt = require('mqtt-packet');

const [version = '', seed = '1', rounds = '5'] = process.argv.slice(2);

// --- pseudo-random fields, the corners of their ranges more often than not

let state = Number(seed) >>> 0;
function random() {
  state = (state + 0x6d2b79f5) >>> 0;
  let mixed = Math.imul(state ^ (state >>> 15), state | 1);
  mixed ^= mixed + Math.imul(mixed ^ (mixed >>> 7), mixed | 61);
  return ((mixed ^ (mixed >>> 14)) >>> 0) / 0x100000000;
}
const int = (low, high) => low + Math.floor(random() * (high - low + 1));
const pick = list => list[int(0, list.length - 1)];
const chance = () => random() < 0.5;
const u16 = () => pick([0, 1, 255, 256, 65535, int(0, 65535)]);
const u32 = () => pick([0, 1, 65536, 0x80000000, 0xffffffff, int(0, 0xffffffff)]);
// Random at the beginning; rows with nothing but noise would be long.
const bytes = length => Buffer.concat([Buffer.from(Array.from({ length: Math.min(length, 8) }, () => int(0, 255))),
  Buffer.alloc(Math.max(length - 8, 0), int(0, 255))]);

function text(least, most) {
  const size = pick([least, most, int(least, most)]);
  let made = '';
  while (Buffer.byteLength(made) < size) {
    const next = made.length < 10 ? pick(['a', 'Z', '7', '.', '$', 'é', '€', '漢']) : 'x';
    made += Buffer.byteLength(made + next) <= size ? next : 'x';
  }
  return made;
}
const topic = () => pick([text(1, 64), 'a', '/', text(1, 20) + '/' + text(1, 20)]);
const filter = () => pick([topic(), '#', '+', text(1, 20) + '/+/#']);
const shuffled = list => list.map(item => [random(), item]).sort((a, b) => a[0] - b[0]).map(a => a[1]);

// --- fields and packets as a row has them

// Hexadecimal, and a byte that stands many times in a row as "61*64".
function laid(value) {
  const raw = Buffer.from(value);
  let text = '';
  for (let at = 0, end; at < raw.length; at = end) {
    for (end = at + 1; end < raw.length && raw[end] === raw[at];) end += 1;
    const byte = raw.toString('hex', at, at + 1);
    text += end - at > 5 ? `${byte}*${end - at} ` : byte.repeat(end - at);
  }
  return text.trimEnd();
}

// A field has no blanks; a count ends where no digit follows, so that text follows it as a quote.
const joined = text => text.replace(/ (..)/g, (blank, byte) => `''${byte}`);

function formatted(value) {
  if (typeof value === 'number') return String(value);
  return Array.isArray(value) && typeof value[0] === 'string' ? value.map(one => joined(laid(one))).join(',') : joined(laid(value));
}
// What is 0 or empty is left out.
const record = fields => Object.entries(fields).map(([name, value]) => [name, formatted(value)])
  .filter(([, text]) => text !== '0' && text !== '').map(field => field.join('=')).join(' ');

// --- the independent codec

function parsed(packet, protocolVersion) {
  const found = [];
  const parser = mqtt.parser({ protocolVersion });
  parser.on('packet', each => found.push(each));
  parser.on('error', error => { throw error; });
  assert.strictEqual(parser.parse(packet), 0, 'bytes are left over');
  assert.strictEqual(found.length, 1, 'not one packet');
  delete found[0].length;
  return plain(found[0]);
}

// Bytes as text, no undefined members, and without the prototypes that the parser gives its objects.
function plain(value) {
  if (Buffer.isBuffer(value)) return `bytes ${value.toString('hex')}`;
  if (Array.isArray(value)) return value.map(plain);
  if (value === null || typeof value !== 'object') return value;
  return Object.fromEntries(Object.entries(value).filter(member => member[1] !== undefined)
    .map(([name, member]) => [name, plain(member)]));
}
const DEFAULTS = { cmd: null, retain: false, qos: 0, dup: false, topic: null, payload: null };

// --- the packets: our record and the other codec's object for it

const TYPES = ['', 'connect', 'connack', 'publish', 'puback', 'pubrec', 'pubrel', 'pubcomp', 'subscribe',
  'suback', 'unsubscribe', 'unsuback', 'pingreq', 'pingresp', 'disconnect'];
const ACKS = ['puback', 'pubrec', 'pubrel', 'pubcomp'];
const ACK_CODES = { 6: [0, 0x92], 7: [0, 0x92] };  // by type; of the others:
const PUBLISH_CODES = [0, 0x10, 0x80, 0x83, 0x87, 0x90, 0x91, 0x97, 0x99];
const SUBACK_CODES = [0, 1, 2, 0x80, 0x83, 0x87, 0x8f, 0x91, 0x97, 0x9e, 0xa1, 0xa2];
const UNSUBACK_CODES = [0, 0x11, 0x80, 0x83, 0x87, 0x8f, 0x91];
const listOf = (most, make) => Array.from({ length: pick([1, most, int(1, most)]) }, make);
const qos = () => int(0, 2);

// A sample of rows [our field, the other's member, how to make a value, what the member holds for
// it]. Flags are truth values there; a property of 0 is not sent. Without a member it is only ours.
function draw(rows, packet = {}) {
  const fields = {};
  for (const [field, member, make, toMember = value => value] of rows) {
    const value = make();
    fields[field] = typeof value === 'boolean' ? Number(value) : value;
    if (member === null) continue;
    const [last, outer] = member.split('.').reverse();
    if (outer === 'properties' && value === 0) continue;
    const holder = outer === undefined ? packet : (packet[outer] ??= {});
    holder[last] = toMember(value);
  }
  return { fields, packet };
}

const MESSAGE_ID = ['msg_id', 'messageId', () => int(1, 65535)];
const MESSAGE_ID_311 = ['msg_id', 'messageId', () => int(1, 128)];
const EXPIRY = ['session_expiry', 'properties.sessionExpiryInterval', u32];
const LARGEST = ['max_packet_size', 'properties.maximumPacketSize', u32];
const given = flag => [flag, null, () => 1];

function connect(version) {
  const clean = version === 4 || chance();
  const rows = [['client_id', 'clientId', () => text(1, 23)], ['keep_alive', 'keepalive', u16]];
  if (version === 5) {
    rows.push(['clean_start', null, () => clean], clean ? ['session_expiry', null, u32] : EXPIRY, LARGEST,
      ['topic_alias_max', 'properties.topicAliasMaximum', u16]);
  }
  if (chance()) {
    rows.push(given('will_flag'), ['will_topic', 'will.topic', topic], ['will_qos', 'will.qos', qos],
      ['will_payload', 'will.payload', () => bytes(pick([0, 1, 256]))], ['will_retain', 'will.retain', chance]);
  }
  if (chance()) {
    rows.push(given('has_username'), ['username', 'username', () => text(1, 200)]);
    if (chance()) rows.push(given('has_password'), ['password', 'password', () => text(1, 200), Buffer.from]);
  }
  return draw(rows, { protocolId: 'MQTT', protocolVersion: version, clean });
}

function publish(version, payload) {
  const level = qos();
  const rows = [['topic', 'topic', topic], ['qos', 'qos', () => level], ['retain', 'retain', chance],
    [version === 5 ? 'is_dup' : 'dup', 'dup', chance], ['payload', 'payload', () => payload]];
  if (version === 5) rows.push(['message_expiry', 'properties.messageExpiryInterval', u32]);
  rows.push(level === 0 ? ['msg_id', null, () => 0] : version === 5 ? MESSAGE_ID : MESSAGE_ID_311);
  return draw(rows);
}

function subscribe50() {
  const { fields, packet } = draw([['topic', 'topic', filter], ['qos', 'qos', qos], ['no_local', 'nl', chance],
    ['retain_as_published', 'rap', chance], ['retain_handling', 'rh', qos]]);
  if (chance()) {
    Object.assign(fields, { topic: text(1, 24), is_shared: 1, share_group: text(1, 32) });
    packet.topic = `$share/${fields.share_group}/${fields.topic}`;
  }
  fields.msg_id = int(1, 65535);
  return { fields, packet: { qos: 1, messageId: fields.msg_id, subscriptions: [packet] } };
}

const writes50 = {
  connect: () => connect(5),
  connack: () => draw([['session_present', 'sessionPresent', chance],
    ['reason_code', 'reasonCode', () => pick([0, 0x80, 0x86, 0x9f])], EXPIRY, LARGEST,
    ['receive_maximum', 'properties.receiveMaximum', u16]]),
  publish: () => publish(5, bytes(pick([0, 1, 100, 127, 128, 1024]))),
  subscribe: subscribe50,
  suback: () => draw([MESSAGE_ID, ['reason_codes', 'granted', () => listOf(8, () => pick(SUBACK_CODES))]]),
  unsubscribe: () => draw([MESSAGE_ID, ['topic', 'unsubscriptions', filter, one => [one]]], { qos: 1 }),
  unsuback: () => draw([MESSAGE_ID, ['reason_code', 'granted', () => pick(UNSUBACK_CODES), one => [one]]]),
  disconnect: () => draw([['reason_code', 'reasonCode', () => pick([0, 4, 0x80, 0x9c])], EXPIRY])
};

// Packets of 3.1.1 in both directions.
const packets311 = {
  connack: () => draw([['session_present', 'sessionPresent', chance], ['return_code', 'returnCode', () => int(0, 5)]]),
  publish: () => publish(4, bytes(pick([0, 1, 100, 127, 128, 900]))),
  subscribe: () => {
    const subscriptions = listOf(13, () => ({ topic: filter(), qos: qos() }));
    return draw([MESSAGE_ID_311, ['qos', 'qos', () => 1], ['filters', null, () => subscriptions.map(one => one.topic)],
      ['qos_list', null, () => subscriptions.map(one => one.qos)]], { subscriptions });
  },
  suback: () => draw([MESSAGE_ID, ['return_codes', 'granted', () => listOf(16, () => pick([0, 1, 2, 0x80]))]]),
  unsubscribe: () => draw([MESSAGE_ID_311, ['qos', 'qos', () => 1], ['filters', 'unsubscriptions', () => listOf(13, filter)]]),
  unsuback: () => draw([MESSAGE_ID_311, ['qos', 'qos', () => 0]])
};
for (const name of ['pingreq', 'pingresp', 'disconnect']) packets311[name] = () => draw([]);

// --- what only our 5.0 decoders read

// The CONNACK properties: identifier, the record's field (null: the library has none), value.
const CONNACK_PROPERTIES = {
  sessionExpiryInterval: [0x11, 'session_expiry', u32],
  assignedClientIdentifier: [0x12, 'assigned_client_id', () => text(1, 63)],
  serverKeepAlive: [0x13, 'server_keep_alive', u16],
  authenticationMethod: [0x15, null, () => text(0, 20)],
  authenticationData: [0x16, null, () => bytes(int(1, 20))],
  responseInformation: [0x1a, null, () => text(0, 20)],
  serverReference: [0x1c, null, () => text(0, 20)],
  reasonString: [0x1f, 'reason_string', () => text(0, 80)],
  receiveMaximum: [0x21, 'receive_maximum', u16],
  topicAliasMaximum: [0x22, 'topic_alias_max', u16],
  maximumQoS: [0x24, null, () => int(0, 1)],
  retainAvailable: [0x25, 'retain_available', chance],
  userProperties: [0x26, 'user_property', () => ({ [text(1, 63)]: text(0, 20) })],
  maximumPacketSize: [0x27, 'max_packet_size', u32],
  wildcardSubscriptionAvailable: [0x28, 'wildcard_sub_available', chance],
  subscriptionIdentifiersAvailable: [0x29, 'sub_id_available', chance],
  sharedSubscriptionAvailable: [0x2a, 'shared_sub_available', chance]
};

// What the decoder keeps of the properties: up to sixteen, up to the first text that is too long,
// and up to a user property, whose second text begins with a length byte of 0.
function keptOf(properties) {
  const fields = { ids: [] };
  for (const [name, given] of Object.entries(properties).slice(0, 16)) {
    const [id, field] = CONNACK_PROPERTIES[name];
    const value = name === 'userProperties' ? Object.keys(given)[0] : given;
    const size = typeof value === 'string' ? Buffer.byteLength(value) : 0;
    if (field !== null && size > 63) break;
    fields.ids.push(id);
    if (field === 'assigned_client_id' && size > 23) fields[field] = '';
    else if (field !== null) fields[field] = size > 0 || value === '' ? value : Number(value);
    if (name === 'userProperties') break;
  }
  return fields;
}

function connack50(names) {
  const properties = {};
  for (const name of names) properties[name] = CONNACK_PROPERTIES[name][2]();
    const { fields: head, packet } = draw([['session_present', 'sessionPresent', chance],
    ['reason_code', 'reasonCode', () => pick([0, 0, 0x80, 0x9f])]], { properties });
  return { packet, fields: { ...head, ...keptOf(properties) } };
}

const ALL_CONNACK_PROPERTIES = Object.keys(CONNACK_PROPERTIES);
const FOREIGN_PUBLISH_PROPERTIES = {
  payloadFormatIndicator: chance, topicAlias: u16, responseTopic: () => text(1, 20),
  correlationData: () => bytes(int(1, 20)), userProperties: () => ({ k: text(0, 9) }),
  subscriptionIdentifier: () => int(1, 268435455), contentType: () => text(1, 20)
};
const anyProperties = () => pick([undefined, { reasonString: text(0, 60) }, { userProperties: { k: 'v' } }]);

const reads50 = {
  connack: () => connack50(shuffled(ALL_CONNACK_PROPERTIES).slice(0, int(0, 17))),
  publish() {  // the expiry is read only in front of the properties that are not
    const { fields, packet } = publish(5, bytes(pick([0, 1, 100, 128, 700])));
    const foreign = shuffled(Object.entries(FOREIGN_PUBLISH_PROPERTIES)).slice(0, int(0, 7))
      .map(([name, make]) => [name, make()]);
    const expiry = Object.entries(packet.properties ?? {});
    const expiryFirst = chance();
    packet.properties = Object.fromEntries(expiryFirst ? [...expiry, ...foreign] : [...foreign, ...expiry]);
    if (foreign.length !== 0 && !expiryFirst) fields.message_expiry = 0;
    return { fields, packet };
  },
  suback() {
    const granted = listOf(12, () => pick(SUBACK_CODES));
    const kept = granted.slice(0, 8);
    return draw([['msg_id', 'messageId', u16], ['reason_codes', null, () => kept],
      ['granted_qos', null, () => kept.map(code => code & 3)]], { granted, properties: anyProperties() });
  },
  unsuback: () => draw([['msg_id', 'messageId', u16],
    ['reason_code', 'granted', () => pick(UNSUBACK_CODES), one => [one, ...listOf(2, () => pick(UNSUBACK_CODES))]]],
  { properties: anyProperties() })
};

for (const name of ACKS) {
  const type = TYPES.indexOf(name);
  const level = Number(name === 'pubrel');
  const reason = ['reason_code', 'reasonCode', () => pick(ACK_CODES[type] ?? PUBLISH_CODES)];
  packets311[name] = () => draw([MESSAGE_ID_311, ['qos', 'qos', () => level]]);
  // The form with a reason code and no property length, which the other codec reads but never writes.
  writes50[name] = () => {
    const { fields, packet } = draw([MESSAGE_ID, reason], { qos: level });
    const bytes = [type << 4 | level << 1, 3, fields.msg_id >> 8, fields.msg_id & 255, fields.reason_code];
    return { fields, packet, bytes: Buffer.from(bytes) };
  };
  // In 2, 4 or more bytes.
  reads50[name] = () => draw([['msg_id', 'messageId', u16], reason], { properties: anyProperties() });
}

// --- the rows

// The least buffer that our 5.0 encoders take for a packet.
const LEAST_BUFFER = {
  connect: (fields, size) => Math.max(512, size),
  connack: (fields, size) => Math.max(6, size),
  publish: fields => Buffer.byteLength(fields.topic) + fields.payload.length + 64,
  puback: () => 10, pubrec: () => 10, pubrel: () => 10, pubcomp: () => 10,
  subscribe: (fields, size) => Math.max(64, size),
  suback: fields => fields.reason_codes.length + 8,
  unsubscribe: (fields, size) => Math.max(32, size),
  unsuback: () => 8,
  disconnect: () => 16
};

const rows = new Set();
const row = (...words) => rows.add(words.filter(word => word !== '').join(' '));
const generated = (name, packet, protocolVersion) =>
  mqtt.generate({ cmd: name, ...packet }, { protocolVersion });

function checkReads(bytes, name, packet, protocolVersion) {
  assert.deepStrictEqual(parsed(bytes, protocolVersion), plain({ ...DEFAULTS, cmd: name, ...packet }));
}

function written50(name, { fields, packet, bytes = generated(name, packet, 5) }) {
  checkReads(bytes, name, packet, 5);
  const capacity = LEAST_BUFFER[name](fields, bytes.length);
  const given = name === 'connect' ? { protocol_version: 5, ...fields } : fields;
  row('encode v50', name, record({ ...given, capacity }), '->', laid(bytes));
}

function read50(name, { fields, packet }) {
  row('decode v50', name, laid(generated(name, packet, 5)), '->', record(fields));
}

function both311(name, { fields, packet }, verb = 'both') {
  const bytes = generated(name, packet, 4);
  checkReads(bytes, name, packet, 4);
  if (ACKS.includes(name)) checkReads(bytes, name, { ...packet, reasonCode: 0 }, 5);
  row(verb, 'v311', name, record(fields), '->', laid(bytes));
}

// A PUBLISH that has exactly so many bytes after its fixed header.
function publishOf(remaining, protocolVersion) {
  const made = publish(protocolVersion, Buffer.alloc(0));
  const bare = generated('publish', made.packet, protocolVersion);
  made.fields.payload = made.packet.payload = Buffer.alloc(remaining - (bare.length - 2), 'p');
  return made;
}

function corners311() {
  for (const remaining of [127, 128, 1024]) both311('publish', publishOf(remaining, 4));
}

function round311() {
  both311('connect', connect(4), 'encode');
  for (const name of Object.keys(packets311)) both311(name, packets311[name]());
}

function corners50() {
  for (const step of [128, 16384, 2097152]) {  // where the remaining length takes one byte more
    for (const remaining of [step - 1, step]) written50('publish', publishOf(remaining, 5));
  }
  read50('connack', connack50(ALL_CONNACK_PROPERTIES));
  const last = ALL_CONNACK_PROPERTIES.filter(name => name !== 'userProperties');
  read50('connack', connack50([...last, 'userProperties']));
}

function round50() {
  for (const name of Object.keys(writes50)) written50(name, writes50[name]());
  for (const name of Object.keys(reads50)) read50(name, reads50[name]());
}

const [corners, round] = { v311: [corners311, round311], v50: [corners50, round50] }[version];
corners();
for (let at = 0; at < Number(rounds); at += 1) round();
process.stdout.write([...rows].map(line => line + '\n').join(''));
