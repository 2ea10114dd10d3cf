// Inbound PUBLISH of both versions: decrypt, acknowledge, deliver.

#include "client/connection/client_private.h"
#include "client/inbound/inbound.h"
#include "client/outbound/acknowledge.h"
#include "log/log_lines.h"
#include "protocol/v50/decode.h"
#include "qos/received_ids.h"

namespace zep {

namespace {

// Puts the payload to be delivered into tx_buf, decrypted when the cipher is on. False: it does not
// decrypt, and the message is dropped.
bool prepare_payload(mqtt_client &client, inbound_publish &message, const char *label) {
    if (message.payload == nullptr) {
        return true;
    }
    if (cipher_is_on(client) && message.payload_len >= 1 && message.payload_len <= PAYLOAD_MAX) {
        uint32_t plain_len = PAYLOAD_MAX;
        const int32_t result = crypto_decrypt(client.crypto, message.payload, message.payload_len,
                                              client.tx_buf, &plain_len);
        client.crypto_out_len = plain_len;
        if (result != 0 || plain_len == 0 || plain_len > PAYLOAD_MAX) {
            LOG_ERROR("MQTT_CLIENT%sPayload解密失败/长度异常，丢弃非法消息", label);
            return false;
        }
        LOG_DEBUG("MQTT_CLIENT%sPayload解密成功，加密长度:%d，明文长度:%d", label,
                  message.payload_len, plain_len);
        message.payload_len = plain_len;
        return true;
    }
    if (message.payload_len > PAYLOAD_MAX) {
        return false;
    }
    std::memcpy(client.tx_buf, message.payload, message.payload_len);
    return true;
}

void copy_topic(mqtt_client &client, const char *topic) {
    const size_t length = strnlen(topic, sizeof client.rx_topic - 1);
    std::memcpy(client.rx_topic, topic, length);
    client.rx_topic[length] = '\0';
}

void acknowledge(mqtt_client &client, const inbound_publish &message, const char *label) {
    if (message.qos == 1) {
        reply_with_ack(client, MQTT_PACKET_PUBACK, message.msg_id);
        LOG_DEBUG("MQTT_CLIENT%sQoS1下行消息，回复PUBACK (pkt_id:%d)", label, message.msg_id);
    } else if (message.qos == 2) {
        received_ids_add(state_of(client).received_qos2, message.msg_id);
        reply_with_ack(client, MQTT_PACKET_PUBREC, message.msg_id);
        LOG_DEBUG("MQTT_CLIENT%sQoS2下行消息，回复PUBREC (pkt_id:%d)", label, message.msg_id);
    }
}

// False: the message was not delivered, now or at all.
bool receive_message(mqtt_client &client, inbound_publish message, const char *label) {
    if (message.qos > QOS_MAX) {
        // MQTT-3.3.1-4: there is no such quality of service, so nothing to acknowledge either.
        LOG_ERROR("MQTT_CLIENT%sPUBLISH的QoS非法（%d），丢弃非法消息", label, message.qos);
        return false;
    }
    if (message.qos == 2 && received_ids_contains(state_of(client).received_qos2, message.msg_id)) {
        // Delivered before; the broker has not seen our PUBREC.
        acknowledge(client, message, label);
        return false;
    }
    copy_topic(client, message.topic);
    clear_tx_buf(client);
    if (!prepare_payload(client, message, label)) {
        return false;
    }
    acknowledge(client, message, label);

    mqtt_message delivered = {};
    delivered.topic = client.rx_topic;
    delivered.payload = client.tx_buf;
    delivered.payload_len = message.payload_len;
    delivered.qos = message.qos;
    delivered.retain = message.retain;
    delivered.msg_id = message.msg_id;
    deliver(client, delivered);
    return true;
}

}  // namespace

void on_publish(mqtt_client &client, const mqtt_packet &packet) {
    const mqtt_message &message = packet.body.publish;
    (void)receive_message(client,
                          {message.topic, message.payload, message.payload_len, packet.qos,
                           packet.retain, message.msg_id},
                          LABEL_311);
}

void on_publish50(mqtt_client &client, const packet_view &packet) {
    mqtt50_publish message;
    if (v50::decode_publish(packet, &message) != MQTT_OK) {
        return;
    }
    if (receive_message(client,
                        {message.topic, message.payload, message.payload_len, message.qos,
                         message.retain, message.msg_id},
                        LABEL_50)) {
        LOG_DEBUG("MQTT_CLIENT✅ 收到5.0下行消息 (topic:%s, QoS:%d, pkt_id:%d)", message.topic,
                  message.qos, message.msg_id);
    }
}

}  // namespace zep
