// Operations that need nothing of the operating system are written once, in the generic layer, and
// keep their backend names here on every platform.
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/text.h>

uint32_t platform_memset_s_win32(void *dest, uint32_t dest_size, uint8_t value, uint32_t count) {
    return platform_memset_s(dest, dest_size, value, count);
}

uint32_t platform_memcpy_s_win32(void *dest, uint32_t dest_size, const void *src, uint32_t count) {
    return platform_memcpy_s(dest, dest_size, src, count);
}

uint32_t platform_strcpy_s_win32(char *dest, uint32_t dest_size, const char *src) {
    return platform_strcpy_s(dest, dest_size, src);
}

size_t platform_strlen_win32(const char *text) {
    return platform_strlen(text);
}

int platform_strcmp_win32(const char *a, const char *b) {
    return platform_strcmp(a, b);
}

const char *platform_strchr_win32(const char *text, char c) {
    return platform_strchr(text, c);
}
