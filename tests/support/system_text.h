// Log lines contain what the system prints: pointers, and its own error numbers.
#pragma once

#include <string>

namespace zep_test {

// The text as glibc on Linux would have it, for which expectations are written down: pointers with
// 0x and without leading zeros, null as (nil), Linux numbers after "错误码=" and the like.
std::string as_on_linux(const std::string &text);

}  // namespace zep_test
