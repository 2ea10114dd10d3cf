// Collects what the library writes to the console while it lives.
#pragma once

#include <cstdio>
#include <gtest/gtest.h>
#include <string>

#include <zep_mqtt/log/log.h>

namespace zep_test {

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

    // Ends the capture and gives its lines without their ticks: "[ERROR] text\n[INFO] text\n".
    // That the receive thread has started is left out: it says so when it likes.
    std::string take() {
        std::fflush(stdout);
        taken_ = true;
        const std::string raw = testing::internal::GetCapturedStdout();
        std::string lines;
        for (size_t start = 0; start < raw.size();) {
            size_t end = raw.find('\n', start);
            end = end == std::string::npos ? raw.size() : end;
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

 private:
    bool taken_ = false;
};

}  // namespace zep_test
