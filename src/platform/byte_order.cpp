#include <bit>

#include <zep_mqtt/platform/byte_order.h>

namespace {

constexpr bool HOST_IS_BIG_ENDIAN = std::endian::native == std::endian::big;

// Both directions are the same exchange of bytes.
uint32_t swapped(uint32_t value) {
    return HOST_IS_BIG_ENDIAN ? value : __builtin_bswap32(value);
}

uint16_t swapped(uint16_t value) {
    return HOST_IS_BIG_ENDIAN ? value : __builtin_bswap16(value);
}

}  // namespace

void platform_cpu_to_be32(uint32_t *out, uint32_t value) {
    if (out != nullptr) {
        *out = swapped(value);
    }
}

uint32_t platform_be32_to_cpu(const uint32_t *value) {
    return value == nullptr ? 0 : swapped(*value);
}

void platform_cpu_to_be16(uint16_t *out, uint16_t value) {
    if (out != nullptr) {
        *out = swapped(value);
    }
}

uint16_t platform_be16_to_cpu(const uint16_t *value) {
    return value == nullptr ? uint16_t{0} : swapped(*value);
}
