// One receive step: a bounded read, and the splitting of the stream into packets.
#include <algorithm>
#include <atomic>

#include <zep_mqtt/client/receive.h>
#include <zep_mqtt/net/adapter.h>

#include "client/connection/client_private.h"
#include "client/inbound/dispatch.h"
#include "log/log_lines.h"
#include "net/adapter_private.h"
#include "protocol/common/framing.h"

uint8_t g_mqtt_recv_buf[MQTT_CLIENT_RX_BUFFER_SIZE];

namespace zep {

namespace {

constexpr uint32_t READ_WAIT_MS = 20;
constexpr int32_t ADAPTER_TIMEOUT = -2;
constexpr uint32_t PACKET_TIMEOUT_S = 60;
constexpr int LAST_READS = 256;  // before a connection is given up whose peer goes on sending

std::atomic_flag g_recv_buf_taken = ATOMIC_FLAG_INIT;

// The process-wide receive buffer for the time of one read. No thread waits for it: a client that
// finds it taken by another thread's client reads past it, into its own buffer.
class recv_buf_claim {
 public:
    recv_buf_claim() : taken_(!g_recv_buf_taken.test_and_set(std::memory_order_acquire)) {}
    ~recv_buf_claim() {
        if (taken_) {
            g_recv_buf_taken.clear(std::memory_order_release);
        }
    }
    recv_buf_claim(const recv_buf_claim &) = delete;
    recv_buf_claim &operator=(const recv_buf_claim &) = delete;

    bool taken() const { return taken_; }

 private:
    bool taken_;
};

void compact(receive_buffer &rx) {
    if (rx.start != 0) {
        std::memmove(rx.bytes, rx.bytes + rx.start, rx.end - rx.start);
        rx.end -= rx.start;
        rx.start = 0;
    }
}

bool is_inside_packet(const receive_buffer &rx) {
    return rx.end != 0 || rx.skip != 0;
}

// Drops the bytes held of an oversized packet. One that arrives in full reads, or is over, makes
// progress: it is not the packet that never ends.
void pass_over_oversized(receive_buffer &rx) {
    const uint32_t passed = std::min(rx.skip, rx.end - rx.start);
    rx.start += passed;
    rx.skip -= passed;
    if (passed == sizeof rx.bytes || (passed != 0 && rx.skip == 0)) {
        rx.whole_ms = tick_now();
    }
}

// The next whole packet, or no data: what is left is not whole yet, or the link had to be given up.
packet_view next_packet(mqtt_client &client) {
    receive_buffer &rx = state_of(client).rx;
    for (;;) {
        pass_over_oversized(rx);
        const uint8_t *data = rx.bytes + rx.start;
        const uint32_t held = rx.end - rx.start;
        const frame found = find_frame(data, held, received_remaining_max(version_in_use(client)));
        switch (found.kind) {
            case frame_kind::malformed:
                LOG_ERROR("MQTT_CLIENT报文剩余长度非法，无法重新同步，标记断线");
                lose_link(client);
                return {};
            case frame_kind::oversized:
                LOG_WARN("MQTT_CLIENT报文超过接收上限，跳过（总长度：%u）", found.packet.length);
                rx.skip = found.packet.length;
                break;
            case frame_kind::whole:
                rx.start += found.packet.length;
                return found.packet;
            case frame_kind::incomplete:
            default:
                return {};
        }
    }
}

// A callback may have disconnected the client, or connected it anew: then nothing that the old
// connection brought is handled any more.
bool is_receiving(const mqtt_client &client) {
    return has_link(client) && state_of(client).rx.end != 0;
}

void handle_held_packets(mqtt_client &client) {
    receive_buffer &rx = state_of(client).rx;
    while (is_receiving(client)) {
        const packet_view packet = next_packet(client);
        if (packet.data == nullptr) {
            break;
        }
        dispatch_packet(client, packet);
        rx.whole_ms = tick_now();  // a slow callback is not the peer's
    }
    compact(rx);
}

// Appends what one read brings to the bytes held.
int32_t read_from_network(mqtt_client &client, uint32_t wait_ms) {
    receive_buffer &rx = state_of(client).rx;
    const uint32_t room = static_cast<uint32_t>(sizeof rx.bytes) - rx.end;
    uint8_t *own = rx.bytes + rx.end;
    const recv_buf_claim shared;
    uint8_t *target = shared.taken() ? g_mqtt_recv_buf : own;
    std::memset(target, 0, shared.taken() ? sizeof g_mqtt_recv_buf : room);
    uint32_t received = 0;
    const int32_t status = net_adapter_recv(client.net_index, target, room, &received, wait_ms);
    if (status == 0) {
        std::memmove(own, target, received);
        rx.end += received;
    }
    return status;
}

// closed: nothing will ever be read again.
void handle_failed_read(mqtt_client &client, int32_t status, bool closed) {
    if (is_connecting(client)) {
        LOG_DEBUG("MQTT_CLIENTCONNECTING状态-接收超时/失败（状态码：%d），继续等待CONNACK", status);
    } else if (is_connected(client) && (closed || status < ADAPTER_TIMEOUT)) {
        LOG_ERROR("MQTT_CLIENT报文接收失败（网络状态码：%d），TCP链路异常，标记断线", status);
        lose_link(client);
    }
}

void read_and_handle(mqtt_client &client) {
    const uint32_t begun = tick_now();
    const int32_t status = read_from_network(client, READ_WAIT_MS);
    if (status == 0) {
        handle_held_packets(client);
        return;
    }
    const uint32_t waited_ms = tick_now() - begun;
    // A socket that was silent for the whole wait has not been closed either.
    const bool closed = waited_ms < READ_WAIT_MS && net_adapter_peer_closed(client.net_index);
    handle_failed_read(client, status, closed);
    if (closed && is_connecting(client)) {
        // Every read fails at once until the CONNACK is overdue. The application's loop is not to
        // spin meanwhile.
        platform_delay_ms(READ_WAIT_MS - waited_ms);
    }
}

// A packet whose length promises more than ever comes would swallow everything that follows, also
// the PINGRESPs, on a connection that looks alive.
void give_up_on_endless_packet(mqtt_client &client) {
    const receive_buffer &rx = state_of(client).rx;
    if (is_connected(client) && is_inside_packet(rx) &&
        tick_now() - rx.whole_ms >= 1000 * PACKET_TIMEOUT_S) {
        LOG_ERROR("MQTT_CLIENT报文未在%us内收完，标记断线", PACKET_TIMEOUT_S);
        lose_link(client);
    }
}

}  // namespace

void receive_what_has_arrived(mqtt_client &client) {
    const uint32_t state = client.state;
    for (int reads = 0; reads < LAST_READS && client.state == state; reads++) {
        if (read_from_network(client, 0) != 0) {
            return;
        }
        handle_held_packets(client);
    }
}

}  // namespace zep

using namespace zep;

void mqtt_client_recv_packet_proc(mqtt_client *client) {
    if (client == nullptr) {
        log_null_pointer("mqtt_client_recv_packet_proc");
        return;
    }
    receive_buffer &rx = state_of(*client).rx;
    if (!is_inside_packet(rx)) {
        rx.whole_ms = tick_now();
    }
    read_and_handle(*client);
    give_up_on_endless_packet(*client);
}
