#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/encoder.h>

#include "support/guarded_bytes.h"
#include "support/log_capture.h"
#include "support/packets.h"

namespace {

using zep_test::bytes;
using zep_test::lay;

const std::string FILTER_64(64, 'f');
const std::string FILTER_65(65, 'f');
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

mqtt_packet bare(uint32_t type, uint32_t qos = 0) {
    return packet_of(type, qos, [](auto &) {});
}

mqtt_packet connect(const char *id) {
    return packet_of(MQTT_PACKET_CONNECT, 0, [=](auto &body) {
        std::memcpy(body.connect.client_id, id, strnlen(id, 24));
        body.connect.keep_alive = 60;
    });
}

// Will, user name and password, then what the caller changes.
template <typename fill>
mqtt_packet full_connect(fill change) {
    mqtt_packet packet = connect("c1");
    mqtt_packet_connect &c = packet.body.connect;
    c.will_flag = c.will_retain = c.has_username = c.has_password = 1;
    c.will_qos = 2;
    c.will_topic = "w";
    c.will_payload = PAYLOAD.data();
    c.will_payload_len = 1;
    c.username = "me";
    c.password = "pw";
    change(c);
    return packet;
}

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

mqtt_packet connack(uint8_t present, uint8_t code) {
    return packet_of(2, 0, [=](auto &body) { body.connack = {present, code}; });
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
TEST(v311_encoder, what_fits_exactly_and_what_is_refused) {
    mqtt_packet flagged = publish("t", 2, 128, 0);
    flagged.dup = flagged.retain = 1;
    const std::string id_invalid = "[ERROR] mqtt_packet_encode_v311: ClientID无效/过长\n";
    const std::string msg_id_invalid = "[ERROR] mqtt_packet_encode_v311: PacketID校验失败, msg_id=129\n";
    const std::string no_msg_id = "[ERROR] mqtt_packet_encode_v311: 非法报文类型获取msgid\n";
    const struct {
        mqtt_packet packet;
        uint32_t capacity;
        int32_t status;
        std::string result;  // the packet, or the log of a refusal
    } cases[] = {
        {full_connect([](auto &) {}), 30, 0, "10 1c 0004'MQTT'04 f6 003c 0002'c1' 0001'w' 0001'p' 0002'me' 0002'pw'"},
        {full_connect([](auto &c) { c.will_payload = nullptr; }), 29, 0,
         "10 1b 0004'MQTT'04 f6 003c 0002'c1' 0001'w' 0000 0002'me' 0002'pw'"},
        {connack(7, 15), 4, 0, "20 02 01 0f"},
        {flagged, 7, 0, "3d 05 0001't' 0080"},
        {publish("t", 0, 0, 197), 203, 0, "30 c801 0001't' 70*197"},
        {publish("t", 0, 0, 1024), 1030, 0, "30 8308 0001't' 70*1024"},
        {ack(MQTT_PACKET_PUBREC, 0, 0xFFFF), 4, 0, "50 02 ffff"},
        {subscribe(FILTERS, 3), 17, 0, "82 0f 0002 0003'a/#'01 0000 02 0001'+'03"},
        {unsubscribe(FILTERS, 2), 11, 0, "a2 09 0003 0003'a/#' 0000"},
        {unsubscribe(FILTERS + 3, 1), 70, 0, "a2 44 0003 0040 66*64"},
        {suback(CODES.data(), 16382), 16388, 0, "90 808001 0004 01*16382"},

        {connect(""), 100, -101, id_invalid},
        {connect("123456789012345678901234"), 100, -101, id_invalid},
        {connect("12345678901234567890123"), 36, -101, id_invalid},
        {connect(""), 11, -101, ""},
        {full_connect([](auto &c) { c.will_topic = ""; }), 100, -101, ""},
        {full_connect([](auto &c) { c.will_topic = nullptr; }), 100, -101, ""},
        {full_connect([](auto &c) { c.will_payload_len = 65536; }), 70000, -101, ""},
        {full_connect([](auto &c) { c.username = ""; }), 100, -101, ""},
        {full_connect([](auto &c) { c.username = nullptr; }), 100, -101, ""},
        {full_connect([](auto &c) { c.password = nullptr; }), 100, -101, ""},
        {connack(0, 16), 100, -101, ""},
        {publish("t", 0, 0, 1025), 2000, -101, ""},
        {publish("t", 0, 0, 1, nullptr), 100, -101, ""},
        {publish("t", 4, 1, 0), 100, -101, ""},
        {publish("+", 0, 0, 0), 1, -104, "[ERROR] [协议合规] 发布主题非法：包含通配符+/#（MQTT 3.1.1禁止），topic=+\n"
         "[ERROR] PUBLISH报文编码失败：主题协议合规校验失败（topic=+）\n"},
        {publish(nullptr, 0, 0, 0), 100, -104, "[ERROR] [协议合规] 主题非法：空指针或空字符串（MQTT 3.1.1禁止）\n"
         "[ERROR] PUBLISH报文编码失败：主题协议合规校验失败（topic=(null)）\n"},
        {publish("t", 0, 0, 197), 202, -101, "[ERROR] 缓冲区不足，需要长度=203，实际长度=202\n"},
        {suback(nullptr, 1), 100, -101, ""},
        {suback(CODES.data(), 0), 100, -101, ""},
        {subscribe(nullptr, 1), 100, -101, ""},
        {subscribe(FILTERS, 1, nullptr), 100, -101, ""},
        {subscribe(FILTERS, 0), 100, -101, ""},
        {subscribe(FILTERS + 5, 1), 100, -101, ""},
        {unsubscribe(nullptr, 1), 100, -101, ""},
        {unsubscribe(FILTERS, -1), 100, -101, ""},
        {subscribe(BAD_SECOND, 2), 200, -104, ""},
        {subscribe(BAD_SECOND, 2), 7, -101, ""},
        {unsubscribe(FILTERS + 3, 2), 200, -104, ""},
        {publish("t", 2, 129, 0), 100, -101, msg_id_invalid},
        {ack(MQTT_PACKET_PUBREL, 1, 129), 100, -101, msg_id_invalid},
        {bare(MQTT_PACKET_CONNACK, 1), 100, -101, no_msg_id},
        {bare(MQTT_PACKET_PINGREQ, 1), 100, -101, no_msg_id},
        {bare(0), 100, -101, "[ERROR] mqtt_packet_encode_v311: 未知的MQTT报文类型 type=0\n"},
        {bare(15), 100, -101, "[ERROR] mqtt_packet_encode_v311: 未知的MQTT报文类型 type=15\n"},
    };
    for (const auto &[packet, capacity, status, result] : cases) {
        const zep_test::guarded_bytes room(capacity);
        uint32_t len = capacity;
        zep_test::log_capture log;
        EXPECT_EQ(mqtt_packet_encode_v311(&packet, room.data(), &len), status) << result;
        EXPECT_EQ(log.take(), status == 0 ? "" : result);
        if (status == MQTT_OK) {
            EXPECT_EQ(bytes(room.data(), room.data() + len), lay(result));
        }
        for (uint32_t less = status == 0 ? capacity - std::min(capacity, 31u) : capacity; less < capacity; ++less) {
            const zep_test::guarded_bytes small(less);
            uint32_t size = less;
            EXPECT_EQ(mqtt_packet_encode(5, &packet, small.data(), &size), MQTT_ERR_INVALID_PARAM) << result;
        }
    }
}
// clang-format on

TEST(v311_encoder, arguments_and_version) {
    const mqtt_packet packet = ack(MQTT_PACKET_PUBREL, 1, 0);
    uint8_t room[8];
    uint32_t len = sizeof room, none = 0;
    using arguments = std::tuple<const mqtt_packet *, uint8_t *, uint32_t *>;
    for (const auto &[record, buffer, size] : {arguments{nullptr, room, &len},
                                               {&packet, nullptr, &len},
                                               {&packet, room, nullptr},
                                               {&packet, room, &none}}) {
        zep_test::log_capture log;
        EXPECT_EQ(mqtt_packet_encode(3, record, buffer, size), MQTT_ERR_INVALID_PARAM);
        EXPECT_EQ(mqtt_packet_encode_v311(record, buffer, size), MQTT_ERR_INVALID_PARAM);
        EXPECT_EQ(log.take(),
                  "[ERROR] MQTT_PROTOCOL: 编码入参非法：空指针/缓冲区无效\n"
                  "[ERROR] mqtt_packet_encode_v311: 入参无效/缓冲区为空\n");
    }
    zep_test::log_capture log;
    EXPECT_EQ(mqtt_packet_encode(3, &packet, room, &len), MQTT_ERR_VERSION_UNSUPPORTED);
    EXPECT_EQ(mqtt_packet_encode(5, &packet, room, &len), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(log.take(),
              "[ERROR] MQTT_PROTOCOL: 不支持的MQTT版本：3，当前仅支持3.1.1/5.0\n"
              "[ERROR] MQTT_PROTOCOL: MQTT编码失败：版本=3 报文类型=6\n"
              "[ERROR] mqtt_packet_encode_v311: PacketID校验失败, msg_id=0\n"
              "[ERROR] MQTT_PROTOCOL: MQTT编码失败：版本=5 报文类型=6\n");
}

}  // namespace
