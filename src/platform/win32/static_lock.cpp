#include "platform/win32/static_lock.h"

#include "platform/win32/windows_api.h"

namespace zep {

namespace {

static_assert(sizeof(SRWLOCK) == sizeof(void *) && alignof(SRWLOCK) == alignof(void *));

SRWLOCK *slim(void **lock) {
    return reinterpret_cast<SRWLOCK *>(lock);
}

}  // namespace

void static_lock::lock() {
    AcquireSRWLockExclusive(slim(&lock_));
}

void static_lock::unlock() {
    ReleaseSRWLockExclusive(slim(&lock_));
}

}  // namespace zep
