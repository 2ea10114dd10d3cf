// Inbound PUBREC and PUBCOMP of both versions: a QoS 2 publish moves on.
#include <zep_mqtt/client/receive.h>
#include <zep_mqtt/qos/qos2.h>

#include "client/connection/client_private.h"
#include "client/inbound/inbound.h"
#include "client/outbound/awaited_ack.h"
#include "log/log_lines.h"
#include "protocol/v50/decode.h"

using namespace zep;

namespace {

// The PUBREL stands in tx_buf.
void send_pubrel(mqtt_client &client, uint16_t id, uint32_t length) {
    const int32_t sent = send_packet(client, client.tx_buf, length);
    if (sent != 0) {
        LOG_ERROR("MQTT_CLIENT: QoS2 PUBREL发送失败（状态码：%d）", sent);
    } else {
        LOG_DEBUG("MQTT_CLIENT: QoS2 PUBREL发送成功（pkt_id：%d）", id);
    }
}

void log_refused_ack(int32_t status, uint16_t id) {
    LOG_WARN("MQTT_CLIENT: QoS2 ACK处理失败（%s，pkt_id：%d）", mqtt_status_text(status), id);
}

// Sent without room in the cache: the exchange is brought to its end all the same.
void answer_uncached_pubrec(mqtt_client &client, uint16_t id) {
    mqtt_packet pubrel = {};
    pubrel.type = MQTT_PACKET_PUBREL;
    pubrel.qos = 1;
    pubrel.body.ack.msg_id = id;
    uint32_t length = sizeof client.tx_buf;
    if (mqtt_client_encode_packet(&client, &pubrel, client.tx_buf, &length) == MQTT_OK) {
        send_pubrel(client, id, length);
    }
    await_ack(client, id, MQTT_PACKET_PUBCOMP);
}

void handle_pubrec(mqtt_client &client, uint16_t id) {
    uint32_t length = sizeof client.tx_buf;
    const int32_t status = mqtt_qos2_handle_pubrec(&client.session, id, client.tx_buf, &length);
    if (status == MQTT_OK) {
        send_pubrel(client, id, length);
        return;
    }
    log_refused_ack(status, id);
    if (is_awaited(client, id, MQTT_PACKET_PUBREC) || is_awaited(client, id, MQTT_PACKET_PUBCOMP)) {
        answer_uncached_pubrec(client, id);
    }
}

void handle_pubcomp(mqtt_client &client, uint16_t id) {
    const int32_t status = mqtt_qos2_handle_pubcomp(&client.session, id);
    if (status == MQTT_OK) {
        LOG_DEBUG("MQTT_CLIENT: QoS2 PUBCOMP处理成功（pkt_id：%d）", id);
        return;
    }
    log_refused_ack(status, id);
    if (is_awaited(client, id, MQTT_PACKET_PUBCOMP)) {
        release_awaited(client, id);
    }
}

}  // namespace

void mqtt_client_handle_qos2_ack(mqtt_client *client, uint32_t type, uint16_t id) {
    if (client == nullptr) {
        log_null_pointer("mqtt_client_handle_qos2_ack");
        return;
    }
    clear_tx_buf(*client);
    if (type == MQTT_PACKET_PUBREC) {
        handle_pubrec(*client, id);
    } else if (type == MQTT_PACKET_PUBCOMP) {
        handle_pubcomp(*client, id);
    }
    clear_tx_buf(*client);
}

namespace zep {

void on_qos2_ack(mqtt_client &client, const mqtt_packet &packet) {
    const uint16_t id = packet.body.ack.msg_id;
    mqtt_client_handle_qos2_ack(&client, packet.type, id);
    trigger_broker_resp_cb(&client, 1, MQTT_RESP_QOS2, 0, id);
}

void on_qos2_ack50(mqtt_client &client, const packet_view &packet) {
    const uint8_t type = packet.type();
    mqtt50_ack ack;
    if (v50::decode_ack(type, packet, &ack) != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT5.0 %s报文解码失败，丢弃非法报文",
                  type == MQTT_PACKET_PUBREC ? "PUBREC" : "PUBCOMP");
        return;
    }
    mqtt_client_handle_qos2_ack(&client, type, ack.msg_id);
    trigger_broker_resp_cb(&client, 1, MQTT_RESP_QOS2, 0, ack.msg_id);
}

}  // namespace zep
