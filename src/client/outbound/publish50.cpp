// Outbound PUBLISH of a 5.0 connection.
#include <algorithm>

#include <zep_mqtt/client/v50.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/text.h>
#include <zep_mqtt/protocol/v50/publish.h>

#include "client/connection/busy_guard.h"
#include "client/connection/client_private.h"
#include "client/outbound/exchange.h"
#include "client/outbound/retransmit.h"
#include "log/log_lines.h"
#include "protocol/common/packet_id_private.h"

using namespace zep;

namespace {

constexpr uint32_t DUMPED_BYTES = 16;

int32_t check_connection(const mqtt_client &client) {
    if (client.state != MQTT_CLIENT_CONNECTED) {
        LOG_ERROR("MQTT_CLIENT50: publish50 fail, conn state=%d (not connected)", client.state);
        return MQTT_ERR_INTERNAL;
    }
    if (!negotiated_50(client)) {
        LOG_ERROR("MQTT_CLIENT50: publish50 fail, not mqtt5.0 connection");
        return MQTT_ERR_VERSION_UNSUPPORTED;
    }
    return MQTT_OK;
}

int32_t check_message(const mqtt50_message &msg) {
    const size_t length = platform_strlen(msg.topic);
    if (length > MQTT_CLIENT_TOPIC_MAX) {
        LOG_ERROR("MQTT_CLIENT50: publish50 fail, topic too long len=%d max=%d",
                  static_cast<int>(length), MQTT_CLIENT_TOPIC_MAX);
        return MQTT_ERR_INVALID_PARAM;
    }
    if (msg.qos > QOS_MAX) {
        LOG_ERROR("MQTT_CLIENT50: publish50 fail, invalid qos level=%d", msg.qos);
        return MQTT_ERR_QOS_INVALID;
    }
    return MQTT_OK;
}

constexpr failure_lines PUBLISH50_LINES = {
    [](int32_t status) { LOG_ERROR("MQTT_CLIENT50: publish encode failed err=%d", status); },
    [](int32_t) { LOG_ERROR("MQTT_CLIENT50: net send failed"); },
};

// The identifier to send under; the lease holds it when it was taken from the pool.
int32_t choose_packet_id(const mqtt50_message &msg, packet_id_lease &lease, uint16_t *id) {
    *id = 0;
    if (msg.qos == 0) {
        return MQTT_OK;
    }
    if (msg.is_dup == 1) {
        *id = msg.dup_msg_id;
        LOG_DEBUG("MQTT_CLIENT50: publish50 use dup msg id=%u", *id);
        return MQTT_OK;
    }
    const int32_t status = lease.take();
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT50: publish50 fail, alloc msg id err=%d", status);
        return status;
    }
    *id = lease.id();
    LOG_DEBUG("MQTT_CLIENT50: publish50 alloc msg id success, id=%u", *id);
    return MQTT_OK;
}

void dump_start(const char *label, const uint8_t *data, uint32_t length) {
    agent_log_hexdump(label, data, static_cast<uint16_t>(std::min(length, DUMPED_BYTES)));
}

void dump_input(const mqtt_client &client, const mqtt50_message &msg) {
    const mqtt_client_config &config = client.config;
    LOG_DEBUG("MQTT_CLIENT50: [crypto] enable=%d", config.crypto_enable);
    dump_start("MQTT_CLIENT50 [crypto key]", config.crypto_key, sizeof config.crypto_key);
    dump_start("MQTT_CLIENT50 [crypto iv] ", config.crypto_iv, sizeof config.crypto_iv);
    LOG_DEBUG("MQTT_CLIENT50: orig payload len=%d", msg.payload_len);
}

// Fills the packet's payload: as given, or encrypted into the buffer.
int32_t fill_payload(mqtt_client &client, const mqtt50_message &msg, uint8_t (&buffer)[PAYLOAD_MAX],
                     mqtt50_publish &packet) {
    packet.payload = msg.payload;
    packet.payload_len = msg.payload_len;
    if (msg.payload_len == 0 || msg.payload == nullptr) {
        return MQTT_OK;
    }
    dump_start("MQTT_CLIENT50 [orig payload]", msg.payload, msg.payload_len);
    if (!cipher_is_on(client)) {
        return MQTT_OK;
    }
    if (encrypt_payload(client, msg.payload, msg.payload_len, buffer, &packet.payload_len) != 0) {
        return MQTT_ERR_CRYPTO;
    }
    packet.payload = buffer;
    LOG_DEBUG("MQTT_CLIENT50: encrypt success! enc_len=%d", packet.payload_len);
    dump_start("MQTT_CLIENT50 [enc payload]", packet.payload, packet.payload_len);
    return MQTT_OK;
}

void fill_header(const mqtt50_message &msg, uint16_t id, mqtt50_publish &packet) {
    platform_strcpy_s(packet.topic, sizeof packet.topic, msg.topic);
    packet.qos = static_cast<uint8_t>(msg.qos);
    packet.retain = msg.retain;
    packet.msg_id = id;
    packet.is_dup = msg.is_dup;
    packet.message_expiry = msg.message_expiry;
    LOG_DEBUG("MQTT_CLIENT50: packet assembled: %s, qos=%d, payload_len=%d", packet.topic,
              packet.qos, packet.payload_len);
}

// The packet is out. Its payload as sent goes into the cache; when the cache does not take it, the
// acknowledgement still brings its identifier back.
void keep_until_acknowledged(mqtt_client &client, const mqtt50_publish &packet) {
    if (packet.qos == 0) {
        return;
    }
    mqtt_message sent = {};
    sent.topic = packet.topic;
    sent.payload = packet.payload;
    sent.payload_len = packet.payload_len;
    sent.qos = packet.qos;
    sent.retain = packet.retain;
    sent.msg_id = packet.msg_id;
    const bool cached = qos_admit(call_engine(client), MQTT_VERSION_50, sent.qos, &sent) == MQTT_OK;
    // Claimed only now: the room for a message that is sent again may have come from its first
    // entry, which gave the identifier back.
    packet_id_claim(&client.session, packet.msg_id);
    const uint32_t ack_type = packet.qos == 1 ? MQTT_PACKET_PUBACK : MQTT_PACKET_PUBREC;
    await_ack(client, packet.msg_id, cached ? 0 : ack_type);
}

int32_t publish(mqtt_client &client, const mqtt50_message &msg) {
    packet_id_lease lease(client);
    uint16_t id = 0;
    int32_t status = choose_packet_id(msg, lease, &id);
    if (status != MQTT_OK) {
        return status;
    }
    dump_input(client, msg);
    mqtt50_publish packet = {};
    uint8_t encrypted[PAYLOAD_MAX];
    status = fill_payload(client, msg, encrypted, packet);
    if (status != MQTT_OK) {
        return status;
    }
    fill_header(msg, id, packet);
    status = send50(client, PUBLISH50_LINES, mqtt50_publish_encode, packet);
    if (status != MQTT_OK) {
        return status;
    }
    lease.keep();
    keep_until_acknowledged(client, packet);
    LOG_INFO("MQTT_CLIENT50: publish50 success! topic=%s", msg.topic);
    return MQTT_OK;
}

}  // namespace

int32_t mqtt_client_publish50(mqtt_client *client, const mqtt50_message *msg) {
    if (client == nullptr || msg == nullptr) {
        LOG_ERROR("MQTT_CLIENT50: publish50 fail, client/msg50 null");
        return MQTT_ERR_INVALID_PARAM;
    }
    const busy_guard guard(*client, MQTT_CLIENT_OP_PUBLISH);
    if (!guard.taken()) {
        LOG_WARN("MQTT_CLIENT50: publish50 fail, client busy, reject");
        return MQTT_ERR_INTERNAL;
    }
    if (msg->topic == nullptr || msg->topic[0] == '\0') {
        LOG_ERROR("MQTT_CLIENT50: publish50 fail, topic null or empty");
        return MQTT_ERR_INVALID_PARAM;
    }
    int32_t status = check_connection(*client);
    if (status == MQTT_OK) {
        status = check_message(*msg);
    }
    return status == MQTT_OK ? publish(*client, *msg) : status;
}
