// A console that takes no more, such as a pipe whose reader has stopped.
#pragma once

#include <cstdio>
#include <fcntl.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace zep_test {

// While it lives, whoever writes to standard output waits. At its end everybody goes on.
class blocked_console {
 public:
    blocked_console() : console_(dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
        (void)!pipe(ends_);
        const std::string filling(static_cast<size_t>(fcntl(ends_[1], F_GETPIPE_SZ)), '\n');
        (void)!write(ends_[1], filling.data(), filling.size());
        dup2(ends_[1], STDOUT_FILENO);
        close(ends_[1]);
    }
    ~blocked_console() {
        std::jthread reader([from = ends_[0]] {
            char bytes[4096];
            while (read(from, bytes, sizeof bytes) > 0) {
            }
        });
        std::fflush(stdout);  // whoever was waiting has been served first
        dup2(console_, STDOUT_FILENO);
        close(console_);
        reader.join();
        close(ends_[0]);
    }
    blocked_console(const blocked_console &) = delete;
    blocked_console &operator=(const blocked_console &) = delete;

 private:
    int console_;
    int ends_[2];
};

}  // namespace zep_test
