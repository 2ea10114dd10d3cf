// What the functions of the basic interface do with an event-driven handle.
#pragma once

#include <zep_mqtt_sdk.h>

namespace zep {

bool is_event_driven(const zep_mqtt_sdk_client *handle);

int32_t event_connect(zep_mqtt_sdk_client *handle);
int32_t event_disconnect(zep_mqtt_sdk_client *handle);
int32_t event_state(const zep_mqtt_sdk_client *handle);
void event_destroy(zep_mqtt_sdk_client *handle);

}  // namespace zep
