#include "support/loopback.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/time.h>
#include <unistd.h>

namespace zep_test {

sockaddr_in loopback(uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int bind_loopback(uint16_t &port, int type) {
    const int bound = socket(AF_INET, type | SOCK_CLOEXEC, 0);
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

owned_fd bound_socket(int type) {
    uint16_t port = 0;
    return owned_fd(bind_loopback(port, type));
}

uint16_t port_of(int socket) {
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    EXPECT_EQ(getsockname(socket, reinterpret_cast<sockaddr *>(&address), &size), 0);
    return ntohs(address.sin_port);
}

int connect_loopback(uint16_t port) {
    const int connecting = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval bound = {5, 0};
    setsockopt(connecting, SOL_SOCKET, SO_SNDTIMEO, &bound, sizeof bound);
    const sockaddr_in address = loopback(port);
    if (connect(connecting, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
        return connecting;
    }
    close(connecting);
    return -1;
}

bool readable(int socket, int timeout_ms) {
    pollfd waiting = {socket, POLLIN, 0};
    return poll(&waiting, 1, timeout_ms) > 0;
}

std::string read_some(int socket) {
    char buffer[65536];
    const ssize_t got = readable(socket) ? recv(socket, buffer, sizeof buffer, 0) : 0;
    return std::string(buffer, got > 0 ? static_cast<size_t>(got) : 0);
}

void send_datagram(int socket, uint16_t port, const std::string &datagram) {
    const sockaddr_in to = loopback(port);
    EXPECT_EQ(sendto(socket, datagram.data(), datagram.size(), 0,
                     reinterpret_cast<const sockaddr *>(&to), sizeof to),
              static_cast<ssize_t>(datagram.size()));
}

bool send_all(int socket, const std::vector<uint8_t> &data) {
    const timeval bound = {5, 0};
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &bound, sizeof bound);
    for (size_t done = 0; done < data.size();) {
        const ssize_t sent = send(socket, data.data() + done, data.size() - done, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        done += static_cast<size_t>(sent);
    }
    return true;
}

void set_no_delay(int socket) {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

bool resets_are_told() {
    uint16_t port = 0;
    const int listener = bind_loopback(port);
    listen(listener, 1);
    const int reader = connect_loopback(port);
    const int resetting = accept(listener, nullptr, nullptr);
    reset_on_close(resetting);
    close(resetting);
    char byte;
    const bool told = readable(reader, 1000) && recv(reader, &byte, 1, 0) < 0;
    close(reader);
    close(listener);
    return told;
}

void reset_on_close(int socket) {
    const linger at_once = {1, 0};
    setsockopt(socket, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
}

}  // namespace zep_test
