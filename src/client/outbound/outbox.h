// Bytes on their way to the socket: what it has not taken yet, in order, in a buffer of fixed size.
#pragma once

#include <cstdint>
#include <cstring>

namespace zep {

class outbox {
 public:
    // `reserve` bytes of the capacity are for packets that must always find room.
    void attach(uint8_t *buffer, uint32_t capacity, uint32_t reserve) {
        bytes_ = buffer;
        capacity_ = capacity;
        reserve_ = reserve;
    }

    bool has_room(uint32_t length) const {
        return free() >= reserve_ && free() - reserve_ >= length;
    }
    bool has_reserve(uint32_t length) const { return free() >= length; }

    // How much of the room is kept for packets that must find it, from now on.
    void set_reserve(uint32_t reserve) { reserve_ = reserve; }
    uint32_t free() const { return capacity_ - pending(); }

    // Room for the next `length` bytes, which are there by one of the two questions above. They are
    // part of the stream from then on.
    uint8_t *append(uint32_t length) {
        if (capacity_ - end_ < length) {
            std::memmove(bytes_, bytes_ + start_, pending());
            end_ -= start_;
            start_ = 0;
        }
        uint8_t *place = bytes_ + end_;
        end_ += length;
        return place;
    }

    const uint8_t *data() const { return bytes_ + start_; }
    uint32_t pending() const { return end_ - start_; }

    void taken(uint32_t length) {
        start_ += length;
        if (start_ == end_) {
            clear();
        }
    }
    void clear() { start_ = end_ = 0; }

 private:
    uint8_t *bytes_ = nullptr;
    uint32_t capacity_ = 0;
    uint32_t reserve_ = 0;
    uint32_t start_ = 0;
    uint32_t end_ = 0;
};

}  // namespace zep
