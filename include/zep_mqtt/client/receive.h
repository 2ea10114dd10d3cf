/**
 * @file
 * The receive step of a client, and the steps that it is made of and that the operations share:
 * reporting a broker's answer, taking and returning packet identifiers, completing publishes.
 *
 * Threads: those of the client (client.h). Callbacks run inside mqtt_client_recv_packet_proc().
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_CLIENT_RECEIVE_H
#define ZEP_MQTT_CLIENT_RECEIVE_H

#include <stdint.h>

#include "../export.h"
#include "client.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * What the last read of any client brought, cleared before each read. Clients that are driven by
 * several threads at once may bypass it.
 */
extern ZEP_MQTT_API uint8_t g_mqtt_recv_buf[MQTT_CLIENT_RX_BUFFER_SIZE];

/**
 * One receive step: at most one read, which waits at most 20 ms, then every whole packet held is
 * handled in order. Packets may be split and joined at will on their way; one that the receive
 * buffer does not take (client.h) is passed over whole.
 *
 * @param client  with an open network instance
 */
ZEP_MQTT_API void mqtt_client_recv_packet_proc(mqtt_client *client);

/** Hands one event to the client's resp_cb; nothing happens without one or for a null client. */
ZEP_MQTT_API void trigger_broker_resp_cb(mqtt_client *client, uint8_t success, uint32_t resp_type,
                                         int32_t result, uint16_t pkt_id);

/**
 * Takes a packet identifier, 1 to 128.
 *
 * @retval 0     id holds it
 * @retval -101  (MQTT_ERR_INVALID_PARAM) null argument
 * @retval -106  (MQTT_ERR_PACKET_ID_EXHAUSTED) all are in use
 */
ZEP_MQTT_API int32_t mqtt_client_alloc_pkt_id(mqtt_client *client, uint16_t *id);

/** Returns a packet identifier; 0 is ignored. */
ZEP_MQTT_API void mqtt_client_free_pkt_id(mqtt_client *client, uint16_t id);

/** Completes the QoS 1 message with this identifier (MQTT 3.1.1 §4.3.2). */
ZEP_MQTT_API void mqtt_client_handle_puback(mqtt_client *client, uint16_t id);

/**
 * Moves the QoS 2 message with this identifier on (MQTT 3.1.1 §4.3.3): a PUBREC is answered with
 * PUBREL, a PUBCOMP completes it.
 *
 * @param type  5 (PUBREC) or 7 (PUBCOMP); any other is ignored
 */
ZEP_MQTT_API void mqtt_client_handle_qos2_ack(mqtt_client *client, uint32_t type, uint16_t id);

ZEP_MQTT_END_DECLS

#endif
