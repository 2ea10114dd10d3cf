// One exchange, step by step:
//
//   state         sent again meanwhile   ended by   then
//   WAIT_PUBREC   PUBLISH with DUP       PUBREC     PUBREL goes out, WAIT_PUBCOMP
//   WAIT_PUBCOMP  PUBREL                 PUBCOMP    the entry and its identifier are released
//
// Anything else that arrives matches no entry. Each state has its own retransmissions.
#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/qos/qos2.h>

#include "log/log_lines.h"
#include "qos/cache_list.h"
#include "qos/resend_packet.h"
#include "qos/retransmission.h"

namespace {

constexpr uint32_t PUBREL_MIN_CAPACITY = 5;
constexpr uint8_t ANOMALIES_MAX = 10;

void enter(mqtt_qos2_entry &e, mqtt_qos2_state state, uint64_t now) {
    e.state = state;
    e.retry_count = 0;
    e.send_tick = now;
}

struct qos2_flow : zep::qos2 {
    static zep::verdict examine(mqtt_session &session, entry &e, uint64_t now, const char *) {
        if (e.state == WAIT_PUBREC || e.state == WAIT_PUBCOMP) {
            return zep::verdict::resend_if_due;
        }
        LOG_ERROR("QoS2非法状态：ClientID=%s, PacketID=%d, state=%d（累计异常%d次）",
                  session.client_id, e.msg.msg_id, e.state, session.qos2_anomaly_count);
        if (++session.qos2_anomaly_count > ANOMALIES_MAX) {
            LOG_FATAL("QoS2状态机异常超限：ClientID=%s，建议重置会话", session.client_id);
        }
        enter(e, WAIT_PUBREC, now);
        return zep::verdict::leave;
    }

    static uint64_t room(const entry &e) {
        return e.state == WAIT_PUBREC ? zep::publish_room(e.version, e.msg)
                                      : zep::pubrel_room(e.version);
    }

    static int32_t encode(const entry &e, uint8_t *buf, uint32_t *len) {
        return e.state == WAIT_PUBREC
                   ? zep::encode_publish_again(e.version, LEVEL, 0, e.msg, buf, len)
                   : zep::encode_pubrel_again(e.version, e.msg.msg_id, buf, len);
    }
};

int32_t check_pubrec(const mqtt_session *session, uint16_t msg_id, const uint8_t *buf,
                     const uint32_t *len) {
    if (session == nullptr || buf == nullptr || len == nullptr) {
        LOG_ERROR("PUBREC处理参数非法：session=%p, buf=%p, buf_len_ptr=%p",
                  static_cast<const void *>(session), static_cast<const void *>(buf),
                  static_cast<const void *>(len));
        return MQTT_ERR_INVALID_PARAM;
    }
    if (*len < PUBREL_MIN_CAPACITY) {
        LOG_ERROR("PUBREL编码缓冲区不足：当前%d < MQTT5.0最小5字节", *len);
        return MQTT_ERR_INVALID_PARAM;
    }
    if (!zep::is_packet_id(msg_id)) {
        LOG_ERROR("PUBREL非法MsgID：%d（协议要求1~65535）", msg_id);
        return MQTT_ERR_INVALID_PARAM;
    }
    return MQTT_OK;
}

}  // namespace

namespace zep {

int32_t qos2_handle_pubrec(const qos_call &call, uint16_t msg_id, uint8_t *buf, uint32_t *len) {
    int32_t status = check_pubrec(call.session, msg_id, buf, len);
    if (status != MQTT_OK) {
        return status;
    }
    mqtt_qos2_entry *waiting = *find_link<qos2>(*call.session, [msg_id](const mqtt_qos2_entry &e) {
        return e.msg.msg_id == msg_id && e.state == WAIT_PUBREC;
    });
    if (waiting == nullptr) {
        LOG_ERROR("PUBREC处理失败：未找到MsgID=%d的QoS2缓存（状态=WAIT_PUBREC）", msg_id);
        return MQTT_ERR_CACHE_NOT_FOUND;
    }
    enter(*waiting, WAIT_PUBCOMP, call.now);
    status = encode_pubrel(waiting->version, msg_id, buf, len);
    if (status != MQTT_OK) {
        LOG_ERROR("PUBREL编码失败：版本=%d, MsgID=%d, 错误=%s", waiting->version, msg_id,
                  mqtt_status_text(status));
    }
    return status;
}

int32_t qos2_resend(const qos_call &call, uint8_t *buf, uint32_t *len, bool buffer_shared) {
    if (call.session == nullptr || buf == nullptr || len == nullptr) {
        return MQTT_ERR_INVALID_PARAM;
    }
    return retransmission<qos2_flow>(call, buf, *len, false, buffer_shared).run(len);
}

}  // namespace zep

int32_t mqtt_qos2_handle_pubrec(mqtt_session *session, uint16_t msg_id, uint8_t *buf,
                                uint32_t *len) {
    return zep::qos2_handle_pubrec({session, platform_get_tick_ms()}, msg_id, buf, len);
}

int32_t mqtt_qos2_handle_pubcomp(mqtt_session *session, uint16_t msg_id) {
    return zep::complete<zep::qos2>(
        session, msg_id, [](const mqtt_qos2_entry &e) { return e.state == WAIT_PUBCOMP; });
}

int32_t mqtt_qos2_check_retrans(mqtt_session *session, uint8_t *buf, uint32_t *len) {
    return zep::qos2_resend({session, platform_get_tick_ms()}, buf, len, false);
}
