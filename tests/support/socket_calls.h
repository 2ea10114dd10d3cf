// Counts the system calls that a send costs. Every send() and poll() of the test programs goes
// through here.
#pragma once

#include <cstdint>

namespace zep_test {

// How many the calling thread has made so far.
uint64_t socket_calls_made();

}  // namespace zep_test
