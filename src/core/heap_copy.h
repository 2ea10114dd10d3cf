// Heap blocks that are owned until they are released into a record, so that every refusal on the
// way gives them back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <type_traits>

#include <zep_mqtt/platform/memory.h>

namespace zep {

struct platform_free_deleter {
    void operator()(const void *block) const { platform_free(const_cast<void *>(block)); }
};

template <typename T>
using heap_ptr = std::unique_ptr<T, platform_free_deleter>;

// A block of a size that the platform can be asked for; null when memory is exhausted.
inline void *heap_block(size_t size) {
    return size > UINT32_MAX ? nullptr : platform_malloc(static_cast<uint32_t>(size));
}

// count zeroed elements; null when memory is exhausted.
template <typename T>
heap_ptr<T[]> heap_zeroed(size_t count) {
    static_assert(std::is_trivial_v<T>);
    void *block = heap_block(count * sizeof(T));
    if (block != nullptr) {
        std::memset(block, 0, count * sizeof(T));
    }
    return heap_ptr<T[]>(static_cast<T *>(block));
}

// A copy of size bytes, at least 1; null when memory is exhausted.
inline heap_ptr<uint8_t[]> heap_bytes(const uint8_t *bytes, size_t size) {
    heap_ptr<uint8_t[]> copy(static_cast<uint8_t *>(heap_block(size)));
    if (copy != nullptr) {
        std::memcpy(copy.get(), bytes, size);
    }
    return copy;
}

// A NUL-terminated copy of a text, which may be empty; null when memory is exhausted.
inline heap_ptr<char[]> heap_text(std::string_view text) {
    heap_ptr<char[]> copy(static_cast<char *>(heap_block(text.size() + 1)));
    if (copy != nullptr) {
        if (!text.empty()) {
            std::memcpy(copy.get(), text.data(), text.size());
        }
        copy[text.size()] = '\0';
    }
    return copy;
}

}  // namespace zep
