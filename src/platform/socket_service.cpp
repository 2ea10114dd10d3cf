#include <zep_mqtt/platform/socket_service.h>

int32_t platform_init(void) {
    return platform_init_win32();
}

int32_t platform_deinit(void) {
    return platform_deinit_win32();
}
