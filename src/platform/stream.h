// What the log needs of the C library's streams and what the systems do differently.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace zep {

enum class stream_mode { append, truncate };

// Opens a file for writing, and creates it, if need be, for its owner alone; child processes do not
// inherit it. Bytes are written as they are; name is UTF-8. Null on failure.
FILE *stream_open(const char *name, stream_mode mode);

// Moves to the end of the file and gives its size in bytes, also above 2 GiB; -1 on failure.
int64_t stream_seek_end(FILE *stream);

// Writes a line, UTF-8 with its "\n", to standard output in one piece.
void stream_print(const char *line, size_t size);

}  // namespace zep
