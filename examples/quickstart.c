#include <stdio.h>
#include <stdlib.h>

#include <zep_mqtt_sdk_event.h>

static int done; /* counts: the message has come back, and its fate is known */

static void on_link(zep_mqtt_sdk_client *client, void *user, const zep_mqtt_sdk_link_event *event) {
    (void)user;
    if (event->link == ZEP_MQTT_SDK_LINK_CONNECTED)
        zep_mqtt_sdk_client_subscribe_to(client, "greetings", 1, NULL);
    else
        printf("no connection, next attempt in %u ms\n", (unsigned)event->retry_ms);
}

static void on_subscription(zep_mqtt_sdk_client *client, void *user,
                            const zep_mqtt_sdk_subscription_event *event) {
    zep_mqtt_sdk_msg hello = {
        .topic = "greetings", .payload = (const uint8_t *)"hello", .payload_len = 5, .qos = 1};
    (void)user;
    if (event->broker_code < 0x80) /* granted */
        zep_mqtt_sdk_client_send(client, &hello, NULL);
}

static void on_message(zep_mqtt_sdk_client *client, void *user,
                       const zep_mqtt_sdk_inbound *message) {
    (void)client, (void)user;
    printf("%s: %.*s\n", message->topic, (int)message->payload_len, (const char *)message->payload);
    done++;
}

static void on_fate(zep_mqtt_sdk_client *client, void *user, const zep_mqtt_sdk_fate_event *event) {
    (void)client, (void)user;
    printf("%s\n", event->fate == ZEP_MQTT_SDK_FATE_DELIVERED ? "delivered" : "not delivered");
    done++;
}

int main(int argc, char **argv) {
    zep_mqtt_sdk_config config = {
        .client_id = "quickstart", .broker_host = "127.0.0.1", .keep_alive = 60};
    zep_mqtt_sdk_listener listener = {.size = sizeof listener,
                                      .link = on_link,
                                      .subscription = on_subscription,
                                      .message = on_message,
                                      .fate = on_fate};
    config.broker_port = (uint16_t)(argc > 1 ? atoi(argv[1]) : 1883);
    agent_log_set_level(AGENT_LOG_WARN);

    zep_mqtt_sdk_client *client = zep_mqtt_sdk_client_open(&config, NULL, &listener, NULL);
    if (client == NULL)
        return EXIT_FAILURE;
    zep_mqtt_sdk_client_connect(client);
    while (done < 2)
        zep_mqtt_sdk_client_loop_for(client, 1000); /* everything happens inside the loop */
    zep_mqtt_sdk_client_destroy(client);
    return EXIT_SUCCESS;
}
