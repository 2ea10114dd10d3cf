#include <zep_mqtt/core/status.h>

#include "client/sdk/basic_private.h"

namespace zep {

int32_t sdk_result(int32_t core_status) {
    switch (core_status) {
        case MQTT_OK:
            return ZEP_MQTT_SDK_OK;
        case MQTT_ERR_INVALID_PARAM:
        case MQTT_ERR_QOS_INVALID:
        case MQTT_ERR_CLIENT_ID_INVALID:
        case MQTT_ERR_WILDCARD_INVALID:
            return ZEP_MQTT_SDK_ERR_PARAM;
        case MQTT_ERR_NO_MEMORY:
            return ZEP_MQTT_SDK_ERR_NO_MEMORY;
        case MQTT_ERR_VERSION_UNSUPPORTED:
        case MQTT_ERR_CONNECT_FAILED:
        case MQTT_ERR_NOT_CONNECTED:
            return ZEP_MQTT_SDK_ERR_CONNECT;
        case MQTT_ERR_ENCODE:
        case MQTT_ERR_PACKET_TOO_LARGE:
            return ZEP_MQTT_SDK_ERR_PACKET;
        case MQTT_ERR_CACHE_NOT_FOUND:
        case MQTT_ERR_CACHE_FULL:
        case MQTT_ERR_DUPLICATE:
        case MQTT_ERR_TOPIC_TOO_LONG:
            return ZEP_MQTT_SDK_ERR_CACHE;
        case MQTT_ERR_PACKET_ID_EXHAUSTED:
            return ZEP_MQTT_SDK_ERR_PACKET_ID;
        case MQTT_ERR_CLIENT_BUSY:
            return ZEP_MQTT_SDK_ERR_BUSY;
        case MQTT_ERR_CLIENT_CREATE:
            return ZEP_MQTT_SDK_ERR_CREATE;
        case MQTT_ERR_TIMEOUT:
        case MQTT_ERR_CLIENT_TIMEOUT:
            return ZEP_MQTT_SDK_ERR_TIMEOUT;
        default:
            return ZEP_MQTT_SDK_ERR_UNKNOWN;
    }
}

}  // namespace zep
