// What do many handles on one thread cost each other? A first argument names a file for the figures
// of the scaling.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mosquitto.h>
#include <poll.h>
#include <sys/epoll.h>
#include <thread>
#include <unistd.h>

#include <zep_mqtt/log/log.h>

#include "bench.h"

using namespace bench;

namespace {

// One publish at QoS 1 after another: the time of each until its PUBACK.
struct publisher {
    zep_mqtt_sdk_client *ours = nullptr;
    mosquitto *theirs = nullptr;
    double begun = 0;
    double due = 0;
    bool acknowledged = true;
    std::vector<double> *latencies = nullptr;
    uint64_t received = 0;

    void done() {
        if (latencies != nullptr) {
            latencies->push_back(now_us() - begun);
        }
        acknowledged = true;
    }
};

zep_mqtt_sdk_options small_packets() {
    zep_mqtt_sdk_options options = {};
    options.size = sizeof options;
    options.max_packet_in = options.max_packet_out = 1024;
    return options;
}

void open_ours(publisher &of, uint16_t port, uint32_t number, const zep_mqtt_sdk_options &options) {
    zep_mqtt_sdk_listener listener = {};
    listener.size = sizeof listener;
    listener.fate = [](zep_mqtt_sdk_client *, void *user, const zep_mqtt_sdk_fate_event *) {
        static_cast<publisher *>(user)->done();
    };
    listener.message = [](zep_mqtt_sdk_client *, void *user, const zep_mqtt_sdk_inbound *) {
        ++static_cast<publisher *>(user)->received;
    };
    of.ours =
        open_connected(("many-" + std::to_string(number)).c_str(), port, options, listener, &of);
}

void open_theirs(publisher &of, uint16_t port, uint32_t number) {
    of.theirs = mosquitto_new(("theirs-" + std::to_string(number)).c_str(), true, &of);
    (void)mosquitto_int_option(of.theirs, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_publish_callback_set(
        of.theirs, [](mosquitto *, void *user, int) { static_cast<publisher *>(user)->done(); });
    static bool connected;
    connected = false;
    mosquitto_connect_callback_set(of.theirs, [](mosquitto *, void *, int) { connected = true; });
    (void)mosquitto_connect(of.theirs, HOST, port, 60);
    while (!connected) {
        // Not mosquitto_loop(): its select() takes no descriptor above 1,023.
        pollfd fd = {mosquitto_socket(of.theirs), POLLIN, 0};
        (void)poll(&fd, 1, 100);
        (void)mosquitto_loop_read(of.theirs, 1);
    }
}

int sock_of(const publisher &of) {
    return of.ours != nullptr ? zep_mqtt_sdk_client_get_socket(of.ours)
                              : mosquitto_socket(of.theirs);
}

void serve(publisher &of) {
    if (of.ours != nullptr) {
        (void)zep_mqtt_sdk_client_loop_for(of.ours, 0);
        return;
    }
    (void)mosquitto_loop_read(of.theirs, 1);
    if (mosquitto_want_write(of.theirs)) {
        (void)mosquitto_loop_write(of.theirs, 1);
    }
}

void publish(publisher &of) {
    const zep_mqtt_sdk_msg msg = message(1, 64);
    of.acknowledged = false;
    of.begun = now_us();
    const bool sent = of.ours != nullptr
                          ? zep_mqtt_sdk_client_send(of.ours, &msg, nullptr) == ZEP_MQTT_SDK_OK
                          : mosquitto_publish(of.theirs, nullptr, msg.topic, 64, msg.payload, 1,
                                              false) == MOSQ_ERR_SUCCESS;
    if (!sent) {
        fail("a publish was refused");
    }
}

struct outcome {
    std::vector<double> latencies;
    uint64_t messages = 0;
    double lateness_ms = 0;  // of the latest
    double cpu_part = 0;     // of one core
};

// Each handle publishes once in every interval, at a moment of its own, for so long.
outcome drive(std::vector<publisher> &all, double interval_us, double duration_us) {
    outcome result;
    const int poller = epoll_create1(0);
    const double begun = now_us();
    for (size_t i = 0; i < all.size(); ++i) {
        epoll_event event = {};
        event.events = EPOLLIN;
        event.data.ptr = &all[i];
        (void)epoll_ctl(poller, EPOLL_CTL_ADD, sock_of(all[i]), &event);
        all[i].latencies = &result.latencies;
        all[i].due = begun + interval_us * static_cast<double>(i) / static_cast<double>(all.size());
    }
    const double cpu = cpu_us();
    size_t next = 0;  // handles fall due in turn
    for (double now = begun; now < begun + duration_us; now = now_us()) {
        while (all[next].due <= now) {
            publisher &of = all[next];
            result.lateness_ms = std::max(result.lateness_ms, (now_us() - of.due) / 1000);
            if (of.acknowledged) {
                publish(of);
                ++result.messages;
            }
            of.due += interval_us;
            next = (next + 1) % all.size();
        }
        const double wait = all[next].due - now_us();
        epoll_event ready[256];
        const int count =
            epoll_wait(poller, ready, 256, wait <= 0 ? 0 : static_cast<int>(wait / 1000) + 1);
        for (int i = 0; i < count; ++i) {
            serve(*static_cast<publisher *>(ready[i].data.ptr));
        }
    }
    result.cpu_part = (cpu_us() - cpu) / (now_us() - begun);
    for (publisher &one : all) {
        one.latencies = nullptr;
    }
    (void)close(poller);
    return result;
}

void close_all(std::vector<publisher> &all) {
    for (publisher &one : all) {
        if (one.ours != nullptr) {
            zep_mqtt_sdk_client_destroy(one.ours);
        } else {
            mosquitto_destroy(one.theirs);
        }
    }
}

// Publish to PUBACK, ten messages a second from each handle, beside libmosquitto under epoll.
void compare_latency(uint16_t port, uint32_t handles, int rounds) {
    std::vector<double> middle[2];
    std::vector<double> high[2];
    for (int round = 0; round < rounds; ++round) {
        for (int theirs = 0; theirs < 2; ++theirs) {
            std::vector<publisher> all(handles);
            for (uint32_t i = 0; i < handles; ++i) {
                theirs != 0 ? open_theirs(all[i], port, i)
                            : open_ours(all[i], port, i, small_packets());
            }
            const outcome result = drive(all, 100e3, 2e6);
            middle[theirs].push_back(percentile(result.latencies, 0.5) / 1000);
            high[theirs].push_back(percentile(result.latencies, 0.95) / 1000);
            close_all(all);
        }
    }
    std::printf(
        "%5u handles, publish to PUBACK: p50 %.3f ms, p95 %.3f ms; libmosquitto p50 %.3f "
        "ms, p95 %.3f ms; p95 %.2f x%s\n",
        handles, median(middle[0]), median(high[0]), median(middle[1]), median(high[1]),
        median(high[0]) / median(high[1]), spread(high[1]) > NOISY ? "  (noisy)" : "");
}

// Messages a second of one busy handle, alone and beside idle ones under one loop_all.
double busy_rate(uint16_t port, uint32_t idle) {
    std::vector<publisher> all(1 + idle);
    std::vector<zep_mqtt_sdk_client *> clients;
    for (uint32_t i = 0; i <= idle; ++i) {
        open_ours(all[i], port, i, small_packets());
        clients.push_back(all[i].ours);
    }
    constexpr uint32_t COUNT = 200000;
    (void)zep_mqtt_sdk_client_subscribe_to(
        clients[0], ("flood/0/" + std::to_string(COUNT) + "/64").c_str(), 0, nullptr);
    const double begun = now_us();
    while (all[0].received < COUNT) {
        (void)zep_mqtt_sdk_loop_all(clients.data(), 1 + idle, 1000);
    }
    const double rate = COUNT / (now_us() - begun) * 1e6;
    close_all(all);
    return rate;
}

void idle_neighbours(uint16_t port, int rounds) {
    std::vector<double> alone;
    std::vector<double> beside;
    for (int round = 0; round < rounds; ++round) {
        alone.push_back(busy_rate(port, 0));
        beside.push_back(busy_rate(port, 2));
    }
    std::printf("one busy handle: %.0f messages/s alone, %.0f beside two idle ones: %.2f x%s\n",
                median(alone), median(beside), median(beside) / median(alone),
                spread(alone) > NOISY ? "  (noisy)" : "");
}

// Memory of an idle handle, and how often 100 of them wake their thread.
void idle_handles(uint16_t port) {
    for (const uint32_t packet : {0U, 1024U}) {
        std::vector<publisher> all(500);
        zep_mqtt_sdk_options options = {};
        options.size = sizeof options;
        options.max_packet_in = options.max_packet_out = packet;
        const double before = resident_kib();
        for (uint32_t i = 0; i < all.size(); ++i) {
            open_ours(all[i], port, i, options);
        }
        std::printf("an idle handle, packets of %u bytes: %.1f KiB resident\n",
                    packet == 0 ? 4096 : packet,
                    (resident_kib() - before) / static_cast<double>(all.size()));
        close_all(all);
    }
    std::vector<publisher> all(100);
    std::vector<zep_mqtt_sdk_client *> clients;
    for (uint32_t i = 0; i < all.size(); ++i) {
        open_ours(all[i], port, i, small_packets());
        clients.push_back(all[i].ours);
    }
    const double end = now_us() + 3e6;
    uint32_t wakes = 0;
    for (; now_us() < end; ++wakes) {
        const double left = end - now_us();
        (void)zep_mqtt_sdk_loop_all(clients.data(), 100, static_cast<uint32_t>(left / 1000) + 1);
    }
    std::printf("100 idle handles: %u returns from loop_all in 3 s, the end included\n", wakes);
    close_all(all);
}

// As many messages as go through so many handles, each with one message under way.
double flat_out(uint16_t port, uint32_t handles, double &cpu_per_message) {
    std::vector<publisher> all(handles);
    std::vector<zep_mqtt_sdk_client *> clients;
    for (uint32_t i = 0; i < handles; ++i) {
        open_ours(all[i], port, i, small_packets());
        clients.push_back(all[i].ours);
    }
    uint64_t messages = 0;
    const double begun = now_us();
    const double cpu = cpu_us();
    while (now_us() < begun + 1e6) {
        for (publisher &one : all) {
            if (one.acknowledged) {
                publish(one);
                ++messages;
            }
        }
        (void)zep_mqtt_sdk_loop_all(clients.data(), handles, 1000);
    }
    const double took = now_us() - begun;
    cpu_per_message = (cpu_us() - cpu) / static_cast<double>(messages);
    close_all(all);
    return static_cast<double>(messages) / took * 1e6;
}

void scaling(uint16_t port, FILE *file) {
    for (const uint32_t handles : {1U, 10U, 100U}) {
        double cpu = 0;
        const double rate = flat_out(port, handles, cpu);
        std::printf(
            "%3u handles on one thread, one QoS 1 message each under way: %.0f messages/s, "
            "%.2f us a message\n",
            handles, rate, cpu);
        if (file != nullptr) {
            std::fprintf(file, "%u\t%.0f\t%.2f\n", handles, rate, cpu);
        }
    }
    double cpu = 0;
    double rates[2];
    std::thread second([&] {
        double unused = 0;
        rates[1] = flat_out(port, 10, unused);
    });
    rates[0] = flat_out(port, 10, cpu);
    second.join();
    std::printf(
        "two threads of 10 handles: %.0f messages/s together (the stub broker has one "
        "thread, too)\n",
        rates[0] + rates[1]);
}

void ten_thousand(uint16_t port) {
    constexpr uint32_t HANDLES = 10000;
    std::vector<publisher> all(HANDLES);
    const double before = resident_kib();
    for (uint32_t i = 0; i < HANDLES; ++i) {
        open_ours(all[i], port, i, small_packets());
    }
    const outcome result = drive(all, 1e6, 10e6);
    std::printf(
        "%u handles, a QoS 1 message a second each: %.0f messages/s, the latest %.1f ms "
        "late, p50 %.2f, p99 %.2f ms, %.0f %% of a core, %.1f KiB a handle\n",
        HANDLES, static_cast<double>(result.messages) / 10, result.lateness_ms,
        percentile(result.latencies, 0.5) / 1000, percentile(result.latencies, 0.99) / 1000,
        100 * result.cpu_part, (resident_kib() - before) / HANDLES);
    close_all(all);
}

}  // namespace

int main(int argc, char **argv) {
    agent_log_set_level(AGENT_LOG_FATAL);
    const stub_broker broker;
    (void)mosquitto_lib_init();
    FILE *file = argc > 1 ? std::fopen(argv[1], "w") : nullptr;
    const char *wish = std::getenv("ZEP_BENCH_ROUNDS");
    const int rounds = wish != nullptr ? std::atoi(wish) : 5;
    idle_neighbours(broker.port(), rounds);
    idle_handles(broker.port());
    compare_latency(broker.port(), 50, rounds);
    compare_latency(broker.port(), 500, rounds);
    scaling(broker.port(), file);
    ten_thousand(broker.port());
    if (file != nullptr) {
        (void)std::fclose(file);
    }
    return 0;
}
