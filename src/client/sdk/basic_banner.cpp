#include "client/sdk/basic_private.h"
#include "core/shared.h"
#include "log/log_lines.h"

uint8_t g_banner_printed;

void zep::sdk_print_banner_once() {
    if (!shared_claim(g_banner_printed)) {
        return;
    }
    constexpr const char *RULE = "========================================================";
    LOG_WARN("%s", RULE);
    LOG_WARN("  MQTT Client SDK");
    LOG_WARN("  Version: " ZEP_MQTT_SDK_VERSION " ");
    LOG_WARN("  MQTT 3.1.1 and 5.0, no protocol thread");
    LOG_WARN("  Drive every client by calling its loop");
    LOG_WARN("%s", RULE);
}
