// Subscriptions, and the identifiers that they hold.
#include <set>

#include <zep_mqtt/topic/subscription_store.h>

#include "support/client_fixture.h"

namespace {

using namespace zep_test;

FOR_BOTH_VERSIONS(subscribe_test);
class subscribe_311_test : public client_test {};

TEST_P(subscribe_test, a_subscription_is_recorded_and_acknowledged) {
    connect();
    const std::string new_in_50 = v == &V50 ? "5.0 " : "";
    EXPECT_EQ(subscribe(), 0);
    broker.expect(v->subscribe, 1);
    EXPECT_EQ(g_mqtt_sub_ctx.count, 1u);
    EXPECT_EQ(identifiers_in_use(), 1u);

    broker.send(v->suback, 1);
    pass();
    expect_happened({"message  [01] qos=1 id=1", "SUBACK ok id=1"});
    EXPECT_EQ(identifiers_in_use(), 0u);
    expect_log("[INFO] MQTT_CLIENT✅ 收到" + new_in_50 + "SUBACK订阅应答成功 (pkt_id:1, 授权QoS:1)");

    EXPECT_EQ(unsubscribe(), 0);
    broker.expect(v->unsubscribe, 1);
    EXPECT_EQ(g_mqtt_sub_ctx.count, 0u);
    broker.send(v->unsuback, 1);
    pass();
    expect_happened({"message  [] qos=0 id=1", "UNSUBACK ok id=1"});
    EXPECT_EQ(identifiers_in_use(), 0u);
    expect_log("[INFO] MQTT_CLIENT✅ 收到" + new_in_50 + "UNSUBACK取消订阅应答成功 (pkt_id:1)");
}

TEST_P(subscribe_test, a_refused_subscription_reads_as_qos_0) {
    connect();
    EXPECT_EQ(subscribe(), 0);
    broker.expect(v->subscribe, 1);
    broker.send(v->suback_failed, 1);
    pass();
    expect_happened({"message  [00] qos=0 id=1", "SUBACK ok id=1"});
}

TEST_P(subscribe_test, retained_messages_may_come_with_the_acknowledgement) {
    connect();
    EXPECT_EQ(subscribe(), 0);
    broker.expect(v->subscribe, 1);
    bytes joined = lay(v->suback, 1);
    const bytes retained = lay(v->publish0);
    joined.insert(joined.end(), retained.begin(), retained.end());
    broker.send(joined);
    pass();
    expect_happened({"message  [01] qos=1 id=1", "SUBACK ok id=1", "message t [hi] qos=0"});
}

TEST_P(subscribe_test, the_end_of_a_connection_returns_what_can_no_longer_be_acknowledged) {
    struct {
        const char *how;
        void (*end)(scripted_broker &, mqtt_client *);
    } const cases[] = {
        {"disconnected", [](auto &, auto *c) { mqtt_client_disconnect(c); }},
        {"closed", [](auto &b, auto *) { b.close(); }},
        {"broker disconnects", [](auto &b, auto *) { b.send("e0 00"); }},
        {"length without end", [](auto &b, auto *) { b.send("30 ff ff ff ff"); }},
    };
    for (const auto &ended : cases) {
        SCOPED_TRACE(ended.how);
        connect();
        EXPECT_EQ(publish(1), 0);
        EXPECT_EQ(subscribe(), 0);
        EXPECT_EQ(unsubscribe(), 0);
        EXPECT_EQ(identifiers_in_use(), 3u);
        broker.take(lay(v->publish1).size() + lay(v->subscribe).size() +
                    lay(v->unsubscribe).size());
        ended.end(broker, client);
        pass(2);
        EXPECT_EQ(client->state, MQTT_CLIENT_DISCONNECTED);
        EXPECT_EQ(identifiers_in_use(), 1u);  // the cached message keeps its own
        broker.close();
        callbacks.take();
        connect();
        const uint16_t cached = client->session.qos1_cache->msg.msg_id;
        broker.send(PUBACK, cached);
        pass();
        expect_happened({"PUBACK ok id=" + std::to_string(cached)});
        EXPECT_EQ(identifiers_in_use(), 0u);
        mqtt_client_disconnect(client);
        broker.close();
    }
}

TEST_P(subscribe_test, a_late_acknowledgement_reports_and_returns_nothing_twice) {
    connect();
    EXPECT_EQ(publish(1), 0);
    broker.expect(v->publish1, 1);
    broker.send(v->suback, 7);
    broker.send(v->unsuback, 7);
    pass();
    expect_happened({"message  [01] qos=1 id=7", "SUBACK ok id=7", "message  [] qos=0 id=7",
                     "UNSUBACK ok id=7"});
    EXPECT_EQ(identifiers_in_use(), 1u);
    std::set<uint16_t> taken = {1};
    for (int i = 0; i < 99; i++) {
        ASSERT_EQ(publish(1), 0);
        taken.insert(client->session.qos1_cache->msg.msg_id);
    }
    EXPECT_EQ(taken.size(), 100u);
    broker.take(99 * lay(v->publish1).size());
}

TEST_P(subscribe_test, a_full_store_does_not_keep_a_subscribe_from_being_sent) {
    connect();
    for (int i = 0; i < 16; i++) {
        EXPECT_EQ(subscribe(("f/" + std::to_string(i)).c_str()), 0);
    }
    const int32_t full = v == &V50 ? 0 : MQTT_ERR_CACHE_FULL;
    broker.take(10 * lay(v->subscribe, 0).size() + 6 * (lay(v->subscribe, 0).size() + 1));
    EXPECT_EQ(subscribe(), full);
    broker.expect(v->subscribe, 17);
    EXPECT_EQ(identifiers_in_use(), 17u);
    EXPECT_EQ(g_mqtt_sub_ctx.count, 16u);
    if (v == &V311) {
        expect_log("[WARN] MQTT_CLIENT: 本地订阅保存失败（缓存满）");
    }
    EXPECT_EQ(unsubscribe(), v == &V50 ? 0 : MQTT_ERR_CACHE_NOT_FOUND);
    broker.expect(v->unsubscribe, 18);
    if (v == &V311) {
        expect_log("[WARN] MQTT_CLIENT: 取消订阅本地缓存清理失败（未找到缓存），可能主题未订阅");
    }
}

TEST_F(subscribe_311_test, what_cannot_be_subscribed_is_refused) {
    create();
    EXPECT_EQ(subscribe(), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(unsubscribe(), MQTT_ERR_INVALID_PARAM);
    expect_log("[WARN] MQTT_CLIENT: 取消订阅失败，客户端未连接至Broker");
    expect_log("[ERROR] MQTT_CLIENT: 订阅失败，客户端未连接或QoS非法（QoS：1）");
    connect();
    const std::string too_long(65, 'f');
    struct {
        const char *filter;
        uint32_t qos;
        uint8_t shared;
        int32_t result;
        const char *line;
    } const cases[] = {
        {nullptr, 0, 0, -101, "无效空指针（调用函数：mqtt_client_subscribe）"},
        {nullptr, 0, 0, -101, "订阅失败，Topic非法（空指针/空字符串/超长，长度：0）"},
        {"", 0, 0, -101, "订阅失败，Topic非法（空指针/空字符串/超长，长度：0）"},
        {too_long.c_str(), 0, 0, -101, "订阅失败，Topic非法（空指针/空字符串/超长，长度：65）"},
        {"f", 3, 0, -101, "订阅失败，客户端未连接或QoS非法（QoS：3）"},
        {"f", 0, 1, -110, "Client侧禁用共享订阅"},
        {"f\x01", 0, 0, -104, ""},
    };
    for (const auto &refused : cases) {
        log.forget();
        EXPECT_EQ(mqtt_client_subscribe(client, refused.filter, refused.qos, refused.shared),
                  refused.result);
        expect_log(std::string("[ERROR] ") + (*refused.line != 0 ? "MQTT_CLIENT: " : "") +
                   refused.line);
    }
    EXPECT_EQ(unsubscribe(nullptr), MQTT_ERR_INVALID_PARAM);
    expect_log(
        "[ERROR] MQTT_CLIENT: 无效空指针（调用函数：mqtt_client_unsubscribe）\n"
        "[ERROR] MQTT_CLIENT: 入参无效，空指针");
    EXPECT_EQ(unsubscribe(too_long.c_str()), MQTT_ERR_INVALID_PARAM);
    expect_log("[ERROR] MQTT_CLIENT: 取消订阅失败，主题格式非法（长度：65）");
    EXPECT_EQ(identifiers_in_use(), 0u);

    // Sent, but the store does not take it.
    const std::string longest(64, 'f');
    EXPECT_EQ(subscribe(longest.c_str(), 0), MQTT_ERR_INVALID_PARAM);
    broker.expect("82 45 0001 0040 66*64 00", 0);
    EXPECT_EQ(identifiers_in_use(), 1u);
}

}  // namespace
