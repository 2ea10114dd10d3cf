#include "support/socket_calls.h"

#include <poll.h>
#include <sys/socket.h>

namespace {

thread_local uint64_t g_socket_calls = 0;

}  // namespace

extern "C" {

ssize_t __real_send(int sock, const void *data, size_t size, int flags);
int __real_poll(pollfd *sockets, nfds_t count, int timeout_ms);

ssize_t __wrap_send(int sock, const void *data, size_t size, int flags) {
    g_socket_calls++;
    return __real_send(sock, data, size, flags);
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

}  // namespace zep_test
