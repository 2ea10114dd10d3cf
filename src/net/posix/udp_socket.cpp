#include <cerrno>

#include "net/posix/system_call.h"
#include "net/socket_address.h"
#include "net/system_socket.h"
#include "platform/posix/descriptor.h"

namespace zep {

int32_t open_datagram() {
    return above_standard(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP));
}

int32_t socket_send_datagram(int32_t sock, const ipv4_endpoint &target, const uint8_t *data,
                             uint32_t length) {
    const sockaddr_in address = address_of(target);
    return static_cast<int32_t>(retry_interrupted([&] {
        return sendto(sock, data, length, MSG_DONTWAIT | MSG_NOSIGNAL, generic(&address),
                      sizeof address);
    }));
}

int32_t socket_take_datagram(int32_t sock, uint8_t *buffer, uint32_t size,
                             ipv4_endpoint *out_source) {
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
    *out_source = endpoint_of(source);
    return static_cast<int32_t>(got);
}

}  // namespace zep
