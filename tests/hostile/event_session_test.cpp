// An event-driven handle in the same world: whatever the wire does at whichever byte, and whichever
// allocation fails, every accepted message has one fate, and QoS 2 is delivered once.
#include <climits>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <thread>

#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt_sdk_event.h>

#include "hostile/model_broker.h"
#include "support/failing_malloc.h"

namespace {

using namespace zep_test;

class event_session_test : public testing::TestWithParam<const dialect *> {
 protected:
    void SetUp() override { agent_log_set_level(AGENT_LOG_FATAL); }

    bool open() {
        model = model_broker(*GetParam());
        zep_mqtt_sdk_config config = {};
        config.client_id = "c1";
        config.broker_host = "127.0.0.1";
        config.broker_port = proxy.port();
        config.mqtt_ver = GetParam() == &V50 ? ZEP_MQTT_SDK_VERSION_50 : ZEP_MQTT_SDK_VERSION_311;
        zep_mqtt_sdk_options options = {};
        options.size = sizeof options;
        options.first_backoff_ms = options.longest_backoff_ms = 1;
        options.resume_session = options.accept_offline = 1;
        zep_mqtt_sdk_listener listener = {};
        listener.size = sizeof listener;
        listener.message = [](zep_mqtt_sdk_client *, void *user,
                              const zep_mqtt_sdk_inbound *message) {
            of(user)
                .heard[std::string(message->payload, message->payload + message->payload_len)]++;
        };
        listener.fate = [](zep_mqtt_sdk_client *, void *user,
                           const zep_mqtt_sdk_fate_event *event) {
            EXPECT_EQ(event->fate, uint32_t{ZEP_MQTT_SDK_FATE_DELIVERED});
            EXPECT_EQ(of(user).open_tokens.erase(event->token), 1u);
        };
        handle = zep_mqtt_sdk_client_open(&config, &options, &listener, this);
        if (handle == nullptr) {
            return false;
        }
        EXPECT_EQ(zep_mqtt_sdk_client_connect(handle), ZEP_MQTT_SDK_OK);
        return true;
    }

    void turns(int count) {
        for (int i = 0; i < count; i++) {
            EXPECT_EQ(zep_mqtt_sdk_client_loop_for(handle, 0), ZEP_MQTT_SDK_OK);
            if (proxy.ended()) {
                (void)proxy.accept_within(1);
            }
            proxy.step();
        }
    }

    void publish(uint32_t qos, const std::string &payload) {
        zep_mqtt_sdk_token token = 0;
        const zep_mqtt_sdk_msg msg = {
            "t", reinterpret_cast<const uint8_t *>(payload.data()), 2, qos, 0, 0};
        accepted[payload] = zep_mqtt_sdk_client_send(handle, &msg, &token) == ZEP_MQTT_SDK_OK;
        if (accepted[payload]) {
            open_tokens.insert(token);
        }
    }

    // Messages of every QoS both ways, over a wire that does this to them.
    void play(const wire_fault &spoilt) {
        proxy.arm(spoilt);
        turns(3);
        (void)zep_mqtt_sdk_client_subscribe_to(handle, "a/#", 1, nullptr);
        for (uint32_t qos = 0; qos <= 2; qos++) {
            publish(qos, {char('c' + qos), '1'});
            turns(1);
            model.publish(qos, {char('C' + qos), '1'});
            turns(2);
        }
        turns(8);
        played[TO_BROKER] = proxy.passed(TO_BROKER);
        played[TO_CLIENT] = proxy.passed(TO_CLIENT);
        const bool broken = spoilt.kind == fault::drop || spoilt.kind == fault::half_close;
        proxy.release();
        if (broken && !proxy.ended()) {
            proxy.reset();
        }
    }

    void settle() {
        const uint64_t end = platform_get_tick_ms() + 5000;
        for (; !is_settled() && platform_get_tick_ms() < end; turns(1)) {
        }
        EXPECT_TRUE(is_settled());
        for (uint32_t qos = 0; qos <= 2; qos++) {
            const std::string sent = {char('c' + qos), '1'}, got = {char('C' + qos), '1'};
            const auto expect_times = [&](int times, bool owed, const std::string &name) {
                EXPECT_GE(times, owed && qos > 0 ? 1 : 0) << name;
                EXPECT_LE(times, qos == 1 ? 3 : 1) << name;
            };
            expect_times(model.received(sent), accepted[sent], sent);
            expect_times(heard[got], true, got);
            EXPECT_TRUE(accepted[sent] || model.received(sent) == 0) << sent;
        }
    }

    void close() {
        zep_mqtt_sdk_client_destroy(handle);
        EXPECT_TRUE(open_tokens.empty());
        proxy.step();
        heard.clear();
        accepted.clear();
    }

    bool is_settled() {
        return zep_mqtt_sdk_client_get_conn_state(handle) == ZEP_MQTT_SDK_CONNECTED &&
               !proxy.ended() && open_tokens.empty() && !model.has_open_exchanges();
    }

    void survive_at_every(fault kind, int steps = 0) {
        ASSERT_TRUE(open());
        play({});
        settle();
        close();
        const size_t length[] = {played[TO_BROKER], played[TO_CLIENT]};
        EXPECT_GT(length[TO_BROKER], 60u);
        for (const direction way : {TO_BROKER, TO_CLIENT}) {
            for (size_t at = 0; at <= length[way] && !HasFailure(); at++) {
                SCOPED_TRACE("direction " + std::to_string(way) + ", byte " + std::to_string(at));
                ASSERT_TRUE(open());
                play({kind, way, at, steps});
                EXPECT_TRUE(proxy.has_struck());
                settle();
                close();
            }
        }
    }

    static event_session_test &of(void *user) { return *static_cast<event_session_test *>(user); }

    model_broker model{*GetParam()};
    fault_proxy proxy{model};
    zep_mqtt_sdk_client *handle = nullptr;
    size_t played[2] = {};
    std::map<std::string, int> heard;
    std::map<std::string, bool> accepted;
    std::set<zep_mqtt_sdk_token> open_tokens;
};
INSTANTIATE_TEST_SUITE_P(, event_session_test, testing::Values(&V311, &V50),
                         [](const auto &tested) { return tested.param == &V50 ? "v50" : "v311"; });

TEST_P(event_session_test, survives_what_a_wire_does) {
    survive_at_every(fault::hold, 1);
    survive_at_every(fault::hold, 5);
    survive_at_every(fault::drop);
    survive_at_every(fault::half_close);
    survive_at_every(fault::reset);
}

TEST_P(event_session_test, survives_every_allocation_that_fails) {
    const int64_t blocks = blocks_held();
    bool failed = true;
    for (uint64_t fail_at = 0; failed && !HasFailure(); fail_at++) {
        SCOPED_TRACE(fail_at);
        {
            const failing_malloc starved(fail_at);
            if (open()) {
                play({fault::reset, TO_CLIENT, 40, 0});
                failed = starved.has_failed();
            }
        }
        if (handle != nullptr) {
            settle();
            close();
        }
        EXPECT_EQ(blocks_held(), blocks);
    }
}

}  // namespace
