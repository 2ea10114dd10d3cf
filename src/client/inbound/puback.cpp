// Inbound PUBACK of both versions: a QoS 1 publish is done.
#include <zep_mqtt/client/receive.h>
#include <zep_mqtt/qos/qos1.h>

#include "client/connection/client_private.h"
#include "client/inbound/inbound.h"
#include "client/outbound/awaited_ack.h"
#include "log/log_lines.h"
#include "protocol/v50/decode.h"

using namespace zep;

namespace {

constexpr uint8_t REASON_NO_MATCHING_SUBSCRIBERS = 0x10;

}  // namespace

void mqtt_client_handle_puback(mqtt_client *client, uint16_t id) {
    if (client == nullptr) {
        log_null_pointer("mqtt_client_handle_puback");
        return;
    }
    const int32_t status = mqtt_qos1_handle_puback(&client->session, id);
    if (status == MQTT_OK) {
        LOG_DEBUG("MQTT_CLIENT: QoS1 PUBACK处理成功（pkt_id：%d）", id);
    } else if (status == MQTT_ERR_CACHE_NOT_FOUND) {
        LOG_WARN(
            "MQTT_CLIENT: QoS1 PUBACK处理失败（未找到缓存，pkt_id：%d），可能原因：1.5.0无订阅者(0x10) 2.缓存已清理 3.发布时未入库",
            id);
        if (is_awaited(*client, id, MQTT_PACKET_PUBACK)) {
            release_awaited(*client, id);
        }
    } else {
        LOG_WARN("MQTT_CLIENT: QoS1 PUBACK处理失败（%s，pkt_id：%d）", mqtt_status_text(status),
                 id);
    }
}

namespace zep {

void on_puback(mqtt_client &client, const mqtt_packet &packet) {
    const uint16_t id = packet.body.ack.msg_id;
    mqtt_client_handle_puback(&client, id);
    trigger_broker_resp_cb(&client, 1, MQTT_RESP_PUBACK, 0, id);
}

void on_puback50(mqtt_client &client, const packet_view &packet) {
    mqtt50_ack ack;
    if (v50::decode_ack(MQTT_PACKET_PUBACK, packet, &ack) != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT5.0 PUBACK报文解码失败，丢弃非法报文");
        return;
    }
    LOG_DEBUG("MQTT_CLIENT: 收到5.0 PUBACK（pkt_id：%d，原因码：0x%02X）", ack.msg_id,
              ack.reason_code);
    if (ack.reason_code == REASON_NO_MATCHING_SUBSCRIBERS) {
        LOG_INFO("MQTT_CLIENT: 5.0 PUBACK提示：无匹配订阅者（pkt_id：%d），消息未转发", ack.msg_id);
    }
    mqtt_client_handle_puback(&client, ack.msg_id);
    const bool accepted = (ack.reason_code & ~REASON_NO_MATCHING_SUBSCRIBERS) == 0;
    trigger_broker_resp_cb(&client, 1, MQTT_RESP_PUBACK, accepted ? 0 : MQTT_RESP_RESULT_REASON,
                           ack.msg_id);
}

}  // namespace zep
