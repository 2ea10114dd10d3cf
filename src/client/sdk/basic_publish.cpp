// Publish of a handle.
#include <zep_mqtt/client/operations.h>
#include <zep_mqtt/client/v50.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/text.h>
#include <zep_mqtt_sdk_event.h>

#include "client/sdk/basic_private.h"
#include "client/sdk/event_private.h"
#include "log/log_lines.h"

using namespace zep;

namespace {

constexpr uint64_t HEADER_ALLOWANCE = 10;  // fixed header, topic length, identifier

bool packet_fits(const zep_mqtt_sdk_client &handle, const zep_mqtt_sdk_msg &msg) {
    const uint32_t limit = sdk_speaks_50(handle) ? handle.cfg.v50_max_pkt_size : PACKET_MAX;
    const uint64_t length =
        msg.payload_len + uint64_t{platform_strlen(msg.topic)} + HEADER_ALLOWANCE;
    if (length > limit) {
        LOG_ERROR("MQTT_SDK: publish failed: pkt_len(%d) > max(%d)", static_cast<int>(length),
                  limit);
        return false;
    }
    return true;
}

// A mqtt_message or a mqtt50_message that points to what the application's points to.
template <typename Message>
Message core_message(const zep_mqtt_sdk_msg &msg) {
    Message message = {};
    message.topic = msg.topic;
    message.payload = msg.payload;
    message.payload_len = msg.payload_len;
    message.qos = msg.qos;
    message.retain = msg.retain != 0 ? 1 : 0;
    return message;
}

int32_t publish50(zep_mqtt_sdk_client &handle, const zep_mqtt_sdk_msg &msg) {
    auto message = core_message<mqtt50_message>(msg);
    message.ttl = msg.ttl;
    message.message_expiry = msg.ttl;
    const int32_t status = mqtt_client_publish50(handle.core, &message);
    if (status == MQTT_OK) {
        LOG_DEBUG("MQTT_SDK: mqtt5.0 publish success, topic=%s, ttl=%d", msg.topic, msg.ttl);
    } else {
        LOG_ERROR("MQTT_SDK: mqtt5.0 publish failed, core_err=%d, topic=%s", status, msg.topic);
    }
    return sdk_result(status);
}

int32_t publish311(zep_mqtt_sdk_client &handle, const zep_mqtt_sdk_msg &msg) {
    auto message = core_message<mqtt_message>(msg);
    const int32_t status = mqtt_client_publish(handle.core, &message);
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_SDK: mqtt3.1.1 publish failed, core_err=%d, topic=%s", status, msg.topic);
    }
    return sdk_result(status);
}

}  // namespace

int32_t zep_mqtt_sdk_client_publish(zep_mqtt_sdk_client *client, const zep_mqtt_sdk_msg *msg) {
    if (is_event_driven(client)) {
        return zep_mqtt_sdk_client_send(client, msg, nullptr);
    }
    if (client == nullptr || msg == nullptr || msg->topic == nullptr || msg->payload == nullptr ||
        msg->payload_len == 0) {
        LOG_ERROR("MQTT_SDK: publish failed: invalid param");
        return ZEP_MQTT_SDK_ERR_PARAM;
    }
    if (!sdk_is_usable(*client)) {
        LOG_ERROR("MQTT_SDK: publish failed: client not connected");
        return ZEP_MQTT_SDK_ERR_NOT_CONNECTED;
    }
    if (!packet_fits(*client, *msg)) {
        return ZEP_MQTT_SDK_ERR_PACKET;
    }
    return sdk_speaks_50(*client) ? publish50(*client, *msg) : publish311(*client, *msg);
}
