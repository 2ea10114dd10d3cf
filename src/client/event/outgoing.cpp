// What goes out: from the exchanges through the outbox into the transport.
#include <algorithm>

#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/protocol/v311/packet.h>

#include "client/event/event_client.h"

namespace zep {

namespace {

constexpr uint8_t QOS_NOT_SUPPORTED = 0x9B;
constexpr uint8_t RETAIN_NOT_SUPPORTED = 0x9A;
constexpr uint8_t PACKET_TOO_LARGE = 0x95;
constexpr uint8_t RETAIN_FLAG = 1;

// What the broker of this connection has announced not to take.
uint8_t refusal_of(const event_client &client, exchange &entry) {
    if (entry.length > client.maximum_packet_size) {
        return PACKET_TOO_LARGE;
    }
    if (entry.type != MQTT_PACKET_PUBLISH) {
        return 0;
    }
    if (entry.qos > client.maximum_qos) {
        return QOS_NOT_SUPPORTED;
    }
    return (entry.packet()[0] & RETAIN_FLAG) != 0 && !client.retain_available ? RETAIN_NOT_SUPPORTED
                                                                              : 0;
}

// A message whose time has passed, or that cannot be sent on this connection, ends here.
bool drop_if_hopeless(event_client &client, exchange &entry, uint64_t now) {
    if (entry.step == exchange_step::RELEASED) {
        return false;
    }
    const uint8_t refusal = refusal_of(client, entry);
    if (entry.expires_ms > now && refusal == 0) {
        return false;
    }
    const exchange_end end = {
        .fate = static_cast<uint8_t>(refusal != 0 ? ZEP_MQTT_SDK_FATE_REFUSED
                                                  : ZEP_MQTT_SDK_FATE_EXPIRED),
        .code = refusal,
        .answered = refusal != 0};
    if (entry.qos == 2 && entry.sent_before) {
        // The broker may hold the identifier for this message, and would take another one under it
        // for a repetition: it stays taken for as long as the session lasts.
        client.exchanges.settle(&entry, end);
        client.exchanges.sent(&entry);
    } else {
        client.exchanges.finish(&entry, end);
    }
    return true;
}

// A repetition carries what is left of the message's time (MQTT 5.0 §3.3.2.3.3), rounded up: a
// message that goes out has not expired.
void refresh_expiry(exchange &entry, uint8_t *packet, uint64_t now) {
    if (entry.expiry_at != 0) {
        const uint32_t left = static_cast<uint32_t>((entry.expires_ms - now + 999) / 1000);
        for (uint32_t i = 0; i < EXPIRY_SIZE; ++i) {
            packet[entry.expiry_at + i] = static_cast<uint8_t>(left >> (8 * (3 - i)));
        }
    }
}

void count_on_wire(event_client &client, exchange &entry) {
    entry.counted = true;
    ++client.on_wire;
    client.qos2_on_wire += entry.qos == 2 ? 1 : 0;
}

// False: not now.
bool put_exchange(event_client &client, exchange &entry, uint64_t now) {
    if (entry.step == exchange_step::RELEASED) {
        if (!client.out.has_room(ACK_SIZE)) {
            return false;
        }
        put_ack(client, MQTT_PACKET_PUBREL, entry.id);
        count_on_wire(client, entry);
        return true;
    }
    const bool message = entry.type == MQTT_PACKET_PUBLISH;
    if (!client.out.has_room(entry.length) || (message && !window_is_open(client, entry.qos))) {
        return false;
    }
    uint8_t *packet = client.out.append(entry.length);
    std::memcpy(packet, entry.packet(), entry.length);
    if (message) {
        if (entry.sent_before) {
            packet[0] |= PUBLISH_FLAGS_DUP;
        }
        refresh_expiry(entry, packet, now);
        count_on_wire(client, entry);
    }
    entry.step = exchange_step::SENT;
    entry.sent_before = true;
    return true;
}

}  // namespace

void put_unsent(event_client &client) {
    if (!client.is_up()) {
        return;
    }
    const uint64_t now = platform_get_tick_ms();
    for (exchange *entry = client.exchanges.unsent(); entry != nullptr;
         entry = client.exchanges.unsent()) {
        if (drop_if_hopeless(client, *entry, now)) {
            continue;
        }
        if (!put_exchange(client, *entry, now)) {
            flush(client);
            if (!client.is_up() || !put_exchange(client, *entry, now)) {
                return;
            }
        }
        client.exchanges.sent(entry);
    }
}

void pump(event_client &client) {
    put_unsent(client);
    flush(client);
}

void flush(event_client &client) {
    if (client.phase < link_phase::GREETING || client.broken) {
        return;
    }
    while (client.out.pending() != 0) {
        const int32_t taken =
            client.transport.send(client.connection, client.out.data(), client.out.pending());
        if (taken == ZEP_MQTT_SDK_TRANSPORT_AGAIN) {
            return;
        }
        if (taken < 0) {
            client.broken = true;
            client.broken_error = client.transport.error(client.connection);
            return;
        }
        client.out.taken(std::min(static_cast<uint32_t>(taken), client.out.pending()));
        client.last_sent_ms = platform_get_tick_ms();
    }
}

bool window_is_open(const event_client &client, uint32_t qos) {
    return client.on_wire < client.receive_maximum &&
           (qos != 2 || client.qos2_on_wire < client.qos2_maximum);
}

void put_ack(event_client &client, uint8_t type, uint16_t id) {
    const uint8_t flags = type == MQTT_PACKET_PUBREL ? 2 : 0;
    const uint8_t packet[ACK_SIZE] = {static_cast<uint8_t>(type << 4 | flags), 2,
                                      static_cast<uint8_t>(id >> 8), static_cast<uint8_t>(id)};
    std::memcpy(client.out.append(sizeof packet), packet, sizeof packet);
}

void put_pingreq(event_client &client) {
    const uint8_t packet[] = {MQTT_PACKET_PINGREQ << 4, 0};
    std::memcpy(client.out.append(sizeof packet), packet, sizeof packet);
}

void put_disconnect(event_client &client, uint8_t reason) {
    const uint8_t packet[] = {MQTT_PACKET_DISCONNECT << 4, 1, reason};
    const uint8_t bare[] = {MQTT_PACKET_DISCONNECT << 4, 0};
    const bool with_reason = reason != 0;
    const uint32_t length = with_reason ? sizeof packet : sizeof bare;
    if (client.out.has_reserve(length)) {
        std::memcpy(client.out.append(length), with_reason ? packet : bare, length);
    }
}

void put_given_receipts(event_client &client) {
    while (client.is_up() && client.out.has_room(ACK_SIZE)) {
        const receipt *ready = client.receipts.ready();
        if (ready == nullptr) {
            return;
        }
        put_ack(client, ready->qos == 1 ? MQTT_PACKET_PUBACK : MQTT_PACKET_PUBREC, ready->id);
        client.receipts.drop_oldest();
    }
}

// Messages that wait for a connection or for their turn; what is in flight is looked at when it
// would be repeated.
void expire_messages(event_client &client, uint64_t now) {
    if (now < client.next_expiry_ms) {
        return;
    }
    client.next_expiry_ms = NEVER;
    exchange *next = nullptr;
    for (exchange *entry = client.exchanges.first(); entry != nullptr; entry = next) {
        next = entry->next;
        if (entry->settled || entry->step != exchange_step::QUEUED) {
            continue;
        }
        if (entry->expires_ms <= now) {
            client.exchanges.finish(entry, {.fate = ZEP_MQTT_SDK_FATE_EXPIRED});
        } else {
            client.next_expiry_ms = std::min(client.next_expiry_ms, entry->expires_ms);
        }
    }
}

void rewind_exchanges(event_client &client, bool session_present) {
    client.on_wire = client.qos2_on_wire = 0;
    exchange *next = nullptr;
    for (exchange *entry = client.exchanges.first(); entry != nullptr; entry = next) {
        next = entry->next;
        entry->on_wire = entry->counted = false;
        if (entry->ended) {
            continue;
        }
        if (entry->token == 0) {
            client.exchanges.remove(entry);  // filters are subscribed again anew
            continue;
        }
        if (!session_present || entry->type != MQTT_PACKET_PUBLISH) {
            entry->step = exchange_step::QUEUED;
            entry->sent_before = false;
            if (entry->settled) {
                // Nobody waits for it, and the broker knows nothing of it any more.
                client.exchanges.finish(entry, {});
            }
        }
    }
    client.exchanges.rewind();
}

}  // namespace zep
