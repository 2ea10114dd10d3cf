#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/qos/qos1.h>

#include "log/log_lines.h"
#include "qos/cache_list.h"
#include "qos/resend_packet.h"
#include "qos/retransmission.h"

namespace {

struct qos1_flow : zep::qos1 {
    static zep::verdict examine(mqtt_session &, const entry &e, uint64_t, const char *rank) {
        if (zep::qos_message_is_valid(e.msg, e.version)) {
            return zep::verdict::resend_if_due;
        }
        LOG_ERROR("QoS1%s消息校验失败，清理无效缓存：PacketID=%d", rank, e.msg.msg_id);
        return zep::verdict::drop;
    }

    static uint64_t room(const entry &e) { return zep::publish_room(e.version, e.msg); }

    static int32_t encode(const entry &e, uint8_t *buf, uint32_t *len) {
        return zep::encode_publish_again(e.version, LEVEL, e.msg.message_expiry, e.msg, buf, len);
    }
};

}  // namespace

int32_t mqtt_qos1_handle_puback(mqtt_session *session, uint16_t msg_id) {
    return zep::complete<zep::qos1>(session, msg_id, [](const mqtt_qos1_entry &) { return true; });
}

int32_t zep::qos1_resend(const qos_call &call, uint8_t *buf, uint32_t *len, bool force) {
    if (call.session == nullptr || buf == nullptr || len == nullptr) {
        return MQTT_ERR_INVALID_PARAM;
    }
    return retransmission<qos1_flow>(call, buf, *len, force, false).run(len);
}

int32_t mqtt_qos1_check_retrans(mqtt_session *session, uint8_t *buf, uint32_t *len, uint8_t force) {
    return zep::qos1_resend({session, platform_get_tick_ms()}, buf, len, force != 0);
}
