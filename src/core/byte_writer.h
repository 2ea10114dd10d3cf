// Bounded writer. The first write that does not fit makes the writer fail for good and writes
// nothing, so an encoder lays out its fields and looks at ok() once. Without a buffer it only
// counts, so that the same code measures and writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/byte_view.h"

namespace zep {

class byte_writer {
 public:
    byte_writer(uint8_t *buffer, size_t capacity) : begin_(buffer), capacity_(capacity) {}

    bool ok() const { return !failed_; }
    size_t size() const { return size_; }
    size_t capacity() const { return capacity_; }
    size_t left() const { return failed_ ? 0 : capacity_ - size_; }

    void u8(uint8_t value) { bytes(&value, 1); }

    void u16(uint16_t value) {
        const uint8_t raw[2] = {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
        bytes(raw, sizeof raw);
    }

    void u32(uint32_t value) {
        const uint8_t raw[4] = {static_cast<uint8_t>(value >> 24),
                                static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 8),
                                static_cast<uint8_t>(value)};
        bytes(raw, sizeof raw);
    }

    void bytes(const void *data, size_t n);

    // Leaves n bytes for the caller to fill.
    void gap(size_t n) {
        if (failed_ || n > capacity_ - size_) {
            failed_ = true;
            return;
        }
        size_ += n;
    }

    // A length-prefixed field (MQTT 3.1.1 §1.5.3): two bytes of length, then the bytes.
    void field(const void *data, size_t n) {
        if (n > UINT16_MAX) {
            failed_ = true;
            return;
        }
        u16(static_cast<uint16_t>(n));
        bytes(data, n);
    }

    void text(std::string_view value) { field(value.data(), value.size()); }

    // Moves what was written from `at` on up by n bytes and gives the gap to be filled; null when
    // there is no room, or no buffer.
    uint8_t *insert(size_t at, size_t n) {
        gap(n);
        if (failed_ || begin_ == nullptr) {
            return nullptr;
        }
        if (n != 0) {
            std::memmove(begin_ + at + n, begin_ + at, size_ - n - at);
        }
        return begin_ + at;
    }

    void fail() { failed_ = true; }

 private:
    uint8_t *begin_;
    size_t capacity_;
    size_t size_ = 0;
    bool failed_ = false;
};

}  // namespace zep
