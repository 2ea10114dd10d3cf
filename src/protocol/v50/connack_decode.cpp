#include <algorithm>
#include <cstddef>
#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/connack.h>

#include "core/limits.h"
#include "log/log_lines.h"
#include "protocol/common/packet_writer.h"
#include "protocol/v50/decode.h"
#include "protocol/v50/properties.h"

namespace {

using zep::byte_reader;

// The shortest packet that is looked at.
constexpr uint32_t SHORTEST_CONNACK = 3;

enum class kind : uint8_t { number, text };

// A property that the record has a field for. A number is as wide on the wire as its field.
struct known_property {
    uint8_t id;
    kind value_kind;
    uint16_t field;
    uint16_t field_size;
};

#define FIELD(name) offsetof(mqtt50_connack, name), sizeof(mqtt50_connack::name)
constexpr known_property KNOWN[] = {
    {MQTT50_PROP_SESSION_EXPIRY, kind::number, FIELD(session_expiry)},
    {MQTT50_PROP_ASSIGNED_CLIENT_ID, kind::text, FIELD(assigned_client_id)},
    {MQTT50_PROP_SERVER_KEEP_ALIVE, kind::number, FIELD(server_keep_alive)},
    {MQTT50_PROP_REASON_STRING, kind::text, FIELD(reason_string)},
    {MQTT50_PROP_RECEIVE_MAXIMUM, kind::number, FIELD(receive_maximum)},
    {MQTT50_PROP_TOPIC_ALIAS_MAX, kind::number, FIELD(topic_alias_max)},
    {MQTT50_PROP_RETAIN_AVAILABLE, kind::number, FIELD(retain_available)},
    {MQTT50_PROP_USER_PROPERTY, kind::text, FIELD(user_property)},
    {MQTT50_PROP_MAX_PACKET_SIZE, kind::number, FIELD(max_packet_size)},
    {MQTT50_PROP_WILDCARD_SUB_AVAILABLE, kind::number, FIELD(wildcard_sub_available)},
    {MQTT50_PROP_SUB_ID_AVAILABLE, kind::number, FIELD(sub_id_available)},
    {MQTT50_PROP_SHARED_SUB_AVAILABLE, kind::number, FIELD(shared_sub_available)},
};
#undef FIELD

const known_property *find_known(uint8_t id) {
    for (const known_property &known : KNOWN) {
        if (known.id == id) {
            return &known;
        }
    }
    return nullptr;
}

template <typename T>
void keep_number(mqtt50_property *property, uint8_t *field, T value) {
    std::memcpy(property->value, &value, sizeof value);
    std::memcpy(field, &value, sizeof value);
}

bool read_number(byte_reader &section, uint16_t width, mqtt50_property *property, uint8_t *field) {
    if (section.left() < width) {
        return false;
    }
    switch (width) {
        case 1:
            keep_number(property, field, section.u8());
            break;
        case 2:
            keep_number(property, field, section.u16());
            break;
        default:
            keep_number(property, field, section.u32());
            break;
    }
    return true;
}

// A text that is too long for its field leaves the field empty: half an identifier is none.
bool read_text(byte_reader &section, uint16_t field_size, mqtt50_property *property,
               uint8_t *field) {
    const uint16_t size = section.u16();
    const uint8_t *text = section.bytes(size);
    if (text == nullptr || size >= sizeof property->value) {
        return false;
    }
    std::memcpy(property->value, text, size);
    std::memset(field, 0, field_size);
    if (size < field_size) {
        std::memcpy(field, text, size);
    }
    return true;
}

// False when the value does not fit; nothing is kept then.
bool read_known(byte_reader &section, const known_property &known, mqtt50_property *property,
                mqtt50_connack *connack) {
    uint8_t *field = reinterpret_cast<uint8_t *>(connack) + known.field;
    if (known.value_kind == kind::text) {
        return read_text(section, known.field_size, property, field);
    }
    return read_number(section, known.field_size, property, field);
}

// Moves past a value that has no field, at most to the end of the section.
void skip_unknown(byte_reader &section, uint8_t id) {
    size_t size = 1;
    switch (id) {
        case MQTT50_PROP_MESSAGE_EXPIRY:
        case 0x18:  // Will Delay Interval
            size = 4;
            break;
        case 0x23:  // Topic Alias
        case 0x2B:
            size = 2;
            break;
        case 0x03:  // Content Type
        case 0x08:  // Response Topic
        case 0x09:  // Correlation Data
        case 0x15:  // Authentication Method
        case 0x16:  // Authentication Data
        case 0x1A:  // Response Information
        case 0x1C:  // Server Reference
            size = section.u16();
            break;
        default:
            break;
    }
    section.skip(std::min(size, section.left()));
}

// Reads one property into the record; false when reading must end here.
bool read_property(byte_reader &section, mqtt50_connack *connack) {
    if (connack->prop_count >= MQTT50_CONNACK_PROPERTIES_MAX) {
        LOG_WARN("MQTT5.0_PROTOCOL: 5.0 CONNACK解码:属性数组已满，停止解析剩余属性");
        return false;
    }
    mqtt50_property property = {};
    property.id = section.u8();
    if (property.id == 0 || property.id >= 0x80) {
        LOG_WARN("MQTT5.0_PROTOCOL: 5.0 CONNACK解码:非法属性ID=0x%02X，跳过", property.id);
        return false;
    }
    const known_property *known = find_known(property.id);
    if (known == nullptr) {
        LOG_WARN("MQTT5.0_PROTOCOL: 5.0 CONNACK解码:忽略未知属性ID=0x%02X", property.id);
        skip_unknown(section, property.id);
    } else if (!read_known(section, *known, &property, connack)) {
        LOG_WARN("MQTT5.0_PROTOCOL: 5.0 CONNACK解码:属性0x%02X解析失败，跳过后续属性", property.id);
        return false;
    }
    if (property.id == MQTT50_PROP_MAX_PACKET_SIZE) {
        LOG_INFO("MQTT5.0_PROTOCOL: 5.0 CONNACK解析:Broker最大报文长度=%d字节",
                 connack->max_packet_size);
    }
    connack->props[connack->prop_count++] = property;
    return true;
}

void read_properties(byte_reader &body, mqtt50_connack *connack) {
    byte_reader section = zep::v50::take_properties(body);
    if (!section.ok()) {
        LOG_WARN("MQTT5.0_PROTOCOL: 5.0 CONNACK解码:属性段长度非法，跳过属性解析");
        return;
    }
    LOG_INFO("MQTT5.0_PROTOCOL: 5.0 CONNACK解析:属性段总长度=%d", static_cast<int>(section.left()));
    while (section.left() != 0 && read_property(section, connack)) {
    }
}

int32_t read_flags_and_reason(byte_reader &body, mqtt50_connack *connack) {
    if (body.left() == 0) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 CONNACK解码:会话存在标志位缺失");
        return MQTT_ERR_CONNACK_MALFORMED;
    }
    const uint8_t flags = body.u8();
    if (flags > 1) {
        LOG_WARN("MQTT5.0_PROTOCOL: 5.0 CONNACK:保留位非0，协议警告");
    }
    connack->session_present = flags & 1;
    if (body.left() == 0) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 CONNACK解码:连接原因码缺失");
        return MQTT_ERR_CONNACK_MALFORMED;
    }
    connack->reason_code = body.u8();
    LOG_INFO("MQTT5.0_PROTOCOL: 5.0 CONNACK解析:会话存在=%d, 连接原因码=0x%02X",
             connack->session_present, connack->reason_code);
    if (connack->reason_code != 0 && connack->reason_code < 0x80) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 CONNACK解码:原因码非法 0x%02X", connack->reason_code);
        return MQTT_ERR_CONNACK_REASON_INVALID;
    }
    return MQTT_OK;
}

int32_t refuse_connack_arguments(uint32_t length) {
    LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 CONNACK解码:入参非法/报文过短 len=%d", length);
    return MQTT_ERR_INVALID_PARAM;
}

}  // namespace

int32_t zep::v50::decode_connack(const packet_view &packet, mqtt50_connack *connack) {
    if (packet.given < SHORTEST_CONNACK) {
        return refuse_connack_arguments(packet.given);
    }
    *connack = {};
    if (packet.first() != first_byte(MQTT_PACKET_CONNACK)) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 CONNACK解码:固定头非法 0x%02X", packet.first());
        return MQTT_ERR_MALFORMED;
    }
    if (!packet.body.ok()) {
        LOG_ERROR("MQTT5.0_PROTOCOL: 5.0 CONNACK解码:剩余长度解析失败/越界");
        return MQTT_ERR_CONNACK_MALFORMED;
    }
    connack->remaining_len = packet.remaining;
    byte_reader body = packet.body;
    const int32_t status = read_flags_and_reason(body, connack);
    if (status != MQTT_OK) {
        return status;
    }
    if (body.left() != 0) {
        read_properties(body, connack);
    }
    connack->total_len = packet.length;
    LOG_INFO(
        "MQTT5.0_PROTOCOL: ✅ MQTT5.0 CONNACK解码完成 | 总长度=%d | 解析属性数=%d | 最大报文=%d字节",
        connack->total_len, connack->prop_count, connack->max_packet_size);
    return MQTT_OK;
}

int32_t mqtt50_connack_decode(const uint8_t *data, uint32_t length, mqtt50_connack *connack) {
    if (data == nullptr || connack == nullptr) {
        return refuse_connack_arguments(length);
    }
    return zep::v50::decode_connack(zep::open_packet(data, length, zep::REMAINING_MAX), connack);
}
