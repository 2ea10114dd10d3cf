#include <cstring>

#include <zep_mqtt/platform/file.h>
#include <zep_mqtt/platform/text.h>

#include "log/log_lines.h"
#include "platform/system_error.h"
#include "platform/win32/wide_text.h"
#include "platform/win32/windows_api.h"

namespace {

constexpr DWORD PATH_SIZE = 260;
// A UTF-16 unit takes at most three bytes of UTF-8.
constexpr int UTF8_PATH_SIZE = 3 * PATH_SIZE;

// The path of the running program, as UTF-8.
bool program_path(char (&out)[UTF8_PATH_SIZE]) {
    wchar_t path[PATH_SIZE];
    const DWORD length = GetModuleFileNameW(nullptr, path, PATH_SIZE);
    // A path that does not fit is cut, and its length is then that of the buffer.
    return length != 0 && length < PATH_SIZE &&
           WideCharToMultiByte(CP_UTF8, 0, path, -1, out, UTF8_PATH_SIZE, nullptr, nullptr) > 0;
}

}  // namespace

bool platform_file_exists_win32(const char *path) {
    const zep::wide_text wide(path);
    return wide.data() != nullptr && GetFileAttributesW(wide.data()) != INVALID_FILE_ATTRIBUTES;
}

uint32_t platform_get_file_size_win32(const char *path) {
    const zep::wide_text wide(path);
    WIN32_FILE_ATTRIBUTE_DATA info;
    if (wide.data() == nullptr ||
        !GetFileAttributesExW(wide.data(), GetFileExInfoStandard, &info)) {
        return 0;
    }
    return info.nFileSizeLow;
}

uint32_t platform_get_runtime_filename_win32(char *buffer, uint32_t size) {
    if (buffer == nullptr || size == 0) {
        return 0;
    }
    char path[UTF8_PATH_SIZE];
    if (!program_path(path)) {
        LOG_ERROR("GetModuleFileName failed: %d", zep::system_last_error());
        return 0;
    }
    // The directory goes first: a dot in it does not begin an extension.
    char *slash = std::strrchr(path, '\\');
    char *name = slash == nullptr ? path : slash + 1;
    char *extension = std::strrchr(name, '.');
    if (extension != nullptr) {
        *extension = '\0';
    }
    return platform_strcpy_s(buffer, size, name);
}
