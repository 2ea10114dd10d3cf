#include <algorithm>
#include <random>
#include <set>
#include <vector>

#include <zep_mqtt/protocol/v311/packet_id.h>

#include "protocol/common/packet_id_private.h"
#include "support/recorded_log.h"

namespace {

class packet_id : public zep_test::logged_test {
 protected:
    void SetUp() override {
        agent_log_set_level(AGENT_LOG_FATAL);
        ASSERT_EQ(mqtt_session_init(&session, "c1", 1, 60), 0);
    }

    mqtt_session session = {};
    uint16_t id = 999;
};

TEST_F(packet_id, refuses_what_it_cannot_give_or_take_and_logs_where_each_comes_from) {
    agent_log_set_level(AGENT_LOG_DEBUG);
    mqtt_session cleared = {};
    EXPECT_EQ(mqtt_packet_id_alloc(nullptr, &id), -101);
    EXPECT_EQ(mqtt_packet_id_alloc(&cleared, &id), -101);
    EXPECT_EQ(id, 999);
    EXPECT_EQ(mqtt_packet_id_free(nullptr, 1), -101);
    EXPECT_EQ(mqtt_packet_id_free(&session, 129), -101);
    EXPECT_EQ(mqtt_packet_id_free(&session, 2), 0) << "never taken, accepted";
    EXPECT_EQ(mqtt_packet_id_free(&session, 2), -111);
    EXPECT_EQ(mqtt_packet_id_alloc(&session, &id), 0);
    EXPECT_EQ(mqtt_packet_id_alloc(&session, &id), 0);
    std::fill_n(session.id_in_use, sizeof session.id_in_use, uint8_t{1});
    EXPECT_EQ(mqtt_packet_id_alloc(&session, &id), -106);
}

// The plainest model of what is handed out next.
struct model {
    std::set<uint16_t> used;
    std::vector<uint16_t> pool;
    uint16_t next = 1;

    uint16_t alloc() {
        uint16_t id = 0;
        if (!pool.empty()) {
            id = pool.front();
            pool.erase(pool.begin());
        }
        for (int i = 0; i < 128 && id == 0; ++i) {
            id = used.count(next) == 0 ? next : uint16_t{0};
            next = static_cast<uint16_t>(next % 128 + 1);
        }
        return id != 0 && used.insert(id).second ? id : uint16_t{0};
    }

    int32_t free(uint16_t id) {
        if (id < 1 || id > 128) {
            return -101;
        }
        if (std::count(pool.begin(), pool.end(), id) != 0) {
            return -111;
        }
        if (pool.size() < 32) {
            pool.push_back(id);
        }
        used.erase(id);
        return 0;
    }
};

TEST_F(packet_id, agrees_with_a_model_in_random_sequences) {
    std::mt19937 random(20240601);
    model expected;
    for (int step = 0; step < 20000; ++step) {
        // Long phases of taking and of giving back, so that both ends are reached.
        const uint_fast32_t dice = random() % 10, takes = step / 300 % 2 == 0 ? 8 : 3;
        const uint16_t any = static_cast<uint16_t>(random() % 130);
        if (dice == 0) {
            zep::packet_id_claim(&session, any);
            if (any >= 1 && any <= 128) {
                expected.used.insert(any);
                std::erase(expected.pool, any);
            }
        } else if (dice < takes) {
            const uint16_t expected_id = expected.alloc();
            ASSERT_EQ(mqtt_packet_id_alloc(&session, &id), expected_id == 0 ? -106 : 0);
            ASSERT_EQ(id, expected_id);
        } else {
            ASSERT_EQ(mqtt_packet_id_free(&session, any), expected.free(any));
        }
        ASSERT_EQ(session.next_packet_id, expected.next);
        ASSERT_EQ(session.id_pool_top + 1, static_cast<int32_t>(expected.pool.size()));
        ASSERT_EQ(zep::packet_id_in_use(&session, any), expected.used.count(any) == 1);
    }
}

}  // namespace
