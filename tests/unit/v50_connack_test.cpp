#include <zep_mqtt/protocol/v50/connack.h>

#include "unit/v50_support.h"

using zep_test::bytes;
using zep_test::lay;

namespace {

struct decoding {
    int32_t status;
    mqtt50_connack connack;
    std::string log;
};

decoding decode(const bytes &packet) {
    const zep_test::guarded_bytes input(packet);
    decoding result;
    std::memset(&result.connack, 0xAA, sizeof result.connack);
    zep_test::log_capture log;
    result.status = mqtt50_connack_decode(input.data(), input.size(), &result.connack);
    result.log = short_log(log);
    return result;
}

}  // namespace

// clang-format off
TEST(v50_connack, packets_without_properties) {
    const std::string parsed = "INFO 5.0 CONNACK解析:会话存在=";
    const std::string done = "INFO ✅ MQTT5.0 CONNACK解码完成 | 总长度=4 | 解析属性数=0 | 最大报文=0字节\n";
    const struct {
        const char *packet;
        int32_t status;
        std::string log;
    } cases[] = {
        {"20 02 01 86 ff", 0, parsed + "1, 连接原因码=0x86\n" + done},
        {"20 02 02 00", 0, "WARN 5.0 CONNACK:保留位非0，协议警告\n" + parsed + "0, 连接原因码=0x00\n" + done},
        {"20 02 00 7f", -81, parsed + "0, 连接原因码=0x7F\nERROR 5.0 CONNACK解码:原因码非法 0x7F\n"},
        {"20 02", -101, "ERROR 5.0 CONNACK解码:入参非法/报文过短 len=2\n"},
        {"21 02 00 00", -120, "ERROR 5.0 CONNACK解码:固定头非法 0x21\n"},
        {"20 81 08 00*1025", -80, "ERROR 5.0 CONNACK解码:剩余长度解析失败/越界\n"},
        {"20 00 00", -80, "ERROR 5.0 CONNACK解码:会话存在标志位缺失\n"},
        {"20 01 00", -80, "ERROR 5.0 CONNACK解码:连接原因码缺失\n"},
    };
    for (const auto &expected : cases) {
        const decoding result = decode(lay(expected.packet));
        EXPECT_EQ(result.status, expected.status) << expected.packet;
        EXPECT_EQ(result.log, expected.log) << expected.packet;
    }
}

TEST(v50_connack, where_reading_properties_goes_on_and_where_it_ends) {
    const struct {
        const char *properties;  // with their length
        bytes ids;               // what is recorded
        const char *log;         // about the single properties
    } cases[] = {
        {"03 13 0001 22 0002", {0x13}, ""},
        {"05 27 00010000", {0x27}, "INFO 5.0 CONNACK解析:Broker最大报文长度=65536字节\n"},
        {"04 13 0001", {}, "WARN 5.0 CONNACK解码:属性段长度非法，跳过属性解析\n"},
        {"05 00 13 0001 00", {}, "WARN 5.0 CONNACK解码:非法属性ID=0x00，跳过\n"},
        {"06 13 0001 80 0001", {0x13}, "WARN 5.0 CONNACK解码:非法属性ID=0x80，跳过\n"},
        {"04 25 01 13 00", {0x25}, "WARN 5.0 CONNACK解码:属性0x13解析失败，跳过后续属性\n"},
        {"12 02 11111111 18 11111111 23 1111 2b 1111 28 01", {0x02, 0x18, 0x23, 0x2b, 0x28},
         "WARN 5.0 CONNACK解码:忽略未知属性ID=0x02\nWARN 5.0 CONNACK解码:忽略未知属性ID=0x18\n"
         "WARN 5.0 CONNACK解码:忽略未知属性ID=0x23\nWARN 5.0 CONNACK解码:忽略未知属性ID=0x2B\n"},
        {"06 7f 11 1c ffff 22", {0x7f, 0x1c},
         "WARN 5.0 CONNACK解码:忽略未知属性ID=0x7F\nWARN 5.0 CONNACK解码:忽略未知属性ID=0x1C\n"},
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
        EXPECT_NE(result.log.find(expected.log), std::string::npos) << result.log;
        EXPECT_EQ(result.log.find("WARN") != std::string::npos, std::strstr(expected.log, "WARN") != nullptr);
    }
}
// clang-format on

TEST(v50_connack, a_client_id_of_24_bytes_and_truncated_packets) {
    EXPECT_EQ(decode(lay("20 1d 00 00 1a 12 0017 61*23")).connack.assigned_client_id,
              std::string(23, 'a'));
    EXPECT_STREQ(decode(lay("20 1e 00 00 1b 12 0018 61*24")).connack.assigned_client_id, "");
    const auto status = [](const uint8_t *data, uint32_t size) {
        mqtt50_connack connack;
        return mqtt50_connack_decode(data, size, &connack);
    };
    zep_test::expect_truncations_refused(
        "20 2a 01 00 27 11 01020304 12 0002 'id' 13 001e 1f 0003 'why' 02 11111111 1a 0003 'abc'"
        "26 0003 'key' 25 01",
        status);
    EXPECT_EQ(status(nullptr, 4), -101);
    EXPECT_EQ(mqtt50_connack_decode(lay("20 02 00 00").data(), 4, nullptr), -101);
}
