// The exported composer of shared filters.
#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/text.h>
#include <zep_mqtt/topic/subscription_store.h>

#include "log/log_lines.h"
#include "topic/share_group.h"

namespace {

int32_t check_group(const char *group) {
    const int32_t status = zep::check_share_group_length(group);
    if (status != MQTT_OK) {
        return status;
    }
    if (std::strpbrk(group, "/$") != nullptr) {
        LOG_ERROR("mqtt_topic: share group has invalid char (/ or $)");
        return MQTT_ERR_INVALID_PARAM;
    }
    return MQTT_OK;
}

int32_t check_length(size_t length) {
    if (length >= MQTT_TOPIC_STORE_SIZE) {
        LOG_ERROR("mqtt_topic: shared topic too long");
        return MQTT_ERR_TOPIC_TOO_LONG;
    }
    return MQTT_OK;
}

}  // namespace

int32_t mqtt_topic_client_build_shared(const char *filter, const char *group, char *topic) {
    if (filter == nullptr || topic == nullptr) {
        LOG_ERROR("mqtt_topic: build shared failed, param NULL");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (group == nullptr || *group == '\0') {
        const int32_t status = check_length(std::strlen(filter));
        if (status == MQTT_OK) {
            platform_strcpy_s(topic, MQTT_TOPIC_STORE_SIZE, filter);
        }
        return status;
    }
    int32_t status = check_group(group);
    if (status == MQTT_OK) {
        status = check_length(zep::shared_filter_length(group, filter));
    }
    if (status != MQTT_OK) {
        return status;
    }
    std::memset(topic, 0, MQTT_TOPIC_STORE_SIZE);
    zep::compose_shared_filter(topic, MQTT_TOPIC_STORE_SIZE, group, filter);
    LOG_DEBUG("mqtt_topic: build shared topic: %s", topic);
    return MQTT_OK;
}
