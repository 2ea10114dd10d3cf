// A whole session that loses its link, with every allocation behind its CONNECT failing in turn.
// That nothing leaks is for AddressSanitizer to see.
#include "hostile/cruel_session.h"
#include "support/failing_malloc.h"

namespace {

using namespace zep_test;

class starved_session_test : public cruel_session {};
INSTANTIATE_TEST_SUITE_P(, starved_session_test, testing::Values(&V311, &V50), version_name);

TEST_P(starved_session_test, goes_on_and_says_what_it_lacked) {
    bool failed = true;
    for (uint64_t fail_at = 0; failed && !HasFailure(); fail_at++) {
        SCOPED_TRACE(fail_at);
        start();
        {
            const failing_malloc starved(fail_at);
            round();
            endure(true);
            failed = starved.has_failed();
        }
        prosper();
    }
    // 5.0 sends what it cannot keep.
    EXPECT_EQ(results, is_50() ? std::set<int32_t>{0} : std::set<int32_t>({0, MQTT_ERR_NO_MEMORY}));
}

TEST_P(starved_session_test, tells_the_application) {
    start();
    round();
    zep_mqtt_sdk_client starving = handle();
    const uint8_t payload = 'x';
    for (const uint32_t qos : {1u, 2u}) {
        for (const uint64_t fail_at : {0u, 1u, 2u}) {  // entry, topic, payload
            const failing_malloc starved(fail_at);
            const zep_mqtt_sdk_msg msg = {"t", &payload, 1, qos, 0, 0};
            EXPECT_EQ(zep_mqtt_sdk_client_publish(&starving, &msg),
                      is_50() ? ZEP_MQTT_SDK_OK : ZEP_MQTT_SDK_ERR_NO_MEMORY);
            EXPECT_TRUE(starved.has_failed());
        }
    }
    EXPECT_EQ(messages_cached(), 0u);
}

}  // namespace
