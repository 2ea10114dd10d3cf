// A session with every kind of packet, in a world that spoils it; and what holds whatever happens:
// the client finds back, and what it believes is what the broker saw.
#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <thread>

#include <zep_mqtt/platform/clock.h>

#include "hostile/model_broker.h"
#include "support/books.h"
#include "support/client_fixture.h"

namespace zep_test {

// What a client says when it gives a connection up.
inline const std::string LOST = "failed result=-4";

class cruel_session : public both_versions {
 protected:
    void SetUp() override {
        both_versions::SetUp();
        g_log_config.level = AGENT_LOG_FATAL + 1;  // not a line: they depend on the fault
        config.broker_port = proxy.port();
        config.reconnect_interval_ms = 0;
    }

    // Up to the CONNECT.
    void start() {
        model = model_broker(*v);
        happened.clear();
        connections = 0;
        create();
        EXPECT_EQ(mqtt_client_connect(client), 0);
        take_client();
    }

    // The bytes flow, and then the client makes a pass if there is something to find out: an idle
    // pass would only wait. False: there was not.
    bool round() {
        const bool ended = proxy.ended();
        std::thread other_end;  // answers while the client waits
        if (client->state == MQTT_CLIENT_DISCONNECTED) {
            other_end = std::thread([this] { take_client(), proxy.step(); });
        } else {
            proxy.step();
            if (!ended && heard_ == proxy.passed(TO_CLIENT)) {
                return false;
            }
            heard_ = proxy.passed(TO_CLIENT);
        }
        // The CONNACK is overdue when it cannot come any more, and not when the machine is slow.
        client->connect_tick_ms =
            static_cast<uint32_t>(platform_get_tick_ms()) - (ended ? 3000 : 0);
        pass();
        if (other_end.joinable()) {
            other_end.join();
            heard_ = client->state == MQTT_CLIENT_CONNECTED ? proxy.passed(TO_CLIENT) : 0;
        }
        EXPECT_STREQ(fault_in_books(*client), nullptr);
        const happenings news = callbacks.take();
        happened.insert(happened.end(), news.begin(), news.end());
        return true;
    }

    // Plays the session on what start() began, and gives it the time that it needs to settle.
    void endure(bool cut_off = false) {
        play('1');
        played[TO_BROKER] = proxy.passed(TO_BROKER);
        played[TO_CLIENT] = proxy.passed(TO_CLIENT);
        EXPECT_TRUE(proxy.has_struck());
        proxy.release();
        if (cut_off) {
            proxy.reset();
        }
        settle();
        expect_delivery('1', false);
        EXPECT_LE(count(LOST), 1);
    }

    // The client comes back, and what is open comes to its end.
    void settle() {
        for (int turn = 0; turn < 20 && !is_settled(); turn++) {
            age_cache(30000);
            if (!round() && !is_settled()) {
                pass();
            }
        }
        EXPECT_TRUE(is_settled());
    }

    // Then everything is well again.
    void prosper() {
        happened.clear();
        play('2');
        EXPECT_TRUE(is_settled());
        expect_delivery('2', true);
        // Three messages, the two of a subscription, and five responses.
        EXPECT_EQ(happened.size(), 10u) << testing::PrintToString(happened);
        destroy();
    }

    long count(const std::string &part) const {
        return std::count_if(happened.begin(), happened.end(), [&](const std::string &event) {
            return event.find(part) != std::string::npos;
        });
    }

    model_broker model{*v};
    fault_proxy proxy{model};
    size_t played[2] = {};      // bytes of the first play
    std::set<int32_t> results;  // of all operations
    long connections = 0;
    happenings happened;

 private:
    void take_client() {
        proxy.accept();
        connections++;
        heard_ = 0;
    }

    // A payload is a letter, small from the client and great from the broker, and the suffix.
    void play(char suffix) {
        const auto attempt = [this](int32_t result) {
            results.insert(result);
            round();
            return result == 0;
        };
        attempt(subscribe());
        for (uint32_t qos = 0; qos <= 2; qos++) {
            const std::string payload = {char('c' + qos), suffix};
            accepted_[payload] = attempt(publish(qos, payload));
        }
        for (uint32_t qos = 0; qos <= 2; qos++) {
            model.publish(qos, {char('C' + qos), suffix});
            age(client->last_activity_ms, qos == 0 ? 30000 : 0);  // a ping goes out, too
            round();
        }
        attempt(unsubscribe());
        for (int turn = 0; turn < 20 && round(); turn++) {
        }
    }

    bool is_settled() const {
        return client->state == MQTT_CLIENT_CONNECTED && !proxy.ended() &&
               !zep_test::has_open_exchanges(*client) && !model.has_open_exchanges();
    }

    // QoS 0 at most once, QoS 1 at least once, QoS 2 once; undisturbed all of them once. What
    // publish refused has not gone out.
    void expect_delivery(char suffix, bool undisturbed) {
        for (uint32_t qos = 0; qos <= 2; qos++) {
            const std::string sent = {char('c' + qos), suffix}, heard = {char('C' + qos), suffix};
            const auto expect_times = [&](long times, bool accepted) {
                EXPECT_LE(times, !accepted ? 0 : qos == 1 && !undisturbed ? 3 : 1) << sent;
                EXPECT_GE(times, undisturbed || (accepted && qos > 0) ? 1 : 0) << sent;
            };
            expect_times(model.received(sent), accepted_[sent]);
            expect_times(count("[" + heard), true);
        }
    }

    std::map<std::string, bool> accepted_;  // what publish said, by payload
    size_t heard_ = 0;                      // bytes of this connection
};

}  // namespace zep_test
