// Outbound 5.0 CONNECT, from the client's configuration.
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/text.h>
#include <zep_mqtt/protocol/v50/connect.h>

#include "client/connection/client_private.h"
#include "client/connection/will.h"
#include "log/log_lines.h"

using namespace zep;

namespace {

constexpr const char *NONE = "无";

int32_t fill_will(const mqtt_client_config &config, mqtt50_connect &connect) {
    if (config.will_flag == 0) {
        return MQTT_OK;
    }
    const will_faults faults = find_will_faults(config);
    if (faults.topic_missing || faults.topic_too_long) {
        LOG_ERROR("MQTT_CLIENT50: 5.0遗嘱主题非法（长度：%d），编码失败", faults.topic_length);
        return MQTT_ERR_INVALID_PARAM;
    }
    if (faults.payload_too_long) {
        LOG_ERROR("MQTT_CLIENT50: 5.0遗嘱载荷超长（%d > %d），编码失败", config.will_payload_len,
                  WILL_PAYLOAD_MAX);
        return MQTT_ERR_INVALID_PARAM;
    }
    set_will(config, connect);
    return MQTT_OK;
}

void fill_connect(const mqtt_client_config &config, mqtt50_connect &connect) {
    connect.protocol_version = MQTT_VERSION_50;
    platform_strcpy_s(connect.client_id, sizeof connect.client_id, config.client_id);
    connect.clean_start = config.clean_start;
    connect.keep_alive = config.keep_alive;
    connect.topic_alias_max = config.topic_alias_max;
    connect.session_expiry = config.session_expiry_interval;
    connect.max_packet_size = config.max_packet_size;
    connect.has_username = config.username[0] != '\0' ? 1 : 0;
    connect.username = config.username;
    connect.has_password = config.password[0] != '\0' ? 1 : 0;
    connect.password = config.password;
}

}  // namespace

int32_t mqtt50_conn_packet_encode(mqtt_client *client, uint8_t *buf, uint32_t *len) {
    if (client == nullptr || buf == nullptr || len == nullptr || *len < 1 ||
        client->config.mqtt_version != MQTT_VERSION_50) {
        LOG_ERROR("MQTT_CLIENT50: 5.0 CONNECT编码失败，入参无效/非5.0版本");
        return MQTT_ERR_INVALID_PARAM;
    }
    mqtt50_connect connect = {};
    fill_connect(client->config, connect);
    int32_t status = fill_will(client->config, connect);
    if (status != MQTT_OK) {
        return status;
    }
    status = mqtt50_conn_encode(&connect, buf, len);
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT50: 5.0 CONNECT编码失败，错误码=%d", status);
        return status;
    }
    LOG_DEBUG("MQTT_CLIENT50: : 5.0 CONNECT编码成功，长度=%d，用户名=%s，密码=%s，遗嘱开启：%d",
              *len, connect.has_username != 0 ? connect.username : NONE,
              connect.has_password != 0 ? "已携带" : NONE, connect.will_flag);
    return MQTT_OK;
}
