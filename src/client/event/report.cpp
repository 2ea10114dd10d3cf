// What waits to be told to the listener: fates, and that there is room again.
#include <zep_mqtt/protocol/v311/packet.h>

#include "client/event/event_client.h"

namespace zep {

namespace {

bool has_room_again(const event_client &client) {
    return client.room_awaited && client.is_up() && client.out.pending() == 0 &&
           client.exchanges.publishes() < client.max_unacknowledged;
}

void tell_fate(event_client &client, const zep_mqtt_sdk_fate_event &event) {
    if (client.listener.fate != nullptr) {
        const unlocked open(client);
        client.listener.fate(client.handle, client.user, &event);
    }
}

void tell_subscription(event_client &client, exchange &request) {
    if (client.listener.subscription == nullptr) {
        return;
    }
    zep_mqtt_sdk_subscription_event event = {};
    event.size = sizeof event;
    event.token = request.token;
    event.filter = request_filter(request);
    event.unsubscribed = request.type == MQTT_PACKET_UNSUBSCRIBE ? 1 : 0;
    event.answered = request.end.answered ? 1 : 0;
    event.broker_code = request.end.code;
    const unlocked open(client);
    client.listener.subscription(client.handle, client.user, &event);
}

void report_qos0(event_client &client) {
    while (client.qos0_reported != client.qos0_accepted) {
        ++client.qos0_reported;
        tell_fate(client, {.size = sizeof(zep_mqtt_sdk_fate_event),
                           .token = qos0_token(client.qos0_reported),
                           .fate = ZEP_MQTT_SDK_FATE_DELIVERED,
                           .broker_code = 0});
    }
}

}  // namespace

bool has_news(const event_client &client) {
    return client.qos0_reported != client.qos0_accepted || client.exchanges.has_reports() ||
           has_room_again(client);
}

void report_fates(event_client &client) {
    report_qos0(client);
    while (exchange *entry = client.exchanges.next_report()) {
        if (entry->type != MQTT_PACKET_PUBLISH) {
            tell_subscription(client, *entry);
        } else {
            tell_fate(client, {.size = sizeof(zep_mqtt_sdk_fate_event),
                               .token = entry->token,
                               .fate = entry->end.fate,
                               .broker_code = entry->end.code});
        }
        client.exchanges.reported(entry);
    }
}

void report_room(event_client &client) {
    if (!has_room_again(client)) {
        return;
    }
    client.room_awaited = false;
    if (client.listener.room != nullptr) {
        const unlocked open(client);
        client.listener.room(client.handle, client.user);
    }
}

void report_all_cancelled(event_client &client) {
    for (exchange *entry = client.exchanges.first(); entry != nullptr; entry = entry->next) {
        client.exchanges.settle(entry, {.fate = ZEP_MQTT_SDK_FATE_CANCELLED});
    }
    report_fates(client);
}

}  // namespace zep
