// Time that a test moves by hand. The program is linked so that every look at the tick clock comes
// here.
#pragma once

#include <cstdint>

namespace zep_test {

void move_time(uint64_t by_ms);

}  // namespace zep_test
