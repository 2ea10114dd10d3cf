#include "support/socket_calls.h"

#include <poll.h>
#include <sys/socket.h>
#include <thread>

namespace {

thread_local uint64_t g_socket_calls = 0;
thread_local std::chrono::milliseconds g_connect_time{0};

}  // namespace

extern "C" {

ssize_t __real_send(int sock, const void *data, size_t size, int flags);
ssize_t __real_recv(int sock, void *data, size_t size, int flags);
int __real_connect(int sock, const sockaddr *peer, socklen_t size);
int __real_poll(pollfd *sockets, nfds_t count, int timeout_ms);

ssize_t __wrap_send(int sock, const void *data, size_t size, int flags) {
    g_socket_calls++;
    return __real_send(sock, data, size, flags);
}

ssize_t __wrap_recv(int sock, void *data, size_t size, int flags) {
    g_socket_calls++;
    return __real_recv(sock, data, size, flags);
}

int __wrap_connect(int sock, const sockaddr *peer, socklen_t size) {
    std::this_thread::sleep_for(g_connect_time);
    return __real_connect(sock, peer, size);
}

int __wrap_poll(pollfd *sockets, nfds_t count, int timeout_ms) {
    g_socket_calls++;
    return __real_poll(sockets, count, timeout_ms);
}
}

namespace zep_test {

uint64_t socket_calls_made() {
    return g_socket_calls;
}

void let_connects_take(std::chrono::milliseconds time) {
    g_connect_time = time;
}

}  // namespace zep_test
