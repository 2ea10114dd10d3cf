// A client of the library for C++ programs: it keeps what arrives until it is asked for.
#pragma once

#include <chrono>
#include <initializer_list>
#include <string>
#include <vector>

#include <zep_mqtt_sdk.h>

namespace zep_demo {

// Values of zep_mqtt_sdk_config.mqtt_ver.
enum class version : uint32_t { v311 = ZEP_MQTT_SDK_VERSION_311, v50 = ZEP_MQTT_SDK_VERSION_50 };

struct received_message {
    std::string topic;
    std::string payload;
    uint32_t qos;
    bool retained;

    bool operator==(const received_message &other) const = default;
};

// A configuration with the usual values filled in, for a broker on this machine.
zep_mqtt_sdk_config client_config(const char *client_id, uint16_t port, version protocol);

class client {
 public:
    // @throws std::runtime_error when the library refuses the configuration
    explicit client(const zep_mqtt_sdk_config &config);
    ~client();
    client(const client &) = delete;
    client &operator=(const client &) = delete;

    int32_t connect() { return zep_mqtt_sdk_client_connect(handle_); }
    int32_t publish(const std::string &topic, const std::string &payload, uint32_t qos,
                    bool retain = false, uint32_t expiry_seconds = 0);
    int32_t subscribe(const std::string &filter, uint32_t qos, const char *share_group = nullptr);
    int32_t unsubscribe(const std::string &filter, const char *share_group = nullptr);
    int32_t disconnect() { return zep_mqtt_sdk_client_disconnect(handle_); }

    int32_t loop();

    bool connected() const {
        return zep_mqtt_sdk_client_get_conn_state(handle_) == ZEP_MQTT_SDK_CONNECTED;
    }
    zep_mqtt_sdk_client *handle() const { return handle_; }
    const std::vector<received_message> &messages() const { return messages_; }
    const std::vector<mqtt_broker_resp> &responses() const { return responses_; }
    // How many responses of this type (MQTT_RESP_*) have arrived.
    size_t responses(uint32_t type) const;

 private:
    static void on_message(const zep_mqtt_sdk_msg *message);
    static void on_response(const mqtt_broker_resp *response);

    zep_mqtt_sdk_client *handle_;
    std::vector<received_message> messages_;
    std::vector<mqtt_broker_resp> responses_;
};

constexpr std::chrono::milliseconds BOUND{5000};

// Loops the clients in turn until the condition holds; false when it does not within the bound.
template <typename Condition>
bool loop_until(std::initializer_list<client *> clients, Condition holds,
                std::chrono::milliseconds bound = BOUND) {
    const auto end = std::chrono::steady_clock::now() + bound;
    while (!holds()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        for (client *each : clients) {
            each->loop();
        }
    }
    return true;
}

// The operations of a client, looped until the broker has answered. False when they were refused,
// or no answer came within the bound.
bool connect_and_wait(client &who);
bool subscribe_and_wait(client &who, const std::string &filter, uint32_t qos,
                        const char *share_group = nullptr);
bool unsubscribe_and_wait(client &who, const std::string &filter);
bool publish_and_wait(client &who, const std::string &topic, const std::string &payload,
                      uint32_t qos, bool retain = false, uint32_t expiry_seconds = 0);

}  // namespace zep_demo
