#include "net/stream_socket.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <mutex>

#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/platform/socket_service.h>

#include "core/heap_copy.h"
#include "net/socket_address.h"
#include "net/system_socket.h"
#include "net/win32/winsock.h"
#include "static_lock.h"

namespace zep {

namespace {

struct socket_address {
    sockaddr_storage storage = {};
    socklen_t size = 0;

    sockaddr *generic() { return reinterpret_cast<sockaddr *>(&storage); }
};

// The service runs from the first use on: handles have no common end.
constinit static_lock g_service_lock;
bool g_service_started = false;

bool start_service() {
    const std::lock_guard guard(g_service_lock);
    g_service_started = g_service_started || platform_init() == 1;
    return g_service_started;
}

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
    return getsockname(native(sock), own.generic(), &own.size) == 0 &&
           getpeername(native(sock), peer.generic(), &peer.size) == 0 && own.size == peer.size &&
           std::memcmp(&own.storage, &peer.storage, static_cast<size_t>(own.size)) == 0;
}

int32_t transfer_result(int32_t result, int32_t *error) {
    if (result >= 0) {
        return result;
    }
    const int32_t failure = socket_last_error();
    if (socket_would_block(failure)) {
        return STREAM_AGAIN;
    }
    *error = failure;
    return STREAM_FAILED;
}

// The system's set of sockets, for as many as there are.
class socket_set {
 public:
    explicit socket_set(uint32_t most)
        : block_(static_cast<fd_set *>(heap_block(static_cast<uint32_t>(
              offsetof(fd_set, fd_array) + std::max(most, 1u) * sizeof(SOCKET))))) {
        if (block_ != nullptr) {
            block_->fd_count = 0;
        }
    }
    ~socket_set() { platform_free(block_); }
    socket_set(const socket_set &) = delete;
    socket_set &operator=(const socket_set &) = delete;

    bool has_memory() const { return block_ != nullptr; }
    void add(int32_t sock) { block_->fd_array[block_->fd_count++] = native(sock); }
    // Null for an empty set.
    fd_set *waited() const { return block_->fd_count == 0 ? nullptr : block_; }
    bool holds(int32_t sock) const { return FD_ISSET(native(sock), block_) != 0; }

 private:
    fd_set *block_;
};

}  // namespace

int32_t stream_connect(const zep_mqtt_sdk_address &address, int32_t *error) {
    socket_address peer;
    if (!start_service() || !to_socket_address(address, peer)) {
        *error = WSAEINVAL;
        return -1;
    }
    const int32_t sock = open_nonblocking(peer.storage.ss_family, SOCK_STREAM, IPPROTO_TCP);
    if (sock == -1) {
        *error = socket_last_error();
        return -1;
    }
    (void)set_option(sock, IPPROTO_TCP, TCP_NODELAY, 1);
    if (connect(native(sock), peer.generic(), peer.size) != 0 &&
        !socket_would_block(socket_last_error())) {
        *error = socket_last_error();
        socket_close(sock);
        return -1;
    }
    return sock;
}

int32_t stream_connected(int32_t sock, int32_t *error) {
    if (socket_wait(sock, readiness::writable, 0) == 0) {
        return STREAM_AGAIN;
    }
    int failure = 0;
    if (!get_option(sock, SOL_SOCKET, SO_ERROR, &failure)) {
        failure = socket_last_error();
    } else if (failure == 0 && is_own_address(sock)) {
        failure = WSAECONNREFUSED;
    }
    *error = failure;
    return failure == 0 ? 1 : STREAM_FAILED;
}

int32_t stream_send(int32_t sock, const uint8_t *data, uint32_t length, int32_t *error) {
    return transfer_result(socket_send(sock, data, std::min<uint32_t>(length, INT32_MAX)), error);
}

int32_t stream_receive(int32_t sock, uint8_t *buffer, uint32_t capacity, int32_t *error) {
    const int32_t got = socket_read(sock, buffer, std::min<uint32_t>(capacity, INT32_MAX));
    return got == 0 ? int32_t{STREAM_CLOSED} : transfer_result(got, error);
}

void stream_close(int32_t sock) {
    socket_close(sock);
}

bool sockets_wait(waited_socket *sockets, uint32_t count, uint32_t timeout_ms) {
    socket_set readable(count);
    socket_set writable(count);
    socket_set failed(count);
    if (!readable.has_memory() || !writable.has_memory() || !failed.has_memory()) {
        return false;
    }
    for (uint32_t i = 0; i < count; ++i) {
        if (sockets[i].sock == -1) {
            continue;
        }
        if ((sockets[i].interest & ZEP_MQTT_SDK_READABLE) != 0) {
            readable.add(sockets[i].sock);
        }
        if ((sockets[i].interest & ZEP_MQTT_SDK_WRITABLE) != 0) {
            writable.add(sockets[i].sock);
        }
        failed.add(sockets[i].sock);
    }
    if (failed.waited() == nullptr) {
        platform_delay_ms(timeout_ms);  // a wait for nothing is refused
    }
    timeval bound = to_timeval(timeout_ms);
    const int ready = failed.waited() == nullptr ? 0
                                                 : select(0, readable.waited(), writable.waited(),
                                                          failed.waited(), &bound);
    for (uint32_t i = 0; i < count; ++i) {
        const int32_t sock = sockets[i].sock;
        // A wait that fails as a whole met a closed handle: whoever holds one shall look at it.
        sockets[i].ready =
            sock != -1 &&
            (ready > 0 ? readable.holds(sock) || writable.holds(sock) || failed.holds(sock)
                       : ready < 0 && socket_kind_of(sock) == socket_kind::none);
    }
    return true;
}

// A datagram socket that sends to itself.
bool waker::open() {
    if (read_end_ != -1) {
        return true;
    }
    if (!start_service()) {
        return false;
    }
    const int32_t sock = socket_open(socket_kind::datagram);
    ipv4_endpoint self{{127, 0, 0, 1}, 0};
    if (sock == -1) {
        return false;
    }
    if (!socket_bind(sock, self) || !socket_local_endpoint(sock, &self) ||
        !socket_connect(sock, self)) {
        socket_close(sock);
        return false;
    }
    read_end_ = write_end_ = sock;
    return true;
}

void waker::close() {
    if (read_end_ != -1) {
        socket_close(read_end_);
        read_end_ = write_end_ = -1;
    }
}

void waker::signal() const {
    const uint8_t one = 1;
    (void)socket_send(write_end_, &one, 1);
}

void waker::clear() const {
    uint8_t ignored;
    while (socket_read(read_end_, &ignored, 1) > 0) {
    }
}

uint32_t resolve_host(const char *host, uint16_t port, zep_mqtt_sdk_address *addresses,
                      uint32_t most) {
    addrinfo wanted = {};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (!start_service() || getaddrinfo(host, nullptr, &wanted, &found) != 0) {
        return 0;
    }
    uint32_t count = 0;
    for (const addrinfo *each = found; each != nullptr && count < most; each = each->ai_next) {
        zep_mqtt_sdk_address &address = addresses[count];
        if (getnameinfo(each->ai_addr, static_cast<socklen_t>(each->ai_addrlen), address.text,
                        sizeof address.text, nullptr, 0, NI_NUMERICHOST) == 0) {
            address.port = port;
            ++count;
        }
    }
    freeaddrinfo(found);
    return count;
}

}  // namespace zep
