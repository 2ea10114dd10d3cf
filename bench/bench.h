// What the benchmarks share: a broker of prepared bytes in a process of its own, clocks, counts of
// system calls and allocations, medians.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <time.h>
#include <vector>

#include <zep_mqtt_sdk_event.h>

namespace bench {

constexpr char HOST[] = "127.0.0.1";

// A broker that answers every packet at once, all that one read brought with one send. It serves
// any number of connections. A SUBSCRIBE to "flood/<qos>/<count>/<payload bytes>" is answered with
// so many messages, at most FLOOD_WINDOW of them unacknowledged.
constexpr uint32_t FLOOD_WINDOW = 100;
class stub_broker {
 public:
    stub_broker();   // forks: before any thread is made
    ~stub_broker();  // ends it
    stub_broker(const stub_broker &) = delete;
    stub_broker &operator=(const stub_broker &) = delete;
    uint16_t port() const { return port_; }

 private:
    uint16_t port_ = 0;
    int pid_ = -1;
};

// Counted since the program began, by functions of the same names that stand in front of the C
// library's. Waits inside of pthread functions are not among them.
struct counts {
    uint64_t system_calls;
    uint64_t allocations;
};
counts counted();

inline double now_us() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}
double cpu_us();        // user and system time of this process, all threads
double resident_kib();  // memory of this process

inline double percentile(std::vector<double> values, double part) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1,
                           static_cast<size_t>(part * static_cast<double>(values.size())))];
}
inline double median(const std::vector<double> &values) {
    return percentile(values, 0.5);
}
// Largest distance from the median, as a part of it: above NOISY a figure tells nothing.
constexpr double NOISY = 0.25;
inline double spread(const std::vector<double> &values) {
    const double middle = median(values);
    double most = 0;
    for (const double value : values) {
        most = std::max(most, value > middle ? value - middle : middle - value);
    }
    return middle == 0 ? 0 : most / middle;
}

[[noreturn]] void fail(const char *what);  // says so and ends the program

// A QoS 0 to 2 message to "bench/topic".
zep_mqtt_sdk_msg message(uint32_t qos, uint32_t payload_len);
zep_mqtt_sdk_config configuration(const char *id, uint16_t port);

// An event-driven handle that is connected.
zep_mqtt_sdk_client *open_connected(const char *id, uint16_t port,
                                    const zep_mqtt_sdk_options &options,
                                    const zep_mqtt_sdk_listener &listener, void *user);

}  // namespace bench
