/**
 * @file
 * Heap and bounded memory operations. Sizes are in bytes.
 *
 * The library's heap blocks are taken and given back here, each with a DEBUG line of its own; only
 * the entries of the receive queue come straight from the C library.
 *
 * Threads: any.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PLATFORM_MEMORY_H
#define ZEP_MQTT_PLATFORM_MEMORY_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * Takes a block from the heap. Its content is undefined.
 *
 * @return the block, to be released with platform_free(); null when size is 0 (WARN line) or the
 *         heap is exhausted (ERROR line)
 */
ZEP_MQTT_API void *platform_malloc(uint32_t size);

/**
 * Releases a block of platform_malloc(). Null is ignored. On a 64-bit address space a pointer whose
 * upper 32 bits are all ones was cut to 32 bits on its way: it is reported and not released.
 */
ZEP_MQTT_API void platform_free(void *block);

/**
 * Sets the first count bytes of dest, dest_size at most.
 *
 * @return the number of bytes set; 0 when dest is null or dest_size is 0
 */
ZEP_MQTT_API uint32_t platform_memset_s(void *dest, uint32_t dest_size, uint8_t value,
                                        uint32_t count);

/**
 * Copies the first count bytes of src, dest_size at most. The two may overlap.
 *
 * @return the number of bytes copied; 0 when a pointer is null or dest_size is 0
 */
ZEP_MQTT_API uint32_t platform_memcpy_s(void *dest, uint32_t dest_size, const void *src,
                                        uint32_t count);

/**
 * Compares len bytes.
 *
 * @return negative, 0 or positive as a sorts before, equal to or after b; -1 with an ERROR line
 * when a pointer is null or len is not positive: nothing is not equal to nothing
 */
ZEP_MQTT_API int platform_memcmp(const void *a, const void *b, int32_t len);

/** The backend's platform_malloc(). */
ZEP_MQTT_API void *platform_malloc_win32(uint32_t size);

/** Releases a block of platform_malloc(), whatever its address. Null gives a DEBUG line only. */
ZEP_MQTT_API void platform_free_win32(void *block);

/**
 * Releases a block of the system's aligned allocator (posix_memalign(), aligned_alloc()). Null is
 * ignored. The library itself allocates no such block.
 */
ZEP_MQTT_API void platform_free_aligned_win32(void *block);

/** platform_memset_s() under its backend name. */
ZEP_MQTT_API uint32_t platform_memset_s_win32(void *dest, uint32_t dest_size, uint8_t value,
                                              uint32_t count);

/** platform_memcpy_s() under its backend name. */
ZEP_MQTT_API uint32_t platform_memcpy_s_win32(void *dest, uint32_t dest_size, const void *src,
                                              uint32_t count);

ZEP_MQTT_END_DECLS

#endif
