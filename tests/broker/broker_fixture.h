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

// Waits until this message is the last that has arrived.
inline void expect_message(client &who, const received_message &expected) {
    const auto last_is_expected = [&] {
        return !who.messages().empty() && who.messages().back() == expected;
    };
    EXPECT_TRUE(loop_until({&who}, last_is_expected)) << expected.topic << ": " << expected.payload;
}

}  // namespace zep_broker_test
