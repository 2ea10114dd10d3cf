#include "log/console.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include <zep_mqtt/log/log.h>
#include <zep_mqtt/platform/clock.h>

#include "core/shared.h"
#include "platform/stream.h"

const char *const g_log_level_str[5] = {"DEBUG", "INFO", "WARN", "ERROR", "FATAL"};

namespace {

agent_log_sink g_sink = nullptr;
void *g_sink_user = nullptr;

}  // namespace

void agent_log_set_sink(agent_log_sink sink, void *user) {
    g_sink = sink;
    g_sink_user = user;
}

namespace zep {

const char *log_level_name(uint32_t level) {
    return level < std::size(g_log_level_str) ? g_log_level_str[level] : "UNKNOWN";
}

uint32_t log_tick() {
    return static_cast<uint32_t>(platform_get_tick_ms());
}

bool log_targets(uint32_t target) {
    return (shared(g_log_config.targets).load(std::memory_order_relaxed) & target) != 0;
}

void console_write(uint32_t level, const char *message) {
    if (!log_targets(AGENT_LOG_CONSOLE)) {
        return;
    }
    if (g_sink != nullptr) {
        g_sink(g_sink_user, level, log_tick(), message);
        return;
    }
    char line[LOG_MESSAGE_SIZE + LOG_LINE_FRAME_SIZE];
    const int length = std::snprintf(line, sizeof line, LOG_LINE_FORMAT, log_tick(),
                                     log_level_name(level), message);
    stream_print(line, std::min(static_cast<size_t>(std::max(length, 0)), sizeof line - 1));
}

}  // namespace zep
