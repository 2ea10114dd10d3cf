// What happens by the clock: keep-alive, reconnection, clean-up.
#include "support/client_fixture.h"

namespace {

using namespace zep_test;

FOR_BOTH_VERSIONS(loop_test);
class loop_311_test : public client_test {};

TEST_P(loop_test, a_ping_goes_out_half_an_interval_after_the_last_activity) {
    connect();
    age(client->last_activity_ms, 29000);
    pass();
    broker.expect_nothing();
    age(client->last_activity_ms, 1000);
    pass(2);
    broker.expect(PINGREQ);  // once
    broker.expect_nothing();
    expect_log("[DEBUG] MQTT_CLIENT: 发送心跳保活 PINGREQ，心跳间隔：60s");

    // A publish and what it brings in return are no activity; a SUBACK is.
    age(client->last_activity_ms, 30000);
    EXPECT_EQ(publish(1), 0);
    broker.expect(v->publish1, 1);
    broker.send(PUBACK, 1);
    pass();
    expect_happened({"PUBACK ok id=1"});
    broker.expect(PINGREQ);
    age(client->last_activity_ms, 30000);
    broker.send(v->suback, 9);
    pass();
    broker.expect_nothing();
    callbacks.take();
    age(client->last_activity_ms, 30000);
    broker.send(v->unsuback, 9);
    pass();
    callbacks.take();
    broker.expect(PINGREQ);
}

TEST_P(loop_test, no_keep_alive_sends_no_ping) {
    config.keep_alive = 0;
    create();
    EXPECT_EQ(mqtt_client_connect(client), 0);
    broker.accept();
    broker.take(lay(v->connect).size());
    broker.send(v->connack);
    pass();
    expect_happened({"CONNACK ok"});
    age(client->last_activity_ms, 1u << 30);
    pass();
    broker.expect_nothing();
}

TEST_P(loop_test, a_ping_that_cannot_be_sent_ends_the_connection) {
    connect();
    EXPECT_EQ(subscribe(), 0);
    broker.expect(v->subscribe, 1);
    break_sending();
    age(client->last_activity_ms, 30000);
    pass();
    EXPECT_EQ(client->state, MQTT_CLIENT_DISCONNECTED);
    EXPECT_EQ(client->net_index, MQTT_CLIENT_NO_INSTANCE);
    EXPECT_EQ(identifiers_in_use(), 0u);
    expect_log("[ERROR] MQTT_CLIENT: 心跳报文发送失败（状态码：-1），标记断线");
    expect_happened({});
    broker.expect_closed();
}

TEST_P(loop_test, a_lost_client_comes_back_by_itself) {
    config.clean_start = 0;
    config.reconnect_interval_ms = 5000;
    create();
    client->config.clean_start = 1;  // the packet of the table asks for a clean start
    connect();
    client->config.clean_start = 0;
    broker.close();
    last_reconnect_tick = client->connect_tick_ms;
    pass(2);
    expect_happened({"DISCONNECT failed result=-4"});
    broker.expect_no_connection();

    age(last_reconnect_tick, 4000);
    pass();
    broker.expect_no_connection();
    for (int attempt = 1; attempt <= 2; attempt++) {
        age(last_reconnect_tick, 5000);
        pass();
        broker.accept();
        broker.expect(v->connect);
        expect_log("[INFO] MQTT_CLIENT: 触发自动重连【第" + std::to_string(attempt) +
                   "次】，尝试重新连接Broker：127.0.0.1:" + std::to_string(broker.port()));
        broker.send(v->connack_refused);
        pass();
        broker.expect_closed();
        expect_happened({"CONNACK failed result=-4"});
    }
    expect_log("[INFO] MQTT_CLIENT: 重连-发送CONNECT报文成功，等待CONNACK响应");
    EXPECT_EQ(client->config.clean_start, 1);
    broker.stop_listening();
    age(last_reconnect_tick, 5000);
    pass(2);
    EXPECT_EQ(log.count("触发自动重连【第3次】"), 1);
    EXPECT_EQ(client->state, MQTT_CLIENT_DISCONNECTED);
}

TEST_P(loop_test, also_a_client_that_was_told_to_disconnect) {
    connect();
    client->config.reconnect_interval_ms = 0;
    EXPECT_EQ(mqtt_client_disconnect(client), 0);
    broker.expect(v->disconnect);
    broker.expect_closed();
    pass();
    broker.accept();
    broker.expect(v->connect);
    broker.send(v->connack);
    pass();
    expect_happened({"CONNACK ok"});
    EXPECT_EQ(client->reconnect_count, 0u);
}

TEST_F(loop_311_test, clients_share_the_interval_between_attempts) {
    config.reconnect_interval_ms = 10000;
    create();
    mqtt_client *other =
        mqtt_client_create(&config, callback_recorder::core_message, nullptr, &callbacks);
    ASSERT_NE(other, nullptr);
    last_reconnect_tick = client->last_activity_ms;
    age(last_reconnect_tick, 10000);
    for (mqtt_client *each : {client, other, client, other}) {
        EXPECT_EQ(mqtt_client_loop(each), 0);
    }
    EXPECT_EQ(log.count("触发自动重连"), 1);
    EXPECT_EQ(other->state, MQTT_CLIENT_DISCONNECTED);
    mqtt_client_destroy(other);
    broker.accept();
    broker.expect(V311.connect);
}

TEST_P(loop_test, every_fiftieth_pass_expires_old_messages) {
    connect();
    EXPECT_EQ(client->clean_tick, 10u);  // the pass since the CONNECT
    EXPECT_EQ(publish(1), 0);
    EXPECT_EQ(publish(2), 0);
    EXPECT_EQ(mqtt_client_disconnect(client), 0);
    broker.take(lay(v->publish1).size() * 2);
    broker.expect(v->disconnect);
    broker.expect_closed();
    age_cache(300001);
    pass(48);
    EXPECT_EQ(identifiers_in_use(), 2u);
    pass();
    EXPECT_EQ(identifiers_in_use(), 0u);
    EXPECT_EQ(client->session.qos1_count + client->session.qos2_count, 0u);
    EXPECT_EQ(client->clean_tick, 0u);
    expect_log("[DEBUG] MQTT_CLIENT: 清理超时QoS活重传缓存，共2条");
}

TEST_P(loop_test, the_loop_refuses_a_client_that_is_busy_or_gone) {
    create();
    client->busy = 1;
    client->op_type = MQTT_CLIENT_OP_PUBLISH;
    EXPECT_EQ(mqtt_client_loop(client), MQTT_ERR_BUSY);
    expect_log("[WARN] MQTT_CLIENT: Client busy, loop skip! op_type:1");
    client->busy = 0;
    client->alive = 0;
    EXPECT_EQ(mqtt_client_loop(client), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(client->busy, 0u);
    EXPECT_EQ(client->op_type, MQTT_CLIENT_OP_NONE);
    client->alive = 1;
}

}  // namespace
