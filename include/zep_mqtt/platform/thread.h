/**
 * @file
 * Threads. A handle is owned by the caller from create to join or detach, exactly one of which
 * releases it.
 *
 * Threads: any, but one at a time per handle.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PLATFORM_THREAD_H
#define ZEP_MQTT_PLATFORM_THREAD_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/** What a thread runs. The result is ignored. */
typedef uint32_t (*platform_thread_entry)(void *arg);

/**
 * Starts a thread that runs entry(arg). Signals sent to the process are not delivered to it: they
 * stay with the application's own threads.
 *
 * @return the handle; null when entry is null or no thread could be started. An entry whose upper
 *         32 bits are all ones is reported and refused (see platform_free()).
 */
ZEP_MQTT_API void *platform_thread_create(platform_thread_entry entry, void *arg);

/**
 * Waits without limit for the thread to end and releases the handle. Null is ignored; a truncated
 * handle is reported.
 */
ZEP_MQTT_API void platform_thread_join(void *thread);

/** The backend's platform_thread_create(). On failure the system's last error tells the cause. */
ZEP_MQTT_API void *platform_thread_create_win32(platform_thread_entry entry, void *arg);

/** The backend's platform_thread_join(). */
ZEP_MQTT_API void platform_thread_join_win32(void *thread);

/** Releases the handle and lets the thread run on. Null is ignored. */
ZEP_MQTT_API void platform_thread_detach_win32(void *thread);

/** @return the system's identifier of the calling thread */
ZEP_MQTT_API uint32_t platform_thread_id_win32(void);

ZEP_MQTT_END_DECLS

#endif
