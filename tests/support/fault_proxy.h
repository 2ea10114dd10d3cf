// A cruel wire: a proxy on 127.0.0.1 that spoils one connection at one byte. Bytes move only inside
// step(), so that a test decides who sees what when.
#pragma once

#include "support/packets.h"

namespace zep_test {

// What stands behind the proxy: a broker in the same process, or the way to another one.
class far_end {
 public:
    virtual ~far_end() = default;
    // False: there is nobody.
    virtual bool connection_begins() = 0;
    // Takes bytes; gives what goes to the client now.
    virtual bytes answer(const bytes &arrived) = 0;
    // Whether it has ended the connection.
    virtual bool has_left() const { return false; }
    // Readable when answer() is worth a call, -1 when that is not known.
    virtual int descriptor() const { return -1; }
};

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
    explicit fault_proxy(far_end &broker);
    ~fault_proxy();
    fault_proxy(const fault_proxy &) = delete;
    fault_proxy &operator=(const fault_proxy &) = delete;

    uint16_t port() const { return port_; }

    // The next connection that gets as far meets this fault, and no other one does.
    void arm(const wire_fault &fault) { armed_ = fault; }
    bool has_struck() const { return armed_.kind == fault::none; }
    // What is held goes on with the next step.
    void release() { streams_[TO_BROKER].state = streams_[TO_CLIENT].state = fault::none; }

    // Waits two seconds for a client and its first bytes.
    void accept();
    // False: nobody came in this time, or there was no broker for it.
    bool accept_within(int bound_ms);
    // Until there is something to move.
    void wait(int bound_ms) const;
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

    far_end &broker_;
    stream streams_[2];
    wire_fault armed_;
    uint16_t port_ = 0;
    int listener_, client_ = -1;
    bool ended_ = true;
};

}  // namespace zep_test
