// What the demonstration shows on one protocol version. Everything that is sent is awaited at its
// other end; what does not arrive in time ends the demonstration.
#pragma once

#include <stdexcept>
#include <string>

#include "client.h"

namespace zep_demo {

struct endpoint {
    std::string host;
    uint16_t port = 0;
};

struct totals {
    size_t sent = 0;
    size_t received = 0;
};

// Says what did not happen within its bound.
struct missing : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Plays all scenes and adds to the totals. @throws missing
void demonstrate(const endpoint &broker, version protocol, totals &so_far);

// The part of the client that dies, to be played by a process of its own: connects with a will on
// this topic and leaves without a DISCONNECT. @throws missing
[[noreturn]] void die_with_a_will(const endpoint &broker, version protocol,
                                  const std::string &topic);

}  // namespace zep_demo
