// The decoders of PUBLISH, the acknowledgements, SUBACK and UNSUBACK.
#include <cstdarg>

#include <zep_mqtt/protocol/v50/ack.h>
#include <zep_mqtt/protocol/v50/publish.h>
#include <zep_mqtt/protocol/v50/suback.h>
#include <zep_mqtt/protocol/v50/unsuback.h>

#include "support/failing_malloc.h"
#include "unit/v50_support.h"

using zep_test::guarded_bytes;
using zep_test::lay;

namespace {

// Each decoder as a function from a packet to what came of it: its fields, or its status.
using decoder = std::string (*)(const uint8_t *data, uint32_t size);

ZEP_MQTT_PRINTF(1, 2) std::string line(const char *format, ...) {
    char text[160];
    va_list values;
    va_start(values, format);
    std::vsnprintf(text, sizeof text, format, values);
    va_end(values);
    return text;
}

std::string publish(const uint8_t *data, uint32_t size) {
    mqtt50_publish record;
    std::memset(&record, 0xAA, sizeof record);
    const int32_t status = mqtt50_publish_decode(data, size, &record);
    if (status != 0) {
        return line("%d", status);
    }
    const long at = record.payload == nullptr ? 0 : record.payload - data;
    return line("%s qos%d retain%d dup%d id%x expiry%u payload%u@%ld", record.topic, record.qos,
                record.retain, record.is_dup, record.msg_id, record.message_expiry,
                record.payload_len, at);
}

std::string show(int32_t status, const mqtt50_ack &record) {
    return status != 0 ? line("%d", status) : line("%x %02x", record.msg_id, record.reason_code);
}

template <uint8_t TYPE>
std::string ack(const uint8_t *data, uint32_t size) {
    mqtt50_ack record = {0xAAAA, 0xAA};
    const int32_t status = mqtt50_ack_decode(TYPE, data, size, &record);
    return show(status, record);
}

std::string unsuback(const uint8_t *data, uint32_t size) {
    mqtt50_ack record = {0xAAAA, 0xAA};
    const int32_t status = mqtt50_unsuback_decode(data, size, &record);
    EXPECT_TRUE(status != -120 || (record.msg_id == 0 && record.reason_code == 0));
    return show(status, record);
}

std::string suback(const uint8_t *data, uint32_t size) {
    mqtt50_suback record;
    std::memset(&record, 0xAA, sizeof record);
    const int32_t status = mqtt50_suback_decode(data, static_cast<int32_t>(size), &record);
    if (status != 0) {
        EXPECT_TRUE(status != -120 || (record.msg_id == 0 && record.count == 0));
        return line("%d", status);
    }
    std::string text = line("%x", record.msg_id);
    for (unsigned i = 0; i < record.count && i < 8; ++i) {
        text += line(" %02x/%x", record.reason_codes[i], record.granted_qos[i]);
    }
    return text + line(" =%d", record.count);
}

}  // namespace

// clang-format off
TEST(v50_decode, packets) {
    const struct {
        decoder decode;
        const char *packet;
        std::string result;
        std::string log;  // not looked at when it is "any"
    } cases[] = {
        {publish, "30 05 0001 'a' 00 'x'", "a qos0 retain0 dup0 id0 expiry0 payload1@6",
         "INFO ✅ MQTT50 PUB解码完成:总长度=7,主题=a,QoS=0,载荷长度=1\n"},
        {publish, "3b 0c 0001 'a' 1234 05 02 0000003c 'x' ff", "a qos1 retain1 dup1 id1234 expiry60 payload1@13",
         "INFO ✅ MQTT50 PUB解码完成:总长度=14,主题=a,QoS=1,载荷长度=1\n"},
        {publish, "34 05 0001 'a' 0000", "a qos2 retain0 dup0 id0 expiry0 payload0@0", "any"},
        {publish, "30 05 0000 00 'xy'", " qos0 retain0 dup0 id0 expiry0 payload2@5", "any"},
        {publish, "36 05 0001 'a' 00 'x'", "a qos0 retain0 dup0 id0 expiry0 payload1@6",
         "WARN 5.0 PUB:QoS值非法，强制改为0\nINFO ✅ MQTT50 PUB解码完成:总长度=7,主题=a,QoS=0,载荷长度=1\n"},
        {publish, "30 0d 0001 'a' 08 23 0001 02 00000005 'x'", "a qos0 retain0 dup0 id0 expiry0 payload1@14",
         "WARN 5.0 PUB解码:忽略未知属性ID=0x23\nINFO ✅ MQTT50 PUB解码完成:总长度=15,主题=a,QoS=0,载荷长度=1\n"},
        {publish, "30 0d 0001 'a' 08 02 00000005 23 0001 'x'", "a qos0 retain0 dup0 id0 expiry5 payload1@14", "any"},
        // An expiry without room for its value, and what follows it read as identifiers.
        {publish, "30 08 0001 'a' 03 02 02 07 'x'", "a qos0 retain0 dup0 id0 expiry0 payload1@9",
         "WARN 5.0 PUB解码:忽略未知属性ID=0x07\nINFO ✅ MQTT50 PUB解码完成:总长度=10,主题=a,QoS=0,载荷长度=1\n"},
        // A property length that cannot be, which is then taken for payload.
        {publish, "30 05 0001 'a' 02 02", "a qos0 retain0 dup0 id0 expiry0 payload2@5", "any"},
        {publish, "32 07 0001 'a' 0001 80 80", "a qos1 retain0 dup0 id1 expiry0 payload2@7", "any"},
        {publish, "30 03 0001 'a'", "-101", "ERROR 5.0 PUB解码:入参非法/报文过短 len=5\n"},
        {publish, "40 04 0001 'a' 00", "-120", "ERROR 5.0 PUB解码:固定头非法 0x40\n"},
        {publish, "30 05 0001 'a' 00", "-120", "ERROR 5.0 PUB解码:剩余长度解析失败/越界\n"},
        {publish, "30 81 08 0001 'a' 00*1022", "-120", "ERROR 5.0 PUB解码:剩余长度解析失败/越界\n"},
        {publish, "30 80 80 80 01 00", "-120", "ERROR 5.0 PUB解码:剩余长度解析失败/越界\n"},
        {publish, "30 01 00 00 00 00", "-120", ""},
        {publish, "30 44 0041 74*65 00", "-101", "ERROR 5.0 PUB解码:主题长度非法 65\n"},
        {publish, "30 04 0003 'ab'", "-101", "ERROR 5.0 PUB解码:主题长度非法 3\n"},
        {publish, "32 04 0001 'a' 01", "-120", ""},

        {ack<4>, "40 02 0007", "7 00", "INFO ✅ MQTT50 ACK解码完成:类型=0x04,msgid=7,原因码=0x00\n"},
        {ack<5>, "5f 03 1234 10 ff", "1234 10", "INFO ✅ MQTT50 ACK解码完成:类型=0x05,msgid=4660,原因码=0x10\n"},
        {ack<6>, "62 04 0001 92 00", "1 92", "any"},
        {ack<7>, "70 09 0001 92 05 1f 0002 'no'", "1 92", "any"},
        {ack<7>, "70 04 0001 92 7f", "1 92", "any"},
        {ack<4>, "50 02 0007", "-120", "ERROR 5.0 ACK解码:报文类型不匹配 0x50\n"},
        {ack<4>, "40 03 0007", "-120", "ERROR 5.0 ACK解码:剩余长度解析失败\n"},
        {ack<4>, "40 80 80 80 00", "-120", "ERROR 5.0 ACK解码:剩余长度解析失败\n"},
        {ack<4>, "40 01 00 07", "-120", ""},
        {ack<4>, "40 01 00", "-101", "ERROR 5.0 ACK解码:入参非法/报文过短 len=3\n"},

        {suback, "90 04 0005 00 01", "5 01/1 =1", "INFO ✅ MQTT50 SUBACK解码完成:msgid=5,订阅数=1\n"},
        {suback, "90 0d 0005 00 00 01 02 80 87 91 97 a2 00 01",
         "5 00/0 01/1 02/2 80/0 87/3 91/1 97/3 a2/2 =8", "INFO ✅ MQTT50 SUBACK解码完成:msgid=5,订阅数=8\n"},
        {suback, "90 0b 0005 05 1f 0002 'no' 02 97 01", "5 02/2 97/3 01/1 =3", "any"},
        {suback, "90 03 1234 00", "1234 =0", "any"},
        {suback, "90 02 0005 ff", "5 =0", "any"},
        {suback, "90 05 0005 02 1f 00", "5 =0", "any"},
        {suback, "90 04 0005 7f 01", "5 =0", "any"},
        {suback, "90 04 0005 80 81", "5 80/0 81/1 =2", "any"},
        {suback, "91 04 0005 00 01", "-120", ""},
        {suback, "90 05 0005 00 01", "-120", ""},
        {suback, "90 81 08 0005", "-120", ""},
        {suback, "90 01 00 05 00", "-120", ""},
        {suback, "90 02 0005", "-101", "ERROR 5.0 SUBACK解码:入参非法/报文过短\n"},

        {unsuback, "b0 04 0007 00 11", "7 11", "INFO ✅ MQTT50 UNSUBACK解码完成:msgid=7,原因码=0x11\n"},
        {unsuback, "b0 05 0007 00 80 11", "7 80", "any"},
        {unsuback, "b0 09 0007 05 1f 0002 'no' 87", "7 87", "any"},
        {unsuback, "b0 03 0007 00", "7 00", "any"},
        {unsuback, "b0 02 0007 11", "7 00", "any"},
        {unsuback, "b0 04 0007 7f 11", "7 00", "any"},
        {unsuback, "b0 03 0007 80", "7 80", "any"},
        {unsuback, "b1 04 0007 00 11", "-120", ""},
        {unsuback, "b0 05 0007 00 11", "-120", ""},
        {unsuback, "b0 01 00 07", "-120", ""},
        {unsuback, "b0 02 00", "-101", "ERROR 5.0 UNSUBACK解码:入参非法/报文过短\n"},
    };
    for (const auto &expected : cases) {
        const guarded_bytes input(lay(expected.packet));
        const uint64_t allocations = zep_test::allocations_made();
        zep_test::log_capture log;
        EXPECT_EQ(expected.decode(input.data(), input.size()), expected.result) << expected.packet;
        const std::string lines = short_log(log);
        EXPECT_EQ(zep_test::allocations_made(), allocations);
        if (expected.log != "any") {
            EXPECT_EQ(lines, expected.log) << expected.packet;
        }
    }
}
// clang-format on

TEST(v50_decode, damaged_packets_stay_inside_the_record_and_the_input) {
    const auto check_publish = [](const uint8_t *data, uint32_t size) {
        mqtt50_publish record;
        std::memset(&record, 0xAA, sizeof record);
        if (mqtt50_publish_decode(data, size, &record) == 0) {
            ASSERT_LE(record.qos, 2);
            ASSERT_EQ(record.topic[64], 0);
            ASSERT_EQ(record.payload == nullptr, record.payload_len == 0);
            ASSERT_LE(record.payload_len, size);
            ASSERT_TRUE(
                record.payload == nullptr ||
                (record.payload > data && record.payload + record.payload_len <= data + size));
        }
    };
    const auto check_suback = [](const uint8_t *data, uint32_t size) {
        mqtt50_suback record;
        if (mqtt50_suback_decode(data, static_cast<int32_t>(size), &record) == 0) {
            ASSERT_LE(record.count, 8);
        }
    };
    zep_test::for_each_damaged("33 12 0003 'a/b' 0102 08 02 0000003c 23 0001 'xy'", check_publish);
    zep_test::for_each_damaged("30 c8 01 0040 74*64 05 02 0000003c 70*128", check_publish);
    zep_test::for_each_damaged("90 12 0005 05 1f 0002 'no' 00 01 02 80 87 91 97 a2 9e 01",
                               check_suback);
    zep_test::for_each_damaged("50 09 0001 92 05 1f 0002 'no'", ack<5>);
    zep_test::for_each_damaged("b0 0a 0007 05 1f 0002 'no' 87 00", unsuback);
}

TEST(v50_decode, null_pointers) {
    const uint8_t data[8] = {};
    mqtt50_publish publish_record;
    mqtt50_ack ack_record;
    mqtt50_suback suback_record;
    EXPECT_EQ(mqtt50_publish_decode(nullptr, 8, &publish_record), -101);
    EXPECT_EQ(mqtt50_publish_decode(data, 8, nullptr), -101);
    EXPECT_EQ(mqtt50_ack_decode(4, nullptr, 8, &ack_record), -101);
    EXPECT_EQ(mqtt50_ack_decode(4, data, 8, nullptr), -101);
    EXPECT_EQ(mqtt50_unsuback_decode(nullptr, 8, &ack_record), -101);
    EXPECT_EQ(mqtt50_unsuback_decode(data, 8, nullptr), -101);
    EXPECT_EQ(mqtt50_suback_decode(nullptr, 8, &suback_record), -101);
    EXPECT_EQ(mqtt50_suback_decode(data, 8, nullptr), -101);
    EXPECT_EQ(mqtt50_suback_decode(data, -1, &suback_record), -101);
}
