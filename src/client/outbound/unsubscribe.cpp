// Outbound UNSUBSCRIBE of a 3.1.1 connection.
#include <zep_mqtt/client/operations.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/text.h>
#include <zep_mqtt/topic/subscription_store.h>

#include "client/connection/busy_guard.h"
#include "client/connection/client_private.h"
#include "client/outbound/exchange.h"
#include "log/log_lines.h"

using namespace zep;

namespace {

int32_t check_arguments(const mqtt_client &client, const char *topic) {
    if (topic == nullptr) {
        log_null_pointer("mqtt_client_unsubscribe");
        LOG_ERROR("MQTT_CLIENT: 入参无效，空指针");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (!is_connected(client)) {
        LOG_WARN("MQTT_CLIENT: 取消订阅失败，客户端未连接至Broker");
        return MQTT_ERR_INVALID_PARAM;
    }
    const size_t length = platform_strlen(topic);
    if (length == 0 || length > MQTT_CLIENT_TOPIC_MAX) {
        LOG_ERROR("MQTT_CLIENT: 取消订阅失败，主题格式非法（长度：%d）", static_cast<int>(length));
        return MQTT_ERR_INVALID_PARAM;
    }
    return MQTT_OK;
}

constexpr failure_lines UNSUBSCRIBE_LINES = {
    [](int32_t status) {
        LOG_ERROR("MQTT_CLIENT: 取消订阅报文编码失败（%s）", mqtt_status_text(status));
    },
    [](int32_t status) {
        LOG_ERROR("MQTT_CLIENT: 发送取消订阅报文失败（网络状态码：%d）", status);
    },
};

int32_t send_unsubscribe(mqtt_client &client, uint16_t id, const char *topic) {
    mqtt_packet packet = {};
    packet.type = MQTT_PACKET_UNSUBSCRIBE;
    packet.qos = 1;
    packet.body.unsubscribe.msg_id = id;
    packet.body.unsubscribe.filters = &topic;
    packet.body.unsubscribe.filter_count = 1;
    return send311(client, UNSUBSCRIBE_LINES, packet);
}

int32_t unsubscribe(mqtt_client &client, const char *topic) {
    packet_id_lease lease(client);
    int32_t status = lease.take311();
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT: 取消订阅申请Packet ID失败（%s）", mqtt_status_text(status));
        return status;
    }
    const uint16_t id = lease.id();
    status = send_unsubscribe(client, id, topic);
    if (status != MQTT_OK) {
        return status;
    }
    lease.keep_until(MQTT_PACKET_UNSUBACK);
    status = mqtt_subscribe_remove(&client.session, topic);
    if (status != MQTT_OK) {
        LOG_WARN("MQTT_CLIENT: 取消订阅本地缓存清理失败（%s），可能主题未订阅",
                 mqtt_status_text(status));
        return status;
    }
    LOG_INFO("MQTT_CLIENT: 取消订阅报文发送成功 [topic: %s, pkt_id: %d]", topic, id);
    return MQTT_OK;
}

}  // namespace

int32_t mqtt_client_unsubscribe(mqtt_client *client, const char *topic) {
    if (client == nullptr) {
        log_null_pointer("mqtt_client_unsubscribe");
        return MQTT_ERR_INVALID_PARAM;
    }
    const busy_guard guard(*client, MQTT_CLIENT_OP_SUBSCRIBE);
    if (!guard.taken()) {
        LOG_WARN("MQTT_CLIENT: Client busy, unsubscribe reject! op_type:%d", guard.running());
        return MQTT_ERR_BUSY;
    }
    const int32_t status = check_arguments(*client, topic);
    return status == MQTT_OK ? unsubscribe(*client, topic) : status;
}
