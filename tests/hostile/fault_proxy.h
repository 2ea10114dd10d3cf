// A cruel wire: a proxy on 127.0.0.1, with a broker right behind it, that spoils one connection at
// one byte. Bytes move only inside accept() and step(), so that a test decides who sees what when;
// nothing waits longer than two seconds.
#pragma once

#include "hostile/model_broker.h"

namespace zep_test {

enum direction { TO_BROKER, TO_CLIENT };

enum class fault {
    none,
    hold,        // what follows waits for so many steps and then comes in one piece
    drop,        // what follows vanishes
    half_close,  // the reader sees the end of the stream; a client may still send, a broker leaves
    reset,       // the client sees a reset
};

struct wire_fault {
    fault kind = fault::none;
    direction way = TO_BROKER;
    size_t at = 0;  // bytes of this direction that get through before
    int steps = 0;  // of a hold
};

class fault_proxy {
 public:
    explicit fault_proxy(model_broker &broker);
    ~fault_proxy();
    fault_proxy(const fault_proxy &) = delete;
    fault_proxy &operator=(const fault_proxy &) = delete;

    uint16_t port() const { return port_; }

    // The next connection that gets as far meets this fault, and no other one does.
    void arm(const wire_fault &fault) { armed_ = fault; }
    bool has_struck() const { return armed_.kind == fault::none; }
    // What is held goes on with the next step.
    void release() { streams_[TO_BROKER].state = streams_[TO_CLIENT].state = fault::none; }

    // Waits for a client and its first bytes.
    void accept();
    // What has arrived goes to the broker, and what that answers goes to the client.
    void step();
    // Past the broker, to the client.
    void send(const bytes &packet);
    void reset();

    // Bytes of this connection that have got through.
    size_t passed(direction way) const { return streams_[way].passed; }
    // Whether the client has been sent the end.
    bool ended() const { return ended_; }

 private:
    struct stream {
        bytes pending;
        size_t passed = 0;
        fault state = fault::none;
        int held_for = 0;  // steps of a hold
    };
    bytes through(direction way, const bytes &arrived);
    void close();

    model_broker &broker_;
    stream streams_[2];
    wire_fault armed_;
    uint16_t port_ = 0;
    int listener_, client_ = -1;
    bool ended_ = true;
};

}  // namespace zep_test
