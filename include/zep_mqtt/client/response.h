/**
 * @file
 * What a client reports about the broker's answers and about its link.
 *
 * Part of the public interface; zep_mqtt_sdk.h includes it.
 */
#ifndef ZEP_MQTT_CLIENT_RESPONSE_H
#define ZEP_MQTT_CLIENT_RESPONSE_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

/** Values of mqtt_broker_resp.resp_type. */
enum mqtt_resp_type {
    MQTT_RESP_CONNACK = 0,    /**< the broker accepted or refused the connection */
    MQTT_RESP_DISCONNECT = 1, /**< the peer closed or the link broke, or the broker sent DISCONNECT;
                                   a missing CONNACK and a PINGREQ that cannot be sent are no
                                   events: the connection state tells */
    MQTT_RESP_PUBACK = 2,     /**< a QoS 1 publish was answered; success is 1 also when a 5.0 broker
                                   refused it, and result tells */
    MQTT_RESP_SUBACK = 3,     /**< a subscribe was answered, granted or refused */
    MQTT_RESP_UNSUBACK = 4,   /**< an unsubscribe was answered */
    MQTT_RESP_QOS2 = 5 /**< PUBREC or PUBCOMP for a QoS 2 publish, whatever its reason code */
};

/** Negative values of mqtt_broker_resp.result. */
enum mqtt_resp_result {
    MQTT_RESP_RESULT_LINK = -4,  /**< refused connection, or lost link */
    MQTT_RESP_RESULT_REASON = -5 /**< 5.0 PUBACK with a failing reason code */
};

/** One event. It lives on the caller's stack and is valid only during the callback. */
typedef struct mqtt_broker_resp {
    uint8_t success;    /**< 1 success, 0 failure */
    uint32_t resp_type; /**< MQTT_RESP_* */
    int32_t result;     /**< 0, or MQTT_RESP_RESULT_* */
    uint16_t pkt_id;    /**< packet identifier that was answered; 0 for CONNACK and DISCONNECT */
} mqtt_broker_resp;

/**
 * Receives the events of one client, on the thread that drives it, inside its loop. Publish,
 * subscribe, unsubscribe and loop of the same client are refused while the callback runs;
 * disconnecting is allowed, destroying the client is not.
 */
typedef void (*mqtt_broker_resp_cb)(const mqtt_broker_resp *resp);

ZEP_MQTT_END_DECLS

#endif
