// What the broker sends, and what becomes of it.
#include "client/connection/client_state.h"
#include "support/client_fixture.h"
#include "support/loopback.h"

namespace {

using namespace zep_test;

FOR_BOTH_VERSIONS(receive_test);

const happenings LINK_LOST = {"DISCONNECT failed result=-4"};

TEST_P(receive_test, a_message_is_acknowledged_and_then_delivered) {
    connect();
    hear(v->publish0, 0, {"message t [hi] qos=0"});
    broker.expect_nothing();
    callbacks.in_next_message = [&] { broker.expect(PUBACK, 0x1234); };
    hear(v->publish1, 0x1234, {"message t [hi] qos=1 id=4660"});
    callbacks.in_next_message = [&] { broker.expect(PUBREC, 65535); };
    hear(v->publish2, 65535, {"message t [hi] qos=2 id=65535"});

    struct {
        const char *v311, *v50;
        std::string message;
    } const cases[] = {
        {"31 05 0001 't' 'hi'", "31 06 0001 't' 00 'hi'", "t [hi] qos=0 retain"},
        {"30 04 0002 'tt'", "30 05 0002 'tt' 00", "tt [] qos=0"},
        {"30 43 0040 74*64 'x'", "30 44 0040 74*64 00 'x'", std::string(64, 't') + " [x] qos=0"},
        // The most that is taken: 1,024 bytes behind the fixed header on 3.1.1, the 1,028 bytes of
        // which the CONNECT spoke on 5.0.
        {"30 80 08 0001 't' 78*1021", "30 81 08 0001 't' 00 78*1021",
         "t [" + std::string(1021, 'x') + "] qos=0"},
        {"30 80 88 00 0001 't' 78*1021", "30 80 88 00 0001 't' 00 78*1020",
         "t [" + std::string(is_50() ? 1020 : 1021, 'x') + "] qos=0"},
    };
    for (const auto &published : cases) {
        hear(is_50() ? published.v50 : published.v311, 0, {"message " + published.message});
    }
}

// Consequences of the contract that the header and README tell of.
TEST_P(receive_test, what_the_application_is_told_of_odd_packets) {
    struct {
        const char *v311, *v50;
        happenings told_311, told_50;
    } const cases[] = {
        // Passed over, and not acknowledged: a topic of 65 bytes, a packet of more than 1,028.
        {"32 45 0041 74*65 id", "32 46 0041 74*65 id 00", {}, {}},
        {"32 84 08 0001 't' id 78*1023", "32 84 08 0001 't' id 00 78*1022", {}, {}},
        {"30 04 0000 'hi'", "30 05 0000 00 'hi'", {}, {"message  [hi] qos=0"}},
        {"30 05 0001 00 'hi'",
         "30 06 0001 00 00 'hi'",
         {"message  [hi] qos=0"},
         {"message  [hi] qos=0"}},
        {"30 07 0003 'a' 00 'b' 'hi'",
         "30 08 0003 'a' 00 'b' 00 'hi'",
         {"message a [hi] qos=0"},
         {"message a [hi] qos=0"}},
        {nullptr, "30 08 0001 't' 20 01 02 'hi'", {}, {"message t [ 0102hi] qos=0"}},
        {"90 03 id 80",
         "90 04 id 00 87",
         {"message  [00] qos=0 id=1", "SUBACK ok id=1"},
         {"message  [03] qos=3 id=1", "SUBACK ok id=1"}},
        {nullptr, "50 03 id 97", {}, {"QOS2 ok id=1"}},
    };
    log_is_recorded = false;
    connect();
    for (const auto &odd : cases) {
        if (const char *packet = is_50() ? odd.v50 : odd.v311) {
            broker.send(packet, 1);
            pass(2);
            expect_happened(is_50() ? odd.told_50 : odd.told_311);
            broker.expect_nothing();
        }
    }
}

TEST_P(receive_test, a_qos2_message_is_delivered_once) {
    const happenings delivered = {"message t [hi] qos=2 id=300"};
    connect();
    hear(v->publish2, 300, delivered);
    hear(v->publish2_dup, 300, {});
    hear(v->publish2, 300, {});
    for (int i = 0; i < 3; i++) {
        broker.expect(PUBREC, 300);
    }
    // Every PUBREL is answered, also for an identifier that is not known.
    for (const unsigned id : {300u, 300u, 9u}) {
        hear(PUBREL, id, {});
        broker.expect(PUBCOMP, id);
    }
    hear(v->publish2, 300, delivered);
    broker.expect(PUBREC, 300);

    // The identifiers live as long as the session, not as the connection.
    for (const bool resumed : {true, false}) {
        lose_link();
        begin_connect();
        hear(resumed ? v->connack_present : v->connack, 0, {"CONNACK ok"});
        hear(v->publish2_dup, 300, resumed ? happenings{} : delivered);
        broker.expect(PUBREC, 300);
    }
}

TEST_P(receive_test, packets_may_be_cut_and_joined_anywhere) {
    begin_connect();
    for (const uint8_t byte : joined({lay(v->connack), lay(v->publish1, 7), lay(v->publish0)})) {
        broker.send(bytes{byte});
        pass();
    }
    broker.expect(PUBACK, 7);
    expect_happened({"CONNACK ok", "message t [hi] qos=1 id=7", "message t [hi] qos=0"});
    broker.send(joined({lay(v->publish1, 1), lay(v->publish2, 2), lay(PUBREL, 2)}));
    pass();  // one pass handles every whole packet that it got
    broker.expect(joined({lay(PUBACK, 1), lay(PUBREC, 2), lay(PUBCOMP, 2)}));
    expect_happened({"message t [hi] qos=1 id=1", "message t [hi] qos=2 id=2"});
}

TEST_P(receive_test, the_largest_packets_keep_in_step) {
    connect();
    // 1027 bytes each, so that every read of 1028 ends inside one.
    for (int i = 0; i < 6; i++) {
        broker.send(is_50() ? "30 80 08 0001 't' 00 78*1020" : "30 80 08 0001 't' 78*1021");
    }
    broker.send(v->publish1, 7);
    pass(10);
    broker.expect(PUBACK, 7);
    EXPECT_EQ(callbacks.take().size(), 7u);
    // An oversized one is passed over whole. Out of step, the client would see pings in it.
    for (const auto &[header, pings] :
         {std::pair("31 82 08", 513), {"30 a0 9c 01", 10000}, {"32 a0 9c 81 00", 10000}}) {
        broker.send(lay(header));
        pass();
        broker.send(joined(std::vector(size_t(pings), lay(PINGRESP))));
        hear(v->publish1, 7, {});
        pass(24);
        broker.expect(PUBACK, 7);
        expect_happened({"message t [hi] qos=1 id=7"});
    }
    EXPECT_EQ(logged("PINGRESP"), 0);
}

TEST_P(receive_test, the_rest_of_an_oversized_packet_does_not_reach_into_the_next_connection) {
    connect();
    hear("30 a0 9c 01 00*100", 0, {});
    disconnect();
    connect();
}

TEST_P(receive_test, what_came_before_a_reset_is_delivered) {
    log_is_recorded = resets_are_told();
    connect();
    for (int i = 0; i < 3; i++) {
        broker.send(is_50() ? "32 80 08 0001 't' id 00 78*1018" : "32 80 08 0001 't' id 78*1019",
                    7);
    }
    broker.reset();
    pass(5);  // acknowledgements cannot be sent any more
    const happenings happened = callbacks.take();
    ASSERT_EQ(happened.size(), 4u);
    EXPECT_EQ(happened.back(), "DISCONNECT failed result=-4");
    expect_disconnected();
}

TEST_P(receive_test, a_packet_that_never_ends_costs_the_connection) {
    for (const char *const endless : {"30 ff ff ff 7f 0001 't'", "30 05 00"}) {
        connect();
        hear(endless, 0, {});
        age(zep::state_of(*client).rx.whole_ms, 59000);
        hear(PINGRESP, 0, {});
        EXPECT_EQ(logged("PINGRESP"), 0);
        age(zep::state_of(*client).rx.whole_ms, 1000);
        pass();
        expect_happened({"DISCONNECT failed result=-4"});
        expect_disconnected();
        broker.expect_closed();
    }
}

TEST_P(receive_test, a_slow_callback_is_not_taken_for_a_packet_that_never_ends) {
    connect();
    callbacks.in_next_message = [&] { age(zep::state_of(*client).rx.whole_ms, 60000); };
    const bytes packet = lay(v->publish0);
    const auto half = packet.begin() + 3;
    const happenings message = {"message t [hi] qos=0"};
    broker.send(joined({packet, bytes(packet.begin(), half)}));
    pass();
    expect_happened(message);
    broker.send(bytes(half, packet.end()));
    pass();
    expect_happened(message);
}

TEST_P(receive_test, a_callback_that_disconnects_ends_the_handling) {
    connect();
    for (const bool and_connects : {false, true}) {
        callbacks.in_next_message = [&] {
            mqtt_client_disconnect(client);
            if (and_connects) {
                mqtt_client_connect(client);
            }
        };
        broker.send(joined({lay(v->publish1, 1), lay(v->publish1, 2)}));
        pass();
        broker.expect(PUBACK, 1);
        broker.expect(v->disconnect);
        broker.expect_closed();
        expect_happened({"message t [hi] qos=1 id=1"});
        if (!and_connects) {
            connect();
        }
    }
    // What the old connection brought is none of the new one's.
    broker.accept();
    broker.expect(v->connect);
    hear(v->connack, 0, {"CONNACK ok"});
}

// However a connection ends, it returns the identifiers that can no longer be acknowledged.
TEST_P(receive_test, the_end_of_a_connection_is_noticed_at_once) {
    log_is_recorded = resets_are_told();
    void (*const ends[])(scripted_broker &, const dialect &) = {
        [](auto &b, auto &) { b.close(); },
        [](auto &b, auto &) { b.reset(); },
        [](auto &b, auto &version) { b.send(version.broker_disconnect); },
        [](auto &b, auto &) { b.send("d0 00 30"), b.close(); },
        [](auto &b, auto &) { b.send("30 ff ff ff ff"); },
    };
    for (const auto &end : ends) {
        connect();
        EXPECT_EQ(publish(1) + subscribe() + unsubscribe(), 0);
        broker.take(joined({lay(v->publish1), lay(v->subscribe), lay(v->unsubscribe)}).size());
        EXPECT_EQ(identifiers_in_use(), 3u);
        end(broker, *v);
        pass(2);
        broker.close();
        expect_happened(LINK_LOST);
        expect_disconnected();
        EXPECT_EQ(identifiers_in_use(), 1u);  // the cached message keeps its own
        connect();
        const uint16_t cached = client->session.qos1_cache->msg.msg_id;
        hear(PUBACK, cached, {"PUBACK ok id=" + std::to_string(cached)});
        disconnect();
    }
    begin_connect();  // a DISCONNECT ends a handshake, too
    hear(v->broker_disconnect, 0, LINK_LOST);
    broker.expect_closed();
}

TEST_P(receive_test, what_a_broker_must_not_send_is_named) {
    connect();
    for (const char *packet :
         {"82 08 0001 0003 'a/#' 01", "c0 00", "40 01 00", "50 01 00", "70 01 00"}) {
        hear(packet, 0, {});
        broker.expect_nothing();
    }
}

TEST_P(receive_test, a_protected_message_is_deciphered_or_dropped) {
    turn_cipher_on();
    connect();
    const std::string head = is_50() ? "34 0a 0001 't' 0005 00" : "34 09 0001 't' 0005";
    hear(head + "69 6b 6e 0e", 0, {});
    hear(is_50() ? "30 05 0001 't' 00 69" : "30 04 0001 't' 69", 0, {});
    broker.expect_nothing();
    // The dropped message is not remembered: its repetition counts.
    hear(head + "69 6b 6e 0f", 0, {"message t [hi] qos=2 id=5"});
    broker.expect(PUBREC, 5);
}

}  // namespace
