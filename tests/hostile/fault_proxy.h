// A cruel wire: a TCP proxy on 127.0.0.1 between a client and a broker that spoils one connection
// at one byte. Nothing moves but inside accept() and step(), so that a test decides who sees what
// when; neither waits longer than two seconds.
#pragma once

#include "support/packets.h"

namespace zep_test {

enum direction { TO_BROKER, TO_CLIENT };

enum class fault {
    none,
    hold,        // what follows waits for so many steps and then comes in one piece
    drop,        // what follows vanishes
    stall,       // what follows is not taken from its sender any more
    half_close,  // the reader sees the end of the stream; the other direction goes on
    reset,       // the client sees a reset, the broker the end of the stream
};

struct wire_fault {
    fault kind = fault::none;
    direction way = TO_BROKER;
    size_t at = 0;  // bytes of this direction that get through before
    int steps = 0;  // of a hold
};

class fault_proxy {
 public:
    explicit fault_proxy(uint16_t broker_port);
    ~fault_proxy();
    fault_proxy(const fault_proxy &) = delete;
    fault_proxy &operator=(const fault_proxy &) = delete;

    uint16_t port() const { return port_; }

    // The next connection that gets as far meets this fault, and no other one does.
    void arm(const wire_fault &fault) { armed_ = fault; }
    bool has_struck() const { return armed_.kind == fault::none; }
    // What is held or stalled goes on with the next step.
    void release() { streams_[TO_BROKER].state = streams_[TO_CLIENT].state = fault::none; }

    // Waits for a client and its first bytes, and connects it with the broker. False: nobody came.
    bool accept();
    // Passes on what has arrived for this reader.
    void step(direction way);
    // Resets the client and leaves the broker.
    void cut_off();

    // Bytes of this connection that have got through, and whether their reader has seen the end.
    size_t passed(direction way) const { return streams_[way].passed; }
    bool ended(direction way) const { return streams_[way].ended; }

 private:
    struct stream {
        int reader = -1;  // a socket
        bytes pending;
        size_t passed = 0;
        fault state = fault::none;
        int held_for = 0;  // steps of a hold
        bool ended = true;
    };
    void strike(stream &struck);
    void pass_on(stream &way, size_t count);
    void close();

    stream streams_[2];
    wire_fault armed_;
    int listener_;
    uint16_t port_ = 0, broker_port_;
};

}  // namespace zep_test
