#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/mutex.h>
#include <zep_mqtt/platform/text.h>
#include <zep_mqtt/protocol/v311/validate.h>
#include <zep_mqtt/topic/subscription_store.h>

#include "core/limits.h"
#include "log/log_lines.h"
#include "platform/mutex_guard.h"
#include "topic/share_group.h"

mqtt_topic_list g_mqtt_sub_ctx = {};
uint8_t g_sub_ctx_inited = 0;

namespace {

// Nothing is logged while the store's lock is held. What is logged afterwards does not point into
// the store, which another thread may change meanwhile.

mqtt_topic_entry *find(mqtt_topic_list &store, const char *filter) {
    for (mqtt_topic_entry &entry : store.entries) {
        if (entry.in_use != 0 && std::strcmp(entry.topic, filter) == 0) {
            return &entry;
        }
    }
    return nullptr;
}

mqtt_topic_entry *find_free(mqtt_topic_list &store) {
    for (mqtt_topic_entry &entry : store.entries) {
        if (entry.in_use == 0) {
            return &entry;
        }
    }
    return nullptr;
}

// Filter and group fit their fields.
int32_t check_sizes(const char *filter, const char *group) {
    const size_t filter_len = std::strlen(filter);
    if (filter_len >= MQTT_TOPIC_STORE_SIZE) {
        LOG_ERROR("mqtt_topic: client add failed, topic too long, len=%u",
                  static_cast<unsigned>(filter_len));
        return MQTT_ERR_TOPIC_TOO_LONG;
    }
    return zep::check_share_group_length(group);
}

void set_qos_and_group(mqtt_topic_entry &entry, uint8_t qos, const char *group) {
    entry.qos = qos;
    std::memset(entry.share_group, 0, sizeof entry.share_group);
    platform_strcpy_s(entry.share_group, sizeof entry.share_group, group);
    entry.is_shared = *group != '\0';
}

enum class add_result { added, updated, full };

add_result add_locked(mqtt_topic_list &store, const char *filter, uint8_t qos, const char *group) {
    const zep::mutex_guard guard(store.lock);
    mqtt_topic_entry *entry = find(store, filter);
    if (entry != nullptr) {
        set_qos_and_group(*entry, qos, group);
        return add_result::updated;
    }
    entry = find_free(store);
    if (store.count >= MQTT_TOPIC_STORE_MAX || entry == nullptr) {
        return add_result::full;
    }
    platform_strcpy_s(entry->topic, sizeof entry->topic, filter);
    entry->in_use = 1;
    set_qos_and_group(*entry, qos, group);
    ++store.count;
    return add_result::added;
}

bool remove_locked(mqtt_topic_list &store, const char *filter) {
    const zep::mutex_guard guard(store.lock);
    mqtt_topic_entry *entry = find(store, filter);
    if (entry == nullptr) {
        return false;
    }
    *entry = mqtt_topic_entry{};
    --store.count;
    return true;
}

bool read_group_locked(mqtt_topic_list &store, const char *filter, char *group) {
    const zep::mutex_guard guard(store.lock);
    const mqtt_topic_entry *entry = find(store, filter);
    if (entry == nullptr) {
        return false;
    }
    platform_strcpy_s(group, MQTT_SHARE_GROUP_SIZE, entry->share_group);
    return true;
}

}  // namespace

int32_t mqtt_topic_list_init(mqtt_topic_list *store) {
    if (store == nullptr) {
        LOG_ERROR("mqtt_topic: init failed, ctx is NULL");
        return MQTT_ERR_INVALID_PARAM;
    }
    *store = mqtt_topic_list{};
    store->lock = platform_mutex_create();
    if (store->lock == nullptr) {
        LOG_ERROR("mqtt_topic: create mutex failed");
        return MQTT_ERR_INVALID_PARAM;
    }
    LOG_INFO("mqtt_topic: list init success");
    return MQTT_OK;
}

int32_t mqtt_topic_client_add(mqtt_topic_list *store, const char *filter, uint8_t qos,
                              const char *group) {
    if (filter == nullptr || qos > zep::QOS_MAX || store == nullptr) {
        LOG_ERROR("mqtt_topic: client add failed, invalid param");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (group == nullptr) {
        group = "";
    }
    int32_t status = mqtt_topic_validate(filter, MQTT_TOPIC_MODE_FILTER);
    if (status == MQTT_OK) {
        status = check_sizes(filter, group);
    }
    if (status != MQTT_OK) {
        return status;
    }
    switch (add_locked(*store, filter, qos, group)) {
        case add_result::updated:
            LOG_INFO("mqtt_topic: client update sub: %s, qos=%u", filter, qos);
            return MQTT_OK;
        case add_result::added:
            LOG_INFO("mqtt_topic: client add sub: %s, qos=%u, shared=%d", filter, qos,
                     *group != '\0');
            return MQTT_OK;
        default:
            LOG_ERROR("mqtt_topic: client sub count exceed max: %u", MQTT_TOPIC_STORE_MAX);
            return MQTT_ERR_CACHE_FULL;
    }
}

int32_t mqtt_topic_client_remove(mqtt_topic_list *store, const char *filter) {
    if (store == nullptr || filter == nullptr) {
        LOG_ERROR("mqtt_topic: client remove failed, param NULL");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (!remove_locked(*store, filter)) {
        LOG_ERROR("mqtt_topic: client remove failed, topic not found: %s", filter);
        return MQTT_ERR_CACHE_NOT_FOUND;
    }
    LOG_INFO("mqtt_topic: client remove sub: %s", filter);
    return MQTT_OK;
}

int32_t mqtt_topic_client_get_share_group(mqtt_topic_list *store, const char *filter, char *group) {
    if (store == nullptr || filter == nullptr || group == nullptr) {
        LOG_ERROR("mqtt_topic: get share group failed, param NULL");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (!read_group_locked(*store, filter, group)) {
        LOG_ERROR("mqtt_topic: get share group failed, topic not found: %s", filter);
        return MQTT_ERR_CACHE_NOT_FOUND;
    }
    LOG_DEBUG("mqtt_topic: get share group for %s: %s", filter, group);
    return MQTT_OK;
}
