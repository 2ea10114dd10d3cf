// A session whose caches are filled by hand and whose time is moved instead of slept.
#pragma once

#include <gtest/gtest.h>
#include <vector>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/protocol/v311/packet_id.h>
#include <zep_mqtt/qos/cache.h>
#include <zep_mqtt/qos/qos1.h>
#include <zep_mqtt/qos/qos2.h>

#include "protocol/v311/packet_id_private.h"
#include "support/guarded_bytes.h"
#include "support/log_capture.h"

namespace zep_test {

using bytes = std::vector<uint8_t>;
using ids = std::vector<uint16_t>;

// What entries of both caches have in common.
struct cached {
    mqtt_message &msg;
    uint64_t &send_tick;
    uint32_t &retry_count;
};

class qos_fixture : public testing::Test {
 protected:
    void SetUp() override {
        agent_log_set_level(AGENT_LOG_WARN);
        ASSERT_EQ(mqtt_session_init(&session, "c1", 1, 60), 0);
    }
    void TearDown() override {
        agent_log_set_level(AGENT_LOG_WARN);
        mqtt_session_destroy(&session);
    }

    static mqtt_message message(uint16_t id, uint8_t priority = MQTT_PRIORITY_NORMAL) {
        static constexpr uint8_t PAYLOAD[] = {'h', 'i'};
        mqtt_message msg = {};
        msg.topic = "a/b";
        msg.payload = PAYLOAD;
        msg.payload_len = sizeof PAYLOAD;
        msg.msg_id = id;
        msg.priority = priority;
        return msg;
    }

    // Admits a message under an identifier of its own choice.
    void admit(uint32_t qos, uint16_t id, uint8_t priority = MQTT_PRIORITY_NORMAL,
               uint32_t version = 4) {
        mqtt_message msg = message(id, priority);
        zep::packet_id_claim(&session, id);
        ASSERT_EQ(mqtt_qos_message_process(version, qos, &msg, &session), 0);
    }

    // Newest first.
    std::vector<cached> entries(uint32_t qos) {
        std::vector<cached> all;
        for (auto *e = session.qos1_cache; qos == 1 && e != nullptr; e = e->next) {
            all.push_back({e->msg, e->send_tick, e->retry_count});
        }
        for (auto *e = session.qos2_cache; qos == 2 && e != nullptr; e = e->next) {
            all.push_back({e->msg, e->send_tick, e->retry_count});
        }
        EXPECT_EQ(all.size(), count(qos));
        return all;
    }

    ids cached_ids(uint32_t qos) {
        ids all;
        for (const cached &entry : entries(qos)) {
            all.push_back(entry.msg.msg_id);
        }
        return all;
    }

    uint32_t count(uint32_t qos) const {
        return qos == 1 ? session.qos1_count : session.qos2_count;
    }
    bool in_use(uint16_t id) const { return zep::packet_id_in_use(&session, id); }

    // Lets time pass for everything that is cached.
    void pass(uint64_t ms) {
        for (uint32_t qos : {1u, 2u}) {
            for (const cached &entry : entries(qos)) {
                entry.send_tick -= ms;
            }
        }
    }

    mqtt_session session = {};
};

// The same for both qualities of service.
class qos_both : public qos_fixture, public testing::WithParamInterface<uint32_t> {
 protected:
    uint32_t qos() const { return GetParam(); }
    uint32_t limit() const { return qos() == 1 ? 100 : 50; }
    std::string name() const { return "QoS" + std::to_string(qos()); }

    // One check into a buffer that ends at a page which may not be touched; gives what was laid
    // out.
    bytes check(uint32_t capacity = 1024) {
        guarded_bytes buffer(capacity);
        uint32_t len = capacity;
        packets = qos() == 1 ? mqtt_qos1_check_retrans(&session, buffer.data(), &len, 0)
                             : mqtt_qos2_check_retrans(&session, buffer.data(), &len);
        if (packets == 0) {
            EXPECT_EQ(len, capacity);
            return {};
        }
        EXPECT_LE(len, capacity);
        return bytes(buffer.data(), buffer.data() + std::min(len, capacity));
    }

    int32_t packets = 0;
};

inline bytes operator+(bytes first, const bytes &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

}  // namespace zep_test
