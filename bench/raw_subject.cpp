// The floor: prepared bytes, blocking sends of one packet, blocking reads of at most 1,028 bytes.
#include <arpa/inet.h>
#include <cstring>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "subjects.h"

namespace bench {

namespace {

class raw_subject : public subject {
 public:
    explicit raw_subject(uint16_t port) : sock_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int on = 1;
        (void)setsockopt(sock_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        if (connect(sock_, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
            fail("raw: no connection");
        }
        put({0x10, 15, 0, 4, 'M', 'Q', 'T', 'T', 4, 2, 0, 60, 0, 3, 'r', 'a', 'w'});
        while (connacks_ == 0) {
            take();
        }
    }
    ~raw_subject() override { (void)::close(sock_); }

    void publish(uint32_t qos, uint32_t count) override {
        const uint32_t id_size = qos != 0 ? 2 : 0;
        const uint32_t size = 2 + 13 + id_size + 64;
        uint8_t packet[96] = {static_cast<uint8_t>(0x30 | qos << 1), static_cast<uint8_t>(size - 2),
                              0, 11};
        std::memcpy(packet + 4, TOPIC, 11);
        packet[16] = id_size != 0 ? 1 : 'x';
        done_ = 0;
        for (uint32_t sent = 0; sent < count; ++sent) {
            while (qos != 0 && sent - done_ == window_of(qos)) {
                take();
            }
            (void)send(sock_, packet, size, MSG_NOSIGNAL);
        }
        while (qos != 0 && done_ < count) {
            take();
        }
    }

    void receive(uint32_t qos, uint32_t count, uint32_t payload) override {
        const std::string filter = flood_filter(qos, count, payload);
        uint8_t packet[64] = {0x82, static_cast<uint8_t>(filter.size() + 5), 0, 1,
                              0,    static_cast<uint8_t>(filter.size())};
        std::memcpy(packet + 6, filter.data(), filter.size());
        packet[6 + filter.size()] = 2;
        (void)send(sock_, packet, filter.size() + 7, MSG_NOSIGNAL);
        received_ = 0;
        while (received_ < count) {
            take();
        }
    }

 private:
    static constexpr char TOPIC[] = "bench/topic";

    void put(std::initializer_list<uint8_t> packet) {
        (void)send(sock_, packet.begin(), packet.size(), MSG_NOSIGNAL);
    }

    void take() {
        const ssize_t got = recv(sock_, buffer_ + held_, 1028, 0);
        if (got <= 0) {
            fail("raw: the connection has ended");
        }
        const size_t size = held_ + static_cast<size_t>(got);
        size_t at = 0;
        for (size_t total = length(at, size); total != 0 && at + total <= size;
             total = length(at, size)) {
            answer(buffer_ + at);
            at += total;
        }
        held_ = size - at;
        std::memmove(buffer_, buffer_ + at, held_);
    }

    // 0: not known yet.
    size_t length(size_t at, size_t size) const {
        if (at + 2 > size) {
            return 0;
        }
        const uint8_t first = buffer_[at + 1];
        if ((first & 128) == 0) {
            return 2 + first;
        }
        return at + 3 > size ? 0 : 3 + (first & 127) + (size_t{buffer_[at + 2]} << 7);
    }

    void answer(const uint8_t *packet) {
        switch (packet[0] >> 4) {
            case 2:
                ++connacks_;
                break;
            case 3: {
                const uint8_t *id = packet + ((packet[1] & 128) != 0 ? 3 : 2) + 2 + 11;
                const int qos = packet[0] >> 1 & 3;
                if (qos != 0) {
                    put({static_cast<uint8_t>(qos == 1 ? 0x40 : 0x50), 2, id[0], id[1]});
                }
                received_ += qos != 2 ? 1 : 0;  // at QoS 2 when it is released
                break;
            }
            case 4:
            case 7:
                ++done_;
                break;
            case 5:
                put({0x62, 2, packet[2], packet[3]});
                break;
            case 6:
                put({0x70, 2, packet[2], packet[3]});
                ++received_;
                break;
            default:
                break;
        }
    }

    int sock_;
    uint32_t connacks_ = 0;
    uint32_t done_ = 0;
    uint32_t received_ = 0;
    size_t held_ = 0;
    uint8_t buffer_[2 * 1028 + 8];
};

}  // namespace

std::unique_ptr<subject> make_raw(uint16_t port) {
    return std::make_unique<raw_subject>(port);
}

}  // namespace bench
