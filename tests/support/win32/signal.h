// There are no signals between threads.
#pragma once

#include <cerrno>
#include_next <signal.h>

constexpr int SIGUSR1 = 10;

struct sigaction {
    void (*sa_handler)(int);
};

inline int sigaction(int, const struct sigaction *, struct sigaction *) {
    errno = ENOSYS;
    return -1;
}

#ifndef _POSIX
using sigset_t = unsigned long;
#endif
#undef pthread_sigmask
inline int pthread_sigmask(int, const sigset_t *, sigset_t *) {
    return ENOSYS;
}
// Nothing is known of any signal.
inline int sigismember(const sigset_t *, int) {
    return -1;
}
#ifndef SIG_SETMASK
#define SIG_SETMASK 2
#endif
