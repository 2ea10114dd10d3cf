// The system's error codes: errno on POSIX, GetLastError() on Windows.
#pragma once

#include <cstdint>

namespace zep {

// That of the calling thread's last failed operation.
int32_t system_last_error();
void system_set_last_error(int32_t error);

// What the system says when memory is exhausted, and when an argument is wrong.
extern const int32_t SYSTEM_NO_MEMORY;
extern const int32_t SYSTEM_INVALID_ARGUMENT;

}  // namespace zep
