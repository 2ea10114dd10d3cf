// Collects what the library writes to the console while it lives.
#pragma once

#include <algorithm>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>

#include <zep_mqtt/log/log.h>

#include "support/system_text.h"

namespace zep_test {

// Lines of the log without their ticks: "[ERROR] text\n[INFO] text\n".
// That the receive thread has started is left out: it says so when it likes.
inline std::string without_ticks(const std::string &raw) {
    std::string lines;
    for (size_t start = 0; start < raw.size();) {
        const size_t end = std::min(raw.find('\n', start), raw.size());
        const std::string line = raw.substr(start, end - start);
        const size_t after_tick = line.find("] ");
        if (line.find("接收中断线程启动") == std::string::npos) {
            lines += after_tick == std::string::npos ? line : line.substr(after_tick + 2);
            lines += '\n';
        }
        start = end + 1;
    }
    return lines;
}

class log_capture {
 public:
    log_capture() {
        std::fflush(stdout);
        testing::internal::CaptureStdout();
    }
    ~log_capture() {
        if (!taken_) {
            take();
        }
    }
    log_capture(const log_capture &) = delete;
    log_capture &operator=(const log_capture &) = delete;

    // Ends the capture.
    std::string take() {
        std::fflush(stdout);
        taken_ = true;
        return as_on_linux(without_ticks(testing::internal::GetCapturedStdout()));
    }

 private:
    bool taken_ = false;
};

// The log lines of an action that must return expected.
template <typename action_type>
std::string lines_of(int32_t expected, action_type action) {
    log_capture capture;
    EXPECT_EQ(action(), expected);
    return capture.take();
}

}  // namespace zep_test
