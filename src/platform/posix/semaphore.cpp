#include <cerrno>
#include <mutex>
#include <new>

#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/semaphore.h>

#include "platform/posix/monitor.h"

namespace {

// The system's own semaphores know no maximum, and their timed wait follows the wall clock.
struct counting_semaphore {
    uint32_t count;
    uint32_t maximum;
    zep::monitor monitor;
};

// Waits, under the lock, until the count is positive. Returns 0, ETIMEDOUT or an error code.
int wait_for_one(counting_semaphore *semaphore, uint32_t timeout_ms) {
    const bool limited = timeout_ms != PLATFORM_WAIT_WITHOUT_LIMIT;
    const uint64_t deadline = zep::monotonic_ns() + timeout_ms * zep::NS_PER_MS;
    int error = 0;
    while (semaphore->count == 0 && error == 0) {
        error = limited ? semaphore->monitor.wait_until(deadline) : semaphore->monitor.wait();
    }
    return semaphore->count > 0 ? 0 : error;
}

}  // namespace

void *platform_sem_create_win32(uint32_t initial, uint32_t maximum) {
    if (maximum == 0 || initial > maximum) {
        return nullptr;
    }
    void *block = platform_malloc_win32(sizeof(counting_semaphore));
    if (block == nullptr) {
        return nullptr;
    }
    auto *semaphore = new (block) counting_semaphore{initial, maximum, {}};
    if (semaphore->monitor.open() != 0) {
        platform_free_win32(semaphore);
        return nullptr;
    }
    return semaphore;
}

int32_t platform_sem_post_win32(void *handle) {
    if (handle == nullptr) {
        return -1;
    }
    auto *semaphore = static_cast<counting_semaphore *>(handle);
    const std::lock_guard guard(semaphore->monitor);
    if (semaphore->count == semaphore->maximum) {
        return -1;
    }
    ++semaphore->count;
    semaphore->monitor.wake_one();
    return 0;
}

int32_t platform_sem_timedwait_win32(void *handle, uint32_t timeout_ms) {
    if (handle == nullptr) {
        return -1;
    }
    auto *semaphore = static_cast<counting_semaphore *>(handle);
    const std::lock_guard guard(semaphore->monitor);
    const int error = wait_for_one(semaphore, timeout_ms);
    if (error != 0) {
        return error == ETIMEDOUT ? -2 : -1;
    }
    --semaphore->count;
    return 0;
}

void platform_sem_destroy_win32(void *handle) {
    if (handle == nullptr) {
        return;
    }
    auto *semaphore = static_cast<counting_semaphore *>(handle);
    semaphore->monitor.close();
    platform_free_win32(semaphore);
}
