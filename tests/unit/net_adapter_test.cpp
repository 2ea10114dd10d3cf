#include <algorithm>
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <string>
#include <thread>
#include <vector>

#include <zep_mqtt/net/adapter.h>
#include <zep_mqtt/net/eth.h>
#include <zep_mqtt/net/socket.h>

#include "net/adapter_private.h"
#include "net_loopback.h"

using namespace zep_test;

namespace {

int32_t open_at(uint16_t port, const char *address = "127.0.0.1") {
    return net_adapter_open(address, port);
}

int32_t send_text(int32_t index, const std::string &text) {
    return net_adapter_send(static_cast<uint8_t>(index), as_bytes(text),
                            static_cast<uint32_t>(text.size()));
}

struct received {
    int32_t status;
    std::string bytes;
};

received receive(int32_t index, uint32_t timeout_ms = 2000, uint32_t size = 1028) {
    std::vector<uint8_t> buffer(size);
    uint32_t length = 1;
    const int32_t status =
        net_adapter_recv(static_cast<uint8_t>(index), buffer.data(), size, &length, timeout_ms);
    return {status, std::string(buffer.begin(), buffer.begin() + length)};
}

void expect_line(const std::string &lines, const std::string &line) {
    EXPECT_NE(lines.find(line), std::string::npos) << line << "is not in\n" << lines;
}

unsigned tcp_option(int32_t index, int option) {
    unsigned value = 99;
    socklen_t size = sizeof value;
    getsockopt(g_adapter_ctx[index].sock, IPPROTO_TCP, option, &value, &size);
    return value;
}

void in_eight_threads(const std::function<void(int)> &action) {
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([&, number] {
            for (++ready; ready < 8;) {
                std::this_thread::yield();
            }
            action(number);
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

}  // namespace

TEST(net_adapter, tcp_instance_lives_from_open_to_close) {
    const listener broker;
    const std::string opening = lines_of(0, [&] { return open_at(broker.port()); });
    const std::string port = std::to_string(broker.port());
    const std::string sock = std::to_string(g_adapter_ctx[0].sock);
    expect_line(opening, "[INFO] [网络适配层] 底层网络抽象层初始化成功，所有实例共享资源\n");
    expect_line(opening,
                "[INFO] eth_socket_set_add: TCP MQTT套接字" + sock + "，跳过UDP集合添加\n");
    expect_line(opening, "[INFO] [网络适配层] open成功 index=0，目标=127.0.0.1:" + port +
                             "，网络类型=0，套接字=" + sock + "\n");
    EXPECT_EQ(tcp_option(0, TCP_NODELAY), 1u);

    const std::string dump =
        lines_of([] { agent_log_hexdump("net_adapter_send:", as_bytes("abc"), 3); });
    EXPECT_EQ(lines_of(0, [] { return send_text(0, "abc"); }),
              "[DEBUG] [net_interface_send_to] 发送成功：3字节 -> 127.0.0.1:" + port + "\n" + dump +
                  "[INFO] [网络适配层] TCP send成功 index=0，发送长度=3字节\n");
    EXPECT_EQ(lines_of(0, [] { return send_text(0, "de"); }),
              "[DEBUG] [net_interface_send_to] 发送成功：2字节 -> 127.0.0.1:" + port + "\n");
    const owned_fd peer = broker.accept();
    EXPECT_EQ(take(peer), "abcde");

    EXPECT_EQ(receive(0, 0).status, -2);
    ASSERT_EQ(send(peer, "abcd", 4, 0), 4);
    EXPECT_EQ(lines_of(0, [] { return receive(0, 2000, 3).status; }),
              "[INFO] [网络适配层] TCP recv成功 index=0，接收长度=3字节\n");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(receive(0).bytes, "d"); }), "");

    EXPECT_EQ(lines_of([] { net_adapter_close(0); }),
              "[INFO] net_socket_close_win32: 套接字(" + sock +
                  ")已关闭\n"
                  "[DEBUG] eth_socket_set_remove: 套接字" +
                  sock +
                  "从ETH集合移除\n"
                  "[INFO] [net_interface_close] 套接字已关闭：" +
                  sock +
                  "\n"
                  "[INFO] [网络适配层] close成功 index=0，释放套接字=" +
                  sock + "\n");
    EXPECT_EQ(take(peer), "");
    EXPECT_EQ(g_tcp_mqtt_sock, -1);
    EXPECT_EQ(g_adapter_ctx[0].used, 0);
    EXPECT_EQ(lines_of([] { net_adapter_close(0); }),
              "[WARN] [网络适配层] 忽略重复close index=0\n");
    EXPECT_EQ(lines_of([] { net_adapter_close(100); }), "");
}

TEST(net_adapter, refused_opens_reserve_nothing) {
    const std::string invalid = "[ERROR] [网络适配层] open失败：无效的目标地址或端口\n";
    const std::string of_64_characters(64, '1');
    const struct {
        const char *address;
        uint32_t port;
        std::string line;
    } cases[] = {
        {nullptr, 1883, invalid},
        {of_64_characters.c_str(), 1883, invalid},
        {"127.0.0.1", 0, invalid},
        {"127.0.0.1", 0x10000, invalid},
        {"local", 1, "[ERROR] [网络适配层] open失败：无法识别的网络类型，目标地址=local\n"},
        {"a.host", 1, "[ERROR] net_tcp_connect_win32: 无效IP(a.host)\n"},
        {"a.host", 1, "[ERROR] [网络适配层] open失败：TCP连接a.host:1失败\n"},
        {"127.0.0.1", refused_port(), ", 错误码=111\n"},
    };
    for (const auto &refused : cases) {
        expect_line(lines_of(-1, [&] { return net_adapter_open(refused.address, refused.port); }),
                    refused.line);
        EXPECT_EQ(g_adapter_ctx[0].used, 0);
    }
    EXPECT_EQ(g_tcp_mqtt_sock, -1);
}

TEST(net_adapter, transfers_on_unfit_instances_are_refused) {
    const listener broker;
    ASSERT_EQ(open_at(broker.port()), 0);
    ASSERT_EQ(open_at(1, "a:b"), 1);
    ASSERT_EQ(open_at(1, "a-b"), 2);
    const struct {
        int32_t index;
        uint32_t length;
        std::string reason;
    } cases[] = {
        {255, 1, "[ERROR] [崩溃定位] 实例越界 index=255\n"},
        {100, 1, "[ERROR] [崩溃定位] 实例越界 index=100\n"},
        {1, 1, "[ERROR] [崩溃定位] 实例无效 index=1 | used=1 | opened=1 | sock=-1\n"},
        {9, 1, "[ERROR] [崩溃定位] 实例无效 index=9 | used=0 | opened=0 | sock=0\n"},
        {0, 0, ""},
    };
    for (const auto &unfit : cases) {
        const std::string rest = " index=" + std::to_string(unfit.index) + "，参数无效\n";
        const std::string bytes(unfit.length, 'x');
        EXPECT_EQ(lines_of(-1, [&] { return send_text(unfit.index, bytes); }),
                  unfit.reason + "[ERROR] [网络适配层] send失败" + rest);
        EXPECT_EQ(lines_of(-1,
                           [&] {
                               const received got = receive(unfit.index, 0, unfit.length);
                               EXPECT_EQ(got.bytes, "");
                               return got.status;
                           }),
                  unfit.reason + "[ERROR] [网络适配层] recv失败" + rest);
        const uint8_t index = static_cast<uint8_t>(unfit.index);
        EXPECT_EQ(lines_of([&] { net_adapter_set_unacked_timeout(index, 1); }), "");
        EXPECT_EQ(lines_of([&] { EXPECT_FALSE(net_adapter_peer_closed(index)); }), "");
    }
    EXPECT_EQ(lines_of(-1, [] { return send_text(0, std::string(1025, 'x')); }),
              "[ERROR] [net_interface_send_to] 发送失败：无效参数\n");
    EXPECT_EQ(lines_of([] { net_adapter_close(1); }),
              "[WARN] [网络适配层] 忽略重复close index=1\n");
    EXPECT_EQ(g_adapter_ctx[1].used, 0);
}

TEST(net_adapter, pool_holds_100_instances_in_index_order) {
    agent_log_set_level(AGENT_LOG_WARN);
    for (int32_t i = 0; i < NET_ADAPTER_INSTANCE_MAX; ++i) {
        ASSERT_EQ(open_at(5000, "udp://127.0.0.1"), i);
    }
    EXPECT_EQ(lines_of(-1, [] { return open_at(5000, "udp://127.0.0.1"); }),
              "[ERROR] [网络适配层] 申请实例失败：实例池已满，最大支持100个连接\n");
    net_adapter_close(42);
    net_adapter_close(7);
    EXPECT_EQ(open_at(5000, "udp://127.0.0.1"), 7);
}

TEST(net_adapter, end_of_a_connection_is_seen_without_taking_a_byte) {
    agent_log_set_level(AGENT_LOG_FATAL);
    const listener broker;
    ASSERT_EQ(open_at(broker.port()), 0);
    owned_fd peer = broker.accept();
    EXPECT_FALSE(net_adapter_peer_closed(0));
    ASSERT_EQ(send(peer, "last", 4, 0), 4);
    peer.reset();
    ASSERT_TRUE(wait_readable(g_adapter_ctx[0].sock));
    EXPECT_FALSE(net_adapter_peer_closed(0));
    EXPECT_EQ(receive(0).bytes, "last");
    EXPECT_TRUE(net_adapter_peer_closed(0));
    EXPECT_EQ(receive(0).status, -2);

    ASSERT_EQ(open_at(broker.port()), 1);
    net_adapter_set_unacked_timeout(1, 4500);
    EXPECT_EQ(tcp_option(0, TCP_USER_TIMEOUT), 0u);
    EXPECT_EQ(tcp_option(1, TCP_USER_TIMEOUT), 4500u);
    peer = broker.accept();
    const linger hard{1, 0};
    setsockopt(peer, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    peer.reset();
    ASSERT_TRUE(wait_readable(g_adapter_ctx[1].sock));
    EXPECT_TRUE(net_adapter_peer_closed(1));
    EXPECT_EQ(send_text(1, "abc"), -1);

    ASSERT_EQ(open_at(broker.port(), "udp://127.0.0.1"), 2);
    EXPECT_FALSE(net_adapter_peer_closed(2));
}

TEST(net_adapter, peer_that_takes_nothing_costs_three_seconds_once) {
    const listener broker;
    ASSERT_EQ(open_at(broker.port()), 0);
    const int sock = g_adapter_ctx[0].sock;
    shrink_buffers(sock);
    const std::string filler(65536, 'x');
    for (int refused = 0; refused < 4;) {
        if (send(sock, filler.data(), filler.size(), MSG_DONTWAIT) < 0) {
            ++refused;
            std::this_thread::sleep_for(milliseconds(50));
        }
    }
    const auto lines = [] { return lines_of(-1, [] { return send_text(0, "abc"); }); };
    expect_takes(NET_SEND_TIMEOUT_MS, [&] {
        EXPECT_EQ(lines(),
                  "[ERROR] net_tcp_send_win32: 发送失败，错误码=110\n"
                  "[ERROR] [net_interface_send_to] 发送失败\n");
    });
    expect_takes(0, lines);
    EXPECT_TRUE(net_adapter_peer_closed(0));
}

TEST(net_adapter, udp_instance_sends_to_its_target_and_receives_from_the_queue) {
    const owned_fd peer = bound_socket(SOCK_DGRAM);
    ASSERT_EQ(open_at(port_of(peer), "udp://127.0.0.1"), 0);
    EXPECT_STREQ(g_adapter_ctx[0].address, "127.0.0.1");
    EXPECT_EQ(lines_of(0, [] { return send_text(0, "12"); }),
              "[DEBUG] [net_interface_send_to] 发送成功：2字节 -> 127.0.0.1:" +
                  std::to_string(port_of(peer)) + "\n");
    EXPECT_EQ(take(peer), "12");
    expect_line(lines_of(0, [] { return send_text(0, "123"); }),
                "[INFO] [网络适配层] UDP send成功 index=0，发送长度=3字节\n");
    EXPECT_EQ(send_text(0, std::string(1025, 'x')), -1);

    const uint16_t local = port_of(g_adapter_ctx[0].sock);
    send_datagram(peer, local, "answer");
    EXPECT_EQ(receive(0).bytes, "answer");
    send_datagram(peer, local, "too long");
    expect_line(lines_of(-1, [] { return receive(0, 2000, 7).status; }),
                "[ERROR] [网络适配层] UDP recv失败 index=0：接收缓冲区不足\n");
    EXPECT_EQ(receive(0, 20).status, -2);

    ASSERT_EQ(open_at(1, "udp://no.address"), 1);
    EXPECT_EQ(lines_of(-1, [] { return send_text(1, "x"); }),
              "[ERROR] net_udp_sendto_win32: 无效IP地址（no.address）\n"
              "[ERROR] [net_interface_send_to] 发送失败\n");

    net_adapter_global_deinit();
    EXPECT_EQ(receive(0).status, -1);
    const listener broker;
    ASSERT_EQ(open_at(broker.port()), 2);
    EXPECT_EQ(send_text(2, "abc"), 0);
    EXPECT_EQ(take(broker.accept()), "abc");
}

TEST(net_adapter, threads_drive_different_instances_at_the_same_time) {
    agent_log_set_level(AGENT_LOG_INFO);
    std::atomic<int> good{0};
    const auto drive = [&good](int number) {
        const listener broker;
        for (int round = 0; round < 25; ++round) {
            const std::string text = "message " + std::to_string(number * 100 + round);
            const bool udp = number % 4 == 3;
            owned_fd peer = udp ? bound_socket(SOCK_DGRAM) : owned_fd();
            const int32_t index =
                udp ? open_at(port_of(peer), "udp://127.0.0.1") : open_at(broker.port());
            if (!udp) {
                peer = broker.accept();
            }
            const bool sent = send_text(index, text) == 0 && take(peer) == text;
            const bool answered =
                udp || (send(peer, "answer", 6, 0) == 6 && receive(index).bytes == "answer");
            net_adapter_close(static_cast<uint8_t>(index));
            good += sent && answered ? 1 : 0;
        }
    };
    const std::string lines = lines_of([&] { in_eight_threads(drive); });
    EXPECT_EQ(good, 200);
    const std::string started = "[net_interface_init] 网络模块初始化完成";
    expect_line(lines, started);
    EXPECT_EQ(lines.find("[net_interface_init]"), lines.rfind("[net_interface_init]"));
    for (const net_adapter_instance &instance : g_adapter_ctx) {
        EXPECT_EQ(instance.used, 0);
    }
    EXPECT_EQ(g_eth_socks.count, 1u);
}

TEST(net_adapter, no_instance_is_given_to_two_threads) {
    agent_log_set_level(AGENT_LOG_FATAL);
    ASSERT_EQ(open_at(1, "a-b"), 0);
    std::atomic<int> times_given[NET_ADAPTER_INSTANCE_MAX] = {};
    in_eight_threads([&](int) {
        for (int i = 0; i < 12; ++i) {
            ++times_given[std::max(0, open_at(1, "a-b"))];
        }
    });
    for (int index = 1; index <= 96; ++index) {
        EXPECT_EQ(times_given[index], 1) << index;
    }
}
