#include <malloc.h>

#include <zep_mqtt/platform/memory.h>

void platform_free_aligned_win32(void *block) {
    _aligned_free(block);
}
