// The library against mosquitto, through the public interface: what only 5.0 has.
#include <set>

#include <zep_mqtt/client/handle.h>
#include <zep_mqtt/client/v50.h>

#include "broker_fixture.h"

namespace {

using namespace zep_broker_test;

class v50 : public broker_test {
 protected:
    static zep_mqtt_sdk_config config(const char *id, const mosquitto &broker) {
        return client_config(id, broker.port(), version::v50);
    }
    static mqtt50_conn_info negotiated(const client &who) {
        mqtt50_conn_info info = {};
        EXPECT_EQ(0, mqtt_client50_get_conn_info(who.handle()->core, &info));
        return info;
    }
};

// Of two messages that wait for a client that is away, one expires; the session itself lasts.
TEST_F(v50, session_expiry_and_message_expiry) {
    mosquitto broker;
    zep_mqtt_sdk_config durable = config("durable", broker);
    durable.clean_start = 0;
    durable.session_expiry_interval = 60;
    client writer(config("writer", broker));
    ASSERT_TRUE(connect_and_wait(writer));
    {
        client reader(durable);
        ASSERT_TRUE(connect_and_wait(reader));
        EXPECT_EQ(0, negotiated(reader).session_present);
        ASSERT_TRUE(subscribe_and_wait(reader, "mail", 1));
    }
    ASSERT_TRUE(publish_and_wait(writer, "mail", "for a second", 1, false, 1));
    ASSERT_TRUE(publish_and_wait(writer, "mail", "for a minute", 1, false, 60));
    const auto over = std::chrono::steady_clock::now() + std::chrono::milliseconds(2100);
    loop_until({&writer}, [&] { return std::chrono::steady_clock::now() > over; });

    client reader(durable);
    ASSERT_TRUE(connect_and_wait(reader));
    EXPECT_EQ(1, negotiated(reader).session_present);
    expect_message(reader, {"mail", "for a minute", 1, false});
    EXPECT_EQ(1U, reader.messages().size());
}

TEST_F(v50, shared_subscription_split_between_two_clients) {
    constexpr size_t COUNT = 20;
    mosquitto broker;
    client writer(config("writer", broker));
    client one(config("one", broker));
    client two(config("two", broker));
    client outside(config("outside", broker));
    for (client *each : {&writer, &one, &two, &outside}) {
        ASSERT_TRUE(connect_and_wait(*each));
    }
    ASSERT_TRUE(subscribe_and_wait(one, "jobs/+", 1, "crew"));
    ASSERT_TRUE(subscribe_and_wait(two, "jobs/+", 1, "crew"));
    ASSERT_TRUE(subscribe_and_wait(outside, "jobs/+", 1));
    for (size_t i = 0; i < COUNT; i++) {
        ASSERT_TRUE(publish_and_wait(writer, "jobs/all", std::to_string(i), 1));
    }
    EXPECT_TRUE(loop_until({&one, &two, &outside}, [&] {
        return one.messages().size() + two.messages().size() >= COUNT &&
               outside.messages().size() >= COUNT;
    }));
    std::multiset<std::string> done;
    for (const client *each : {&one, &two}) {
        EXPECT_FALSE(each->messages().empty());
        for (const received_message &message : each->messages()) {
            done.insert(message.payload);
        }
    }
    EXPECT_EQ(COUNT, done.size());
    EXPECT_EQ(COUNT, std::set<std::string>(done.begin(), done.end()).size()) << "each job once";
    EXPECT_EQ(COUNT, outside.messages().size());

    // It is ended by its whole filter; then the other one has it for itself.
    ASSERT_TRUE(unsubscribe_and_wait(one, "$share/crew/jobs/+"));
    const size_t before = two.messages().size();
    for (size_t i = 0; i < 4; i++) {
        ASSERT_TRUE(publish_and_wait(writer, "jobs/all", "more", 1));
    }
    EXPECT_TRUE(loop_until({&two}, [&] { return two.messages().size() == before + 4; }));
}

TEST_F(v50, the_keep_alive_of_the_broker_rules) {
    mosquitto broker("max_keepalive 10\n");
    client who(config("who", broker));
    ASSERT_TRUE(connect_and_wait(who));
    EXPECT_EQ(10, negotiated(who).server_keep_alive);
}

TEST_F(v50, a_refused_connection_tells_its_reason) {
    constexpr uint8_t NOT_AUTHORIZED = 0x87;
    mosquitto broker("joe", "secret");
    client stranger(config("stranger", broker));
    EXPECT_FALSE(connect_and_wait(stranger));
    EXPECT_EQ(NOT_AUTHORIZED, negotiated(stranger).reason_code);
    EXPECT_FALSE(stranger.connected());
}

}  // namespace
