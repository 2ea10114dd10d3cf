#include <string_view>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v311/validate.h>

#include "log/log_lines.h"
#include "topic/wildcards.h"

namespace {

constexpr std::string_view WILDCARDS = "+#";
constexpr std::string_view FORBIDDEN = "\n\r \\|\x80\xE3";
constexpr std::string_view WILL_MARK = "will_topic:";
constexpr size_t NONE = std::string_view::npos;

int32_t check_bytes(std::string_view topic) {
    const size_t found = topic.find_first_of(FORBIDDEN);
    if (found == NONE) {
        return MQTT_OK;
    }
    const uint8_t byte = static_cast<uint8_t>(topic[found]);
    LOG_ERROR("[协议合规] 主题非法：包含禁止字符（%c/0x%02X），位置=%u，topic=%s", byte, byte,
              static_cast<uint32_t>(found), topic.data());
    return MQTT_ERR_WILDCARD_INVALID;
}

int32_t check_length(std::string_view topic) {
    if (topic.size() > MQTT_TOPIC_MAX_LEN) {
        LOG_ERROR("[协议合规] 主题非法：长度超限（实际=%u，最大=%d）",
                  static_cast<uint32_t>(topic.size()), MQTT_TOPIC_MAX_LEN);
        return MQTT_ERR_TOPIC_TOO_LONG;
    }
    return MQTT_OK;
}

int32_t check_levels(std::string_view topic) {
    int levels = 1;
    for (size_t at = topic.find('/'); at != NONE; at = topic.find('/', at + 1)) {
        ++levels;
        if (levels > MQTT_TOPIC_MAX_LEVELS) {
            LOG_ERROR("[协议合规] 主题非法：层级超限（实际=%d，最大=%d），topic=%s", levels,
                      MQTT_TOPIC_MAX_LEVELS, topic.data());
            return MQTT_ERR_TOPIC_TOO_DEEP;
        }
        if (at + 1 < topic.size() && topic[at + 1] == '/') {
            LOG_ERROR("[协议合规] 主题非法：包含连续分隔符//，topic=%s", topic.data());
            return MQTT_ERR_WILDCARD_INVALID;
        }
    }
    return MQTT_OK;
}

int32_t check_no_wildcard(std::string_view topic) {
    if (topic.find_first_of(WILDCARDS) != NONE) {
        LOG_ERROR("[协议合规] 发布主题非法：包含通配符+/#（MQTT 3.1.1禁止），topic=%s",
                  topic.data());
        return MQTT_ERR_WILDCARD_INVALID;
    }
    return MQTT_OK;
}

int32_t check_filter(std::string_view filter) {
    switch (zep::find_wildcard_fault(filter)) {
        case zep::wildcard_fault::hash_not_last:
            LOG_ERROR("[协议合规] 订阅过滤器非法：#通配符未在末尾，topic=%s", filter.data());
            return MQTT_ERR_WILDCARD_INVALID;
        case zep::wildcard_fault::hash_inside_level:
            LOG_ERROR("[协议合规] 订阅过滤器非法：#通配符前无/，topic=%s", filter.data());
            return MQTT_ERR_WILDCARD_INVALID;
        case zep::wildcard_fault::plus_inside_level:
            LOG_ERROR("[协议合规] 订阅过滤器非法：+通配符未单独作为一层，topic=%s", filter.data());
            return MQTT_ERR_WILDCARD_INVALID;
        case zep::wildcard_fault::none:
        default:
            return MQTT_OK;
    }
}

int32_t check_wildcards(std::string_view topic, uint32_t mode) {
    switch (mode) {
        case MQTT_TOPIC_MODE_NAME:
            return check_no_wildcard(topic);
        case MQTT_TOPIC_MODE_FILTER:
            return check_filter(topic);
        default:
            return MQTT_OK;
    }
}

int32_t check_will_mark(std::string_view topic) {
    if (topic.find(WILL_MARK) != NONE && topic.find_first_of(WILDCARDS) != NONE) {
        LOG_ERROR("[协议合规] Will Topic非法：包含通配符+/#（MQTT 3.1.1禁止），topic=%s",
                  topic.data());
        return MQTT_ERR_WILDCARD_INVALID;
    }
    return MQTT_OK;
}

}  // namespace

int32_t mqtt_topic_validate(const char *topic, uint32_t mode) {
    if (topic == nullptr || topic[0] == '\0') {
        LOG_ERROR("[协议合规] 主题非法：空指针或空字符串（MQTT 3.1.1禁止）");
        return MQTT_ERR_INVALID_PARAM;
    }
    const std::string_view text(topic);
    int32_t status = check_bytes(text);
    if (status == MQTT_OK) {
        status = check_length(text);
    }
    if (status == MQTT_OK) {
        status = check_levels(text);
    }
    if (status == MQTT_OK) {
        status = check_wildcards(text, mode);
    }
    return status == MQTT_OK ? check_will_mark(text) : status;
}

int32_t mqtt_payload_validate(const uint8_t *payload, int32_t len, uint32_t version) {
    if (version != MQTT_VERSION_311 && version != MQTT_VERSION_50) {
        LOG_ERROR("[Payload校验] 非法MQTT版本：%d", version);
        return MQTT_ERR_VERSION_UNSUPPORTED;
    }
    if (payload != nullptr && len > MQTT_PAYLOAD_MAX_LEN) {
        LOG_ERROR("[Payload校验] 内容长度超限：实际=%d, 最大=%d", len, MQTT_PAYLOAD_MAX_LEN);
        return MQTT_ERR_INVALID_PARAM;
    }
    return MQTT_OK;
}
