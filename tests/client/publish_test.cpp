// Messages on their way out: the exchanges of each QoS, their repetition, and what holds an
// identifier for how long.
#include <set>

#include "support/client_fixture.h"

namespace {

using namespace zep_test;

FOR_BOTH_VERSIONS(publish_test);
class publish_311_test : public client_test {};
class publish_50_test : public client_test {
 protected:
    publish_50_test() : client_test(V50) {}

    // Sends 'hi' on 't' again, under the identifier that it had.
    int32_t publish_again(uint32_t qos, uint16_t id) {
        static constexpr uint8_t PAYLOAD[] = {'h', 'i'};
        mqtt50_message msg = {};
        msg.topic = "t";
        msg.payload = PAYLOAD;
        msg.payload_len = sizeof PAYLOAD;
        msg.qos = qos;
        msg.is_dup = 1;
        msg.dup_msg_id = id;
        return mqtt_client_publish50(client, &msg);
    }
};

TEST_P(publish_test, each_qos_has_its_exchange) {
    connect();
    send_message(0, 0);
    send_message(1, 1);
    EXPECT_EQ(messages_cached(), 1u);
    hear(PUBACK, 1, {"PUBACK ok id=1"});
    EXPECT_EQ(messages_cached(), 0u);
    send_message(2, 1);
    // What is out of turn only warns.
    hear(PUBCOMP, 1, {"QOS2 ok id=1"});
    hear(PUBACK, 1, {"PUBACK ok id=1"});
    hear(PUBREC, 9, {"QOS2 ok id=9"});
    hear(PUBACK, 200, {"PUBACK ok id=200"});
    broker.expect_nothing();
    hear(PUBREC, 1, {"QOS2 ok id=1"});
    hear(PUBREC, 1, {"QOS2 ok id=1"});
    broker.expect(PUBREL, 1);
    broker.expect_nothing();
    hear(PUBCOMP, 1, {"QOS2 ok id=1"});
    EXPECT_EQ(messages_cached(), 0u);
    EXPECT_EQ(identifiers_in_use(), 0u);
}

TEST_P(publish_test, what_cannot_be_sent_is_refused) {
    create();
    EXPECT_EQ(publish(1), is_50() ? MQTT_ERR_INTERNAL : MQTT_ERR_INVALID_PARAM);
    connect();
    struct {
        std::string topic;
        uint32_t qos;
        size_t payload;
        int32_t v311, v50;
    } const cases[] = {
        {"", 1, 2, -101, -101},     {std::string(65, 't'), 1, 2, -101, -101},
        {"t", 3, 2, -102, -102},    {"t", 1, 1025, -101, -114},
        {"t", 0, 1025, -101, -114},
    };
    for (const auto &refused : cases) {
        EXPECT_EQ(publish(refused.qos, std::string(refused.payload, 'x'), refused.topic.c_str()),
                  is_50() ? refused.v50 : refused.v311);
    }
    EXPECT_EQ(publish(0, "hi", nullptr), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(client->busy, 0u);
    EXPECT_EQ(identifiers_in_use(), 0u);
    EXPECT_EQ(publish(0, "x", std::string(64, 't').c_str()), 0);
    broker.expect(is_50() ? "30 44 0040 74*64 00 'x'" : "30 43 0040 74*64 'x'");
    // Only 3.1.1 looks into the topic.
    EXPECT_EQ(publish(1, "hi", "a/+"), is_50() ? 0 : MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(publish(0, "hi", "a/+"), is_50() ? 0 : MQTT_ERR_UTF8_INVALID);
    broker.expect(is_50() ? "32 0a 0003 'a/+' 0001 00 'hi' 30 08 0003 'a/+' 00 'hi'" : "");
}

TEST_P(publish_test, a_failed_send_keeps_neither_message_nor_identifier) {
    connect();
    send_message(1, 1);
    send_message(2, 2);
    age_cache(2000);
    break_sending();
    for (const int32_t result : {publish(0), publish(1), publish(2), subscribe(), unsubscribe()}) {
        EXPECT_EQ(result, MQTT_ERR_INTERNAL);
    }
    EXPECT_EQ(messages_cached(), 2u);
    EXPECT_EQ(identifiers_in_use(), 2u);
    pass(2);
    // It is what the broker does that decides about the connection; the messages outlive it.
    EXPECT_EQ(client->state, MQTT_CLIENT_CONNECTED);
    broker.expect_closed();
    pass(2);
    expect_happened({"DISCONNECT failed result=-4"});
    age_cache(4000);
    connect();
    pass();
    broker.expect(v->publish1_dup, 1);
    broker.expect(v->publish2_dup, 2);
    hear(PUBACK, 1, {"PUBACK ok id=1"});
}

TEST_P(publish_test, identifiers_run_out_and_come_back) {
    connect();
    agent_log_set_level(AGENT_LOG_WARN);
    // The caches of 3.1.1 hold 100 and 50 messages; 5.0 sends beyond them.
    for (const int qos1 : {100, is_50() ? 128 : 100, is_50() ? 0 : 100}) {
        std::set<unsigned> ids;
        bytes pubrecs, pubrels, ends;
        const auto append = [](bytes &stream, const char *packet, unsigned id) {
            stream = joined({stream, lay(packet, id)});
        };
        for (int i = 0; i < 128; i++) {
            ASSERT_EQ(publish(i < qos1 ? 1 : 2), 0);
            const unsigned id = broker.take(lay(v->publish1).size()).at(6);
            ids.insert(id);
            append(ends, i < qos1 ? PUBACK : PUBCOMP, id);
            if (i >= qos1) {
                append(pubrecs, PUBREC, id);
                append(pubrels, PUBREL, id);
            }
        }
        EXPECT_EQ(ids.size(), 128u);
        for (const int32_t result : {publish(1), subscribe(), unsubscribe()}) {
            EXPECT_EQ(result, MQTT_ERR_PACKET_ID_EXHAUSTED);
        }
        broker.send(pubrecs);
        pass();
        broker.expect(pubrels);
        broker.send(ends);
        pass();
        EXPECT_EQ(identifiers_in_use(), 0u);
        EXPECT_EQ(callbacks.take().size(), 256u - static_cast<unsigned>(qos1));
    }
}

TEST_P(publish_test, an_unacknowledged_message_is_repeated_and_given_up) {
    connect();
    send_message(1, 1);
    send_message(2, 2);
    for (const uint32_t wait_ms : {2000u, 4000u, 8000u}) {
        age_cache(wait_ms - 1000);
        pass();
        broker.expect_nothing();
        age_cache(1000);
        pass(2);  // the second may have to wait for a pass in which there is room
        broker.expect(v->publish1_dup, 1);
        broker.expect(v->publish2_dup, 2);
    }
    hear(PUBREC, 2, {"QOS2 ok id=2"});
    broker.expect(PUBREL, 2);
    age_cache(16000);
    pass();
    broker.expect(v->pubrel_again, 2);
    EXPECT_EQ(client->session.qos1_count, 0u);
    EXPECT_EQ(identifiers_in_use(), 1u);
}

// The broker may still hold a QoS 2 identifier whose exchange was given up: until the connection
// ends it would take a new message under it for a repetition.
TEST_P(publish_test, a_given_up_qos2_identifier_rests_until_the_connection_has_ended) {
    connect();
    send_message(2, 1);
    for (const uint32_t wait_ms : {2000u, 4000u, 8000u}) {
        age_cache(wait_ms);
        pass();
        broker.expect(v->publish2_dup, 1);
    }
    age_cache(16000);
    pass();
    EXPECT_EQ(messages_cached(), 0u);
    agent_log_set_level(AGENT_LOG_WARN);
    for (unsigned id = 2; id <= 128; id++) {
        send_message(id <= 101 ? 1 : 2, id);
    }
    EXPECT_EQ(publish(1), MQTT_ERR_PACKET_ID_EXHAUSTED);
    // Nothing that the broker says about it now changes that.
    hear(PUBREC, 1, {"QOS2 ok id=1"});
    hear(PUBCOMP, 1, {"QOS2 ok id=1"});
    hear(v->suback, 1, {"message  [01] qos=1 id=1", "SUBACK ok id=1"});
    broker.expect_nothing();
    EXPECT_EQ(identifiers_in_use(), 128u);
    disconnect();
    EXPECT_EQ(identifiers_in_use(), 127u);
}

TEST_P(publish_test, due_messages_leave_together_as_far_as_they_fit) {
    connect();
    const std::string rest = is_50() ? "96 03 0001 't' id 00 78*400" : "95 03 0001 't' id 78*400";
    const std::string large = is_50() ? "8a 07 0001 't' id 00 78*900" : "89 07 0001 't' id 78*900";
    for (unsigned id = 1; id <= 4; id++) {
        EXPECT_EQ(id < 4 ? publish(1, std::string(400, 'x')) : publish(2, std::string(900, 'x')),
                  0);
        broker.expect(id < 4 ? "32" + rest : "34" + large, id);
    }
    age_cache(2000);
    // Whole packets up to 1024 bytes, the newest first; QoS 2 gets no more than QoS 1 has used.
    for (const std::vector<unsigned> &ids : {std::vector{3u, 2u}, {1u}, {4u}}) {
        pass();
        for (const unsigned id : ids) {
            broker.expect(id < 4 ? "3a" + rest : "3c" + large, id);
        }
        broker.expect_nothing();
    }
    EXPECT_EQ(logged("[DEBUG] MQTT_CLIENT: QoS1重传2条消息"), 1);
    EXPECT_EQ(logged("[ERROR]"), 0);  // what does not fit just waits
}

TEST_P(publish_test, the_payload_is_protected_every_time_it_goes_out) {
    turn_cipher_on();
    connect();
    const std::string rest =
        is_50() ? "0a 0001 't' id 00 69 6b 6e 0f" : "09 0001 't' id 69 6b 6e 0f";
    EXPECT_EQ(publish(1), 0);
    EXPECT_EQ(publish(2), 0);
    broker.expect("32" + rest, 1);
    broker.expect("34" + rest, 2);
    age_cache(2000);
    pass(2);
    broker.expect("3a" + rest, 1);
    broker.expect("3c" + rest, 2);

    // 1022 bytes and the check value are the most that the cipher takes.
    EXPECT_EQ(publish(1, std::string(1023, 'x')), MQTT_ERR_CRYPTO);
    EXPECT_EQ(messages_cached(), 2u);
    EXPECT_EQ(identifiers_in_use(), 2u);
    EXPECT_EQ(client->busy, 0u);
}

TEST_P(publish_test, callbacks_may_not_start_another_operation) {
    connect();
    callbacks.in_next_message = [&] {
        for (const int32_t result : {publish(0), subscribe(), unsubscribe()}) {
            EXPECT_EQ(result, is_50() ? MQTT_ERR_INTERNAL : MQTT_ERR_BUSY);
        }
        EXPECT_EQ(mqtt_client_loop(client), MQTT_ERR_BUSY);
        EXPECT_EQ(client->op_type, MQTT_CLIENT_OP_LOOP);
    };
    hear(v->publish0, 0, {"message t [hi] qos=0"});
    broker.expect_nothing();
    send_message(0, 0);
}

TEST_F(publish_311_test, a_refused_message_leaves_no_trace) {
    connect();
    // 1025 bytes in one packet; a transmission holds 1024.
    EXPECT_EQ(publish(1, std::string(1017, 'x')), MQTT_ERR_INTERNAL);
    EXPECT_EQ(identifiers_in_use() + messages_cached(), 0u);
    agent_log_set_level(AGENT_LOG_WARN);
    for (unsigned id = 1; id <= 100; id++) {
        send_message(1, id);
    }
    EXPECT_EQ(publish(1), MQTT_ERR_CACHE_FULL);
    EXPECT_EQ(identifiers_in_use(), 100u);
}

TEST_F(publish_50_test, a_message_sent_again_keeps_its_identifier_when_its_first_entry_makes_room) {
    connect();
    agent_log_set_level(AGENT_LOG_WARN);
    for (unsigned id = 1; id <= 100; id++) {
        send_message(1, id);
    }
    age_cache(5001);
    EXPECT_EQ(publish_again(1, 42), 0);
    broker.expect(v->publish1_dup, 42);
    EXPECT_EQ(messages_cached(), 1u);
    std::set<unsigned> ids = {42};
    for (int i = 0; i < 127; i++) {
        ASSERT_EQ(publish(1), 0);
        ids.insert(broker.take(lay(v->publish1).size()).at(6));
    }
    EXPECT_EQ(ids.size(), 128u);
    EXPECT_EQ(publish(1), MQTT_ERR_PACKET_ID_EXHAUSTED);
}

TEST_F(publish_50_test, qos2_messages_that_make_room_leave_their_identifiers_resting) {
    connect();
    agent_log_set_level(AGENT_LOG_WARN);
    for (unsigned id = 1; id <= 50; id++) {
        send_message(2, id);
    }
    age_cache(5001);
    send_message(2, 51);
    EXPECT_EQ(messages_cached(), 1u);
    EXPECT_EQ(identifiers_in_use(), 51u);
    // Sending one of them again brings its exchange to an end after all.
    EXPECT_EQ(publish_again(2, 7), 0);
    broker.expect(v->publish2_dup, 7);
    hear(PUBREC, 7, {"QOS2 ok id=7"});
    broker.expect(PUBREL, 7);
    hear(PUBCOMP, 7, {"QOS2 ok id=7"});
    EXPECT_EQ(identifiers_in_use(), 50u);
    disconnect();
    EXPECT_EQ(identifiers_in_use(), 1u) << "of the message that is still cached";
}

}  // namespace
