// What do other handles feel of a broker whose host drops SYNs? Ten handles publish at QoS 1 under
// one loop_all, first alone, then beside a handle that cannot connect.
#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <zep_mqtt/log/log.h>

#include "bench.h"

using namespace bench;

namespace {

// A listening socket whose queue is full: the system drops further SYNs.
class deaf_host {
 public:
    deaf_host() : listening_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto *generic = reinterpret_cast<sockaddr *>(&address);
        if (bind(listening_, generic, size) != 0 || listen(listening_, 0) != 0 ||
            getsockname(listening_, generic, &size) != 0) {
            fail("no listening socket");
        }
        port = ntohs(address.sin_port);
        for (int &sock : filling_) {
            sock = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
            (void)connect(sock, generic, size);
        }
    }
    ~deaf_host() {
        for (const int sock : filling_) {
            (void)close(sock);
        }
        (void)close(listening_);
    }
    deaf_host(const deaf_host &) = delete;
    deaf_host &operator=(const deaf_host &) = delete;
    uint16_t port = 0;

 private:
    int listening_;
    int filling_[4];
};

struct publisher {
    zep_mqtt_sdk_client *client = nullptr;
    double begun = 0;
    bool acknowledged = true;
    std::vector<double> *latencies = nullptr;
};

void on_fate(zep_mqtt_sdk_client *, void *user, const zep_mqtt_sdk_fate_event *) {
    auto &of = *static_cast<publisher *>(user);
    of.latencies->push_back(now_us() - of.begun);
    of.acknowledged = true;
}

std::vector<double> publish_for(double duration_us, publisher *all, uint32_t count,
                                zep_mqtt_sdk_client *stuck) {
    std::vector<double> latencies;
    std::vector<zep_mqtt_sdk_client *> clients = {stuck};  // null entries are skipped
    for (uint32_t i = 0; i < count; ++i) {
        all[i].latencies = &latencies;
        clients.push_back(all[i].client);
    }
    const zep_mqtt_sdk_msg msg = message(1, 64);
    const double end = now_us() + duration_us;
    while (now_us() < end) {
        for (uint32_t i = 0; i < count; ++i) {
            if (all[i].acknowledged) {
                all[i].acknowledged = false;
                all[i].begun = now_us();
                (void)zep_mqtt_sdk_client_send(all[i].client, &msg, nullptr);
            }
        }
        (void)zep_mqtt_sdk_loop_all(clients.data(), static_cast<uint32_t>(clients.size()), 100);
    }
    return latencies;
}

}  // namespace

int main() {
    agent_log_set_level(AGENT_LOG_FATAL);
    const stub_broker broker;
    const deaf_host deaf;
    constexpr uint32_t COUNT = 10;
    publisher all[COUNT];
    zep_mqtt_sdk_listener listener = {};
    listener.size = sizeof listener;
    listener.fate = on_fate;
    zep_mqtt_sdk_options options = {};
    options.size = sizeof options;
    for (uint32_t i = 0; i < COUNT; ++i) {
        all[i].client = open_connected(("near-" + std::to_string(i)).c_str(), broker.port(),
                                       options, listener, &all[i]);
    }
    const std::vector<double> alone = publish_for(4e6, all, COUNT, nullptr);

    options.connect_timeout_ms = 1000;
    options.first_backoff_ms = options.longest_backoff_ms = 100;
    const zep_mqtt_sdk_config config = configuration("far", deaf.port);
    zep_mqtt_sdk_client *stuck = zep_mqtt_sdk_client_open(&config, &options, nullptr, nullptr);
    (void)zep_mqtt_sdk_client_connect(stuck);
    const std::vector<double> beside = publish_for(4e6, all, COUNT, stuck);
    if (zep_mqtt_sdk_client_get_conn_state(stuck) == ZEP_MQTT_SDK_CONNECTED) {
        fail("the deaf host has answered");
    }
    std::printf(
        "publish to PUBACK of ten handles: p99 %.3f ms, longest %.3f ms; beside a broker "
        "that drops SYNs p99 %.3f ms, longest %.3f ms\n",
        percentile(alone, 0.99) / 1000, percentile(alone, 1) / 1000,
        percentile(beside, 0.99) / 1000, percentile(beside, 1) / 1000);
    zep_mqtt_sdk_client_destroy(stuck);
    for (const publisher &one : all) {
        zep_mqtt_sdk_client_destroy(one.client);
    }
    return 0;
}
