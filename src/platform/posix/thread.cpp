#include <atomic>
#include <cerrno>
#include <new>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/thread.h>

namespace {

// Shared by the thread, until it has read what to run, and by the holder of the handle; the last
// one to leave releases it.
struct thread_record {
    pthread_t id;
    platform_thread_entry entry;
    void *arg;
    std::atomic<int> users{2};
};

void leave(thread_record *record) {
    if (record->users.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        platform_free_win32(record);
    }
}

void *run(void *arg) {
    auto *record = static_cast<thread_record *>(arg);
    const platform_thread_entry entry = record->entry;
    void *entry_arg = record->arg;
    leave(record);
    entry(entry_arg);
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
    if (entry == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    void *block = platform_malloc_win32(sizeof(thread_record));
    if (block == nullptr) {
        errno = ENOMEM;
        return nullptr;
    }
    auto *record = new (block) thread_record{pthread_t{}, entry, arg};
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
    leave(record);
}

void platform_thread_detach_win32(void *thread) {
    if (thread == nullptr) {
        return;
    }
    auto *record = static_cast<thread_record *>(thread);
    pthread_detach(record->id);
    leave(record);
}

uint32_t platform_thread_id_win32(void) {
    return static_cast<uint32_t>(gettid());
}
