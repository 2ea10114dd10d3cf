#include <zep_mqtt/platform/clock.h>

uint64_t platform_get_tick_ms(void) {
    return platform_get_tick_ms_win32();
}

int64_t platform_get_utc_seconds(void) {
    return platform_get_utc_seconds_win32();
}

void platform_delay_ms(uint32_t ms) {
    platform_delay_ms_win32(ms);
}
