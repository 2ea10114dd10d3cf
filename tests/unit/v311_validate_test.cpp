#include <gtest/gtest.h>
#include <string>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/validate.h>

#include "support/log_capture.h"

namespace {

constexpr uint32_t NAME = MQTT_TOPIC_MODE_NAME;
constexpr uint32_t FILTER = MQTT_TOPIC_MODE_FILTER;
constexpr uint32_t OTHER = 2;

std::string repeat(const std::string &part, int times) {
    std::string text;
    for (int i = 0; i < times; ++i) {
        text += part;
    }
    return text;
}

std::string log_of(const char *topic, uint32_t mode, int32_t expected) {
    zep_test::log_capture log;
    const int32_t status = mqtt_topic_validate(topic, mode);
    const std::string lines = log.take();
    EXPECT_EQ(status, expected) << (topic == nullptr ? "null" : topic) << " mode " << mode;
    return lines;
}

TEST(v311_validate, topics_that_pass) {
    for (const uint32_t mode : {NAME, FILTER, OTHER}) {
        for (const std::string &topic :
             {std::string("a/b/c"), std::string("/a"), std::string("a/"), std::string("/"),
              std::string("\xC3\xA9/\x7F"), repeat("a/", 15) + "a", repeat("/a", 15),
              std::string(64, 'x'), std::string("will_topic:a")}) {
            EXPECT_EQ(log_of(topic.c_str(), mode, MQTT_OK), "");
        }
    }
    for (const char *filter : {"#", "a/#", "/#", "+", "+/a", "a/+", "a/+/b", "+/+/#", "/+"}) {
        EXPECT_EQ(log_of(filter, FILTER, MQTT_OK), "");
    }
    EXPECT_EQ(log_of("a+/#b", OTHER, MQTT_OK), "");
}

TEST(v311_validate, every_mode_applies_the_common_rules_in_their_order) {
    const std::string deep = repeat("/a", 16);
    const std::string spaced = "abc " + std::string(61, 'x');
    const struct {
        std::string topic;
        int32_t status;
        std::string line;
    } rows[] = {
        {"", MQTT_ERR_INVALID_PARAM, "主题非法：空指针或空字符串（MQTT 3.1.1禁止）"},
        {"a b", MQTT_ERR_WILDCARD_INVALID, "主题非法：包含禁止字符（ /0x20），位置=1，topic=a b"},
        {"\\", MQTT_ERR_WILDCARD_INVALID, "主题非法：包含禁止字符（\\/0x5C），位置=0，topic=\\"},
        {"+a|", MQTT_ERR_WILDCARD_INVALID, "主题非法：包含禁止字符（|/0x7C），位置=2，topic=+a|"},
        {"a\n", MQTT_ERR_WILDCARD_INVALID, "主题非法：包含禁止字符（\n/0x0A），位置=1，topic=a\n"},
        {"\r", MQTT_ERR_WILDCARD_INVALID, "主题非法：包含禁止字符（\r/0x0D），位置=0，topic=\r"},
        {"\xE4\xB8\x80", MQTT_ERR_WILDCARD_INVALID,
         "主题非法：包含禁止字符（\x80/0x80），位置=2，topic=\xE4\xB8\x80"},
        {"\xE3\x81\x82", MQTT_ERR_WILDCARD_INVALID,
         "主题非法：包含禁止字符（\xE3/0xE3），位置=0，topic=\xE3\x81\x82"},
        {spaced, MQTT_ERR_WILDCARD_INVALID,
         "主题非法：包含禁止字符（ /0x20），位置=3，topic=" + spaced},
        {std::string(65, '/'), MQTT_ERR_TOPIC_TOO_LONG, "主题非法：长度超限（实际=65，最大=64）"},
        {deep, MQTT_ERR_TOPIC_TOO_DEEP, "主题非法：层级超限（实际=17，最大=16），topic=" + deep},
        {deep + "//", MQTT_ERR_TOPIC_TOO_DEEP,
         "主题非法：层级超限（实际=17，最大=16），topic=" + deep + "//"},
        {"a//b", MQTT_ERR_WILDCARD_INVALID, "主题非法：包含连续分隔符//，topic=a//b"},
        {"//" + deep, MQTT_ERR_WILDCARD_INVALID, "主题非法：包含连续分隔符//，topic=//" + deep},
    };
    for (const uint32_t mode : {NAME, FILTER, OTHER}) {
        for (const auto &row : rows) {
            EXPECT_EQ(log_of(row.topic.c_str(), mode, row.status),
                      "[ERROR] [协议合规] " + row.line + "\n");
        }
        EXPECT_EQ(log_of(nullptr, mode, MQTT_ERR_INVALID_PARAM),
                  "[ERROR] [协议合规] 主题非法：空指针或空字符串（MQTT 3.1.1禁止）\n");
    }
}

TEST(v311_validate, wildcards_by_mode) {
    const std::string hash_last = "订阅过滤器非法：#通配符未在末尾，topic=";
    const std::string hash_level = "订阅过滤器非法：#通配符前无/，topic=";
    const std::string plus_level = "订阅过滤器非法：+通配符未单独作为一层，topic=";
    const std::string name = "发布主题非法：包含通配符+/#（MQTT 3.1.1禁止），topic=";
    const std::string will = "Will Topic非法：包含通配符+/#（MQTT 3.1.1禁止），topic=";
    const struct {
        uint32_t mode;
        std::string topic;
        std::string line;
    } rows[] = {
        {NAME, "a/+", name},
        {NAME, "a/#", name},
        {NAME, "will_topic:#", name},
        {FILTER, "#/a", hash_last},
        {FILTER, "##", hash_last},
        {FILTER, "a/#/b", hash_last},
        {FILTER, "a#b", hash_last},
        {FILTER, "a#", hash_level},
        {FILTER, "a+/b#", hash_level},
        {FILTER, "a+", plus_level},
        {FILTER, "+a", plus_level},
        {FILTER, "++", plus_level},
        {FILTER, "a/b+", plus_level},
        {FILTER, "a/+b/c", plus_level},
        {FILTER, "+/b+/c", plus_level},
        {FILTER, "will_topic:a/+", will},
        {FILTER, "x/will_topic:/#", will},
        {OTHER, "will_topic:a+", will},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(log_of(row.topic.c_str(), row.mode, MQTT_ERR_WILDCARD_INVALID),
                  "[ERROR] [协议合规] " + row.line + row.topic + "\n");
    }
}

TEST(v311_validate, payloads) {
    const uint8_t byte = 0;
    const struct {
        const uint8_t *payload;
        int32_t len;
        uint32_t version;
        int32_t status;
        const char *lines;
    } rows[] = {
        {&byte, 1024, 4, MQTT_OK, ""},
        {&byte, 0, 5, MQTT_OK, ""},
        {nullptr, 5000, 4, MQTT_OK, ""},
        {&byte, 1025, 5, MQTT_ERR_INVALID_PARAM,
         "[ERROR] [Payload校验] 内容长度超限：实际=1025, 最大=1024\n"},
        {&byte, 5000, 3, MQTT_ERR_VERSION_UNSUPPORTED, "[ERROR] [Payload校验] 非法MQTT版本：3\n"},
    };
    for (const auto &row : rows) {
        zep_test::log_capture log;
        EXPECT_EQ(mqtt_payload_validate(row.payload, row.len, row.version), row.status);
        EXPECT_EQ(log.take(), row.lines);
    }
}

}  // namespace
