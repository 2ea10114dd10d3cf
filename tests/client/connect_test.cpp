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
    std::strcpy(config.username, "me");
    std::strcpy(config.password, "pw");
}

TEST_F(configuration_test, what_cannot_work_is_refused) {
    const std::string error = "[ERROR] MQTT_CLIENT: ";
    const std::string invalid = error + "无效配置（client_id长度：";
    const std::string topic = "遗嘱主题非法（空指针/空字符串/超长，长度：0，最大允许：64）";
    const std::string payload = "遗嘱载荷非法（空指针/空数据/超长，长度：257，最大允许：256）";
    struct {
        void (*spoil)(mqtt_client_config &);
        std::string line;
    } const cases[] = {
        {[](auto &c) { c.client_id[0] = 0; }, invalid + "0，broker_port："},
        {[](auto &c) { std::memset(c.client_id, 'c', 24); }, invalid + "24，broker_port："},
        {[](auto &c) { c.broker_host[0] = 0; }, invalid + "2，broker_port："},
        {[](auto &c) { c.broker_port = 0; }, invalid + "2，broker_port：0）"},
        {[](auto &c) { set_will(c, "", 1, 0); }, error + "创建失败：" + topic},
        {[](auto &c) { set_will(c, "w", 1, 3); }, "[WARN] MQTT_CLIENT: 遗嘱QoS非法（3）."},
        {[](auto &c) { set_will(c, "w", 257, 0); }, error + "创建失败：" + payload},
        {[](auto &c) { c.client_id[0] = 1; }, error + "会话初始化失败（UTF8格式错误）"},
    };
    for (const auto &refused : cases) {
        mqtt_client_config spoilt = config;
        refused.spoil(spoilt);
        forget_log();
        EXPECT_EQ(mqtt_client_create(&spoilt, callback_recorder::core_message, nullptr, nullptr),
                  nullptr);
        expect_log(refused.line);
    }
    EXPECT_EQ(mqtt_client_create(&config, nullptr, nullptr, nullptr), nullptr);
    mqtt_client_destroy(nullptr);
    EXPECT_EQ(mqtt_client_connect(nullptr), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_client_disconnect(nullptr), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_client_get_connect_state(nullptr), 0u);
    for (const char *name : {"create", "destroy", "connect", "disconnect"}) {
        expect_log(std::string("无效空指针（调用函数：mqtt_client_") + name + "）");
    }
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
         "10 9b 02 0004 'MQTT' 04 f6 003c 0002 'c1' 0001 'w' 0100 78*256 0002 'me' 0002 'pw'"},
        {5, [](auto &c) { c.session_expiry_interval = 30, c.topic_alias_max = 5; },
         "10 12 0004 'MQTT' 05 02 003c 03 22 0005 0002 'c1'"},
        {5, [](auto &c) { c.session_expiry_interval = 30, c.clean_start = 0; },
         "10 14 0004 'MQTT' 05 00 003c 05 11 0000001e 0002 'c1'"},
        {5, [](auto &c) { set_will(c, "w", 2, 1), set_credentials(c); },
         "10 1f 0004 'MQTT' 05 ce 003c 00 0002 'c1' 00 0001 'w' 0002 'xx' 0002 'me' 0002 'pw'"},
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
    const std::string sent =
        "[INFO] MQTT_CLIENT: CONNECT报文发送成功，等待CONNACK，心跳:60s，协议版本:";
    expect_logs({"[ERROR] MQTT_CLIENT: 配置的MQTT版本号非法(7)，强制修正为3.1.1[4]",
                 "[WARN] MQTT_CLIENT: 心跳配置值过大(121秒)，自动修正为安全最大值120秒",
                 sent + "MQTT3.1.1[0x04]，clean_start:0，遗嘱开启：0",
                 sent + "MQTT5.0【独立编码】[0x05]，clean_start:1，遗嘱开启：1"});
}

TEST_F(configuration_test, that_cannot_be_encoded_leaves_no_connection) {
    config.mqtt_version = 5;
    set_will(config, "a/#", 1, 0);
    create();
    EXPECT_EQ(mqtt_client_connect(client), MQTT_ERR_INVALID_PARAM);
    expect_disconnected();
    expect_log("[ERROR] MQTT_CLIENT: 连接报文编码失败（参数无效）");
    broker.accept();
    broker.expect_closed();
}

TEST_P(connect_test, an_accepted_client_is_connected) {
    begin_connect();
    client->reconnect_count = 3;
    // A second call changes and sends nothing, now or later.
    EXPECT_EQ(mqtt_client_connect(client), 0);
    expect_log("[WARN] MQTT_CLIENT: 客户端已连接/正在连接中，无需重复调用");
    pass();
    EXPECT_EQ(mqtt_client_get_connect_state(client), MQTT_CLIENT_CONNECTING);
    hear(v->connack_present, 0, {"CONNACK ok"});
    EXPECT_EQ(client->reconnect_count, 0u);
    expect_log(
        is_50()
            ? "[INFO] MQTT_CLIENT50: ✅ MQTT5.0连接成功，最大报文=65535Bytes，心跳=60s"
            : "[INFO] MQTT_CLIENT✅ MQTT3.1.1连接成功，CONNACK成功！（会话存在：1，心跳间隔：60s）");
    EXPECT_EQ(mqtt_client_connect(client), 0);
    hear(v->connack_refused, 0, {});
    EXPECT_EQ(mqtt_client_get_connect_state(client), MQTT_CLIENT_CONNECTED);
    EXPECT_EQ(logged("[WARN] MQTT_CLIENT非连接状态收到CONNACK，忽略"), is_50() ? 0 : 1);
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
    expect_log("[ERROR] MQTT_CLIENT: CONNACK等待超时（3000ms），连接失败！");

    broker.stop_listening();
    EXPECT_EQ(mqtt_client_connect(client), MQTT_ERR_INTERNAL);
    expect_disconnected();
    expect_log("[ERROR] MQTT_CLIENT: 打开网络通道失败（无效实例下标）");
}

TEST_P(connect_test, disconnecting_and_destroying_say_goodbye) {
    config.crypto_enable = 1;
    connect();
    disconnect();
    EXPECT_EQ(mqtt_client_disconnect(client), 0);
    expect_log("[INFO] MQTT_CLIENT: 断开连接成功\n[WARN] MQTT_CLIENT: 客户端未连接\n");
    connect();
    break_sending();  // a goodbye that cannot be sent does not keep the client
    EXPECT_EQ(mqtt_client_disconnect(client), 0);
    expect_disconnected();
    broker.expect_closed();
    expect_log(is_50() ? "[WARN] MQTT_CLIENT50: 5.0断开报文发送失败，网络状态码=-1"
                       : "[WARN] MQTT_CLIENT: 发送断开报文失败（状态码：-1）");
    connect();
    destroy();
    broker.expect(v->disconnect);
    broker.expect_closed();
    expect_logs({"[INFO] MQTT_CLIENT: 加密句柄销毁成功，敏感数据已清零",
                 "[INFO] MQTT_CLIENT: 客户端销毁成功，所有资源已释放"});
}

}  // namespace
