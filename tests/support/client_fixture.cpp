#include "support/client_fixture.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <utility>

#include <zep_mqtt/net/adapter.h>

namespace zep_test {

namespace {

thread_local callback_recorder *g_recorder = nullptr;

std::string text_or_hex(const uint8_t *data, uint32_t size) {
    std::string text;
    for (uint32_t at = 0; at < size; at++) {
        char shown[4];
        std::snprintf(shown, sizeof shown, std::isprint(data[at]) ? "%c" : "%02x", data[at]);
        text += shown;
    }
    return text;
}

std::string described(const char *topic, const uint8_t *payload, uint32_t size, uint32_t qos) {
    return std::string("message ") + topic + " [" + text_or_hex(payload, size) +
           "] qos=" + std::to_string(qos);
}

}  // namespace

callback_recorder::callback_recorder() {
    g_recorder = this;
}
callback_recorder::~callback_recorder() {
    g_recorder = nullptr;
}

happenings callback_recorder::take() {
    return std::exchange(events_, {});
}

void callback_recorder::add(const std::string &event) {
    events_.push_back(event);
}

void callback_recorder::core_message(void *user_obj, const mqtt_message *msg) {
    auto *recorder = static_cast<callback_recorder *>(user_obj);
    recorder->add(described(msg->topic, msg->payload, msg->payload_len, msg->qos) +
                  (msg->msg_id != 0 ? " id=" + std::to_string(msg->msg_id) : "") +
                  (msg->retain != 0 ? " retain" : ""));
    if (const auto act = std::exchange(recorder->in_next_message, nullptr)) {
        act();
    }
}

void callback_recorder::public_message(const zep_mqtt_sdk_msg *msg) {
    g_recorder->add(described(msg->topic, msg->payload, msg->payload_len, msg->qos) +
                    (msg->retain != 0 ? " retain" : "") +
                    (msg->ttl != 0 ? " ttl=" + std::to_string(msg->ttl) : ""));
    if (const auto act = std::exchange(g_recorder->in_next_message, nullptr)) {
        act();
    }
}

void callback_recorder::response(const mqtt_broker_resp *resp) {
    static const char *const NAMES[] = {"CONNACK", "DISCONNECT", "PUBACK",
                                        "SUBACK",  "UNSUBACK",   "QOS2"};
    g_recorder->add(std::string(resp->resp_type < 6 ? NAMES[resp->resp_type] : "?") +
                    (resp->success == 1 ? " ok" : " failed") +
                    (resp->result != 0 ? " result=" + std::to_string(resp->result) : "") +
                    (resp->pkt_id != 0 ? " id=" + std::to_string(resp->pkt_id) : ""));
}

const std::string &log_book::read() {
    if (capture_) {
        seen_ += capture_->take();
        capture_.emplace();
    }
    return seen_;
}

const std::string &log_book::stop() {
    read();
    capture_.reset();
    return seen_;
}

int log_book::count(const std::string &part) {
    int found = 0;
    read();
    for (size_t at = forgotten_; (at = seen_.find(part, at)) != std::string::npos;
         at += part.size()) {
        found++;
    }
    return found;
}

client_test::client_test(const dialect &version) : v(&version) {
    std::strcpy(config.client_id, "c1");
    std::strcpy(config.broker_host, "127.0.0.1");
    config.broker_port = broker.port();
    config.mqtt_version = version.version;
    config.clean_start = 1;
    config.keep_alive = 60;
    config.reconnect_interval_ms = UINT32_MAX;
}

void client_test::TearDown() {
    if (broker.connected()) {
        broker.expect_nothing();
    }
    if (client != nullptr) {
        mqtt_client_destroy(client);
    }
    expect_happened({});
    const std::string &lines = log.stop();
    if (HasFailure()) {
        std::printf("the log of the test:\n%s", lines.c_str());
    }
}

void client_test::create() {
    client = mqtt_client_create(&config, callback_recorder::core_message,
                                callback_recorder::response, &callbacks);
    if (client == nullptr) {
        throw std::runtime_error("no client");
    }
}

void client_test::connect() {
    if (client == nullptr) {
        create();
    }
    EXPECT_EQ(mqtt_client_connect(client), 0);
    broker.accept();
    broker.expect(v->connect);
    broker.send(v->connack);
    pass();
    expect_happened({"CONNACK ok"});
    log.forget();
    if (client->state != MQTT_CLIENT_CONNECTED) {
        throw std::runtime_error("not connected");
    }
}

void client_test::pass(int times, where at) {
    for (int done = 0; done < times; done++) {
        if (const int32_t result = mqtt_client_loop(client); result != 0) {
            ADD_FAILURE_AT(at.file, at.line) << "the loop returned " << result;
        }
    }
}

void client_test::expect_happened(const happenings &expected, where at) {
    const happenings actual = callbacks.take();
    if (actual != expected) {
        ADD_FAILURE_AT(at.file, at.line) << "expected " << testing::PrintToString(expected)
                                         << "\nhappened " << testing::PrintToString(actual);
    }
}

void client_test::expect_log(const std::string &line, where at) {
    if (!log.contains(line)) {
        ADD_FAILURE_AT(at.file, at.line) << "not in the log: " << line;
    }
}

int32_t client_test::publish(uint32_t qos, const std::string &payload, const char *topic) {
    const auto *data = reinterpret_cast<const uint8_t *>(payload.data());
    const auto size = static_cast<uint32_t>(payload.size());
    if (v->version == 5) {
        mqtt50_message msg = {};
        msg.topic = topic;
        msg.payload = data;
        msg.payload_len = size;
        msg.qos = qos;
        return mqtt_client_publish50(client, &msg);
    }
    mqtt_message msg = {};
    msg.topic = topic;
    msg.payload = data;
    msg.payload_len = size;
    msg.qos = qos;
    return mqtt_client_publish(client, &msg);
}

int32_t client_test::subscribe(const char *filter, uint32_t qos) {
    return v->version == 5 ? mqtt_client_subscribe50(client, filter, qos, nullptr)
                           : mqtt_client_subscribe(client, filter, qos, 0);
}

int32_t client_test::unsubscribe(const char *filter) {
    return v->version == 5 ? mqtt_client_unsubscribe50(client, filter)
                           : mqtt_client_unsubscribe(client, filter);
}

uint32_t client_test::identifiers_in_use() const {
    const auto &flags = client->session.id_in_use;
    return static_cast<uint32_t>(std::count(std::begin(flags), std::end(flags), 1));
}

void client_test::age_cache(uint32_t by_ms) {
    for (auto *entry = client->session.qos1_cache; entry != nullptr; entry = entry->next) {
        age(entry->send_tick, by_ms);
    }
    for (auto *entry = client->session.qos2_cache; entry != nullptr; entry = entry->next) {
        age(entry->send_tick, by_ms);
    }
}

void client_test::break_sending() {
    shutdown(g_adapter_ctx[client->net_index].sock, SHUT_WR);
}

}  // namespace zep_test
