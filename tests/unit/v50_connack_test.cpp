#include <zep_mqtt/protocol/v50/connack.h>

#include "unit/v50_support.h"

using zep_test::bytes;
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
    result.log = short_log(log);
    return result;
}

template <typename T>
bool holds(const mqtt50_property &property, uint8_t id, T value) {
    T stored;
    std::memcpy(&stored, property.value, sizeof stored);
    const uint8_t *rest = property.value + sizeof stored;
    return property.id == id && stored == value &&
           bytes(rest, property.value + 64) == bytes(64 - sizeof stored, 0);
}

std::string text_of(const mqtt50_property &property) {
    return reinterpret_cast<const char *>(property.value);
}

}  // namespace

TEST(v50_connack, every_known_property_reaches_its_field) {
    const decoding result = decode(lay(EVERY_KNOWN_PROPERTY));
    const mqtt50_connack &connack = result.connack;
    ASSERT_EQ(result.status, 0);
    EXPECT_EQ(connack.session_present, 1);
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
    EXPECT_EQ(text_of(connack.props[1]), "id");
    EXPECT_TRUE(holds(connack.props[2], 0x13, uint16_t{30}));
    EXPECT_TRUE(holds(connack.props[11], 0x2a, uint8_t{3}));
    EXPECT_TRUE(holds(connack.props[12], 0, uint32_t{0}));
    EXPECT_EQ(result.log,
              "INFO 5.0 CONNACK解析:会话存在=1, 连接原因码=0x00\n"
              "INFO 5.0 CONNACK解析:属性段总长度=44\n"
              "INFO 5.0 CONNACK解析:Broker最大报文长度=65536字节\n"
              "INFO ✅ MQTT5.0 CONNACK解码完成 | 总长度=49 | 解析属性数=12 | 最大报文=65536字节\n");
}

// clang-format off
TEST(v50_connack, packets_without_properties) {
    const std::string parsed = "INFO 5.0 CONNACK解析:会话存在=";
    const std::string done = "INFO ✅ MQTT5.0 CONNACK解码完成 | 总长度=4 | 解析属性数=0 | 最大报文=0字节\n";
    const struct {
        const char *packet;
        int32_t status;
        std::string log;
    } cases[] = {
        {"20 02 00 00", 0, parsed + "0, 连接原因码=0x00\n" + done},
        {"20 02 01 86 ff", 0, parsed + "1, 连接原因码=0x86\n" + done},
        {"20 02 02 00", 0, "WARN 5.0 CONNACK:保留位非0，协议警告\n" + parsed + "0, 连接原因码=0x00\n" + done},
        {"20 02 00 05", -81, parsed + "0, 连接原因码=0x05\nERROR 5.0 CONNACK解码:原因码非法 0x05\n"},
        {"20 02 00 7f", -81, parsed + "0, 连接原因码=0x7F\nERROR 5.0 CONNACK解码:原因码非法 0x7F\n"},
        {"20 02", -101, "ERROR 5.0 CONNACK解码:入参非法/报文过短 len=2\n"},
        {"21 02 00 00", -120, "ERROR 5.0 CONNACK解码:固定头非法 0x21\n"},
        {"20 02 00", -80, "ERROR 5.0 CONNACK解码:剩余长度解析失败/越界\n"},
        {"20 80 80", -80, "ERROR 5.0 CONNACK解码:剩余长度解析失败/越界\n"},
        {"20 81 08 00*1025", -80, "ERROR 5.0 CONNACK解码:剩余长度解析失败/越界\n"},
        {"20 00 00", -80, "ERROR 5.0 CONNACK解码:会话存在标志位缺失\n"},
        {"20 01 00", -80, "ERROR 5.0 CONNACK解码:连接原因码缺失\n"},
    };
    for (const auto &expected : cases) {
        const decoding result = decode(lay(expected.packet));
        EXPECT_EQ(result.status, expected.status) << expected.packet;
        EXPECT_EQ(result.log, expected.log) << expected.packet;
    }
    mqtt50_connack connack;
    EXPECT_EQ(mqtt50_connack_decode(nullptr, 4, &connack), -101);
    EXPECT_EQ(mqtt50_connack_decode(lay("20 02 00 00").data(), 4, nullptr), -101);
}

TEST(v50_connack, where_reading_properties_goes_on_and_where_it_ends) {
    const struct {
        const char *properties;  // with their length
        bytes ids;               // what is recorded
        const char *log;         // about the single properties
    } cases[] = {
        {"00", {}, ""},
        {"03 13 0001 22 0002", {0x13}, ""},
        {"09 1f 0003 'why' 13 0001", {0x1f, 0x13}, ""},
        {"04 13 0001", {}, "WARN 5.0 CONNACK解码:属性段长度非法，跳过属性解析\n"},
        {"80", {}, "WARN 5.0 CONNACK解码:属性段长度非法，跳过属性解析\n"},
        {"05 00 13 0001 00", {}, "WARN 5.0 CONNACK解码:非法属性ID=0x00，跳过\n"},
        {"06 13 0001 80 0001", {0x13}, "WARN 5.0 CONNACK解码:非法属性ID=0x80，跳过\n"},
        {"04 25 01 13 00", {0x25}, "WARN 5.0 CONNACK解码:属性0x13解析失败，跳过后续属性\n"},
        {"04 27 000001", {}, "WARN 5.0 CONNACK解码:属性0x27解析失败，跳过后续属性\n"},
        {"43 1f 0040 61*64", {}, "WARN 5.0 CONNACK解码:属性0x1F解析失败，跳过后续属性\n"},
        {"05 12 0003 'ab' 25 01", {}, "WARN 5.0 CONNACK解码:属性0x12解析失败，跳过后续属性\n"},
        {"07 26 0001 'k' 0001 'v'", {0x26}, "WARN 5.0 CONNACK解码:非法属性ID=0x00，跳过\n"},
        {"0c 25 01 1a 0005 'a%sbc' 28 01", {0x25, 0x1a, 0x28}, "WARN 5.0 CONNACK解码:忽略未知属性ID=0x1A\n"},
        {"12 02 11111111 18 11111111 23 1111 2b 1111 28 01", {0x02, 0x18, 0x23, 0x2b, 0x28},
         "WARN 5.0 CONNACK解码:忽略未知属性ID=0x02\nWARN 5.0 CONNACK解码:忽略未知属性ID=0x18\n"
         "WARN 5.0 CONNACK解码:忽略未知属性ID=0x23\nWARN 5.0 CONNACK解码:忽略未知属性ID=0x2B\n"},
        {"06 7f 11 1c ffff 22", {0x7f, 0x1c},
         "WARN 5.0 CONNACK解码:忽略未知属性ID=0x7F\nWARN 5.0 CONNACK解码:忽略未知属性ID=0x1C\n"},
        {"02 09 25", {0x09}, "WARN 5.0 CONNACK解码:忽略未知属性ID=0x09\n"},
        {"22 25*32 28 01", bytes(16, 0x25), "WARN 5.0 CONNACK解码:属性数组已满，停止解析剩余属性\n"},
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
        const bool has_length = std::strstr(expected.log, "属性段长度非法") == nullptr;
        EXPECT_EQ(result.log,
                  "INFO 5.0 CONNACK解析:会话存在=0, 连接原因码=0x00\n" +
                      (has_length ? "INFO 5.0 CONNACK解析:属性段总长度=" + std::to_string(packet[4]) + "\n" : "") +
                      expected.log + "INFO ✅ MQTT5.0 CONNACK解码完成 | 总长度=" + std::to_string(packet.size()) +
                      " | 解析属性数=" + std::to_string(ids.size()) + " | 最大报文=0字节\n");
    }
}
// clang-format on

TEST(v50_connack, texts_at_the_size_of_their_fields) {
    const decoding fits = decode(lay("20 5f 00 00 5c 12 0017 61*23 1f 003f 62*63"));
    EXPECT_EQ(fits.connack.assigned_client_id, std::string(23, 'a'));
    EXPECT_EQ(fits.connack.reason_string, std::string(63, 'b'));

    const decoding longer = decode(lay("20 22 00 00 1f 12 0001 'x' 12 0018 61*24"));
    EXPECT_STREQ(longer.connack.assigned_client_id, "");
    ASSERT_EQ(longer.connack.prop_count, 2);
    EXPECT_EQ(text_of(longer.connack.props[1]), std::string(24, 'a'));
}

TEST(v50_connack, damaged_packets_stay_inside_the_record_and_the_input) {
    const auto check = [](const uint8_t *data, uint32_t size) {
        mqtt50_connack connack;
        std::memset(&connack, 0xAA, sizeof connack);
        if (mqtt50_connack_decode(data, size, &connack) != 0) {
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
