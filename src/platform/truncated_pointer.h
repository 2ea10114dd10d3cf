// The guard against pointers that were cut to 32 bits and sign-extended on their way.
#pragma once

#include <cstdint>

#include "log/log_lines.h"

namespace zep {

// On a 64-bit address space no object lives where the upper 32 bits are all ones.
inline bool is_truncated(const void *pointer) {
    const uint64_t upper_half = 0xFFFFFFFF00000000;
    return sizeof(void *) == sizeof(uint64_t) &&
           (~uint64_t{reinterpret_cast<uintptr_t>(pointer)} & upper_half) == 0;
}

// The same, with the first line of the report; the caller adds its own.
inline bool refuse_truncated(const void *pointer) {
    if (!is_truncated(pointer)) {
        return false;
    }
    LOG_ERROR("Invalid pointer (truncated): %p", pointer);
    return true;
}

}  // namespace zep
