#include <algorithm>
#include <atomic>
#include <cstring>
#include <netinet/tcp.h>
#include <thread>
#include <vector>

#include <zep_mqtt/net/adapter.h>
#include <zep_mqtt/net/eth.h>

#include "net/adapter_private.h"
#include "support/log_capture.h"
#include "support/loopback.h"
#include "support/scripted_broker.h"

using namespace zep_test;
using std::to_string;

namespace {

int32_t open_at(uint16_t port, const char *address = "127.0.0.1") {
    return net_adapter_open(address, port);
}

int32_t send_text(int32_t index, const std::string &text) {
    return net_adapter_send(static_cast<uint8_t>(index), as_bytes(text),
                            static_cast<uint32_t>(text.size()));
}

// What was received, or the status of a failure.
std::string receive(int32_t index, uint32_t timeout_ms = 2000, uint32_t size = 1028) {
    std::vector<uint8_t> buffer(size);
    uint32_t length = 1;
    const int32_t status =
        net_adapter_recv(static_cast<uint8_t>(index), buffer.data(), size, &length, timeout_ms);
    EXPECT_TRUE(status == 0 || length == 0);
    return status == 0 ? std::string(buffer.begin(), buffer.begin() + length) : to_string(status);
}

void expect_line(const std::string &lines, const std::string &line) {
    EXPECT_NE(lines.find(line), std::string::npos) << line << "is not in\n" << lines;
}

int tcp_option(int32_t index, int option) {
    int value = -1;
    socklen_t size = sizeof value;
    getsockopt(g_adapter_ctx[index].sock, IPPROTO_TCP, option, &value, &size);
    return value;
}

bool tells_round_trips(int32_t index) {
    char info[512];
    socklen_t size = sizeof info;
    if (getsockopt(g_adapter_ctx[index].sock, IPPROTO_TCP, TCP_INFO, info, &size) != 0) {
        return false;
    }
    uint32_t repetition_us = 0;  // an emulator gives the record, but not what it holds
    std::memcpy(&repetition_us, info + 8, sizeof repetition_us);
    return repetition_us != 0 && repetition_us < 10'000'000;
}

}  // namespace

TEST(net_adapter, tcp_instance_lives_from_open_to_close) {
    scripted_broker broker;
    const std::string opening = lines_of(0, [&] { return open_at(broker.port()); });
    const std::string port = to_string(broker.port()), sock = to_string(g_adapter_ctx[0].sock);
    for (const std::string &line :
         {std::string("[INFO] [网络适配层] 底层网络抽象层初始化成功，所有实例共享资源\n"),
          "[INFO] eth_socket_set_add: TCP MQTT套接字" + sock + "，跳过UDP集合添加\n",
          "[INFO] [网络适配层] open成功 index=0，目标=127.0.0.1:" + port +
              "，网络类型=0，套接字=" + sock + "\n"}) {
        expect_line(opening, line);
    }
    zep::net_adapter_set_unacked_timeout(0, 1);
    if (tcp_option(0, TCP_USER_TIMEOUT) != -1) {
        EXPECT_EQ(tcp_option(0, TCP_USER_TIMEOUT), 1);
        // The system adds the time to its first repetition, if it tells that.
        zep::net_adapter_set_unacked_timeout(0, 4500);
        EXPECT_GT(tcp_option(0, TCP_USER_TIMEOUT), 3500);
        EXPECT_LT(tcp_option(0, TCP_USER_TIMEOUT), tells_round_trips(0) ? 4500 : 4501);
    }
    EXPECT_EQ(tcp_option(0, TCP_NODELAY), 1);

    EXPECT_EQ(lines_of(0, [] { return send_text(0, "abc"); }),
              "[DEBUG] [net_interface_send_to] 发送成功：3字节 -> 127.0.0.1:" + port + "\n" +
                  "[DEBUG] net_adapter_send:\n[DEBUG] 61 62 63 \n"
                  "[INFO] [网络适配层] TCP send成功 index=0，发送长度=3字节\n");
    EXPECT_EQ(lines_of(0, [] { return send_text(0, "de"); }),
              "[DEBUG] [net_interface_send_to] 发送成功：2字节 -> 127.0.0.1:" + port + "\n");
    broker.accept();
    broker.expect("'abcde'");
    EXPECT_EQ(receive(0, 0), "-2");
    broker.send("'abcd'");
    log_capture log;
    EXPECT_EQ(receive(0, 2000, 3), "abc");
    EXPECT_EQ(receive(0), "d");
    EXPECT_EQ(log.take(), "[INFO] [网络适配层] TCP recv成功 index=0，接收长度=3字节\n");

    EXPECT_EQ(lines_of(0,
                       [] {
                           net_adapter_close(0);
                           net_adapter_close(0);
                           net_adapter_close(100);
                           return g_adapter_ctx[0].used;
                       }),
              "[INFO] net_socket_close_win32: 套接字(" + sock + ")已关闭\n" +
                  "[DEBUG] eth_socket_set_remove: 套接字" + sock + "从ETH集合移除\n" +
                  "[INFO] [net_interface_close] 套接字已关闭：" + sock + "\n" +
                  "[INFO] [网络适配层] close成功 index=0，释放套接字=" + sock + "\n" +
                  "[WARN] [网络适配层] 忽略重复close index=0\n");
    broker.expect_closed();
    EXPECT_EQ(g_tcp_mqtt_sock, -1);
}

TEST(net_adapter, end_of_a_connection_is_seen_without_taking_a_byte) {
    scripted_broker broker;
    ASSERT_EQ(open_at(broker.port()), 0);
    broker.accept();
    broker.send("'last'");
    EXPECT_FALSE(zep::net_adapter_peer_closed(0));
    EXPECT_EQ(receive(0), "last");
    broker.reset();
    EXPECT_TRUE(zep::net_adapter_peer_closed(0));
    EXPECT_EQ(send_text(0, "abc"), -1);
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
        {"127.0.0.1", 0x10000, invalid},
        {"local", 1, "[ERROR] [网络适配层] open失败：无法识别的网络类型，目标地址=local\n"},
        {"a.host", 1,
         "[ERROR] net_tcp_connect_win32: 无效IP(a.host)\n"
         "[ERROR] [net_interface_tcp_connect] TCP连接失败：a.host:1\n"
         "[ERROR] [网络适配层] open失败：TCP连接a.host:1失败\n"},
        {"127.0.0.1", port_of(bound_socket(SOCK_STREAM)), ", 错误码=111\n"},
    };
    for (const auto &refused : cases) {
        expect_line(lines_of(-1, [&] { return net_adapter_open(refused.address, refused.port); }),
                    refused.line);
        EXPECT_EQ(g_adapter_ctx[0].used, 0);
    }
    EXPECT_EQ(g_tcp_mqtt_sock, -1);
}

TEST(net_adapter, transfers_on_unfit_instances_are_refused) {
    const scripted_broker broker;
    ASSERT_EQ(open_at(broker.port()), 0);
    ASSERT_EQ(open_at(1, "a:b"), 1);
    const struct {
        int32_t index;
        std::string bytes, reason;
    } cases[] = {
        {100, "x", "[ERROR] [崩溃定位] 实例越界 index=100\n"},
        {1, "x", "[ERROR] [崩溃定位] 实例无效 index=1 | used=1 | opened=1 | sock=-1\n"},
        {9, "x", "[ERROR] [崩溃定位] 实例无效 index=9 | used=0 | opened=0 | sock=0\n"},
        {0, "", ""},
    };
    for (const auto &[index, bytes, reason] : cases) {
        log_capture log;
        EXPECT_EQ(send_text(index, bytes), -1);
        EXPECT_EQ(receive(index, 0, static_cast<uint32_t>(bytes.size())), "-1");
        zep::net_adapter_set_unacked_timeout(static_cast<uint8_t>(index), 1);
        EXPECT_FALSE(zep::net_adapter_peer_closed(static_cast<uint8_t>(index)));
        const std::string rest = " index=" + to_string(index) + "，参数无效\n";
        EXPECT_EQ(log.take(), reason + "[ERROR] [网络适配层] send失败" + rest + reason +
                                  "[ERROR] [网络适配层] recv失败" + rest);
    }
    EXPECT_EQ(send_text(0, std::string(1024, 'x')), 0);
    EXPECT_EQ(lines_of(-1, [] { return send_text(0, std::string(1025, 'x')); }),
              "[ERROR] [net_interface_send_to] 发送失败：无效参数\n");
    net_adapter_close(1);
    EXPECT_EQ(g_adapter_ctx[1].used, 0);
}

TEST(net_adapter, pool_gives_each_of_100_instances_once_and_the_lowest_first) {
    agent_log_set_level(AGENT_LOG_WARN);
    ASSERT_EQ(open_at(1, "a-b"), 0);
    std::atomic<int> times_given[NET_ADAPTER_INSTANCE_MAX] = {};
    {
        std::atomic<int> ready{0};
        std::vector<std::jthread> threads;
        for (int number = 0; number < 8; ++number) {
            threads.emplace_back([&] {
                for (++ready; ready < 8;) {
                    std::this_thread::yield();
                }
                for (int i = 0; i < 12; ++i) {
                    ++times_given[std::max(0, open_at(1, "a-b"))];
                }
            });
        }
    }
    for (int index = 1; index <= 96; ++index) {
        EXPECT_EQ(times_given[index], 1) << index;
    }
    for (int32_t index = 97; index < NET_ADAPTER_INSTANCE_MAX; ++index) {
        ASSERT_EQ(open_at(1, "a-b"), index);
    }
    EXPECT_EQ(lines_of(-1, [] { return open_at(1, "a-b"); }),
              "[ERROR] [网络适配层] 申请实例失败：实例池已满，最大支持100个连接\n");
    net_adapter_close(42);
    net_adapter_close(7);
    EXPECT_EQ(open_at(1, "a-b"), 7);
}

TEST(net_adapter, udp_instance_sends_to_its_target_and_receives_from_the_queue) {
    const owned_fd peer = bound_socket(SOCK_DGRAM);
    ASSERT_EQ(open_at(port_of(peer), "udp://127.0.0.1"), 0);
    EXPECT_STREQ(g_adapter_ctx[0].address, "127.0.0.1");
    expect_line(lines_of(0, [] { return send_text(0, "123"); }),
                "[INFO] [网络适配层] UDP send成功 index=0，发送长度=3字节\n");
    EXPECT_EQ(read_some(peer), "123");
    const uint16_t local = port_of(g_adapter_ctx[0].sock);
    send_datagram(peer, local, "answer");
    EXPECT_EQ(receive(0), "answer");
    send_datagram(peer, local, "too long");
    expect_line(lines_of(0, [] { return receive(0, 2000, 7).compare("-1"); }),
                "[ERROR] [网络适配层] UDP recv失败 index=0：接收缓冲区不足\n");
    EXPECT_EQ(receive(0, 20), "-2");
    EXPECT_FALSE(zep::net_adapter_peer_closed(0));

    ASSERT_EQ(open_at(1, "udp://no.address"), 1);
    EXPECT_EQ(lines_of(-1, [] { return send_text(1, "x"); }),
              "[ERROR] net_udp_sendto_win32: 无效IP地址（no.address）\n"
              "[ERROR] [net_interface_send_to] 发送失败\n");
    net_adapter_global_deinit();
    EXPECT_EQ(receive(0), "-1");
}
