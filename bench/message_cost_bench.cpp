// What does a message cost? Processor time, system calls and allocations for each way it can take,
// of each client, in interleaved rounds. A first argument names a file for the figures.
#include <cstdlib>
#include <cstring>

#include <zep_mqtt/log/log.h>

#include "subjects.h"

using namespace bench;

namespace {

enum class kind { publish, receive, round_trip };

struct row {
    const char *name;
    kind what;
    uint32_t qos;
    uint32_t count;
    uint32_t payload;
};

constexpr row ROWS[] = {
    {"publish QoS 0", kind::publish, 0, 20000, 64},
    {"publish QoS 1, window 100", kind::publish, 1, 20000, 64},
    {"publish QoS 2, window 50", kind::publish, 2, 10000, 64},
    {"receive QoS 0", kind::receive, 0, 100000, 64},
    {"receive QoS 0, 900 bytes", kind::receive, 0, 30000, 900},
    {"receive QoS 1", kind::receive, 1, 20000, 64},
    {"receive QoS 2", kind::receive, 2, 10000, 64},
    {"round trip QoS 1", kind::round_trip, 1, 2000, 64},
};

struct contender {
    const char *name;
    std::unique_ptr<subject> (*make)(uint16_t port);
    uint32_t part;  // of the messages: the slow ones get fewer
};

constexpr contender CONTENDERS[] = {
    {"raw", make_raw, 1},
    {"event", make_event, 1},
    {"event 32", make_event_32, 1},
    {"basic", make_basic, 1},
    {"libmosquitto", make_mosquitto, 2},
    {"Paho C", make_paho, 20},
};

struct figures {
    std::vector<double> cpu;
    double system_calls = 0;
    double allocations = 0;
    std::vector<double> latencies;
};

// Round trips are single messages.
void measure(subject &of, const row &what, uint32_t count, figures &into) {
    const counts before = counted();
    const double cpu = cpu_us();
    for (uint32_t i = 0; what.what == kind::round_trip && i < count; ++i) {
        const double begun = now_us();
        of.publish(1, 1);
        into.latencies.push_back(now_us() - begun);
    }
    if (what.what == kind::publish) {
        of.publish(what.qos, count);
    } else if (what.what == kind::receive) {
        of.receive(what.qos, count, what.payload);
    }
    const counts after = counted();
    into.cpu.push_back((cpu_us() - cpu) / count);
    into.system_calls = static_cast<double>(after.system_calls - before.system_calls) / count;
    into.allocations = static_cast<double>(after.allocations - before.allocations) / count;
}

void print(const row &what, const figures *all, FILE *file) {
    for (size_t i = 0; i < std::size(CONTENDERS); ++i) {
        const figures &one = all[i];
        const double cpu = median(one.cpu);
        std::printf(
            "%-27s %-13s %7.2f us %6.2f x raw %6.2f x libmosquitto %7.3f calls %6.2f alloc"
            "%s\n",
            i == 0 ? what.name : "", CONTENDERS[i].name, cpu, cpu / median(all[0].cpu),
            cpu / median(all[4].cpu), one.system_calls, one.allocations,
            spread(one.cpu) > NOISY ? "  (noisy)" : "");
        if (!one.latencies.empty()) {
            std::printf("%-41s p50 %.1f us, p95 %.1f us, p99 %.1f us\n", "",
                        percentile(one.latencies, 0.5), percentile(one.latencies, 0.95),
                        percentile(one.latencies, 0.99));
        }
        if (file != nullptr) {
            std::fprintf(file, "%s\t%s\t%.3f\n", what.name, CONTENDERS[i].name, cpu);
        }
    }
}

}  // namespace

int main(int argc, char **argv) {
    agent_log_set_level(AGENT_LOG_FATAL);
    const stub_broker broker;
    FILE *file = argc > 1 ? std::fopen(argv[1], "w") : nullptr;
    const char *wish = std::getenv("ZEP_BENCH_ROUNDS");
    const int rounds = wish != nullptr ? std::atoi(wish) : 7;
    int noisy = 0;
    const char *only = std::getenv("ZEP_BENCH_ROW");
    for (const row &what : ROWS) {
        if (only != nullptr && std::strstr(what.name, only) == nullptr) {
            continue;
        }
        figures all[std::size(CONTENDERS)];
        for (int round = 0; round < rounds; ++round) {
            for (size_t i = 0; i < std::size(CONTENDERS); ++i) {
                const std::unique_ptr<subject> subject = CONTENDERS[i].make(broker.port());
                measure(*subject, what, what.count / CONTENDERS[i].part, all[i]);
            }
        }
        print(what, all, file);
        noisy += spread(all[0].cpu) > NOISY ? 1 : 0;
    }
    if (noisy != 0) {
        std::printf(
            "The machine was too noisy to tell: in %d rows the raw floor itself differs by "
            "more than %.0f %% between rounds.\n",
            noisy, 100 * NOISY);
    }
    if (file != nullptr) {
        (void)std::fclose(file);
    }
    return 0;
}
