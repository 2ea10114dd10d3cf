// This library: the event-driven interface with one message or 32 a call, and the basic one.
#include "subjects.h"

namespace bench {

namespace {

class event_subject : public subject {
 public:
    event_subject(uint16_t port, uint32_t batch) : batch_(batch) {
        zep_mqtt_sdk_options options = {};
        options.size = sizeof options;
        options.max_unacknowledged = QOS1_WINDOW;
        options.qos2_window = QOS2_WINDOW;
        zep_mqtt_sdk_listener listener = {};
        listener.size = sizeof listener;
        listener.message = [](zep_mqtt_sdk_client *, void *user, const zep_mqtt_sdk_inbound *) {
            ++static_cast<event_subject *>(user)->received_;
        };
        listener.fate = [](zep_mqtt_sdk_client *, void *user, const zep_mqtt_sdk_fate_event *) {
            ++static_cast<event_subject *>(user)->done_;
        };
        client_ = open_connected("bench-event", port, options, listener, this);
    }
    ~event_subject() override { zep_mqtt_sdk_client_destroy(client_); }

    void publish(uint32_t qos, uint32_t count) override {
        const std::vector<zep_mqtt_sdk_msg> msgs(batch_, message(qos, 64));
        const uint32_t window = qos == 0 ? 100 : window_of(qos);
        uint32_t sent = 0;
        done_ = 0;
        while (done_ < count) {
            const uint32_t most = std::min({batch_, count - sent, window - (sent - done_)});
            uint32_t accepted = 0;
            if (most != 0) {
                (void)zep_mqtt_sdk_client_send_all(client_, msgs.data(), most, nullptr, &accepted);
                sent += accepted;
            }
            if (accepted == 0 || accepted < most || sent == count) {
                (void)zep_mqtt_sdk_client_loop_for(client_, 1000);
            }
        }
    }

    void receive(uint32_t qos, uint32_t count, uint32_t payload) override {
        received_ = 0;
        (void)zep_mqtt_sdk_client_subscribe_to(client_, flood_filter(qos, count, payload).c_str(),
                                               qos, nullptr);
        while (received_ < count) {
            (void)zep_mqtt_sdk_client_loop_for(client_, 1000);
        }
    }

 private:
    uint32_t batch_;
    uint32_t done_ = 0;
    uint32_t received_ = 0;
    zep_mqtt_sdk_client *client_ = nullptr;
};

class basic_subject : public subject {
 public:
    explicit basic_subject(uint16_t port) {
        const zep_mqtt_sdk_config config = configuration("bench-basic", port);
        client_ = zep_mqtt_sdk_client_create(&config, on_message, on_response);
        if (zep_mqtt_sdk_client_connect(client_) != ZEP_MQTT_SDK_OK) {
            fail("basic: no connection");
        }
        while (zep_mqtt_sdk_client_get_conn_state(client_) != ZEP_MQTT_SDK_CONNECTED) {
            (void)zep_mqtt_sdk_client_loop(client_);
        }
    }
    ~basic_subject() override { zep_mqtt_sdk_client_destroy(client_); }

    void publish(uint32_t qos, uint32_t count) override {
        const zep_mqtt_sdk_msg msg = message(qos, 64);
        g_done2 = 0;
        uint32_t sent = 0;
        while (sent < count || (qos != 0 && g_done2 / 2 < count)) {
            const bool open = sent < count && (qos == 0 || sent - g_done2 / 2 < window_of(qos));
            if (open && zep_mqtt_sdk_client_publish(client_, &msg) == ZEP_MQTT_SDK_OK) {
                ++sent;
            } else {
                (void)zep_mqtt_sdk_client_loop(client_);
            }
        }
    }

    void receive(uint32_t qos, uint32_t count, uint32_t payload) override {
        const std::string filter = flood_filter(qos, count, payload);
        g_received = 0;
        (void)zep_mqtt_sdk_client_subscribe(client_, filter.c_str(), qos, nullptr);
        while (g_received < count) {
            (void)zep_mqtt_sdk_client_loop(client_);
        }
        (void)zep_mqtt_sdk_client_unsubscribe(client_, filter.c_str(), nullptr);
        (void)zep_mqtt_sdk_client_loop(client_);
    }

 private:
    static void on_message(const zep_mqtt_sdk_msg *msg) {
        g_received += msg->topic != nullptr && msg->topic[0] != '\0' ? 1 : 0;
    }
    // At QoS 2 both PUBREC and PUBCOMP are told.
    static void on_response(const mqtt_broker_resp *response) {
        g_done2 += response->resp_type == MQTT_RESP_PUBACK ? 2 : 0;
        g_done2 += response->resp_type == MQTT_RESP_QOS2 ? 1 : 0;
    }

    static inline uint32_t g_done2 = 0;  // half messages
    static inline uint32_t g_received = 0;
    zep_mqtt_sdk_client *client_ = nullptr;
};

}  // namespace

std::unique_ptr<subject> make_event(uint16_t port) {
    return std::make_unique<event_subject>(port, 1);
}
std::unique_ptr<subject> make_event_32(uint16_t port) {
    return std::make_unique<event_subject>(port, 32);
}
std::unique_ptr<subject> make_basic(uint16_t port) {
    return std::make_unique<basic_subject>(port);
}

}  // namespace bench
