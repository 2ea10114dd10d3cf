// An event-driven client on any sequence of calls, passages of time and received bytes, over a
// transport in memory. Every accepted message has one fate and is published once on a connection;
// what leaves is a row of whole packets, bounded by the outbound buffer. At the end, whatever came
// before, a session works, and destroying the handle brings every fate.
#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include <zep_mqtt/client/handle.h>
#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt_sdk_event.h>

#include "client/event/event_client.h"
#include "fuzz/fuzz_support.h"
#include "support/packets.h"

namespace {

uint64_t g_now_ms = 1000000;
const zep_test::dialect &V = ZEP_FUZZ_VERSION == 5 ? zep_test::V50 : zep_test::V311;
constexpr uint32_t NUMBER_SIZE = 4;  // a payload begins with the number of its message

struct wire {
    bool open = false, comes_up = true, closed = false, fails = false, slow = false;
    bool greeted = false;  // CONNACK may have been read
    std::vector<uint8_t> readable;
    std::vector<uint8_t> sent;     // of which no whole packet is left
    std::set<uint32_t> published;  // numbers, on this connection
};

enum class standing : uint8_t { open, cancelled, ended };

struct session {
    zep_mqtt_sdk_client *client = nullptr;
    std::map<uint64_t, standing> messages, requests;  // by token
    std::map<uint32_t, uint64_t> tokens;              // by number
    std::vector<uint64_t> receipts;
    uint32_t next_number = 0, delivered = 0, messages_heard = 0;
    uint8_t next_callback_does = 0;
};

wire g_wire;
session g_session;

zep::event_client &inside() {
    return *static_cast<zep::event_client *>(g_session.client->event);
}

// --- The transport -------------------------------------------------------------------------------

void check_sent_packet(const uint8_t *packet, size_t length) {
    const uint32_t type = packet[0] >> 4, qos = packet[0] >> 1 & 3;
    FUZZ_CHECK(g_wire.greeted || type == 1 || type == 14);
    if (type != 3 || qos == 0) {
        return;
    }
    const size_t start = packet[1] < 0x80 ? 2 : 3;
    const auto u16 = [packet](size_t at) { return packet[at] * 256u + packet[at + 1]; };
    const size_t id_at = start + 2 + u16(start);
    const uint32_t id = u16(id_at);
    FUZZ_CHECK(id >= 1 && id <= 128);
    if (inside().cipher_on) {
        return;
    }
    const size_t payload_at = id_at + 2 + (ZEP_FUZZ_VERSION == 5 ? 1u + packet[id_at + 2] : 0u);
    FUZZ_CHECK(payload_at + NUMBER_SIZE <= length);
    uint32_t number = 0;
    std::memcpy(&number, packet + payload_at, NUMBER_SIZE);
    const auto token = g_session.tokens.find(number);
    // Not known yet: it leaves while it is being sent.
    FUZZ_CHECK(token == g_session.tokens.end() ||
               g_session.messages[token->second] != standing::ended);
    FUZZ_CHECK(g_wire.published.insert(number).second);
}

// No packet of ours has a remaining length of more than two bytes.
void check_sent() {
    std::vector<uint8_t> &sent = g_wire.sent;
    while (sent.size() >= 2) {
        const bool two = sent[1] >= 0x80;
        if (two && sent.size() == 2) {
            return;
        }
        FUZZ_CHECK(!two || (sent[2] != 0 && sent[2] < 0x80));
        const size_t length = two ? 3u + sent[1] % 128u + sent[2] * 128u : 2u + sent[1];
        if (length > sent.size()) {
            return;
        }
        check_sent_packet(sent.data(), length);
        sent.erase(sent.begin(), sent.begin() + static_cast<std::ptrdiff_t>(length));
    }
}

void *open_wire(void *, const zep_mqtt_sdk_address *) {
    FUZZ_CHECK(!g_wire.open);
    const wire before = g_wire;
    g_wire = {};
    g_wire.comes_up = before.comes_up;
    g_wire.slow = before.slow;
    g_wire.open = true;
    return &g_wire;
}
int32_t progress(void *) {
    return g_wire.comes_up ? ZEP_MQTT_SDK_TRANSPORT_UP : ZEP_MQTT_SDK_TRANSPORT_AGAIN;
}
int32_t send(void *, const uint8_t *data, uint32_t length) {
    FUZZ_CHECK(g_wire.open && length != 0 && inside().out.free() < (1u << 20));
    if (g_wire.fails) {
        return ZEP_MQTT_SDK_TRANSPORT_FAILED;
    }
    const uint32_t taken =
        g_wire.slow ? std::min(length, g_wire.sent.size() % 3 == 0 ? 5u : 0u) : length;
    g_wire.sent.insert(g_wire.sent.end(), data, data + taken);
    check_sent();
    return static_cast<int32_t>(taken);
}
int32_t receive(void *, uint8_t *buffer, uint32_t capacity) {
    FUZZ_CHECK(g_wire.open && capacity != 0);
    std::vector<uint8_t> &readable = g_wire.readable;
    if (readable.empty()) {
        return g_wire.closed ? ZEP_MQTT_SDK_TRANSPORT_CLOSED : ZEP_MQTT_SDK_TRANSPORT_AGAIN;
    }
    g_wire.greeted = true;
    const size_t got = std::min<size_t>(capacity, readable.size());
    std::copy_n(readable.begin(), got, buffer);
    readable.erase(readable.begin(), readable.begin() + static_cast<std::ptrdiff_t>(got));
    return static_cast<int32_t>(got);
}
int32_t socket_of(void *) {
    return 0;
}
uint32_t interest(void *, uint32_t wanted) {
    return wanted;
}
int32_t error(void *) {
    return 0;
}
void close_wire(void *) {
    FUZZ_CHECK(g_wire.open);
    g_wire.open = false;
    g_wire.sent.clear();
}

constexpr zep_mqtt_sdk_transport TRANSPORT = {sizeof(zep_mqtt_sdk_transport),
                                              nullptr,
                                              open_wire,
                                              progress,
                                              send,
                                              receive,
                                              socket_of,
                                              interest,
                                              error,
                                              close_wire};

// --- What the application does -------------------------------------------------------------------

void publish_some(uint32_t qos, uint32_t length, uint32_t ttl) {
    static uint8_t payload[1100];
    const uint32_t number = g_session.next_number++;
    std::memcpy(payload, &number, NUMBER_SIZE);
    const zep_mqtt_sdk_msg msg = {"some/topic", payload, NUMBER_SIZE + length, qos, 0, ttl};
    zep_mqtt_sdk_token token = 0;
    if (zep_mqtt_sdk_client_send(g_session.client, &msg, &token) == ZEP_MQTT_SDK_OK) {
        FUZZ_CHECK(g_session.messages.emplace(token, standing::open).second);
        g_session.tokens[number] = token;
    }
}

void subscribe_some(bool subscribe, uint32_t which) {
    const char *const filters[] = {"a/+", "b", "#", "c/d"};
    zep_mqtt_sdk_token token = 0;
    const int32_t result = subscribe ? zep_mqtt_sdk_client_subscribe_to(
                                           g_session.client, filters[which % 4], which % 3, &token)
                                     : zep_mqtt_sdk_client_unsubscribe_from(
                                           g_session.client, filters[which % 4], &token);
    if (result == ZEP_MQTT_SDK_OK) {
        FUZZ_CHECK(g_session.requests.emplace(token, standing::open).second);
    }
}

void cancel_some(uint32_t which) {
    for (auto *names : {&g_session.messages, &g_session.requests}) {
        for (auto &[token, state] : *names) {
            if (which-- == 0) {
                const bool done =
                    zep_mqtt_sdk_client_cancel(g_session.client, token) == ZEP_MQTT_SDK_OK;
                FUZZ_CHECK(!done || state == standing::open);
                state = done ? standing::cancelled : state;
                return;
            }
        }
    }
}

void acknowledge_some(uint32_t which) {
    if (!g_session.receipts.empty()) {
        (void)zep_mqtt_sdk_client_acknowledge(
            g_session.client, g_session.receipts[which % g_session.receipts.size()]);
    }
}

void act_inside_callback() {
    const uint8_t action = g_session.next_callback_does;
    g_session.next_callback_does = 0;
    switch (action) {
        case 1:
            FUZZ_CHECK(zep_mqtt_sdk_client_loop_for(g_session.client, 0) != ZEP_MQTT_SDK_OK);
            publish_some(1, 0, 0);
            break;
        case 2:
            publish_some(2, 900, 0);
            break;
        case 3:
            subscribe_some(true, 1);
            break;
        case 4:
            (void)zep_mqtt_sdk_client_disconnect(g_session.client);
            break;
        case 5:
            (void)zep_mqtt_sdk_client_disconnect(g_session.client);
            (void)zep_mqtt_sdk_client_connect(g_session.client);
            break;
        case 6:
            zep_mqtt_sdk_client_destroy(g_session.client);
            g_session.client = nullptr;
            break;
        case 7:
            cancel_some(0);
            break;
        default:
            break;
    }
}

void on_link(zep_mqtt_sdk_client *, void *, const zep_mqtt_sdk_link_event *event) {
    if (event->reason != nullptr) {
        FUZZ_CHECK(std::strlen(event->reason) < 256);
    }
    act_inside_callback();
}
void on_message(zep_mqtt_sdk_client *, void *, const zep_mqtt_sdk_inbound *message) {
    // For the sanitizer to see.
    const std::vector<uint8_t> read(message->payload, message->payload + message->payload_len);
    FUZZ_CHECK(std::strlen(message->topic) == message->topic_len && message->topic_len != 0);
    g_session.messages_heard++;
    if (message->receipt != 0) {
        g_session.receipts.push_back(message->receipt);
    }
    act_inside_callback();
}
void on_fate(zep_mqtt_sdk_client *, void *, const zep_mqtt_sdk_fate_event *event) {
    standing &state = g_session.messages.at(event->token);
    FUZZ_CHECK(state != standing::ended);
    FUZZ_CHECK(state == standing::open || event->fate == ZEP_MQTT_SDK_FATE_CANCELLED);
    // A cancelled message that has left is carried to its end.
    state = event->fate == ZEP_MQTT_SDK_FATE_CANCELLED ? standing::cancelled : standing::ended;
    g_session.delivered += event->fate == ZEP_MQTT_SDK_FATE_DELIVERED ? 1 : 0;
    act_inside_callback();
}
void on_subscription(zep_mqtt_sdk_client *, void *, const zep_mqtt_sdk_subscription_event *event) {
    FUZZ_CHECK(std::strlen(event->filter) <= 3);
    if (event->token != 0) {
        standing &state = g_session.requests.at(event->token);
        FUZZ_CHECK(state != standing::ended);
        FUZZ_CHECK(state == standing::open || event->answered == 0);
        state = standing::ended;
    }
    act_inside_callback();
}
void on_passed_over(zep_mqtt_sdk_client *, void *, const zep_mqtt_sdk_passed_event *event) {
    FUZZ_CHECK(std::strlen(event->topic) < 300000);
    act_inside_callback();
}
void on_room(zep_mqtt_sdk_client *, void *) {
    act_inside_callback();
}

// --- Steps ---------------------------------------------------------------------------------------

void check_books() {
    if (g_session.client == nullptr) {
        return;
    }
    zep::event_client &client = inside();
    uint32_t messages = 0, requests = 0;
    std::set<uint16_t> ids;
    for (const zep::exchange *entry = client.exchanges.first(); entry != nullptr;
         entry = entry->next) {
        ++(entry->type == 3 ? messages : requests);
        FUZZ_CHECK(entry->ended || ids.insert(entry->id).second);
        FUZZ_CHECK(entry->ended || client.exchanges.find(entry->id) == entry);
        FUZZ_CHECK(!entry->ended || entry->reporting);
    }
    FUZZ_CHECK(messages == client.exchanges.publishes() && messages <= 128);
    FUZZ_CHECK(requests == client.exchanges.requests() && requests <= 64);
    FUZZ_CHECK(client.on_wire <= messages && client.qos2_on_wire <= client.on_wire);
    FUZZ_CHECK(client.filter_count <= 64 && client.out.free() < (1u << 20));
    FUZZ_CHECK((client.connection != nullptr) == g_wire.open && !client.serving);
    FUZZ_CHECK(client.inbox_held < client.max_packet_in);
    // Of a packet that has begun to leave the rest is on its way.
    FUZZ_CHECK(g_wire.sent.empty() || client.out.pending() != 0);
}

void loop() {
    if (g_session.client != nullptr) {
        FUZZ_CHECK(zep_mqtt_sdk_client_loop_for(g_session.client, 0) == ZEP_MQTT_SDK_OK);
        if (g_session.client != nullptr) {
            (void)zep_mqtt_sdk_client_get_due_ms(g_session.client);
        }
    }
    check_books();
}

void feed(const zep_test::bytes &packet) {
    g_wire.readable.insert(g_wire.readable.end(), packet.begin(), packet.end());
}

void feed_raw(zep_fuzz::input &in) {
    uint8_t bytes[512];
    const size_t size = in.bytes(bytes, in.u8() * 2u + 1u);
    feed({bytes, bytes + size});
    loop();
}

// A packet that fits what may be open.
void feed_packet(zep_fuzz::input &in) {
    const char *const packets[] = {V.connack,          V.connack_present, zep_test::PUBACK,
                                   zep_test::PUBREC,   zep_test::PUBREL,  zep_test::PUBCOMP,
                                   zep_test::PINGRESP, V.publish0,        V.publish1,
                                   V.publish2,         V.publish2_dup,    V.suback,
                                   V.unsuback,         V.suback_failed,   V.broker_disconnect};
    const char *packet = packets[in.below(std::size(packets))];
    feed(zep_test::lay(packet, in.u8()));
    loop();
}

using step = void (*)(zep_fuzz::input &);
const step STEPS[] = {
    [](zep_fuzz::input &) { loop(); },
    [](zep_fuzz::input &in) {
        const uint32_t qos = in.below(3);
        publish_some(qos, in.u8() * 4u, in.below(4));
    },
    [](zep_fuzz::input &in) { subscribe_some(true, in.u8()); },
    [](zep_fuzz::input &in) { subscribe_some(false, in.u8()); },
    [](zep_fuzz::input &in) { g_now_ms += 250u * in.u8(), loop(); },
    [](zep_fuzz::input &in) { g_session.next_callback_does = static_cast<uint8_t>(in.below(8)); },
    [](zep_fuzz::input &) { (void)zep_mqtt_sdk_client_connect(g_session.client); },
    [](zep_fuzz::input &) { (void)zep_mqtt_sdk_client_disconnect(g_session.client); },
    [](zep_fuzz::input &in) {
        const uint32_t how = in.below(6);
        g_wire.closed = how == 1;
        g_wire.fails = how == 2;
        g_wire.comes_up = how != 3;
        g_wire.slow = how == 4;
        loop();
    },
    [](zep_fuzz::input &in) { cancel_some(in.u8()), loop(); },
    [](zep_fuzz::input &in) { acknowledge_some(in.u8()), loop(); },
    feed_packet,
    feed_packet,
    feed_packet,
    feed_raw,
    feed_raw,
};

void open_client(zep_fuzz::input &in) {
    const uint8_t key[16] = {3, 1, 4, 1, 5, 9, 2, 6, 5, 3, 5, 8, 9, 7, 9, 3};
    const uint32_t choice = in.u8(), sizes = in.u8();
    zep_mqtt_sdk_config config = {};
    config.client_id = "fuzz";
    config.broker_host = "127.0.0.1";
    config.broker_port = 1883;
    config.mqtt_ver = ZEP_FUZZ_VERSION == 5 ? ZEP_MQTT_SDK_VERSION_50 : ZEP_MQTT_SDK_VERSION_311;
    config.keep_alive = 60;
    config.clean_start = choice & 1;
    config.crypto_enable = (choice & 62) == 62 ? 1 : 0;
    config.crypto_key = config.crypto_iv = key;
    zep_mqtt_sdk_options options = {};
    options.size = sizeof options;
    options.resume_session = choice >> 1 & 1;
    options.manual_acknowledge = choice >> 2 & 1;
    options.accept_offline = choice >> 3 & 1;
    options.no_resubscribe = choice >> 6 & 1;
    options.max_unacknowledged = (choice & 128) != 0 ? 3 : 0;
    options.qos2_window = (choice & 128) != 0 ? 2 : 0;
    options.max_packet_in = (sizes & 1) != 0 ? 128 : 0;
    options.max_packet_out = (sizes & 2) != 0 ? 1100 : 0;
    options.out_buffer = (sizes & 2) != 0 ? 1100 : 0;
    options.transport = &TRANSPORT;
    zep_fuzz::mute_log((sizes & 60) == 0);
    const zep_mqtt_sdk_listener listener = {sizeof listener, on_link,        on_message, on_fate,
                                            on_subscription, on_passed_over, on_room,    nullptr};
    g_session.client = zep_mqtt_sdk_client_open(&config, &options, &listener, nullptr);
    FUZZ_CHECK(g_session.client != nullptr);
    (void)zep_mqtt_sdk_client_connect(g_session.client);
}

void expect_that_a_session_works() {
    g_session.next_callback_does = 0;
    (void)zep_mqtt_sdk_client_disconnect(g_session.client);
    g_wire.comes_up = true;
    g_wire.slow = false;
    (void)zep_mqtt_sdk_client_connect(g_session.client);
    loop();
    FUZZ_CHECK(g_wire.open);
    feed(zep_test::lay(V.connack));
    loop();
    FUZZ_CHECK(inside().is_up());
    // Whatever was open is answered in any order, so that there is room again.
    for (uint32_t turn = 0; turn < 400 && inside().exchanges.first() != nullptr; turn++) {
        for (zep::exchange *entry = inside().exchanges.first(); entry != nullptr;
             entry = entry->next) {
            if (entry->on_wire && !entry->ended) {
                const bool released = entry->step == zep::exchange_step::RELEASED;
                feed(zep_test::lay(entry->type == 8    ? V.suback
                                   : entry->type == 10 ? V.unsuback
                                   : entry->qos == 1   ? zep_test::PUBACK
                                   : released          ? zep_test::PUBCOMP
                                                       : zep_test::PUBREC,
                                   entry->id));
            }
        }
        loop();
    }
    FUZZ_CHECK(inside().exchanges.first() == nullptr && inside().on_wire == 0);
    const uint32_t delivered = g_session.delivered;
    publish_some(1, 2, 0);
    FUZZ_CHECK(inside().exchanges.first() != nullptr);
    feed(zep_test::lay(zep_test::PUBACK, inside().exchanges.first()->id));
    loop();
    FUZZ_CHECK(g_session.delivered == delivered + 1);
    const uint32_t heard = g_session.messages_heard;
    feed(zep_test::lay(V.publish2, 7));
    loop();
    FUZZ_CHECK(g_session.messages_heard == heard + (inside().cipher_on ? 0 : 1));
}

}  // namespace

// The clock moves when the fuzz target moves it, and waits take no time.
uint64_t platform_get_tick_ms(void) {
    return g_now_ms;
}
int64_t platform_get_utc_seconds(void) {
    return 0;
}
void platform_delay_ms(uint32_t) {}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    zep_fuzz::input in(data, size);
    g_wire = {};
    g_session = {};
    open_client(in);
    while (!in.empty() && g_session.client != nullptr) {
        STEPS[in.below(std::size(STEPS))](in);
    }
    if (g_session.client != nullptr) {
        expect_that_a_session_works();
        zep_mqtt_sdk_client_destroy(g_session.client);
    }
    FUZZ_CHECK(!g_wire.open);
    for (const auto *names : {&g_session.messages, &g_session.requests}) {
        for (const auto &[token, state] : *names) {
            FUZZ_CHECK(state != standing::open);
        }
    }
    return 0;
}
