// How much memory and how many calls the library takes, and what it does when there is none.
#include <zep_mqtt/net/adapter.h>
#include <zep_mqtt/net/eth.h>
#include <zep_mqtt/net/interface.h>
#include <zep_mqtt/net/net_status.h>
#include <zep_mqtt/net/recv_queue.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/mutex.h>
#include <zep_mqtt/platform/semaphore.h>
#include <zep_mqtt/platform/thread.h>
#include <zep_mqtt/platform/timer.h>
#include <zep_mqtt/protocol/v50/user_property.h>
#include <zep_mqtt/qos/cache.h>
#include <zep_mqtt/topic/subscription_store.h>

#include "support/client_fixture.h"
#include "support/failing_malloc.h"
#include "support/socket_calls.h"

namespace {

using namespace zep_test;

FOR_BOTH_VERSIONS(memory_test);

TEST_P(memory_test, the_common_paths_allocate_what_they_must) {
    connect();
    const uint64_t copies = is_50() ? 0 : 1;  // that only the 3.1.1 decoder makes
    uint64_t before = allocations_made();
    const auto expect_allocations = [&](uint64_t count, const char *path) {
        EXPECT_EQ(allocations_made() - before, count) << path;
        before = allocations_made();
    };
    const uint64_t calls = socket_calls_made();
    EXPECT_EQ(publish(0), 0);
    EXPECT_EQ(socket_calls_made() - calls, 1u);
    broker.expect(v->publish0);
    expect_allocations(0, "QoS 0 publish");
    const uint64_t calls_before_passes = socket_calls_made();
    pass(2);
    EXPECT_EQ(socket_calls_made() - calls_before_passes, 2u);  // a wait in each, and nothing else
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
    EXPECT_EQ(subscribe() + unsubscribe(), 0);
    broker.expect(v->subscribe, 3);
    broker.expect(v->unsubscribe, 4);
    expect_allocations(0, "subscribe, unsubscribe");
    hear(v->publish2, 7, {"message t [hi] qos=2 id=7"});
    hear(PUBREL, 7, {});
    broker.expect("50 02 0007 70 02 0007");
    expect_allocations(2 * copies, "delivery: topic, payload");
    hear(v->suback, 3, {"message  [01] qos=1 id=3", "SUBACK ok id=3"});
    hear(PUBACK, 1, {"PUBACK ok id=1"});
    expect_allocations(copies, "acknowledgements: the return codes of a SUBACK");
    disconnect();
    expect_allocations(0, "disconnect");
}

// Here stands what others do not starve. The unit tests do it with the 3.1.1 decoder, the will, the
// queue and the start of the network; the hostile ring with a whole session of each version.

// What stands for the null that an operation gives instead of a handle.
constexpr int32_t NONE = -9999;

class starved_operation_test : public client_test {
 protected:
    void SetUp() override {
        if (!locks_need_the_heap()) {
            GTEST_SKIP() << "locks are not made of the heap here: other allocations fail";
        }
        client_test::SetUp();
    }
    void TearDown() override {
        if (!IsSkipped()) {
            client_test::TearDown();
        }
    }

    // Lets each allocation of an operation fail in turn; stated tells, for each, what comes back.
    // With memory it works and allocates no more than that. Nothing is left behind either way.
    void starve(const char *name, const std::vector<int32_t> &stated,
                const std::function<int32_t()> &run, const std::function<void()> &undo) {
        for (size_t fail_at = 0; fail_at <= stated.size(); fail_at++) {
            const bool enough = fail_at == stated.size();
            const int64_t held = blocks_held();
            int32_t result = 0;
            {
                const failing_malloc starved(fail_at);
                result = run();
                EXPECT_EQ(starved.has_failed(), !enough) << name << ", allocation " << fail_at;
            }
            EXPECT_EQ(result, enough ? 0 : stated[fail_at]) << name << ", allocation " << fail_at;
            if (result == 0) {
                undo();
            }
            EXPECT_LE(blocks_held(), held) << name << ", allocation " << fail_at;
        }
    }
    template <typename Made>
    void starve_making(const char *name, size_t allocations, Made *(*make)(), void (*end)(Made *)) {
        Made *made = nullptr;
        const auto run = [&] { return (made = make()) == nullptr ? NONE : 0; };
        starve(name, std::vector(allocations, NONE), run, [&] { end(made); });
    }
    static void stop_network() {
        net_interface_deinit();
        net_interface_final_destroy();
        g_net_inited = 0;
    }
    static void forget_store() {
        platform_mutex_destroy(g_mqtt_sub_ctx.lock);
        g_sub_ctx_inited = 0;
    }

    uint8_t byte = 'x';
};

uint32_t do_nothing(void *) {
    return 0;
}

platform_timer *make_timer() {
    constexpr uint32_t HOUR_MS = 3'600'000;
    return platform_timer_create_win32([](void *) {}, nullptr, HOUR_MS);
}

TEST_F(starved_operation_test, platform) {
    const auto semaphore = +[] { return platform_sem_create_win32(0, 1); };
    const auto thread = +[] { return platform_thread_create(do_nothing, nullptr); };
    const auto thread_win32 = +[] { return platform_thread_create_win32(do_nothing, nullptr); };
    starve_making(
        "malloc", 1, +[] { return platform_malloc_win32(1); }, platform_free);
    starve_making("mutex", 1, platform_mutex_create, platform_mutex_destroy);
    starve_making("mutex_win32", 1, platform_mutex_create_win32, platform_mutex_destroy);
    starve_making("semaphore", 1, semaphore, platform_sem_destroy_win32);
    starve_making("thread", 1, thread, platform_thread_join);
    starve_making("thread_win32", 1, thread_win32, platform_thread_join);
    starve_making("timer: itself, lock, handle, thread, context", 5, make_timer,
                  platform_timer_destroy_win32);
}

TEST_F(starved_operation_test, records) {
    const std::vector<int32_t> two(2, MQTT_ERR_NO_MEMORY), three(3, MQTT_ERR_NO_MEMORY);
    mqtt_message message = {"t", &byte, 1, 1, 0, 1, 0, 0}, copy = {};
    const auto copying = [&] { return message_deep_copy(&copy, &message); };
    starve("deep copy: topic, payload", two, copying, [&] { message_free(&copy); });
    mqtt50_message holder = {};
    const auto setting = [&] { return mqtt50_user_property_set(&holder, "key", "value"); };
    starve("user property: itself, key, value", three, setting, [&] {
        EXPECT_EQ(holder.user_prop_count, 1);
        mqtt50_user_property_free(holder.user_props);
        holder = {};
    });
    mqtt_session session = {};
    const auto beginning = [&] { return mqtt_session_init(&session, "c1", 1, 60); };
    starve("session: the store's lock", {MQTT_ERR_NO_MEMORY}, beginning, forget_store);
    beginning();
    for (message.qos = 1; message.qos <= 2; message.qos++) {
        starve(
            "cache: entry, topic, payload", three,
            [&] { return mqtt_qos_message_process(4, message.qos, &message, &session); },
            [&] {
                EXPECT_EQ(session.qos1_count + session.qos2_count, 1u);
                mqtt_session_destroy(&session);
                beginning();
            });
    }
}

// The queue's lock and semaphore, the socket set's lock, the receive thread. Without the socket set
// there is TCP all the same, but no UDP.
std::vector<int32_t> network_says(int32_t code) {
    return {code, code, 0, code};
}

TEST_F(starved_operation_test, network) {
    starve("start", network_says(NET_ERR_INIT), net_interface_init, stop_network);
    int32_t index = -1;
    starve(
        "first connection", network_says(-1),
        [&] { return index = net_adapter_open("127.0.0.1", broker.port()); },
        [&] { net_adapter_close(static_cast<uint8_t>(index)), stop_network(); });
    const auto make_set = [] { return eth_socket_set_init(), g_sock_set_mutex ? 0 : NONE; };
    starve("socket set", {NONE}, make_set, eth_destroy);
    make_set();
    starve("receive thread", {NET_ERR_INIT}, net_eth_win_init, eth_destroy);

    ASSERT_EQ(net_interface_init(), 0);
    const net_iface signalling = {NET_IFACE_ES, eth_send,
                                  [](uint8_t *, uint32_t, uint32_t *length, char *,
                                     uint16_t *) -> int32_t { return *length = 1, 0; },
                                  nullptr, 0};
    net_interface_register(&signalling);
    net_interface_set_current_type(NET_IFACE_ES);
    net_queue_entry entry;
    starve(
        "interrupt", {NET_ERR_NO_MEMORY}, [&] { return net_interface_on_interrupt(&byte, 1); },
        [&] { EXPECT_EQ(net_interface_dequeue(&entry, 0), 0); });
    stop_network();
}

TEST_F(starved_operation_test, clients) {
    starve(
        "client: record, connection information, store", {NONE, 0, NONE},
        [&] {
            client = mqtt_client_create(&config, callback_recorder::core_message, nullptr, this);
            return client == nullptr ? NONE : 0;
        },
        [&] { destroy(), forget_store(); });
    zep_mqtt_sdk_config wanted = {};
    wanted.client_id = "c1";
    wanted.broker_host = "127.0.0.1";
    wanted.broker_port = broker.port();
    zep_mqtt_sdk_client *handle = nullptr;
    starve(
        "handle, and its client", {NONE, NONE, 0, NONE},
        [&] {
            handle =
                zep_mqtt_sdk_client_create(&wanted, callback_recorder::public_message, nullptr);
            return handle == nullptr ? NONE : 0;
        },
        [&] { zep_mqtt_sdk_client_destroy(handle), forget_store(); });
}

TEST_F(starved_operation_test, a_client_without_connection_information_speaks_311) {
    {
        const failing_malloc starved(1);
        create();
    }
    ASSERT_EQ(client->conn_info, nullptr);
    connect();
    send_message(1, 1);
    hear(PUBACK, 1, {"PUBACK ok id=1"});
    mqtt_client_version_downgrade(client);  // there is nothing to switch
    hear(v->publish1, 7, {"message t [hi] qos=1 id=7"});
    broker.expect(PUBACK, 7);
    age(client->last_activity_ms, 30000);
    pass();
    broker.expect(PINGREQ);
    disconnect();
}

}  // namespace
