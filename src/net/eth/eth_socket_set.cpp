#include <algorithm>

#include <zep_mqtt/net/eth.h>
#include <zep_mqtt/net/socket.h>

#include "core/shared.h"
#include "log/log_lines.h"
#include "net/eth/eth_private.h"
#include "net/system_socket.h"
#include "platform/mutex_guard.h"

eth_socket_set g_eth_socks = {};
int32_t g_eth_max_sock = -1;
void *g_sock_set_mutex = nullptr;
int32_t g_tcp_mqtt_sock = -1;

namespace {

int32_t *watched_end() {
    return g_eth_socks.socks + g_eth_socks.count;
}
int32_t *find_watched(int32_t sock) {
    return std::find(g_eth_socks.socks, watched_end(), sock);
}

void empty_set() {
    g_eth_socks.count = 0;
    g_eth_max_sock = -1;
}

// Several TCP sockets can live at the same time, and one of them only bears the mark.
bool is_tcp(int32_t sock) {
    return sock == zep::shared(g_tcp_mqtt_sock).load() ||
           zep::socket_kind_of(sock) == zep::socket_kind::stream;
}

}  // namespace

void eth_socket_set_init(void) {
    if (g_sock_set_mutex == nullptr) {
        g_sock_set_mutex = platform_mutex_create();
    }
    {
        const zep::mutex_guard guard(g_sock_set_mutex);
        empty_set();
    }
    LOG_DEBUG("%s: ETH 套接字集合初始化完成", __func__);
}

void eth_socket_set_add(int32_t sock) {
    if (sock == -1 || g_sock_set_mutex == nullptr) {
        LOG_ERROR("%s: 添加失败：无效套接字或未初始化锁", __func__);
        return;
    }
    if (is_tcp(sock)) {
        LOG_INFO("%s: TCP MQTT套接字%d，跳过UDP集合添加", __func__, sock);
        return;
    }
    {
        const zep::mutex_guard guard(g_sock_set_mutex);
        if (!zep::eth_is_watched_locked(sock) && g_eth_socks.count < ETH_SOCKET_SET_MAX) {
            g_eth_socks.socks[g_eth_socks.count++] = sock;
            g_eth_max_sock = std::max(g_eth_max_sock, sock);
        }
    }
    LOG_DEBUG("%s: 套接字%d添加到ETH集合", __func__, sock);
}

void eth_socket_set_remove(int32_t sock) {
    if (sock != -1 && zep::eth_unwatch(sock)) {
        zep::eth_log_unwatched(sock);
    }
}

void eth_set_mqtt_tcp_socket(int32_t sock) {
    zep::shared(g_tcp_mqtt_sock).store(sock);
    LOG_INFO("%s: MQTT TCP套接字标记完成，句柄：%d", __func__, sock);
}

namespace zep {

bool eth_unwatch(int32_t sock) {
    if (g_sock_set_mutex == nullptr) {
        return false;
    }
    const mutex_guard guard(g_sock_set_mutex);
    eth_unwatch_locked(sock);
    return true;
}

void eth_unwatch_locked(int32_t sock) {
    int32_t *place = find_watched(sock);
    if (place == watched_end()) {
        return;
    }
    std::copy(place + 1, watched_end(), place);
    --g_eth_socks.count;
    if (sock == g_eth_max_sock) {
        g_eth_max_sock =
            g_eth_socks.count == 0 ? -1 : *std::max_element(g_eth_socks.socks, watched_end());
    }
}

bool eth_is_watched_locked(int32_t sock) {
    return find_watched(sock) != watched_end();
}

void eth_log_unwatched(int32_t sock) {
    LOG_DEBUG("eth_socket_set_remove: 套接字%d从ETH集合移除", sock);
}

void eth_socket_set_release() {
    platform_mutex_destroy(g_sock_set_mutex);
    g_sock_set_mutex = nullptr;
    empty_set();
}

void eth_close_socket(int32_t sock) {
    int32_t marked = sock;
    shared(g_tcp_mqtt_sock).compare_exchange(marked, -1);
    const bool unwatched = eth_unwatch(sock);
    net_socket_close(sock);
    if (unwatched) {
        eth_log_unwatched(sock);
    }
}

}  // namespace zep
