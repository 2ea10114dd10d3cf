// The log file: one stream or none, under the log facility's only lock.
//
// The lock is held across file operations, which can block, on purpose: size check, rebuild and
// write are one step only if no other thread comes in between. No function here writes to the log
// or to the console: what went wrong is returned, for the caller to report.
#pragma once

#include <cstdint>

namespace zep {

#define LOG_FILE_NAME "zep_flash.txt"

enum class sink_state {
    NONE,        // no stream was open, and none is
    FAILED,      // the file could not be opened; no stream is open
    UNBUFFERED,  // open, but its buffer could not be set
    OPEN         // open and buffered
};

// What a write has met. After one of the failures no stream is open.
struct sink_trouble {
    bool rebuilt_unbuffered = false;  // the file was emptied, but its buffer could not be set
    const char *failure = nullptr;    // text of the failure, or null
};

// The line that stands in the file, too, when a rebuilt file has no buffer.
constexpr char REBUILT_UNBUFFERED[] = "重建文件后设置缓冲失败";

// Opens the file for appending; a stream that was open is closed first. max_size in bytes. Never
// NONE.
sink_state file_sink_open(uint32_t max_size);

// Empties the file. NONE when no stream is open.
sink_state file_sink_clear();

// Returns whether a stream was open.
bool file_sink_close();

// Writes one line and flushes it, after having emptied a file that has reached its cap. Nothing
// happens without an open stream. The level has been tested by the caller.
sink_trouble file_sink_write(uint32_t level, const char *message);

}  // namespace zep
