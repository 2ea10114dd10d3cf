// Messages that the application acknowledges by itself, in the order of their arrival.
#pragma once

#include <cstdint>

namespace zep {

struct receipt {
    uint16_t id;
    uint8_t qos;
    bool given;
};

// A receipt's number counts on over all connections, so that one of an earlier connection is told
// apart from an unknown one.
class receipt_queue {
 public:
    // 0 when memory has run out.
    uint64_t add(uint16_t id, uint8_t qos);

    enum class given { now, stale, unknown };
    given give(uint64_t number);

    // The oldest one, if it has been given; null otherwise.
    const receipt *ready() const;
    const receipt *oldest() const { return count_ == 0 ? nullptr : &at(0); }
    void drop_oldest();
    void release();

 private:
    receipt &at(uint32_t index) const { return entries_[(start_ + index) % capacity_]; }
    bool grow();

    receipt *entries_ = nullptr;
    uint32_t capacity_ = 0;
    uint32_t start_ = 0;
    uint32_t count_ = 0;
    uint64_t first_number_ = 1;  // of the oldest one
};

}  // namespace zep
