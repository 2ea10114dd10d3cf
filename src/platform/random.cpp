#include <cstdlib>

#include <zep_mqtt/platform/random.h>

int32_t platform_rand_generate(uint8_t *buffer, uint32_t length) {
    if (buffer == nullptr || length == 0) {
        return 0;
    }
    return platform_rand_generate_win32(buffer, length);
}

int32_t platform_rand_generate_crypto(uint8_t *buffer, uint32_t length) {
    if (buffer == nullptr || length == 0) {
        return 0;
    }
    return platform_rand_generate_crypto_win32(buffer, length);
}

int32_t platform_rand_generate_win32(uint8_t *buffer, uint32_t length) {
    for (uint32_t i = 0; i < length; ++i) {
        buffer[i] = static_cast<uint8_t>(std::rand());
    }
    return 1;
}
