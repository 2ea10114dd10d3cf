/**
 * @file
 * Conversion between the host's byte order and big-endian, the order of the network.
 *
 * Threads: any.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PLATFORM_BYTE_ORDER_H
#define ZEP_MQTT_PLATFORM_BYTE_ORDER_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/** Stores value in big-endian order. A null out is ignored. */
ZEP_MQTT_API void platform_cpu_to_be32(uint32_t *out, uint32_t value);

/** @return the big-endian value behind the pointer in host order; 0 when it is null */
ZEP_MQTT_API uint32_t platform_be32_to_cpu(const uint32_t *value);

/** Stores value in big-endian order. A null out is ignored. */
ZEP_MQTT_API void platform_cpu_to_be16(uint16_t *out, uint16_t value);

/** @return the big-endian value behind the pointer in host order; 0 when it is null */
ZEP_MQTT_API uint16_t platform_be16_to_cpu(const uint16_t *value);

ZEP_MQTT_END_DECLS

#endif
