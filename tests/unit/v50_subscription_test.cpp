#include <functional>

#include <zep_mqtt/protocol/v50/suback.h>
#include <zep_mqtt/protocol/v50/subscribe.h>
#include <zep_mqtt/protocol/v50/unsuback.h>
#include <zep_mqtt/protocol/v50/unsubscribe.h>

#include "unit/v50_support.h"

using zep_test::bytes;
using zep_test::encoding;
using zep_test::guarded_bytes;
using zep_test::lay;

namespace {

mqtt50_subscribe subscribe_to(const char *filter) {
    mqtt50_subscribe subscribe = {};
    subscribe.msg_id = 1;
    subscribe.qos = 1;
    std::strncpy(subscribe.topic, filter, sizeof subscribe.topic);
    return subscribe;
}

mqtt50_subscribe share(const char *group, const char *filter) {
    mqtt50_subscribe subscribe = subscribe_to(filter);
    subscribe.is_shared = 1;
    std::strncpy(subscribe.share_group, group, sizeof subscribe.share_group);
    return subscribe;
}

encoding encode(const mqtt50_subscribe &subscribe, uint32_t capacity = 72) {
    return zep_test::encode(mqtt50_subscribe_encode, subscribe, capacity);
}

encoding encode(const mqtt50_unsubscribe &unsubscribe, uint32_t capacity = 71) {
    return zep_test::encode(mqtt50_unsubscribe_encode, unsubscribe, capacity);
}

const std::string LONG_64(64, 'f');
const std::string LONG_65(65, 'f');
const std::string GROUP_33(33, 'g');

}  // namespace

TEST(v50_subscribe, encoded_packets) {
    encoding result = encode(subscribe_to("a/b"));
    EXPECT_EQ(result.packet, lay("82 09 0001 00 0003 'a/b' 01"));
    EXPECT_TRUE(result.rest_is_clear);
    EXPECT_EQ(result.log,
              "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 SUB编码完成:总长度=11,msg_id=1,最终主题=a/b,QoS=1,"
              "共享订阅=0\n");

    result = encode(share("g1", "t"));
    EXPECT_EQ(result.packet, lay("82 11 0001 00 000b '$share/g1/t' 01"));
    EXPECT_EQ(result.log,
              "[INFO] MQTT5.0_PROTOCOL: MQTT50 SUB: 共享订阅主题拼接完成：$share/g1/t\n"
              "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 SUB编码完成:总长度=19,msg_id=1,"
              "最终主题=$share/g1/t,QoS=1,共享订阅=1\n");

    mqtt50_subscribe options = subscribe_to("t");
    options.qos = 2;
    options.no_local = 1;
    EXPECT_EQ(encode(options).packet.back(), 0x06);
    options.retain_as_published = 1;
    options.retain_handling = 2;
    EXPECT_EQ(encode(options).packet.back(), 0x2e);
    EXPECT_EQ(encode(subscribe_to(LONG_64.c_str())).packet, lay("82 46 0001 00 0040 66*64 01"));
    EXPECT_EQ(encode(share(GROUP_33.c_str() + 1, LONG_64.c_str() + 40)).packet,
              lay("82 46 0001 00 0040 '$share/' 67*32 '/' 66*24 01"));
}

TEST(v50_subscribe, refusals) {
    mqtt50_subscribe no_id = subscribe_to("a");
    no_id.msg_id = 0;
    const std::string composed =
        "共享订阅主题拼接完成：$share/" + GROUP_33.substr(1) + "/" + LONG_64.substr(39);
    const struct {
        mqtt50_subscribe subscribe;
        uint32_t capacity;
        int32_t status;
        std::string info;
        const char *error;
    } cases[] = {
        {no_id, 64, -101, "", "缓冲区过小或MsgId为空 msg_id=0, 要求最小长度=64"},
        {subscribe_to("a"), 63, -101, "", "缓冲区过小或MsgId为空 msg_id=1, 要求最小长度=64"},
        {subscribe_to(""), 72, -101, "", "订阅过滤器非法，长度=0"},
        {subscribe_to(LONG_65.c_str()), 72, -101, "", "订阅过滤器非法，长度=65"},
        {share("", "a"), 72, -101, "", "共享组名非法，长度=0"},
        {share(GROUP_33.c_str(), "a"), 72, -101, "", "共享组名非法，长度=33"},
        {share("g", ""), 72, -101, "", "订阅过滤器非法，长度=0"},
        {share("g", LONG_65.c_str()), 72, -101, "", "订阅过滤器非法，长度=65"},
        {share(GROUP_33.c_str() + 1, LONG_64.c_str() + 39), 72, -101, composed,
         "订阅过滤器非法，长度=65"},
        {subscribe_to(LONG_64.c_str()), 71, -114, "", "缓冲区过小"},
    };
    for (const auto &refused : cases) {
        const encoding result = encode(refused.subscribe, refused.capacity);
        EXPECT_EQ(result.status, refused.status) << refused.error;
        const std::string prefix = std::string("MQTT5.0_PROTOCOL: MQTT50 SUB: ");
        EXPECT_EQ(result.log,
                  (refused.info.empty() ? "" : "[INFO] " + prefix + refused.info + "\n") +
                      "[ERROR] " + prefix + refused.error + "\n");
    }
    zep_test::expect_null_pointers_refused(mqtt50_subscribe_encode, "MQTT50 SUB: 入参空指针");
}

TEST(v50_unsubscribe, encoder) {
    mqtt50_unsubscribe unsubscribe = {2, "x"};
    EXPECT_EQ(encode(unsubscribe, 32).packet, lay("a2 06 0002 00 0001 'x'"));
    EXPECT_EQ(encode(unsubscribe, 32).log,
              "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 UNSUB编码完成:总长度=8,msg_id=2,主题=x\n");
    std::strcpy(unsubscribe.topic, LONG_64.c_str());
    EXPECT_EQ(encode(unsubscribe).packet, lay("a2 45 0002 00 0040 66*64"));

    mqtt50_unsubscribe too_long = {2, ""};
    std::memset(too_long.topic, 'f', sizeof too_long.topic);
    const struct {
        mqtt50_unsubscribe unsubscribe;
        uint32_t capacity;
        int32_t status;
        const char *text;
    } cases[] = {
        {{2, "x"}, 31, -101, "缓冲区过小或MsgId为空"},
        {{0, "x"}, 32, -101, "缓冲区过小或MsgId为空"},
        {{2, ""}, 32, -101, "取消订阅过滤器非法，长度=0"},
        {too_long, 72, -101, "取消订阅过滤器非法，长度=65"},
        {unsubscribe, 70, -114, "缓冲区溢出"},
    };
    for (const auto &refused : cases) {
        const encoding result = encode(refused.unsubscribe, refused.capacity);
        EXPECT_EQ(result.status, refused.status) << refused.text;
        EXPECT_EQ(result.log,
                  std::string("[ERROR] MQTT5.0_PROTOCOL: MQTT50 UNSUB: ") + refused.text + "\n");
    }
    zep_test::expect_null_pointers_refused(mqtt50_unsubscribe_encode, "MQTT50 UNSUB: 入参空指针");
}

TEST(v50_suback, decoder) {
    const struct {
        const char *packet;
        int32_t status;
        uint16_t msg_id;
        bytes codes;
        bytes granted;
    } cases[] = {
        {"90 04 0005 00 01", 0, 5, {1}, {1}},
        {"90 0d 0005 00 00 01 02 80 87 91 97 a2 00 01",
         0,
         5,
         {0, 1, 2, 0x80, 0x87, 0x91, 0x97, 0xa2},
         {0, 1, 2, 0, 3, 1, 3, 2}},
        {"90 0b 0005 05 1f 0002 'no' 02 97 01", 0, 5, {2, 0x97, 1}, {2, 3, 1}},
        {"90 03 1234 00", 0, 0x1234, {}, {}},
        {"90 02 0005 ff", 0, 5, {}, {}},
        {"90 05 0005 02 1f 00", 0, 5, {}, {}},
        {"90 04 0005 7f 01", 0, 5, {}, {}},
        {"90 04 0005 80 81", 0, 5, {0x80, 0x81}, {0, 1}},
        {"91 04 0005 00 01", -120, 0, {}, {}},
        {"90 05 0005 00 01", -120, 0, {}, {}},
        {"90 81 08 0005", -120, 0, {}, {}},
        {"90 01 00 05 00", -120, 0, {}, {}},
        {"90 02 0005", -101, 0xAAAA, {}, {}},
    };
    for (const auto &expected : cases) {
        const guarded_bytes input(lay(expected.packet));
        mqtt50_suback suback;
        std::memset(&suback, 0xAA, sizeof suback);
        suback.count = 0;
        zep_test::log_capture log;
        const int32_t size = static_cast<int32_t>(input.size());
        EXPECT_EQ(mqtt50_suback_decode(input.data(), size, &suback), expected.status)
            << expected.packet;
        EXPECT_EQ(suback.msg_id, expected.msg_id) << expected.packet;
        ASSERT_LE(suback.count, 8);
        EXPECT_EQ(bytes(suback.reason_codes, suback.reason_codes + suback.count), expected.codes);
        EXPECT_EQ(bytes(suback.granted_qos, suback.granted_qos + suback.count), expected.granted);
        EXPECT_EQ(log.take(), expected.status == -120 ? ""
                              : expected.status == -101
                                  ? "[ERROR] MQTT5.0_PROTOCOL: 5.0 SUBACK解码:入参非法/报文过短\n"
                                  : "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 SUBACK解码完成:msgid=" +
                                        std::to_string(expected.msg_id) +
                                        ",订阅数=" + std::to_string(expected.codes.size()) + "\n");
    }
    mqtt50_suback suback;
    EXPECT_EQ(mqtt50_suback_decode(lay("90 04 0005 00 01").data(), -1, &suback), -101);
    EXPECT_EQ(mqtt50_suback_decode(lay("90 04 0005 00 01").data(), 6, nullptr), -101);
    EXPECT_EQ(mqtt50_suback_decode(nullptr, 6, &suback), -101);
}

TEST(v50_unsuback, decoder) {
    const struct {
        const char *packet;
        int32_t status;
        mqtt50_ack ack;
    } cases[] = {
        {"b0 04 0007 00 11", 0, {7, 0x11}},
        {"b0 05 0007 00 00 11", 0, {7, 0}},
        {"b0 09 0007 05 1f 0002 'no' 87", 0, {7, 0x87}},
        {"b0 03 0007 00", 0, {7, 0}},
        {"b0 02 0007 11", 0, {7, 0}},
        {"b0 04 0007 7f 11", 0, {7, 0}},
        {"b0 03 0007 80", 0, {7, 0x80}},
        {"b1 04 0007 00 11", -120, {0, 0}},
        {"b0 05 0007 00 11", -120, {0, 0}},
        {"b0 01 00 07", -120, {0, 0}},
        {"b0 02 00", -101, {0xAAAA, 0xAA}},
    };
    for (const auto &expected : cases) {
        const guarded_bytes input(lay(expected.packet));
        mqtt50_ack ack = {0xAAAA, 0xAA};
        zep_test::log_capture log;
        EXPECT_EQ(mqtt50_unsuback_decode(input.data(), input.size(), &ack), expected.status);
        EXPECT_EQ(ack.msg_id, expected.ack.msg_id) << expected.packet;
        EXPECT_EQ(ack.reason_code, expected.ack.reason_code) << expected.packet;
        char line[128];
        std::snprintf(line, sizeof line,
                      "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 UNSUBACK解码完成:msgid=%d,原因码=0x%02X\n",
                      ack.msg_id, ack.reason_code);
        EXPECT_EQ(log.take(), expected.status == -120 ? ""
                              : expected.status == -101
                                  ? "[ERROR] MQTT5.0_PROTOCOL: 5.0 UNSUBACK解码:入参非法/报文过短\n"
                                  : line);
    }
    mqtt50_ack ack;
    EXPECT_EQ(mqtt50_unsuback_decode(nullptr, 6, &ack), -101);
    EXPECT_EQ(mqtt50_unsuback_decode(lay("b0 04 0007 00 11").data(), 6, nullptr), -101);
}

TEST(v50_suback, damaged_packets_stay_inside_the_record_and_the_input) {
    const auto check_suback = [](const uint8_t *data, uint32_t size) {
        mqtt50_suback suback = {};
        suback.count = 1;
        const int32_t status = mqtt50_suback_decode(data, static_cast<int32_t>(size), &suback);
        ASSERT_TRUE(status == 0 || status == -101 || (status == -120 && suback.count == 0));
        ASSERT_LE(suback.count, 8);
    };
    const auto check_unsuback = [](const uint8_t *data, uint32_t size) {
        mqtt50_ack ack;
        const int32_t status = mqtt50_unsuback_decode(data, size, &ack);
        ASSERT_TRUE(status == 0 || status == -101 || status == -120);
    };
    zep_test::for_each_damaged("90 12 0005 05 1f 0002 'no' 00 01 02 80 87 91 97 a2 9e 01",
                               check_suback);
    zep_test::for_each_damaged("b0 0a 0007 05 1f 0002 'no' 87 00", check_unsuback);
}

TEST(v50_suback, encoders_of_the_brokers_side) {
    mqtt50_suback suback = {5, {}, 8, {0, 1, 2, 0x80, 0x87, 0x91, 0x97, 0xa2}};
    encoding result = zep_test::encode(mqtt50_suback_encode, suback, 16);
    EXPECT_EQ(result.packet, lay("90 0b 0005 00 00 01 02 80 87 91 97 a2"));
    EXPECT_EQ(result.log, "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 SUBACK编码完成:msgid=5,订阅数=8\n");
    result = zep_test::encode(mqtt50_suback_encode, suback, 15);
    EXPECT_EQ(result.status, -114);
    EXPECT_EQ(result.log, "[ERROR] MQTT5.0_PROTOCOL: MQTT50 SUBACK: 缓冲区过小\n");
    for (const uint8_t count : bytes{0, 9, 255}) {
        suback.count = count;
        EXPECT_EQ(zep_test::encode(mqtt50_suback_encode, suback, 512).status, -101) << +count;
    }
    zep_test::expect_null_pointers_refused(mqtt50_suback_encode, "MQTT50 SUBACK: 入参非法");

    result = zep_test::encode(mqtt50_unsuback_encode, mqtt50_ack{7, 0x11}, 8);
    EXPECT_EQ(result.packet, lay("b0 04 0007 00 11"));
    EXPECT_EQ(result.log,
              "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 UNSUBACK编码完成:msgid=7,原因码=0x11\n");
    result = zep_test::encode(mqtt50_unsuback_encode, mqtt50_ack{7, 0x11}, 7);
    EXPECT_EQ(result.status, -114);
    EXPECT_EQ(result.log, "");
    EXPECT_EQ(zep_test::encode(mqtt50_unsuback_encode, mqtt50_ack{0, 0}, 8).status, -101);
    zep_test::expect_null_pointers_refused(mqtt50_unsuback_encode, "MQTT50 UNSUBACK: 入参非法");
}
