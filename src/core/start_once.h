// What the first caller starts for the whole process.
#pragma once

#include <cstdint>

#include <zep_mqtt/platform/clock.h>

#include "core/shared.h"

namespace zep {

constexpr uint32_t START_WAIT_MS = 5000;

// Runs start() unless started is set already; start() sets started when it succeeds. Of several
// callers at the same time one runs it, and the others wait for the outcome, START_WAIT_MS at the
// most. No lock is held meanwhile, because start() may write to the log. False when started is not
// set in the end. claimed is a flag that nobody else touches.
template <typename start_type>
bool start_once(uint8_t &started, uint8_t &claimed, start_type start) {
    for (uint32_t waited_ms = 0; shared(started).load() == 0; ++waited_ms) {
        if (shared_claim(claimed)) {
            if (shared(started).load() == 0) {
                start();
            }
            shared(claimed).store(0);
            break;
        }
        if (waited_ms == START_WAIT_MS) {
            break;
        }
        platform_delay_ms(1);
    }
    return shared(started).load() != 0;
}

}  // namespace zep
