#include <zep_mqtt/platform/thread.h>

#include "platform/thread_record.h"
#include "platform/win32/windows_api.h"

namespace {

using thread_record = zep::thread_record<HANDLE>;

DWORD WINAPI run(void *arg) {
    return zep::run_thread<HANDLE>(arg);
}

// A thread may outlive the last user of the library, so its code must stay in memory.
void keep_module_loaded() {
    HMODULE module;
    (void)GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                             reinterpret_cast<LPCWSTR>(reinterpret_cast<uintptr_t>(&run)), &module);
}

}  // namespace

void *platform_thread_create_win32(platform_thread_entry entry, void *arg) {
    auto *record = zep::make_thread_record<HANDLE>(entry, arg);
    if (record == nullptr) {
        return nullptr;
    }
    keep_module_loaded();
    record->id = CreateThread(nullptr, 0, run, record, 0, nullptr);
    if (record->id == nullptr) {
        const int32_t error = zep::system_last_error();
        platform_free_win32(record);
        zep::system_set_last_error(error);
        return nullptr;
    }
    return record;
}

void platform_thread_join_win32(void *thread) {
    if (thread == nullptr) {
        return;
    }
    auto *record = static_cast<thread_record *>(thread);
    WaitForSingleObject(record->id, INFINITE);
    CloseHandle(record->id);
    record->leave();
}

void platform_thread_detach_win32(void *thread) {
    if (thread == nullptr) {
        return;
    }
    auto *record = static_cast<thread_record *>(thread);
    CloseHandle(record->id);
    record->leave();
}

uint32_t platform_thread_id_win32(void) {
    return GetCurrentThreadId();
}
