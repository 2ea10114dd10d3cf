#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/mutex.h>
#include <zep_mqtt/topic/subscription_store.h>

#include "support/failing_malloc.h"
#include "support/log_capture.h"

namespace {

class subscription_store : public testing::Test {
 protected:
    void SetUp() override {
        agent_log_set_level(AGENT_LOG_INFO);
        ASSERT_EQ(mqtt_session_init(&session, "c1", 1, 60), 0);
    }
    void TearDown() override {
        mqtt_session_destroy(&session);
        platform_mutex_destroy(store.lock);
    }

    int32_t add(const std::string &filter, uint8_t qos = 0, const char *group = nullptr) {
        return mqtt_topic_client_add(&store, filter.c_str(), qos, group);
    }
    void fill() {
        for (int i = 0; i < 16; ++i) {
            ASSERT_EQ(add("f/" + std::to_string(i)), 0);
        }
    }

    mqtt_topic_list &store = g_mqtt_sub_ctx;
    mqtt_session session = {};
};

TEST_F(subscription_store, holds_16_filters_and_updates_without_growing) {
    fill();
    zep_test::log_capture log;
    EXPECT_EQ(add("f/16"), MQTT_ERR_CACHE_FULL);
    EXPECT_EQ(add("f/3", 2, "g"), 0);
    EXPECT_EQ(log.take(),
              "[ERROR] mqtt_topic: client sub count exceed max: 16\n"
              "[INFO] mqtt_topic: client update sub: f/3, qos=2\n");
    EXPECT_EQ(store.count, 16);
    EXPECT_EQ(store.entries[3].qos, 2);
    EXPECT_EQ(store.entries[3].is_shared, 1);
}

TEST_F(subscription_store, a_removed_slot_is_all_zero_and_taken_next) {
    fill();
    ASSERT_EQ(add("f/5", 1, "group"), 0);
    ASSERT_EQ(mqtt_topic_client_remove(&store, "f/5"), 0);
    ASSERT_EQ(mqtt_topic_client_remove(&store, "f/9"), 0);
    const mqtt_topic_entry zero = {};
    EXPECT_EQ(std::memcmp(&store.entries[5], &zero, sizeof zero), 0);
    EXPECT_EQ(store.count, 14);
    EXPECT_EQ(mqtt_topic_client_remove(&store, "f/5"), MQTT_ERR_CACHE_NOT_FOUND);
    EXPECT_EQ(store.count, 14);
    ASSERT_EQ(add("new"), 0);
    EXPECT_STREQ(store.entries[5].topic, "new");
}

TEST_F(subscription_store, compares_filters_byte_by_byte) {
    for (const char *filter : {"a/+", "a/b", "A", "a"}) {
        EXPECT_EQ(add(filter), 0);
    }
    EXPECT_EQ(store.count, 4);
    EXPECT_EQ(mqtt_topic_client_remove(&store, "a/c"), MQTT_ERR_CACHE_NOT_FOUND);
}

TEST_F(subscription_store, keeps_the_group_until_an_add_without_one) {
    const std::string longest(31, 'g');
    char group[32];
    zep_test::log_capture log;
    ASSERT_EQ(add("t", 1, longest.c_str()), 0);
    ASSERT_EQ(mqtt_topic_client_get_share_group(&store, "t", group), 0);
    EXPECT_EQ(group, longest);
    ASSERT_EQ(add("t", 2, "g"), 0);
    ASSERT_EQ(mqtt_topic_client_get_share_group(&store, "t", group), 0);
    EXPECT_STREQ(group, "g");
    ASSERT_EQ(add("t", 2, ""), 0);
    EXPECT_EQ(log.take(),
              "[INFO] mqtt_topic: client add sub: t, qos=1, shared=1\n"
              "[INFO] mqtt_topic: client update sub: t, qos=2\n"
              "[INFO] mqtt_topic: client update sub: t, qos=2\n");
    const char nothing[32] = {};
    EXPECT_EQ(std::memcmp(store.entries[0].share_group, nothing, sizeof nothing), 0);
    EXPECT_EQ(store.entries[0].is_shared, 0);
    EXPECT_EQ(mqtt_topic_client_get_share_group(&store, "u", group), MQTT_ERR_CACHE_NOT_FOUND);
}

TEST_F(subscription_store, refuses_what_it_cannot_hold) {
    const std::string too_long(64, 't');
    const std::string longest(63, 't');
    const std::string long_group(32, 'g');
    const struct {
        mqtt_topic_list *store;
        const char *filter;
        uint8_t qos;
        const char *group;
        int32_t status;
        std::string line;
    } cases[] = {
        {nullptr, "t", 0, nullptr, -101, "mqtt_topic: client add failed, invalid param"},
        {&store, nullptr, 0, nullptr, -101, "mqtt_topic: client add failed, invalid param"},
        {&store, "t", 3, nullptr, -101, "mqtt_topic: client add failed, invalid param"},
        {&store, "a#", 0, nullptr, -203, "[协议合规] 订阅过滤器非法：#通配符前无/，topic=a#"},
        {&store, too_long.c_str(), 0, nullptr, -201,
         "mqtt_topic: client add failed, topic too long, len=64"},
        {&store, longest.c_str(), 0, long_group.c_str(), -201,
         "mqtt_topic: share group too long, len=32"},
    };
    for (const auto &c : cases) {
        zep_test::log_capture log;
        EXPECT_EQ(mqtt_topic_client_add(c.store, c.filter, c.qos, c.group), c.status);
        EXPECT_EQ(log.take(), "[ERROR] " + c.line + "\n");
        EXPECT_EQ(store.count, 0);
    }
    EXPECT_EQ(add(longest), 0);

    char group[32];
    EXPECT_EQ(mqtt_topic_client_remove(nullptr, "t"), -101);
    EXPECT_EQ(mqtt_topic_client_remove(&store, nullptr), -101);
    EXPECT_EQ(mqtt_topic_client_get_share_group(nullptr, "t", group), -101);
    EXPECT_EQ(mqtt_topic_client_get_share_group(&store, nullptr, group), -101);
    EXPECT_EQ(mqtt_topic_client_get_share_group(&store, "t", nullptr), -101);
    EXPECT_EQ(mqtt_topic_list_init(nullptr), -101);
}

TEST_F(subscription_store, init_fails_without_memory_for_its_lock) {
    mqtt_topic_list fresh = {};
    fresh.count = 3;
    const zep_test::failing_malloc failure(0);
    zep_test::log_capture log;
    EXPECT_EQ(mqtt_topic_list_init(&fresh), -101);
    EXPECT_NE(log.take().find("[ERROR] mqtt_topic: create mutex failed\n"), std::string::npos);
    EXPECT_EQ(fresh.count, 0);
}

TEST_F(subscription_store, composes_shared_topics) {
    const std::string filter_52(52, 't'), filter_54(54, 't'), filter_55(55, 't');
    const std::string filter_63(63, 't'), filter_64(64, 't');
    const std::string group_31(31, 'g'), group_32(32, 'g');
    const struct {
        std::string filter;
        const char *group;
        int32_t status;
        std::string topic;
    } cases[] = {
        {"t", "g", 0, "$share/g/t"},
        {"a/+/#", "+#", 0, "$share/+#/a/+/#"},
        {"t", group_31.c_str(), 0, "$share/" + group_31 + "/t"},
        {"t", group_32.c_str(), -201, ""},
        {"t", "a$b", -101, ""},
        {"t", "a/b", -101, ""},
        {filter_54, "g", 0, "$share/g/" + filter_54},
        {filter_55, "g", -201, ""},
        {filter_52, nullptr, 0, filter_52},
        {filter_63, "", 0, filter_63},
        {filter_64, nullptr, -201, ""},
    };
    for (const auto &c : cases) {
        char topic[65] = "untouched";
        topic[64] = '!';
        EXPECT_EQ(mqtt_topic_client_build_shared(c.filter.c_str(), c.group, topic), c.status);
        EXPECT_EQ(std::string(topic), c.status == 0 ? c.topic : "untouched");
        EXPECT_EQ(topic[64], '!');
    }
    char topic[64];
    EXPECT_EQ(mqtt_topic_client_build_shared(nullptr, "g", topic), -101);
    EXPECT_EQ(mqtt_topic_client_build_shared("t", "g", nullptr), -101);
}

TEST_F(subscription_store, clients_add_with_their_own_checks) {
    const std::string ok = "ok", longest(63, 't'), too_long(64, 't');
    const std::string deep = "1/2/3/4/5/6/7/8/9/10/11/12/13/14/15/16/17";
    const auto refused = [](const std::string &filter, const char *code) {
        return "[ERROR] [业务层] 添加订阅失败：过滤器非法（" + filter +
               "），ClientID=c1，错误码=" + code + "\n";
    };
    const struct {
        mqtt_session *session;
        const char *filter;
        uint32_t qos;
        int32_t status;
        std::string last_line;
    } cases[] = {
        {nullptr, nullptr, 9, -101, "[ERROR] [业务层] 添加订阅失败：会话指针为空\n"},
        {&session, nullptr, 9, -101, "[ERROR] [业务层] 添加订阅失败：过滤器为空（ClientID=c1）\n"},
        {&session, "", 9, -101, "[ERROR] [业务层] 添加订阅失败：过滤器为空（ClientID=c1）\n"},
        {&session, "t", 256, -101, "[ERROR] [业务层] 添加订阅失败：QoS非法（256），ClientID=c1\n"},
        {&session, too_long.c_str(), 0, -101, refused(too_long, "-201")},
        {&session, "a+", 0, -101, refused("a+", "-101")},
        {&session, "+a", 0, -101, refused("+a", "-101")},
        {&session, "a/b#", 0, -101, refused("a/b#", "-101")},
        {&session, "#/a", 0, -101, refused("#/a", "-101")},
        {&session, "a/+b", 0, -101, refused("a/+b", "-101")},
        {&session, "a/+/b+/#", 0, -101, refused("a/+/b+/#", "-101")},
        {&session, deep.c_str(), 0, -116,
         "[ERROR] [业务层] 添加订阅失败：未知错误（ClientID=c1，错误码=-202）\n"},
        {&session, longest.c_str(), 0, 0,
         "[INFO] [业务层] 订阅添加成功：ClientID=c1，过滤器=" + longest + "，QoS=0\n"},
        {&session, "#", 1, 0, "[INFO] [业务层] 订阅添加成功：ClientID=c1，过滤器=#，QoS=1\n"},
        {&session, "+", 2, 0, "[INFO] [业务层] 订阅添加成功：ClientID=c1，过滤器=+，QoS=2\n"},
        {&session, "a/#", 0, 0, "[INFO] [业务层] 订阅添加成功：ClientID=c1，过滤器=a/#，QoS=0\n"},
        {&session, "+/b", 0, 0, "[INFO] [业务层] 订阅添加成功：ClientID=c1，过滤器=+/b，QoS=0\n"},
        {&session, "a/+/c", 0, 0,
         "[INFO] [业务层] 订阅添加成功：ClientID=c1，过滤器=a/+/c，QoS=0\n"},
    };
    for (const auto &c : cases) {
        zep_test::log_capture log;
        EXPECT_EQ(mqtt_subscribe_add(c.session, c.filter, c.qos), c.status);
        const std::string lines = log.take();
        EXPECT_TRUE(lines.ends_with(c.last_line)) << lines << c.last_line;
    }
    EXPECT_EQ(store.count, 6);
    for (int i = 6; i < 16; ++i) {
        ASSERT_EQ(mqtt_subscribe_add(&session, std::to_string(i).c_str(), 0), 0);
    }
    EXPECT_EQ(mqtt_subscribe_add(&session, "one more", 0), -116) << "a space";
    EXPECT_EQ(mqtt_subscribe_add(&session, "more", 0), MQTT_ERR_CACHE_FULL);
}

TEST_F(subscription_store, clients_share_an_entry_and_remove_it_once) {
    EXPECT_EQ(mqtt_subscribe_add(&session, "t", 0), 0);
    EXPECT_EQ(mqtt_subscribe_add(&session, "t", 1), 0);
    zep_test::log_capture log;
    EXPECT_EQ(mqtt_subscribe_remove(&session, "t"), 0);
    EXPECT_EQ(mqtt_subscribe_remove(&session, "t"), MQTT_ERR_CACHE_NOT_FOUND);
    EXPECT_EQ(log.take(),
              "[INFO] mqtt_topic: client remove sub: t\n"
              "[INFO] [业务层] 订阅移除成功：ClientID=c1，过滤器=t\n"
              "[ERROR] mqtt_topic: client remove failed, topic not found: t\n"
              "[ERROR] [业务层] 移除订阅失败：过滤器未找到（ClientID=c1，过滤器=t）\n");
    EXPECT_EQ(mqtt_subscribe_remove(nullptr, "t"), -101);
    EXPECT_EQ(mqtt_subscribe_remove(&session, nullptr), -101);
    EXPECT_EQ(mqtt_subscribe_remove(&session, ""), -101);
}

TEST_F(subscription_store, threads_leave_it_consistent) {
    agent_log_set_level(AGENT_LOG_FATAL);
    std::vector<std::thread> threads;
    for (int worker = 0; worker < 4; ++worker) {
        threads.emplace_back([worker] {
            const std::string own = "own/" + std::to_string(worker);
            char group[32];
            for (int round = 0; round < 500; ++round) {
                mqtt_topic_client_add(&g_mqtt_sub_ctx, "common", 1, "g");
                mqtt_topic_client_add(&g_mqtt_sub_ctx, own.c_str(), 1, nullptr);
                mqtt_topic_client_get_share_group(&g_mqtt_sub_ctx, "common", group);
                mqtt_topic_client_remove(&g_mqtt_sub_ctx, "common");
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    mqtt_topic_client_remove(&store, "common");
    EXPECT_EQ(store.count, 4);
}

}  // namespace
