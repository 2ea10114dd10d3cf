// The public interface: what it makes of a configuration, what it lets through, how it answers.
#include <algorithm>
#include <cstring>
#include <set>

#include <zep_mqtt/client/handle.h>

#include "client/sdk/basic_private.h"
#include "support/client_fixture.h"

namespace {

using namespace zep_test;

class handle_test : public chart_test {
 protected:
    explicit handle_test(const dialect &version = V311) : chart_test(version) {
        config.client_id = "c1";
        config.broker_host = "127.0.0.1";
        config.broker_port = broker.port();
        config.clean_start = 1;
        config.keep_alive = 60;
        config.reconnect_interval_ms = UINT32_MAX;
        config.mqtt_ver = version.version == 5 ? 1 : 0;
    }
    void destroy() override { zep_mqtt_sdk_client_destroy(std::exchange(handle, nullptr)); }

    zep_mqtt_sdk_client *create() {
        return zep_mqtt_sdk_client_create(&config, callback_recorder::public_message,
                                          callback_recorder::response);
    }
    void begin_connect(const std::string &packet) {
        handle = create();
        ASSERT_NE(handle, nullptr);
        EXPECT_EQ(zep_mqtt_sdk_client_connect(handle), 0);
        broker.accept();
        broker.expect(packet);
        broker.send(v->connack);
    }
    void connect(const std::string &packet) {
        begin_connect(packet);
        EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), 0);
        expect_happened({"CONNACK ok"});
    }
    void say_goodbye() {
        destroy();
        broker.expect(v->disconnect);
        broker.expect_closed();
    }
    int32_t publish(uint32_t qos, const std::string &payload = "hi", const char *topic = "t",
                    uint32_t ttl = 0, uint8_t retain = 0) {
        const auto *data = reinterpret_cast<const uint8_t *>(payload.data());
        const zep_mqtt_sdk_msg msg = {topic, data,   static_cast<uint32_t>(payload.size()),
                                      qos,   retain, ttl};
        return zep_mqtt_sdk_client_publish(handle, &msg);
    }
    int32_t subscribe(const char *filter, uint32_t qos, const char *group) {
        return zep_mqtt_sdk_client_subscribe(handle, filter, qos, group);
    }
    int32_t unsubscribe(const char *filter, const char *group) {
        return zep_mqtt_sdk_client_unsubscribe(handle, filter, group);
    }

    void expect_operations(int32_t refused) {
        EXPECT_EQ(publish(0), refused);
        EXPECT_EQ(subscribe("t", 0, nullptr), refused);
        EXPECT_EQ(unsubscribe("t", nullptr), refused);
    }

    zep_mqtt_sdk_config config = {};
    zep_mqtt_sdk_client *handle = nullptr;
};

class handle_50_test : public handle_test {
 protected:
    handle_50_test() : handle_test(V50) {}
};

const char *const CONNECT_50 = "10 14 0004 'MQTT' 05 02 003c 05 27 00000404 0002 'c1'";

TEST_F(handle_test, a_configuration_that_cannot_work_is_refused) {
    static const std::string long_text(65, 'u');
    static const uint8_t payload[256] = {};
    void (*const spoils[])(zep_mqtt_sdk_config &) = {
        [](auto &c) { c.client_id = nullptr; },
        [](auto &c) { c.broker_host = nullptr; },
        [](auto &c) { c.broker_port = 0; },
        [](auto &c) { c.username = long_text.c_str(); },
        [](auto &c) { c.password = long_text.c_str(); },
        [](auto &c) { c.client_id = ""; },
        // A will whose parts are missing or do not fit is left empty, which the core refuses.
        [](auto &c) { c.will_topic = nullptr; },
        [](auto &c) { c.will_topic = ""; },
        [](auto &c) { c.will_topic = long_text.c_str() + 1; },
        [](auto &c) { c.will_payload = nullptr; },
        [](auto &c) { c.will_payload_len = 0; },
        [](auto &c) { c.will_payload_len = 256; },
    };
    config.will_flag = 1;
    config.will_topic = "w";
    config.will_payload = payload;
    config.will_payload_len = 255;
    handle = create();
    ASSERT_NE(handle, nullptr);
    destroy();
    const zep_mqtt_sdk_config plain = config;
    for (const auto spoil : spoils) {
        config = plain;
        spoil(config);
        EXPECT_EQ(create(), nullptr);
    }
}

TEST_F(handle_test, the_configuration_reaches_the_connect) {
    const std::string cut(24, 'c'), longest(64, 'u'), topic(63, 'w');
    const uint8_t key[16] = {1, 2, 3, 4}, iv[16] = {5};
    config.client_id = cut.c_str();
    config.crypto_enable = 1;
    config.crypto_key = key;
    config.crypto_iv = iv;
    config.keep_alive = 0x1003c;  // the low 16 bits count
    config.username = longest.c_str();
    config.will_flag = 1;
    config.will_topic = topic.c_str();
    config.will_payload = reinterpret_cast<const uint8_t *>("bye");
    config.will_payload_len = 3;
    config.will_qos = 1;
    config.will_retain = 7;
    config.mqtt_ver = 2;  // not 1: 3.1.1
    const std::string rest = "003c 0017 63*23 003f 77*63 0003 'bye' 0040 75*64";
    connect("10 ab 01 0004 'MQTT' 04 ae " + rest);
    EXPECT_EQ(publish(0), 0);
    broker.expect("30 07 0001 't' 69 6b 6e 0f");
    EXPECT_EQ(std::memcmp(handle->core->config.crypto_iv, iv, sizeof iv), 0);
    say_goodbye();
    config.will_retain = 0;
    config.crypto_iv = nullptr;  // then the key is not taken, either
    connect("10 ab 01 0004 'MQTT' 04 8e " + rest);
    EXPECT_EQ(publish(0), 0);
    broker.expect("30 07 0001 't' 'hi' ee 5e");
}

TEST_F(handle_test, nothing_goes_out_before_the_loop_has_seen_the_connection) {
    begin_connect(v->connect);
    EXPECT_EQ(zep_mqtt_sdk_client_get_conn_state(handle), ZEP_MQTT_SDK_CONNECTING);
    expect_operations(ZEP_MQTT_SDK_ERR_NOT_CONNECTED);
    EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), 0);
    expect_happened({"CONNACK ok"});
    EXPECT_EQ(zep_mqtt_sdk_client_connect(handle), 0);  // again: the loop has to look again
    expect_operations(ZEP_MQTT_SDK_ERR_NOT_CONNECTED);
    EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), 0);
    EXPECT_EQ(zep_mqtt_sdk_client_get_conn_state(handle), ZEP_MQTT_SDK_CONNECTED);
    EXPECT_EQ(publish(0, "hi", "t", 0, 7), 0);
    broker.expect("31 05 0001 't' 'hi'");
    broker.send("31 05 0001 't' 'hi'");
    EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), 0);
    expect_happened({"message t [hi] qos=0 retain"});

    // While it reconnects the interface lets calls through to the core.
    handle->core->state = MQTT_CLIENT_CONNECTING;
    EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), 0);
    EXPECT_EQ(publish(0), ZEP_MQTT_SDK_ERR_PARAM);
    handle->core->state = MQTT_CLIENT_CONNECTED;
    EXPECT_EQ(zep_mqtt_sdk_client_disconnect(handle), 0);
    broker.expect(v->disconnect);
    broker.expect_closed();
    EXPECT_EQ(publish(0), ZEP_MQTT_SDK_ERR_NOT_CONNECTED);
}

TEST_F(handle_test, core_statuses_become_public_results) {
    // By public result, from 0 down.
    const std::set<int32_t> cores[] = {
        {0},          {-101, -102, -119, -203}, {-103}, {},     {-109, -301, -303},
        {-118, -124}, {-105, -107, -111, -201}, {-106}, {-302}, {-305},
        {-112, -304}};
    for (int32_t core = -500; core <= 0; core++) {
        const auto *named = std::find_if(std::begin(cores), std::end(cores),
                                         [&](const auto &codes) { return codes.count(core) != 0; });
        EXPECT_EQ(zep::sdk_result(core), named == std::end(cores) ? -99 : cores - named) << core;
    }
}

TEST_F(handle_test, what_is_published_is_checked_first) {
    connect(v->connect);
    EXPECT_EQ(publish(0, ""), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(zep_mqtt_sdk_client_publish(handle, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(publish(0, "hi", nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(publish(3), ZEP_MQTT_SDK_ERR_PARAM);
    // Topic, payload and ten bytes may make 1028.
    const char *topic = "abcdefghijklmnopqrst";
    EXPECT_EQ(publish(0, std::string(999, 'x'), topic), ZEP_MQTT_SDK_ERR_PACKET);
    EXPECT_EQ(publish(0, std::string(998, 'x'), topic), 0);
    broker.expect("30 fc 07 0014 'abcdefghijklmnopqrst' 78*998");
}

TEST_F(handle_test, subscriptions_go_through_and_311_ignores_the_group) {
    connect(v->connect);
    const std::string longest(64, 'g');
    EXPECT_EQ(subscribe("a/#", 1, longest.c_str()), 0);
    broker.expect(v->subscribe, 1);
    EXPECT_EQ(unsubscribe("a/#", "g"), 0);
    broker.expect(v->unsubscribe, 2);
    EXPECT_EQ(unsubscribe("a/#", nullptr), ZEP_MQTT_SDK_ERR_CACHE);
    broker.expect(v->unsubscribe, 3);
    for (const std::string &group : {std::string("/"), std::string("a+"), longest + "g"}) {
        EXPECT_EQ(subscribe("t", 0, group.c_str()), ZEP_MQTT_SDK_ERR_PARAM);
        EXPECT_EQ(unsubscribe("t", group.c_str()), ZEP_MQTT_SDK_ERR_PARAM);
    }
    EXPECT_EQ(subscribe("t", 3, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(subscribe(nullptr, 0, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(unsubscribe(nullptr, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(subscribe("t", 2, nullptr), 0);
    broker.expect("82 06 id 0001 't' 02", 4);
    broker.close();
    EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), 0);
    expect_happened({"DISCONNECT failed result=-4"});
    expect_operations(ZEP_MQTT_SDK_ERR_NOT_CONNECTED);
}

TEST_F(handle_test, a_missing_handle_is_refused) {
    zep_mqtt_sdk_client coreless = {};
    for (zep_mqtt_sdk_client *missing : {static_cast<zep_mqtt_sdk_client *>(nullptr), &coreless}) {
        EXPECT_EQ(zep_mqtt_sdk_client_loop(missing), ZEP_MQTT_SDK_ERR_PARAM);
        EXPECT_EQ(zep_mqtt_sdk_client_connect(missing), ZEP_MQTT_SDK_ERR_PARAM);
        EXPECT_EQ(zep_mqtt_sdk_client_disconnect(missing), ZEP_MQTT_SDK_ERR_PARAM);
        EXPECT_EQ(zep_mqtt_sdk_client_get_conn_state(missing), ZEP_MQTT_SDK_DISCONNECTED);
    }
    expect_operations(ZEP_MQTT_SDK_ERR_PARAM);
}

TEST_F(handle_test, the_library_wide_lines_are_written_once) {
    EXPECT_EQ(zep_mqtt_sdk_client_create(nullptr, callback_recorder::public_message, nullptr),
              nullptr);
    zep_mqtt_sdk_global_deinit();
    EXPECT_EQ(zep_mqtt_sdk_global_init() + zep_mqtt_sdk_global_init(), 0);
    connect(v->connect);
    zep_mqtt_sdk_global_deinit();
    zep_mqtt_sdk_global_deinit();
    EXPECT_EQ(publish(0), 0);  // a TCP client goes on
    broker.expect(v->publish0);
    say_goodbye();
    for (const char *once : {"MQTT Client SDK", "global init success", "global deinit success"}) {
        EXPECT_EQ(logged(once), 1) << once;
    }
}

TEST_F(handle_50_test, the_largest_packet_limits_connect_and_publish) {
    for (const auto &[asked, limit] : {std::pair(0u, 1028u), {2000, 2000}, {100, 100}}) {
        config.v50_max_pkt_size = asked;
        connect(asked == 100 ? "10 14 0004 'MQTT' 05 02 003c 05 27 00000064 0002 'c1'"
                             : CONNECT_50);
        const std::string fits(limit - 11, 'x');  // beside a topic of one byte
        EXPECT_EQ(publish(0, fits + "x"), ZEP_MQTT_SDK_ERR_PACKET);
        // What the interface lets through may still exceed the 960 bytes that can be encoded.
        const bool encodes = limit == 100;
        EXPECT_EQ(publish(0, fits), encodes ? 0 : ZEP_MQTT_SDK_ERR_UNKNOWN);
        broker.take(encodes ? fits.size() + 6 : 0);
        say_goodbye();
    }
}

TEST_F(handle_50_test, operations_go_through_with_group_and_expiry) {
    char group[] = "mine";
    config.share_group = group;
    config.clean_start = 0;
    config.session_expiry_interval = 30;
    connect("10 19 0004 'MQTT' 05 00 003c 0a 11 0000001e 27 00000404 0002 'c1'");
    std::strcpy(group, "gone");  // the application's text is read during create only
    const char *const plain = "82 07 id 00 0001 't' 02";
    struct {
        const char *group, *packet;
    } const cases[] = {{nullptr, "82 13 id 00 000d '$share/mine/t' 02"},
                       {"other", "82 14 id 00 000e '$share/other/t' 02"},
                       {"", plain},
                       {nullptr, plain}};
    unsigned id = 0;
    for (const auto &given : cases) {
        if (&given == &cases[3]) {
            handle->cfg.share_group = nullptr;
        }
        EXPECT_EQ(subscribe("t", 2, given.group), 0);
        broker.expect(given.packet, ++id);
        EXPECT_EQ(unsubscribe("t", given.group), 0);
        broker.expect("a2 06 id 00 0001 't'", ++id);
    }
    // The check lets 64 bytes pass, a packet takes 32.
    EXPECT_EQ(subscribe("t", 0, std::string(64, 'g').c_str()), ZEP_MQTT_SDK_ERR_PARAM);

    EXPECT_EQ(publish(1, "hi", "t", 60, 7), 0);
    broker.expect("33 0d 0001 't' 0009 05 02 0000003c 'hi'");
    EXPECT_EQ(publish(3), ZEP_MQTT_SDK_ERR_PARAM);
}

}  // namespace
