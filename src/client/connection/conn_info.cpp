// What the broker of a 5.0 connection announced, read out for the application.
#include <zep_mqtt/client/v50.h>
#include <zep_mqtt/core/status.h>

#include "client/connection/client_private.h"
#include "log/log_lines.h"

using namespace zep;

int32_t mqtt_client50_get_conn_info(const mqtt_client *client, mqtt50_conn_info *info) {
    if (client == nullptr || info == nullptr || client->conn_info == nullptr) {
        LOG_ERROR("MQTT_CLIENT50: 获取5.0信息失败，参数无效");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (!negotiated_50(*client)) {
        LOG_WARN("MQTT_CLIENT50: 获取5.0信息失败，未连接5.0服务端");
        return MQTT_ERR_INVALID_PARAM;
    }
    *info = *client->conn_info;
    return MQTT_OK;
}
