// What a message may cost, in counts: system calls and allocations, not times.
#include <malloc.h>

#include "event_client/event_fixture.h"
#include "support/failing_malloc.h"
#include "support/socket_calls.h"

using namespace zep_test;

FOR_BOTH_VERSIONS(event_cost);

namespace {

constexpr int MESSAGES = 32;

// Counts from its beginning on.
struct meter {
    uint64_t calls_before = socket_calls_made();
    uint64_t allocations_before = allocations_made();

    void expect(uint64_t calls, uint64_t allocations, where at = {}) const {
        EXPECT_EQ(socket_calls_made() - calls_before, calls) << at.line;
        EXPECT_EQ(allocations_made() - allocations_before, allocations) << at.line;
    }
};

}  // namespace

TEST_P(event_cost, publishing_costs_a_call_for_a_message_or_for_a_batch) {
    connect();
    for (uint32_t qos = 0; qos < 3; ++qos) {
        const zep_mqtt_sdk_msg msg = {"t", reinterpret_cast<const uint8_t *>("hi"), 2, qos, 0, 0};
        const std::vector<zep_mqtt_sdk_msg> msgs(MESSAGES / 4, msg);
        const uint64_t copies = qos != 0 ? msgs.size() : 0;  // one for each that may be repeated
        const meter single;
        for (const zep_mqtt_sdk_msg &each : msgs) {
            EXPECT_EQ(zep_mqtt_sdk_client_send(handle, &each, nullptr), ZEP_MQTT_SDK_OK);
        }
        single.expect(msgs.size(), copies);
        const meter batch;
        EXPECT_EQ(zep_mqtt_sdk_client_send_all(
                      handle, msgs.data(), static_cast<uint32_t>(msgs.size()), nullptr, nullptr),
                  ZEP_MQTT_SDK_OK);
        batch.expect(1, copies);
    }
}

TEST_P(event_cost, what_one_read_brings_costs_a_read_and_a_send) {
    connect();
    hear(v->publish2, 1000, {"message t [hi] qos=2"});  // the set of identifiers is there now
    for (int qos = 0; qos < 3; ++qos) {
        std::vector<bytes> packets;
        for (unsigned id = 1; id <= MESSAGES; ++id) {
            packets.push_back(qos == 0   ? lay(v->publish0)
                              : qos == 1 ? lay(v->publish1, id)
                                         : lay(v->publish2, id));
        }
        broker.send(joined(packets));
        turn(0);  // waits until all has arrived
        const meter one_read;
        EXPECT_EQ(zep_mqtt_sdk_client_loop_for(handle, 0), ZEP_MQTT_SDK_OK);
        one_read.expect(qos == 0 ? 1 : 2, 0);
        expect_heard(journal(MESSAGES, "message t [hi] qos=" + std::to_string(qos)));
    }
}

TEST_P(event_cost, a_handle_takes_its_buffers_and_little_more) {
#ifdef ZEP_SANITIZED
    GTEST_SKIP() << "the sanitizer's heap counts otherwise";
#endif
    const auto in_use = [] { return static_cast<double>(mallinfo2().uordblks); };
    for (const auto &[packet, most] : {std::pair{4096u, 20 * 1024.0}, {1024u, 8 * 1024.0}}) {
        options.max_packet_in = options.max_packet_out = packet;
        config.client_id = "c1";
        const double before = in_use();
        open();
        EXPECT_LT(in_use() - before, most) << packet;
        EXPECT_GT(in_use() - before, packet) << "nothing was counted";
        zep_mqtt_sdk_client_destroy(handle);
        handle = nullptr;
    }
}
