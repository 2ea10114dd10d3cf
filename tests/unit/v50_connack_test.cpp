#include <zep_mqtt/protocol/v50/connack.h>

#include "unit/v50_support.h"

using zep_test::bytes;
using zep_test::encoding;
using zep_test::guarded_bytes;
using zep_test::lay;

namespace {

constexpr const char *EVERY_KNOWN_PROPERTY =
    "20 2f 01 00 2c 11 01020304 12 0002 'id' 13 001e 1f 0003 'why' 21 0014 22 0005 25 01"
    "26 0003 'key' 27 00010000 28 01 29 02 2a 03";

struct decoding {
    int32_t status;
    mqtt50_connack connack;
    std::string log;
};

decoding decode(const bytes &packet) {
    const guarded_bytes input(packet);
    decoding result;
    std::memset(&result.connack, 0xAA, sizeof result.connack);
    zep_test::log_capture log;
    result.status = mqtt50_connack_decode(input.data(), input.size(), &result.connack);
    result.log = log.take();
    return result;
}

// Lines of the log from their texts, each "LEVEL text" with the common prefix left out.
std::string lines(const std::vector<std::string> &texts) {
    std::string all;
    for (const std::string &text : texts) {
        const size_t blank = text.find(' ');
        all += "[" + text.substr(0, blank) + "] MQTT5.0_PROTOCOL: " + text.substr(blank + 1) + "\n";
    }
    return all;
}

template <typename T>
testing::AssertionResult holds(const mqtt50_property &property, uint8_t id, T value) {
    T stored;
    std::memcpy(&stored, property.value, sizeof stored);
    const uint8_t *rest = property.value + sizeof stored;
    const bool clear = bytes(rest, property.value + 64) == bytes(64 - sizeof stored, 0);
    if (property.id == id && stored == value && clear) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "id " << +property.id << " value " << +stored;
}

}  // namespace

TEST(v50_connack, every_known_property_reaches_its_field) {
    const decoding result = decode(lay(EVERY_KNOWN_PROPERTY));
    const mqtt50_connack &connack = result.connack;
    ASSERT_EQ(result.status, 0);
    EXPECT_EQ(connack.session_present, 1);
    EXPECT_EQ(connack.reason_code, 0);
    EXPECT_EQ(connack.total_len, 49U);
    EXPECT_EQ(connack.remaining_len, 47U);
    EXPECT_EQ(connack.session_expiry, 0x01020304U);
    EXPECT_STREQ(connack.assigned_client_id, "id");
    EXPECT_EQ(connack.server_keep_alive, 30);
    EXPECT_STREQ(connack.reason_string, "why");
    EXPECT_EQ(connack.receive_maximum, 20);
    EXPECT_EQ(connack.topic_alias_max, 5);
    EXPECT_EQ(connack.retain_available, 1);
    EXPECT_STREQ(connack.user_property, "key");
    EXPECT_EQ(connack.max_packet_size, 65536U);
    EXPECT_EQ(connack.wildcard_sub_available, 1);
    EXPECT_EQ(connack.sub_id_available, 2);
    EXPECT_EQ(connack.shared_sub_available, 3);

    ASSERT_EQ(connack.prop_count, 12);
    EXPECT_TRUE(holds(connack.props[0], 0x11, uint32_t{0x01020304}));
    EXPECT_STREQ(reinterpret_cast<const char *>(connack.props[1].value), "id");
    EXPECT_TRUE(holds(connack.props[2], 0x13, uint16_t{30}));
    EXPECT_STREQ(reinterpret_cast<const char *>(connack.props[3].value), "why");
    EXPECT_TRUE(holds(connack.props[4], 0x21, uint16_t{20}));
    EXPECT_TRUE(holds(connack.props[5], 0x22, uint16_t{5}));
    EXPECT_TRUE(holds(connack.props[6], 0x25, uint8_t{1}));
    EXPECT_STREQ(reinterpret_cast<const char *>(connack.props[7].value), "key");
    EXPECT_TRUE(holds(connack.props[8], 0x27, uint32_t{65536}));
    EXPECT_TRUE(holds(connack.props[11], 0x2a, uint8_t{3}));
    EXPECT_TRUE(holds(connack.props[12], 0, uint32_t{0}));

    EXPECT_EQ(result.log, lines({"INFO 5.0 CONNACK解析:会话存在=1, 连接原因码=0x00",
                                 "INFO 5.0 CONNACK解析:属性段总长度=44",
                                 "INFO 5.0 CONNACK解析:Broker最大报文长度=65536字节",
                                 "INFO ✅ MQTT5.0 CONNACK解码完成 | 总长度=49 | 解析属性数=12 | "
                                 "最大报文=65536字节"}));
}

TEST(v50_connack, packets_without_properties) {
    const std::string done =
        "INFO ✅ MQTT5.0 CONNACK解码完成 | 总长度=4 | 解析属性数=0 | 最大报文=0字节";
    const struct {
        const char *packet;
        int32_t status;
        std::vector<std::string> log;
    } cases[] = {
        {"20 02 00 00", 0, {"INFO 5.0 CONNACK解析:会话存在=0, 连接原因码=0x00", done}},
        {"20 02 01 86 ff", 0, {"INFO 5.0 CONNACK解析:会话存在=1, 连接原因码=0x86", done}},
        {"20 02 02 00",
         0,
         {"WARN 5.0 CONNACK:保留位非0，协议警告",
          "INFO 5.0 CONNACK解析:会话存在=0, 连接原因码=0x00", done}},
        {"20 02 00 05",
         -81,
         {"INFO 5.0 CONNACK解析:会话存在=0, 连接原因码=0x05",
          "ERROR 5.0 CONNACK解码:原因码非法 0x05"}},
        {"20 02 00 7f",
         -81,
         {"INFO 5.0 CONNACK解析:会话存在=0, 连接原因码=0x7F",
          "ERROR 5.0 CONNACK解码:原因码非法 0x7F"}},
        {"20 02", -101, {"ERROR 5.0 CONNACK解码:入参非法/报文过短 len=2"}},
        {"21 02 00 00", -120, {"ERROR 5.0 CONNACK解码:固定头非法 0x21"}},
        {"20 02 00", -80, {"ERROR 5.0 CONNACK解码:剩余长度解析失败/越界"}},
        {"20 80 80", -80, {"ERROR 5.0 CONNACK解码:剩余长度解析失败/越界"}},
        {"20 81 08 00*1025", -80, {"ERROR 5.0 CONNACK解码:剩余长度解析失败/越界"}},
        {"20 00 00", -80, {"ERROR 5.0 CONNACK解码:会话存在标志位缺失"}},
        {"20 01 00", -80, {"ERROR 5.0 CONNACK解码:连接原因码缺失"}},
    };
    for (const auto &expected : cases) {
        const decoding result = decode(lay(expected.packet));
        EXPECT_EQ(result.status, expected.status) << expected.packet;
        EXPECT_EQ(result.log, lines(expected.log)) << expected.packet;
    }
    zep_test::log_capture log;
    mqtt50_connack connack;
    EXPECT_EQ(mqtt50_connack_decode(nullptr, 4, &connack), -101);
    EXPECT_EQ(mqtt50_connack_decode(lay("20 02 00 00").data(), 4, nullptr), -101);
    const std::string refused = "ERROR 5.0 CONNACK解码:入参非法/报文过短 len=4";
    EXPECT_EQ(log.take(), lines({refused, refused}));
}

TEST(v50_connack, where_reading_properties_goes_on_and_where_it_ends) {
    const struct {
        const char *properties;  // behind flags and reason code, property length included
        bytes ids;               // what is recorded
        std::vector<std::string> log;
    } cases[] = {
        {"00", {}, {"INFO 5.0 CONNACK解析:属性段总长度=0"}},
        {"04 13 0001", {}, {"WARN 5.0 CONNACK解码:属性段长度非法，跳过属性解析"}},
        {"80", {}, {"WARN 5.0 CONNACK解码:属性段长度非法，跳过属性解析"}},
        {"03 13 0001 22 0002", {0x13}, {"INFO 5.0 CONNACK解析:属性段总长度=3"}},
        {"09 1f 0003 'why' 13 0001", {0x1f, 0x13}, {"INFO 5.0 CONNACK解析:属性段总长度=9"}},
        {"06 13 0001 22 0002", {0x13, 0x22}, {"INFO 5.0 CONNACK解析:属性段总长度=6"}},
        {"05 00 13 0001 00",
         {},
         {"INFO 5.0 CONNACK解析:属性段总长度=5", "WARN 5.0 CONNACK解码:非法属性ID=0x00，跳过"}},
        {"06 13 0001 80 0001",
         {0x13},
         {"INFO 5.0 CONNACK解析:属性段总长度=6", "WARN 5.0 CONNACK解码:非法属性ID=0x80，跳过"}},
        {"04 25 01 13 00",
         {0x25},
         {"INFO 5.0 CONNACK解析:属性段总长度=4",
          "WARN 5.0 CONNACK解码:属性0x13解析失败，跳过后续属性"}},
        {"04 27 000001",
         {},
         {"INFO 5.0 CONNACK解析:属性段总长度=4",
          "WARN 5.0 CONNACK解码:属性0x27解析失败，跳过后续属性"}},
        {"43 1f 0040 61*64",
         {},
         {"INFO 5.0 CONNACK解析:属性段总长度=67",
          "WARN 5.0 CONNACK解码:属性0x1F解析失败，跳过后续属性"}},
        {"05 12 0003 'ab' 25 01",
         {},
         {"INFO 5.0 CONNACK解析:属性段总长度=5",
          "WARN 5.0 CONNACK解码:属性0x12解析失败，跳过后续属性"}},
        {"0c 25 01 1a 0005 'a%sbc' 28 01",
         {0x25, 0x1a, 0x28},
         {"INFO 5.0 CONNACK解析:属性段总长度=12", "WARN 5.0 CONNACK解码:忽略未知属性ID=0x1A"}},
        {"12 02 11111111 18 11111111 23 1111 2b 1111 28 01",
         {0x02, 0x18, 0x23, 0x2b, 0x28},
         {"INFO 5.0 CONNACK解析:属性段总长度=18", "WARN 5.0 CONNACK解码:忽略未知属性ID=0x02",
          "WARN 5.0 CONNACK解码:忽略未知属性ID=0x18", "WARN 5.0 CONNACK解码:忽略未知属性ID=0x23",
          "WARN 5.0 CONNACK解码:忽略未知属性ID=0x2B"}},
        {"06 7f 11 1c ffff 22",
         {0x7f, 0x1c},
         {"INFO 5.0 CONNACK解析:属性段总长度=6", "WARN 5.0 CONNACK解码:忽略未知属性ID=0x7F",
          "WARN 5.0 CONNACK解码:忽略未知属性ID=0x1C"}},
        {"02 09 25",
         {0x09},
         {"INFO 5.0 CONNACK解析:属性段总长度=2", "WARN 5.0 CONNACK解码:忽略未知属性ID=0x09"}},
        {"07 26 0001 'k' 0001 'v'",
         {0x26},
         {"INFO 5.0 CONNACK解析:属性段总长度=7", "WARN 5.0 CONNACK解码:非法属性ID=0x00，跳过"}},
    };
    for (const auto &expected : cases) {
        bytes packet = lay(std::string("20 00 00 00") + expected.properties);
        packet[1] = static_cast<uint8_t>(packet.size() - 2);
        const decoding result = decode(packet);
        bytes ids;
        for (unsigned i = 0; i < result.connack.prop_count; ++i) {
            ids.push_back(result.connack.props[i].id);
        }
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(ids, expected.ids) << expected.properties;
        EXPECT_EQ(result.connack.total_len, packet.size());
        std::vector<std::string> log = expected.log;
        log.insert(log.begin(), "INFO 5.0 CONNACK解析:会话存在=0, 连接原因码=0x00");
        log.push_back("INFO ✅ MQTT5.0 CONNACK解码完成 | 总长度=" + std::to_string(packet.size()) +
                      " | 解析属性数=" + std::to_string(ids.size()) + " | 最大报文=0字节");
        EXPECT_EQ(result.log, lines(log));
    }
}

TEST(v50_connack, keeps_sixteen_properties) {
    std::string packet = "20 26 00 00 23";
    for (int i = 0; i < 16; ++i) {
        packet += " 24 01";  // Maximum QoS, which has no field
    }
    const decoding result = decode(lay(packet + "13 0001"));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.connack.prop_count, 16);
    EXPECT_EQ(result.connack.server_keep_alive, 0);
    EXPECT_NE(result.log.find("[WARN] MQTT5.0_PROTOCOL: 5.0 CONNACK解码:属性数组已满，"
                              "停止解析剩余属性\n"),
              std::string::npos);
}

TEST(v50_connack, texts_at_the_size_of_their_fields) {
    const decoding fits = decode(lay("20 5f 00 00 5c 12 0017 61*23 1f 003f 62*63"));
    EXPECT_EQ(fits.connack.assigned_client_id, std::string(23, 'a'));
    EXPECT_EQ(fits.connack.reason_string, std::string(63, 'b'));

    const decoding longer = decode(lay("20 22 00 00 1f 12 0001 'x' 12 0018 61*24"));
    EXPECT_STREQ(longer.connack.assigned_client_id, "");
    ASSERT_EQ(longer.connack.prop_count, 2);
    EXPECT_EQ(reinterpret_cast<const char *>(longer.connack.props[1].value), std::string(24, 'a'));
}

TEST(v50_connack, damaged_packets_stay_inside_the_record_and_the_input) {
    const auto check = [](const uint8_t *data, uint32_t size) {
        mqtt50_connack connack;
        std::memset(&connack, 0xAA, sizeof connack);
        const int32_t status = mqtt50_connack_decode(data, size, &connack);
        if (status != 0) {
            ASSERT_TRUE(status == -80 || status == -81 || status == -101 || status == -120);
            return;
        }
        ASSERT_LE(connack.total_len, size);
        ASSERT_TRUE(connack.reason_code == 0 || connack.reason_code >= 0x80);
        ASSERT_LE(connack.session_present, 1);
        ASSERT_LE(connack.prop_count, 16);
        for (unsigned i = 0; i < 16; ++i) {
            ASSERT_EQ(connack.props[i].id != 0, i < connack.prop_count);
            ASSERT_EQ(connack.props[i].value[63], 0);
        }
        ASSERT_EQ(connack.assigned_client_id[23], 0);
        ASSERT_EQ(connack.reason_string[63], 0);
        ASSERT_EQ(connack.user_property[63], 0);
    };
    zep_test::for_each_damaged(EVERY_KNOWN_PROPERTY, check);
    zep_test::for_each_damaged(
        "20 1b 00 00 18 02 11111111 1a 0003 'abc' 23 0001 7f 00 15 0002 'xy' 25 01", check);
}

TEST(v50_connack, encoder) {
    const auto encode = [](uint32_t capacity, uint8_t present, uint8_t reason, uint32_t expiry,
                           uint32_t max_packet, uint16_t receive_max) {
        return zep_test::run_encoder(capacity, [=](uint8_t *buffer, uint32_t *length) {
            return mqtt50_connack_encode(present, reason, expiry, max_packet, receive_max, buffer,
                                         length);
        });
    };
    encoding result = encode(32, 7, 0, 0x01020304, 0x05060708, 0x090a);
    EXPECT_EQ(result.packet, lay("20 10 01 00 0d 11 01020304 27 05060708 21 090a"));
    EXPECT_TRUE(result.rest_is_clear);
    EXPECT_EQ(result.log, lines({"INFO ✅ MQTT50 CONNACK编码完成:总长度=18 原因码=0x00"}));
    EXPECT_EQ(encode(18, 1, 0, 1, 1, 1).status, 0);
    EXPECT_EQ(encode(6, 0, 0x86, 0, 0, 0).packet, lay("20 03 00 86 00"));

    const std::string refused = lines({"ERROR 50 CONNACK编码:入参非法/缓冲区过小"});
    for (const uint32_t capacity : {5U, 6U, 17U}) {
        result = encode(capacity, 1, 0, 1, 1, 1);
        EXPECT_EQ(result.status, capacity < 6 ? -101 : -114);
        EXPECT_EQ(result.log, refused);
    }
    uint8_t buffer[32];
    uint32_t length = sizeof buffer;
    EXPECT_EQ(mqtt50_connack_encode(0, 0, 0, 0, 0, nullptr, &length), -101);
    EXPECT_EQ(mqtt50_connack_encode(0, 0, 0, 0, 0, buffer, nullptr), -101);
}
