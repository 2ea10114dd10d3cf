// What becomes of messages that are sent.
#include "event_client/event_fixture.h"
#include "support/socket_calls.h"

using namespace zep_test;

FOR_BOTH_VERSIONS(event_publish);

TEST_P(event_publish, every_message_has_one_fate_by_its_token) {
    connect();
    EXPECT_EQ(send(0), ZEP_MQTT_SDK_OK);
    broker.expect(v->publish0);
    EXPECT_EQ(send(1), ZEP_MQTT_SDK_OK);
    broker.expect(v->publish1, 1);
    EXPECT_EQ(send(2), ZEP_MQTT_SDK_OK);
    broker.expect(v->publish2, 2);
    expect_heard({});  // fates come from the loop
    EXPECT_EQ(zep_mqtt_sdk_client_get_due_ms(handle), 0u);
    turn();
    expect_heard({"m1 delivered"});
    hear(PUBREC, 2, {});
    broker.expect(PUBREL, 2);
    hear(PUBREC, 2, {});  // once more: the PUBREL is repeated
    broker.expect(PUBREL, 2);
    hear(PUBACK, 1, {"m2 delivered"});
    hear(PUBACK, 1, {});  // acknowledges nothing
    hear(PUBCOMP, 2, {"m3 delivered"});
    // Identifiers rest before they are used again.
    EXPECT_EQ(send(1), ZEP_MQTT_SDK_OK);
    broker.expect(v->publish1, 3);
    hear(PUBREC, 3, {});  // not the answer to this one
    broker.expect_nothing();
    hear(PUBACK, 3, {"m4 delivered"});
}

TEST_P(event_publish, arguments_are_checked_before_anything_happens) {
    connect();
    zep_mqtt_sdk_msg msg = {"t", nullptr, 0, 1, 0, 0};
    EXPECT_EQ(zep_mqtt_sdk_client_send(nullptr, &msg, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(zep_mqtt_sdk_client_send(handle, nullptr, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    for (const char *topic :
         {"", "a/+", "#", "\xC0\xAF", "\xED\xA0\x80", "\xF5\x80\x80\x80", "a\xE2\x82"}) {
        EXPECT_EQ(send(1, "hi", topic), ZEP_MQTT_SDK_ERR_PARAM) << topic;
    }
    EXPECT_EQ(send(3), ZEP_MQTT_SDK_ERR_PARAM);
    const std::string fits(4096 - (is_50() ? 9 : 8), 'x');
    EXPECT_EQ(send(1, (fits + "x").c_str()), ZEP_MQTT_SDK_ERR_PACKET);
    broker.expect_nothing();
    EXPECT_EQ(send(1, fits.c_str()), ZEP_MQTT_SDK_OK);
    EXPECT_EQ(broker.take(4096).size(), 4096u);
    hear(PUBACK, 1, {"m1 delivered"});
    // A retained message is cleared by an empty one.
    EXPECT_EQ(send(1, "", "t", 0, true), ZEP_MQTT_SDK_OK);
    broker.expect(is_50() ? "33 06 0001 't' id 00" : "33 05 0001 't' id", 2);
    hear(PUBACK, 2, {"m2 delivered"});
    const std::string wide =
        "\xF0\x9F\x98\x80/\xEF\xBF\xBF";  // what other checks refuse is text, too
    EXPECT_EQ(send(0, "hi", wide.c_str()), ZEP_MQTT_SDK_OK);
    EXPECT_EQ(broker.take(is_50() ? 15 : 14).size(), is_50() ? 15u : 14u);
    turn();
    expect_heard({"m3 delivered"});
}

TEST_P(event_publish, a_resumed_session_goes_on_in_order_where_it_stood) {
    options.resume_session = 1;
    open();
    zep_mqtt_sdk_client_connect(handle);
    const std::string again =
        is_50() ? "10 19 0004 'MQTT' 05 00 003c 0a 11 00000e10 27 00001000 0002 'c1'"
                : connect_packet(false);
    greet(is_50() ? "10 19 0004 'MQTT' 05 02 003c 0a 11 00000e10 27 00001000 0002 'c1'" : again,
          v->connack);
    expect_heard({connected()});
    send(2);
    send(1);
    send(2);
    broker.expect(joined({lay(v->publish2, 1), lay(v->publish1, 2), lay(v->publish2, 3)}));
    hear(PUBREC, 1, {});
    broker.expect(PUBREL, 1);
    lose_link();
    greet(again, v->connack_present);
    broker.expect(joined({lay(PUBREL, 1), lay(v->publish1_dup, 2), lay(v->publish2_dup, 3)}));
    expect_heard({connected(true)});
    hear(PUBCOMP, 1, {"m1 delivered"});
    hear(PUBACK, 2, {"m2 delivered"});

    // The broker has lost the session: what is left is published anew.
    hear(PUBREC, 3, {});
    broker.expect(PUBREL, 3);
    lose_link();
    greet(again, v->connack);
    broker.expect(v->publish2, 3);
    expect_heard({connected()});
    hear(PUBREC, 3, {});
    broker.expect(PUBREL, 3);
    hear(PUBCOMP, 3, {"m3 delivered"});
}

TEST_P(event_publish, messages_wait_for_a_connection_on_request) {
    open();
    EXPECT_EQ(send(1), ZEP_MQTT_SDK_ERR_NOT_CONNECTED);
    zep_mqtt_sdk_client_destroy(handle);
    options.accept_offline = 1;
    options.max_unacknowledged = 2;
    open();
    EXPECT_EQ(send(0), ZEP_MQTT_SDK_ERR_NOT_CONNECTED);
    EXPECT_EQ(send(1), ZEP_MQTT_SDK_OK);
    EXPECT_EQ(send(2), ZEP_MQTT_SDK_OK);
    EXPECT_EQ(send(1), ZEP_MQTT_SDK_ERR_CACHE);
    zep_mqtt_sdk_client_connect(handle);
    greet(connect_packet(), v->connack);
    expect_heard({connected()});
    broker.expect(joined({lay(v->publish1, 1), lay(v->publish2, 2)}));
    hear(PUBACK, 1, {"m1 delivered", "room"});
    hear(PUBREC, 2, {});
    broker.expect(PUBREL, 2);
    hear(PUBCOMP, 2, {"m2 delivered"});
}

TEST_P(event_publish, what_has_expired_is_not_sent) {
    options.accept_offline = 1;
    open();
    EXPECT_EQ(send(1, "hi", "t", 10), ZEP_MQTT_SDK_OK);
    EXPECT_EQ(send(1, "hi", "t", 30), ZEP_MQTT_SDK_OK);
    EXPECT_LE(zep_mqtt_sdk_client_get_due_ms(handle), 10000u);
    move_time(10001);
    turn();
    expect_heard({"m1 expired"});
    zep_mqtt_sdk_client_connect(handle);
    greet(connect_packet(), v->connack);
    expect_heard({connected()});
    // Its time goes on with what is left of it, rounded up.
    broker.expect(is_50() ? "32 0d 0001 't' id 05 02 00000014 'hi'" : v->publish1, 2);
    // In flight it is the broker's to drop; when it would have to be repeated, it is not.
    move_time(20001);
    turn();
    expect_heard({});
    lose_link();
    greet(connect_packet(), v->connack);
    expect_heard({connected(), "m2 expired"});
    broker.expect_nothing();
}

TEST_P(event_publish, what_expired_in_flight_does_not_count_on_the_next_connection) {
    options.resume_session = 1;
    options.accept_offline = 1;
    options.qos2_window = 1;
    open();
    zep_mqtt_sdk_client_connect(handle);
    const auto begin = [&](const char *connack) {
        turn();
        broker.accept();
        turn();
        (void)broker.take(is_50() ? 27 : 16);
        broker.send(is_50() && connack == v->connack ? "20 06 00 00 03 21 0001"
                    : is_50()                        ? "20 06 01 00 03 21 0001"
                                                     : connack);
        turn();
    };
    begin(v->connack);
    expect_heard({connected()});
    send(2, "hi", "t", 5);
    (void)broker.take(is_50() ? 15 : 9);
    move_time(5001);
    lose_link();
    begin(v->connack_present);
    expect_heard({connected(true), "m1 expired"});
    broker.expect_nothing();
    // The broker has it all the same, and carries it to its end.
    hear(PUBREC, 1, {});
    broker.expect(PUBREL, 1);
    hear(PUBCOMP, 1, {});
    send(2);
    broker.expect(v->publish2, 2);
    hear(PUBREC, 2, {});
    broker.expect(PUBREL, 2);
    hear(PUBCOMP, 2, {"m2 delivered"});
}

TEST_P(event_publish, a_full_outbound_buffer_refuses_whole_messages_and_tells_of_room) {
    connect();
    const std::string big(4000, 'x');
    int accepted = 0;
    int32_t result = ZEP_MQTT_SDK_OK;
    while ((result = send(0, big.c_str())) == ZEP_MQTT_SDK_OK) {
        ASSERT_LT(++accepted, 10000);
    }
    EXPECT_EQ(result, ZEP_MQTT_SDK_ERR_BUSY);
    EXPECT_EQ(send(1, big.c_str()), ZEP_MQTT_SDK_ERR_BUSY);
    EXPECT_EQ(zep_mqtt_sdk_client_get_interest(handle),
              uint32_t{ZEP_MQTT_SDK_READABLE | ZEP_MQTT_SDK_WRITABLE});
    // An acknowledgement still finds room.
    broker.send(v->publish1, 7);
    turn();
    journal heard;
    heard.push_back("message t [hi] qos=1");
    for (int i = 1; i <= accepted; ++i) {
        heard.push_back("m" + std::to_string(i) + " delivered");
    }
    heard.push_back("room");
    const size_t size = is_50() ? 4007 : 4006;
    const bytes one = broker.take(size);
    for (int i = 1; i < accepted; ++i) {
        ASSERT_EQ(broker.take(size), one) << i;
        turn();
    }
    turn(2);
    broker.expect(PUBACK, 7);
    expect_heard(heard);
    EXPECT_EQ(send(1, big.c_str()), ZEP_MQTT_SDK_OK);
    EXPECT_EQ(broker.take(size + 2).size(), size + 2);
    hear(PUBACK, 1, {"m" + std::to_string(accepted + 1) + " delivered"});
}

TEST_P(event_publish, a_cancelled_message_is_not_heard_of_again) {
    options.accept_offline = 1;
    open();
    send(1);
    send(2);
    const zep_mqtt_sdk_token first = named[0];
    EXPECT_EQ(zep_mqtt_sdk_client_cancel(handle, first), ZEP_MQTT_SDK_OK);
    EXPECT_EQ(zep_mqtt_sdk_client_cancel(handle, first), ZEP_MQTT_SDK_ERR_CACHE);
    EXPECT_EQ(zep_mqtt_sdk_client_cancel(handle, 12345), ZEP_MQTT_SDK_ERR_CACHE);
    EXPECT_EQ(zep_mqtt_sdk_client_cancel(handle, 0), ZEP_MQTT_SDK_ERR_CACHE);
    turn();
    expect_heard({"m1 cancelled"});
    zep_mqtt_sdk_client_connect(handle);
    greet(connect_packet(), v->connack);
    expect_heard({connected()});
    broker.expect(v->publish2, 2);
    // What has left is carried to its end, silently.
    EXPECT_EQ(zep_mqtt_sdk_client_cancel(handle, named[1]), ZEP_MQTT_SDK_OK);
    turn();
    expect_heard({"m2 cancelled"});
    hear(PUBREC, 2, {});
    broker.expect(PUBREL, 2);
    hear(PUBCOMP, 2, {});
    EXPECT_EQ(zep_mqtt_sdk_client_cancel(handle, named[1]), ZEP_MQTT_SDK_ERR_CACHE);
}

TEST_P(event_publish, the_cipher_protects_what_leaves) {
    uint8_t key[16];
    for (uint8_t i = 0; i < 16; ++i) {
        key[i] = static_cast<uint8_t>(i + 1);
    }
    config.crypto_enable = 1;
    config.crypto_key = config.crypto_iv = key;
    connect();
    EXPECT_EQ(send(1), ZEP_MQTT_SDK_OK);
    broker.expect(is_50() ? "32 0a 0001 't' id 00 69 6b 6e 0f" : "32 09 0001 't' id 69 6b 6e 0f",
                  1);
    hear(is_50() ? "32 0a 0001 't' id 00 69 6b 6e 0f" : "32 09 0001 't' id 69 6b 6e 0f", 4,
         {"message t [hi] qos=1"});
    broker.expect(PUBACK, 4);
    hear(is_50() ? "32 0a 0001 't' id 00 69 6b 6e 10" : "32 09 0001 't' id 69 6b 6e 10", 5,
         {"passed over why=2 topic=t size=4 id=5 qos=1"});
    broker.expect(PUBACK, 5);
    hear(PUBACK, 1, {"m1 delivered"});
}

TEST_P(event_publish, a_batch_leaves_in_one_piece_and_stops_at_the_first_refusal) {
    connect();
    zep_mqtt_sdk_msg msgs[4] = {};
    for (zep_mqtt_sdk_msg &msg : msgs) {
        msg = {"t", reinterpret_cast<const uint8_t *>("hi"), 2, 1, 0, 0};
    }
    msgs[2].qos = 3;
    zep_mqtt_sdk_token tokens[4] = {};
    uint32_t accepted = 99;
    const uint64_t calls = socket_calls_made();
    EXPECT_EQ(zep_mqtt_sdk_client_send_all(handle, msgs, 4, tokens, &accepted),
              ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(socket_calls_made() - calls, 1u);
    EXPECT_EQ(accepted, 2u);
    EXPECT_EQ(tokens[2], 0u);
    named = {tokens[0], tokens[1]};
    broker.expect(joined({lay(v->publish1, 1), lay(v->publish1, 2)}));
    broker.send(joined({lay(PUBACK, 1), lay(PUBACK, 2)}));
    turn();
    expect_heard({"m1 delivered", "m2 delivered"});
}

class event_publish50 : public event_test {
 protected:
    event_publish50() : event_test(V50) {}
};

TEST_F(event_publish50, refusals_of_the_broker_are_fates) {
    connect();
    send(1);
    send(2);
    send(2);
    send(1);
    broker.expect(joined(
        {lay(v->publish1, 1), lay(v->publish2, 2), lay(v->publish2, 3), lay(v->publish1, 4)}));
    hear("40 03 id 87", 1, {"m1 refused 87"});
    hear("50 04 id 97 00", 2, {"m2 refused 97"});
    hear("50 03 id 10", 3, {});
    broker.expect(PUBREL, 3);
    hear("70 03 id 92", 3, {"m3 refused 92"});
    hear("40 03 id 10", 4, {"m4 delivered 10"});
}

TEST_F(event_publish50, receive_maximum_lets_messages_wait_their_turn) {
    connect("20 06 00 00 03 21 0002");
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(send(i == 0 ? 2 : 1), ZEP_MQTT_SDK_OK);
    }
    broker.expect(joined({lay(v->publish2, 1), lay(v->publish1, 2)}));
    broker.expect_nothing();
    hear(PUBREC, 1, {});
    broker.expect(PUBREL, 1);  // still counts until its PUBCOMP
    broker.expect_nothing();
    hear(PUBACK, 2, {"m2 delivered"});
    broker.expect(v->publish1, 3);
    hear(PUBCOMP, 1, {"m1 delivered"});
    broker.expect(v->publish1, 4);
    broker.send(joined({lay(PUBACK, 3), lay(PUBACK, 4)}));
    turn();
    expect_heard({"m3 delivered", "m4 delivered"});
}

TEST_F(event_publish50, what_a_new_broker_cannot_take_is_refused) {
    options.accept_offline = 1;
    open();
    send(2);
    send(1, "hi", "t", 0, true);
    send(1, "0123456789");
    send(1);
    zep_mqtt_sdk_client_connect(handle);
    greet(connect_packet(), "20 0c 00 00 09 24 01 25 00 27 00000010");
    expect_heard({connected(), "m1 refused 9b", "m2 refused 9a", "m3 refused 95"});
    broker.expect(v->publish1, 4);
    hear(PUBACK, 4, {"m4 delivered"});
}
