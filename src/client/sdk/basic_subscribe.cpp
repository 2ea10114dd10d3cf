// Subscribe and unsubscribe of a handle.
#include <cstring>

#include <zep_mqtt/client/operations.h>
#include <zep_mqtt/client/v50.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/text.h>

#include "client/sdk/basic_private.h"
#include "client/sdk/event_private.h"
#include "log/log_lines.h"

using namespace zep;

namespace {

// Null arguments and a handle that is not connected are refused without a line.
int32_t check_arguments(const zep_mqtt_sdk_client *handle, const char *topic) {
    if (handle == nullptr || topic == nullptr || is_event_driven(handle)) {
        return ZEP_MQTT_SDK_ERR_PARAM;
    }
    return sdk_is_usable(*handle) ? ZEP_MQTT_SDK_OK : ZEP_MQTT_SDK_ERR_NOT_CONNECTED;
}

// The group that a 5.0 call means: its own, none when that is empty, the handle's when it is null.
const char *effective_group(const zep_mqtt_sdk_client &handle, const char *share_group) {
    if (share_group == nullptr) {
        return handle.cfg.share_group;
    }
    return share_group[0] == '\0' ? nullptr : share_group;
}

int32_t refuse_group() {
    LOG_ERROR("MQTT_SDK: subscribe failed: invalid share group");
    return ZEP_MQTT_SDK_ERR_PARAM;
}

int32_t subscribe50(zep_mqtt_sdk_client &handle, const char *topic, uint32_t qos,
                    const char *share_group) {
    const char *group = effective_group(handle, share_group);
    if (!check_share_group_valid(group)) {
        return refuse_group();
    }
    const int32_t status = mqtt_client_subscribe50(handle.core, topic, qos, group);
    if (group != nullptr) {
        LOG_INFO("MQTT_SDK: subscribe mqtt5.0 topic=%s, qos=%d, share_group=%s (会话级)", topic,
                 qos, group);
    } else if (share_group != nullptr) {
        LOG_INFO("MQTT_SDK: subscribe mqtt5.0 topic=%s, qos=%d (强制非共享订阅)", topic, qos);
    } else {
        LOG_INFO("MQTT_SDK: subscribe mqtt5.0 topic=%s, qos=%d, share_group=%s (实例级)", topic,
                 qos, "NULL");
    }
    return sdk_result(status);
}

int32_t subscribe311(zep_mqtt_sdk_client &handle, const char *topic, uint32_t qos) {
    const int32_t status = mqtt_client_subscribe(handle.core, topic, qos, 0);
    LOG_INFO("MQTT_SDK: subscribe mqtt3.1.1 topic=%s, qos=%d", topic, qos);
    return sdk_result(status);
}

// The group takes no part in the UNSUBSCRIBE; it only chooses the line.
int32_t unsubscribe50(zep_mqtt_sdk_client &handle, const char *topic, const char *share_group) {
    const int32_t status = mqtt_client_unsubscribe50(handle.core, topic);
    const char *group = effective_group(handle, share_group);
    if (group != nullptr) {
        LOG_INFO("MQTT_SDK: unsubscribe mqtt5.0 topic=%s, share_group=%s (会话级)", topic, group);
    } else if (share_group != nullptr) {
        LOG_INFO("MQTT_SDK: unsubscribe mqtt5.0 topic=%s (非共享订阅)", topic);
    } else {
        LOG_INFO("MQTT_SDK: unsubscribe mqtt5.0 topic=%s, share_group=%s (实例级)", topic, "NULL");
    }
    return sdk_result(status);
}

int32_t unsubscribe311(zep_mqtt_sdk_client &handle, const char *topic) {
    const int32_t status = mqtt_client_unsubscribe(handle.core, topic);
    LOG_INFO("MQTT_SDK: unsubscribe mqtt3.1.1 topic=%s", topic);
    return sdk_result(status);
}

}  // namespace

bool check_share_group_valid(const char *group) {
    if (group == nullptr || group[0] == '\0') {
        return true;
    }
    return std::strpbrk(group, "/+#") == nullptr && platform_strlen(group) <= SDK_SHARE_GROUP_MAX;
}

int32_t zep_mqtt_sdk_client_subscribe(zep_mqtt_sdk_client *client, const char *topic, uint32_t qos,
                                      const char *share_group) {
    const int32_t refused = check_arguments(client, topic);
    if (refused != ZEP_MQTT_SDK_OK) {
        return refused;
    }
    if (qos > QOS_MAX) {
        return ZEP_MQTT_SDK_ERR_PARAM;
    }
    if (!check_share_group_valid(share_group)) {
        return refuse_group();
    }
    return sdk_speaks_50(*client) ? subscribe50(*client, topic, qos, share_group)
                                  : subscribe311(*client, topic, qos);
}

int32_t zep_mqtt_sdk_client_unsubscribe(zep_mqtt_sdk_client *client, const char *topic,
                                        const char *share_group) {
    const int32_t refused = check_arguments(client, topic);
    if (refused != ZEP_MQTT_SDK_OK) {
        return refused;
    }
    if (!check_share_group_valid(share_group)) {
        LOG_ERROR("MQTT_SDK: unsubscribe failed: invalid share group");
        return ZEP_MQTT_SDK_ERR_PARAM;
    }
    const int32_t result = sdk_speaks_50(*client) ? unsubscribe50(*client, topic, share_group)
                                                  : unsubscribe311(*client, topic);
    if (result == ZEP_MQTT_SDK_OK) {
        LOG_INFO("MQTT_SDK: unsubscribe success, topic: %s", topic);
    } else {
        LOG_ERROR("MQTT_SDK: unsubscribe failed, topic: %s, err=%d", topic, result);
    }
    return result;
}
