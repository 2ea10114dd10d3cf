// What the operations of a handle ask about it.
#include "client/sdk/basic_private.h"
#include "core/shared.h"

namespace zep {

bool sdk_speaks_50(const zep_mqtt_sdk_client &handle) {
    return handle.cfg.mqtt_ver == ZEP_MQTT_SDK_VERSION_50 &&
           shared_load(handle.core->config.mqtt_version, std::memory_order_relaxed) ==
               MQTT_VERSION_50;
}

bool sdk_is_usable(const zep_mqtt_sdk_client &handle) {
    return handle.core != nullptr && shared_load(handle.connected, std::memory_order_relaxed) != 0;
}

void sdk_set_connected(zep_mqtt_sdk_client &handle, bool connected) {
    shared(handle.connected).store(connected, std::memory_order_relaxed);
}

}  // namespace zep
