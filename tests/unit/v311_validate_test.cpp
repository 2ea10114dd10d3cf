#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/validate.h>

#include "support/log_capture.h"

namespace {

constexpr uint32_t NAME = MQTT_TOPIC_MODE_NAME;
constexpr uint32_t FILTER = MQTT_TOPIC_MODE_FILTER;
constexpr uint32_t OTHER = 2;

const std::string SIXTEEN_LEVELS = "/a/a/a/a/a/a/a/a/a/a/a/a/a/a/a";

void expect_topic(const std::string &topic, uint32_t mode, int32_t expected,
                  const std::string &line) {
    zep_test::log_capture log;
    EXPECT_EQ(mqtt_topic_validate(topic.c_str(), mode), expected) << topic << " mode " << mode;
    EXPECT_EQ(log.take(), line.empty() ? "" : "[ERROR] [协议合规] " + line + "\n");
}

TEST(v311_validate, every_mode_applies_the_common_rules_in_their_order) {
    const std::string spaced = "abc " + std::string(61, 'x');
    const std::string deep = SIXTEEN_LEVELS + "//";
    const std::tuple<std::string, int32_t, std::string> rows[] = {
        {"a/b/c", 0, ""},
        {"/", 0, ""},
        {"\xC3\xA9\x7F", 0, ""},
        {SIXTEEN_LEVELS, 0, ""},
        {std::string(64, 'x'), 0, ""},
        {"will_topic:a", 0, ""},
        {"", -101, "主题非法：空指针或空字符串（MQTT 3.1.1禁止）"},
        {"\\", -203, "主题非法：包含禁止字符（\\/0x5C），位置=0，topic=\\"},
        {"+a|", -203, "主题非法：包含禁止字符（|/0x7C），位置=2，topic=+a|"},
        {"a\n", -203, "主题非法：包含禁止字符（\n/0x0A），位置=1，topic=a\n"},
        {"\r", -203, "主题非法：包含禁止字符（\r/0x0D），位置=0，topic=\r"},
        {"\xE4\xB8\x80", -203, "主题非法：包含禁止字符（\x80/0x80），位置=2，topic=\xE4\xB8\x80"},
        {"\xE3\x81", -203, "主题非法：包含禁止字符（\xE3/0xE3），位置=0，topic=\xE3\x81"},
        {spaced, -203, "主题非法：包含禁止字符（ /0x20），位置=3，topic=" + spaced},
        {std::string(65, '/'), -201, "主题非法：长度超限（实际=65，最大=64）"},
        {deep, -202, "主题非法：层级超限（实际=17，最大=16），topic=" + deep},
        {"//" + deep, -203, "主题非法：包含连续分隔符//，topic=//" + deep},
    };
    for (const uint32_t mode : {NAME, FILTER, OTHER}) {
        for (const auto &[topic, status, line] : rows) {
            expect_topic(topic, mode, status, line);
        }
        EXPECT_EQ(mqtt_topic_validate(nullptr, mode), -101);
    }
}

TEST(v311_validate, wildcards_by_mode) {
    const struct {
        uint32_t mode;
        std::vector<std::string> topics;
        std::string line;
    } rows[] = {
        {FILTER, {"#", "a/#", "/#", "+", "+/a", "a/+", "a/+/b", "+/+/#"}, ""},
        {OTHER, {"a+/#b"}, ""},
        {NAME, {"a/+", "#", "will_topic:#"}, "发布主题非法：包含通配符+/#（MQTT 3.1.1禁止）"},
        {FILTER, {"#/a", "##", "a/#/b", "a#b"}, "订阅过滤器非法：#通配符未在末尾"},
        {FILTER, {"a#", "a+/b#"}, "订阅过滤器非法：#通配符前无/"},
        {FILTER,
         {"a+", "+a", "++", "a/b+", "a/+b/c", "+/b+/c"},
         "订阅过滤器非法：+通配符未单独作为一层"},
        {FILTER, {"will_topic:a/+"}, "Will Topic非法：包含通配符+/#（MQTT 3.1.1禁止）"},
        {OTHER, {"x/will_topic:#"}, "Will Topic非法：包含通配符+/#（MQTT 3.1.1禁止）"},
    };
    for (const auto &[mode, topics, line] : rows) {
        for (const std::string &topic : topics) {
            expect_topic(topic, mode, line.empty() ? 0 : -203,
                         line.empty() ? "" : line + "，topic=" + topic);
        }
    }
}

TEST(v311_validate, payloads) {
    const uint8_t byte = 0;
    zep_test::log_capture log;
    EXPECT_EQ(mqtt_payload_validate(&byte, 1024, 4), MQTT_OK);
    EXPECT_EQ(mqtt_payload_validate(nullptr, 5000, 5), MQTT_OK);
    EXPECT_EQ(mqtt_payload_validate(&byte, 1025, 5), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_payload_validate(&byte, 5000, 3), MQTT_ERR_VERSION_UNSUPPORTED);
    EXPECT_EQ(log.take(),
              "[ERROR] [Payload校验] 内容长度超限：实际=1025, 最大=1024\n"
              "[ERROR] [Payload校验] 非法MQTT版本：3\n");
}

}  // namespace
