// The monotonic clock, in nanoseconds: 584 years fit.
#pragma once

#include <cstdint>
#include <time.h>

namespace zep {

constexpr uint64_t NS_PER_US = 1'000;
constexpr uint64_t NS_PER_MS = 1'000'000;
constexpr uint64_t NS_PER_SECOND = 1'000'000'000;

inline uint64_t monotonic_ns() {
    timespec now{};  // stays so when the system refuses
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * NS_PER_SECOND + static_cast<uint64_t>(now.tv_nsec);
}

inline timespec to_timespec(uint64_t ns) {
    timespec time;
    time.tv_sec = static_cast<time_t>(ns / NS_PER_SECOND);
    time.tv_nsec = static_cast<long>(ns % NS_PER_SECOND);
    return time;
}

}  // namespace zep
