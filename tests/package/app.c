/* The least that uses the library in earnest; it compiles as C and as C++. */
#include <stdio.h>
#include <string.h>

#include <zep_mqtt_sdk.h>

static void on_message(const zep_mqtt_sdk_msg *msg) {
    (void)msg;
}

int main(void) {
    zep_mqtt_sdk_config config;
    memset(&config, 0, sizeof config);
    config.client_id = "app";
    config.broker_host = "127.0.0.1";
    config.broker_port = 1883;
    agent_log_set_level(AGENT_LOG_ERROR);

    zep_mqtt_sdk_client *client = zep_mqtt_sdk_client_create(&config, on_message, NULL);
    const int state = zep_mqtt_sdk_client_get_conn_state(client);
    zep_mqtt_sdk_client_destroy(client);
    puts(zep_mqtt_sdk_version());
    return client == NULL || state != ZEP_MQTT_SDK_DISCONNECTED ||
           strcmp(zep_mqtt_sdk_version(), ZEP_MQTT_SDK_VERSION) != 0;
}
