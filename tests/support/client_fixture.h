// What every client test stands on: a scripted broker, the client under test, the callbacks that
// it made, and the log that it wrote. A test ends with nothing left over: no unexpected packet, no
// callback that was not looked at.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include <zep_mqtt/client/client.h>
#include <zep_mqtt/client/loop.h>
#include <zep_mqtt/client/operations.h>
#include <zep_mqtt/client/v50.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt_sdk.h>

#include "support/log_capture.h"
#include "support/scripted_broker.h"

namespace zep_test {

using happenings = std::vector<std::string>;

// Writes down the callbacks made on its thread while it lives, as
//   "message t [hi] qos=1 id=7 retain"   and   "PUBACK ok id=7", "CONNACK failed result=-4".
class callback_recorder {
 public:
    callback_recorder();
    ~callback_recorder();
    callback_recorder(const callback_recorder &) = delete;
    callback_recorder &operator=(const callback_recorder &) = delete;

    // What happened since the last call.
    happenings take();
    // Runs inside the next message callback.
    std::function<void()> in_next_message;

    static void core_message(void *user_obj, const mqtt_message *msg);
    static void public_message(const zep_mqtt_sdk_msg *msg);
    static void response(const mqtt_broker_resp *resp);

 private:
    void add(const std::string &event);
    happenings events_;
};

// The log since the start of the test.
class log_book {
 public:
    log_book() : capture_(std::in_place) {}
    bool contains(const std::string &part) { return count(part) > 0; }
    // How often it stands in what was written since the last forget().
    int count(const std::string &part);
    void forget() { forgotten_ = read().size(); }
    // All lines of the test; what is written from now on goes to the console again.
    const std::string &stop();

 private:
    const std::string &read();

    std::optional<log_capture> capture_;
    std::string seen_;
    size_t forgotten_ = 0;
};

// Moves what a tick field stands for into the past.
template <typename Tick>
void age(Tick &tick, uint32_t by_ms) {
    tick -= by_ms;
}

// A client of the core on a connection of its own; speaks 3.1.1 unless a test says otherwise.
class client_test : public testing::Test {
 protected:
    explicit client_test(const dialect &version = V311);
    void TearDown() override;

    // Both end the test at once when they fail.
    void create();
    // Creates the client if need be and takes it through the handshake.
    void connect();
    // One pass of the loop, or several.
    void pass(int times = 1, where at = {});
    // These callbacks have been made since the last look, and no others.
    void expect_happened(const happenings &expected, where at = {});
    void expect_log(const std::string &line, where at = {});

    int32_t publish(uint32_t qos, const std::string &payload = "hi", const char *topic = "t");
    int32_t subscribe(const char *filter = "a/#", uint32_t qos = 1);
    int32_t unsubscribe(const char *filter = "a/#");

    uint32_t identifiers_in_use() const;
    // Moves every cached message into the past.
    void age_cache(uint32_t by_ms);
    // Lets every further send of the client fail, while it can still receive.
    void break_sending();

    scripted_broker broker;
    const dialect *v;
    mqtt_client_config config = {};
    mqtt_client *client = nullptr;
    callback_recorder callbacks;
    log_book log;
};

class both_versions : public client_test, public testing::WithParamInterface<const dialect *> {
 protected:
    both_versions() : client_test(*GetParam()) {}
};

inline std::string version_name(const testing::TestParamInfo<const dialect *> &tested) {
    return tested.param == &V50 ? "v50" : "v311";
}

#define FOR_BOTH_VERSIONS(suite)                                                        \
    class suite : public zep_test::both_versions {};                                    \
    INSTANTIATE_TEST_SUITE_P(, suite, testing::Values(&zep_test::V311, &zep_test::V50), \
                             zep_test::version_name)

}  // namespace zep_test
