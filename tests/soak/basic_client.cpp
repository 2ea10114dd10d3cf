// The basic interface names no message when it tells of an acknowledgement, and says nothing when
// it gives one up. What became of which message shows in the caches, before and after a pass.
#include <gtest/gtest.h>
#include <map>
#include <set>

#include <zep_mqtt/client/handle.h>
#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/qos/cache.h>
#include <zep_mqtt_sdk.h>

#include "soak/soak_client.h"
#include "support/books.h"

namespace zep_test {

namespace {

constexpr uint32_t LAST_WAIT_MS = 16000;
constexpr uint32_t MOST_HELD = 90;  // messages; a cache never gets full

class basic_client;
// The callbacks carry no pointer of ours, but they come from inside the loop call of their client.
thread_local basic_client *looping = nullptr;

class basic_client : public soak_client {
 public:
    basic_client(const client_settings &settings, client_listener &listener) : listener_(listener) {
        const uint8_t key[16] = {3, 1, 4, 1, 5, 9, 2, 6, 5, 3, 5, 8, 9, 7, 9, 3};
        zep_mqtt_sdk_config config = {};
        config.client_id = settings.id.c_str();
        config.broker_host = "127.0.0.1";
        config.broker_port = settings.port;
        config.clean_start = 1;
        config.keep_alive = 10;
        config.reconnect_interval_ms = 10;
        config.mqtt_ver = settings.version;
        config.crypto_enable = 1;
        config.crypto_key = config.crypto_iv = key;
        client_ = zep_mqtt_sdk_client_create(&config, on_message, on_response);
        EXPECT_NE(client_, nullptr);
        EXPECT_EQ(zep_mqtt_sdk_client_connect(client_), ZEP_MQTT_SDK_OK);
    }
    ~basic_client() override { zep_mqtt_sdk_client_destroy(client_); }
    basic_client(const basic_client &) = delete;
    basic_client &operator=(const basic_client &) = delete;

    void serve() override {
        const exchanges before = cached();
        looping = this;
        EXPECT_EQ(zep_mqtt_sdk_client_loop(client_), ZEP_MQTT_SDK_OK);
        EXPECT_STREQ(fault_in_books(*client_->core), nullptr);
        const exchanges after = cached();
        for (const auto &[id, open] : before) {
            if (after.count(id) == 0) {
                report(open, answered_.count(id) != 0);
            }
        }
        answered_.clear();
    }

    bool is_connected() const override {
        return zep_mqtt_sdk_client_get_conn_state(client_) == ZEP_MQTT_SDK_CONNECTED;
    }

    bool has_room(unsigned qos) const override {
        return qos == 0 || (held() < MOST_HELD && (qos == 1 || qos2_held() < MOST_HELD / 2));
    }

    // The library keeps a record of so many filters of a process, and tells when it has no room.
    bool subscribe(const std::string &filter) override {
        const int32_t result = zep_mqtt_sdk_client_subscribe(client_, filter.c_str(), 2, nullptr);
        return result == ZEP_MQTT_SDK_OK || result == ZEP_MQTT_SDK_ERR_CACHE;
    }

    bool publish(const std::string &topic, const std::string &payload, unsigned qos) override {
        const uint32_t held_before = held();
        zep_mqtt_sdk_msg message = {};
        message.topic = topic.c_str();
        message.payload = reinterpret_cast<const uint8_t *>(payload.data());
        message.payload_len = static_cast<uint32_t>(payload.size());
        message.qos = qos;
        const bool accepted = zep_mqtt_sdk_client_publish(client_, &message) == ZEP_MQTT_SDK_OK;
        EXPECT_EQ(held(), held_before + (accepted && qos > 0 ? 1 : 0)) << topic;
        return accepted;
    }

    // The identifier of a message that was given up may be kept until the connection has ended.
    bool is_idle() const override {
        return held() == 0 && count_identifiers_in_use(*client_->core) <= given_up_;
    }

 private:
    struct exchange {
        std::string topic;
        uint32_t retries;
        uint64_t sent;  // ms tick of the last transmission
    };
    using exchanges = std::map<unsigned, exchange>;  // by identifier

    uint32_t qos2_held() const { return client_->core->session.qos2_count; }
    uint32_t held() const { return client_->core->session.qos1_count + qos2_held(); }

    exchanges cached() const {
        exchanges all;
        const auto collect = [&all](const auto *entry) {
            for (; entry != nullptr; entry = entry->next) {
                all[entry->msg.msg_id] = {entry->msg.topic, entry->retry_count, entry->send_tick};
            }
        };
        collect(client_->core->session.qos1_cache);
        collect(client_->core->session.qos2_cache);
        return all;
    }

    // Without an answer it may go only when it was due once more after three times.
    void report(const exchange &gone, bool answered) {
        if (!answered) {
            EXPECT_EQ(gone.retries, uint32_t{MQTT_RETRY_MAX}) << gone.topic << " is lost";
            EXPECT_GE(platform_get_tick_ms() - gone.sent, LAST_WAIT_MS);
            given_up_++;
        }
        listener_.ended(gone.topic, answered ? fate::done : fate::given_up);
    }

    static void on_message(const zep_mqtt_sdk_msg *message) {
        if (message->topic[0] != '\0') {  // else a SUBACK, of which on_response hears
            const auto *payload = reinterpret_cast<const char *>(message->payload);
            looping->listener_.delivered(message->topic, std::string(payload, message->payload_len),
                                         message->qos);
        }
    }

    static void on_response(const mqtt_broker_resp *response) {
        basic_client &client = *looping;
        if (response->resp_type == MQTT_RESP_CONNACK && response->success == 1) {
            client.given_up_ = 0;
            client.listener_.connected();
        } else if (response->resp_type == MQTT_RESP_SUBACK) {
            client.listener_.subscribed();
        } else if (response->resp_type == MQTT_RESP_PUBACK ||
                   response->resp_type == MQTT_RESP_QOS2) {
            client.answered_.insert(response->pkt_id);
        }
    }

    client_listener &listener_;
    zep_mqtt_sdk_client *client_ = nullptr;
    std::set<unsigned> answered_;  // identifiers, in this pass
    long given_up_ = 0;            // on this connection
};

}  // namespace

std::unique_ptr<soak_client> make_basic_client(const client_settings &settings,
                                               client_listener &listener) {
    return std::make_unique<basic_client>(settings, listener);
}

}  // namespace zep_test
