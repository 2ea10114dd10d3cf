// From a configuration to a connection: creation, CONNECT, CONNACK, and the end of it.
#include <cstring>

#include "support/client_fixture.h"

namespace {

using namespace zep_test;

FOR_BOTH_VERSIONS(connect_test);
class configuration_test : public client_test {};

void set_will(mqtt_client_config &config, const char *topic, uint32_t payload_len, uint32_t qos) {
    config.will_flag = 1;
    std::strcpy(config.will_topic, topic);
    std::memset(config.will_payload, 'x', sizeof config.will_payload);
    config.will_payload_len = payload_len;
    config.will_qos = qos;
}

void set_credentials(mqtt_client_config &config) {
    std::strcpy(config.username, "m");
    std::strcpy(config.password, "p");
}

TEST_F(configuration_test, what_cannot_work_is_refused) {
    void (*const spoils[])(mqtt_client_config &) = {
        [](auto &c) { c.client_id[0] = 0; },     [](auto &c) { std::memset(c.client_id, 'c', 24); },
        [](auto &c) { c.broker_host[0] = 0; },   [](auto &c) { c.broker_port = 0; },
        [](auto &c) { set_will(c, "", 1, 0); },  [](auto &c) { set_will(c, "w", 0, 0); },
        [](auto &c) { set_will(c, "w", 1, 3); }, [](auto &c) { set_will(c, "w", 257, 0); },
        [](auto &c) { c.client_id[0] = 1; },
    };
    for (const auto spoil : spoils) {
        mqtt_client_config spoilt = config;
        spoil(spoilt);
        EXPECT_EQ(mqtt_client_create(&spoilt, callback_recorder::core_message, nullptr, nullptr),
                  nullptr);
    }
    EXPECT_EQ(mqtt_client_create(&config, nullptr, nullptr, nullptr), nullptr);
    mqtt_client_destroy(nullptr);
    EXPECT_EQ(mqtt_client_connect(nullptr), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_client_disconnect(nullptr), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_client_get_connect_state(nullptr), 0u);
}

// What the handle's tests do not send through both layers.
TEST_F(configuration_test, becomes_the_connect) {
    struct {
        uint32_t version;
        void (*set)(mqtt_client_config &);
        const char *packet;
    } const cases[] = {
        // The library asks for a clean session on 3.1.1 whatever is configured.
        {7, [](auto &c) { c.clean_start = 0; }, V311.connect},
        {4, [](auto &c) { std::memset(c.client_id, 'c', 23), c.keep_alive = 121; },
         "10 23 0004 'MQTT' 04 02 0078 0017 63*23"},
        {4, [](auto &c) { set_will(c, "w", 256, 2), c.will_retain = 1, set_credentials(c); },
         "10 99 02 0004 'MQTT' 04 f6 003c 0002 'c1' 0001 'w' 0100 78*256 0001 'm' 0001 'p'"},
        {4,
         [](auto &c) {  // without a terminator
             std::memset(c.username, 'u', sizeof c.username);
             std::memset(c.password, 'p', sizeof c.password);
         },
         "10 92 01 0004 'MQTT' 04 c2 003c 0002 'c1' 0040 75*64 0040 70*64"},
        {5, [](auto &c) { c.session_expiry_interval = 30, c.topic_alias_max = 5; },
         "10 12 0004 'MQTT' 05 02 003c 03 22 0005 0002 'c1'"},
        {5, [](auto &c) { c.session_expiry_interval = 30, c.clean_start = 0; },
         "10 14 0004 'MQTT' 05 00 003c 05 11 0000001e 0002 'c1'"},
        {5, [](auto &c) { set_will(c, "w", 2, 1), set_credentials(c); },
         "10 1d 0004 'MQTT' 05 ce 003c 00 0002 'c1' 00 0001 'w' 0002 'xx' 0001 'm' 0001 'p'"},
    };
    const mqtt_client_config plain = config;
    for (const auto &[version, set, packet] : cases) {
        config = plain;
        config.mqtt_version = version;
        set(config);
        create();
        EXPECT_EQ(mqtt_client_connect(client), 0);
        broker.accept();
        broker.expect(packet);
        // Nothing is negotiated yet: the DISCONNECT is the one that both versions know.
        destroy();
        broker.expect("e0 00");
        broker.expect_closed();
    }
}

TEST_F(configuration_test, that_cannot_be_encoded_leaves_no_connection) {
    config.mqtt_version = 5;
    set_will(config, "a/#", 1, 0);
    create();
    EXPECT_EQ(mqtt_client_connect(client), MQTT_ERR_INVALID_PARAM);
    expect_disconnected();
    broker.accept();
    broker.expect_closed();
}

TEST_P(connect_test, an_accepted_client_is_connected) {
    begin_connect();
    client->reconnect_count = 3;
    // A second call changes and sends nothing, now or later.
    EXPECT_EQ(mqtt_client_connect(client), 0);
    pass();
    EXPECT_EQ(mqtt_client_get_connect_state(client), MQTT_CLIENT_CONNECTING);
    hear(v->connack_present, 0, {"CONNACK ok"});
    EXPECT_EQ(client->reconnect_count, 0u);
    EXPECT_EQ(mqtt_client_connect(client), 0);
    hear(v->connack_refused, 0, {});
    EXPECT_EQ(mqtt_client_get_connect_state(client), MQTT_CLIENT_CONNECTED);
    broker.expect_no_connection();
}

TEST_P(connect_test, silence_ends_after_three_seconds) {
    begin_connect();
    age(client->connect_tick_ms, 2000);
    // Only a CONNACK counts, and a broker that hangs up is waited for all the same.
    hear(v->publish1, 7, {});
    broker.expect_nothing();
    broker.close();
    pass(2);
    EXPECT_EQ(client->state, MQTT_CLIENT_CONNECTING);
    age(client->connect_tick_ms, 1000);
    pass();
    expect_disconnected();

    broker.stop_listening();
    EXPECT_EQ(mqtt_client_connect(client), MQTT_ERR_INTERNAL);
    expect_disconnected();
}

// The time-out is for a broker that has not answered, not for a loop that comes late.
TEST_P(connect_test, an_answer_that_has_arrived_is_never_too_late) {
    begin_connect();
    broker.send(joined({lay(v->connack), lay(v->publish0)}));
    age(client->connect_tick_ms, 3000);
    pass();
    expect_happened({"CONNACK ok", "message t [hi] qos=0"});
    disconnect();
    begin_connect();
    broker.send(v->connack_refused);
    age(client->connect_tick_ms, 3000);
    pass();
    expect_happened({"CONNACK failed result=-4"});
    broker.expect_closed();
    EXPECT_EQ(logged("CONNACK等待超时"), 0);
}

TEST_P(connect_test, disconnecting_and_destroying_say_goodbye) {
    config.crypto_enable = 1;
    connect();
    disconnect();
    EXPECT_EQ(mqtt_client_disconnect(client), 0);
    connect();
    break_sending();  // a goodbye that cannot be sent does not keep the client
    EXPECT_EQ(mqtt_client_disconnect(client), 0);
    expect_disconnected();
    broker.expect_closed();
    connect();
    destroy();
    broker.expect(v->disconnect);
    broker.expect_closed();
}

}  // namespace
