// Outbound CONNECT: the network instance, the packet of either version, the CONNECTING state.
#include <zep_mqtt/client/client.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/net/adapter.h>
#include <zep_mqtt/platform/text.h>

#include "client/connection/client_private.h"
#include "client/connection/keep_alive.h"
#include "client/connection/will.h"
#include "log/log_lines.h"

using namespace zep;

namespace {

// A will that turned out unusable is left out; the connection is made without it.
bool will_can_be_sent(const mqtt_client_config &config) {
    const will_faults faults = find_will_faults(config);
    if (faults.topic_missing || faults.payload_missing) {
        LOG_ERROR("MQTT_CLIENT: 遗嘱配置非法：主题/载荷为空或空指针，强制关闭遗嘱");
        return false;
    }
    if (faults.topic_too_long || faults.payload_too_long) {
        LOG_ERROR(
            "MQTT_CLIENT: 遗嘱数据过长（主题：%d > %d，载荷：%d > %d），超过限制，强制关闭遗嘱",
            faults.topic_length, MQTT_CLIENT_TOPIC_MAX, config.will_payload_len, WILL_PAYLOAD_MAX);
        return false;
    }
    return true;
}

int32_t encode_connect311(mqtt_client &client, uint32_t *length) {
    const mqtt_client_config &config = client.config;
    mqtt_packet packet = {};
    packet.type = MQTT_PACKET_CONNECT;
    packet.protocol_version = MQTT_VERSION_311;
    auto &connect = packet.body.connect;
    platform_strcpy_s(connect.client_id, sizeof connect.client_id, config.client_id);
    connect.keep_alive = config.keep_alive;
    connect.has_username = config.username[0] != '\0' ? 1 : 0;
    connect.username = config.username;
    connect.has_password = config.password[0] != '\0' ? 1 : 0;
    connect.password = config.password;
    if (config.will_flag != 0 && will_can_be_sent(config)) {
        set_will(config, connect);
    }
    return mqtt_client_encode_packet(&client, &packet, client.tx_buf, length);
}

int32_t encode_connect(mqtt_client &client, uint32_t *length) {
    clear_tx_buf(client);
    *length = sizeof client.tx_buf;
    const int32_t status = client.config.mqtt_version == MQTT_VERSION_50
                               ? mqtt50_conn_packet_encode(&client, client.tx_buf, length)
                               : encode_connect311(client, length);
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT: 连接报文编码失败（%s）", mqtt_status_text(status));
    }
    return status;
}

int32_t encode_and_send_connect(mqtt_client &client) {
    uint32_t length = 0;
    const int32_t status = encode_connect(client, &length);
    if (status != MQTT_OK) {
        return status;
    }
    const int32_t sent = send_packet(client, client.tx_buf, length);
    if (sent != 0) {
        LOG_ERROR("MQTT_CLIENT: 发送CONNECT报文失败（网络状态码：%d）", sent);
        return MQTT_ERR_INTERNAL;
    }
    return MQTT_OK;
}

int32_t open_instance(mqtt_client &client) {
    const mqtt_client_config &config = client.config;
    client.net_index =
        static_cast<uint8_t>(net_adapter_open(config.broker_host, config.broker_port));
    if (!has_instance(client)) {
        LOG_ERROR("MQTT_CLIENT: 打开网络通道失败（无效实例下标）");
        return MQTT_ERR_INTERNAL;
    }
    apply_unacked_timeout(client);
    platform_strcpy_s(client.conn_host, sizeof client.conn_host, config.broker_host);
    client.conn_port = config.broker_port;
    return MQTT_OK;
}

void enter_connecting(mqtt_client &client) {
    const mqtt_client_config &config = client.config;
    set_state(client, MQTT_CLIENT_CONNECTING);
    client.connect_tick_ms = tick_now();
    client.last_activity_ms = client.connect_tick_ms;
    client.clean_tick = 0;
    reset_receive_buffer(client);
    if (client.conn_info != nullptr) {
        client.conn_info->protocol_version = 0;
    }
    LOG_INFO(
        "MQTT_CLIENT: CONNECT报文发送成功，等待CONNACK，心跳:%ds，协议版本:%s[0x%02X]，clean_start:%d，遗嘱开启：%d",
        config.keep_alive,
        config.mqtt_version == MQTT_VERSION_50 ? "MQTT5.0【独立编码】" : "MQTT3.1.1",
        config.mqtt_version, config.clean_start, config.will_flag);
}

}  // namespace

int32_t mqtt_client_connect(mqtt_client *client) {
    if (client == nullptr) {
        log_null_pointer("mqtt_client_connect");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (!is_disconnected(*client) || has_instance(*client)) {
        LOG_WARN("MQTT_CLIENT: 客户端已连接/正在连接中，无需重复调用");
        return MQTT_OK;
    }
    uint32_t &version = client->config.mqtt_version;
    if (version != MQTT_VERSION_311 && version != MQTT_VERSION_50) {
        LOG_ERROR("MQTT_CLIENT: 配置的MQTT版本号非法(%d)，强制修正为3.1.1[4]", version);
        version = MQTT_VERSION_311;
    }
    int32_t status = open_instance(*client);
    if (status != MQTT_OK) {
        return status;
    }
    status = encode_and_send_connect(*client);
    if (status != MQTT_OK) {
        end_connection(*client);
        return status;
    }
    enter_connecting(*client);
    return MQTT_OK;
}
