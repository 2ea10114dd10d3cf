// Sockets on 127.0.0.1.
#pragma once

#include <cstdint>
#include <netinet/in.h>

namespace zep_test {

sockaddr_in loopback(uint16_t port);

// A TCP socket that is bound to the given port; 0 is replaced by a free one.
int bind_loopback(uint16_t &port);

}  // namespace zep_test
