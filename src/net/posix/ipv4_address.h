// Dotted IPv4 text and the system's socket addresses.
#pragma once

#include <arpa/inet.h>
#include <cstdint>
#include <netinet/in.h>

#include <zep_mqtt/net/socket.h>

namespace zep {

// False when text is null or not dotted IPv4.
inline bool ipv4_address(const char *text, uint16_t port, sockaddr_in *out) {
    *out = sockaddr_in{};
    out->sin_family = AF_INET;
    out->sin_port = htons(port);
    return text != nullptr && inet_pton(AF_INET, text, &out->sin_addr) == 1;
}

// The system's functions take every address family through one type.
inline sockaddr *generic(sockaddr_in *address) {
    return reinterpret_cast<sockaddr *>(address);
}

inline const sockaddr *generic(const sockaddr_in *address) {
    return reinterpret_cast<const sockaddr *>(address);
}

}  // namespace zep
