#include "platform/system_timer.h"

#include <mutex>
#include <new>

#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/thread.h>

#include "alarm.h"
#include "monotonic.h"
#include "platform/system_error.h"

namespace zep {

struct system_timer {
    system_timer_hook expired;
    void *owner;
    zep::alarm alarm;

    // Under the lock of the alarm.
    void *thread;        // handle; null when nobody joins the thread
    uint32_t thread_id;  // 0 until the thread has begun to run
    bool armed;
    bool closing;
    system_timer_hook closed;  // known when the timer is being closed
    uint64_t due_ns;
    uint64_t period_ns;
};

namespace {

void release(system_timer *timer) {
    const system_timer_hook closed = timer->closed;
    void *owner = timer->owner;
    timer->alarm.close();
    platform_free_win32(timer);
    if (closed != nullptr) {
        closed(owner);
    }
}

// Waits, under the lock, until an expiry is due (true) or the timer is being closed (false).
bool wait_for_expiry(system_timer *timer) {
    while (!timer->closing) {
        if (!timer->armed) {
            timer->alarm.wait();
        } else if (monotonic_ns() < timer->due_ns) {
            timer->alarm.wait_until(timer->due_ns);
        } else {
            return true;
        }
    }
    return false;
}

uint32_t run(void *arg) {
    auto *timer = static_cast<system_timer *>(arg);
    timer->alarm.lock();
    timer->thread_id = platform_thread_id_win32();
    while (wait_for_expiry(timer)) {
        timer->alarm.unlock();
        timer->expired(timer->owner);
        timer->alarm.lock();
    }
    // Nobody joins a thread whose handle has been given back: it releases the timer itself.
    const bool on_its_own = timer->thread == nullptr;
    timer->alarm.unlock();
    if (on_its_own) {
        release(timer);
    }
    return 0;
}

}  // namespace

int system_timer_create(system_timer_hook expired, void *owner, system_timer **out_timer) {
    void *block = platform_malloc_win32(sizeof(system_timer));
    if (block == nullptr) {
        return SYSTEM_NO_MEMORY;
    }
    auto *timer = new (block) system_timer{};
    timer->expired = expired;
    timer->owner = owner;
    int error = timer->alarm.open();
    if (error == 0) {
        timer->thread = platform_thread_create_win32(run, timer);
        if (timer->thread != nullptr) {
            *out_timer = timer;
            return 0;
        }
        error = system_last_error();
        timer->alarm.close();
    }
    platform_free_win32(timer);
    return error;
}

int system_timer_arm(system_timer *timer, uint32_t period_ms) {
    const std::lock_guard guard(timer->alarm);
    timer->armed = true;
    timer->due_ns = monotonic_ns();
    timer->period_ns = period_ms * NS_PER_MS;
    return timer->alarm.set(timer->due_ns);
}

int system_timer_cancel(system_timer *timer) {
    const std::lock_guard guard(timer->alarm);
    timer->armed = false;
    return timer->alarm.cancel();
}

void system_timer_take_expiry(system_timer *timer) {
    const std::lock_guard guard(timer->alarm);
    const uint64_t now = monotonic_ns();
    if (timer->armed && now >= timer->due_ns) {
        const uint64_t passed = (now - timer->due_ns) / timer->period_ns;
        timer->due_ns += (passed + 1) * timer->period_ns;
        (void)timer->alarm.set(timer->due_ns);
    }
}

void system_timer_close(system_timer *timer, system_timer_hook closed) {
    timer->alarm.lock();
    timer->closing = true;
    timer->closed = closed;
    void *thread = timer->thread;
    if (timer->thread_id == platform_thread_id_win32()) {
        timer->thread = nullptr;
        timer->alarm.unlock();
        platform_thread_detach_win32(thread);
        return;
    }
    timer->alarm.wake_one();
    timer->alarm.unlock();
    platform_thread_join_win32(thread);
    release(timer);
}

}  // namespace zep
