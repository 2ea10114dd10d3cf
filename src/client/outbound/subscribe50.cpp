// Outbound SUBSCRIBE and UNSUBSCRIBE of a 5.0 connection.
#include <zep_mqtt/client/v50.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/text.h>
#include <zep_mqtt/protocol/v311/packet_id.h>
#include <zep_mqtt/protocol/v50/subscribe.h>
#include <zep_mqtt/protocol/v50/unsubscribe.h>
#include <zep_mqtt/topic/subscription_store.h>

#include "client/connection/busy_guard.h"
#include "client/connection/client_private.h"
#include "client/outbound/awaited_ack.h"
#include "client/outbound/packet_id_lease.h"
#include "log/log_lines.h"

using namespace zep;

namespace {

// Refuses a text that does not fit its field; an empty one is the encoder's to refuse.
template <size_t Size>
int32_t copy_whole(char (&field)[Size], const char *text, const char *name) {
    const size_t length = platform_strlen(text);
    if (length >= Size) {
        LOG_ERROR("MQTT_CLIENT50: %s超长，长度=%d，最大=%d", name, static_cast<int>(length),
                  static_cast<int>(Size - 1));
        return MQTT_ERR_INVALID_PARAM;
    }
    std::memcpy(field, text, length + 1);
    return MQTT_OK;
}

int32_t fill_subscribe(mqtt50_subscribe &subscribe, const char *topic, uint32_t qos,
                       const char *share_group) {
    subscribe.qos = qos;
    if (share_group != nullptr && share_group[0] != '\0') {
        subscribe.is_shared = 1;
        const int32_t status = copy_whole(subscribe.share_group, share_group, "共享组名");
        if (status != MQTT_OK) {
            return status;
        }
    }
    return copy_whole(subscribe.topic, topic, "订阅过滤器");
}

// Encodes with encode(id, length), sends, and leaves the identifier to the acknowledgement.
template <typename Encode>
int32_t send_with_id(mqtt_client &client, uint32_t ack_type, const char *no_id_text,
                     const Encode &encode) {
    clear_tx_buf(client);
    packet_id_lease lease(client);
    uint16_t id = 0;
    int32_t status = mqtt_packet_id_alloc(&client.session, &id);
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT50: %s，申请Packet ID错误:%d", no_id_text, status);
        return status;
    }
    lease.hold(id);
    uint32_t length = sizeof client.tx_buf;
    status = encode(id, &length);
    if (status != MQTT_OK) {
        return status;
    }
    if (send_packet(client, client.tx_buf, length) != 0) {
        return MQTT_ERR_INTERNAL;
    }
    lease.keep();
    await_ack(client, id, ack_type);
    return MQTT_OK;
}

}  // namespace

int32_t mqtt_client_subscribe50(mqtt_client *client, const char *topic, uint32_t qos,
                                const char *share_group) {
    if (client == nullptr || topic == nullptr) {
        return MQTT_ERR_INTERNAL;
    }
    const busy_guard guard(*client, MQTT_CLIENT_OP_SUBSCRIBE);
    if (!guard.taken()) {
        return MQTT_ERR_INTERNAL;
    }
    const auto encode = [=](uint16_t id, uint32_t *length) {
        mqtt50_subscribe subscribe = {};
        subscribe.msg_id = id;
        const int32_t status = fill_subscribe(subscribe, topic, qos, share_group);
        return status == MQTT_OK ? mqtt50_subscribe_encode(&subscribe, client->tx_buf, length)
                                 : status;
    };
    const int32_t status = send_with_id(*client, MQTT_PACKET_SUBACK, "订阅失败", encode);
    if (status == MQTT_OK) {
        (void)mqtt_subscribe_add(&client->session, topic, qos);
    }
    return status;
}

int32_t mqtt_client_unsubscribe50(mqtt_client *client, const char *topic) {
    if (client == nullptr || topic == nullptr) {
        return MQTT_ERR_INTERNAL;
    }
    const busy_guard guard(*client, MQTT_CLIENT_OP_SUBSCRIBE);
    if (!guard.taken()) {
        return MQTT_ERR_INTERNAL;
    }
    const auto encode = [=](uint16_t id, uint32_t *length) {
        mqtt50_unsubscribe unsubscribe = {};
        unsubscribe.msg_id = id;
        const int32_t status = copy_whole(unsubscribe.topic, topic, "取消订阅过滤器");
        return status == MQTT_OK ? mqtt50_unsubscribe_encode(&unsubscribe, client->tx_buf, length)
                                 : status;
    };
    const int32_t status = send_with_id(*client, MQTT_PACKET_UNSUBACK, "取消订阅失败", encode);
    if (status == MQTT_OK) {
        (void)mqtt_subscribe_remove(&client->session, topic);
    }
    return status;
}

int32_t mqtt50_unsubscribe_packet_encode(mqtt_client *client, const char *topic, uint8_t *buf,
                                         uint32_t *len) {
    if (client == nullptr || topic == nullptr || buf == nullptr || len == nullptr || *len < 1 ||
        !negotiated_50(*client)) {
        LOG_ERROR("MQTT_CLIENT50: 5.0 UNSUBSCRIBE编码失败，入参无效/未连接5.0服务端");
        return MQTT_ERR_INVALID_PARAM;
    }
    packet_id_lease lease(*client);
    mqtt50_unsubscribe unsubscribe = {};
    int32_t status = mqtt_packet_id_alloc(&client->session, &unsubscribe.msg_id);
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT50: 取消订阅编码失败，申请Packet ID错误:%d", status);
        return status;
    }
    lease.hold(unsubscribe.msg_id);
    status = copy_whole(unsubscribe.topic, topic, "取消订阅过滤器");
    if (status == MQTT_OK) {
        status = mqtt50_unsubscribe_encode(&unsubscribe, buf, len);
    }
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT50: 5.0 UNSUBSCRIBE编码失败，错误码=%d", status);
        return status;
    }
    lease.keep();
    await_ack(*client, unsubscribe.msg_id, MQTT_PACKET_UNSUBACK);
    LOG_DEBUG("MQTT_CLIENT50: 5.0 UNSUBSCRIBE编码成功，长度=%d，报文ID=%d", *len,
              unsubscribe.msg_id);
    return MQTT_OK;
}
