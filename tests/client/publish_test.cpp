// Messages on their way out: the exchanges of each QoS, their repetition, and what holds an
// identifier for how long.
#include <set>

#include "support/client_fixture.h"

namespace {

using namespace zep_test;

FOR_BOTH_VERSIONS(publish_test);
class publish_311_test : public client_test {};

TEST_P(publish_test, each_qos_has_its_exchange) {
    connect();
    EXPECT_EQ(publish(0), 0);
    broker.expect(v->publish0);

    EXPECT_EQ(publish(1), 0);
    broker.expect(v->publish1, 1);
    EXPECT_EQ(client->session.qos1_count, 1u);
    broker.send(PUBACK, 1);
    pass();
    expect_happened({"PUBACK ok id=1"});
    EXPECT_EQ(client->session.qos1_count, 0u);
    expect_log("[DEBUG] MQTT_CLIENT: QoS1 PUBACK处理成功（pkt_id：1）");

    EXPECT_EQ(publish(2), 0);
    broker.expect(v->publish2, 1);
    broker.send(PUBREC, 1);
    pass();
    broker.expect(PUBREL, 1);
    expect_log("[DEBUG] MQTT_CLIENT: QoS2 PUBREL发送成功（pkt_id：1）");
    broker.send(PUBCOMP, 1);
    pass();
    expect_happened({"QOS2 ok id=1", "QOS2 ok id=1"});
    expect_log("[DEBUG] MQTT_CLIENT: QoS2 PUBCOMP处理成功（pkt_id：1）");
    EXPECT_EQ(client->session.qos2_count, 0u);
    EXPECT_EQ(identifiers_in_use(), 0u);
}

TEST_P(publish_test, an_acknowledgement_out_of_turn_only_warns) {
    connect();
    EXPECT_EQ(publish(2), 0);
    broker.expect(v->publish2, 1);
    broker.send(PUBCOMP, 1);  // still in wait for PUBREC
    broker.send(PUBREC, 9);   // never published
    broker.send(PUBACK, 200);
    pass();
    broker.expect_nothing();
    expect_happened({"QOS2 ok id=1", "QOS2 ok id=9", "PUBACK ok id=200"});
    expect_log("[WARN] MQTT_CLIENT: QoS2 ACK处理失败（未找到缓存，pkt_id：1）");
    expect_log("[WARN] MQTT_CLIENT: QoS2 ACK处理失败（未找到缓存，pkt_id：9）");
    expect_log("[WARN] MQTT_CLIENT: QoS1 PUBACK处理失败（参数无效，pkt_id：200）");

    broker.send(PUBREC, 1);
    broker.send(PUBREC, 1);
    broker.send(PUBACK, 2);
    pass();
    broker.expect(PUBREL, 1);
    broker.expect_nothing();
    expect_happened({"QOS2 ok id=1", "QOS2 ok id=1", "PUBACK ok id=2"});
    expect_log(
        "[WARN] MQTT_CLIENT: QoS1 PUBACK处理失败（未找到缓存，pkt_id：2），"
        "可能原因：1.5.0无订阅者(0x10) 2.缓存已清理 3.发布时未入库");
    EXPECT_EQ(identifiers_in_use(), 1u);
}

TEST_P(publish_test, what_cannot_be_sent_is_refused) {
    const bool is_50 = v == &V50;
    const std::string long_topic(65, 't');
    struct {
        const char *topic;
        uint32_t qos;
        size_t payload;
        int32_t v311, v50;
    } const cases[] = {
        {nullptr, 0, 2, -101, -101},
        {"", 1, 2, -101, -101},
        {long_topic.c_str(), 1, 2, -101, -101},
        {"t", 3, 2, -102, -102},
        {"t", 1, 1025, -101, -114},
        {"t", 0, 1025, -101, -114},
    };
    create();
    EXPECT_EQ(publish(1), is_50 ? -116 : -101);
    EXPECT_EQ(log.count("[ERROR] MQTT_CLIENT50: publish50 fail, conn state=0 (not connected)"),
              is_50 ? 1 : 0);
    connect();
    for (const auto &refused : cases) {
        EXPECT_EQ(publish(refused.qos, std::string(refused.payload, 'x'), refused.topic),
                  is_50 ? refused.v50 : refused.v311);
    }
    EXPECT_EQ(identifiers_in_use(), 0u);
    if (is_50) {
        expect_log("[ERROR] MQTT_CLIENT50: publish50 fail, topic too long len=65 max=64");
        expect_log("[ERROR] MQTT_CLIENT50: publish50 fail, invalid qos level=3");
    } else {
        expect_log("[ERROR] MQTT_CLIENT: 无效空指针（调用函数：mqtt_client_publish）");
        expect_log("[ERROR] MQTT_CLIENT: 发布失败，Topic非法（空或超长，长度：65）");
        expect_log("[ERROR] MQTT_CLIENT: 无效QoS（3），QoS2开关：1");
        expect_log("[WARN] MQTT_CLIENT: QoS消息处理失败（参数无效）");
        // Only 3.1.1 looks into the topic.
        EXPECT_EQ(publish(0, "hi", "a/+"), MQTT_ERR_UTF8_INVALID);
        EXPECT_EQ(publish(1, "hi", "a/+"), MQTT_ERR_INVALID_PARAM);
    }
    EXPECT_EQ(publish(0, "x", std::string(64, 't').c_str()), 0);
    broker.expect(is_50 ? "30 44 0040 74*64 00 'x'" : "30 43 0040 74*64 'x'");
    EXPECT_EQ(client->busy, 0u);
}

TEST_P(publish_test, a_failed_send_keeps_neither_message_nor_identifier) {
    connect();
    break_sending();
    for (const uint32_t qos : {0, 1, 2}) {
        EXPECT_EQ(publish(qos), MQTT_ERR_INTERNAL);
        EXPECT_EQ(client->session.qos1_count + client->session.qos2_count, 0u);
        EXPECT_EQ(identifiers_in_use(), 0u);
    }
    EXPECT_EQ(subscribe(), MQTT_ERR_INTERNAL);
    EXPECT_EQ(unsubscribe(), MQTT_ERR_INTERNAL);
    EXPECT_EQ(identifiers_in_use(), 0u);
    // It is the loop that decides about the connection.
    EXPECT_EQ(client->state, MQTT_CLIENT_CONNECTED);
    expect_log(v == &V311 ? "[ERROR] MQTT_CLIENT: 发送发布报文失败（状态码：-1）"
                          : "[ERROR] MQTT_CLIENT50: net send failed");
    broker.expect_closed();
}

TEST_P(publish_test, identifiers_run_out_and_come_back) {
    connect();
    // The caches of 3.1.1 hold 100 and 50 messages; 5.0 sends beyond them.
    for (unsigned id = 1; id <= 128; id++) {
        const uint32_t qos = id <= 100 ? 1 : 2;
        ASSERT_EQ(publish(qos), 0);
        broker.expect(qos == 1 ? v->publish1 : v->publish2, id);
    }
    EXPECT_EQ(publish(1), MQTT_ERR_PACKET_ID_EXHAUSTED);
    EXPECT_EQ(subscribe(), MQTT_ERR_PACKET_ID_EXHAUSTED);
    EXPECT_EQ(unsubscribe(), MQTT_ERR_PACKET_ID_EXHAUSTED);
    broker.expect_nothing();
    expect_log(v == &V311 ? "[ERROR] MQTT_CLIENT: 申请Packet ID失败（Packet ID耗尽）"
                          : "[ERROR] MQTT_CLIENT50: publish50 fail, alloc msg id err=-106");
    for (unsigned id = 128; id >= 1; id--) {
        if (id > 100) {
            broker.send(PUBREC, id);
            pass();
            broker.expect(PUBREL, id);
        }
        broker.send(id > 100 ? PUBCOMP : PUBACK, id);
        pass();
    }
    EXPECT_EQ(callbacks.take().size(), 156u);
    EXPECT_EQ(identifiers_in_use(), 0u);
    // Each of the 128 can be taken again.
    std::set<int> taken;
    for (int i = 0; i < 128; i++) {
        ASSERT_EQ(publish(i < 100 ? 1 : 2), 0);
        taken.insert(broker.take(lay(v->publish1).size()).at(6));
    }
    EXPECT_EQ(taken.size(), 128u);
}

TEST_P(publish_test, an_unacknowledged_message_is_repeated_three_times) {
    connect();
    EXPECT_EQ(publish(1), 0);
    EXPECT_EQ(publish(2), 0);
    broker.expect(v->publish1, 1);
    broker.expect(v->publish2, 2);
    for (const uint32_t wait_ms : {2000, 4000, 8000}) {
        age_cache(wait_ms - 500);
        pass();
        broker.expect_nothing();
        age_cache(500);
        pass(2);  // the QoS 2 message may have to wait for a pass in which there is room
        broker.expect(v->publish1_dup, 1);
        broker.expect(v->publish2_dup, 2);
    }
    EXPECT_EQ(log.count("[DEBUG] MQTT_CLIENT: QoS1重传1条消息"), 3);
    EXPECT_EQ(log.count("[DEBUG] MQTT_CLIENT: QoS2重传1条消息"), 3);
    age_cache(16000);
    pass();
    EXPECT_EQ(client->session.qos1_count + client->session.qos2_count, 0u);
    EXPECT_EQ(identifiers_in_use(), 0u);
}

TEST_P(publish_test, a_pubrel_is_repeated_on_its_own_count) {
    connect();
    EXPECT_EQ(publish(2), 0);
    broker.expect(v->publish2, 1);
    age_cache(2000);
    pass();
    broker.expect(v->publish2_dup, 1);
    broker.send(PUBREC, 1);
    pass();
    broker.expect(PUBREL, 1);
    expect_happened({"QOS2 ok id=1"});
    for (const uint32_t wait_ms : {2000, 4000, 8000}) {
        age_cache(wait_ms);
        pass();
        broker.expect(v->pubrel_again, 1);
    }
    age_cache(16000);
    pass();
    EXPECT_EQ(client->session.qos2_count, 0u);
    EXPECT_EQ(identifiers_in_use(), 0u);
}

TEST_P(publish_test, due_messages_leave_together_as_far_as_they_fit) {
    connect();
    const bool is_50 = v == &V50;
    const std::string payload(400, 'x');
    const std::string head = is_50 ? " 96 03 0001 't' id 00 78*400" : " 95 03 0001 't' id 78*400";
    for (unsigned id = 1; id <= 3; id++) {
        EXPECT_EQ(publish(1, payload), 0);
        broker.expect("32" + head, id);
    }
    EXPECT_EQ(publish(2, payload), 0);
    broker.expect("34" + head, 4);
    age_cache(2000);
    pass();  // whole packets up to 1024 bytes, the newest first; the QoS 2 check gets what that
             // took
    broker.expect("3a" + head, 3);
    broker.expect("3a" + head, 2);
    broker.expect("3c" + head, 4);
    broker.expect_nothing();
    pass();
    broker.expect("3a" + head, 1);
    EXPECT_EQ(log.count("[DEBUG] MQTT_CLIENT: QoS1重传2条消息"), 1);
    EXPECT_EQ(log.count("[DEBUG] MQTT_CLIENT: QoS1重传1条消息"), 1);
    EXPECT_EQ(log.count("[ERROR]"), 0);
}

TEST_P(publish_test, a_message_outlives_its_connection) {
    connect();
    EXPECT_EQ(publish(1), 0);
    broker.expect(v->publish1, 1);
    broker.close();
    pass(2);
    age_cache(2000);
    pass();  // nobody to send to
    expect_happened({"DISCONNECT failed result=-4"});
    connect();
    pass();
    broker.expect(v->publish1_dup, 1);
    broker.send(PUBACK, 1);
    pass();
    expect_happened({"PUBACK ok id=1"});
}

TEST_P(publish_test, a_repetition_that_cannot_be_sent_is_reported) {
    connect();
    EXPECT_EQ(publish(1), 0);
    EXPECT_EQ(publish(2), 0);
    broker.expect(v->publish1, 1);
    broker.expect(v->publish2, 2);
    break_sending();
    age_cache(2000);
    pass(2);
    expect_log("[ERROR] MQTT_CLIENT: QoS1重传失败（状态码：-1）");
    expect_log("[ERROR] MQTT_CLIENT: QoS2重传失败（状态码：-1）");
    EXPECT_EQ(client->state, MQTT_CLIENT_CONNECTED);
    EXPECT_EQ(identifiers_in_use(), 2u);
    broker.expect_closed();
    pass(2);
    expect_happened({"DISCONNECT failed result=-4"});
}

TEST_P(publish_test, the_payload_is_protected_every_time_it_goes_out) {
    config.crypto_enable = 1;
    for (uint8_t i = 0; i < 16; i++) {
        config.crypto_key[i] = static_cast<uint8_t>(i + 1);
    }
    connect();
    const std::string tail =
        v == &V50 ? " 0a 0001 't' id 00 69 6b 6e 0f" : " 09 0001 't' id 69 6b 6e 0f";
    EXPECT_EQ(publish(1), 0);
    EXPECT_EQ(publish(2), 0);
    broker.expect("32" + tail, 1);
    broker.expect("34" + tail, 2);
    age_cache(2000);
    pass(2);
    broker.expect("3a" + tail, 1);
    broker.expect("3c" + tail, 2);

    // 1022 bytes and the check value are the most that the cipher takes.
    EXPECT_EQ(publish(1, std::string(1023, 'x')), MQTT_ERR_CRYPTO);
    EXPECT_EQ(client->session.qos1_count, 1u);
    EXPECT_EQ(identifiers_in_use(), 2u);
    EXPECT_EQ(client->busy, 0u);
    if (v == &V311) {
        expect_log("[DEBUG] MQTT_CLIENT: Payload加密成功，原始长度:2，加密后:4");
        expect_log("[ERROR] MQTT_CLIENT: Payload加密失败/长度异常 (状态:1, 加密后长度:1024)");
    } else {
        expect_log("[DEBUG] MQTT_CLIENT50: encrypt success! enc_len=4");
    }
}

TEST_P(publish_test, callbacks_may_not_start_another_operation) {
    connect();
    const bool is_50 = v == &V50;
    callbacks.in_next_message = [&] {
        const int32_t refused = is_50 ? MQTT_ERR_INTERNAL : MQTT_ERR_BUSY;
        EXPECT_EQ(publish(0), refused);
        EXPECT_EQ(subscribe(), refused);
        EXPECT_EQ(unsubscribe(), refused);
        EXPECT_EQ(mqtt_client_loop(client), MQTT_ERR_BUSY);
        EXPECT_EQ(mqtt_client_connect(client), 0);
        EXPECT_EQ(client->op_type, MQTT_CLIENT_OP_LOOP);
    };
    broker.send(v->publish0);
    pass();
    broker.expect_nothing();
    expect_happened({"message t [hi] qos=0"});
    expect_log("[WARN] MQTT_CLIENT: Client busy, loop skip! op_type:2");
    if (is_50) {
        expect_log("[WARN] MQTT_CLIENT50: publish50 fail, client busy, reject");
    } else {
        for (const char *operation : {"publish", "subscribe", "unsubscribe"}) {
            expect_log(std::string("[WARN] MQTT_CLIENT: Client busy, ") + operation +
                       " reject! op_type:2");
        }
    }
    EXPECT_EQ(client->busy, 0u);
    EXPECT_EQ(publish(0), 0);
    broker.expect(v->publish0);
}

TEST_F(publish_311_test, full_caches_refuse_without_a_trace) {
    connect();
    for (unsigned id = 1; id <= 100; id++) {
        ASSERT_EQ(publish(1), 0);
        broker.expect(v->publish1, id);
    }
    EXPECT_EQ(publish(1), MQTT_ERR_CACHE_FULL);
    EXPECT_EQ(identifiers_in_use(), 100u);
    broker.expect_nothing();

    // Low priority (what publish gives a message by default) makes room after five seconds.
    age(client->session.qos1_cache->send_tick, 5500);
    EXPECT_EQ(publish(1), 0);
    EXPECT_EQ(client->session.qos1_count, 100u);
    EXPECT_EQ(identifiers_in_use(), 100u);
    broker.expect(v->publish1, 101);
}

TEST_F(publish_311_test, a_packet_that_the_network_does_not_take_leaves_no_trace) {
    connect();
    // 1025 bytes in one packet; a transmission holds 1024.
    EXPECT_EQ(publish(1, std::string(1017, 'x')), MQTT_ERR_INTERNAL);
    EXPECT_EQ(client->session.qos1_count, 0u);
    EXPECT_EQ(identifiers_in_use(), 0u);
    EXPECT_EQ(publish(1, std::string(1016, 'x')), 0);
    broker.expect("32 fd 07 0001 't' id 78*1016", 1);
}

}  // namespace
