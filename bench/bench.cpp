#include "bench.h"

#include <cstdlib>
#include <cstring>
#include <sys/resource.h>
#include <unistd.h>

namespace bench {

double cpu_us() {
    rusage used = {};
    (void)getrusage(RUSAGE_SELF, &used);
    return static_cast<double>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) * 1e6 +
           static_cast<double>(used.ru_utime.tv_usec + used.ru_stime.tv_usec);
}

double resident_kib() {
    long pages = 0;
    FILE *file = std::fopen("/proc/self/statm", "r");
    if (file == nullptr || std::fscanf(file, "%*d %ld", &pages) != 1) {
        fail("no /proc/self/statm");
    }
    (void)std::fclose(file);
    return static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
}

void fail(const char *what) {
    std::fprintf(stderr, "failed: %s\n", what);
    std::exit(1);
}

zep_mqtt_sdk_msg message(uint32_t qos, uint32_t payload_len) {
    static uint8_t payload[4096];
    std::memset(payload, 'x', sizeof payload);
    zep_mqtt_sdk_msg msg = {};
    msg.topic = "bench/topic";
    msg.payload = payload;
    msg.payload_len = payload_len;
    msg.qos = qos;
    return msg;
}

zep_mqtt_sdk_config configuration(const char *id, uint16_t port) {
    zep_mqtt_sdk_config config = {};
    config.client_id = id;
    config.broker_host = HOST;
    config.broker_port = port;
    config.keep_alive = 60;
    config.clean_start = 1;
    config.mqtt_ver = ZEP_MQTT_SDK_VERSION_311;
    return config;
}

zep_mqtt_sdk_client *open_connected(const char *id, uint16_t port,
                                    const zep_mqtt_sdk_options &options,
                                    const zep_mqtt_sdk_listener &listener, void *user) {
    const zep_mqtt_sdk_config config = configuration(id, port);
    zep_mqtt_sdk_client *client = zep_mqtt_sdk_client_open(&config, &options, &listener, user);
    if (client == nullptr || zep_mqtt_sdk_client_connect(client) != ZEP_MQTT_SDK_OK) {
        fail("no handle");
    }
    const double limit = now_us() + 5e6;
    while (zep_mqtt_sdk_client_get_conn_state(client) != ZEP_MQTT_SDK_CONNECTED) {
        (void)zep_mqtt_sdk_client_loop_for(client, 100);
        if (now_us() > limit) {
            fail("no connection to the stub broker");
        }
    }
    return client;
}

}  // namespace bench
