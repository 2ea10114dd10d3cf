// The public interface: what it makes of a configuration, what it lets through, and how it answers.
#include <cstring>

#include <zep_mqtt/client/handle.h>

#include "support/client_fixture.h"

namespace {

using namespace zep_test;

class handle_test : public testing::Test {
 protected:
    explicit handle_test(const dialect &version = V311) : v(&version) {
        config.client_id = "c1";
        config.broker_host = "127.0.0.1";
        config.broker_port = broker.port();
        config.clean_start = 1;
        config.keep_alive = 60;
        config.reconnect_interval_ms = UINT32_MAX;
        config.mqtt_ver = version.version == 5 ? 1 : 0;
    }
    void TearDown() override {
        if (broker.connected()) {
            broker.expect_nothing();
        }
        zep_mqtt_sdk_client_destroy(handle);
        EXPECT_EQ(callbacks.take(), happenings{});
        const std::string &lines = log.stop();
        if (HasFailure()) {
            std::printf("the log of the test:\n%s", lines.c_str());
        }
    }

    zep_mqtt_sdk_client *create() {
        return zep_mqtt_sdk_client_create(&config, callback_recorder::public_message,
                                          callback_recorder::response);
    }
    void connect(const std::string &packet) {
        handle = create();
        ASSERT_NE(handle, nullptr);
        EXPECT_EQ(zep_mqtt_sdk_client_connect(handle), 0);
        broker.accept();
        broker.expect(packet);
        broker.send(v->connack);
        EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), 0);
        EXPECT_EQ(callbacks.take(), happenings{"CONNACK ok"});
    }
    int32_t publish(uint32_t qos, const std::string &payload = "hi", const char *topic = "t",
                    uint32_t ttl = 0) {
        const zep_mqtt_sdk_msg msg = {topic,
                                      reinterpret_cast<const uint8_t *>(payload.data()),
                                      static_cast<uint32_t>(payload.size()),
                                      qos,
                                      0,
                                      ttl};
        return zep_mqtt_sdk_client_publish(handle, &msg);
    }
    void expect_log(const std::string &line) { EXPECT_TRUE(log.contains(line)) << line; }

    scripted_broker broker;
    const dialect *v;
    zep_mqtt_sdk_config config = {};
    zep_mqtt_sdk_client *handle = nullptr;
    callback_recorder callbacks;
    log_book log;
};

class handle_50_test : public handle_test {
 protected:
    handle_50_test() : handle_test(V50) {}
};

const char *const CONNECT_50 = "10 14 0004 'MQTT' 05 02 003c 05 27 00000404 0002 'c1'";

TEST_F(handle_test, the_banner_opens_the_first_creation_only) {
    EXPECT_EQ(zep_mqtt_sdk_client_create(nullptr, callback_recorder::public_message, nullptr),
              nullptr);
    const std::string rule = "[WARN] " + std::string(56, '=') + "\n";
    expect_log(rule + "[WARN]   MQTT Client SDK");
    expect_log("[WARN]   Version: 3.1.0 \n");
    EXPECT_EQ(log.count("[WARN] "), 6);
    EXPECT_EQ(log.count(rule), 2);
    EXPECT_EQ(g_banner_printed, 1);
    handle = create();
    EXPECT_EQ(log.count("[WARN] "), 6);
    expect_log("[INFO] MQTT_SDK: create success, client_id=c1, mqtt_ver=");
}

TEST_F(handle_test, a_configuration_that_cannot_work_is_refused) {
    static const std::string long_text(65, 'u');
    struct {
        void (*spoil)(zep_mqtt_sdk_config &);
        const char *line;
    } const cases[] = {
        {[](auto &c) { c.client_id = nullptr; }, "invalid param"},
        {[](auto &c) { c.broker_host = nullptr; }, "invalid param"},
        {[](auto &c) { c.broker_port = 0; }, "invalid param"},
        {[](auto &c) { c.username = long_text.c_str(); }, "username too long (max=64)"},
        {[](auto &c) { c.password = long_text.c_str(); }, "password too long (max=64)"},
        {[](auto &c) { c.client_id = ""; }, "core client create error"},
        // A will whose parts are missing or do not fit is left empty, which the core refuses.
        {[](auto &c) { c.will_flag = 1, c.will_topic = "w"; }, "core client create error"},
        {[](auto &c) {
             c.will_flag = 1, c.will_topic = long_text.c_str() + 1;
             c.will_payload = reinterpret_cast<const uint8_t *>("x"), c.will_payload_len = 1;
         },
         "core client create error"},
        {[](auto &c) {
             static const uint8_t payload[256] = {};
             c.will_flag = 1, c.will_topic = "w";
             c.will_payload = payload, c.will_payload_len = 256;
         },
         "core client create error"},
    };
    const zep_mqtt_sdk_config plain = config;
    for (const auto &refused : cases) {
        config = plain;
        refused.spoil(config);
        log.forget();
        EXPECT_EQ(create(), nullptr) << refused.line;
        expect_log(std::string("[ERROR] MQTT_SDK: create failed: ") + refused.line);
    }
    EXPECT_EQ(zep_mqtt_sdk_client_create(&plain, nullptr, nullptr), nullptr);
}

TEST_F(handle_test, the_configuration_reaches_the_connect) {
    const std::string longest(64, 'u');
    const std::string topic(63, 'w');
    config.keep_alive = 0x1003c;  // the low 16 bits count
    config.username = longest.c_str();
    config.will_flag = 1;
    config.will_topic = topic.c_str();
    config.will_payload = reinterpret_cast<const uint8_t *>("bye");
    config.will_payload_len = 3;
    config.will_qos = 1;
    config.will_retain = 7;
    config.mqtt_ver = 2;  // not 1: 3.1.1
    connect("10 96 01 0004 'MQTT' 04 ae 003c 0002 'c1' 003f 77*63 0003 'bye' 0040 75*64");
    expect_log("[INFO] MQTT_SDK: will config transfer success: topic=" + topic +
               ", payload_len=3, qos=1");
}

TEST_F(handle_test, nothing_goes_out_before_the_loop_has_seen_the_connection) {
    handle = create();
    EXPECT_EQ(zep_mqtt_sdk_client_connect(handle), 0);
    broker.accept();
    broker.expect(v->connect);
    EXPECT_EQ(zep_mqtt_sdk_client_get_conn_state(handle), ZEP_MQTT_SDK_CONNECTING);
    broker.send(v->connack);
    EXPECT_EQ(publish(0), ZEP_MQTT_SDK_ERR_NOT_CONNECTED);
    EXPECT_EQ(zep_mqtt_sdk_client_subscribe(handle, "t", 0, nullptr),
              ZEP_MQTT_SDK_ERR_NOT_CONNECTED);
    EXPECT_EQ(zep_mqtt_sdk_client_unsubscribe(handle, "t", nullptr),
              ZEP_MQTT_SDK_ERR_NOT_CONNECTED);
    expect_log("[ERROR] MQTT_SDK: publish failed: client not connected");
    EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), 0);
    EXPECT_EQ(callbacks.take(), happenings{"CONNACK ok"});
    EXPECT_EQ(zep_mqtt_sdk_client_get_conn_state(handle), ZEP_MQTT_SDK_CONNECTED);
    EXPECT_EQ(handle->connected, 1);
    EXPECT_EQ(publish(0), 0);
    broker.expect(v->publish0);

    // While it reconnects the interface lets calls through to the core.
    handle->core->state = MQTT_CLIENT_CONNECTING;
    handle->core->connect_tick_ms = handle->core->last_activity_ms;
    EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), 0);
    EXPECT_EQ(handle->connected, 1);
    EXPECT_EQ(publish(0), ZEP_MQTT_SDK_ERR_PARAM);
    handle->core->state = MQTT_CLIENT_CONNECTED;

    EXPECT_EQ(zep_mqtt_sdk_client_disconnect(handle), 0);
    broker.expect(v->disconnect);
    broker.expect_closed();
    EXPECT_EQ(publish(0), ZEP_MQTT_SDK_ERR_NOT_CONNECTED);
    expect_log("[INFO] MQTT_SDK: client disconnect success");
}

TEST_F(handle_test, core_statuses_become_public_results) {
    connect(v->connect);
    EXPECT_EQ(publish(0, ""), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(zep_mqtt_sdk_client_publish(handle, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(publish(0, "hi", nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(log.count("[ERROR] MQTT_SDK: publish failed: invalid param"), 3);
    EXPECT_EQ(publish(3), ZEP_MQTT_SDK_ERR_PARAM);
    expect_log("[ERROR] MQTT_SDK: mqtt3.1.1 publish failed, core_err=-102, topic=t");
    EXPECT_EQ(publish(0, "hi", "a/#"), ZEP_MQTT_SDK_ERR_UNKNOWN);  // -104

    // Topic, payload and ten bytes may make 1028.
    const char *topic = "abcdefghijklmnopqrst";
    EXPECT_EQ(publish(0, std::string(999, 'x'), topic), ZEP_MQTT_SDK_ERR_PACKET);
    expect_log("[ERROR] MQTT_SDK: publish failed: pkt_len(1029) > max(1028)");
    EXPECT_EQ(publish(0, std::string(998, 'x'), topic), 0);
    broker.expect("30 fc 07 0014 'abcdefghijklmnopqrst' 78*998");

    for (int i = 0; i < 100; i++) {
        EXPECT_EQ(publish(1), 0);
    }
    EXPECT_EQ(publish(1), ZEP_MQTT_SDK_ERR_CACHE);
    for (int i = 0; i < 28; i++) {
        EXPECT_EQ(publish(2), 0);
    }
    EXPECT_EQ(publish(2), ZEP_MQTT_SDK_ERR_PACKET_ID);
    broker.take(128 * lay(v->publish1).size());
    callbacks.in_next_message = [&] {
        EXPECT_EQ(publish(0), ZEP_MQTT_SDK_ERR_UNKNOWN);
        EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), ZEP_MQTT_SDK_ERR_UNKNOWN);
    };
    broker.send("31 05 0001 't' 'hi'");
    EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), 0);
    EXPECT_EQ(callbacks.take(), happenings{"message t [hi] qos=0 retain"});

    EXPECT_EQ(zep_mqtt_sdk_client_connect(handle), 0);
    EXPECT_EQ(handle->connected, 0);
    zep_mqtt_sdk_client_disconnect(handle);
    broker.expect(v->disconnect);
    broker.expect_closed();
    broker.stop_listening();
    EXPECT_EQ(zep_mqtt_sdk_client_connect(handle), ZEP_MQTT_SDK_ERR_UNKNOWN);
}

TEST_F(handle_test, subscriptions_go_through_and_311_ignores_the_group) {
    connect(v->connect);
    const std::string longest(64, 'g');
    EXPECT_EQ(zep_mqtt_sdk_client_subscribe(handle, "a/#", 1, longest.c_str()), 0);
    broker.expect(v->subscribe, 1);
    expect_log("[INFO] MQTT_SDK: subscribe mqtt3.1.1 topic=a/#, qos=1\n");
    EXPECT_EQ(zep_mqtt_sdk_client_unsubscribe(handle, "a/#", "g"), 0);
    broker.expect(v->unsubscribe, 2);
    expect_log("[INFO] MQTT_SDK: unsubscribe mqtt3.1.1 topic=a/#\n");
    expect_log("[INFO] MQTT_SDK: unsubscribe success, topic: a/#");
    EXPECT_EQ(zep_mqtt_sdk_client_unsubscribe(handle, "a/#", nullptr), ZEP_MQTT_SDK_ERR_CACHE);
    broker.expect(v->unsubscribe, 3);
    expect_log("[ERROR] MQTT_SDK: unsubscribe failed, topic: a/#, err=-6");

    for (const std::string &group : {std::string("a/b"), std::string("a+"), std::string("#"),
                                     longest + "g"}) {
        EXPECT_EQ(zep_mqtt_sdk_client_subscribe(handle, "t", 0, group.c_str()), -1);
        EXPECT_EQ(zep_mqtt_sdk_client_unsubscribe(handle, "t", group.c_str()), -1);
    }
    EXPECT_EQ(log.count("[ERROR] MQTT_SDK: subscribe failed: invalid share group"), 4);
    EXPECT_EQ(log.count("[ERROR] MQTT_SDK: unsubscribe failed: invalid share group"), 4);
    EXPECT_EQ(zep_mqtt_sdk_client_subscribe(handle, "t", 3, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(zep_mqtt_sdk_client_subscribe(handle, nullptr, 0, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
}

TEST_F(handle_test, a_missing_handle_is_refused) {
    EXPECT_EQ(zep_mqtt_sdk_client_connect(nullptr), -1);
    EXPECT_EQ(publish(0), -1);
    EXPECT_EQ(zep_mqtt_sdk_client_subscribe(nullptr, "t", 0, nullptr), -1);
    EXPECT_EQ(zep_mqtt_sdk_client_unsubscribe(nullptr, "t", nullptr), -1);
    EXPECT_EQ(zep_mqtt_sdk_client_disconnect(nullptr), -1);
    EXPECT_EQ(zep_mqtt_sdk_client_get_conn_state(nullptr), 0);
    EXPECT_EQ(zep_mqtt_sdk_client_loop(nullptr), -1);
    expect_log("[ERROR] MQTT_SDK: loop failed: invalid client handle");
    zep_mqtt_sdk_client coreless = {};
    EXPECT_EQ(zep_mqtt_sdk_client_loop(&coreless), -1);
    expect_log("[ERROR] MQTT_SDK: loop failed: core client handle invalid");
    EXPECT_EQ(zep_mqtt_sdk_client_connect(&coreless), -1);
    EXPECT_EQ(zep_mqtt_sdk_client_disconnect(&coreless), -1);
}

TEST_F(handle_test, the_global_calls_are_noted_once) {
    zep_mqtt_sdk_global_deinit();
    EXPECT_EQ(zep_mqtt_sdk_global_init(), 0);
    EXPECT_EQ(zep_mqtt_sdk_global_init(), 0);
    EXPECT_EQ(g_mqtt_sdk_global_inited, 1);
    connect(v->connect);
    zep_mqtt_sdk_global_deinit();
    zep_mqtt_sdk_global_deinit();
    EXPECT_EQ(g_mqtt_sdk_global_inited, 0);
    EXPECT_EQ(log.count("[INFO] MQTT_SDK: global init success"), 1);
    EXPECT_EQ(log.count("[INFO] MQTT_SDK: global deinit success, all resource released"), 1);
    EXPECT_EQ(publish(0), 0);  // a TCP client goes on
    broker.expect(v->publish0);
}

TEST_F(handle_50_test, the_largest_packet_limits_connect_and_publish) {
    struct {
        uint32_t asked;
        const char *connect;
        uint32_t limit;
        size_t fits;  // payload beside a topic of one byte
    } const cases[] = {
        {0, CONNECT_50, 1028, 1017},
        {2000, CONNECT_50, 2000, 1989},
        {100, "10 14 0004 'MQTT' 05 02 003c 05 27 00000064 0002 'c1'", 100, 89},
    };
    for (const auto &given : cases) {
        config.v50_max_pkt_size = given.asked;
        connect(given.connect);
        log.forget();
        EXPECT_EQ(publish(0, std::string(given.fits + 1, 'x')), ZEP_MQTT_SDK_ERR_PACKET);
        expect_log("[ERROR] MQTT_SDK: publish failed: pkt_len(" + std::to_string(given.limit + 1) +
                   ") > max(" + std::to_string(given.limit) + ")");
        // What the interface lets through may still exceed the 960 bytes that can be encoded.
        const bool encodes = given.fits + 1 <= 960;
        EXPECT_EQ(publish(0, std::string(given.fits, 'x')), encodes ? 0 : ZEP_MQTT_SDK_ERR_UNKNOWN);
        if (encodes) {
            broker.take(given.fits + 6);
        }
        zep_mqtt_sdk_client_destroy(handle);
        broker.expect(v->disconnect);
        broker.expect_closed();
    }
    handle = nullptr;
}

TEST_F(handle_50_test, a_largest_packet_above_the_limit_is_cut_with_a_warning) {
    config.v50_max_pkt_size = 1029;
    handle = create();
    expect_log("[WARN] MQTT_SDK: v50_max_pkt_size truncate to 1028");
}

TEST_F(handle_50_test, a_message_may_expire) {
    connect(CONNECT_50);
    EXPECT_EQ(publish(1, "hi", "t", 60), 0);
    broker.expect("32 0d 0001 't' 0001 05 02 0000003c 'hi'");
    expect_log("[DEBUG] MQTT_SDK: mqtt5.0 publish success, topic=t, ttl=60");
    EXPECT_EQ(publish(3), ZEP_MQTT_SDK_ERR_PARAM);
    expect_log("[ERROR] MQTT_SDK: mqtt5.0 publish failed, core_err=-102, topic=t");
}

TEST_F(handle_50_test, the_group_comes_from_the_call_or_from_the_handle) {
    char group[] = "mine";
    config.share_group = group;
    connect(CONNECT_50);
    std::strcpy(group, "gone");  // the application's text is read during create only
    config.share_group = nullptr;
    const auto subscribe = [&](const char *of_call) {
        EXPECT_EQ(zep_mqtt_sdk_client_subscribe(handle, "t", 1, of_call), 0);
    };
    subscribe(nullptr);
    broker.expect("82 13 0001 00 000d '$share/mine/t' 01");
    expect_log("[INFO] MQTT_SDK: subscribe mqtt5.0 topic=t, qos=1, share_group=mine (会话级)");
    subscribe("other");
    broker.expect("82 14 0002 00 000e '$share/other/t' 01");
    expect_log("[INFO] MQTT_SDK: subscribe mqtt5.0 topic=t, qos=1, share_group=other (会话级)");
    subscribe("");
    broker.expect("82 07 0003 00 0001 't' 01");
    expect_log("[INFO] MQTT_SDK: subscribe mqtt5.0 topic=t, qos=1 (强制非共享订阅)");

    for (const char *of_call : {"other", "", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(zep_mqtt_sdk_client_unsubscribe(handle, "t", of_call), 0);
    }
    broker.expect("a2 06 0004 00 0001 't' a2 06 0005 00 0001 't' a2 06 0006 00 0001 't'");
    for (const char *line : {"share_group=other (会话级)", "share_group=mine (会话级)"}) {
        expect_log(std::string("[INFO] MQTT_SDK: unsubscribe mqtt5.0 topic=t, ") + line);
    }
    expect_log("[INFO] MQTT_SDK: unsubscribe mqtt5.0 topic=t (非共享订阅)");
    // The check lets 64 bytes pass, a packet takes 32.
    EXPECT_EQ(zep_mqtt_sdk_client_subscribe(handle, "t", 0, std::string(64, 'g').c_str()),
              ZEP_MQTT_SDK_ERR_PARAM);
}

TEST_F(handle_50_test, without_any_group_a_subscription_is_plain) {
    connect(CONNECT_50);
    EXPECT_EQ(zep_mqtt_sdk_client_subscribe(handle, "t", 1, nullptr), 0);
    broker.expect("82 07 0001 00 0001 't' 01");
    expect_log("[INFO] MQTT_SDK: subscribe mqtt5.0 topic=t, qos=1, share_group=NULL (实例级)");
    EXPECT_EQ(zep_mqtt_sdk_client_unsubscribe(handle, "t", nullptr), 0);
    broker.expect("a2 06 0002 00 0001 't'");
    expect_log("[INFO] MQTT_SDK: unsubscribe mqtt5.0 topic=t, share_group=NULL (实例级)");
}

TEST_F(handle_50_test, destroying_releases_everything_in_order) {
    connect(CONNECT_50);
    log.forget();
    zep_mqtt_sdk_client_destroy(handle);
    handle = nullptr;
    broker.expect(v->disconnect);
    broker.expect_closed();
    expect_log("[INFO] MQTT_CLIENT: 客户端销毁成功，所有资源已释放\n");
    expect_log("[INFO] MQTT_SDK: client destroy success, all resource released\n");
    zep_mqtt_sdk_client_destroy(nullptr);
    EXPECT_EQ(log.count("client destroy success"), 1);
}

}  // namespace
