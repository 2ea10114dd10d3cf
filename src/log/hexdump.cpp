#include <cstdio>

#include <zep_mqtt/log/log.h>

#include "log/log_lines.h"

namespace {

constexpr size_t BYTES_PER_ROW = 16;
constexpr size_t BYTE_WIDTH = 3;

}  // namespace

void agent_log_hexdump(const char *prefix, const uint8_t *data, uint16_t length) {
    if (!zep::log_passes(AGENT_LOG_DEBUG) || data == nullptr || length == 0) {
        return;
    }
    if (prefix != nullptr) {
        LOG_DEBUG("%s", prefix);
    }
    char row[BYTES_PER_ROW * BYTE_WIDTH + 1];
    for (uint16_t i = 0; i < length; ++i) {
        const size_t column = i % BYTES_PER_ROW;
        const size_t used = column * BYTE_WIDTH;
        const size_t left = sizeof row - used;
        if (std::snprintf(row + used, left, "%02X ", data[i]) != BYTE_WIDTH) {
            LOG_ERROR("agent_log_hexdump: format failed! i=%d, remaining_space=%zu", i, left);
            return;
        }
        if (column == BYTES_PER_ROW - 1 || i == length - 1) {
            LOG_DEBUG("%s", row);
        }
    }
}
