// What only a 5.0 connection has.
#include <zep_mqtt/net/adapter.h>

#include "support/client_fixture.h"

namespace {

using namespace zep_test;

class v50_test : public client_test {
 protected:
    v50_test() : client_test(V50) {}

    // Sends this CONNACK to a new connection.
    void answer_connect(const std::string &connack) {
        if (client == nullptr) {
            create();
        }
        EXPECT_EQ(mqtt_client_connect(client), 0);
        broker.accept();
        broker.expect(v->connect);
        broker.send(connack);
        pass();
    }
};

const char *const ALL_PROPERTIES =
    "20 30 01 00 2d 11 00000e10 12 0003 'abc' 13 001e 15 0004 'none' 1f 0002 'ok' 21 000a "
    "22 0005 25 01 27 00000800 28 01 29 01 2a 01";

TEST_F(v50_test, the_connack_tells_what_the_broker_grants) {
    mqtt50_conn_info info = {};
    create();
    EXPECT_EQ(mqtt_client50_get_conn_info(client, &info), MQTT_ERR_INVALID_PARAM);
    expect_log("[WARN] MQTT_CLIENT50: 获取5.0信息失败，未连接5.0服务端");
    EXPECT_EQ(mqtt_client50_get_conn_info(nullptr, &info), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_client50_get_conn_info(client, nullptr), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(log.count("[ERROR] MQTT_CLIENT50: 获取5.0信息失败，参数无效"), 2);

    answer_connect(ALL_PROPERTIES);
    expect_happened({"CONNACK ok"});
    ASSERT_EQ(mqtt_client50_get_conn_info(client, &info), 0);
    EXPECT_EQ(info.protocol_version, 5u);
    EXPECT_EQ(info.reason_code, 0);
    EXPECT_EQ(info.session_present, 1);
    EXPECT_EQ(info.max_packet_size, 2048u);
    EXPECT_EQ(info.session_expiry, 3600u);
    EXPECT_EQ(info.receive_maximum, 10);
    EXPECT_EQ(info.server_keep_alive, 30);
    EXPECT_EQ(info.shared_sub_available, 1);
    EXPECT_EQ(info.retain_available, 1);
    EXPECT_STREQ(info.assigned_client_id, "abc");
    EXPECT_STREQ(info.reason_string, "ok");
    for (const char *line :
         {"[INFO] MQTT_CLIENT50: 5.0 CONNACK解析:属性长度=12",
          "[INFO] MQTT_CLIENT50: 5.0 CONNACK属性:会话过期=3600s",
          "[INFO] MQTT_CLIENT50: 5.0 CONNACK属性:服务端心跳=30s",
          "[INFO] MQTT_CLIENT50: 5.0 CONNACK属性:服务端认证方法=\n",
          "[INFO] MQTT_CLIENT50: 5.0 CONNACK属性:服务端最大并发=10",
          "[INFO] MQTT_CLIENT50: 5.0 CONNACK属性:通配符订阅允许=1",
          "[INFO] MQTT_CLIENT50: 5.0 CONNACK属性:订阅ID允许=1",
          "[WARN] MQTT_CLIENT50: 5.0 CONNACK:未知属性ID=0x22",
          "[WARN] MQTT_CLIENT50: 5.0 CONNACK:未知属性ID=0x27",
          "[INFO] MQTT_CLIENT50: ✅ MQTT5.0连接成功，最大报文=2048Bytes，心跳=30s"}) {
        expect_log(line);
    }

    // The broker's keep-alive rules the pings, and its expiry goes back with the DISCONNECT.
    age(client->last_activity_ms, 14500);
    pass();
    broker.expect_nothing();
    age(client->last_activity_ms, 500);
    pass();
    broker.expect(PINGREQ);
    EXPECT_EQ(mqtt_client_disconnect(client), 0);
    broker.expect("e0 07 00 05 11 00000e10");
    broker.expect_closed();

    // What the next CONNACK does not carry stays, but for retain and the largest packet.
    client->config.keep_alive = 60;
    answer_connect(V50.connack);
    expect_happened({"CONNACK ok"});
    ASSERT_EQ(mqtt_client50_get_conn_info(client, &info), 0);
    EXPECT_EQ(info.session_present, 0);
    EXPECT_EQ(info.max_packet_size, 65535u);
    EXPECT_EQ(info.retain_available, 0);
    EXPECT_EQ(info.session_expiry, 3600u);
    mqtt_client_disconnect(client);
    broker.expect("e0 07 00 05 11 00000e10");
    broker.expect_closed();
}

TEST_F(v50_test, overlong_texts_of_a_connack_are_left_out) {
    answer_connect("20 40 00 00 3d 12 0018 61*24 1f 001f 62*31");
    expect_happened({"CONNACK ok"});
    EXPECT_STREQ(client->conn_info->assigned_client_id, "");
    EXPECT_EQ(std::string(client->conn_info->reason_string), std::string(31, 'b'));
}

TEST_F(v50_test, a_refusal_gives_its_reason) {
    answer_connect("20 0f 00 86 0c 1f 0009 'bad login'");
    expect_happened({"CONNACK failed result=-4"});
    expect_log("[ERROR] MQTT_CLIENT50: ❌ MQTT5.0连接失败，原因码=0x86，描述=bad login");
    EXPECT_EQ(client->conn_info->reason_code, 0x86);
    broker.expect_closed();
}

TEST_F(v50_test, a_connack_that_does_not_decode_leaves_the_time_out) {
    for (const char *connack : {"20 02 00 05", "20 01 00", "20 00", "21 03 00 00 00"}) {
        answer_connect(connack);
        EXPECT_EQ(client->state, MQTT_CLIENT_CONNECTING) << connack;
        expect_happened({});
        age(client->connect_tick_ms, 3000);
        log.forget();
        pass();
        EXPECT_EQ(client->state, MQTT_CLIENT_DISCONNECTED);
        expect_log("[ERROR] MQTT_CLIENT: CONNACK等待超时（3000ms），连接失败！");
        broker.expect_closed();
    }
}

TEST_F(v50_test, a_decoded_connack_is_applied_only_while_connecting) {
    mqtt50_connack connack = {};
    create();
    EXPECT_EQ(mqtt50_client_handle_connack(client, &connack), 0);
    expect_log("[WARN] MQTT_CLIENT50: 5.0 CONNACK WARN: 非CONNECTING状态，忽略报文");
    EXPECT_EQ(client->conn_info->protocol_version, 0u);
    EXPECT_EQ(mqtt50_client_handle_connack(nullptr, &connack), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt50_client_handle_connack(client, nullptr), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(log.count("[ERROR] MQTT_CLIENT50: 5.0 CONNACK ERR: 入参空指针，非法调用"), 2);
}

TEST_F(v50_test, a_puback_carries_a_reason) {
    connect();
    struct {
        const char *packet;
        std::string happened;
    } const cases[] = {
        {"40 02 id", "PUBACK ok id="},
        {"40 03 id 00", "PUBACK ok id="},
        {"40 03 id 10", "PUBACK ok id="},
        {"40 04 id 80 00", "PUBACK ok result=-5 id="},
        {"40 0b id 97 07 1f 0004 'full'", "PUBACK ok result=-5 id="},
    };
    for (const auto &acknowledged : cases) {
        EXPECT_EQ(publish(1), 0);
        broker.take(lay(v->publish1).size());
        const uint16_t id = client->session.qos1_cache->msg.msg_id;
        broker.send(acknowledged.packet, id);
        pass();
        expect_happened({acknowledged.happened + std::to_string(id)});
        EXPECT_EQ(identifiers_in_use(), 0u);
    }
    EXPECT_EQ(
        log.count("[INFO] MQTT_CLIENT: 5.0 PUBACK提示：无匹配订阅者（pkt_id：1），消息未转发"), 1);
    expect_log("[DEBUG] MQTT_CLIENT: 收到5.0 PUBACK（pkt_id：1，原因码：0x97）");
    broker.send("40 01 00");
    broker.send("50 01 00");
    broker.send("70 01 00");
    pass();
    expect_log("[ERROR] MQTT_CLIENT5.0 PUBACK报文解码失败，丢弃非法报文");
    expect_log("[ERROR] MQTT_CLIENT5.0 PUBREC报文解码失败，丢弃非法报文");
    expect_log("[ERROR] MQTT_CLIENT5.0 PUBCOMP报文解码失败，丢弃非法报文");
}

TEST_F(v50_test, long_forms_and_properties_are_understood) {
    connect();
    EXPECT_EQ(publish(2), 0);
    broker.expect(v->publish2, 1);
    broker.send("50 04 id 00 00", 1);
    broker.send("70 03 id 00", 1);
    broker.send("90 08 id 04 1f 0001 'x' 02", 8);
    broker.send("b0 08 id 04 1f 0001 'x' 11", 9);
    broker.send("34 0b 0001 't' id 05 01 01 23 0005", 7);  // foreign properties, no payload
    broker.send("62 04 id 00 00", 7);
    pass(2);
    broker.expect(PUBREL, 1);
    broker.expect(PUBREC, 7);
    broker.expect(PUBCOMP, 7);
    expect_happened({"QOS2 ok id=1", "QOS2 ok id=1", "message  [02] qos=2 id=8", "SUBACK ok id=8",
                     "message  [] qos=0 id=9", "UNSUBACK ok id=9", "message t [] qos=2 id=7"});
}

TEST_F(v50_test, messages_beyond_the_caches_return_their_identifiers_too) {
    connect();
    for (const uint32_t qos : {1, 2, 1}) {
        std::vector<unsigned> ids;
        for (int i = 0; i < 128; i++) {
            ASSERT_EQ(publish(qos), 0);
            const bytes packet = broker.take(lay(v->publish1).size());
            ids.push_back(packet.at(6));
        }
        EXPECT_EQ(publish(qos), MQTT_ERR_PACKET_ID_EXHAUSTED);
        for (const unsigned id : ids) {
            if (qos == 2) {
                broker.send(PUBREC, id);
                pass();
                broker.expect(PUBREL, id);
            }
            broker.send(qos == 2 ? PUBCOMP : PUBACK, id);
            pass();
        }
        EXPECT_EQ(identifiers_in_use(), 0u);
        EXPECT_EQ(callbacks.take().size(), qos * 128);
    }
}

TEST_F(v50_test, a_message_may_be_repeated_by_the_application_and_may_expire) {
    connect();
    mqtt50_message msg = {};
    msg.topic = "t";
    msg.payload = reinterpret_cast<const uint8_t *>("hi");
    msg.payload_len = 2;
    msg.qos = 1;
    msg.retain = 1;
    msg.message_expiry = 60;
    EXPECT_EQ(mqtt_client_publish50(client, &msg), 0);
    broker.expect("33 0d 0001 't' 0001 05 02 0000003c 'hi'");
    age_cache(2000);
    pass();
    broker.expect("3b 08 0001 't' 0001 00 'hi'");

    msg.is_dup = 1;
    msg.dup_msg_id = 42;
    EXPECT_EQ(mqtt_client_publish50(client, &msg), 0);
    broker.expect("3b 0d 0001 't' 002a 05 02 0000003c 'hi'");
    expect_log("[DEBUG] MQTT_CLIENT50: publish50 use dup msg id=42");
    EXPECT_EQ(client->session.id_pool_top, -1);
    EXPECT_EQ(client->session.next_packet_id, 2);

    // A payload is not required.
    msg = {};
    msg.topic = "t";
    EXPECT_EQ(mqtt_client_publish50(client, &msg), 0);
    broker.expect("30 04 0001 't' 00");
    EXPECT_EQ(mqtt_client_publish50(client, nullptr), MQTT_ERR_INVALID_PARAM);
    expect_log("[ERROR] MQTT_CLIENT50: publish50 fail, client/msg50 null");
}

TEST_F(v50_test, every_publish_dumps_the_key_at_debug) {
    for (int i = 0; i < 16; i++) {
        config.crypto_key[i] = static_cast<uint8_t>(0xA0 + i);
    }
    connect();
    EXPECT_EQ(publish(0), 0);
    broker.expect(v->publish0);
    for (const char *line :
         {"[DEBUG] MQTT_CLIENT50: [crypto] enable=0", "MQTT_CLIENT50 [crypto key]",
          "MQTT_CLIENT50 [crypto iv] ", "[DEBUG] MQTT_CLIENT50: orig payload len=2",
          "MQTT_CLIENT50 [orig payload]",
          "[DEBUG] MQTT_CLIENT50: packet assembled: t, qos=0, payload_len=2",
          "[INFO] MQTT_CLIENT50: publish50 success! topic=t"}) {
        expect_log(line);
    }
}

TEST_F(v50_test, shared_subscriptions_are_composed_or_refused) {
    connect();
    EXPECT_EQ(mqtt_client_subscribe50(client, "t", 2, "g1"), 0);
    broker.expect("82 11 0001 00 000b '$share/g1/t' 02");
    EXPECT_EQ(mqtt_client_subscribe50(client, "t", 0, ""), 0);
    broker.expect("82 07 0002 00 0001 't' 00");
    const std::string text(65, 'g');
    struct {
        std::string filter, group;
    } const cases[] = {
        {text, ""},                       // 65 bytes
        {text, "g"},                      //
        {"t", text.substr(0, 33)},        // a group has 32 at most
        {text.substr(0, 50), "1234567"},  // $share/1234567/ + 50 = 65 bytes
        {"", ""},
    };
    for (const auto &refused : cases) {
        EXPECT_EQ(mqtt_client_subscribe50(client, refused.filter.c_str(), 0, refused.group.c_str()),
                  MQTT_ERR_INVALID_PARAM);
    }
    EXPECT_EQ(mqtt_client_unsubscribe50(client, text.c_str()), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_client_subscribe50(client, nullptr, 0, nullptr), MQTT_ERR_INTERNAL);
    EXPECT_EQ(mqtt_client_unsubscribe50(client, nullptr), MQTT_ERR_INTERNAL);
    EXPECT_EQ(identifiers_in_use(), 2u);
    EXPECT_EQ(client->busy, 0u);
    EXPECT_EQ(mqtt_client_subscribe50(client, text.substr(0, 49).c_str(), 0, "1234567"), 0);
    EXPECT_EQ(broker.take(72).size(), 72u);
}

TEST_F(v50_test, an_unsuback_may_be_handled_by_the_application) {
    connect();
    EXPECT_EQ(unsubscribe(), 0);
    EXPECT_EQ(unsubscribe(), 0);
    broker.take(2 * lay(v->unsubscribe).size());
    const mqtt50_ack good = {1, 0};
    const mqtt50_ack conflict = {2, 0x91};
    EXPECT_EQ(mqtt50_client_handle_unsuback(client, &good), 0);
    EXPECT_EQ(mqtt50_client_handle_unsuback(client, &conflict), 0);
    EXPECT_EQ(identifiers_in_use(), 1u);
    expect_log("[INFO] MQTT_CLIENT50: 收到5.0 UNSUBACK [msg_id=1，原因码=0x00]\n");
    expect_log("[INFO] MQTT_CLIENT50: 5.0取消订阅成功 [msg_id=1]");
    expect_log(
        "[ERROR] MQTT_CLIENT50: 5.0取消订阅失败 [msg_id=2，原因码=0x91]\n"
        "[WARN] MQTT_CLIENT50: Packet ID冲突，重新申请ID重试取消订阅");
    EXPECT_EQ(mqtt50_client_handle_unsuback(client, nullptr), MQTT_ERR_INVALID_PARAM);
}

TEST_F(v50_test, packets_can_be_made_from_the_client_record) {
    uint8_t packet[512];
    uint32_t size = sizeof packet;
    create();
    EXPECT_EQ(mqtt50_unsubscribe_packet_encode(client, "x", packet, &size), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt50_disconnect_packet_encode(client, 0, packet, &size), MQTT_ERR_INVALID_PARAM);
    connect();
    EXPECT_EQ(mqtt50_unsubscribe_packet_encode(client, "x", packet, &size), 0);
    EXPECT_EQ(bytes(packet, packet + size), lay("a2 06 0001 00 0001 'x'"));
    EXPECT_EQ(identifiers_in_use(), 1u);
    size = sizeof packet;
    EXPECT_EQ(mqtt50_unsubscribe_packet_encode(client, "", packet, &size), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(identifiers_in_use(), 1u);
    size = sizeof packet;
    EXPECT_EQ(mqtt50_disconnect_packet_encode(client, 4, packet, &size), 0);
    EXPECT_EQ(bytes(packet, packet + size), lay("e0 02 04 00"));
}

TEST_F(v50_test, the_version_of_a_packet_is_the_connections) {
    const uint8_t packet[] = {0xd0, 0x00};
    create();
    EXPECT_EQ(mqtt50_version_auto_detect(packet, 2, client), 5u);
    client->config.mqtt_version = 9;
    EXPECT_EQ(mqtt50_version_auto_detect(packet, 2, client), 4u);
    expect_log("[WARN] MQTT_CLIENT50: ⚠️ 无版本信息，兜底返回MQTT3.1.1");
    client->conn_info->protocol_version = 5;
    EXPECT_EQ(mqtt50_version_auto_detect(packet, 2, client), 5u);
    EXPECT_EQ(mqtt50_version_auto_detect(packet, 1, client), 4u);
    EXPECT_EQ(mqtt50_version_auto_detect(nullptr, 2, client), 4u);
    EXPECT_EQ(mqtt50_version_auto_detect(packet, 2, nullptr), 4u);
    EXPECT_EQ(log.count("[ERROR] MQTT_CLIENT50: ❌ 版本检测参数非法，兜底返回MQTT3.1.1"), 3);
}

TEST_F(v50_test, publish_needs_a_connection_that_speaks_50) {
    connect();
    client->conn_info->protocol_version = 4;
    EXPECT_EQ(publish(0), MQTT_ERR_VERSION_UNSUPPORTED);
    expect_log("[ERROR] MQTT_CLIENT50: publish50 fail, not mqtt5.0 connection");
    client->conn_info->protocol_version = 5;
}

TEST_F(v50_test, the_way_back_to_311_uses_a_new_connection) {
    connect();
    EXPECT_EQ(subscribe(), 0);
    broker.expect(v->subscribe, 1);
    const uint8_t left = client->net_index;
    mqtt_client_version_downgrade(client);
    mqtt_client_version_downgrade(client);
    mqtt_client_version_downgrade(nullptr);
    EXPECT_EQ(
        log.count(
            "[WARN] MQTT_CLIENT50: ⚠️ MQTT5.0协商失败/服务端不支持，自动降级到3.1.1协议"),
        1);
    EXPECT_EQ(client->state, MQTT_CLIENT_DISCONNECTED);
    EXPECT_EQ(client->config.mqtt_version, 4u);
    EXPECT_EQ(client->net_index, left);
    pass();
    broker.expect_nothing();  // still open, and not an attempt yet

    client->config.reconnect_interval_ms = 0;
    pass();
    broker.expect_closed();
    broker.accept();
    broker.expect(V311.connect);
    broker.send(V311.connack);
    pass();
    expect_happened({"CONNACK ok"});
    EXPECT_EQ(identifiers_in_use(), 0u);
    v = &V311;
    EXPECT_EQ(publish(1), 0);
    broker.expect(V311.publish1, client->session.qos1_cache->msg.msg_id);
}

TEST_F(v50_test, destroy_closes_what_a_downgrade_left_open) {
    connect();
    const uint8_t left = client->net_index;
    mqtt_client_version_downgrade(client);
    mqtt_client_destroy(client);
    client = nullptr;
    EXPECT_EQ(g_adapter_ctx[left].used, 0);
    broker.expect_closed();
}

}  // namespace
