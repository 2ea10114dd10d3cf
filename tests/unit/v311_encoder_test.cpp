#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/encoder.h>

#include "support/guarded_bytes.h"
#include "support/log_capture.h"

namespace {

using bytes = std::vector<uint8_t>;

const bytes PAYLOAD(1025, 0xAB);
const char *FILTERS[] = {"a/#", "", "+"};
const char *BAD_SECOND_FILTER[] = {"a", "\t"};
const char *NULL_FILTER[] = {"a", nullptr};
uint32_t QOS_LIST[] = {1, 2, 7};
uint32_t RETURN_CODES[] = {0x00, 0x80, 0x102};
std::vector<uint32_t> MANY_CODES(16400, 1);

bytes operator+(bytes left, const bytes &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

mqtt_packet packet_of(uint32_t type, uint32_t qos = 0) {
    mqtt_packet packet{};
    packet.type = type;
    packet.qos = qos;
    return packet;
}

mqtt_packet connect() {
    mqtt_packet packet = packet_of(MQTT_PACKET_CONNECT);
    std::strcpy(packet.body.connect.client_id, "c1");
    packet.body.connect.keep_alive = 60;
    return packet;
}

mqtt_packet connect_with_will() {
    mqtt_packet packet = connect();
    packet.body.connect.will_flag = 1;
    packet.body.connect.will_qos = 1;
    packet.body.connect.will_topic = "w";
    packet.body.connect.will_payload = reinterpret_cast<const uint8_t *>("x");
    packet.body.connect.will_payload_len = 1;
    return packet;
}

mqtt_packet connect_with_everything() {
    mqtt_packet packet = connect_with_will();
    packet.body.connect.will_qos = 2;
    packet.body.connect.will_retain = 1;
    packet.body.connect.has_username = 1;
    packet.body.connect.username = "me";
    packet.body.connect.has_password = 1;
    packet.body.connect.password = "pw";
    return packet;
}

mqtt_packet publish(const char *topic, uint32_t qos, uint16_t id, uint32_t payload_len) {
    mqtt_packet packet = packet_of(MQTT_PACKET_PUBLISH, qos);
    packet.body.publish.topic = topic;
    packet.body.publish.msg_id = id;
    packet.body.publish.payload = payload_len == 0 ? nullptr : PAYLOAD.data();
    packet.body.publish.payload_len = payload_len;
    packet.body.publish.qos = 2 - qos;
    packet.body.publish.retain = 1;
    return packet;
}

mqtt_packet flagged_publish() {
    mqtt_packet packet = publish("t", 2, 128, 0);
    packet.dup = 1;
    packet.retain = 1;
    return packet;
}

mqtt_packet ack(uint32_t type, uint32_t qos, uint16_t id) {
    mqtt_packet packet = packet_of(type, qos);
    packet.body.ack.msg_id = id;
    return packet;
}

mqtt_packet connack(uint8_t session_present, uint8_t return_code) {
    mqtt_packet packet = packet_of(MQTT_PACKET_CONNACK);
    packet.body.connack = {session_present, return_code};
    return packet;
}

mqtt_packet subscribe(const char **filters, uint32_t *qos_list, int32_t count) {
    mqtt_packet packet = packet_of(MQTT_PACKET_SUBSCRIBE, 1);
    packet.body.subscribe = {2, filters, qos_list, count};
    return packet;
}

mqtt_packet unsubscribe(const char **filters, int32_t count) {
    mqtt_packet packet = packet_of(MQTT_PACKET_UNSUBSCRIBE, 1);
    packet.body.unsubscribe = {3, filters, count};
    return packet;
}

mqtt_packet suback(uint32_t *codes, int32_t count) {
    mqtt_packet packet = packet_of(MQTT_PACKET_SUBACK);
    packet.body.suback = {0x1234, codes, count};
    return packet;
}

mqtt_packet changed(mqtt_packet packet, const std::function<void(mqtt_packet &)> &change) {
    change(packet);
    return packet;
}

struct sample {
    mqtt_packet packet;
    bytes expected;
};

std::vector<sample> samples() {
    const bytes head = {0x00, 0x04, 'M', 'Q', 'T', 'T', 0x04};
    const bytes id_c1 = {0x00, 0x3C, 0x00, 0x02, 'c', '1'};
    return {
        {connect(), bytes{0x10, 0x0E} + head + bytes{0x02} + id_c1},
        {connect_with_will(),
         bytes{0x10, 0x14} + head + bytes{0x0E} + id_c1 + bytes{0, 1, 'w', 0, 1, 'x'}},
        {changed(connect_with_will(), [](auto &p) { p.body.connect.will_payload = nullptr; }),
         bytes{0x10, 0x13} + head + bytes{0x0E} + id_c1 + bytes{0, 1, 'w', 0, 0}},
        {connect_with_everything(),
         bytes{0x10, 0x1C} + head + bytes{0xF6} + id_c1 +
             bytes{0, 1, 'w', 0, 1, 'x', 0, 2, 'm', 'e', 0, 2, 'p', 'w'}},
        {connack(0, 0), {0x20, 0x02, 0x00, 0x00}},
        {connack(7, 15), {0x20, 0x02, 0x01, 0x0F}},
        {publish("a/b", 1, 1, 2), {0x32, 0x09, 0x00, 0x03, 'a', '/', 'b', 0x00, 0x01, 0xAB, 0xAB}},
        {publish("t", 0, 999, 1), {0x30, 0x04, 0x00, 0x01, 't', 0xAB}},
        {flagged_publish(), {0x3D, 0x05, 0x00, 0x01, 't', 0x00, 0x80}},
        {publish("a/b", 0, 0, 122),
         bytes{0x30, 0x7F, 0x00, 0x03, 'a', '/', 'b'} + bytes(122, 0xAB)},
        {publish("a/b", 0, 0, 195),
         bytes{0x30, 0xC8, 0x01, 0x00, 0x03, 'a', '/', 'b'} + bytes(195, 0xAB)},
        {publish("a/b", 0, 0, 1024),
         bytes{0x30, 0x85, 0x08, 0x00, 0x03, 'a', '/', 'b'} + bytes(1024, 0xAB)},
        {ack(MQTT_PACKET_PUBACK, 0, 5), {0x40, 0x02, 0x00, 0x05}},
        {ack(MQTT_PACKET_PUBREC, 0, 0xFFFF), {0x50, 0x02, 0xFF, 0xFF}},
        {ack(MQTT_PACKET_PUBREL, 1, 5), {0x62, 0x02, 0x00, 0x05}},
        {ack(MQTT_PACKET_PUBCOMP, 0, 0), {0x70, 0x02, 0x00, 0x00}},
        {ack(MQTT_PACKET_UNSUBACK, 0, 0x0102), {0xB0, 0x02, 0x01, 0x02}},
        {subscribe(FILTERS, QOS_LIST, 1),
         {0x82, 0x08, 0x00, 0x02, 0x00, 0x03, 'a', '/', '#', 0x01}},
        {subscribe(FILTERS, QOS_LIST, 3),
         {0x82, 0x0F, 0x00, 0x02, 0, 3, 'a', '/', '#', 1, 0, 0, 2, 0, 1, '+', 3}},
        {unsubscribe(FILTERS, 1), {0xA2, 0x07, 0x00, 0x03, 0x00, 0x03, 'a', '/', '#'}},
        {unsubscribe(FILTERS, 2), {0xA2, 0x09, 0x00, 0x03, 0, 3, 'a', '/', '#', 0, 0}},
        {suback(RETURN_CODES, 3), {0x90, 0x05, 0x12, 0x34, 0x00, 0x80, 0x02}},
        {suback(MANY_CODES.data(), 16400),
         bytes{0x90, 0x92, 0x80, 0x01, 0x12, 0x34} + bytes(16400, 0x01)},
        {packet_of(MQTT_PACKET_PINGREQ), {0xC0, 0x00}},
        {packet_of(MQTT_PACKET_PINGRESP), {0xD0, 0x00}},
        {packet_of(MQTT_PACKET_DISCONNECT), {0xE0, 0x00}},
    };
}

TEST(v311_encoder, every_packet_fits_exactly_and_never_leaves_its_buffer) {
    agent_log_set_level(AGENT_LOG_FATAL);
    for (const sample &row : samples()) {
        const std::string what = testing::PrintToString(row.expected);
        const uint32_t size = static_cast<uint32_t>(row.expected.size());
        for (const uint32_t version : {4U, 5U}) {
            const zep_test::guarded_bytes exact(size);
            uint32_t len = size;
            ASSERT_EQ(mqtt_packet_encode(version, &row.packet, exact.data(), &len), MQTT_OK)
                << what;
            EXPECT_EQ(bytes(exact.data(), exact.data() + len), row.expected);
        }
        bytes roomy(size + 100);
        uint32_t len = size + 100;
        EXPECT_EQ(mqtt_packet_encode_v311(&row.packet, roomy.data(), &len), MQTT_OK) << what;
        EXPECT_EQ(len, size);
        for (uint32_t capacity = 1; capacity<size; capacity += size> 2000 ? 997 : 1) {
            const zep_test::guarded_bytes tight(capacity);
            len = capacity;
            ASSERT_EQ(mqtt_packet_encode_v311(&row.packet, tight.data(), &len),
                      MQTT_ERR_INVALID_PARAM)
                << capacity << " of " << what;
        }
    }
}

TEST(v311_encoder, refusals) {
    const char *const bad_client_id = "mqtt_packet_encode_v311: ClientID无效/过长";
    const char *const bad_id = "mqtt_packet_encode_v311: PacketID校验失败, msg_id=";
    const char *const no_id = "mqtt_packet_encode_v311: 非法报文类型获取msgid";
    const char *const bad_type = "mqtt_packet_encode_v311: 未知的MQTT报文类型 type=";
    const char *const bad_topic = "PUBLISH报文编码失败：主题协议合规校验失败（topic=";
    const struct {
        mqtt_packet packet;
        uint32_t capacity;
        int32_t status;
        std::string last_line;
    } rows[] = {
        {changed(connect(), [](auto &p) { p.body.connect.client_id[0] = 0; }), 100, -101,
         bad_client_id},
        {changed(connect(), [](auto &p) { std::memset(p.body.connect.client_id, 'c', 24); }), 100,
         -101, bad_client_id},
        {changed(connect(),
                 [](auto &p) { std::strcpy(p.body.connect.client_id, "12345678901234567890123"); }),
         36, -101, bad_client_id},
        {changed(connect(), [](auto &p) { p.body.connect.client_id[0] = 0; }), 11, -101, ""},
        {changed(connect_with_will(), [](auto &p) { p.body.connect.will_topic = ""; }), 100, -101,
         ""},
        {changed(connect_with_will(), [](auto &p) { p.body.connect.will_topic = nullptr; }), 100,
         -101, ""},
        {changed(connect_with_will(), [](auto &p) { p.body.connect.will_payload_len = 65536; }),
         70000, -101, ""},
        {changed(connect_with_everything(), [](auto &p) { p.body.connect.username = ""; }), 100,
         -101, ""},
        {changed(connect_with_everything(), [](auto &p) { p.body.connect.username = nullptr; }),
         100, -101, ""},
        {changed(connect_with_everything(), [](auto &p) { p.body.connect.password = ""; }), 100,
         -101, ""},
        {changed(connect_with_everything(), [](auto &p) { p.body.connect.password = nullptr; }),
         100, -101, ""},
        {connack(0, 16), 100, -101, ""},
        {publish("t", 0, 0, 1025), 2000, -101, ""},
        {changed(publish("t", 0, 0, 1), [](auto &p) { p.body.publish.payload = nullptr; }), 100,
         -101, ""},
        {publish("a/+", 0, 0, 0), 1, -104, std::string(bad_topic) + "a/+）"},
        {publish(nullptr, 0, 0, 0), 100, -104, std::string(bad_topic) + "(null)）"},
        {publish("t", 1, 0, 0), 100, -101, std::string(bad_id) + "0"},
        {publish("t", 2, 129, 0), 100, -101, std::string(bad_id) + "129"},
        {ack(MQTT_PACKET_PUBREL, 1, 0), 100, -101, std::string(bad_id) + "0"},
        {changed(subscribe(FILTERS, QOS_LIST, 1), [](auto &p) { p.body.subscribe.msg_id = 200; }),
         100, -101, std::string(bad_id) + "200"},
        {subscribe(nullptr, QOS_LIST, 1), 100, -101, ""},
        {subscribe(FILTERS, nullptr, 1), 100, -101, ""},
        {subscribe(FILTERS, QOS_LIST, 0), 100, -101, ""},
        {subscribe(NULL_FILTER, QOS_LIST, 2), 100, -101, ""},
        {subscribe(BAD_SECOND_FILTER, QOS_LIST, 2), 100, -104, ""},
        {subscribe(BAD_SECOND_FILTER, QOS_LIST, 2), 7, -101, ""},
        {unsubscribe(nullptr, 1), 100, -101, ""},
        {unsubscribe(FILTERS, -1), 100, -101, ""},
        {unsubscribe(NULL_FILTER, 2), 100, -101, ""},
        {unsubscribe(BAD_SECOND_FILTER, 2), 100, -104, ""},
        {suback(nullptr, 1), 100, -101, ""},
        {suback(RETURN_CODES, 0), 100, -101, ""},
        {packet_of(MQTT_PACKET_CONNECT, 1), 100, -101, no_id},
        {packet_of(MQTT_PACKET_PINGREQ, 1), 100, -101, no_id},
        {packet_of(0, 1), 100, -101, no_id},
        {packet_of(0), 100, -101, std::string(bad_type) + "0"},
        {packet_of(15), 100, -101, std::string(bad_type) + "15"},
        {publish("t", 4, 1, 0), 100, -101, ""},
        {publish("a/b", 0, 0, 195), 202, -101, "缓冲区不足，需要长度=203，实际长度=202"},
    };
    for (const auto &row : rows) {
        bytes buffer(row.capacity);
        uint32_t len = row.capacity;
        zep_test::log_capture log;
        const int32_t status = mqtt_packet_encode_v311(&row.packet, buffer.data(), &len);
        const std::string lines = log.take();
        const std::string expected = row.last_line.empty() ? "" : "[ERROR] " + row.last_line + "\n";
        const int at = static_cast<int>(&row - rows);
        EXPECT_EQ(status, row.status) << "row " << at;
        if (row.status == MQTT_ERR_UTF8_INVALID && !expected.empty()) {
            EXPECT_EQ(lines.substr(lines.find('\n') + 1), expected) << "row " << at;
        } else {
            EXPECT_EQ(lines, expected) << "row " << at;
        }
    }
}

TEST(v311_encoder, filters_are_limited_to_64_bytes) {
    const std::string longest(64, 'f');
    const std::string too_long(65, 'f');
    const char *filters[] = {longest.c_str(), too_long.c_str()};
    bytes buffer(200);
    uint32_t len = 200;
    mqtt_packet packet = unsubscribe(filters, 1);
    EXPECT_EQ(mqtt_packet_encode_v311(&packet, buffer.data(), &len), MQTT_OK);
    EXPECT_EQ(len, 70U);
    packet.body.unsubscribe.filter_count = 2;
    len = 200;
    EXPECT_EQ(mqtt_packet_encode_v311(&packet, buffer.data(), &len), MQTT_ERR_UTF8_INVALID);
}

TEST(v311_encoder, entry_checks_arguments_and_version) {
    const mqtt_packet packet = ack(MQTT_PACKET_PUBREL, 1, 0);
    uint8_t buffer[8];
    uint32_t len = sizeof buffer;
    uint32_t none = 0;
    const std::string entry = "[ERROR] MQTT_PROTOCOL: 编码入参非法：空指针/缓冲区无效\n";
    const std::string v311 = "[ERROR] mqtt_packet_encode_v311: 入参无效/缓冲区为空\n";
    const struct {
        std::function<int32_t()> call;
        int32_t status;
        std::string lines;
    } rows[] = {
        {[&] { return mqtt_packet_encode(4, nullptr, buffer, &len); }, -101, entry},
        {[&] { return mqtt_packet_encode(4, &packet, nullptr, &len); }, -101, entry},
        {[&] { return mqtt_packet_encode(4, &packet, buffer, nullptr); }, -101, entry},
        {[&] { return mqtt_packet_encode(3, &packet, buffer, &none); }, -101, entry},
        {[&] { return mqtt_packet_encode_v311(nullptr, buffer, &len); }, -101, v311},
        {[&] { return mqtt_packet_encode_v311(&packet, nullptr, &len); }, -101, v311},
        {[&] { return mqtt_packet_encode_v311(&packet, buffer, nullptr); }, -101, v311},
        {[&] { return mqtt_packet_encode_v311(&packet, buffer, &none); }, -101, v311},
        {[&] { return mqtt_packet_encode(3, &packet, buffer, &len); }, -109,
         "[ERROR] MQTT_PROTOCOL: 不支持的MQTT版本：3，当前仅支持3.1.1/5.0\n"
         "[ERROR] MQTT_PROTOCOL: MQTT编码失败：版本=3 报文类型=6\n"},
        {[&] { return mqtt_packet_encode(5, &packet, buffer, &len); }, -101,
         "[ERROR] mqtt_packet_encode_v311: PacketID校验失败, msg_id=0\n"
         "[ERROR] MQTT_PROTOCOL: MQTT编码失败：版本=5 报文类型=6\n"},
    };
    for (const auto &row : rows) {
        zep_test::log_capture log;
        EXPECT_EQ(row.call(), row.status);
        EXPECT_EQ(log.take(), row.lines);
    }
}

}  // namespace
