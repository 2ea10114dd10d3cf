#include <algorithm>

#include <zep_mqtt/net/eth.h>
#include <zep_mqtt/net/net_status.h>
#include <zep_mqtt/net/recv_queue.h>
#include <zep_mqtt/net/socket.h>

#include "core/shared.h"
#include "log/log_lines.h"
#include "net/eth/eth_private.h"
#include "net/recv_queue_private.h"
#include "net/system_socket.h"
#include "platform/mutex_guard.h"

uint8_t g_thread_running = 0;

namespace {

constexpr uint32_t PASS_MS = 100;
constexpr char NAME[] = "eth_interrupt_thread_proc";

int32_t marked_tcp_socket() {
    return zep::shared(g_tcp_mqtt_sock).load();
}

// What became of one socket that was ready. Its lines are written when the pass has given the set's
// lock back: a console that takes no more must not hold up whoever opens or closes a socket.
struct visit {
    enum class outcome { nothing, unwatched, read_failed, offered };

    outcome result = outcome::nothing;
    int32_t sock = -1;
    int32_t code = 0;  // the system's error, or the queue's status
    uint32_t length = 0;
    char source[NET_IPV4_TEXT_SIZE] = {};
    uint16_t port = 0;
};

struct pass {
    zep::watched_socket sockets[ETH_SOCKET_SET_MAX];  // what it waits for, in ascending order
    uint32_t watched = 0;
    visit visits[ETH_SOCKET_SET_MAX];
    uint32_t visited = 0;
};

// A marked socket is left out: it is never read, so waiting for it would end at once for ever.
void copy_watched(pass *pass) {
    const zep::mutex_guard guard(g_sock_set_mutex);
    const int32_t marked = marked_tcp_socket();
    for (uint32_t i = 0; i < g_eth_socks.count; ++i) {
        if (g_eth_socks.socks[i] != marked) {
            pass->sockets[pass->watched++] = zep::watched_socket{g_eth_socks.socks[i], false};
        }
    }
    std::sort(pass->sockets, pass->sockets + pass->watched,
              [](const auto &a, const auto &b) { return a.sock < b.sock; });
}

void receive_one(visit *visit) {
    net_queue_entry entry{};
    const int32_t length = zep::socket_read_datagram(visit->sock, entry.data, sizeof entry.data,
                                                     entry.src_ip, &entry.src_port);
    if (length > 0) {
        entry.len = static_cast<uint32_t>(length);
        visit->result = visit::outcome::offered;
        visit->code = zep::recv_queue_put(entry);
        visit->length = entry.len;
        visit->port = entry.src_port;
        std::copy(std::begin(entry.src_ip), std::end(entry.src_ip), visit->source);
    } else if (length < 0) {
        visit->code = zep::socket_last_error();
        if (!zep::socket_would_block(visit->code)) {
            visit->result = visit::outcome::read_failed;
        }
    }
}

// A descriptor may have been closed, and its number given away, since the list was copied. What is
// not watched any more is not touched; what is watched but is no datagram socket (any more) would
// be ready for ever, and leaves the set.
void visit_ready(visit *visit) {
    if (visit->sock == marked_tcp_socket() || !zep::eth_is_watched_locked(visit->sock)) {
        return;
    }
    if (zep::socket_kind_of(visit->sock) != zep::socket_kind::datagram) {
        zep::eth_unwatch_locked(visit->sock);
        visit->result = visit::outcome::unwatched;
        return;
    }
    receive_one(visit);
}

void visit_all_ready(pass *pass) {
    const zep::mutex_guard guard(g_sock_set_mutex);
    for (uint32_t i = 0; i < pass->watched; ++i) {
        if (pass->sockets[i].ready) {
            visit &next = pass->visits[pass->visited++];
            next.sock = pass->sockets[i].sock;
            visit_ready(&next);
        }
    }
}

void log_offered(const visit &visit) {
    zep::recv_queue_log_put(visit.code, visit.length, visit.source, visit.port);
    if (visit.code != NET_OK) {
        LOG_WARN("%s: 数据入队失败（错误：%d），丢弃%d字节来自%s:%d", NAME, visit.code,
                 visit.length, visit.source, visit.port);
        return;
    }
    LOG_DEBUG("%s: 收到%d字节来自%s:%d，套接字：%d", NAME, visit.length, visit.source, visit.port,
              visit.sock);
}

void log_visit(const visit &visit) {
    switch (visit.result) {
        case visit::outcome::nothing:
            break;
        case visit::outcome::unwatched:
            zep::eth_log_unwatched(visit.sock);
            break;
        case visit::outcome::read_failed:
            LOG_ERROR("%s: recvfrom失败 sock=%d, err=%d", NAME, visit.sock, visit.code);
            break;
        case visit::outcome::offered:
            log_offered(visit);
            break;
    }
}

// False when the wait failed.
bool receive_pass() {
    pass pass;
    copy_watched(&pass);
    const int32_t ready = zep::socket_wait_any({pass.sockets, pass.watched}, PASS_MS);
    if (ready < 0) {
        LOG_ERROR("%s: select失败（错误码：%d），线程退出", NAME, zep::socket_last_error());
        return false;
    }
    if (ready > 0) {
        visit_all_ready(&pass);
        std::for_each(pass.visits, pass.visits + pass.visited, log_visit);
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
