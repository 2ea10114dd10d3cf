#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/protocol/v50/message.h>
#include <zep_mqtt/protocol/v50/property.h>
#include <zep_mqtt/protocol/v50/user_property.h>

#include "support/guarded_bytes.h"
#include "support/log_capture.h"
#include "support/packets.h"

using zep_test::bytes;
using zep_test::lay;

TEST(v50_property, length_writer) {
    const struct {
        uint16_t length;
        int32_t position, size, status;
    } cases[] = {
        {256, 8, 10, 0},
        {257, 0, 10, -101},
        {5, -1, 10, -101},
        {5, 0, 0, -101},
        {5, 0, 1, -114},
        {5, 9, 10, -114},
        {5, INT32_MAX, INT32_MAX, -114},
    };
    bytes buffer(10, 0xAA);
    int32_t position = 0;
    for (const auto &row : cases) {
        position = row.position;
        EXPECT_EQ(mqtt50_encode_property_len(row.length, buffer.data(), &position, row.size),
                  row.status);
        EXPECT_EQ(position, row.position + (row.status == 0 ? 2 : 0));
        EXPECT_EQ(buffer, lay("aa*8 0100"));
    }
    EXPECT_EQ(mqtt50_encode_property_len(1, nullptr, &position, 10), -101);
    EXPECT_EQ(mqtt50_encode_property_len(1, buffer.data(), nullptr, 10), -101);
}

TEST(v50_message, reads_an_expiry_property) {
    const zep_test::guarded_bytes buffer(lay("02 01020304 01 00*245 02 0a0b0c0d"));
    const struct {
        int32_t position, status;
        uint32_t interval;
    } cases[] = {
        {0, 0, 0x01020304}, {251, 0, 0x0a0b0c0d}, {5, -101, 0}, {-1, -101, 0}, {252, -70, 0}};
    int32_t position = 0;
    uint32_t interval = 0;
    EXPECT_EQ(mqtt50_decode_ttl(nullptr, &position, &interval), -70);
    EXPECT_EQ(mqtt50_decode_ttl(buffer.data(), nullptr, &interval), -70);
    EXPECT_EQ(mqtt50_decode_ttl(buffer.data(), &position, nullptr), -70);
    for (const auto &expected : cases) {
        position = expected.position;
        interval = 0;
        EXPECT_EQ(mqtt50_decode_ttl(buffer.data(), &position, &interval), expected.status);
        EXPECT_EQ(interval, expected.interval);
        EXPECT_EQ(position, expected.position + (expected.status == 0 ? 5 : 0));
    }
}

TEST(v50_message, expiry) {
    mqtt50_message message = {};
    message.expired = 1;
    const uint64_t before = platform_get_tick_ms();
    ASSERT_EQ(mqtt50_message_ttl_init(&message, 60), 0);
    EXPECT_EQ(message.ttl, 60U);
    EXPECT_EQ(message.message_expiry, 60U);
    EXPECT_EQ(message.expired, 0);
    EXPECT_GE(message.ttl_start_ms, before);
    const struct {
        uint32_t ttl;
        uint64_t age_ms;
        int32_t result;
    } cases[] = {
        {0, 1000000, -1},
        {60, 50000, 0},
        {60, 60000, 1},
        // 4,294,968,000 ms are 704 ms more than 32 bits hold.
        {4294968, 704, 1},
    };
    for (const auto &expected : cases) {
        message.ttl = expected.ttl;
        message.expired = 0;
        message.ttl_start_ms = platform_get_tick_ms() - expected.age_ms;
        EXPECT_EQ(mqtt50_message_ttl_check(&message), expected.result) << expected.ttl;
        EXPECT_EQ(message.expired, expected.result == 1 ? 1 : 0);
    }
    EXPECT_EQ(mqtt50_message_ttl_init(nullptr, 1), -101);
    EXPECT_EQ(mqtt50_message_ttl_check(nullptr), -1);
}

class v50_user_property : public testing::Test {
 protected:
    ~v50_user_property() override { EXPECT_EQ(mqtt50_user_property_free(holder.user_props), 0); }
    int32_t set(const char *key, const char *value) {
        return mqtt50_user_property_set(&holder, key, value);
    }
    // The value found for a key, or the status of a failure.
    std::string get(const char *key, int32_t size = 8) {
        char value[8] = "";
        const int32_t status = mqtt50_user_property_get(&holder, key, value, size);
        return status == 0 ? value : std::to_string(status);
    }
    mqtt50_message holder = {};
};

TEST_F(v50_user_property, newest_match_is_found_and_a_ninth_refused) {
    EXPECT_EQ(get("a"), "-105");
    ASSERT_EQ(set("ab", "1234567890"), 0);
    EXPECT_EQ(get("a"), "1234567");
    EXPECT_EQ(get("ab", 1), "");
    EXPECT_EQ(get("abc"), "-105");
    ASSERT_EQ(set("a", "new"), 0);
    EXPECT_EQ(get("a"), "new");
    EXPECT_EQ(get(nullptr), "-101");
    EXPECT_EQ(get("a", 0), "-101");
    for (const auto &[key, value] : {std::pair{"", "b"}, {"a", ""}, {"a", nullptr}}) {
        EXPECT_EQ(set(key, value), -101);
    }
    EXPECT_EQ(set(nullptr, "b"), -101);
    EXPECT_EQ(mqtt50_user_property_get(nullptr, "a", nullptr, 8), -101);
    EXPECT_EQ(mqtt50_user_property_get(&holder, "a", nullptr, 8), -101);
    EXPECT_EQ(mqtt50_user_property_set(nullptr, "a", "b"), -101);
    while (holder.user_prop_count < 8) {
        ASSERT_EQ(set("k", "v"), 0);
    }
    agent_log_set_level(AGENT_LOG_WARN);
    zep_test::log_capture log;
    EXPECT_EQ(set("k", "v"), -110);
    EXPECT_EQ(log.take(), "[WARN] MQTT5.0_PROTOCOL: 用户属性组数达到上限(8组)，拒绝新增\n");
    EXPECT_EQ(holder.user_prop_count, 8);
}
