// Clients of different threads do not know of each other.
#include <thread>

#include "support/client_fixture.h"

namespace {

using namespace zep_test;

// One client against its own broker, from creation to destruction, on the calling thread.
void run_session(const dialect &v, int number) {
    scripted_broker broker;
    callback_recorder callbacks;
    const std::string name = "c" + std::to_string(number);
    zep_mqtt_sdk_config config = {};
    config.client_id = name.c_str();
    config.broker_host = "127.0.0.1";
    config.broker_port = broker.port();
    config.clean_start = 1;
    config.keep_alive = 60;
    config.reconnect_interval_ms = UINT32_MAX;
    config.mqtt_ver = v.version == 5 ? 1 : 0;
    zep_mqtt_sdk_client *client = zep_mqtt_sdk_client_create(
        &config, callback_recorder::public_message, callback_recorder::response);
    ASSERT_NE(client, nullptr);
    const auto pass_until = [&](size_t events) {
        happenings happened;
        for (int passes = 0; happened.size() < events && passes < 100; passes++) {
            EXPECT_EQ(zep_mqtt_sdk_client_loop(client), 0);
            for (const std::string &event : callbacks.take()) {
                happened.push_back(event);
            }
        }
        return happened;
    };
    const std::string filter = "f" + std::to_string(number);
    const zep_mqtt_sdk_msg msg = {"t", reinterpret_cast<const uint8_t *>("hi"), 2, 1, 0, 0};
    for (int connection = 0; connection < 5; connection++) {
        EXPECT_EQ(zep_mqtt_sdk_client_connect(client), 0);
        broker.accept();
        broker.take(lay(v.connect).size() + (v.version == 5 ? 5 : 0));
        broker.send(v.connack);
        EXPECT_EQ(pass_until(1), happenings{"CONNACK ok"});
        EXPECT_EQ(zep_mqtt_sdk_client_subscribe(client, filter.c_str(), 0, nullptr), 0);
        broker.take(lay(v.subscribe).size() - 1);
        EXPECT_EQ(zep_mqtt_sdk_client_unsubscribe(client, filter.c_str(), nullptr), 0);
        broker.take(lay(v.unsubscribe).size() - 1);
        for (int round = 0; round < 20; round++) {
            EXPECT_EQ(zep_mqtt_sdk_client_publish(client, &msg), 0);
            const unsigned id = broker.take(lay(v.publish1).size()).at(6);
            broker.send(PUBACK, id);
            broker.send(v.publish2, 7);
            broker.send(PUBREL, 7);
            EXPECT_EQ(pass_until(2),
                      (happenings{"PUBACK ok id=" + std::to_string(id), "message t [hi] qos=2"}));
            zep_mqtt_sdk_client_loop(client);
            broker.expect(PUBREC, 7);
            broker.expect(PUBCOMP, 7);
        }
        EXPECT_EQ(zep_mqtt_sdk_client_disconnect(client), 0);
        broker.expect(v.disconnect);
        broker.expect_closed();
    }
    zep_mqtt_sdk_client_destroy(client);
}

TEST(threads_test, clients_of_four_threads_work_at_the_same_time) {
    log_book quiet;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; number++) {
        threads.emplace_back([number] { run_session(number % 2 == 0 ? V311 : V50, number); });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    const std::string &lines = quiet.stop();
    if (HasFailure()) {
        std::printf("%s", lines.c_str());
    }
}

}  // namespace
