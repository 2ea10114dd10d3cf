#include <cstring>

#include <zep_mqtt/topic/subscription_store.h>

#include "support/guarded_bytes.h"
#include "support/recorded_log.h"

namespace {

const std::string TEXT_63(63, 't'), TEXT_64(64, 't'), TEXT_31(31, 'g'), TEXT_32(32, 'g');

class subscription_store : public zep_test::logged_test {
 protected:
    void SetUp() override {
        agent_log_set_level(AGENT_LOG_INFO);
        ASSERT_EQ(mqtt_session_init(&session, "c1", 1, 60), 0);
    }

    int32_t add(const std::string &filter, uint8_t qos = 0, const char *group = nullptr) {
        return mqtt_topic_client_add(&store, filter.c_str(), qos, group);
    }
    int32_t remove(const char *filter) { return mqtt_topic_client_remove(&store, filter); }
    int32_t subscribe(const std::string &filter, uint32_t qos = 0) {
        return mqtt_subscribe_add(&session, filter.c_str(), qos);
    }

    mqtt_topic_list &store = g_mqtt_sub_ctx;
    mqtt_session session = {};
};

TEST_F(subscription_store, holds_16_filters_each_once_in_the_lowest_free_slot) {
    for (int i = 0; i < 16; ++i) {
        ASSERT_EQ(add("f/" + std::to_string(i)), 0);
    }
    EXPECT_EQ(add("f/16"), -107);
    EXPECT_EQ(add("f/5", 2), 0) << "an update needs no room";
    EXPECT_EQ(store.entries[5].qos, 2);
    EXPECT_EQ(remove("f/9"), 0);
    EXPECT_EQ(remove("f/2"), 0);
    EXPECT_EQ(remove("f/2"), -105);
    EXPECT_EQ(store.count, 14);
    EXPECT_EQ(add("new", 1), 0);
    EXPECT_STREQ(store.entries[2].topic, "new");
}

TEST_F(subscription_store, keeps_a_group_until_an_add_without_one) {
    for (const std::string &group : {TEXT_31, std::string("g"), std::string()}) {
        ASSERT_EQ(add("t", 2, group.c_str()), 0);
        char read[32];
        ASSERT_EQ(mqtt_topic_client_get_share_group(&store, "t", read), 0);
        EXPECT_EQ(read, group);
    }
    const mqtt_topic_entry expected = {"t", 2, 1, "", 0};
    EXPECT_EQ(std::memcmp(&store.entries[0], &expected, sizeof expected), 0);
}

TEST_F(subscription_store, refuses_null_and_what_it_cannot_hold) {
    char group[32];
    EXPECT_EQ(mqtt_topic_client_add(nullptr, "t", 0, nullptr), -101);
    EXPECT_EQ(mqtt_topic_client_remove(nullptr, "t"), -101);
    EXPECT_EQ(mqtt_topic_client_get_share_group(nullptr, "t", group), -101);
    EXPECT_EQ(add("t", 3), -101);
    EXPECT_EQ(add("a#"), -203);
    EXPECT_EQ(add(TEXT_64), -201);
    EXPECT_EQ(add(TEXT_63, 0, TEXT_32.c_str()), -201);
    EXPECT_EQ(remove(nullptr), -101);
    EXPECT_EQ(mqtt_topic_client_get_share_group(&store, "t", nullptr), -101);
    EXPECT_EQ(mqtt_topic_client_get_share_group(&store, "t", group), -105);
    EXPECT_EQ(mqtt_topic_list_init(nullptr), -101);
    EXPECT_EQ(store.count, 0);
}

TEST_F(subscription_store, composes_shared_topics) {
    const std::string text_54(54, 't');
    const struct {
        std::string filter, group;
        int32_t status;
        std::string topic;
    } cases[] = {
        {"a/+/#", "+#", 0, "$share/+#/a/+/#"},
        {"t", TEXT_31, 0, "$share/" + TEXT_31 + "/t"},
        {text_54, "g", 0, "$share/g/" + text_54},
        {text_54 + "t", "g", -201, "as before"},
        {"t", TEXT_32, -201, "as before"},
        {"t", "a$b", -101, "as before"},
        {"t", "a/b", -101, "as before"},
        {TEXT_64, "", -201, "as before"},
        {TEXT_63, "", 0, TEXT_63},
    };
    const zep_test::guarded_bytes buffer(64);
    char *topic = reinterpret_cast<char *>(buffer.data());
    for (const auto &[filter, group, status, expected] : cases) {
        std::strcpy(topic, "as before");
        EXPECT_EQ(mqtt_topic_client_build_shared(filter.c_str(), group.c_str(), topic), status);
        EXPECT_EQ(topic, expected);
    }
    EXPECT_EQ(mqtt_topic_client_build_shared(nullptr, "g", topic), -101);
    EXPECT_EQ(mqtt_topic_client_build_shared("t", "g", nullptr), -101);
}

TEST_F(subscription_store, clients_share_entries_and_hear_why_not) {
    for (const char *filter : {"a#", "#/a", "a/+b", "a/+/b+/#"}) {
        EXPECT_EQ(subscribe(filter), -101) << filter;
    }
    for (const char *filter : {"#", "+", "+/b/#", TEXT_63.c_str()}) {
        EXPECT_EQ(subscribe(filter), 0) << filter;
    }
    EXPECT_EQ(mqtt_subscribe_add(nullptr, nullptr, 9), -101);
    EXPECT_EQ(mqtt_subscribe_add(&session, nullptr, 9), -101);
    EXPECT_EQ(subscribe("t", 256), -101);
    EXPECT_EQ(subscribe("a+"), -101);
    EXPECT_EQ(subscribe("a//b"), -116);
    EXPECT_EQ(subscribe("t", 2), 0);
    EXPECT_EQ(mqtt_subscribe_remove(&session, "t"), 0);
    EXPECT_EQ(mqtt_subscribe_remove(&session, "t"), -105);
    EXPECT_EQ(mqtt_subscribe_remove(nullptr, "t"), -101);
    EXPECT_EQ(mqtt_subscribe_remove(&session, ""), -101);
}

}  // namespace
