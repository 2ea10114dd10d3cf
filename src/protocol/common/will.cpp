
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/protocol/v311/validate.h>
#include <zep_mqtt/protocol/v311/will.h>

#include "core/heap_copy.h"
#include "core/limits.h"
#include "log/log_lines.h"

namespace {

const char *refusal_label(int32_t code) {
    switch (code) {
        case MQTT_ERR_INVALID_PARAM:
        case MQTT_ERR_TOPIC_TOO_LONG:
        case MQTT_ERR_TOPIC_TOO_DEEP:
            return mqtt_status_text(code);
        default:
            return "通配符使用非法";
    }
}

int32_t check_topic(const char *topic) {
    if (topic == nullptr || *topic == '\0') {
        LOG_ERROR("[违反MQTT 3.1.1 §3.1.2] Will Topic为空，参数非法");
        return MQTT_ERR_INVALID_PARAM;
    }
    const int32_t status = mqtt_topic_validate(topic, MQTT_TOPIC_MODE_NAME);
    if (status != MQTT_OK) {
        LOG_ERROR("[违反MQTT 3.1.1 §3.1.2] Will Topic校验失败：%s，Topic=%s", refusal_label(status),
                  topic);
    }
    return status;
}

void release_topic(mqtt_session &session) {
    platform_free(session.will_topic);
    session.will_topic = nullptr;
}

void release_payload(mqtt_session &session) {
    platform_free(session.will_payload);
    session.will_payload = nullptr;
    session.will_payload_len = 0;
}

// Copies into a session without topic and payload; on failure it is left without them.
int32_t copy_topic_and_payload(mqtt_session &session, const char *topic, const uint8_t *payload,
                               uint32_t payload_len) {
    zep::heap_ptr<char[]> topic_copy = zep::heap_text(topic);
    if (topic_copy == nullptr) {
        LOG_ERROR("Will Topic内存分配失败");
        return MQTT_ERR_NO_MEMORY;
    }
    if (payload != nullptr && payload_len != 0) {
        session.will_payload = zep::heap_bytes(payload, payload_len).release();
        if (session.will_payload == nullptr) {
            topic_copy.reset();
            LOG_ERROR("Will Payload内存分配失败");
            return MQTT_ERR_NO_MEMORY;
        }
        session.will_payload_len = payload_len;
    }
    session.will_topic = topic_copy.release();
    return MQTT_OK;
}

}  // namespace

int32_t mqtt_will_set(mqtt_session *session, const char *topic, const uint8_t *payload,
                      uint32_t payload_len, uint32_t qos, uint8_t retain) {
    int32_t status = check_topic(topic);
    if (status != MQTT_OK) {
        return status;
    }
    if (session == nullptr) {
        LOG_ERROR("Will消息配置失败：session为空");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (qos > zep::QOS_MAX) {
        LOG_ERROR("Will消息配置失败：非法QoS等级=%d", qos);
        return MQTT_ERR_QOS_INVALID;
    }
    release_topic(*session);
    release_payload(*session);
    status = copy_topic_and_payload(*session, topic, payload, payload_len);
    if (status != MQTT_OK) {
        return status;
    }
    session->will_retain = retain;
    session->will_flag = 1;
    session->will_qos = qos;
    LOG_DEBUG("Will消息配置成功：ClientID=%s, Topic=%s, QoS=%d", session->client_id, topic, qos);
    return MQTT_OK;
}

int32_t mqtt_will_clear(mqtt_session *session) {
    if (session == nullptr) {
        LOG_ERROR("Will消息清理失败：session为空");
        return MQTT_ERR_INVALID_PARAM;
    }
    session->will_flag = 0;
    release_topic(*session);
    release_payload(*session);
    session->will_qos = 0;
    session->will_retain = 0;
    LOG_INFO("Will消息清理成功：ClientID=%s", session->client_id);
    return MQTT_OK;
}
