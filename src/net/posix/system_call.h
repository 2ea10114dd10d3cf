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

inline bool is_would_block(int error) {
    return error == EAGAIN || error == EWOULDBLOCK;
}

// poll() for timeout_ms in all, however often signals interrupt it. Values above INT32_MAX count as
// that.
int poll_for(pollfd *fds, nfds_t count, uint32_t timeout_ms);

// The same for one socket: 1 when one of events or an error waits, 0 when the time has passed, -1
// with errno set when the wait failed or sock is no open descriptor.
int poll_socket(int32_t sock, short events, uint32_t timeout_ms);

}  // namespace zep
