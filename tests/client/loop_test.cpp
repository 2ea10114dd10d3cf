// What happens by the clock: keep-alive, reconnection, clean-up.
#include <chrono>
#include <thread>

#include <zep_mqtt/platform/clock.h>

#include "client/connection/client_state.h"
#include "support/client_fixture.h"
#include "support/socket_calls.h"

namespace {

using namespace zep_test;

FOR_BOTH_VERSIONS(loop_test);
class loop_311_test : public client_test {};

TEST_P(loop_test, a_ping_goes_out_half_an_interval_after_the_last_activity) {
    connect();
    age(client->last_activity_ms, 29000);
    pass();
    broker.expect_nothing();
    age(client->last_activity_ms, 1000);
    pass(2);
    broker.expect(PINGREQ);  // once
    broker.expect_nothing();
    // A SUBACK and a PINGRESP are activity, an UNSUBACK and what a publish brings are not.
    send_message(1, 1);
    struct {
        const char *packet;
        bool ping;
    } const cases[] = {{PUBACK, true}, {v->suback, false}, {v->unsuback, true}, {PINGRESP, false}};
    for (const auto &heard : cases) {
        age(client->last_activity_ms, 30000);
        broker.send(heard.packet, 1);
        pass();
        callbacks.take();
        if (heard.ping) {
            broker.expect(PINGREQ);
        }
        broker.expect_nothing();
    }
}

TEST_F(loop_311_test, no_keep_alive_sends_no_ping_and_a_dying_client_does_nothing) {
    connect();
    client->config.keep_alive = 0;
    age(client->last_activity_ms, 1u << 30);
    pass();
    client->alive = 0;
    EXPECT_EQ(mqtt_client_loop(client), MQTT_ERR_INVALID_PARAM);
}

TEST_P(loop_test, a_ping_that_cannot_be_sent_ends_the_connection) {
    connect();
    EXPECT_EQ(subscribe(), 0);
    broker.expect(v->subscribe, 1);
    break_sending();
    for (int i = 0; i < 3; i++) {
        broker.send(is_50() ? "30 80 08 0001 't' 00 78*1020" : "30 80 08 0001 't' 78*1021");
    }
    age(client->last_activity_ms, 30000);
    pass();
    EXPECT_EQ(callbacks.take().size(), 3u);  // more than one read: what had arrived is not lost
    expect_disconnected();
    EXPECT_EQ(identifiers_in_use(), 0u);
    expect_happened({});
    broker.expect_closed();
}

TEST_P(loop_test, a_client_comes_back_by_itself) {
    config.reconnect_interval_ms = 5000;
    connect();
    client->config.clean_start = 0;
    last_reconnect_tick = client->connect_tick_ms;
    disconnect();
    age(last_reconnect_tick, 4000);
    pass();
    broker.expect_no_connection();
    for (int attempt = 1; attempt <= 2; attempt++) {
        age(last_reconnect_tick, 5000);
        pass();
        broker.accept();
        broker.expect(v->connect);  // with a clean start
        hear(v->connack_refused, 0, {"CONNACK failed result=-4"});
        broker.expect_closed();
    }
    age(last_reconnect_tick, 5000);
    broker.stop_listening();
    pass(2);
    EXPECT_EQ(client->reconnect_count, 3u);  // counted, refused or not, until a CONNACK accepts
    expect_disconnected();
}

TEST_F(loop_311_test, clients_share_the_interval_between_attempts) {
    config.reconnect_interval_ms = 10000;
    create();
    mqtt_client *first = client;
    create();
    last_reconnect_tick = client->last_activity_ms;
    age(last_reconnect_tick, 10000);
    for (mqtt_client *each : {first, client, first, client}) {
        EXPECT_EQ(mqtt_client_loop(each), 0);
    }
    EXPECT_EQ(first->reconnect_count, 1u);
    EXPECT_EQ(client->reconnect_count, 0u);
    mqtt_client_destroy(first);
    broker.accept();
    broker.expect("10 0e 0004 'MQTT' 04 02 003c 0002 'c1' e0 00");
    broker.expect_closed();
}

// Many clients that wait for their turn to reconnect, each counted by its attempts.
class turn_test : public client_test {
 protected:
    turn_test() { log_is_recorded = false; }  // the attempts are counted
    ~turn_test() override {
        for (mqtt_client *each : waiting) {
            mqtt_client_destroy(each);
        }
    }
    void SetUp() override {
        client_test::SetUp();
        broker.stop_listening();
        last_reconnect_tick = static_cast<uint32_t>(platform_get_tick_ms());
    }
    void add(uint32_t interval_ms = 1000) {
        config.reconnect_interval_ms = interval_ms;
        create();
        waiting.push_back(std::exchange(client, nullptr));
    }
    // Every client is looped once, in this order, and so much time goes by.
    void round(uint32_t passing_ms, const std::vector<size_t> &order) {
        age(last_reconnect_tick, passing_ms);
        for (const size_t at : order) {
            EXPECT_EQ(mqtt_client_loop(waiting[at]), 0);
        }
    }
    std::vector<uint32_t> attempts() const {
        std::vector<uint32_t> counts;
        for (const mqtt_client *each : waiting) {
            counts.push_back(each->reconnect_count);
        }
        return counts;
    }
    std::vector<mqtt_client *> waiting;
};

TEST_F(turn_test, goes_round) {
    add(), add(), add();
    for (int i = 0; i < 6; i++) {
        round(1000, {0, 1, 2});
    }
    EXPECT_EQ(attempts(), (std::vector<uint32_t>{2, 2, 2}));
    round(500, {0, 1, 2});  // and never sooner than the interval allows
    EXPECT_EQ(attempts(), (std::vector<uint32_t>{2, 2, 2}));
}

TEST_F(turn_test, passes_by_who_is_gone) {
    add(), add(), add();
    round(1000, {0, 1, 2});
    mqtt_client_destroy(waiting[1]);
    waiting.erase(waiting.begin() + 1);
    EXPECT_EQ(attempts(), (std::vector<uint32_t>{1, 0}));
    for (int i = 0; i < 3; i++) {
        round(1000, {0, 1});
    }
    EXPECT_EQ(attempts(), (std::vector<uint32_t>{2, 2}));
    // The second one, whose turn it is, is not looped any more.
    round(1000, {0, 1});
    round(1000, {0});
    EXPECT_EQ(attempts(), (std::vector<uint32_t>{3, 2}));
    age(zep::state_of(*waiting[1]).reconnect.asked_ms, 10000);
    round(0, {0});
    EXPECT_EQ(attempts(), (std::vector<uint32_t>{4, 2}));
}

TEST_F(turn_test, comes_for_longer_intervals_too) {
    add(), add(5000), add(UINT32_MAX);  // the last one is never to reconnect
    for (int second = 0; second < 13; second++) {
        round(1000, {0, 1, 2});
    }
    EXPECT_EQ(attempts(), (std::vector<uint32_t>{3, 2, 0}));
}

TEST_F(turn_test, comes_after_the_whole_attempt_before) {
    using namespace std::chrono_literals;
    config.reconnect_interval_ms = 200;
    add(200), add(200);
    let_connects_take(300ms);
    round(200, {0, 1});
    EXPECT_EQ(attempts(), (std::vector<uint32_t>{1, 0}));
    let_connects_take(0ms);
    std::this_thread::sleep_for(200ms);
    round(0, {0, 1});
    EXPECT_EQ(attempts(), (std::vector<uint32_t>{1, 1}));
}

TEST_P(loop_test, every_fiftieth_pass_expires_old_messages) {
    connect();
    EXPECT_EQ(client->clean_tick, 10u);  // one pass since the CONNECT
    send_message(1, 1);
    send_message(2, 2);
    disconnect();
    age_cache(300001);
    pass(48);
    EXPECT_EQ(identifiers_in_use(), 2u);
    pass();
    EXPECT_EQ(identifiers_in_use(), 0u);
    EXPECT_EQ(messages_cached(), 0u);
    EXPECT_EQ(client->clean_tick, 0u);
}

}  // namespace
