// The binary layout of every record in the public headers: a record that an application was
// compiled with must not move under it. Each record is declared here once more, by hand, with
// nothing of the headers, and compared field by field; the records that hold others hold these.
// On 64-bit systems the sizes, and the offsets in the client, stand as numbers too. Nothing here
// runs: it compiles or it does not.
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include <zep_mqtt/client/handle.h>
#include <zep_mqtt/client/v50.h>
#include <zep_mqtt/net/adapter.h>
#include <zep_mqtt/net/eth.h>
#include <zep_mqtt/net/interface.h>
#include <zep_mqtt/net/recv_queue.h>
#include <zep_mqtt/platform/timer.h>
#include <zep_mqtt/protocol/v50/connect.h>
#include <zep_mqtt/protocol/v50/disconnect.h>
#include <zep_mqtt/protocol/v50/publish.h>
#include <zep_mqtt/protocol/v50/suback.h>
#include <zep_mqtt/protocol/v50/subscribe.h>
#include <zep_mqtt/protocol/v50/unsubscribe.h>
#include <zep_mqtt/protocol/v50/user_property.h>
#include <zep_mqtt/topic/subscription_store.h>

// clang-format off

namespace stated {

using u8 = uint8_t;
using u16 = uint16_t;
using u32 = uint32_t;
using u64 = uint64_t;
using i32 = int32_t;
using text = const char *;
using pointer = void *;
using function = void (*)();

// Numbers are of the same type; pointers to data and to functions of the same kind; a record or an
// array of records inside another of the same size, for its fields are compared by themselves.
template <typename Ours, typename Stated>
constexpr bool same_kind() {
    if constexpr (std::is_pointer_v<Stated>) {
        return std::is_pointer_v<Ours> && std::is_function_v<std::remove_pointer_t<Ours>> ==
                                          std::is_function_v<std::remove_pointer_t<Stated>>;
    } else if constexpr (std::is_class_v<std::remove_all_extents_t<Stated>> || std::is_union_v<Stated>) {
        return sizeof(Ours) == sizeof(Stated) && alignof(Ours) == alignof(Stated);
    } else {
        return std::is_same_v<Ours, Stated>;
    }
}

constexpr bool ON_64_BITS = sizeof(void *) == 8;

}  // namespace stated

#define DECLARE(type, name, ...) type name __VA_ARGS__;
#define COMPARE(type, name, ...)                                                        \
    static_assert(offsetof(ours, name) == offsetof(theirs, name), #name " has moved");  \
    static_assert(stated::same_kind<decltype(ours::name), decltype(theirs::name)>(),    \
                  #name " has another type");

// RECORD(name, FIELDS, size): size is that on 64-bit systems. A record with a TAIL has private
// fields behind the stated ones, and nobody holds it inside another.
#define FIELDS_OF(record, FIELDS)                       \
    namespace stated { struct record { FIELDS(DECLARE) }; }  \
    namespace record##_fields {                         \
    using ours = ::record;                              \
    using theirs = stated::record;                      \
    FIELDS(COMPARE)                                     \
    }
#define RECORD(record, FIELDS, size)                                                          \
    FIELDS_OF(record, FIELDS)                                                                 \
    static_assert(sizeof(::record) == sizeof(stated::record), "another size");                \
    static_assert(!stated::ON_64_BITS || sizeof(::record) == (size), "not the size written down");
#define RECORD_WITH_TAIL(record, FIELDS) \
    FIELDS_OF(record, FIELDS)            \
    static_assert(sizeof(::record) > sizeof(stated::record), "no private fields left");

#define MESSAGE(F) \
    F(text, topic) F(pointer, payload) F(u32, payload_len) F(u32, qos) F(u8, retain) F(u16, msg_id) \
    F(u8, priority) F(u32, message_expiry)
RECORD(mqtt_message, MESSAGE, 40)

#define LOG_CONFIG(F) F(u32, level) F(u32, targets) F(u32, max_file_size) F(u16, max_entries)
RECORD(log_config, LOG_CONFIG, 16)

// The basic interface.
#define SDK_CONFIG(F) \
    F(text, client_id) F(text, broker_host) F(u16, broker_port) F(u8, clean_start) \
    F(u32, keep_alive) F(text, username) F(text, password) F(u8, crypto_enable) \
    F(pointer, crypto_key) F(pointer, crypto_iv) F(u8, will_flag) F(text, will_topic) \
    F(pointer, will_payload) F(u32, will_payload_len) F(u32, will_qos) F(u8, will_retain) \
    F(u32, reconnect_interval_ms) F(u32, reserved6) F(u32, mqtt_ver) F(u32, reserved7) \
    F(u32, session_expiry_interval) F(u32, v50_max_pkt_size) F(text, share_group)
RECORD(zep_mqtt_sdk_config, SDK_CONFIG, 136)

#define SDK_MSG(F) \
    F(text, topic) F(pointer, payload) F(u32, payload_len) F(u32, qos) F(u8, retain) F(u32, ttl)
RECORD(zep_mqtt_sdk_msg, SDK_MSG, 32)

#define SDK_CLIENT(F) \
    F(function, app_msg_cb) F(function, app_resp_cb) F(pointer, core) F(u8, connected) \
    F(zep_mqtt_sdk_config, cfg)
RECORD_WITH_TAIL(zep_mqtt_sdk_client, SDK_CLIENT)

#define BROKER_RESP(F) F(u8, success) F(u32, resp_type) F(i32, result) F(u16, pkt_id)
RECORD(mqtt_broker_resp, BROKER_RESP, 16)

// The client and what it holds.
#define CLIENT_CONFIG(F) \
    F(char, client_id, [24]) F(char, broker_host, [64]) F(u16, broker_port) F(u32, mqtt_version) \
    F(u8, clean_start) F(u32, reconnect_interval_ms) F(u32, reserved1) F(u16, keep_alive) \
    F(char, username, [65]) F(char, password, [65]) F(u8, will_flag) F(char, will_topic, [64]) \
    F(u8, will_payload, [256]) F(u32, will_payload_len) F(u32, will_qos) F(u8, will_retain) \
    F(u8, crypto_enable) F(u8, crypto_key, [16]) F(u8, crypto_iv, [16]) F(u16, topic_alias_max) \
    F(u32, reserved3) F(u32, session_expiry_interval) F(u32, max_packet_size) F(u32, reserved4) \
    F(u32, reserved5)
RECORD(mqtt_client_config, CLIENT_CONFIG, 628)

#define SESSION(F) \
    F(char, client_id, [24]) F(u8, clean_start) F(u16, keep_alive) F(u8, will_flag) \
    F(u32, will_qos) F(u8, will_retain) F(pointer, will_topic) F(pointer, will_payload) \
    F(u32, will_payload_len) F(pointer, qos1_cache) F(pointer, qos2_cache) F(u16, next_packet_id) \
    F(u16, id_pool, [32]) F(i32, id_pool_top) F(u8, id_in_use, [129]) F(u32, qos1_count) \
    F(u32, qos2_count) F(u8, qos2_anomaly_count)
RECORD(mqtt_session, SESSION, 296)

#define QOS1_ENTRY(F) \
    F(mqtt_message, msg) F(u64, send_tick) F(u32, retry_count) F(u8, priority) F(pointer, next) \
    F(u32, version)
RECORD(mqtt_qos1_entry, QOS1_ENTRY, 72)

#define QOS2_ENTRY(F) \
    F(mqtt_message, msg) F(u64, send_tick) F(u32, state) F(u32, retry_count) F(u8, priority) \
    F(pointer, next) F(u32, version)
RECORD(mqtt_qos2_entry, QOS2_ENTRY, 80)

#define CRYPTO_CONTEXT(F) \
    F(u8, algorithm) F(u8, key, [32]) F(u32, key_len) F(u8, iv, [16]) F(u8, crc_enable)
RECORD(crypto_context, CRYPTO_CONTEXT, 60)

#define CLIENT(F) \
    F(mqtt_client_config, config) F(function, msg_cb) F(char, conn_host, [64]) F(u16, conn_port) \
    F(u8, net_index) F(mqtt_session, session) F(u8, alive) F(u32, state) F(u32, connect_tick_ms) \
    F(crypto_context, crypto_ctx) F(pointer, crypto) F(u32, reconnect_count) \
    F(u32, last_activity_ms) F(u32, clean_tick) F(char, rx_topic, [65]) F(u8, tx_buf, [1024]) \
    F(pointer, user_obj) F(u32, busy) F(u32, op_type) F(u32, crypto_out_len) \
    F(pointer, conn_info) F(function, resp_cb)
RECORD_WITH_TAIL(mqtt_client, CLIENT)

#define AT(field, offset) \
    static_assert(!stated::ON_64_BITS || offsetof(mqtt_client, field) == (offset), #field " has moved");
AT(config, 0) AT(msg_cb, 632) AT(conn_host, 640) AT(conn_port, 704) AT(net_index, 706)
AT(session, 712) AT(alive, 1008) AT(state, 1012) AT(connect_tick_ms, 1016) AT(crypto_ctx, 1020)
AT(crypto, 1080) AT(reconnect_count, 1088) AT(last_activity_ms, 1092) AT(clean_tick, 1096)
AT(rx_topic, 1100) AT(tx_buf, 1165) AT(user_obj, 2192) AT(busy, 2200) AT(op_type, 2204)
AT(crypto_out_len, 2208) AT(conn_info, 2216) AT(resp_cb, 2224)

#define CONN_INFO(F) \
    F(u8, reason_code) F(u32, protocol_version) F(u32, max_packet_size) F(u8, session_present) \
    F(u32, session_expiry) F(u16, receive_maximum) F(u16, server_keep_alive) \
    F(u8, shared_sub_available) F(u8, retain_available) F(char, assigned_client_id, [24]) \
    F(char, reason_string, [65])
RECORD(mqtt50_conn_info, CONN_INFO, 116)

// 3.1.1.
#define PACKET_CONNECT(F) \
    F(char, client_id, [24]) F(u8, will_flag) F(u32, will_qos) F(u8, will_retain) \
    F(text, will_topic) F(pointer, will_payload) F(u32, will_payload_len) F(u16, keep_alive) \
    F(u8, has_username) F(text, username) F(u8, has_password) F(text, password)
RECORD(mqtt_packet_connect, PACKET_CONNECT, 88)

#define PACKET_CONNACK(F) F(u8, session_present) F(u8, return_code)
RECORD(mqtt_packet_connack, PACKET_CONNACK, 2)

#define PACKET_ACK(F) F(u16, msg_id)
RECORD(mqtt_packet_ack, PACKET_ACK, 2)

#define PACKET_SUBSCRIBE(F) \
    F(u16, msg_id) F(pointer, filters) F(pointer, qos_list) F(i32, filter_count)
RECORD(mqtt_packet_subscribe, PACKET_SUBSCRIBE, 32)

#define PACKET_SUBACK(F) F(u16, msg_id) F(pointer, return_codes) F(i32, code_count)
RECORD(mqtt_packet_suback, PACKET_SUBACK, 24)

#define PACKET_UNSUBSCRIBE(F) F(u16, msg_id) F(pointer, filters) F(i32, filter_count)
RECORD(mqtt_packet_unsubscribe, PACKET_UNSUBSCRIBE, 24)

namespace stated {
union packet_body {
    mqtt_packet_connect connect;
    mqtt_packet_connack connack;
    mqtt_message publish;
    mqtt_packet_ack ack;
    mqtt_packet_subscribe subscribe;
    mqtt_packet_suback suback;
    mqtt_packet_unsubscribe unsubscribe;
};
}  // namespace stated
#define PACKET(F) \
    F(u32, type) F(u8, dup) F(u32, qos) F(u8, retain) F(u32, remaining_len) \
    F(u8, protocol_version) F(packet_body, body)
RECORD(mqtt_packet, PACKET, 112)
#define VARIANT(name, record)                                                                 \
    static_assert(std::is_same_v<decltype(decltype(mqtt_packet::body)::name), record>);       \
    static_assert(offsetof(mqtt_packet, body.name) == offsetof(mqtt_packet, body), #name);
VARIANT(connect, mqtt_packet_connect) VARIANT(connack, mqtt_packet_connack)
VARIANT(publish, mqtt_message) VARIANT(ack, mqtt_packet_ack)
VARIANT(subscribe, mqtt_packet_subscribe) VARIANT(suback, mqtt_packet_suback)
VARIANT(unsubscribe, mqtt_packet_unsubscribe)

// 5.0.
#define MESSAGE50(F) \
    F(text, topic) F(pointer, payload) F(u32, payload_len) F(u32, qos) F(u8, retain) F(u32, ttl) \
    F(u64, ttl_start_ms) F(pointer, user_props) F(i32, user_prop_count) F(u8, expired) \
    F(u32, message_expiry) F(u16, dup_msg_id) F(u8, is_dup)
RECORD(mqtt50_message, MESSAGE50, 64)

#define USER_PROPERTY(F) F(text, key) F(text, value) F(pointer, next)
RECORD(mqtt50_user_property, USER_PROPERTY, 24)

#define CONNECT50(F) \
    F(u8, protocol_version) F(char, client_id, [24]) F(u8, clean_start) F(u16, keep_alive) \
    F(u32, session_expiry) F(u32, max_packet_size) F(u8, has_username) F(text, username) \
    F(u8, has_password) F(text, password) F(u8, will_flag) F(text, will_topic) \
    F(pointer, will_payload) F(u32, will_payload_len) F(u32, will_qos) F(u8, will_retain) \
    F(u16, topic_alias_max)
RECORD(mqtt50_connect, CONNECT50, 104)

#define PROPERTY50(F) F(u8, id) F(u8, value, [64])
RECORD(mqtt50_property, PROPERTY50, 65)

#define CONNACK50(F) \
    F(u8, session_present) F(u8, reason_code) F(u32, total_len) F(u8, prop_count) \
    F(mqtt50_property, props, [16]) F(u32, remaining_len) F(u32, max_packet_size) \
    F(u32, session_expiry) F(u16, receive_maximum) F(char, assigned_client_id, [24]) \
    F(u16, server_keep_alive) F(char, reason_string, [64]) F(char, user_property, [64]) \
    F(u8, wildcard_sub_available) F(u8, sub_id_available) F(u8, shared_sub_available) \
    F(u8, retain_available) F(u16, topic_alias_max)
RECORD(mqtt50_connack, CONNACK50, 1228)

#define PUBLISH50(F) \
    F(char, topic, [65]) F(u8, qos) F(u8, retain) F(u16, msg_id) F(u32, payload_len) \
    F(pointer, payload) F(u8, is_dup) F(u32, message_expiry)
RECORD(mqtt50_publish, PUBLISH50, 96)

#define ACK50(F) F(u16, msg_id) F(u8, reason_code)
RECORD(mqtt50_ack, ACK50, 4)

#define SUBSCRIBE50(F) \
    F(u16, msg_id) F(char, topic, [65]) F(u32, qos) F(u8, is_shared) F(char, share_group, [33]) \
    F(u8, retain_as_published) F(u8, no_local) F(u8, retain_handling)
RECORD(mqtt50_subscribe, SUBSCRIBE50, 112)

#define UNSUBSCRIBE50(F) F(u16, msg_id) F(char, topic, [65])
RECORD(mqtt50_unsubscribe, UNSUBSCRIBE50, 68)

#define DISCONNECT50(F) F(u8, reason_code) F(u32, session_expiry)
RECORD(mqtt50_disconnect, DISCONNECT50, 8)

#define SUBACK50(F) F(u16, msg_id) F(u8, granted_qos, [8]) F(u8, count) F(u8, reason_codes, [8])
RECORD(mqtt50_suback, SUBACK50, 20)

// Subscriptions, network, timers.
#define TOPIC_ENTRY(F) \
    F(char, topic, [64]) F(u8, qos) F(u8, in_use) F(char, share_group, [32]) F(u8, is_shared)
RECORD(mqtt_topic_entry, TOPIC_ENTRY, 99)

#define TOPIC_LIST(F) F(mqtt_topic_entry, entries, [16]) F(u8, count) F(pointer, lock)
RECORD(mqtt_topic_list, TOPIC_LIST, 1600)

#define ADAPTER_INSTANCE(F) \
    F(char, address, [64]) F(u16, port) F(u32, net_type) F(u8, index) F(i32, sock) F(u8, opened) \
    F(u8, used)
RECORD(net_adapter_instance, ADAPTER_INSTANCE, 84)

#define IFACE(F) F(u32, type) F(function, send) F(function, recv) F(function, destroy) F(u16, port)
RECORD(net_iface, IFACE, 40)

#define QUEUE_ENTRY(F) \
    F(u8, data, [1024]) F(u32, len) F(char, src_ip, [16]) F(u16, src_port) F(pointer, next)
RECORD(net_queue_entry, QUEUE_ENTRY, 1056)

#define RECV_QUEUE(F) \
    F(pointer, head) F(pointer, tail) F(u32, count) F(u32, capacity) F(pointer, lock) F(pointer, sem)
RECORD(net_recv_queue, RECV_QUEUE, 40)

#define SOCKET_SET(F) F(u32, count) F(i32, socks, [64])
RECORD(eth_socket_set, SOCKET_SET, 260)

#define TIMER(F) \
    F(pointer, handle) F(pointer, cb) F(u8, running) F(u8, valid) F(u8, destroying) \
    F(u32, period_ms) F(pointer, lock)
RECORD(platform_timer, TIMER, 32)

#define TIMER_CONTEXT(F) F(function, func) F(pointer, arg) F(pointer, timer)
RECORD(platform_timer_context, TIMER_CONTEXT, 24)

    // clang-format on
