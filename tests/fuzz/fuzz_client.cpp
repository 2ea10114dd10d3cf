// A whole client on any sequence of operations, passages of time and received bytes in any cuts.
// After every step its books must be in order, and no inbound QoS 2 message is delivered twice. At
// the end, whatever came before, a session works.
#include <bitset>

#include <zep_mqtt/client/loop.h>
#include <zep_mqtt/client/operations.h>
#include <zep_mqtt/client/v50.h>
#include <zep_mqtt/qos/cache.h>

#include "client/connection/client_state.h"
#include "fuzz/fake_adapter.h"
#include "fuzz/fuzz_support.h"
#include "protocol/common/framing.h"
#include "support/books.h"
#include "support/packets.h"

using zep_fuzz::g_connection;
using zep_fuzz::g_now_ms;

namespace {

struct observer {
    mqtt_client *client = nullptr;
    std::bitset<65536> delivered_qos2;  // and not released by a PUBREL since
    size_t messages = 0;
    int32_t nested_status = 0;
    uint8_t next_callback_does =
        0;  // 0 nothing, 1 publish, 2 disconnect, 3 connect anew, 4 downgrade
};

observer g_seen;

void act_inside_callback() {
    const uint8_t action = g_seen.next_callback_does;
    g_seen.next_callback_does = 0;
    mqtt_message message = {};
    message.topic = "t";
    switch (action) {
        case 1:
            FUZZ_CHECK(mqtt_client_publish(g_seen.client, &message) == -8);
            FUZZ_CHECK(mqtt_client_loop(g_seen.client) == -8);
            break;
        case 2:
            (void)mqtt_client_disconnect(g_seen.client);
            break;
        case 3:
            (void)mqtt_client_disconnect(g_seen.client);
            (void)mqtt_client_connect(g_seen.client);
            break;
        case 4:
            mqtt_client_version_downgrade(g_seen.client);
            break;
        default:
            break;
    }
}

void on_message(void *, const mqtt_message *msg) {
    FUZZ_CHECK(std::strlen(msg->topic) <= 64 && msg->payload_len <= 1024 && msg->qos <= 3);
    static uint8_t read[1024];  // so that the sanitizer sees every byte of the payload touched
    if (msg->payload_len != 0) {
        std::memcpy(read, msg->payload, msg->payload_len);
    }
    g_seen.messages++;
    const bool is_acknowledgement = msg->topic[0] == '\0' && msg->payload_len <= 1;
    if (msg->qos == 2 && !is_acknowledgement) {
        FUZZ_CHECK(!g_seen.delivered_qos2[msg->msg_id]);
        g_seen.delivered_qos2.set(msg->msg_id);
    }
    act_inside_callback();
}

void on_response(const mqtt_broker_resp *resp) {
    if (resp->resp_type == MQTT_RESP_CONNACK && resp->success == 1) {
        const mqtt50_conn_info *info = g_seen.client->conn_info;
        if (info->protocol_version != 5 || info->session_present == 0) {
            g_seen.delivered_qos2.reset();
        }
    }
    act_inside_callback();
}

// With its PUBCOMP, whether that arrives or not, the client has ended an inbound QoS 2 exchange.
void on_send(const uint8_t *data) {
    if (data[0] == 0x70) {
        g_seen.delivered_qos2.reset(static_cast<size_t>(data[2] << 8 | data[3]));
    }
}

// Whatever was sent is a row of whole packets.
void check_sent() {
    const std::vector<uint8_t> &sent = g_connection.sent;
    for (size_t at = 0; at < sent.size();) {
        const zep::frame found =
            zep::find_frame(sent.data() + at, static_cast<uint32_t>(sent.size() - at),
                            zep::received_remaining_max(ZEP_FUZZ_VERSION));
        FUZZ_CHECK(found.kind == zep::frame_kind::whole);
        at += found.packet.length;
    }
    g_connection.sent.clear();
}

void check_books(const mqtt_client &client) {
    const char *fault = zep_test::fault_in_books(client);
    if (fault != nullptr) {
        std::fprintf(stderr, "do not agree: %s\n", fault);
        std::abort();
    }
    const auto &rx = zep::state_of(client).rx;
    FUZZ_CHECK(rx.start == 0 && rx.end < sizeof rx.bytes);
    FUZZ_CHECK(client.state == MQTT_CLIENT_DISCONNECTED || client.net_index == 0);
}

void receive_some(zep_fuzz::input &in) {
    uint8_t bytes[512];
    const size_t size = in.bytes(bytes, in.u8() * 2u + 1u);
    g_connection.readable.insert(g_connection.readable.end(), bytes, bytes + size);
    (void)mqtt_client_loop(g_seen.client);
}

template <typename Message>
Message filled(const uint8_t *payload, uint32_t length, uint32_t qos) {
    Message message = {};
    message.topic = "some/topic";
    message.payload = payload;
    message.payload_len = length;
    message.qos = qos;
    return message;
}

void publish_some(zep_fuzz::input &in) {
    static const uint8_t payload[1024] = {};
    const uint32_t qos = in.below(4), length = in.u8() * 4u;
    if (ZEP_FUZZ_VERSION == 5) {
        auto message = filled<mqtt50_message>(payload, length, qos);
        message.is_dup = in.below(8) == 0 ? 1 : 0;
        message.dup_msg_id = in.u8();
        (void)mqtt_client_publish50(g_seen.client, &message);
    } else {
        auto message = filled<mqtt_message>(payload, length, qos);
        message.priority = static_cast<uint8_t>(in.below(4));
        (void)mqtt_client_publish(g_seen.client, &message);
    }
}

void subscribe_some(bool subscribe) {
    mqtt_client *client = g_seen.client;
    if (ZEP_FUZZ_VERSION == 5) {
        (void)(subscribe ? mqtt_client_subscribe50(client, "a/+", 2, nullptr)
                         : mqtt_client_unsubscribe50(client, "a/+"));
    } else {
        (void)(subscribe ? mqtt_client_subscribe(client, "a/+", 2, 0)
                         : mqtt_client_unsubscribe(client, "a/+"));
    }
}

using step = void (*)(zep_fuzz::input &);

void loop(zep_fuzz::input &) {
    (void)mqtt_client_loop(g_seen.client);
}

const step STEPS[] = {
    loop,
    publish_some,
    [](zep_fuzz::input &) { subscribe_some(true); },
    [](zep_fuzz::input &) { subscribe_some(false); },
    [](zep_fuzz::input &in) { g_now_ms += 250u * in.u8(), loop(in); },
    [](zep_fuzz::input &in) { g_seen.next_callback_does = static_cast<uint8_t>(in.below(5)); },
    [](zep_fuzz::input &) { (void)mqtt_client_connect(g_seen.client); },
    [](zep_fuzz::input &) { (void)mqtt_client_disconnect(g_seen.client); },
    [](zep_fuzz::input &in) { g_connection.peer_closed = in.below(2) == 1; },
    [](zep_fuzz::input &in) { g_connection.sends_fail = in.below(2) == 1; },
    receive_some,
    receive_some,  // more often than the rest
};

void receive(const std::string &packet, unsigned id = 0) {
    const zep_test::bytes laid = zep_test::lay(packet, id);
    g_connection.readable.insert(g_connection.readable.end(), laid.begin(), laid.end());
    FUZZ_CHECK(mqtt_client_loop(g_seen.client) == 0);
    check_sent();
    check_books(*g_seen.client);
}

// On a new connection, when what was open before is too old to be kept.
void expect_that_a_session_works(bool with_cipher) {
    mqtt_client &client = *g_seen.client;
    g_seen.next_callback_does = 0;
    g_connection.sends_fail = false;
    if (client.state == MQTT_CLIENT_DISCONNECTED && client.net_index != MQTT_CLIENT_NO_INSTANCE) {
        // The switch to 3.1.1 left it open; the next automatic attempt closes it.
        g_now_ms += client.config.reconnect_interval_ms;
        (void)mqtt_client_loop(&client);
    }
    (void)mqtt_client_disconnect(&client);
    g_now_ms += MQTT_CACHE_TIMEOUT_MS + 1;
    FUZZ_CHECK(mqtt_cache_clean_timeout(&client.session) >= 0);
    FUZZ_CHECK(!zep_test::has_open_exchanges(client));

    const bool is_50 = client.config.mqtt_version == 5;
    const zep_test::dialect &v = is_50 ? zep_test::V50 : zep_test::V311;
    FUZZ_CHECK(mqtt_client_connect(&client) == 0);
    receive(v.connack);
    FUZZ_CHECK(client.state == MQTT_CLIENT_CONNECTED);
    const uint8_t payload[] = {'h', 'i'};
    const auto message50 = filled<mqtt50_message>(payload, sizeof payload, 1);
    auto message = filled<mqtt_message>(payload, sizeof payload, 1);
    FUZZ_CHECK((is_50 ? mqtt_client_publish50(&client, &message50)
                      : mqtt_client_publish(&client, &message)) == 0);
    FUZZ_CHECK(client.session.qos1_count == 1);
    receive(zep_test::PUBACK, client.session.qos1_cache->msg.msg_id);
    FUZZ_CHECK(!zep_test::has_open_exchanges(client));
    g_seen.messages = 0;
    receive(v.publish2, 7);
    FUZZ_CHECK(g_seen.messages == (with_cipher ? 0 : 1));
}

mqtt_client *create(bool with_cipher) {
    mqtt_client_config config = {};
    std::strcpy(config.client_id, "fuzz");
    std::strcpy(config.broker_host, "127.0.0.1");
    config.broker_port = 1883;
    config.mqtt_version = ZEP_FUZZ_VERSION;
    config.keep_alive = 60;
    config.reconnect_interval_ms = 1000;
    config.crypto_enable = with_cipher ? 1 : 0;
    std::memset(config.crypto_key, 0x5A, sizeof config.crypto_key);
    return mqtt_client_create(&config, on_message, on_response, nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    zep_fuzz::input in(data, size);
    g_connection = {};
    zep_fuzz::g_on_send = on_send;
    g_seen = {};
    last_reconnect_tick = 0;
    const uint32_t setting = in.below(16);
    zep_fuzz::mute_log(setting == 0);
    g_seen.client = create(setting % 4 == 3);
    FUZZ_CHECK(g_seen.client != nullptr);
    (void)mqtt_client_connect(g_seen.client);
    while (!in.empty()) {
        STEPS[in.below(std::size(STEPS))](in);
        check_sent();
        check_books(*g_seen.client);
    }
    expect_that_a_session_works(setting % 4 == 3);
    mqtt_client_destroy(g_seen.client);
    return 0;
}
