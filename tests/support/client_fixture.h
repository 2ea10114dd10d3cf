// What every client test stands on: a scripted broker, the client under test, the callbacks that it
// made, and the log that it wrote. A test ends with nothing left over: no packet and no callback
// that the test does not name.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include <zep_mqtt/client/client.h>
#include <zep_mqtt/client/handle.h>
#include <zep_mqtt/client/loop.h>
#include <zep_mqtt/client/operations.h>
#include <zep_mqtt/client/v50.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt_sdk.h>

#include "support/log_capture.h"
#include "support/scripted_broker.h"

namespace zep_test {

using happenings = std::vector<std::string>;

// Writes down callbacks as
//   "message t [hi] qos=1 id=7 retain"   and   "PUBACK ok id=7", "CONNACK failed result=-4".
class callback_recorder {
 public:
    // From now on the callbacks made on the calling thread come here.
    void listen();
    // What happened since the last call.
    happenings take();
    // Runs inside the next message callback.
    std::function<void()> in_next_message;

    static void core_message(void *user_obj, const mqtt_message *msg);
    static void public_message(const zep_mqtt_sdk_msg *msg);
    static void response(const mqtt_broker_resp *resp);

 private:
    void message(const std::string &event);
    happenings events_;
};

// Moves what a tick field stands for into the past.
template <typename Tick>
void age(Tick &tick, uint32_t by_ms) {
    tick -= by_ms;
}

// A broker and a record of what happens, for a client that the derived class makes.
class chart_test : public testing::Test {
 protected:
    explicit chart_test(const dialect &version) : v(&version) {}
    void SetUp() override;
    void TearDown() override;
    virtual void destroy() = 0;

    // These callbacks have been made since the last look, and no others.
    void expect_happened(const happenings &expected, where at = {});

    // The recorded log holds every line in its place; these are for the line that is the point of a
    // test. How often the log has had the text so far:
    int logged(const std::string &part);
    void expect_log(const std::string &part, where at = {});

    // False where chance rules which lines come, or how often.
    bool log_is_recorded = true;

    // Runs a step of the fixture, of whose log only the warnings stay in the one that is recorded.
    void run_quietly(const std::function<void()> &step);

    scripted_broker broker;
    const dialect *v;
    callback_recorder callbacks;

 private:
    std::string new_log();
    std::optional<log_capture> capture_;
    std::string log_, recorded_;  // the second without what quiet steps wrote
};

// A client of the core; speaks 3.1.1 unless a test says otherwise.
class client_test : public chart_test {
 protected:
    explicit client_test(const dialect &version = V311);

    // Both end the test at once when they fail. The second creates the client if need be.
    void create();
    void connect();
    void destroy() override;
    // Up to the CONNECT.
    void begin_connect(where at = {});
    // With the DISCONNECT that belongs to it.
    void disconnect(where at = {});
    // The broker hangs up, and the client notices.
    void lose_link(where at = {});
    void expect_disconnected(where at = {});
    void pass(int times = 1, where at = {});
    // The broker sends a packet, and one pass makes these callbacks.
    void hear(const std::string &packet, unsigned id, const happenings &happened, where at = {});
    // Publishes 'hi' on 't'; the packet goes out under this identifier.
    void send_message(uint32_t qos, unsigned id, where at = {});

    int32_t publish(uint32_t qos, const std::string &payload = "hi", const char *topic = "t");
    int32_t subscribe(const char *filter = "a/#", uint32_t qos = 1);
    int32_t unsubscribe(const char *filter = "a/#");

    uint32_t identifiers_in_use() const;
    uint32_t messages_cached() const;
    void age_cache(uint32_t by_ms);
    // Lets every further send of the client fail, while it can still receive.
    void break_sending();
    // A key of 01 02 ..., under which hi reads 69 6b 6e 0f with its check value.
    void turn_cipher_on();
    bool is_50() const { return v == &V50; }
    // What the public interface keeps of a client that is connected.
    zep_mqtt_sdk_client handle() const;

    mqtt_client_config config = {};
    mqtt_client *client = nullptr;
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
