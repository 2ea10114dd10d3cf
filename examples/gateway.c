/*
 * A gateway between three sites, each with a broker of its own, on one thread.
 *
 * It publishes telemetry at QoS 1 to every site that is reachable, answers commands at QoS 2 from
 * inside their handler, goes on while a broker is away, and ends cleanly on SIGTERM or SIGINT: what
 * was accepted is given five seconds to be acknowledged.
 *
 *   gateway <address> <port> [<port> <port>]
 */
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <zep_mqtt_sdk_event.h>

enum { SITES = 3, TELEMETRY_MS = 200, LAST_WAIT_MS = 5000 };

struct site {
    int number;
    zep_mqtt_sdk_client *client;
    unsigned long readings;  /* published */
    unsigned long delivered; /* ... and acknowledged */
    unsigned long commands;
    unsigned long waiting; /* messages whose fate is not known yet */
};

static volatile sig_atomic_t stopping;

static void stop(int signal_number) {
    (void)signal_number;
    stopping = 1;
}

static unsigned long now_ms(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (unsigned long)now.tv_sec * 1000 + (unsigned long)now.tv_nsec / 1000000;
}

/* The library's lines go into the application's own log. */
static void on_log(void *user, uint32_t level, uint32_t tick_ms, const char *line) {
    (void)tick_ms;
    if (level >= AGENT_LOG_INFO)
        fprintf(user, "gateway: %s\n", line);
}

/* Publishes a text and counts it until its fate is known. */
static void publish(struct site *site, const char *leaf, const char *text, uint32_t qos) {
    char topic[64];
    snprintf(topic, sizeof topic, "site/%d/%s", site->number, leaf);
    zep_mqtt_sdk_msg message = {.topic = topic,
                                .payload = (const uint8_t *)text,
                                .payload_len = (uint32_t)strlen(text),
                                .qos = qos,
                                .ttl = 60};
    int32_t result = zep_mqtt_sdk_client_send(site->client, &message, NULL);
    if (result == ZEP_MQTT_SDK_OK)
        site->waiting++;
    else
        fprintf(stderr, "gateway: %s: %s\n", topic, zep_mqtt_sdk_result_text(result));
}

static void on_link(zep_mqtt_sdk_client *client, void *user, const zep_mqtt_sdk_link_event *event) {
    struct site *site = user;
    (void)client;
    printf("site %d: %s\n", site->number,
           event->link == ZEP_MQTT_SDK_LINK_CONNECTED ? "connected" : "not connected");
    fflush(stdout);
}

static void on_message(zep_mqtt_sdk_client *client, void *user,
                       const zep_mqtt_sdk_inbound *message) {
    struct site *site = user;
    char answer[128];
    (void)client;
    site->commands++;
    snprintf(answer, sizeof answer, "done: %.*s", (int)message->payload_len,
             (const char *)message->payload);
    publish(site, "answer", answer, 2);
}

static void on_fate(zep_mqtt_sdk_client *client, void *user, const zep_mqtt_sdk_fate_event *event) {
    struct site *site = user;
    (void)client;
    site->waiting--;
    site->delivered += event->fate == ZEP_MQTT_SDK_FATE_DELIVERED;
}

static zep_mqtt_sdk_client *open_site(struct site *site, const char *address, int port) {
    char client_id[32];
    char filter[32];
    snprintf(client_id, sizeof client_id, "gateway-%d", site->number);
    snprintf(filter, sizeof filter, "site/%d/command", site->number);
    const zep_mqtt_sdk_config config = {.client_id = client_id,
                                        .broker_host = address,
                                        .broker_port = (uint16_t)port,
                                        .clean_start = 1,
                                        .keep_alive = 10,
                                        .mqtt_ver = ZEP_MQTT_SDK_VERSION_50};
    const zep_mqtt_sdk_options options = {.size = sizeof options,
                                          .longest_backoff_ms = 5000,
                                          .resume_session = 1,
                                          .accept_offline = 1};
    const zep_mqtt_sdk_listener listener = {
        .size = sizeof listener, .link = on_link, .message = on_message, .fate = on_fate};
    site->client = zep_mqtt_sdk_client_open(&config, &options, &listener, site);
    if (site->client != NULL) {
        zep_mqtt_sdk_client_connect(site->client);
        zep_mqtt_sdk_client_subscribe_to(site->client, filter, 2, NULL);
    }
    return site->client;
}

static unsigned long all_waiting(const struct site *sites) {
    return sites[0].waiting + sites[1].waiting + sites[2].waiting;
}

int main(int argc, char **argv) {
    struct site sites[SITES] = {{0}};
    zep_mqtt_sdk_client *clients[SITES];
    if (argc < 3) {
        fprintf(stderr, "usage: gateway <address> <port> [<port> <port>]\n");
        return EXIT_FAILURE;
    }
    struct sigaction on_stop = {.sa_handler = stop};
    sigaction(SIGTERM, &on_stop, NULL);
    sigaction(SIGINT, &on_stop, NULL);
    agent_log_set_sink(on_log, stderr);
    agent_log_set_level(AGENT_LOG_INFO);

    for (int i = 0; i < SITES; i++) {
        sites[i].number = i + 1;
        clients[i] = open_site(&sites[i], argv[1], atoi(argv[argc > i + 2 ? i + 2 : 2]));
        if (clients[i] == NULL)
            return EXIT_FAILURE;
    }
    unsigned long due = now_ms();
    while (!stopping) {
        unsigned long now = now_ms();
        if (now >= due) {
            char reading[32];
            for (int i = 0; i < SITES; i++) {
                snprintf(reading, sizeof reading, "%lu", ++sites[i].readings);
                publish(&sites[i], "telemetry", reading, 1);
            }
            due = now + TELEMETRY_MS;
        }
        zep_mqtt_sdk_loop_all(clients, SITES, (uint32_t)(due - now));
    }
    for (unsigned long end = now_ms() + LAST_WAIT_MS; all_waiting(sites) != 0 && now_ms() < end;)
        zep_mqtt_sdk_loop_all(clients, SITES, 100);

    unsigned long left = all_waiting(sites);
    for (int i = 0; i < SITES; i++) {
        zep_mqtt_sdk_client_destroy(clients[i]);
        printf("site %d: %lu readings, %lu commands, %lu delivered\n", sites[i].number,
               sites[i].readings, sites[i].commands, sites[i].delivered);
    }
    printf("%lu messages left without an answer\n", left);
    return left == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
