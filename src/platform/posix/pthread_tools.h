// What the backend's waiting services share: a scope guard, and conditions on the monotonic clock.
#pragma once

#include <cstdint>
#include <pthread.h>
#include <time.h>

namespace zep {

constexpr uint64_t NS_PER_MS = 1'000'000;
constexpr uint64_t NS_PER_SECOND = 1'000'000'000;

class pthread_guard {
 public:
    explicit pthread_guard(pthread_mutex_t &mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~pthread_guard() { pthread_mutex_unlock(&mutex_); }
    pthread_guard(const pthread_guard &) = delete;
    pthread_guard &operator=(const pthread_guard &) = delete;

 private:
    pthread_mutex_t &mutex_;
};

inline uint64_t monotonic_ns() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * NS_PER_SECOND + static_cast<uint64_t>(now.tv_nsec);
}

inline timespec to_timespec(uint64_t ns) {
    timespec time;
    time.tv_sec = static_cast<time_t>(ns / NS_PER_SECOND);
    time.tv_nsec = static_cast<long>(ns % NS_PER_SECOND);
    return time;
}

// A condition whose deadlines, in monotonic_ns(), do not move when the wall clock is set.
// Returns 0 or the system's error code.
inline int init_monotonic_condition(pthread_cond_t *condition) {
    pthread_condattr_t attributes;
    int error = pthread_condattr_init(&attributes);
    if (error != 0) {
        return error;
    }
    error = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    if (error == 0) {
        error = pthread_cond_init(condition, &attributes);
    }
    pthread_condattr_destroy(&attributes);
    return error;
}

// Returns 0 when woken (perhaps for nothing), ETIMEDOUT at the deadline, or the system's error
// code.
inline int wait_until(pthread_cond_t &condition, pthread_mutex_t &mutex, uint64_t deadline_ns) {
    const timespec deadline = to_timespec(deadline_ns);
    return pthread_cond_timedwait(&condition, &mutex, &deadline);
}

}  // namespace zep
