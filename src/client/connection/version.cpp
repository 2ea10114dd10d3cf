// Which version a connection speaks, and the switch of a client back to 3.1.1.
#include <zep_mqtt/client/v50.h>

#include "client/connection/client_private.h"
#include "log/log_lines.h"
#include "qos/engine.h"

using namespace zep;

uint32_t mqtt50_version_auto_detect(const uint8_t *data, int32_t len, const mqtt_client *client) {
    if (len < 2 || client == nullptr || data == nullptr || client->conn_info == nullptr) {
        LOG_ERROR("MQTT_CLIENT50: ❌ 版本检测参数非法，兜底返回MQTT3.1.1");
        return MQTT_VERSION_311;
    }
    const uint32_t version = version_in_use(*client);
    if (client->conn_info->protocol_version == 0 && version != MQTT_VERSION_311 &&
        version != MQTT_VERSION_50) {
        LOG_WARN("MQTT_CLIENT50: ⚠️ 无版本信息，兜底返回MQTT3.1.1");
        return MQTT_VERSION_311;
    }
    return version;
}

void mqtt_client_version_downgrade(mqtt_client *client) {
    if (client == nullptr || client->config.mqtt_version == MQTT_VERSION_311 ||
        client->conn_info == nullptr) {
        return;
    }
    shared(client->config.mqtt_version).store(MQTT_VERSION_311, std::memory_order_relaxed);
    client->conn_info->protocol_version = 0;
    client->conn_info->reason_code = 0;
    client->conn_info->server_keep_alive = 0;
    client->conn_info->max_packet_size = NO_PACKET_LIMIT;
    qos_cache_set_version(&client->session, MQTT_VERSION_311);
    LOG_WARN(
        "MQTT_CLIENT50: ⚠️ MQTT5.0协商失败/服务端不支持，自动降级到3.1.1协议");
    set_state(*client, MQTT_CLIENT_DISCONNECTED);
    client->reconnect_count = 0;
    client->connect_tick_ms = tick_now();
}
