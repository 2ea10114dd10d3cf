// zep_demo: clients of the library talk to each other, on both protocol versions, through a small
// broker of its own or through any other.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <getopt.h>
#include <memory>
#include <string>
#include <thread>

#include "broker/broker.h"
#include "demonstration.h"

namespace {

using namespace zep_demo;

const char USAGE[] =
    "usage: zep_demo [--host ADDR] [--port N] [--verbose]\n"
    "Shows clients exchanging messages on MQTT 3.1.1 and 5.0. Ends with 0 when everything that was\n"
    "sent arrived, else with 1 and a line that says what is missing.\n"
    "  --host ADDR  IPv4 address of a broker (default 127.0.0.1)\n"
    "  --port N     its port; without it, the demonstration brings a broker of its own\n"
    "  --verbose    also write the library's log\n"
    "  --die-v311 TOPIC, --die-v50 TOPIC\n"
    "               only connect, with a will on TOPIC, and die: a part that the demonstration\n"
    "               gives to a process of its own\n";

struct options {
    endpoint broker = {"127.0.0.1", 0};
    bool verbose = false;
    version dying = version::v311;
    std::string will_topic;
};

// The broker of the demonstration, on a thread of its own. It shares nothing with the clients.
class embedded_broker {
 public:
    embedded_broker() : thread_([this] { broker_.run(); }) {}
    ~embedded_broker() {
        broker_.stop();
        thread_.join();
    }
    embedded_broker(const embedded_broker &) = delete;
    embedded_broker &operator=(const embedded_broker &) = delete;

    uint16_t port() const { return broker_.port(); }

 private:
    broker broker_;
    std::thread thread_;
};

[[noreturn]] void leave_with_usage(FILE *out, int status) {
    std::fputs(USAGE, out);
    std::exit(status);
}

uint16_t port_from(const char *text) {
    char *end = nullptr;
    const unsigned long port = std::strtoul(text, &end, 10);
    if (*text == '\0' || *end != '\0' || port == 0 || port > UINT16_MAX) {
        leave_with_usage(stderr, 2);
    }
    return static_cast<uint16_t>(port);
}

options read_options(int argc, char **argv) {
    const option known[] = {
        {"host", required_argument, nullptr, 'h'},
        {"port", required_argument, nullptr, 'p'},
        {"verbose", no_argument, nullptr, 'v'},
        {"die-v311", required_argument, nullptr, '4'},
        {"die-v50", required_argument, nullptr, '5'},
        {"help", no_argument, nullptr, 'H'},
        {nullptr, 0, nullptr, 0},
    };
    options chosen;
    opterr = 0;
    for (int each = 0; (each = getopt_long(argc, argv, "", known, nullptr)) != -1;) {
        switch (each) {
            case 'h':
                chosen.broker.host = optarg;
                break;
            case 'p':
                chosen.broker.port = port_from(optarg);
                break;
            case 'v':
                chosen.verbose = true;
                break;
            case '4':
            case '5':
                chosen.dying = each == '5' ? version::v50 : version::v311;
                chosen.will_topic = optarg;
                break;
            case 'H':
                leave_with_usage(stdout, 0);
            default:
                leave_with_usage(stderr, 2);
        }
    }
    if (optind != argc) {
        leave_with_usage(stderr, 2);
    }
    return chosen;
}

int show(const options &chosen) {
    if (!chosen.verbose) {
        agent_log_set_level(AGENT_LOG_ERROR);
    }
    if (!chosen.will_topic.empty()) {
        die_with_a_will(chosen.broker, chosen.dying, chosen.will_topic);
    }
    std::unique_ptr<embedded_broker> own;
    endpoint broker = chosen.broker;
    if (broker.port == 0) {
        own = std::make_unique<embedded_broker>();
        broker = {"127.0.0.1", own->port()};
    }
    totals sum;
    demonstrate(broker, version::v311, sum);
    demonstrate(broker, version::v50, sum);
    std::printf("%zu messages sent, %zu deliveries, nothing is missing\n", sum.sent, sum.received);
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char **argv) {
    try {
        return show(read_options(argc, argv));
    } catch (const std::exception &fault) {
        std::fflush(stdout);
        std::fprintf(stderr, "zep_demo: missing: %s\n", fault.what());
        return EXIT_FAILURE;
    }
}
