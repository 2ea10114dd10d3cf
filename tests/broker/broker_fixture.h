// What the tests against real brokers share.
#pragma once

#include <client.h>
#include <gtest/gtest.h>
#include <string>

#include "support/mosquitto.h"

namespace zep_broker_test {

using namespace zep_demo;
using zep_test::mosquitto;

class broker_test : public testing::Test {
 protected:
    broker_test() { agent_log_set_level(AGENT_LOG_WARN); }
};

// Subscribes and waits for the SUBACK.
inline void subscribe(client &who, const std::string &filter, uint32_t qos,
                      const char *group = nullptr) {
    const size_t answers = who.responses(MQTT_RESP_SUBACK);
    ASSERT_EQ(ZEP_MQTT_SDK_OK, who.subscribe(filter, qos, group));
    ASSERT_TRUE(loop_until({&who}, [&] { return who.responses(MQTT_RESP_SUBACK) > answers; }));
}

// Publishes and waits until the broker has acknowledged: nothing, a PUBACK, or PUBREC and PUBCOMP.
inline void publish(client &who, const std::string &topic, const std::string &text, uint32_t qos,
                    bool retain = false, uint32_t expiry_seconds = 0) {
    const uint32_t type = qos == 1 ? MQTT_RESP_PUBACK : MQTT_RESP_QOS2;
    const size_t answers = who.responses(type) + qos;
    ASSERT_EQ(ZEP_MQTT_SDK_OK, who.publish(topic, text, qos, retain, expiry_seconds));
    ASSERT_TRUE(loop_until({&who}, [&] { return who.responses(type) >= answers; }));
}

// Waits until this message is the last that has arrived.
inline void expect_message(client &who, const received_message &expected) {
    const auto last_is_expected = [&] {
        return !who.messages().empty() && who.messages().back() == expected;
    };
    EXPECT_TRUE(loop_until({&who}, last_is_expected)) << expected.topic << ": " << expected.payload;
}

}  // namespace zep_broker_test
