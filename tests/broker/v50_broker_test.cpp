// The library against mosquitto, through the public interface: what only 5.0 has.
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

// That a shared subscription splits the messages is what the demonstration shows.
TEST_F(v50, a_shared_subscription_is_ended_by_its_whole_filter) {
    mosquitto broker;
    client writer(config("writer", broker));
    client one(config("one", broker));
    client two(config("two", broker));
    for (client *each : {&writer, &one, &two}) {
        ASSERT_TRUE(connect_and_wait(*each));
    }
    ASSERT_TRUE(subscribe_and_wait(one, "jobs/+", 1, "crew"));
    ASSERT_TRUE(subscribe_and_wait(two, "jobs/+", 1, "crew"));
    ASSERT_TRUE(unsubscribe_and_wait(one, "$share/crew/jobs/+"));
    for (int i = 0; i < 4; i++) {
        ASSERT_TRUE(publish_and_wait(writer, "jobs/all", "more", 1));
    }
    EXPECT_TRUE(loop_until({&one, &two}, [&] { return two.messages().size() == 4; }));
    EXPECT_EQ(0U, one.messages().size());
}

}  // namespace
