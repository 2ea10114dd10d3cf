// There are no such limits.
#pragma once

#include <cerrno>

struct rlimit {
    unsigned long rlim_cur;
    unsigned long rlim_max;
};

constexpr int RLIMIT_NOFILE = 7;

inline int getrlimit(int, rlimit *) {
    errno = ENOSYS;
    return -1;
}
inline int setrlimit(int, const rlimit *) {
    errno = ENOSYS;
    return -1;
}
