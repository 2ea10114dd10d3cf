// What the files of the Windows socket backend share.
#pragma once

#include "net/system_socket.h"
#include "socket_api.h"

namespace zep {

// A new socket that never blocks and that no child process inherits; -1 on failure.
int32_t open_nonblocking(int family, int type, int protocol);

timeval to_timeval(uint32_t ms);

// The two kinds of sockets that socket_open() makes.
int32_t open_stream();
int32_t open_datagram();

// The result of a send or a read: SOCKET_ERROR is -1 already.
static_assert(SOCKET_ERROR == -1);

}  // namespace zep
