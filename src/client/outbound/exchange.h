// The way out that publish, subscribe and unsubscribe of both versions share: a packet is laid out
// and sent, under an identifier that its exchange keeps (packet_id_lease.h).
#pragma once

#include <zep_mqtt/core/status.h>

#include "client/connection/client_private.h"
#include "client/outbound/packet_id_lease.h"

namespace zep {

// The log lines of an operation for the two steps that can fail; null for none.
struct failure_lines {
    void (*not_encoded)(int32_t status) = nullptr;
    void (*not_sent)(int32_t status) = nullptr;  // the adapter's status
};

// Sends a packet that was laid out with this status. Gives that status when it is a failure, and
// MQTT_ERR_INTERNAL when the packet could not be sent.
int32_t send_encoded(const mqtt_client &client, const failure_lines &lines, int32_t status,
                     const uint8_t *packet, uint32_t length);

// Lays a packet out and sends it: a 3.1.1 packet of up to PACKET_MAX bytes, a 5.0 packet in tx_buf.
int32_t send311(mqtt_client &client, const failure_lines &lines, mqtt_packet &packet);

template <typename Packet>
int32_t send50(mqtt_client &client, const failure_lines &lines,
               int32_t (*encode)(const Packet *, uint8_t *, uint32_t *), const Packet &packet) {
    clear_tx_buf(client);
    uint32_t length = sizeof client.tx_buf;
    const int32_t status = encode(&packet, client.tx_buf, &length);
    return send_encoded(client, lines, status, client.tx_buf, length);
}

// Encrypts a payload into `out`, which takes PAYLOAD_MAX bytes; the client's cipher is on. Gives
// the cipher's result, 0 for success; out_len receives the length of the ciphertext with its check
// value, or after a failure PAYLOAD_MAX.
int32_t encrypt_payload(mqtt_client &client, const uint8_t *payload, uint32_t length, uint8_t *out,
                        uint32_t *out_len);

}  // namespace zep
