/**
 * @file
 * Clocks and sleeping. None of these operations fails or writes to the log.
 *
 * Threads: any.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PLATFORM_CLOCK_H
#define ZEP_MQTT_PLATFORM_CLOCK_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * The tick clock: monotonic, from an arbitrary start, untouched by changes of the wall clock. Every
 * time-out, interval and back-off of the library is measured on it.
 *
 * @return milliseconds
 */
ZEP_MQTT_API uint64_t platform_get_tick_ms(void);

/** @return wall-clock seconds since 1970-01-01 00:00:00 UTC */
ZEP_MQTT_API int64_t platform_get_utc_seconds(void);

/** Puts the calling thread to sleep. A signal does not shorten the sleep. */
ZEP_MQTT_API void platform_delay_ms(uint32_t ms);

/** The backend's platform_get_tick_ms(). */
ZEP_MQTT_API uint64_t platform_get_tick_ms_win32(void);

/** @return microseconds on the monotonic clock; does not overflow */
ZEP_MQTT_API int64_t platform_get_tick_us_win32(void);

/** The backend's platform_get_utc_seconds(). */
ZEP_MQTT_API int64_t platform_get_utc_seconds_win32(void);

/** @return wall-clock milliseconds since 1970-01-01 00:00:00 UTC */
ZEP_MQTT_API uint64_t platform_get_utc_ms_win32(void);

/** The backend's platform_delay_ms(). */
ZEP_MQTT_API void platform_delay_ms_win32(uint32_t ms);

ZEP_MQTT_END_DECLS

#endif
