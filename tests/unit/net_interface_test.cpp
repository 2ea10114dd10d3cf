#include <algorithm>
#include <atomic>
#include <filesystem>
#include <sys/resource.h>
#include <thread>

#include <zep_mqtt/net/eth.h>
#include <zep_mqtt/net/interface.h>
#include <zep_mqtt/net/net_status.h>
#include <zep_mqtt/net/recv_queue.h>

#include "support/failing_malloc.h"
#include "support/log_capture.h"
#include "support/loopback.h"
#include "support/timing.h"

using namespace zep_test;

namespace {

int32_t enqueue(const std::string &payload, uint32_t length, uint16_t port = 7) {
    net_queue_entry entry{};
    payload.copy(reinterpret_cast<char *>(entry.data), sizeof entry.data);
    entry.len = length;
    std::string("10.0.0.1").copy(entry.src_ip, sizeof entry.src_ip);
    entry.src_port = port;
    return net_interface_enqueue(&entry);
}

net_queue_entry entry{};  // the last one that was dequeued

int32_t dequeue(uint32_t timeout_ms = 0) {
    return net_interface_dequeue(&entry, timeout_ms);
}

std::string payload() {
    return std::string(entry.data, entry.data + entry.len);
}

// Fills the buffer and claims to have received g_claimed_length bytes.
uint32_t g_claimed_length = 0;
int32_t claiming_recv(uint8_t *buffer, uint32_t size, uint32_t *out_length, char *, uint16_t *) {
    std::fill_n(buffer, size, uint8_t{'c'});
    *out_length = g_claimed_length;
    return NET_OK;
}

}  // namespace

TEST(net_interface, queue_is_bounded_and_in_order) {
    EXPECT_EQ(enqueue("x", 1), NET_ERR_INVALID_PARAM);
    EXPECT_EQ(dequeue(), NET_ERR_INVALID_PARAM);
    ASSERT_EQ(net_interface_init(), NET_OK);
    EXPECT_EQ(net_interface_enqueue(nullptr), NET_ERR_INVALID_PARAM);
    for (const uint32_t length : {0u, 1025u}) {
        EXPECT_EQ(lines_of(NET_ERR_INVALID_PARAM, [&] { return enqueue("x", length); }),
                  "[ERROR] [net_interface_enqueue] 入队失败：无效参数\n");
    }
    for (uint16_t i = 0; i < NET_QUEUE_CAPACITY; ++i) {
        ASSERT_EQ(enqueue(std::to_string(100 + i), 3, i), NET_OK);
    }
    EXPECT_EQ(lines_of(NET_ERR_QUEUE_FULL, [] { return enqueue("one more", 8); }),
              "[WARN] [net_queue_enqueue] 接收队列已满，丢弃数据\n");
    for (uint16_t i = 0; i < NET_QUEUE_CAPACITY; ++i) {
        ASSERT_EQ(dequeue(), NET_OK);
        EXPECT_EQ(payload(), std::to_string(100 + i));
        EXPECT_STREQ(entry.src_ip, "10.0.0.1");
        EXPECT_EQ(entry.src_port, i);
    }
    expect_takes(50, [] { EXPECT_EQ(dequeue(50), NET_ERR_TIMEOUT); });
    {
        const failing_malloc exhausted(0);
        EXPECT_EQ(enqueue("x", 1), NET_ERR_NO_MEMORY);
    }
    net_queue_entry unterminated{};
    unterminated.len = 1;
    std::fill(std::begin(unterminated.src_ip), std::end(unterminated.src_ip), '1');
    unterminated.src_port = 0x3232;
    EXPECT_EQ(lines_of(NET_OK, [&] { return net_interface_enqueue(&unterminated); }),
              "[DEBUG] [net_queue_enqueue] 数据入队成功（长度：1，来源：111111111111111:12850）\n");
    net_interface_deinit();
}

TEST(net_interface, registration_and_switching) {
    static int destroyed;
    const auto no_send = [](const char *, uint16_t, const uint8_t *, uint32_t) { return 0; };
    const net_iface good{NET_IFACE_ES, no_send, claiming_recv, [] { ++destroyed; }, 4000};
    net_iface deaf = good, unknown = good;
    deaf.recv = nullptr;
    unknown.type = NET_IFACE_TYPE_COUNT;
    EXPECT_EQ(net_interface_register(nullptr), NET_ERR_INVALID_PARAM);
    EXPECT_EQ(net_interface_register(&unknown), NET_ERR_INVALID_PARAM);
    EXPECT_EQ(net_interface_register(&deaf), NET_ERR_NOT_REGISTERED);
    EXPECT_EQ(net_interface_set_current_type(NET_IFACE_ES), NET_ERR_INVALID_PARAM);

    ASSERT_EQ(net_interface_init(), NET_OK);
    EXPECT_EQ(lines_of(NET_OK, net_interface_init),
              "[WARN] [net_interface_init] 网络模块已初始化\n");
    const int32_t sock = net_interface_create_udp_socket();
    EXPECT_EQ(net_interface_bind(sock, port_of(bound_socket(SOCK_DGRAM))), NET_ERR_PORT_CONFLICT);
    EXPECT_EQ(net_interface_bind(sock, 0), NET_OK);
    EXPECT_EQ(net_interface_bind(sock, 0), NET_ERR_IO) << "bound already";
    EXPECT_EQ(net_interface_set_current_type(NET_IFACE_TYPE_COUNT), NET_ERR_INVALID_PARAM);
    EXPECT_EQ(net_interface_set_current_type(NET_IFACE_ES), NET_ERR_NOT_REGISTERED);
    const auto registered = [&good] { return net_interface_register(&good); };
    EXPECT_EQ(lines_of(NET_OK, registered),
              "[INFO] [net_interface_register] 接口注册成功（类型：1，端口：4000）\n");
    EXPECT_EQ(lines_of(NET_ERR_PORT_CONFLICT, registered),
              "[ERROR] [net_interface_register] 端口冲突：4000\n");
    EXPECT_EQ(net_interface_set_current_type(NET_IFACE_ETH), NET_OK);
    EXPECT_NE(g_eth_socket, -1);
    EXPECT_EQ(net_interface_set_current_type(NET_IFACE_ES), NET_OK);
    EXPECT_EQ(g_eth_socket, -1);
    EXPECT_EQ(net_interface_create_udp_socket(), -1);

    uint8_t buffer[8];
    g_claimed_length = 8;
    EXPECT_EQ(net_interface_on_interrupt(buffer, 8), NET_OK);
    EXPECT_EQ(dequeue(), NET_OK);
    EXPECT_EQ(payload(), "cccccccc");
    g_claimed_length = 9;
    EXPECT_EQ(net_interface_on_interrupt(buffer, 8), NET_ERR_INVALID_PARAM);
    EXPECT_EQ(net_interface_on_interrupt(buffer, 0), NET_ERR_INVALID_PARAM);
    EXPECT_EQ(destroyed, 0);
    net_interface_deinit();
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(g_current_iface, nullptr);
    EXPECT_EQ(g_registered_ifaces[NET_IFACE_ES].send, nullptr);
}

// Whatever the system refuses, a failed start leaves nothing, and the next one
// succeeds.
TEST(net_interface, failed_starts_leave_nothing) {
    agent_log_set_level(AGENT_LOG_FATAL);
    const auto open_descriptors = [] {
        std::error_code unknown;
        const std::filesystem::directory_iterator files("/proc/self/fd", unknown);
        return unknown ? 0 : std::distance(begin(files), end(files));
    };
    // Only where sockets are descriptors, and this directory is that of this process.
    const owned_fd probe = bound_socket(SOCK_DGRAM);
    std::error_code none;
    const bool can_count =
        std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(probe), none)
            .string()
            .starts_with("socket:");
    const auto expect_nothing_left = [&, before = open_descriptors()] {
        EXPECT_EQ(g_is_inited, 0);
        for (const void *left :
             {g_recv_queue.lock, g_recv_queue.sem, g_sock_set_mutex, g_interrupt_thread}) {
            EXPECT_EQ(left, nullptr);
        }
        EXPECT_EQ(g_eth_socket, -1);
        if (can_count) {
            EXPECT_EQ(open_descriptors(), before);
        }
    };
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        const rlimit no_socket{0, limit.rlim_max};
        setrlimit(RLIMIT_NOFILE, &no_socket);
        EXPECT_EQ(net_interface_init(), NET_ERR_IO);
        setrlimit(RLIMIT_NOFILE, &limit);
        expect_nothing_left();
    }

    bool failed = true;
    for (uint64_t n = 0; failed; ++n) {
        int32_t status = NET_OK;
        {
            const failing_malloc exhausted(n);
            status = net_interface_init();
            failed = exhausted.has_failed();
        }
        if (status == NET_OK) {
            net_interface_deinit();
            net_interface_final_destroy();
        }
        expect_nothing_left();
    }
}

TEST(net_interface, queue_lock_may_go_while_datagrams_arrive) {
    agent_log_set_level(AGENT_LOG_FATAL);
    ASSERT_EQ(net_interface_init(), NET_OK);
    const owned_fd peer = bound_socket(SOCK_DGRAM);
    std::jthread flood([&, port = port_of(g_eth_socket)](std::stop_token stop) {
        while (!stop.stop_requested()) {
            send_datagram(peer, port, "flood");
        }
    });
    std::atomic<int> taken{0};
    std::jthread consumer([&] {
        while (dequeue(200) == NET_OK) {
            ++taken;
        }
    });
    while (taken < 50) {
        std::this_thread::yield();
    }
    net_interface_final_destroy();
    consumer.join();
    EXPECT_EQ(enqueue("x", 1), NET_ERR_INVALID_PARAM);
    EXPECT_EQ(dequeue(), NET_ERR_INVALID_PARAM);
    flood = std::jthread();

    net_interface_deinit();
    ASSERT_EQ(net_interface_init(), NET_OK);
    send_datagram(peer, port_of(g_eth_socket), "new life");
    EXPECT_EQ(dequeue(2000), NET_OK);
    EXPECT_EQ(payload(), "new life");
    net_interface_deinit();
}
