#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/text.h>
#include <zep_mqtt/protocol/v50/user_property.h>

#include "core/heap_copy.h"
#include "log/log_lines.h"

namespace {

bool is_empty(const char *text) {
    return text == nullptr || text[0] == '\0';
}

}  // namespace

int32_t mqtt50_user_property_set(mqtt50_message *holder, const char *key, const char *value) {
    if (holder == nullptr || is_empty(key) || is_empty(value)) {
        return MQTT_ERR_INVALID_PARAM;
    }
    zep::heap_ptr<mqtt50_user_property> node(
        static_cast<mqtt50_user_property *>(platform_malloc(sizeof(mqtt50_user_property))));
    if (node == nullptr) {
        return MQTT_ERR_NO_MEMORY;
    }
    if (holder->user_prop_count >= MQTT50_USER_PROPERTIES_MAX) {
        LOG_WARN("MQTT5.0_PROTOCOL: 用户属性组数达到上限(%d组)，拒绝新增",
                 static_cast<int>(MQTT50_USER_PROPERTIES_MAX));
        return MQTT_ERR_NOT_SUPPORTED;
    }
    zep::heap_ptr<char[]> key_copy = zep::heap_text(key);
    zep::heap_ptr<char[]> value_copy = zep::heap_text(value);
    if (key_copy == nullptr || value_copy == nullptr) {
        return MQTT_ERR_NO_MEMORY;
    }
    *node = {key_copy.release(), value_copy.release(), holder->user_props};
    holder->user_props = node.release();
    ++holder->user_prop_count;
    return MQTT_OK;
}

int32_t mqtt50_user_property_get(const mqtt50_message *holder, const char *key, char *output,
                                 int32_t output_size) {
    if (holder == nullptr || key == nullptr || output == nullptr || output_size < 1) {
        return MQTT_ERR_INVALID_PARAM;
    }
    const size_t key_size = platform_strlen(key);
    if (key_size == 0) {
        return MQTT_ERR_CACHE_NOT_FOUND;
    }
    for (const mqtt50_user_property *node = holder->user_props; node != nullptr;
         node = node->next) {
        if (std::strncmp(node->key, key, key_size) == 0) {
            platform_strcpy_s(output, static_cast<uint32_t>(output_size), node->value);
            return MQTT_OK;
        }
    }
    return MQTT_ERR_CACHE_NOT_FOUND;
}

int32_t mqtt50_user_property_free(mqtt50_user_property *head) {
    while (head != nullptr) {
        mqtt50_user_property *next = head->next;
        platform_free(head->key);
        platform_free(head->value);
        platform_free(head);
        head = next;
    }
    return MQTT_OK;
}
