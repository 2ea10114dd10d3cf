#include "platform/system_error.h"

#include "platform/win32/windows_api.h"

namespace zep {

const int32_t SYSTEM_NO_MEMORY = ERROR_NOT_ENOUGH_MEMORY;
const int32_t SYSTEM_INVALID_ARGUMENT = ERROR_INVALID_PARAMETER;

int32_t system_last_error() {
    return static_cast<int32_t>(GetLastError());
}
void system_set_last_error(int32_t error) {
    SetLastError(static_cast<DWORD>(error));
}

}  // namespace zep
