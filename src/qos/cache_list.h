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
#include "qos/engine.h"

namespace zep {

struct qos1 {
    using entry = mqtt_qos1_entry;
    static constexpr uint32_t LEVEL = 1;
    static constexpr uint32_t LIMIT = MQTT_QOS1_CACHE_MAX;
    static entry *&head(mqtt_session &session) { return session.qos1_cache; }
    static uint32_t &count(mqtt_session &session) { return session.qos1_count; }
};

struct qos2 {
    using entry = mqtt_qos2_entry;
    static constexpr uint32_t LEVEL = 2;
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

// Takes the entry behind a link out of its list and releases it. Gives its identifier.
template <typename Qos>
uint16_t remove_entry(mqtt_session &session, typename Qos::entry **link) {
    typename Qos::entry *entry = *link;
    const uint16_t msg_id = entry->msg.msg_id;
    *link = entry->next;
    --Qos::count(session);
    message_free(&entry->msg);
    platform_free(entry);
    return msg_id;
}

// Gives the identifier of a removed entry back, unless another entry still holds it: a 5.0 message
// may be sent again under its earlier identifier.
inline void give_back(mqtt_session &session, uint16_t msg_id) {
    if (!qos_cache_holds(&session, msg_id)) {
        (void)mqtt_packet_id_free(&session, msg_id);
    }
}

// The exchange is over, or never began.
template <typename Qos>
void erase(mqtt_session &session, typename Qos::entry **link) {
    give_back(session, remove_entry<Qos>(session, link));
}

// The message leaves its cache unacknowledged.
template <typename Qos>
void lose(const qos_call &call, typename Qos::entry **link, qos_loss why) {
    const uint16_t msg_id = remove_entry<Qos>(*call.session, link);
    if (call.on_lost == nullptr || !call.on_lost(call.context, {Qos::LEVEL, msg_id, why})) {
        give_back(*call.session, msg_id);
    }
}

template <typename Qos>
void lose(const qos_call &call, const typename Qos::entry &entry, qos_loss why) {
    auto **link = find_link<Qos>(*call.session, [&entry](const auto &e) { return &e == &entry; });
    if (*link != nullptr) {
        lose<Qos>(call, link, why);
    }
}

// Expires every entry that matches; gives their number.
template <typename Qos, typename Matches>
int32_t expire_if(const qos_call &call, Matches matches) {
    int32_t expired = 0;
    for (auto **link = &Qos::head(*call.session); *link != nullptr;) {
        if (matches(**link)) {
            lose<Qos>(call, link, qos_loss::expired);
            ++expired;
        } else {
            link = &(*link)->next;
        }
    }
    return expired;
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
