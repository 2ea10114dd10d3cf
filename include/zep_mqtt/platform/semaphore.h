/**
 * @file
 * Counting semaphores. A handle is owned by the caller from create to destroy.
 *
 * Threads: any; platform_sem_destroy_win32() when no other thread uses the handle any more.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PLATFORM_SEMAPHORE_H
#define ZEP_MQTT_PLATFORM_SEMAPHORE_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/** A time-out that never elapses. */
#define PLATFORM_WAIT_WITHOUT_LIMIT UINT32_MAX

/**
 * Waits until the count is positive and takes one. The time-out runs on the monotonic clock.
 *
 * @param timeout_ms  in milliseconds; 0 does not wait, PLATFORM_WAIT_WITHOUT_LIMIT waits for ever
 * @retval 0   one was taken
 * @retval -1  null or truncated handle (the latter is reported), or the wait itself failed
 * @retval -2  the time-out elapsed
 */
ZEP_MQTT_API int32_t platform_sem_timedwait(void *semaphore, uint32_t timeout_ms);

/**
 * @param initial  the count to begin with, at most maximum
 * @param maximum  the highest count, at least 1
 * @return the handle; null when the counts are out of range or on failure
 */
ZEP_MQTT_API void *platform_sem_create_win32(uint32_t initial, uint32_t maximum);

/**
 * Adds one to the count.
 *
 * @retval 0   done
 * @retval -1  the count is at its maximum, or null handle
 */
ZEP_MQTT_API int32_t platform_sem_post_win32(void *semaphore);

/** The backend's platform_sem_timedwait(). */
ZEP_MQTT_API int32_t platform_sem_timedwait_win32(void *semaphore, uint32_t timeout_ms);

/** Releases the semaphore, on which nobody waits. Null is ignored. */
ZEP_MQTT_API void platform_sem_destroy_win32(void *semaphore);

ZEP_MQTT_END_DECLS

#endif
