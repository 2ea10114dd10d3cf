#include <array>
#include <cstring>
#include <latch>
#include <thread>

#include <zep_mqtt/protocol/v311/will.h>
#include <zep_mqtt/qos/cache.h>
#include <zep_mqtt/topic/subscription_store.h>

#include "support/failing_malloc.h"
#include "support/recorded_log.h"

namespace {

constexpr uint8_t PAYLOAD[] = {'h', 'i'};

// A will, three QoS 1 messages and two QoS 2 messages.
void fill(mqtt_session &session) {
    mqtt_will_set(&session, "w", PAYLOAD, 2, 2, 1);
    for (uint16_t id = 1; id <= 5; ++id) {
        mqtt_message msg = {"a/b", PAYLOAD, sizeof PAYLOAD, 0, 0, id, 0, 0};
        mqtt_qos_message_process(4, id <= 3 ? 1 : 2, &msg, &session);
    }
}

bool same(const mqtt_session &a, const mqtt_session &b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

class session_life : public zep_test::logged_test {};

TEST_F(session_life, starts_empty_or_untouched_and_is_cleared_at_the_end) {
    agent_log_set_level(AGENT_LOG_INFO);
    mqtt_session session, before, expected = {};
    std::memset(&session, 0x5A, sizeof session);
    before = session;
    const std::string longest = "12345678901234567890123";
    EXPECT_EQ(mqtt_session_init(nullptr, "c1", 1, 60), -101);
    EXPECT_EQ(mqtt_session_init(&session, nullptr, 1, 60), -101);
    EXPECT_EQ(mqtt_session_init(&session, "", 1, 60), -101);
    EXPECT_EQ(mqtt_session_init(&session, (longest + "4").c_str(), 1, 60), -101);
    EXPECT_EQ(mqtt_session_init(&session, "a\x01", 1, 60), -104);
    EXPECT_TRUE(same(session, before));

    longest.copy(expected.client_id, longest.size());
    expected.clean_start = 7;
    expected.keep_alive = 60;
    expected.next_packet_id = 1;
    expected.id_pool_top = -1;
    ASSERT_EQ(mqtt_session_init(&session, longest.c_str(), 7, 60), 0);
    EXPECT_TRUE(same(session, expected));
    fill(session);
    is_destroying = 1;
    EXPECT_EQ(mqtt_session_destroy(&session), 0);
    EXPECT_EQ(session.client_id, longest) << "nothing happens while the flag is up";
    EXPECT_EQ(is_destroying, 1);
    is_destroying = 0;
    EXPECT_EQ(mqtt_session_destroy(nullptr), -101);
    EXPECT_EQ(mqtt_session_destroy(&session), 0);
    EXPECT_EQ(mqtt_session_destroy(&session), 0);
    EXPECT_TRUE(same(session, {}));
}

// None may be skipped because another one runs, and the store is set up once, for all to see.
TEST(session, threads_start_and_destroy_sessions_at_once) {
    agent_log_set_level(AGENT_LOG_INFO);
    zep_test::log_capture log;
    std::latch start(4);
    std::array<std::jthread, 4> threads;
    for (std::jthread &thread : threads) {
        thread = std::jthread([&start] {
            start.arrive_and_wait();
            for (int round = 0; round < 500; ++round) {
                mqtt_session session = {};
                mqtt_session_init(&session, "c1", 1, 60);
                EXPECT_EQ(mqtt_subscribe_add(&session, "t", 0), 0);
                fill(session);
                mqtt_session_destroy(&session);
                EXPECT_TRUE(same(session, {}));
            }
        });
    }
    for (std::jthread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(is_destroying, 0);
    const std::string lines = log.take(), once = "mqtt_topic: list init success";
    EXPECT_EQ(lines.find(once), lines.rfind(once));
    EXPECT_EQ(lines.find("跳过重复调用"), std::string::npos);
}

class will : public zep_test::logged_test {
 protected:
    void SetUp() override {
        agent_log_set_level(AGENT_LOG_WARN);
        ASSERT_EQ(mqtt_session_init(&session, "c1", 1, 60), 0);
        ASSERT_EQ(mqtt_will_set(&session, "w", PAYLOAD, 2, 2, 1), 0);
    }
    void TearDown() override {
        mqtt_session_destroy(&session);
        logged_test::TearDown();
    }

    mqtt_session session = {};
};

TEST_F(will, refusals_come_in_their_order_and_change_nothing) {
    const std::string too_long(65, 't'), too_deep = "1/2/3/4/5/6/7/8/9/10/11/12/13/14/15/16/17";
    const struct {
        mqtt_session *session;
        std::string topic;
        int32_t status;
    } cases[] = {
        {nullptr, "", -101},       {nullptr, "a/#", -203}, {nullptr, too_long, -201},
        {nullptr, too_deep, -202}, {nullptr, "w2", -101},  {&session, "w2", -102},
    };
    const mqtt_session before = session;
    for (const auto &c : cases) {
        EXPECT_EQ(mqtt_will_set(c.session, c.topic.c_str(), nullptr, 0, 3, 0), c.status);
    }
    EXPECT_EQ(mqtt_will_set(&session, nullptr, nullptr, 0, 0, 0), -101);
    EXPECT_EQ(mqtt_will_clear(nullptr), -101);
    EXPECT_TRUE(same(session, before));
}

TEST_F(will, is_replaced_cleared_and_without_memory_half_gone) {
    mqtt_session bare = session;
    bare.will_topic = nullptr;
    bare.will_payload = nullptr;
    bare.will_payload_len = 0;
    for (uint64_t fail_at = 0; fail_at < 2; ++fail_at) {
        const zep_test::failing_malloc failure(fail_at);
        EXPECT_EQ(mqtt_will_set(&session, "w2", PAYLOAD, 2, 1, 0), -103);
        EXPECT_TRUE(same(session, bare)) << "topic and payload are gone, the rest stays";
    }
    ASSERT_EQ(mqtt_will_set(&session, "w2", nullptr, 9, 1, 0), 0);
    EXPECT_STREQ(session.will_topic, "w2");
    bare.will_topic = session.will_topic;
    bare.will_qos = 1;
    bare.will_retain = 0;
    EXPECT_TRUE(same(session, bare));
    ASSERT_EQ(mqtt_will_clear(&session), 0);
    bare.will_topic = nullptr;
    bare.will_flag = 0;
    bare.will_qos = 0;
    EXPECT_TRUE(same(session, bare));
}

TEST(session, an_unterminated_identifier_is_not_read_past) {
    mqtt_session session = {};
    std::memset(session.client_id, 'x', sizeof session.client_id);
    session.keep_alive = 0x7878;  // might be read for more of it
    zep_test::log_capture log;
    EXPECT_EQ(mqtt_session_destroy(&session), 0);
    EXPECT_NE(log.take().find(" client_id: " + std::string(23, 'x') + "\n"), std::string::npos);
}

}  // namespace
