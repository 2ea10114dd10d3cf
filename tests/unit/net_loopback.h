// Plain sockets on 127.0.0.1 that stand for the other end, and what the network
// tests share.
#pragma once

#include <arpa/inet.h>
#include <chrono>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "support/log_capture.h"
#include "support/loopback.h"

namespace zep_test {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A descriptor that is closed with its scope.
class owned_fd {
 public:
    explicit owned_fd(int fd = -1) : fd_(fd) {}
    owned_fd(owned_fd &&other) noexcept { std::swap(fd_, other.fd_); }
    owned_fd &operator=(owned_fd other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~owned_fd() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    operator int() const { return fd_; }

 private:
    int fd_ = -1;
};

inline uint16_t port_of(int sock) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    EXPECT_EQ(getsockname(sock, reinterpret_cast<sockaddr *>(&address), &size), 0);
    return ntohs(address.sin_port);
}

inline owned_fd bound_socket(int type) {
    uint16_t port = 0;
    return owned_fd(bind_loopback(port, type));
}

inline bool wait_for(int sock, short events, int timeout_ms = 2000) {
    pollfd fd{sock, events, 0};
    return poll(&fd, 1, timeout_ms) == 1;
}

// What one read gives; empty at the end of the stream and when nothing comes.
inline std::string take(int sock) {
    char buffer[65536];
    const ssize_t got = wait_for(sock, POLLIN) ? recv(sock, buffer, sizeof buffer, 0) : 0;
    return std::string(buffer, got > 0 ? static_cast<size_t>(got) : 0);
}

inline void send_datagram(int sock, uint16_t port, const std::string &bytes) {
    const sockaddr_in to = loopback(port);
    EXPECT_EQ(sendto(sock, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>(&to),
                     sizeof to),
              static_cast<ssize_t>(bytes.size()));
}

inline const uint8_t *as_bytes(const std::string &text) {
    return reinterpret_cast<const uint8_t *>(text.data());
}

// The action takes ms milliseconds; how much longer is the machine's affair,
// within reason.
template <typename action_type>
void expect_takes(long ms, action_type action) {
    const auto start = steady_clock::now();
    action();
    const auto elapsed = std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
    EXPECT_GE(elapsed.count(), ms - 1);
    EXPECT_LT(elapsed.count(), ms + 1500);
}

// The log lines of an action that must return expected.
template <typename action_type>
std::string lines_of(int32_t expected, action_type action) {
    log_capture capture;
    EXPECT_EQ(action(), expected);
    return capture.take();
}

}  // namespace zep_test
