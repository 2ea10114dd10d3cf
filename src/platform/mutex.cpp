#include <zep_mqtt/platform/mutex.h>

#include "log/log_lines.h"
#include "platform/truncated_pointer.h"

void *platform_mutex_create(void) {
    return platform_mutex_create_win32();
}

void platform_mutex_lock(void *mutex) {
    if (zep::refuse_truncated(mutex)) {
        LOG_ERROR("platform_mutex_lock: 无效指针（已截断）：%p", mutex);
        return;
    }
    platform_mutex_lock_win32(mutex);
}

void platform_mutex_unlock(void *mutex) {
    if (zep::refuse_truncated(mutex)) {
        LOG_ERROR("platform_mutex_unlock: 无效指针（已截断）：%p", mutex);
        return;
    }
    platform_mutex_unlock_win32(mutex);
}

void platform_mutex_destroy(void *mutex) {
    if (zep::refuse_truncated(mutex)) {
        LOG_ERROR("mutex_destroy: invalid pointer");
        return;
    }
    platform_mutex_destroy_win32(mutex);
}
