#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <unordered_map>

#include "bench.h"

namespace bench {

namespace {

using bytes = std::vector<uint8_t>;

struct peer {
    int sock = -1;
    bytes in;
    bytes out;
    size_t sent = 0;
    uint32_t watched = EPOLLIN;
    // The flood.
    uint32_t qos = 0;
    uint32_t left = 0;
    uint32_t payload = 0;
    uint32_t unacknowledged = 0;
    uint16_t last_id = 0;
};

void put(bytes &out, std::initializer_list<int> values) {
    for (const int value : values) {
        out.push_back(static_cast<uint8_t>(value));
    }
}

void put_flood_message(peer &to) {
    static constexpr char TOPIC[] = "bench/topic";
    const uint32_t topic = sizeof TOPIC - 1;
    const uint32_t body = 2 + topic + (to.qos != 0 ? 2 : 0) + to.payload;
    put(to.out, {0x30 | static_cast<int>(to.qos) << 1});
    if (body >= 128) {
        put(to.out, {static_cast<int>(body & 127) | 128, static_cast<int>(body >> 7)});
    } else {
        put(to.out, {static_cast<int>(body)});
    }
    put(to.out, {0, static_cast<int>(topic)});
    to.out.insert(to.out.end(), TOPIC, TOPIC + topic);
    if (to.qos != 0) {
        to.last_id = to.last_id == 1000 ? 1 : static_cast<uint16_t>(to.last_id + 1);
        put(to.out, {to.last_id >> 8, to.last_id & 255});
        ++to.unacknowledged;
    }
    to.out.resize(to.out.size() + to.payload, 'x');
    --to.left;
}

void answer(peer &to, const uint8_t *packet, const uint8_t *body) {
    const int qos = packet[0] >> 1 & 3;
    switch (packet[0] >> 4) {
        case 1:
            put(to.out, {0x20, 2, 0, 0});
            break;
        case 3:
            if (qos != 0) {
                const uint8_t *id = body + 2 + (body[0] << 8 | body[1]);
                put(to.out, {qos == 1 ? 0x40 : 0x50, 2, id[0], id[1]});
            }
            break;
        case 4:
        case 7:
            --to.unacknowledged;
            break;
        case 5:
            put(to.out, {0x62, 2, body[0], body[1]});
            break;
        case 6:
            put(to.out, {0x70, 2, body[0], body[1]});
            break;
        case 8: {
            put(to.out, {0x90, 3, body[0], body[1], 2});
            const std::string filter(reinterpret_cast<const char *>(body + 4),
                                     static_cast<size_t>(body[2] << 8 | body[3]));
            (void)std::sscanf(filter.c_str(), "flood/%u/%u/%u", &to.qos, &to.left, &to.payload);
            break;
        }
        case 12:
            put(to.out, {0xD0, 0});
            break;
        default:
            break;
    }
}

// The whole packet's length and its header's; false while they are not there yet.
bool measure(const bytes &in, size_t at, size_t &header, size_t &total) {
    size_t length = 0;
    for (uint32_t i = 1; i <= 4 && at + i < in.size(); ++i) {
        length |= static_cast<size_t>(in[at + i] & 127) << (7 * (i - 1));
        if ((in[at + i] & 128) == 0) {
            header = 1 + i;
            total = header + length;
            return at + total <= in.size();
        }
    }
    return false;
}

void take_packets(peer &from) {
    size_t at = 0;
    size_t header = 0;
    size_t total = 0;
    while (measure(from.in, at, header, total)) {
        answer(from, &from.in[at], from.in.data() + at + header);
        at += total;
    }
    from.in.erase(from.in.begin(), from.in.begin() + static_cast<long>(at));
}

// False: gone.
bool send_what_waits(peer &to, int poller) {
    constexpr size_t BLOCK = 65536;
    for (;;) {
        while (to.left != 0 && to.out.size() < BLOCK &&
               (to.qos == 0 || to.unacknowledged < FLOOD_WINDOW)) {
            put_flood_message(to);
        }
        if (to.out.empty()) {
            break;
        }
        const ssize_t sent = ::send(to.sock, to.out.data() + to.sent, to.out.size() - to.sent,
                                    MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno != EAGAIN) {
            return false;
        }
        to.sent += sent > 0 ? static_cast<size_t>(sent) : 0;
        if (to.sent < to.out.size()) {
            break;
        }
        to.out.clear();
        to.sent = 0;
    }
    epoll_event event = {};
    event.events = EPOLLIN | (to.out.empty() ? 0U : uint32_t{EPOLLOUT});
    event.data.fd = to.sock;
    if (to.watched != event.events) {
        to.watched = event.events;
        (void)epoll_ctl(poller, EPOLL_CTL_MOD, to.sock, &event);
    }
    return true;
}

[[noreturn]] void serve(int listening) {
    const int poller = epoll_create1(0);
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = listening;
    (void)epoll_ctl(poller, EPOLL_CTL_ADD, listening, &event);
    std::unordered_map<int, std::unique_ptr<peer>> peers;
    static uint8_t buffer[262144];
    for (;;) {
        epoll_event ready[256];
        const int count = epoll_wait(poller, ready, 256, -1);
        for (int i = 0; i < count; ++i) {
            const int sock = ready[i].data.fd;
            if (sock == listening) {
                const int accepted = accept(listening, nullptr, nullptr);
                if (accepted == -1) {
                    continue;
                }
                const int on = 1;
                (void)setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
                event.data.fd = accepted;
                (void)epoll_ctl(poller, EPOLL_CTL_ADD, accepted, &event);
                peers[accepted] = std::make_unique<peer>();
                peers[accepted]->sock = accepted;
                continue;
            }
            peer &from = *peers[sock];
            const ssize_t got = ::recv(sock, buffer, sizeof buffer, MSG_DONTWAIT);
            if (got > 0) {
                from.in.insert(from.in.end(), buffer, buffer + got);
                take_packets(from);
            }
            if (got == 0 || (got < 0 && errno != EAGAIN) || !send_what_waits(from, poller)) {
                (void)::close(sock);
                peers.erase(sock);
            }
        }
    }
}

}  // namespace

stub_broker::stub_broker() {
    rlimit files = {};
    (void)getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    (void)setrlimit(RLIMIT_NOFILE, &files);
    const int listening = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listening, reinterpret_cast<sockaddr *>(&address), size) != 0 ||
        listen(listening, 1024) != 0) {
        fail("the stub broker cannot listen");
    }
    (void)getsockname(listening, reinterpret_cast<sockaddr *>(&address), &size);
    port_ = ntohs(address.sin_port);
    pid_ = fork();
    if (pid_ == 0) {
        (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
        serve(listening);
    }
    (void)::close(listening);
}

stub_broker::~stub_broker() {
    (void)kill(pid_, SIGKILL);
    (void)waitpid(pid_, nullptr, 0);
}

}  // namespace bench
