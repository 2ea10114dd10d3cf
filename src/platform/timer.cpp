#include <new>

#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/mutex.h>
#include <zep_mqtt/platform/timer.h>

#include "core/shared.h"
#include "log/log_lines.h"
#include "platform/mutex_guard.h"
#include "platform/system_timer.h"

using zep::shared;

namespace {

// How long a second destroy still finds the timer and can be refused.
constexpr uint32_t DESTROY_GRACE_MS = 10;

// Allocators that mark released memory fill it with 0xDD.
bool is_marked_as_released(const platform_timer *timer) {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(timer)) == 0xDDDDDDDD;
}

zep::system_timer *system_timer_of(const platform_timer *timer) {
    return static_cast<zep::system_timer *>(timer->handle);
}

// The flags change under the lock; an expiry looks at two of them before it takes the lock.
bool is_alive(platform_timer *timer) {
    return shared(timer->valid).load() != 0 && shared(timer->destroying).load() == 0;
}

// Takes the expiry that is due, and tells whether the function may be called for it.
bool claim_expiry(platform_timer *timer) {
    const zep::mutex_guard guard(timer->lock);
    if (timer->handle != nullptr) {
        zep::system_timer_take_expiry(system_timer_of(timer));
    }
    return is_alive(timer) && shared(timer->running).load() != 0;
}

void on_expiry(void *owner) {
    timer_callback_wrapper(static_cast<platform_timer *>(owner)->cb);
}

template <typename T>
T *allocate_zeroed() {
    void *block = platform_malloc(sizeof(T));
    return block == nullptr ? nullptr : new (block) T{};
}

// What a start or a stop has come to. Its line is written when the timer's lock has been given
// back: a console that takes no more must not hold up the expiries.
enum class change { done, needless, dead, incomplete, failed };

// error is set when the system has refused.
change start_locked(platform_timer *timer, int *error) {
    const zep::mutex_guard guard(timer->lock);
    if (!is_alive(timer)) {
        return change::dead;
    }
    if (shared(timer->running).load() != 0) {
        return change::needless;
    }
    if (timer->handle == nullptr || timer->cb == nullptr) {
        return change::incomplete;
    }
    *error = zep::system_timer_arm(system_timer_of(timer), timer->period_ms);
    if (*error != 0) {
        return change::failed;
    }
    shared(timer->running).store(1);
    return change::done;
}

change stop_locked(platform_timer *timer, int *error) {
    const zep::mutex_guard guard(timer->lock);
    if (!is_alive(timer)) {
        return change::dead;
    }
    if (shared(timer->running).load() == 0) {
        return change::needless;
    }
    *error = zep::system_timer_cancel(system_timer_of(timer));
    if (*error != 0) {
        return change::failed;
    }
    shared(timer->running).store(0);
    return change::done;
}

// What the timer owns besides its system timer, and the timer itself.
void release(platform_timer *timer) {
    platform_free(timer->cb);
    platform_mutex_destroy(timer->lock);
    platform_free(timer);
}

// Gives a zeroed timer its parts. After a failure it has those that could be had.
bool equip(platform_timer *timer) {
    timer->lock = platform_mutex_create();
    if (timer->lock == nullptr) {
        LOG_ERROR("platform_timer_create_win32: 互斥锁创建失败");
        return false;
    }
    zep::system_timer *system_timer = nullptr;
    const int error = zep::system_timer_create(on_expiry, timer, &system_timer);
    timer->handle = system_timer;
    if (error != 0) {
        LOG_ERROR("platform_timer_create_win32: 定时器句柄创建失败（错误码：%d）", error);
        return false;
    }
    timer->cb = allocate_zeroed<platform_timer_context>();
    if (timer->cb == nullptr) {
        LOG_ERROR("platform_timer_create_win32: 上下文内存分配失败");
        return false;
    }
    return true;
}

// Marks the timer as being destroyed; false when it is so marked already. The system timer goes
// first, so that no expiry comes up that would only be refused.
bool begin_destroy(platform_timer *timer) {
    const zep::mutex_guard guard(timer->lock);
    if (shared(timer->destroying).load() != 0) {
        return false;
    }
    if (shared(timer->running).load() != 0) {
        zep::system_timer_cancel(system_timer_of(timer));
        shared(timer->running).store(0);
    }
    shared(timer->valid).store(0);
    shared(timer->destroying).store(1);
    return true;
}

// The last step of a destroy: no expiry runs any more.
void finish_destroy(void *owner) {
    auto *timer = static_cast<platform_timer *>(owner);
    // Whoever took the lock before the destroy began has left it after this.
    platform_mutex_lock(timer->lock);
    platform_mutex_unlock(timer->lock);
    release(timer);
    LOG_DEBUG("platform_timer_destroy_win32: 定时器彻底销毁（地址：%p）", owner);
}

}  // namespace

platform_timer *platform_timer_create_win32(platform_timer_func func, void *arg,
                                            uint32_t period_ms) {
    if (func == nullptr || period_ms == 0) {
        LOG_ERROR("platform_timer_create_win32: 无效参数（func=%p, period=%u）",
                  reinterpret_cast<const void *>(func), period_ms);
        return nullptr;
    }
    auto *timer = allocate_zeroed<platform_timer>();
    if (timer == nullptr) {
        LOG_ERROR("platform_timer_create_win32: 内存分配失败");
        return nullptr;
    }
    if (!equip(timer)) {
        if (timer->handle != nullptr) {
            zep::system_timer_close(system_timer_of(timer), nullptr);
        }
        release(timer);
        return nullptr;
    }
    *timer->cb = {func, arg, timer};
    timer->valid = 1;
    timer->period_ms = period_ms;
    LOG_DEBUG("platform_timer_create_win32: 定时器创建成功（地址：%p）",
              static_cast<const void *>(timer));
    return timer;
}

int32_t platform_timer_start_win32(platform_timer *timer) {
    if (timer == nullptr) {
        LOG_ERROR("platform_timer_start_win32: 无效指针（NULL）");
        return 0;
    }
    const void *address = timer;
    if (is_marked_as_released(timer)) {
        LOG_ERROR("platform_timer_start_win32: 访问已释放的定时器（地址：%p）", address);
        return 0;
    }
    if (timer->lock == nullptr) {
        LOG_ERROR("platform_timer_start_win32: 定时器互斥锁已失效（地址：%p）", address);
        return 0;
    }
    int error = 0;
    switch (start_locked(timer, &error)) {
        case change::dead:
            LOG_ERROR("platform_timer_start_win32: 定时器已失效或正在销毁（地址：%p）", address);
            return 0;
        case change::needless:
            LOG_WARN("platform_timer_start_win32: 定时器已运行（地址：%p）", address);
            return 1;
        case change::incomplete:
            LOG_ERROR("platform_timer_start_win32: 定时器内部资源无效（地址：%p）", address);
            return 0;
        case change::failed:
            LOG_ERROR("platform_timer_start_win32: 启动失败（错误码：%d，地址：%p）", error,
                      address);
            return 0;
        case change::done:
            break;
    }
    LOG_DEBUG("platform_timer_start_win32: 定时器启动成功（地址：%p）", address);
    return 1;
}

int32_t platform_timer_stop_win32(platform_timer *timer) {
    if (timer == nullptr) {
        return 0;
    }
    const void *address = timer;
    if (is_marked_as_released(timer)) {
        LOG_ERROR("platform_timer_stop_win32: 访问已释放的定时器（地址：%p）", address);
        return 0;
    }
    int error = 0;
    switch (stop_locked(timer, &error)) {
        case change::dead:
            LOG_ERROR("platform_timer_stop_win32: 定时器已失效（地址：%p）", address);
            return 0;
        case change::failed:
            LOG_ERROR("platform_timer_stop_win32: 停止失败（错误码：%d，地址：%p）", error,
                      address);
            return 0;
        case change::done:
            LOG_DEBUG("platform_timer_stop_win32: 定时器已停止（地址：%p）", address);
            return 1;
        default:
            return 1;
    }
}

void platform_timer_destroy_win32(platform_timer *timer) {
    if (timer == nullptr) {
        return;
    }
    const void *address = timer;
    if (is_marked_as_released(timer)) {
        LOG_ERROR("platform_timer_destroy_win32: 访问已释放的定时器（地址：%p）", address);
        return;
    }
    if (!begin_destroy(timer)) {
        LOG_WARN("platform_timer_destroy_win32: 重复销毁（地址：%p）", address);
        return;
    }
    platform_delay_ms(DESTROY_GRACE_MS);
    // Without the lock: the expiry that this waits for needs it.
    zep::system_timer_close(system_timer_of(timer), finish_destroy);
}

void timer_callback_wrapper(platform_timer_context *context) {
    if (context == nullptr) {
        return;
    }
    platform_timer *timer = context->timer;
    const void *address = timer;
    if (timer == nullptr || !is_alive(timer)) {
        LOG_WARN("timer_callback_wrapper: 定时器已失效，跳过回调（地址：%p）", address);
        return;
    }
    // From the call on, neither the context nor the timer may be touched.
    const platform_timer_func func = context->func;
    void *arg = context->arg;
    if (!claim_expiry(timer) || func == nullptr) {
        LOG_WARN("timer_callback_wrapper: 回调被阻止（定时器状态异常，地址：%p）", address);
        return;
    }
    func(arg);
}
