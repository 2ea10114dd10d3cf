// What the two sinks of the log share: the form of a line, and the console itself.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zep {

// At most 1022 bytes of message and 510 of a line in the file, each with its terminator; what is
// longer is cut.
constexpr size_t LOG_MESSAGE_SIZE = 1023;
constexpr size_t LOG_FILE_LINE_SIZE = 511;

// Tick in milliseconds, level name, message.
#define LOG_LINE_FORMAT "[%u] [%s] %s\n"

// No line takes more than this beside its message.
constexpr size_t LOG_LINE_FRAME_SIZE = sizeof "[4294967295] [UNKNOWN] \n";

const char *log_level_name(uint32_t level);

// The low 32 bits of the tick clock.
uint32_t log_tick();

bool log_targets(uint32_t target);

// Writes one line to the console if it is a target. The level has been tested by the caller.
void console_write(uint32_t level, const char *message);

}  // namespace zep
