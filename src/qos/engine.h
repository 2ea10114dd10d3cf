// The QoS engine inside the library. It is given the time and tells of the messages that it loses;
// the exported operations (zep_mqtt/qos/*.h) are the same with the clock read and nobody told.
#pragma once

#include <cstdint>

#include <zep_mqtt/core/message.h>
#include <zep_mqtt/protocol/v311/session.h>

namespace zep {

// Why a message left its cache without the acknowledgement that ends its exchange.
enum class qos_loss {
    given_up,  // due again after its last retransmission
    expired,   // by a clean-up, also by one that made room for another message
    invalid    // cannot be sent any more
};

struct lost_message {
    uint32_t qos;
    uint16_t msg_id;
    qos_loss why;
};

// One call of the engine.
struct qos_call {
    mqtt_session *session;  // checked like the session of the exported operations
    uint64_t now;           // tick in ms

    // Told of each lost message once its entry is gone, unless null. It returns true when it keeps
    // the packet identifier, which goes back otherwise.
    bool (*on_lost)(void *context, const lost_message &lost) = nullptr;
    void *context = nullptr;
};

// As mqtt_qos_message_process().
int32_t qos_admit(const qos_call &call, uint32_t version, uint32_t qos, mqtt_message *msg);

// As mqtt_cache_clean_timeout() and mqtt_cache_clean_prio_timeout().
int32_t qos_expire(const qos_call &call);
int32_t qos_expire_priority(const qos_call &call, uint32_t priority, uint64_t timeout_ms);

// As mqtt_qos1_check_retrans() and mqtt_qos2_check_retrans(). buffer_shared: other packets have
// taken a part of the buffer already, so a message that does not fit waits for the next check
// without an error.
int32_t qos1_resend(const qos_call &call, uint8_t *buf, uint32_t *len, bool force);
int32_t qos2_resend(const qos_call &call, uint8_t *buf, uint32_t *len, bool buffer_shared);

// As mqtt_qos2_handle_pubrec().
int32_t qos2_handle_pubrec(const qos_call &call, uint16_t msg_id, uint8_t *buf, uint32_t *len);

// Takes back the message that was admitted last with this QoS (1 or 2): it could not be sent. Its
// identifier goes back unless another entry still holds it.
void qos_withdraw_newest(mqtt_session &session, uint32_t qos);

// Whether a message has a topic name and a payload that can be sent; the validators log why not.
bool qos_message_is_valid(const mqtt_message &msg, uint32_t version);

// Whether either cache has an entry with this identifier.
bool qos_cache_holds(const mqtt_session *session, uint16_t msg_id);

// From now on every cached message is resent in the packets of this protocol version.
void qos_cache_set_version(mqtt_session *session, uint32_t version);

}  // namespace zep
