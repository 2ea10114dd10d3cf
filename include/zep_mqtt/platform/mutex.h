/**
 * @file
 * Mutexes. A handle is owned by the caller from create to destroy. A mutex is not recursive.
 *
 * Null is ignored everywhere; the operations without suffix report a truncated handle (see
 * platform_free()) and do nothing else with it.
 *
 * Threads: any; platform_mutex_destroy() when no other thread uses the handle any more.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PLATFORM_MUTEX_H
#define ZEP_MQTT_PLATFORM_MUTEX_H

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/** @return a new, unlocked mutex; null on failure */
ZEP_MQTT_API void *platform_mutex_create(void);

/** Waits without limit until the calling thread owns the mutex. */
ZEP_MQTT_API void platform_mutex_lock(void *mutex);

/** Gives up the mutex, which the calling thread owns. */
ZEP_MQTT_API void platform_mutex_unlock(void *mutex);

/** Releases the mutex, which nobody owns. */
ZEP_MQTT_API void platform_mutex_destroy(void *mutex);

/** The backend's platform_mutex_create(). */
ZEP_MQTT_API void *platform_mutex_create_win32(void);

/** The backend's platform_mutex_lock(). */
ZEP_MQTT_API void platform_mutex_lock_win32(void *mutex);

/** The backend's platform_mutex_unlock(). */
ZEP_MQTT_API void platform_mutex_unlock_win32(void *mutex);

/** The backend's platform_mutex_destroy(). */
ZEP_MQTT_API void platform_mutex_destroy_win32(void *mutex);

ZEP_MQTT_END_DECLS

#endif
