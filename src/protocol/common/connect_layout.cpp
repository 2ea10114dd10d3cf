#include "protocol/common/connect_layout.h"

namespace zep {

namespace {

uint8_t connect_flags(const connect_view &connect) {
    uint32_t flags = connect.clean_start ? 0x02 : 0;
    flags |= connect.has_will ? 0x04U : 0U;
    flags |= (connect.will_qos & 3U) << 3;
    flags |= connect.will_retain ? 0x20U : 0U;
    flags |= connect.has_password ? 0x40U : 0U;
    flags |= connect.has_username ? 0x80U : 0U;
    return static_cast<uint8_t>(flags);
}

}  // namespace

void write_connect_header(packet_writer &packet, uint8_t version, const connect_view &connect) {
    packet.text("MQTT");
    packet.u8(version);
    packet.u8(connect_flags(connect));
    packet.u16(connect.keep_alive);
}

void write_will(packet_writer &packet, const connect_view &connect) {
    packet.text(connect.will_topic);
    packet.field(connect.will_payload.data, connect.will_payload.size);
}

void write_credentials(packet_writer &packet, const connect_view &connect) {
    if (connect.has_username) {
        packet.text(connect.username);
    }
    if (connect.has_password) {
        packet.field(connect.password.data, connect.password.size);
    }
}

}  // namespace zep
