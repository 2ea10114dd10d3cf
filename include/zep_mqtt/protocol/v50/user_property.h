/**
 * @file
 * The user properties of a 5.0 message: a short list of key and value pairs.
 *
 * Threads: one per message.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_PROTOCOL_V50_USER_PROPERTY_H
#define ZEP_MQTT_PROTOCOL_V50_USER_PROPERTY_H

#include <stdint.h>

#include "../../export.h"
#include "message.h"

ZEP_MQTT_BEGIN_DECLS

/** A message holds at most so many user properties. */
enum { MQTT50_USER_PROPERTIES_MAX = 8 };

/** One pair. The list owns its nodes and both texts of each; it runs from newest to oldest. */
typedef struct mqtt50_user_property {
    char *key;                         /**< NUL-terminated, not empty */
    char *value;                       /**< NUL-terminated, not empty */
    struct mqtt50_user_property *next; /**< the next older pair, null at the end */
} mqtt50_user_property;

/**
 * Puts a copy of a pair at the front of the list. A key may be given more than once; the newest
 * pair hides the older ones from mqtt50_user_property_get().
 *
 * @param holder  its user_props and user_prop_count are null and 0, or were left by earlier calls
 * @param key     not empty, copied
 * @param value   not empty, copied
 * @retval 0     added
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null or a text empty
 * @retval -103  (MQTT_ERR_NO_MEMORY) the list is as it was
 * @retval -110  (MQTT_ERR_NOT_SUPPORTED) the list holds 8 pairs already; it is as it was
 */
ZEP_MQTT_API int32_t mqtt50_user_property_set(mqtt50_message *holder, const char *key,
                                              const char *value);

/**
 * Copies the value of the newest pair whose key begins with the given one.
 *
 * @param key          an empty key matches no pair
 * @param output       receives the value, cut to output_size - 1 bytes and NUL-terminated
 * @param output_size  at least 1
 * @retval 0     found
 * @retval -101  (MQTT_ERR_INVALID_PARAM) a pointer is null or output_size below 1
 * @retval -105  (MQTT_ERR_CACHE_NOT_FOUND) no such pair; output is untouched
 */
ZEP_MQTT_API int32_t mqtt50_user_property_get(const mqtt50_message *holder, const char *key,
                                              char *output, int32_t output_size);

/**
 * Releases a list. The holder's user_props and user_prop_count are for the caller to clear.
 *
 * @param head  may be null
 * @return 0
 */
ZEP_MQTT_API int32_t mqtt50_user_property_free(mqtt50_user_property *head);

ZEP_MQTT_END_DECLS

#endif
