/**
 * @file
 * The subscription store: the topic filters that the clients of the process have subscribed to.
 *
 * A bookkeeping record with a capacity limit; it is not consulted when messages arrive. Entries
 * carry no client identity: clients that subscribe to the same filter share one entry, and the
 * first unsubscribe removes it. Filters are compared byte by byte, wildcards match nothing.
 *
 * Threads: every operation may be called from any thread. Those that read or change a store take
 * its lock once; mqtt_topic_list_init() makes the lock and comes before them.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_TOPIC_SUBSCRIPTION_STORE_H
#define ZEP_MQTT_TOPIC_SUBSCRIPTION_STORE_H

#include <stdint.h>

#include "../export.h"
#include "../protocol/v311/session.h"

ZEP_MQTT_BEGIN_DECLS

enum {
    MQTT_TOPIC_STORE_MAX = 16,  /**< filters that the store holds */
    MQTT_TOPIC_STORE_SIZE = 64, /**< bytes of a stored or composed topic, its NUL included */
    MQTT_SHARE_GROUP_SIZE = 32  /**< bytes of a shared-subscription group, its NUL included */
};

/** One subscription. A free slot is all zero. */
typedef struct mqtt_topic_entry {
    char topic[MQTT_TOPIC_STORE_SIZE];       /**< the filter as subscribed, NUL-terminated */
    uint8_t qos;                             /**< requested QoS, 0 to 2 */
    uint8_t in_use;                          /**< 1 when the slot holds a subscription */
    char share_group[MQTT_SHARE_GROUP_SIZE]; /**< NUL-terminated, all zero when there is none */
    uint8_t is_shared;                       /**< 1 when share_group is not empty */
} mqtt_topic_entry;

/** A store. No two slots in use hold the same filter. */
typedef struct mqtt_topic_list {
    mqtt_topic_entry entries[MQTT_TOPIC_STORE_MAX];
    uint8_t count; /**< slots in use */
    void *lock;    /**< platform mutex over entries and count, owned */
} mqtt_topic_list;

/** The store of the process. Set up by the first session, never taken down. */
extern ZEP_MQTT_API mqtt_topic_list g_mqtt_sub_ctx;

/** 1 once g_mqtt_sub_ctx is set up. Read it atomically; only the library writes it. */
extern ZEP_MQTT_API uint8_t g_sub_ctx_inited;

/**
 * Clears a store and creates its lock. To be called once per store, before any other thread knows
 * it: a lock that the store already has would be lost.
 *
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) store is null, or its lock could not be created
 */
ZEP_MQTT_API int32_t mqtt_topic_list_init(mqtt_topic_list *store);

/**
 * Records a filter, or gives a recorded one a new QoS and group.
 *
 * @param filter  1 to 63 bytes, a valid subscription filter (MQTT 3.1.1 §4.7); copied
 * @param qos     0, 1 or 2
 * @param group   shared-subscription group of at most 31 bytes, copied; null or empty for none
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a null pointer, an empty filter, or qos above 2
 * @retval -107  (MQTT_ERR_CACHE_FULL) 16 other filters are recorded
 * @retval -201  (MQTT_ERR_TOPIC_TOO_LONG) filter or group is too long
 * @retval -202  (MQTT_ERR_TOPIC_TOO_DEEP) filter has more than 16 levels
 * @retval -203  (MQTT_ERR_WILDCARD_INVALID) a misplaced wildcard, "//" or a forbidden byte
 */
ZEP_MQTT_API int32_t mqtt_topic_client_add(mqtt_topic_list *store, const char *filter, uint8_t qos,
                                           const char *group);

/**
 * Removes a recorded filter.
 *
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a null pointer
 * @retval -105  (MQTT_ERR_CACHE_NOT_FOUND) the filter is not recorded
 */
ZEP_MQTT_API int32_t mqtt_topic_client_remove(mqtt_topic_list *store, const char *filter);

/**
 * Reads the group of a recorded filter.
 *
 * @param group  32 bytes; receives the group with its NUL, an empty text when there is none
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a null pointer
 * @retval -105  (MQTT_ERR_CACHE_NOT_FOUND) the filter is not recorded
 */
ZEP_MQTT_API int32_t mqtt_topic_client_get_share_group(mqtt_topic_list *store, const char *filter,
                                                       char *group);

/**
 * Composes the topic of a shared subscription, "$share/<group>/<filter>" (MQTT 5.0 §4.8.2); without
 * a group it is the filter itself. No store is touched.
 *
 * @param filter  taken as it is
 * @param group   at most 31 bytes without '/' and '$'; null or empty for none
 * @param topic   64 bytes, apart from filter and group; written only on success
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) filter or topic is null, or group holds '/' or '$'
 * @retval -201  (MQTT_ERR_TOPIC_TOO_LONG) group is longer than 31 bytes, or the result than 63
 */
ZEP_MQTT_API int32_t mqtt_topic_client_build_shared(const char *filter, const char *group,
                                                    char *topic);

/**
 * Records a client's subscription in the store of the process, without a group.
 *
 * @param session  whose client_id the log lines carry; nothing else of it is used
 * @param filter   1 to 63 bytes, a valid subscription filter
 * @param qos      0, 1 or 2
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a null pointer, an empty or overlong filter, a misplaced
 *               wildcard, or qos above 2
 * @retval -107  (MQTT_ERR_CACHE_FULL) 16 other filters are recorded
 * @retval -116  (MQTT_ERR_INTERNAL) the store refused the filter for another reason
 */
ZEP_MQTT_API int32_t mqtt_subscribe_add(mqtt_session *session, const char *filter, uint32_t qos);

/**
 * Removes a client's subscription from the store of the process.
 *
 * @param session  whose client_id the log lines carry; nothing else of it is used
 * @param filter   the filter as it was recorded
 * @retval 0     done
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a null pointer or an empty filter
 * @retval -105  (MQTT_ERR_CACHE_NOT_FOUND) the filter is not recorded
 * @retval -116  (MQTT_ERR_INTERNAL) the store failed for another reason
 */
ZEP_MQTT_API int32_t mqtt_subscribe_remove(mqtt_session *session, const char *filter);

ZEP_MQTT_END_DECLS

#endif
