// The wire oracle. Every packet that the library writes is read by an independent codec, byte for
// byte and field for field; packets that the independent codec writes go through our decoders.
//
// Usage: node oracle.js <zep_codec_pipe> [seed] [rounds]
'use strict';

const assert = require('assert');
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

// The CONNACK properties: the record's field (null: the library has none), value, and what the field
// holds without it.
const CONNACK_PROPERTIES = {
  sessionExpiryInterval: ['session_expiry', u32, 0],
  assignedClientIdentifier: ['assigned_client_id', () => text(1, 63), ''],
  serverKeepAlive: ['server_keep_alive', u16, 0],
  authenticationMethod: [null, () => text(0, 20)],
  authenticationData: [null, () => bytes(int(1, 20))],
  responseInformation: [null, () => text(0, 20)],
  serverReference: [null, () => text(0, 20)],
  reasonString: ['reason_string', () => text(0, 80), ''],
  receiveMaximum: ['receive_maximum', u16, 0],
  topicAliasMaximum: ['topic_alias_max', u16, 0],
  maximumQoS: [null, () => int(0, 1)],
  retainAvailable: ['retain_available', chance, 0],
  userProperties: ['user_property', () => ({ [text(1, 63)]: text(0, 20) }), ''],
  maximumPacketSize: ['max_packet_size', u32, 0],
  wildcardSubscriptionAvailable: ['wildcard_sub_available', chance, 0],
  subscriptionIdentifiersAvailable: ['sub_id_available', chance, 0],
  sharedSubscriptionAvailable: ['shared_sub_available', chance, 0]
};

// What the decoder keeps of the properties: up to sixteen, up to the first text that is too long,
// and up to a user property, whose second text begins with a length byte of 0.
function keptOf(properties) {
  const fields = {};
  for (const [name, given] of Object.entries(properties).slice(0, 16)) {
    const [field] = CONNACK_PROPERTIES[name];
    const value = name === 'userProperties' ? Object.keys(given)[0] : given;
    const size = typeof value === 'string' ? Buffer.byteLength(value) : 0;
    if (field !== null && size > 63) break;
    if (field === 'assigned_client_id' && size > 23) fields[field] = '';
    else if (field !== null) fields[field] = size > 0 || value === '' ? value : Number(value);
    if (name === 'userProperties') break;
  }
  return fields;
}

function connack50(names) {
  const properties = {};
  const fields = {};
  for (const name of names) properties[name] = CONNACK_PROPERTIES[name][1]();
  for (const [field, , absent] of Object.values(CONNACK_PROPERTIES)) if (field !== null) fields[field] = absent;
  const { fields: head, packet } = draw([['session_present', 'sessionPresent', chance],
    ['reason_code', 'reasonCode', () => pick([0, 0, 0x80, 0x9f])]], { properties });
  return { packet, fields: { ...head, ...fields, ...keptOf(properties) } };
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
  writes50[name] = () => ({ exact: false, ...draw([MESSAGE_ID, reason], { qos: level }) });
  // In 2, 4 or more bytes.
  reads50[name] = () => draw([['msg_id', 'messageId', u16], reason], { properties: anyProperties() });
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
function publishOf(remaining, version) {
  const made = publish(version, Buffer.alloc(0));
  const bare = mqtt.generate({ cmd: 'publish', ...made.packet }, { protocolVersion: version });
  made.fields.payload = made.packet.payload = Buffer.alloc(remaining - (bare.length - 2), 'p');
  return made;
}

async function checkCorners() {
  for (const step of [128, 16384, 2097152]) {  // where the remaining length takes one byte more
    for (const remaining of [step - 1, step]) {
      await checkWritten('publish', 'v50 publish', 5, publishOf(remaining, 5));
    }
  }
  for (const remaining of [127, 128, 1024]) {
    await checkBoth311('publish', publishOf(remaining, 4));
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
