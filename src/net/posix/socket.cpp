#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

#include <zep_mqtt/net/socket.h>

#include "log/log_lines.h"
#include "net/posix/ipv4_address.h"
#include "net/posix/system_call.h"
#include "net/system_socket.h"

void net_socket_close_win32(int32_t sock) {
    if (sock == -1) {
        return;
    }
    // The descriptor is gone whatever close() returns; a second try could hit another socket.
    (void)close(sock);
    LOG_INFO("net_socket_close_win32: 套接字(%d)已关闭", sock);
}

namespace zep {

int32_t socket_last_error() {
    return errno;
}
bool socket_would_block(int32_t error) {
    return is_would_block(error);
}
bool socket_timed_out(int32_t error) {
    return error == ETIMEDOUT;
}

socket_kind socket_kind_of(int32_t sock) {
    int type = 0;
    socklen_t size = sizeof type;
    if (getsockopt(sock, SOL_SOCKET, SO_TYPE, &type, &size) == -1) {
        return socket_kind::none;
    }
    return type == SOCK_STREAM ? socket_kind::stream : socket_kind::datagram;
}

bool socket_local_port(int32_t sock, uint16_t *out_port) {
    sockaddr_in local{};
    socklen_t size = sizeof local;
    if (getsockname(sock, generic(&local), &size) == -1) {
        return false;
    }
    *out_port = ntohs(local.sin_port);
    return true;
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
