// What only a 5.0 connection has.
#include <cstring>

#include "support/client_fixture.h"

namespace {

using namespace zep_test;

class v50_test : public client_test {
 protected:
    v50_test() : client_test(V50) {}
};

TEST_F(v50_test, the_connack_tells_what_the_broker_grants) {
    const auto expect_info = [this](const std::vector<uint32_t> &numbers, const char *id,
                                    const std::string &reason) {
        mqtt50_conn_info info = {};
        ASSERT_EQ(mqtt_client50_get_conn_info(client, &info), 0);
        const std::vector<uint32_t> told = {info.protocol_version, info.session_present,
                                            info.max_packet_size,  info.session_expiry,
                                            info.receive_maximum,  info.server_keep_alive,
                                            info.retain_available, info.shared_sub_available};
        EXPECT_EQ(told, numbers);
        EXPECT_STREQ(info.assigned_client_id, id);
        EXPECT_EQ(info.reason_string, reason);
    };
    begin_connect();
    mqtt50_conn_info none = {};
    EXPECT_EQ(mqtt_client50_get_conn_info(client, &none), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_client50_get_conn_info(client, nullptr), MQTT_ERR_INVALID_PARAM);
    hear(
        "20 30 01 00 2d 11 00000e10 12 0003 'abc' 13 001e 15 0004 'none' 1f 0002 'ok' 21 000a "
        "22 0005 25 01 27 00000800 28 01 29 01 2a 01",
        0, {"CONNACK ok"});
    expect_info({5, 1, 2048, 3600, 10, 30, 1, 1}, "abc", "ok");

    // The broker's keep-alive rules the pings, and its expiry goes back with the DISCONNECT.
    age(client->last_activity_ms, 14000);
    pass();
    broker.expect_nothing();
    age(client->last_activity_ms, 1000);
    pass();
    broker.expect(PINGREQ);
    EXPECT_EQ(mqtt_client_disconnect(client), 0);
    broker.expect("e0 07 00 05 11 00000e10");
    broker.expect_closed();

    // What the next CONNACK does not carry stays, but for retain and the largest packet; a text
    // that does not fit is left out.
    EXPECT_EQ(mqtt_client_connect(client), 0);
    broker.accept();
    broker.expect("10 0f 0004 'MQTT' 05 02 001e 00 0002 'c1'");
    hear("20 40 00 00 3d 12 0018 61*24 1f 001f 62*31", 0, {"CONNACK ok"});
    expect_info({5, 0, 65535, 3600, 10, 30, 0, 1}, "abc", std::string(31, 'b'));
}

TEST_F(v50_test, a_connack_may_refuse_or_not_decode) {
    begin_connect();
    hear("20 0f 00 86 0c 1f 0009 'bad login'", 0, {"CONNACK failed result=-4"});
    EXPECT_EQ(client->conn_info->reason_code, 0x86);
    broker.expect_closed();
    begin_connect();  // without a readable one the time-out speaks
    hear("20 02 00 05", 0, {});
    age(client->connect_tick_ms, 3000);
    pass();
    broker.expect_closed();
    // A decoded one is applied only while connecting.
    const mqtt50_connack connack = {};
    EXPECT_EQ(mqtt50_client_handle_connack(client, &connack), 0);
    EXPECT_EQ(mqtt50_client_handle_connack(client, nullptr), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(client->conn_info->protocol_version, 0u);
    // Its properties count as far as their number says, and up to one without an identifier.
    mqtt50_connack counted = {}, cut_short = {};
    counted.prop_count = 1;
    counted.props[1] = {0x13, {30}};
    cut_short.prop_count = 3;
    cut_short.props[2] = {0x13, {30}};
    for (mqtt50_connack *told : {&counted, &cut_short}) {
        const uint16_t ten = 10;
        told->props[0].id = 0x21;
        std::memcpy(told->props[0].value, &ten, sizeof ten);
        client->state = MQTT_CLIENT_CONNECTING;
        EXPECT_EQ(mqtt50_client_handle_connack(client, told), 0);
        EXPECT_EQ(std::exchange(client->conn_info->receive_maximum, 0), 10);
        EXPECT_EQ(client->config.keep_alive, 60);
    }
    client->state = MQTT_CLIENT_DISCONNECTED;
}

TEST_F(v50_test, acknowledgements_carry_reasons_and_properties) {
    connect();
    for (const auto &[packet, result] : {std::pair("40 03 id 00", ""),
                                         {"40 03 id 10", ""},
                                         {"40 04 id 80 00", " result=-5"},
                                         {"40 0b id 97 07 1f 0004 'full'", " result=-5"}}) {
        send_message(1, 1);
        hear(packet, 1, {std::string("PUBACK ok") + result + " id=1"});
    }
    send_message(2, 1);
    hear("50 04 id 80 00", 1, {"QOS2 ok id=1"});  // the reason of a PUBREC is not looked at
    broker.expect(PUBREL, 1);
    hear("70 03 id 00", 1, {"QOS2 ok id=1"});
    EXPECT_EQ(identifiers_in_use(), 0u);
    hear("90 08 id 04 1f 0001 'x' 02", 8, {"message  [02] qos=2 id=8", "SUBACK ok id=8"});
    hear("b0 08 id 04 1f 0001 'x' 11", 9, {"message  [] qos=0 id=9", "UNSUBACK ok id=9"});
    hear("34 11 0001 't' id 0a 02 0000003c 01 01 23 0005 'x'", 7, {"message t [x] qos=2 id=7"});
    hear("62 04 id 00 00", 7, {});
    broker.expect("50 02 0007 70 02 0007");
}

TEST_F(v50_test, a_message_may_expire_and_be_repeated_by_the_application) {
    connect();
    mqtt50_message msg = {};
    const auto publish_as = [&](const char *packet) {
        EXPECT_EQ(mqtt_client_publish50(client, &msg), 0);
        broker.expect(packet);
    };
    msg.topic = "t";
    publish_as("30 04 0001 't' 00");
    msg.payload = reinterpret_cast<const uint8_t *>("hi");
    msg.payload_len = 2;
    msg.qos = msg.retain = 1;
    msg.message_expiry = 60;
    publish_as("33 0d 0001 't' 0001 05 02 0000003c 'hi'");
    age_cache(2000);
    pass();
    broker.expect("3b 08 0001 't' 0001 00 'hi'");

    msg.is_dup = 1;
    msg.dup_msg_id = 42;
    publish_as("3b 0d 0001 't' 002a 05 02 0000003c 'hi'");
    EXPECT_EQ(client->session.next_packet_id, 2);
    hear(PUBACK, 42, {"PUBACK ok id=42"});
    EXPECT_EQ(identifiers_in_use(), 1u);
    msg.dup_msg_id = 1;  // still waited for: one acknowledgement leaves the other its identifier
    publish_as("3b 0d 0001 't' 0001 05 02 0000003c 'hi'");
    hear(PUBACK, 1, {"PUBACK ok id=1"});
    EXPECT_EQ(messages_cached(), 1u);
    EXPECT_EQ(identifiers_in_use(), 1u);

    EXPECT_EQ(mqtt_client_publish50(client, nullptr), MQTT_ERR_INVALID_PARAM);
    client->conn_info->protocol_version = 0;
    EXPECT_EQ(publish(0), MQTT_ERR_VERSION_UNSUPPORTED);
    client->conn_info->protocol_version = 5;
}

TEST_F(v50_test, shared_subscriptions_are_composed_or_refused) {
    connect();
    const std::string text(65, 'f'), most = text.substr(0, 49), group(33, 'g');
    struct {
        std::string filter, group, packet;  // none: refused
    } const cases[] = {{"t", "g1", "82 11 0001 00 000b '$share/g1/t' 02"},
                       {"t", "", "82 07 0002 00 0001 't' 02"},
                       {most, "1234567", "82 46 0003 00 0040 '$share/1234567/' 66*49 02"},
                       {most + "f", "1234567", ""},
                       {text, "", ""},
                       {text, "g", ""},
                       {"t", group, ""},
                       {"", "", ""}};
    for (const auto &[filter, of_group, packet] : cases) {
        EXPECT_EQ(mqtt_client_subscribe50(client, filter.c_str(), 2, of_group.c_str()),
                  packet.empty() ? MQTT_ERR_INVALID_PARAM : 0);
        broker.expect(packet);
    }
    EXPECT_EQ(unsubscribe(text.c_str()), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(subscribe(nullptr), MQTT_ERR_INTERNAL);
    EXPECT_EQ(unsubscribe(nullptr), MQTT_ERR_INTERNAL);
    EXPECT_EQ(identifiers_in_use(), 3u);
}

TEST_F(v50_test, integrators_have_operations_of_their_own) {
    uint8_t packet[512] = {};
    uint32_t size = sizeof packet;
    const auto expect_packet = [&](int32_t status, const char *expected) {
        EXPECT_EQ(status, 0);
        EXPECT_EQ(bytes(packet, packet + size), lay(expected));
        size = sizeof packet;
    };
    create();
    uint32_t none = 0;
    for (uint32_t *room : {static_cast<uint32_t *>(nullptr), &none}) {
        EXPECT_EQ(mqtt50_conn_packet_encode(client, packet, room), MQTT_ERR_INVALID_PARAM);
    }
    EXPECT_EQ(mqtt50_version_auto_detect(packet, 2, client), 5u);
    EXPECT_EQ(mqtt50_version_auto_detect(packet, 1, client), 4u);
    EXPECT_EQ(mqtt50_version_auto_detect(packet, 2, nullptr), 4u);
    client->config.mqtt_version = 9;
    EXPECT_EQ(mqtt50_version_auto_detect(packet, 2, client), 4u);
    client->config.mqtt_version = 5;
    EXPECT_EQ(mqtt50_unsubscribe_packet_encode(client, "x", packet, &size), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt50_disconnect_packet_encode(client, 0, packet, &size), MQTT_ERR_INVALID_PARAM);
    connect();
    EXPECT_EQ(mqtt50_unsubscribe_packet_encode(client, "", packet, &size), MQTT_ERR_INVALID_PARAM);
    size = sizeof packet;
    expect_packet(mqtt50_unsubscribe_packet_encode(client, "x", packet, &size),
                  "a2 06 0001 00 0001 'x'");
    expect_packet(mqtt50_disconnect_packet_encode(client, 4, packet, &size), "e0 02 04 00");

    const mqtt50_ack conflict = {1, 0x91}, good = {1, 0};
    EXPECT_EQ(mqtt50_client_handle_unsuback(client, &conflict), 0);
    EXPECT_EQ(identifiers_in_use(), 1u);
    EXPECT_EQ(mqtt50_client_handle_unsuback(client, &good), 0);
    EXPECT_EQ(identifiers_in_use(), 0u);
    EXPECT_EQ(mqtt50_client_handle_unsuback(client, nullptr), MQTT_ERR_INVALID_PARAM);
}

TEST_F(v50_test, the_way_back_to_311_uses_a_new_connection) {
    connect();
    EXPECT_EQ(subscribe(), 0);
    broker.expect(v->subscribe, 1);
    send_message(1, 2);
    client->conn_info->server_keep_alive = 30;
    for (mqtt_client *switched : {static_cast<mqtt_client *>(nullptr), client, client}) {
        mqtt_client_version_downgrade(switched);
    }
    EXPECT_EQ(logged("自动降级到3.1.1协议"), 1);
    EXPECT_EQ(client->state, MQTT_CLIENT_DISCONNECTED);
    EXPECT_EQ(client->conn_info->server_keep_alive, 0);
    EXPECT_EQ(mqtt_client_connect(client), 0);  // no use while the old connection stands
    pass();
    broker.expect_nothing();
    broker.expect_no_connection();

    client->config.reconnect_interval_ms = 0;
    pass();
    broker.expect_closed();
    broker.accept();
    broker.expect(V311.connect);
    hear(V311.connack, 0, {"CONNACK ok"});
    EXPECT_EQ(identifiers_in_use(), 1u);  // that of the message, which now goes out as 3.1.1
    v = &V311;
    age_cache(2000);
    pass();
    broker.expect(V311.publish1_dup, 2);
    hear(PUBACK, 2, {"PUBACK ok id=2"});
    disconnect();

    client->config.mqtt_version = 5;  // destroy closes what was left, too
    v = &V50;
    connect();
    mqtt_client_version_downgrade(client);
    destroy();
    broker.expect_closed();
}

}  // namespace
