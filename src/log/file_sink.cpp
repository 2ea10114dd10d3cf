#include "log/file_sink.h"

#include <algorithm>
#include <cstdio>
#include <mutex>

#include <zep_mqtt/log/log.h>

#include "log/console.h"
#include "log/log_lines.h"
#include "platform/posix/static_lock.h"

FILE *g_log_file = nullptr;

namespace zep {
namespace {

// Guards g_log_file, its buffer and g_log_config.max_file_size.
constinit static_lock g_sink_lock;
char g_sink_buffer[4096];

// All functions below run under the lock.

void close_stream() {
    if (g_log_file != nullptr) {
        std::fclose(g_log_file);
        g_log_file = nullptr;
    }
}

// The stream that was open is closed before its buffer serves the next one.
sink_state open_stream(const char *mode) {
    close_stream();
    g_log_file = std::fopen(LOG_FILE_NAME, mode);
    if (g_log_file == nullptr) {
        return sink_state::FAILED;
    }
    const int error = std::setvbuf(g_log_file, g_sink_buffer, _IOFBF, sizeof g_sink_buffer);
    return error == 0 ? sink_state::OPEN : sink_state::UNBUFFERED;
}

void report_to_console(uint32_t level, const char *message) {
    if (log_passes(level)) {
        console_write(level, message);
    }
}

void append(uint32_t level, const char *message) {
    char line[LOG_FILE_LINE_SIZE];
    const int wanted = std::snprintf(line, sizeof line, LOG_LINE_FORMAT, log_tick(),
                                     log_level_name(level), message);
    const size_t length = std::min(static_cast<size_t>(std::max(wanted, 0)), sizeof line - 1);
    if (std::fwrite(line, 1, length, g_log_file) != length || std::fflush(g_log_file) != 0) {
        close_stream();
        report_to_console(AGENT_LOG_ERROR, "日志写入文件失败，关闭句柄");
    }
}

// Starts the file again from empty.
void rebuild() {
    const sink_state state = open_stream("we");
    if (state == sink_state::FAILED) {
        report_to_console(AGENT_LOG_ERROR, "重建日志文件失败：" LOG_FILE_NAME);
    } else if (state == sink_state::UNBUFFERED && log_passes(AGENT_LOG_WARN)) {
        const char *warning = "重建文件后设置缓冲失败";
        console_write(AGENT_LOG_WARN, warning);
        append(AGENT_LOG_WARN, warning);
    }
}

// Sizes are compared as signed 32-bit values: a larger cap counts as the largest of them.
bool has_reached_cap(long size) {
    const uint32_t cap = std::min<uint32_t>(g_log_config.max_file_size, INT32_MAX);
    return cap != 0 && size > 0 && size >= static_cast<long>(cap);
}

}  // namespace

sink_state file_sink_open(uint32_t max_size) {
    const std::lock_guard guard(g_sink_lock);
    g_log_config.max_file_size = max_size;
    return open_stream("ae");
}

sink_state file_sink_clear() {
    const std::lock_guard guard(g_sink_lock);
    return g_log_file == nullptr ? sink_state::NONE : open_stream("we");
}

bool file_sink_close() {
    const std::lock_guard guard(g_sink_lock);
    const bool was_open = g_log_file != nullptr;
    close_stream();
    return was_open;
}

void file_sink_write(uint32_t level, const char *message) {
    const std::lock_guard guard(g_sink_lock);
    if (g_log_file == nullptr) {
        return;
    }
    const long size = std::fseek(g_log_file, 0, SEEK_END) == 0 ? std::ftell(g_log_file) : -1;
    if (size < 0) {
        close_stream();
        report_to_console(AGENT_LOG_ERROR, "日志文件大小获取失败，关闭句柄");
        return;
    }
    if (has_reached_cap(size)) {
        rebuild();
    }
    if (g_log_file != nullptr) {
        append(level, message);
    }
}

}  // namespace zep
