#include "qos/received_ids.h"
#include "qos_fixture.h"

namespace {

using namespace zep_test;

class qos_cache : public qos_fixture {};
INSTANTIATE_TEST_SUITE_P(qos, qos_cache, testing::Values(1u, 2u));

class qos_refusals : public logged_test {};

TEST_F(qos_refusals, come_in_their_order_and_cache_nothing) {
    const bytes payload(1025);
    const struct {
        uint32_t version, qos;
        const char *topic;  // null for no message at all
        uint32_t payload_len;
        uint16_t id;
        int32_t status;
    } cases[] = {
        {3, 9, nullptr, 0, 0, -109},    {4, 9, nullptr, 0, 0, -101},  {4, 3, "a/+", 0, 0, -102},
        {4, 0, "a/+", 0, 0, -101},      {5, 1, "a/b", 1025, 0, -101}, {4, 1, "a/b", 1024, 0, -101},
        {5, 2, "a/b", 1024, 129, -101}, {4, 0, "a/b", 1024, 129, 0},
    };
    mqtt_session session = {};
    for (const auto &c : cases) {
        mqtt_message msg = {c.topic, payload.data(), c.payload_len, 0, 0, c.id, 0, 0};
        mqtt_message *given = c.topic == nullptr ? nullptr : &msg;
        EXPECT_EQ(mqtt_qos_message_process(c.version, c.qos, given, &session), c.status);
        EXPECT_EQ(session.qos1_count + session.qos2_count, 0u);
        EXPECT_EQ(mqtt_qos_message_process(4, 1, &msg, nullptr), -101);
    }
}

TEST_P(qos_cache, makes_room_only_where_priority_is_low_and_the_message_old) {
    for (uint16_t id = 1; id <= limit(); ++id) {
        admit(qos(), id, id == 7 ? 0 : 1);
    }
    admit(3 - qos(), 101, 0);
    agent_log_set_level(AGENT_LOG_INFO);
    EXPECT_EQ(process(4, qos(), 128, 1), -107);
    entries(3 - qos())[0].send_tick -= 5001;
    EXPECT_EQ(process(4, qos(), 128, 1), -107) << "room in the other cache only";
    EXPECT_EQ(cached_ids(3 - qos()), ids{});
    pass(5001);
    EXPECT_EQ(process(4, qos(), 128, 1), 0);
    EXPECT_EQ(entries(qos())[0].msg.msg_id, 128);
    EXPECT_EQ(used_ids().size(), limit() - 1) << "7 and 101 are back, 128 was not claimed here";
}

TEST_P(qos_cache, clean_ups_look_at_age_and_priority) {
    for (uint16_t id = 1; id <= 6; ++id) {
        admit(qos(), id, static_cast<uint8_t>(id == 4 ? 7 : id % 3));
    }
    EXPECT_EQ(entries(qos())[2].msg.priority, 1) << "of 4, which had none that exists";
    pass(240000);
    EXPECT_EQ(mqtt_cache_clean_timeout(&session), 0);
    EXPECT_EQ(mqtt_cache_clean_prio_timeout(&session, 0, 0), 0);
    EXPECT_EQ(mqtt_cache_clean_prio_timeout(&session, 0, 239999), 2);
    EXPECT_EQ(cached_ids(qos()), (ids{5, 4, 2, 1}));
    pass(60001);
    entries(qos())[1].send_tick += 60001;
    EXPECT_EQ(mqtt_cache_clean_timeout(&session), 3);
    EXPECT_EQ(cached_ids(qos()), ids{4});
    EXPECT_EQ(used_ids(), ids{4});
    EXPECT_EQ(mqtt_cache_clean_timeout(nullptr), -1);
    EXPECT_EQ(mqtt_cache_clean_prio_timeout(nullptr, 0, 1), 0);
    EXPECT_EQ(mqtt_cache_clean_prio_timeout(&session, 3, 0), 0);
    EXPECT_EQ(mqtt_cache_clean_prio_timeout(&session, 2, 0), 0);
}

TEST(back_off, doubles_up_to_30_seconds) {
    EXPECT_EQ(mqtt_calc_exponential_backoff(0), 2000u);
    EXPECT_EQ(mqtt_calc_exponential_backoff(3), 16000u);
    for (uint32_t retry : {4u, 20u, 21u, 32u, UINT32_MAX}) {
        EXPECT_EQ(mqtt_calc_exponential_backoff(retry), 30000u);
    }
}

TEST(received_ids, keeps_each_of_the_65536_apart) {
    uint8_t bitmap[zep::RECEIVED_IDS_SIZE] = {};
    for (uint16_t id : ids{0, 7, 8, 8, 65535}) {
        zep::received_ids_add(bitmap, id);
    }
    zep::received_ids_remove(bitmap, 7);
    zep::received_ids_remove(bitmap, 9);
    for (uint32_t id = 0; id <= 65535; ++id) {
        EXPECT_EQ(zep::received_ids_contains(bitmap, static_cast<uint16_t>(id)),
                  id == 0 || id == 8 || id == 65535);
    }
}

}  // namespace
