// The wire oracle. Every packet that the library writes is read by an independent codec, byte for
// byte and field for field; packets that the independent codec writes go through our decoders.
//
// Usage: node oracle.js <zep_codec_pipe> [seed] [rounds]
'use strict';

const assert = require('assert');
const os = require('os');
const readline = require('readline');
const { spawn } = require('child_process');
const mqtt = require('mqtt-packet');

const [pipePath, seed = '1', rounds = '50'] = process.argv.slice(2);

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
const bit = () => int(0, 1);
const u16 = () => pick([0, 1, 255, 256, 65535, int(0, 65535)]);
const u32 = () => pick([0, 1, 65536, 0x80000000, 0xffffffff, int(0, 0xffffffff)]);
const bytes = length => Buffer.from(Array.from({ length }, () => int(0, 255)));

function text(least, most) {
  const size = pick([least, most, int(least, most)]);
  let made = '';
  while (Buffer.byteLength(made) < size) {
    const next = pick(['a', 'Z', '7', '.', '$', 'é', '€', '漢']);
    made += Buffer.byteLength(made + next) <= size ? next : 'x';
  }
  return made;
}
const topic = () => pick([text(1, 64), 'a', '/', text(1, 20) + '/' + text(1, 20)]);
const filter = () => pick([topic(), '#', '+', text(1, 20) + '/+/#']);
const shuffled = list => list.map(item => [random(), item]).sort((a, b) => a[0] - b[0]).map(a => a[1]);

// --- the library, behind the pipe

const pipe = spawn(pipePath, [], { stdio: ['pipe', 'pipe', 'inherit'] });
const waiting = [];
readline.createInterface({ input: pipe.stdout }).on('line', line => waiting.shift()(line));
pipe.stdin.on('error', () => {});  // the end of the pipe tells
const ended = new Promise(resolve => {
  pipe.on('error', resolve);
  pipe.on('close', (code, signal) => resolve(signal || code));
});
const broken = ended.then(how => { throw new Error(`the pipe has ended: ${how}`); });
broken.catch(() => {});

function ask(request) {
  const answer = new Promise(resolve => waiting.push(resolve));
  pipe.stdin.write(request + '\n');
  return Promise.race([answer, broken]);
}

const hex = value => Buffer.from(value).toString('hex');
function formatted(value) {
  if (typeof value === 'number') return String(value);
  return Array.isArray(value) && typeof value[0] === 'string' ? value.map(hex).join(',') : hex(value);
}
const record = fields =>
  Object.fromEntries(Object.entries(fields).map(([name, value]) => [name, formatted(value)]));

function recordOf(answer) {
  assert(!answer.startsWith('error'), answer);
  return Object.fromEntries(answer.split(' ').map(field => field.split('=')));
}

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

// --- what the library writes: the request, and the packet that it stands for

const TYPES = ['', 'connect', 'connack', 'publish', 'puback', 'pubrec', 'pubrel', 'pubcomp', 'subscribe',
  'suback', 'unsubscribe', 'unsuback', 'pingreq', 'pingresp', 'disconnect'];
const ACKS = ['puback', 'pubrec', 'pubrel', 'pubcomp'];
const ACK_CODES = {
  puback: [0, 0x10, 0x80, 0x83, 0x87, 0x90, 0x91, 0x97, 0x99], pubrel: [0, 0x92]
};
ACK_CODES.pubrec = ACK_CODES.puback;
ACK_CODES.pubcomp = ACK_CODES.pubrel;
const SUBACK_CODES = [0, 1, 2, 0x80, 0x83, 0x87, 0x8f, 0x91, 0x97, 0x9e, 0xa1, 0xa2];
const UNSUBACK_CODES = [0, 0x11, 0x80, 0x83, 0x87, 0x8f, 0x91];
const codesOf = (list, most) => Array.from({ length: pick([1, most, int(1, most)]) }, () => pick(list));

// The properties whose value is not 0, under the other codec's names; none at all if there is none.
function propertiesOf(named) {
  const present = Object.entries(named).filter(([, value]) => value !== 0);
  return present.length === 0 ? {} : { properties: Object.fromEntries(present) };
}

function connect(version) {
  const fields = { client_id: text(1, 23), keep_alive: u16() };
  const packet = {
    cmd: 'connect', protocolId: 'MQTT', protocolVersion: version, clean: true,
    keepalive: fields.keep_alive, clientId: fields.client_id
  };
  if (version === 5) {
    Object.assign(fields, { clean_start: bit(), session_expiry: u32(), max_packet_size: u32(),
      topic_alias_max: u16() });
    packet.clean = fields.clean_start === 1;
    Object.assign(packet, propertiesOf({
      sessionExpiryInterval: packet.clean ? 0 : fields.session_expiry,
      maximumPacketSize: fields.max_packet_size, topicAliasMaximum: fields.topic_alias_max
    }));
  }
  if (chance()) {
    const will = { retain: chance(), qos: int(0, 2), topic: topic(), payload: bytes(pick([0, 1, 256])) };
    packet.will = will;
    Object.assign(fields, { will_flag: 1, will_topic: will.topic, will_payload: will.payload,
      will_qos: will.qos, will_retain: +will.retain });
  }
  if (chance()) {
    packet.username = text(1, 200);
    Object.assign(fields, { has_username: 1, username: packet.username });
    if (chance()) {
      packet.password = Buffer.from(text(1, 200));
      Object.assign(fields, { has_password: 1, password: packet.password });
    }
  }
  return { fields, packet };
}

const writes50 = {
  connect: () => connect(5),
  connack() {
    const fields = { session_present: bit(), reason_code: pick([0, 0x80, 0x86, 0x9f]),
      session_expiry: u32(), max_packet_size: u32(), receive_maximum: u16() };
    const properties = propertiesOf({ sessionExpiryInterval: fields.session_expiry,
      maximumPacketSize: fields.max_packet_size, receiveMaximum: fields.receive_maximum });
    return { fields, packet: { sessionPresent: fields.session_present === 1,
      reasonCode: fields.reason_code, ...properties } };
  },
  publish(payload = bytes(pick([0, 1, 100, 127, 128, 1024]))) {
    const qos = int(0, 2);
    const fields = { topic: topic(), qos, retain: bit(), is_dup: bit(), payload, message_expiry: u32() };
    const packet = { topic: fields.topic, qos, retain: fields.retain === 1, dup: fields.is_dup === 1,
      payload, ...propertiesOf({ messageExpiryInterval: fields.message_expiry }) };
    if (qos !== 0) packet.messageId = fields.msg_id = int(1, 65535);
    return { fields, packet };
  },
  subscribe() {
    const fields = { msg_id: int(1, 65535), topic: filter(), qos: int(0, 2), no_local: bit(),
      retain_as_published: bit(), retain_handling: int(0, 2) };
    let subscribed = fields.topic;
    if (chance()) {
      Object.assign(fields, { topic: text(1, 24), is_shared: 1, share_group: text(1, 32) });
      subscribed = `$share/${fields.share_group}/${fields.topic}`;
    }
    return { fields, packet: { qos: 1, messageId: fields.msg_id, subscriptions: [{ topic: subscribed,
      qos: fields.qos, nl: fields.no_local === 1, rap: fields.retain_as_published === 1,
      rh: fields.retain_handling }] } };
  },
  suback() {
    const fields = { msg_id: int(1, 65535), reason_codes: codesOf(SUBACK_CODES, 8) };
    return { fields, packet: { messageId: fields.msg_id, granted: fields.reason_codes } };
  },
  unsubscribe() {
    const fields = { msg_id: int(1, 65535), topic: filter() };
    return { fields, packet: { qos: 1, messageId: fields.msg_id, unsubscriptions: [fields.topic] } };
  },
  unsuback() {
    const fields = { msg_id: int(1, 65535), reason_code: pick(UNSUBACK_CODES) };
    return { fields, packet: { messageId: fields.msg_id, granted: [fields.reason_code] } };
  },
  disconnect() {
    const fields = { reason_code: pick([0, 4, 0x80, 0x9c]), session_expiry: u32() };
    return { fields, packet: { reasonCode: fields.reason_code,
      ...propertiesOf({ sessionExpiryInterval: fields.session_expiry }) } };
  }
};
for (const cmd of ACKS) {
  // The form with a reason code and no property length, which the other codec reads but never writes.
  writes50[cmd] = () => {
    const fields = { msg_id: int(1, 65535), reason_code: pick(ACK_CODES[cmd]) };
    return { fields, exact: false,
      packet: { messageId: fields.msg_id, reasonCode: fields.reason_code, qos: +(cmd === 'pubrel') } };
  };
}

// Packets of 3.1.1 in both directions: our record and the other codec's object.
const packets311 = {
  connack() {
    const fields = { session_present: bit(), return_code: int(0, 5) };
    return { fields, packet: { sessionPresent: fields.session_present === 1,
      returnCode: fields.return_code } };
  },
  publish(payload = bytes(pick([0, 1, 100, 127, 128, 900]))) {
    const qos = int(0, 2);
    const fields = { topic: topic(), qos, retain: bit(), dup: bit(), payload, msg_id: 0 };
    const packet = { topic: fields.topic, qos, retain: fields.retain === 1, dup: fields.dup === 1,
      payload };
    if (qos !== 0) packet.messageId = fields.msg_id = int(1, 128);
    return { fields, packet };
  },
  subscribe() {
    const count = pick([1, 2, 13]);
    const filters = Array.from({ length: count }, filter);
    const fields = { qos: 1, msg_id: int(1, 128), filters, qos_list: filters.map(() => int(0, 2)) };
    return { fields, packet: { qos: 1, messageId: fields.msg_id,
      subscriptions: filters.map((each, i) => ({ topic: each, qos: fields.qos_list[i] })) } };
  },
  suback() {
    const fields = { msg_id: int(1, 65535), return_codes: codesOf([0, 1, 2, 0x80], 16) };
    return { fields, packet: { messageId: fields.msg_id, granted: fields.return_codes } };
  },
  unsubscribe() {
    const fields = { qos: 1, msg_id: int(1, 128), filters: Array.from({ length: int(1, 13) }, filter) };
    return { fields, packet: { qos: 1, messageId: fields.msg_id, unsubscriptions: fields.filters } };
  },
  pingreq: () => ({ fields: {}, packet: {} }),
  pingresp: () => ({ fields: {}, packet: {} }),
  disconnect: () => ({ fields: {}, packet: {} })
};
for (const cmd of [...ACKS, 'unsuback']) {
  packets311[cmd] = () => {
    const qos = +(cmd === 'pubrel');
    const fields = { qos, msg_id: int(1, 128) };
    return { fields, packet: { qos, messageId: fields.msg_id } };
  };
}

// --- what our 5.0 decoders read: the other codec's object and the record that must come of it

// The CONNACK properties: identifier, the record's field (none if the library has no field), value.
const CONNACK_PROPERTIES = {
  sessionExpiryInterval: [0x11, 'session_expiry', u32, 4],
  assignedClientIdentifier: [0x12, 'assigned_client_id', () => text(1, 63)],
  serverKeepAlive: [0x13, 'server_keep_alive', u16, 2],
  authenticationMethod: [0x15, null, () => text(0, 20)],
  authenticationData: [0x16, null, () => bytes(int(1, 20))],
  responseInformation: [0x1a, null, () => text(0, 20)],
  serverReference: [0x1c, null, () => text(0, 20)],
  reasonString: [0x1f, 'reason_string', () => text(0, 80)],
  receiveMaximum: [0x21, 'receive_maximum', u16, 2],
  topicAliasMaximum: [0x22, 'topic_alias_max', u16, 2],
  maximumQoS: [0x24, null, bit],
  retainAvailable: [0x25, 'retain_available', chance, 1],
  userProperties: [0x26, 'user_property', () => ({ [text(1, 63)]: text(0, 20) })],
  maximumPacketSize: [0x27, 'max_packet_size', u32, 4],
  wildcardSubscriptionAvailable: [0x28, 'wildcard_sub_available', chance, 1],
  subscriptionIdentifiersAvailable: [0x29, 'sub_id_available', chance, 1],
  sharedSubscriptionAvailable: [0x2a, 'shared_sub_available', chance, 1]
};

function storedValue(value, width) {
  const stored = Buffer.alloc(64);
  if (width !== undefined) stored[`writeUInt${os.endianness()}`](Number(value), 0, width);
  else stored.write(value);
  return stored;
}

// What the decoder keeps of the properties: up to sixteen, up to the first text that is too long,
// and up to a user property, whose second text begins with a length byte of 0.
function readConnackProperties(fields, properties) {
  let count = 0;
  for (const [name, given] of Object.entries(properties)) {
    const [id, field, , width] = CONNACK_PROPERTIES[name];
    const value = name === 'userProperties' ? Object.keys(given)[0] : given;
    const isText = field !== null && width === undefined;
    if (count === 16 || (isText && Buffer.byteLength(value) > 63)) return;
    fields[`prop${count}_id`] = id;
    fields[`prop${count}`] = field === null ? Buffer.alloc(64) : storedValue(value, width);
    count += 1;
    if (field === 'assigned_client_id' && Buffer.byteLength(value) > 23) fields[field] = '';
    else if (field !== null) fields[field] = isText ? value : Number(value);
    if (name === 'userProperties') return;
  }
}

function connack50(names) {
  const properties = {};
  for (const name of names) properties[name] = CONNACK_PROPERTIES[name][2]();
  const packet = { sessionPresent: chance(), reasonCode: pick([0, 0, 0x80, 0x9f]), properties };
  const size = mqtt.generate({ cmd: 'connack', ...packet }, { protocolVersion: 5 }).length;
  const fields = { session_present: +packet.sessionPresent, reason_code: packet.reasonCode,
    total_len: size, remaining_len: size - (size < 130 ? 2 : 3) };
  for (const [, field, , width] of Object.values(CONNACK_PROPERTIES)) {
    if (field !== null) fields[field] = width === undefined ? '' : 0;
  }
  readConnackProperties(fields, properties);
  return { packet, fields };
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
  publish() {
    const { fields, packet } = writes50.publish(bytes(pick([0, 1, 100, 128, 700])));
    const foreign = shuffled(Object.keys(FOREIGN_PUBLISH_PROPERTIES)).slice(0, int(0, 7));
    const properties = {};
    const expiryFirst = chance();
    const expiry = packet.properties;
    if (expiry !== undefined && expiryFirst) Object.assign(properties, expiry);
    for (const name of foreign) properties[name] = FOREIGN_PUBLISH_PROPERTIES[name]();
    if (expiry !== undefined && !expiryFirst) Object.assign(properties, expiry);
    if (foreign.length !== 0 && !expiryFirst) fields.message_expiry = 0;
    return { packet: { ...packet, properties }, fields: { msg_id: 0, ...fields } };
  },
  suback() {
    const granted = codesOf(SUBACK_CODES, 12);
    const packet = { messageId: u16(), granted, properties: anyProperties() };
    const kept = granted.slice(0, 8);
    return { packet, fields: { msg_id: packet.messageId, reason_codes: kept,
      granted_qos: kept.map(code => code & 3) } };
  },
  unsuback() {
    const packet = { messageId: u16(), granted: codesOf(UNSUBACK_CODES, 3), properties: anyProperties() };
    return { packet, fields: { msg_id: packet.messageId, reason_code: packet.granted[0] } };
  }
};
for (const cmd of ACKS) {
  reads50[cmd] = () => {  // in 2, 4 or more bytes
    const packet = { messageId: u16(), reasonCode: pick(ACK_CODES[cmd]), properties: anyProperties() };
    return { packet, fields: { msg_id: packet.messageId, reason_code: packet.reasonCode } };
  };
}

// --- the comparison

let compared = 0;
let failed = 0;

async function attempt(name, sample, compare) {
  try {
    await compare();
  } catch (error) {
    failed += 1;
    if (failed <= 10) {
      console.error(`FAILED ${name} (seed ${seed})\n${error.message}\n${JSON.stringify(sample)}`);
    }
  }
  compared += 1;
}

const request = (verb, codec, fields) =>
  [verb, codec, ...Object.entries(record(fields)).map(field => field.join('='))].join(' ');

function checkWritten(name, codec, version, sample) {
  const packet = { cmd: name, ...sample.packet };
  return attempt(`encode ${codec}`, sample, async () => {
    const answer = await ask(request('encode', codec, sample.fields));
    assert(!answer.startsWith('error'), answer);
    const written = Buffer.from(answer, 'hex');
    assert.deepStrictEqual(parsed(written, version), plain({ ...DEFAULTS, ...packet }));
    if (sample.exact !== false) {
      assert.strictEqual(answer, mqtt.generate(packet, { protocolVersion: version }).toString('hex'));
    }
  });
}

function checkRead(name, codec, version, sample) {
  return attempt(`decode ${codec}`, sample, async () => {
    const packet = mqtt.generate({ cmd: name, ...sample.packet }, { protocolVersion: version });
    const answer = await ask(`decode ${codec} ${packet.toString('hex')}`);
    assert.deepStrictEqual(recordOf(answer), record(sample.fields));
  });
}

async function checkBoth311(name, sample) {
  const type = TYPES.indexOf(name);
  await checkWritten(name, 'v311 packet', 4, { ...sample, fields: { type, ...sample.fields } });
  const fields = { type, dup: 0, qos: 0, retain: 0, ...sample.fields };
  await checkRead(name, 'v311 packet', 4, { ...sample, fields });
}

// A PUBLISH that has exactly so many bytes after its fixed header.
function publishOf(remaining, version, publish) {
  const sample = publish(Buffer.alloc(0));
  const bare = mqtt.generate({ cmd: 'publish', ...sample.packet }, { protocolVersion: version });
  const payload = Buffer.alloc(remaining - (bare.length - 2), 'p');
  sample.fields.payload = sample.packet.payload = payload;
  return sample;
}

async function checkCorners() {
  for (const step of [128, 16384, 2097152]) {  // where the remaining length takes one byte more
    for (const remaining of [step - 1, step]) {
      await checkWritten('publish', 'v50 publish', 5, publishOf(remaining, 5, writes50.publish));
    }
  }
  for (const remaining of [127, 128, 1024]) {
    await checkBoth311('publish', publishOf(remaining, 4, packets311.publish));
  }
  await checkRead('connack', 'v50 connack', 5, connack50(ALL_CONNACK_PROPERTIES));
  const last = ALL_CONNACK_PROPERTIES.filter(name => name !== 'userProperties');
  await checkRead('connack', 'v50 connack', 5, connack50([...last, 'userProperties']));
}

async function checkRound() {
  for (const name of Object.keys(writes50)) {
    await checkWritten(name, `v50 ${name}`, 5, writes50[name]());
  }
  for (const name of Object.keys(reads50)) await checkRead(name, `v50 ${name}`, 5, reads50[name]());
  await checkWritten('connect', 'v311 packet', 4,
    (sample => ({ ...sample, fields: { type: 1, ...sample.fields } }))(connect(4)));
  for (const name of Object.keys(packets311)) await checkBoth311(name, packets311[name]());
  // On a 5.0 connection acknowledgements may go out in the form of 3.1.1.
  for (const name of ACKS) {
    const { fields, packet } = packets311[name]();
    await checkWritten(name, 'v50 packet', 5, { packet: { ...packet, reasonCode: 0 },
      fields: { type: TYPES.indexOf(name), ...fields } });
  }
}

async function main() {
  process.exitCode = 1;  // also when this ends early
  await checkCorners();
  for (let round = 0; round < Number(rounds); round += 1) await checkRound();
  pipe.stdin.end();
  assert.strictEqual(await ended, 0, 'the pipe has failed');
  console.log(`${compared} packets compared, ${failed} differ (seed ${seed})`);
  process.exitCode = failed === 0 ? 0 : 1;
}

main();
