#include <zep_mqtt/net/socket.h>

#include "log/log_lines.h"
#include "net/system_socket.h"

int32_t net_udp_socket_create(void) {
    return net_udp_socket_create_win32();
}

bool net_udp_bind(int32_t sock, uint16_t port) {
    return net_udp_bind_win32(sock, port);
}

int32_t net_udp_sendto(int32_t sock, const char *address, uint16_t port, const uint8_t *data,
                       uint32_t length) {
    return net_udp_sendto_win32(sock, address, port, data, length);
}

void net_socket_close(int32_t sock) {
    net_socket_close_win32(sock);
}

void net_socket_close_win32(int32_t sock) {
    if (sock == -1) {
        return;
    }
    zep::socket_close(sock);
    LOG_INFO("net_socket_close_win32: 套接字(%d)已关闭", sock);
}
