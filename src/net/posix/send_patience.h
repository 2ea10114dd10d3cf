// How long one send may still wait for the system to take its bytes: NET_SEND_TIMEOUT_MS in all,
// counted from its first wait.
#pragma once

#include <cstdint>

#include <zep_mqtt/net/socket.h>
#include <zep_mqtt/platform/clock.h>

#include "net/posix/system_call.h"

namespace zep {

class send_patience {
 public:
    // False, with errno set, when the time is used up (ETIMEDOUT) or the wait failed.
    bool await_writable(int32_t sock) {
        const uint64_t now = platform_get_tick_ms();
        if (!started_) {
            started_ = true;
            start_ = now;
        }
        const uint64_t waited = now - start_;
        const int ready =
            waited >= NET_SEND_TIMEOUT_MS
                ? 0
                : poll_socket(sock, POLLOUT, static_cast<uint32_t>(NET_SEND_TIMEOUT_MS - waited));
        if (ready == 0) {
            errno = ETIMEDOUT;
        }
        return ready > 0;
    }

 private:
    bool started_ = false;
    uint64_t start_ = 0;
};

}  // namespace zep
