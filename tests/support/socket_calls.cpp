#include "support/socket_calls.h"

#include <poll.h>
#include <sys/socket.h>

namespace {

thread_local uint64_t g_made = 0;

}  // namespace

extern "C" {

ssize_t __real_send(int sock, const void *data, size_t size, int flags);
int __real_poll(pollfd *sockets, nfds_t count, int timeout_ms);

ssize_t __wrap_send(int sock, const void *data, size_t size, int flags) {
    g_made++;
    return __real_send(sock, data, size, flags);
}

int __wrap_poll(pollfd *sockets, nfds_t count, int timeout_ms) {
    g_made++;
    return __real_poll(sockets, count, timeout_ms);
}
}

namespace zep_test {

uint64_t socket_calls_made() {
    return g_made;
}

}  // namespace zep_test
