// Whose turn it is to connect again. All clients of the process share the interval between
// automatic attempts; among those that wait, the one whose own last attempt lies furthest back goes
// first.
#pragma once

#include <cstdint>

namespace zep {

// A client's place in the line of those that wait. Zeroed, it waits for nothing.
struct reconnect_place {
    reconnect_place *next;
    uint64_t last_turn;    // number of its last attempt among those of all clients, 0 for none
    uint32_t interval_ms;  // that it has to wait for
    uint32_t asked_ms;     // tick of its last question
    bool in_line;
};

// May a client that is not connected make its attempt now? True: it is making one, until
// end_reconnect_attempt(). False: it waits in line.
bool begin_reconnect_attempt(reconnect_place &place, uint32_t interval_ms);
void end_reconnect_attempt();

// The client does not wait any more: it is connected, or about to be destroyed.
void leave_reconnect_line(reconnect_place &place);

}  // namespace zep
