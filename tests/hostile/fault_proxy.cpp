#include "hostile/fault_proxy.h"

#include <algorithm>
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace zep_test {

namespace {

constexpr int BOUND_MS = 2000;
constexpr int WINDOW = 4096;  // small, so that a reader that has stopped soon shows

bool readable(int sock) {
    pollfd waiting = {sock, POLLIN, 0};
    return poll(&waiting, 1, BOUND_MS) > 0;
}

// Runs bind() or connect().
template <typename Call>
int socket_at(uint16_t port, Call call) {
    const int sock = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(call(sock, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    return sock;
}

}  // namespace

fault_proxy::fault_proxy(uint16_t broker_port)
    : listener_(socket_at(0, bind)), broker_port_(broker_port) {
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    setsockopt(listener_, SOL_SOCKET, SO_RCVBUF, &WINDOW, sizeof WINDOW);
    EXPECT_EQ(listen(listener_, 8), 0);
    EXPECT_EQ(getsockname(listener_, reinterpret_cast<sockaddr *>(&address), &size), 0);
    port_ = ntohs(address.sin_port);
}

fault_proxy::~fault_proxy() {
    close();
    ::close(listener_);
}

bool fault_proxy::accept() {
    close();
    if (!readable(listener_)) {
        return false;
    }
    const int readers[] = {socket_at(broker_port_, connect), ::accept(listener_, nullptr, nullptr)};
    for (const direction way : {TO_BROKER, TO_CLIENT}) {
        const int on = 1;
        setsockopt(readers[way], IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        streams_[way] = {};
        streams_[way].reader = readers[way];
        streams_[way].ended = false;
    }
    return readable(readers[TO_CLIENT]);
}

void fault_proxy::step(direction way) {
    stream &moved = streams_[way];
    if (moved.reader < 0 || moved.state == fault::stall) {
        return;
    }
    uint8_t buffer[65536];
    const ssize_t got = recv(streams_[1 - way].reader, buffer, sizeof buffer, MSG_DONTWAIT);
    const bool sender_ended = got == 0 || (got < 0 && errno != EAGAIN);
    moved.pending.insert(moved.pending.end(), buffer, buffer + std::max<ssize_t>(got, 0));
    if (!has_struck() && armed_.way == way && moved.passed + moved.pending.size() >= armed_.at) {
        strike(moved);
    } else if (moved.state != fault::hold || --moved.held_for < 0) {
        pass_on(moved, moved.pending.size());
    }
    if (sender_ended) {
        close();
    }
}

void fault_proxy::strike(stream &struck) {
    const wire_fault now = std::exchange(armed_, {});
    pass_on(struck, now.at - struck.passed);
    struck.state = now.kind;
    struck.held_for = now.steps;
    if (now.kind == fault::half_close) {
        shutdown(struck.reader, SHUT_WR);
        struck.ended = true;
    } else if (now.kind == fault::reset) {
        cut_off();
    }
}

void fault_proxy::pass_on(stream &way, size_t count) {
    if (way.state != fault::drop && way.state != fault::half_close) {
        const ssize_t sent =
            send(way.reader, way.pending.data(), count, MSG_DONTWAIT | MSG_NOSIGNAL);
        count = static_cast<size_t>(std::max<ssize_t>(sent, 0));
        way.passed += count;
    }
    way.pending.erase(way.pending.begin(), way.pending.begin() + static_cast<ptrdiff_t>(count));
}

void fault_proxy::cut_off() {
    const linger at_once = {1, 0};
    setsockopt(streams_[TO_CLIENT].reader, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    close();
}

void fault_proxy::close() {
    for (stream &either : streams_) {
        if (either.reader >= 0) {
            ::close(std::exchange(either.reader, -1));
        }
        either.ended = true;
    }
}

}  // namespace zep_test
