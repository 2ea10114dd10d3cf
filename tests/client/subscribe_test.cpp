// Subscriptions, and the identifiers that they hold.
#include <zep_mqtt/topic/subscription_store.h>

#include "support/client_fixture.h"

namespace {

using namespace zep_test;

FOR_BOTH_VERSIONS(subscribe_test);
class subscribe_311_test : public client_test {};

TEST_P(subscribe_test, a_subscription_is_recorded_and_acknowledged) {
    connect();
    EXPECT_EQ(subscribe(), 0);
    broker.expect(v->subscribe, 1);
    EXPECT_EQ(g_mqtt_sub_ctx.count, 1u);
    EXPECT_EQ(identifiers_in_use(), 1u);
    // Retained messages may come in the same segment.
    broker.send(joined({lay(v->suback, 1), lay(v->publish0)}));
    pass();
    expect_happened({"message  [01] qos=1 id=1", "SUBACK ok id=1", "message t [hi] qos=0"});
    EXPECT_EQ(identifiers_in_use(), 0u);
    hear(v->suback_failed, 2, {"message  [00] qos=0 id=2", "SUBACK ok id=2"});

    EXPECT_EQ(unsubscribe(), 0);
    broker.expect(v->unsubscribe, 1);
    EXPECT_EQ(g_mqtt_sub_ctx.count, 0u);
    hear(v->unsuback, 1, {"message  [] qos=0 id=1", "UNSUBACK ok id=1"});
    EXPECT_EQ(identifiers_in_use(), 0u);
}

TEST_P(subscribe_test, what_the_store_does_not_take_is_sent_all_the_same) {
    connect();
    for (char name = 'a'; name < 'q'; name++) {
        EXPECT_EQ(subscribe(std::string("f/").append(1, name).c_str()), 0);
        broker.take(lay(v->subscribe).size());
    }
    EXPECT_EQ(subscribe(), is_50() ? 0 : MQTT_ERR_CACHE_FULL);
    broker.expect(v->subscribe, 17);
    EXPECT_EQ(unsubscribe(), is_50() ? 0 : MQTT_ERR_CACHE_NOT_FOUND);
    broker.expect(v->unsubscribe, 18);
    EXPECT_EQ(subscribe(std::string(64, 'f').c_str(), 0), is_50() ? 0 : MQTT_ERR_INVALID_PARAM);
    broker.expect(is_50() ? "82 46 id 00 0040 66*64 00" : "82 45 id 0040 66*64 00", 19);
    EXPECT_EQ(identifiers_in_use(), 19u);
}

TEST_F(subscribe_311_test, what_cannot_be_subscribed_is_refused) {
    create();
    EXPECT_EQ(subscribe(), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(unsubscribe(), MQTT_ERR_INVALID_PARAM);
    connect();
    const std::string too_long(65, 'f');
    for (const int32_t result : {subscribe(nullptr), subscribe(too_long.c_str()), subscribe("f", 3),
                                 unsubscribe(nullptr), unsubscribe(too_long.c_str())}) {
        EXPECT_EQ(result, MQTT_ERR_INVALID_PARAM);
    }
    EXPECT_EQ(subscribe("f\x01"), MQTT_ERR_UTF8_INVALID);
    EXPECT_EQ(mqtt_client_subscribe(client, "f", 0, 1), MQTT_ERR_NOT_SUPPORTED);
    EXPECT_EQ(identifiers_in_use(), 0u);
}

}  // namespace
