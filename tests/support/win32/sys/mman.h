// Pages, one mapping each.
#pragma once

#include <cstddef>

constexpr int PROT_NONE = 0;
constexpr int PROT_READ = 1;
constexpr int PROT_WRITE = 2;
constexpr int MAP_PRIVATE = 0;
constexpr int MAP_ANONYMOUS = 0;

void *mmap(void *at, size_t size, int protection, int flags, int file, long offset);
int mprotect(void *at, size_t size, int protection);
int munmap(void *at, size_t size);

constexpr int _SC_PAGESIZE = 1;
long sysconf(int name);
