// What the files of the client share: questions about its state, sending, the end of a connection.
#pragma once

#include <cstring>

#include <zep_mqtt/client/client.h>
#include <zep_mqtt/client/v50.h>
#include <zep_mqtt/platform/clock.h>

#include "client/connection/client_state.h"
#include "core/limits.h"
#include "core/shared.h"
#include "log/log_lines.h"

namespace zep {

constexpr uint32_t NO_PACKET_LIMIT = 65535;  // max_packet_size of a broker that gave none

inline void log_null_pointer(const char *operation) {
    LOG_ERROR("MQTT_CLIENT: 无效空指针（调用函数：%s）", operation);
}

inline uint32_t tick_now() {
    return static_cast<uint32_t>(platform_get_tick_ms());
}

// The state is read by whoever asks for it, also while an operation runs on another thread.
inline void set_state(mqtt_client &client, uint32_t state) {
    shared(client.state).store(state, std::memory_order_relaxed);
}

inline bool has_instance(const mqtt_client &client) {
    return client.net_index != MQTT_CLIENT_NO_INSTANCE;
}

inline bool is_disconnected(const mqtt_client &client) {
    return client.state == MQTT_CLIENT_DISCONNECTED;
}

inline bool is_connecting(const mqtt_client &client) {
    return client.state == MQTT_CLIENT_CONNECTING;
}

inline bool is_connected(const mqtt_client &client) {
    return client.state == MQTT_CLIENT_CONNECTED && has_instance(client);
}

// Connecting or connected: there is somebody to send to and to receive from.
inline bool has_link(const mqtt_client &client) {
    return !is_disconnected(client) && has_instance(client);
}

inline bool cipher_is_on(const mqtt_client &client) {
    return client.crypto != nullptr && client.config.crypto_enable == 1;
}

inline void clear_tx_buf(mqtt_client &client) {
    std::memset(client.tx_buf, 0, sizeof client.tx_buf);
}

inline bool negotiated_50(const mqtt_client &client) {
    return client.conn_info != nullptr && client.conn_info->protocol_version == MQTT_VERSION_50;
}

// The version that packets other than CONNECT are written for.
inline uint32_t version_in_use(const mqtt_client &client) {
    return client.conn_info != nullptr && client.conn_info->protocol_version > 0
               ? client.conn_info->protocol_version
               : client.config.mqtt_version;
}

// Sends on the client's network instance; 0 or the adapter's status.
int32_t send_packet(const mqtt_client &client, const uint8_t *packet, uint32_t length);

// Forgets what was received and not handled: nothing of one connection may reach the next.
void reset_receive_buffer(mqtt_client &client);

// DISCONNECTED, without a network instance. Everything that lives and dies with a connection ends
// here; what outlives it (QoS caches, their identifiers) stays.
void end_connection(mqtt_client &client);

// Ends the connection and tells the application that the link was lost.
void lose_link(mqtt_client &client);

// Handles what has arrived, without waiting for more, until the connection state changes: for a
// connection that is about to be given up.
void receive_what_has_arrived(mqtt_client &client);

}  // namespace zep
