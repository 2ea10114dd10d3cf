// How the POSIX backend calls the system.
#pragma once

#include <cerrno>
#include <cstdint>
#include <poll.h>

namespace zep {

// Repeats a system call for as long as a signal interrupts it.
template <typename call_type>
auto retry_interrupted(call_type call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

// poll() for timeout_ms in all, however often signals interrupt it. Values above INT32_MAX count as
// that.
int poll_for(pollfd *fds, nfds_t count, uint32_t timeout_ms);

// The two kinds of sockets that socket_open() makes.
int32_t open_stream();
int32_t open_datagram();

}  // namespace zep
