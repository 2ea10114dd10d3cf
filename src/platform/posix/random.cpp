#include <cerrno>
#include <sys/random.h>

#include <zep_mqtt/platform/random.h>

#include "log/log_lines.h"

int32_t platform_rand_generate_crypto_win32(uint8_t *buffer, uint32_t length) {
    for (uint32_t filled = 0; filled < length;) {
        const ssize_t got = getrandom(buffer + filled, length - filled, 0);
        if (got > 0) {
            filled += static_cast<uint32_t>(got);
        } else if (got == 0 || errno != EINTR) {
            LOG_ERROR("BCryptGenRandom failed: 0x%X", errno);
            return 0;
        }
    }
    return 1;
}
