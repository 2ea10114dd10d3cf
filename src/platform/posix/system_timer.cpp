#include "platform/posix/system_timer.h"

#include <cerrno>
#include <mutex>
#include <new>

#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/thread.h>

#include "platform/posix/monitor.h"

namespace zep {

struct system_timer {
    system_timer_hook expired;
    void *owner;
    zep::monitor monitor;

    // Under the lock of the monitor.
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
    timer->monitor.close();
    platform_free_win32(timer);
    if (closed != nullptr) {
        closed(owner);
    }
}

// Waits, under the lock, until an expiry is due (true) or the timer is being closed (false).
bool wait_for_expiry(system_timer *timer) {
    while (!timer->closing) {
        if (!timer->armed) {
            timer->monitor.wait();
        } else if (monotonic_ns() < timer->due_ns) {
            timer->monitor.wait_until(timer->due_ns);
        } else {
            return true;
        }
    }
    return false;
}

uint32_t run(void *arg) {
    auto *timer = static_cast<system_timer *>(arg);
    timer->monitor.lock();
    timer->thread_id = platform_thread_id_win32();
    while (wait_for_expiry(timer)) {
        timer->monitor.unlock();
        timer->expired(timer->owner);
        timer->monitor.lock();
    }
    // Nobody joins a thread whose handle has been given back: it releases the timer itself.
    const bool on_its_own = timer->thread == nullptr;
    timer->monitor.unlock();
    if (on_its_own) {
        release(timer);
    }
    return 0;
}

}  // namespace

system_timer *system_timer_create(system_timer_hook expired, void *owner) {
    void *block = platform_malloc_win32(sizeof(system_timer));
    if (block == nullptr) {
        errno = ENOMEM;
        return nullptr;
    }
    auto *timer = new (block) system_timer{};
    timer->expired = expired;
    timer->owner = owner;
    int error = timer->monitor.open();
    if (error == 0) {
        timer->thread = platform_thread_create_win32(run, timer);
        if (timer->thread != nullptr) {
            return timer;
        }
        error = errno;
        timer->monitor.close();
    }
    platform_free_win32(timer);
    errno = error;
    return nullptr;
}

int system_timer_arm(system_timer *timer, uint32_t period_ms) {
    const std::lock_guard guard(timer->monitor);
    timer->armed = true;
    timer->due_ns = monotonic_ns();
    timer->period_ns = period_ms * NS_PER_MS;
    return timer->monitor.wake_one();
}

int system_timer_cancel(system_timer *timer) {
    const std::lock_guard guard(timer->monitor);
    timer->armed = false;
    return timer->monitor.wake_one();
}

void system_timer_take_expiry(system_timer *timer) {
    const std::lock_guard guard(timer->monitor);
    const uint64_t now = monotonic_ns();
    if (timer->armed && now >= timer->due_ns) {
        const uint64_t passed = (now - timer->due_ns) / timer->period_ns;
        timer->due_ns += (passed + 1) * timer->period_ns;
    }
}

void system_timer_close(system_timer *timer, system_timer_hook closed) {
    timer->monitor.lock();
    timer->closing = true;
    timer->closed = closed;
    void *thread = timer->thread;
    if (timer->thread_id == platform_thread_id_win32()) {
        timer->thread = nullptr;
        timer->monitor.unlock();
        platform_thread_detach_win32(thread);
        return;
    }
    timer->monitor.wake_one();
    timer->monitor.unlock();
    platform_thread_join_win32(thread);
    release(timer);
}

}  // namespace zep
