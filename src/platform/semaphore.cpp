#include <zep_mqtt/platform/semaphore.h>

#include "log/log_lines.h"
#include "platform/truncated_pointer.h"

int32_t platform_sem_timedwait(void *semaphore, uint32_t timeout_ms) {
    if (zep::refuse_truncated(semaphore)) {
        LOG_ERROR("platform_sem_timedwait: 无效信号量指针（已截断）：%p", semaphore);
        return -1;
    }
    return platform_sem_timedwait_win32(semaphore, timeout_ms);
}
