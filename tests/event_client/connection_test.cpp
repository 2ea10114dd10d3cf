// How a connection begins, is kept and ends.
#include "event_client/event_fixture.h"

using namespace zep_test;

FOR_BOTH_VERSIONS(event_connection);

TEST_P(event_connection, tells_and_stays_away_after_a_disconnect) {
    open();
    turn();
    broker.expect_no_connection();  // opening does not connect
    EXPECT_EQ(zep_mqtt_sdk_client_get_due_ms(handle), UINT32_MAX);
    EXPECT_EQ(zep_mqtt_sdk_client_connect(handle), ZEP_MQTT_SDK_OK);
    EXPECT_EQ(zep_mqtt_sdk_client_get_due_ms(handle), 0u);
    turn();
    EXPECT_EQ(state(), ZEP_MQTT_SDK_CONNECTING);
    broker.accept();
    turn();
    broker.expect(connect_packet());
    EXPECT_EQ(zep_mqtt_sdk_client_get_interest(handle), uint32_t{ZEP_MQTT_SDK_READABLE});
    broker.send(v->connack);
    turn();
    expect_heard({connected()});
    EXPECT_EQ(state(), ZEP_MQTT_SDK_CONNECTED);

    EXPECT_EQ(zep_mqtt_sdk_client_disconnect(handle), ZEP_MQTT_SDK_OK);
    broker.expect("e0 00");
    broker.expect_closed();
    EXPECT_EQ(zep_mqtt_sdk_client_get_socket(handle), -1);
    move_time(100000);
    turn();
    broker.expect_no_connection();
    EXPECT_EQ(state(), ZEP_MQTT_SDK_DISCONNECTED);
}

TEST_P(event_connection, refused_by_the_broker_is_told_apart_and_tried_again) {
    open();
    zep_mqtt_sdk_client_connect(handle);
    greet(connect_packet(), v->connack_refused);
    expect_heard({is_50() ? "refused cause=0 code=87" : "refused cause=0 code=05"});
    broker.expect_closed();
    move_time(60000);
    greet(connect_packet(), v->connack);
    expect_heard({connected()});
}

TEST_P(event_connection, back_off_doubles_up_to_its_limit_with_jitter) {
    uint32_t longest[6] = {};
    bool jitters = false;
    for (int run = 0; run < 20; ++run) {
        options.first_backoff_ms = 100;
        options.longest_backoff_ms = 800;
        broker.stop_listening();
        std::vector<uint32_t> waits;
        in_link = [&](const zep_mqtt_sdk_link_event &event) { waits.push_back(event.retry_ms); };
        open();
        zep_mqtt_sdk_client_connect(handle);
        for (size_t attempt = 0; attempt < 6; ++attempt) {
            turn();
            ASSERT_EQ(waits.size(), attempt + 1);
            longest[attempt] = std::max(longest[attempt], waits[attempt]);
            EXPECT_EQ(zep_mqtt_sdk_client_get_due_ms(handle) > waits.back(), false);
            move_time(waits.back() + 1);
        }
        jitters = jitters || waits[5] < 400;
        expect_heard(journal(6, "failed cause=1 code=00"));
        zep_mqtt_sdk_client_destroy(handle);
        handle = nullptr;
    }
    const uint32_t bounds[] = {100, 200, 400, 800, 800, 800};
    for (int i = 0; i < 6; ++i) {
        EXPECT_LE(longest[i], bounds[i]);
        EXPECT_GT(longest[i], bounds[i] / 2);  // 20 draws from 0 to the bound
    }
    EXPECT_TRUE(jitters);
    handle = nullptr;
}

TEST_P(event_connection, addresses_take_turns_without_a_wait) {
    scripted_broker second;
    zep_mqtt_sdk_address more = {"127.0.0.1", second.port()};
    options.more_addresses = &more;
    options.more_address_count = 1;
    broker.stop_listening();
    open();
    zep_mqtt_sdk_client_connect(handle);
    turn(3);
    second.accept();
    turn();
    second.expect(connect_packet());
    second.send(v->connack);
    turn();
    expect_heard({"failed cause=1 code=00", connected()});
}

TEST_P(event_connection, time_out_covers_the_whole_attempt_but_not_what_has_arrived) {
    options.connect_timeout_ms = 3000;
    open();
    zep_mqtt_sdk_client_connect(handle);
    turn();
    broker.accept();
    turn();
    broker.expect(connect_packet());
    move_time(2900);
    turn();
    expect_heard({});
    move_time(101);
    turn();
    expect_heard({"failed cause=3 code=00"});
    broker.expect_closed();

    move_time(60000);
    turn();
    broker.accept();
    turn();
    broker.expect(connect_packet());
    broker.send(v->connack);
    move_time(60000);  // the loop comes late; the CONNACK has been there in time
    turn();
    expect_heard({connected()});
}

TEST_P(event_connection, keep_alive_asks_and_gives_a_silent_broker_up) {
    options.pingresp_timeout_ms = 5000;
    connect();
    move_time(29000);
    turn();
    broker.expect_nothing();
    EXPECT_LE(zep_mqtt_sdk_client_get_due_ms(handle), 1000u);
    move_time(1001);
    turn();
    broker.expect(PINGREQ);
    broker.send(PINGRESP);
    turn();
    // Sending alone does not show that the broker lives.
    move_time(29000);
    EXPECT_EQ(send(0), ZEP_MQTT_SDK_OK);
    turn();
    broker.expect(v->publish0);
    move_time(1001);
    turn();
    broker.expect(PINGREQ);
    move_time(4900);
    turn();
    expect_heard({"m1 delivered"});
    move_time(101);
    turn();
    expect_heard({"lost cause=4 code=00"});
    broker.expect_closed();
}

TEST_P(event_connection, a_packet_that_never_ends_is_given_up) {
    config.keep_alive = 0;
    open();
    zep_mqtt_sdk_client_connect(handle);
    greet(is_50() ? "10 14 0004 'MQTT' 05 02 0000 05 27 00001000 0002 'c1'"
                  : "10 0e 0004 'MQTT' 04 02 0000 0002 'c1'",
          v->connack);
    expect_heard({connected()});
    hear("30 7f 00", 0, {});
    move_time(59000);
    hear("01", 0, {});
    move_time(1001);
    turn();
    expect_heard({"lost cause=4 code=00"});
}

TEST_P(event_connection, a_session_is_resumed_on_request) {
    options.resume_session = 1;
    config.session_expiry_interval = 300;
    const std::string first =
        is_50() ? "10 19 0004 'MQTT' 05 02 003c 0a 11 0000012c 27 00001000 0002 'c1'"
                : connect_packet(false);
    const std::string again =
        is_50() ? "10 19 0004 'MQTT' 05 00 003c 0a 11 0000012c 27 00001000 0002 'c1'"
                : connect_packet(false);
    open();
    zep_mqtt_sdk_client_connect(handle);
    greet(first, v->connack);
    expect_heard({connected()});
    lose_link();
    greet(again, v->connack_present);
    expect_heard({connected(true)});
}

TEST_P(event_connection, a_session_that_nobody_asked_for_is_a_protocol_error) {
    open();
    zep_mqtt_sdk_client_connect(handle);
    greet(connect_packet(), v->connack_present);
    if (is_50()) {
        broker.expect("e0 01 82");
    }
    broker.expect_closed();
    expect_heard({"failed cause=5 code=82"});
}

TEST_P(event_connection, may_end_inside_of_any_callback) {
    in_link = [&](const zep_mqtt_sdk_link_event &) {
        EXPECT_EQ(zep_mqtt_sdk_client_loop_for(handle, 0), ZEP_MQTT_SDK_ERR_BUSY);
        EXPECT_EQ(zep_mqtt_sdk_client_disconnect(handle), ZEP_MQTT_SDK_OK);
    };
    connect();
    broker.expect("e0 00");
    broker.expect_closed();
    in_link = nullptr;
    zep_mqtt_sdk_client_connect(handle);
    greet(connect_packet(), v->connack);
    expect_heard({connected()});
    EXPECT_EQ(send(1), ZEP_MQTT_SDK_OK);
    broker.expect(v->publish1, 1);
    in_message = [&](const zep_mqtt_sdk_inbound &) {
        zep_mqtt_sdk_client_destroy(handle);
        handle = nullptr;
    };
    broker.send(joined({lay(v->publish1, 9), lay(v->publish0)}));
    zep_mqtt_sdk_client_loop_for(handle, 0);
    expect_heard({"message t [hi] qos=1", "m1 cancelled"});
    broker.expect("e0 00");
    broker.expect_closed();
}

TEST_P(event_connection, a_handle_that_ends_ends_once) {
    connect();
    send(1), send(1);
    broker.expect(joined({lay(v->publish1, 1), lay(v->publish1, 2)}));
    in_fate = [&](const zep_mqtt_sdk_fate_event &) {
        zep_mqtt_sdk_client_connect(handle);  // of a handle that is being closed: in vain
        zep_mqtt_sdk_client_destroy(handle);
    };
    in_message = [&](const zep_mqtt_sdk_inbound &) { zep_mqtt_sdk_client_destroy(handle); };
    broker.send(v->publish0);
    turn();
    handle = nullptr;
    expect_heard({"message t [hi] qos=0", "m1 cancelled", "m2 cancelled"});
    broker.expect("e0 00");
    broker.expect_closed();
    broker.expect_no_connection();
}

TEST_P(event_connection, one_kind_of_handle_is_not_the_other) {
    open();
    EXPECT_EQ(zep_mqtt_sdk_client_subscribe(handle, "a", 0, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    zep_mqtt_sdk_client *basic = zep_mqtt_sdk_client_create(
        &config, [](const zep_mqtt_sdk_msg *) {}, nullptr);
    zep_mqtt_sdk_msg msg = {"t", nullptr, 0, 0, 0, 0};
    EXPECT_EQ(zep_mqtt_sdk_client_loop_for(basic, 0), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(zep_mqtt_sdk_client_send(basic, &msg, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(zep_mqtt_sdk_client_get_socket(basic), -1);
    EXPECT_EQ(zep_mqtt_sdk_client_wake(basic), ZEP_MQTT_SDK_ERR_PARAM);
    zep_mqtt_sdk_client *both[] = {handle, basic};
    EXPECT_EQ(zep_mqtt_sdk_loop_all(both, 2, 0), ZEP_MQTT_SDK_ERR_PARAM);
    zep_mqtt_sdk_client_destroy(basic);
}

TEST_P(event_connection, a_configuration_that_cannot_work_is_refused_when_opened) {
    const auto refused = [&](const char *what) {
        EXPECT_EQ(zep_mqtt_sdk_client_open(&config, &options, nullptr, nullptr), nullptr) << what;
    };
    EXPECT_EQ(zep_mqtt_sdk_client_open(nullptr, nullptr, nullptr, nullptr), nullptr);
    const std::string long_text(4096, 'x');
    const zep_mqtt_sdk_config good = config;
    config.username = long_text.c_str();
    refused("a CONNECT that is too long");
    config = good;
    config.client_id = "\xC0\x80";
    refused("an identifier that is no text");
    config = good;
    config.broker_port = 0;
    refused("no port");
    config = good;
    config.will_flag = 1;
    config.will_topic = "a/+";
    refused("a will on a filter");
    config = good;
    options.out_buffer = 1000;
    refused("a buffer smaller than a packet");
    options.out_buffer = 0;
    options.max_unacknowledged = 129;
    refused("too many unacknowledged");
    options.max_unacknowledged = 0;
    options.max_packet_in = 127;
    refused("too small a packet");
    options.max_packet_in = 0;
    config.username = std::string(200, 'u').c_str();
    const std::string name(200, 'u');
    config.username = name.c_str();
    open();  // what fits is taken, however long
}

class event_announcements : public event_test {
 protected:
    event_announcements() : event_test(V50) {}
};

TEST_F(event_announcements, are_told_and_kept_to) {
    zep_mqtt_sdk_link_event told = {};
    std::string assigned;
    in_link = [&](const zep_mqtt_sdk_link_event &event) {
        told = event;
        assigned = event.assigned_client_id == nullptr ? "" : event.assigned_client_id;
    };
    connect(
        "20 20 00 00 1d 21 0002 24 01 25 00 27 00000020 28 00 2a 00 13 000a 11 00000007 12 0002 'id'");
    EXPECT_EQ(told.receive_maximum, 2);
    EXPECT_EQ(told.maximum_qos, 1);
    EXPECT_EQ(told.retain_available, 0);
    EXPECT_EQ(told.maximum_packet_size, 32u);
    EXPECT_EQ(told.wildcard_available, 0);
    EXPECT_EQ(told.shared_available, 0);
    EXPECT_EQ(told.keep_alive_s, 10);
    EXPECT_EQ(told.session_expiry_s, 7u);
    EXPECT_EQ(assigned, "id");
    EXPECT_EQ(send(2), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(send(0, "hi", "t", 0, true), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(send(0, "0123456789012345678901234567"), ZEP_MQTT_SDK_ERR_PACKET);
    EXPECT_EQ(zep_mqtt_sdk_client_subscribe_to(handle, "a/#", 0, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(zep_mqtt_sdk_client_subscribe_to(handle, "$share/g/a", 0, nullptr),
              ZEP_MQTT_SDK_ERR_PARAM);
    move_time(5001);  // half of the broker's keep-alive
    turn();
    broker.expect(PINGREQ);
}

TEST_F(event_announcements, an_old_broker_refuses_in_its_own_words) {
    open();
    zep_mqtt_sdk_client_connect(handle);
    greet(connect_packet(), "20 02 00 01");
    expect_heard({"refused cause=0 code=01"});
}

TEST_F(event_announcements, a_disconnect_of_the_broker_is_told_with_its_reason) {
    connect();
    std::string reason;
    in_link = [&](const zep_mqtt_sdk_link_event &event) {
        reason = event.reason == nullptr ? "" : event.reason;
    };
    hear("e0 07 8b 05 1f 0002 'so'", 0, {"lost cause=6 code=8b"});
    EXPECT_EQ(reason, "so");
}
