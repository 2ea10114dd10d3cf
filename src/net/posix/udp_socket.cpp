#include <cerrno>
#include <sys/socket.h>

#include <zep_mqtt/net/socket.h>

#include "log/log_lines.h"
#include "net/posix/ipv4_address.h"
#include "net/posix/send_patience.h"
#include "net/posix/system_call.h"
#include "net/system_socket.h"
#include "platform/posix/descriptor.h"

namespace {

// One datagram; waits only while the system's buffer is full.
ssize_t send_datagram(int32_t sock, const sockaddr_in &target, const uint8_t *data, size_t length) {
    zep::send_patience patience;
    for (;;) {
        const ssize_t sent = zep::retry_interrupted([&] {
            return sendto(sock, data, length, MSG_DONTWAIT | MSG_NOSIGNAL, zep::generic(&target),
                          sizeof target);
        });
        if (sent != -1 || !zep::is_would_block(errno) || !patience.await_writable(sock)) {
            return sent;
        }
    }
}

}  // namespace

int32_t net_udp_socket_create_win32(void) {
    return zep::above_standard(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP));
}

bool net_udp_bind_win32(int32_t sock, uint16_t port) {
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_ANY);
    local.sin_port = htons(port);
    return bind(sock, zep::generic(&local), sizeof local) == 0;
}

int32_t net_udp_sendto_win32(int32_t sock, const char *address, uint16_t port, const uint8_t *data,
                             uint32_t length) {
    sockaddr_in target;
    if (!zep::ipv4_address(address, port, &target)) {
        LOG_ERROR("net_udp_sendto_win32: 无效IP地址（%s）",
                  address == nullptr ? "(null)" : address);
        errno = EINVAL;
        return -1;
    }
    const ssize_t sent = send_datagram(sock, target, data, length);
    if (sent == -1) {
        const int error = errno;
        LOG_ERROR("net_udp_sendto_win32: sendto失败（IP=%s:%u, 错误码=%d）", address, port, error);
        errno = error;
    }
    return static_cast<int32_t>(sent);
}

int32_t platform_udp_recvfrom_win32(int32_t sock, uint8_t *buffer, uint32_t size, char *out_address,
                                    uint16_t *out_port, uint32_t timeout_ms) {
    const int ready = zep::poll_socket(sock, POLLIN, timeout_ms);
    if (ready <= 0) {
        return ready;
    }
    return zep::socket_read_datagram(sock, buffer, size, out_address, out_port);
}

namespace zep {

int32_t socket_read_datagram(int32_t sock, uint8_t *buffer, uint32_t size, char *out_address,
                             uint16_t *out_port) {
    sockaddr_in source{};
    iovec part{buffer, size};
    msghdr message{};
    message.msg_name = &source;
    message.msg_namelen = sizeof source;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    const ssize_t got = retry_interrupted([&] { return recvmsg(sock, &message, MSG_DONTWAIT); });
    if (got == -1) {
        return -1;
    }
    if ((message.msg_flags & MSG_TRUNC) != 0) {
        errno = EMSGSIZE;
        return -1;
    }
    if (out_address != nullptr) {
        (void)inet_ntop(AF_INET, &source.sin_addr, out_address, NET_IPV4_TEXT_SIZE);
    }
    if (out_port != nullptr) {
        *out_port = ntohs(source.sin_port);
    }
    return static_cast<int32_t>(got);
}

}  // namespace zep
