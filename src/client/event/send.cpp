// Messages that the application sends.
#include <algorithm>

#include <zep_mqtt/platform/clock.h>

#include "client/event/event_client.h"
#include "client/event/packets.h"
#include "core/heap_copy.h"

namespace zep {

namespace {

int32_t check_message(const event_client &client, const zep_mqtt_sdk_msg &msg) {
    if (msg.topic == nullptr || (msg.payload == nullptr && msg.payload_len != 0) || msg.qos > 2 ||
        !strict::is_topic_name(strict::view_of(msg.topic))) {
        return ZEP_MQTT_SDK_ERR_PARAM;
    }
    if (client.closed) {
        return ZEP_MQTT_SDK_ERR_NOT_CONNECTED;
    }
    if (client.is_up()) {
        const bool taken =
            msg.qos <= client.maximum_qos && (msg.retain == 0 || client.retain_available);
        return taken ? ZEP_MQTT_SDK_OK : ZEP_MQTT_SDK_ERR_PARAM;
    }
    return msg.qos != 0 && client.accept_offline ? ZEP_MQTT_SDK_OK : ZEP_MQTT_SDK_ERR_NOT_CONNECTED;
}

int32_t check_length(const event_client &client, uint32_t length) {
    const bool fits = length != 0 && length <= client.max_packet_out &&
                      (!client.is_up() || length <= client.maximum_packet_size);
    return fits ? ZEP_MQTT_SDK_OK : ZEP_MQTT_SDK_ERR_PACKET;
}

bool encrypts(const event_client &client, const zep_mqtt_sdk_msg &msg) {
    return client.cipher_on && msg.payload_len != 0;
}

// What the cipher adds.
uint32_t added_bytes(const event_client &client, const zep_mqtt_sdk_msg &msg) {
    return encrypts(client, msg) ? CRYPTO_CRC_LEN : 0;
}

publish_view view_of(const event_client &client, const zep_mqtt_sdk_msg &msg) {
    publish_view publish;
    publish.topic = msg.topic;
    publish.payload = {msg.payload, msg.payload_len};
    publish.qos = static_cast<uint8_t>(msg.qos);
    publish.retain = msg.retain != 0;
    publish.message_expiry = client.version == MQTT_VERSION_50 ? msg.ttl : 0;
    return publish;
}

// The payload is the last thing in its packet, and is encrypted where it stands.
void write_message(const event_client &client, const zep_mqtt_sdk_msg &msg,
                   const publish_view &publish, uint8_t *packet, uint32_t length) {
    const uint32_t more = added_bytes(client, msg);
    write_publish(client.version, publish, more, packet, length);
    if (more != 0) {
        uint32_t size = msg.payload_len + more;
        uint8_t *payload = packet + length - size;
        (void)crypto_encrypt(&client.cipher, payload, msg.payload_len, payload, &size);
    }
}

int32_t refuse_for_now(event_client &client, int32_t code) {
    client.room_awaited = true;
    return code;
}

// Whether the outbox takes so many bytes, if need be after a flush.
int32_t make_room(event_client &client, uint32_t length) {
    if (!client.out.has_room(length)) {
        flush(client);
    }
    if (!client.is_up()) {
        return ZEP_MQTT_SDK_ERR_NOT_CONNECTED;
    }
    return client.out.has_room(length) ? ZEP_MQTT_SDK_OK
                                       : refuse_for_now(client, ZEP_MQTT_SDK_ERR_BUSY);
}

int32_t accept_qos0(event_client &client, const zep_mqtt_sdk_msg &msg, const publish_view &publish,
                    uint32_t length, uint64_t *token) {
    const int32_t room = make_room(client, length);
    if (room != ZEP_MQTT_SDK_OK) {
        return room;
    }
    write_message(client, msg, publish, client.out.append(length), length);
    ++client.qos0_accepted;
    *token = qos0_token(client.qos0_accepted);
    return ZEP_MQTT_SDK_OK;
}

// Without a backlog in front of it a message goes out at once, so the outbox must take it.
bool leaves_at_once(const event_client &client, uint32_t qos) {
    return client.is_up() && client.exchanges.unsent() == nullptr && window_is_open(client, qos);
}

int32_t accept_tracked(event_client &client, const zep_mqtt_sdk_msg &msg, publish_view &publish,
                       uint32_t length, uint64_t *token) {
    if (client.exchanges.publishes() >= client.max_unacknowledged) {
        return refuse_for_now(client, ZEP_MQTT_SDK_ERR_CACHE);
    }
    if (leaves_at_once(client, msg.qos)) {
        const int32_t room = make_room(client, length);
        if (room != ZEP_MQTT_SDK_OK) {
            return room;
        }
    }
    in_flight::refusal refusal;
    exchange *entry = client.exchanges.add(MQTT_PACKET_PUBLISH, length, 0, refusal);
    if (entry == nullptr) {
        return refusal == in_flight::refusal::no_id
                   ? refuse_for_now(client, ZEP_MQTT_SDK_ERR_PACKET_ID)
                   : ZEP_MQTT_SDK_ERR_NO_MEMORY;
    }
    publish.msg_id = entry->id;
    write_message(client, msg, publish, entry->packet(), length);
    entry->qos = static_cast<uint8_t>(msg.qos);
    entry->token = *token = next_token(client);
    if (msg.ttl != 0) {
        entry->expires_ms = platform_get_tick_ms() + uint64_t{msg.ttl} * 1000;
        client.next_expiry_ms = std::min(client.next_expiry_ms, entry->expires_ms);
        entry->expiry_at = publish.message_expiry != 0
                               ? length - added_bytes(client, msg) - msg.payload_len - EXPIRY_SIZE
                               : 0;
    }
    put_unsent(client);
    return ZEP_MQTT_SDK_OK;
}

int32_t accept_message(event_client &client, const zep_mqtt_sdk_msg &msg, uint64_t *token) {
    const int32_t status = check_message(client, msg);
    if (status != ZEP_MQTT_SDK_OK) {
        return status;
    }
    publish_view publish = view_of(client, msg);
    const uint32_t length = publish_length(client.version, publish, added_bytes(client, msg));
    const int32_t fits = check_length(client, length);
    if (fits != ZEP_MQTT_SDK_OK) {
        return fits;
    }
    return msg.qos == 0 ? accept_qos0(client, msg, publish, length, token)
                        : accept_tracked(client, msg, publish, length, token);
}

}  // namespace

int32_t send_messages(event_client &client, const zep_mqtt_sdk_msg *msgs, uint32_t count,
                      uint64_t *tokens, uint32_t *accepted) {
    const uint64_t expiry_before = client.next_expiry_ms;
    int32_t status = ZEP_MQTT_SDK_OK;
    uint32_t done = 0;
    while (done < count) {
        uint64_t token = 0;
        status = accept_message(client, msgs[done], &token);
        if (status != ZEP_MQTT_SDK_OK) {
            break;
        }
        if (tokens != nullptr) {
            tokens[done] = token;
        }
        ++done;
    }
    flush(client);
    if (accepted != nullptr) {
        *accepted = done;
    }
    if (client.next_expiry_ms < expiry_before && client.waiting != nullptr) {
        wake(client);  // the wait has become too long
    }
    wake_if_waiting(client);
    return status;
}

int32_t cancel(event_client &client, uint64_t token) {
    exchange *entry = token == 0 ? nullptr : client.exchanges.find_token(token);
    if (entry == nullptr || entry->settled) {
        return ZEP_MQTT_SDK_ERR_CACHE;
    }
    if (entry->sent_before) {
        client.exchanges.settle(entry, {.fate = ZEP_MQTT_SDK_FATE_CANCELLED});
    } else {
        client.exchanges.finish(entry, {.fate = ZEP_MQTT_SDK_FATE_CANCELLED});
    }
    wake_if_waiting(client);
    return ZEP_MQTT_SDK_OK;
}

}  // namespace zep
