// Calls on one client that two threads make at the same time: one is made, the other turned away.
#include <atomic>
#include <chrono>
#include <thread>

#include "support/client_fixture.h"

namespace {

using namespace zep_test;
using std::chrono::steady_clock;

FOR_BOTH_VERSIONS(overlap_test);

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
