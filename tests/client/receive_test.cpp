// What the broker sends, and what becomes of it.
#include <cstring>

#include "support/client_fixture.h"

namespace {

using namespace zep_test;

FOR_BOTH_VERSIONS(receive_test);
class receive_311_test : public client_test {};

TEST_P(receive_test, a_message_is_acknowledged_and_then_delivered) {
    connect();
    broker.send(v->publish0);
    pass();
    broker.expect_nothing();
    expect_happened({"message t [hi] qos=0"});

    callbacks.in_next_message = [&] { broker.expect(PUBACK, 0x1234); };
    broker.send(v->publish1, 0x1234);
    pass();
    expect_happened({"message t [hi] qos=1 id=4660"});

    callbacks.in_next_message = [&] { broker.expect(PUBREC, 65535); };
    broker.send(v->publish2, 65535);
    pass();
    expect_happened({"message t [hi] qos=2 id=65535"});
}

TEST_P(receive_test, messages_arrive_as_they_were_published) {
    connect();
    struct {
        const char *v311, *v50;
        std::string message;
    } const cases[] = {
        {"31 05 0001 't' 'hi'", "31 06 0001 't' 00 'hi'", "message t [hi] qos=0 retain"},
        {"30 04 0002 'tt'", "30 05 0002 'tt' 00", "message tt [] qos=0"},
        {"30 43 0040 74*64 'x'", "30 44 0040 74*64 00 'x'",
         "message " + std::string(64, 't') + " [x] qos=0"},
        // Remaining Length 1024 is the most that is taken.
        {"30 80 08 0001 't' 78*1021", "30 80 08 0001 't' 00 78*1020",
         "message t [" + std::string(v == &V50 ? 1020 : 1021, 'x') + "] qos=0"},
        {"33 07 0001 't' 0007 'hi'", "33 0d 0001 't' 0007 05 02 0000003c 'hi'",
         "message t [hi] qos=1 id=7 retain"},
    };
    for (const auto &published : cases) {
        broker.send(v == &V50 ? published.v50 : published.v311);
        pass();
        expect_happened({published.message});
    }
    broker.expect(PUBACK, 7);
}

TEST_P(receive_test, a_qos2_message_is_delivered_once) {
    connect();
    for (const char *packet : {v->publish2, v->publish2_dup, v->publish2}) {
        broker.send(packet, 300);
        pass();
        broker.expect(PUBREC, 300);
    }
    expect_happened({"message t [hi] qos=2 id=300"});

    // Every PUBREL is answered, also for an identifier that is not known.
    for (const unsigned id : {300, 300, 9}) {
        broker.send(PUBREL, id);
        pass();
        broker.expect(PUBCOMP, id);
    }
    broker.send(v->publish2, 300);
    pass();
    broker.expect(PUBREC, 300);
    expect_happened({"message t [hi] qos=2 id=300"});
}

TEST_P(receive_test, received_identifiers_live_as_long_as_the_session) {
    struct {
        const char *connack;
        bool delivered_again;
    } const cases[] = {{v->connack_present, false}, {v->connack, true}};
    connect();
    broker.send(v->publish2, 5);
    pass();
    broker.expect(PUBREC, 5);
    expect_happened({"message t [hi] qos=2 id=5"});
    for (const auto &next : cases) {
        broker.close();
        pass(2);
        EXPECT_EQ(mqtt_client_connect(client), 0);
        broker.accept();
        broker.expect(v->connect);
        broker.send(next.connack);
        broker.send(v->publish2_dup, 5);
        pass(2);
        broker.expect(PUBREC, 5);
        expect_happened(next.delivered_again
                            ? happenings{"DISCONNECT failed result=-4", "CONNACK ok",
                                         "message t [hi] qos=2 id=5"}
                            : happenings{"DISCONNECT failed result=-4", "CONNACK ok"});
    }
}

TEST_P(receive_test, packets_may_be_cut_anywhere) {
    connect();
    bytes stream = lay(v->publish1, 7);
    const bytes tail = lay(v->publish0);
    stream.insert(stream.end(), tail.begin(), tail.end());
    for (const uint8_t byte : stream) {
        broker.send(bytes{byte});
        pass();
    }
    broker.expect(PUBACK, 7);
    expect_happened({"message t [hi] qos=1 id=7", "message t [hi] qos=0"});
}

TEST_P(receive_test, packets_may_be_joined) {
    create();
    EXPECT_EQ(mqtt_client_connect(client), 0);
    broker.accept();
    broker.expect(v->connect);
    bytes stream;
    for (const bytes &packet : {lay(v->connack), lay(v->publish0), lay(v->publish1, 1),
                                lay(v->publish2, 2), lay(PUBREL, 2), lay(v->publish2, 2)}) {
        stream.insert(stream.end(), packet.begin(), packet.end());
    }
    const auto cut = stream.end() - 3;
    broker.send(bytes(stream.begin(), cut));
    pass();  // one pass handles every whole packet that it got
    broker.expect(PUBACK, 1);
    broker.expect(PUBREC, 2);
    broker.expect(PUBCOMP, 2);
    expect_happened({"CONNACK ok", "message t [hi] qos=0", "message t [hi] qos=1 id=1",
                     "message t [hi] qos=2 id=2"});
    broker.send(bytes(cut, stream.end()));
    pass();
    broker.expect(PUBREC, 2);
    expect_happened({"message t [hi] qos=2 id=2"});
}

TEST_P(receive_test, a_full_buffer_does_not_lose_step) {
    connect();
    // Packets of 1027 bytes, joined, so that every read ends in the middle of one.
    const char *large = v == &V50 ? "30 80 08 0001 't' 00 78*1020" : "30 80 08 0001 't' 78*1021";
    for (int i = 0; i < 6; i++) {
        broker.send(large);
    }
    broker.send(v->publish1, 7);
    pass(10);
    broker.expect(PUBACK, 7);
    EXPECT_EQ(callbacks.take().size(), 7u);
}

TEST_P(receive_test, an_oversized_packet_is_passed_over_whole) {
    for (const char *header : {"30 81 08", "30 a0 9c 01", "32 a0 9c 81 00"}) {
        const uint32_t size = std::strlen(header) == 8 ? 1025 : 20000;
        connect();
        // Its body looks like packets that would be handled if the client lost step.
        bytes packet = lay(header);
        for (uint32_t i = 0; i < size; i++) {
            packet.push_back(i % 2 == 0 ? 0xd0 : 0x00);
        }
        broker.send(bytes(packet.begin(), packet.begin() + 2));
        pass();
        broker.send(bytes(packet.begin() + 2, packet.end()));
        broker.send(v->publish1, 7);
        pass(24);
        broker.expect(PUBACK, 7);
        expect_happened({"message t [hi] qos=1 id=7"});
        EXPECT_EQ(log.count("[WARN]"), 1) << header;
        EXPECT_EQ(log.count("PINGRESP"), 0) << header;
        mqtt_client_destroy(client);
        client = nullptr;
        broker.expect(v->disconnect);
        broker.expect_closed();
    }
}

TEST_P(receive_test, a_length_that_never_ends_loses_the_link) {
    connect();
    broker.send("30 ff ff ff");
    pass();
    EXPECT_EQ(client->state, MQTT_CLIENT_CONNECTED);
    broker.send("ff");
    pass();
    expect_happened({"DISCONNECT failed result=-4"});
    EXPECT_EQ(client->state, MQTT_CLIENT_DISCONNECTED);
    EXPECT_EQ(client->net_index, MQTT_CLIENT_NO_INSTANCE);
    broker.expect_closed();
}

TEST_P(receive_test, a_new_connection_starts_with_an_empty_buffer) {
    connect();
    broker.send("30 50 0001");
    pass();
    broker.close();
    pass(2);
    expect_happened({"DISCONNECT failed result=-4"});
    connect();

    // Nor does the rest of an oversized packet reach into the next connection.
    broker.send("30 a0 9c 01 00*100");
    pass();
    EXPECT_EQ(mqtt_client_disconnect(client), 0);
    broker.expect(v->disconnect);
    broker.expect_closed();
    connect();
}

TEST_P(receive_test, a_callback_that_disconnects_ends_the_handling) {
    connect();
    bytes stream = lay(v->publish1, 1);
    const bytes second = lay(v->publish1, 2);
    stream.insert(stream.end(), second.begin(), second.end());

    callbacks.in_next_message = [&] { mqtt_client_disconnect(client); };
    broker.send(stream);
    pass();
    broker.expect(PUBACK, 1);
    broker.expect(v->disconnect);
    broker.expect_closed();
    expect_happened({"message t [hi] qos=1 id=1"});

    // Also when it connects again: the second packet is none of the new connection's.
    connect();
    callbacks.in_next_message = [&] {
        mqtt_client_disconnect(client);
        mqtt_client_connect(client);
    };
    broker.send(stream);
    pass();
    broker.expect(PUBACK, 1);
    broker.expect(v->disconnect);
    broker.expect_closed();
    broker.accept();
    broker.expect(v->connect);
    broker.send(v->connack);
    pass();
    expect_happened({"message t [hi] qos=1 id=1", "CONNACK ok"});
}

TEST_P(receive_test, a_broker_that_leaves_is_noticed_at_once) {
    struct {
        const char *how;
        void (*leave)(scripted_broker &, const dialect &);
    } const cases[] = {
        {"close", [](auto &b, auto &) { b.close(); }},
        {"reset", [](auto &b, auto &) { b.reset(); }},
        {"disconnect", [](auto &b, auto &version) { b.send(version.broker_disconnect); }},
        {"last words", [](auto &b, auto &version) { b.send(version.publish0), b.close(); }},
    };
    for (const auto &left : cases) {
        SCOPED_TRACE(left.how);
        connect();
        left.leave(broker, *v);
        pass(2);
        expect_happened(std::strcmp(left.how, "last words") != 0
                            ? happenings{"DISCONNECT failed result=-4"}
                            : happenings{"message t [hi] qos=0", "DISCONNECT failed result=-4"});
        EXPECT_EQ(client->state, MQTT_CLIENT_DISCONNECTED);
        EXPECT_EQ(client->net_index, MQTT_CLIENT_NO_INSTANCE);
        EXPECT_EQ(publish(0), v == &V311 ? MQTT_ERR_INVALID_PARAM : MQTT_ERR_INTERNAL);
        broker.close();
    }
}

TEST_P(receive_test, a_disconnect_ends_a_handshake_too) {
    create();
    EXPECT_EQ(mqtt_client_connect(client), 0);
    broker.accept();
    broker.expect(v->connect);
    broker.send(v->broker_disconnect);
    pass();
    expect_happened({"DISCONNECT failed result=-4"});
    expect_log(
        v == &V311
            ? "[WARN] MQTT_CLIENT收到Broker主动断开指令 DISCONNECT，标记断线"
            : "[WARN] MQTT_CLIENT⚠️ 收到5.0 Broker主动断开指令 DISCONNECT，标记断线");
    broker.expect_closed();
}

TEST_P(receive_test, what_a_broker_must_not_send_changes_nothing) {
    connect();
    const char *const unknown = v == &V311 ? "[DEBUG] MQTT_CLIENT收到未知报文类型 (0x"
                                           : "[DEBUG] MQTT_CLIENT收到5.0未知报文类型 (0x";
    broker.send("82 08 0001 0003 'a/#' 01");
    broker.send("a2 07 0001 0003 'a/#'");
    broker.send("c0 00");
    pass();
    for (const char *type : {"08)", "0A)", "0C)"}) {
        expect_log(std::string(unknown) + type);
    }
    for (const char *malformed :
         {"30 00", "30 03 0005 't'", "32 03 0001 't'", "40 01 00", "50 00", "62 01 00", "90 01 00",
          "b0 00", "00 00", "f0 00", "30 43 0041 74*65", "30 85 80 80 00 0001 't' 'hi'"}) {
        broker.send(malformed);
        pass();
        broker.expect_nothing();
        expect_happened({});
        EXPECT_EQ(client->state, MQTT_CLIENT_CONNECTED) << malformed;
    }
    broker.send(v->publish1, 7);
    pass();
    broker.expect(PUBACK, 7);
    expect_happened({"message t [hi] qos=1 id=7"});
}

TEST_P(receive_test, a_protected_message_is_deciphered_or_dropped) {
    config.crypto_enable = 1;
    for (uint8_t i = 0; i < 16; i++) {
        config.crypto_key[i] = static_cast<uint8_t>(i + 1);
    }
    connect();
    // hi under the key 01 02 …, and its check value.
    const bool is_50 = v == &V50;
    const std::string good =
        is_50 ? "34 0a 0001 't' 0005 00 69 6b 6e 0f" : "34 09 0001 't' 0005 69 6b 6e 0f";
    const std::string bad =
        is_50 ? "34 0a 0001 't' 0005 00 69 6b 6e 0e" : "34 09 0001 't' 0005 69 6b 6e 0e";
    const std::string prefix = is_50 ? "MQTT_CLIENT5.0 " : "MQTT_CLIENT";

    broker.send(bad);
    broker.send(is_50 ? "30 05 0001 't' 00 69" : "30 04 0001 't' 69");
    pass();
    broker.expect_nothing();
    expect_happened({});
    EXPECT_EQ(log.count("[ERROR] " + prefix + "Payload解密失败/长度异常，丢弃非法消息"), 2);

    // The dropped message is not remembered: its repetition counts.
    broker.send(good);
    pass();
    broker.expect("50 02 0005");
    expect_happened({"message t [hi] qos=2 id=5"});
    expect_log("[DEBUG] " + prefix + "Payload解密成功，加密长度:4，明文长度:2");
}

TEST_P(receive_test, a_ping_response_counts_as_activity) {
    connect();
    age(client->last_activity_ms, 29000);
    broker.send(PINGRESP);
    pass();
    age(client->last_activity_ms, 29000);
    pass();
    broker.expect_nothing();
    expect_log(v == &V311 ? "[DEBUG] MQTT_CLIENT收到心跳响应 PINGRESP，链路正常"
                          : "[DEBUG] MQTT_CLIENT✅ 收到5.0心跳响应 PINGRESP，链路正常");
}

TEST_F(receive_311_test, a_read_step_alone_needs_no_callbacks) {
    client = mqtt_client_create(&config, callback_recorder::core_message, nullptr, &callbacks);
    ASSERT_NE(client, nullptr);
    EXPECT_EQ(mqtt_client_connect(client), 0);
    broker.accept();
    broker.expect(v->connect);
    broker.send(v->connack);
    broker.send(v->broker_disconnect);
    pass();
    EXPECT_EQ(client->state, MQTT_CLIENT_DISCONNECTED);
    broker.expect_closed();
}

}  // namespace
