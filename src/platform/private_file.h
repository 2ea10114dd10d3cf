// A file that the library writes for the owner of the process. Each backend implements it.
#pragma once

#include <cstdint>
#include <cstdio>

namespace zep {

enum class file_start { append, empty };

// Opens a file for writing, and creates it, if need be, for its owner alone; programs that the
// process starts do not inherit it. Null when the system refuses.
FILE *open_private_file(const char *path, file_start start);

// Moves to the end of the file. The position there in bytes, -1 when the system does not tell.
int64_t seek_end(FILE *file);

}  // namespace zep
