#include <new>

#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/thread.h>

#include "platform/system_error.h"
#include "platform/win32/windows_api.h"

namespace {

// Owned by the thread, which releases it once it has read what to run.
struct thread_start {
    platform_thread_entry entry;
    void *arg;
};

DWORD WINAPI run(void *arg) {
    const thread_start start = *static_cast<thread_start *>(arg);
    platform_free_win32(arg);
    return start.entry(start.arg);
}

// A thread may outlive the last user of the library, so its code must stay in memory.
void keep_module_loaded() {
    HMODULE module;
    (void)GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                             reinterpret_cast<LPCWSTR>(reinterpret_cast<uintptr_t>(&run)), &module);
}

}  // namespace

void *platform_thread_create_win32(platform_thread_entry entry, void *arg) {
    if (entry == nullptr) {
        zep::system_set_last_error(zep::SYSTEM_INVALID_ARGUMENT);
        return nullptr;
    }
    void *block = platform_malloc_win32(sizeof(thread_start));
    if (block == nullptr) {
        zep::system_set_last_error(zep::SYSTEM_NO_MEMORY);
        return nullptr;
    }
    auto *start = new (block) thread_start{entry, arg};
    keep_module_loaded();
    const HANDLE thread = CreateThread(nullptr, 0, run, start, 0, nullptr);
    if (thread == nullptr) {
        const int32_t error = zep::system_last_error();
        platform_free_win32(block);
        zep::system_set_last_error(error);
    }
    return thread;
}

void platform_thread_join_win32(void *thread) {
    if (thread != nullptr) {
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
    }
}

void platform_thread_detach_win32(void *thread) {
    if (thread != nullptr) {
        CloseHandle(thread);
    }
}

uint32_t platform_thread_id_win32(void) {
    return GetCurrentThreadId();
}
