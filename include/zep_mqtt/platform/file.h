/**
 * @file
 * Queries about files and about the running program.
 *
 * Threads: any.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PLATFORM_FILE_H
#define ZEP_MQTT_PLATFORM_FILE_H

#include <stdbool.h>
#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/** @return true when path names an existing file or directory; false also for null */
ZEP_MQTT_API bool platform_file_exists_win32(const char *path);

/** @return the low 32 bits of the size in bytes; 0 when path is null or cannot be queried */
ZEP_MQTT_API uint32_t platform_get_file_size_win32(const char *path);

/**
 * Gives the name of the running program's file, without its directory and without its extension
 * ("/opt/tool.beta.exe" gives "tool.beta"), cut to size - 1 bytes and terminated.
 *
 * @param size  of the buffer in bytes
 * @return the number of bytes written, terminator not counted; 0 when buffer is null or size is 0,
 *         or, with an ERROR line, when the name cannot be read (buffer is then untouched)
 */
ZEP_MQTT_API uint32_t platform_get_runtime_filename_win32(char *buffer, uint32_t size);

ZEP_MQTT_END_DECLS

#endif
