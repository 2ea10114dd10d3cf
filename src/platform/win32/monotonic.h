// The performance counter, in nanoseconds: 584 years fit.
#pragma once

#include <cstdint>

namespace zep {

constexpr uint64_t NS_PER_US = 1'000;
constexpr uint64_t NS_PER_MS = 1'000'000;
constexpr uint64_t NS_PER_SECOND = 1'000'000'000;

uint64_t monotonic_ns();

}  // namespace zep
