// Bounded reader over untrusted bytes. The first read past the end makes the reader fail for good;
// every later read yields zero, so a decoder lays out its reads and looks at ok() once.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/byte_view.h"

namespace zep {

class byte_reader {
 public:
    byte_reader(const uint8_t *data, size_t size) : begin_(data), next_(data), end_(data + size) {}

    bool ok() const { return !failed_; }
    size_t left() const { return static_cast<size_t>(end_ - next_); }
    size_t position() const { return static_cast<size_t>(next_ - begin_); }
    const uint8_t *next() const { return next_; }

    void fail() {
        failed_ = true;
        next_ = end_;
    }

    uint8_t u8() {
        const uint8_t *p = bytes(1);
        return p == nullptr ? uint8_t{0} : p[0];
    }

    uint16_t u16() {
        const uint8_t *p = bytes(2);
        return p == nullptr ? uint16_t{0} : static_cast<uint16_t>(p[0] << 8 | p[1]);
    }

    uint32_t u32() {
        const uint8_t *p = bytes(4);
        return p == nullptr ? 0
                            : uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 |
                                  uint32_t{p[3]};
    }

    // The next n bytes, in place; null when they are not there. n of 0 gives a pointer to nothing
    // that must not be read.
    const uint8_t *bytes(size_t n) {
        if (failed_ || n > left()) {
            fail();
            return nullptr;
        }
        const uint8_t *p = next_;
        next_ += n;
        return p;
    }

    void skip(size_t n) { (void)bytes(n); }

    // All that is left, in place; no data when that is nothing.
    byte_view rest() {
        const size_t size = left();
        return {size == 0 ? nullptr : bytes(size), size};
    }

    // A length-prefixed field (MQTT 3.1.1 §1.5.3). When its bytes are not all there the data is
    // null and the size is the one that was stated.
    byte_view field() {
        const size_t size = u16();
        return {bytes(size), size};
    }

    // A reader over the next n bytes alone; this reader moves past them.
    byte_reader sub(size_t n) {
        const uint8_t *p = bytes(n);
        byte_reader part(p, p == nullptr ? 0 : n);
        part.failed_ = p == nullptr;
        return part;
    }

 private:
    const uint8_t *begin_;
    const uint8_t *next_;
    const uint8_t *end_;
    bool failed_ = false;
};

}  // namespace zep
