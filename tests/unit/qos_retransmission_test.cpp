#include "qos/engine.h"
#include "qos_fixture.h"

namespace {

using namespace zep_test;

class qos_retransmission : public qos_fixture {
 protected:
    bytes check(uint32_t capacity = 1024) { return qos_fixture::check(qos(), capacity); }

    // The PUBLISH with DUP of a message of the fixture.
    bytes again(uint8_t id, uint32_t version = 4) const {
        return lay(std::string(qos() == 1 ? "3a" : "3c") +
                       (version == 4 ? "09 0003 'a/b' id 'hi'" : "0a 0003 'a/b' id 00 'hi'"),
                   id);
    }
};
INSTANTIATE_TEST_SUITE_P(qos, qos_retransmission, testing::Values(1u, 2u));

TEST_P(qos_retransmission, high_priority_comes_oldest_first_then_the_rest_newest_first) {
    admit(qos(), 1, 2);
    admit(qos(), 2, 0, 5);
    admit(qos(), 3, 2, 5);
    admit(qos(), 4, 1);
    pass(2000);
    EXPECT_EQ(check(), joined({again(1), again(3, 5), again(4), again(2, 5)}));
    EXPECT_EQ(packets, 4);
    EXPECT_EQ(cached_ids(qos()), (ids{4, 3, 2, 1})) << "all stay in their places";
    zep::qos_cache_set_version(&session, 4);
    pass(4000);
    EXPECT_EQ(check(), joined({again(1), again(3), again(4), again(2)}));
}

TEST_P(qos_retransmission, what_finds_no_room_behind_others_stays_due) {
    for (uint32_t version : {4u, 5u}) {
        for (uint16_t id = 1; id <= 3; ++id) {
            admit(qos(), id, 1, version);
        }
        pass(2000);
        // Two packets fit, the third lacks one byte of what its encoder demands.
        const uint32_t packet = static_cast<uint32_t>(again(1, version).size());
        const uint32_t demanded = version == 4 ? packet : 3 + 2 + 64;
        EXPECT_EQ(check(2 * packet + demanded - 1), joined({again(3, version), again(2, version)}));
        EXPECT_EQ(packets, 2);
        EXPECT_EQ(entries(qos())[2].retry_count, 0u);
        EXPECT_EQ(check(demanded), again(1, version));
        pass(300001);
        EXPECT_EQ(mqtt_cache_clean_timeout(&session), 3);
    }
}

TEST_P(qos_retransmission, reports_each_due_message_that_an_empty_buffer_cannot_hold) {
    admit(qos(), 1);
    admit(qos(), 2, 2);
    pass(2000);
    EXPECT_EQ(check(1), bytes{});
    EXPECT_EQ(check(10), bytes{});
    EXPECT_EQ(check(), joined({again(2), again(1)})) << "both stayed due";
}

struct losses {
    std::vector<std::pair<uint16_t, zep::qos_loss>> heard;
    bool keep_id = false;

    static bool hear(void *context, const zep::lost_message &lost) {
        auto *self = static_cast<losses *>(context);
        self->heard.emplace_back(lost.msg_id, lost.why);
        EXPECT_EQ(lost.qos, testing::TestWithParam<uint32_t>::GetParam());
        return self->keep_id;
    }
};

TEST_P(qos_retransmission, tells_of_the_messages_that_it_loses_and_leaves_their_identifiers) {
    using enum zep::qos_loss;
    for (uint16_t id = 1; id <= 4; ++id) {
        admit(qos(), id, id == 4 ? 0 : 1);
    }
    entries(qos())[2].retry_count = 3;
    losses told;
    zep::qos_call call = {&session, entries(qos())[0].send_tick + 16000, losses::hear, &told};
    const guarded_bytes buffer(1024);
    uint32_t len = 1024;
    told.keep_id = true;
    EXPECT_EQ(qos() == 1 ? zep::qos1_resend(call, buffer.data(), &len, false)
                         : zep::qos2_resend(call, buffer.data(), &len, false),
              3);
    EXPECT_EQ(zep::qos_expire_priority(call, 0, 1), 0) << "it has just been sent again";
    EXPECT_EQ(used_ids(), (ids{1, 2, 3, 4}));
    told.keep_id = false;
    call.now += 5001;
    EXPECT_EQ(zep::qos_expire_priority(call, 0, 5000), 1);
    call.now += 300000;
    EXPECT_EQ(zep::qos_expire(call), 2);
    EXPECT_EQ(used_ids(), ids{2});
    EXPECT_EQ(told.heard,
              (decltype(told.heard){{2, given_up}, {4, expired}, {3, expired}, {1, expired}}));
}

class qos1_exchange : public qos_fixture {};

TEST_F(qos1_exchange, force_ignores_the_back_off_but_not_the_limit) {
    admit(1, 1);
    admit(1, 2);
    entries(1)[0].retry_count = 3;
    entries(1)[1].msg.retain = 1;
    EXPECT_EQ(check(1, 64, 1), lay("3b 09 0003 'a/b' 0001 'hi'"));
    EXPECT_EQ(cached_ids(1), ids{1});
}

TEST_F(qos1_exchange, an_invalid_message_is_dropped_whether_due_or_not) {
    admit(1, 1);
    admit(1, 2, 2);
    admit(1, 3);
    session.qos1_cache->next->version = 3;
    entries(1)[2].msg.payload_len = 1025;
    EXPECT_EQ(check(1), bytes{});
    EXPECT_EQ(used_ids(), ids{3});
}

class qos2_exchange : public qos_fixture {
 protected:
    int32_t pubrec(uint16_t id, uint32_t capacity = 1024) {
        const guarded_bytes buffer(capacity);
        uint32_t len = capacity;
        return mqtt_qos2_handle_pubrec(&session, id, buffer.data(), &len);
    }
};

TEST_F(qos2_exchange, a_pubrel_without_the_room_that_its_encoder_demands_stays_due) {
    for (uint32_t version : {4u, 5u}) {
        admit(2, 1, 1, version);
        admit(2, 2, 1, version);
        EXPECT_EQ(pubrec(1) + pubrec(2), 0);
        pass(2000);
        const char *const pubrel = version == 4 ? "62 02 id" : "62 03 id 00";
        const uint32_t size = version, demanded = version == 4 ? 4 : 10;
        EXPECT_EQ(check(2, size + demanded - 1), lay(pubrel, 2));
        EXPECT_EQ(check(2, demanded), lay(pubrel, 1));
        EXPECT_EQ(mqtt_qos2_handle_pubcomp(&session, 1), 0);
        EXPECT_EQ(mqtt_qos2_handle_pubcomp(&session, 2), 0);
    }
}

TEST_F(qos2_exchange, refusals_change_nothing) {
    admit(2, 1);
    uint32_t len = 64;
    EXPECT_EQ(mqtt_qos2_handle_pubrec(nullptr, 1, nullptr, nullptr), -101);
    EXPECT_EQ(mqtt_qos2_handle_pubrec(&session, 1, nullptr, &len), -101);
    EXPECT_EQ(pubrec(200, 4), -101);
    EXPECT_EQ(pubrec(200, 5), -101);
    EXPECT_EQ(pubrec(9), -105);
    EXPECT_EQ(mqtt_qos2_handle_pubcomp(&session, 1), -105) << "too early";
    EXPECT_EQ(mqtt_qos1_handle_puback(nullptr, 1), -101);
    EXPECT_EQ(mqtt_qos1_handle_puback(&session, 1), -105) << "of another quality";
    EXPECT_EQ(mqtt_qos2_handle_pubcomp(nullptr, 1), -101);
    EXPECT_EQ(mqtt_qos2_handle_pubcomp(&session, 129), -101);
    EXPECT_EQ(mqtt_qos2_check_retrans(&session, nullptr, &len), -101);
    EXPECT_EQ(mqtt_qos1_check_retrans(&session, nullptr, &len, 0), -101);
    EXPECT_EQ(pubrec(1), 0);
}

TEST_F(qos2_exchange, invalid_states_are_counted_and_repaired) {
    admit(2, 1);
    for (int repairs = 0; repairs <= 10; ++repairs) {
        pass(100000);
        session.qos2_cache->state = 7;
        session.qos2_cache->retry_count = 3;
        EXPECT_EQ(check(2), bytes{});
    }
    EXPECT_EQ(check(2), bytes{}) << "its wait has begun anew";
    pass(2000);
    EXPECT_EQ(check(2)[0], 0x3C);
}

}  // namespace
