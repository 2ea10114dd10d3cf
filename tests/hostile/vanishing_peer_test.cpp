// A peer that vanishes without a word: mosquitto and the client, each in a network namespace that
// exists for this process only, and a wire between them that falls silent. Needs root, or a system
// that lets users make namespaces; else it is skipped.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <optional>
#include <sched.h>
#include <thread>
#include <unistd.h>

#include "support/client_fixture.h"
#include "support/mosquitto.h"

namespace {

using namespace zep_test;
using namespace std::chrono_literals;
using std::chrono::steady_clock;

void run(const std::string &command) {
    EXPECT_EQ(std::system(("PATH=$PATH:/usr/sbin:/sbin; " + command).c_str()), 0) << command;
}

// Goes when nobody is in it any more and nobody holds it.
class network_namespace {
 public:
    ~network_namespace() { close(handle_); }

    // Makes it, with a loopback, and moves the calling thread there. False: that is not allowed.
    bool found() {
        if (unshare(CLONE_NEWNET) != 0) {
            return false;
        }
        handle_ = open("/proc/thread-self/ns/net", O_RDONLY);  // for child processes, too
        run("ip link set lo up");
        return handle_ >= 0;
    }
    void enter() const { EXPECT_EQ(setns(handle_, CLONE_NEWNET), 0); }
    std::string path() const { return "/proc/self/fd/" + std::to_string(handle_); }

 private:
    int handle_ = -1;
};

// Who is not root becomes it in a user namespace.
bool may_make_namespaces() {
    const std::string user = std::to_string(geteuid());
    if (user != "0" && unshare(CLONE_NEWUSER) == 0) {
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    }
    return geteuid() == 0;
}

struct silence {
    const char *name;
    uint16_t asked;     // keep-alive of a 5.0 client, in seconds; 3.1.1 asks for the interval
    uint16_t interval;  // seconds, as the 5.0 broker decides
    std::chrono::milliseconds address_delay;  // of the neighbour, at the first packet
    bool under_way;                           // a message, when the peer vanishes
    std::chrono::milliseconds bound;          // until it is noticed
};

const silence SILENCES[] = {
    {"idle", 60, 10, 0ms, false, 15s},
    {"during_an_exchange", 60, 10, 0ms, true, 15s},
    // The system takes the first round trip, a second long, for the custom of this connection, and
    // does not send again before three seconds have passed.
    {"after_a_slow_beginning", 60, 10, 500ms, false, 15s},
    // Long before the keep-alive would ask for it: the third repetition goes out after 14 seconds,
    // and is to find the next connection.
    {"while_repetitions_are_left", 60, 60, 0ms, true, 11s},
#ifndef ZEP_SANITIZED  // there is less than half a second to spare
    {"at_the_shortest_interval", 1, 1, 0ms, false, 1500ms},
#endif
};

using parameters = std::tuple<const dialect *, silence>;

class vanishing_peer_test : public client_test, public testing::WithParamInterface<parameters> {
 protected:
    vanishing_peer_test() : client_test(*std::get<0>(GetParam())) {}

    void SetUp() override {
        client_test::SetUp();
        agent_log_set_level(AGENT_LOG_FATAL);  // the rest depends on the time that it all takes
        if (!may_make_namespaces() || !here.found() || !there.found()) {
            GTEST_SKIP() << "no network namespaces for this user";
        }
        // Neighbours know each other, so that no first packet waits for an address.
        run("ip link add name far address 02:00:00:00:00:02 type veth"
            " peer name near address 02:00:00:00:00:01 netns " +
            here.path());
        run("ip address add 192.0.2.2/30 dev far && ip link set far up");
        run("ip neighbor add 192.0.2.1 lladdr 02:00:00:00:00:01 dev far");
        const int limit = std::max<int>(std::get<1>(GetParam()).interval, 10);
        distant.emplace("listener 1883 192.0.2.2\nmax_keepalive " + std::to_string(limit) + "\n");
        here.enter();
        run("ip address add 192.0.2.1/30 dev near && ip link set near up");
        run("ip neighbor add 192.0.2.2 lladdr 02:00:00:00:00:02 dev near");

        std::strcpy(config.broker_host, "192.0.2.2");
        config.broker_port = 1883;
        config.reconnect_interval_ms = 100;
    }

    // The other end drops what this family of packets brings, and says nothing in it.
    void silence_all(const std::string &family) {
        there.enter();
        run("nft 'table " + family +
            " silence {"
            "  chain in { type filter hook input priority 0; policy drop; };"
            "  chain out { type filter hook output priority 0; policy drop; };"
            "}'");
        here.enter();
    }

    [[nodiscard]] std::jthread end_silence_after(std::chrono::milliseconds time,
                                                 const std::string &family) {
        return std::jthread([=, this] {
            there.enter();
            std::this_thread::sleep_for(time);
            run("nft delete table " + family + " silence");
        });
    }

    // Everything that happens until these callbacks have been made is these callbacks.
    void loop_until(const happenings &expected, std::chrono::milliseconds bound, where at = {}) {
        happenings happened;
        for (const auto end = steady_clock::now() + bound;
             happened.size() < expected.size() && steady_clock::now() < end;) {
            pass();
            const happenings news = callbacks.take();
            happened.insert(happened.end(), news.begin(), news.end());
        }
        if (happened != expected) {
            ADD_FAILURE_AT(at.file, at.line) << "expected " << testing::PrintToString(expected)
                                             << "\nhappened " << testing::PrintToString(happened);
        }
    }

    network_namespace here, there;
    std::optional<mosquitto> distant;
};
INSTANTIATE_TEST_SUITE_P(, vanishing_peer_test,
                         testing::Combine(testing::Values(&V311, &V50),
                                          testing::ValuesIn(SILENCES)),
                         [](const auto &tested) {
                             return std::string(std::get<1>(tested.param).name) +
                                    (std::get<0>(tested.param) == &V50 ? "_v50" : "_v311");
                         });

TEST_P(vanishing_peer_test, is_noticed_and_the_next_connection_works) {
    const silence &tested = std::get<1>(GetParam());
    config.keep_alive = is_50() ? tested.asked : tested.interval;
    create();
    std::jthread meanwhile;
    if (tested.address_delay > 0ms) {
        run("ip neighbor del 192.0.2.2 dev near");
        silence_all("arp");
        meanwhile = end_silence_after(tested.address_delay, "arp");
    }
    EXPECT_EQ(mqtt_client_connect(client), 0);
    loop_until({"CONNACK ok"}, 5s);
    silence_all("inet");
    const auto silent_since = steady_clock::now();
    if (tested.under_way) {
        EXPECT_EQ(publish(1), 0);
    }
    loop_until({"DISCONNECT failed result=-4"},
               2 * tested.bound);  // a late notice is worth its figure
    const auto noticed = steady_clock::now() - silent_since;
    EXPECT_LE(noticed, tested.bound);
    std::cerr << "noticed after " << noticed / 1ms << " ms of at most " << tested.bound / 1ms
              << " ms\n";  // stdout is the log's

    meanwhile = end_silence_after(1s, "inet");
    happenings then = {"CONNACK ok"};
    if (tested.under_way) {
        then.push_back("PUBACK ok id=1");
    }
    loop_until(then, 20s);
    EXPECT_EQ(publish(1), 0);
    loop_until({"PUBACK ok id=1"}, 5s);
    EXPECT_EQ(messages_cached() + identifiers_in_use(), 0u);
}

}  // namespace
