#include <ctime>
#include <future>
#include <vector>

#include <zep_mqtt/net/es.h>
#include <zep_mqtt/net/eth.h>
#include <zep_mqtt/net/interface.h>
#include <zep_mqtt/net/net_status.h>
#include <zep_mqtt/net/recv_queue.h>
#include <zep_mqtt/net/socket.h>

#include "support/blocked_console.h"
#include "support/log_capture.h"
#include "support/loopback.h"
#include "support/timing.h"

using namespace zep_test;

namespace {

std::string dequeued(uint32_t timeout_ms = 2000) {
    net_queue_entry entry{};
    const int32_t status = net_interface_dequeue(&entry, timeout_ms);
    return status == NET_OK ? std::string(entry.data, entry.data + entry.len) : "";
}

// Longer than the receive thread needs to notice a change of the set.
void let_the_thread_pass() {
    std::this_thread::sleep_for(milliseconds(250));
}

// Half a second in which a thread that spins would show.
void expect_idle_process() {
    const clock_t before = clock();
    std::this_thread::sleep_for(milliseconds(500));
    EXPECT_LT((clock() - before) * 1000 / CLOCKS_PER_SEC, 100);
}

}  // namespace

TEST(net_eth, socket_set_keeps_order_and_maximum_and_leaves_tcp_out) {
    EXPECT_EQ(lines_of(0, [] { return eth_socket_set_add(900), 0; }),
              "[ERROR] eth_socket_set_add: 添加失败：无效套接字或未初始化锁\n");
    eth_socket_set_init();
    const owned_fd stream(net_tcp_socket_create_win32());
    eth_set_mqtt_tcp_socket(777);
    const struct {
        void (*change)(int32_t);
        int32_t sock;
        std::vector<int32_t> expected;
        int32_t maximum;
    } steps[] = {
        {eth_socket_set_add, 905, {905}, 905},
        {eth_socket_set_add, 901, {905, 901}, 905},
        {eth_socket_set_add, 909, {905, 901, 909}, 909},
        {eth_socket_set_add, 901, {905, 901, 909}, 909},
        {eth_socket_set_add, 777, {905, 901, 909}, 909},
        {eth_socket_set_add, stream, {905, 901, 909}, 909},
        {eth_socket_set_remove, 777, {905, 901, 909}, 909},
        {eth_socket_set_remove, 909, {905, 901}, 905},
        {eth_socket_set_remove, -1, {905, 901}, 905},
        {eth_socket_set_remove, 905, {901}, 901},
        {eth_socket_set_remove, 901, {}, -1},
    };
    for (const auto &step : steps) {
        step.change(step.sock);
        const std::vector<int32_t> watched(g_eth_socks.socks,
                                           g_eth_socks.socks + g_eth_socks.count);
        EXPECT_EQ(watched, step.expected);
        EXPECT_EQ(g_eth_max_sock, step.maximum);
    }
    for (int32_t sock = 1000; sock <= 1064; ++sock) {
        eth_socket_set_add(sock);
    }
    EXPECT_EQ(g_eth_socks.count, 64u);
    EXPECT_EQ(g_eth_max_sock, 1063);
    eth_destroy();
    EXPECT_EQ(g_eth_socks.count, 0u);
    EXPECT_EQ(g_sock_set_mutex, nullptr);
}

TEST(net_eth, datagrams_of_1024_bytes_are_queued_and_of_1025_reported) {
    ASSERT_EQ(net_interface_init(), NET_OK);
    const owned_fd peer = bound_socket(SOCK_DGRAM);
    const std::string most(1024, 'm');
    log_capture log;
    for (const std::string &bytes : {most + "!", std::string(), most}) {
        send_datagram(peer, port_of(g_eth_socket), bytes);
    }
    EXPECT_EQ(dequeued(), most);
    EXPECT_EQ(dequeued(0), "");
    const std::string failure =
        "[ERROR] eth_interrupt_thread_proc: recvfrom失败 sock=" + std::to_string(g_eth_socket) +
        ", err=90\n";
    EXPECT_NE(log.take().find(failure), std::string::npos);
    net_interface_deinit();
}

// A watched socket that was closed behind the library's back, and its number
// given to a stream.
TEST(net_eth, closed_recycled_and_marked_descriptors_are_neither_read_nor_waited_for) {
    log_capture log;
    ASSERT_EQ(net_interface_init(), NET_OK);
    const owned_fd peer = bound_socket(SOCK_DGRAM);
    const int32_t closed = net_interface_create_udp_socket();
    const int32_t recycled = net_interface_create_udp_socket();
    // This one is marked only after it entered the set.
    const int32_t marked = net_interface_create_udp_socket();
    ASSERT_EQ(net_interface_bind(marked, 0), NET_OK);
    eth_set_mqtt_tcp_socket(marked);
    let_the_thread_pass();
    // Where sockets are no descriptors, no number can be given away on purpose.
    int stream[2];
    const bool can_recycle = socketpair(AF_UNIX, SOCK_STREAM, 0, stream) == 0;
    if (can_recycle) {
        ASSERT_EQ(dup2(stream[1], recycled), recycled);
        ASSERT_EQ(write(stream[0], "mine", 4), 4);
    } else {
        close(recycled);
    }
    close(closed);
    send_datagram(peer, port_of(marked), "not for the thread");
    expect_idle_process();
    if (can_recycle) {
        EXPECT_EQ(read_some(recycled), "mine");
    }
    EXPECT_EQ(read_some(marked), "not for the thread");
    send_datagram(peer, port_of(g_eth_socket), "alive");
    EXPECT_EQ(dequeued(), "alive");
    net_interface_deinit();
    const std::string lines = log.take();
    for (const int32_t left_out : {closed, recycled}) {
        const std::string line = "套接字" + std::to_string(left_out) + "从ETH集合移除\n";
        EXPECT_NE(lines.find(line), std::string::npos);
    }
}

TEST(net_eth, own_socket_sends_and_receives) {
    uint8_t buffer[16];
    uint32_t length = 0;
    char address[16];
    uint16_t port = 0;
    const auto receive = [&] { return eth_recv(buffer, 16, &length, address, &port); };
    const auto send = [](const char *to, uint16_t at) {
        return eth_send(to, at, as_bytes("hi"), 2);
    };
    EXPECT_EQ(send("127.0.0.1", 1), NET_ERR_IO);
    EXPECT_EQ(receive(), NET_ERR_IO);
    // Without a set the receive thread watches nothing: eth_recv() is the only
    // reader.
    ASSERT_EQ(net_eth_win_init(), NET_OK);
    const int32_t sock = g_eth_socket;
    EXPECT_EQ(lines_of(NET_OK, net_eth_win_init),
              "[INFO] net_eth_win_init: ETH 接口已初始化，无需重复操作\n");
    EXPECT_EQ(g_eth_socket, sock);
    const owned_fd peer = bound_socket(SOCK_DGRAM);
    EXPECT_EQ(send("127.0.0.1", port_of(peer)), NET_OK);
    EXPECT_EQ(read_some(peer), "hi");
    const struct {
        const char *address;
        std::string line, code;
    } failures[] = {{"300.1.1.1", "无效IP地址（300.1.1.1）\n", "22"},
                    {"255.255.255.255", "sendto失败（IP=255.255.255.255:1, 错误码=13）\n", "13"}};
    for (const auto &failure : failures) {
        EXPECT_EQ(lines_of(NET_ERR_IO, [&] { return send(failure.address, 1); }),
                  "[ERROR] net_udp_sendto_win32: " + failure.line +
                      "[ERROR] eth_send: 发送失败（实际发送：-1字节，预期：2字节，错误码：" +
                      failure.code + "）\n");
    }

    send_datagram(peer, port_of(sock), "answer");
    EXPECT_EQ(receive(), NET_OK);
    EXPECT_EQ(std::string(buffer, buffer + length), "answer");
    EXPECT_STREQ(address, "127.0.0.1");
    EXPECT_EQ(port, port_of(peer));
    send_datagram(peer, port_of(sock), "seventeen letters");
    EXPECT_EQ(lines_of(NET_ERR_IO, receive), "[ERROR] eth_recv: 接收失败（真实错误码：90）\n");
    expect_takes(1000, [&] { EXPECT_EQ(receive(), NET_ERR_TIMEOUT); });
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(eth_recv(buffer, 0, &length, address, &port), NET_ERR_INVALID_PARAM);
    EXPECT_EQ(platform_udp_recvfrom_win32(-1, buffer, 16, nullptr, nullptr, 2000), -1);
    eth_destroy();
}

// The lines of datagrams that nobody wants must not hold up whoever closes a socket.
TEST(net_eth, a_console_that_blocks_keeps_no_socket_from_closing) {
    agent_log_set_level(AGENT_LOG_WARN);
    ASSERT_EQ(net_interface_init(), NET_OK);
    const owned_fd peer = bound_socket(SOCK_DGRAM);
    const int32_t sock = net_interface_create_udp_socket();
    const net_queue_entry entry{.data = {'x'}, .len = 1, .src_ip = "1", .src_port = 1, .next = {}};
    while (net_interface_enqueue(&entry) == NET_OK) {
    }
    std::future<void> closing;
    {
        const blocked_console console;
        send_datagram(peer, port_of(g_eth_socket), "one too many");
        let_the_thread_pass();
        closing = std::async(std::launch::async, [sock] { net_interface_close(sock); });
        EXPECT_EQ(closing.wait_for(milliseconds(2000)), std::future_status::ready);
    }
    closing.wait();
    net_interface_deinit();
}

TEST(net_es, transfers_nothing_and_checks_arguments_like_eth) {
    const uint8_t data[1025] = {};
    uint8_t buffer[16];
    uint32_t length = 7;
    char address[16];
    uint16_t port;
    const auto send = [&] { return es_send("1.2.3.4", 1, data, 5); };
    const auto receive = [&] { return es_recv(buffer, 16, &length, address, &port); };
    EXPECT_EQ(send() + receive(), NET_ERR_IO + NET_ERR_IO);
    ASSERT_EQ(net_es_init(), NET_OK);
    EXPECT_EQ(lines_of(NET_OK, net_es_init) + lines_of(NET_ERR_NOT_IMPLEMENTED, send),
              "[INFO] net_es_init: ES接口已初始化（预留），无需重复操作\n"
              "[WARN] es_send: ES发送接口未实现（预留）：5字节到1.2.3.4:1\n");
    EXPECT_EQ(receive(), NET_ERR_NOT_IMPLEMENTED);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(es_recv(buffer, 0, &length, address, &port), NET_ERR_INVALID_PARAM);

    ASSERT_EQ(net_eth_win_init(), NET_OK);
    const struct {
        const char *address;
        uint16_t port;
        const uint8_t *data;
        uint32_t length;
    } cases[] = {{nullptr, 1, data, 5},     {"", 1, data, 5},
                 {"1.2.3.4", 0, data, 5},   {"123.123.123.1234", 1, data, 5},
                 {"1.2.3.4", 1, data, 0},   {"1.2.3.4", 1, nullptr, 5},
                 {"1.2.3.4", 1, data, 1025}};
    for (const auto &[to, at, bytes, size] : cases) {
        log_capture log;
        EXPECT_EQ(eth_send(to, at, bytes, size), NET_ERR_INVALID_PARAM);
        EXPECT_EQ(es_send(to, at, bytes, size), NET_ERR_INVALID_PARAM);
        const std::string shown = "（ip：" + std::string(to == nullptr ? "(null)" : to) +
                                  "，port：" + std::to_string(at) + "，len：" +
                                  std::to_string(size) + "）\n";
        EXPECT_EQ(log.take(), "[ERROR] eth_send: 发送失败：无效参数" + shown +
                                  "[ERROR] es_send: ES发送参数无效" + shown);
    }
    eth_destroy();
}
