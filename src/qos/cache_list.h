// The list of cached messages of one quality of service: finding entries, and taking them out
// together with their packet identifier. QoS 1 and QoS 2 differ in nothing here but their types.
#pragma once

#include <cstdint>

#include <zep_mqtt/core/message.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/protocol/v311/packet_id.h>
#include <zep_mqtt/protocol/v311/session.h>
#include <zep_mqtt/qos/cache.h>

#include "protocol/common/packet_id_private.h"
#include "qos/cache_private.h"

namespace zep {

struct qos1 {
    using entry = mqtt_qos1_entry;
    static constexpr int LEVEL = 1;
    static constexpr uint32_t LIMIT = MQTT_QOS1_CACHE_MAX;
    static entry *&head(mqtt_session &session) { return session.qos1_cache; }
    static uint32_t &count(mqtt_session &session) { return session.qos1_count; }
};

struct qos2 {
    using entry = mqtt_qos2_entry;
    static constexpr int LEVEL = 2;
    static constexpr uint32_t LIMIT = MQTT_QOS2_CACHE_MAX;
    static entry *&head(mqtt_session &session) { return session.qos2_cache; }
    static uint32_t &count(mqtt_session &session) { return session.qos2_count; }
};

// The link to the newest entry that matches; it holds null when none does.
template <typename Qos, typename Matches>
typename Qos::entry **find_link(mqtt_session &session, Matches matches) {
    typename Qos::entry **link = &Qos::head(session);
    while (*link != nullptr && !matches(**link)) {
        link = &(*link)->next;
    }
    return link;
}

// Takes the entry behind a link out of its list and releases it. Its identifier goes back unless
// another entry still holds it: a 5.0 message may be sent again under its earlier identifier.
template <typename Qos>
void erase(mqtt_session &session, typename Qos::entry **link) {
    typename Qos::entry *entry = *link;
    const uint16_t msg_id = entry->msg.msg_id;
    *link = entry->next;
    --Qos::count(session);
    message_free(&entry->msg);
    platform_free(entry);
    if (!qos_cache_holds(&session, msg_id)) {
        (void)mqtt_packet_id_free(&session, msg_id);
    }
}

template <typename Qos>
void erase(mqtt_session &session, const typename Qos::entry &entry) {
    auto **link = find_link<Qos>(session, [&entry](const auto &e) { return &e == &entry; });
    if (*link != nullptr) {
        erase<Qos>(session, link);
    }
}

// Erases every entry that matches; gives their number.
template <typename Qos, typename Matches>
int32_t erase_if(mqtt_session &session, Matches matches) {
    int32_t erased = 0;
    for (auto **link = &Qos::head(session); *link != nullptr;) {
        if (matches(**link)) {
            erase<Qos>(session, link);
            ++erased;
        } else {
            link = &(*link)->next;
        }
    }
    return erased;
}

// An acknowledgement that ends an exchange: erases the newest entry that has this identifier and
// waits for it.
template <typename Qos, typename Waits>
int32_t complete(mqtt_session *session, uint16_t msg_id, Waits waits) {
    if (session == nullptr || !is_packet_id(msg_id)) {
        return MQTT_ERR_INVALID_PARAM;
    }
    auto **link = find_link<Qos>(*session, [msg_id, waits](const auto &entry) {
        return entry.msg.msg_id == msg_id && waits(entry);
    });
    if (*link == nullptr) {
        return MQTT_ERR_CACHE_NOT_FOUND;
    }
    erase<Qos>(*session, link);
    return MQTT_OK;
}

}  // namespace zep
