#include "event_client/event_fixture.h"

#include <cstdarg>
#include <cstdio>
#include <poll.h>

namespace zep_test {

namespace {

constexpr uint64_t LONGEST_BACKOFF_MS = 60000;

ZEP_MQTT_PRINTF(1, 2) std::string format(const char *text, ...) {
    char line[8192];
    va_list values;
    va_start(values, text);
    std::vsnprintf(line, sizeof line, text, values);
    va_end(values);
    return line;
}

}  // namespace

// The listener, which writes into the journal of its test.
struct ears {
    static event_test &of(void *user) { return *static_cast<event_test *>(user); }

    static void link(zep_mqtt_sdk_client *, void *user, const zep_mqtt_sdk_link_event *event) {
        static const char *const LINKS[] = {"", "connected", "refused", "failed", "lost"};
        of(user).heard_.push_back(event->link == ZEP_MQTT_SDK_LINK_CONNECTED
                                      ? format("connected present=%d", event->session_present)
                                      : format("%s cause=%u code=%02x", LINKS[event->link],
                                               event->cause, event->broker_code));
        if (of(user).in_link) {
            of(user).in_link(*event);
        }
    }
    static void message(zep_mqtt_sdk_client *, void *user, const zep_mqtt_sdk_inbound *message) {
        EXPECT_EQ(std::string(message->topic).size(), message->topic_len);
        of(user).heard_.push_back(format(
            "message %s [%.*s] qos=%d%s%s", message->topic, static_cast<int>(message->payload_len),
            reinterpret_cast<const char *>(message->payload), message->qos,
            message->retain != 0 ? " retain" : "", message->dup != 0 ? " dup" : ""));
        of(user).receipt = message->receipt;
        if (of(user).in_message) {
            of(user).in_message(*message);
        }
    }
    static void fate(zep_mqtt_sdk_client *, void *user, const zep_mqtt_sdk_fate_event *event) {
        static const char *const FATES[] = {"delivered", "refused", "expired", "cancelled"};
        of(user).heard_.push_back(
            format("%s %s", of(user).name_of(event->token).c_str(), FATES[event->fate]) +
            (event->broker_code != 0 ? format(" %02x", event->broker_code) : std::string()));
        if (of(user).in_fate) {
            of(user).in_fate(*event);
        }
    }
    static void subscription(zep_mqtt_sdk_client *, void *user,
                             const zep_mqtt_sdk_subscription_event *event) {
        of(user).heard_.push_back(
            event->answered != 0
                ? format("%s %s %02x", event->unsubscribed != 0 ? "unsubscribed" : "subscribed",
                         event->filter, event->broker_code)
                : format("unanswered %s", event->filter));
    }
    static void passed_over(zep_mqtt_sdk_client *, void *user,
                            const zep_mqtt_sdk_passed_event *event) {
        of(user).heard_.push_back(format("passed over why=%u topic=%s size=%u id=%d qos=%d",
                                         event->why, event->topic, event->packet_size,
                                         event->packet_id, event->qos));
    }
    static void room(zep_mqtt_sdk_client *, void *user) { of(user).heard_.push_back("room"); }
};

void event_test::SetUp() {
    agent_log_set_level(AGENT_LOG_FATAL);
    config.client_id = "c1";
    config.broker_host = "127.0.0.1";
    config.broker_port = broker.port();
    config.clean_start = 1;
    config.keep_alive = 60;
    config.mqtt_ver = is_50() ? ZEP_MQTT_SDK_VERSION_50 : ZEP_MQTT_SDK_VERSION_311;
    options.size = sizeof options;
    options.first_backoff_ms = LONGEST_BACKOFF_MS;  // no attempt by chance while a test looks away
}

void event_test::TearDown() {
    expect_heard({});
    in_message = nullptr;
    in_link = nullptr;
    in_fate = nullptr;
    zep_mqtt_sdk_client_destroy(handle);
}

void event_test::open() {
    zep_mqtt_sdk_listener listener = {};
    listener.size = sizeof listener;
    listener.link = ears::link;
    listener.message = ears::message;
    listener.fate = ears::fate;
    listener.subscription = ears::subscription;
    listener.passed_over = ears::passed_over;
    listener.room = ears::room;
    handle = zep_mqtt_sdk_client_open(&config, &options, &listener, this);
    ASSERT_NE(handle, nullptr);
}

std::string event_test::connect_packet(bool clean) const {
    const std::string flags = clean ? "02" : "00";
    return is_50() ? "10 14 0004 'MQTT' 05 " + flags + " 003c 05 27 00001000 0002 'c1'"
                   : "10 0e 0004 'MQTT' 04 " + flags + " 003c 0002 'c1'";
}

std::string event_test::connected(bool present) const {
    return present ? "connected present=1" : "connected present=0";
}

void event_test::greet(const std::string &connect, const std::string &connack, where at) {
    turn();
    broker.accept(at);
    turn();  // the system may have taken its time
    broker.expect(connect, 0, at);
    broker.send(connack, 0, at);
    turn();
}

void event_test::connect(const char *connack, where at) {
    open();
    EXPECT_EQ(zep_mqtt_sdk_client_connect(handle), ZEP_MQTT_SDK_OK);
    greet(connect_packet(), connack != nullptr ? connack : v->connack, at);
    expect_heard({connected()}, at);
}

void event_test::lose_link(where at) {
    broker.close();
    turn();
    expect_heard({"lost cause=2 code=00"}, at);
    move_time(LONGEST_BACKOFF_MS);
}

void event_test::turn(int times, where at) {
    const int32_t sock = zep_mqtt_sdk_client_get_socket(handle);
    const bool connecting = state() == ZEP_MQTT_SDK_CONNECTING;
    pollfd fd = {sock, static_cast<short>(connecting && !broker.is_due ? POLLOUT : POLLIN), 0};
    if (sock != -1 && (connecting || broker.is_due)) {
        EXPECT_EQ(poll(&fd, 1, 2000), 1) << at.file << ':' << at.line;
    }
    broker.is_due = false;
    for (int i = 0; i < times; ++i) {
        EXPECT_EQ(zep_mqtt_sdk_client_loop_for(handle, 0), ZEP_MQTT_SDK_OK)
            << at.file << ':' << at.line;
    }
}

void event_test::expect_heard(const journal &expected, where at) {
    journal heard;
    heard.swap(heard_);
    EXPECT_EQ(heard, expected) << at.file << ':' << at.line;
}

void event_test::hear(const std::string &packet, unsigned id, const journal &expected, where at) {
    broker.send(packet, id, at);
    turn(1, at);
    expect_heard(expected, at);
}

int32_t event_test::send(uint32_t qos, const char *payload, const char *topic, uint32_t ttl,
                         bool retain) {
    zep_mqtt_sdk_msg msg = {};
    msg.topic = topic;
    msg.payload = reinterpret_cast<const uint8_t *>(payload);
    msg.payload_len = static_cast<uint32_t>(std::string(payload).size());
    msg.qos = qos;
    msg.ttl = ttl;
    msg.retain = retain ? 1 : 0;
    const int32_t result = zep_mqtt_sdk_client_send(handle, &msg, &token);
    if (result == ZEP_MQTT_SDK_OK) {
        named.push_back(token);
    }
    return result;
}

std::string event_test::name_of(zep_mqtt_sdk_token asked) const {
    for (size_t i = 0; i < named.size(); ++i) {
        if (named[i] == asked) {
            return "m" + std::to_string(i + 1);
        }
    }
    return "unnamed";
}

}  // namespace zep_test
