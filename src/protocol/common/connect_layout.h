// What the CONNECT of both versions has in common (MQTT 3.1.1 and 5.0 §3.1).
#pragma once

#include "protocol/common/packet_views.h"
#include "protocol/common/packet_writer.h"

namespace zep {

// Protocol name, level, flags and keep-alive.
void write_connect_header(packet_writer &packet, uint8_t version, const connect_view &connect);

void write_will(packet_writer &packet, const connect_view &connect);
void write_credentials(packet_writer &packet, const connect_view &connect);

}  // namespace zep
