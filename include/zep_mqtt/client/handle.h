/**
 * @file
 * What stands behind the public handle, for integrators who combine it with the core operations
 * (connection information, the switch to 3.1.1). Applications have no need of it.
 *
 * An exported floor below the public interface, which is zep_mqtt_sdk.h.
 */
#ifndef ZEP_MQTT_CLIENT_HANDLE_H
#define ZEP_MQTT_CLIENT_HANDLE_H

#include <stdbool.h>
#include <stdint.h>

#include "../../zep_mqtt_sdk.h"
#include "../core/message.h"
#include "client.h"

ZEP_MQTT_BEGIN_DECLS

/** The handle. It owns core; the application owns what the callbacks touch. */
struct zep_mqtt_sdk_client {
    zep_mqtt_sdk_msg_cb app_msg_cb;   /**< required */
    zep_mqtt_sdk_resp_cb app_resp_cb; /**< or null */
    mqtt_client *core;                /**< the client */
    uint8_t connected;                /**< 1 once a loop call has seen the core connected */
    zep_mqtt_sdk_config cfg; /**< as given, with a v50_max_pkt_size of 0 replaced by 1028; of its
                                  pointers only share_group stays valid after create: it points
                                  to a copy behind this record, or is null for none */
    void *event; /**< null; or the client of an event-driven handle, all else is empty then */
};

/**
 * Turns a core message into a public one and hands it to the application's message callback. The
 * core's message callback of every handle.
 *
 * @param user_obj  the handle
 */
ZEP_MQTT_API void core_msg_cb_adapter_with_obj(void *user_obj, const mqtt_message *msg);

/** @return true when group is null, empty, or at most 64 bytes without "/", "+" and "#" */
ZEP_MQTT_API bool check_share_group_valid(const char *group);

ZEP_MQTT_END_DECLS

#endif
