#include <zep_mqtt/platform/thread.h>

#include "log/log_lines.h"
#include "platform/truncated_pointer.h"

void *platform_thread_create(platform_thread_entry entry, void *arg) {
    if (zep::refuse_truncated(reinterpret_cast<const void *>(entry))) {
        LOG_ERROR("platform_thread_create: 无效回调函数指针（已截断）");
        return nullptr;
    }
    return platform_thread_create_win32(entry, arg);
}

void platform_thread_join(void *thread) {
    if (zep::refuse_truncated(thread)) {
        LOG_ERROR("platform_thread_join: 无效线程指针（已截断）：%p", thread);
        return;
    }
    platform_thread_join_win32(thread);
}
