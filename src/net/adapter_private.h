// What the adapter offers to the client alone, and shares between its own parts.
#pragma once

#include <cstdint>

#include <zep_mqtt/net/adapter.h>

namespace zep {

// The instance when it is valid for transfer, else null. Logs nothing.
net_adapter_instance *adapter_valid_instance(uint8_t index);

// Looks at the connection of a TCP instance without waiting and without taking a byte. True when
// the peer has closed it and everything it sent was read, or when it is broken (reset, timed out,
// not connected). False while bytes wait or nothing does, and for every index that is no valid TCP
// instance. Logs nothing.
bool net_adapter_peer_closed(uint8_t index);

// Breaks the connection of a TCP instance when sent bytes stay unacknowledged for ms milliseconds;
// 0 restores the system's default. To be set again when the round trips have changed. Every index
// that is no valid TCP instance is ignored. Logs nothing.
void net_adapter_set_unacked_timeout(uint8_t index, uint32_t ms);

}  // namespace zep
