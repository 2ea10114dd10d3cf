// What the interface layer offers to the adapter, and shares between its own parts.
#pragma once

#include <cstdint>

#include <zep_mqtt/net/interface.h>

#include "core/shared.h"

namespace zep {

inline bool net_layer_is_inited() {
    return shared(g_is_inited).load() == 1;
}

// net_interface_send_to() for a UDP socket: one datagram to address and port, with the same checks,
// lines and results.
int32_t net_interface_send_datagram(int32_t sock, const char *address, uint16_t port,
                                    const uint8_t *data, uint32_t length);

}  // namespace zep
