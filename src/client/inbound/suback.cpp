// Inbound SUBACK and UNSUBACK of both versions. Both reach the message callback too, as messages
// with an empty topic.
#include <zep_mqtt/client/receive.h>

#include "client/connection/client_private.h"
#include "client/inbound/inbound.h"
#include "client/outbound/awaited_ack.h"
#include "log/log_lines.h"
#include "protocol/v50/decode.h"

namespace zep {

namespace {

// payload: the granted QoS, or null.
void deliver_acknowledgement(mqtt_client &client, uint16_t id, const uint8_t *granted_qos) {
    std::memset(client.rx_topic, 0, sizeof client.rx_topic);
    mqtt_message message = {};
    message.topic = client.rx_topic;
    message.payload = granted_qos;
    message.payload_len = granted_qos == nullptr ? 0 : 1;
    message.qos = granted_qos == nullptr ? 0 : *granted_qos;
    message.msg_id = id;
    deliver(client, message);
}

void subscription_acknowledged(mqtt_client &client, uint16_t id, uint8_t granted_qos,
                               const char *label) {
    finish_subscription_exchange(client, id, MQTT_PACKET_SUBACK);
    client.last_activity_ms = tick_now();
    deliver_acknowledgement(client, id, &granted_qos);
    LOG_INFO("MQTT_CLIENT✅ 收到%sSUBACK订阅应答成功 (pkt_id:%d, 授权QoS:%d)", label, id,
             granted_qos);
    trigger_broker_resp_cb(&client, 1, MQTT_RESP_SUBACK, 0, id);
}

void unsubscription_acknowledged(mqtt_client &client, uint16_t id, const char *label) {
    finish_subscription_exchange(client, id, MQTT_PACKET_UNSUBACK);
    deliver_acknowledgement(client, id, nullptr);
    LOG_INFO("MQTT_CLIENT✅ 收到%sUNSUBACK取消订阅应答成功 (pkt_id:%d)", label, id);
    trigger_broker_resp_cb(&client, 1, MQTT_RESP_UNSUBACK, 0, id);
}

}  // namespace

void on_suback(mqtt_client &client, const mqtt_packet &packet) {
    const mqtt_packet_suback &suback = packet.body.suback;
    const uint32_t first = suback.code_count > 0 ? suback.return_codes[0] : 0;
    subscription_acknowledged(client, suback.msg_id, static_cast<uint8_t>(first & 3), LABEL_311);
}

void on_suback50(mqtt_client &client, const packet_view &packet) {
    mqtt50_suback suback;
    if (v50::decode_suback(packet, &suback) == MQTT_OK) {
        subscription_acknowledged(client, suback.msg_id,
                                  suback.count != 0 ? suback.granted_qos[0] : uint8_t{0}, LABEL_50);
    }
}

void on_unsuback(mqtt_client &client, const mqtt_packet &packet) {
    unsubscription_acknowledged(client, packet.body.ack.msg_id, LABEL_311);
}

void on_unsuback50(mqtt_client &client, const packet_view &packet) {
    mqtt50_ack unsuback;
    if (v50::decode_unsuback(packet, &unsuback) == MQTT_OK) {
        unsubscription_acknowledged(client, unsuback.msg_id, LABEL_50);
    }
}

}  // namespace zep

using namespace zep;

int32_t mqtt50_client_handle_unsuback(mqtt_client *client, const mqtt50_ack *unsuback) {
    if (client == nullptr || unsuback == nullptr || client->conn_info == nullptr) {
        LOG_ERROR("MQTT_CLIENT50: 5.0 UNSUBACK处理失败，入参空指针");
        return MQTT_ERR_INVALID_PARAM;
    }
    constexpr uint8_t PACKET_ID_IN_USE = 0x91;
    LOG_INFO("MQTT_CLIENT50: 收到5.0 UNSUBACK [msg_id=%d，原因码=0x%02X]", unsuback->msg_id,
             unsuback->reason_code);
    if (unsuback->reason_code == 0) {
        finish_subscription_exchange(*client, unsuback->msg_id, MQTT_PACKET_UNSUBACK);
        LOG_INFO("MQTT_CLIENT50: 5.0取消订阅成功 [msg_id=%d]", unsuback->msg_id);
        return MQTT_OK;
    }
    LOG_ERROR("MQTT_CLIENT50: 5.0取消订阅失败 [msg_id=%d，原因码=0x%02X]", unsuback->msg_id,
              unsuback->reason_code);
    if (unsuback->reason_code == PACKET_ID_IN_USE) {
        LOG_WARN("MQTT_CLIENT50: Packet ID冲突，重新申请ID重试取消订阅");
    }
    return MQTT_OK;
}
