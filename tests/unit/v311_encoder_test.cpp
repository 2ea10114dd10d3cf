// What the 3.1.1 encoder does at its limits. Ordinary packets are compared with an independent
// codec.
#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/encoder.h>

#include "support/guarded_bytes.h"
#include "support/log_capture.h"
#include "support/packets.h"

namespace {

using zep_test::bytes;
using zep_test::lay;

const std::string FILTER_64(64, 'f'), FILTER_65(65, 'f');
const char *FILTERS[] = {"a/#", "", "+", FILTER_64.c_str(), FILTER_65.c_str(), nullptr};
const char *BAD_SECOND[] = {"a", "\t"};
uint32_t QOS_LIST[] = {1, 2, 7, 0, 0, 0};
std::vector<uint32_t> CODES(16382, 0x101);
const bytes PAYLOAD(65536, 'p');

template <typename fill>
mqtt_packet packet_of(uint32_t type, uint32_t qos, fill set) {
    mqtt_packet packet{};
    packet.type = type;
    packet.qos = qos;
    set(packet.body);
    return packet;
}

// With will, user name and password, then what the caller changes.
template <typename fill>
mqtt_packet connect(const char *id, fill change) {
    return packet_of(MQTT_PACKET_CONNECT, 0, [=](auto &body) {
        mqtt_packet_connect &c = body.connect;
        std::memcpy(c.client_id, id, strnlen(id, 24));
        c.keep_alive = 60;
        c.will_flag = c.will_retain = c.has_username = c.has_password = 1;
        c.will_qos = 2;
        c.will_topic = "w";
        c.will_payload = PAYLOAD.data();
        c.will_payload_len = 1;
        c.username = "me";
        c.password = "pw";
        change(c);
    });
}
constexpr auto AS_IT_IS = [](auto &) {};

// The QoS and RETAIN of the message itself are not those that count.
mqtt_packet publish(const char *topic, uint32_t qos, uint16_t id, uint32_t payload_len,
                    const uint8_t *payload = PAYLOAD.data()) {
    return packet_of(MQTT_PACKET_PUBLISH, qos, [=](auto &body) {
        body.publish = {topic, payload, payload_len, 2 - qos, 1, id, 0, 0};
    });
}

mqtt_packet ack(uint32_t type, uint32_t qos, uint16_t id) {
    return packet_of(type, qos, [=](auto &body) { body.ack.msg_id = id; });
}

mqtt_packet subscribe(const char **filters, int32_t count, uint32_t *qos_list = QOS_LIST) {
    return packet_of(8, 1, [=](auto &body) { body.subscribe = {2, filters, qos_list, count}; });
}

mqtt_packet unsubscribe(const char **filters, int32_t count) {
    return packet_of(10, 1, [=](auto &body) { body.unsubscribe = {3, filters, count}; });
}

mqtt_packet suback(uint32_t *codes, int32_t count) {
    return packet_of(9, 0, [=](auto &body) { body.suback = {4, codes, count}; });
}

// clang-format off
TEST(v311_encoder, packets_fit_exactly_and_never_leave_their_buffer) {
    const std::pair<mqtt_packet, const char *> cases[] = {
        {connect("c1", AS_IT_IS), "10 1c 0004'MQTT'04 f6 003c 0002'c1' 0001'w' 0001'p' 0002'me' 0002'pw'"},
        {connect("c1", [](auto &c) { c.will_payload = nullptr; }),
         "10 1b 0004'MQTT'04 f6 003c 0002'c1' 0001'w' 0000 0002'me' 0002'pw'"},
        {publish("t", 0, 0, 1024), "30 8308 0001't' 70*1024"},
        {ack(MQTT_PACKET_PUBREC, 0, 0xFFFF), "50 02 ffff"},
        {subscribe(FILTERS, 3), "82 0f 0002 0003'a/#'01 0000 02 0001'+'03"},
        {unsubscribe(FILTERS + 3, 1), "a2 44 0003 0040 66*64"},
        {suback(CODES.data(), 16382), "90 808001 0004 01*16382"},
    };
    agent_log_set_level(AGENT_LOG_FATAL);
    for (const auto &[packet, text] : cases) {
        const bytes expected = lay(text);
        const size_t size = expected.size();
        for (size_t capacity = size > 2000 ? size - 9 : 1; capacity <= size + 1; ++capacity) {
            const zep_test::guarded_bytes room(capacity);
            uint32_t len = room.size();
            const uint32_t version = capacity % 2 == 0 ? 4 : 5;
            const int32_t status = mqtt_packet_encode(version, &packet, room.data(), &len);
            ASSERT_EQ(status, capacity < size ? MQTT_ERR_INVALID_PARAM : MQTT_OK) << text;
            if (status == MQTT_OK) {
                EXPECT_EQ(bytes(room.data(), room.data() + len), expected);
            }
        }
    }
}

TEST(v311_encoder, refusals) {
    const std::string v311 = "[ERROR] mqtt_packet_encode_v311: ";
    const std::string id_invalid = v311 + "ClientID无效/过长\n";
    const std::string topic_invalid = "[ERROR] PUBLISH报文编码失败：主题协议合规校验失败（topic=";
    const struct {
        mqtt_packet packet;
        int32_t status;
        std::string last_line;
    } cases[] = {
        {connect("", AS_IT_IS), -101, id_invalid},
        {connect("123456789012345678901234", AS_IT_IS), -101, id_invalid},
        {connect("c1", [](auto &c) { c.will_topic = ""; }), -101, ""},
        {connect("c1", [](auto &c) { c.will_topic = nullptr; }), -101, ""},
        {connect("c1", [](auto &c) { c.will_payload_len = 65536; }), -101, ""},
        {connect("c1", [](auto &c) { c.username = ""; }), -101, ""},
        {connect("c1", [](auto &c) { c.password = nullptr; }), -101, ""},
        {packet_of(2, 0, [](auto &body) { body.connack = {0, 16}; }), -101, ""},
        {publish("t", 0, 0, 1025), -101, ""},
        {publish("t", 0, 0, 1, nullptr), -101, ""},
        {publish("t", 4, 1, 0), -101, ""},
        {publish("+", 0, 0, 0), -104, topic_invalid + "+）\n"},
        {publish(nullptr, 0, 0, 0), -104, topic_invalid + "(null)）\n"},
        {publish("t", 2, 129, 0), -101, v311 + "PacketID校验失败, msg_id=129\n"},
        {ack(MQTT_PACKET_PUBREL, 1, 129), -101, v311 + "PacketID校验失败, msg_id=129\n"},
        {suback(nullptr, 1), -101, ""},
        {suback(CODES.data(), 0), -101, ""},
        {subscribe(nullptr, 1), -101, ""},
        {subscribe(FILTERS, 1, nullptr), -101, ""},
        {subscribe(FILTERS + 5, 1), -101, ""},
        {subscribe(BAD_SECOND, 2), -104, ""},
        {unsubscribe(nullptr, 1), -101, ""},
        {unsubscribe(FILTERS, -1), -101, ""},
        {unsubscribe(FILTERS + 3, 2), -104, ""},
        {ack(MQTT_PACKET_PINGREQ, 1, 0), -101, v311 + "非法报文类型获取msgid\n"},
        {ack(MQTT_PACKET_CONNACK, 1, 0), -101, v311 + "非法报文类型获取msgid\n"},
        {ack(0, 0, 0), -101, v311 + "未知的MQTT报文类型 type=0\n"},
        {ack(15, 0, 0), -101, v311 + "未知的MQTT报文类型 type=15\n"},
    };
    bytes room(70000);
    uint32_t len = 0;
    const auto refuse = [&](const mqtt_packet *packet, uint32_t capacity, int32_t status, const std::string &line) {
        zep_test::log_capture log;
        len = capacity;
        EXPECT_EQ(mqtt_packet_encode_v311(packet, room.data(), &len), status) << line;
        const std::string lines = log.take();
        EXPECT_TRUE(line.empty() ? lines.empty() : lines.ends_with(line)) << lines;
    };
    for (const auto &[packet, status, last_line] : cases) {
        refuse(&packet, 70000, status, last_line);
    }
    const mqtt_packet long_publish = publish("t", 0, 0, 197), good = ack(MQTT_PACKET_PUBACK, 0, 1);
    refuse(&long_publish, 202, -101, "[ERROR] 缓冲区不足，需要长度=203，实际长度=202\n");
    refuse(nullptr, 70000, -101, v311 + "入参无效/缓冲区为空\n");
    refuse(&good, 0, -101, v311 + "入参无效/缓冲区为空\n");
    EXPECT_EQ(mqtt_packet_encode_v311(&good, nullptr, &len), -101);
    EXPECT_EQ(mqtt_packet_encode_v311(&good, room.data(), nullptr), -101);
}
// clang-format on

TEST(v311_encoder, versions) {
    const mqtt_packet packet = ack(MQTT_PACKET_PUBREL, 1, 0);
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

}  // namespace
