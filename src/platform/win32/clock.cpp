#include <ctime>

#include <zep_mqtt/platform/clock.h>

#include "platform/win32/monotonic.h"
#include "platform/win32/windows_api.h"

namespace {

// The system counts its time in units of 100 ns from 1601-01-01 on.
constexpr uint64_t UNITS_PER_MS = 10'000;
constexpr uint64_t MS_FROM_1601_TO_1970 = 11'644'473'600'000;

}  // namespace

// Both queries succeed on every system since Windows XP.
uint64_t zep::monotonic_ns() {
    LARGE_INTEGER frequency;
    LARGE_INTEGER counter;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&counter);
    const auto per_second = static_cast<uint64_t>(frequency.QuadPart);
    const auto count = static_cast<uint64_t>(counter.QuadPart);
    // Whole seconds apart from the rest: the product of a long uptime would not fit.
    return count / per_second * NS_PER_SECOND + count % per_second * NS_PER_SECOND / per_second;
}

uint64_t platform_get_tick_ms_win32(void) {
    return GetTickCount64();
}

int64_t platform_get_tick_us_win32(void) {
    return static_cast<int64_t>(zep::monotonic_ns() / zep::NS_PER_US);
}

int64_t platform_get_utc_seconds_win32(void) {
    return _time64(nullptr);
}

uint64_t platform_get_utc_ms_win32(void) {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    const uint64_t units = uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime;
    return units / UNITS_PER_MS - MS_FROM_1601_TO_1970;
}

void platform_delay_ms_win32(uint32_t ms) {
    // The largest value would mean a sleep without end.
    if (ms == INFINITE) {
        Sleep(1);
        --ms;
    }
    Sleep(ms);
}
