// Plain sockets on 127.0.0.1 that stand for the other end, and what the network tests share.
#pragma once

#include <arpa/inet.h>
#include <chrono>
#include <cstdint>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

#include "support/log_capture.h"

namespace zep_test {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A descriptor that is closed with its scope.
class owned_fd {
 public:
    explicit owned_fd(int fd = -1) : fd_(fd) {}
    owned_fd(owned_fd &&other) noexcept : fd_(other.release()) {}
    owned_fd &operator=(owned_fd &&other) noexcept {
        reset(other.release());
        return *this;
    }
    ~owned_fd() { reset(); }
    operator int() const { return fd_; }
    int release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }
    void reset(int fd = -1) {
        if (fd_ >= 0) {
            close(fd_);
        }
        fd_ = fd;
    }

 private:
    int fd_;
};

inline sockaddr_in loopback(uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

inline uint16_t port_of(int sock) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    EXPECT_EQ(getsockname(sock, reinterpret_cast<sockaddr *>(&address), &size), 0);
    return ntohs(address.sin_port);
}

inline owned_fd bound_socket(int type) {
    owned_fd sock(socket(AF_INET, type, 0));
    const sockaddr_in address = loopback(0);
    EXPECT_EQ(bind(sock, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    return sock;
}

inline bool wait_for(int sock, short events, int timeout_ms) {
    pollfd fd{sock, events, 0};
    return poll(&fd, 1, timeout_ms) == 1;
}

inline bool wait_readable(int sock) {
    return wait_for(sock, POLLIN, 2000);
}

// What one read gives; empty at the end of the stream and when nothing comes.
inline std::string take(int sock) {
    char buffer[65536];
    const ssize_t got = wait_readable(sock) ? recv(sock, buffer, sizeof buffer, 0) : 0;
    return std::string(buffer, got > 0 ? static_cast<size_t>(got) : 0);
}

// Small buffers, so that a peer that does not read soon shows.
inline void shrink_buffers(int sock) {
    const int size = 32768;
    EXPECT_EQ(setsockopt(sock, SOL_SOCKET, SO_RCVBUF, &size, sizeof size), 0);
    EXPECT_EQ(setsockopt(sock, SOL_SOCKET, SO_SNDBUF, &size, sizeof size), 0);
}

// A broker's end.
class listener {
 public:
    explicit listener(int backlog = 64) : sock_(bound_socket(SOCK_STREAM)) {
        shrink_buffers(sock_);
        EXPECT_EQ(listen(sock_, backlog), 0);
    }
    uint16_t port() const { return port_of(sock_); }
    owned_fd accept() const {
        EXPECT_TRUE(wait_readable(sock_));
        return owned_fd(::accept(sock_, nullptr, nullptr));
    }

 private:
    owned_fd sock_;
};

// A port on which nobody listens.
inline uint16_t refused_port() {
    return port_of(bound_socket(SOCK_STREAM));
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

template <typename action_type>
long elapsed_ms(action_type action) {
    const auto start = steady_clock::now();
    action();
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - start).count();
}

// The action takes ms milliseconds; how much longer is the machine's affair, within reason.
template <typename action_type>
void expect_takes(long ms, action_type action) {
    const long elapsed = elapsed_ms(action);
    EXPECT_GE(elapsed, ms - 1);
    EXPECT_LT(elapsed, ms + 1500);
}

// The log lines of an action.
template <typename action_type>
std::string lines_of(action_type action) {
    log_capture capture;
    action();
    return capture.take();
}

// The same for one that must return expected.
template <typename action_type>
std::string lines_of(int32_t expected, action_type action) {
    return lines_of([&] { EXPECT_EQ(action(), expected); });
}

}  // namespace zep_test
