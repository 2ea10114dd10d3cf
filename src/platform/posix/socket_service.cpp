#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <zep_mqtt/platform/socket_service.h>

#include "platform/posix/descriptor.h"

// Sockets need no service here.
int32_t platform_init_win32(void) {
    return 1;
}

int32_t platform_deinit_win32(void) {
    return 0;
}

int32_t platform_check_port_in_use_win32(uint16_t port) {
    const int probe = zep::above_standard(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (probe < 0) {
        return 1;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(port);
    const int bound = bind(probe, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    close(probe);
    return bound == 0 ? 0 : 1;
}
