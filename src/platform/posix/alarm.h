// A lock under which a thread sleeps until an appointed time, or until another one wakes it.
#pragma once

#include "platform/posix/monitor.h"

namespace zep {

// All but open() and close() under the lock. Results are 0 or the system's error code.
class alarm : public monitor {
 public:
    // From now on wait_until() ends at due_ns, a value of monotonic_ns().
    int set(uint64_t /*due_ns*/) { return wake_one(); }
    int cancel() { return wake_one(); }
};

}  // namespace zep
