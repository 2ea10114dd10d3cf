#include <zep_mqtt/protocol/v50/ack.h>
#include <zep_mqtt/protocol/v50/disconnect.h>

#include "unit/v50_support.h"

using zep_test::encoding;
using zep_test::guarded_bytes;
using zep_test::lay;

namespace {

encoding encode_ack(uint8_t type, mqtt50_ack ack, uint32_t capacity = 32) {
    return zep_test::run_encoder(capacity, [&](uint8_t *buffer, uint32_t *length) {
        return mqtt50_ack_encode(type, &ack, buffer, length);
    });
}

encoding encode_disconnect(mqtt50_disconnect disconnect, uint32_t capacity = 32) {
    return zep_test::encode(mqtt50_disconnect_encode, disconnect, capacity);
}

}  // namespace

TEST(v50_ack, encoded_packets) {
    EXPECT_EQ(encode_ack(4, {1, 0x10}).packet, lay("40 03 0001 10"));
    EXPECT_EQ(encode_ack(5, {0x1234, 0}).packet, lay("50 03 1234 00"));
    EXPECT_EQ(encode_ack(6, {10, 0}).packet, lay("62 03 000a 00"));
    const encoding result = encode_ack(7, {65535, 0x92}, 10);
    EXPECT_EQ(result.packet, lay("70 03 ffff 92"));
    EXPECT_TRUE(result.rest_is_clear);
    EXPECT_EQ(result.log,
              "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 ACK编码完成:类型=0x07,msgid=65535,原因码=0x92,"
              "编码长度=5\n");
}

TEST(v50_ack, encoder_refusals) {
    encoding result = encode_ack(4, {0, 0});
    EXPECT_EQ(result.status, -101);
    EXPECT_EQ(result.log, "[ERROR] MQTT5.0_PROTOCOL: MQTT50 ACK: 入参非法/msgid为空\n");
    result = encode_ack(4, {1, 0}, 9);
    EXPECT_EQ(result.status, -114);
    EXPECT_EQ(result.log, "[ERROR] MQTT5.0_PROTOCOL: MQTT50 ACK: 缓冲区过小（需≥10字节）\n");

    const mqtt50_ack ack = {1, 0};
    uint8_t buffer[10];
    uint32_t length = sizeof buffer;
    EXPECT_EQ(mqtt50_ack_encode(4, nullptr, buffer, &length), -101);
    EXPECT_EQ(mqtt50_ack_encode(4, &ack, nullptr, &length), -101);
    EXPECT_EQ(mqtt50_ack_encode(4, &ack, buffer, nullptr), -101);
}

TEST(v50_ack, decoder) {
    const struct {
        uint8_t type;
        const char *packet;
        int32_t status;
        mqtt50_ack ack;
        const char *log;
    } cases[] = {
        {4,
         "40 02 0007",
         0,
         {7, 0},
         "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 ACK解码完成:类型=0x04,msgid=7,原因码=0x00\n"},
        {5,
         "5f 03 1234 10 ff",
         0,
         {0x1234, 0x10},
         "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 ACK解码完成:类型=0x05,msgid=4660,原因码=0x10\n"},
        {6, "62 04 0001 92 00", 0, {1, 0x92}, nullptr},
        {7, "70 09 0001 92 05 1f 0002 'no'", 0, {1, 0x92}, nullptr},
        {7, "70 04 0001 92 7f", 0, {1, 0x92}, nullptr},
        {4, "50 02 0007", -120, {}, "[ERROR] MQTT5.0_PROTOCOL: 5.0 ACK解码:报文类型不匹配 0x50\n"},
        {4, "40 03 0007", -120, {}, "[ERROR] MQTT5.0_PROTOCOL: 5.0 ACK解码:剩余长度解析失败\n"},
        {4, "40 80 80 80 00", -120, {}, "[ERROR] MQTT5.0_PROTOCOL: 5.0 ACK解码:剩余长度解析失败\n"},
        {4, "40 01 00 07", -120, {}, ""},
        {4, "40 00 00 07", -120, {}, ""},
        {4,
         "40 01 00",
         -101,
         {},
         "[ERROR] MQTT5.0_PROTOCOL: 5.0 ACK解码:入参非法/报文过短 len=3\n"},
    };
    for (const auto &expected : cases) {
        const guarded_bytes input(lay(expected.packet));
        mqtt50_ack ack = {0, 0};
        zep_test::log_capture log;
        EXPECT_EQ(mqtt50_ack_decode(expected.type, input.data(), input.size(), &ack),
                  expected.status)
            << expected.packet;
        const std::string lines = log.take();
        if (expected.log != nullptr) {
            EXPECT_EQ(lines, expected.log);
        }
        EXPECT_EQ(ack.msg_id, expected.ack.msg_id) << expected.packet;
        EXPECT_EQ(ack.reason_code, expected.ack.reason_code) << expected.packet;
    }
    mqtt50_ack ack;
    EXPECT_EQ(mqtt50_ack_decode(4, nullptr, 4, &ack), -101);
    EXPECT_EQ(mqtt50_ack_decode(4, lay("40 02 0007").data(), 4, nullptr), -101);
}

TEST(v50_ack, damaged_packets_stay_inside_the_input) {
    zep_test::for_each_damaged("50 09 0001 92 05 1f 0002 'no'",
                               [](const uint8_t *data, uint32_t n) {
                                   mqtt50_ack ack;
                                   const int32_t status = mqtt50_ack_decode(5, data, n, &ack);
                                   ASSERT_TRUE(status == 0 || status == -101 || status == -120);
                               });
}

TEST(v50_disconnect, encoder) {
    encoding result = encode_disconnect({0, 0});
    EXPECT_EQ(result.packet, lay("e0 02 00 00"));
    result = encode_disconnect({4, 30}, 16);
    EXPECT_EQ(result.packet, lay("e0 07 04 05 11 0000001e"));
    EXPECT_TRUE(result.rest_is_clear);
    EXPECT_EQ(result.log,
              "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 DISCONN编码完成:总长度=9,断开原因码=0x04,"
              "会话过期=30s\n");
    result = encode_disconnect({0, 0}, 15);
    EXPECT_EQ(result.status, -114);
    EXPECT_EQ(result.log, "[ERROR] MQTT5.0_PROTOCOL: MQTT50 DISCONN: 缓冲区过小\n");

    zep_test::expect_null_pointers_refused(mqtt50_disconnect_encode, "MQTT50 DISCONN: 入参空指针");
}
