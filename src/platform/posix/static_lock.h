// A lock for process-wide state that must work before anything has been initialised: constant
// initialisation, nothing to create, nothing to fail, nothing to destroy.
#pragma once

#include <pthread.h>

namespace zep {

class static_lock {
 public:
    constexpr static_lock() = default;
    static_lock(const static_lock &) = delete;
    static_lock &operator=(const static_lock &) = delete;

    void lock() { pthread_mutex_lock(&mutex_); }
    void unlock() { pthread_mutex_unlock(&mutex_); }

 private:
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

}  // namespace zep
