#include "platform/system_error.h"

#include <cerrno>

namespace zep {

const int32_t SYSTEM_NO_MEMORY = ENOMEM;
const int32_t SYSTEM_INVALID_ARGUMENT = EINVAL;

int32_t system_last_error() {
    return errno;
}
void system_set_last_error(int32_t error) {
    errno = error;
}

}  // namespace zep
