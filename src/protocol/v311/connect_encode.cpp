#include <cstring>

#include <zep_mqtt/core/status.h>

#include "core/limits.h"
#include "log/log_lines.h"
#include "protocol/common/connect_layout.h"
#include "protocol/v311/encode.h"

namespace zep::v311 {
namespace {

// The fixed header in two bytes and all up to the client identifier; then its length.
constexpr size_t SMALLEST_BUFFER = 12;
constexpr size_t BEFORE_CLIENT_ID = SMALLEST_BUFFER + 2;

bool is_empty(const char *text) {
    return text == nullptr || text[0] == '\0';
}

int32_t check(const mqtt_packet_connect &connect, size_t capacity) {
    if (capacity < SMALLEST_BUFFER) {
        return MQTT_ERR_INVALID_PARAM;
    }
    const size_t length = strnlen(connect.client_id, sizeof connect.client_id);
    if (length == 0 || length > CLIENT_ID_MAX || capacity < BEFORE_CLIENT_ID + length) {
        LOG_ERROR("mqtt_packet_encode_v311: ClientID无效/过长");
        return MQTT_ERR_INVALID_PARAM;
    }
    if ((connect.will_flag != 0 && is_empty(connect.will_topic)) ||
        (connect.has_username != 0 && is_empty(connect.username)) ||
        (connect.has_password != 0 && is_empty(connect.password))) {
        return MQTT_ERR_INVALID_PARAM;
    }
    return MQTT_OK;
}

connect_view view_of(const mqtt_packet_connect &connect) {
    connect_view view;
    view.client_id = connect.client_id;
    view.keep_alive = connect.keep_alive;
    view.clean_start = true;
    view.will_qos = static_cast<uint8_t>(connect.will_qos & 3);
    view.will_retain = connect.will_retain != 0;
    view.has_will = connect.will_flag != 0;
    if (view.has_will) {
        view.will_topic = connect.will_topic;
        view.will_payload = {connect.will_payload,
                             connect.will_payload == nullptr ? 0 : connect.will_payload_len};
    }
    view.has_username = connect.has_username != 0;
    if (view.has_username) {
        view.username = connect.username;
    }
    view.has_password = connect.has_password != 0;
    if (view.has_password) {
        view.password = bytes_of(connect.password);
    }
    return view;
}

}  // namespace

void write_connect(packet_writer &packet, const connect_view &connect) {
    write_connect_header(packet, MQTT_VERSION_311, connect);
    packet.text(connect.client_id);
    if (connect.has_will) {
        write_will(packet, connect);
    }
    write_credentials(packet, connect);
}

int32_t encode_connect(const mqtt_packet &record, packet_writer &packet) {
    const int32_t status = check(record.body.connect, packet.capacity());
    if (status == MQTT_OK) {
        write_connect(packet, view_of(record.body.connect));
    }
    return status;
}

int32_t encode_connack(const mqtt_packet &record, packet_writer &packet) {
    const mqtt_packet_connack &connack = record.body.connack;
    if (connack.return_code > MQTT_CONNACK_MAX_RETURN_CODE) {
        return MQTT_ERR_INVALID_PARAM;
    }
    packet.u8(connack.session_present != 0 ? 1 : 0);
    packet.u8(connack.return_code);
    return MQTT_OK;
}

}  // namespace zep::v311
