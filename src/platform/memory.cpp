#include <algorithm>
#include <cstring>

#include <zep_mqtt/platform/memory.h>

#include "log/log_lines.h"
#include "platform/truncated_pointer.h"

void *platform_malloc(uint32_t size) {
    return platform_malloc_win32(size);
}

void platform_free(void *block) {
    if (block == nullptr) {
        return;
    }
    if (zep::refuse_truncated(block)) {
        LOG_ERROR("platform_free: 尝试释放无效指针（已截断）：%p", block);
        return;
    }
    platform_free_win32(block);
}

uint32_t platform_memset_s(void *dest, uint32_t dest_size, uint8_t value, uint32_t count) {
    if (dest == nullptr) {
        return 0;
    }
    const uint32_t bounded = std::min(count, dest_size);
    std::memset(dest, value, bounded);
    return bounded;
}

uint32_t platform_memcpy_s(void *dest, uint32_t dest_size, const void *src, uint32_t count) {
    if (dest == nullptr || src == nullptr) {
        return 0;
    }
    const uint32_t bounded = std::min(count, dest_size);
    std::memmove(dest, src, bounded);
    return bounded;
}

int platform_memcmp(const void *a, const void *b, int32_t len) {
    if (a == nullptr || b == nullptr || len <= 0) {
        LOG_ERROR("platform_memcmp: 非法参数 (buf1=%p, buf2=%p, len=%d)", a, b, len);
        return -1;
    }
    return std::memcmp(a, b, static_cast<size_t>(len));
}
