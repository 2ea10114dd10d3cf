#include "support/fault_proxy.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include "support/loopback.h"

namespace zep_test {

namespace {

constexpr int ACCEPT_MS = 2000;

}  // namespace

fault_proxy::fault_proxy(far_end &broker) : broker_(broker), listener_(bind_loopback(port_)) {
    EXPECT_EQ(listen(listener_, 8), 0);
}

fault_proxy::~fault_proxy() {
    close();
    ::close(listener_);
}

void fault_proxy::accept() {
    ASSERT_TRUE(accept_within(ACCEPT_MS)) << "nobody connected";
    EXPECT_TRUE(readable(client_, ACCEPT_MS));
}

bool fault_proxy::accept_within(int bound_ms) {
    close();
    if (!readable(listener_, bound_ms)) {
        return false;
    }
    client_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    set_no_delay(client_);
    streams_[TO_BROKER] = streams_[TO_CLIENT] = {};
    ended_ = false;
    if (!broker_.connection_begins()) {
        close();
    }
    return !ended_;
}

void fault_proxy::wait(int bound_ms) const {
    pollfd ends[] = {{client_, POLLIN, 0}, {broker_.descriptor(), POLLIN, 0}};
    poll(ends, std::size(ends), bound_ms);
}

void fault_proxy::step() {
    if (client_ < 0) {
        return;
    }
    uint8_t buffer[65536];
    const ssize_t got = recv(client_, buffer, sizeof buffer, MSG_DONTWAIT);
    if (got == 0 || (got < 0 && errno != EAGAIN)) {
        return close();
    }
    const bytes taken = through(TO_BROKER, bytes(buffer, buffer + std::max<ssize_t>(got, 0)));
    send(through(TO_CLIENT, broker_.answer(taken)));
    if (broker_.has_left() || streams_[TO_BROKER].state == fault::half_close) {
        close();
    } else if (streams_[TO_CLIENT].state == fault::half_close) {
        ended_ = shutdown(client_, SHUT_WR) == 0;
    } else if (streams_[TO_BROKER].state == fault::reset ||
               streams_[TO_CLIENT].state == fault::reset) {
        reset();
    }
}

// What gets through now.
bytes fault_proxy::through(direction way, const bytes &arrived) {
    stream &s = streams_[way];
    s.pending.insert(s.pending.end(), arrived.begin(), arrived.end());
    size_t count = s.pending.size();
    if (!has_struck() && armed_.way == way && s.passed + count >= armed_.at) {
        const wire_fault now = std::exchange(armed_, {});
        count = now.at - s.passed;
        s.state = now.kind;
        s.held_for = now.steps;
    } else if (s.state == fault::hold && s.held_for > 0) {
        s.held_for--;
        count = 0;
    } else if (s.state != fault::none && s.state != fault::hold) {
        s.pending.clear();
        count = 0;
    }
    s.passed += count;
    const auto end = s.pending.begin() + static_cast<std::ptrdiff_t>(count);
    const bytes passing(s.pending.begin(), end);
    s.pending.erase(s.pending.begin(), end);
    return passing;
}

void fault_proxy::send(const bytes &packet) {
    if (client_ >= 0 && !ended_ && !send_all(client_, packet)) {
        close();
    }
}

void fault_proxy::reset() {
    reset_on_close(client_);
    close();
}

void fault_proxy::close() {
    if (client_ >= 0) {
        ::close(std::exchange(client_, -1));
    }
    ended_ = true;
}

}  // namespace zep_test
