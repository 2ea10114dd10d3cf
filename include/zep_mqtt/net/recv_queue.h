/**
 * @file
 * The process-wide queue of received datagrams, first in, first out.
 *
 * net_interface_init() creates the queue and net_interface_deinit() empties it (interface.h).
 *
 * Threads: any number of producers and consumers. Neither function may run while
 * net_interface_init() or net_interface_deinit() does; net_interface_final_destroy() may be called
 * at any time.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_NET_RECV_QUEUE_H
#define ZEP_MQTT_NET_RECV_QUEUE_H

#include <stdint.h>

#include "../export.h"

ZEP_MQTT_BEGIN_DECLS

enum {
    NET_QUEUE_CAPACITY = 100,    /**< entries */
    NET_DATAGRAM_MAX_SIZE = 1024 /**< bytes of one queued datagram, and of one transmission */
};

/** One datagram: in the queue, and handed in and out. */
typedef struct net_queue_entry {
    uint8_t data[1024];           /**< payload */
    uint32_t len;                 /**< payload length in bytes, 1 to 1024 */
    char src_ip[16];              /**< source address, dotted IPv4 text, NUL-terminated */
    uint16_t src_port;            /**< source port, host order */
    struct net_queue_entry *next; /**< link inside the queue; a caller's record ignores it */
} net_queue_entry;

/** The queue. Each entry is a heap block that the queue owns from enqueue to dequeue. */
typedef struct net_recv_queue {
    net_queue_entry *head; /**< oldest entry or null */
    net_queue_entry *tail; /**< newest entry or null */
    uint32_t count;        /**< entries held */
    uint32_t capacity;     /**< NET_QUEUE_CAPACITY */
    void *lock;            /**< mutex over head, tail and count; null after the final destroy */
    void *sem;             /**< semaphore, one unit per queued entry */
} net_recv_queue;

extern ZEP_MQTT_API net_recv_queue g_recv_queue;

/**
 * Appends a copy of a datagram. A full queue drops the one that is offered, never an older one.
 *
 * @param entry  data, len, src_ip and src_port are read
 * @retval 0   (NET_OK) queued
 * @retval -1  (NET_ERR_INVALID_PARAM) null entry, len outside 1 to 1024, layer not initialised, or
 *             the queue's lock finally destroyed
 * @retval -4  (NET_ERR_NO_MEMORY) no memory for the copy; the datagram is dropped
 * @retval -5  (NET_ERR_QUEUE_FULL) the queue is full; the datagram is dropped
 */
ZEP_MQTT_API int32_t net_interface_enqueue(const net_queue_entry *entry);

/**
 * Takes the oldest datagram, waiting for one at most timeout_ms.
 *
 * @param out_entry  receives data (len bytes), len, src_ip and src_port
 * @retval 0   (NET_OK) taken
 * @retval -1  (NET_ERR_INVALID_PARAM) null entry, layer not initialised, or the queue's lock
 *             finally destroyed
 * @retval -2  (NET_ERR_TIMEOUT) nothing arrived in time, or the wait failed
 * @retval -7  (NET_ERR_QUEUE_EMPTY) signalled, but the queue holds nothing
 */
ZEP_MQTT_API int32_t net_interface_dequeue(net_queue_entry *out_entry, uint32_t timeout_ms);

ZEP_MQTT_END_DECLS

#endif
