#include "support/client_fixture.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <stdexcept>
#include <sys/socket.h>
#include <utility>

#include <zep_mqtt/net/adapter.h>

#include "support/recorded_log.h"

namespace zep_test {

namespace {

thread_local callback_recorder *g_recorder = nullptr;

template <typename Message>
std::string described(const Message &msg) {
    std::string text = std::string("message ") + msg.topic + " [";
    for (uint32_t at = 0; at < msg.payload_len; at++) {
        char shown[4];
        std::snprintf(shown, sizeof shown, std::isprint(msg.payload[at]) ? "%c" : "%02x",
                      msg.payload[at]);
        text += shown;
    }
    return text + "] qos=" + std::to_string(msg.qos);
}

std::string unless_zero(const char *label, int value) {
    return value != 0 ? label + std::to_string(value) : "";
}

}  // namespace

void callback_recorder::listen() {
    g_recorder = this;
}

happenings callback_recorder::take() {
    return std::exchange(events_, {});
}

void callback_recorder::message(const std::string &event) {
    events_.push_back(event);
    if (const auto act = std::exchange(in_next_message, nullptr)) {
        act();
    }
}

void callback_recorder::core_message(void *user_obj, const mqtt_message *msg) {
    static_cast<callback_recorder *>(user_obj)->message(
        described(*msg) + unless_zero(" id=", msg->msg_id) + (msg->retain ? " retain" : ""));
}

void callback_recorder::public_message(const zep_mqtt_sdk_msg *msg) {
    g_recorder->message(described(*msg) + (msg->retain ? " retain" : "") +
                        unless_zero(" ttl=", static_cast<int>(msg->ttl)));
}

void callback_recorder::response(const mqtt_broker_resp *resp) {
    static const char *const NAMES[] = {"CONNACK", "DISCONNECT", "PUBACK",
                                        "SUBACK",  "UNSUBACK",   "QOS2"};
    g_recorder->events_.push_back(std::string(resp->resp_type < 6 ? NAMES[resp->resp_type] : "?") +
                                  (resp->success == 1 ? " ok" : " failed") +
                                  unless_zero(" result=", resp->result) +
                                  unless_zero(" id=", resp->pkt_id));
}

void chart_test::SetUp() {
    callbacks.listen();
    capture_.emplace();
}

void chart_test::TearDown() {
    if (broker.connected()) {
        broker.expect_nothing();
    }
    run_quietly([this] { destroy(); });
    expect_happened({});
    capture_.reset();
    if (log_is_recorded) {
        expect_recorded(recorded_);
    }
    if (HasFailure()) {
        std::printf("the log of the test:\n%s", log_.c_str());
    }
}

void chart_test::expect_happened(const happenings &expected, where at) {
    const happenings actual = callbacks.take();
    if (actual != expected) {
        ADD_FAILURE_AT(at.file, at.line) << "expected " << testing::PrintToString(expected)
                                         << "\nhappened " << testing::PrintToString(actual);
    }
}

std::string chart_test::new_log() {
    const std::string taken = capture_->take();
    capture_.emplace();
    log_ += taken;
    return taken;
}

void chart_test::run_quietly(const std::function<void()> &step) {
    recorded_ += new_log();
    step();
    recorded_ += warnings_of(new_log());
}

int chart_test::logged(const std::string &part) {
    recorded_ += new_log();
    int found = 0;
    for (size_t at = 0; (at = log_.find(part, at)) != std::string::npos; at += part.size()) {
        found++;
    }
    return found;
}

void chart_test::expect_log(const std::string &part, where at) {
    if (logged(part) == 0) {
        ADD_FAILURE_AT(at.file, at.line) << "not in the log: " << part;
    }
}

client_test::client_test(const dialect &version) : chart_test(version) {
    std::strcpy(config.client_id, "c1");
    std::strcpy(config.broker_host, "127.0.0.1");
    config.broker_port = broker.port();
    config.mqtt_version = version.version;
    config.clean_start = 1;
    config.keep_alive = 60;
    config.reconnect_interval_ms = UINT32_MAX;
}

void client_test::create() {
    client = mqtt_client_create(&config, callback_recorder::core_message,
                                callback_recorder::response, &callbacks);
    if (client == nullptr) {
        throw std::runtime_error("no client");
    }
}

void client_test::destroy() {
    if (client != nullptr) {
        mqtt_client_destroy(std::exchange(client, nullptr));
    }
}

void client_test::begin_connect(where at) {
    if (client == nullptr) {
        create();
    }
    EXPECT_EQ(mqtt_client_connect(client), 0);
    broker.accept(at);
    broker.expect(v->connect, 0, at);
}

void client_test::connect() {
    run_quietly([this] {
        begin_connect();
        hear(v->connack, 0, {"CONNACK ok"});
    });
    if (client->state != MQTT_CLIENT_CONNECTED) {
        throw std::runtime_error("not connected");
    }
}

void client_test::disconnect(where at) {
    EXPECT_EQ(mqtt_client_disconnect(client), 0);
    broker.expect(v->disconnect, 0, at);
    broker.expect_closed(at);
    expect_disconnected(at);
}

void client_test::lose_link(where at) {
    broker.close();
    pass(2, at);
    expect_happened({"DISCONNECT failed result=-4"}, at);
    expect_disconnected(at);
}

void client_test::expect_disconnected(where at) {
    if (client->state != MQTT_CLIENT_DISCONNECTED || client->net_index != MQTT_CLIENT_NO_INSTANCE) {
        ADD_FAILURE_AT(at.file, at.line) << "the client has state " << client->state;
    }
}

void client_test::pass(int times, where at) {
    for (int done = 0; done < times; done++) {
        if (const int32_t result = mqtt_client_loop(client); result != 0) {
            ADD_FAILURE_AT(at.file, at.line) << "the loop returned " << result;
        }
    }
}

void client_test::hear(const std::string &packet, unsigned id, const happenings &happened,
                       where at) {
    broker.send(packet, id, at);
    pass(1, at);
    expect_happened(happened, at);
}

void client_test::send_message(uint32_t qos, unsigned id, where at) {
    if (const int32_t result = publish(qos); result != 0) {
        ADD_FAILURE_AT(at.file, at.line) << "publish returned " << result;
    } else {
        broker.expect(qos == 0 ? v->publish0 : qos == 1 ? v->publish1 : v->publish2, id, at);
    }
}

int32_t client_test::publish(uint32_t qos, const std::string &payload, const char *topic) {
    const auto fill = [&](auto msg) {
        msg.topic = topic;
        msg.payload = reinterpret_cast<const uint8_t *>(payload.data());
        msg.payload_len = static_cast<uint32_t>(payload.size());
        msg.qos = qos;
        return msg;
    };
    if (is_50()) {
        const mqtt50_message msg = fill(mqtt50_message{});
        return mqtt_client_publish50(client, &msg);
    }
    mqtt_message msg = fill(mqtt_message{});
    return mqtt_client_publish(client, &msg);
}

int32_t client_test::subscribe(const char *filter, uint32_t qos) {
    return is_50() ? mqtt_client_subscribe50(client, filter, qos, nullptr)
                   : mqtt_client_subscribe(client, filter, qos, 0);
}

int32_t client_test::unsubscribe(const char *filter) {
    return is_50() ? mqtt_client_unsubscribe50(client, filter)
                   : mqtt_client_unsubscribe(client, filter);
}

uint32_t client_test::identifiers_in_use() const {
    const auto &flags = client->session.id_in_use;
    return static_cast<uint32_t>(std::count(std::begin(flags), std::end(flags), 1));
}

uint32_t client_test::messages_cached() const {
    return client->session.qos1_count + client->session.qos2_count;
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

void client_test::turn_cipher_on() {
    config.crypto_enable = 1;
    std::iota(std::begin(config.crypto_key), std::end(config.crypto_key), uint8_t{1});
}

zep_mqtt_sdk_client client_test::handle() const {
    zep_mqtt_sdk_client around = {nullptr, nullptr, client, 1, {}, nullptr};
    around.cfg.mqtt_ver = is_50() ? ZEP_MQTT_SDK_VERSION_50 : ZEP_MQTT_SDK_VERSION_311;
    around.cfg.v50_max_pkt_size = 1028;
    return around;
}

}  // namespace zep_test
