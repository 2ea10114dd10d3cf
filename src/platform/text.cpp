#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <zep_mqtt/platform/text.h>

#include "log/log_lines.h"

uint32_t platform_strcpy_s(char *dest, uint32_t dest_size, const char *src) {
    if (dest == nullptr || src == nullptr || dest_size == 0) {
        return 0;
    }
    const size_t length = strnlen(src, dest_size - 1);
    std::memmove(dest, src, length);
    dest[length] = '\0';
    return static_cast<uint32_t>(length);
}

uint32_t platform_strcat_s(char *dest, uint32_t dest_size, const char *src) {
    if (dest == nullptr || src == nullptr || dest_size == 0) {
        LOG_ERROR("platform_strcat_s: invalid param (dest=%p, src=%p, len=%d)",
                  static_cast<const void *>(dest), static_cast<const void *>(src), dest_size);
        return 0;
    }
    const size_t dest_length = strnlen(dest, dest_size);
    const size_t src_length = std::strlen(src);
    if (src_length >= dest_size - dest_length) {
        LOG_ERROR("platform_strcat_s: buffer overflow (dest_len=%d, src_len=%d, max_len=%d)",
                  static_cast<uint32_t>(dest_length), static_cast<uint32_t>(src_length), dest_size);
        return 0;
    }
    std::memmove(dest + dest_length, src, src_length);
    dest[dest_length + src_length] = '\0';
    return static_cast<uint32_t>(dest_length + src_length);
}

uint32_t platform_snprintf(char *dest, uint32_t dest_size, const char *format, ...) {
    if (dest == nullptr || format == nullptr || dest_size == 0) {
        LOG_ERROR("platform_snprintf: invalid param (dest=%p, fmt=%p, len=%d)",
                  static_cast<const void *>(dest), static_cast<const void *>(format), dest_size);
        return 0;
    }
    va_list values;
    va_start(values, format);
    const int written = std::vsnprintf(dest, dest_size, format, values);
    va_end(values);
    if (written >= 0 && static_cast<uint32_t>(written) < dest_size) {
        return static_cast<uint32_t>(written);
    }
    // -1 is how some C libraries report that they cut the text: no line.
    if (written != -1) {
        LOG_ERROR("platform_snprintf: buffer overflow (ret=%d, max_len=%d)", written, dest_size);
    }
    // Callers may take the result for the length, so that no byte before it may stay undefined.
    const size_t usable = written < 0 ? 0 : strnlen(dest, dest_size - 1);
    std::memset(dest + usable, 0, dest_size - usable);
    return dest_size - 1;
}

size_t platform_strlen(const char *text) {
    return text == nullptr ? 0 : std::strlen(text);
}

int platform_strcmp(const char *a, const char *b) {
    if (a != nullptr && b != nullptr) {
        return std::strcmp(a, b);
    }
    return (a != nullptr) - (b != nullptr);
}

const char *platform_strchr(const char *text, char c) {
    return text == nullptr ? nullptr : std::strchr(text, c);
}

const char *platform_strstr(const char *text, const char *part) {
    if (text == nullptr || part == nullptr) {
        LOG_ERROR("platform_strstr: 空指针参数（str=%p, substr=%p）",
                  static_cast<const void *>(text), static_cast<const void *>(part));
        return nullptr;
    }
    return std::strstr(text, part);
}
