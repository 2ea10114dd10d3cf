#include <cerrno>
#include <unistd.h>

#include "net/posix/system_call.h"
#include "net/socket_address.h"
#include "net/system_socket.h"

namespace zep {

const int32_t SOCKET_TIMED_OUT = ETIMEDOUT;
const int32_t SOCKET_INVALID_ARGUMENT = EINVAL;
const int32_t SOCKET_TOO_LONG = EMSGSIZE;
const int32_t SOCKET_REFUSED = ECONNREFUSED;

int32_t socket_last_error() {
    return errno;
}
void socket_set_last_error(int32_t error) {
    errno = error;
}
bool socket_would_block(int32_t error) {
    return error == EAGAIN || error == EWOULDBLOCK;
}
bool socket_timed_out(int32_t error) {
    return error == ETIMEDOUT;
}

int32_t socket_open(socket_kind kind) {
    return kind == socket_kind::stream ? open_stream() : open_datagram();
}

void socket_close(int32_t sock) {
    // The descriptor is gone whatever close() returns; a second try could hit another socket.
    (void)close(sock);
}

int32_t socket_wait(int32_t sock, readiness what, uint32_t timeout_ms) {
    pollfd fd{sock, static_cast<short>(what == readiness::readable ? POLLIN : POLLOUT), 0};
    // poll() itself would wait in vain for a negative handle.
    const int ready = sock < 0 ? 1 : poll_for(&fd, 1, timeout_ms);
    if (sock < 0 || (fd.revents & POLLNVAL) != 0) {
        errno = EBADF;
        return -1;
    }
    return ready;
}

int32_t socket_wait_any(std::span<watched_socket> sockets, uint32_t timeout_ms) {
    pollfd fds[ETH_SOCKET_SET_MAX];
    for (size_t i = 0; i < sockets.size(); ++i) {
        fds[i] = pollfd{sockets[i].sock, POLLIN, 0};
    }
    const int ready = poll_for(fds, sockets.size(), timeout_ms);
    for (size_t i = 0; i < sockets.size(); ++i) {
        sockets[i].ready = ready > 0 && fds[i].revents != 0;
    }
    return ready;
}

}  // namespace zep
