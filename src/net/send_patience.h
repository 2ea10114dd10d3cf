// How long one send may still wait for the system to take its bytes: NET_SEND_TIMEOUT_MS in all,
// counted from its first wait.
#pragma once

#include <cstdint>

#include <zep_mqtt/net/socket.h>
#include <zep_mqtt/platform/clock.h>

#include "net/system_socket.h"

namespace zep {

class send_patience {
 public:
    // False, with socket_last_error() set, when the time is used up (SOCKET_TIMED_OUT) or the wait
    // failed.
    bool await_writable(int32_t sock) {
        const uint64_t now = platform_get_tick_ms();
        if (!started_) {
            started_ = true;
            start_ = now;
        }
        const uint64_t waited = now - start_;
        const int32_t ready =
            waited >= NET_SEND_TIMEOUT_MS
                ? 0
                : socket_wait(sock, readiness::writable,
                              static_cast<uint32_t>(NET_SEND_TIMEOUT_MS - waited));
        if (ready == 0) {
            socket_set_last_error(SOCKET_TIMED_OUT);
        }
        return ready > 0;
    }

 private:
    bool started_ = false;
    uint64_t start_ = 0;
};

}  // namespace zep
