/**
 * @file
 * Start and stop of the system's socket service, and a look at a port.
 *
 * POSIX systems have no such service: start and stop succeed and do nothing.
 *
 * Threads: any.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PLATFORM_SOCKET_SERVICE_H
#define ZEP_MQTT_PLATFORM_SOCKET_SERVICE_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * Starts the socket service. Every successful start needs one platform_deinit().
 *
 * @retval 1  started
 * @retval 0  the system refused (ERROR line); never on POSIX
 */
ZEP_MQTT_API int32_t platform_init(void);

/**
 * Takes one start back.
 *
 * @retval 0   done
 * @retval -1  the service was not running; never on POSIX
 */
ZEP_MQTT_API int32_t platform_deinit(void);

/** The backend's platform_init(). */
ZEP_MQTT_API int32_t platform_init_win32(void);

/** The backend's platform_deinit(). */
ZEP_MQTT_API int32_t platform_deinit_win32(void);

/**
 * Tells whether a UDP port is taken, by binding an IPv4 socket to it for a moment.
 *
 * @param port  in host byte order
 * @retval 1  in use, or it could not be found out
 * @retval 0  free
 */
ZEP_MQTT_API int32_t platform_check_port_in_use_win32(uint16_t port);

ZEP_MQTT_END_DECLS

#endif
