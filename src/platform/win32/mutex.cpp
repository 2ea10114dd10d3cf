#include <zep_mqtt/platform/mutex.h>

#include "platform/win32/windows_api.h"

void *platform_mutex_create_win32(void) {
    return CreateMutexW(nullptr, FALSE, nullptr);
}

void platform_mutex_lock_win32(void *mutex) {
    if (mutex != nullptr) {
        WaitForSingleObject(mutex, INFINITE);
    }
}

void platform_mutex_unlock_win32(void *mutex) {
    if (mutex != nullptr) {
        ReleaseMutex(mutex);
    }
}

void platform_mutex_destroy_win32(void *mutex) {
    if (mutex != nullptr) {
        CloseHandle(mutex);
    }
}
