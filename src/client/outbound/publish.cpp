// Outbound PUBLISH of a 3.1.1 connection.
#include <zep_mqtt/client/operations.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/text.h>

#include "client/connection/busy_guard.h"
#include "client/connection/client_private.h"
#include "client/outbound/exchange.h"
#include "client/outbound/retransmit.h"
#include "log/log_lines.h"

using namespace zep;

namespace {

constexpr int QOS2_SUPPORTED = 1;

int32_t check_arguments(const mqtt_client &client, const mqtt_message *msg) {
    if (msg == nullptr || msg->topic == nullptr) {
        log_null_pointer("mqtt_client_publish");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (!is_connected(client)) {
        return MQTT_ERR_INVALID_PARAM;
    }
    const size_t length = platform_strlen(msg->topic);
    if (length == 0 || length > MQTT_CLIENT_TOPIC_MAX) {
        LOG_ERROR("MQTT_CLIENT: 发布失败，Topic非法（空或超长，长度：%d）",
                  static_cast<int>(length));
        return MQTT_ERR_INVALID_PARAM;
    }
    if (msg->qos > QOS_MAX) {
        LOG_ERROR("MQTT_CLIENT: 无效QoS（%d），QoS2开关：%d", msg->qos, QOS2_SUPPORTED);
        return MQTT_ERR_QOS_INVALID;
    }
    return MQTT_OK;
}

constexpr failure_lines PUBLISH_LINES = {
    [](int32_t status) {
        LOG_ERROR("MQTT_CLIENT: 发布报文编码失败（%s）", mqtt_status_text(status));
    },
    [](int32_t status) { LOG_ERROR("MQTT_CLIENT: 发送发布报文失败（状态码：%d）", status); },
};

int32_t take_packet_id(mqtt_message &msg, packet_id_lease &lease) {
    const int32_t status = msg.qos == 0 ? MQTT_OK : lease.take311();
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT: 申请Packet ID失败（%s）", mqtt_status_text(status));
    }
    msg.msg_id = lease.id();
    return status;
}

// Puts the ciphertext into tx_buf and lets the message point to it. Without the cipher, and for a
// payload that it does not take, the message stays as it is.
int32_t protect_payload(mqtt_client &client, mqtt_message &msg) {
    clear_tx_buf(client);
    if (!cipher_is_on(client) || msg.payload == nullptr || msg.payload_len == 0 ||
        msg.payload_len > PAYLOAD_MAX) {
        return MQTT_OK;
    }
    uint32_t length = 0;
    const int32_t result =
        encrypt_payload(client, msg.payload, msg.payload_len, client.tx_buf, &length);
    if (result != 0 || length == 0 || length > PAYLOAD_MAX) {
        LOG_ERROR("MQTT_CLIENT: Payload加密失败/长度异常 (状态:%d, 加密后长度:%d)", result, length);
        return MQTT_ERR_CRYPTO;
    }
    LOG_DEBUG("MQTT_CLIENT: Payload加密成功，原始长度:%d，加密后:%d", msg.payload_len, length);
    msg.payload = client.tx_buf;
    msg.payload_len = length;
    return MQTT_OK;
}

// The cache gets the payload as it goes out, so that a retransmission never carries plain text.
int32_t keep_until_acknowledged(mqtt_client &client, mqtt_message &msg, packet_id_lease &lease) {
    if (msg.qos == 0) {
        return MQTT_OK;
    }
    const int32_t status = qos_admit(call_engine(client), version_in_use(client), msg.qos, &msg);
    if (status != MQTT_OK) {
        LOG_WARN("MQTT_CLIENT: QoS消息处理失败（%s）", mqtt_status_text(status));
        return status;
    }
    lease.entry_admitted(msg.qos);
    return MQTT_OK;
}

int32_t send_publish(mqtt_client &client, const mqtt_message &msg) {
    mqtt_packet packet = {};
    packet.type = MQTT_PACKET_PUBLISH;
    packet.qos = msg.qos;
    packet.retain = msg.retain;
    packet.body.publish = msg;
    return send311(client, PUBLISH_LINES, packet);
}

int32_t publish(mqtt_client &client, mqtt_message &msg) {
    packet_id_lease lease(client);
    int32_t status = take_packet_id(msg, lease);
    if (status != MQTT_OK) {
        return status;
    }
    mqtt_message outbound = msg;
    status = protect_payload(client, outbound);
    if (status == MQTT_OK) {
        status = keep_until_acknowledged(client, outbound, lease);
    }
    if (status == MQTT_OK) {
        status = send_publish(client, outbound);
    }
    if (status != MQTT_OK) {
        return status;
    }
    lease.keep();
    LOG_DEBUG("MQTT_CLIENT: 发布成功（topic=%s，QoS=%d，pkt_id=%d，加密：%d）", msg.topic, msg.qos,
              msg.msg_id, client.config.crypto_enable);
    return MQTT_OK;
}

}  // namespace

int32_t mqtt_client_publish(mqtt_client *client, mqtt_message *msg) {
    if (client == nullptr) {
        log_null_pointer("mqtt_client_publish");
        return MQTT_ERR_INVALID_PARAM;
    }
    const busy_guard guard(*client, MQTT_CLIENT_OP_PUBLISH);
    if (!guard.taken()) {
        LOG_WARN("MQTT_CLIENT: Client busy, publish reject! op_type:%d", guard.running());
        return MQTT_ERR_BUSY;
    }
    const int32_t status = check_arguments(*client, msg);
    return status == MQTT_OK ? publish(*client, *msg) : status;
}
