// A counter that can be waited for: a datagram socket that sends to itself.
#pragma once

#include "support/win32/posix.h"

constexpr int EFD_CLOEXEC = 0;

int eventfd(unsigned initial, int flags);
int eventfd_write(int event, uint64_t value);
