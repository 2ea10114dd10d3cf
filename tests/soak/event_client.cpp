// An event-driven handle: every message is told by its token, and has one fate.
#include <gtest/gtest.h>
#include <map>

#include <zep_mqtt_sdk_event.h>

#include "soak/soak_client.h"

namespace zep_test {

namespace {

class event_client : public soak_client {
 public:
    event_client(const client_settings &settings, client_listener &heard, bool resumes)
        : heard_(heard) {
        const uint8_t key[16] = {3, 1, 4, 1, 5, 9, 2, 6, 5, 3, 5, 8, 9, 7, 9, 3};
        zep_mqtt_sdk_config config = {};
        config.client_id = settings.id.c_str();
        config.broker_host = "127.0.0.1";
        config.broker_port = settings.port;
        // mosquitto 2.0.11 forgets at its end a 5.0 session that began with Clean Start.
        config.clean_start = resumes ? 0 : 1;
        config.keep_alive = 10;
        config.mqtt_ver = settings.version;
        config.crypto_enable = 1;
        config.crypto_key = config.crypto_iv = key;
        zep_mqtt_sdk_options options = {};
        options.size = sizeof options;
        options.first_backoff_ms = 10;
        options.longest_backoff_ms = 100;
        options.connect_timeout_ms = 3000;
        options.pingresp_timeout_ms = 3000;
        options.resume_session = resumes ? 1 : 0;
        zep_mqtt_sdk_listener listener = {};
        listener.size = sizeof listener;
        listener.link = on_link;
        listener.message = on_message;
        listener.fate = on_fate;
        listener.subscription = on_subscription;
        client_ = zep_mqtt_sdk_client_open(&config, &options, &listener, this);
        EXPECT_NE(client_, nullptr);
        EXPECT_EQ(zep_mqtt_sdk_client_connect(client_), ZEP_MQTT_SDK_OK);
    }
    // The messages that are open have their fate now, which their party calls abandoned.
    ~event_client() override {
        destroying_ = true;
        zep_mqtt_sdk_client_destroy(client_);
        EXPECT_TRUE(open_.empty());
    }
    event_client(const event_client &) = delete;
    event_client &operator=(const event_client &) = delete;

    void serve() override { EXPECT_EQ(zep_mqtt_sdk_client_loop_for(client_, 5), ZEP_MQTT_SDK_OK); }
    bool is_connected() const override {
        return zep_mqtt_sdk_client_get_conn_state(client_) == ZEP_MQTT_SDK_CONNECTED;
    }
    bool has_room(unsigned) const override { return true; }
    bool subscribe(const std::string &filter) override {
        return has_subscribed_ || zep_mqtt_sdk_client_subscribe_to(client_, filter.c_str(), 2,
                                                                   nullptr) == ZEP_MQTT_SDK_OK;
    }
    bool publish(const std::string &topic, const std::string &payload, unsigned qos) override {
        zep_mqtt_sdk_msg message = {};
        message.topic = topic.c_str();
        message.payload = reinterpret_cast<const uint8_t *>(payload.data());
        message.payload_len = static_cast<uint32_t>(payload.size());
        message.qos = qos;
        zep_mqtt_sdk_token token = 0;
        if (zep_mqtt_sdk_client_send(client_, &message, &token) != ZEP_MQTT_SDK_OK) {
            return false;
        }
        EXPECT_TRUE(open_.emplace(token, qos == 0 ? "" : topic).second) << topic;
        return true;
    }
    bool is_idle() const override { return open_.empty(); }

 private:
    static event_client &of(void *user) { return *static_cast<event_client *>(user); }

    static void on_link(zep_mqtt_sdk_client *, void *user, const zep_mqtt_sdk_link_event *event) {
        if (event->link == ZEP_MQTT_SDK_LINK_CONNECTED) {
            of(user).heard_.connected();
            if (event->session_present != 0 && of(user).has_subscribed_) {
                of(user).heard_.subscribed();
            }
        }
    }
    static void on_message(zep_mqtt_sdk_client *, void *user, const zep_mqtt_sdk_inbound *message) {
        const auto *payload = reinterpret_cast<const char *>(message->payload);
        of(user).heard_.delivered(message->topic, std::string(payload, message->payload_len),
                                  message->qos);
    }
    static void on_subscription(zep_mqtt_sdk_client *, void *user,
                                const zep_mqtt_sdk_subscription_event *event) {
        if (event->answered != 0) {
            EXPECT_EQ(event->broker_code, 2);
            of(user).has_subscribed_ = true;
            of(user).heard_.subscribed();
        }
    }
    // A message is delivered, unless its handle is destroyed; nothing else happens to it.
    static void on_fate(zep_mqtt_sdk_client *, void *user, const zep_mqtt_sdk_fate_event *event) {
        event_client &client = of(user);
        const auto open = client.open_.find(event->token);
        ASSERT_NE(open, client.open_.end()) << "a second fate, or one of nothing";
        EXPECT_TRUE(event->fate == ZEP_MQTT_SDK_FATE_DELIVERED ||
                    (client.destroying_ && event->fate == ZEP_MQTT_SDK_FATE_CANCELLED))
            << open->second << " has fate " << event->fate << ", code " << int{event->broker_code};
        if (!open->second.empty() && event->fate == ZEP_MQTT_SDK_FATE_DELIVERED) {
            client.heard_.ended(open->second, fate::done);
        }
        client.open_.erase(open);
    }

    client_listener &heard_;
    zep_mqtt_sdk_client *client_ = nullptr;
    std::map<zep_mqtt_sdk_token, std::string> open_;  // with their topics, without one at QoS 0
    bool has_subscribed_ = false, destroying_ = false;
};

}  // namespace

std::unique_ptr<soak_client> make_event_client(const client_settings &settings,
                                               client_listener &listener) {
    return std::make_unique<event_client>(settings, listener, false);
}
std::unique_ptr<soak_client> make_resuming_client(const client_settings &settings,
                                                  client_listener &listener) {
    return std::make_unique<event_client>(settings, listener, true);
}

}  // namespace zep_test
