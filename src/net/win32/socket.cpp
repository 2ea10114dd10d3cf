#include <zep_mqtt/platform/clock.h>

#include "net/win32/winsock.h"

namespace zep {

const int32_t SOCKET_TIMED_OUT = WSAETIMEDOUT;
const int32_t SOCKET_INVALID_ARGUMENT = WSAEINVAL;
const int32_t SOCKET_TOO_LONG = WSAEMSGSIZE;
const int32_t SOCKET_REFUSED = WSAECONNREFUSED;

namespace {

static_assert(ETH_SOCKET_SET_MAX <= FD_SETSIZE);

fd_set only(int32_t sock) {
    fd_set set;
    set.fd_count = 1;
    set.fd_array[0] = native(sock);
    return set;
}

// A closed handle fails the wait for all sockets. The closed ones count as ready, so that whoever
// waits looks at them; the others are waited for in the next pass.
int32_t mark_closed(std::span<watched_socket> sockets) {
    int32_t closed = 0;
    for (watched_socket &each : sockets) {
        each.ready = socket_kind_of(each.sock) == socket_kind::none;
        closed += each.ready;
    }
    return closed;
}

}  // namespace

timeval to_timeval(uint32_t ms) {
    timeval time;
    time.tv_sec = static_cast<decltype(time.tv_sec)>(ms / 1000);
    time.tv_usec = static_cast<decltype(time.tv_usec)>(ms % 1000 * 1000);
    return time;
}

int32_t socket_last_error() {
    return WSAGetLastError();
}
void socket_set_last_error(int32_t error) {
    WSASetLastError(error);
}
bool socket_would_block(int32_t error) {
    return error == WSAEWOULDBLOCK;
}
bool socket_timed_out(int32_t error) {
    return error == WSAETIMEDOUT;
}

int32_t socket_open(socket_kind kind) {
    return kind == socket_kind::stream ? open_stream() : open_datagram();
}

int32_t open_nonblocking(int family, int type, int protocol) {
    const SOCKET sock = WSASocketW(family, type, protocol, nullptr, 0,
                                   WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    if (sock == INVALID_SOCKET) {
        return -1;
    }
    u_long nonblocking = 1;
    if (sock > INT32_MAX || ioctlsocket(sock, static_cast<long>(FIONBIO), &nonblocking) != 0) {
        const int error = sock > INT32_MAX ? WSAEMFILE : WSAGetLastError();
        closesocket(sock);
        WSASetLastError(error);
        return -1;
    }
    return static_cast<int32_t>(sock);
}

void socket_close(int32_t sock) {
    (void)closesocket(native(sock));
}

int32_t socket_wait(int32_t sock, readiness what, uint32_t timeout_ms) {
    fd_set ready = only(sock);
    fd_set failed = only(sock);
    timeval bound = to_timeval(timeout_ms);
    const bool reading = what == readiness::readable;
    const int count =
        select(0, reading ? &ready : nullptr, reading ? nullptr : &ready, &failed, &bound);
    return count > 0 ? 1 : count;
}

int32_t socket_wait_any(std::span<watched_socket> sockets, uint32_t timeout_ms) {
    for (watched_socket &each : sockets) {
        each.ready = false;
    }
    if (sockets.empty()) {
        platform_delay_ms(timeout_ms);  // a wait for nothing is refused
        return 0;
    }
    fd_set readable;
    readable.fd_count = 0;
    for (const watched_socket &each : sockets) {
        readable.fd_array[readable.fd_count++] = native(each.sock);
    }
    timeval bound = to_timeval(timeout_ms);
    const int count = select(0, &readable, nullptr, nullptr, &bound);
    if (count < 0) {
        const int32_t error = socket_last_error();
        if (error == WSAENOTSOCK || error == WSAEINTR) {
            return mark_closed(sockets);
        }
        return -1;
    }
    for (watched_socket &each : sockets) {
        each.ready = FD_ISSET(native(each.sock), &readable) != 0;
    }
    return count;
}

}  // namespace zep
