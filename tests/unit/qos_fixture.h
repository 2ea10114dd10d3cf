// A session whose caches are filled by hand and whose time is moved instead of slept.
#pragma once

#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/qos/cache.h>
#include <zep_mqtt/qos/qos1.h>
#include <zep_mqtt/qos/qos2.h>

#include "protocol/common/packet_id_private.h"
#include "support/guarded_bytes.h"
#include "support/packets.h"
#include "support/recorded_log.h"

namespace zep_test {

using ids = std::vector<uint16_t>;

// What the entries of both caches have in common.
struct cached {
    mqtt_message &msg;
    uint64_t &send_tick;
    uint32_t &retry_count;
};

// For a suite with a parameter it is the quality of service under test.
class qos_fixture : public testing::TestWithParam<uint32_t> {
 protected:
    void SetUp() override {
        agent_log_set_level(AGENT_LOG_WARN);
        ASSERT_EQ(mqtt_session_init(&session, "c1", 1, 60), 0);
    }
    void TearDown() override {
        mqtt_session_destroy(&session);
        expect_recorded(capture_.take());
    }

    uint32_t qos() const { return GetParam(); }
    uint32_t limit() const { return qos() == 1 ? 100 : 50; }

    int32_t process(uint32_t version, uint32_t level, uint16_t id, uint8_t priority) {
        static constexpr uint8_t PAYLOAD[] = {'h', 'i'};
        mqtt_message msg = {"a/b", PAYLOAD, sizeof PAYLOAD, level, 0, id, priority, 60};
        return mqtt_qos_message_process(version, level, &msg, &session);
    }

    // Admits a message under an identifier of the caller's choice.
    void admit(uint32_t level, uint16_t id, uint8_t priority = 1, uint32_t version = 4) {
        zep::packet_id_claim(&session, id);
        ASSERT_EQ(process(version, level, id, priority), 0);
    }

    // Newest first.
    std::vector<cached> entries(uint32_t level) {
        std::vector<cached> all;
        const auto add = [&all](auto *e) {
            for (; e != nullptr; e = e->next) {
                all.push_back({e->msg, e->send_tick, e->retry_count});
            }
        };
        level == 1 ? add(session.qos1_cache) : add(session.qos2_cache);
        EXPECT_EQ(all.size(), level == 1 ? session.qos1_count : session.qos2_count);
        return all;
    }
    ids cached_ids(uint32_t level) {
        ids all;
        for (const cached &entry : entries(level)) {
            all.push_back(entry.msg.msg_id);
        }
        return all;
    }
    ids used_ids() const {
        ids all;
        for (uint16_t id = 1; id <= 128; ++id) {
            if (session.id_in_use[id] != 0) {
                all.push_back(id);
            }
        }
        return all;
    }

    // Lets time pass for everything that is cached.
    void pass(uint64_t ms) {
        for (uint32_t level : {1u, 2u}) {
            for (const cached &entry : entries(level)) {
                entry.send_tick -= ms;
            }
        }
    }

    // One check into a buffer that ends at a page which may not be touched; gives what it laid out.
    bytes check(uint32_t level, uint32_t capacity = 1024, uint8_t force = 0) {
        guarded_bytes buffer(capacity);
        uint32_t len = capacity;
        packets = level == 1 ? mqtt_qos1_check_retrans(&session, buffer.data(), &len, force)
                             : mqtt_qos2_check_retrans(&session, buffer.data(), &len);
        EXPECT_TRUE(packets > 0 ? len <= capacity : len == capacity);
        return bytes(buffer.data(), buffer.data() + (packets > 0 ? len : 0));
    }

    mqtt_session session = {};
    int32_t packets = 0;

 private:
    log_capture capture_;
};

}  // namespace zep_test
