#include <zep_mqtt/platform/socket_service.h>

#include "log/log_lines.h"
#include "platform/win32/windows_api.h"

int32_t platform_init_win32(void) {
    WSADATA ignored;
    const int error = WSAStartup(MAKEWORD(2, 2), &ignored);
    if (error != 0) {
        LOG_ERROR("WSAStartup failed: %d", error);
        return 0;
    }
    return 1;
}

int32_t platform_deinit_win32(void) {
    return WSACleanup();
}

int32_t platform_check_port_in_use_win32(uint16_t port) {
    const SOCKET probe = WSASocketW(AF_INET, SOCK_DGRAM, 0, nullptr, 0, WSA_FLAG_NO_HANDLE_INHERIT);
    if (probe == INVALID_SOCKET) {
        return 1;
    }
    // A socket that shares its port would not be in the way of another one that does.
    const BOOL on = TRUE;
    (void)setsockopt(probe, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char *>(&on),
                     sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(port);
    const int bound = bind(probe, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    closesocket(probe);
    return bound == 0 ? 0 : 1;
}
