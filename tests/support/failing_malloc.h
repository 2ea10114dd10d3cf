// Makes allocations of the library fail on demand, and counts its blocks. The test programs are
// linked so that every malloc, calloc, realloc and free of the library goes through here; those of
// GoogleTest and of the C++ runtime do not.
#pragma once

#include <cstdint>

namespace zep_test {

// From construction on, the allocation number fail_at (counted from 0) of the library fails, and
// only that one. Destruction lets everything succeed again.
class failing_malloc {
 public:
    explicit failing_malloc(uint64_t fail_at);
    ~failing_malloc();
    failing_malloc(const failing_malloc &) = delete;
    failing_malloc &operator=(const failing_malloc &) = delete;

    bool has_failed() const;
};

// Whether a lock of the platform needs memory of the heap; what is allocated next to it differs.
bool locks_need_the_heap();

// How many allocations the library has made so far, failed ones included.
uint64_t allocations_made();
// How many blocks it has not released.
int64_t blocks_held();

}  // namespace zep_test
