#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/resource.h>
#include <thread>
#include <vector>

#include <zep_mqtt/net/socket.h>

#include "net/system_socket.h"
#include "support/log_capture.h"
#include "support/loopback.h"
#include "support/timing.h"

using namespace zep_test;

namespace {

// Small buffers, so that a peer that does not read soon shows.
void shrink_buffers(int sock) {
    const int size = 32768;
    EXPECT_EQ(setsockopt(sock, SOL_SOCKET, SO_RCVBUF, &size, sizeof size), 0);
    EXPECT_EQ(setsockopt(sock, SOL_SOCKET, SO_SNDBUF, &size, sizeof size), 0);
}

struct connection {
    owned_fd ours{net_tcp_socket_create_win32()};
    owned_fd peer;

    connection() {
        const owned_fd listener = bound_socket(SOCK_STREAM);
        shrink_buffers(listener);
        shrink_buffers(ours);
        EXPECT_EQ(listen(listener, 1), 0);
        EXPECT_TRUE(net_tcp_connect_win32(ours, "127.0.0.1", port_of(listener)));
        peer = owned_fd(accept(listener, nullptr, nullptr));
    }
};

int32_t send_all(int sock, const std::string &bytes) {
    return net_tcp_send_win32(sock, as_bytes(bytes), static_cast<uint32_t>(bytes.size()));
}

std::string patterned(size_t size) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>(i * 2654435761u >> 13);
    }
    return bytes;
}

std::string take_until_end(int sock) {
    std::string all;
    for (std::string part = read_some(sock); !part.empty(); part = read_some(sock)) {
        all += part;
    }
    return all;
}

// Interrupts the calling thread every few milliseconds while it lives.
class interruptions {
 public:
    interruptions() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGUSR1, &action, nullptr);
        thread_ = std::jthread([target = pthread_self()](std::stop_token stop) {
            while (!stop.stop_requested()) {
                pthread_kill(target, SIGUSR1);
                std::this_thread::sleep_for(milliseconds(5));
            }
        });
    }

 private:
    std::jthread thread_;
};

}  // namespace

TEST(net_socket, send_to_a_slow_reader_goes_on_until_everything_is_taken) {
    connection pair;
    const std::string sent = patterned(1u << 20);
    std::string got;
    std::thread reader([&] {
        std::this_thread::sleep_for(milliseconds(500));
        got = take_until_end(pair.peer);
    });
    {
        const interruptions noise;
        EXPECT_EQ(send_all(pair.ours, sent), static_cast<int32_t>(sent.size()));
    }
    pair.ours = owned_fd();
    reader.join();
    EXPECT_TRUE(got == sent);
}

// Whether the peer takes half a packet or nothing at all, nothing may follow on
// this stream.
TEST(net_socket, a_peer_that_stops_reading_costs_three_seconds_once) {
    for (const bool takes_half : {true, false}) {
        connection pair;
        const std::string sent = patterned(4u << 20);
        std::string filler;
        for (int refused = takes_half ? 4 : 0; refused < 4;) {
            if (send(pair.ours, "x", 1, MSG_DONTWAIT) == 1) {
                filler += 'x';
            } else {
                ++refused;
                std::this_thread::sleep_for(milliseconds(50));
            }
        }
        expect_takes(NET_SEND_TIMEOUT_MS, [&] {
            EXPECT_EQ(lines_of(-1, [&] { return send_all(pair.ours, sent); }),
                      "[ERROR] net_tcp_send_win32: 发送失败，错误码=110\n");
        });
        // SIGPIPE has its default action here: raising it would end the test.
        expect_takes(0, [&] { EXPECT_EQ(send_all(pair.ours, "next"), -1); });
        EXPECT_EQ(net_tcp_send_win32(pair.ours, nullptr, UINT32_MAX), -1);
        const std::string got = take_until_end(pair.peer);
        EXPECT_GT(got.size(), 0u);
        EXPECT_TRUE((filler + sent).starts_with(got));
        uint8_t byte;
        EXPECT_EQ(net_tcp_recv_win32(pair.ours, &byte, 1, 2000), 0);
    }
}

TEST(net_socket, tcp_reads_wait_for_their_time_and_no_longer) {
    connection pair;
    uint8_t buffer[8];
    {
        const interruptions noise;
        expect_takes(200, [&] { EXPECT_EQ(net_tcp_recv_win32(pair.ours, buffer, 8, 200), 0); });
    }
    ASSERT_EQ(send(pair.peer, "0123456789", 10, 0), 10);
    EXPECT_EQ(net_tcp_recv_win32(pair.ours, buffer, 8, UINT32_MAX), 8);
    EXPECT_EQ(net_tcp_recv_win32(pair.ours, buffer, 8, 0), 2);
    const owned_fd never_connected(net_tcp_socket_create_win32());
    const std::string invalid = "[ERROR] net_tcp_recv_win32: 无效参数\n";
    const struct {
        int32_t sock;
        uint8_t *buffer;
        uint32_t size;
        std::string line;
    } failures[] = {
        {-1, buffer, 8, invalid},
        {never_connected, nullptr, 8, invalid},
        {never_connected, buffer, 0, invalid},
        {never_connected, buffer, 8, "[ERROR] net_tcp_recv_win32: 读取失败，错误码=107\n"},
        {9999, buffer, 8, ""},
    };
    // A stream that was never connected has come to its end, or waits for ever.
    const bool ended = readable(never_connected, 0);
    for (const auto &[sock, into, size, line] : failures) {
        log_capture log;
        if (line.ends_with("107\n") && !ended) {
            EXPECT_EQ(net_tcp_recv_win32(sock, into, size, 20), 0);
            continue;
        }
        EXPECT_EQ(net_tcp_recv_win32(sock, into, size, 2000), -1);
        EXPECT_EQ(log.take(), line);
    }
}

// A listener that answers no SYN while its queue is full.
struct full_listener {
    full_listener() {
        EXPECT_EQ(listen(listener, 0), 0);
        const sockaddr_in address = loopback(port());
        const auto *generic = reinterpret_cast<const sockaddr *>(&address);
        pollfd connecting{-1, POLLOUT, 0};
        do {
            fillers.emplace_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
            (void)connect(fillers.back(), generic, sizeof address);
            connecting.fd = fillers.back();
        } while (poll(&connecting, 1, 200) == 1);
    }
    uint16_t port() const { return port_of(listener); }

    const owned_fd listener = bound_socket(SOCK_STREAM);
    std::vector<owned_fd> fillers;
};

TEST(net_socket, connect_gives_up_when_nobody_answers) {
    const full_listener silent;
    const owned_fd ours(net_tcp_socket_create_win32());
    const auto began = std::chrono::steady_clock::now();
    EXPECT_FALSE(net_tcp_connect_win32(ours, "127.0.0.1", silent.port()));
    const auto took = std::chrono::steady_clock::now() - began;
    EXPECT_GE(took, milliseconds(6000));
    EXPECT_LE(took, milliseconds(9000));
}

TEST(net_socket, interrupted_connect_is_waited_for) {
    const full_listener full;
    std::jthread server([&] {
        std::this_thread::sleep_for(milliseconds(300));
        for (size_t i = 0; i < full.fillers.size(); ++i) {
            (void)owned_fd(accept(full.listener, nullptr, nullptr));
        }
    });
    const owned_fd ours(net_tcp_socket_create_win32());
    {
        const interruptions noise;
        EXPECT_TRUE(net_tcp_connect_win32(ours, "127.0.0.1", full.port()));
    }
    EXPECT_EQ(send_all(ours, "connected"), 9);
}

TEST(net_socket, descriptors_above_1023_and_close_on_exec) {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        GTEST_SKIP() << "sockets are no descriptors here";
    }
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    std::vector<owned_fd> fillers;
    do {
        fillers.emplace_back(dup(0));
        ASSERT_GE(fillers.back(), 0);
    } while (fillers.back() < 1500);

    connection pair;
    ASSERT_EQ(send(pair.peer, "abc", 3, 0), 3);
    uint8_t buffer[8];
    EXPECT_EQ(net_tcp_recv_win32(pair.ours, buffer, 8, 2000), 3);
    const owned_fd udp(net_udp_socket_create());
    for (const int sock : {int{pair.ours}, int{udp}}) {
        EXPECT_GT(sock, 1500);
        EXPECT_EQ(fcntl(sock, F_GETFD), FD_CLOEXEC);
    }
}

// Where nobody listens, a socket that happens to have the peer's port would be its own peer.
TEST(net_socket, a_connection_to_itself_is_refused_and_leaves_the_port) {
    owned_fd ours(net_tcp_socket_create_win32());
    const sockaddr_in any_port = loopback(0);
    ASSERT_EQ(bind(ours, reinterpret_cast<const sockaddr *>(&any_port), sizeof any_port), 0);
    uint16_t port = port_of(ours);
    EXPECT_EQ(lines_of(0, [&] { return net_tcp_connect_win32(ours, "127.0.0.1", port); }),
              "[ERROR] net_tcp_connect_win32: 连接失败 127.0.0.1:" + std::to_string(port) +
                  ", 错误码=111\n");
    ours = owned_fd();
    const owned_fd broker(socket(AF_INET, SOCK_STREAM, 0));
    const sockaddr_in same = loopback(port);
    EXPECT_EQ(bind(broker, reinterpret_cast<const sockaddr *>(&same), sizeof same), 0);
}

// A process that has closed its standard descriptors must not write its output into a connection.
TEST(net_socket, no_descriptor_takes_the_place_of_a_standard_one) {
    for (const int standard : {0, 1, 2}) {
        const owned_fd kept(dup(standard));
        close(standard);
        const owned_fd tcp(net_tcp_socket_create_win32());
        const owned_fd udp(net_udp_socket_create());
        const bool stays_free = fcntl(standard, F_GETFD) == -1;
        dup2(kept, standard);
        EXPECT_TRUE(tcp > 2 && udp > 2 && stays_free) << standard;
        EXPECT_EQ(fcntl(tcp, F_GETFD), FD_CLOEXEC);
    }
}
