// The packets that an event-driven client sends, of either version and of any size. Each is laid
// out twice by the same code: first to be measured, then to be written.
#pragma once

#include <cstdint>

#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt_sdk.h>

#include "core/byte_writer.h"
#include "protocol/common/wire_io.h"
#include "protocol/strict/utf8.h"

namespace zep {

// Takes what a byte_writer takes, and only counts.
class byte_counter {
 public:
    size_t size() const { return size_; }
    void u8(uint8_t) { size_ += 1; }
    void u16(uint16_t) { size_ += 2; }
    void u32(uint32_t) { size_ += 4; }
    void bytes(const void *, size_t n) { size_ += n; }
    void gap(size_t n) { size_ += n; }
    void field(const void *, size_t n) { size_ += 2 + n; }

 private:
    size_t size_ = 0;
};

// A packet to be sent: `first` is byte 0, lay_out(writer) writes what follows the fixed header.
struct outbound_publish {
    uint32_t version;
    strict::text_view topic;
    const uint8_t *payload;  // null: its place is filled afterwards
    uint32_t payload_len;
    uint32_t qos;
    bool retain;
    uint16_t id;
    uint32_t expiry_s;  // 5.0; 0 for none

    uint8_t first() const {
        return static_cast<uint8_t>(MQTT_PACKET_PUBLISH << 4 | qos << 1 | (retain ? 1 : 0));
    }
    template <typename Writer>
    void lay_out(Writer &out) const {
        out.field(topic.data, topic.size);
        if (qos != 0) {
            out.u16(id);
        }
        if (version == MQTT_VERSION_50) {
            out.u8(expiry_s != 0 ? 5 : 0);  // bytes of properties
            if (expiry_s != 0) {
                out.u8(0x02);
                out.u32(expiry_s);
            }
        }
        if (payload != nullptr) {
            out.bytes(payload, payload_len);
        } else {
            out.gap(payload_len);
        }
    }
};

// SUBSCRIBE or UNSUBSCRIBE of one filter.
struct outbound_request {
    uint32_t version;
    uint8_t type;
    strict::text_view filter;
    uint8_t qos;
    uint16_t id;

    uint8_t first() const { return static_cast<uint8_t>(type << 4 | 2); }
    template <typename Writer>
    void lay_out(Writer &out) const {
        out.u16(id);
        if (version == MQTT_VERSION_50) {
            out.u8(0);
        }
        out.field(filter.data, filter.size);
        if (type == MQTT_PACKET_SUBSCRIBE) {
            out.u8(qos);
        }
    }
};

// CONNECT with its clean flag clear.
struct outbound_connect {
    uint32_t version;
    const zep_mqtt_sdk_config *config;
    uint32_t session_expiry_s;
    uint32_t max_packet_in;

    static constexpr uint32_t FLAGS_AFTER_HEADER = 7;  // "MQTT" with its length, version

    uint8_t first() const { return MQTT_PACKET_CONNECT << 4; }
    uint8_t flags() const {
        uint32_t bits = 0;
        if (config->will_flag != 0) {
            bits |= 0x04 | (config->will_qos & 3) << 3 | (config->will_retain != 0 ? 0x20 : 0);
        }
        bits |= config->password != nullptr ? 0x40 : 0;
        bits |= config->username != nullptr ? 0x80 : 0;
        return static_cast<uint8_t>(bits);
    }
    template <typename Writer>
    void text(Writer &out, const char *value) const {
        const strict::text_view view = strict::view_of(value);
        out.field(view.data, view.size);
    }
    template <typename Writer>
    void lay_out(Writer &out) const {
        out.field("MQTT", 4);
        out.u8(static_cast<uint8_t>(version));
        out.u8(flags());
        out.u16(static_cast<uint16_t>(config->keep_alive));
        if (version == MQTT_VERSION_50) {
            out.u8(session_expiry_s != 0 ? 10 : 5);
            if (session_expiry_s != 0) {
                out.u8(0x11);
                out.u32(session_expiry_s);
            }
            out.u8(0x27);
            out.u32(max_packet_in);
        }
        text(out, config->client_id);
        if (config->will_flag != 0) {
            if (version == MQTT_VERSION_50) {
                out.u8(0);
            }
            text(out, config->will_topic);
            out.field(config->will_payload, config->will_payload_len);
        }
        if (config->username != nullptr) {
            text(out, config->username);
        }
        if (config->password != nullptr) {
            text(out, config->password);
        }
    }
};

// Bytes of the whole packet; 0 when it is longer than any packet can be.
template <typename Packet>
uint32_t packet_length(const Packet &packet) {
    byte_counter body;
    packet.lay_out(body);
    if (body.size() > 268435455) {
        return 0;
    }
    uint32_t header = 2;
    for (size_t rest = body.size() >> 7; rest != 0; rest >>= 7) {
        ++header;
    }
    return header + static_cast<uint32_t>(body.size());
}

// Into room for packet_length() bytes.
template <typename Packet>
void write_packet(const Packet &packet, uint8_t *room, uint32_t length) {
    byte_counter body;
    packet.lay_out(body);
    byte_writer out(room, length);
    out.u8(packet.first());
    write_remaining_length(out, static_cast<uint32_t>(body.size()));
    packet.lay_out(out);
}

}  // namespace zep
