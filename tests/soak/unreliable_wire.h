// A fault proxy on a thread of its own, between one client and a broker on 127.0.0.1: it brings
// bytes late, cuts them in two, loses them, and breaks connections, at random.
#pragma once

#include <atomic>
#include <chrono>
#include <random>
#include <thread>
#include <unistd.h>
#include <utility>

#include "support/fault_proxy.h"
#include "support/loopback.h"

namespace zep_test {

inline void sleep_ms(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// The way to a broker with a port.
class broker_link : public far_end {
 public:
    explicit broker_link(uint16_t port) : port_(port) {}
    ~broker_link() override { leave(); }
    broker_link(const broker_link &) = delete;
    broker_link &operator=(const broker_link &) = delete;

    // Waits two seconds for a broker that is being restarted.
    bool connection_begins() override {
        leave();
        for (int attempt = 0; attempt < 200 && socket_ < 0; attempt++) {
            sleep_ms(attempt == 0 ? 0 : 10);
            socket_ = connect_loopback(port_);
        }
        set_no_delay(socket_);
        return socket_ >= 0;
    }

    bytes answer(const bytes &arrived) override {
        bytes answered(65536);
        (void)send_all(socket_, arrived);  // what a dying broker has sent is still to be read
        const ssize_t got = recv(socket_, answered.data(), answered.size(), MSG_DONTWAIT);
        answered.resize(got > 0 ? static_cast<size_t>(got) : 0);
        if (got == 0 || (got < 0 && errno != EAGAIN)) {
            leave();
        }
        return answered;
    }

    bool has_left() const override { return socket_ < 0; }
    int descriptor() const override { return socket_; }

 private:
    void leave() {
        if (socket_ >= 0) {
            close(std::exchange(socket_, -1));
        }
    }

    const uint16_t port_;
    int socket_ = -1;
};

class unreliable_wire {
 public:
    unreliable_wire(uint16_t broker_port, unsigned seed)
        : broker_(broker_port), random_(seed), thread_([this] { run(); }) {}
    ~unreliable_wire() {
        ending_ = true;
        thread_.join();
    }
    unreliable_wire(const unreliable_wire &) = delete;
    unreliable_wire &operator=(const unreliable_wire &) = delete;

    uint16_t port() const { return proxy_.port(); }
    // From now on.
    void let_be(bool unreliable) { unreliable_ = unreliable; }
    unsigned faults() const { return faults_; }

 private:
    static constexpr int LOOK_UP_MS = 100;  // how often it looks whether it is to end
    static constexpr int MOST_BEFORE_FAULT = 100000;

    void run() {
        while (!ending_) {
            if (proxy_.accept_within(LOOK_UP_MS)) {
                serve();
            }
        }
    }

    void serve() {
        proxy_.arm({});
        resets_soon_ = false;
        for (size_t next_fault = bytes_up_to_fault(); !ending_ && !proxy_.ended();) {
            proxy_.wait(LOOK_UP_MS);
            if (!unreliable_) {
                proxy_.arm({});
            } else if (traffic() > next_fault) {
                next_fault = traffic() + bytes_up_to_fault();
                faults_++;
                strike();
            }
            proxy_.step();
            if (resets_soon_ && proxy_.has_struck()) {
                sleep_ms(between(10, 1000));
                proxy_.reset();
            }
        }
    }

    void strike() {
        const fault kinds[] = {fault::none, fault::hold, fault::drop, fault::half_close,
                               fault::reset};
        const fault kind = kinds[between(0, 4)];
        const direction way = between(0, 1) == 0 ? TO_BROKER : TO_CLIENT;
        if (kind == fault::none) {
            return sleep_ms(between(10, 2000));
        }
        resets_soon_ = kind == fault::drop;
        proxy_.arm({kind, way, proxy_.passed(way) + static_cast<size_t>(between(0, 1000)), 1});
    }

    size_t traffic() const { return proxy_.passed(TO_BROKER) + proxy_.passed(TO_CLIENT); }
    size_t bytes_up_to_fault() { return static_cast<size_t>(between(0, MOST_BEFORE_FAULT)); }
    int between(int least, int most) { return std::uniform_int_distribution(least, most)(random_); }

    broker_link broker_;
    fault_proxy proxy_{broker_};
    std::minstd_rand random_;
    bool resets_soon_ = false;  // once what follows vanishes
    std::atomic<bool> unreliable_{true}, ending_{false};
    std::atomic<unsigned> faults_{0};
    std::thread thread_;
};

}  // namespace zep_test
