// What comes in: bytes into packets, packets to their handlers.
#include <algorithm>
#include <cstring>

#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/protocol/v311/packet.h>

#include "client/event/event_client.h"
#include "core/heap_copy.h"
#include "qos/received_ids.h"

namespace zep {

namespace {

constexpr uint32_t READ_SIZE = 16384;
constexpr uint32_t COPIED_IN_FRONT =
    4096;  // held bytes that are copied in front of what a read brings
constexpr uint32_t SMALLEST_READ = 64;
constexpr uint8_t FAILURE = 0x80;
constexpr uint8_t PACKET_TOO_LARGE = 0x95;
constexpr uint32_t HEADER_SIZE_MAX = 5;

// --- Handlers of whole packets -------------------------------------------------------------------

uint8_t ack_type(uint8_t qos) {
    return qos == 1 ? MQTT_PACKET_PUBACK : MQTT_PACKET_PUBREC;
}

// A NUL-terminated topic in place: it moves over the second byte of its length.
const char *terminate_topic(strict::text_view topic) {
    char *text = const_cast<char *>(topic.data) - 1;
    std::memmove(text, topic.data, topic.size);
    text[topic.size] = '\0';
    return text;
}

void tell_passed_over(event_client &client, const zep_mqtt_sdk_passed_event &event) {
    event_log(client, AGENT_LOG_WARN, "message passed over, topic %s, %u bytes", event.topic,
              event.packet_size);
    if (client.listener.passed_over != nullptr) {
        const unlocked open(client);
        client.listener.passed_over(client.handle, client.user, &event);
    }
}

// Whether an inbound QoS 2 message was delivered before (MQTT 3.1.1 §4.3.3).
enum class qos2_known { yes, no, no_memory };

qos2_known note_qos2(event_client &client, uint16_t id) {
    if (client.received_qos2 == nullptr) {
        client.received_qos2 = heap_zeroed<uint8_t>(RECEIVED_IDS_SIZE).release();
        if (client.received_qos2 == nullptr) {
            return qos2_known::no_memory;
        }
    }
    if (received_ids_contains(client.received_qos2, id)) {
        return qos2_known::yes;
    }
    received_ids_add(client.received_qos2, id);
    return qos2_known::no;
}

void deliver(event_client &client, const strict::publish &publish, uint64_t receipt) {
    if (client.listener.message == nullptr) {
        return;
    }
    const zep_mqtt_sdk_inbound message = {.size = sizeof message,
                                          .topic = terminate_topic(publish.topic),
                                          .topic_len = static_cast<uint32_t>(publish.topic.size),
                                          .payload = publish.payload,
                                          .payload_len = publish.payload_len,
                                          .qos = publish.qos,
                                          .retain = publish.retain,
                                          .dup = publish.dup,
                                          .receipt = receipt};
    const unlocked open(client);
    client.listener.message(client.handle, client.user, &message);
}

// Decrypts in place. False: it does not decrypt.
bool open_payload(const event_client &client, strict::publish &publish) {
    if (!client.cipher_on || publish.payload_len == 0) {
        return true;
    }
    auto *bytes = const_cast<uint8_t *>(publish.payload);
    return crypto_decrypt(&client.cipher, bytes, publish.payload_len, bytes,
                          &publish.payload_len) == CRYPTO_OK;
}

void pass_over_undecipherable(event_client &client, const strict::publish &publish) {
    tell_passed_over(client, {.size = sizeof(zep_mqtt_sdk_passed_event),
                              .why = ZEP_MQTT_SDK_PASSED_UNDECIPHERABLE,
                              .topic = terminate_topic(publish.topic),
                              .packet_size = publish.payload_len,
                              .packet_id = publish.id,
                              .qos = publish.qos});
}

void lose_for_memory(event_client &client) {
    lose_connection(client, {.cause = ZEP_MQTT_SDK_CAUSE_NO_MEMORY});
}

// Hands a message on, and acknowledges it when its handler has returned and the connection still
// stands.
void take_message(event_client &client, strict::publish &publish, bool readable) {
    uint64_t receipt = 0;
    const bool manual = client.manual_acknowledge && readable && publish.qos != 0;
    if (manual) {
        receipt = client.receipts.add(publish.id, publish.qos);
        if (receipt == 0) {
            if (publish.qos == 2) {
                // Nobody has heard of it: the broker's repetition is the first one.
                received_ids_remove(client.received_qos2, publish.id);
            }
            lose_for_memory(client);
            return;
        }
    }
    const uint32_t epoch = client.epoch;
    if (readable) {
        deliver(client, publish, receipt);
    } else {
        pass_over_undecipherable(client, publish);
    }
    if (publish.qos != 0 && !manual && client.epoch == epoch) {
        put_ack(client, ack_type(publish.qos), publish.id);
    }
}

void on_publish(event_client &client, const strict::packet &packet) {
    strict::publish publish;
    const uint8_t fault = strict::read_publish(packet, publish);
    if (fault != strict::REASON_NONE) {
        end_for_protocol(client, fault);
        return;
    }
    if (publish.qos == 2) {
        const qos2_known known = note_qos2(client, publish.id);
        if (known == qos2_known::no_memory) {
            lose_for_memory(client);
            return;
        }
        if (known == qos2_known::yes) {
            put_ack(client, MQTT_PACKET_PUBREC, publish.id);
            return;
        }
    }
    take_message(client, publish, open_payload(client, publish));
}

// The exchange that an acknowledgement is for, or null: it is one of nothing.
exchange *find_exchange(event_client &client, uint16_t id, uint8_t type, uint8_t qos,
                        exchange_step step) {
    exchange *entry = client.exchanges.find(id);
    const bool meant = entry != nullptr && entry->type == type && entry->on_wire &&
                       (type != MQTT_PACKET_PUBLISH || entry->qos == qos) && entry->step == step;
    if (!meant) {
        ++client.ignored_acks;
        event_log(client, AGENT_LOG_DEBUG, "acknowledgement of nothing, identifier %u", id);
    }
    return meant ? entry : nullptr;
}

void finish_message(event_client &client, exchange &entry, uint8_t code) {
    if (entry.counted) {
        --client.on_wire;
        client.qos2_on_wire -= entry.qos == 2 ? 1 : 0;
    }
    client.exchanges.finish(
        &entry, {.fate = static_cast<uint8_t>(code >= FAILURE ? ZEP_MQTT_SDK_FATE_REFUSED
                                                              : ZEP_MQTT_SDK_FATE_DELIVERED),
                 .code = code,
                 .answered = true});
}

void on_pubrec(event_client &client, const strict::answer &answer) {
    exchange *entry = client.exchanges.find(answer.id);
    if (entry != nullptr && entry->qos == 2 && entry->step == exchange_step::RELEASED &&
        entry->on_wire) {
        put_ack(client, MQTT_PACKET_PUBREL, answer.id);  // a PUBREC once more
        return;
    }
    entry = find_exchange(client, answer.id, MQTT_PACKET_PUBLISH, 2, exchange_step::SENT);
    if (entry == nullptr) {
        return;
    }
    if (answer.code >= FAILURE) {
        finish_message(client, *entry, answer.code);
        return;
    }
    entry->step = exchange_step::RELEASED;
    put_ack(client, MQTT_PACKET_PUBREL, answer.id);
}

void on_pubrel(event_client &client, const strict::answer &answer) {
    if (client.received_qos2 != nullptr) {
        received_ids_remove(client.received_qos2, answer.id);
    }
    put_ack(client, MQTT_PACKET_PUBCOMP, answer.id);
}

void on_ack(event_client &client, const strict::packet &packet) {
    strict::answer answer;
    const uint8_t fault = strict::read_ack(packet, answer);
    if (fault != strict::REASON_NONE) {
        end_for_protocol(client, fault);
        return;
    }
    switch (packet.type) {
        case MQTT_PACKET_PUBREC:
            on_pubrec(client, answer);
            break;
        case MQTT_PACKET_PUBREL:
            on_pubrel(client, answer);
            break;
        default: {
            const bool puback = packet.type == MQTT_PACKET_PUBACK;
            exchange *entry = find_exchange(client, answer.id, MQTT_PACKET_PUBLISH, puback ? 1 : 2,
                                            puback ? exchange_step::SENT : exchange_step::RELEASED);
            if (entry != nullptr) {
                finish_message(client, *entry, answer.code);
            }
            break;
        }
    }
}

void on_subscription_ack(event_client &client, const strict::packet &packet) {
    strict::answer answer;
    const uint8_t fault = strict::read_suback(packet, answer);
    if (fault != strict::REASON_NONE) {
        end_for_protocol(client, fault);
        return;
    }
    const uint8_t type =
        packet.type == MQTT_PACKET_SUBACK ? MQTT_PACKET_SUBSCRIBE : MQTT_PACKET_UNSUBSCRIBE;
    exchange *entry = find_exchange(client, answer.id, type, 0, exchange_step::SENT);
    if (entry != nullptr) {
        on_request_answered(client, *entry, answer.code);
    }
}

void on_disconnect(event_client &client, const strict::packet &packet) {
    strict::answer answer;
    const uint8_t fault = strict::read_disconnect(packet, answer);
    if (fault != strict::REASON_NONE) {
        end_for_protocol(client, fault);
        return;
    }
    char reason[256] = {};
    if (answer.reason_string.size != 0) {  // without one there is no address either
        std::memcpy(reason, answer.reason_string.data,
                    std::min(answer.reason_string.size, sizeof reason - 1));
    }
    lose_connection(client, {.cause = ZEP_MQTT_SDK_CAUSE_BROKER,
                             .broker_code = answer.code,
                             .reason = reason[0] != '\0' ? reason : nullptr});
}

void on_pingresp(event_client &client, const strict::packet &packet) {
    const uint8_t fault = strict::read_pingresp(packet);
    if (fault != strict::REASON_NONE) {
        end_for_protocol(client, fault);
        return;
    }
    client.ping_awaited = false;
}

// A broker that knows 3.1.1 only refuses a 5.0 client in its own words (MQTT 3.1.1 §3.1.2.2).
bool is_refusal_in_311(strict::packet packet, strict::connack &connack) {
    connack.code = 0;
    if (packet.version == MQTT_VERSION_50 && packet.type == MQTT_PACKET_CONNACK &&
        packet.flags == 0 && packet.body.left() == 2 && packet.body.u8() == 0) {
        connack.code = packet.body.u8();
    }
    return connack.code != 0 && connack.code < FAILURE;
}

void on_first_packet(event_client &client, const strict::packet &packet) {
    strict::connack connack;
    if (is_refusal_in_311(packet, connack)) {
        on_connack(client, connack, platform_get_tick_ms());
        return;
    }
    const uint8_t fault = packet.type == MQTT_PACKET_CONNACK
                              ? strict::read_connack(packet, connack)
                              : uint8_t{strict::REASON_PROTOCOL_ERROR};
    if (fault != strict::REASON_NONE) {
        end_for_protocol(client, fault);
        return;
    }
    on_connack(client, connack, platform_get_tick_ms());
}

void handle_packet(event_client &client, const strict::packet &packet) {
    if (client.phase != link_phase::UP) {
        on_first_packet(client, packet);
        return;
    }
    switch (packet.type) {
        case MQTT_PACKET_PUBLISH:
            on_publish(client, packet);
            break;
        case MQTT_PACKET_PUBACK:
        case MQTT_PACKET_PUBREC:
        case MQTT_PACKET_PUBREL:
        case MQTT_PACKET_PUBCOMP:
            on_ack(client, packet);
            break;
        case MQTT_PACKET_SUBACK:
        case MQTT_PACKET_UNSUBACK:
            on_subscription_ack(client, packet);
            break;
        case MQTT_PACKET_PINGRESP:
            on_pingresp(client, packet);
            break;
        case MQTT_PACKET_DISCONNECT:
            on_disconnect(client, packet);
            break;
        default:
            end_for_protocol(client, strict::REASON_PROTOCOL_ERROR);
            break;
    }
}

// --- Packets that are too large ------------------------------------------------------------------

// Acknowledged and reported as soon as topic and identifier are known; the rest is thrown away as
// it arrives.
void report_too_large(event_client &client, const char *topic) {
    const passing_packet passing = client.passing;
    if (passing.qos == 2) {
        const qos2_known known = note_qos2(client, passing.id);
        if (known == qos2_known::no_memory) {
            lose_for_memory(client);
            return;
        }
        put_ack(client, MQTT_PACKET_PUBREC, passing.id);
        if (known == qos2_known::yes) {
            return;
        }
    } else if (passing.qos == 1) {
        put_ack(client, MQTT_PACKET_PUBACK, passing.id);
    }
    tell_passed_over(client, {.size = sizeof(zep_mqtt_sdk_passed_event),
                              .why = ZEP_MQTT_SDK_PASSED_TOO_LARGE,
                              .topic = topic,
                              .packet_size = passing.size,
                              .packet_id = passing.id,
                              .qos = passing.qos});
}

// Throws bytes of the packet away; how many. On the way its identifier may come by, when a topic
// that is longer than the inbox stands in front of it.
uint32_t pass(event_client &client, const uint8_t *data, uint32_t size) {
    passing_packet &passing = client.passing;
    const uint32_t passed = std::min(passing.left, size);
    passing.left -= passed;
    for (uint32_t i = 0; i < passed && passing.id_bytes_missing != 0; ++i) {
        if (passing.id_after != 0) {
            --passing.id_after;
            continue;
        }
        passing.id = static_cast<uint16_t>(passing.id << 8 | data[i]);
        if (--passing.id_bytes_missing == 0 && passing.id == 0) {
            end_for_protocol(client, strict::REASON_PROTOCOL_ERROR);
            break;
        }
        if (passing.id_bytes_missing == 0) {
            char topic[sizeof passing.topic];
            std::memcpy(topic, passing.topic, sizeof topic);
            report_too_large(client, topic);
            break;
        }
    }
    return passed;
}

struct packet_header {
    bool whole;
    bool malformed;
    uint32_t length;  // of the header
    uint32_t total;   // of the packet
};

packet_header read_header(const uint8_t *data, uint32_t size) {
    byte_reader reader(data, std::min(size, HEADER_SIZE_MAX));
    reader.skip(1);
    uint32_t remaining = 0;
    const bool legal = strict::read_variable_integer(reader, remaining);
    if (!legal) {
        return {false, reader.ok(), 0, 0};
    }
    const auto length = static_cast<uint32_t>(reader.position());
    return {true, false, length, length + remaining};
}

strict::packet view_of(const event_client &client, const uint8_t *data, const packet_header &header,
                       uint32_t size) {
    return {client.version, static_cast<uint32_t>(data[0] >> 4),
            static_cast<uint32_t>(data[0] & 15),
            byte_reader(data + header.length, size - header.length)};
}

// The beginning of a packet that the inbox cannot hold. Returns the bytes used, 0 when more of it
// has to be there first.
uint32_t begin_passing(event_client &client, uint8_t *data, const packet_header &header,
                       uint32_t size) {
    const strict::packet start = view_of(client, data, header, size);
    if (client.phase != link_phase::UP || start.type != MQTT_PACKET_PUBLISH) {
        end_for_protocol(client, PACKET_TOO_LARGE);
        return size;
    }
    strict::publish publish;
    uint8_t fault = strict::REASON_NONE;
    const bool known = strict::read_publish_start(start, publish, fault);
    if (!known && size < client.max_packet_in) {
        return 0;
    }
    if (fault != strict::REASON_NONE) {
        end_for_protocol(client, fault);
        return size;
    }
    passing_packet &passing = client.passing;
    passing = {};
    passing.size = header.total;
    passing.left = header.total - size;
    passing.qos = (data[0] >> 1) & 3;
    passing.id = publish.id;
    if (known) {
        report_too_large(client, terminate_topic(publish.topic));
    } else {
        byte_reader text = start.body;
        const uint32_t topic_size = text.u16();
        const uint32_t in_reach = static_cast<uint32_t>(text.left());
        if (header.length + 2 + topic_size + (passing.qos != 0 ? 2 : 0) > header.total) {
            end_for_protocol(client, strict::REASON_MALFORMED_PACKET);
            return size;
        }
        std::memcpy(passing.topic, text.next(),
                    std::min<size_t>(in_reach, sizeof passing.topic - 1));
        passing.id_after = topic_size > in_reach ? topic_size - in_reach : 0;
        passing.id_bytes_missing = passing.qos != 0 ? 2 : 0;
        if (passing.qos == 0) {
            char topic[sizeof passing.topic];
            std::memcpy(topic, passing.topic, sizeof topic);
            report_too_large(client, topic);
        } else if (topic_size < in_reach) {
            // One byte of the identifier is there already.
            passing.id = text.next()[topic_size];
            passing.id_bytes_missing = 1;
        }
    }
    return size;
}

// --- The stream ----------------------------------------------------------------------------------

// Handles what stands in a buffer; how many bytes of it were used. Ends early when the connection
// does.
uint32_t take_bytes(event_client &client, uint8_t *data, uint32_t size) {
    const uint32_t epoch = client.epoch;
    uint32_t used = 0;
    while (used < size && client.epoch == epoch && !client.closed) {
        if (client.passing.left != 0) {
            used += pass(client, data + used, size - used);
            continue;
        }
        const uint32_t held = size - used;
        const packet_header header = read_header(data + used, held);
        if (header.malformed) {
            end_for_protocol(client, strict::REASON_MALFORMED_PACKET);
        } else if (header.whole && header.total > client.max_packet_in) {
            const uint32_t passed =
                begin_passing(client, data + used, header, std::min(held, header.total));
            if (passed == 0) {
                break;
            }
            used += passed;
        } else if (!header.whole || header.total > held) {
            break;
        } else {
            handle_packet(client, view_of(client, data + used, header, header.total));
            used += header.total;
        }
        if (client.epoch == epoch) {
            report_fates(client);
        }
    }
    return client.epoch == epoch ? used : size;
}

// Room for the answers to what one read may bring: no packet is shorter than its answer.
uint32_t answerable(const event_client &client) {
    const uint32_t free = client.out.free();
    return free > LINK_RESERVE ? free - LINK_RESERVE : 0;
}

void on_end_of_stream(event_client &client, int32_t result) {
    const bool closed = result == ZEP_MQTT_SDK_TRANSPORT_CLOSED;
    lose_connection(client,
                    {.cause = static_cast<uint32_t>(closed ? ZEP_MQTT_SDK_CAUSE_CLOSED
                                                           : ZEP_MQTT_SDK_CAUSE_TRANSPORT),
                     .system_error = closed ? 0 : client.transport.error(client.connection)});
}

// Reads behind `held` bytes of a buffer and handles what stands there then. What is left over goes
// to the inbox. False when nothing came.
bool read_into(event_client &client, uint8_t *buffer, uint32_t held, uint32_t capacity) {
    const uint32_t wanted = std::min(capacity - held, answerable(client));
    const int32_t got = client.transport.receive(client.connection, buffer + held, wanted);
    client.more_to_read =
        got > 0 && (static_cast<uint32_t>(got) >= wanted || !client.short_read_ends);
    if (got == ZEP_MQTT_SDK_TRANSPORT_AGAIN) {
        return false;
    }
    if (got < 0) {
        on_end_of_stream(client, got);
        return true;
    }
    const uint64_t now = platform_get_tick_ms();
    client.last_received_ms = now;
    const uint32_t size = held + std::min(static_cast<uint32_t>(got), wanted);
    const uint32_t epoch = client.epoch;
    client.out.set_reserve(std::max(ACK_RESERVE, size + LINK_RESERVE));
    const uint32_t used = take_bytes(client, buffer, size);
    client.out.set_reserve(ACK_RESERVE);
    if (client.epoch != epoch) {
        return true;
    }
    const uint32_t left = size - used;
    if (left != 0 && buffer + used != client.inbox) {
        std::memmove(client.inbox, buffer + used, left);
    }
    if (used != 0 || held == 0) {
        client.packet_begun_ms = platform_get_tick_ms();  // a slow callback is not the broker's
    }
    client.inbox_held = left;
    return true;
}

}  // namespace

bool can_receive(const event_client &client) {
    return client.phase >= link_phase::GREETING && !client.broken &&
           answerable(client) >= SMALLEST_READ;
}

bool receive(event_client &client) {
    if (!can_receive(client)) {
        return false;
    }
    if (client.inbox_held > COPIED_IN_FRONT) {
        return read_into(client, client.inbox, client.inbox_held, client.max_packet_in);
    }
    uint8_t buffer[COPIED_IN_FRONT + READ_SIZE];
    std::memcpy(buffer, client.inbox, client.inbox_held);
    return read_into(client, buffer, client.inbox_held, client.inbox_held + READ_SIZE);
}

void release_receipts(event_client &client) {
    // What was not acknowledged comes again, and has to be delivered again.
    while (const receipt *oldest = client.receipts.oldest()) {
        if (oldest->qos == 2 && client.received_qos2 != nullptr) {
            received_ids_remove(client.received_qos2, oldest->id);
        }
        client.receipts.drop_oldest();
    }
}

int32_t acknowledge(event_client &client, uint64_t number) {
    if (client.receipts.give(number) == receipt_queue::given::unknown) {
        return ZEP_MQTT_SDK_ERR_PARAM;
    }
    put_given_receipts(client);
    if (!client.serving) {
        flush(client);
    }
    wake_if_waiting(client);
    return ZEP_MQTT_SDK_OK;
}

}  // namespace zep
