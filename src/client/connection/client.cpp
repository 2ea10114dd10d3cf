// Creation and destruction of a client.
#include <zep_mqtt/client/client.h>
#include <zep_mqtt/client/operations.h>
#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/memory.h>

#include "client/connection/client_private.h"
#include "client/connection/reconnect.h"
#include "client/connection/will.h"
#include "core/wipe.h"
#include "log/log_lines.h"

using namespace zep;

namespace {

constexpr uint16_t KEEP_ALIVE_MAX_S = 120;
constexpr uint16_t SESSION_KEEP_ALIVE = 3;  // what the session records and logs; times nothing
constexpr uint8_t CIPHER_XOR = 3;

bool address_is_valid(const mqtt_client_config &config) {
    const size_t id_length = strnlen(config.client_id, sizeof config.client_id);
    if (id_length == 0 || id_length >= sizeof config.client_id || config.broker_host[0] == '\0' ||
        config.broker_port == 0) {
        LOG_ERROR("MQTT_CLIENT: 无效配置（client_id长度：%d，broker_port：%d）",
                  static_cast<int>(id_length), config.broker_port);
        return false;
    }
    return true;
}

bool will_is_valid(const mqtt_client_config &config) {
    if (config.will_flag == 0) {
        return true;
    }
    const will_faults faults = find_will_faults(config);
    if (faults.topic_missing || faults.topic_too_long) {
        LOG_ERROR(
            "MQTT_CLIENT: 创建失败：遗嘱主题非法（空指针/空字符串/超长，长度：%d，最大允许：%d）",
            faults.topic_length, MQTT_CLIENT_TOPIC_MAX);
        return false;
    }
    if (faults.qos_invalid) {
        LOG_WARN("MQTT_CLIENT: 遗嘱QoS非法（%d）.", config.will_qos);
        return false;
    }
    if (faults.payload_missing || faults.payload_too_long) {
        LOG_ERROR(
            "MQTT_CLIENT: 创建失败：遗嘱载荷非法（空指针/空数据/超长，长度：%d，最大允许：%d）",
            config.will_payload_len, WILL_PAYLOAD_MAX);
        return false;
    }
    return true;
}

void terminate_texts(mqtt_client_config &config) {
    config.broker_host[sizeof config.broker_host - 1] = '\0';
    config.username[sizeof config.username - 1] = '\0';
    config.password[sizeof config.password - 1] = '\0';
}

void limit_keep_alive(mqtt_client_config &config) {
    if (config.keep_alive > KEEP_ALIVE_MAX_S) {
        LOG_WARN("MQTT_CLIENT: 心跳配置值过大(%d秒)，自动修正为安全最大值%d秒", config.keep_alive,
                 KEEP_ALIVE_MAX_S);
        config.keep_alive = KEEP_ALIVE_MAX_S;
    }
}

// A client whose cipher cannot be set up works in plain text and says so.
void start_cipher(mqtt_client &client) {
    if (client.config.crypto_enable != 1) {
        return;
    }
    crypto_context config = {};
    config.algorithm = CIPHER_XOR;
    std::memcpy(config.key, client.config.crypto_key, sizeof client.config.crypto_key);
    config.key_len = sizeof client.config.crypto_key;
    std::memcpy(config.iv, client.config.crypto_iv, sizeof client.config.crypto_iv);
    config.crc_enable = 1;
    client.crypto = &client.crypto_ctx;
    if (crypto_create(&config, client.crypto) == 0) {
        LOG_INFO("MQTT_CLIENT: 加密模块初始化成功 [XOR+CRC16]，完整性校验已开启");
    } else {
        LOG_ERROR("MQTT_CLIENT: 加密模块初始化失败，将以明文传输");
        client.crypto = nullptr;
    }
    crypto_destroy(&config);
}

void *allocate_zeroed(uint32_t size) {
    void *block = platform_malloc(size);
    if (block != nullptr) {
        std::memset(block, 0, size);
    }
    return block;
}

}  // namespace

mqtt_client *mqtt_client_create(const mqtt_client_config *config, mqtt_client_msg_cb msg_cb,
                                mqtt_broker_resp_cb resp_cb, void *user_obj) {
    if (config == nullptr || msg_cb == nullptr) {
        log_null_pointer("mqtt_client_create");
        LOG_ERROR("MQTT_CLIENT: 创建失败：配置/消息回调为空");
        return nullptr;
    }
    if (!address_is_valid(*config) || !will_is_valid(*config)) {
        return nullptr;
    }
    auto *block = static_cast<client_block *>(allocate_zeroed(sizeof(client_block)));
    if (block == nullptr) {
        log_null_pointer("mqtt_client_create");
        LOG_ERROR("MQTT_CLIENT: 创建失败：内存分配失败");
        return nullptr;
    }
    mqtt_client *client = &block->record;
    client->inner = &block->state;
    client->config = *config;
    terminate_texts(client->config);
    limit_keep_alive(client->config);
    client->msg_cb = msg_cb;
    client->user_obj = user_obj;
    client->resp_cb = resp_cb;
    client->alive = 1;
    client->state = MQTT_CLIENT_DISCONNECTED;
    client->net_index = MQTT_CLIENT_NO_INSTANCE;
    client->last_activity_ms = tick_now();
    client->conn_info = static_cast<mqtt50_conn_info *>(allocate_zeroed(sizeof(mqtt50_conn_info)));

    const int32_t status = mqtt_session_init(&client->session, client->config.client_id,
                                             client->config.clean_start, SESSION_KEEP_ALIVE);
    if (status != MQTT_OK) {
        LOG_ERROR("MQTT_CLIENT: 会话初始化失败（%s）", mqtt_status_text(status));
        platform_free(client->conn_info);
        platform_free(block);
        return nullptr;
    }
    start_cipher(*client);
    LOG_INFO(
        "MQTT_CLIENT: 客户端创建成功（client_id=%s，加密开启：%d，无线程模式，心跳间隔：%ds，协议版本：自动适配3.1.1/5.0，遗嘱开启：%d）",
        client->config.client_id, client->config.crypto_enable, client->config.keep_alive,
        client->config.will_flag);
    return client;
}

void mqtt_client_destroy(mqtt_client *client) {
    if (client == nullptr) {
        log_null_pointer("mqtt_client_destroy");
        return;
    }
    client->alive = 0;
    leave_reconnect_line(state_of(*client).reconnect);
    (void)mqtt_client_disconnect(client);
    if (has_instance(*client)) {
        // The switch to 3.1.1 leaves a disconnected client with its instance open.
        end_connection(*client);
    }
    (void)mqtt_session_destroy(&client->session);
    if (client->crypto != nullptr) {
        crypto_destroy(client->crypto);
        client->crypto = nullptr;
        LOG_INFO("MQTT_CLIENT: 加密句柄销毁成功，敏感数据已清零");
    }
    platform_free(client->conn_info);
    wipe(client, sizeof(client_block));  // key, password, payloads
    platform_free(client);
    LOG_INFO("MQTT_CLIENT: 客户端销毁成功，所有资源已释放");
}

uint32_t mqtt_client_get_connect_state(const mqtt_client *client) {
    if (client == nullptr) {
        return MQTT_CLIENT_DISCONNECTED;
    }
    return shared_load(client->state, std::memory_order_relaxed);
}
