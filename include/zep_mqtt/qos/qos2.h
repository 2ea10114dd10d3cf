/**
 * @file
 * Outbound QoS 2 (MQTT 3.1.1 §4.3.3): PUBLISH until its PUBREC, PUBREL until its PUBCOMP.
 *
 * Each of the two steps has its own three retransmissions.
 *
 * Threads: the one that drives the session's client.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_QOS_QOS2_H
#define ZEP_MQTT_QOS_QOS2_H

#include <stdint.h>

#include "../export.h"
#include "../protocol/v311/session.h"

ZEP_MQTT_BEGIN_DECLS

/**
 * Moves the message that waits for this PUBREC on to WAIT_PUBCOMP and lays out its PUBREL.
 *
 * @param msg_id  identifier in the PUBREC
 * @param buf     receives the PUBREL, 4 bytes
 * @param len     in: capacity of buf, at least 5; out: length of the PUBREL
 * @retval 0     done, the PUBREL is to be sent
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a null pointer, too small a buffer, or msg_id is not in
 *               1 to 128; nothing changed
 * @retval -105  (MQTT_ERR_CACHE_NOT_FOUND) no message waits for this PUBREC; nothing changed
 *
 * Another code is the encoder's; the message waits for its PUBCOMP and its PUBREL is sent by the
 * retransmission.
 */
ZEP_MQTT_API int32_t mqtt_qos2_handle_pubrec(mqtt_session *session, uint16_t msg_id, uint8_t *buf,
                                             uint32_t *len);

/**
 * Takes the message that waits for this PUBCOMP out of the cache and gives its packet identifier
 * back. Logs nothing.
 *
 * @param msg_id  identifier in the PUBCOMP
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) session is null or msg_id is not in 1 to 128
 * @retval -105  (MQTT_ERR_CACHE_NOT_FOUND) no message waits for this PUBCOMP
 */
ZEP_MQTT_API int32_t mqtt_qos2_handle_pubcomp(mqtt_session *session, uint16_t msg_id);

/**
 * Lays out whatever is due for retransmission, the PUBLISH with DUP or the PUBREL of each message,
 * in the order and with the limits of mqtt_qos1_check_retrans(). An entry in an invalid state is
 * counted in qos2_anomaly_count and put back to WAIT_PUBREC.
 *
 * @param buf  receives the packets
 * @param len  in: capacity of buf in bytes; out: bytes laid out, unchanged when there are none
 * @return packets laid out; -101 (MQTT_ERR_INVALID_PARAM) when a pointer is null
 */
ZEP_MQTT_API int32_t mqtt_qos2_check_retrans(mqtt_session *session, uint8_t *buf, uint32_t *len);

ZEP_MQTT_END_DECLS

#endif
