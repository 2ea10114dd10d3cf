// Calls on one client that two threads make at the same time: one is made, the other turned away.
#include <atomic>
#include <chrono>
#include <thread>

#include "support/client_fixture.h"

namespace {

using namespace zep_test;
using std::chrono::steady_clock;

FOR_BOTH_VERSIONS(overlap_test);

// Clients of several threads that wait for their turn to reconnect, come and go.
TEST_P(overlap_test, of_many_threads_every_client_gets_its_turn) {
    agent_log_set_level(AGENT_LOG_FATAL);
    broker.stop_listening();
    config.reconnect_interval_ms = 1;
    std::atomic<int> satisfied{0};
    const auto end = steady_clock::now() + std::chrono::seconds(10);
    const auto reconnect_often = [&] {
        for (int lives = 0; lives < 3; lives++) {
            mqtt_client *each =
                mqtt_client_create(&config, callback_recorder::core_message, nullptr, nullptr);
            while (each->reconnect_count < 20 && steady_clock::now() < end) {
                EXPECT_EQ(mqtt_client_loop(each), 0);
                std::this_thread::yield();
            }
            satisfied += each->reconnect_count >= 20;
            mqtt_client_destroy(each);
        }
    };
    std::thread first(reconnect_often), second(reconnect_often), third(reconnect_often);
    first.join();
    second.join();
    third.join();
    EXPECT_EQ(satisfied, 9);
}

TEST_P(overlap_test, of_two_calls_one_is_turned_away) {
    agent_log_set_level(AGENT_LOG_FATAL);
    connect();
    zep_mqtt_sdk_client shared = handle();
    const uint8_t payload[] = {'h', 'i'};
    const zep_mqtt_sdk_msg message = {"t", payload, sizeof payload, 0, 0, 0};
    std::atomic<int> published{0}, refused{0}, unexpected{0};
    const auto end = steady_clock::now() + std::chrono::seconds(10);
    const auto publish_on = [&](int most) {
        while ((published < most || refused < most) && steady_clock::now() < end) {
            const int32_t result = zep_mqtt_sdk_client_publish(&shared, &message);
            (result == 0 ? published : result == ZEP_MQTT_SDK_ERR_UNKNOWN ? refused : unexpected)++;
            // Lets the others have their turn.
            std::this_thread::sleep_for(std::chrono::microseconds(10));
        }
    };
    std::thread first(publish_on, 100), second(publish_on, 100);
    while ((published < 100 || refused < 100) && steady_clock::now() < end) {
        (void)zep_mqtt_sdk_client_loop(&shared);
        std::this_thread::yield();
    }
    first.join();
    second.join();
    EXPECT_GE(published, 100);
    EXPECT_GE(refused, 100);
    EXPECT_EQ(unexpected, 0);
    EXPECT_EQ(client->busy, 0u);
    // What went out is whole.
    for (int i = 0; i < published; i++) {
        broker.expect(v->publish0);
    }
    pass();
}

}  // namespace
