/**
 * @file
 * Random bytes. Lengths are in bytes.
 *
 * Threads: any.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PLATFORM_RANDOM_H
#define ZEP_MQTT_PLATFORM_RANDOM_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * Fills a buffer from the C library's pseudo-random generator, which the library never seeds. Not
 * for secrets.
 *
 * @retval 1  filled
 * @retval 0  buffer is null or length is 0
 */
ZEP_MQTT_API int32_t platform_rand_generate(uint8_t *buffer, uint32_t length);

/**
 * Fills a buffer from the system's cryptographic random source.
 *
 * @retval 1  filled
 * @retval 0  buffer is null or length is 0; or, with an ERROR line, the source failed and the
 *            buffer must not be used
 */
ZEP_MQTT_API int32_t platform_rand_generate_crypto(uint8_t *buffer, uint32_t length);

/** The backend's platform_rand_generate(). */
ZEP_MQTT_API int32_t platform_rand_generate_win32(uint8_t *buffer, uint32_t length);

/** The backend's platform_rand_generate_crypto(). */
ZEP_MQTT_API int32_t platform_rand_generate_crypto_win32(uint8_t *buffer, uint32_t length);

ZEP_MQTT_END_DECLS

#endif
