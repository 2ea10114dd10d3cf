// Subscriptions, and many handles on one thread or a handle on two.
#include <atomic>
#include <chrono>
#include <thread>

#include "event_client/event_fixture.h"

using namespace zep_test;

FOR_BOTH_VERSIONS(event_subscriptions);

TEST_P(event_subscriptions, answers_are_told_and_granted_filters_come_back) {
    connect();
    const auto subscribe = [&](const char *filter, uint32_t qos) {
        return zep_mqtt_sdk_client_subscribe_to(handle, filter, qos, &token);
    };
    for (const char *filter : {"", "a#", "#/a", "a+", "+a/b", "a/#/b", "\xFF"}) {
        EXPECT_EQ(subscribe(filter, 0), ZEP_MQTT_SDK_ERR_PARAM) << filter;
    }
    EXPECT_EQ(subscribe("a", 3), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(subscribe("a/#", 1), ZEP_MQTT_SDK_OK);
    broker.expect(v->subscribe, 129);
    EXPECT_EQ(subscribe("+", 0), ZEP_MQTT_SDK_OK);
    broker.expect(is_50() ? "82 07 id 00 0001 '+' 00" : "82 06 id 0001 '+' 00", 130);
    hear(v->suback, 129, {"subscribed a/# 01"});
    hear(v->suback_failed, 130, {"subscribed + 80"});
    hear(v->suback, 130, {});
    lose_link();
    greet(connect_packet(), v->connack);
    broker.expect(v->subscribe, 131);
    expect_heard({connected()});
    hear(v->suback, 131, {"subscribed a/# 01"});

    EXPECT_EQ(zep_mqtt_sdk_client_unsubscribe_from(handle, "a/#", &token), ZEP_MQTT_SDK_OK);
    broker.expect(v->unsubscribe, 132);
    hear(v->unsuback, 132, {"unsubscribed a/# 00"});
    lose_link();
    greet(connect_packet(), v->connack);
    expect_heard({connected()});
    broker.expect_nothing();
}

TEST_P(event_subscriptions, unanswered_requests_go_out_again_and_are_bounded) {
    connect();
    EXPECT_EQ(zep_mqtt_sdk_client_subscribe_to(handle, "a/#", 1, nullptr), ZEP_MQTT_SDK_OK);
    broker.expect(v->subscribe, 129);
    lose_link();
    greet(connect_packet(), v->connack);
    broker.expect(v->subscribe, 129);
    expect_heard({connected()});
    hear(v->suback, 129, {"subscribed a/# 01"});
    for (int i = 1; i < 64; ++i) {
        const std::string filter = "f/" + std::to_string(i);
        EXPECT_EQ(zep_mqtt_sdk_client_subscribe_to(handle, filter.c_str(), 0, &token),
                  ZEP_MQTT_SDK_OK);
        (void)broker.take((is_50() ? 10u : 9u) + (i > 9 ? 1u : 0u));
    }
    EXPECT_EQ(zep_mqtt_sdk_client_subscribe_to(handle, "one/more", 0, nullptr),
              ZEP_MQTT_SDK_ERR_CACHE);
    EXPECT_EQ(zep_mqtt_sdk_client_cancel(handle, token), ZEP_MQTT_SDK_OK);
    turn();
    expect_heard({"unanswered f/63"});
    zep_mqtt_sdk_client_destroy(handle);
    handle = nullptr;
    journal rest;
    for (int i = 1; i < 63; ++i) {
        rest.push_back("unanswered f/" + std::to_string(i));
    }
    expect_heard(rest);
}

TEST_P(event_subscriptions, an_open_request_is_younger_than_what_was_granted) {
    connect();
    EXPECT_EQ(zep_mqtt_sdk_client_subscribe_to(handle, "a/#", 1, nullptr), ZEP_MQTT_SDK_OK);
    broker.expect(v->subscribe, 129);
    hear(v->suback, 129, {"subscribed a/# 01"});
    EXPECT_EQ(zep_mqtt_sdk_client_unsubscribe_from(handle, "a/#", nullptr), ZEP_MQTT_SDK_OK);
    broker.expect(v->unsubscribe, 130);
    lose_link();
    greet(connect_packet(), v->connack);
    expect_heard({connected()});
    broker.expect(v->unsubscribe, 130);
    broker.expect_nothing();
    hear(v->unsuback, 130, {"unsubscribed a/# 00"});
}

using event_loop = event_both;
INSTANTIATE_TEST_SUITE_P(, event_loop, testing::Values(&V311), event_version_name);

// Milliseconds that a call takes.
template <typename Call>
int64_t lasting(const Call &call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start)
        .count();
}

TEST_P(event_loop, a_wait_ends_by_bytes_by_time_or_by_another_thread) {
    connect();
    EXPECT_GE(lasting([&] { zep_mqtt_sdk_client_loop_for(handle, 60); }), 55);
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        broker.scripted_broker::send(v->publish0);
    });
    EXPECT_LT(lasting([&] { zep_mqtt_sdk_client_loop_for(handle, 5000); }), 2000);
    other.join();
    expect_heard({"message t [hi] qos=0"});
    other = std::thread([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        zep_mqtt_sdk_client_wake(handle);
    });
    EXPECT_LT(lasting([&] { zep_mqtt_sdk_client_loop_for(handle, 5000); }), 2000);
    other.join();
    zep_mqtt_sdk_client_wake(handle);  // nobody waits: it counts for the next wait
    EXPECT_LT(lasting([&] { zep_mqtt_sdk_client_loop_for(handle, 5000); }), 2000);
    EXPECT_GE(lasting([&] { zep_mqtt_sdk_client_loop_for(handle, 60); }), 55);
    // A message of another thread leaves at once, and its fate is told without delay.
    other = std::thread([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        zep_mqtt_sdk_msg msg = {"t", reinterpret_cast<const uint8_t *>("hi"), 2, 0, 0, 0};
        EXPECT_EQ(zep_mqtt_sdk_client_send(handle, &msg, nullptr), ZEP_MQTT_SDK_OK);
    });
    EXPECT_LT(lasting([&] { zep_mqtt_sdk_client_loop_for(handle, 5000); }), 2000);
    other.join();
    turn();
    broker.expect(v->publish0);
    expect_heard({"unnamed delivered"});
}

TEST_P(event_loop, one_wait_serves_many_and_a_callback_may_destroy_any_of_them) {
    connect();
    zep_mqtt_sdk_config other = config;
    other.client_id = "c2";
    static zep_mqtt_sdk_client *second;
    static int heard_by_second;
    heard_by_second = 0;
    zep_mqtt_sdk_listener listener = {};
    listener.size = sizeof listener;
    listener.link = [](zep_mqtt_sdk_client *, void *, const zep_mqtt_sdk_link_event *) {
        ++heard_by_second;
    };
    second = zep_mqtt_sdk_client_open(&other, &options, &listener, nullptr);
    zep_mqtt_sdk_client_connect(second);
    scripted_broker unused;
    zep_mqtt_sdk_client *all[] = {handle, nullptr, second};
    EXPECT_EQ(zep_mqtt_sdk_loop_all(all, 3, 1000), ZEP_MQTT_SDK_OK);
    EXPECT_EQ(zep_mqtt_sdk_client_get_conn_state(second), ZEP_MQTT_SDK_CONNECTING);
    EXPECT_GE(lasting([&] { zep_mqtt_sdk_loop_all(all, 3, 60); }), 55);
    in_message = [&](const zep_mqtt_sdk_inbound &) {
        EXPECT_EQ(zep_mqtt_sdk_loop_all(all, 3, 0), ZEP_MQTT_SDK_ERR_BUSY);
        zep_mqtt_sdk_client_destroy(second);
    };
    broker.send(v->publish0);
    EXPECT_EQ(zep_mqtt_sdk_loop_all(all, 3, 1000), ZEP_MQTT_SDK_OK);
    expect_heard({"message t [hi] qos=0"});
    in_message = nullptr;
    EXPECT_EQ(zep_mqtt_sdk_loop_all(all, 1, 0), ZEP_MQTT_SDK_OK);
    EXPECT_EQ(heard_by_second, 0);
    EXPECT_EQ(zep_mqtt_sdk_loop_all(nullptr, 1, 0), ZEP_MQTT_SDK_ERR_PARAM);
}

TEST_P(event_loop, a_message_of_another_thread_expires_in_time) {
    options.accept_offline = 1;
    open();
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        zep_mqtt_sdk_msg msg = {"t", nullptr, 0, 1, 0, 1};
        EXPECT_EQ(zep_mqtt_sdk_client_send(handle, &msg, nullptr), ZEP_MQTT_SDK_OK);
    });
    EXPECT_LT(lasting([&] {
                  zep_mqtt_sdk_client_loop_for(handle, 5000);
                  zep_mqtt_sdk_client_loop_for(handle, 5000);
              }),
              3000);
    other.join();
    expect_heard({"unnamed expired"});
}

TEST_P(event_loop, two_threads_may_publish_on_a_handle_that_is_served) {
    connect();
    std::atomic<uint32_t> fates = 0;
    in_fate = [&](const zep_mqtt_sdk_fate_event &) { ++fates; };
    constexpr uint32_t EACH = 2000;
    const auto publish = [&] {
        for (uint32_t i = 0; i < EACH;) {
            zep_mqtt_sdk_msg msg = {"t", reinterpret_cast<const uint8_t *>("hi"), 2, 0, 0, 0};
            i += zep_mqtt_sdk_client_send(handle, &msg, nullptr) == ZEP_MQTT_SDK_OK ? 1 : 0;
        }
    };
    std::thread reader([&] {
        for (uint32_t i = 0; i < 2 * EACH; ++i) {
            ASSERT_EQ(broker.take(7), lay(v->publish0));
        }
    });
    std::thread first(publish);
    std::thread second(publish);
    while (fates < 2 * EACH) {
        zep_mqtt_sdk_client_loop_for(handle, 1000);
    }
    first.join();
    second.join();
    reader.join();
    expect_heard(journal(2 * EACH, "unnamed delivered"));
}

TEST_P(event_loop, the_lines_of_a_handle_go_where_the_application_wants_them) {
    static std::vector<std::string> lines;
    lines.clear();
    agent_log_set_level(AGENT_LOG_INFO);
    agent_log_set_sink(
        [](void *, uint32_t, uint32_t, const char *message) { lines.push_back(message); }, nullptr);
    connect();
    agent_log_set_sink(nullptr, nullptr);
    agent_log_set_level(AGENT_LOG_FATAL);
    const journal expected = {
        "MQTT_EVENT: connecting to 127.0.0.1 port " + std::to_string(broker.port()),
        "MQTT_EVENT: connected, session present: 0, keep-alive: 60 s"};
    EXPECT_EQ(lines, expected);
}

TEST(event_resolve, finds_the_addresses_of_a_host) {
    zep_mqtt_sdk_address found[4] = {};
    ASSERT_GE(zep_mqtt_sdk_resolve("127.0.0.1", 1883, found, 4), 1);
    EXPECT_STREQ(found[0].text, "127.0.0.1");
    EXPECT_EQ(found[0].port, 1883);
    EXPECT_EQ(zep_mqtt_sdk_resolve("127.0.0.1", 0, found, 4), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(zep_mqtt_sdk_resolve("no such host", 1883, found, 4), 0);
}
