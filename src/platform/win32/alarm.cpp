#include "platform/win32/alarm.h"

#include <iterator>

#include "platform/system_error.h"
#include "platform/win32/monotonic.h"
#include "platform/win32/windows_api.h"

namespace zep {

namespace {

constexpr uint64_t NS_PER_UNIT = 100;

// A negative due time counts from now on; 0 is at once.
LARGE_INTEGER time_until(uint64_t due_ns) {
    const uint64_t now = monotonic_ns();
    LARGE_INTEGER relative;
    relative.QuadPart =
        due_ns <= now ? 0 : -static_cast<int64_t>((due_ns - now + NS_PER_UNIT - 1) / NS_PER_UNIT);
    return relative;
}

int result_of(BOOL succeeded) {
    return succeeded ? 0 : system_last_error();
}

}  // namespace

int alarm::open() {
    timer_ = CreateWaitableTimerW(nullptr, TRUE, nullptr);
    if (timer_ == nullptr) {
        return system_last_error();
    }
    woken_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (woken_ == nullptr) {
        const int error = system_last_error();
        CloseHandle(timer_);
        return error;
    }
    return 0;
}

void alarm::close() {
    CloseHandle(woken_);
    CloseHandle(timer_);
}

int alarm::wake_one() {
    return result_of(SetEvent(woken_));
}

int alarm::set(uint64_t due_ns) {
    const LARGE_INTEGER due = time_until(due_ns);
    const int error = result_of(SetWaitableTimer(timer_, &due, 0, nullptr, nullptr, FALSE));
    return error != 0 ? error : wake_one();
}

int alarm::cancel() {
    const int error = result_of(CancelWaitableTimer(timer_));
    return error != 0 ? error : wake_one();
}

void alarm::wait() {
    unlock();
    WaitForSingleObject(woken_, INFINITE);
    lock();
}

void alarm::wait_until(uint64_t due_ns) {
    unlock();
    const HANDLE either[] = {woken_, timer_};
    const DWORD signalled = WaitForMultipleObjects(std::size(either), either, FALSE, INFINITE);
    lock();
    // The timer's clock may be ahead of ours by less than a tick: it is set anew for the rest.
    if (signalled == WAIT_OBJECT_0 + 1 && monotonic_ns() < due_ns) {
        (void)set(due_ns);
    }
}

}  // namespace zep
