// A field of a plain record, or a global, that several threads read and write.
#pragma once

#include <atomic>
#include <cstdint>

namespace zep {

// Loads and stores are atomic for every size. A read-modify-write is offered for 32 bits and more
// only: some processors have none for single bytes, and the compiler would call a library for it
// that nothing else here needs.
template <typename T>
class shared {
 public:
    explicit shared(T &field) : ref_(field) {}

    T load(std::memory_order order = std::memory_order_seq_cst) const { return ref_.load(order); }

    void store(T value, std::memory_order order = std::memory_order_seq_cst) const {
        ref_.store(value, order);
    }

    T exchange(T value, std::memory_order order = std::memory_order_seq_cst) const {
        static_assert(HAS_READ_MODIFY_WRITE);
        return ref_.exchange(value, order);
    }

    // Writes value if the field holds expected; else expected becomes what it holds.
    bool compare_exchange(T &expected, T value,
                          std::memory_order order = std::memory_order_seq_cst) const {
        static_assert(HAS_READ_MODIFY_WRITE);
        return ref_.compare_exchange_strong(expected, value, order);
    }

 private:
    static constexpr bool HAS_READ_MODIFY_WRITE = sizeof(T) >= sizeof(uint32_t);

    std::atomic_ref<T> ref_;
};

// A field that is only looked at.
template <typename T>
T shared_load(const T &field, std::memory_order order = std::memory_order_seq_cst) {
    return std::atomic_ref<T>(const_cast<T &>(field)).load(order);
}

// Sets a flag of one byte. Of several callers at the same time one finds it clear, and gets true.
bool shared_claim(uint8_t &flag);

}  // namespace zep
