#include "client/outbound/retransmit.h"

#include <zep_mqtt/qos/cache.h>

#include "client/connection/client_private.h"
#include "client/outbound/awaited_ack.h"
#include "log/log_lines.h"

namespace zep {

namespace {

// The broker may not have finished a QoS 2 exchange that ended here: as long as it holds the
// identifier it takes a new message under it for a repetition, acknowledges and drops it
// (MQTT 3.1.1 §4.3.3).
bool on_lost_message(void *context, const lost_message &lost) {
    mqtt_client &client = *static_cast<mqtt_client *>(context);
    if (lost.why == qos_loss::given_up) {
        LOG_WARN("MQTT_CLIENT: QoS%d消息重传%d次未获确认，放弃（pkt_id：%d）", lost.qos,
                 MQTT_RETRY_MAX, lost.msg_id);
    }
    if (lost.qos != 2 || !is_connected(client) || qos_cache_holds(&client.session, lost.msg_id)) {
        return false;
    }
    await_end_of_connection(client, lost.msg_id);
    return true;
}

// Sends the packets that the engine has laid out in tx_buf.
void send_retransmissions(const mqtt_client &client, int qos, int32_t count, uint32_t length) {
    if (count <= 0) {
        return;
    }
    const int32_t sent = send_packet(client, client.tx_buf, length);
    if (sent != 0) {
        LOG_ERROR("MQTT_CLIENT: QoS%d重传失败（状态码：%d）", qos, sent);
    } else {
        LOG_DEBUG("MQTT_CLIENT: QoS%d重传%d条消息", qos, count);
    }
}

}  // namespace

qos_call call_engine(mqtt_client &client) {
    return {&client.session, platform_get_tick_ms(), on_lost_message, &client};
}

// QoS 2 gets as much room as QoS 1 has used, or all when it has used none; what does not fit goes
// out with a later pass.
void retransmit(mqtt_client &client) {
    clear_tx_buf(client);
    uint32_t length = sizeof client.tx_buf;
    const int32_t qos1_count = qos1_resend(call_engine(client), client.tx_buf, &length, false);
    send_retransmissions(client, 1, qos1_count, length);

    std::memset(client.tx_buf, 0, length);
    const int32_t qos2_count =
        qos2_resend(call_engine(client), client.tx_buf, &length, qos1_count > 0);
    send_retransmissions(client, 2, qos2_count, length);
}

void expire_cached_messages(mqtt_client &client) {
    const int32_t removed = qos_expire(call_engine(client));
    if (removed > 0) {
        LOG_DEBUG("MQTT_CLIENT: 清理超时QoS活重传缓存，共%d条", removed);
    }
}

}  // namespace zep
