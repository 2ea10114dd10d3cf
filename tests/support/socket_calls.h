// Counts the system calls that sending and receiving cost, and makes connecting slow. Every send(),
// recv(), poll() and connect() of the test programs goes through here.
#pragma once

#include <chrono>
#include <cstdint>

namespace zep_test {

// How many sends, receptions and waits the calling thread has made so far.
uint64_t socket_calls_made();

// Every further connect() of the calling thread takes so long, as with an address where nobody
// answers.
void let_connects_take(std::chrono::milliseconds time);

}  // namespace zep_test
