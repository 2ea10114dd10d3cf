// One turn of a client: its timers, what has arrived, what is to go out, what is to be told.
#include <algorithm>

#include <zep_mqtt/platform/clock.h>

#include "client/event/event_client.h"
#include "net/stream_socket.h"

namespace zep {

namespace {

constexpr int READS_IN_A_TURN = 8;  // then other handles have theirs
constexpr uint64_t PACKET_TIMEOUT_MS = 60000;
constexpr uint64_t PINGRESP_PATIENCE = 6;

// A PINGREQ is due when one direction has been silent for half the keep-alive interval.
uint64_t ping_due_ms(const event_client &client) {
    if (client.keep_alive_ms == 0) {
        return NEVER;
    }
    if (client.ping_awaited) {
        // Bytes that stand in front of the answer give it time, but not for ever.
        const uint64_t timeout = client.pingresp_timeout_ms;
        return std::min(std::max(client.ping_sent_ms, client.last_received_ms) + timeout,
                        client.ping_sent_ms + PINGRESP_PATIENCE * timeout);
    }
    return std::min(client.last_sent_ms, client.last_received_ms) + client.keep_alive_ms / 2;
}

uint64_t packet_due_ms(const event_client &client) {
    const bool inside = client.inbox_held != 0 || client.passing.left != 0;
    return inside ? client.packet_begun_ms + PACKET_TIMEOUT_MS : NEVER;
}

uint64_t connection_due_ms(const event_client &client) {
    switch (client.phase) {
        case link_phase::WAITING:
            return client.attempt_due_ms;
        case link_phase::OPENING:
        case link_phase::GREETING:
            return client.greeting_due_ms;
        case link_phase::UP:
            return std::min(ping_due_ms(client), packet_due_ms(client));
        default:
            return NEVER;
    }
}

bool has_work(const event_client &client) {
    return client.broken || (client.more_to_read && can_receive(client)) || has_news(client);
}

void keep_alive(event_client &client, uint64_t now) {
    if (client.phase != link_phase::UP || now < connection_due_ms(client)) {
        return;
    }
    if (client.ping_awaited || now >= packet_due_ms(client)) {
        lose_connection(client, {.cause = ZEP_MQTT_SDK_CAUSE_SILENCE});
        return;
    }
    put_pingreq(client);
    client.ping_awaited = true;
    client.ping_sent_ms = now;
}

bool read_what_waits(event_client &client) {
    bool brought = false;
    for (int reads = 0; reads < READS_IN_A_TURN && !client.closed && receive(client); ++reads) {
        brought = true;
        if (!client.more_to_read) {
            break;
        }
    }
    return brought;
}

void serve_connection(event_client &client, uint64_t now) {
    switch (client.phase) {
        case link_phase::WAITING:
            if (now >= client.attempt_due_ms) {
                begin_attempt(client, now);
            }
            break;
        case link_phase::OPENING:
            continue_opening(client, now);
            break;
        default:
            break;
    }
    // What waits in the socket has been handled by now: this is for a broker that has not answered.
    if (now >= client.greeting_due_ms &&
        (client.phase == link_phase::OPENING || client.phase == link_phase::GREETING)) {
        lose_connection(client, {.cause = ZEP_MQTT_SDK_CAUSE_TIMEOUT});
    }
    keep_alive(client, now);
}

}  // namespace

bool serve(event_client &client, bool may_read) {
    const bool woken = client.woken;
    client.woken = false;
    const bool read = (may_read || client.more_to_read) && read_what_waits(client);
    if (client.broken) {
        const int32_t error = client.broken_error;
        lose_connection(client, {.cause = ZEP_MQTT_SDK_CAUSE_TRANSPORT, .system_error = error});
    }
    const uint64_t now = platform_get_tick_ms();
    const bool due = now >= connection_due_ms(client) || has_news(client);
    serve_connection(client, now);
    expire_messages(client, now);
    put_given_receipts(client);
    pump(client);
    report_fates(client);
    report_room(client);
    pump(client);
    return read || due || woken;
}

uint32_t due_ms(const event_client &client, uint64_t now) {
    if (client.woken || has_work(client)) {
        return 0;
    }
    const uint64_t due = std::min(connection_due_ms(client), client.next_expiry_ms);
    if (due == NEVER) {
        return UINT32_MAX;
    }
    return due <= now ? 0 : static_cast<uint32_t>(std::min<uint64_t>(due - now, UINT32_MAX - 1));
}

uint32_t interest(const event_client &client) {
    if (client.connection == nullptr) {
        return 0;
    }
    const uint32_t wanted = (can_receive(client) ? ZEP_MQTT_SDK_READABLE : 0) |
                            (client.out.pending() != 0 ? ZEP_MQTT_SDK_WRITABLE : 0);
    return client.transport.interest(client.connection, wanted);
}

void wake(event_client &client) {
    client.woken = true;
    if (client.waiting != nullptr) {
        client.waiting->signal();
    }
}

void wake_if_waiting(event_client &client) {
    if (client.waiting != nullptr && (client.out.pending() != 0 || has_work(client))) {
        wake(client);
    }
}

}  // namespace zep
