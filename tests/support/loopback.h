// Sockets on 127.0.0.1.
#pragma once

#include <cstdint>
#include <netinet/in.h>
#include <sys/socket.h>

namespace zep_test {

sockaddr_in loopback(uint16_t port);

// A socket that is bound to the given port; 0 is replaced by a free one.
int bind_loopback(uint16_t &port, int type = SOCK_STREAM);
// A TCP connection to this port, -1 when there is none within some seconds.
int connect_loopback(uint16_t port);

bool readable(int socket, int timeout_ms);
// What is sent goes out at once, in packets of its own.
void set_no_delay(int socket);
// The peer will see a reset instead of the end of the stream.
void reset_on_close(int socket);

}  // namespace zep_test
