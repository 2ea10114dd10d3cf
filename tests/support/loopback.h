// Sockets on 127.0.0.1.
#pragma once

#include <cstdint>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace zep_test {

// A descriptor that is closed with its scope.
class owned_fd {
 public:
    explicit owned_fd(int fd = -1) : fd_(fd) {}
    owned_fd(owned_fd &&other) noexcept { std::swap(fd_, other.fd_); }
    owned_fd &operator=(owned_fd other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~owned_fd() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    operator int() const { return fd_; }

 private:
    int fd_ = -1;
};

sockaddr_in loopback(uint16_t port);

// A socket that is bound to the given port; 0 is replaced by a free one.
int bind_loopback(uint16_t &port, int type = SOCK_STREAM);
// A socket that is bound to a free port.
owned_fd bound_socket(int type);
uint16_t port_of(int socket);
// A TCP connection to this port, -1 when there is none within some seconds.
int connect_loopback(uint16_t port);

bool readable(int socket, int timeout_ms = 2000);
// What one read gives; empty at the end of the stream and when nothing comes.
std::string read_some(int socket);
void send_datagram(int socket, uint16_t port, const std::string &datagram);
// False: the peer has gone, or has taken nothing for five seconds.
bool send_all(int socket, const std::vector<uint8_t> &data);
// What is sent goes out at once, in packets of its own.
void set_no_delay(int socket);
// Whether the system tells the reader of a reset, or takes it for the end of the stream.
bool resets_are_told();
// The peer will see a reset instead of the end of the stream.
void reset_on_close(int socket);

inline const uint8_t *as_bytes(const std::string &text) {
    return reinterpret_cast<const uint8_t *>(text.data());
}

}  // namespace zep_test
