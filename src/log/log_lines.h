// The log calls of the library's own code. The level is tested before any argument is evaluated, so
// a filtered line costs one load and one comparison.
#pragma once

#include <zep_mqtt/log/log.h>

#include "core/shared.h"

namespace zep {

inline bool log_passes(uint32_t level) {
    return level >= shared(g_log_config.level).load(std::memory_order_relaxed);
}

}  // namespace zep

#define LOG_LINE(level, ...)               \
    do {                                   \
        if (::zep::log_passes(level)) {    \
            agent_log(level, __VA_ARGS__); \
        }                                  \
    } while (false)

#define LOG_DEBUG(...) LOG_LINE(AGENT_LOG_DEBUG, __VA_ARGS__)
#define LOG_INFO(...) LOG_LINE(AGENT_LOG_INFO, __VA_ARGS__)
#define LOG_WARN(...) LOG_LINE(AGENT_LOG_WARN, __VA_ARGS__)
#define LOG_ERROR(...) LOG_LINE(AGENT_LOG_ERROR, __VA_ARGS__)
#define LOG_FATAL(...) LOG_LINE(AGENT_LOG_FATAL, __VA_ARGS__)
