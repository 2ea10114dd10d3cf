// The life of a handle after its creation: connect, disconnect, destroy, state read-out and loop.
#include <zep_mqtt/client/loop.h>
#include <zep_mqtt/client/operations.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt_sdk_event.h>

#include "client/sdk/basic_private.h"
#include "client/sdk/event_private.h"
#include "log/log_lines.h"

using namespace zep;

namespace {

constexpr uint32_t EVENT_LOOP_WAIT_MS = 20;  // as long as a pass of a basic handle

}  // namespace

int32_t zep_mqtt_sdk_client_connect(zep_mqtt_sdk_client *client) {
    if (is_event_driven(client)) {
        return event_connect(client);
    }
    if (client == nullptr || client->core == nullptr) {
        return ZEP_MQTT_SDK_ERR_PARAM;
    }
    const int32_t status = mqtt_client_connect(client->core);
    sdk_set_connected(*client, false);
    return sdk_result(status);
}

int32_t zep_mqtt_sdk_client_disconnect(zep_mqtt_sdk_client *client) {
    if (is_event_driven(client)) {
        return event_disconnect(client);
    }
    if (client == nullptr || client->core == nullptr) {
        return ZEP_MQTT_SDK_ERR_PARAM;
    }
    (void)mqtt_client_disconnect(client->core);
    sdk_set_connected(*client, false);
    LOG_INFO("MQTT_SDK: client disconnect success");
    return ZEP_MQTT_SDK_OK;
}

void zep_mqtt_sdk_client_destroy(zep_mqtt_sdk_client *client) {
    if (is_event_driven(client)) {
        event_destroy(client);
        return;
    }
    if (client == nullptr) {
        return;
    }
    if (client->core != nullptr) {
        mqtt_client_destroy(client->core);
    }
    platform_free(client);
    LOG_INFO("MQTT_SDK: client destroy success, all resource released");
}

int32_t zep_mqtt_sdk_client_get_conn_state(const zep_mqtt_sdk_client *client) {
    if (is_event_driven(client)) {
        return event_state(client);
    }
    if (client == nullptr) {
        return ZEP_MQTT_SDK_DISCONNECTED;
    }
    switch (mqtt_client_get_connect_state(client->core)) {
        case MQTT_CLIENT_CONNECTING:
            return ZEP_MQTT_SDK_CONNECTING;
        case MQTT_CLIENT_CONNECTED:
            return ZEP_MQTT_SDK_CONNECTED;
        default:
            return ZEP_MQTT_SDK_DISCONNECTED;
    }
}

int32_t zep_mqtt_sdk_client_loop(zep_mqtt_sdk_client *client) {
    if (is_event_driven(client)) {
        return zep_mqtt_sdk_client_loop_for(client, EVENT_LOOP_WAIT_MS);
    }
    if (client == nullptr) {
        LOG_ERROR("MQTT_SDK: loop failed: invalid client handle");
        return ZEP_MQTT_SDK_ERR_PARAM;
    }
    if (client->core == nullptr) {
        LOG_ERROR("MQTT_SDK: loop failed: core client handle invalid");
        return ZEP_MQTT_SDK_ERR_PARAM;
    }
    const int32_t status = mqtt_client_loop(client->core);
    const uint32_t state = mqtt_client_get_connect_state(client->core);
    if (state == MQTT_CLIENT_CONNECTED) {
        sdk_set_connected(*client, true);
    } else if (state == MQTT_CLIENT_DISCONNECTED) {
        sdk_set_connected(*client, false);
    }
    return sdk_result(status);
}
