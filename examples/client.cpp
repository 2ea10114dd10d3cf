#include "client.h"

#include <algorithm>
#include <stdexcept>

namespace zep_demo {

namespace {

// The callbacks carry no pointer of ours, but they come from inside the loop call of their client.
thread_local client *looping = nullptr;

// Runs an operation and loops until so many more responses of a type have arrived.
template <typename Operation>
bool answered(client &who, uint32_t type, size_t answers, Operation operation) {
    const size_t before = who.responses(type);
    return operation() == ZEP_MQTT_SDK_OK &&
           loop_until({&who}, [&] { return who.responses(type) >= before + answers; });
}

}  // namespace

zep_mqtt_sdk_config client_config(const char *client_id, uint16_t port, version protocol) {
    zep_mqtt_sdk_config config = {};
    config.client_id = client_id;
    config.broker_host = "127.0.0.1";
    config.broker_port = port;
    config.clean_start = 1;
    config.keep_alive = 60;
    config.reconnect_interval_ms = 200;
    config.mqtt_ver = static_cast<uint32_t>(protocol);
    return config;
}

client::client(const zep_mqtt_sdk_config &config)
    : handle_(zep_mqtt_sdk_client_create(&config, &client::on_message, &client::on_response)) {
    if (handle_ == nullptr) {
        throw std::runtime_error("a client could not be created");
    }
}

client::~client() {
    zep_mqtt_sdk_client_destroy(handle_);
}

int32_t client::publish(const std::string &topic, const std::string &payload, uint32_t qos,
                        bool retain, uint32_t expiry_seconds) {
    zep_mqtt_sdk_msg message = {};
    message.topic = topic.c_str();
    message.payload = reinterpret_cast<const uint8_t *>(payload.data());
    message.payload_len = static_cast<uint32_t>(payload.size());
    message.qos = qos;
    message.retain = retain ? 1 : 0;
    message.ttl = expiry_seconds;
    return zep_mqtt_sdk_client_publish(handle_, &message);
}

int32_t client::subscribe(const std::string &filter, uint32_t qos, const char *share_group) {
    return zep_mqtt_sdk_client_subscribe(handle_, filter.c_str(), qos, share_group);
}

int32_t client::unsubscribe(const std::string &filter, const char *share_group) {
    return zep_mqtt_sdk_client_unsubscribe(handle_, filter.c_str(), share_group);
}

int32_t client::loop() {
    looping = this;
    const int32_t result = zep_mqtt_sdk_client_loop(handle_);
    looping = nullptr;
    return result;
}

size_t client::responses(uint32_t type) const {
    return static_cast<size_t>(std::count_if(
        responses_.begin(), responses_.end(),
        [type](const mqtt_broker_resp &response) { return response.resp_type == type; }));
}

void client::on_message(const zep_mqtt_sdk_msg *message) {
    // An empty topic announces a SUBACK or an UNSUBACK, of which on_response hears as well.
    if (message->topic[0] != '\0') {
        looping->messages_.push_back(
            {message->topic,
             std::string(reinterpret_cast<const char *>(message->payload), message->payload_len),
             message->qos, message->retain != 0});
    }
}

void client::on_response(const mqtt_broker_resp *response) {
    looping->responses_.push_back(*response);
}

bool connect_and_wait(client &who) {
    return answered(who, MQTT_RESP_CONNACK, 1, [&] { return who.connect(); }) && who.connected();
}

bool subscribe_and_wait(client &who, const std::string &filter, uint32_t qos,
                        const char *share_group) {
    return answered(who, MQTT_RESP_SUBACK, 1,
                    [&] { return who.subscribe(filter, qos, share_group); });
}

bool unsubscribe_and_wait(client &who, const std::string &filter) {
    return answered(who, MQTT_RESP_UNSUBACK, 1, [&] { return who.unsubscribe(filter); });
}

bool publish_and_wait(client &who, const std::string &topic, const std::string &payload,
                      uint32_t qos, bool retain, uint32_t expiry_seconds) {
    // QoS 0 has no answer, QoS 1 has a PUBACK, QoS 2 has a PUBREC and a PUBCOMP.
    const uint32_t type = qos == 1 ? MQTT_RESP_PUBACK : MQTT_RESP_QOS2;
    return answered(who, type, qos,
                    [&] { return who.publish(topic, payload, qos, retain, expiry_seconds); });
}

}  // namespace zep_demo
