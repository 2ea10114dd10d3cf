// The other clients, driven as their manuals say for a program with one thread.
#include <MQTTClient.h>
#include <mosquitto.h>

#include "subjects.h"

namespace bench {

namespace {

class mosquitto_subject : public subject {
 public:
    explicit mosquitto_subject(uint16_t port) {
        (void)mosquitto_lib_init();
        client_ = mosquitto_new("bench-mosquitto", true, this);
        (void)mosquitto_max_inflight_messages_set(client_, QOS1_WINDOW);
        (void)mosquitto_int_option(client_, MOSQ_OPT_TCP_NODELAY, 1);
        mosquitto_connect_callback_set(client_, [](mosquitto *, void *self, int code) {
            static_cast<mosquitto_subject *>(self)->connected_ = code == 0;
        });
        mosquitto_publish_callback_set(client_, [](mosquitto *, void *self, int) {
            ++static_cast<mosquitto_subject *>(self)->done_;
        });
        mosquitto_message_callback_set(client_,
                                       [](mosquitto *, void *self, const mosquitto_message *) {
                                           ++static_cast<mosquitto_subject *>(self)->received_;
                                       });
        if (mosquitto_connect(client_, HOST, port, 60) != MOSQ_ERR_SUCCESS) {
            fail("libmosquitto: no connection");
        }
        while (!connected_) {
            (void)mosquitto_loop(client_, 1000, 1);
        }
    }
    ~mosquitto_subject() override { mosquitto_destroy(client_); }

    void publish(uint32_t qos, uint32_t count) override {
        const zep_mqtt_sdk_msg msg = message(qos, 64);
        done_ = 0;
        uint32_t sent = 0;
        while (done_ < count) {
            if (sent < count && (qos == 0 || sent - done_ < window_of(qos))) {
                (void)mosquitto_publish(client_, nullptr, msg.topic, 64, msg.payload,
                                        static_cast<int>(qos), false);
                ++sent;
            } else {
                (void)mosquitto_loop(client_, 1000, 1);
            }
        }
    }

    void receive(uint32_t qos, uint32_t count, uint32_t payload) override {
        received_ = 0;
        (void)mosquitto_subscribe(client_, nullptr, flood_filter(qos, count, payload).c_str(),
                                  static_cast<int>(qos));
        while (received_ < count) {
            (void)mosquitto_loop(client_, 1000, 1);
        }
    }

 private:
    bool connected_ = false;
    uint32_t done_ = 0;
    uint32_t received_ = 0;
    mosquitto *client_ = nullptr;
};

class paho_subject : public subject {
 public:
    explicit paho_subject(uint16_t port) {
        const std::string address = "tcp://" + std::string(HOST) + ":" + std::to_string(port);
        (void)MQTTClient_create(&client_, address.c_str(), "bench-paho",
                                MQTTCLIENT_PERSISTENCE_NONE, nullptr);
        MQTTClient_connectOptions options = MQTTClient_connectOptions_initializer;
        options.reliable = 0;
        options.maxInflightMessages = QOS1_WINDOW;
        if (MQTTClient_connect(client_, &options) != MQTTCLIENT_SUCCESS) {
            fail("Paho: no connection");
        }
    }
    ~paho_subject() override { MQTTClient_destroy(&client_); }

    void publish(uint32_t qos, uint32_t count) override {
        const zep_mqtt_sdk_msg msg = message(qos, 64);
        std::vector<MQTTClient_deliveryToken> tokens;
        for (uint32_t sent = 0; sent < count; ++sent) {
            MQTTClient_deliveryToken token = 0;
            if (qos != 0 && sent >= window_of(qos)) {
                (void)MQTTClient_waitForCompletion(client_, tokens[sent - window_of(qos)], 1000);
            }
            (void)MQTTClient_publish(client_, msg.topic, 64, msg.payload, static_cast<int>(qos), 0,
                                     &token);
            tokens.push_back(token);
        }
        if (qos != 0) {
            (void)MQTTClient_waitForCompletion(client_, tokens.back(), 1000);
        }
    }

    void receive(uint32_t qos, uint32_t count, uint32_t payload) override {
        (void)MQTTClient_subscribe(client_, flood_filter(qos, count, payload).c_str(),
                                   static_cast<int>(qos));
        for (uint32_t received = 0; received < count;) {
            char *topic = nullptr;
            int length = 0;
            MQTTClient_message *inbound = nullptr;
            (void)MQTTClient_receive(client_, &topic, &length, &inbound, 1000);
            if (inbound == nullptr) {
                fail("Paho: messages are missing");
            }
            ++received;
            MQTTClient_freeMessage(&inbound);
            MQTTClient_free(topic);
        }
    }

 private:
    MQTTClient client_ = nullptr;
};

}  // namespace

std::unique_ptr<subject> make_mosquitto(uint16_t port) {
    return std::make_unique<mosquitto_subject>(port);
}
std::unique_ptr<subject> make_paho(uint16_t port) {
    return std::make_unique<paho_subject>(port);
}

}  // namespace bench
