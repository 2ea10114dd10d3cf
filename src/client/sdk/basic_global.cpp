// Initialisation and shutdown of the library as a whole.
#include <zep_mqtt/net/adapter.h>
#include <zep_mqtt_sdk.h>

#include "core/shared.h"
#include "log/log_lines.h"

uint8_t g_mqtt_sdk_global_inited;

const char *zep_mqtt_sdk_version(void) {
    return ZEP_MQTT_SDK_VERSION;
}

int32_t zep_mqtt_sdk_global_init(void) {
    if (zep::shared_claim(g_mqtt_sdk_global_inited)) {
        LOG_INFO("MQTT_SDK: global init success");
    }
    return ZEP_MQTT_SDK_OK;
}

void zep_mqtt_sdk_global_deinit(void) {
    const zep::shared inited(g_mqtt_sdk_global_inited);
    if (inited.load() == 0) {
        return;
    }
    net_adapter_global_deinit();
    inited.store(0);
    LOG_INFO("MQTT_SDK: global deinit success, all resource released");
}
