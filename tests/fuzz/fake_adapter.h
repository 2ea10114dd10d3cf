// Stands in for the network adapter: hands the client bytes as if they had been read, and keeps
// what it sends. There is one connection at a time, no socket, and a clock that is moved by hand.
#pragma once

#include <cstdint>
#include <vector>

namespace zep_fuzz {

struct fake_connection {
    bool open = false;
    bool peer_closed = false;
    bool sends_fail = false;
    std::vector<uint8_t> readable;  // what the next reads bring
    std::vector<uint8_t> sent;
};

extern fake_connection g_connection;
// Sees whatever the client means to send, also when that fails.
extern void (*g_on_send)(const uint8_t *data);
extern uint64_t g_now_ms;

}  // namespace zep_fuzz
