#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet_id.h>

#include "log/log_lines.h"
#include "protocol/common/packet_id_private.h"

namespace {

bool pool_is_empty(const mqtt_session &session) {
    return session.id_pool_top < 0;
}

// The index of a pooled identifier, or -1.
int32_t pool_find(const mqtt_session &session, uint16_t id) {
    for (int32_t i = session.id_pool_top; i >= 0; --i) {
        if (session.id_pool[i] == id) {
            return i;
        }
    }
    return -1;
}

void pool_remove(mqtt_session &session, int32_t index) {
    const int32_t behind = session.id_pool_top - index;
    std::memmove(&session.id_pool[index], &session.id_pool[index + 1],
                 static_cast<size_t>(behind) * sizeof session.id_pool[0]);
    session.id_pool[session.id_pool_top--] = 0;
}

void log_allocated(const mqtt_session &session, uint16_t id) {
    LOG_DEBUG("Packet ID分配成功：ClientID=%s, ID=%d", session.client_id, id);
}

int32_t take_from_pool(mqtt_session &session, uint16_t *id) {
    const uint16_t taken = session.id_pool[0];
    pool_remove(session, 0);
    if (!zep::is_packet_id(taken)) {
        LOG_ERROR("Packet ID分配失败：未找到可用ID/ID非法（ClientID=%s, ID=%d）", session.client_id,
                  taken);
        return MQTT_ERR_PACKET_ID_EXHAUSTED;
    }
    *id = taken;
    session.id_in_use[*id] = 1;
    LOG_DEBUG("Packet ID复用成功：ClientID=%s, ID=%d, 池剩余计数=%d", session.client_id, *id,
              session.id_pool_top);
    if (pool_is_empty(session)) {
        log_allocated(session, *id);
    }
    return MQTT_OK;
}

uint16_t following(uint16_t id) {
    return id >= MQTT_PACKET_ID_MAX ? uint16_t{MQTT_PACKET_ID_MIN} : static_cast<uint16_t>(id + 1);
}

// A full circle without a free identifier ends where it started.
int32_t take_by_scan(mqtt_session &session, uint16_t *id) {
    for (int32_t examined = 0; examined < MQTT_PACKET_ID_MAX; ++examined) {
        const uint16_t candidate = session.next_packet_id;
        session.next_packet_id = following(candidate);
        if (session.id_in_use[candidate] == 0) {
            session.id_in_use[candidate] = 1;
            *id = candidate;
            log_allocated(session, candidate);
            return MQTT_OK;
        }
    }
    LOG_ERROR("Packet ID耗尽：ClientID=%s", session.client_id);
    return MQTT_ERR_PACKET_ID_EXHAUSTED;
}

}  // namespace

int32_t mqtt_packet_id_alloc(mqtt_session *session, uint16_t *id) {
    const uint16_t start = session == nullptr ? uint16_t{0} : session->next_packet_id;
    if (id == nullptr || !zep::is_packet_id(start)) {
        LOG_ERROR("Packet ID分配失败：参数非法/ID<最小合法值（next_packet_id=%d）", start);
        return MQTT_ERR_INVALID_PARAM;
    }
    *id = 0;
    return pool_is_empty(*session) ? take_by_scan(*session, id) : take_from_pool(*session, id);
}

int32_t mqtt_packet_id_free(mqtt_session *session, uint16_t id) {
    if (session == nullptr) {
        LOG_ERROR("mqtt_packet_id_free: 入参非法，session为空");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (!zep::is_packet_id(id)) {
        LOG_ERROR("mqtt_packet_id_free: 非法Packet ID（%d），范围[%d,%d]", id, MQTT_PACKET_ID_MIN,
                  MQTT_PACKET_ID_MAX);
        return MQTT_ERR_INVALID_PARAM;
    }
    if (pool_find(*session, id) >= 0) {
        LOG_ERROR("mqtt_packet_id_free: Packet ID（%d）重复释放（ClientID=%s），违反MQTT协议", id,
                  session->client_id);
        return MQTT_ERR_DUPLICATE;
    }
    if (session->id_pool_top + 1 < MQTT_PACKET_ID_POOL) {
        session->id_pool[++session->id_pool_top] = id;
        LOG_DEBUG("mqtt_packet_id_free: Packet ID（%d）加入复用池，池计数=%d（ClientID=%s）", id,
                  session->id_pool_top, session->client_id);
    }
    session->id_in_use[id] = 0;
    LOG_DEBUG("mqtt_packet_id_free: Packet ID（%d）释放成功（ClientID=%s）", id,
              session->client_id);
    return MQTT_OK;
}

namespace zep {

bool packet_id_in_use(const mqtt_session *session, uint16_t id) {
    return is_packet_id(id) && session->id_in_use[id] != 0;
}

void packet_id_claim(mqtt_session *session, uint16_t id) {
    if (!is_packet_id(id)) {
        return;
    }
    session->id_in_use[id] = 1;
    const int32_t pooled = pool_find(*session, id);
    if (pooled >= 0) {
        pool_remove(*session, pooled);
    }
}

}  // namespace zep
