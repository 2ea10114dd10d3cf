/**
 * @file
 * Periodic timers, for applications: the library itself measures its time on the tick clock.
 *
 * A timer calls its function first when it is started and then once per period until it is stopped
 * or destroyed. Each timer has one thread, on which its function runs, with no lock held:
 * - The function never runs twice at a time for one timer, and never after its timer's destroy has
 *   returned. Periods do not drift: they are counted from the start, not from the last call. All
 *   that end while the function still runs give one call together, when it has returned.
 * - The function may stop, start and destroy its own timer. A timer destroyed by its own function
 *   stays readable until that function has returned, and is released then.
 * - Two functions must not destroy each other's timers: each would wait for the other to return.
 *
 * A pointer whose low 32 bits are 0xDDDDDDDD is the mark of released memory: it is reported and
 * never followed. After destroy the pointer must not be used.
 *
 * Threads: any, for as long as the timer is not destroyed.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PLATFORM_TIMER_H
#define ZEP_MQTT_PLATFORM_TIMER_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/** What a timer calls. */
typedef void (*platform_timer_func)(void *arg);

struct platform_timer;

/** What an expiry needs to know. Owned by its timer. */
typedef struct platform_timer_context {
    platform_timer_func func;     /**< the caller's function */
    void *arg;                    /**< passed to func, owned by the caller */
    struct platform_timer *timer; /**< the timer that this context belongs to */
} platform_timer_context;

/** A timer. To be read only; the functions below change it. */
typedef struct platform_timer {
    void *handle;               /**< the system timer, owned */
    platform_timer_context *cb; /**< the context of its expiries, owned */
    uint8_t running;            /**< 1 from a successful start to stop or destroy */
    uint8_t valid;              /**< 1 from creation until destruction begins */
    uint8_t destroying;         /**< 1 once destruction has begun */
    uint32_t period_ms;         /**< period in milliseconds, never 0 */
    void *lock;                 /**< mutex that guards the three flags, owned */
} platform_timer;

/**
 * @param func       must not be null
 * @param arg        passed to func as it is
 * @param period_ms  in milliseconds, at least 1
 * @return a stopped timer, to be released with platform_timer_destroy_win32(); null, with an ERROR
 *         line, when an argument is out of range or a resource is exhausted (nothing stays behind)
 */
ZEP_MQTT_API platform_timer *platform_timer_create_win32(platform_timer_func func, void *arg,
                                                         uint32_t period_ms);

/**
 * Starts a timer; its first expiry is due at once.
 *
 * @retval 1  started, or it was running already (WARN line; nothing new is armed)
 * @retval 0  null or marked pointer, destroyed timer, or the system refused (ERROR line)
 */
ZEP_MQTT_API int32_t platform_timer_start_win32(platform_timer *timer);

/**
 * Stops a timer and waits for nothing: a call of its function that was due already may still begin
 * after this has returned, and one that has begun runs to its end. Only destroy waits for it.
 *
 * @retval 1  stopped, or it was not running
 * @retval 0  null (no line), marked pointer, destroyed timer, or the system refused (ERROR line)
 */
ZEP_MQTT_API int32_t platform_timer_stop_win32(platform_timer *timer);

/**
 * Stops a timer, waits for a call of its function that still runs on another thread, and releases
 * it. Takes 10 ms at least. Null is ignored; a second destroy during the first is reported.
 */
ZEP_MQTT_API void platform_timer_destroy_win32(platform_timer *timer);

/**
 * What every expiry runs: calls func(arg), unless the timer has been stopped or destroyed in the
 * meantime (WARN line).
 *
 * @param context  of a timer that is not released; null is ignored
 */
ZEP_MQTT_API void timer_callback_wrapper(platform_timer_context *context);

ZEP_MQTT_END_DECLS

#endif
