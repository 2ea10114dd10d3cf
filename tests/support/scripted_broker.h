// The broker's end of a client test: a listening socket on 127.0.0.1 whose every byte in and out is
// written down in the test. Nothing here waits longer than two seconds.
#pragma once

#include <cstdint>
#include <string>

#include "support/packets.h"

namespace zep_test {

// The line of the test that called, so that a failure is reported there.
struct where {
    const char *file;
    int line;
    where(const char *at_file = __builtin_FILE(), int at_line = __builtin_LINE())
        : file(at_file), line(at_line) {}
};

class scripted_broker {
 public:
    scripted_broker();
    ~scripted_broker();
    scripted_broker(const scripted_broker &) = delete;
    scripted_broker &operator=(const scripted_broker &) = delete;

    uint16_t port() const { return port_; }

    // Takes the next connection; one taken before must have been closed by the client or by us.
    void accept(where at = {});
    void expect_no_connection(where at = {});
    // From now on connections are refused.
    void stop_listening();

    // The packet, given as described in packets.h.
    void send(const bytes &packet, where at = {});
    void send(const std::string &packet, unsigned id = 0, where at = {}) {
        send(lay(packet, id), at);
    }

    // Exactly these bytes are the next to arrive.
    void expect(const bytes &packet, where at = {});
    void expect(const std::string &packet, unsigned id = 0, where at = {}) {
        expect(lay(packet, id), at);
    }
    // The next bytes to arrive, whatever they are.
    bytes take(size_t size);
    // Everything that has arrived was expected, and the connection stands.
    void expect_nothing(where at = {});
    // Everything that arrived was expected, and the client has closed.
    void expect_closed(where at = {});

    void close();
    // Closes so that the client's system sees a reset instead of an end.
    void reset();
    bool connected() const { return socket_ >= 0; }

 private:
    uint16_t port_ = 0;
    int listener_;
    int socket_ = -1;
};

}  // namespace zep_test
