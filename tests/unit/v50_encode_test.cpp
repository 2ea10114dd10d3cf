// Every encoder of the 5.0 codec: layouts laid by hand, and what is refused.
#include <functional>

#include <zep_mqtt/protocol/v50/ack.h>
#include <zep_mqtt/protocol/v50/connack.h>
#include <zep_mqtt/protocol/v50/connect.h>
#include <zep_mqtt/protocol/v50/disconnect.h>
#include <zep_mqtt/protocol/v50/publish.h>
#include <zep_mqtt/protocol/v50/suback.h>
#include <zep_mqtt/protocol/v50/subscribe.h>
#include <zep_mqtt/protocol/v50/unsuback.h>
#include <zep_mqtt/protocol/v50/unsubscribe.h>

#include "unit/v50_support.h"

using zep_test::bytes;
using zep_test::lay;

namespace {

using encoder = std::function<int32_t(uint8_t *, uint32_t *)>;

// The encoder of a record, bound to one.
template <typename Record>
encoder of(int32_t (*encode)(const Record *, uint8_t *, uint32_t *), const Record &record) {
    return [=](uint8_t *buffer, uint32_t *length) { return encode(&record, buffer, length); };
}

const std::string T64(64, 't');
const std::string T65(65, 't');
const std::string G32(32, 'g');
const std::string LONGEST(65535, 'x');
const std::string TOO_LONG(65536, 'x');

template <size_t N>
void set(char (&field)[N], const std::string &text) {
    std::memcpy(field, text.c_str(), std::min(text.size() + 1, N));
}

// A CONNECT with a will, and what is changed in it.
template <typename Change>
encoder connect(Change change) {
    mqtt50_connect record = {};
    record.protocol_version = 5;
    set(record.client_id, "c1");
    record.clean_start = 1;
    record.keep_alive = 60;
    record.will_flag = 1;
    record.will_topic = "w";
    change(record);
    return of(mqtt50_conn_encode, record);
}

encoder connect_as(const char *name) {
    return connect([=](auto &c) { c.will_flag = 0, c.has_username = 1, c.username = name; });
}

encoder connack(uint32_t expiry, uint32_t size, uint16_t maximum) {
    return [=](uint8_t *buffer, uint32_t *length) {
        return mqtt50_connack_encode(7, 0, expiry, size, maximum, buffer, length);
    };
}

encoder publish(const std::string &topic, const char *payload, uint8_t qos = 0) {
    mqtt50_publish record = {};
    set(record.topic, topic);
    record.qos = qos;
    record.payload_len = static_cast<uint32_t>(std::strlen(payload));
    record.payload = reinterpret_cast<const uint8_t *>(payload);
    return of(mqtt50_publish_encode, record);
}

encoder ack(uint8_t type, mqtt50_ack record) {
    return [=](uint8_t *buffer, uint32_t *length) {
        return mqtt50_ack_encode(type, &record, buffer, length);
    };
}

encoder share(const std::string &group, const std::string &filter, uint16_t msg_id = 1,
              bool is_shared = true) {
    mqtt50_subscribe record = {msg_id, "", 1, is_shared, "", 0, 0, 0};
    set(record.topic, filter);
    set(record.share_group, group);
    return of(mqtt50_subscribe_encode, record);
}

encoder subscribe(uint16_t msg_id, const std::string &filter) {
    return share("", filter, msg_id, false);
}

encoder unsubscribe(uint16_t msg_id, const std::string &filter) {
    mqtt50_unsubscribe record = {msg_id, ""};
    set(record.topic, filter);
    return of(mqtt50_unsubscribe_encode, record);
}

encoder suback(uint16_t msg_id, uint8_t count) {
    return of(mqtt50_suback_encode, {msg_id, {}, count, {0, 1, 2, 0x80, 0x87, 0x91, 0x97, 0xa2}});
}

}  // namespace

// clang-format off
TEST(v50_encode, what_fits_and_what_is_refused) {
    static const uint8_t byte = 0;
    const std::string composed = "INFO MQTT50 SUB: 共享订阅主题拼接完成：$share/" + G32 + "/" + T64.substr(39) + "\n";
    const struct {
        encoder encode;
        uint32_t capacity;
        int32_t status;
        std::string log;     // not looked at when empty
        const char *packet = nullptr;  // of an encoder that succeeds
    } cases[] = {
        {connect([](auto &c) { c.will_flag = 0; }), 512, 0, "INFO MQTT50 CONN编码完成:总长度=17,ClientID=c1,用户名=无,Will启用=0", "10 0f 0004 'MQTT' 05 02 003c 00 0002 'c1'"},
        {connect_as(LONGEST.c_str()), 65556, 0, "", "10 90 80 04 0004 'MQTT' 05 82 003c 00 0002 'c1' ffff 78*65535"},
        {connack(0x01020304, 0x05060708, 0x090a), 18, 0, "INFO ✅ MQTT50 CONNACK编码完成:总长度=18 原因码=0x00", "20 10 01 00 0d 11 01020304 27 05060708 21 090a"},
        {publish("a", "x"), 66, 0, "INFO ✅ MQTT50 PUB编码完成:总长度=7,主题=a,QoS=0,报文ID=0,过期时间=0s", "30 05 0001 'a' 00 'x'"},
        {publish(T64, &LONGEST[65535 - 61]), 189, 0, "", "30 80 01 0040 74*64 00 78*61"},
        {ack(4, {1, 0x10}), 10, 0, "INFO ✅ MQTT50 ACK编码完成:类型=0x04,msgid=1,原因码=0x10,编码长度=5", "40 03 0001 10"},
        {subscribe(1, "a/b"), 64, 0, "INFO ✅ MQTT50 SUB编码完成:总长度=11,msg_id=1,最终主题=a/b,QoS=1,共享订阅=0", "82 09 0001 00 0003 'a/b' 01"},
        {share(G32, T64.substr(40)), 72, 0, "", "82 46 0001 00 0040 '$share/' 67*32 '/' 74*24 01"},
        {unsubscribe(2, "x"), 32, 0, "INFO ✅ MQTT50 UNSUB编码完成:总长度=8,msg_id=2,主题=x", "a2 06 0002 00 0001 'x'"},
        {unsubscribe(2, T64), 71, 0, "", "a2 45 0002 00 0040 74*64"},
        {of(mqtt50_disconnect_encode, {4, 30}), 16, 0, "INFO ✅ MQTT50 DISCONN编码完成:总长度=9,断开原因码=0x04,会话过期=30s", "e0 07 04 05 11 0000001e"},
        {suback(5, 8), 16, 0, "INFO ✅ MQTT50 SUBACK编码完成:msgid=5,订阅数=8", "90 0b 0005 00 00 01 02 80 87 91 97 a2"},
        {of(mqtt50_unsuback_encode, {7, 0x11}), 8, 0, "INFO ✅ MQTT50 UNSUBACK编码完成:msgid=7,原因码=0x11", "b0 04 0007 00 11"},

        {connect([](auto &) {}), 511, -101, "ERROR MQTT50 CONN: 缓冲区过小或版本错误"},
        {connect([](auto &c) { c.protocol_version = 4; }), 512, -101, "ERROR MQTT50 CONN: 缓冲区过小或版本错误"},
        {connect([](auto &c) { c.client_id[0] = 0; }), 512, -119, "ERROR MQTT50 CONN: ClientID非法，长度=0"},
        {connect([](auto &c) { set(c.client_id, T64); }), 512, -119, "ERROR MQTT50 CONN: ClientID非法，长度=24"},
        {connect_as(TOO_LONG.c_str()), 99999, -101, "ERROR MQTT50 CONN: 用户名标识启用但用户名非法"},
        {connect([](auto &c) { c.has_password = 1; }), 512, -101, "ERROR MQTT50 CONN: 密码标识启用但密码非法"},
        {connect([](auto &c) { c.will_topic = nullptr; }), 512, -101, "ERROR MQTT50 CONN: Will主题非法，长度=0"},
        {connect([](auto &c) { c.will_topic = "a/#"; }), 512, -101, "ERROR MQTT50 CONN: Will主题非法，长度=3"},
        {connect([](auto &c) { c.will_topic = TOO_LONG.c_str(); }), 99999, -101, "ERROR MQTT50 CONN: Will主题非法，长度=65536"},
        {connect([](auto &c) { c.will_payload_len = 1; }), 512, -101, "ERROR MQTT50 CONN: Will载荷非法，长度=1"},
        {connect([](auto &c) { c.will_payload = &byte, c.will_payload_len = 65536; }), 99999, -101, "ERROR MQTT50 CONN: Will载荷非法，长度=65536"},
        {connect([](auto &c) { c.will_qos = 3; }), 512, -101, "ERROR MQTT50 CONN: Will QoS非法（仅支持0/1/2）：3"},
        {connect_as(&LONGEST[65535 - 493]), 512, -114, "ERROR MQTT50 CONN: 缓冲区过小"},
        {connack(0, 0, 0), 5, -101, "ERROR 50 CONNACK编码:入参非法/缓冲区过小"},
        {connack(1, 1, 1), 17, -114, "ERROR 50 CONNACK编码:入参非法/缓冲区过小"},
        {publish("", ""), 99, -101, "ERROR MQTT50 PUB: 主题/载荷/报文ID非法，topic_len=0 payload_len=0 msg_id=0"},
        {publish(T65, ""), 199, -101, "ERROR MQTT50 PUB: 主题/载荷/报文ID非法，topic_len=65 payload_len=0 msg_id=0"},
        {publish("a", "x", 2), 99, -101, "ERROR MQTT50 PUB: 主题/载荷/报文ID非法，topic_len=1 payload_len=1 msg_id=0"},
        {of(mqtt50_publish_encode, {"a", 1, 0, 7, 2, nullptr, 0, 0}), 99, -101, "ERROR MQTT50 PUB: 主题/载荷/报文ID非法，topic_len=1 payload_len=2 msg_id=7"},
        {publish("a", "x"), 65, -114, "ERROR MQTT50 PUB: 缓冲区过小"},
        {of(mqtt50_publish_encode, {"a", 0, 0, 0, UINT32_MAX, &byte, 0, 0}), 99, -114, "ERROR MQTT50 PUB: 缓冲区过小"},
        {ack(4, {0, 0}), 32, -101, "ERROR MQTT50 ACK: 入参非法/msgid为空"},
        {ack(4, {1, 0}), 9, -114, "ERROR MQTT50 ACK: 缓冲区过小（需≥10字节）"},
        {subscribe(0, "a"), 64, -101, "ERROR MQTT50 SUB: 缓冲区过小或MsgId为空 msg_id=0, 要求最小长度=64"},
        {subscribe(1, "a"), 63, -101, "ERROR MQTT50 SUB: 缓冲区过小或MsgId为空 msg_id=1, 要求最小长度=64"},
        {subscribe(1, T65), 72, -101, "ERROR MQTT50 SUB: 订阅过滤器非法，长度=65"},
        {subscribe(1, T64), 71, -114, "ERROR MQTT50 SUB: 缓冲区过小"},
        {share("", "a"), 72, -101, "ERROR MQTT50 SUB: 共享组名非法，长度=0"},
        {share(G32 + "g", "a"), 72, -101, "ERROR MQTT50 SUB: 共享组名非法，长度=33"},
        {share(G32, T64.substr(39)), 72, -101, composed + "ERROR MQTT50 SUB: 订阅过滤器非法，长度=65"},
        {unsubscribe(0, "x"), 32, -101, "ERROR MQTT50 UNSUB: 缓冲区过小或MsgId为空"},
        {unsubscribe(2, T65), 72, -101, "ERROR MQTT50 UNSUB: 取消订阅过滤器非法，长度=65"},
        {unsubscribe(2, T64), 70, -114, "ERROR MQTT50 UNSUB: 缓冲区溢出"},
        {of(mqtt50_disconnect_encode, {0, 0}), 15, -114, "ERROR MQTT50 DISCONN: 缓冲区过小"},
        {suback(0, 1), 99, -101, "ERROR MQTT50 SUBACK: 入参非法"},
        {suback(5, 9), 99, -101, "ERROR MQTT50 SUBACK: 入参非法"},
        {suback(5, 8), 15, -114, "ERROR MQTT50 SUBACK: 缓冲区过小"},
        {of(mqtt50_unsuback_encode, {0, 0}), 8, -101, "ERROR MQTT50 UNSUBACK: 入参非法"},
        {of(mqtt50_unsuback_encode, {7, 0x11}), 7, -114, ""},
    };
    for (const auto &[encode, capacity, status, log, packet] : cases) {
        const zep_test::guarded_bytes buffer(capacity);
        std::memset(buffer.data(), 0xAA, capacity);
        uint32_t length = capacity;
        zep_test::log_capture capture;
        EXPECT_EQ(encode(buffer.data(), &length), status) << log;
        const std::string lines = short_log(capture);
        EXPECT_EQ(lines, log.empty() ? lines : log + "\n");
        bytes expected = status == 0 ? lay(packet) : bytes(capacity, 0xAA);
        EXPECT_EQ(length, expected.size()) << log;
        // SUBACK, UNSUBSCRIBE and UNSUBACK leave what is behind the packet, all others clear it.
        const int type = expected[0] >> 4;
        expected.resize(capacity, type < 9 || type > 11 ? 0 : 0xAA);
        EXPECT_EQ(bytes(buffer.data(), buffer.data() + capacity), expected) << log;
    }
    uint8_t first = 0;
    uint32_t length = UINT32_MAX;  // nothing is read or written
    EXPECT_EQ(of(mqtt50_publish_encode, {"a", 0, 0, 0, 268435455, &byte, 0, 0})(&first, &length), -124);
}
// clang-format on

// Without a record, a buffer or a length.
template <typename Record>
void expect_null_pointers_refused(int32_t (*encode)(const Record *, uint8_t *, uint32_t *),
                                  const std::string &text) {
    const Record record = {};
    uint8_t buffer[512];
    uint32_t length = sizeof buffer;
    zep_test::log_capture log;
    EXPECT_EQ(encode(nullptr, buffer, &length), -101);
    EXPECT_EQ(encode(&record, nullptr, &length), -101);
    EXPECT_EQ(encode(&record, buffer, nullptr), -101);
    const std::string line = "ERROR MQTT50 " + text + "\n";
    EXPECT_EQ(short_log(log), line + line + line);
}

TEST(v50_encode, null_pointers) {
    expect_null_pointers_refused(mqtt50_conn_encode, "CONN: 入参空指针");
    expect_null_pointers_refused(mqtt50_publish_encode, "PUB: 入参空指针");
    expect_null_pointers_refused(mqtt50_subscribe_encode, "SUB: 入参空指针");
    expect_null_pointers_refused(mqtt50_unsubscribe_encode, "UNSUB: 入参空指针");
    expect_null_pointers_refused(mqtt50_disconnect_encode, "DISCONN: 入参空指针");
    expect_null_pointers_refused(mqtt50_suback_encode, "SUBACK: 入参非法");
    expect_null_pointers_refused(mqtt50_unsuback_encode, "UNSUBACK: 入参非法");
    expect_null_pointers_refused<mqtt50_ack>(
        [](const mqtt50_ack *record, uint8_t *buffer, uint32_t *length) {
            return mqtt50_ack_encode(4, record, buffer, length);
        },
        "ACK: 入参非法/msgid为空");
    uint8_t buffer[18];
    uint32_t length = sizeof buffer;
    EXPECT_EQ(mqtt50_connack_encode(0, 0, 0, 0, 0, nullptr, &length), -101);
    EXPECT_EQ(mqtt50_connack_encode(0, 0, 0, 0, 0, buffer, nullptr), -101);
}
