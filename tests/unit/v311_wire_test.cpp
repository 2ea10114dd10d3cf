#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/wire.h>

#include "protocol/v311/wire_io.h"
#include "support/guarded_bytes.h"

namespace {

using bytes = std::vector<uint8_t>;

TEST(v311_wire, remaining_length_is_written_least_significant_group_first) {
    const struct {
        uint32_t value;
        bytes expected;
    } rows[] = {
        {0, {0x00}},
        {127, {0x7F}},
        {128, {0x80, 0x01}},
        {16383, {0xFF, 0x7F}},
        {16384, {0x80, 0x80, 0x01}},
        {2097152, {0x80, 0x80, 0x80, 0x01}},
        {268435455, {0xFF, 0xFF, 0xFF, 0x7F}},
        {268435456, {}},
    };
    for (const auto &row : rows) {
        const zep_test::guarded_bytes room(4);
        const uint32_t size = mqtt_write_remaining_length(room.data(), row.value);
        EXPECT_EQ(bytes(room.data(), room.data() + size), row.expected) << row.value;
    }
    EXPECT_EQ(mqtt_write_remaining_length(nullptr, 1), 0U);
}

TEST(v311_wire, remaining_length_is_read_up_to_three_bytes_and_1024) {
    constexpr int32_t REFUSED = MQTT_ERR_INVALID_PARAM;
    const struct {
        bytes input;
        int32_t result;
        uint32_t value;
    } rows[] = {
        {{0x00}, 1, 0},
        {{0x7F}, 1, 127},
        {{0x7F, 0xFF}, 1, 127},
        {{0x80, 0x08}, 2, 1024},
        {{0x81, 0x08}, REFUSED, 1025},
        {{0xFF, 0x7F}, REFUSED, 16383},
        {{0x80, 0x80, 0x00}, 3, 0},
        {{0x80, 0x80, 0x01}, REFUSED, 16384},
        {{0x81, 0x80, 0x80, 0x00}, REFUSED, 1},
        {{0x80, 0x80, 0x80, 0x01}, REFUSED, 2097152},
        {{0x80}, REFUSED, 0},
        {{0x85, 0x80}, REFUSED, 5},
    };
    for (const auto &row : rows) {
        const zep_test::guarded_bytes input(row.input);
        const std::string what = testing::PrintToString(row.input);
        uint32_t value = 77;
        EXPECT_EQ(decode_remaining_len(input.data(), static_cast<int32_t>(input.size()), &value),
                  row.result)
            << what;
        EXPECT_EQ(value, row.value) << what;

        zep::byte_reader reader(input.data(), input.size());
        EXPECT_EQ(zep::read_remaining_length(reader, &value), row.result != REFUSED) << what;
        EXPECT_EQ(reader.ok(), row.result != REFUSED) << what;
        if (reader.ok()) {
            EXPECT_EQ(reader.position(), static_cast<size_t>(row.result)) << what;
        }
    }
    const uint8_t byte = 0;
    uint32_t value = 77;
    EXPECT_EQ(decode_remaining_len(nullptr, 1, &value), REFUSED);
    EXPECT_EQ(decode_remaining_len(&byte, 0, &value), REFUSED);
    EXPECT_EQ(decode_remaining_len(&byte, INT32_MIN, &value), REFUSED);
    EXPECT_EQ(decode_remaining_len(&byte, 1, nullptr), REFUSED);
    EXPECT_EQ(value, 77U);
}

TEST(v311_wire, utf8_by_length) {
    const struct {
        bytes text;
        bool valid;
    } rows[] = {
        {{}, true},
        {{'a', 'b', 'c'}, true},
        {{' ', '~'}, true},
        {{'a', 0x09}, false},
        {{'a', 0x00, 'b'}, false},
        {{0x7F}, false},
        {{0x85}, false},
        {{0xA0}, false},
        {{0xBF}, false},
        {{0xC3, 0xA9}, true},
        {{0xC3}, false},
        {{'a', 0xC3}, false},
        {{0xC3, 'a'}, false},
        {{0xC3, 0xC3}, false},
        {{0xC0, 0x80}, true},
        {{0xE4, 0xB8, 0x80}, true},
        {{0xE4, 0xB8}, false},
        {{0xE4, 0xB8, 'a'}, false},
        {{0xED, 0xA0, 0x80}, true},
        {{0xF0, 0x9F, 0x98, 0x80}, false},
        {{0xFF}, false},
        {bytes(64, 'x'), true},
        {bytes(65, 'x'), false},
    };
    for (const auto &row : rows) {
        const zep_test::guarded_bytes text(row.text);
        EXPECT_EQ(utf8_validate(reinterpret_cast<const char *>(text.data()),
                                static_cast<int32_t>(text.size())),
                  row.valid ? MQTT_OK : MQTT_ERR_UTF8_INVALID)
            << testing::PrintToString(row.text);
    }
}

TEST(v311_wire, utf8_of_a_terminated_text_has_no_cap) {
    EXPECT_EQ(utf8_validate(std::string(100, 'x').c_str(), -1), MQTT_OK);
    EXPECT_EQ(utf8_validate("", -1), MQTT_OK);
    EXPECT_EQ(utf8_validate("a\tb", -1), MQTT_ERR_UTF8_INVALID);
    EXPECT_EQ(utf8_validate("abc", -2), MQTT_ERR_UTF8_INVALID);
    EXPECT_EQ(utf8_validate(nullptr, 0), MQTT_ERR_UTF8_INVALID);
}

TEST(v311_wire, packet_ids_run_from_1_to_128) {
    for (const uint32_t version : {0U, 4U, 5U}) {
        EXPECT_EQ(validate_packet_id(version, 0), MQTT_ERR_INVALID_PARAM);
        EXPECT_EQ(validate_packet_id(version, 1), MQTT_OK);
        EXPECT_EQ(validate_packet_id(version, 128), MQTT_OK);
        EXPECT_EQ(validate_packet_id(version, 129), MQTT_ERR_INVALID_PARAM);
        EXPECT_EQ(validate_packet_id(version, 65535), MQTT_ERR_INVALID_PARAM);
    }
}

}  // namespace
