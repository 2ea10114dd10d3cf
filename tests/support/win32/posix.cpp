#include "support/win32/posix.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <direct.h>
#include <fcntl.h>
#include <limits>
#include <malloc.h>
#include <process.h>
#include <random>
#include <string>

#include "support/win32/spawn.h"
#include "support/win32/sys/eventfd.h"
#include "support/win32/sys/mman.h"
#include "support/win32/sys/wait.h"

#undef socket
#undef pollfd
#undef clock

namespace {

// The socket service runs as long as the program does, and no file or pipe changes line ends.
const int g_started = [] {
    _fmode = _O_BINARY;
    _setmode(1, _O_BINARY);
    _setmode(2, _O_BINARY);
    WSADATA ignored;
    return WSAStartup(MAKEWORD(2, 2), &ignored);
}();

SOCKET native(int sock) {
    return static_cast<SOCKET>(static_cast<intptr_t>(sock));
}

int handle(SOCKET sock) {
    return sock == INVALID_SOCKET ? -1 : static_cast<int>(sock);
}

int bounded(size_t size) {
    return static_cast<int>(std::min<size_t>(size, std::numeric_limits<int>::max()));
}

bool is_socket(int file) {
    int type = 0;
    int size = sizeof type;
    return getsockopt(native(file), SOL_SOCKET, SO_TYPE, reinterpret_cast<char *>(&type), &size) ==
           0;
}

bool set_blocking(int sock, bool blocking) {
    u_long value = blocking ? 0 : 1;
    return ioctlsocket(native(sock), static_cast<long>(FIONBIO), &value) == 0;
}

// Sends and reads that must not wait: whether they would is asked before.
bool may_go_on(int sock, int flags, short events) {
    if ((flags & MSG_DONTWAIT) == 0) {
        // Those that may wait do so here, in case the socket is one of the library's.
        posix_pollfd fd = {sock, events, 0};
        return poll(&fd, 1, -1) > 0;
    }
    posix_pollfd fd = {sock, events, 0};
    if (poll(&fd, 1, 0) > 0) {
        return true;
    }
    WSASetLastError(WSAEWOULDBLOCK);
    return false;
}

}  // namespace

extern "C" int __real_close(int file);
extern "C" int __wrap_close(int file) {
    return is_socket(file) ? closesocket(native(file)) : __real_close(file);
}

int posix_socket(int domain, int type, int protocol) {
    const int sock = handle(socket(domain, type & ~SOCK_NONBLOCK, protocol));
    if (sock != -1 && (type & SOCK_NONBLOCK) != 0) {
        set_blocking(sock, false);
    }
    return sock;
}

int accept(int sock, sockaddr *address, socklen_t *size) {
    return handle(accept(native(sock), address, size));
}
int accept4(int sock, sockaddr *address, socklen_t *size, int flags) {
    const int taken = accept(sock, address, size);
    if (taken != -1 && (flags & SOCK_NONBLOCK) != 0) {
        set_blocking(taken, false);
    }
    return taken;
}
int bind(int sock, const sockaddr *address, socklen_t size) {
    return bind(native(sock), address, size);
}
int connect(int sock, const sockaddr *address, socklen_t size) {
    return connect(native(sock), address, size);
}
int getsockname(int sock, sockaddr *address, socklen_t *size) {
    return getsockname(native(sock), address, size);
}
int posix_getsockopt(int sock, int level, int name, void *value, socklen_t *size) {
    char given[512] = {};
    int given_size = sizeof given;
    const int result = getsockopt(native(sock), level, name, given, &given_size);
    if (result == 0) {  // a flag of one byte has filled an int otherwise
        std::memcpy(value, given, static_cast<size_t>(std::min<socklen_t>(*size, sizeof given)));
    }
    return result;
}
int listen(int sock, int backlog) {
    return listen(native(sock), backlog);
}
ssize_t posix_recv(int sock, void *buffer, size_t size, int flags) {
    return may_go_on(sock, flags, POLLIN) ? recv(native(sock), static_cast<char *>(buffer),
                                                 bounded(size), flags & ~MSG_DONTWAIT)
                                          : -1;
}
ssize_t posix_send(int sock, const void *data, size_t size, int flags) {
    return may_go_on(sock, flags, POLLOUT) ? send(native(sock), static_cast<const char *>(data),
                                                  bounded(size), flags & ~MSG_DONTWAIT)
                                           : -1;
}
ssize_t posix_sendto(int sock, const void *data, size_t size, int flags, const sockaddr *target,
                     socklen_t target_size) {
    return sendto(native(sock), static_cast<const char *>(data), bounded(size), flags, target,
                  target_size);
}
int setsockopt(int sock, int level, int name, const void *value, socklen_t size) {
    // Here this option would let another socket take the port over.
    if (level == SOL_SOCKET && name == SO_REUSEADDR) {
        return 0;
    }
    // The system's times are milliseconds.
    if (level == SOL_SOCKET && (name == SO_SNDTIMEO || name == SO_RCVTIMEO)) {
        const auto *time = static_cast<const timeval *>(value);
        const DWORD ms = static_cast<DWORD>(time->tv_sec * 1000 + time->tv_usec / 1000);
        return setsockopt(native(sock), level, name, reinterpret_cast<const char *>(&ms),
                          sizeof ms);
    }
    return setsockopt(native(sock), level, name, static_cast<const char *>(value), size);
}
int eventfd(unsigned, int) {
    const int event = posix_socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in self = {};
    self.sin_family = AF_INET;
    self.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof self;
    auto *generic = reinterpret_cast<sockaddr *>(&self);
    if (bind(event, generic, size) != 0 || getsockname(event, generic, &size) != 0 ||
        connect(event, generic, size) != 0) {
        return -1;
    }
    return event;
}
int eventfd_write(int event, uint64_t) {
    return posix_send(event, "", 1, 0) == 1 ? 0 : -1;
}
int posix_spawn(pid_t *process, const char *, const void *, const void *, char *const *arguments,
                char *const *) {
    char self[MAX_PATH];
    GetModuleFileNameA(nullptr, self, sizeof self);
    const intptr_t child = _spawnv(_P_NOWAIT, self, arguments);
    *process = child;
    return child == -1 ? errno : 0;
}
pid_t waitpid(pid_t process, int *status, int) {
    return _cwait(status, process, 0);
}
int socketpair(int, int, int, int (&)[2]) {
    errno = ENOSYS;
    return -1;
}
constexpr int PIPE_SIZE = 4096;
int pipe(int (&ends)[2]) {
    return _pipe(ends, PIPE_SIZE, _O_BINARY | _O_NOINHERIT);
}
int fcntl(int sock, int command) {
    if (command == F_GETPIPE_SZ) {
        return PIPE_SIZE;
    }
    const intptr_t handle =
        is_socket(sock) ? static_cast<intptr_t>(native(sock)) : _get_osfhandle(sock);
    DWORD flags = 0;
    if (handle < 0 || !GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags)) {
        return -1;
    }
    return (flags & HANDLE_FLAG_INHERIT) != 0 ? 0 : FD_CLOEXEC;
}
int mkfifo(const char *, int) {
    errno = ENOSYS;
    return -1;
}
int setenv(const char *name, const char *value, int) {
    return _putenv_s(name, value);
}
clock_t posix_clock() {
    FILETIME begun, ended, kernel, user;
    GetProcessTimes(GetCurrentProcess(), &begun, &ended, &kernel, &user);
    const auto units = [](const FILETIME &time) {
        return uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
    };
    return static_cast<clock_t>((units(kernel) + units(user)) / (10'000'000 / CLOCKS_PER_SEC));
}
void *std::aligned_alloc(size_t alignment, size_t size) {
    return _aligned_malloc(size, alignment);
}
int shutdown(int sock, int how) {
    return shutdown(native(sock), how);
}

int poll(posix_pollfd *fds, size_t count, int timeout_ms) {
    fd_set readable, writable, failed;
    FD_ZERO(&readable);
    FD_ZERO(&writable);
    FD_ZERO(&failed);
    for (size_t i = 0; i < count; i++) {
        if ((fds[i].events & POLLIN) != 0) {
            FD_SET(native(fds[i].fd), &readable);
        }
        if ((fds[i].events & POLLOUT) != 0) {
            FD_SET(native(fds[i].fd), &writable);
        }
        FD_SET(native(fds[i].fd), &failed);
    }
    timeval bound = {timeout_ms / 1000, timeout_ms % 1000 * 1000};
    if (select(0, &readable, &writable, &failed, timeout_ms < 0 ? nullptr : &bound) < 0) {
        return -1;
    }
    int ready = 0;
    for (size_t i = 0; i < count; i++) {
        const SOCKET sock = native(fds[i].fd);
        fds[i].revents = static_cast<short>((FD_ISSET(sock, &readable) ? POLLIN : 0) |
                                            (FD_ISSET(sock, &writable) ? POLLOUT : 0) |
                                            (FD_ISSET(sock, &failed) ? POLLERR : 0));
        ready += fds[i].revents != 0;
    }
    return ready;
}

char *mkdtemp(char *name) {
    std::string text = name;
    const size_t first = text.find_last_not_of('X') + 1;
    std::random_device random;
    for (size_t at = first; at < text.size(); at++) {
        name[at] = static_cast<char>('a' + random() % 26);
    }
    return _mkdir(name) == 0 ? name : nullptr;
}

void *mmap(void *, size_t size, int, int, int, long) {
    return VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}
int mprotect(void *at, size_t size, int protection) {
    DWORD before;
    return VirtualProtect(at, size, protection == PROT_NONE ? PAGE_NOACCESS : PAGE_READWRITE,
                          &before)
               ? 0
               : -1;
}
int munmap(void *at, size_t) {
    return VirtualFree(at, 0, MEM_RELEASE) ? 0 : -1;
}
long sysconf(int) {
    return 4096;
}
