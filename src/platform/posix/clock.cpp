#include <cerrno>

#include <zep_mqtt/platform/clock.h>

#include "platform/posix/monotonic.h"

namespace {

timespec wall_clock() {
    timespec now{};  // stays so when the system refuses
    clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

}  // namespace

uint64_t platform_get_tick_ms_win32(void) {
    return zep::monotonic_ns() / zep::NS_PER_MS;
}

int64_t platform_get_tick_us_win32(void) {
    return static_cast<int64_t>(zep::monotonic_ns() / zep::NS_PER_US);
}

int64_t platform_get_utc_seconds_win32(void) {
    return wall_clock().tv_sec;
}

uint64_t platform_get_utc_ms_win32(void) {
    const timespec now = wall_clock();
    return static_cast<uint64_t>(now.tv_sec) * 1000 +
           static_cast<uint64_t>(now.tv_nsec) / zep::NS_PER_MS;
}

void platform_delay_ms_win32(uint32_t ms) {
    // An absolute deadline: however often a signal interrupts, the sleep ends on time.
    const timespec deadline = zep::to_timespec(zep::monotonic_ns() + ms * zep::NS_PER_MS);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
    }
}
