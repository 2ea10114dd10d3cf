// What becomes of what arrives.
#include "event_client/event_fixture.h"
#include "support/failing_malloc.h"
#include "support/socket_calls.h"

using namespace zep_test;

FOR_BOTH_VERSIONS(event_receive);

TEST_P(event_receive, is_acknowledged_when_its_handler_has_returned_and_together) {
    connect();
    broker.send(joined(
        {lay(v->publish0), lay(v->publish1, 7), lay(v->publish2, 8), lay(v->publish1_dup, 9)}));
    turn(0);  // waits until all has arrived
    const uint64_t calls = socket_calls_made();
    EXPECT_EQ(zep_mqtt_sdk_client_loop_for(handle, 0), ZEP_MQTT_SDK_OK);
    EXPECT_EQ(socket_calls_made() - calls, 2u);  // one read, one send
    broker.expect(joined({lay(PUBACK, 7), lay(PUBREC, 8), lay(PUBACK, 9)}));
    expect_heard({"message t [hi] qos=0", "message t [hi] qos=1", "message t [hi] qos=2",
                  "message t [hi] qos=1 dup"});
    hear(v->publish2_dup, 8, {});  // not twice
    broker.expect(PUBREC, 8);
    hear(PUBREL, 8, {});
    broker.expect(PUBCOMP, 8);
    hear(v->publish2, 8, {"message t [hi] qos=2"});  // another one under its identifier
    broker.expect(PUBREC, 8);
    hear(PUBREL, 77, {});
    broker.expect(PUBCOMP, 77);
    EXPECT_EQ(receipt, 0u);
    in_message = [&](const zep_mqtt_sdk_inbound &) { broker.expect_nothing(); };
    hear(v->publish1, 10, {"message t [hi] qos=1"});
    broker.expect(PUBACK, 10);
}

TEST_P(event_receive, a_handler_may_publish_subscribe_and_disconnect) {
    connect();
    in_message = [&](const zep_mqtt_sdk_inbound &) {
        EXPECT_EQ(send(1), ZEP_MQTT_SDK_OK);
        broker.expect(v->publish1, 1);  // at once, not after the handler
        EXPECT_EQ(zep_mqtt_sdk_client_subscribe_to(handle, "a/#", 1, nullptr), ZEP_MQTT_SDK_OK);
    };
    broker.send(v->publish1, 7);
    turn();
    broker.expect(joined({lay(v->subscribe, 129), lay(PUBACK, 7)}));
    expect_heard({"message t [hi] qos=1"});
    in_message = [&](const zep_mqtt_sdk_inbound &) { zep_mqtt_sdk_client_disconnect(handle); };
    broker.send(joined({lay(v->publish1, 8), lay(v->publish1, 9)}));
    turn();
    broker.expect("e0 00");  // and no acknowledgement
    broker.expect_closed();
    expect_heard({"message t [hi] qos=1"});
}

TEST_P(event_receive, a_resumed_session_delivers_qos_2_once) {
    options.resume_session = 1;
    config.session_expiry_interval = 1;
    open();
    zep_mqtt_sdk_client_connect(handle);
    const char *const connect50 =
        "10 19 0004 'MQTT' 05 02 003c 0a 11 00000001 27 00001000 0002 'c1'";
    const char *const again50 = "10 19 0004 'MQTT' 05 00 003c 0a 11 00000001 27 00001000 0002 'c1'";
    greet(is_50() ? connect50 : connect_packet(false), v->connack);
    expect_heard({connected()});
    hear(v->publish2, 5, {"message t [hi] qos=2"});
    broker.expect(PUBREC, 5);
    lose_link();
    greet(is_50() ? again50 : connect_packet(false), v->connack_present);
    expect_heard({connected(true)});
    hear(v->publish2_dup, 5, {});
    broker.expect(PUBREC, 5);
    lose_link();
    greet(is_50() ? again50 : connect_packet(false), v->connack);
    expect_heard({connected()});
    hear(v->publish2, 5, {"message t [hi] qos=2"});  // a new session, a new message
    broker.expect(PUBREC, 5);
}

TEST_P(event_receive, manual_acknowledgements_leave_in_the_order_of_arrival) {
    options.manual_acknowledge = 1;
    connect();
    std::vector<uint64_t> receipts;
    in_message = [&](const zep_mqtt_sdk_inbound &message) { receipts.push_back(message.receipt); };
    broker.send(
        joined({lay(v->publish1, 1), lay(v->publish0), lay(v->publish2, 2), lay(v->publish1, 3)}));
    turn();
    expect_heard({"message t [hi] qos=1", "message t [hi] qos=0", "message t [hi] qos=2",
                  "message t [hi] qos=1"});
    ASSERT_EQ(receipts.size(), 4u);
    EXPECT_EQ(receipts[1], 0u);
    EXPECT_EQ(zep_mqtt_sdk_client_acknowledge(handle, receipts[3]), ZEP_MQTT_SDK_OK);
    EXPECT_EQ(zep_mqtt_sdk_client_acknowledge(handle, receipts[3]), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(zep_mqtt_sdk_client_acknowledge(handle, 99), ZEP_MQTT_SDK_ERR_PARAM);
    broker.expect_nothing();
    EXPECT_EQ(zep_mqtt_sdk_client_acknowledge(handle, receipts[0]), ZEP_MQTT_SDK_OK);
    broker.expect(PUBACK, 1);
    EXPECT_EQ(zep_mqtt_sdk_client_acknowledge(handle, receipts[2]), ZEP_MQTT_SDK_OK);
    broker.expect(joined({lay(PUBREC, 2), lay(PUBACK, 3)}));
    // A receipt of a connection that has ended is of no use, and no error.
    hear(v->publish1, 4, {"message t [hi] qos=1"});
    lose_link();
    EXPECT_EQ(zep_mqtt_sdk_client_acknowledge(handle, receipts.back()), ZEP_MQTT_SDK_OK);
}

TEST_P(event_receive, packets_are_found_however_the_stream_is_cut) {
    connect();
    const bytes stream = joined({lay(v->publish1, 300), lay(v->publish0), lay(v->publish2, 301)});
    for (size_t cut = 1; cut < stream.size(); ++cut) {
        broker.send(bytes(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(cut)));
        turn();
        broker.send(bytes(stream.begin() + static_cast<std::ptrdiff_t>(cut), stream.end()));
        turn();
        broker.send(PUBREL, 301);
        turn();
        broker.expect(joined({lay(PUBACK, 300), lay(PUBREC, 301), lay(PUBCOMP, 301)}));
        expect_heard({"message t [hi] qos=1", "message t [hi] qos=0", "message t [hi] qos=2"});
    }
}

TEST_P(event_receive, the_largest_packet_is_taken_and_a_larger_one_passed_over) {
    connect();
    const std::string head = is_50() ? "0001 't' id 00" : "0001 't' id";
    const size_t overhead = is_50() ? 9 : 8;
    const std::string largest(4096 - overhead, 'x');
    uint32_t arrived = 0;
    in_message = [&](const zep_mqtt_sdk_inbound &message) { arrived = message.payload_len; };
    broker.send("32 fd 1f " + head + " 78*" + std::to_string(largest.size()), 3);
    turn(2);
    EXPECT_EQ(arrived, largest.size());
    broker.expect(PUBACK, 3);
    broker.send("32 fe 1f " + head + " 78*" + std::to_string(largest.size() + 1), 4);
    turn(2);
    broker.expect(PUBACK, 4);
    expect_heard(
        {"message t [" + largest + "] qos=1", "passed over why=1 topic=t size=4097 id=4 qos=1"});
}

TEST_P(event_receive, what_the_limits_cannot_take_is_acknowledged_and_told) {
    options.max_packet_in = 128;
    open();
    zep_mqtt_sdk_client_connect(handle);
    greet(is_50() ? "10 14 0004 'MQTT' 05 02 003c 05 27 00000080 0002 'c1'" : connect_packet(),
          v->connack);
    expect_heard({connected()});
    const std::string head = is_50() ? "0001 't' id 00" : "0001 't' id";
    const std::string rest = is_50() ? " 78*144" : " 78*145";
    const bytes oversized = lay("34 96 01 " + head + rest, 6);
    for (size_t cut = 1; cut < oversized.size(); cut += 7) {
        broker.send(bytes(oversized.begin(), oversized.begin() + static_cast<std::ptrdiff_t>(cut)));
        turn();
        broker.send(bytes(oversized.begin() + static_cast<std::ptrdiff_t>(cut), oversized.end()));
        turn();
        expect_heard({"passed over why=1 topic=t size=153 id=6 qos=2"});
        hear(PUBREL, 6, {});
        broker.expect(joined({lay(PUBREC, 6), lay(PUBCOMP, 6)}));
    }
    // A topic that is longer than the buffer hides the identifier; it is found all the same.
    const bytes hidden = lay("32 b0 09 0400 74*1024 id 78*172", 0x1234);
    for (size_t piece = 1; piece < 200; piece += 33) {
        for (size_t at = 0; at < hidden.size(); at += piece) {
            broker.send(bytes(
                hidden.begin() + static_cast<std::ptrdiff_t>(at),
                hidden.begin() + static_cast<std::ptrdiff_t>(std::min(at + piece, hidden.size()))));
            turn();
        }
        turn(3);
        expect_heard(
            {"passed over why=1 topic=" + std::string(63, 't') + " size=1203 id=4660 qos=1"});
        broker.expect(PUBACK, 0x1234);
    }
    hear(v->publish0, 0, {"message t [hi] qos=0"});
    const bytes untold = lay("30 b0 09 0400 74*1024 78*174");
    broker.send(bytes(untold.begin(), untold.begin() + 600));
    turn();
    broker.send(bytes(untold.begin() + 600, untold.end()));
    turn(2);
    expect_heard({"passed over why=1 topic=" + std::string(63, 't') + " size=1203 id=0 qos=0"});
    broker.send(lay("32 b0 09 0400 74*1024 id 78*172", 0));
    turn(2);
    expect_heard({"lost cause=5 code=82"});
}

struct fault {
    const char *what;
    const char *packet311;  // null: not wrong there
    const char *packet50;
    int reason;
};

constexpr fault FAULTS[] = {
    {"length of five bytes", "30 ff ff ff ff 01", "30 ff ff ff ff 01", 0x81},
    {"length not in its shortest form", "30 85 00 0001 't' 'hi'", "30 86 00 0001 't' 00 'hi'",
     0x81},
    {"second CONNACK", "20 02 00 00", "20 03 00 00 00", 0x82},
    {"QoS 3", "36 07 0001 't' 0001 'hi'", "36 08 0001 't' 0001 00 'hi'", 0x81},
    {"DUP at QoS 0", "38 05 0001 't' 'hi'", "38 06 0001 't' 00 'hi'", 0x82},
    {"identifier 0", "32 07 0001 't' 0000 'hi'", "32 08 0001 't' 0000 00 'hi'", 0x82},
    {"empty topic", "30 04 0000 'hi'", "30 05 0000 00 'hi'", 0x82},
    {"wildcard in a topic", "30 05 0001 '#' 'hi'", "30 06 0001 '+' 00 'hi'", 0x90},
    {"U+0000 in a topic", "30 05 0001 00 'hi'", "30 06 0001 00 00 'hi'", 0x81},
    {"ill-formed UTF-8", "30 06 0002 c080 'hi'", "30 07 0002 c080 00 'hi'", 0x81},
    {"surrogate", "30 07 0003 eda080 'hi'", "30 08 0003 eda080 00 'hi'", 0x81},
    {"topic past the end", "30 05 0009 't' 'hi'", "30 06 0009 't' 00 'hi'", 0x81},
    {"no room for the identifier", "32 03 0001 't'", "32 04 0001 't' 00", 0x81},
    {"property length past the end", nullptr, "30 06 0001 't' 09 'hi'", 0x81},
    {"unknown property", nullptr, "30 08 0001 't' 02 7f 00 'hi'", 0x81},
    {"property of another packet", nullptr, "30 09 0001 't' 03 13 0001 'hi'", 0x82},
    {"property twice", nullptr, "30 0a 0001 't' 04 01 00 01 00 'hi'", 0x82},
    {"subscription identifier 0", nullptr, "30 08 0001 't' 02 0b 00 'hi'", 0x82},
    {"value out of range", nullptr, "30 08 0001 't' 02 01 02 'hi'", 0x82},
    {"value cut short", nullptr, "30 09 0001 't' 03 02 0000 'hi'", 0x81},
    {"topic alias that was not offered", nullptr, "30 09 0001 't' 03 23 0001 'hi'", 0x94},
    {"user property that is no text", nullptr, "30 0b 0001 't' 05 26 0001 ff 0000 'hi'", 0x81},
    {"reserved flags in PUBACK", "41 02 0001", "41 02 0001", 0x81},
    {"reserved flags in PUBREL", "60 02 0001", "60 02 0001", 0x81},
    {"reserved flags in SUBACK", "91 03 0081 00", "91 04 0081 00 00", 0x81},
    {"PUBACK of identifier 0", "40 02 0000", "40 02 0000", 0x82},
    {"PUBACK that is too short", "40 01 00", "40 01 00", 0x81},
    {"PUBACK that is too long", "40 03 0001 00", "40 05 0001 00 00 00", 0x81},
    {"reason code that PUBCOMP has not", nullptr, "70 03 0001 10", 0x82},
    {"SUBACK with two codes", "90 04 0081 00 00", "90 05 0081 00 00 00", 0x81},
    {"granted QoS 3", "90 03 0081 03", "90 04 0081 00 03", 0x82},
    {"SUBACK without a code", "90 02 0081", "90 03 0081 00", 0x81},
    {"PINGRESP with a body", "d0 01 00", "d0 01 00", 0x81},
    {"packet of a client", "c0 00", "82 09 0001 00 0003 'a/#' 01", 0x82},
    {"AUTH without a method", "f0 00", "f0 00", 0x82},
    {"DISCONNECT", "e0 00", nullptr, 0x82},
    {"session expiry in DISCONNECT", nullptr, "e0 07 00 05 11 00000001", 0x82},
};

TEST_P(event_receive, what_the_standard_forbids_ends_the_connection_with_its_reason) {
    for (const fault &each : FAULTS) {
        SCOPED_TRACE(each.what);
        const char *packet = is_50() ? each.packet50 : each.packet311;
        if (packet == nullptr) {
            continue;
        }
        connect();
        char reason[16];
        std::snprintf(reason, sizeof reason, "%02x", each.reason);
        hear(packet, 0, {std::string("lost cause=5 code=") + reason});
        if (is_50()) {
            broker.expect("e0 01 " + std::string(reason));
        }
        broker.expect_closed();
        zep_mqtt_sdk_client_destroy(handle);
        handle = nullptr;
    }
    open();
}

TEST_P(event_receive, only_a_sound_connack_begins_a_connection) {
    const std::vector<std::pair<const char *, const char *>> bad = {
        {"20 02 02 00", "82"}, {"20 02 00 06", "82"}, {"21 02 00 00", "81"},
        {"20 01 00", "81"},    {"d0 00", "82"},       {"20 02 01 05", "82"}};
    const std::vector<std::pair<const char *, const char *>> bad50 = {
        {"20 03 02 00 00", "81"},         {"20 03 00 05 00", "82"},
        {"20 03 01 87 00", "82"},         {"20 02 00 00", "81"},
        {"20 06 00 00 03 21 0000", "82"}, {"20 08 00 00 05 27 00000000", "82"},
        {"20 05 00 00 02 24 02", "82"},   {"20 05 00 00 02 01 00", "82"}};
    for (const auto &[packet, reason] : is_50() ? bad50 : bad) {
        SCOPED_TRACE(packet);
        open();
        zep_mqtt_sdk_client_connect(handle);
        greet(connect_packet(), packet);
        const std::string told = packet == std::string("20 02 02 00") ? "81" : reason;
        expect_heard({"failed cause=5 code=" + told});
        if (is_50()) {
            broker.expect("e0 01 " + told);
        }
        broker.expect_closed();
        zep_mqtt_sdk_client_destroy(handle);
        handle = nullptr;
    }
    open();
}

TEST_P(event_receive, what_there_was_no_memory_for_is_delivered_when_it_comes_again) {
    options.resume_session = options.manual_acknowledge = 1;
    config.clean_start = 0;
    const std::string connect_again =
        is_50() ? "10 19 0004 'MQTT' 05 00 003c 0a 11 00000e10 27 00001000 0002 'c1'"
                : connect_packet(false);
    open();
    zep_mqtt_sdk_client_connect(handle);
    greet(connect_again, v->connack);
    expect_heard({connected()});
    {
        const failing_malloc starved(1);  // the identifiers received are noted, the receipt is not
        hear(v->publish2, 8, {"lost cause=7 code=00"});
        EXPECT_TRUE(starved.has_failed());
    }
    broker.scripted_broker::close();
    move_time(60000);
    greet(connect_again, v->connack_present);
    expect_heard({connected(true)});
    hear(v->publish2_dup, 8, {"message t [hi] qos=2 dup"});
}
