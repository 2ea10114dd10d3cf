// The C library's heap, the same on every system.
#include <cstdlib>

#include <zep_mqtt/platform/memory.h>

#include "log/log_lines.h"

void *platform_malloc_win32(uint32_t size) {
    if (size == 0) {
        LOG_WARN("[内存日志] 跳过0字节malloc");
        return nullptr;
    }
    void *block = std::malloc(size);
    if (block == nullptr) {
        LOG_ERROR("[内存日志] malloc失败：申请大小=%u字节", size);
        return nullptr;
    }
    LOG_DEBUG("[内存日志] malloc成功：%p, 大小=%u字节", block, size);
    return block;
}

void platform_free_win32(void *block) {
    if (block == nullptr) {
        LOG_DEBUG("[内存日志] 跳过空指针释放：%p", block);
        return;
    }
    LOG_DEBUG("[内存日志] 正常释放内存：%p", block);
    std::free(block);
}
