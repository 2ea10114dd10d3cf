// The clients that are compared, behind one interface. Each is connected when it is made.
#pragma once

#include <memory>

#include "bench.h"

namespace bench {

constexpr uint32_t QOS1_WINDOW = 100;
constexpr uint32_t QOS2_WINDOW = 50;
constexpr uint32_t window_of(uint32_t qos) {
    return qos == 1 ? QOS1_WINDOW : QOS2_WINDOW;
}

class subject {
 public:
    subject() = default;
    virtual ~subject() = default;
    subject(const subject &) = delete;
    subject &operator=(const subject &) = delete;
    // So many messages of 64 bytes; returns when all have been acknowledged (QoS 0: taken).
    virtual void publish(uint32_t qos, uint32_t count) = 0;
    // Lets the stub broker send so many, and takes them all.
    virtual void receive(uint32_t qos, uint32_t count, uint32_t payload) = 0;
};

std::unique_ptr<subject> make_raw(uint16_t port);
std::unique_ptr<subject> make_event(uint16_t port);     // one message a call
std::unique_ptr<subject> make_event_32(uint16_t port);  // 32 a call
std::unique_ptr<subject> make_basic(uint16_t port);
std::unique_ptr<subject> make_mosquitto(uint16_t port);
std::unique_ptr<subject> make_paho(uint16_t port);

inline std::string flood_filter(uint32_t qos, uint32_t count, uint32_t payload) {
    return "flood/" + std::to_string(qos) + "/" + std::to_string(count) + "/" +
           std::to_string(payload);
}

}  // namespace bench
