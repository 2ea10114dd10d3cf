#include <zep_mqtt/platform/semaphore.h>

#include "platform/win32/windows_api.h"

static_assert(PLATFORM_WAIT_WITHOUT_LIMIT == INFINITE);

// The system's counts are signed; it refuses a maximum of 0 and an initial count above the maximum.
void *platform_sem_create_win32(uint32_t initial, uint32_t maximum) {
    if (maximum > INT32_MAX || initial > maximum) {
        return nullptr;
    }
    return CreateSemaphoreW(nullptr, static_cast<LONG>(initial), static_cast<LONG>(maximum),
                            nullptr);
}

int32_t platform_sem_post_win32(void *semaphore) {
    return semaphore != nullptr && ReleaseSemaphore(semaphore, 1, nullptr) ? 0 : -1;
}

int32_t platform_sem_timedwait_win32(void *semaphore, uint32_t timeout_ms) {
    if (semaphore == nullptr) {
        return -1;
    }
    switch (WaitForSingleObject(semaphore, timeout_ms)) {
        case WAIT_OBJECT_0:
            return 0;
        case WAIT_TIMEOUT:
            return -2;
        default:
            return -1;
    }
}

void platform_sem_destroy_win32(void *semaphore) {
    if (semaphore != nullptr) {
        CloseHandle(semaphore);
    }
}
