// The life of a connection: attempts with back-off, CONNECT and CONNACK, the end.
#include <algorithm>

#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/platform/random.h>
#include <zep_mqtt/protocol/v311/packet.h>

#include "client/event/event_client.h"
#include "qos/received_ids.h"

namespace zep {

namespace {

constexpr uint32_t BACKOFF_DOUBLINGS_MAX = 31;
constexpr uint8_t CONNECT_CLEAN_FLAG = 0x02;

constexpr const char *CAUSE_TEXTS[] = {"none",
                                       "network failure",
                                       "closed by the broker",
                                       "no answer in time",
                                       "broker silent",
                                       "protocol error of the broker",
                                       "DISCONNECT from the broker",
                                       "out of memory"};

// Full jitter: a random part of a bound that doubles with every failed round.
uint32_t backoff_ms(const event_client &client) {
    const uint32_t doublings = std::min(client.failed_rounds, BACKOFF_DOUBLINGS_MAX);
    const uint64_t bound = std::min<uint64_t>(uint64_t{client.first_backoff_ms} << doublings,
                                              client.longest_backoff_ms);
    uint32_t random = 0;
    if (platform_rand_generate_crypto(reinterpret_cast<uint8_t *>(&random), sizeof random) != 1) {
        return static_cast<uint32_t>(bound);
    }
    return static_cast<uint32_t>(random % (bound + 1));
}

const zep_mqtt_sdk_address &current_address(const event_client &client) {
    return client.addresses[client.address_index];
}

// The addresses take turns; a round in which all have failed is followed by a wait.
uint32_t plan_next_attempt(event_client &client, bool was_up, uint64_t now) {
    uint32_t wait = 0;
    if (was_up) {
        client.round_start = client.address_index;
        wait = backoff_ms(client);
    } else {
        client.address_index = (client.address_index + 1) % client.address_count;
        if (client.address_index == client.round_start) {
            wait = backoff_ms(client);
            ++client.failed_rounds;
        }
    }
    client.phase = link_phase::WAITING;
    client.attempt_due_ms = now + wait;
    return wait;
}

void fill_origin(const event_client &client, zep_mqtt_sdk_link_event &event) {
    event.size = sizeof event;
    event.protocol_version = static_cast<uint8_t>(client.version);
    event.broker_address = current_address(client).text;
    event.broker_port = current_address(client).port;
}

void tell_link(event_client &client, const zep_mqtt_sdk_link_event &event) {
    if (client.listener.link != nullptr) {
        const unlocked open(client);
        client.listener.link(client.handle, client.user, &event);
    }
}

void put_connect(event_client &client) {
    // Without a session to come back to, a 5.0 connection asks for the one that was configured.
    const bool first = !client.ever_connected;
    const bool clean = client.resume_session
                           ? client.version == MQTT_VERSION_50 && first && client.clean_start
                           : client.version != MQTT_VERSION_50 || !first || client.clean_start;
    uint8_t *packet = client.out.append(client.connect_length);
    std::memcpy(packet, client.connect_packet, client.connect_length);
    if (clean) {
        packet[client.connect_flags_at] |= CONNECT_CLEAN_FLAG;
    }
    client.asked_clean = clean;
}

void keep_announcements(event_client &client, const strict::connack &connack) {
    client.maximum_qos = connack.maximum_qos;
    client.retain_available = connack.retain_available;
    client.wildcard_available = connack.wildcard_available;
    client.shared_available = connack.shared_available;
    client.receive_maximum = connack.receive_maximum;
    client.qos2_maximum = client.version == MQTT_VERSION_50 ? UINT16_MAX : client.qos2_window;
    client.maximum_packet_size = connack.maximum_packet_size;
    client.keep_alive_ms =
        1000U * (connack.keep_alive_given ? connack.keep_alive_s : client.asked_keep_alive_s);
}

// A NUL-terminated copy of a text in a packet, cut to the room that there is.
template <size_t Size>
const char *copy_text(strict::text_view text, char (&room)[Size]) {
    if (text.size == 0) {
        return nullptr;
    }
    const size_t length = std::min(text.size, Size - 1);
    std::memcpy(room, text.data, length);
    room[length] = '\0';
    return room;
}

}  // namespace

void begin_attempt(event_client &client, uint64_t now) {
    const zep_mqtt_sdk_address &address = current_address(client);
    client.phase = link_phase::OPENING;
    client.greeting_due_ms = now + client.connect_timeout_ms;
    ++client.epoch;
    event_log(client, AGENT_LOG_INFO, "connecting to %s port %u", address.text, address.port);
    client.connection = client.transport.open(client.transport.user, &address);
    if (client.connection == nullptr) {
        lose_connection(client, {.cause = ZEP_MQTT_SDK_CAUSE_TRANSPORT});
        return;
    }
    continue_opening(client, now);
}

void continue_opening(event_client &client, uint64_t now) {
    const int32_t progress = client.transport.progress(client.connection);
    if (progress == ZEP_MQTT_SDK_TRANSPORT_UP) {
        client.phase = link_phase::GREETING;
        client.last_sent_ms = now;
        put_connect(client);
        flush(client);
    } else if (progress < 0) {
        lose_connection(client, {.cause = ZEP_MQTT_SDK_CAUSE_TRANSPORT,
                                 .system_error = client.transport.error(client.connection)});
    }
}

void on_connack(event_client &client, const strict::connack &connack, uint64_t now) {
    char reason[256];
    char assigned[256];
    const char *reason_text = copy_text(connack.reason_string, reason);
    if (connack.code != 0) {
        lose_connection(client,
                        {.broker_code = connack.code, .refused = true, .reason = reason_text});
        return;
    }
    if (connack.session_present && client.asked_clean) {
        end_for_protocol(client, strict::REASON_PROTOCOL_ERROR);
        return;
    }
    client.phase = link_phase::UP;
    client.greeting_due_ms = NEVER;
    client.ever_connected = true;
    client.failed_rounds = 0;
    client.last_received_ms = now;
    client.ping_awaited = false;
    keep_announcements(client, connack);
    if (!connack.session_present && client.received_qos2 != nullptr) {
        received_ids_clear(client.received_qos2);
    }
    rewind_exchanges(client, connack.session_present);
    event_log(client, AGENT_LOG_INFO, "connected, session present: %d, keep-alive: %u s",
              connack.session_present, client.keep_alive_ms / 1000);

    zep_mqtt_sdk_link_event event = {};
    fill_origin(client, event);
    event.link = ZEP_MQTT_SDK_LINK_CONNECTED;
    event.session_present = connack.session_present;
    event.maximum_qos = connack.maximum_qos;
    event.retain_available = connack.retain_available;
    event.wildcard_available = connack.wildcard_available;
    event.shared_available = connack.shared_available;
    event.keep_alive_s = static_cast<uint16_t>(client.keep_alive_ms / 1000);
    event.receive_maximum = connack.receive_maximum;
    event.maximum_packet_size = connack.maximum_packet_size;
    event.session_expiry_s =
        connack.session_expiry_given ? connack.session_expiry_s : client.asked_session_expiry_s;
    event.assigned_client_id = copy_text(connack.assigned_client_id, assigned);
    event.reason = reason_text;
    const uint32_t epoch = client.epoch;
    tell_link(client, event);
    if (client.epoch == epoch && client.is_up()) {
        if (!connack.session_present && client.resubscribe) {
            subscribe_again(client);
        }
        pump(client);
    }
}

void close_connection(event_client &client) {
    if (client.connection != nullptr) {
        client.transport.close(client.connection);
        client.connection = nullptr;
    }
    ++client.epoch;
    client.phase = link_phase::IDLE;
    client.broken = false;
    client.ping_awaited = false;
    client.more_to_read = false;
    client.inbox_held = 0;
    client.passing = {};
    client.attempt_due_ms = client.greeting_due_ms = NEVER;
    client.out.clear();
    release_receipts(client);
}

void lose_connection(event_client &client, const link_end &end) {
    const bool was_up = client.phase == link_phase::UP;
    zep_mqtt_sdk_link_event event = {};
    char address[sizeof(zep_mqtt_sdk_address::text)];
    fill_origin(client, event);
    std::memcpy(address, event.broker_address, sizeof address);
    event.broker_address = address;
    event.cause = end.cause;
    event.system_error = end.system_error;
    event.broker_code = end.broker_code;
    event.reason = end.reason;
    close_connection(client);
    event.retry_ms = plan_next_attempt(client, was_up, platform_get_tick_ms());
    if (end.refused) {
        event.link = ZEP_MQTT_SDK_LINK_REFUSED;
        event_log(client, AGENT_LOG_ERROR,
                  "refused by the broker, code 0x%02X, next attempt in %u ms", end.broker_code,
                  event.retry_ms);
    } else {
        event.link = was_up ? ZEP_MQTT_SDK_LINK_LOST : ZEP_MQTT_SDK_LINK_FAILED;
        event_log(client, AGENT_LOG_WARN,
                  "%s: %s (system error %d, code 0x%02X), next attempt in %u ms",
                  was_up ? "connection lost" : "no connection", CAUSE_TEXTS[end.cause],
                  end.system_error, end.broker_code, event.retry_ms);
    }
    tell_link(client, event);
}

void end_for_protocol(event_client &client, uint8_t reason) {
    if (client.version == MQTT_VERSION_50) {
        put_disconnect(client, reason);
        flush(client);
    }
    lose_connection(client, {.cause = ZEP_MQTT_SDK_CAUSE_PROTOCOL, .broker_code = reason});
}

void start_connecting(event_client &client) {
    if (client.phase == link_phase::IDLE && !client.closed) {
        client.phase = link_phase::WAITING;
        client.attempt_due_ms = platform_get_tick_ms();
        client.failed_rounds = 0;
        client.round_start = client.address_index;
    }
}

void stop_connecting(event_client &client) {
    if (client.is_up()) {
        put_disconnect(client, 0);
        flush(client);
    }
    close_connection(client);
}

}  // namespace zep
