#include <algorithm>

#include <zep_mqtt/net/socket.h>

#include "net/socket_address.h"
#include "net/win32/winsock.h"
// Relies on windows.h, which must therefore stand before it.
#include <mstcpip.h>

namespace zep {

namespace {

// The system itself would go on for 21 seconds when nobody answers.
constexpr uint32_t CONNECT_TIMEOUT_MS = 7000;

// Windows 10 knows the first two, older headers do not name them. A system that does not know an
// option refuses it.
constexpr int MAX_RETRANSMISSION_MS = 14;  // TCP_MAXRTMS
constexpr int MAX_RETRANSMISSION_S = 5;    // TCP_MAXRT

// How often the system asks a silent peer before it ends the connection.
constexpr uint32_t KEEP_ALIVE_PROBES = 10;

bool await_connected(int32_t sock) {
    if (socket_wait(sock, readiness::writable, CONNECT_TIMEOUT_MS) == 0) {
        socket_set_last_error(WSAETIMEDOUT);
        return false;
    }
    int error = 0;
    if (!get_option(sock, SOL_SOCKET, SO_ERROR, &error)) {
        return false;
    }
    socket_set_last_error(error);
    return error == 0;
}

// A silent and idle peer is noticed after ms in all: the first half passes in silence, the probes
// fill the second. The system does not probe while it repeats data, for as long as it likes.
void set_keep_alive(int32_t sock, uint32_t ms) {
    tcp_keepalive probing{};
    probing.onoff = 1;
    probing.keepalivetime = ms / 2;
    probing.keepaliveinterval = std::max<uint32_t>(ms / 2 / KEEP_ALIVE_PROBES, 1);
    DWORD ignored = 0;
    (void)WSAIoctl(native(sock), SIO_KEEPALIVE_VALS, &probing, sizeof probing, nullptr, 0, &ignored,
                   nullptr, nullptr);
}

}  // namespace

int32_t open_stream() {
    const int32_t sock = open_nonblocking(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (sock != -1) {
        (void)set_option(sock, IPPROTO_TCP, TCP_NODELAY, 1);
    }
    return sock;
}

bool socket_connect(int32_t sock, const ipv4_endpoint &peer) {
    const sockaddr_in address = address_of(peer);
    if (connect(native(sock), generic(&address), sizeof address) == 0) {
        return true;
    }
    return socket_would_block(socket_last_error()) && await_connected(sock);
}

int32_t socket_send(int32_t sock, const uint8_t *data, uint32_t length) {
    return send(native(sock), reinterpret_cast<const char *>(data), static_cast<int>(length), 0);
}

int32_t socket_read(int32_t sock, uint8_t *buffer, uint32_t size) {
    return recv(native(sock), reinterpret_cast<char *>(buffer), static_cast<int>(size), 0);
}

void socket_shutdown(int32_t sock) {
    (void)shutdown(native(sock), SD_BOTH);
}

bool socket_peer_closed(int32_t sock) {
    const int32_t ready = socket_wait(sock, readiness::readable, 0);
    if (ready <= 0) {
        return ready < 0;
    }
    char byte;
    const int waiting = recv(native(sock), &byte, 1, MSG_PEEK);
    return waiting == 0 || (waiting == SOCKET_ERROR && !socket_would_block(socket_last_error()));
}

void socket_set_unacked_timeout(int32_t sock, uint32_t ms) {
    // A new socket has the system's default, and nobody goes back to it.
    if (ms == 0) {
        return;
    }
    const auto bound_ms = static_cast<int>(std::min<uint32_t>(ms, INT32_MAX));
    const int bound_s = bound_ms / 1000 + (bound_ms % 1000 != 0);
    if (!set_option(sock, IPPROTO_TCP, MAX_RETRANSMISSION_MS, bound_ms) &&
        !set_option(sock, IPPROTO_TCP, MAX_RETRANSMISSION_S, bound_s)) {
        set_keep_alive(sock, ms);
    }
}

}  // namespace zep
