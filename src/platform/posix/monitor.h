// A mutex with one condition, whose deadlines do not move when the wall clock is set.
#pragma once

#include <cstdint>
#include <pthread.h>

#include "platform/posix/monotonic.h"

namespace zep {

// Results are 0 or the system's error code.
class monitor {
 public:
    // To be called once, before anything else; after a failure nothing is left to close.
    int open() {
        pthread_condattr_t attributes;
        int error = pthread_condattr_init(&attributes);
        if (error != 0) {
            return error;
        }
        error = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
        if (error == 0) {
            error = pthread_cond_init(&changed_, &attributes);
        }
        pthread_condattr_destroy(&attributes);
        return error;
    }
    void close() {
        pthread_cond_destroy(&changed_);
        pthread_mutex_destroy(&mutex_);
    }

    void lock() { pthread_mutex_lock(&mutex_); }
    void unlock() { pthread_mutex_unlock(&mutex_); }
    int wake_one() { return pthread_cond_signal(&changed_); }

    // Under the lock. Either may return early, without having been woken.
    int wait() { return pthread_cond_wait(&changed_, &mutex_); }
    // ETIMEDOUT at the deadline, a value of monotonic_ns().
    int wait_until(uint64_t deadline_ns) {
        const timespec deadline = to_timespec(deadline_ns);
        return pthread_cond_timedwait(&changed_, &mutex_, &deadline);
    }

 private:
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t changed_ = PTHREAD_COND_INITIALIZER;
};

}  // namespace zep
