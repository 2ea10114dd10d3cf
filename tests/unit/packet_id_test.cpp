#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <set>
#include <vector>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet_id.h>

#include "protocol/v311/packet_id_private.h"
#include "support/log_capture.h"

namespace {

class packet_id : public testing::Test {
 protected:
    void SetUp() override {
        agent_log_set_level(AGENT_LOG_WARN);
        ASSERT_EQ(mqtt_session_init(&session, "c1", 1, 60), 0);
    }
    void TearDown() override { mqtt_session_destroy(&session); }

    uint16_t take() {
        uint16_t id = 999;
        EXPECT_EQ(mqtt_packet_id_alloc(&session, &id), 0);
        return id;
    }

    void take_all() {
        for (uint16_t expected = 1; expected <= 128; ++expected) {
            ASSERT_EQ(take(), expected);
        }
    }

    mqtt_session session = {};
};

TEST_F(packet_id, runs_from_1_to_128_and_is_then_exhausted) {
    take_all();
    const uint16_t next = session.next_packet_id;
    uint16_t id = 999;
    zep_test::log_capture log;
    EXPECT_EQ(mqtt_packet_id_alloc(&session, &id), MQTT_ERR_PACKET_ID_EXHAUSTED);
    EXPECT_EQ(log.take(), "[ERROR] Packet ID耗尽：ClientID=c1\n");
    EXPECT_EQ(id, 0);
    EXPECT_EQ(session.next_packet_id, next);
}

TEST_F(packet_id, released_ones_come_back_oldest_first) {
    for (uint16_t expected = 1; expected <= 3; ++expected) {
        ASSERT_EQ(take(), expected);
    }
    ASSERT_EQ(mqtt_packet_id_free(&session, 2), 0);
    ASSERT_EQ(mqtt_packet_id_free(&session, 1), 0);
    agent_log_set_level(AGENT_LOG_DEBUG);
    zep_test::log_capture log;
    EXPECT_EQ(take(), 2);
    EXPECT_EQ(take(), 1);
    EXPECT_EQ(take(), 4);
    EXPECT_EQ(log.take(),
              "[DEBUG] Packet ID复用成功：ClientID=c1, ID=2, 池剩余计数=0\n"
              "[DEBUG] Packet ID复用成功：ClientID=c1, ID=1, 池剩余计数=-1\n"
              "[DEBUG] Packet ID分配成功：ClientID=c1, ID=1\n"
              "[DEBUG] Packet ID分配成功：ClientID=c1, ID=4\n");
}

TEST_F(packet_id, the_scan_wraps_and_finds_the_last_free_one) {
    session.next_packet_id = 128;
    EXPECT_EQ(take(), 128);
    EXPECT_EQ(session.next_packet_id, 1);
    for (uint16_t expected = 1; expected <= 127; ++expected) {
        ASSERT_EQ(take(), expected);
    }
    session.id_in_use[128] = 0;
    session.next_packet_id = 5;
    EXPECT_EQ(take(), 128);
}

TEST_F(packet_id, refuses_what_it_did_not_hand_out) {
    EXPECT_EQ(mqtt_packet_id_free(nullptr, 1), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_packet_id_free(&session, 0), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_packet_id_free(&session, 129), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_packet_id_free(&session, 7), 0) << "never taken, accepted";
    zep_test::log_capture log;
    EXPECT_EQ(mqtt_packet_id_free(&session, 7), MQTT_ERR_DUPLICATE);
    EXPECT_EQ(log.take(),
              "[ERROR] mqtt_packet_id_free: Packet ID（7）重复释放（ClientID=c1），违反MQTT协议\n");
}

TEST_F(packet_id, alloc_refuses_null_and_a_session_without_init) {
    mqtt_session cleared = {};
    uint16_t id = 999;
    EXPECT_EQ(mqtt_packet_id_alloc(nullptr, &id), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_packet_id_alloc(&session, nullptr), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(mqtt_packet_id_alloc(&cleared, &id), MQTT_ERR_INVALID_PARAM);
    EXPECT_EQ(id, 999);
}

// Beyond 32 the pool takes none, yet none is lost.
TEST_F(packet_id, all_128_come_back_although_the_pool_has_32) {
    take_all();
    for (uint16_t id = 128; id >= 1; --id) {
        ASSERT_EQ(mqtt_packet_id_free(&session, id), 0);
    }
    EXPECT_EQ(session.id_pool_top, 31);
    std::set<uint16_t> seen;
    for (int i = 0; i < 128; ++i) {
        seen.insert(take());
    }
    EXPECT_EQ(seen.size(), 128u);
    EXPECT_EQ(*seen.begin(), 1);
    EXPECT_EQ(*seen.rbegin(), 128);
}

// Every sequence of operations against the plainest model: a set of identifiers in use and a list
// of those that wait in the pool.
TEST_F(packet_id, agrees_with_a_model_in_random_sequences) {
    agent_log_set_level(AGENT_LOG_FATAL);
    std::mt19937 random(20240601);
    std::set<uint16_t> used;
    std::vector<uint16_t> pool;
    for (int step = 0; step < 20000; ++step) {
        // Long phases of taking and of giving back, so that both ends are reached.
        const bool mostly_takes = step / 300 % 2 == 0;
        const auto dice = random() % 10;
        const uint16_t any = static_cast<uint16_t>(random() % 130);
        const bool legal = any >= 1 && any <= 128;
        const bool pooled = std::find(pool.begin(), pool.end(), any) != pool.end();
        if (dice == 0) {
            zep::packet_id_claim(&session, any);
            if (legal) {
                used.insert(any);
                std::erase(pool, any);
            }
        } else if (mostly_takes ? dice < 8 : dice < 3) {
            uint16_t id = 0;
            const int32_t status = mqtt_packet_id_alloc(&session, &id);
            ASSERT_EQ(status, used.size() == 128 ? MQTT_ERR_PACKET_ID_EXHAUSTED : 0);
            if (status == 0) {
                ASSERT_TRUE(id >= 1 && id <= 128 && used.insert(id).second) << id;
                if (!pool.empty()) {
                    ASSERT_EQ(id, pool.front());
                    pool.erase(pool.begin());
                }
            }
        } else {
            const int32_t expected = !legal   ? MQTT_ERR_INVALID_PARAM
                                     : pooled ? MQTT_ERR_DUPLICATE
                                              : 0;
            ASSERT_EQ(mqtt_packet_id_free(&session, any), expected);
            if (expected == 0) {
                used.erase(any);
                if (pool.size() < 32) {
                    pool.push_back(any);
                }
            }
        }
        ASSERT_EQ(session.id_pool_top + 1, static_cast<int32_t>(pool.size()));
        ASSERT_TRUE(std::equal(pool.begin(), pool.end(), session.id_pool));
        for (uint16_t id = 0; id <= 128; ++id) {
            ASSERT_EQ(zep::packet_id_in_use(&session, id), used.count(id) == 1);
        }
    }
}

}  // namespace
