// The system's socket functions under the names that all systems share.
#pragma once

#include <cstdint>

#include "platform/win32/windows_api.h"
// Relies on windows.h, which must therefore stand before it.
#include <ws2tcpip.h>

namespace zep {

// The system's own handle. Its values have 32 significant bits, also where they are wider.
inline SOCKET native(int32_t sock) {
    return static_cast<SOCKET>(static_cast<intptr_t>(sock));
}

}  // namespace zep
