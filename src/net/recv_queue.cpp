#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

#include <zep_mqtt/net/net_status.h>
#include <zep_mqtt/net/recv_queue.h>
#include <zep_mqtt/platform/semaphore.h>
#include <zep_mqtt/platform/text.h>

#include "log/log_lines.h"
#include "net/datagram_arguments.h"
#include "net/interface_private.h"
#include "net/recv_queue_private.h"
#include "platform/mutex_guard.h"
#include "static_lock.h"

net_recv_queue g_recv_queue = {};

namespace {

// Guards the life of the queue's two handles. Whoever uses the lock or raises the semaphore holds
// it, so that neither is destroyed under a producer that is still running. Waiting for the
// semaphore, and creating and destroying the two, which leaves lines in the log, happen outside.
constinit zep::static_lock g_handles_lock;

// For a holder of g_handles_lock.
bool is_usable() {
    return g_recv_queue.lock != nullptr && g_recv_queue.sem != nullptr;
}

void copy_entry(net_queue_entry *to, const net_queue_entry &from) {
    std::memcpy(to->data, from.data, from.len);
    to->len = from.len;
    (void)platform_strcpy_s(to->src_ip, sizeof to->src_ip, from.src_ip);
    to->src_port = from.src_port;
}

void link_at_tail(net_queue_entry *entry) {
    entry->next = nullptr;
    if (g_recv_queue.tail == nullptr) {
        g_recv_queue.head = entry;
    } else {
        g_recv_queue.tail->next = entry;
    }
    g_recv_queue.tail = entry;
    ++g_recv_queue.count;
}

net_queue_entry *unlink_head() {
    net_queue_entry *entry = g_recv_queue.head;
    if (entry != nullptr) {
        g_recv_queue.head = entry->next;
        if (g_recv_queue.head == nullptr) {
            g_recv_queue.tail = nullptr;
        }
        --g_recv_queue.count;
    }
    return entry;
}

// The blocks come straight from the C library: no line for each datagram.
int32_t append_copy(const net_queue_entry &entry) {
    const zep::mutex_guard guard(g_recv_queue.lock);
    if (g_recv_queue.count >= g_recv_queue.capacity) {
        return NET_ERR_QUEUE_FULL;
    }
    auto *copy = static_cast<net_queue_entry *>(std::malloc(sizeof(net_queue_entry)));
    if (copy == nullptr) {
        return NET_ERR_NO_MEMORY;
    }
    copy_entry(copy, entry);
    link_at_tail(copy);
    return NET_OK;
}

int32_t append_and_signal(const net_queue_entry &entry) {
    const std::lock_guard alive(g_handles_lock);
    if (!is_usable()) {
        return NET_ERR_INVALID_PARAM;
    }
    const int32_t status = append_copy(entry);
    if (status == NET_OK) {
        (void)platform_sem_post_win32(g_recv_queue.sem);
    }
    return status;
}

// The semaphore to wait for, or null when no entry may leave the queue.
void *usable_semaphore() {
    const std::lock_guard alive(g_handles_lock);
    return is_usable() ? g_recv_queue.sem : nullptr;
}

int32_t take_head(net_queue_entry *out_entry) {
    const std::lock_guard alive(g_handles_lock);
    if (!is_usable()) {
        return NET_ERR_INVALID_PARAM;
    }
    const zep::mutex_guard guard(g_recv_queue.lock);
    net_queue_entry *entry = unlink_head();
    if (entry == nullptr) {
        return NET_ERR_QUEUE_EMPTY;
    }
    copy_entry(out_entry, *entry);
    std::free(entry);
    return NET_OK;
}

// Takes a handle away from those who come later; whoever used it has finished.
void *withdraw(void *&handle) {
    const std::lock_guard alive(g_handles_lock);
    return std::exchange(handle, nullptr);
}

void drop_entries() {
    const std::lock_guard alive(g_handles_lock);
    const zep::mutex_guard guard(g_recv_queue.lock);
    while (net_queue_entry *entry = unlink_head()) {
        std::free(entry);
    }
}

int32_t refuse_dequeue() {
    LOG_ERROR("[%s] 出队失败：无效参数或未初始化", "net_interface_dequeue");
    return NET_ERR_INVALID_PARAM;
}

void log_refused_enqueue() {
    LOG_ERROR("[%s] 入队失败：无效参数", "net_interface_enqueue");
}

}  // namespace

int32_t net_interface_enqueue(const net_queue_entry *entry) {
    if (entry == nullptr) {
        log_refused_enqueue();
        return NET_ERR_INVALID_PARAM;
    }
    const int32_t status = zep::recv_queue_put(*entry);
    // What the caller hands in need not be terminated.
    char source[sizeof entry->src_ip];
    (void)platform_strcpy_s(source, sizeof source, entry->src_ip);
    zep::recv_queue_log_put(status, entry->len, source, entry->src_port);
    return status;
}

int32_t net_interface_dequeue(net_queue_entry *out_entry, uint32_t timeout_ms) {
    if (out_entry == nullptr || !zep::net_layer_is_inited()) {
        return refuse_dequeue();
    }
    void *semaphore = usable_semaphore();
    if (semaphore == nullptr) {
        return refuse_dequeue();
    }
    if (platform_sem_timedwait(semaphore, timeout_ms) != 0) {
        return NET_ERR_TIMEOUT;
    }
    const int32_t status = take_head(out_entry);
    return status == NET_ERR_INVALID_PARAM ? refuse_dequeue() : status;
}

namespace zep {

bool recv_queue_create() {
    void *lock = withdraw(g_recv_queue.lock);
    if (lock == nullptr) {
        lock = platform_mutex_create();
    }
    if (lock == nullptr) {
        LOG_ERROR("[queue] create mutex failed");
        return false;
    }
    void *sem = platform_sem_create_win32(0, NET_QUEUE_CAPACITY);
    if (sem == nullptr) {
        LOG_ERROR("[queue] create sem failed");
        platform_mutex_destroy(lock);
        return false;
    }
    const std::lock_guard alive(g_handles_lock);
    g_recv_queue = net_recv_queue{nullptr, nullptr, 0, NET_QUEUE_CAPACITY, lock, sem};
    return true;
}

void recv_queue_stop() {
    drop_entries();
    platform_sem_destroy_win32(withdraw(g_recv_queue.sem));
}

bool recv_queue_destroy_lock() {
    void *lock = withdraw(g_recv_queue.lock);
    platform_mutex_destroy(lock);
    return lock != nullptr;
}

int32_t recv_queue_put(const net_queue_entry &entry) {
    return net_layer_is_inited() && datagram_length_valid(entry.len) ? append_and_signal(entry)
                                                                     : NET_ERR_INVALID_PARAM;
}

void recv_queue_log_put(int32_t status, uint32_t length, const char *source, uint16_t port) {
    constexpr char name[] = "net_queue_enqueue";
    switch (status) {
        case NET_OK:
            LOG_DEBUG("[%s] 数据入队成功（长度：%u，来源：%s:%d）", name, length, source, port);
            break;
        case NET_ERR_QUEUE_FULL:
            LOG_WARN("[%s] 接收队列已满，丢弃数据", name);
            break;
        case NET_ERR_NO_MEMORY:
            LOG_ERROR("[%s] 内存分配失败", name);
            break;
        default:
            log_refused_enqueue();
            break;
    }
}

}  // namespace zep
