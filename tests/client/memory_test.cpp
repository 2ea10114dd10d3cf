// How much memory the paths of a client take, and what they do when there is none.
#include <sys/wait.h>
#include <unistd.h>

#include "support/client_fixture.h"
#include "support/failing_malloc.h"

namespace {

using namespace zep_test;

FOR_BOTH_VERSIONS(memory_test);
class handle_memory_test : public client_test {};

TEST_P(memory_test, the_common_paths_allocate_what_they_must) {
    connect();
    const uint64_t copies = is_50() ? 0 : 1;  // that only the 3.1.1 decoder makes
    uint64_t before = allocations_made();
    const auto expect_allocations = [&](uint64_t count, const char *path) {
        EXPECT_EQ(allocations_made() - before, count) << path;
        before = allocations_made();
    };
    send_message(0, 0);
    expect_allocations(0, "QoS 0 publish");
    pass(2);
    expect_allocations(0, "idle pass");
    send_message(1, 1);
    expect_allocations(3, "QoS 1 publish: entry, topic, payload");
    send_message(2, 2);
    expect_allocations(3, "QoS 2 publish");
    age_cache(2000);
    pass(2);
    broker.expect(v->publish1_dup, 1);
    broker.expect(v->publish2_dup, 2);
    expect_allocations(0, "repetition");
    hear(v->publish2, 7, {"message t [hi] qos=2 id=7"});
    hear(PUBREL, 7, {});
    broker.expect("50 02 0007 70 02 0007");
    expect_allocations(2 * copies, "delivery: topic, payload");
    hear(v->suback, 9, {"message  [01] qos=1 id=9", "SUBACK ok id=9"});
    hear(PUBACK, 1, {"PUBACK ok id=1"});
    expect_allocations(copies, "acknowledgements: the return codes of a SUBACK");
}

TEST_F(handle_memory_test, creating_a_handle_fails_whole_or_not_at_all) {
    zep_mqtt_sdk_config wanted = {};
    wanted.client_id = "c1";
    wanted.broker_host = "127.0.0.1";
    wanted.broker_port = 1;
    bool failed = true;
    for (uint64_t fail_at = 0; failed; fail_at++) {
        const failing_malloc starved(fail_at);
        zep_mqtt_sdk_client *handle =
            zep_mqtt_sdk_client_create(&wanted, callback_recorder::public_message, nullptr);
        failed = starved.has_failed();
        EXPECT_TRUE(handle != nullptr || failed);
        zep_mqtt_sdk_client_destroy(handle);
    }
    EXPECT_EQ(logged("[ERROR] MQTT_SDK: create failed: malloc obj memory failed"), 1);
}

// A session from creation to destruction, whose allocation number fail_at fails. Whatever that hits
// says so by its code and works when it is tried again.
class starved_test : public both_versions {
 protected:
    // False when the session made no such allocation.
    bool session(uint64_t fail_at) {
        agent_log_set_level(AGENT_LOG_FATAL);
        const failing_malloc starved(fail_at);
        has_failed_ = [&] { return starved.has_failed(); };
        handshake();
        send_message(0, 0);
        for (const uint32_t qos : {1u, 2u}) {
            do_twice_at_most([&] { return publish(qos); }, MQTT_ERR_NO_MEMORY);
            const unsigned id = broker.take(lay(v->publish1).size()).at(6);
            const happenings acknowledged = {(qos == 1 ? "PUBACK ok id=" : "QOS2 ok id=") +
                                             std::to_string(id)};
            hear(qos == 1 ? PUBACK : PUBREC, id, acknowledged);
            if (qos == 2) {
                broker.expect(PUBREL, id);
                hear(PUBCOMP, id, acknowledged);
            }
            EXPECT_EQ(identifiers_in_use(), 0u);
        }
        tell_twice_at_most(lay(v->publish1, 7), {"message t [hi] qos=1 id=7"});
        broker.expect(PUBACK, 7);
        EXPECT_EQ(subscribe(), 0);
        const unsigned id = broker.take(lay(v->subscribe).size()).at(3);
        const std::string shown = " id=" + std::to_string(id);
        tell_twice_at_most(lay(v->suback, id),
                           {"message  [01] qos=1" + shown, "SUBACK ok" + shown});
        EXPECT_EQ(identifiers_in_use(), 0u);
        destroy();
        broker.expect(v->disconnect);
        broker.expect_closed();
        return starved.has_failed();
    }

 private:
    void handshake() {
        client = mqtt_client_create(&config, callback_recorder::core_message,
                                    callback_recorder::response, &callbacks);
        if (client != nullptr && client->conn_info == nullptr && is_50()) {
            destroy();  // without connection information a client speaks 3.1.1 only
        }
        if (client == nullptr) {
            EXPECT_TRUE(has_failed_());
            create();
        }
        do_twice_at_most([&] { return mqtt_client_connect(client); }, MQTT_ERR_INTERNAL);
        broker.accept();
        broker.expect(v->connect);
        hear(v->connack, 0, {"CONNACK ok"});
    }

    void do_twice_at_most(const std::function<int32_t()> &operation, int32_t starved_code) {
        if (const int32_t result = operation(); result != 0) {
            EXPECT_EQ(result, starved_code);
            EXPECT_TRUE(has_failed_());
            EXPECT_EQ(identifiers_in_use(), 0u);
            EXPECT_EQ(operation(), 0);
        }
    }

    void tell_twice_at_most(const bytes &packet, const happenings &expected) {
        broker.send(packet);
        pass();
        happenings happened = callbacks.take();
        if (happened.empty()) {
            EXPECT_TRUE(has_failed_());
            broker.expect_nothing();
            broker.send(packet);
            pass();
            happened = callbacks.take();
        }
        EXPECT_EQ(happened, expected);
    }

    std::function<bool()> has_failed_;
};

// Each session in a process of its own, so that the first connection of the process fails, too.
TEST_P(starved_test, every_allocation_may_fail) {
    enum { SURVIVED = 40, NOT_REACHED, FAILED };  // none that a sanitizer exits with
    int status = SURVIVED;
    uint64_t fail_at = 0;
    for (; status == SURVIVED; fail_at++) {
        std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            const bool reached = session(fail_at);
            std::exit(HasFailure() ? FAILED : reached ? SURVIVED : NOT_REACHED);
        }
        waitpid(child, &status, 0);
        status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    EXPECT_EQ(status, NOT_REACHED) << "allocation " << fail_at - 1;
    EXPECT_GT(fail_at, 10u);
}

INSTANTIATE_TEST_SUITE_P(, starved_test, testing::Values(&V311, &V50), version_name);

}  // namespace
