// What the files of the client share: the state of the connection, its end, and sending.
#pragma once

#include <cstring>

#include <zep_mqtt/client/client.h>
#include <zep_mqtt/client/v50.h>
#include <zep_mqtt/platform/clock.h>

#include "client/connection/client_state.h"
#include "core/shared.h"

namespace zep {

constexpr uint32_t PAYLOAD_MAX = 1024;       // bytes on the wire
constexpr uint32_t PACKET_MAX = 1028;        // bytes that an operation lays out
constexpr uint32_t WILL_PAYLOAD_MAX = 256;   // bytes
constexpr uint32_t NO_PACKET_LIMIT = 65535;  // max_packet_size of a broker that gave none
constexpr uint32_t QOS_MAX = 2;

inline uint32_t tick_now() {
    return static_cast<uint32_t>(platform_get_tick_ms());
}

// The state is read by whoever asks for it, also while an operation runs on another thread.
inline void set_state(mqtt_client &client, uint32_t state) {
    shared(client.state).store(state, std::memory_order_relaxed);
}

inline bool is_connected(const mqtt_client &client) {
    return client.state == MQTT_CLIENT_CONNECTED && client.net_index != MQTT_CLIENT_NO_INSTANCE;
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

void log_null_pointer(const char *operation);

// Sends on the client's network instance; 0 or the adapter's status.
int32_t send_packet(const mqtt_client &client, const uint8_t *packet, uint32_t length);

// Encodes an acknowledgement of ours and sends it. It carries any identifier of the broker's. That
// it could not be sent is not acted on: the broker sends its packet again.
void reply_with_ack(mqtt_client &client, uint32_t type, uint16_t msg_id);

// Forgets what was received and not handled: nothing of one connection may reach the next.
void reset_receive_buffer(mqtt_client &client);

// The broker kept no session: what it sends from now on repeats nothing of an earlier connection.
void forget_received_messages(mqtt_client &client);

// DISCONNECTED, without a network instance. Everything that lives and dies with a connection ends
// here; what outlives it (QoS caches, their identifiers) stays.
void end_connection(mqtt_client &client);

// Ends the connection and tells the application that the link was lost.
void lose_link(mqtt_client &client);

// Handles what has arrived, without waiting for more, until the connection state changes: for a
// connection that is about to be given up.
void receive_what_has_arrived(mqtt_client &client);

// Lets the system give up on data that the peer does not acknowledge, early enough for a peer that
// vanished to be noticed within one and a half keep-alive intervals, and while a message on its way
// has repetitions left.
void apply_unacked_timeout(const mqtt_client &client);

}  // namespace zep
