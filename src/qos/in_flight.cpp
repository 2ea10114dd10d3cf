#include "qos/in_flight.h"

#include <new>

#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/protocol/v311/packet.h>

#include "core/heap_copy.h"

namespace zep {

// Goes round, so that an identifier rests for as long as possible before it is used again.
uint16_t in_flight::free_id(uint8_t type) {
    const bool publish = type == MQTT_PACKET_PUBLISH;
    const uint16_t first = publish ? PUBLISH_ID_FIRST : REQUEST_ID_FIRST;
    const uint16_t last = publish ? PUBLISH_ID_LAST : REQUEST_ID_LAST;
    uint16_t &used = publish ? last_publish_id_ : last_request_id_;
    uint16_t id = used;
    for (uint16_t tried = first; tried <= last; ++tried) {
        id = id < first || id >= last ? first : static_cast<uint16_t>(id + 1);
        if (by_id_[id] == nullptr) {
            used = id;
            return id;
        }
    }
    return 0;
}

exchange *in_flight::add(uint8_t type, uint32_t packet_length, uint32_t more, refusal &fault) {
    const uint16_t id = free_id(type);
    if (id == 0) {
        fault = refusal::no_id;
        return nullptr;
    }
    void *block = heap_block(sizeof(exchange) + size_t{packet_length} + more);
    if (block == nullptr) {
        fault = refusal::no_memory;
        return nullptr;
    }
    exchange *entry = new (block) exchange{};
    entry->type = type;
    entry->id = id;
    entry->length = packet_length;
    entry->expires_ms = UINT64_MAX;
    entry->previous = last_;
    (last_ != nullptr ? last_->next : first_) = entry;
    last_ = entry;
    by_id_[id] = entry;
    ++(type == MQTT_PACKET_PUBLISH ? publishes_ : requests_);
    if (unsent_ == nullptr) {
        unsent_ = entry;
    }
    fault = refusal::none;
    return entry;
}

void in_flight::end(exchange *entry) {
    if (!entry->ended) {
        entry->ended = true;
        by_id_[entry->id] = nullptr;
    }
    if (unsent_ == entry) {
        unsent_ = next_to_send(entry->next);
    }
}

void in_flight::remove(exchange *entry) {
    end(entry);
    (entry->previous != nullptr ? entry->previous->next : first_) = entry->next;
    (entry->next != nullptr ? entry->next->previous : last_) = entry->previous;
    --(entry->type == MQTT_PACKET_PUBLISH ? publishes_ : requests_);
    platform_free(entry);
}

void in_flight::remove_all() {
    while (first_ != nullptr) {
        remove(first_);
    }
    first_report_ = last_report_ = nullptr;
}

exchange *in_flight::find_token(uint64_t token) const {
    exchange *entry = first_;
    while (entry != nullptr && entry->token != token) {
        entry = entry->next;
    }
    return entry;
}

exchange *in_flight::next_to_send(exchange *from) {
    while (from != nullptr && (from->on_wire || from->ended)) {
        from = from->next;
    }
    return from;
}

void in_flight::settle(exchange *entry, const exchange_end &how) {
    if (entry->settled) {
        return;
    }
    entry->settled = true;
    entry->end = how;
    entry->reporting = true;
    (last_report_ != nullptr ? last_report_->next_report : first_report_) = entry;
    last_report_ = entry;
}

void in_flight::finish(exchange *entry, const exchange_end &how) {
    end(entry);
    settle(entry, how);
    if (!entry->reporting) {
        remove(entry);
    }
}

exchange *in_flight::next_report() {
    exchange *entry = first_report_;
    if (entry != nullptr) {
        first_report_ = entry->next_report;
        if (first_report_ == nullptr) {
            last_report_ = nullptr;
        }
    }
    return entry;
}

void in_flight::reported(exchange *entry) {
    entry->reporting = false;
    if (entry->ended) {
        remove(entry);
    }
}

}  // namespace zep
