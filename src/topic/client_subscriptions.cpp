// The record that the client operations keep of their subscriptions, in the store of the process.
#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/topic/subscription_store.h>

#include "core/limits.h"
#include "log/log_lines.h"
#include "topic/wildcards.h"

namespace {

int32_t refuse_filter(const mqtt_session &session, const char *filter, int32_t reason) {
    LOG_ERROR("[业务层] 添加订阅失败：过滤器非法（%s），ClientID=%s，错误码=%d", filter,
              session.client_id, reason);
    return MQTT_ERR_INVALID_PARAM;
}

int32_t check_subscription(const mqtt_session *session, const char *filter, uint32_t qos) {
    if (session == nullptr) {
        LOG_ERROR("[业务层] 添加订阅失败：会话指针为空");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (filter == nullptr || *filter == '\0') {
        LOG_ERROR("[业务层] 添加订阅失败：过滤器为空（ClientID=%s）", session->client_id);
        return MQTT_ERR_INVALID_PARAM;
    }
    if (qos > zep::QOS_MAX) {
        LOG_ERROR("[业务层] 添加订阅失败：QoS非法（%d），ClientID=%s", qos, session->client_id);
        return MQTT_ERR_INVALID_PARAM;
    }
    if (std::strlen(filter) >= MQTT_TOPIC_STORE_SIZE) {
        return refuse_filter(*session, filter, MQTT_ERR_TOPIC_TOO_LONG);
    }
    if (zep::find_wildcard_fault(filter) != zep::wildcard_fault::none) {
        return refuse_filter(*session, filter, MQTT_ERR_INVALID_PARAM);
    }
    return MQTT_OK;
}

}  // namespace

int32_t mqtt_subscribe_add(mqtt_session *session, const char *filter, uint32_t qos) {
    int32_t status = check_subscription(session, filter, qos);
    if (status != MQTT_OK) {
        return status;
    }
    status = mqtt_topic_client_add(&g_mqtt_sub_ctx, filter, static_cast<uint8_t>(qos), nullptr);
    switch (status) {
        case MQTT_OK:
            LOG_INFO("[业务层] 订阅添加成功：ClientID=%s，过滤器=%s，QoS=%d", session->client_id,
                     filter, qos);
            return MQTT_OK;
        case MQTT_ERR_CACHE_FULL:
            LOG_ERROR("[业务层] 添加订阅失败：订阅数超限（ClientID=%s）", session->client_id);
            return MQTT_ERR_CACHE_FULL;
        default:
            LOG_ERROR("[业务层] 添加订阅失败：未知错误（ClientID=%s，错误码=%d）",
                      session->client_id, status);
            return MQTT_ERR_INTERNAL;
    }
}

int32_t mqtt_subscribe_remove(mqtt_session *session, const char *filter) {
    if (session == nullptr) {
        LOG_ERROR("[业务层] 移除订阅失败：会话指针为空");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (filter == nullptr || *filter == '\0') {
        LOG_ERROR("[业务层] 移除订阅失败：过滤器为空（ClientID=%s）", session->client_id);
        return MQTT_ERR_INVALID_PARAM;
    }
    const int32_t status = mqtt_topic_client_remove(&g_mqtt_sub_ctx, filter);
    switch (status) {
        case MQTT_OK:
            LOG_INFO("[业务层] 订阅移除成功：ClientID=%s，过滤器=%s", session->client_id, filter);
            return MQTT_OK;
        case MQTT_ERR_CACHE_NOT_FOUND:
            LOG_ERROR("[业务层] 移除订阅失败：过滤器未找到（ClientID=%s，过滤器=%s）",
                      session->client_id, filter);
            return MQTT_ERR_CACHE_NOT_FOUND;
        default:
            LOG_ERROR("[业务层] 移除订阅失败：未知错误（ClientID=%s，错误码=%d）",
                      session->client_id, status);
            return MQTT_ERR_INTERNAL;
    }
}
