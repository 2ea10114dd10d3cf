#include "support/loopback.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

namespace zep_test {

sockaddr_in loopback(uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int bind_loopback(uint16_t &port) {
    const int bound = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(bound, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address = loopback(port);
    socklen_t size = sizeof address;
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    EXPECT_EQ(bind(bound, generic, size), 0);
    EXPECT_EQ(getsockname(bound, generic, &size), 0);
    port = ntohs(address.sin_port);
    return bound;
}

}  // namespace zep_test
