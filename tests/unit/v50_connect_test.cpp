#include <functional>

#include <zep_mqtt/protocol/v50/connect.h>

#include "unit/v50_support.h"

using zep_test::encoding;
using zep_test::lay;

namespace {

mqtt50_connect minimal() {
    mqtt50_connect connect = {};
    connect.protocol_version = 5;
    std::strcpy(connect.client_id, "c1");
    connect.clean_start = 1;
    connect.keep_alive = 60;
    return connect;
}

mqtt50_connect with_will() {
    mqtt50_connect connect = minimal();
    connect.will_flag = 1;
    connect.will_topic = "w";
    return connect;
}

encoding encode(const mqtt50_connect &connect, uint32_t capacity = 512) {
    return zep_test::encode(mqtt50_conn_encode, connect, capacity);
}

}  // namespace

TEST(v50_connect, minimal_packet) {
    const encoding result = encode(minimal());
    EXPECT_EQ(result.packet, lay("10 0f 0004 'MQTT' 05 02 003c 00 0002 'c1'"));
    EXPECT_TRUE(result.rest_is_clear);
    EXPECT_EQ(result.log,
              "[INFO] MQTT5.0_PROTOCOL: MQTT50 CONN编码完成:总长度=17,ClientID=c1,用户名=无,"
              "Will启用=0\n");
}

TEST(v50_connect, full_packet) {
    mqtt50_connect connect = with_will();
    connect.clean_start = 0;
    connect.session_expiry = 0x01020304;
    connect.max_packet_size = 1028;
    connect.topic_alias_max = 0x0506;
    connect.will_payload = reinterpret_cast<const uint8_t *>("bye");
    connect.will_payload_len = 3;
    connect.will_qos = 2;
    connect.will_retain = 1;
    connect.has_username = 1;
    connect.username = "user";
    connect.has_password = 1;
    connect.password = "pw";
    const encoding result = encode(connect);
    EXPECT_EQ(result.packet,
              lay("10 2f 0004 'MQTT' 05 f4 003c 0d 11 01020304 27 00000404 22 0506 0002 'c1'"
                  "00 0001 'w' 0003 'bye' 0004 'user' 0002 'pw'"));
    EXPECT_EQ(result.log,
              "[INFO] MQTT5.0_PROTOCOL: MQTT50 CONN编码完成:总长度=49,ClientID=c1,用户名=user,"
              "Will启用=1\n");

    connect.clean_start = 1;  // no session expiry then
    EXPECT_EQ(encode(connect).packet,
              lay("10 2a 0004 'MQTT' 05 f6 003c 08 27 00000404 22 0506 0002 'c1'"
                  "00 0001 'w' 0003 'bye' 0004 'user' 0002 'pw'"));

    connect.will_flag = 0;  // nothing of the will is sent then
    EXPECT_EQ(encode(connect).packet,
              lay("10 21 0004 'MQTT' 05 c2 003c 08 27 00000404 22 0506 0002 'c1'"
                  "0004 'user' 0002 'pw'"));
}

TEST(v50_connect, lengths_at_their_limits) {
    mqtt50_connect connect = with_will();
    std::strcpy(connect.client_id, "12345678901234567890123");
    EXPECT_EQ(encode(connect).packet,
              lay("10 2a 0004 'MQTT' 05 06 003c 00 0017 '12345678901234567890123'"
                  "00 0001 'w' 0000"));

    const std::string name(100, 'n');
    connect = minimal();
    connect.has_username = 1;
    connect.username = name.c_str();
    EXPECT_EQ(encode(connect).packet, lay("10 75 0004 'MQTT' 05 82 003c 00 0002 'c1' 0064 6e*100"));
    const std::string longer(111, 'n');
    connect.username = longer.c_str();
    EXPECT_EQ(encode(connect).packet,
              lay("10 80 01 0004 'MQTT' 05 82 003c 00 0002 'c1' 006f 6e*111"));

    const std::string longest(65535, 'n');
    connect.username = longest.c_str();
    const encoding result = encode(connect, 65556);
    ASSERT_EQ(result.status, 0);
    EXPECT_EQ(result.packet.size(), 65556U);
    EXPECT_EQ(encode(connect, 65555).status, -114);
}

TEST(v50_connect, refusals) {
    static const std::string too_long(65536, 'x');
    static const uint8_t byte = 0;
    const struct {
        const char *text;
        int32_t status;
        uint32_t capacity;
        std::function<void(mqtt50_connect &)> change;
    } cases[] = {
        {"缓冲区过小或版本错误", -101, 511, [](auto &) {}},
        {"缓冲区过小或版本错误", -101, 512, [](auto &c) { c.protocol_version = 4; }},
        {"ClientID非法，长度=0", -119, 512, [](auto &c) { c.client_id[0] = 0; }},
        {"ClientID非法，长度=24", -119, 512, [](auto &c) { std::memset(c.client_id, 'a', 24); }},
        {"用户名标识启用但用户名非法", -101, 512, [](auto &c) { c.has_username = 1; }},
        {"用户名标识启用但用户名非法", -101, 512,
         [](auto &c) { c.has_username = 1, c.username = ""; }},
        {"用户名标识启用但用户名非法", -101, 200000,
         [](auto &c) { c.has_username = 1, c.username = too_long.c_str(); }},
        {"密码标识启用但密码非法", -101, 512, [](auto &c) { c.has_password = 1; }},
        {"密码标识启用但密码非法", -101, 512, [](auto &c) { c.has_password = 1, c.password = ""; }},
        {"Will主题非法，长度=0", -101, 512, [](auto &c) { c.will_topic = nullptr; }},
        {"Will主题非法，长度=0", -101, 512, [](auto &c) { c.will_topic = ""; }},
        {"Will主题非法，长度=3", -101, 512, [](auto &c) { c.will_topic = "a/#"; }},
        {"Will主题非法，长度=3", -101, 512, [](auto &c) { c.will_topic = "+/a"; }},
        {"Will主题非法，长度=65536", -101, 200000,
         [](auto &c) { c.will_topic = too_long.c_str(); }},
        {"Will载荷非法，长度=1", -101, 512, [](auto &c) { c.will_payload_len = 1; }},
        {"Will载荷非法，长度=65536", -101, 200000,
         [](auto &c) { c.will_payload = &byte, c.will_payload_len = 65536; }},
        {"Will QoS非法（仅支持0/1/2）：3", -101, 512, [](auto &c) { c.will_qos = 3; }},
        {"缓冲区过小", -114, 512,
         [](auto &c) { c.has_username = 1, c.username = too_long.c_str() + 65536 - 487; }},
    };
    for (const auto &refused : cases) {
        mqtt50_connect connect = with_will();
        refused.change(connect);
        const encoding result = encode(connect, refused.capacity);
        EXPECT_EQ(result.status, refused.status) << refused.text;
        EXPECT_EQ(result.log,
                  std::string("[ERROR] MQTT5.0_PROTOCOL: MQTT50 CONN: ") + refused.text + "\n");
    }
    zep_test::expect_null_pointers_refused(mqtt50_conn_encode, "MQTT50 CONN: 入参空指针");
}
