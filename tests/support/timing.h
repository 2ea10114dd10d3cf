// How long things take.
#pragma once

#include <chrono>
#include <gtest/gtest.h>

namespace zep_test {

using std::chrono::milliseconds;

// The action takes ms milliseconds; how much longer is the machine's affair, within reason.
template <typename action_type>
void expect_takes(long ms, action_type action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(elapsed, milliseconds(ms - 1));
    EXPECT_LT(elapsed, milliseconds(ms + 1500));
}

}  // namespace zep_test
