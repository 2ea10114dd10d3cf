// An event-driven client: its state, and what its files share.
//
// The lock protects everything here. Whoever calls the listener lets go of it for that time and
// looks afterwards whether the connection is still the one that it was (`epoch`, `closed`). Only
// the thread that serves the client calls the listener, so that what other threads bring about (a
// fate, a broken stream) waits in the client until it is served.
#pragma once

#include <cstdint>

#include <zep_mqtt/crypto/payload_cipher.h>
#include <zep_mqtt_sdk_event.h>

#include "client/event/receipts.h"
#include "client/outbound/outbox.h"
#include "net/stream_socket.h"
#include "protocol/strict/packets.h"
#include "qos/in_flight.h"
#include "static_lock.h"

namespace zep {

constexpr uint64_t NEVER = UINT64_MAX;
constexpr uint32_t KEPT_FILTERS_MAX = 64;
constexpr uint32_t ADDRESSES_MAX = 16;
constexpr uint32_t ACK_SIZE = 4;       // the longest acknowledgement that is ever sent
constexpr uint32_t ACK_RESERVE = 256;  // room of the outbox that is theirs
constexpr uint32_t LINK_RESERVE = 16;  // ... and of a PINGREQ and a DISCONNECT
constexpr uint32_t PUBLISH_FLAGS_DUP = 8;
constexpr uint32_t EXPIRY_SIZE = 4;  // bytes of a Message Expiry Interval

enum class link_phase : uint8_t {
    IDLE,      // disconnected by the application
    WAITING,   // until the next attempt
    OPENING,   // the transport connects
    GREETING,  // CONNECT sent, CONNACK awaited
    UP
};

// A filter that the broker has granted.
struct kept_filter {
    uint8_t qos;
    char *text;  // heap; null for a free place
};

// A packet that is passed over as it arrives, to its last byte.
struct passing_packet {
    uint32_t left = 0;      // bytes still to come
    uint32_t id_after = 0;  // bytes until its identifier, when that was not within reach
    uint32_t size = 0;
    uint16_t id = 0;
    uint8_t qos = 0;
    uint8_t id_bytes_missing = 0;
    char topic[64] = {};
};

struct event_client {
    static_lock lock;
    zep_mqtt_sdk_client *handle = nullptr;

    // Chosen when the handle was opened.
    zep_mqtt_sdk_listener listener = {};
    void *user = nullptr;
    zep_mqtt_sdk_transport transport = {};
    zep_mqtt_sdk_address *addresses = nullptr;  // behind this record, like the buffers
    uint32_t address_count = 0;
    uint32_t version = 0;
    uint32_t first_backoff_ms = 0;
    uint32_t longest_backoff_ms = 0;
    uint32_t connect_timeout_ms = 0;
    uint32_t pingresp_timeout_ms = 0;
    uint32_t max_packet_in = 0;
    uint32_t max_packet_out = 0;
    uint32_t max_unacknowledged = 0;
    uint32_t qos2_window = 0;
    uint32_t asked_session_expiry_s = 0;
    uint16_t asked_keep_alive_s = 0;
    bool clean_start = false;  // of the first connection
    bool resume_session = false;
    bool resubscribe = true;
    bool manual_acknowledge = false;
    bool accept_offline = false;
    bool cipher_on = false;
    crypto_context cipher = {};
    uint32_t block_size = 0;            // of this record and all behind it
    uint8_t *connect_packet = nullptr;  // with its clean flag clear
    uint32_t connect_length = 0;
    uint32_t connect_flags_at = 0;

    // The connection.
    link_phase phase = link_phase::IDLE;
    bool broken = false;  // a send has failed; the next serving ends the connection
    bool ever_connected = false;
    bool asked_clean = false;  // what CONNECT said
    bool ping_awaited = false;
    uint32_t epoch = 0;  // counts connections
    void *connection = nullptr;
    int32_t broken_error = 0;
    uint32_t address_index = 0;
    uint32_t round_start = 0;  // address with which this round of attempts began
    uint32_t failed_rounds = 0;
    uint64_t attempt_due_ms = NEVER;
    uint64_t greeting_due_ms = NEVER;
    uint64_t last_sent_ms = 0;
    uint64_t last_received_ms = 0;
    uint64_t ping_sent_ms = 0;
    uint64_t packet_begun_ms = 0;  // of the bytes held, or of the packet that passes
    uint32_t keep_alive_ms = 0;
    uint32_t receive_maximum = UINT16_MAX;
    uint32_t qos2_maximum = UINT16_MAX;
    uint32_t on_wire = 0;       // messages of QoS 1 and 2 that count against the one
    uint32_t qos2_on_wire = 0;  // ... of QoS 2 against the other
    uint32_t maximum_packet_size = UINT32_MAX;
    uint8_t maximum_qos = 2;
    bool retain_available = true;
    bool wildcard_available = true;
    bool shared_available = true;

    // What has arrived and is not a whole packet yet.
    uint8_t *inbox = nullptr;
    uint32_t inbox_held = 0;
    bool more_to_read = false;
    bool short_read_ends = false;  // a read that brings less than it could has brought all there is
    passing_packet passing;
    uint8_t *received_qos2 = nullptr;  // heap, from the first QoS 2 message on: see received_ids.h
    receipt_queue receipts;

    outbox out;
    in_flight exchanges;
    kept_filter *filters = nullptr;  // heap, KEPT_FILTERS_MAX of them from the first one on
    uint32_t filter_count = 0;
    uint64_t last_token = 0;     // of exchanges: even
    uint64_t qos0_accepted = 0;  // tokens of QoS 0 are odd and count on by themselves
    uint64_t qos0_reported = 0;
    uint64_t ignored_acks = 0;
    uint64_t next_expiry_ms = NEVER;  // no message expires before
    bool room_awaited = false;

    // Who is at work.
    uint32_t pins = 0;  // loop calls that hold this client; the last one releases it when closed
    bool serving = false;
    bool closed = false;
    bool woken = false;
    const waker *waiting = nullptr;  // of the loop call that waits for this client
    waker own_waker;                 // opened by the first loop call that waits

    bool is_up() const { return phase == link_phase::UP && !broken; }
};

// Lets go of the client's lock, for a call of the listener.
class unlocked {
 public:
    explicit unlocked(event_client &client) : client_(client) { client_.lock.unlock(); }
    ~unlocked() { client_.lock.lock(); }
    unlocked(const unlocked &) = delete;
    unlocked &operator=(const unlocked &) = delete;

 private:
    event_client &client_;
};

// Tokens of QoS 0 are odd and count on by themselves, so that two counters say which fates are
// still to be reported; those of exchanges are even.
constexpr uint64_t qos0_token(uint64_t number) {
    return 2 * number - 1;
}
inline uint64_t next_token(event_client &client) {
    return client.last_token += 2;
}

// The text that a request carries behind its packet.
inline const char *request_filter(exchange &request) {
    return reinterpret_cast<const char *>(request.packet() + request.length);
}

// log.cpp
void event_log(event_client &client, uint32_t level, const char *format, ...) ZEP_MQTT_PRINTF(3, 4);

// open.cpp
event_client *open_client(const zep_mqtt_sdk_config &config, const zep_mqtt_sdk_options &options);
// Tells all fates that are left, and releases the client as soon as no loop call holds it any more.
void close_client(event_client *client);
void release_client(event_client *client);

// wait.cpp
int32_t loop(event_client *const *clients, uint32_t count, uint32_t wait_ms);

// connection.cpp: the life of a connection.
void begin_attempt(event_client &client, uint64_t now);
void continue_opening(event_client &client, uint64_t now);
void on_connack(event_client &client, const strict::connack &connack, uint64_t now);
struct link_end {
    uint32_t cause = ZEP_MQTT_SDK_CAUSE_NONE;
    int32_t system_error = 0;
    uint8_t broker_code = 0;
    bool refused = false;
    const char *reason = nullptr;
};
// Ends the connection, plans the next attempt and tells the listener.
void lose_connection(event_client &client, const link_end &end);
// The broker broke the protocol: a 5.0 broker is told why.
void end_for_protocol(event_client &client, uint8_t reason);
void close_connection(event_client &client);  // silently, no further attempt
void start_connecting(event_client &client);
void stop_connecting(event_client &client);

// outgoing.cpp: from the exchanges through the outbox into the transport.
void put_unsent(event_client &client);  // as much as the outbox and the broker take
void flush(event_client &client);       // as much as the transport takes
void pump(event_client &client);        // both
void put_ack(event_client &client, uint8_t type, uint16_t id);
bool window_is_open(const event_client &client, uint32_t qos);
void put_pingreq(event_client &client);
void put_disconnect(event_client &client, uint8_t reason);
void put_given_receipts(event_client &client);
void expire_messages(event_client &client, uint64_t now);
void rewind_exchanges(event_client &client, bool session_present);

// send.cpp
int32_t send_messages(event_client &client, const zep_mqtt_sdk_msg *msgs, uint32_t count,
                      uint64_t *tokens, uint32_t *accepted);
int32_t cancel(event_client &client, uint64_t token);

// subscriptions.cpp
int32_t request_subscription(event_client &client, uint8_t type, const char *filter, uint32_t qos,
                             uint64_t *token);
void subscribe_again(event_client &client);
void on_request_answered(event_client &client, exchange &request, uint8_t code);
void forget_filters(event_client &client);

// incoming.cpp
bool receive(event_client &client);  // one read; whether it brought anything
bool can_receive(const event_client &client);
void release_receipts(event_client &client);
int32_t acknowledge(event_client &client, uint64_t receipt);

// report.cpp: calls of the listener.
void report_fates(event_client &client);
void report_room(event_client &client);
bool has_news(const event_client &client);  // something waits to be told
void report_all_cancelled(event_client &client);

// serve.cpp
bool serve(event_client &client, bool may_read);
uint32_t due_ms(const event_client &client, uint64_t now);
uint32_t interest(const event_client &client);
void wake(event_client &client);
void wake_if_waiting(event_client &client);  // something has changed that a waiting loop must see

}  // namespace zep
