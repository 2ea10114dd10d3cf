/**
 * @file
 * The reserved ES interface: it registers, and answers every transfer with
 * NET_ERR_NOT_IMPLEMENTED. It exists only when the application calls net_es_init().
 *
 * Threads: as for net_interface_register().
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_NET_ES_H
#define ZEP_MQTT_NET_ES_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/** 1 while the interface is registered, else 0. No resource stands behind it. */
extern ZEP_MQTT_API uintptr_t g_es_handle;

/**
 * Registers the interface as NET_IFACE_ES.
 *
 * @return 0 (NET_OK), also when it is registered already; otherwise the failure of
 *         net_interface_register()
 */
ZEP_MQTT_API int32_t net_es_init(void);

/**
 * Sends nothing. Arguments as for eth_send().
 *
 * @retval -1   (NET_ERR_INVALID_PARAM) an argument is null or out of range
 * @retval -3   (NET_ERR_IO) not registered
 * @retval -10  (NET_ERR_NOT_IMPLEMENTED) otherwise
 */
ZEP_MQTT_API int32_t es_send(const char *address, uint16_t port, const uint8_t *data,
                             uint32_t length);

/**
 * Receives nothing. Arguments as for eth_recv().
 *
 * @retval -1   (NET_ERR_INVALID_PARAM) a null pointer, or size 0
 * @retval -3   (NET_ERR_IO) not registered
 * @retval -10  (NET_ERR_NOT_IMPLEMENTED) otherwise; the outputs are cleared
 */
ZEP_MQTT_API int32_t es_recv(uint8_t *buffer, uint32_t size, uint32_t *out_length,
                             char *out_address, uint16_t *out_port);

/** Clears the mark. The slot of the interface table stays filled. */
ZEP_MQTT_API void es_destroy(void);

ZEP_MQTT_END_DECLS

#endif
