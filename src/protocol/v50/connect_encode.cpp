#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/text.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/connect.h>
#include <zep_mqtt/protocol/v50/property.h>

#include "log/log_lines.h"
#include "protocol/v50/packet_io.h"

namespace {

using zep::byte_writer;
using zep::v50::properties;

constexpr uint32_t SMALLEST_CONNECT_BUFFER = 512;
constexpr size_t LONGEST_CLIENT_ID = sizeof mqtt50_connect::client_id - 1;

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
    if (connect.will_qos > 2) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 CONN: Will QoS非法（仅支持0/1/2）：%d",
                  connect.will_qos);
        return MQTT_ERR_INVALID_PARAM;
    }
    return MQTT_OK;
}

int32_t check(const mqtt50_connect &connect) {
    const size_t client_id_len = strnlen(connect.client_id, sizeof connect.client_id);
    if (client_id_len == 0 || client_id_len > LONGEST_CLIENT_ID) {
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

// MQTT 5.0 §3.1.2.3
uint8_t connect_flags(const mqtt50_connect &connect) {
    uint32_t flags = connect.clean_start != 0 ? 0x02 : 0;
    if (connect.will_flag != 0) {
        flags |= 0x04 | connect.will_qos << 3 | (connect.will_retain != 0 ? 0x20 : 0);
    }
    flags |= connect.has_password != 0 ? 0x40 : 0;
    flags |= connect.has_username != 0 ? 0x80 : 0;
    return static_cast<uint8_t>(flags);
}

size_t payload_size(const mqtt50_connect &connect) {
    size_t size = 2 + platform_strlen(connect.client_id);
    if (connect.will_flag != 0) {
        size += 1 + 2 + platform_strlen(connect.will_topic) + 2 + connect.will_payload_len;
    }
    if (connect.has_username != 0) {
        size += 2 + platform_strlen(connect.username);
    }
    if (connect.has_password != 0) {
        size += 2 + platform_strlen(connect.password);
    }
    return size;
}

void write_payload(byte_writer &packet, const mqtt50_connect &connect) {
    packet.text(connect.client_id);
    if (connect.will_flag != 0) {
        packet.u8(0);  // no will properties
        packet.text(connect.will_topic);
        packet.field(connect.will_payload, connect.will_payload_len);
    }
    if (connect.has_username != 0) {
        packet.text(connect.username);
    }
    if (connect.has_password != 0) {
        packet.text(connect.password);
    }
}

void collect_properties(properties &collected, const mqtt50_connect &connect) {
    // A clean start asks for no stored session, so there is none that could expire.
    collected.add_u32(MQTT50_PROP_SESSION_EXPIRY,
                      connect.clean_start != 0 ? 0 : connect.session_expiry);
    collected.add_u32(MQTT50_PROP_MAX_PACKET_SIZE, connect.max_packet_size);
    collected.add_u16(MQTT50_PROP_TOPIC_ALIAS_MAX, connect.topic_alias_max);
}

}  // namespace

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
    properties collected;
    collect_properties(collected, *connect);
    const size_t remaining = 10 + collected.encoded_size() + payload_size(*connect);
    if (zep::v50::packet_size(remaining) > *length) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 CONN: 缓冲区过小");
        return MQTT_ERR_BUFFER_FULL;
    }
    platform_memset_s(buffer, *length, 0, *length);
    byte_writer packet = zep::v50::begin_packet(
        buffer, *length, zep::v50::first_byte(MQTT_PACKET_CONNECT), remaining);
    packet.text("MQTT");
    packet.u8(MQTT_VERSION_50);
    packet.u8(connect_flags(*connect));
    packet.u16(connect->keep_alive);
    collected.write_to(packet);
    write_payload(packet, *connect);
    *length = static_cast<uint32_t>(packet.size());
    LOG_INFO("MQTT5.0_PROTOCOL: MQTT50 CONN编码完成:总长度=%d,ClientID=%s,用户名=%s,Will启用=%d",
             *length, connect->client_id, connect->has_username != 0 ? connect->username : "无",
             connect->will_flag);
    return MQTT_OK;
}
