// Subscription requests, and the filters that are subscribed again on a new session.
#include <cstring>

#include <zep_mqtt/platform/memory.h>

#include "client/event/event_client.h"
#include "client/event/packets.h"
#include "core/heap_copy.h"

namespace zep {

namespace {

constexpr uint8_t FAILURE = 0x80;

kept_filter *find_filter(event_client &client, const char *text) {
    for (uint32_t i = 0; i < client.filter_count; ++i) {
        if (std::strcmp(client.filters[i].text, text) == 0) {
            return &client.filters[i];
        }
    }
    return nullptr;
}

void drop_filter(event_client &client, kept_filter &filter) {
    platform_free(filter.text);
    filter = client.filters[--client.filter_count];
}

// The place was made sure of, and its memory allocated, when the request was accepted.
void keep_filter(event_client &client, const char *text, uint8_t qos) {
    kept_filter *known = find_filter(client, text);
    if (known != nullptr) {
        known->qos = qos;
        return;
    }
    heap_ptr<char[]> copy = heap_text(text);
    if (copy == nullptr || client.filter_count == KEPT_FILTERS_MAX) {
        event_log(client, AGENT_LOG_ERROR, "no memory to keep the filter %s for a new session",
                  text);
        return;
    }
    client.filters[client.filter_count++] = {qos, copy.release()};
}

bool make_filter_room(event_client &client) {
    if (client.filters == nullptr) {
        client.filters = heap_zeroed<kept_filter>(KEPT_FILTERS_MAX).release();
    }
    return client.filters != nullptr;
}

int32_t check_request(const event_client &client, uint8_t type, const char *filter, uint32_t qos) {
    const strict::text_view text = strict::view_of(filter);
    const bool v50 = client.version == MQTT_VERSION_50;
    if (filter == nullptr || qos > 2 || !strict::is_topic_filter(text, v50)) {
        return ZEP_MQTT_SDK_ERR_PARAM;
    }
    if (client.closed || (!client.is_up() && !client.accept_offline)) {
        return ZEP_MQTT_SDK_ERR_NOT_CONNECTED;
    }
    if (client.is_up() && type == MQTT_PACKET_SUBSCRIBE &&
        ((!client.wildcard_available && strict::has_wildcard(text)) ||
         (v50 && !client.shared_available && strict::is_shared_filter(text)))) {
        return ZEP_MQTT_SDK_ERR_PARAM;
    }
    return ZEP_MQTT_SDK_OK;
}

// Whether a request for a filter goes out on this connection. It is younger than the filter that
// was granted, and is what the application wants.
bool is_asked_for(const event_client &client, const char *filter) {
    for (exchange *entry = client.exchanges.first(); entry != nullptr; entry = entry->next) {
        if (entry->type != MQTT_PACKET_PUBLISH && !entry->ended &&
            std::strcmp(request_filter(*entry), filter) == 0) {
            return true;
        }
    }
    return false;
}

// Lays the request out as an exchange, with its filter as a text behind the packet.
exchange *add_request(event_client &client, request_view &request, uint32_t length,
                      in_flight::refusal &refusal) {
    const uint32_t text_size = static_cast<uint32_t>(request.filter.size()) + 1;
    exchange *entry = client.exchanges.add(request.type, length, text_size, refusal);
    if (entry != nullptr) {
        request.id = entry->id;
        entry->qos = request.qos;
        write_request(client.version, request, entry->packet(), length);
        std::memcpy(entry->packet() + length, request.filter.data(), request.filter.size());
        entry->packet()[length + request.filter.size()] = '\0';
    }
    return entry;
}

}  // namespace

int32_t request_subscription(event_client &client, uint8_t type, const char *filter, uint32_t qos,
                             uint64_t *token) {
    const int32_t status = check_request(client, type, filter, qos);
    if (status != ZEP_MQTT_SDK_OK) {
        return status;
    }
    request_view request = {type, filter, static_cast<uint8_t>(qos), 0};
    const uint32_t length = request_length(client.version, request);
    if (length > client.max_packet_out || (client.is_up() && length > client.maximum_packet_size)) {
        return ZEP_MQTT_SDK_ERR_PACKET;
    }
    if (client.exchanges.requests() >= KEPT_FILTERS_MAX) {
        return ZEP_MQTT_SDK_ERR_PACKET_ID;
    }
    if (!make_filter_room(client)) {
        return ZEP_MQTT_SDK_ERR_NO_MEMORY;
    }
    if (type == MQTT_PACKET_SUBSCRIBE && find_filter(client, filter) == nullptr &&
        client.filter_count + client.exchanges.requests() >= KEPT_FILTERS_MAX) {
        return ZEP_MQTT_SDK_ERR_CACHE;
    }
    if (client.is_up() && client.exchanges.unsent() == nullptr && !client.out.has_room(length)) {
        flush(client);
        if (!client.out.has_room(length)) {
            client.room_awaited = true;
            return ZEP_MQTT_SDK_ERR_BUSY;
        }
    }
    in_flight::refusal refusal;
    exchange *entry = add_request(client, request, length, refusal);
    if (entry == nullptr) {
        return refusal == in_flight::refusal::no_id ? ZEP_MQTT_SDK_ERR_PACKET_ID
                                                    : ZEP_MQTT_SDK_ERR_NO_MEMORY;
    }
    entry->token = next_token(client);
    if (token != nullptr) {
        *token = entry->token;
    }
    pump(client);
    wake_if_waiting(client);
    return ZEP_MQTT_SDK_OK;
}

void subscribe_again(event_client &client) {
    for (uint32_t i = 0; i < client.filter_count; ++i) {
        const kept_filter &filter = client.filters[i];
        if (is_asked_for(client, filter.text)) {
            continue;
        }
        request_view request = {MQTT_PACKET_SUBSCRIBE, filter.text, filter.qos, 0};
        in_flight::refusal refusal;
        if (add_request(client, request, request_length(client.version, request), refusal) ==
            nullptr) {
            event_log(client, AGENT_LOG_ERROR, "cannot subscribe again to %s", filter.text);
        }
    }
}

void on_request_answered(event_client &client, exchange &request, uint8_t code) {
    const char *text = request_filter(request);
    kept_filter *known = find_filter(client, text);
    if (request.type == MQTT_PACKET_SUBSCRIBE && code < FAILURE) {
        keep_filter(client, text, request.qos);
    } else if (known != nullptr && (request.type == MQTT_PACKET_SUBSCRIBE || code < FAILURE)) {
        drop_filter(client, *known);
    }
    event_log(client, code < FAILURE ? AGENT_LOG_INFO : AGENT_LOG_WARN, "%s %s: 0x%02X",
              request.type == MQTT_PACKET_SUBSCRIBE ? "SUBACK for" : "UNSUBACK for", text, code);
    client.exchanges.finish(&request, {.code = code, .answered = true});
}

void forget_filters(event_client &client) {
    while (client.filter_count != 0) {
        drop_filter(client, client.filters[client.filter_count - 1]);
    }
    platform_free(client.filters);
    client.filters = nullptr;
}

}  // namespace zep
