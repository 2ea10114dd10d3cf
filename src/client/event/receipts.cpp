#include "client/event/receipts.h"

#include <zep_mqtt/platform/memory.h>

#include "core/heap_copy.h"

namespace zep {

namespace {

constexpr uint32_t SMALLEST = 32;

}  // namespace

bool receipt_queue::grow() {
    const uint32_t capacity = capacity_ == 0 ? SMALLEST : 2 * capacity_;
    auto *entries = static_cast<receipt *>(heap_block(size_t{capacity} * sizeof(receipt)));
    if (entries == nullptr) {
        return false;
    }
    for (uint32_t i = 0; i < count_; ++i) {
        entries[i] = at(i);
    }
    platform_free(entries_);
    entries_ = entries;
    capacity_ = capacity;
    start_ = 0;
    return true;
}

// At most one for each of the 65,535 identifiers, so the queue is bounded by the protocol.
uint64_t receipt_queue::add(uint16_t id, uint8_t qos) {
    if (count_ == UINT16_MAX || (count_ == capacity_ && !grow())) {
        return 0;
    }
    at(count_) = {id, qos, false};
    return first_number_ + count_++;
}

receipt_queue::given receipt_queue::give(uint64_t number) {
    if (number == 0 || number >= first_number_ + count_) {
        return given::unknown;
    }
    if (number < first_number_) {
        return given::stale;
    }
    receipt &entry = at(static_cast<uint32_t>(number - first_number_));
    if (entry.given) {
        return given::unknown;
    }
    entry.given = true;
    return given::now;
}

const receipt *receipt_queue::ready() const {
    return count_ != 0 && at(0).given ? &at(0) : nullptr;
}

void receipt_queue::drop_oldest() {
    start_ = (start_ + 1) % capacity_;
    --count_;
    ++first_number_;
}

void receipt_queue::release() {
    platform_free(entries_);
    entries_ = nullptr;
    capacity_ = count_ = 0;
}

}  // namespace zep
