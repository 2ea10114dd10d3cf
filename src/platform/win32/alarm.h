// A lock under which a thread sleeps until an appointed time, or until another one wakes it: an
// event and a waitable timer.
#pragma once

#include <cstdint>

#include "platform/win32/static_lock.h"

namespace zep {

// All but open() and close() under the lock. Results are 0 or the system's error code.
class alarm {
 public:
    // To be called once, before anything else; after a failure nothing is left to close.
    int open();
    void close();

    void lock() { lock_.lock(); }
    void unlock() { lock_.unlock(); }
    int wake_one();

    // From now on wait_until() ends at due_ns, a value of monotonic_ns().
    int set(uint64_t due_ns);
    int cancel();

    // One thread waits. Either may return early, without having been woken.
    void wait();
    void wait_until(uint64_t due_ns);

 private:
    static_lock lock_;
    void *woken_ = nullptr;
    void *timer_ = nullptr;
};

}  // namespace zep
