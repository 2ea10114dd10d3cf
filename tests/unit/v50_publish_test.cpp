#include <zep_mqtt/protocol/v50/publish.h>

#include "support/failing_malloc.h"
#include "unit/v50_support.h"

using zep_test::bytes;
using zep_test::encoding;
using zep_test::guarded_bytes;
using zep_test::lay;

namespace {

const std::string TOPIC_64(64, 't');

mqtt50_publish publish_of(const char *topic, const char *payload = "") {
    mqtt50_publish publish = {};
    std::strncpy(publish.topic, topic, sizeof publish.topic);
    publish.payload_len = static_cast<uint32_t>(std::strlen(payload));
    publish.payload = reinterpret_cast<const uint8_t *>(payload);
    return publish;
}

encoding encode(const mqtt50_publish &publish, uint32_t capacity = 1024) {
    return zep_test::encode(mqtt50_publish_encode, publish, capacity);
}

}  // namespace

TEST(v50_publish, encoded_packets) {
    mqtt50_publish publish = publish_of("a", "x");
    encoding result = encode(publish);
    EXPECT_EQ(result.packet, lay("30 05 0001 'a' 00 'x'"));
    EXPECT_TRUE(result.rest_is_clear);
    EXPECT_EQ(result.log,
              "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 PUB编码完成:总长度=7,主题=a,QoS=0,报文ID=0,"
              "过期时间=0s\n");

    publish.qos = 1;
    publish.retain = 1;
    publish.msg_id = 0x0102;
    publish.message_expiry = 60;
    EXPECT_EQ(encode(publish).packet, lay("33 0c 0001 'a' 0102 05 02 0000003c 'x'"));
    publish.qos = 2;
    publish.is_dup = 1;
    publish.retain = 0;
    publish.message_expiry = 0;
    EXPECT_EQ(encode(publish).packet, lay("3c 07 0001 'a' 0102 00 'x'"));

    const std::string payload(61, 'p');
    EXPECT_EQ(encode(publish_of(TOPIC_64.c_str(), payload.c_str())).packet,
              lay("30 80 01 0040 74*64 00 70*61"));
    mqtt50_publish empty = publish_of("a");
    empty.payload = nullptr;
    EXPECT_EQ(encode(empty).packet, lay("30 04 0001 'a' 00"));
}

TEST(v50_publish, encoder_refusals) {
    mqtt50_publish no_payload = publish_of("a", "xy");
    no_payload.payload = nullptr;
    mqtt50_publish no_id = publish_of("a", "x");
    no_id.qos = 2;
    mqtt50_publish huge = publish_of("a", "x");
    huge.payload_len = UINT32_MAX;
    const struct {
        mqtt50_publish publish;
        uint32_t capacity;
        int32_t status;
        const char *text;
    } cases[] = {
        {publish_of(""), 1024, -101, "主题/载荷/报文ID非法，topic_len=0 payload_len=0 msg_id=0"},
        {publish_of((TOPIC_64 + "t").c_str()), 1024, -101,
         "主题/载荷/报文ID非法，topic_len=65 payload_len=0 msg_id=0"},
        {no_payload, 1024, -101, "主题/载荷/报文ID非法，topic_len=1 payload_len=2 msg_id=0"},
        {no_id, 1024, -101, "主题/载荷/报文ID非法，topic_len=1 payload_len=1 msg_id=0"},
        {publish_of("ab", "xyz"), 68, -114, "缓冲区过小"},
        {huge, 1024, -114, "缓冲区过小"},
    };
    for (const auto &refused : cases) {
        const encoding result = encode(refused.publish, refused.capacity);
        EXPECT_EQ(result.status, refused.status) << refused.text;
        EXPECT_EQ(result.log,
                  std::string("[ERROR] MQTT5.0_PROTOCOL: MQTT50 PUB: ") + refused.text + "\n");
    }
    EXPECT_EQ(encode(publish_of("ab", "xyz"), 69).status, 0);

    // The length alone is refused: neither payload nor buffer is touched.
    uint8_t byte = 0;
    uint32_t length = UINT32_MAX;
    huge.payload_len = 268435455;
    EXPECT_EQ(mqtt50_publish_encode(&huge, &byte, &length), -124);

    zep_test::expect_null_pointers_refused(mqtt50_publish_encode, "MQTT50 PUB: 入参空指针");
}

TEST(v50_publish, decoded_packets) {
    const struct {
        const char *packet;
        mqtt50_publish expected;
        size_t payload_at;
        const char *log;
    } cases[] = {
        {"30 05 0001 'a' 00 'x'",
         {"a", 0, 0, 0, 1, nullptr, 0, 0},
         6,
         "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 PUB解码完成:总长度=7,主题=a,QoS=0,载荷长度=1\n"},
        {"3b 0c 0001 'a' 1234 05 02 0000003c 'x'",
         {"a", 1, 1, 0x1234, 1, nullptr, 1, 60},
         13,
         "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 PUB解码完成:总长度=14,主题=a,QoS=1,载荷长度=1\n"},
        {"34 05 0001 'a' 0000", {"a", 2, 0, 0, 0, nullptr, 0, 0}, 0, nullptr},
        {"30 05 0000 00 'xy' ff", {"", 0, 0, 0, 2, nullptr, 0, 0}, 5, nullptr},
        {"36 05 0001 'a' 00 'x'",
         {"a", 0, 0, 0, 1, nullptr, 0, 0},
         6,
         "[WARN] MQTT5.0_PROTOCOL: 5.0 PUB:QoS值非法，强制改为0\n"
         "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 PUB解码完成:总长度=7,主题=a,QoS=0,载荷长度=1\n"},
        {"30 0d 0001 'a' 08 23 0001 02 00000005 'x'",
         {"a", 0, 0, 0, 1, nullptr, 0, 0},
         14,
         "[WARN] MQTT5.0_PROTOCOL: 5.0 PUB解码:忽略未知属性ID=0x23\n"
         "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 PUB解码完成:总长度=15,主题=a,QoS=0,载荷长度=1\n"},
        {"30 0d 0001 'a' 08 02 00000005 23 0001 'x'",
         {"a", 0, 0, 0, 1, nullptr, 0, 5},
         14,
         nullptr},
        // An expiry without room for its value, and what follows it read as identifiers.
        {"30 08 0001 'a' 03 02 02 07 'x'",
         {"a", 0, 0, 0, 1, nullptr, 0, 0},
         9,
         "[WARN] MQTT5.0_PROTOCOL: 5.0 PUB解码:忽略未知属性ID=0x07\n"
         "[INFO] MQTT5.0_PROTOCOL: ✅ MQTT50 PUB解码完成:总长度=10,主题=a,QoS=0,载荷长度=1\n"},
        // A property length that cannot be, which is then taken for payload.
        {"30 05 0001 'a' 02 02", {"a", 0, 0, 0, 2, nullptr, 0, 0}, 5, nullptr},
        {"32 07 0001 'a' 0001 80 80", {"a", 1, 0, 1, 2, nullptr, 0, 0}, 7, nullptr},
    };
    for (const auto &expected : cases) {
        const guarded_bytes input(lay(expected.packet));
        mqtt50_publish publish;
        std::memset(&publish, 0xAA, sizeof publish);
        zep_test::log_capture log;
        EXPECT_EQ(mqtt50_publish_decode(input.data(), input.size(), &publish), 0);
        const std::string lines = log.take();
        if (expected.log != nullptr) {
            EXPECT_EQ(lines, expected.log);
        }
        const mqtt50_publish &fields = expected.expected;
        EXPECT_STREQ(publish.topic, fields.topic) << expected.packet;
        EXPECT_EQ(publish.qos, fields.qos) << expected.packet;
        EXPECT_EQ(publish.retain, fields.retain) << expected.packet;
        EXPECT_EQ(publish.msg_id, fields.msg_id) << expected.packet;
        EXPECT_EQ(publish.payload_len, fields.payload_len) << expected.packet;
        EXPECT_EQ(publish.is_dup, fields.is_dup) << expected.packet;
        EXPECT_EQ(publish.message_expiry, fields.message_expiry) << expected.packet;
        EXPECT_EQ(publish.payload,
                  expected.payload_at == 0 ? nullptr : input.data() + expected.payload_at);
    }
}

TEST(v50_publish, decoder_refusals) {
    const struct {
        const char *packet;
        int32_t status;
        const char *log;
    } cases[] = {
        {"30 03 0001 'a'", -101, "5.0 PUB解码:入参非法/报文过短 len=5"},
        {"40 04 0001 'a' 00", -120, "5.0 PUB解码:固定头非法 0x40"},
        {"30 05 0001 'a' 00", -120, "5.0 PUB解码:剩余长度解析失败/越界"},
        {"30 81 08 0001 'a' 00*1022", -120, "5.0 PUB解码:剩余长度解析失败/越界"},
        {"30 80 80 80 01 00", -120, "5.0 PUB解码:剩余长度解析失败/越界"},
        {"30 01 00 00 00 00", -120, nullptr},
        {"30 44 0041 74*65 00", -101, "5.0 PUB解码:主题长度非法 65"},
        {"30 04 0003 'ab'", -101, "5.0 PUB解码:主题长度非法 3"},
        {"32 04 0001 'a' 01", -120, nullptr},
    };
    for (const auto &refused : cases) {
        const guarded_bytes input(lay(refused.packet));
        mqtt50_publish publish;
        zep_test::log_capture log;
        EXPECT_EQ(mqtt50_publish_decode(input.data(), input.size(), &publish), refused.status)
            << refused.packet;
        EXPECT_EQ(log.take(), refused.log == nullptr
                                  ? ""
                                  : std::string("[ERROR] MQTT5.0_PROTOCOL: ") + refused.log + "\n");
    }
    mqtt50_publish publish;
    EXPECT_EQ(mqtt50_publish_decode(nullptr, 6, &publish), -101);
    EXPECT_EQ(mqtt50_publish_decode(lay("30 04 0001 'a' 00").data(), 6, nullptr), -101);
}

TEST(v50_publish, damaged_packets_stay_inside_the_record_and_the_input) {
    const auto check = [](const uint8_t *data, uint32_t size) {
        mqtt50_publish publish;
        std::memset(&publish, 0xAA, sizeof publish);
        const int32_t status = mqtt50_publish_decode(data, size, &publish);
        if (status != 0) {
            ASSERT_TRUE(status == -101 || status == -120);
            return;
        }
        ASSERT_LE(publish.qos, 2);
        ASSERT_EQ(publish.topic[64], 0);
        ASSERT_EQ(publish.payload == nullptr, publish.payload_len == 0);
        if (publish.payload != nullptr) {
            ASSERT_LT(data, publish.payload);
            ASSERT_LE(publish.payload + publish.payload_len, data + size);
        }
    };
    zep_test::for_each_damaged("33 12 0003 'a/b' 0102 08 02 0000003c 23 0001 'xy'", check);
    zep_test::for_each_damaged("30 c8 01 0040 74*64 05 02 0000003c 70*128", check);
}

TEST(v50_publish, allocates_nothing) {
    uint8_t buffer[128];
    uint32_t length = sizeof buffer;
    mqtt50_publish publish = publish_of("a/b", "payload");
    const uint64_t before = zep_test::allocations_made();
    ASSERT_EQ(mqtt50_publish_encode(&publish, buffer, &length), 0);
    ASSERT_EQ(mqtt50_publish_decode(buffer, length, &publish), 0);
    EXPECT_EQ(zep_test::allocations_made(), before);
}
