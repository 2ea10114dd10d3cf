/**
 * @file
 * Bounded and null-tolerant operations on NUL-terminated texts. Lengths and sizes are in bytes; the
 * size of a destination includes its terminator, and no operation writes past it.
 *
 * Threads: any.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PLATFORM_TEXT_H
#define ZEP_MQTT_PLATFORM_TEXT_H

#include <stddef.h>
#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * Copies a text, cut to dest_size - 1 bytes, and terminates it. The source is read no further than
 * that.
 *
 * @return the number of bytes copied, terminator not counted; 0 when a pointer is null or dest_size
 *         is 0 (dest is then untouched)
 */
ZEP_MQTT_API uint32_t platform_strcpy_s(char *dest, uint32_t dest_size, const char *src);

/**
 * Appends a text, whole or not at all.
 *
 * @return the new length of dest; 0 with an ERROR line when a pointer is null, dest_size is 0, or
 *         the result with its terminator does not fit (dest is then unchanged)
 */
ZEP_MQTT_API uint32_t platform_strcat_s(char *dest, uint32_t dest_size, const char *src);

/**
 * Formats a text, cut to dest_size - 1 bytes, and terminates it.
 *
 * @return the number of bytes written, terminator not counted; dest_size - 1 when the text was cut
 *         (ERROR line) or could not be formatted; 0 with an ERROR line when a pointer is null or
 *         dest_size is 0
 */
ZEP_MQTT_API uint32_t platform_snprintf(char *dest, uint32_t dest_size, const char *format, ...)
    ZEP_MQTT_PRINTF(3, 4);

/** @return the length of text; 0 when it is null */
ZEP_MQTT_API size_t platform_strlen(const char *text);

/**
 * @return negative, 0 or positive as a sorts before, equal to or after b. Null sorts before every
 *         text (-1 and 1) and equals null.
 */
ZEP_MQTT_API int platform_strcmp(const char *a, const char *b);

/** @return the first c in text (its terminator for c = 0); null when there is none, or no text */
ZEP_MQTT_API const char *platform_strchr(const char *text, char c);

/**
 * @return the first part in text, text itself for an empty part; null when there is none, or, with
 *         an ERROR line, when a pointer is null
 */
ZEP_MQTT_API const char *platform_strstr(const char *text, const char *part);

/** platform_strcpy_s() under its backend name. */
ZEP_MQTT_API uint32_t platform_strcpy_s_win32(char *dest, uint32_t dest_size, const char *src);

/** platform_strlen() under its backend name. */
ZEP_MQTT_API size_t platform_strlen_win32(const char *text);

/** platform_strcmp() under its backend name. */
ZEP_MQTT_API int platform_strcmp_win32(const char *a, const char *b);

/** platform_strchr() under its backend name. */
ZEP_MQTT_API const char *platform_strchr_win32(const char *text, char c);

ZEP_MQTT_END_DECLS

#endif
