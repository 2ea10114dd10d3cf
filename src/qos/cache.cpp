#include <algorithm>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v311/validate.h>
#include <zep_mqtt/protocol/v311/wire.h>
#include <zep_mqtt/qos/cache.h>

#include "core/limits.h"
#include "log/log_lines.h"
#include "qos/cache_list.h"

uint8_t g_dup_check_cache[20480] = {};

namespace {

using zep::qos1;
using zep::qos2;
using zep::qos_call;

int32_t check_message(uint32_t version, uint32_t qos, const mqtt_message *msg,
                      const mqtt_session *session) {
    if (version != MQTT_VERSION_311 && version != MQTT_VERSION_50) {
        LOG_ERROR("不支持的MQTT版本：%d（仅支持3.1.1/5.0）", version);
        return MQTT_ERR_VERSION_UNSUPPORTED;
    }
    if (msg == nullptr || session == nullptr) {
        LOG_ERROR("QoS消息处理参数非法：msg=%p, session=%p", static_cast<const void *>(msg),
                  static_cast<const void *>(session));
        return MQTT_ERR_INVALID_PARAM;
    }
    if (qos > zep::QOS_MAX) {
        LOG_ERROR("非法QoS等级：%d", qos);
        return MQTT_ERR_QOS_INVALID;
    }
    return zep::qos_message_is_valid(*msg, version) ? MQTT_OK : MQTT_ERR_INVALID_PARAM;
}

// A full cache makes room by expiring what matters least.
template <typename Qos>
int32_t make_room(const qos_call &call) {
    const uint32_t &count = Qos::count(*call.session);
    if (count < Qos::LIMIT) {
        return MQTT_OK;
    }
    LOG_WARN("QoS%d缓存满，尝试清理低优先级超时缓存：当前%d，最大%d", Qos::LEVEL, count,
             Qos::LIMIT);
    const int32_t removed =
        zep::qos_expire_priority(call, MQTT_PRIORITY_LOW, MQTT_CACHE_MAKE_ROOM_MS);
    if (removed == 0 || count >= Qos::LIMIT) {
        LOG_ERROR("QoS%d缓存满且清理失败：当前%d，最大%d", Qos::LEVEL, count, Qos::LIMIT);
        return MQTT_ERR_CACHE_FULL;
    }
    LOG_INFO("清理低优先级缓存%d个，缓存可用：当前%d", removed, count);
    return MQTT_OK;
}

template <typename Qos>
typename Qos::entry *new_entry(const mqtt_message &msg) {
    using entry_type = typename Qos::entry;
    auto *entry = static_cast<entry_type *>(platform_malloc(sizeof(entry_type)));
    if (entry == nullptr) {
        LOG_FATAL("QoS%d缓存内存分配失败", Qos::LEVEL);
        return nullptr;
    }
    *entry = entry_type{};
    if (message_deep_copy(&entry->msg, &msg) != MQTT_OK) {
        LOG_ERROR("QoS%d消息深拷贝失败：PacketID=%d", Qos::LEVEL, msg.msg_id);
        platform_free(entry);
        return nullptr;
    }
    return entry;
}

void announce(const mqtt_session &session, const mqtt_qos1_entry &entry) {
    LOG_DEBUG("QoS1消息加入缓存：ClientID=%s, PacketID=%d, 优先级=%d, 版本=%d, 缓存计数=%d",
              session.client_id, entry.msg.msg_id, entry.priority, entry.version,
              session.qos1_count);
}

void announce(const mqtt_session &session, const mqtt_qos2_entry &entry) {
    LOG_DEBUG("QoS2消息加入缓存：ClientID=%s, PacketID=%d, 状态=WAIT_PUBREC, 版本=%d",
              session.client_id, entry.msg.msg_id, entry.version);
}

void begin_exchange(mqtt_qos1_entry &) {}
void begin_exchange(mqtt_qos2_entry &entry) {
    entry.state = WAIT_PUBREC;
}

template <typename Qos>
int32_t add_entry(const qos_call &call, uint32_t version, const mqtt_message &msg) {
    const int32_t status = make_room<Qos>(call);
    if (status != MQTT_OK) {
        return status;
    }
    typename Qos::entry *entry = new_entry<Qos>(msg);
    if (entry == nullptr) {
        return MQTT_ERR_NO_MEMORY;
    }
    mqtt_session &session = *call.session;
    begin_exchange(*entry);
    entry->version = version;
    entry->send_tick = call.now;
    entry->priority = msg.priority;
    entry->next = Qos::head(session);
    Qos::head(session) = entry;
    ++Qos::count(session);
    announce(session, *entry);
    return MQTT_OK;
}

template <typename Expired>
int32_t expire(const qos_call &call, Expired expired) {
    const int32_t removed = zep::expire_if<qos1>(call, expired);
    return removed + zep::expire_if<qos2>(call, expired);
}

template <typename Entry>
bool list_holds(const Entry *list, uint16_t msg_id) {
    while (list != nullptr && list->msg.msg_id != msg_id) {
        list = list->next;
    }
    return list != nullptr;
}

template <typename Entry>
void set_version(Entry *list, uint32_t version) {
    for (; list != nullptr; list = list->next) {
        list->version = version;
    }
}

}  // namespace

namespace zep {

int32_t qos_admit(const qos_call &call, uint32_t version, uint32_t qos, mqtt_message *msg) {
    const int32_t status = check_message(version, qos, msg, call.session);
    if (status != MQTT_OK || qos == 0) {
        return status;
    }
    if (validate_packet_id(version, msg->msg_id) != MQTT_OK) {
        LOG_ERROR("非法Packet ID：%d（版本%d）", msg->msg_id, version);
        return MQTT_ERR_INVALID_PARAM;
    }
    if (msg->priority > MQTT_PRIORITY_HIGH) {
        msg->priority = MQTT_PRIORITY_NORMAL;
        LOG_DEBUG("消息优先级重置为默认：PacketID=%d，版本：%d", msg->msg_id, version);
    }
    return qos == 1 ? add_entry<qos1>(call, version, *msg) : add_entry<qos2>(call, version, *msg);
}

int32_t qos_expire(const qos_call &call) {
    if (call.session == nullptr) {
        LOG_ERROR("缓存清理参数非法：session=%p", static_cast<const void *>(call.session));
        return MQTT_ERR_FAIL;
    }
    const int32_t removed = expire(call, [now = call.now](const auto &entry) {
        return now - entry.send_tick > MQTT_CACHE_TIMEOUT_MS;
    });
    LOG_DEBUG("缓存超时清理完成：ClientID=%s, 清理数量=%d", call.session->client_id, removed);
    return removed;
}

int32_t qos_expire_priority(const qos_call &call, uint32_t priority, uint64_t timeout_ms) {
    if (call.session == nullptr) {
        LOG_ERROR("按优先级清理缓存参数非法：session=%p", static_cast<const void *>(call.session));
        return 0;
    }
    if (priority > MQTT_PRIORITY_HIGH) {
        LOG_ERROR("按优先级清理缓存参数非法：priority=%d（范围[%d,%d]）", priority,
                  MQTT_PRIORITY_LOW, MQTT_PRIORITY_HIGH);
        return 0;
    }
    if (timeout_ms == 0) {
        timeout_ms = MQTT_CACHE_TIMEOUT_MS;
        LOG_WARN("按优先级清理缓存：timeout_ms=0，使用默认值%dms", MQTT_CACHE_TIMEOUT_MS);
    }
    const int32_t removed = expire(call, [now = call.now, priority, timeout_ms](const auto &entry) {
        return entry.priority == priority && now - entry.send_tick > timeout_ms;
    });
    LOG_DEBUG("按优先级清理缓存完成：ClientID=%s, 优先级=%d, 清理数量=%d", call.session->client_id,
              priority, removed);
    return removed;
}

bool qos_message_is_valid(const mqtt_message &msg, uint32_t version) {
    // The validator takes a signed length; a greater one must not turn negative on the way.
    const uint32_t checked_len = std::min<uint32_t>(msg.payload_len, INT32_MAX);
    return mqtt_topic_validate(msg.topic, MQTT_TOPIC_MODE_NAME) == MQTT_OK &&
           mqtt_payload_validate(msg.payload, static_cast<int32_t>(checked_len), version) ==
               MQTT_OK;
}

bool qos_cache_holds(const mqtt_session *session, uint16_t msg_id) {
    return list_holds(session->qos1_cache, msg_id) || list_holds(session->qos2_cache, msg_id);
}

// The newest entry is the first of its list.
void qos_withdraw_newest(mqtt_session &session, uint32_t qos) {
    if (qos == 1) {
        erase<qos1>(session, &session.qos1_cache);
    } else {
        erase<qos2>(session, &session.qos2_cache);
    }
}

void qos_cache_set_version(mqtt_session *session, uint32_t version) {
    set_version(session->qos1_cache, version);
    set_version(session->qos2_cache, version);
}

}  // namespace zep

int32_t mqtt_dup_check_init(void) {
    return MQTT_OK;
}

int32_t mqtt_qos_message_process(uint32_t version, uint32_t qos, mqtt_message *msg,
                                 mqtt_session *session) {
    return zep::qos_admit({session, platform_get_tick_ms()}, version, qos, msg);
}

int32_t mqtt_cache_clean_timeout(mqtt_session *session) {
    return zep::qos_expire({session, platform_get_tick_ms()});
}

int32_t mqtt_cache_clean_prio_timeout(mqtt_session *session, uint32_t priority,
                                      uint64_t timeout_ms) {
    return zep::qos_expire_priority({session, platform_get_tick_ms()}, priority, timeout_ms);
}

uint32_t mqtt_calc_exponential_backoff(uint32_t retry_count) {
    uint32_t wait_ms = MQTT_BACKOFF_FIRST_MS;
    while (retry_count-- > 0 && wait_ms < MQTT_BACKOFF_MAX_MS) {
        wait_ms *= 2;
    }
    return std::min<uint32_t>(wait_ms, MQTT_BACKOFF_MAX_MS);
}
