#include "log/file_sink.h"

#include <algorithm>
#include <cstdio>
#include <mutex>

#include <zep_mqtt/log/log.h>

#include "log/console.h"
#include "log/log_lines.h"
#include "platform/stream.h"
#include "static_lock.h"

FILE *g_log_file = nullptr;

namespace zep {
namespace {

constexpr size_t BUFFER_SIZE = 4096;

// Guards g_log_file and g_log_config.max_file_size.
constinit static_lock g_sink_lock;

// All functions below run under the lock.

void close_stream() {
    if (g_log_file != nullptr) {
        std::fclose(g_log_file);
        g_log_file = nullptr;
    }
}

sink_state open_stream(stream_mode mode) {
    close_stream();
    g_log_file = stream_open(LOG_FILE_NAME, mode);
    if (g_log_file == nullptr) {
        return sink_state::FAILED;
    }
    const int error = std::setvbuf(g_log_file, nullptr, _IOFBF, BUFFER_SIZE);
    return error == 0 ? sink_state::OPEN : sink_state::UNBUFFERED;
}

// Closes the stream when the line cannot be written.
void append(uint32_t level, const char *message) {
    char line[LOG_FILE_LINE_SIZE];
    const int wanted = std::snprintf(line, sizeof line, LOG_LINE_FORMAT, log_tick(),
                                     log_level_name(level), message);
    const size_t length = std::min(static_cast<size_t>(std::max(wanted, 0)), sizeof line - 1);
    if (std::fwrite(line, 1, length, g_log_file) != length || std::fflush(g_log_file) != 0) {
        close_stream();
    }
}

// Sizes are compared as signed 32-bit values: a larger cap counts as the largest of them.
bool has_reached_cap(int64_t size) {
    const uint32_t cap = std::min<uint32_t>(g_log_config.max_file_size, INT32_MAX);
    return cap != 0 && size > 0 && size >= int64_t{cap};
}

}  // namespace

sink_state file_sink_open(uint32_t max_size) {
    const std::lock_guard guard(g_sink_lock);
    g_log_config.max_file_size = max_size;
    return open_stream(stream_mode::append);
}

sink_state file_sink_clear() {
    const std::lock_guard guard(g_sink_lock);
    return g_log_file == nullptr ? sink_state::NONE : open_stream(stream_mode::truncate);
}

bool file_sink_close() {
    const std::lock_guard guard(g_sink_lock);
    const bool was_open = g_log_file != nullptr;
    close_stream();
    return was_open;
}

sink_trouble file_sink_write(uint32_t level, const char *message) {
    const std::lock_guard guard(g_sink_lock);
    sink_trouble met;
    if (g_log_file == nullptr) {
        return met;
    }
    const int64_t size = stream_seek_end(g_log_file);
    if (size < 0) {
        close_stream();
        met.failure = "日志文件大小获取失败，关闭句柄";
        return met;
    }
    if (has_reached_cap(size)) {
        const sink_state state = open_stream(stream_mode::truncate);
        if (state == sink_state::FAILED) {
            met.failure = "重建日志文件失败：" LOG_FILE_NAME;
            return met;
        }
        met.rebuilt_unbuffered = state == sink_state::UNBUFFERED;
        if (met.rebuilt_unbuffered && log_passes(AGENT_LOG_WARN)) {
            append(AGENT_LOG_WARN, REBUILT_UNBUFFERED);
        }
    }
    if (g_log_file != nullptr) {
        append(level, message);
    }
    if (g_log_file == nullptr) {
        met.failure = "日志写入文件失败，关闭句柄";
    }
    return met;
}

}  // namespace zep
