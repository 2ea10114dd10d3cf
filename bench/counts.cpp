// Counts the system calls that the program and its libraries make, and their allocations: the
// functions of the C library are found here first.
#include <atomic>
#include <cerrno>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include "bench.h"

namespace {

std::atomic<uint64_t> g_calls;
std::atomic<uint64_t> g_allocations;

template <typename... Arguments>
long call(long number, Arguments... arguments) {
    g_calls.fetch_add(1, std::memory_order_relaxed);
    return syscall(number, arguments...);
}

}  // namespace

bench::counts bench::counted() {
    return {g_calls, g_allocations};
}

extern "C" {

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);

void *malloc(size_t size) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}
void *calloc(size_t count, size_t size) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}
void *realloc(void *block, size_t size) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(block, size);
}

ssize_t send(int fd, const void *data, size_t size, int flags) {
    return call(SYS_sendto, fd, data, size, flags, nullptr, 0);
}
ssize_t recv(int fd, void *data, size_t size, int flags) {
    return call(SYS_recvfrom, fd, data, size, flags, nullptr, nullptr);
}
ssize_t sendto(int fd, const void *data, size_t size, int flags, const sockaddr *to,
               socklen_t length) {
    return call(SYS_sendto, fd, data, size, flags, to, length);
}
ssize_t recvfrom(int fd, void *data, size_t size, int flags, sockaddr *from, socklen_t *length) {
    return call(SYS_recvfrom, fd, data, size, flags, from, length);
}
ssize_t sendmsg(int fd, const msghdr *message, int flags) {
    return call(SYS_sendmsg, fd, message, flags);
}
ssize_t recvmsg(int fd, msghdr *message, int flags) {
    return call(SYS_recvmsg, fd, message, flags);
}
ssize_t read(int fd, void *data, size_t size) {
    return call(SYS_read, fd, data, size);
}
ssize_t write(int fd, const void *data, size_t size) {
    return call(SYS_write, fd, data, size);
}
ssize_t readv(int fd, const iovec *parts, int count) {
    return call(SYS_readv, fd, parts, count);
}
ssize_t writev(int fd, const iovec *parts, int count) {
    return call(SYS_writev, fd, parts, count);
}
int poll(pollfd *sockets, nfds_t count, int timeout) {
    return static_cast<int>(call(SYS_poll, sockets, count, timeout));
}
int ppoll(pollfd *sockets, nfds_t count, const timespec *timeout, const sigset_t *mask) {
    timespec left = timeout != nullptr ? *timeout : timespec{};
    return static_cast<int>(
        call(SYS_ppoll, sockets, count, timeout != nullptr ? &left : nullptr, mask, 8));
}
int select(int count, fd_set *in, fd_set *out, fd_set *error, timeval *timeout) {
    return static_cast<int>(call(SYS_select, count, in, out, error, timeout));
}
int pselect(int count, fd_set *in, fd_set *out, fd_set *error, const timespec *timeout,
            const sigset_t *mask) {
    timespec left = timeout != nullptr ? *timeout : timespec{};
    const struct {
        const sigset_t *mask;
        size_t size;
    } with = {mask, 8};
    return static_cast<int>(
        call(SYS_pselect6, count, in, out, error, timeout != nullptr ? &left : nullptr, &with));
}
int epoll_wait(int fd, epoll_event *events, int most, int timeout) {
    return static_cast<int>(call(SYS_epoll_wait, fd, events, most, timeout));
}
}
