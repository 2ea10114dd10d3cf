// The library against mosquitto, through the public interface: what 3.1.1 and 5.0 have in common.
#include <algorithm>

#include "broker_fixture.h"

namespace {

using namespace zep_broker_test;

class both_versions : public broker_test, public testing::WithParamInterface<version> {
 protected:
    zep_mqtt_sdk_config config(const char *id, const mosquitto &broker) const {
        return client_config(id, broker.port(), GetParam());
    }
};

INSTANTIATE_TEST_SUITE_P(mqtt, both_versions, testing::Values(version::v311, version::v50),
                         [](const auto &instance) {
                             return instance.param == version::v311 ? "v311" : "v50";
                         });

TEST_P(both_versions, every_qos_both_ways) {
    mosquitto broker;
    client alice(config("alice", broker));
    client bob(config("bob", broker));
    ASSERT_TRUE(connect_and_wait(alice));
    ASSERT_TRUE(connect_and_wait(bob));
    for (uint32_t granted = 0; granted < 3; granted++) {
        ASSERT_TRUE(subscribe_and_wait(bob, "to/bob", granted));
        ASSERT_TRUE(subscribe_and_wait(alice, "to/alice", granted));
        for (uint32_t sent = 0; sent < 3; sent++) {
            const std::string text = std::to_string(sent) + " under " + std::to_string(granted);
            const uint32_t received = std::min(sent, granted);
            ASSERT_TRUE(publish_and_wait(alice, "to/bob", text, sent));
            expect_message(bob, {"to/bob", text, received, false});
            ASSERT_TRUE(publish_and_wait(bob, "to/alice", text, sent));
            expect_message(alice, {"to/alice", text, received, false});
        }
    }
}

TEST_P(both_versions, a_burst_of_a_thousand_messages) {
    constexpr size_t COUNT = 1000;
    mosquitto broker("max_queued_messages 0\nmax_inflight_messages 0\n");  // no limits of its own
    agent_log_set_level(AGENT_LOG_FATAL);  // a full cache is reported, and is the point here
    client writer(config("writer", broker));
    client reader(config("reader", broker));
    ASSERT_TRUE(connect_and_wait(writer));
    ASSERT_TRUE(connect_and_wait(reader));
    ASSERT_TRUE(subscribe_and_wait(reader, "burst", 2));
    for (uint32_t qos = 0; qos < 3; qos++) {
        const size_t before = reader.messages().size();
        for (size_t i = 0; i < COUNT; i++) {
            ASSERT_TRUE(loop_until({&writer, &reader}, [&] {
                return writer.publish("burst", std::to_string(i), qos) == ZEP_MQTT_SDK_OK;
            })) << i;
        }
        EXPECT_TRUE(loop_until({&writer, &reader},
                               [&] { return reader.messages().size() >= before + COUNT; }));
        ASSERT_EQ(before + COUNT, reader.messages().size()) << "at QoS " << qos;
        for (size_t i = 0; i < COUNT; i++) {
            ASSERT_EQ(std::to_string(i), reader.messages()[before + i].payload);
        }
    }
    EXPECT_TRUE(loop_until({&writer}, [&] {
        return writer.responses(MQTT_RESP_PUBACK) == COUNT &&
               writer.responses(MQTT_RESP_QOS2) == 2 * COUNT;
    }));
}

TEST_P(both_versions, the_will_of_a_client_that_is_cut_off) {
    mosquitto broker;
    const std::string last_words = "gone";
    zep_mqtt_sdk_config mortal = config("mortal", broker);
    mortal.will_flag = 1;
    mortal.will_topic = "wills/mortal";
    mortal.will_payload = reinterpret_cast<const uint8_t *>(last_words.data());
    mortal.will_payload_len = static_cast<uint32_t>(last_words.size());
    mortal.will_qos = 2;
    mortal.will_retain = 1;
    client heir(config("heir", broker));
    ASSERT_TRUE(connect_and_wait(heir));
    ASSERT_TRUE(subscribe_and_wait(heir, "#", 2));
    client polite(mortal);
    ASSERT_TRUE(connect_and_wait(polite));
    polite.disconnect();
    ASSERT_TRUE(publish_and_wait(heir, "later", "no will came before this", 1));
    expect_message(heir, {"later", "no will came before this", 1, false});
    EXPECT_EQ(1U, heir.messages().size());

    client first(mortal);
    ASSERT_TRUE(connect_and_wait(first));
    client second(config("mortal", broker));  // the broker cuts the other one off
    ASSERT_TRUE(connect_and_wait(second));
    expect_message(heir, {"wills/mortal", last_words, 2, false});
    EXPECT_TRUE(loop_until({&first}, [&] { return first.responses(MQTT_RESP_DISCONNECT) == 1; }));

    client late(config("late", broker));
    ASSERT_TRUE(connect_and_wait(late));
    ASSERT_TRUE(subscribe_and_wait(late, "wills/#", 2));
    expect_message(late, {"wills/mortal", last_words, 2, true});
}

TEST_P(both_versions, credentials) {
    mosquitto broker("joe", "secret");
    const struct {
        const char *username;
        const char *password;
        bool accepted;
    } cases[] = {{"joe", "secret", true}, {"joe", "guess", false}, {nullptr, nullptr, false}};
    for (const auto &each : cases) {
        zep_mqtt_sdk_config guest = config("guest", broker);
        guest.username = each.username;
        guest.password = each.password;
        client who(guest);
        EXPECT_EQ(each.accepted, connect_and_wait(who));
        ASSERT_EQ(1U, who.responses().size());
        const mqtt_broker_resp &answer = who.responses().front();
        EXPECT_EQ(MQTT_RESP_CONNACK, answer.resp_type);
        EXPECT_EQ(each.accepted, answer.success == 1);
        EXPECT_EQ(each.accepted ? 0 : MQTT_RESP_RESULT_LINK, answer.result);
    }
}

// What is published while the broker is away arrives when it is back, on a link that the loop has
// made again by itself.
TEST_P(both_versions, a_broker_that_crashes_or_is_restarted) {
    for (const auto lose : {&mosquitto::kill, &mosquitto::stop}) {
        mosquitto broker;
        client writer(config("writer", broker));
        client reader(config("reader", broker));
        ASSERT_TRUE(connect_and_wait(writer));
        ASSERT_TRUE(connect_and_wait(reader));
        (broker.*lose)();
        ASSERT_EQ(ZEP_MQTT_SDK_OK, writer.publish("news", "not lost", 1));
        ASSERT_TRUE(loop_until({&writer, &reader}, [&] {
            return writer.responses(MQTT_RESP_DISCONNECT) == 1 &&
                   reader.responses(MQTT_RESP_DISCONNECT) == 1;
        }));
        EXPECT_FALSE(writer.connected());
        broker.start();
        ASSERT_TRUE(loop_until({&writer, &reader},
                               [&] { return writer.connected() && reader.connected(); }));
        ASSERT_TRUE(subscribe_and_wait(reader, "news", 1));
        EXPECT_TRUE(loop_until({&writer}, [&] { return writer.responses(MQTT_RESP_PUBACK) == 1; }));
        expect_message(reader, {"news", "not lost", 1, false});
    }
}

}  // namespace
