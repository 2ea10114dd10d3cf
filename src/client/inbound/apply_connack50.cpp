// What a decoded 5.0 CONNACK makes of a connecting client: connected with what the broker
// announced, or refused.
#include <algorithm>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/text.h>

#include "client/connection/client_private.h"
#include "client/connection/keep_alive.h"
#include "client/inbound/inbound.h"
#include "log/log_lines.h"

using namespace zep;

namespace {

// The decoder keeps no value for it.
constexpr uint8_t AUTHENTICATION_METHOD = 0x15;

template <typename Unsigned>
Unsigned value_of(const mqtt50_property &property) {
    Unsigned value = 0;
    std::memcpy(&value, property.value, sizeof value);
    return value;
}

const char *text_of(const mqtt50_property &property) {
    return reinterpret_cast<const char *>(property.value);
}

// A text that does not fit leaves the field as it is.
template <size_t Size>
void store_if_fits(char (&field)[Size], const mqtt50_property &property) {
    const size_t length = strnlen(text_of(property), sizeof property.value);
    if (length < Size) {
        std::memset(field, 0, Size);
        std::memcpy(field, property.value, length);
    }
}

void apply_property(mqtt_client &client, const mqtt50_property &property) {
    mqtt50_conn_info &info = *client.conn_info;
    switch (property.id) {
        case MQTT50_PROP_SESSION_EXPIRY:
            info.session_expiry = value_of<uint32_t>(property);
            LOG_INFO("MQTT_CLIENT50: 5.0 CONNACK属性:会话过期=%ds", info.session_expiry);
            break;
        case MQTT50_PROP_ASSIGNED_CLIENT_ID:
            store_if_fits(info.assigned_client_id, property);
            break;
        case MQTT50_PROP_SERVER_KEEP_ALIVE:
            info.server_keep_alive = value_of<uint16_t>(property);
            client.config.keep_alive = info.server_keep_alive;
            LOG_INFO("MQTT_CLIENT50: 5.0 CONNACK属性:服务端心跳=%ds", info.server_keep_alive);
            break;
        case AUTHENTICATION_METHOD:
            LOG_INFO("MQTT_CLIENT50: 5.0 CONNACK属性:服务端认证方法=%s", text_of(property));
            break;
        case MQTT50_PROP_REASON_STRING:
            store_if_fits(info.reason_string, property);
            break;
        case MQTT50_PROP_RECEIVE_MAXIMUM:
            info.receive_maximum = value_of<uint16_t>(property);
            LOG_INFO("MQTT_CLIENT50: 5.0 CONNACK属性:服务端最大并发=%d", info.receive_maximum);
            break;
        case MQTT50_PROP_RETAIN_AVAILABLE:
            info.retain_available = property.value[0];
            break;
        case MQTT50_PROP_WILDCARD_SUB_AVAILABLE:
            LOG_INFO("MQTT_CLIENT50: 5.0 CONNACK属性:通配符订阅允许=%d", property.value[0]);
            break;
        case MQTT50_PROP_SUB_ID_AVAILABLE:
            LOG_INFO("MQTT_CLIENT50: 5.0 CONNACK属性:订阅ID允许=%d", property.value[0]);
            break;
        case MQTT50_PROP_SHARED_SUB_AVAILABLE:
            info.shared_sub_available = property.value[0];
            break;
        default:
            LOG_WARN("MQTT_CLIENT50: 5.0 CONNACK:未知属性ID=0x%02X", property.id);
            break;
    }
}

void apply_properties(mqtt_client &client, const mqtt50_connack &connack) {
    if (connack.prop_count == 0) {
        return;
    }
    LOG_INFO("MQTT_CLIENT50: 5.0 CONNACK解析:属性长度=%d", connack.prop_count);
    const int count = std::min<int>(connack.prop_count, MQTT50_CONNACK_PROPERTIES_MAX);
    for (int i = 0; i < count && connack.props[i].id != 0; ++i) {
        apply_property(client, connack.props[i]);
    }
}

void enter_connected(mqtt_client &client) {
    const mqtt50_conn_info &info = *client.conn_info;
    if (info.session_present == 0) {
        forget_received_messages(client);
    }
    set_state(client, MQTT_CLIENT_CONNECTED);
    client.connect_tick_ms = tick_now();
    client.last_activity_ms = client.connect_tick_ms;
    client.reconnect_count = 0;
    apply_unacked_timeout(client);
    LOG_INFO("MQTT_CLIENT50: ✅ MQTT5.0连接成功，最大报文=%dBytes，心跳=%ds", info.max_packet_size,
             client.config.keep_alive);
}

}  // namespace

int32_t mqtt50_client_handle_connack(mqtt_client *client, const mqtt50_connack *connack) {
    if (client == nullptr || connack == nullptr || client->conn_info == nullptr) {
        LOG_ERROR("MQTT_CLIENT50: 5.0 CONNACK ERR: 入参空指针，非法调用");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (!is_connecting(*client)) {
        LOG_WARN("MQTT_CLIENT50: 5.0 CONNACK WARN: 非CONNECTING状态，忽略报文");
        return MQTT_OK;
    }
    mqtt50_conn_info &info = *client->conn_info;
    info.protocol_version = MQTT_VERSION_50;
    info.reason_code = connack->reason_code;
    info.session_present = connack->session_present;
    info.max_packet_size =
        connack->max_packet_size != 0 ? connack->max_packet_size : NO_PACKET_LIMIT;
    info.retain_available = 0;
    apply_properties(*client, *connack);
    if (connack->reason_code != 0) {
        LOG_ERROR("MQTT_CLIENT50: ❌ MQTT5.0连接失败，原因码=0x%02X，描述=%s", connack->reason_code,
                  info.reason_string[0] != '\0' ? info.reason_string : "无");
        end_connection(*client);
        return MQTT_ERR_CONNECT_FAILED;
    }
    enter_connected(*client);
    return MQTT_OK;
}
