// Inbound PUBREL of both versions: an inbound QoS 2 exchange ends (MQTT 3.1.1 §4.3.3). A PUBREL for
// an unknown message is answered too, or the broker would repeat it for ever.

#include "client/connection/client_private.h"
#include "client/inbound/inbound.h"
#include "client/outbound/acknowledge.h"
#include "log/log_lines.h"
#include "protocol/v50/decode.h"
#include "qos/received_ids.h"

namespace zep {

namespace {

void end_exchange(mqtt_client &client, uint16_t id, const char *label) {
    received_ids_remove(state_of(client).received_qos2, id);
    reply_with_ack(client, MQTT_PACKET_PUBCOMP, id);
    LOG_DEBUG("MQTT_CLIENT%s收到PUBREL，回复PUBCOMP (pkt_id:%d)", label, id);
}

}  // namespace

void on_pubrel(mqtt_client &client, const mqtt_packet &packet) {
    end_exchange(client, packet.body.ack.msg_id, LABEL_311);
}

void on_pubrel50(mqtt_client &client, const packet_view &packet) {
    mqtt50_ack ack;
    if (v50::decode_ack(MQTT_PACKET_PUBREL, packet, &ack) == MQTT_OK) {
        end_exchange(client, ack.msg_id, LABEL_50);
    }
}

}  // namespace zep
