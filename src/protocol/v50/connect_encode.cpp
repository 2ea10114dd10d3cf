#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/text.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/connect.h>
#include <zep_mqtt/protocol/v50/property.h>

#include "core/limits.h"
#include "log/log_lines.h"
#include "protocol/common/connect_layout.h"
#include "protocol/v50/encode.h"
#include "protocol/v50/properties.h"

namespace {

constexpr uint32_t SMALLEST_CONNECT_BUFFER = 512;

bool fits_field(size_t size) {
    return size >= 1 && size <= UINT16_MAX;
}

bool has_wildcard(const char *topic) {
    return platform_strchr(topic, '#') != nullptr || platform_strchr(topic, '+') != nullptr;
}

int32_t check_credentials(const mqtt50_connect &connect) {
    if (connect.has_username != 0 && !fits_field(platform_strlen(connect.username))) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 CONN: 用户名标识启用但用户名非法");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (connect.has_password != 0 && !fits_field(platform_strlen(connect.password))) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 CONN: 密码标识启用但密码非法");
        return MQTT_ERR_INVALID_PARAM;
    }
    return MQTT_OK;
}

int32_t check_will(const mqtt50_connect &connect) {
    const size_t topic_len = platform_strlen(connect.will_topic);
    if (!fits_field(topic_len) || has_wildcard(connect.will_topic)) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 CONN: Will主题非法，长度=%d",
                  static_cast<int>(topic_len));
        return MQTT_ERR_INVALID_PARAM;
    }
    if (connect.will_payload_len > UINT16_MAX ||
        (connect.will_payload_len != 0 && connect.will_payload == nullptr)) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 CONN: Will载荷非法，长度=%d", connect.will_payload_len);
        return MQTT_ERR_INVALID_PARAM;
    }
    if (connect.will_qos > zep::QOS_MAX) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 CONN: Will QoS非法（仅支持0/1/2）：%d",
                  connect.will_qos);
        return MQTT_ERR_INVALID_PARAM;
    }
    return MQTT_OK;
}

int32_t check(const mqtt50_connect &connect) {
    const size_t client_id_len = strnlen(connect.client_id, sizeof connect.client_id);
    if (client_id_len == 0 || client_id_len > zep::CLIENT_ID_MAX) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 CONN: ClientID非法，长度=%d",
                  static_cast<int>(client_id_len));
        return MQTT_ERR_CLIENT_ID_INVALID;
    }
    const int32_t status = check_credentials(connect);
    if (status != MQTT_OK || connect.will_flag == 0) {
        return status;
    }
    return check_will(connect);
}

zep::connect_view view_of(const mqtt50_connect &connect) {
    zep::connect_view view;
    view.client_id = connect.client_id;
    view.keep_alive = connect.keep_alive;
    view.clean_start = connect.clean_start != 0;
    view.has_will = connect.will_flag != 0;
    if (view.has_will) {
        view.will_retain = connect.will_retain != 0;
        view.will_qos = static_cast<uint8_t>(connect.will_qos);
        view.will_topic = connect.will_topic;
        view.will_payload = {connect.will_payload, connect.will_payload_len};
    }
    view.has_username = connect.has_username != 0;
    if (view.has_username) {
        view.username = connect.username;
    }
    view.has_password = connect.has_password != 0;
    if (view.has_password) {
        view.password = zep::bytes_of(connect.password);
    }
    view.session_expiry = connect.session_expiry;
    view.max_packet_size = connect.max_packet_size;
    view.topic_alias_max = connect.topic_alias_max;
    return view;
}

}  // namespace

void zep::v50::write_connect(packet_writer &packet, const connect_view &connect) {
    write_connect_header(packet, MQTT_VERSION_50, connect);
    {
        properties given(packet);
        // A clean start asks for no stored session, so there is none that could expire.
        given.add_u32(MQTT50_PROP_SESSION_EXPIRY, connect.clean_start ? 0 : connect.session_expiry);
        given.add_u32(MQTT50_PROP_MAX_PACKET_SIZE, connect.max_packet_size);
        given.add_u16(MQTT50_PROP_TOPIC_ALIAS_MAX, connect.topic_alias_max);
    }
    packet.text(connect.client_id);
    if (connect.has_will) {
        write_no_properties(packet);
        write_will(packet, connect);
    }
    write_credentials(packet, connect);
}

int32_t mqtt50_conn_encode(const mqtt50_connect *connect, uint8_t *buffer, uint32_t *length) {
    if (connect == nullptr || buffer == nullptr || length == nullptr) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 CONN: 入参空指针");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (*length < SMALLEST_CONNECT_BUFFER || connect->protocol_version != MQTT_VERSION_50) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 CONN: 缓冲区过小或版本错误");
        return MQTT_ERR_INVALID_PARAM;
    }
    const int32_t status = check(*connect);
    if (status != MQTT_OK) {
        return status;
    }
    zep::packet_writer packet =
        zep::v50::begin_in_cleared(buffer, *length, zep::first_byte(MQTT_PACKET_CONNECT));
    zep::v50::write_connect(packet, view_of(*connect));
    if (!zep::v50::finish(packet, buffer, length)) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 CONN: 缓冲区过小");
        return MQTT_ERR_BUFFER_FULL;
    }
    LOG_INFO("MQTT5.0_PROTOCOL: MQTT50 CONN编码完成:总长度=%d,ClientID=%s,用户名=%s,Will启用=%d",
             *length, connect->client_id, connect->has_username != 0 ? connect->username : "无",
             connect->will_flag);
    return MQTT_OK;
}
