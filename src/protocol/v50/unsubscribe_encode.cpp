#include <cstring>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/protocol/v311/packet.h>
#include <zep_mqtt/protocol/v50/unsubscribe.h>

#include "core/limits.h"
#include "log/log_lines.h"
#include "protocol/v50/encode.h"

namespace {

constexpr uint32_t SMALLEST_UNSUBSCRIBE_BUFFER = 32;

}  // namespace

int32_t mqtt50_unsubscribe_encode(const mqtt50_unsubscribe *unsubscribe, uint8_t *buffer,
                                  uint32_t *length) {
    if (unsubscribe == nullptr || buffer == nullptr || length == nullptr) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 UNSUB: 入参空指针");
        return MQTT_ERR_INVALID_PARAM;
    }
    if (*length < SMALLEST_UNSUBSCRIBE_BUFFER || unsubscribe->msg_id == 0) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 UNSUB: 缓冲区过小或MsgId为空");
        return MQTT_ERR_INVALID_PARAM;
    }
    const size_t filter_len = strnlen(unsubscribe->topic, sizeof unsubscribe->topic);
    if (filter_len == 0 || filter_len > zep::TOPIC_MAX) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 UNSUB: 取消订阅过滤器非法，长度=%d",
                  static_cast<int>(filter_len));
        return MQTT_ERR_INVALID_PARAM;
    }
    zep::packet_writer packet(buffer, *length, zep::first_byte(MQTT_PACKET_UNSUBSCRIBE, 2));
    zep::v50::begin_filters(packet, unsubscribe->msg_id);
    zep::v50::write_filter(packet, {unsubscribe->topic, filter_len});
    if (!zep::v50::finish(packet, buffer, length)) {
        LOG_ERROR("MQTT5.0_PROTOCOL: MQTT50 UNSUB: 缓冲区溢出");
        return MQTT_ERR_BUFFER_FULL;
    }
    LOG_INFO("MQTT5.0_PROTOCOL: ✅ MQTT50 UNSUB编码完成:总长度=%d,msg_id=%d,主题=%s", *length,
             unsubscribe->msg_id, unsubscribe->topic);
    return MQTT_OK;
}
