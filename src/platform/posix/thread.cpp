#include <cerrno>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/thread.h>

#include "platform/thread_record.h"

namespace {

using thread_record = zep::thread_record<pthread_t>;

void *run(void *arg) {
    (void)zep::run_thread<pthread_t>(arg);
    return nullptr;
}

// A new thread inherits the mask of its creator. Faults of the thread itself stay deliverable.
int start_without_signals(thread_record *record) {
    sigset_t blocked;
    sigset_t before;
    sigfillset(&blocked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
        sigdelset(&blocked, fault);
    }
    pthread_sigmask(SIG_SETMASK, &blocked, &before);
    const int error = pthread_create(&record->id, nullptr, run, record);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

}  // namespace

void *platform_thread_create_win32(platform_thread_entry entry, void *arg) {
    auto *record = zep::make_thread_record<pthread_t>(entry, arg);
    if (record == nullptr) {
        return nullptr;
    }
    const int error = start_without_signals(record);
    if (error != 0) {
        platform_free_win32(record);
        errno = error;
        return nullptr;
    }
    return record;
}

void platform_thread_join_win32(void *thread) {
    if (thread == nullptr) {
        return;
    }
    auto *record = static_cast<thread_record *>(thread);
    pthread_join(record->id, nullptr);
    record->leave();
}

void platform_thread_detach_win32(void *thread) {
    if (thread == nullptr) {
        return;
    }
    auto *record = static_cast<thread_record *>(thread);
    pthread_detach(record->id);
    record->leave();
}

uint32_t platform_thread_id_win32(void) {
    return static_cast<uint32_t>(gettid());
}
