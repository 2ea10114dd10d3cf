// Overwrites secrets before their memory goes back.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zep {

// Through volatile, so that the compiler keeps the stores although nobody reads them.
inline void wipe(void *memory, size_t size) {
    volatile uint8_t *bytes = static_cast<volatile uint8_t *>(memory);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = 0;
    }
}

}  // namespace zep
