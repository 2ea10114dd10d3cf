#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/wire.h>

#include "protocol/v311/wire_io.h"
#include "support/guarded_bytes.h"

namespace {

using namespace std::string_view_literals;
using bytes = std::vector<uint8_t>;

TEST(v311_wire, remaining_length_is_written_least_significant_group_first) {
    const std::pair<uint32_t, bytes> rows[] = {{0, {0x00}},
                                               {127, {0x7F}},
                                               {128, {0x80, 0x01}},
                                               {16383, {0xFF, 0x7F}},
                                               {16384, {0x80, 0x80, 0x01}},
                                               {268435455, {0xFF, 0xFF, 0xFF, 0x7F}},
                                               {268435456, {}}};
    for (const auto &[value, expected] : rows) {
        const zep_test::guarded_bytes room(4);
        const uint32_t size = mqtt_write_remaining_length(room.data(), value);
        EXPECT_EQ(bytes(room.data(), room.data() + size), expected) << value;
    }
    EXPECT_EQ(mqtt_write_remaining_length(nullptr, 1), 0U);
}

TEST(v311_wire, remaining_length_is_read_up_to_three_bytes_and_1024) {
    constexpr int32_t REFUSED = MQTT_ERR_INVALID_PARAM;
    const std::tuple<bytes, int32_t, uint32_t> rows[] = {
        {{0x00}, 1, 0},
        {{0x7F, 0xFF}, 1, 127},
        {{0x80, 0x08}, 2, 1024},
        {{0x80, 0x80, 0x00}, 3, 0},
        {{0x81, 0x08}, REFUSED, 1025},
        {{0x80, 0x80, 0x01}, REFUSED, 16384},
        {{0x81, 0x80, 0x80, 0x00}, REFUSED, 1},
        {{0x80, 0x80, 0x80, 0x01}, REFUSED, 2097152},
        {{0x80}, REFUSED, 0},
        {{0x85, 0x80}, REFUSED, 5}};
    for (const auto &[raw, result, sum] : rows) {
        const zep_test::guarded_bytes input(raw);
        uint32_t value = 77;
        EXPECT_EQ(decode_remaining_len(input.data(), static_cast<int32_t>(raw.size()), &value),
                  result);
        EXPECT_EQ(value, sum);
        zep::byte_reader reader(input.data(), raw.size());
        EXPECT_EQ(zep::read_remaining_length(reader, &value), result != REFUSED);
        EXPECT_EQ(reader.ok(), result != REFUSED);
        EXPECT_EQ(reader.left(), result == 1 ? raw.size() - 1 : 0);
    }
    const uint8_t byte = 0;
    uint32_t value = 77;
    EXPECT_EQ(decode_remaining_len(nullptr, 1, &value), REFUSED);
    EXPECT_EQ(decode_remaining_len(&byte, INT32_MIN, &value), REFUSED);
    EXPECT_EQ(decode_remaining_len(&byte, 1, nullptr), REFUSED);
    EXPECT_EQ(value, 77U);
}

TEST(v311_wire, utf8) {
    const auto check = [](std::string_view text) {
        const zep_test::guarded_bytes guarded(bytes(text.begin(), text.end()));
        return utf8_validate(reinterpret_cast<const char *>(guarded.data()),
                             static_cast<int32_t>(text.size()));
    };
    const std::string longest(64, 'x');
    for (const std::string_view text : {""sv, " ~"sv, "\xC3\xA9"sv, "\xC0\x80"sv, "\xE4\xB8\x80"sv,
                                        "\xED\xA0\x80"sv, std::string_view(longest)}) {
        EXPECT_EQ(check(text), MQTT_OK) << text;
    }
    const std::string too_long(65, 'x');
    for (const std::string_view text :
         {"a\t"sv, "a\0b"sv, "\x1F"sv, "\x7F"sv, "\x85"sv, "\xA0"sv, "\xBF"sv, "a\xC3"sv, "\xC3g"sv,
          "\xC3\xC3"sv, "\xE4\xB8"sv, "\xE4\xB8g"sv, "\xE4g\x80"sv, "\xF0\x9F\x98\x80"sv, "\xFF"sv,
          std::string_view(too_long)}) {
        EXPECT_EQ(check(text), MQTT_ERR_UTF8_INVALID) << text;
    }
    EXPECT_EQ(utf8_validate(std::string(100, 'x').c_str(), -1), MQTT_OK);
    EXPECT_EQ(utf8_validate("a\tb", -1), MQTT_ERR_UTF8_INVALID);
    EXPECT_EQ(utf8_validate("abc", -2), MQTT_ERR_UTF8_INVALID);
    EXPECT_EQ(utf8_validate(nullptr, 0), MQTT_ERR_UTF8_INVALID);
}

TEST(v311_wire, packet_ids_run_from_1_to_128) {
    EXPECT_EQ(validate_packet_id(4, 1), MQTT_OK);
    EXPECT_EQ(validate_packet_id(5, 128), MQTT_OK);
    for (const uint16_t id : {uint16_t{0}, uint16_t{129}, uint16_t{65535}}) {
        EXPECT_EQ(validate_packet_id(4, id), MQTT_ERR_INVALID_PARAM);
    }
}

}  // namespace
