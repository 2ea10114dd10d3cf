#include <gtest/gtest.h>
#include <string_view>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/wire.h>

#include "protocol/common/variable_length.h"
#include "support/guarded_bytes.h"
#include "support/packets.h"

namespace {

using namespace std::string_view_literals;
using zep_test::bytes;
using zep_test::lay;

TEST(v311_wire, remaining_length_is_written_least_significant_group_first) {
    const std::pair<uint32_t, const char *> rows[] = {{0, "00"},         {127, "7f"},
                                                      {128, "8001"},     {16383, "ff7f"},
                                                      {16384, "808001"}, {268435455, "ffffff7f"},
                                                      {268435456, ""}};
    for (const auto &[value, expected] : rows) {
        const zep_test::guarded_bytes room(4);
        const uint32_t size = mqtt_write_remaining_length(room.data(), value);
        EXPECT_EQ(bytes(room.data(), room.data() + size), lay(expected)) << value;
    }
    EXPECT_EQ(mqtt_write_remaining_length(nullptr, 1), 0U);
}

TEST(v311_wire, remaining_length_is_read_up_to_three_bytes_and_1024) {
    constexpr int32_t REFUSED = MQTT_ERR_INVALID_PARAM;
    const std::tuple<const char *, int32_t, uint32_t> rows[] = {{"00", 1, 0},
                                                                {"7f ff", 1, 127},
                                                                {"80 08", 2, 1024},
                                                                {"80 80 00", 3, 0},
                                                                {"81 08", REFUSED, 1025},
                                                                {"80 80 01", REFUSED, 16384},
                                                                {"81 80 80 00", REFUSED, 1},
                                                                {"80 80 80 01", REFUSED, 2097152},
                                                                {"80", REFUSED, 0},
                                                                {"85 80", REFUSED, 5}};
    for (const auto &[text, result, sum] : rows) {
        const zep_test::guarded_bytes input(lay(text));
        uint32_t value = 77;
        EXPECT_EQ(decode_remaining_len(input.data(), static_cast<int32_t>(input.size()), &value),
                  result);
        EXPECT_EQ(value, sum);
        zep::byte_reader reader(input.data(), input.size());
        EXPECT_EQ(zep::read_accepted_length(reader, 1024, &value), result != REFUSED);
        EXPECT_EQ(reader.ok(), result != REFUSED);
        EXPECT_EQ(reader.left(), result == 1 ? input.size() - 1 : 0);
    }
    const uint8_t byte = 0;
    uint32_t value = 0;
    EXPECT_EQ(decode_remaining_len(nullptr, 1, &value), REFUSED);
    EXPECT_EQ(decode_remaining_len(&byte, INT32_MIN, &value), REFUSED);
    EXPECT_EQ(decode_remaining_len(&byte, 1, nullptr), REFUSED);
}

TEST(v311_wire, utf8) {
    const auto check = [](std::string_view text) {
        const zep_test::guarded_bytes guarded(bytes(text.begin(), text.end()));
        return utf8_validate(reinterpret_cast<const char *>(guarded.data()),
                             static_cast<int32_t>(text.size()));
    };
    const std::string longest(64, 'x'), too_long(65, 'x');
    for (const std::string_view text : {""sv, " ~"sv, "\xC3\xA9"sv, "\xC0\x80"sv, "\xE4\xB8\x80"sv,
                                        "\xED\xA0\x80"sv, std::string_view(longest)}) {
        EXPECT_EQ(check(text), MQTT_OK) << text;
    }
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

}  // namespace
