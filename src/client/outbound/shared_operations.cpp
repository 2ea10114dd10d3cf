// Small operations that the dispatch and the client's operations share.
#include <zep_mqtt/client/receive.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet_id.h>

#include "client/connection/client_private.h"
#include "log/log_lines.h"

using namespace zep;

void trigger_broker_resp_cb(mqtt_client *client, uint8_t success, uint32_t resp_type,
                            int32_t result, uint16_t pkt_id) {
    if (client == nullptr || client->resp_cb == nullptr) {
        return;
    }
    mqtt_broker_resp resp = {};
    resp.success = success;
    resp.resp_type = resp_type;
    resp.result = result;
    resp.pkt_id = pkt_id;
    client->resp_cb(&resp);
}

int32_t mqtt_client_alloc_pkt_id(mqtt_client *client, uint16_t *id) {
    if (client == nullptr) {
        log_null_pointer("mqtt_client_alloc_pkt_id");
        return MQTT_ERR_INVALID_PARAM;
    }
    const int32_t status = mqtt_packet_id_alloc(&client->session, id);
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT: Packet ID分配失败（%s），当前可用ID数：%d",
                  mqtt_status_text(status), client->session.id_pool_top);
    }
    return status;
}

void mqtt_client_free_pkt_id(mqtt_client *client, uint16_t id) {
    if (client == nullptr) {
        log_null_pointer("mqtt_client_free_pkt_id");
        return;
    }
    if (id != 0) {
        (void)mqtt_packet_id_free(&client->session, id);
    }
}
