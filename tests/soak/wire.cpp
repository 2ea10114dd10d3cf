#include "soak/wire.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <zep_mqtt/protocol/v311/packet.h>

#include "support/loopback.h"

namespace zep_test {

namespace {

constexpr int LOOK_UP_MS = 100;  // how often a wire looks whether it is to end
constexpr int RETRY_MS = 10;
constexpr int WHOLE = 4096;
constexpr int MOST_BEFORE_FAULT = 200000;

void never_wait_long(int socket) {
    const timeval bound = {5, 0};
    set_no_delay(socket);
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &bound, sizeof bound);
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof bound);
}

bool send_all(int socket, const uint8_t *data, ssize_t size) {
    while (size > 0) {
        const ssize_t sent = send(socket, data, static_cast<size_t>(size), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        data += sent;
        size -= sent;
    }
    return true;
}

unsigned number_at(const uint8_t *bytes) {
    return static_cast<unsigned>(bytes[0] << 8 | bytes[1]);
}

// The size of the packet that begins here, 0 when that cannot be told yet.
size_t packet_size(const std::vector<uint8_t> &data) {
    size_t length = 0;
    for (size_t at = 1; at < data.size() && at < 5; at++) {
        length |= (data[at] & 0x7fu) << 7 * (at - 1);
        if (data[at] < 0x80) {
            return at + 1 + length;
        }
    }
    return 0;
}

passing_packet describe(heading way, const uint8_t *packet) {
    const unsigned first = packet[0];
    passing_packet head = {way, first >> 4, first >> 1 & 3, 0, (first & 8) != 0, ""};
    const uint8_t *body = packet + 2 + (packet[1] >> 7);  // all of ours are below 16 KiB
    if (head.type == MQTT_PACKET_PUBLISH) {
        const unsigned length = number_at(body);
        head.topic.assign(reinterpret_cast<const char *>(body) + 2, length);
        head.id = head.qos > 0 ? number_at(body + 2 + length) : 0;
    } else if (packet[1] >= 2) {
        head.id = number_at(body);
    }
    return head;
}

}  // namespace

wire::wire(uint16_t broker_port, bool unreliable, unsigned seed, wire_listener listener)
    : broker_port_(broker_port),
      unreliable_(unreliable),
      listener_(std::move(listener)),
      random_(seed),
      acceptor_(bind_loopback(port_)) {
    listen(acceptor_, 8);
    thread_ = std::thread([this] { run(); });
}

wire::~wire() {
    ending_ = true;
    thread_.join();
    close(acceptor_);
}

void wire::run() {
    while (!ending_) {
        if (!readable(acceptor_, LOOK_UP_MS)) {
            continue;
        }
        const int client = accept4(acceptor_, nullptr, nullptr, SOCK_CLOEXEC);
        never_wait_long(client);
        const int broker = reach_broker(client);
        if (broker >= 0) {
            listener_.connected();
            serve(client, broker);
            close(broker);
        }
        close(client);
    }
}

// The client waits until there is a broker, unless it loses its patience.
int wire::reach_broker(int client) {
    pollfd hung_up = {client, POLLRDHUP, 0};
    while (!ending_ && poll(&hung_up, 1, 0) == 0) {
        const int broker = connect_loopback(broker_port_);
        if (broker >= 0) {
            never_wait_long(broker);
            return broker;
        }
        pause(RETRY_MS);
    }
    return -1;
}

// Until either end is gone. The client is then shown the end of the stream, behind all that the
// broker has sent, and may take its time to close.
void wire::serve(int client, int broker) {
    stream up = {heading::to_broker, client, broker, {}};
    stream down = {heading::to_client, broker, client, {}};
    until_fault_ = between(0, MOST_BEFORE_FAULT);
    piece_ = WHOLE;
    reset_ = false;
    for (bool whole = true; whole && !ending_;) {
        pollfd waiting[] = {{client, POLLIN, 0}, {broker, POLLIN, 0}};
        if (poll(waiting, 2, LOOK_UP_MS) <= 0) {
            continue;
        }
        whole =
            (waiting[0].revents == 0 || forward(up)) && (waiting[1].revents == 0 || forward(down));
        if (whole && unreliable_ && until_fault_ <= 0) {
            whole = strike(client);
        }
    }
    if (reset_) {
        return;
    }
    // What is under way to the broker has been sent, too.
    shutdown(client, SHUT_WR);
    uint8_t data[WHOLE];
    while (!ending_) {
        const ssize_t size = recv(client, data, sizeof data, 0);
        if (size > 0) {
            report(up, data, static_cast<size_t>(size));
        } else if (size == 0 || errno != EAGAIN) {
            return;
        }
    }
}

bool wire::forward(stream &bytes) {
    uint8_t data[WHOLE];
    const ssize_t size =
        recv(bytes.from, data,
             static_cast<size_t>(unreliable_ ? std::clamp(until_fault_, 1, piece_) : WHOLE), 0);
    if (size <= 0) {
        return false;
    }
    until_fault_ -= static_cast<int>(size);
    report(bytes, data, static_cast<size_t>(size));
    // What the broker has sent before its death is still to be read.
    return send_all(bytes.to, data, size) || bytes.way == heading::to_broker;
}

void wire::report(stream &bytes, const uint8_t *data, size_t size) {
    std::vector<uint8_t> &held = bytes.unfinished;
    held.insert(held.end(), data, data + size);
    for (;;) {
        const size_t whole = packet_size(held);
        if (whole == 0 || whole > held.size()) {
            return;
        }
        listener_.passing(describe(bytes.way, held.data()));
        held.erase(held.begin(), held.begin() + static_cast<std::ptrdiff_t>(whole));
    }
}

// False: that was the end.
bool wire::strike(int client) {
    until_fault_ = between(0, MOST_BEFORE_FAULT);
    piece_ = WHOLE;
    faults_++;
    switch (between(0, 4)) {
        case 0:
            pause(between(10, 2000));
            return true;
        case 1:
            piece_ = between(1, 3);
            until_fault_ = 3000;
            return true;
        case 2:  // half closed
            return false;
        case 3:  // silent
            pause(between(10, 1000));
            [[fallthrough]];
        default:
            listener_.spoilt();
            reset_ = true;
            reset_on_close(client);
            return false;
    }
}

int wire::between(int least, int most) {
    return std::uniform_int_distribution(least, most)(random_);
}

void wire::pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

}  // namespace zep_test
