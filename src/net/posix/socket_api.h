// The system's socket functions under the names that all systems share.
#pragma once

#include <arpa/inet.h>
#include <cstdint>
#include <netinet/in.h>
#include <sys/socket.h>

namespace zep {

// The system's own handle.
inline int native(int32_t sock) {
    return sock;
}

}  // namespace zep
