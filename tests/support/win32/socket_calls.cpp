// A call into another library goes through a pointer that the loader fills: the pointers that the
// library uses are replaced by these. Their names are those of the 64-bit system.
#include "support/socket_calls.h"

#define WIN32_LEAN_AND_MEAN
#include <thread>
#include <winsock2.h>

namespace {

thread_local uint64_t g_socket_calls = 0;
thread_local std::chrono::milliseconds g_connect_time{0};

int WSAAPI counting_send(SOCKET sock, const char *data, int size, int flags);
int WSAAPI counting_recv(SOCKET sock, char *data, int size, int flags);
int WSAAPI counting_select(int ignored, fd_set *readable, fd_set *writable, fd_set *failed,
                           const TIMEVAL *bound);
int WSAAPI slow_connect(SOCKET sock, const sockaddr *peer, int size);

}  // namespace

extern "C" {

extern decltype(&counting_send) __real___imp_send;
extern decltype(&counting_recv) __real___imp_recv;
extern decltype(&counting_select) __real___imp_select;
extern decltype(&slow_connect) __real___imp_connect;
decltype(&counting_send) __wrap___imp_send = counting_send;
decltype(&counting_recv) __wrap___imp_recv = counting_recv;
decltype(&counting_select) __wrap___imp_select = counting_select;
decltype(&slow_connect) __wrap___imp_connect = slow_connect;
}

namespace {

int WSAAPI counting_send(SOCKET sock, const char *data, int size, int flags) {
    g_socket_calls++;
    return __real___imp_send(sock, data, size, flags);
}

int WSAAPI counting_recv(SOCKET sock, char *data, int size, int flags) {
    g_socket_calls++;
    return __real___imp_recv(sock, data, size, flags);
}

int WSAAPI counting_select(int ignored, fd_set *readable, fd_set *writable, fd_set *failed,
                           const TIMEVAL *bound) {
    g_socket_calls++;
    return __real___imp_select(ignored, readable, writable, failed, bound);
}

int WSAAPI slow_connect(SOCKET sock, const sockaddr *peer, int size) {
    std::this_thread::sleep_for(g_connect_time);
    return __real___imp_connect(sock, peer, size);
}

}  // namespace

namespace zep_test {

uint64_t socket_calls_made() {
    return g_socket_calls;
}

void let_connects_take(std::chrono::milliseconds time) {
    g_connect_time = time;
}

}  // namespace zep_test
