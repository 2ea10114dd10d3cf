// Outbound SUBSCRIBE of a 3.1.1 connection.
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

int32_t check_arguments(const mqtt_client &client, const char *topic, uint32_t qos,
                        uint8_t is_shared) {
    if (topic == nullptr) {
        log_null_pointer("mqtt_client_subscribe");
    }
    const size_t length = platform_strlen(topic);
    if (length == 0 || length > MQTT_CLIENT_TOPIC_MAX) {
        LOG_ERROR("MQTT_CLIENT: 订阅失败，Topic非法（空指针/空字符串/超长，长度：%d）",
                  static_cast<int>(length));
        return MQTT_ERR_INVALID_PARAM;
    }
    if (!is_connected(client) || qos > QOS_MAX) {
        LOG_ERROR("MQTT_CLIENT: 订阅失败，客户端未连接或QoS非法（QoS：%d）", qos);
        return MQTT_ERR_INVALID_PARAM;
    }
    if (is_shared != 0) {
        LOG_ERROR("MQTT_CLIENT: Client侧禁用共享订阅");
        return MQTT_ERR_NOT_SUPPORTED;
    }
    return MQTT_OK;
}

constexpr failure_lines SUBSCRIBE_LINES = {
    nullptr,
    [](int32_t status) { LOG_ERROR("MQTT_CLIENT: 发送订阅报文失败（状态码：%d）", status); },
};

int32_t send_subscribe(mqtt_client &client, uint16_t id, const char *topic, uint32_t qos) {
    mqtt_packet packet = {};
    packet.type = MQTT_PACKET_SUBSCRIBE;
    packet.qos = 1;
    packet.body.subscribe.msg_id = id;
    packet.body.subscribe.filters = &topic;
    packet.body.subscribe.qos_list = &qos;
    packet.body.subscribe.filter_count = 1;
    return send311(client, SUBSCRIBE_LINES, packet);
}

int32_t subscribe(mqtt_client &client, const char *topic, uint32_t qos) {
    packet_id_lease lease(client);
    int32_t status = lease.take311();
    if (status != MQTT_OK) {
        return status;
    }
    const uint16_t id = lease.id();
    status = send_subscribe(client, id, topic, qos);
    if (status != MQTT_OK) {
        return status;
    }
    lease.keep_until(MQTT_PACKET_SUBACK);
    status = mqtt_subscribe_add(&client.session, topic, qos);
    if (status != MQTT_OK) {
        LOG_WARN("MQTT_CLIENT: 本地订阅保存失败（%s）", mqtt_status_text(status));
        return status;
    }
    LOG_INFO("MQTT_CLIENT: 订阅报文发送成功（topic=%s，QoS=%d，共享=%d，pkt_id=%d）", topic, qos, 0,
             id);
    client.last_activity_ms = tick_now();
    return MQTT_OK;
}

}  // namespace

int32_t mqtt_client_subscribe(mqtt_client *client, const char *topic, uint32_t qos,
                              uint8_t is_shared) {
    if (client == nullptr) {
        log_null_pointer("mqtt_client_subscribe");
        return MQTT_ERR_INVALID_PARAM;
    }
    const busy_guard guard(*client, MQTT_CLIENT_OP_SUBSCRIBE);
    if (!guard.taken()) {
        LOG_WARN("MQTT_CLIENT: Client busy, subscribe reject! op_type:%d", guard.running());
        return MQTT_ERR_BUSY;
    }
    const int32_t status = check_arguments(*client, topic, qos, is_shared);
    return status == MQTT_OK ? subscribe(*client, topic, qos) : status;
}
