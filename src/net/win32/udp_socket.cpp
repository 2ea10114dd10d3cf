#include "net/socket_address.h"
#include "net/win32/winsock.h"
// Relies on windows.h, which must therefore stand before it.
#include <mswsock.h>

namespace zep {

int32_t open_datagram() {
    const int32_t sock = open_nonblocking(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    if (sock == -1) {
        return -1;
    }
    // Nobody else is to bind the same port and take the datagrams away.
    (void)set_option(sock, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, 1);
    // Without this a read fails with 10054 once a datagram that was sent has met a closed port.
    BOOL report_resets = FALSE;
    DWORD ignored = 0;
    (void)WSAIoctl(native(sock), SIO_UDP_CONNRESET, &report_resets, sizeof report_resets, nullptr,
                   0, &ignored, nullptr, nullptr);
    return sock;
}

int32_t socket_send_datagram(int32_t sock, const ipv4_endpoint &target, const uint8_t *data,
                             uint32_t length) {
    const sockaddr_in address = address_of(target);
    return sendto(native(sock), reinterpret_cast<const char *>(data), static_cast<int>(length), 0,
                  generic(&address), sizeof address);
}

// The system refuses to give a part of a datagram.
int32_t socket_take_datagram(int32_t sock, uint8_t *buffer, uint32_t size,
                             ipv4_endpoint *out_source) {
    sockaddr_in source{};
    socklen_t source_size = sizeof source;
    const int got = recvfrom(native(sock), reinterpret_cast<char *>(buffer), static_cast<int>(size),
                             0, generic(&source), &source_size);
    if (got != SOCKET_ERROR) {
        *out_source = endpoint_of(source);
    }
    return got;
}

}  // namespace zep
