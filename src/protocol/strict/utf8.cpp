#include "protocol/strict/utf8.h"

#include <cstring>
#include <string_view>

#include "core/byte_reader.h"
#include "topic/wildcards.h"

namespace zep::strict {

namespace {

constexpr std::string_view SHARED_PREFIX = "$share/";

std::string_view as_string(text_view text) {
    return {text.data, text.size};
}

// What the first byte says of its character: the bytes that follow, the bits it brings, and the
// least value that needs so many bytes.
struct lead {
    uint32_t following;
    uint32_t bits;
    uint32_t least;
};

bool read_lead(uint8_t byte, lead &out) {
    if (byte < 0x80) {
        out = {0, byte, 1};  // U+0000 is no character of a text
    } else if ((byte & 0xE0) == 0xC0) {
        out = {1, byte & 0x1Fu, 0x80};
    } else if ((byte & 0xF0) == 0xE0) {
        out = {2, byte & 0x0Fu, 0x800};
    } else if ((byte & 0xF8) == 0xF0) {
        out = {3, byte & 0x07u, 0x10000};
    } else {
        return false;
    }
    return true;
}

bool is_character(uint32_t value, uint32_t least) {
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    return value >= least && value <= 0x10FFFF && !surrogate;
}

}  // namespace

text_view view_of(const char *text) {
    return {text, text == nullptr ? 0 : std::strlen(text)};
}

bool is_utf8(text_view text) {
    byte_reader reader(reinterpret_cast<const uint8_t *>(text.data), text.size);
    while (reader.left() != 0) {
        lead first;
        if (!read_lead(reader.u8(), first)) {
            return false;
        }
        uint32_t value = first.bits;
        for (uint32_t i = 0; i < first.following; ++i) {
            const uint32_t byte = reader.u8();  // 0 past the end, which continues nothing
            if ((byte & 0xC0) != 0x80) {
                return false;
            }
            value = value << 6 | (byte & 0x3F);
        }
        if (!is_character(value, first.least)) {
            return false;
        }
    }
    return true;
}

bool has_wildcard(text_view text) {
    const std::string_view name = as_string(text);
    return name.find('+') != std::string_view::npos || name.find('#') != std::string_view::npos;
}

bool is_topic_name(text_view text) {
    return text.size >= 1 && text.size <= UINT16_MAX && is_utf8(text) && !has_wildcard(text);
}

bool is_shared_filter(text_view text) {
    // Without optimisation, starts_with() calls the C++ runtime library.
    return text.size >= SHARED_PREFIX.size() &&
           std::memcmp(text.data, SHARED_PREFIX.data(), SHARED_PREFIX.size()) == 0;
}

bool is_topic_filter(text_view text, bool shared) {
    if (text.size < 1 || text.size > UINT16_MAX || !is_utf8(text)) {
        return false;
    }
    std::string_view filter = as_string(text);
    if (shared && is_shared_filter(text)) {
        filter.remove_prefix(SHARED_PREFIX.size());
        const size_t group = filter.find('/');
        if (group == std::string_view::npos || group == 0 || has_wildcard({filter.data(), group})) {
            return false;
        }
        filter.remove_prefix(group + 1);
        if (filter.empty()) {
            return false;
        }
    }
    return find_wildcard_fault(filter) == wildcard_fault::none;
}

}  // namespace zep::strict
