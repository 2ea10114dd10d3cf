// A TCP proxy on 127.0.0.1 between one client and a broker. It runs by itself, in a thread of its
// own, reports every whole packet that it passes on, and can be told to be unreliable.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace zep_test {

enum class heading { to_broker, to_client };

struct passing_packet {
    heading way;
    unsigned type, qos, id;
    bool dup;
    std::string topic;  // of a PUBLISH
};

// Called on the thread of the wire.
struct wire_listener {
    std::function<void()> connected;                      // before the first packet
    std::function<void(const passing_packet &)> passing;  // before its last byte goes on
    std::function<void()> spoilt;                         // what has passed may not arrive
};

class wire {
 public:
    // An unreliable one delays its connections, takes them to pieces, and breaks them.
    wire(uint16_t broker_port, bool unreliable, unsigned seed, wire_listener listener);
    ~wire();
    wire(const wire &) = delete;
    wire &operator=(const wire &) = delete;

    uint16_t port() const { return port_; }
    // From now on.
    void let_be(bool unreliable) { unreliable_ = unreliable; }
    unsigned faults() const { return faults_; }

 private:
    struct stream {
        heading way;
        int from, to;
        std::vector<uint8_t> unfinished;  // packet
    };

    void run();
    int reach_broker(int client);
    void serve(int client, int broker);
    bool forward(stream &bytes);
    void report(stream &bytes, const uint8_t *data, size_t size);
    bool strike(int client);
    int between(int least, int most);
    void pause(int milliseconds);

    const uint16_t broker_port_;
    std::atomic<bool> unreliable_;
    const wire_listener listener_;
    std::minstd_rand random_;
    uint16_t port_ = 0;
    int acceptor_;
    int until_fault_ = 0;  // bytes
    int piece_ = 0;        // bytes that go on together
    bool reset_ = false;
    std::atomic<unsigned> faults_{0};
    std::atomic<bool> ending_{false};
    std::thread thread_;
};

}  // namespace zep_test
