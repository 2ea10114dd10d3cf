// A lock for process-wide state that must work before anything has been initialised: constant
// initialisation, nothing to create, nothing to fail, nothing to destroy.
#pragma once

namespace zep {

class static_lock {
 public:
    constexpr static_lock() = default;
    static_lock(const static_lock &) = delete;
    static_lock &operator=(const static_lock &) = delete;

    void lock();
    void unlock();

 private:
    // A slim reader/writer lock is one pointer, null at first; the type itself would bring the
    // macros of the Windows headers into every file that locks.
    void *lock_ = nullptr;
};

}  // namespace zep
