// One check of a cache for messages that are due for retransmission, the same for both qualities of
// service. What differs stands in the flow of each, beside its acknowledgements:
//
//   struct flow : qos1 or qos2 {
//       static verdict examine(mqtt_session &, entry &, uint64_t now, const char *rank);
//       static uint64_t room(const entry &);  // what encode() demands of its buffer
//       static int32_t encode(const entry &, uint8_t *buf, uint32_t *len);
//   };
#pragma once

#include <zep_mqtt/core/status.h>

#include "log/log_lines.h"
#include "qos/cache_list.h"

namespace zep {

enum class verdict {
    resend_if_due,
    leave,  // nothing more for this entry in this check
    drop
};

template <typename Flow>
class retransmission {
 public:
    // force: every message counts as due. buffer_shared: other packets have taken a part of the
    // buffer already.
    retransmission(const qos_call &call, uint8_t *buf, uint32_t capacity, bool force,
                   bool buffer_shared)
        : call_(call),
          buf_(buf),
          capacity_(capacity),
          force_(force),
          buffer_shared_(buffer_shared) {}

    // The packets stand one behind the other; len is written when there is at least one.
    int32_t run(uint32_t *len) {
        visit_high_priority();
        visit_others();
        if (packets_ > 0) {
            *len = used_;
        }
        return packets_;
    }

 private:
    using entry = typename Flow::entry;
    static constexpr uint32_t MIN_CAPACITY = 2;

    // Oldest first, against the order of the list.
    void visit_high_priority() {
        entry *found[Flow::LIMIT];
        uint32_t count = 0;
        for (entry *e = Flow::head(*call_.session); e != nullptr && count < Flow::LIMIT;
             e = e->next) {
            if (e->priority == MQTT_PRIORITY_HIGH) {
                found[count++] = e;
            }
        }
        while (count > 0) {
            visit(*found[--count], "高优");
        }
    }

    // Newest first. A visit may end the entry, so its successor is taken before.
    void visit_others() {
        for (entry *e = Flow::head(*call_.session), *next = nullptr; e != nullptr; e = next) {
            next = e->next;
            if (e->priority != MQTT_PRIORITY_HIGH) {
                visit(*e, "");
            }
        }
    }

    // rank: how the log lines of the pass tell it apart.
    void visit(entry &e, const char *rank) {
        switch (Flow::examine(*call_.session, e, call_.now, rank)) {
            case verdict::drop:
                lose<Flow>(call_, e, qos_loss::invalid);
                return;
            case verdict::leave:
                return;
            case verdict::resend_if_due:
                break;
        }
        if (!force_ && call_.now - e.send_tick < mqtt_calc_exponential_backoff(e.retry_count)) {
            return;
        }
        if (e.retry_count >= MQTT_RETRY_MAX) {
            lose<Flow>(call_, e, qos_loss::given_up);
            return;
        }
        resend(e, rank);
    }

    void resend(entry &e, const char *rank) {
        if (capacity_ < MIN_CAPACITY) {
            LOG_ERROR("重传缓冲区不足：当前%d < 最小2字节", capacity_);
            return;
        }
        const uint32_t room = capacity_ - used_;
        if ((packets_ > 0 || buffer_shared_) && Flow::room(e) > room) {
            return;  // stays due: a later check has the whole buffer
        }
        uint32_t length = room;
        const int32_t status = Flow::encode(e, buf_ + used_, &length);
        if (status != MQTT_OK) {
            LOG_ERROR("QoS%d%s重传编码失败：PacketID=%d，版本=%d，错误=%s", Flow::LEVEL, rank,
                      e.msg.msg_id, e.version, mqtt_status_text(status));
            return;
        }
        if (length > room) {
            LOG_WARN("重传编码后长度超限：%d > %d", length, room);
            return;
        }
        ++e.retry_count;
        e.send_tick = call_.now;
        used_ += length;
        ++packets_;
    }

    const qos_call &call_;
    uint8_t *const buf_;
    const uint32_t capacity_;
    const bool force_;
    const bool buffer_shared_;
    uint32_t used_ = 0;
    int32_t packets_ = 0;
};

}  // namespace zep
