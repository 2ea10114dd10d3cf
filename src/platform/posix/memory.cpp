#include <cstdlib>

#include <zep_mqtt/platform/memory.h>

void platform_free_aligned_win32(void *block) {
    std::free(block);
}
