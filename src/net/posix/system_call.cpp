#include "net/posix/system_call.h"

#include <algorithm>
#include <limits>

#include <zep_mqtt/platform/clock.h>

namespace zep {

int poll_for(pollfd *fds, nfds_t count, uint32_t timeout_ms) {
    const uint64_t bound = std::min<uint64_t>(timeout_ms, std::numeric_limits<int>::max());
    const uint64_t start = platform_get_tick_ms();
    for (uint64_t elapsed = 0; elapsed <= bound; elapsed = platform_get_tick_ms() - start) {
        const int ready = poll(fds, count, static_cast<int>(bound - elapsed));
        if (ready != -1 || errno != EINTR) {
            return ready;
        }
    }
    return 0;
}

}  // namespace zep
