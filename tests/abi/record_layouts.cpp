// The binary layout of every record in the public headers, on a 64-bit system: a record that an
// application was compiled with must not move under it. Nothing here runs; it compiles or it does
// not. Private fields stand behind the listed ones; a record that has some is given no size.
#include <cstddef>

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

#define AT(field, offset) static_assert(offsetof(record, field) == (offset), #field " has moved")
#define SIZE(size) static_assert(sizeof(record) == (size), "the size has changed")

static_assert(sizeof(void *) == 8, "these are the layouts of 64-bit systems");

// clang-format off

namespace message { using record = mqtt_message;
    AT(topic, 0); AT(payload, 8); AT(payload_len, 16); AT(qos, 20); AT(retain, 24); AT(msg_id, 26);
    AT(priority, 28); AT(message_expiry, 32); SIZE(40);
}
namespace log_configuration { using record = log_config;
    AT(level, 0); AT(targets, 4); AT(max_file_size, 8); AT(max_entries, 12); SIZE(16);
}

// The public interface.
namespace sdk_config { using record = zep_mqtt_sdk_config;
    AT(client_id, 0); AT(broker_host, 8); AT(broker_port, 16); AT(clean_start, 18);
    AT(keep_alive, 20); AT(username, 24); AT(password, 32); AT(crypto_enable, 40);
    AT(crypto_key, 48); AT(crypto_iv, 56); AT(will_flag, 64); AT(will_topic, 72);
    AT(will_payload, 80); AT(will_payload_len, 88); AT(will_qos, 92); AT(will_retain, 96);
    AT(reconnect_interval_ms, 100); AT(reserved6, 104); AT(mqtt_ver, 108); AT(reserved7, 112);
    AT(session_expiry_interval, 116); AT(v50_max_pkt_size, 120); AT(share_group, 128); SIZE(136);
}
namespace sdk_msg { using record = zep_mqtt_sdk_msg;
    AT(topic, 0); AT(payload, 8); AT(payload_len, 16); AT(qos, 20); AT(retain, 24); AT(ttl, 28);
    SIZE(32);
}
namespace sdk_client { using record = zep_mqtt_sdk_client;
    AT(app_msg_cb, 0); AT(app_resp_cb, 8); AT(core, 16); AT(connected, 24); AT(cfg, 32);
}
namespace broker_resp { using record = mqtt_broker_resp;
    AT(success, 0); AT(resp_type, 4); AT(result, 8); AT(pkt_id, 12); SIZE(16);
}

// The client.
namespace client_config { using record = mqtt_client_config;
    AT(client_id, 0); AT(broker_host, 24); AT(broker_port, 88); AT(mqtt_version, 92);
    AT(clean_start, 96); AT(reconnect_interval_ms, 100); AT(reserved1, 104); AT(keep_alive, 108);
    AT(username, 110); AT(password, 175); AT(will_flag, 240); AT(will_topic, 241);
    AT(will_payload, 305); AT(will_payload_len, 564); AT(will_qos, 568); AT(will_retain, 572);
    AT(crypto_enable, 573); AT(crypto_key, 574); AT(crypto_iv, 590); AT(topic_alias_max, 606);
    AT(reserved3, 608); AT(session_expiry_interval, 612); AT(max_packet_size, 616);
    AT(reserved4, 620); AT(reserved5, 624); SIZE(628);
}
namespace client { using record = mqtt_client;
    AT(config, 0); AT(msg_cb, 632); AT(conn_host, 640); AT(conn_port, 704); AT(net_index, 706);
    AT(session, 712);
    constexpr size_t behind_session = 712 + sizeof(mqtt_session);
    AT(alive, behind_session); AT(state, behind_session + 4);
    AT(connect_tick_ms, behind_session + 8); AT(crypto_ctx, behind_session + 12);
    AT(crypto, behind_session + 72); AT(reconnect_count, behind_session + 80);
    AT(last_activity_ms, behind_session + 84); AT(clean_tick, behind_session + 88);
    AT(rx_topic, behind_session + 92); AT(tx_buf, behind_session + 157);
    AT(user_obj, behind_session + 1184); AT(busy, behind_session + 1192);
    AT(op_type, behind_session + 1196); AT(crypto_out_len, behind_session + 1200);
    AT(conn_info, behind_session + 1208); AT(resp_cb, behind_session + 1216);
}
namespace conn_info { using record = mqtt50_conn_info;
    AT(reason_code, 0); AT(protocol_version, 4); AT(max_packet_size, 8); AT(session_present, 12);
    AT(session_expiry, 16); AT(receive_maximum, 20); AT(server_keep_alive, 22);
    AT(shared_sub_available, 24); AT(retain_available, 25); AT(assigned_client_id, 26);
    AT(reason_string, 50); SIZE(116);
}

// 3.1.1.
namespace packet { using record = mqtt_packet;
    AT(type, 0); AT(dup, 4); AT(qos, 8); AT(retain, 12); AT(remaining_len, 16);
    AT(protocol_version, 20); AT(body, 24); SIZE(112);
}
namespace packet_connect { using record = mqtt_packet_connect;
    AT(client_id, 0); AT(will_flag, 24); AT(will_qos, 28); AT(will_retain, 32); AT(will_topic, 40);
    AT(will_payload, 48); AT(will_payload_len, 56); AT(keep_alive, 60); AT(has_username, 62);
    AT(username, 64); AT(has_password, 72); AT(password, 80); SIZE(88);
}
namespace packet_connack { using record = mqtt_packet_connack;
    AT(session_present, 0); AT(return_code, 1); SIZE(2);
}
namespace packet_ack { using record = mqtt_packet_ack;
    AT(msg_id, 0); SIZE(2);
}
namespace packet_subscribe { using record = mqtt_packet_subscribe;
    AT(msg_id, 0); AT(filters, 8); AT(qos_list, 16); AT(filter_count, 24); SIZE(32);
}
namespace packet_suback { using record = mqtt_packet_suback;
    AT(msg_id, 0); AT(return_codes, 8); AT(code_count, 16); SIZE(24);
}
namespace packet_unsubscribe { using record = mqtt_packet_unsubscribe;
    AT(msg_id, 0); AT(filters, 8); AT(filter_count, 16); SIZE(24);
}
namespace session { using record = mqtt_session;
    AT(client_id, 0); AT(clean_start, 24); AT(keep_alive, 26); AT(will_flag, 28); AT(will_qos, 32);
    AT(will_retain, 36); AT(will_topic, 40); AT(will_payload, 48); AT(will_payload_len, 56);
    AT(qos1_cache, 64); AT(qos2_cache, 72); AT(next_packet_id, 80); AT(id_pool, 82);
    AT(id_pool_top, 148); AT(id_in_use, 152); AT(qos1_count, 284); AT(qos2_count, 288);
    AT(qos2_anomaly_count, 292);
}
namespace qos1_entry { using record = mqtt_qos1_entry;
    AT(msg, 0); AT(send_tick, 40); AT(retry_count, 48); AT(priority, 52); AT(next, 56);
    AT(version, 64);
}
namespace qos2_entry { using record = mqtt_qos2_entry;
    AT(msg, 0); AT(send_tick, 40); AT(state, 48); AT(retry_count, 52); AT(priority, 56);
    AT(next, 64); AT(version, 72);
}

// 5.0.
namespace message50 { using record = mqtt50_message;
    AT(topic, 0); AT(payload, 8); AT(payload_len, 16); AT(qos, 20); AT(retain, 24); AT(ttl, 28);
    AT(ttl_start_ms, 32); AT(user_props, 40); AT(user_prop_count, 48); AT(expired, 52);
    AT(message_expiry, 56); AT(dup_msg_id, 60); AT(is_dup, 62); SIZE(64);
}
namespace user_property { using record = mqtt50_user_property;
    AT(key, 0); AT(value, 8); AT(next, 16); SIZE(24);
}
namespace connect50 { using record = mqtt50_connect;
    AT(protocol_version, 0); AT(client_id, 1); AT(clean_start, 25); AT(keep_alive, 26);
    AT(session_expiry, 28); AT(max_packet_size, 32); AT(has_username, 36); AT(username, 40);
    AT(has_password, 48); AT(password, 56); AT(will_flag, 64); AT(will_topic, 72);
    AT(will_payload, 80); AT(will_payload_len, 88); AT(will_qos, 92); AT(will_retain, 96);
    AT(topic_alias_max, 98); SIZE(104);
}
namespace property { using record = mqtt50_property;
    AT(id, 0); AT(value, 1); SIZE(65);
}
namespace connack50 { using record = mqtt50_connack;
    AT(session_present, 0); AT(reason_code, 1); AT(total_len, 4); AT(prop_count, 8); AT(props, 9);
    AT(remaining_len, 1052); AT(max_packet_size, 1056); AT(session_expiry, 1060);
    AT(receive_maximum, 1064); AT(assigned_client_id, 1066); AT(server_keep_alive, 1090);
    AT(reason_string, 1092); AT(user_property, 1156); AT(wildcard_sub_available, 1220);
    AT(sub_id_available, 1221); AT(shared_sub_available, 1222); AT(retain_available, 1223);
    AT(topic_alias_max, 1224); SIZE(1228);
}
namespace publish50 { using record = mqtt50_publish;
    AT(topic, 0); AT(qos, 65); AT(retain, 66); AT(msg_id, 68); AT(payload_len, 72); AT(payload, 80);
    AT(is_dup, 88); AT(message_expiry, 92); SIZE(96);
}
namespace ack50 { using record = mqtt50_ack;
    AT(msg_id, 0); AT(reason_code, 2); SIZE(4);
}
namespace subscribe50 { using record = mqtt50_subscribe;
    AT(msg_id, 0); AT(topic, 2); AT(qos, 68); AT(is_shared, 72); AT(share_group, 73);
    AT(retain_as_published, 106); AT(no_local, 107); AT(retain_handling, 108); SIZE(112);
}
namespace unsubscribe50 { using record = mqtt50_unsubscribe;
    AT(msg_id, 0); AT(topic, 2); SIZE(68);
}
namespace disconnect50 { using record = mqtt50_disconnect;
    AT(reason_code, 0); AT(session_expiry, 4); SIZE(8);
}
namespace suback50 { using record = mqtt50_suback;
    AT(msg_id, 0); AT(granted_qos, 2); AT(count, 10); AT(reason_codes, 11); SIZE(20);
}

// Subscriptions, cipher, network, timers.
namespace topic_entry { using record = mqtt_topic_entry;
    AT(topic, 0); AT(qos, 64); AT(in_use, 65); AT(share_group, 66); AT(is_shared, 98); SIZE(99);
}
namespace topic_list { using record = mqtt_topic_list;
    AT(entries, 0); AT(count, 1584); AT(lock, 1592); SIZE(1600);
}
namespace cipher { using record = crypto_context;
    AT(algorithm, 0); AT(key, 1); AT(key_len, 36); AT(iv, 40); AT(crc_enable, 56); SIZE(60);
}
namespace adapter_instance { using record = net_adapter_instance;
    AT(address, 0); AT(port, 64); AT(net_type, 68); AT(index, 72); AT(sock, 76); AT(opened, 80);
    AT(used, 81); SIZE(84);
}
namespace iface { using record = net_iface;
    AT(type, 0); AT(send, 8); AT(recv, 16); AT(destroy, 24); AT(port, 32); SIZE(40);
}
namespace queue { using record = net_recv_queue;
    AT(head, 0); AT(tail, 8); AT(count, 16); AT(capacity, 20); AT(lock, 24); AT(sem, 32); SIZE(40);
}
namespace queue_entry { using record = net_queue_entry;
    AT(data, 0); AT(len, 1024); AT(src_ip, 1028); AT(src_port, 1044); AT(next, 1048); SIZE(1056);
}
namespace socket_set { using record = eth_socket_set;
    AT(count, 0); AT(socks, 4); SIZE(260);
}
namespace timer { using record = platform_timer;
    AT(handle, 0); AT(cb, 8); AT(running, 16); AT(valid, 17); AT(destroying, 18); AT(period_ms, 20);
    AT(lock, 24); SIZE(32);
}
namespace timer_context { using record = platform_timer_context;
    AT(func, 0); AT(arg, 8); AT(timer, 16); SIZE(24);
}

// clang-format on
