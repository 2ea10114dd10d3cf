// The way out for packets, and the end of a connection.
#include <zep_mqtt/client/receive.h>
#include <zep_mqtt/net/adapter.h>

#include "client/connection/client_private.h"
#include "client/outbound/awaited_ack.h"

namespace zep {

int32_t send_packet(const mqtt_client &client, const uint8_t *packet, uint32_t length) {
    return net_adapter_send(client.net_index, packet, length);
}

void reset_receive_buffer(mqtt_client &client) {
    receive_buffer &rx = state_of(client).rx;
    rx.start = 0;
    rx.end = 0;
    rx.skip = 0;
}

void end_connection(mqtt_client &client) {
    set_state(client, MQTT_CLIENT_DISCONNECTED);
    net_adapter_close(client.net_index);
    client.net_index = MQTT_CLIENT_NO_INSTANCE;
    reset_receive_buffer(client);
    release_awaited(client);
}

void lose_link(mqtt_client &client) {
    end_connection(client);
    trigger_broker_resp_cb(&client, 0, MQTT_RESP_DISCONNECT, MQTT_RESP_RESULT_LINK, 0);
}

}  // namespace zep
