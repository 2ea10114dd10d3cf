#pragma once

#include <sys/types.h>

pid_t waitpid(pid_t process, int *status, int flags);
