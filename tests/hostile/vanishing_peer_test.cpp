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

#include <zep_mqtt_sdk_event.h>

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

// An event-driven handle notices by its own clock: half the interval until the PINGREQ, and then
// the time that a PINGRESP has, whether a message is under way or not.
class event_vanishing_peer_test : public vanishing_peer_test {};
INSTANTIATE_TEST_SUITE_P(, event_vanishing_peer_test,
                         testing::Combine(testing::Values(&V311, &V50),
                                          testing::Values(SILENCES[0], SILENCES[1])),
                         [](const auto &tested) {
                             return std::string(std::get<1>(tested.param).name) +
                                    (std::get<0>(tested.param) == &V50 ? "_v50" : "_v311");
                         });

TEST_P(event_vanishing_peer_test, is_noticed_and_the_message_delivered) {
    struct seen {
        int connected = 0, delivered = 0;
        uint32_t cause = 0;
    } so_far;
    zep_mqtt_sdk_config asked = {};
    asked.client_id = "c1";
    asked.broker_host = "192.0.2.2";
    asked.broker_port = 1883;
    asked.keep_alive = 10;
    asked.mqtt_ver = is_50() ? ZEP_MQTT_SDK_VERSION_50 : ZEP_MQTT_SDK_VERSION_311;
    zep_mqtt_sdk_options options = {};
    options.size = sizeof options;
    options.first_backoff_ms = options.longest_backoff_ms = 100;
    options.connect_timeout_ms = 1000;
    options.pingresp_timeout_ms = 2000;
    zep_mqtt_sdk_listener listener = {};
    listener.size = sizeof listener;
    listener.link = [](zep_mqtt_sdk_client *, void *user, const zep_mqtt_sdk_link_event *event) {
        auto &seen_so_far = *static_cast<seen *>(user);
        seen_so_far.connected += event->link == ZEP_MQTT_SDK_LINK_CONNECTED ? 1 : 0;
        if (event->link == ZEP_MQTT_SDK_LINK_LOST) {
            seen_so_far.cause = event->cause;
        }
    };
    listener.fate = [](zep_mqtt_sdk_client *, void *user, const zep_mqtt_sdk_fate_event *event) {
        static_cast<seen *>(user)->delivered += event->fate == ZEP_MQTT_SDK_FATE_DELIVERED ? 1 : 0;
    };
    zep_mqtt_sdk_client *handle = zep_mqtt_sdk_client_open(&asked, &options, &listener, &so_far);
    ASSERT_NE(handle, nullptr);
    zep_mqtt_sdk_client_connect(handle);
    const auto serve_until = [&](std::chrono::milliseconds bound, const auto &holds) {
        for (const auto end = steady_clock::now() + bound; !holds() && steady_clock::now() < end;) {
            zep_mqtt_sdk_client_loop_for(handle, 50);
        }
        return holds();
    };
    ASSERT_TRUE(serve_until(5s, [&] { return so_far.connected == 1; }));
    silence_all("inet");
    const auto silent_since = steady_clock::now();
    const bool under_way = std::get<1>(GetParam()).under_way;
    const uint8_t payload = 'x';
    const zep_mqtt_sdk_msg message = {"t", &payload, 1, 2, 0, 0};
    if (under_way) {
        EXPECT_EQ(zep_mqtt_sdk_client_send(handle, &message, nullptr), ZEP_MQTT_SDK_OK);
    }
    EXPECT_TRUE(serve_until(20s, [&] { return so_far.cause != 0; }));
    const auto noticed = steady_clock::now() - silent_since;
    EXPECT_EQ(so_far.cause, uint32_t{ZEP_MQTT_SDK_CAUSE_SILENCE});
    EXPECT_LE(noticed, 7500ms);
    std::cerr << "noticed after " << noticed / 1ms << " ms of at most 7500 ms\n";
    const std::jthread meanwhile = end_silence_after(1s, "inet");
    EXPECT_TRUE(serve_until(10s, [&] { return so_far.connected == 2; }));
    if (!under_way) {
        EXPECT_EQ(zep_mqtt_sdk_client_send(handle, &message, nullptr), ZEP_MQTT_SDK_OK);
    }
    EXPECT_TRUE(serve_until(5s, [&] { return so_far.delivered == 1; }));
    zep_mqtt_sdk_client_destroy(handle);
}

}  // namespace
