// What a new thread is told. The record is shared by the thread, until it has read what to run, and
// by the holder of the handle; the last one to leave releases it.
#pragma once

#include <atomic>
#include <new>

#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/thread.h>

#include "platform/system_error.h"

namespace zep {

// id_type is the system's handle of a thread.
template <typename id_type>
struct thread_record {
    id_type id;
    platform_thread_entry entry;
    void *arg;
    std::atomic<int> users{2};

    void leave() {
        if (users.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            platform_free_win32(this);
        }
    }
};

// Null, with the system's last error set, when entry is null or memory is exhausted.
template <typename id_type>
thread_record<id_type> *make_thread_record(platform_thread_entry entry, void *arg) {
    if (entry == nullptr) {
        system_set_last_error(SYSTEM_INVALID_ARGUMENT);
        return nullptr;
    }
    void *block = platform_malloc_win32(sizeof(thread_record<id_type>));
    if (block == nullptr) {
        system_set_last_error(SYSTEM_NO_MEMORY);
        return nullptr;
    }
    return new (block) thread_record<id_type>{id_type{}, entry, arg};
}

// What the new thread does.
template <typename id_type>
uint32_t run_thread(void *arg) {
    auto *record = static_cast<thread_record<id_type> *>(arg);
    const platform_thread_entry entry = record->entry;
    void *entry_arg = record->arg;
    record->leave();
    return entry(entry_arg);
}

}  // namespace zep
