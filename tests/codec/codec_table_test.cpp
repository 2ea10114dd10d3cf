// Runs the tables v311.txt and v50.txt through the codecs. A row is
//
//   encode v50 publish topic='a' payload='x' capacity=66 -> 30 05 0001 'a' 00 'x'
//   encode v50 publish topic='' -> error -101
//     | [ERROR] MQTT5.0_PROTOCOL: ...
//   decode v50 puback 40 02 0007 -> msg_id=7
//   both v311 puback msg_id=7 -> 40 02 0007
//   encode v50 publish null -> error -101
//
// with records as records.h and packets as packets.h write them. `capacity` is the least size of
// the buffer: one byte less is refused. Lines with a bar are the whole log of the row above them;
// without any it is not looked at. A row "null" leaves each pointer out in turn.
//
// Beyond what a row says: buffers and packets end before a page that may not be touched; a packet
// is cut everywhere, which is refused, and given a Remaining Length to match, which stays inside;
// every allocation of a decoder fails in turn.
#include <fstream>
#include <functional>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/decoder.h>
#include <zep_mqtt/protocol/v311/encoder.h>
#include <zep_mqtt/protocol/v50/unsuback.h>

#include "codec/records.h"
#include "protocol/v311/decode.h"
#include "support/failing_malloc.h"
#include "support/guarded_bytes.h"
#include "support/log_capture.h"

namespace {

using zep_test::bytes;
using zep_test::lay;

struct row {
    std::string verb, codec;  // "encode", "v50 publish"
    std::string given, expected;
    std::string log;
    bool has_log = false;

    bool leaves_pointers_out() const { return given == "null"; }
    bool is_refused() const { return expected.starts_with("error "); }
    int32_t status() const { return is_refused() ? std::stoi(expected.substr(6)) : MQTT_OK; }
};

// The log of one call, as far as its row looks at it.
template <typename Call>
int32_t logged(const row &expected, Call call) {
    if (!expected.has_log) {
        return call();
    }
    g_log_config.level = AGENT_LOG_INFO;
    zep_test::log_capture log;
    const int32_t status = call();
    EXPECT_EQ(log.take(), expected.log);
    g_log_config.level = AGENT_LOG_FATAL;
    return status;
}

// --- encoding

// Gives what an encoder must not look at other values than what it must.
template <typename Record>
void spoil(Record &) {}
void spoil(mqtt50_suback &suback) {
    std::memset(suback.granted_qos, 0xEE, sizeof suback.granted_qos);
}
void spoil(mqtt_packet &packet) {
    packet.remaining_len = packet.protocol_version = 99;
    auto raise = [](uint32_t *list, int32_t count) {
        for (int32_t i = 0; list != nullptr && i < count; ++i) {
            list[i] |= 0x100;  // above the bits that are sent
        }
    };
    if (packet.type == MQTT_PACKET_PUBLISH) {
        packet.body.publish.qos = 2 - packet.qos;
        packet.body.publish.retain = packet.retain == 0 ? 1 : 0;
    } else if (packet.type == MQTT_PACKET_SUBSCRIBE) {
        raise(packet.body.subscribe.qos_list, 1);
    } else if (packet.type == MQTT_PACKET_SUBACK) {
        raise(packet.body.suback.return_codes, packet.body.suback.code_count);
    }
}

template <typename Record>
using encoder = int32_t (*)(const Record *, uint8_t *, uint32_t *);

struct encoded {
    int32_t status;
    uint32_t length;
    bytes buffer;
};

template <typename Record>
encoded encode_into(uint32_t capacity, encoder<Record> encode, const Record &record) {
    const zep_test::guarded_bytes buffer(capacity);
    std::memset(buffer.data(), 0xAA, capacity);
    uint32_t length = capacity;
    const int32_t status = encode(&record, buffer.data(), &length);
    return {status, length, bytes(buffer.data(), buffer.data() + capacity)};
}

// A refusal leaves nothing that could be sent: what was there before, or zeros.
void expect_nothing_written(const encoded &result) {
    EXPECT_TRUE(result.buffer == bytes(result.buffer.size(), 0xAA) ||
                result.buffer == bytes(result.buffer.size(), 0));
}

template <typename Record>
void expect_less_room_refused(uint32_t enough, encoder<Record> encode, const Record &record,
                              bool leaves_nothing) {
    for (uint32_t capacity = enough > 400 ? enough - 9 : 0; capacity < enough; ++capacity) {
        const encoded result = encode_into(capacity, encode, record);
        EXPECT_TRUE(result.status == -101 || result.status == -114) << "in " << capacity;
        if (leaves_nothing) {
            expect_nothing_written(result);
            EXPECT_EQ(result.length, capacity);
        }
    }
}

template <typename Record>
void expect_null_refused(const row &expected, encoder<Record> encode) {
    const Record record = {};
    uint8_t buffer[512];
    uint32_t length = sizeof buffer;
    const auto refuse = [&](const Record *given, uint8_t *to, uint32_t *size) {
        EXPECT_EQ(logged(expected, [&] { return encode(given, to, size); }), expected.status());
    };
    if (!std::is_same_v<Record, mqtt50_connack>) {  // whose encoder takes no record
        refuse(nullptr, buffer, &length);
    }
    refuse(&record, nullptr, &length);
    refuse(&record, buffer, nullptr);
}

template <typename Record>
void run_encoder(const row &expected, uint32_t type, encoder<Record> encode) {
    if (expected.leaves_pointers_out()) {
        return expect_null_refused(expected, encode);
    }
    zep_test::record_reader io(expected.given);
    if (!io.has("type")) {
        io.set("type", type);
    }
    Record record = {};
    visit(io, record);
    spoil(record);
    constexpr bool is_v311 = std::is_same_v<Record, mqtt_packet>;
    const bytes packet = expected.is_refused() ? bytes() : lay(expected.expected);
    const auto size = static_cast<uint32_t>(packet.size());
    const uint32_t roomy = expected.is_refused() ? 70000 : size + 600;
    const uint32_t capacity = io.number("capacity", is_v311 && size != 0 ? size : roomy);
    encoded result{};
    EXPECT_EQ(logged(expected,
                     [&] {
                         result = encode_into(capacity, encode, record);
                         return result.status;
                     }),
              expected.status());
    if (expected.is_refused()) {
        return is_v311 ? void() : expect_nothing_written(result);
    }
    ASSERT_EQ(result.length, size);
    // SUBACK, UNSUBSCRIBE and UNSUBACK leave what is behind the packet; the others of 5.0 clear it.
    bytes whole = packet;
    whole.resize(capacity, is_v311 || (type >= 9 && type <= 11) ? 0xAA : 0);
    EXPECT_EQ(zep_test::to_hex(result.buffer.data(), capacity),
              zep_test::to_hex(whole.data(), capacity));
    if (capacity != roomy) {
        expect_less_room_refused(capacity, encode, record, !is_v311);
    }
}

// --- decoding

template <typename Record>
using decoder = int32_t (*)(const uint8_t *, uint32_t, Record *);

template <typename Record>
void release_any(Record &) {}
void release_any(mqtt_packet &packet) {
    zep::v311::release_packet(packet);
}

// What a record says of the packet as a whole.
template <typename Record>
void expect_lengths(const Record &, const bytes &) {}
void expect_lengths(const mqtt50_connack &connack, const bytes &packet) {
    const uint32_t header = packet[1] < 0x80 ? 2 : 3;
    EXPECT_LE(connack.total_len, packet.size());
    EXPECT_EQ(connack.total_len, connack.remaining_len + header);
    EXPECT_EQ(connack.remaining_len & 0x7F, packet[1] & 0x7FU);
}
void expect_lengths(const mqtt_packet &packet, const bytes &input) {
    EXPECT_EQ(packet.remaining_len & 0x7F, input[1] & 0x7FU);
    EXPECT_LT(packet.remaining_len, input.size() - 1);
    EXPECT_EQ(packet.protocol_version, 0);
    if (packet.type == MQTT_PACKET_PUBLISH) {
        EXPECT_EQ(packet.body.publish.qos, packet.qos);
        EXPECT_EQ(packet.body.publish.retain, packet.retain);
    }
}

// What is left in a record that was filled with other bytes before.
template <typename Record>
void expect_refused_record(const Record &, const bytes &, int32_t) {}
void expect_refused_record(mqtt50_ack &ack, const bytes &, int32_t status) {
    EXPECT_TRUE(status == -101 || (ack.msg_id == 0 && ack.reason_code == 0));
}
void expect_refused_record(mqtt50_suback &suback, const bytes &, int32_t status) {
    EXPECT_TRUE(status == -101 || (suback.msg_id == 0 && suback.count == 0));
}
void expect_refused_record(const mqtt_packet &packet, const bytes &input, int32_t) {
    if (input.empty()) {
        return;
    }
    EXPECT_EQ(packet.type, input[0] >> 4);
    const auto &body = packet.body;
    EXPECT_FALSE(packet.type == MQTT_PACKET_PUBLISH &&
                 (body.publish.topic != nullptr || body.publish.payload != nullptr));
    EXPECT_FALSE(packet.type == MQTT_PACKET_SUBSCRIBE &&
                 (body.subscribe.filters != nullptr || body.subscribe.qos_list != nullptr));
    EXPECT_FALSE(packet.type == MQTT_PACKET_SUBACK && body.suback.return_codes != nullptr);
    EXPECT_FALSE(packet.type == MQTT_PACKET_UNSUBSCRIBE && body.unsubscribe.filters != nullptr);
}

template <typename Record>
int32_t decode_guarded(const bytes &packet, decoder<Record> decode,
                       const std::function<void(Record &)> &look = {}) {
    const zep_test::guarded_bytes input(packet);
    Record record;
    std::memset(&record, 0xEE, sizeof record);
    const int32_t status = decode(input.data(), input.size(), &record);
    if (status != MQTT_OK) {
        expect_refused_record(record, packet, status);
        return status;
    }
    if (look) {
        look(record);
    }
    release_any(record);
    return status;
}

template <typename Record>
void expect_cut_packets_refused(const bytes &packet, decoder<Record> decode) {
    const size_t end = packet[1] < 0x80 ? 2U + packet[1] : packet.size();
    for (size_t size = 0; size < end; size += size < 100 ? 1 : 7) {
        bytes cut(packet.begin(), packet.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_NE(decode_guarded(cut, decode), MQTT_OK) << "cut to " << size;
        if (size >= 2 && size < 0x80) {
            cut[1] = static_cast<uint8_t>(size - 2);
            (void)decode_guarded(cut, decode);
        }
    }
}

template <typename Record>
void run_decoder(const row &expected, uint32_t type, decoder<Record> decode) {
    if (expected.leaves_pointers_out()) {
        const uint8_t data[8] = {};
        Record record;
        EXPECT_EQ(decode(nullptr, sizeof data, &record), expected.status());
        EXPECT_EQ(decode(data, sizeof data, nullptr), expected.status());
        return;
    }
    const bytes packet = lay(expected.given);
    std::string shown;
    const uint64_t before = zep_test::allocations_made();
    const auto look = [&](Record &record) {
        shown = zep_test::text_of(record);
        expect_lengths(record, packet);
    };
    ASSERT_EQ(logged(expected, [&] { return decode_guarded<Record>(packet, decode, look); }),
              expected.status());
    if (expected.is_refused()) {
        return;
    }
    const uint64_t needed = zep_test::allocations_made() - before;
    zep_test::record_reader io(expected.expected);
    io.set("type", type);
    Record wanted = {};
    visit(io, wanted);
    EXPECT_EQ(shown, zep_test::text_of(wanted));
    expect_cut_packets_refused(packet, decode);
    for (uint64_t n = 0; n < needed; ++n) {
        const zep_test::failing_malloc failing(n);
        EXPECT_EQ(decode_guarded(packet, decode), MQTT_ERR_NO_MEMORY);
    }
}

// --- the codecs by name

using run = std::function<void(const row &)>;
struct codec {
    run encode, decode;
};

template <typename Record>
run encoding(uint32_t type, encoder<Record> encode) {
    return [=](const row &expected) { run_encoder(expected, type, encode); };
}
template <typename Record>
run decoding(uint32_t type, decoder<Record> decode) {
    return [=](const row &expected) { run_decoder(expected, type, decode); };
}

// Codecs whose arguments are not a record, a buffer and a length.

int32_t connack_encode(const mqtt50_connack *connack, uint8_t *buffer, uint32_t *length) {
    return mqtt50_connack_encode(connack->session_present, connack->reason_code,
                                 connack->session_expiry, connack->max_packet_size,
                                 connack->receive_maximum, buffer, length);
}
int32_t suback_decode(const uint8_t *data, uint32_t length, mqtt50_suback *suback) {
    return mqtt50_suback_decode(data, static_cast<int32_t>(length), suback);
}
template <uint8_t TYPE>
codec ack50() {
    return {encoding<mqtt50_ack>(TYPE,
                                 [](const mqtt50_ack *ack, uint8_t *buffer, uint32_t *length) {
                                     return mqtt50_ack_encode(TYPE, ack, buffer, length);
                                 }),
            decoding<mqtt50_ack>(TYPE, [](const uint8_t *data, uint32_t length, mqtt50_ack *ack) {
                return mqtt50_ack_decode(TYPE, data, length, ack);
            })};
}
// The three ways into the 3.1.1 encoder lay out the same bytes.
int32_t encode_v311(const mqtt_packet *packet, uint8_t *buffer, uint32_t *length) {
    const uint32_t capacity = length == nullptr ? 0 : *length;
    const int32_t status = mqtt_packet_encode_v311(packet, buffer, length);
    for (uint32_t version = MQTT_VERSION_311; status == 0 && version <= MQTT_VERSION_50;
         ++version) {
        bytes again(capacity);
        uint32_t again_length = capacity;
        EXPECT_EQ(mqtt_packet_encode(version, packet, again.data(), &again_length), 0);
        EXPECT_TRUE(again_length == *length && std::memcmp(again.data(), buffer, *length) == 0);
    }
    return status;
}

std::map<std::string, codec> make_codecs() {
    std::map<std::string, codec> codecs = {
        {"v50 connect", {encoding(1, mqtt50_conn_encode), {}}},
        {"v50 connack", {encoding(2, connack_encode), decoding(2, mqtt50_connack_decode)}},
        {"v50 publish", {encoding(3, mqtt50_publish_encode), decoding(3, mqtt50_publish_decode)}},
        {"v50 puback", ack50<MQTT_PACKET_PUBACK>()},
        {"v50 pubrec", ack50<MQTT_PACKET_PUBREC>()},
        {"v50 pubrel", ack50<MQTT_PACKET_PUBREL>()},
        {"v50 pubcomp", ack50<MQTT_PACKET_PUBCOMP>()},
        {"v50 subscribe", {encoding(8, mqtt50_subscribe_encode), {}}},
        {"v50 suback", {encoding(9, mqtt50_suback_encode), decoding(9, suback_decode)}},
        {"v50 unsubscribe", {encoding(10, mqtt50_unsubscribe_encode), {}}},
        {"v50 unsuback",
         {encoding(11, mqtt50_unsuback_encode), decoding(11, mqtt50_unsuback_decode)}},
        {"v50 disconnect", {encoding(14, mqtt50_disconnect_encode), {}}},
    };
    const char *const v311[] = {"none",        "connect",  "connack", "publish",   "puback",
                                "pubrec",      "pubrel",   "pubcomp", "subscribe", "suback",
                                "unsubscribe", "unsuback", "pingreq", "pingresp",  "disconnect"};
    for (uint32_t type = 0; type < std::size(v311); ++type) {
        codecs[std::string("v311 ") + v311[type]] = {encoding(type, encode_v311),
                                                     decoding(type, mqtt_packet_decode_v311)};
    }
    return codecs;
}

// --- the tables

std::string trimmed(const std::string &text) {
    const size_t first = text.find_first_not_of(' ');
    return first == text.npos ? "" : text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

row read_row(const std::string &line) {
    row made;
    std::istringstream words(line);
    std::string version, packet;
    words >> made.verb >> version >> packet;
    made.codec = version + ' ' + packet;
    std::string rest;
    std::getline(words, rest);
    const size_t arrow = rest.find("->");
    made.given = trimmed(rest.substr(0, arrow));
    made.expected = arrow == rest.npos ? "" : trimmed(rest.substr(arrow + 2));
    return made;
}

void run_row(const std::map<std::string, codec> &codecs, const row &read) {
    const codec &found = codecs.at(read.codec);
    row expected = read;
    if (read.verb != "decode") {
        found.encode(expected);
    }
    if (read.verb == "both") {
        std::swap(expected.given, expected.expected);
    }
    if (read.verb != "encode") {
        found.decode(expected);
    }
}

void run_table(const std::string &name) {
    const std::map<std::string, codec> codecs = make_codecs();
    std::ifstream file(std::string(ZEP_CODEC_TABLES) + "/" + name);
    std::vector<std::pair<int, row>> rows;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        if (line.starts_with("  |")) {
            rows.back().second.has_log = true;
            rows.back().second.log += line.size() < 5 ? "" : line.substr(4) + '\n';
        } else if (!line.empty() && line[0] != '#') {
            rows.emplace_back(number, read_row(line));
        }
    }
    EXPECT_GT(rows.size(), 100U);
    g_log_config.level = AGENT_LOG_FATAL;  // quietly
    for (const auto &[at, each] : rows) {
        SCOPED_TRACE(name + ':' + std::to_string(at) + ' ' + each.verb + ' ' + each.codec + ' ' +
                     each.given.substr(0, 200));
        run_row(codecs, each);
    }
    g_log_config.level = AGENT_LOG_INFO;
}

TEST(codec_tables, v311) {
    run_table("v311.txt");
}

TEST(codec_tables, v50) {
    run_table("v50.txt");
}

// What no row can say.

TEST(codec_tables, versions) {
    mqtt_packet packet = {};
    packet.type = MQTT_PACKET_PUBREL;
    packet.qos = 1;
    uint8_t room[8];
    uint32_t len = sizeof room, none = 0;
    zep_test::log_capture log;
    EXPECT_EQ(mqtt_packet_encode(3, &packet, room, &none), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_packet_encode(3, &packet, room, &len), MQTT_ERR_VERSION_UNSUPPORTED);
    EXPECT_EQ(mqtt_packet_encode(5, &packet, room, &len), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(log.take(),
              "[ERROR] MQTT_PROTOCOL: 编码入参非法：空指针/缓冲区无效\n"
              "[ERROR] MQTT_PROTOCOL: 不支持的MQTT版本：3，当前仅支持3.1.1/5.0\n"
              "[ERROR] MQTT_PROTOCOL: MQTT编码失败：版本=3 报文类型=6\n"
              "[ERROR] mqtt_packet_encode_v311: PacketID校验失败, msg_id=0\n"
              "[ERROR] MQTT_PROTOCOL: MQTT编码失败：版本=5 报文类型=6\n");
}

// Nothing of these is read or written.
TEST(codec_tables, lengths_that_no_buffer_has) {
    uint8_t first = 0;
    uint32_t length = UINT32_MAX;
    const mqtt50_publish publish = {"a", 0, 0, 0, 268435455, &first, 0, 0};
    EXPECT_EQ(mqtt50_publish_encode(&publish, &first, &length), MQTT_ERR_PACKET_TOO_LARGE);
    mqtt50_suback suback;
    EXPECT_EQ(mqtt50_suback_decode(&first, -1, &suback), MQTT_ERR_INVALID_PARAM);
}

}  // namespace
