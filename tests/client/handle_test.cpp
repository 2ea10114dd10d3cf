// The public interface: what it makes of a configuration, what it lets through, how it answers.
#include <cstring>

#include <zep_mqtt/client/handle.h>

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
    void connect(const std::string &packet) {
        handle = create();
        ASSERT_NE(handle, nullptr);
        EXPECT_EQ(zep_mqtt_sdk_client_connect(handle), 0);
        broker.accept();
        broker.expect(packet);
        broker.send(v->connack);
        EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), 0);
        expect_happened({"CONNACK ok"});
    }
    int32_t publish(uint32_t qos, const std::string &payload = "hi", const char *topic = "t",
                    uint32_t ttl = 0) {
        const auto *data = reinterpret_cast<const uint8_t *>(payload.data());
        const zep_mqtt_sdk_msg msg = {topic, data, static_cast<uint32_t>(payload.size()),
                                      qos,   0,    ttl};
        return zep_mqtt_sdk_client_publish(handle, &msg);
    }
    int32_t subscribe(const char *filter, uint32_t qos, const char *group) {
        return zep_mqtt_sdk_client_subscribe(handle, filter, qos, group);
    }
    int32_t unsubscribe(const char *filter, const char *group) {
        return zep_mqtt_sdk_client_unsubscribe(handle, filter, group);
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
        {[](auto &c) { c.will_payload = nullptr; }, "core client create error"},
        {[](auto &c) { c.will_topic = long_text.c_str() + 1; }, "core client create error"},
        {[](auto &c) { c.will_payload_len = 256; }, "core client create error"},
    };
    config.will_flag = 1;
    config.will_topic = "w";
    config.will_payload = payload;
    config.will_payload_len = 255;
    zep_mqtt_sdk_client_destroy(create());
    expect_log("create success");
    const zep_mqtt_sdk_config plain = config;
    for (const auto &refused : cases) {
        config = plain;
        refused.spoil(config);
        forget_log();
        EXPECT_EQ(create(), nullptr);
        expect_log(std::string("[ERROR] MQTT_SDK: create failed: ") + refused.line);
    }
}

TEST_F(handle_test, the_configuration_reaches_the_connect) {
    const std::string longest(64, 'u'), topic(63, 'w');
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
    EXPECT_EQ(subscribe("t", 0, nullptr), ZEP_MQTT_SDK_ERR_NOT_CONNECTED);
    EXPECT_EQ(unsubscribe("t", nullptr), ZEP_MQTT_SDK_ERR_NOT_CONNECTED);
    EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), 0);
    expect_happened({"CONNACK ok"});
    EXPECT_EQ(zep_mqtt_sdk_client_get_conn_state(handle), ZEP_MQTT_SDK_CONNECTED);
    EXPECT_EQ(publish(0), 0);
    broker.expect(v->publish0);

    // While it reconnects the interface lets calls through to the core.
    handle->core->state = MQTT_CLIENT_CONNECTING;
    EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), 0);
    EXPECT_EQ(publish(0), ZEP_MQTT_SDK_ERR_PARAM);
    handle->core->state = MQTT_CLIENT_CONNECTED;
    EXPECT_EQ(zep_mqtt_sdk_client_disconnect(handle), 0);
    broker.expect(v->disconnect);
    broker.expect_closed();
    EXPECT_EQ(publish(0), ZEP_MQTT_SDK_ERR_NOT_CONNECTED);
    EXPECT_EQ(logged("[ERROR] MQTT_SDK: publish failed: client not connected"), 2);
    expect_log("[INFO] MQTT_SDK: client disconnect success");
    broker.stop_listening();
    EXPECT_EQ(zep_mqtt_sdk_client_connect(handle), ZEP_MQTT_SDK_ERR_UNKNOWN);
}

TEST_F(handle_test, core_statuses_become_public_results) {
    connect(v->connect);
    EXPECT_EQ(publish(0, ""), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(zep_mqtt_sdk_client_publish(handle, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(publish(0, "hi", nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(logged("[ERROR] MQTT_SDK: publish failed: invalid param"), 3);
    EXPECT_EQ(publish(3), ZEP_MQTT_SDK_ERR_PARAM);
    expect_log("[ERROR] MQTT_SDK: mqtt3.1.1 publish failed, core_err=-102, topic=t");
    EXPECT_EQ(publish(0, "hi", "a/#"), ZEP_MQTT_SDK_ERR_UNKNOWN);  // -104

    // Topic, payload and ten bytes may make 1028.
    const char *topic = "abcdefghijklmnopqrst";
    EXPECT_EQ(publish(0, std::string(999, 'x'), topic), ZEP_MQTT_SDK_ERR_PACKET);
    expect_log("[ERROR] MQTT_SDK: publish failed: pkt_len(1029) > max(1028)");
    EXPECT_EQ(publish(0, std::string(998, 'x'), topic), 0);
    broker.expect("30 fc 07 0014 'abcdefghijklmnopqrst' 78*998");

    agent_log_set_level(AGENT_LOG_ERROR);
    for (int i = 0; i < 128; i++) {
        EXPECT_EQ(publish(i < 100 ? 1 : 2), 0);
    }
    broker.take(128 * lay(v->publish1).size());
    EXPECT_EQ(publish(2), ZEP_MQTT_SDK_ERR_PACKET_ID);
    broker.send(PUBACK, 1);
    broker.send(PUBREC, 101);
    broker.send(PUBCOMP, 101);
    callbacks.in_next_message = [&] {
        EXPECT_EQ(publish(0), ZEP_MQTT_SDK_ERR_UNKNOWN);
        EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), ZEP_MQTT_SDK_ERR_UNKNOWN);
    };
    broker.send("31 05 0001 't' 'hi'");
    EXPECT_EQ(zep_mqtt_sdk_client_loop(handle), 0);
    broker.expect(PUBREL, 101);
    expect_happened(
        {"PUBACK ok id=1", "QOS2 ok id=101", "QOS2 ok id=101", "message t [hi] qos=0 retain"});
    EXPECT_EQ(publish(1), 0);
    EXPECT_EQ(publish(1), ZEP_MQTT_SDK_ERR_CACHE);
    broker.expect(v->publish1, 1);
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
    expect_logs({"[INFO] MQTT_SDK: subscribe mqtt3.1.1 topic=a/#, qos=1\n",
                 "[INFO] MQTT_SDK: unsubscribe mqtt3.1.1 topic=a/#\n"
                 "[INFO] MQTT_SDK: unsubscribe success, topic: a/#",
                 "[ERROR] MQTT_SDK: unsubscribe failed, topic: a/#, err=-6"});
    for (const std::string &group :
         {std::string("a/b"), std::string("a+"), std::string("#"), longest + "g"}) {
        EXPECT_EQ(subscribe("t", 0, group.c_str()), ZEP_MQTT_SDK_ERR_PARAM);
        EXPECT_EQ(unsubscribe("t", group.c_str()), ZEP_MQTT_SDK_ERR_PARAM);
    }
    EXPECT_EQ(logged("[ERROR] MQTT_SDK: subscribe failed: invalid share group"), 4);
    EXPECT_EQ(logged("[ERROR] MQTT_SDK: unsubscribe failed: invalid share group"), 4);
    EXPECT_EQ(subscribe("t", 3, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(subscribe(nullptr, 0, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
}

TEST_F(handle_test, a_missing_handle_is_refused) {
    EXPECT_EQ(publish(0), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(subscribe("t", 0, nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(unsubscribe("t", nullptr), ZEP_MQTT_SDK_ERR_PARAM);
    EXPECT_EQ(zep_mqtt_sdk_client_get_conn_state(nullptr), ZEP_MQTT_SDK_DISCONNECTED);
    zep_mqtt_sdk_client coreless = {};
    for (zep_mqtt_sdk_client *missing : {static_cast<zep_mqtt_sdk_client *>(nullptr), &coreless}) {
        EXPECT_EQ(zep_mqtt_sdk_client_loop(missing), ZEP_MQTT_SDK_ERR_PARAM);
        EXPECT_EQ(zep_mqtt_sdk_client_connect(missing), ZEP_MQTT_SDK_ERR_PARAM);
        EXPECT_EQ(zep_mqtt_sdk_client_disconnect(missing), ZEP_MQTT_SDK_ERR_PARAM);
    }
    expect_logs({"[ERROR] MQTT_SDK: loop failed: invalid client handle",
                 "[ERROR] MQTT_SDK: loop failed: core client handle invalid"});
}

TEST_F(handle_test, the_library_wide_lines_are_written_once) {
    EXPECT_EQ(zep_mqtt_sdk_client_create(nullptr, callback_recorder::public_message, nullptr),
              nullptr);
    zep_mqtt_sdk_global_deinit();
    EXPECT_EQ(zep_mqtt_sdk_global_init(), 0);
    EXPECT_EQ(zep_mqtt_sdk_global_init(), 0);
    connect(v->connect);
    zep_mqtt_sdk_global_deinit();
    zep_mqtt_sdk_global_deinit();
    EXPECT_EQ(publish(0), 0);  // a TCP client goes on
    broker.expect(v->publish0);
    destroy();
    destroy();  // a null handle is ignored
    broker.expect(v->disconnect);
    broker.expect_closed();
    const std::string rule = "[WARN] " + std::string(56, '=') + "\n";
    EXPECT_EQ(logged(rule), 2);
    EXPECT_EQ(logged("[WARN] "), 6);
    for (const std::string &once :
         {rule + "[WARN]   MQTT Client SDK", std::string("[WARN]   Version: 3.1.0 \n"),
          std::string("[INFO] MQTT_SDK: global init success"),
          std::string("[INFO] MQTT_SDK: create success, client_id=c1, mqtt_ver="),
          std::string("[INFO] MQTT_SDK: global deinit success, all resource released"),
          std::string("[INFO] MQTT_SDK: client destroy success, all resource released\n")}) {
        EXPECT_EQ(logged(once), 1) << once;
    }
}

TEST_F(handle_50_test, the_largest_packet_limits_connect_and_publish) {
    struct {
        uint32_t asked, limit;
        const char *connect;
    } const cases[] = {
        {0, 1028, CONNECT_50},
        {2000, 2000, CONNECT_50},
        {100, 100, "10 14 0004 'MQTT' 05 02 003c 05 27 00000064 0002 'c1'"},
    };
    for (const auto &given : cases) {
        config.v50_max_pkt_size = given.asked;
        connect(given.connect);
        const size_t fits = given.limit - 11;  // beside a topic of one byte
        EXPECT_EQ(publish(0, std::string(fits + 1, 'x')), ZEP_MQTT_SDK_ERR_PACKET);
        expect_log("[ERROR] MQTT_SDK: publish failed: pkt_len(" + std::to_string(given.limit + 1) +
                   ") > max(" + std::to_string(given.limit) + ")");
        // What the interface lets through may still exceed the 960 bytes that can be encoded.
        const bool encodes = fits + 1 <= 960;
        EXPECT_EQ(publish(0, std::string(fits, 'x')), encodes ? 0 : ZEP_MQTT_SDK_ERR_UNKNOWN);
        broker.take(encodes ? fits + 6 : 0);
        destroy();
        broker.expect(v->disconnect);
        broker.expect_closed();
    }
    EXPECT_EQ(logged("[WARN] MQTT_SDK: v50_max_pkt_size truncate to 1028"), 1);
}

TEST_F(handle_50_test, operations_go_through_with_group_and_expiry) {
    char group[] = "mine";
    config.share_group = group;
    connect(CONNECT_50);
    std::strcpy(group, "gone");  // the application's text is read during create only
    const char *const plain = "82 07 id 00 0001 't' 01";
    struct {
        const char *group, *packet, *line, *unsubscribe_line;
    } const cases[] = {
        {nullptr, "82 13 id 00 000d '$share/mine/t' 01", ", qos=1, share_group=mine (会话级)",
         ", share_group=mine (会话级)"},
        {"other", "82 14 id 00 000e '$share/other/t' 01", ", qos=1, share_group=other (会话级)",
         ", share_group=other (会话级)"},
        {"", plain, ", qos=1 (强制非共享订阅)", " (非共享订阅)"},
        {nullptr, plain, ", qos=1, share_group=NULL (实例级)", ", share_group=NULL (实例级)"},
    };
    unsigned id = 0;
    for (const auto &given : cases) {
        if (&given == &cases[3]) {
            handle->cfg.share_group = nullptr;
        }
        EXPECT_EQ(subscribe("t", 1, given.group), 0);
        broker.expect(given.packet, ++id);
        EXPECT_EQ(unsubscribe("t", given.group), 0);
        broker.expect("a2 06 id 00 0001 't'", ++id);
        expect_log(std::string("[INFO] MQTT_SDK: subscribe mqtt5.0 topic=t") + given.line);
        expect_log(std::string("[INFO] MQTT_SDK: unsubscribe mqtt5.0 topic=t") +
                   given.unsubscribe_line);
    }
    // The check lets 64 bytes pass, a packet takes 32.
    EXPECT_EQ(subscribe("t", 0, std::string(64, 'g').c_str()), ZEP_MQTT_SDK_ERR_PARAM);

    EXPECT_EQ(publish(1, "hi", "t", 60), 0);
    broker.expect("32 0d 0001 't' 0009 05 02 0000003c 'hi'");
    EXPECT_EQ(publish(3), ZEP_MQTT_SDK_ERR_PARAM);
    expect_logs({"[DEBUG] MQTT_SDK: mqtt5.0 publish success, topic=t, ttl=60",
                 "[ERROR] MQTT_SDK: mqtt5.0 publish failed, core_err=-102, topic=t"});
}

}  // namespace
