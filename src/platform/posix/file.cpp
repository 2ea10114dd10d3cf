#include <cerrno>
#include <cstring>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <zep_mqtt/platform/file.h>
#include <zep_mqtt/platform/text.h>

#include "log/log_lines.h"

namespace {

constexpr char PROGRAM[] = "/proc/self/exe";

// The system marks the name of a program whose file has been deleted or replaced since its start.
void cut_deleted_mark(char *path) {
    constexpr char MARK[] = " (deleted)";
    constexpr size_t MARK_LENGTH = sizeof MARK - 1;
    const size_t length = std::strlen(path);
    if (length < MARK_LENGTH || std::strcmp(path + length - MARK_LENGTH, MARK) != 0) {
        return;
    }
    struct stat named, running;
    const bool is_its_name = stat(path, &named) == 0 && stat(PROGRAM, &running) == 0 &&
                             named.st_dev == running.st_dev && named.st_ino == running.st_ino;
    if (!is_its_name) {
        path[length - MARK_LENGTH] = '\0';
    }
}

}  // namespace

bool platform_file_exists_win32(const char *path) {
    struct stat info;
    return path != nullptr && stat(path, &info) == 0;
}

uint32_t platform_get_file_size_win32(const char *path) {
    struct stat info;
    if (path == nullptr || stat(path, &info) != 0) {
        return 0;
    }
    return static_cast<uint32_t>(info.st_size);
}

uint32_t platform_get_runtime_filename_win32(char *buffer, uint32_t size) {
    if (buffer == nullptr || size == 0) {
        return 0;
    }
    char path[PATH_MAX];
    const ssize_t length = readlink(PROGRAM, path, sizeof path - 1);
    if (length < 0) {
        LOG_ERROR("GetModuleFileName failed: %d", errno);
        return 0;
    }
    path[length] = '\0';
    cut_deleted_mark(path);
    // The directory goes first: a dot in it does not begin an extension.
    char *slash = std::strrchr(path, '/');
    char *name = slash == nullptr ? path : slash + 1;
    char *extension = std::strrchr(name, '.');
    if (extension != nullptr) {
        *extension = '\0';
    }
    return platform_strcpy_s(buffer, size, name);
}
