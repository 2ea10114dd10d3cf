// Bytes of another's memory, with their length. Texts are std::string_view.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zep {

struct byte_view {
    const uint8_t *data = nullptr;
    size_t size = 0;

    std::string_view text() const {
        return data == nullptr ? std::string_view()
                               : std::string_view(reinterpret_cast<const char *>(data), size);
    }
};

// The bytes of a NUL-terminated text.
inline byte_view bytes_of(const char *text) {
    return {reinterpret_cast<const uint8_t *>(text), std::string_view(text).size()};
}

}  // namespace zep
