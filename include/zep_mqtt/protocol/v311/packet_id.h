/**
 * @file
 * Packet identifiers of a session (MQTT 3.1.1 §2.3.1): 1 to 128, so at most 128 exchanges of one
 * client are open at once.
 *
 * Released identifiers wait in a pool of 32 and are handed out again first, oldest first; with an
 * empty pool the next free one after the last one taken is found by a scan.
 *
 * Threads: the one that drives the session's client.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V311_PACKET_ID_H
#define ZEP_MQTT_PROTOCOL_V311_PACKET_ID_H

#include <stdint.h>

#include "../../export.h"
#include "session.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * Takes an identifier that is not in use.
 *
 * @param session  an initialised session
 * @param id       receives 1 to 128, or 0 when there is none left
 * @retval 0     done; give it back with mqtt_packet_id_free()
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a null pointer, or a session that was never initialised;
 *               id is not written
 * @retval -106  (MQTT_ERR_PACKET_ID_EXHAUSTED) all 128 are in use
 */
ZEP_MQTT_API int32_t mqtt_packet_id_alloc(mqtt_session *session, uint16_t *id);

/**
 * Gives an identifier back. One that is not in use is accepted as well. With 32 identifiers in the
 * pool it does not enter the pool but is found by the scan again.
 *
 * @param session  an initialised session
 * @param id       1 to 128
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) session is null or id is out of range
 * @retval -111  (MQTT_ERR_DUPLICATE) id is in the pool already; nothing changed
 */
ZEP_MQTT_API int32_t mqtt_packet_id_free(mqtt_session *session, uint16_t id);

ZEP_MQTT_END_DECLS

#endif
