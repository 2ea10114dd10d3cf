#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/text.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/subscribe.h>

#include "core/limits.h"
#include "log/log_lines.h"
#include "protocol/v50/encode.h"
#include "protocol/v50/properties.h"
#include "topic/share_group.h"

namespace {

using zep::SHARE_GROUP_MAX;
using zep::TOPIC_MAX;

constexpr int SMALLEST_SUBSCRIBE_BUFFER = 64;

// Room for the longest group and filter, so that what is too long is refused and never cut.
using filter_text = char[sizeof "$share//" + SHARE_GROUP_MAX + TOPIC_MAX];

int32_t check_filter(size_t filter_len) {
    if (filter_len == 0 || filter_len > TOPIC_MAX) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 SUB: 订阅过滤器非法，长度=%d",
                  static_cast<int>(filter_len));
        return MQTT_ERR_INVALID_PARAM;
    }
    return MQTT_OK;
}

// MQTT 5.0 §4.8.2
int32_t compose_shared_filter(const mqtt50_subscribe &subscribe, filter_text &filter) {
    const size_t group_len = strnlen(subscribe.share_group, sizeof subscribe.share_group);
    if (group_len == 0 || group_len > SHARE_GROUP_MAX) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 SUB: 共享组名非法，长度=%d",
                  static_cast<int>(group_len));
        return MQTT_ERR_INVALID_PARAM;
    }
    const int32_t status = check_filter(strnlen(subscribe.topic, sizeof subscribe.topic));
    if (status != MQTT_OK) {
        return status;
    }
    zep::compose_shared_filter(filter, sizeof filter, subscribe.share_group, subscribe.topic);
    LOG_INFO("MQTT5.0_PROTOCOL: MQTT50 SUB: 共享订阅主题拼接完成：%s", filter);
    return MQTT_OK;
}

// Puts the filter to be sent, plain or shared, into filter.
int32_t make_filter(const mqtt50_subscribe &subscribe, filter_text &filter) {
    if (subscribe.is_shared == 1) {
        const int32_t status = compose_shared_filter(subscribe, filter);
        if (status != MQTT_OK) {
            return status;
        }
    } else {
        const size_t topic_len = strnlen(subscribe.topic, sizeof subscribe.topic);
        std::memcpy(filter, subscribe.topic, topic_len);
        filter[topic_len] = '\0';
    }
    return check_filter(platform_strlen(filter));
}

// MQTT 5.0 §3.8.3.1
uint8_t subscription_options(const mqtt50_subscribe &subscribe) {
    return static_cast<uint8_t>((subscribe.qos & 3) | (subscribe.no_local != 0 ? 0x04U : 0U) |
                                (subscribe.retain_as_published != 0 ? 0x08U : 0U) |
                                (subscribe.retain_handling & 3U) << 4);
}

}  // namespace

namespace zep::v50 {

void begin_filters(packet_writer &packet, uint16_t msg_id) {
    packet.u16(msg_id);
    write_no_properties(packet);
}

void write_filter(packet_writer &packet, std::string_view filter) {
    packet.text(filter);
}

void write_subscription(packet_writer &packet, std::string_view filter, uint8_t options) {
    write_filter(packet, filter);
    packet.u8(options);
}

}  // namespace zep::v50

int32_t mqtt50_subscribe_encode(const mqtt50_subscribe *subscribe, uint8_t *buffer,
                                uint32_t *length) {
    if (subscribe == nullptr || buffer == nullptr || length == nullptr) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 SUB: 入参空指针");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (*length < SMALLEST_SUBSCRIBE_BUFFER || subscribe->msg_id == 0) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 SUB: 缓冲区过小或MsgId为空 msg_id=%d, 要求最小长度=%d",
                  subscribe->msg_id, SMALLEST_SUBSCRIBE_BUFFER);
        return MQTT_ERR_INVALID_PARAM;
    }
    filter_text filter;
    const int32_t status = make_filter(*subscribe, filter);
    if (status != MQTT_OK) {
        return status;
    }
    zep::packet_writer packet =
        zep::v50::begin_in_cleared(buffer, *length, zep::first_byte(MQTT_PACKET_SUBSCRIBE, 2));
    zep::v50::begin_filters(packet, subscribe->msg_id);
    zep::v50::write_subscription(packet, filter, subscription_options(*subscribe));
    if (!zep::v50::finish(packet, buffer, length)) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 SUB: 缓冲区过小");
        return MQTT_ERR_BUFFER_FULL;
    }
    LOG_INFO(
        "MQTT5.0_PROTOCOL: ✅ MQTT50 "
        "SUB编码完成:总长度=%d,msg_id=%d,最终主题=%s,QoS=%d,共享订阅=%d",
        *length, subscribe->msg_id, filter, subscribe->qos, subscribe->is_shared == 1 ? 1 : 0);
    return MQTT_OK;
}
