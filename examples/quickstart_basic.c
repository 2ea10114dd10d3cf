#include <stdio.h>
#include <stdlib.h>

#include <zep_mqtt_sdk.h>

static int arrived;

static void on_message(const zep_mqtt_sdk_msg *msg) {
    if (msg->topic[0] != '\0') { /* an empty topic only says that a subscription was answered */
        printf("%s: %.*s\n", msg->topic, (int)msg->payload_len, (const char *)msg->payload);
        arrived = 1;
    }
}

int main(int argc, char **argv) {
    zep_mqtt_sdk_config config = {.client_id = "quickstart",
                                  .broker_host = "127.0.0.1",
                                  .keep_alive = 60,
                                  .reconnect_interval_ms = 1000};
    config.broker_port = (uint16_t)(argc > 1 ? atoi(argv[1]) : 1883);
    agent_log_set_level(AGENT_LOG_WARN);

    zep_mqtt_sdk_client *client = zep_mqtt_sdk_client_create(&config, on_message, NULL);
    if (client == NULL || zep_mqtt_sdk_client_connect(client) != ZEP_MQTT_SDK_OK)
        return EXIT_FAILURE;
    while (zep_mqtt_sdk_client_get_conn_state(client) != ZEP_MQTT_SDK_CONNECTED)
        zep_mqtt_sdk_client_loop(client); /* everything happens inside the loop */

    zep_mqtt_sdk_msg hello = {
        .topic = "greetings", .payload = (const uint8_t *)"hello", .payload_len = 5, .qos = 1};
    zep_mqtt_sdk_client_subscribe(client, hello.topic, 1, NULL);
    zep_mqtt_sdk_client_publish(client, &hello);
    while (!arrived)
        zep_mqtt_sdk_client_loop(client);
    zep_mqtt_sdk_client_destroy(client);
    return EXIT_SUCCESS;
}
