#include "net/stream_socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/heap_copy.h"
#include "net/posix/system_call.h"
#include "net/system_socket.h"
#include "platform/posix/descriptor.h"

namespace zep {

namespace {

constexpr uint32_t WAITED_ON_STACK = 128;

struct socket_address {
    sockaddr_storage storage = {};
    socklen_t size = 0;

    sockaddr *generic() { return reinterpret_cast<sockaddr *>(&storage); }
};

bool to_socket_address(const zep_mqtt_sdk_address &address, socket_address &out) {
    auto *v4 = reinterpret_cast<sockaddr_in *>(&out.storage);
    auto *v6 = reinterpret_cast<sockaddr_in6 *>(&out.storage);
    if (inet_pton(AF_INET, address.text, &v4->sin_addr) == 1) {
        v4->sin_family = AF_INET;
        v4->sin_port = htons(address.port);
        out.size = sizeof *v4;
        return true;
    }
    if (inet_pton(AF_INET6, address.text, &v6->sin6_addr) == 1) {
        v6->sin6_family = AF_INET6;
        v6->sin6_port = htons(address.port);
        out.size = sizeof *v6;
        return true;
    }
    return false;
}

// A socket that was connected to itself: nobody listens at a port of the ephemeral range, and the
// system chose that very port as its own.
bool is_own_address(int32_t sock) {
    socket_address own;
    socket_address peer;
    own.size = peer.size = sizeof own.storage;
    return getsockname(sock, own.generic(), &own.size) == 0 &&
           getpeername(sock, peer.generic(), &peer.size) == 0 && own.size == peer.size &&
           std::memcmp(&own.storage, &peer.storage, own.size) == 0;
}

short poll_events(uint32_t interest) {
    return static_cast<short>(((interest & ZEP_MQTT_SDK_READABLE) != 0 ? POLLIN : 0) |
                              ((interest & ZEP_MQTT_SDK_WRITABLE) != 0 ? POLLOUT : 0));
}

int32_t transfer_result(ssize_t result, int32_t *error) {
    if (result >= 0) {
        return static_cast<int32_t>(result);
    }
    if (socket_would_block(errno)) {
        return STREAM_AGAIN;
    }
    *error = errno;
    return STREAM_FAILED;
}

}  // namespace

int32_t stream_connect(const zep_mqtt_sdk_address &address, int32_t *error) {
    socket_address peer;
    if (!to_socket_address(address, peer)) {
        *error = EINVAL;
        return -1;
    }
    const int32_t sock = above_standard(
        socket(peer.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (sock == -1) {
        *error = errno;
        return -1;
    }
    const int on = 1;
    (void)setsockopt(sock, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (connect(sock, peer.generic(), peer.size) == -1 && errno != EINPROGRESS && errno != EINTR) {
        *error = errno;
        (void)close(sock);
        return -1;
    }
    return sock;
}

int32_t stream_connected(int32_t sock, int32_t *error) {
    pollfd fd{sock, POLLOUT, 0};
    if (retry_interrupted([&] { return poll(&fd, 1, 0); }) <= 0) {
        return STREAM_AGAIN;
    }
    int failure = 0;
    socklen_t size = sizeof failure;
    if (getsockopt(sock, SOL_SOCKET, SO_ERROR, &failure, &size) == -1) {
        failure = errno;
    } else if (failure == 0 && is_own_address(sock)) {
        failure = ECONNREFUSED;
    }
    *error = failure;
    return failure == 0 ? 1 : STREAM_FAILED;
}

int32_t stream_send(int32_t sock, const uint8_t *data, uint32_t length, int32_t *error) {
    return transfer_result(
        retry_interrupted([&] { return send(sock, data, length, MSG_DONTWAIT | MSG_NOSIGNAL); }),
        error);
}

int32_t stream_receive(int32_t sock, uint8_t *buffer, uint32_t capacity, int32_t *error) {
    const ssize_t got =
        retry_interrupted([&] { return recv(sock, buffer, capacity, MSG_DONTWAIT); });
    return got == 0 ? int32_t{STREAM_CLOSED} : transfer_result(got, error);
}

void stream_close(int32_t sock) {
    (void)close(sock);
}

bool sockets_wait(waited_socket *sockets, uint32_t count, uint32_t timeout_ms) {
    pollfd on_stack[WAITED_ON_STACK];
    heap_ptr<pollfd[]> on_heap;
    pollfd *fds = on_stack;
    if (count > WAITED_ON_STACK) {
        on_heap = heap_zeroed<pollfd>(count);
        fds = on_heap.get();
        if (fds == nullptr) {
            return false;
        }
    }
    for (uint32_t i = 0; i < count; ++i) {
        fds[i] = pollfd{sockets[i].sock, poll_events(sockets[i].interest), 0};
    }
    const int ready = poll_for(fds, count, timeout_ms);
    for (uint32_t i = 0; i < count; ++i) {
        sockets[i].ready = ready > 0 && fds[i].revents != 0;
    }
    return true;
}

bool waker::open() {
    if (read_end_ == -1) {
        read_end_ = write_end_ = above_standard(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    }
    return read_end_ != -1;
}

void waker::close() {
    if (read_end_ != -1) {
        (void)::close(read_end_);
        read_end_ = write_end_ = -1;
    }
}

void waker::signal() const {
    const uint64_t one = 1;
    (void)!write(write_end_, &one, sizeof one);
}

void waker::clear() const {
    uint64_t count;
    (void)!read(read_end_, &count, sizeof count);
}

uint32_t resolve_host(const char *host, uint16_t port, zep_mqtt_sdk_address *addresses,
                      uint32_t most) {
    addrinfo wanted = {};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (getaddrinfo(host, nullptr, &wanted, &found) != 0) {
        return 0;
    }
    uint32_t count = 0;
    for (const addrinfo *each = found; each != nullptr && count < most; each = each->ai_next) {
        zep_mqtt_sdk_address &address = addresses[count];
        if (getnameinfo(each->ai_addr, each->ai_addrlen, address.text, sizeof address.text, nullptr,
                        0, NI_NUMERICHOST) == 0) {
            address.port = port;
            ++count;
        }
    }
    freeaddrinfo(found);
    return count;
}

}  // namespace zep
