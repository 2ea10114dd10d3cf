// Outbound SUBSCRIBE and UNSUBSCRIBE of a 5.0 connection.
#include <zep_mqtt/client/v50.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/text.h>
#include <zep_mqtt/protocol/v50/subscribe.h>
#include <zep_mqtt/protocol/v50/unsubscribe.h>
#include <zep_mqtt/topic/subscription_store.h>

#include "client/connection/busy_guard.h"
#include "client/connection/client_private.h"
#include "client/outbound/exchange.h"
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

int32_t fill(mqtt50_subscribe &packet, const char *topic, uint32_t qos, const char *share_group) {
    packet.qos = qos;
    if (share_group != nullptr && share_group[0] != '\0') {
        packet.is_shared = 1;
        const int32_t status = copy_whole(packet.share_group, share_group, "共享组名");
        if (status != MQTT_OK) {
            return status;
        }
    }
    return copy_whole(packet.topic, topic, "订阅过滤器");
}

int32_t fill(mqtt50_unsubscribe &packet, const char *topic) {
    return copy_whole(packet.topic, topic, "取消订阅过滤器");
}

int32_t take_packet_id(packet_id_lease &lease, const char *failed_operation) {
    const int32_t status = lease.take();
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT50: %s，申请Packet ID错误:%d", failed_operation, status);
    }
    return status;
}

int32_t subscribe50(mqtt_client &client, const char *topic, uint32_t qos, const char *share_group) {
    packet_id_lease lease(client);
    int32_t status = take_packet_id(lease, "订阅失败");
    mqtt50_subscribe packet = {};
    packet.msg_id = lease.id();
    if (status == MQTT_OK) {
        status = fill(packet, topic, qos, share_group);
    }
    if (status == MQTT_OK) {
        status = send50(client, {}, mqtt50_subscribe_encode, packet);
    }
    if (status == MQTT_OK) {
        lease.keep_until(MQTT_PACKET_SUBACK);
        (void)mqtt_subscribe_add(&client.session, topic, qos);
    }
    return status;
}

int32_t unsubscribe50(mqtt_client &client, const char *topic) {
    packet_id_lease lease(client);
    int32_t status = take_packet_id(lease, "取消订阅失败");
    mqtt50_unsubscribe packet = {};
    packet.msg_id = lease.id();
    if (status == MQTT_OK) {
        status = fill(packet, topic);
    }
    if (status == MQTT_OK) {
        status = send50(client, {}, mqtt50_unsubscribe_encode, packet);
    }
    if (status == MQTT_OK) {
        lease.keep_until(MQTT_PACKET_UNSUBACK);
        (void)mqtt_subscribe_remove(&client.session, topic);
    }
    return status;
}

}  // namespace

int32_t mqtt_client_subscribe50(mqtt_client *client, const char *topic, uint32_t qos,
                                const char *share_group) {
    if (client == nullptr || topic == nullptr) {
        return MQTT_ERR_INTERNAL;
    }
    const busy_guard guard(*client, MQTT_CLIENT_OP_SUBSCRIBE);
    return guard.taken() ? subscribe50(*client, topic, qos, share_group) : MQTT_ERR_INTERNAL;
}

int32_t mqtt_client_unsubscribe50(mqtt_client *client, const char *topic) {
    if (client == nullptr || topic == nullptr) {
        return MQTT_ERR_INTERNAL;
    }
    const busy_guard guard(*client, MQTT_CLIENT_OP_SUBSCRIBE);
    return guard.taken() ? unsubscribe50(*client, topic) : MQTT_ERR_INTERNAL;
}

int32_t mqtt50_unsubscribe_packet_encode(mqtt_client *client, const char *topic, uint8_t *buf,
                                         uint32_t *len) {
    if (client == nullptr || topic == nullptr || buf == nullptr || len == nullptr || *len < 1 ||
        !negotiated_50(*client)) {
        LOG_ERROR("MQTT_CLIENT50: 5.0 UNSUBSCRIBE编码失败，入参无效/未连接5.0服务端");
        return MQTT_ERR_INVALID_PARAM;
    }
    packet_id_lease lease(*client);
    int32_t status = take_packet_id(lease, "取消订阅编码失败");
    if (status != MQTT_OK) {
        return status;
    }
    mqtt50_unsubscribe packet = {};
    packet.msg_id = lease.id();
    status = fill(packet, topic);
    if (status == MQTT_OK) {
        status = mqtt50_unsubscribe_encode(&packet, buf, len);
    }
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT50: 5.0 UNSUBSCRIBE编码失败，错误码=%d", status);
        return status;
    }
    lease.keep_until(MQTT_PACKET_UNSUBACK);
    LOG_DEBUG("MQTT_CLIENT50: 5.0 UNSUBSCRIBE编码成功，长度=%d，报文ID=%d", *len, packet.msg_id);
    return MQTT_OK;
}
