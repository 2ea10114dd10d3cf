#include <cerrno>
#include <new>

#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/semaphore.h>

#include "platform/posix/pthread_tools.h"

namespace {

// The system's own semaphores know no maximum, and their timed wait follows the wall clock.
struct counting_semaphore {
    uint32_t count;
    uint32_t maximum;
    pthread_mutex_t lock;
    pthread_cond_t raised;
};

int init_synchronisation(counting_semaphore *semaphore) {
    const int error = pthread_mutex_init(&semaphore->lock, nullptr);
    if (error != 0) {
        return error;
    }
    const int condition_error = zep::init_monotonic_condition(&semaphore->raised);
    if (condition_error != 0) {
        pthread_mutex_destroy(&semaphore->lock);
    }
    return condition_error;
}

// Waits, with the lock held, until the count is positive. Returns 0, ETIMEDOUT or an error code.
int wait_for_one(counting_semaphore *semaphore, uint32_t timeout_ms) {
    const bool limited = timeout_ms != PLATFORM_WAIT_WITHOUT_LIMIT;
    const uint64_t deadline = zep::monotonic_ns() + timeout_ms * zep::NS_PER_MS;
    int error = 0;
    while (semaphore->count == 0 && error == 0) {
        error = limited ? zep::wait_until(semaphore->raised, semaphore->lock, deadline)
                        : pthread_cond_wait(&semaphore->raised, &semaphore->lock);
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
    auto *semaphore = new (block) counting_semaphore{initial, maximum, {}, {}};
    if (init_synchronisation(semaphore) != 0) {
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
    const zep::pthread_guard guard(semaphore->lock);
    if (semaphore->count == semaphore->maximum) {
        return -1;
    }
    ++semaphore->count;
    pthread_cond_signal(&semaphore->raised);
    return 0;
}

int32_t platform_sem_timedwait_win32(void *handle, uint32_t timeout_ms) {
    if (handle == nullptr) {
        return -1;
    }
    auto *semaphore = static_cast<counting_semaphore *>(handle);
    const zep::pthread_guard guard(semaphore->lock);
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
    pthread_cond_destroy(&semaphore->raised);
    pthread_mutex_destroy(&semaphore->lock);
    platform_free_win32(semaphore);
}
