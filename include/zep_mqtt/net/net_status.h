/**
 * @file
 * Status codes of the network layers. They are never mixed with those of core/status.h.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_NET_NET_STATUS_H
#define ZEP_MQTT_NET_NET_STATUS_H

/** 0 is success, every failure is negative. Functions return them as int32_t. */
enum net_status {
    NET_OK = 0,
    NET_ERR_INVALID_PARAM = -1,  /**< invalid argument, layer not initialised, wrong current type */
    NET_ERR_TIMEOUT = -2,        /**< nothing arrived in time; for TCP also an orderly close by the
                                      peer; for the queue also a failed wait */
    NET_ERR_IO = -3,             /**< a socket operation failed, or there is no socket */
    NET_ERR_NO_MEMORY = -4,      /**< a queue entry could not be allocated */
    NET_ERR_QUEUE_FULL = -5,     /**< the receive queue holds NET_QUEUE_CAPACITY entries */
    NET_ERR_INIT = -6,           /**< platform start, queue or receive-thread creation failed */
    NET_ERR_QUEUE_EMPTY = -7,    /**< the queue was signalled but held no entry */
    NET_ERR_NOT_REGISTERED = -8, /**< interface without send or receive, or type not registered */
    NET_ERR_PORT_CONFLICT = -9, /**< port claimed by a registered interface or in use on the host */
    NET_ERR_NOT_IMPLEMENTED = -10 /**< the reserved interface was asked to transfer data */
};

#endif
