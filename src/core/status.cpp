#include <zep_mqtt/core/status.h>

const char *mqtt_status_text(int32_t code) {
    switch (code) {
#define MQTT_STATUS_CASE(name, value, text) \
    case name:                              \
        return text;
        MQTT_STATUS_LIST(MQTT_STATUS_CASE)
#undef MQTT_STATUS_CASE
        default:
            return "未知错误";
    }
}
