// The decoders of PUBLISH, the acknowledgements, SUBACK and UNSUBACK, on what a broker ought not to
// send.
#include <zep_mqtt/protocol/v50/ack.h>
#include <zep_mqtt/protocol/v50/publish.h>
#include <zep_mqtt/protocol/v50/suback.h>
#include <zep_mqtt/protocol/v50/unsuback.h>

#include "unit/v50_support.h"

namespace {

// Each decoder as a function from a packet to its status, with what shows of the record in g_shown.
using decoder = int32_t (*)(const uint8_t *data, uint32_t size);
std::string g_shown;

int32_t publish(const uint8_t *data, uint32_t size) {
    mqtt50_publish record;
    const int32_t status = mqtt50_publish_decode(data, size, &record);
    if (status == 0) {
        g_shown = std::string(record.topic) + " qos" + std::to_string(record.qos) + " expiry" +
                  std::to_string(record.message_expiry) + " payload" +
                  std::string(record.payload, record.payload + record.payload_len);
    }
    return status;
}

int32_t show(int32_t status, const mqtt50_ack &record) {
    g_shown = std::to_string(record.msg_id) + " " + std::to_string(record.reason_code);
    return status;
}

template <uint8_t TYPE>
int32_t ack(const uint8_t *data, uint32_t size) {
    mqtt50_ack record = {};
    const int32_t status = mqtt50_ack_decode(TYPE, data, size, &record);
    return show(status, record);
}

int32_t unsuback(const uint8_t *data, uint32_t size) {
    mqtt50_ack record = {0xAAAA, 0xAA};
    const int32_t status = mqtt50_unsuback_decode(data, size, &record);
    EXPECT_TRUE(status != -120 || (record.msg_id == 0 && record.reason_code == 0));
    return show(status, record);
}

int32_t suback(const uint8_t *data, uint32_t size) {
    mqtt50_suback record;
    std::memset(&record, 0xAA, sizeof record);
    const int32_t status = mqtt50_suback_decode(data, static_cast<int32_t>(size), &record);
    EXPECT_TRUE(status != -120 || (record.msg_id == 0 && record.count == 0));
    g_shown = std::to_string(record.msg_id);
    for (unsigned i = 0; status == 0 && i < record.count; ++i) {
        g_shown += " " + std::to_string(record.reason_codes[i]);
    }
    return status;
}

}  // namespace

// clang-format off
TEST(v50_decode, packets) {
    const struct {
        decoder decode;
        const char *packet;
        int32_t status;
        std::string shown;  // of an accepted packet
        const char *log;    // not looked at when it is null
    } cases[] = {
        {publish, "36 05 0001 'a' 00 'x'", 0, "a qos0 expiry0 payloadx",
         "WARN 5.0 PUB:QoS值非法，强制改为0\nINFO ✅ MQTT50 PUB解码完成:总长度=7,主题=a,QoS=0,载荷长度=1\n"},
        // An expiry without room for its value, and what follows it read as identifiers.
        {publish, "30 08 0001 'a' 03 02 02 07 'x'", 0, "a qos0 expiry0 payloadx",
         "WARN 5.0 PUB解码:忽略未知属性ID=0x07\nINFO ✅ MQTT50 PUB解码完成:总长度=10,主题=a,QoS=0,载荷长度=1\n"},
        // A property length that cannot be, which is then taken for payload.
        {publish, "30 05 0001 'a' 02 02", 0, "a qos0 expiry0 payload\x02\x02", nullptr},
        {publish, "30 03 0001 'a'", -101, "", "ERROR 5.0 PUB解码:入参非法/报文过短 len=5\n"},
        {publish, "40 04 0001 'a' 00", -120, "", "ERROR 5.0 PUB解码:固定头非法 0x40\n"},
        {publish, "30 81 08 0001 'a' 00*1022", -120, "", "ERROR 5.0 PUB解码:剩余长度解析失败/越界\n"},
        {publish, "30 44 0041 74*65 00", -101, "", "ERROR 5.0 PUB解码:主题长度非法 65\n"},
        {publish, "32 04 0001 'a' 01", -120, "", ""},
        {publish, "30 01 00 00 00 00", -120, "", ""},

        {ack<5>, "5f 03 1234 10 ff", 0, "4660 16", "INFO ✅ MQTT50 ACK解码完成:类型=0x05,msgid=4660,原因码=0x10\n"},
        {ack<4>, "50 02 0007", -120, "", "ERROR 5.0 ACK解码:报文类型不匹配 0x50\n"},
        {ack<4>, "40 03 0007", -120, "", "ERROR 5.0 ACK解码:剩余长度解析失败\n"},
        {ack<4>, "40 01 00 07", -120, "", ""},
        {ack<4>, "40 01 00", -101, "", "ERROR 5.0 ACK解码:入参非法/报文过短 len=3\n"},

        {suback, "90 04 0005 00 01", 0, "5 1", "INFO ✅ MQTT50 SUBACK解码完成:msgid=5,订阅数=1\n"},
        {suback, "90 02 0005 ff", 0, "5", nullptr},
        {suback, "90 04 0005 80 81", 0, "5 128 129", nullptr},
        {suback, "91 04 0005 00 01", -120, "", ""},
        {suback, "90 01 00 05 00", -120, "", ""},
        {suback, "90 02 0005", -101, "", "ERROR 5.0 SUBACK解码:入参非法/报文过短\n"},

        {unsuback, "b0 04 0007 00 11", 0, "7 17", "INFO ✅ MQTT50 UNSUBACK解码完成:msgid=7,原因码=0x11\n"},
        {unsuback, "b0 04 0007 7f 11", 0, "7 0", nullptr},
        {unsuback, "b1 04 0007 00 11", -120, "", ""},
        {unsuback, "b0 01 00 07", -120, "", ""},
        {unsuback, "b0 02 00", -101, "", "ERROR 5.0 UNSUBACK解码:入参非法/报文过短\n"},
    };
    for (const auto &expected : cases) {
        const zep_test::guarded_bytes input(zep_test::lay(expected.packet));
        zep_test::log_capture log;
        EXPECT_EQ(expected.decode(input.data(), input.size()), expected.status) << expected.packet;
        const std::string lines = short_log(log);
        EXPECT_EQ(expected.status == 0 ? g_shown : "", expected.shown) << expected.packet;
        EXPECT_EQ(lines, expected.log == nullptr ? lines : expected.log) << expected.packet;
    }
}
// clang-format on

TEST(v50_decode, truncated_packets_and_null_pointers) {
    using zep_test::expect_truncations_refused;
    expect_truncations_refused("33 12 0003 'a/b' 0102 08 02 0000003c 23 0001 'xy'", publish);
    expect_truncations_refused("50 09 0001 92 05 1f 0002 'no'", ack<5>);
    expect_truncations_refused("90 0a 0005 05 1f 0002 'no' 00 01", suback);
    expect_truncations_refused("b0 0a 0007 05 1f 0002 'no' 87 00", unsuback);
    const uint8_t data[8] = {};
    for (const decoder decode : {publish, ack<4>, unsuback, suback}) {
        EXPECT_EQ(decode(nullptr, 8), -101);
    }
    EXPECT_EQ(mqtt50_publish_decode(data, 8, nullptr), -101);
    EXPECT_EQ(mqtt50_ack_decode(4, data, 8, nullptr), -101);
    EXPECT_EQ(mqtt50_unsuback_decode(data, 8, nullptr), -101);
    EXPECT_EQ(mqtt50_suback_decode(data, 8, nullptr), -101);
    EXPECT_EQ(suback(data, UINT32_MAX), -101);
}
