// The beginning and the end of an event-driven client.
#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>

#include <zep_mqtt/platform/memory.h>

#include "client/event/event_client.h"
#include "client/event/packets.h"
#include "core/heap_copy.h"
#include "core/wipe.h"
#include "log/log_lines.h"
#include "net/tcp_transport.h"

namespace zep {

namespace {

constexpr uint32_t PACKET_SIZE_LEAST = 128;
constexpr uint32_t PACKET_SIZE_MOST = 262144;
constexpr uint32_t PACKET_SIZE_DEFAULT = 4096;
constexpr uint32_t OUT_BUFFER_MOST = 1048576;
constexpr uint32_t QOS2_WINDOW_DEFAULT = 20;
constexpr uint32_t RESUMED_SESSION_EXPIRY_S = 3600;

bool refuse(const char *why) {
    LOG_ERROR("MQTT_EVENT: open failed: %s", why);
    return false;
}

uint32_t or_default(uint32_t value, uint32_t fallback) {
    return value != 0 ? value : fallback;
}

bool is_packet_size(uint32_t value) {
    return value >= PACKET_SIZE_LEAST && value <= PACKET_SIZE_MOST;
}

bool is_text(const char *text) {
    const strict::text_view view = strict::view_of(text);
    return view.size <= UINT16_MAX && strict::is_utf8(view);
}

bool check_will(const zep_mqtt_sdk_config &config) {
    if (config.will_flag == 0) {
        return true;
    }
    if (!strict::is_topic_name(strict::view_of(config.will_topic))) {
        return refuse("will topic is no valid topic name");
    }
    if (config.will_payload_len > UINT16_MAX ||
        (config.will_payload == nullptr && config.will_payload_len != 0)) {
        return refuse("will payload is missing or too long");
    }
    return config.will_qos <= 2 || refuse("will QoS above 2");
}

bool check_config(const zep_mqtt_sdk_config &config) {
    if (config.client_id == nullptr || !is_text(config.client_id)) {
        return refuse("client identifier is missing or no valid text");
    }
    if (config.broker_host == nullptr || config.broker_host[0] == '\0' ||
        std::strlen(config.broker_host) >= sizeof zep_mqtt_sdk_address::text ||
        config.broker_port == 0) {
        return refuse("broker address or port is missing or too long");
    }
    if (!is_text(config.username) ||
        (config.password != nullptr && std::strlen(config.password) > UINT16_MAX)) {
        return refuse("user name is no valid text, or user name or password is too long");
    }
    if (config.password != nullptr && config.username == nullptr &&
        config.mqtt_ver != ZEP_MQTT_SDK_VERSION_50) {
        return refuse("a password without a user name");  // MQTT 3.1.1 §3.1.2.9
    }
    if (config.keep_alive > UINT16_MAX) {
        return refuse("keep-alive above 65535");
    }
    if (config.crypto_enable != 0 &&
        (config.crypto_key == nullptr || config.crypto_iv == nullptr)) {
        return refuse("cipher without key or initialisation vector");
    }
    return check_will(config);
}

bool check_addresses(const zep_mqtt_sdk_options &options) {
    if (options.more_address_count >= ADDRESSES_MAX ||
        (options.more_address_count != 0 && options.more_addresses == nullptr)) {
        return refuse("too many further addresses, or none given");
    }
    for (uint32_t i = 0; i < options.more_address_count; ++i) {
        const zep_mqtt_sdk_address &address = options.more_addresses[i];
        if (address.port == 0 ||
            strnlen(address.text, sizeof address.text) == sizeof address.text) {
            return refuse("a further address is malformed");
        }
    }
    return true;
}

bool check_transport(const zep_mqtt_sdk_transport *transport) {
    if (transport == nullptr) {
        return true;
    }
    const bool whole = transport->size >= sizeof *transport && transport->open != nullptr &&
                       transport->progress != nullptr && transport->send != nullptr &&
                       transport->receive != nullptr && transport->socket != nullptr &&
                       transport->interest != nullptr && transport->close != nullptr;
    return whole || refuse("the transport lacks a function");
}

int32_t no_error(void *) {
    return 0;
}

// The choices with their defaults.
struct limits {
    uint32_t packet_in;
    uint32_t packet_out;
    uint32_t out_buffer;
    uint32_t unacknowledged;
};

bool choose_limits(const zep_mqtt_sdk_options &options, limits &chosen) {
    chosen.packet_in = or_default(options.max_packet_in, PACKET_SIZE_DEFAULT);
    chosen.packet_out = or_default(options.max_packet_out, PACKET_SIZE_DEFAULT);
    chosen.out_buffer = or_default(options.out_buffer, 2 * chosen.packet_out);
    chosen.unacknowledged = or_default(options.max_unacknowledged, PUBLISH_ID_LAST);
    if (!is_packet_size(chosen.packet_in) || !is_packet_size(chosen.packet_out)) {
        return refuse("packet size out of range");
    }
    if (chosen.out_buffer < chosen.packet_out || chosen.out_buffer > OUT_BUFFER_MOST) {
        return refuse("outbound buffer smaller than a packet or too large");
    }
    return chosen.unacknowledged <= PUBLISH_ID_LAST || refuse("max_unacknowledged above 128");
}

std::string_view text_or_empty(const char *text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
}

// CONNECT with its clean flag clear; each attempt sets it as it needs to.
connect_view connect_of(const zep_mqtt_sdk_config &config, const zep_mqtt_sdk_options &options,
                        uint32_t packet_in) {
    connect_view connect;
    connect.client_id = config.client_id;
    connect.keep_alive = static_cast<uint16_t>(config.keep_alive);
    connect.has_will = config.will_flag != 0;
    if (connect.has_will) {
        connect.will_qos = static_cast<uint8_t>(config.will_qos);
        connect.will_retain = config.will_retain != 0;
        connect.will_topic = config.will_topic;
        connect.will_payload = {config.will_payload, config.will_payload_len};
    }
    connect.has_username = config.username != nullptr;
    connect.username = text_or_empty(config.username);
    connect.has_password = config.password != nullptr;
    connect.password = bytes_of(connect.has_password ? config.password : "");
    connect.session_expiry = config.session_expiry_interval;
    if (options.resume_session != 0 && connect.session_expiry == 0) {
        connect.session_expiry = RESUMED_SESSION_EXPIRY_S;
    }
    connect.max_packet_size = packet_in;
    return connect;
}

// One block: the record, the addresses, inbox, outbox and the CONNECT packet.
event_client *allocate(uint32_t addresses, const limits &chosen, uint32_t connect_length) {
    const uint32_t outbox_size = chosen.out_buffer + ACK_RESERVE;
    const size_t address_bytes = addresses * sizeof(zep_mqtt_sdk_address);
    const size_t size = sizeof(event_client) + address_bytes + size_t{chosen.packet_in} +
                        outbox_size + connect_length;
    void *block = heap_block(size);
    if (block == nullptr) {
        return nullptr;
    }
    auto *client = new (block) event_client;
    client->block_size = static_cast<uint32_t>(size);
    client->addresses = reinterpret_cast<zep_mqtt_sdk_address *>(client + 1);
    client->inbox = reinterpret_cast<uint8_t *>(client->addresses + addresses);
    uint8_t *outbox_bytes = client->inbox + chosen.packet_in;
    client->out.attach(outbox_bytes, outbox_size, ACK_RESERVE);
    client->connect_packet = outbox_bytes + outbox_size;
    client->connect_length = connect_length;
    return client;
}

void take_addresses(event_client &client, const zep_mqtt_sdk_config &config,
                    const zep_mqtt_sdk_options &options) {
    client.address_count = 1 + options.more_address_count;
    zep_mqtt_sdk_address &own = client.addresses[0];
    own = {};
    std::memcpy(own.text, config.broker_host, std::strlen(config.broker_host));
    own.port = config.broker_port;
    std::copy_n(options.more_addresses, options.more_address_count, client.addresses + 1);
}

void take_options(event_client &client, const zep_mqtt_sdk_options &options) {
    client.first_backoff_ms = or_default(options.first_backoff_ms, 1000);
    client.longest_backoff_ms = or_default(options.longest_backoff_ms, 60000);
    client.connect_timeout_ms = or_default(options.connect_timeout_ms, 10000);
    client.pingresp_timeout_ms = or_default(options.pingresp_timeout_ms, 10000);
    client.qos2_window = or_default(options.qos2_window, QOS2_WINDOW_DEFAULT);
    client.resume_session = options.resume_session != 0;
    client.resubscribe = options.no_resubscribe == 0;
    client.manual_acknowledge = options.manual_acknowledge != 0;
    client.accept_offline = options.accept_offline != 0;
    client.short_read_ends = options.transport == nullptr;
    client.transport = options.transport != nullptr ? *options.transport : tcp_transport();
    if (client.transport.error == nullptr) {
        client.transport.error = no_error;
    }
}

void take_cipher(event_client &client, const zep_mqtt_sdk_config &config) {
    if (config.crypto_enable == 0) {
        return;
    }
    client.cipher.algorithm = CRYPTO_ALGORITHM_XOR;
    client.cipher.key_len = CRYPTO_IV_LEN;
    client.cipher.crc_enable = 1;
    std::memcpy(client.cipher.key, config.crypto_key, CRYPTO_IV_LEN);
    std::memcpy(client.cipher.iv, config.crypto_iv, CRYPTO_IV_LEN);
    client.cipher_on = true;
}

void take_connect(event_client &client, const zep_mqtt_sdk_config &config,
                  const connect_view &connect) {
    write_connect(client.version, connect, client.connect_packet, client.connect_length);
    client.connect_flags_at = connect_flags_at(client.connect_length);
    client.asked_session_expiry_s = connect.session_expiry;
    client.asked_keep_alive_s = connect.keep_alive;
    client.clean_start = config.clean_start != 0;
}

}  // namespace

event_client *open_client(const zep_mqtt_sdk_config &config, const zep_mqtt_sdk_options &options) {
    limits chosen;
    if (!check_config(config) || !check_addresses(options) || !check_transport(options.transport) ||
        !choose_limits(options, chosen)) {
        return nullptr;
    }
    const uint32_t version =
        config.mqtt_ver == ZEP_MQTT_SDK_VERSION_50 ? MQTT_VERSION_50 : MQTT_VERSION_311;
    const connect_view connect = connect_of(config, options, chosen.packet_in);
    const uint32_t length = connect_length(version, connect);
    if (length == 0 || length > chosen.packet_out) {
        refuse("CONNECT is longer than max_packet_out");
        return nullptr;
    }
    event_client *client = allocate(1 + options.more_address_count, chosen, length);
    if (client == nullptr) {
        refuse("out of memory");
        return nullptr;
    }
    client->version = version;
    client->max_packet_in = chosen.packet_in;
    client->max_packet_out = chosen.packet_out;
    client->max_unacknowledged = chosen.unacknowledged;
    take_addresses(*client, config, options);
    take_options(*client, options);
    take_cipher(*client, config);
    take_connect(*client, config, connect);
    return client;
}

void close_client(event_client *client) {
    bool held = false;
    {
        const std::lock_guard guard(client->lock);
        if (client->closed) {
            return;  // from a callback of the call that closes it
        }
        client->closed = true;
        stop_connecting(*client);
        report_all_cancelled(*client);
        held = client->pins != 0;
    }
    if (!held) {
        release_client(client);
    }
}

void release_client(event_client *client) {
    client->exchanges.remove_all();
    client->receipts.release();
    client->own_waker.close();
    forget_filters(*client);
    platform_free(client->received_qos2);
    zep_mqtt_sdk_client *handle = client->handle;
    wipe(client, client->block_size);  // credentials, key, payloads
    platform_free(client);
    platform_free(handle);
}

}  // namespace zep
