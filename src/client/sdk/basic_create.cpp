// Creation of a handle, whose public configuration is copied into the core's, and the delivery of
// messages to it.
#include <cstring>

#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/text.h>

#include "client/sdk/basic_private.h"
#include "core/wipe.h"
#include "log/log_lines.h"

using namespace zep;

namespace {

constexpr uint32_t CIPHER_KEY_SIZE = 16;

bool credential_fits(const char *text, const char *name) {
    if (platform_strlen(text) <= CREDENTIAL_MAX) {
        return true;
    }
    LOG_ERROR("MQTT_SDK: create failed: %s too long (max=%d)", name, CREDENTIAL_MAX);
    return false;
}

bool arguments_are_valid(const zep_mqtt_sdk_config *config, zep_mqtt_sdk_msg_cb msg_cb) {
    if (config == nullptr || msg_cb == nullptr || config->client_id == nullptr ||
        config->broker_host == nullptr || config->broker_port == 0) {
        LOG_ERROR("MQTT_SDK: create failed: invalid param");
        return false;
    }
    return credential_fits(config->username, "username") &&
           credential_fits(config->password, "password");
}

// A text that does not fit is cut, and said to be.
template <size_t Size>
void copy_cut(char (&field)[Size], const char *text, const char *name) {
    platform_strcpy_s(field, Size, text);
    if (platform_strlen(text) >= Size) {
        LOG_WARN("MQTT_SDK: %s truncate to %d", name, static_cast<int>(Size - 1));
    }
}

void copy_cipher(const zep_mqtt_sdk_config &from, mqtt_client_config &to) {
    to.crypto_enable = from.crypto_enable;
    if (from.crypto_enable != 0 && from.crypto_key != nullptr && from.crypto_iv != nullptr) {
        std::memcpy(to.crypto_key, from.crypto_key, CIPHER_KEY_SIZE);
        std::memcpy(to.crypto_iv, from.crypto_iv, CIPHER_KEY_SIZE);
    }
}

// A topic or payload outside its limits is left empty, which makes the core refuse the will.
void copy_will(const zep_mqtt_sdk_config &from, mqtt_client_config &to) {
    to.will_flag = from.will_flag;
    if (from.will_flag == 0 || from.will_topic == nullptr || from.will_payload == nullptr) {
        return;
    }
    const size_t topic_length = platform_strlen(from.will_topic);
    if (topic_length >= 1 && topic_length <= WILL_TOPIC_MAX) {
        std::memcpy(to.will_topic, from.will_topic, topic_length + 1);
    }
    if (from.will_payload_len >= 1 && from.will_payload_len <= SDK_WILL_PAYLOAD_MAX) {
        std::memcpy(to.will_payload, from.will_payload, from.will_payload_len);
        to.will_payload_len = from.will_payload_len;
    }
    to.will_qos = from.will_qos;
    to.will_retain = from.will_retain != 0 ? 1 : 0;
    LOG_INFO("MQTT_SDK: will config transfer success: topic=%s, payload_len=%d, qos=%d",
             from.will_topic, from.will_payload_len, from.will_qos);
}

uint32_t limited_packet_size(uint32_t configured) {
    if (configured == 0) {
        return PACKET_MAX;
    }
    if (configured > PACKET_MAX) {
        LOG_WARN("MQTT_SDK: v50_max_pkt_size truncate to %d", PACKET_MAX);
        return PACKET_MAX;
    }
    return configured;
}

mqtt_client_config core_config(const zep_mqtt_sdk_config &from) {
    mqtt_client_config to = {};
    copy_cut(to.client_id, from.client_id, "client_id");
    copy_cut(to.broker_host, from.broker_host, "broker_host");
    copy_cut(to.username, from.username, "username");
    copy_cut(to.password, from.password, "password");
    to.broker_port = from.broker_port;
    to.clean_start = from.clean_start;
    to.reconnect_interval_ms = from.reconnect_interval_ms;
    to.session_expiry_interval = from.session_expiry_interval;
    to.reserved1 = from.reserved6;
    to.reserved3 = from.reserved7;
    to.mqtt_version = from.mqtt_ver == ZEP_MQTT_SDK_VERSION_50 ? MQTT_VERSION_50 : MQTT_VERSION_311;
    to.keep_alive = static_cast<uint16_t>(from.keep_alive);
    copy_cipher(from, to);
    copy_will(from, to);
    to.max_packet_size = limited_packet_size(from.v50_max_pkt_size);
    return to;
}

// The handle and, behind it in the same block, its copy of the share group.
zep_mqtt_sdk_client *allocate_handle(const zep_mqtt_sdk_config &config) {
    const size_t group_length = platform_strlen(config.share_group);
    const size_t group_size = group_length == 0 ? 0 : group_length + 1;
    const size_t size = sizeof(zep_mqtt_sdk_client) + group_size;
    void *block = size > UINT32_MAX ? nullptr : platform_malloc(static_cast<uint32_t>(size));
    if (block == nullptr) {
        LOG_ERROR("MQTT_SDK: create failed: malloc obj memory failed");
        return nullptr;
    }
    std::memset(block, 0, size);
    auto *handle = static_cast<zep_mqtt_sdk_client *>(block);
    handle->cfg = config;
    if (handle->cfg.v50_max_pkt_size == 0) {
        handle->cfg.v50_max_pkt_size = PACKET_MAX;
    }
    handle->cfg.share_group = nullptr;
    if (group_size != 0) {
        char *group = static_cast<char *>(block) + sizeof *handle;
        std::memcpy(group, config.share_group, group_size);
        handle->cfg.share_group = group;
    }
    return handle;
}

}  // namespace

zep_mqtt_sdk_client *zep_mqtt_sdk_client_create(const zep_mqtt_sdk_config *config,
                                                zep_mqtt_sdk_msg_cb msg_cb,
                                                zep_mqtt_sdk_resp_cb resp_cb) {
    sdk_print_banner_once();
    if (!arguments_are_valid(config, msg_cb)) {
        return nullptr;
    }
    zep_mqtt_sdk_client *handle = allocate_handle(*config);
    if (handle == nullptr) {
        return nullptr;
    }
    handle->app_msg_cb = msg_cb;
    handle->app_resp_cb = resp_cb;
    mqtt_client_config core = core_config(*config);
    handle->core = mqtt_client_create(&core, core_msg_cb_adapter_with_obj, resp_cb, handle);
    wipe(&core, sizeof core);
    if (handle->core == nullptr) {
        LOG_ERROR("MQTT_SDK: create failed: core client create error");
        platform_free(handle);
        return nullptr;
    }
    LOG_INFO("MQTT_SDK: create success, client_id=%s, mqtt_ver=%d", config->client_id,
             config->mqtt_ver);
    return handle;
}

void core_msg_cb_adapter_with_obj(void *user_obj, const mqtt_message *msg) {
    const auto *handle = static_cast<const zep_mqtt_sdk_client *>(user_obj);
    if (handle == nullptr || msg == nullptr || handle->app_msg_cb == nullptr) {
        return;
    }
    zep_mqtt_sdk_msg delivered = {};
    delivered.topic = msg->topic;
    delivered.payload = msg->payload;
    delivered.payload_len = msg->payload_len;
    delivered.qos = msg->qos;
    delivered.retain = msg->retain == 1 ? 1 : 0;
    handle->app_msg_cb(&delivered);
}
