// Only for the running program itself.
#pragma once

#include <process.h>

// The path is not looked at.
int posix_spawn(pid_t *process, const char *path, const void *, const void *,
                char *const *arguments, char *const *environment);
