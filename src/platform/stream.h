// What the log needs of the C library's streams and what the systems do differently.
#pragma once

#include <cstdint>
#include <cstdio>

namespace zep {

enum class stream_mode { append, truncate };

// Opens a file for writing, and creates it, if need be, for its owner alone; child processes do not
// inherit it. Null on failure.
FILE *stream_open(const char *name, stream_mode mode);

// Moves to the end of the file and gives its size in bytes, also above 2 GiB; -1 on failure.
int64_t stream_seek_end(FILE *stream);

}  // namespace zep
