#include "soak/party.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <utility>

#include <zep_mqtt/client/handle.h>
#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/qos/cache.h>

namespace zep_test {

namespace {

constexpr size_t MOST_OPEN = 90;  // exchanges of a client: a cache never gets full
constexpr uint32_t LAST_WAIT_MS = 16000;

// The callbacks carry no pointer of ours, but they come from inside the loop call of their client.
thread_local party *looping = nullptr;

message_name parse(const std::string &topic) {
    message_name name = {};
    EXPECT_EQ(sscanf(topic.c_str(), "%d/%d/%u/%u", &name.recipient, &name.sender, &name.qos,
                     &name.number),
              4)
        << topic;
    return name;
}

std::string payload_of(const std::string &topic) {
    return topic + std::string(std::hash<std::string>{}(topic) % 800, 'x');
}

}  // namespace

party::party(int index, uint32_t version, uint16_t broker_port, bool unreliable_wire,
             std::vector<ledger> &ledgers)
    : index_(index),
      recipient_((index + 1) % static_cast<int>(ledgers.size())),
      version_(version),
      ledgers_(ledgers),
      mine_(ledgers[static_cast<size_t>(index)]),
      unreliable_wire_(unreliable_wire),
      wire_(broker_port, unreliable_wire, static_cast<unsigned>(index) + 1,
            {[this] { wire_connected(); },
             [this](const passing_packet &packet) { wire_passes(packet); },
             [this] {
                 const std::lock_guard guard(lock_);
                 excused_ = true;
             }}) {
    open_client();
}

party::~party() {
    close_client();
}

void party::open_client() {
    const std::string id = "party" + std::to_string(index_);
    const uint8_t key[16] = {3, 1, 4, 1, 5, 9, 2, 6, 5, 3, 5, 8, 9, 7, 9, 3};
    zep_mqtt_sdk_config config = {};
    config.client_id = id.c_str();
    config.broker_host = "127.0.0.1";
    config.broker_port = wire_.port();
    config.clean_start = 1;
    config.keep_alive = 10;
    config.reconnect_interval_ms = 10;
    config.mqtt_ver = version_;
    config.crypto_enable = 1;
    config.crypto_key = config.crypto_iv = key;
    client_ = zep_mqtt_sdk_client_create(&config, on_message, on_response);
    ASSERT_NE(client_, nullptr);
    EXPECT_EQ(zep_mqtt_sdk_client_connect(client_), ZEP_MQTT_SDK_OK);
}

void party::close_client() {
    for (const auto &[id, open] : cached_exchanges()) {
        mine_.add(open.qos, open.number, ABANDONED);
    }
    zep_mqtt_sdk_client_destroy(client_);
    subscribed_ = subscribing_ = false;
}

void party::reopen() {
    {
        const std::lock_guard guard(lock_);
        excused_ = true;
    }
    close_client();
    open_client();
}

bool party::is_ready() const {
    return subscribed_ && zep_mqtt_sdk_client_get_conn_state(client_) == ZEP_MQTT_SDK_CONNECTED;
}

bool party::is_settled() const {
    const std::lock_guard guard(lock_);
    const uint8_t *in_use = client_->core->session.id_in_use;
    return is_ready() && cached() == 0 && owed_.empty() && incoming_.empty() &&
           std::count(in_use, in_use + MQTT_PACKET_ID_MAX + 1, 1) == 0;
}

unsigned party::cached() const {
    return client_->core->session.qos1_count + client_->core->session.qos2_count;
}

party::exchanges party::cached_exchanges() const {
    const mqtt_session &session = client_->core->session;
    exchanges all;
    const auto add = [&](const auto &entry, uint32_t qos2_state) {
        const message_name name = parse(entry.msg.topic);
        all[entry.msg.msg_id] = {name.qos, name.number, qos2_state, entry.retry_count,
                                 entry.send_tick};
    };
    for (const auto *entry = session.qos1_cache; entry != nullptr; entry = entry->next) {
        add(*entry, 0);
    }
    for (const auto *entry = session.qos2_cache; entry != nullptr; entry = entry->next) {
        add(*entry, entry->state);
    }
    EXPECT_EQ(all.size(), cached());
    return all;
}

void party::turn() {
    const exchanges before = cached_exchanges();
    looping = this;
    EXPECT_EQ(zep_mqtt_sdk_client_loop(client_), ZEP_MQTT_SDK_OK);
    settle_accounts(before);
    if (!subscribing_ && zep_mqtt_sdk_client_get_conn_state(client_) == ZEP_MQTT_SDK_CONNECTED) {
        subscribe();
    }
    ready = is_ready();
    settled = is_settled();
}

// What is not cached any more has been acknowledged, or was due once more after three times; and
// what was answered has moved on.
void party::settle_accounts(const exchanges &before) {
    const exchanges after = cached_exchanges();
    for (const auto &[id, open] : before) {
        const bool answered = answered_.count(id) != 0;
        if (const auto still = after.find(id); still != after.end()) {
            // Unless it was the late answer to an earlier message under this identifier.
            EXPECT_TRUE(unreliable_wire_ || !answered || still->second.qos2_state == WAIT_PUBCOMP)
                << open.number;
        } else if (answered) {
            acknowledged(id, open);
        } else {
            given_up(id, open);
        }
    }
    answered_.clear();
}

// The broker answers every transmission at QoS 1, in their order. What was sent twice on one
// connection is answered twice, and the second answer may meet the next message under the
// identifier.
void party::acknowledged(unsigned id, const open_exchange &open) {
    mine_.add(open.qos, open.number, ACKNOWLEDGED);
    const std::lock_guard guard(lock_);
    if (open.qos == 2) {
        EXPECT_TRUE(mine_.of(2, open.number) & TAKEN_BY_BROKER) << open.number;
        return;
    }
    const qos1_traffic &traffic = qos1_[id];
    ASSERT_LE(pubacks_[id], traffic.answered) << open.number << " was not acknowledged";
    if (parse(traffic.sent[pubacks_[id] - 1]).number != open.number) {
        mine_.add(1, open.number, EARLY);
    }
}

void party::given_up(unsigned id, const open_exchange &open) {
    mine_.add(open.qos, open.number, GIVEN_UP);
    EXPECT_EQ(open.retries, uint32_t{MQTT_RETRY_MAX}) << open.number << " is lost";
    EXPECT_GE(platform_get_tick_ms() - open.sent, LAST_WAIT_MS);
    const std::lock_guard guard(lock_);
    EXPECT_TRUE(unreliable_wire_ || transmissions_[id] > MQTT_RETRY_MAX)
        << open.number << " was sent " << transmissions_[id] << " times";
}

// The library keeps a record of so many filters of a process, and tells when it has no room.
void party::subscribe() {
    const std::string filter = std::to_string(index_) + "/#";
    const int32_t result = zep_mqtt_sdk_client_subscribe(client_, filter.c_str(), 2, nullptr);
    subscribing_ = result == ZEP_MQTT_SDK_OK || result == ZEP_MQTT_SDK_ERR_CACHE;
}

void party::publish() {
    for (unsigned qos = 0; qos < 3; qos++) {
        if (is_ready() && next_[qos] < mine_.capacity() && (qos == 0 || cached() < MOST_OPEN) &&
            (qos < 2 || client_->core->session.qos2_count < MOST_OPEN / 2)) {
            publish_one(qos);
        }
    }
}

void party::publish_one(unsigned qos) {
    const unsigned number = next_[qos]++;
    const std::string topic = message_name{recipient_, index_, qos, number}.topic();
    const std::string payload = payload_of(topic);
    zep_mqtt_sdk_msg message = {};
    message.topic = topic.c_str();
    message.payload = reinterpret_cast<const uint8_t *>(payload.data());
    message.payload_len = static_cast<uint32_t>(payload.size());
    message.qos = qos;
    const unsigned cached_before = cached();
    const bool accepted = zep_mqtt_sdk_client_publish(client_, &message) == ZEP_MQTT_SDK_OK;
    mine_.add(qos, number, accepted ? ACCEPTED : REFUSED);
    EXPECT_EQ(cached(), cached_before + (accepted && qos > 0 ? 1 : 0)) << topic;
    settled = false;
}

void party::on_message(const zep_mqtt_sdk_msg *message) {
    if (message->topic[0] != '\0') {  // else a SUBACK, of which on_response hears
        looping->deliver(*message);
    }
}

void party::on_response(const mqtt_broker_resp *response) {
    looping->respond(*response);
}

void party::deliver(const zep_mqtt_sdk_msg &message) {
    const std::lock_guard guard(lock_);
    ASSERT_FALSE(owed_.empty()) << message.topic << " came from nowhere, or once more";
    EXPECT_EQ(message.topic, owed_.front());
    owed_.pop_front();
    const message_name name = parse(message.topic);
    EXPECT_EQ(message.qos, name.qos);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(message.payload), message.payload_len),
              payload_of(message.topic));
    const unsigned known =
        ledgers_[static_cast<size_t>(name.sender)].add(name.qos, name.number, DELIVERED);
    EXPECT_TRUE(name.qos > 0 || (known & DELIVERED) == 0) << message.topic << " came twice";
}

void party::respond(const mqtt_broker_resp &response) {
    switch (response.resp_type) {
        case MQTT_RESP_PUBACK:
            pubacks_[response.pkt_id]++;
            answered_.insert(response.pkt_id);
            break;
        case MQTT_RESP_QOS2:
            answered_.insert(response.pkt_id);
            break;
        case MQTT_RESP_SUBACK:
            subscribed_ = true;
            subscriptions++;
            break;
        case MQTT_RESP_CONNACK:
            subscribed_ = subscribing_ = false;
            pubacks_.clear();
            break;
        case MQTT_RESP_DISCONNECT: {
            const std::lock_guard guard(lock_);
            EXPECT_TRUE(owed_.empty() || excused_) << owed_.front() << " was not delivered";
            break;
        }
    }
}

void party::wire_connected() {
    const std::lock_guard guard(lock_);
    EXPECT_TRUE(owed_.empty() || excused_) << owed_.front() << " was not delivered";
    owed_.clear();
    incoming_.clear();
    qos1_.clear();
    excused_ = false;
}

void party::wire_passes(const passing_packet &packet) {
    const std::lock_guard guard(lock_);
    if (packet.way == heading::to_broker) {
        wire_passes_up(packet);
    } else if (packet.type == MQTT_PACKET_PUBLISH) {
        const message_name name = parse(packet.topic);
        ledgers_[static_cast<size_t>(name.sender)].add(name.qos, name.number, SENT_TO_SUBSCRIBER);
        if (packet.qos < 2 || incoming_.insert(packet.id).second) {
            owed_.push_back(packet.topic);
        }
    } else if (packet.type == MQTT_PACKET_PUBREL) {
        incoming_.erase(packet.id);
    } else if (packet.type == MQTT_PACKET_PUBACK) {
        qos1_traffic &traffic = qos1_[packet.id];
        ASSERT_LT(traffic.answered, traffic.sent.size());
        mine_.add(1, parse(traffic.sent[traffic.answered++]).number, TAKEN_BY_BROKER);
    } else if (packet.type == MQTT_PACKET_PUBCOMP && sent_qos2_[packet.id].released) {
        mine_.add(2, parse(sent_qos2_[packet.id].topic).number, TAKEN_BY_BROKER);
    }
}

void party::wire_passes_up(const passing_packet &packet) {
    if (packet.type == MQTT_PACKET_PUBLISH) {
        mine_.add(packet.qos, parse(packet.topic).number, SENT);
        transmissions_[packet.id] = packet.dup ? transmissions_[packet.id] + 1 : 1;
        if (packet.qos == 1) {
            qos1_[packet.id].sent.push_back(packet.topic);
        } else if (packet.qos == 2) {
            sent_qos2_[packet.id] = {packet.topic, false};
        }
    } else if (packet.type == MQTT_PACKET_PUBREL) {
        qos2_exchange &exchange = sent_qos2_[packet.id];
        transmissions_[packet.id] = exchange.released ? transmissions_[packet.id] + 1 : 1;
        exchange.released = true;
    }
}

}  // namespace zep_test
