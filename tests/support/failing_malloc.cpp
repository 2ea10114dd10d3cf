#include "support/failing_malloc.h"

#include <atomic>
#include <cstddef>

#include <zep_mqtt/platform/mutex.h>

namespace {

constexpr uint64_t NEVER = UINT64_MAX;
std::atomic<uint64_t> g_made{0};
std::atomic<uint64_t> g_fail_at{NEVER};
std::atomic<int64_t> g_held{0};

bool this_one_fails() {
    return g_made.fetch_add(1) == g_fail_at.load();
}

void *counted(void *block) {
    g_held += block != nullptr ? 1 : 0;
    return block;
}

}  // namespace

extern "C" {

void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
void __real_free(void *block);

void *__wrap_malloc(size_t size) {
    return this_one_fails() ? nullptr : counted(__real_malloc(size));
}

void *__wrap_calloc(size_t count, size_t size) {
    return this_one_fails() ? nullptr : counted(__real_calloc(count, size));
}

void *__wrap_realloc(void *block, size_t size) {
    return this_one_fails() ? nullptr : __real_realloc(block, size);
}

void __wrap_free(void *block) {
    g_held -= block != nullptr ? 1 : 0;
    __real_free(block);
}
}

namespace zep_test {

failing_malloc::failing_malloc(uint64_t fail_at) {
    g_fail_at = g_made.load() + fail_at;
}
failing_malloc::~failing_malloc() {
    g_fail_at = NEVER;
}
bool failing_malloc::has_failed() const {
    return g_made.load() > g_fail_at.load();
}
bool locks_need_the_heap() {
    const failing_malloc starved(0);
    void *const lock = platform_mutex_create();
    platform_mutex_destroy(lock);
    return lock == nullptr;
}
uint64_t allocations_made() {
    return g_made.load();
}
int64_t blocks_held() {
    return g_held.load();
}

}  // namespace zep_test
