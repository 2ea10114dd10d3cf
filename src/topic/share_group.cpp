#include "topic/share_group.h"

#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/text.h>
#include <zep_mqtt/topic/subscription_store.h>

#include "log/log_lines.h"

namespace zep {

namespace {

constexpr char PREFIX[] = "$share/";

}  // namespace

size_t shared_filter_length(const char *group, const char *filter) {
    return std::strlen(PREFIX) + std::strlen(group) + 1 + std::strlen(filter);
}

void compose_shared_filter(char *text, uint32_t size, const char *group, const char *filter) {
    platform_snprintf(text, size, "%s%s/%s", PREFIX, group, filter);
}

int32_t check_share_group_length(const char *group) {
    const size_t length = std::strlen(group);
    if (length >= MQTT_SHARE_GROUP_SIZE) {
        LOG_ERROR("mqtt_topic: share group too long, len=%u", static_cast<unsigned>(length));
        return MQTT_ERR_TOPIC_TOO_LONG;
    }
    return MQTT_OK;
}

}  // namespace zep
