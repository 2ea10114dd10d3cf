// An event-driven handle, a scripted broker, and a journal of what the listener heard.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <zep_mqtt_sdk_event.h>

#include "event_client/moved_time.h"
#include "support/packets.h"
#include "support/scripted_broker.h"

namespace zep_test {

using journal = std::vector<std::string>;

// Remembers that it has sent or closed, so that the next turn waits until the client's system
// knows.
class noted_broker : public scripted_broker {
 public:
    void send(const bytes &packet, where at = {}) {
        scripted_broker::send(packet, at);
        is_due = true;
    }
    void send(const std::string &packet, unsigned id = 0, where at = {}) {
        send(lay(packet, id), at);
    }
    void close() {
        scripted_broker::close();
        is_due = true;
    }
    bool is_due = false;
};

class event_test : public testing::Test {
 protected:
    explicit event_test(const dialect &version) : v(&version) {}
    void SetUp() override;
    void TearDown() override;

    // Opens the handle with `config` and `options` as they stand.
    void open();
    // ... and brings it up to an accepted connection.
    void connect(const char *connack = nullptr, where at = {});
    // The broker takes a new connection, finds this CONNECT and answers.
    void greet(const std::string &connect, const std::string &connack, where at = {});
    // The broker hangs up; the handle notices, and its wait for the next attempt passes.
    void lose_link(where at = {});
    void turn(int times = 1, where at = {});
    // Exactly this has been heard since the last look.
    void expect_heard(const journal &expected, where at = {});
    // The broker sends a packet, one turn follows, and this is heard.
    void hear(const std::string &packet, unsigned id, const journal &expected, where at = {});

    int32_t send(uint32_t qos, const char *payload = "hi", const char *topic = "t",
                 uint32_t ttl = 0, bool retain = false);
    int32_t state() const { return zep_mqtt_sdk_client_get_conn_state(handle); }
    bool is_50() const { return v == &V50; }
    // CONNECT of client c1, keep-alive 60, default limits.
    std::string connect_packet(bool clean = true) const;
    std::string connected(bool present = false) const;

    zep_mqtt_sdk_config config = {};
    zep_mqtt_sdk_options options = {};
    zep_mqtt_sdk_client *handle = nullptr;
    zep_mqtt_sdk_token token = 0;           // of the last send
    std::vector<zep_mqtt_sdk_token> named;  // a fate is written down as the place in here
    uint64_t receipt = 0;                   // of the last message
    std::function<void(const zep_mqtt_sdk_inbound &)> in_message;
    std::function<void(const zep_mqtt_sdk_link_event &)> in_link;
    std::function<void(const zep_mqtt_sdk_fate_event &)> in_fate;
    noted_broker broker;
    const dialect *v;

 private:
    std::string name_of(zep_mqtt_sdk_token token) const;
    journal heard_;
    friend struct ears;
};

class event_both : public event_test, public testing::WithParamInterface<const dialect *> {
 protected:
    event_both() : event_test(*GetParam()) {}
};

inline std::string event_version_name(const testing::TestParamInfo<const dialect *> &tested) {
    return tested.param == &V50 ? "v50" : "v311";
}

#define FOR_BOTH_VERSIONS(suite)                                                        \
    class suite : public zep_test::event_both {};                                       \
    INSTANTIATE_TEST_SUITE_P(, suite, testing::Values(&zep_test::V311, &zep_test::V50), \
                             zep_test::event_version_name)

}  // namespace zep_test
