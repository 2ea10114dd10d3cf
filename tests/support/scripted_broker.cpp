#include "support/scripted_broker.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/loopback.h"

namespace zep_test {

namespace {

constexpr int BOUND_MS = 2000;
// Over loopback what was sent before can be read at once; a late packet would still be caught here.
constexpr int SILENCE_MS = 5;

std::string hex(const bytes &packet) {
    std::string text;
    for (const uint8_t byte : packet) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x ", byte);
        text += digits;
    }
    return text;
}

// What there is to read, at most size bytes; empty at the end of the stream.
bytes receive(int socket, size_t size) {
    bytes data(size);
    const ssize_t got = recv(socket, data.data(), size, 0);
    data.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return data;
}

void fail(where at, const std::string &what) {
    ADD_FAILURE_AT(at.file, at.line) << what;
}

}  // namespace

scripted_broker::scripted_broker() : listener_(bind_loopback(port_)) {
    EXPECT_EQ(listen(listener_, 8), 0);
}

scripted_broker::~scripted_broker() {
    close();
    stop_listening();
}

void scripted_broker::stop_listening() {
    if (listener_ >= 0) {
        ::close(listener_);
        listener_ = -1;
    }
}

void scripted_broker::accept(where at) {
    if (connected()) {
        fail(at, "the last connection still stands");
    } else if (!readable(listener_, BOUND_MS)) {
        fail(at, "nobody connected");
    } else {
        socket_ = ::accept(listener_, nullptr, nullptr);
        set_no_delay(socket_);
    }
}

void scripted_broker::expect_no_connection(where at) {
    if (readable(listener_, SILENCE_MS)) {
        fail(at, "unexpected connection");
    }
}

void scripted_broker::send(const bytes &packet, where at) {
    for (size_t sent = 0; sent < packet.size();) {
        const ssize_t taken = ::send(socket_, packet.data() + sent, packet.size() - sent,
                                     MSG_NOSIGNAL | MSG_DONTWAIT);
        if (taken <= 0) {
            fail(at, "the client does not take what the broker sends");
            return;
        }
        sent += static_cast<size_t>(taken);
    }
}

bytes scripted_broker::take(size_t size) {
    bytes arrived;
    while (arrived.size() < size && readable(socket_, BOUND_MS)) {
        const bytes more = receive(socket_, size - arrived.size());
        if (more.empty()) {
            break;
        }
        arrived.insert(arrived.end(), more.begin(), more.end());
    }
    return arrived;
}

void scripted_broker::expect(const bytes &packet, where at) {
    if (const bytes arrived = take(packet.size()); arrived != packet) {
        fail(at, "expected " + hex(packet) + "\narrived  " + hex(arrived));
    }
}

void scripted_broker::expect_nothing(where at) {
    if (readable(socket_, SILENCE_MS)) {
        const bytes arrived = receive(socket_, 4096);
        fail(at, arrived.empty() ? "the client has closed" : "unexpected " + hex(arrived));
    }
}

void scripted_broker::expect_closed(where at) {
    if (!readable(socket_, BOUND_MS)) {
        fail(at, "the client has not closed");
    } else if (const bytes arrived = receive(socket_, 4096); !arrived.empty()) {
        fail(at, "unexpected " + hex(arrived));
    }
    close();
}

void scripted_broker::close() {
    if (connected()) {
        ::close(socket_);
        socket_ = -1;
    }
}

void scripted_broker::reset() {
    reset_on_close(socket_);
    close();
}

}  // namespace zep_test
