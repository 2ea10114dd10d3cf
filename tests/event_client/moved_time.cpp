#include "event_client/moved_time.h"

#include <atomic>

namespace {

std::atomic<uint64_t> g_moved_ms = 0;

}  // namespace

extern "C" {

uint64_t __real_platform_get_tick_ms(void);

uint64_t __wrap_platform_get_tick_ms(void) {
    return __real_platform_get_tick_ms() + g_moved_ms;
}
}

namespace zep_test {

void move_time(uint64_t by_ms) {
    g_moved_ms += by_ms;
}

}  // namespace zep_test
