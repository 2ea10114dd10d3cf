// IPv4 endpoints as the system's socket addresses.
#pragma once

#include <cstring>

#include "net/system_socket.h"
#include "socket_api.h"

namespace zep {

inline sockaddr_in address_of(const ipv4_endpoint &endpoint) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(endpoint.port);
    std::memcpy(&address.sin_addr, endpoint.address, sizeof endpoint.address);
    return address;
}

inline ipv4_endpoint endpoint_of(const sockaddr_in &address) {
    ipv4_endpoint endpoint{{}, ntohs(address.sin_port)};
    std::memcpy(endpoint.address, &address.sin_addr, sizeof endpoint.address);
    return endpoint;
}

// The system's functions take every address family through one type.
inline sockaddr *generic(sockaddr_in *address) {
    return reinterpret_cast<sockaddr *>(address);
}
inline const sockaddr *generic(const sockaddr_in *address) {
    return reinterpret_cast<const sockaddr *>(address);
}

// Options are ints everywhere; the type of the pointer differs.
inline bool set_option(int32_t sock, int level, int name, int value) {
    return setsockopt(native(sock), level, name, reinterpret_cast<const char *>(&value),
                      sizeof value) == 0;
}
inline bool get_option(int32_t sock, int level, int name, int *out_value) {
    socklen_t size = sizeof *out_value;
    return getsockopt(native(sock), level, name, reinterpret_cast<char *>(out_value), &size) == 0;
}

}  // namespace zep
