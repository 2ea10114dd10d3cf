#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/will.h>
#include <zep_mqtt/qos/cache.h>
#include <zep_mqtt/topic/subscription_store.h>

#include "support/failing_malloc.h"
#include "support/log_capture.h"

namespace {

constexpr uint8_t PAYLOAD[] = {'h', 'i'};

void admit(mqtt_session &session, uint32_t qos, uint16_t id) {
    mqtt_message msg = {};
    msg.topic = "a/b";
    msg.payload = PAYLOAD;
    msg.payload_len = sizeof PAYLOAD;
    msg.msg_id = id;
    ASSERT_EQ(mqtt_qos_message_process(4, qos, &msg, &session), 0);
}

bool is_all_zero(const mqtt_session &session) {
    const mqtt_session zero = {};
    return std::memcmp(&session, &zero, sizeof zero) == 0;
}

TEST(session, refuses_bad_client_ids_and_stays_untouched) {
    const struct {
        const char *client_id;
        int32_t status;
        const char *line;
    } cases[] = {
        {nullptr, -101, "[ERROR] [协议合规] ClientID非法：空指针或空字符串\n"},
        {"", -101, "[ERROR] [协议合规] ClientID非法：空指针或空字符串\n"},
        {"123456789012345678901234", -101,
         "[ERROR] [协议合规] ClientID长度超限（协议建议≤23字符）：最大23，实际24\n"},
        {"a\x01", -104, "[ERROR] ClientID UTF8格式非法：a\x01\n"},
    };
    for (const auto &c : cases) {
        mqtt_session session;
        std::memset(&session, 0x5A, sizeof session);
        const mqtt_session before = session;
        zep_test::log_capture log;
        EXPECT_EQ(mqtt_session_init(&session, c.client_id, 1, 60), c.status);
        EXPECT_EQ(log.take(), c.line);
        EXPECT_EQ(std::memcmp(&session, &before, sizeof session), 0);
    }
    EXPECT_EQ(mqtt_session_init(nullptr, "c1", 1, 60), -101);
    EXPECT_EQ(mqtt_session_destroy(nullptr), -101);
}

TEST(session, starts_empty_with_the_longest_client_id) {
    agent_log_set_level(AGENT_LOG_INFO);
    mqtt_session session;
    std::memset(&session, 0x5A, sizeof session);
    zep_test::log_capture log;
    ASSERT_EQ(mqtt_session_init(&session, "12345678901234567890123", 7, 60), 0);
    EXPECT_EQ(log.take(),
              "[INFO] mqtt_topic: list init success\n"
              "[INFO] MQTT会话初始化成功：ClientID=12345678901234567890123, CleanStart=7, "
              "KeepAlive=60\n");
    mqtt_session expected = {};
    std::strcpy(expected.client_id, "12345678901234567890123");
    expected.clean_start = 7;
    expected.keep_alive = 60;
    expected.next_packet_id = 1;
    expected.id_pool_top = -1;
    EXPECT_EQ(std::memcmp(&session, &expected, sizeof session), 0);
    EXPECT_EQ(g_sub_ctx_inited, 1);
}

TEST(session, destroy_releases_everything_and_may_be_repeated) {
    mqtt_session session = {};
    ASSERT_EQ(mqtt_session_init(&session, "c1", 1, 60), 0);
    ASSERT_EQ(mqtt_will_set(&session, "w", PAYLOAD, 2, 1, 1), 0);
    for (uint16_t id = 1; id <= 5; ++id) {
        admit(session, id <= 3 ? 1 : 2, id);
    }
    agent_log_set_level(AGENT_LOG_INFO);
    zep_test::log_capture log;
    EXPECT_EQ(mqtt_session_destroy(&session), 0);
    EXPECT_EQ(mqtt_session_destroy(&session), 0);
    EXPECT_EQ(log.take(),
              "[INFO] MQTT会话销毁成功：ClientID=c1, 已释放QoS1缓存3个, QoS2缓存2个\n"
              "[INFO] MQTT会话销毁成功：ClientID=, 已释放QoS1缓存0个, QoS2缓存0个\n");
    EXPECT_TRUE(is_all_zero(session));
    EXPECT_EQ(is_destroying, 0);
}

TEST(session, a_destroy_while_the_flag_is_up_touches_nothing) {
    mqtt_session session = {};
    ASSERT_EQ(mqtt_session_init(&session, "c1", 1, 60), 0);
    is_destroying = 1;
    agent_log_set_level(AGENT_LOG_WARN);
    zep_test::log_capture log;
    EXPECT_EQ(mqtt_session_destroy(&session), 0);
    EXPECT_NE(log.take().find("[WARN] 会话正在销毁中，跳过重复调用：session=0x"),
              std::string::npos);
    EXPECT_STREQ(session.client_id, "c1");
    EXPECT_EQ(is_destroying, 1);
    is_destroying = 0;
    mqtt_session_destroy(&session);
}

// None may be skipped because another one runs; the leak checker and the clear record tell.
TEST(session, many_threads_start_and_destroy_sessions_at_once) {
    agent_log_set_level(AGENT_LOG_INFO);
    zep_test::log_capture log;
    std::array<bool, 4> cleared = {};
    std::vector<std::thread> threads;
    for (bool &result : cleared) {
        threads.emplace_back([&result] {
            result = true;
            for (int round = 0; round < 200; ++round) {
                mqtt_session session = {};
                mqtt_session_init(&session, "c1", 1, 60);
                mqtt_will_set(&session, "w", PAYLOAD, 2, 1, 1);
                mqtt_session_destroy(&session);
                result = result && is_all_zero(session);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(cleared, (std::array<bool, 4>{true, true, true, true}));
    EXPECT_EQ(is_destroying, 0);
    const std::string lines = log.take();
    const std::string once = "mqtt_topic: list init success";
    EXPECT_EQ(lines.find(once), lines.rfind(once));
    EXPECT_EQ(lines.find("跳过重复调用"), std::string::npos);
}

TEST(session, a_failed_store_fails_the_session_and_is_tried_again) {
    agent_log_set_level(AGENT_LOG_FATAL);
    mqtt_session session = {};
    {
        const zep_test::failing_malloc failure(0);
        zep_test::log_capture log;
        EXPECT_EQ(mqtt_session_init(&session, "c1", 1, 60), -103);
        EXPECT_EQ(log.take(), "[FATAL] 静态订阅列表初始化失败，错误码：-101\n");
        EXPECT_EQ(g_sub_ctx_inited, 0);
    }
    EXPECT_EQ(mqtt_session_init(&session, "c1", 1, 60), 0);
    EXPECT_EQ(g_sub_ctx_inited, 1);
}

class will : public testing::Test {
 protected:
    void SetUp() override {
        agent_log_set_level(AGENT_LOG_WARN);
        ASSERT_EQ(mqtt_session_init(&session, "c1", 1, 60), 0);
    }
    void TearDown() override { mqtt_session_destroy(&session); }

    mqtt_session session = {};
};

TEST_F(will, refusals_come_in_their_order_and_change_nothing) {
    ASSERT_EQ(mqtt_will_set(&session, "w", PAYLOAD, 2, 1, 1), 0);
    const std::string long_topic(65, 't');
    const std::string deep_topic = "1/2/3/4/5/6/7/8/9/10/11/12/13/14/15/16/17";
    const struct {
        mqtt_session *session;
        const char *topic;
        uint32_t qos;
        int32_t status;
        std::string line;
    } cases[] = {
        {nullptr, nullptr, 3, -101, "Will Topic为空，参数非法"},
        {&session, "", 3, -101, "Will Topic为空，参数非法"},
        {nullptr, "a/#", 3, -203, "Will Topic校验失败：通配符使用非法，Topic=a/#"},
        {&session, "a b", 0, -203, "Will Topic校验失败：通配符使用非法，Topic=a b"},
        {&session, long_topic.c_str(), 0, -201, "校验失败：主题长度超限，Topic=" + long_topic},
        {&session, deep_topic.c_str(), 0, -202, "校验失败：主题层级超限，Topic=" + deep_topic},
        {nullptr, "w2", 3, -101, "Will消息配置失败：session为空"},
        {&session, "w2", 3, -102, "Will消息配置失败：非法QoS等级=3"},
    };
    for (const auto &c : cases) {
        zep_test::log_capture log;
        EXPECT_EQ(mqtt_will_set(c.session, c.topic, nullptr, 0, c.qos, 0), c.status);
        EXPECT_NE(log.take().find(c.line + "\n"), std::string::npos) << c.line;
        EXPECT_STREQ(session.will_topic, "w");
    }
    EXPECT_EQ(mqtt_will_clear(nullptr), -101);
}

TEST_F(will, a_second_one_replaces_the_first_and_clear_removes_it) {
    ASSERT_EQ(mqtt_will_set(&session, "w", PAYLOAD, 2, 2, 1), 0);
    EXPECT_EQ(session.will_payload_len, 2u);
    ASSERT_EQ(mqtt_will_set(&session, "w2", nullptr, 9, 1, 0), 0);
    EXPECT_STREQ(session.will_topic, "w2");
    EXPECT_EQ(session.will_payload, nullptr);
    EXPECT_EQ(session.will_payload_len, 0u);
    EXPECT_EQ(session.will_flag, 1);
    EXPECT_EQ(session.will_qos, 1u);
    EXPECT_EQ(session.will_retain, 0);
    ASSERT_EQ(mqtt_will_clear(&session), 0);
    EXPECT_EQ(session.will_topic, nullptr);
    EXPECT_EQ(session.will_flag + session.will_qos, 0u);
}

TEST_F(will, without_memory_topic_and_payload_are_gone_and_the_rest_stays) {
    const char *lines[] = {"Will Topic内存分配失败", "Will Payload内存分配失败"};
    for (uint64_t fail_at = 0; fail_at < 2; ++fail_at) {
        ASSERT_EQ(mqtt_will_set(&session, "w", PAYLOAD, 2, 2, 1), 0);
        const zep_test::failing_malloc failure(fail_at);
        zep_test::log_capture log;
        EXPECT_EQ(mqtt_will_set(&session, "w2", PAYLOAD, 2, 1, 0), -103);
        EXPECT_NE(log.take().find(lines[fail_at]), std::string::npos);
        EXPECT_EQ(session.will_topic, nullptr);
        EXPECT_EQ(session.will_payload, nullptr);
        EXPECT_EQ(session.will_payload_len, 0u);
        EXPECT_EQ(session.will_flag, 1);
        EXPECT_EQ(session.will_qos, 2u);
        EXPECT_EQ(session.will_retain, 1);
    }
}

}  // namespace
