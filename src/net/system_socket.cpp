// The part of the system's sockets that all systems have in common.
#include "net/system_socket.h"

#include "net/socket_address.h"

namespace zep {

socket_kind socket_kind_of(int32_t sock) {
    int type = 0;
    if (!get_option(sock, SOL_SOCKET, SO_TYPE, &type)) {
        return socket_kind::none;
    }
    return type == SOCK_STREAM ? socket_kind::stream : socket_kind::datagram;
}

bool ipv4_parse(const char *text, uint8_t (&out_address)[4]) {
    return text != nullptr && inet_pton(AF_INET, text, out_address) == 1;
}

void ipv4_format(const uint8_t (&address)[4], char *out_text) {
    (void)inet_ntop(AF_INET, address, out_text, NET_IPV4_TEXT_SIZE);
}

bool socket_bind(int32_t sock, const ipv4_endpoint &local) {
    const sockaddr_in address = address_of(local);
    return bind(native(sock), generic(&address), sizeof address) == 0;
}

bool socket_local_endpoint(int32_t sock, ipv4_endpoint *out_local) {
    sockaddr_in local{};
    socklen_t size = sizeof local;
    if (getsockname(native(sock), generic(&local), &size) != 0) {
        return false;
    }
    *out_local = endpoint_of(local);
    return true;
}

void socket_reset_on_close(int32_t sock) {
    const linger reset{1, 0};
    (void)setsockopt(native(sock), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char *>(&reset),
                     sizeof reset);
}

}  // namespace zep
