// Marks a guarded operation of a client as running for as long as it lives. Of two operations that
// start at the same time, on two threads or one inside the other's callback, one is turned away.
#pragma once

#include <zep_mqtt/client/client.h>

#include "core/shared.h"

namespace zep {

class busy_guard {
 public:
    busy_guard(mqtt_client &client, uint32_t operation)
        : busy_(client.busy), operation_(client.op_type) {
        uint32_t idle = 0;
        taken_ = busy_.compare_exchange(idle, 1, std::memory_order_acquire);
        if (taken_) {
            operation_.store(operation, std::memory_order_relaxed);
        }
    }

    ~busy_guard() {
        if (taken_) {
            operation_.store(MQTT_CLIENT_OP_NONE, std::memory_order_relaxed);
            busy_.store(0, std::memory_order_release);
        }
    }

    busy_guard(const busy_guard &) = delete;
    busy_guard &operator=(const busy_guard &) = delete;

    bool taken() const { return taken_; }

    // The operation that runs.
    uint32_t running() const { return operation_.load(std::memory_order_relaxed); }

 private:
    shared<uint32_t> busy_;
    shared<uint32_t> operation_;
    bool taken_ = false;
};

}  // namespace zep
