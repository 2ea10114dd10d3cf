#include <zep_mqtt/platform/random.h>

#include "log/log_lines.h"
#include "platform/win32/windows_api.h"
// Relies on windows.h, which must therefore stand before it.
#include <bcrypt.h>

int32_t platform_rand_generate_crypto_win32(uint8_t *buffer, uint32_t length) {
    BCRYPT_ALG_HANDLE provider = nullptr;
    NTSTATUS status = BCryptOpenAlgorithmProvider(&provider, BCRYPT_RNG_ALGORITHM, nullptr, 0);
    if (!BCRYPT_SUCCESS(status)) {
        LOG_ERROR("BCryptOpenAlgorithmProvider failed: 0x%X", static_cast<uint32_t>(status));
        return 0;
    }
    status = BCryptGenRandom(provider, buffer, length, 0);
    BCryptCloseAlgorithmProvider(provider, 0);
    if (!BCRYPT_SUCCESS(status)) {
        LOG_ERROR("BCryptGenRandom failed: 0x%X", static_cast<uint32_t>(status));
        return 0;
    }
    return 1;
}
