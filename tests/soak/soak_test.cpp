// The library and mosquitto in bad company: brokers that die, wires that break, many threads, much
// time. Every message is accounted for, at both ends of the interface. How long it all takes is
// told by the environment.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <thread>
#include <unistd.h>

#include <zep_mqtt_sdk.h>

#include "soak/party.h"
#include "support/mosquitto.h"

namespace {

using namespace zep_test;
using std::chrono::milliseconds;
using std::chrono::seconds;

// mosquitto closes a connection that exceeds a limit of its own.
const char NO_LIMITS[] = "max_inflight_messages 0\nmax_queued_messages 0\n";

// A setting from the environment.
int setting(const char *name, int otherwise) {
    const char *value = std::getenv(name);
    return value != nullptr ? std::atoi(value) : otherwise;
}

// mosquitto saves what it knows when it is asked to end, and not at every change.
const std::string PERSISTENT = std::string(NO_LIMITS) + "persistence true\nautosave_interval 1\n";

struct kind {
    const char *name;
    client_maker make_client;
    promise held;

    bool resumes() const { return held >= promise::saved; }
    std::string configuration() const { return resumes() ? PERSISTENT : NO_LIMITS; }
};
const kind BASIC = {"", make_basic_client, promise::basic};
const kind EVENT = {"_event", make_event_client, promise::anew};
const kind RESUMING = {"_resuming", make_resuming_client, promise::saved};
const kind KEEPING = {"_keeping", make_resuming_client, promise::kept};

struct plan {
    kind client;
    int parties, threads;
    std::vector<uint32_t> versions;  // of one party after the other
    bool unreliable_wires;
    milliseconds pause;  // between two messages of a party
    seconds life;        // of a client, 0 for ever
    size_t capacity;     // messages of a party at each QoS
};

// Parties in a ring, driven by threads.
class company {
 public:
    company(plan p, uint16_t broker_port)
        : plan_(std::move(p)),
          ledgers_(static_cast<size_t>(plan_.parties)),
          subscriptions_(ledgers_.size()) {
        for (ledger &each : ledgers_) {
            each.reserve(plan_.capacity);
        }
        for (int i = 0; i < plan_.parties; i++) {
            const auto seed = static_cast<unsigned>(i) + 1;
            parties_.push_back(std::make_unique<party>(
                i, plan_.versions[static_cast<size_t>(i) % plan_.versions.size()], broker_port,
                plan_.unreliable_wires ? std::optional(seed) : std::nullopt,
                plan_.client.make_client, ledgers_));
        }
        for (int i = 0; i < plan_.threads; i++) {
            threads_.emplace_back([this, i](const std::stop_token &ending) { drive(i, ending); });
        }
    }
    company(const company &) = delete;
    company &operator=(const company &) = delete;

    void restart(mosquitto &broker) {
        if (plan_.client.held == promise::kept) {
            return;
        }
        std::transform(parties_.begin(), parties_.end(), subscriptions_.begin(),
                       [](const auto &each) { return each->subscriptions.load(); });
        plan_.client.resumes() ? broker.stop() : broker.kill();
        broker.start();
    }
    // Whether everybody has subscribed since the last restart.
    bool is_up(seconds bound) const {
        return wait(bound, 1, [this](size_t i) {
            return parties_[i]->ready && parties_[i]->subscriptions > subscriptions_[i];
        });
    }
    // Nothing more goes wrong. A little later nothing more is published, and what is open comes to
    // its end.
    bool settle(seconds bound) {
        let_wires_be(false);
        std::this_thread::sleep_for(milliseconds(500));
        publishing_ = false;
        return wait(bound, 50, [this](size_t i) { return parties_[i]->settled.load(); });
    }
    void resume() { let_wires_be(true), publishing_ = true; }

    unsigned wire_faults() const {
        unsigned sum = 0;
        for (const auto &each : parties_) {
            sum += each->wire_faults();
        }
        return sum;
    }

    // Once settled.
    void close_accounts() const {
        table sums[3];
        for (const ledger &each : ledgers_) {
            each.close_accounts(plan_.client.held, sums);
        }
        for (const auto &[title, count] : sums[0]) {
            printf("%20s: %8u at QoS 0, %8u at QoS 1, %8u at QoS 2\n", title.c_str(), count,
                   sums[1][title], sums[2][title]);
        }
        for (table &sum : sums) {
            // Broken connections cost something, but far from everything.
            EXPECT_GT(sum["accepted"], 0u);
            EXPECT_GT(sum["done"], sum["accepted"] / 2);
            EXPECT_GT(sum["must be delivered"], sum["accepted"] / 4);
            EXPECT_TRUE((plan_.unreliable_wires && plan_.client.held == promise::basic) ||
                        sum["given up"] == 0);
        }
    }

 private:
    void let_wires_be(bool unreliable) {
        for (const auto &each : parties_) {
            each->let_wire_be(unreliable);
        }
    }

    // Until it holds for all parties, so many times.
    template <typename Condition>
    bool wait(seconds bound, int times, Condition holds) const {
        const auto end = steady_clock::now() + bound;
        for (int held = 0; held < times; std::this_thread::sleep_for(milliseconds(10))) {
            size_t i = 0;
            while (i < parties_.size() && holds(i)) {
                i++;
            }
            held = i == parties_.size() ? held + 1 : 0;
            if (held == 0 && steady_clock::now() > end) {
                return false;
            }
        }
        return true;
    }

    void drive(int thread, const std::stop_token &ending) {
        auto next_message = steady_clock::now(), next_life = next_message + plan_.life;
        while (!ending.stop_requested()) {
            const auto now = steady_clock::now();
            const bool publishes = publishing_ && now >= next_message;
            const bool begins_anew = publishing_ && plan_.life > seconds(0) && now >= next_life;
            next_message = publishes ? now + plan_.pause : next_message;
            next_life = begins_anew ? now + plan_.life : next_life;
            for (int i = thread; i < plan_.parties; i += plan_.threads) {
                party &mine = *parties_[static_cast<size_t>(i)];
                mine.turn();
                const auto &recipient = parties_[static_cast<size_t>(i + 1) % parties_.size()];
                if (publishes && publishing_ && recipient->ready) {
                    mine.publish();
                }
                if (begins_anew) {
                    mine.reopen();
                }
            }
        }
    }

    const plan plan_;
    std::vector<ledger> ledgers_;
    std::vector<unsigned> subscriptions_;  // of the parties at the last restart
    std::vector<std::unique_ptr<party>> parties_;
    std::atomic<bool> publishing_{true};
    std::vector<std::jthread> threads_;
};

class dying_broker_test : public testing::TestWithParam<std::tuple<kind, uint32_t>> {};
INSTANTIATE_TEST_SUITE_P(, dying_broker_test,
                         testing::Combine(testing::Values(BASIC, EVENT, RESUMING),
                                          testing::Values(ZEP_MQTT_SDK_VERSION_311,
                                                          ZEP_MQTT_SDK_VERSION_50)),
                         [](const auto &tested) {
                             return (std::get<1>(tested.param) == 0 ? "v311" : "v50") +
                                    std::string(std::get<0>(tested.param).name);
                         });

TEST_P(dying_broker_test, loses_nothing_of_ours) {
    agent_log_set_level(AGENT_LOG_FATAL);
    const int deaths = setting("ZEP_DEATHS", 50);
    const auto &[client, version] = GetParam();
    mosquitto broker(client.configuration());
    company two({client, 2, 1, {version}, false, milliseconds(3), seconds(0), 100000},
                broker.port());
    std::minstd_rand random(1);
    for (int i = 0; i < deaths; i++) {
        ASSERT_TRUE(two.is_up(seconds(10))) << "after death " << i;
        std::this_thread::sleep_for(milliseconds(random() % 300));
        two.restart(broker);
    }
    ASSERT_TRUE(two.is_up(seconds(10)));
    ASSERT_TRUE(two.settle(seconds(60)));
    printf("%d deaths\n", deaths);
    two.close_accounts();
}

class threads_test : public testing::TestWithParam<kind> {};
INSTANTIATE_TEST_SUITE_P(, threads_test, testing::Values(BASIC, EVENT), [](const auto &tested) {
    return "client" + std::string(tested.param.name);
});

TEST_P(threads_test, each_drives_opens_and_closes_its_own_client) {
    agent_log_set_level(AGENT_LOG_FATAL);
    const int duration = setting("ZEP_SECONDS", 4);
    mosquitto broker(NO_LIMITS);
    company eight({GetParam(), 8, 8, {0, 1}, false, milliseconds(5), seconds(1), 100000},
                  broker.port());
    std::this_thread::sleep_for(seconds(duration));
    ASSERT_TRUE(eight.settle(seconds(60)));
    eight.close_accounts();
}

// What this process holds, with all parties connected and nothing open.
struct footprint {
    long resident_kib, descriptors;
};

footprint measure() {
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    const std::filesystem::directory_iterator descriptors("/proc/self/fd"), end;
    return {pages * sysconf(_SC_PAGESIZE) / 1024, std::distance(descriptors, end)};
}

class soak_test : public testing::TestWithParam<kind> {};
INSTANTIATE_TEST_SUITE_P(, soak_test, testing::Values(BASIC, EVENT, RESUMING, KEEPING),
                         [](const auto &tested) {
                             return "client" + std::string(tested.param.name);
                         });

TEST_P(soak_test, leaves_nothing_behind) {
    agent_log_set_level(AGENT_LOG_FATAL);
    const int clients = setting("ZEP_CLIENTS", 6);
    const seconds duration(setting("ZEP_SECONDS", 10));
    const milliseconds pause(100);
    mosquitto broker(GetParam().configuration());
    company all({GetParam(),
                 clients,
                 std::min(clients, 10),
                 {0, 1},
                 true,
                 pause,
                 seconds(0),
                 static_cast<size_t>(duration / pause + 100)},
                broker.port());
    footprint before = {};
    const int lives = std::max(3, static_cast<int>(duration / seconds(20)));
    for (int life = 0; life < lives; life++) {
        ASSERT_TRUE(all.is_up(seconds(60)));
        std::this_thread::sleep_for(duration / lives);
        if (life == lives / 2) {
            ASSERT_TRUE(all.settle(seconds(60)));
            before = measure();
            all.resume();
        }
        all.restart(broker);
    }
    ASSERT_TRUE(all.settle(seconds(60)));
    const footprint after = measure();
    all.close_accounts();
    printf(
        "%d clients, %lld s, %u faults of wires, %d restarts of the broker: resident %ld KiB, then %ld KiB; "
        "descriptors %ld, then %ld\n",
        clients, static_cast<long long>(duration.count()), all.wire_faults(),
        GetParam().held == promise::kept ? 0 : lives, before.resident_kib, after.resident_kib,
        before.descriptors, after.descriptors);
    EXPECT_GT(all.wire_faults(), 0u);
    EXPECT_EQ(after.descriptors, before.descriptors);
#ifndef ZEP_SANITIZED  // which remembers what was freed
    EXPECT_LT(after.resident_kib, before.resident_kib + 1024);
#endif
}

}  // namespace
