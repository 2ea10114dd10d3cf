#include <algorithm>
#include <atomic>

#include <zep_mqtt/net/eth.h>
#include <zep_mqtt/net/recv_queue.h>

#include "core/shared.h"
#include "log/log_lines.h"
#include "net/eth/eth_private.h"
#include "net/system_socket.h"
#include "platform/mutex_guard.h"

uint8_t g_thread_running = 0;

namespace {

constexpr uint32_t PASS_MS = 100;
constexpr char NAME[] = "eth_interrupt_thread_proc";

constinit std::atomic<bool> g_reception_held{false};

int32_t marked_tcp_socket() {
    return zep::shared(g_tcp_mqtt_sock).load();
}

// What one pass waits for: the watched sockets, in ascending order.
struct watch_list {
    zep::watched_socket sockets[ETH_SOCKET_SET_MAX];
    uint32_t count = 0;

    std::span<zep::watched_socket> span() { return {sockets, count}; }
};

// A marked socket is left out: it is never read, so waiting for it would end at once for ever.
void copy_watched(watch_list *list) {
    if (g_reception_held.load()) {
        return;
    }
    const zep::mutex_guard guard(g_sock_set_mutex);
    const int32_t marked = marked_tcp_socket();
    for (uint32_t i = 0; i < g_eth_socks.count; ++i) {
        if (g_eth_socks.socks[i] != marked) {
            list->sockets[list->count++] = zep::watched_socket{g_eth_socks.socks[i], false};
        }
    }
    std::sort(list->sockets, list->sockets + list->count,
              [](const auto &a, const auto &b) { return a.sock < b.sock; });
}

void offer_to_queue(int32_t sock, const net_queue_entry &entry) {
    const int32_t status = net_interface_enqueue(&entry);
    if (status != 0) {
        LOG_WARN("%s: 数据入队失败（错误：%d），丢弃%d字节来自%s:%d", NAME, status, entry.len,
                 entry.src_ip, entry.src_port);
        return;
    }
    LOG_DEBUG("%s: 收到%d字节来自%s:%d，套接字：%d", NAME, entry.len, entry.src_ip, entry.src_port,
              sock);
}

void receive_one(int32_t sock) {
    net_queue_entry entry{};
    const int32_t length = zep::socket_read_datagram(sock, entry.data, sizeof entry.data,
                                                     entry.src_ip, &entry.src_port);
    if (length > 0) {
        entry.len = static_cast<uint32_t>(length);
        offer_to_queue(sock, entry);
    } else if (length < 0) {
        const int32_t error = zep::socket_last_error();
        if (!zep::socket_would_block(error)) {
            LOG_ERROR("%s: recvfrom失败 sock=%d, err=%d", NAME, sock, error);
        }
    }
}

// A descriptor may have been closed, and its number given away, since the list was copied. What is
// not watched any more is not touched; what is watched but is no datagram socket (any more) would
// be ready for ever, and leaves the set.
void visit_ready(int32_t sock) {
    if (sock == marked_tcp_socket() || !zep::eth_is_watched_locked(sock)) {
        return;
    }
    if (zep::socket_kind_of(sock) != zep::socket_kind::datagram) {
        zep::eth_unwatch_locked(sock);
        zep::eth_log_unwatched(sock);
        return;
    }
    receive_one(sock);
}

// One pass. False when the wait failed.
bool receive_pass() {
    watch_list list;
    copy_watched(&list);
    const int32_t ready = zep::socket_wait_any(list.span(), PASS_MS);
    if (ready < 0) {
        LOG_ERROR("%s: select失败（错误码：%d），线程退出", NAME, zep::socket_last_error());
        return false;
    }
    if (ready == 0) {
        return true;
    }
    const zep::mutex_guard guard(g_sock_set_mutex);
    for (const zep::watched_socket &candidate : list.span()) {
        if (candidate.ready) {
            visit_ready(candidate.sock);
        }
    }
    return true;
}

}  // namespace

uint32_t eth_interrupt_thread_proc(void *) {
    LOG_INFO("%s: ETH 接收中断线程启动（监听动态端口）", NAME);
    while (zep::shared(g_thread_running).load() == 1 && receive_pass()) {
    }
    LOG_INFO("%s: ETH 接收中断线程退出", NAME);
    return 0;
}

zep::eth_reception_hold::eth_reception_hold() {
    g_reception_held.store(true);
}
zep::eth_reception_hold::~eth_reception_hold() {
    g_reception_held.store(false);
}
