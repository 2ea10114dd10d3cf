#include "log/console.h"

#include <cstdio>
#include <iterator>

#include <zep_mqtt/log/log.h>
#include <zep_mqtt/platform/clock.h>

#include "core/shared.h"

const char *const g_log_level_str[5] = {"DEBUG", "INFO", "WARN", "ERROR", "FATAL"};

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
    if (log_targets(AGENT_LOG_CONSOLE)) {
        // One call prints the whole line: the stream's own lock keeps lines apart.
        std::printf(LOG_LINE_FORMAT, log_tick(), log_level_name(level), message);
    }
}

}  // namespace zep
