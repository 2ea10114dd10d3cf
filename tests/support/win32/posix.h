// As much of POSIX as the tests use, on Windows: sockets are ints, take untyped memory and report
// their errors under the POSIX names; close() closes both sockets and files. What this system has
// no counterpart of (signals between threads, limits on resources, child processes by copying)
// fails with ENOSYS, so that a test can find out and leave the case out.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef NOGDI
#define NOGDI
#endif

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <io.h>
#include <sys/types.h>
#include <winsock2.h>
// winsock2.h must stand before it.
#include <ws2tcpip.h>

// The numbers that the system gives where POSIX has these.
#undef ETIMEDOUT
#define ETIMEDOUT WSAETIMEDOUT
#undef ENOTCONN
#define ENOTCONN WSAENOTCONN
#undef EMSGSIZE
#define EMSGSIZE WSAEMSGSIZE
#undef ECONNREFUSED
#define ECONNREFUSED WSAECONNREFUSED
#undef ENOMEM
#define ENOMEM ERROR_NOT_ENOUGH_MEMORY
#undef EINVAL
#define EINVAL WSAEINVAL
#undef EACCES
#define EACCES WSAEACCES
#undef EPIPE
#define EPIPE WSAESHUTDOWN
#undef ECONNRESET
#define ECONNRESET WSAECONNRESET
#undef ENOTSOCK
#define ENOTSOCK WSAENOTSOCK
#undef EBADF
#define EBADF WSAENOTSOCK
#undef EMFILE
#define EMFILE WSAEMFILE

#define SOCK_CLOEXEC 0
#define SOCK_NONBLOCK 0x800
#define MSG_NOSIGNAL 0
#define MSG_DONTWAIT 0x4000
#define SHUT_RD SD_RECEIVE
#define SHUT_WR SD_SEND
#define SHUT_RDWR SD_BOTH

// Same parameters as the system's own function, therefore by another name.
int posix_socket(int domain, int type, int protocol);
#define socket(domain, type, protocol) posix_socket(domain, type, protocol)

int accept(int sock, sockaddr *address, socklen_t *size);
int accept4(int sock, sockaddr *address, socklen_t *size, int flags);
int bind(int sock, const sockaddr *address, socklen_t size);
int connect(int sock, const sockaddr *address, socklen_t size);
int getsockname(int sock, sockaddr *address, socklen_t *size);
int posix_getsockopt(int sock, int level, int name, void *value, socklen_t *size);
int listen(int sock, int backlog);
ssize_t posix_recv(int sock, void *buffer, size_t size, int flags);
ssize_t posix_send(int sock, const void *data, size_t size, int flags);
ssize_t posix_sendto(int sock, const void *data, size_t size, int flags, const sockaddr *target,
                     socklen_t target_size);
int socketpair(int domain, int type, int protocol, int (&sockets)[2]);

// Better matches for any pointer and size than the system's own functions.
template <typename Value>
int getsockopt(int sock, int level, int name, Value *value, socklen_t *size) {
    return posix_getsockopt(sock, level, name, value, size);
}
template <typename Byte, typename Size>
ssize_t recv(int sock, Byte *buffer, Size size, int flags) {
    return posix_recv(sock, buffer, static_cast<size_t>(size), flags);
}
template <typename Byte, typename Size>
ssize_t send(int sock, const Byte *data, Size size, int flags) {
    return posix_send(sock, data, static_cast<size_t>(size), flags);
}
template <typename Byte, typename Size, typename AddressSize>
ssize_t sendto(int sock, const Byte *data, Size size, int flags, const sockaddr *target,
               AddressSize target_size) {
    return posix_sendto(sock, data, static_cast<size_t>(size), flags, target,
                        static_cast<socklen_t>(target_size));
}
int setsockopt(int sock, int level, int name, const void *value, socklen_t size);
int shutdown(int sock, int how);

// The system's record has a wider handle.
struct posix_pollfd {
    int fd;
    short events;
    short revents;
};
#define pollfd posix_pollfd
int poll(posix_pollfd *fds, size_t count, int timeout_ms);

// Unknown to the system.
#define TCP_USER_TIMEOUT 0x7F12
#define TCP_INFO 0x7F13

#define F_GETFD 1
#define FD_CLOEXEC 1
#define F_GETPIPE_SZ 1032
int fcntl(int file, int command);
int pipe(int (&ends)[2]);
inline ssize_t write(int file, const char *data, size_t size) {
    return _write(file, data, static_cast<unsigned>(size));
}

int mkfifo(const char *path, int mode);
int setenv(const char *name, const char *value, int overwrite);

// The time of the processor; the system's own function counts all time.
clock_t posix_clock();
#define clock() posix_clock()

namespace std {
void *aligned_alloc(size_t alignment, size_t size);
}

// A new directory; the X at the end of the name are replaced.
char *mkdtemp(char *name);
