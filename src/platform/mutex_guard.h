// Holds a platform mutex for a scope. A null handle holds nothing.
#pragma once

#include <zep_mqtt/platform/mutex.h>

namespace zep {

class mutex_guard {
 public:
    explicit mutex_guard(void *mutex) : mutex_(mutex) { platform_mutex_lock(mutex_); }
    ~mutex_guard() { platform_mutex_unlock(mutex_); }
    mutex_guard(const mutex_guard &) = delete;
    mutex_guard &operator=(const mutex_guard &) = delete;

 private:
    void *mutex_;
};

}  // namespace zep
