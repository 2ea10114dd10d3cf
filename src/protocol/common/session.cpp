#include <cstring>
#include <mutex>

#include <zep_mqtt/core/status.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/text.h>
#include <zep_mqtt/protocol/v311/session.h>
#include <zep_mqtt/protocol/v311/wire.h>
#include <zep_mqtt/topic/subscription_store.h>

#include "core/shared.h"
#include "core/start_once.h"
#include "log/log_lines.h"
#include "static_lock.h"

uint8_t is_destroying = 0;

namespace {

uint8_t g_store_claimed = 0;

int32_t check_client_id(const char *client_id) {
    if (client_id == nullptr || *client_id == '\0') {
        LOG_ERROR("[协议合规] ClientID非法：空指针或空字符串");
        return MQTT_ERR_INVALID_PARAM;
    }
    const size_t length = std::strlen(client_id);
    if (length > MQTT_CLIENT_ID_MAX) {
        LOG_ERROR("[协议合规] ClientID长度超限（协议建议≤23字符）：最大%d，实际%d",
                  MQTT_CLIENT_ID_MAX, static_cast<int>(length));
        return MQTT_ERR_INVALID_PARAM;
    }
    const int32_t status = utf8_validate(client_id, static_cast<int32_t>(length));
    if (status != MQTT_OK) {
        LOG_ERROR("ClientID UTF8格式非法：%s", client_id);
    }
    return status;
}

// The first session of the process sets the store up; one that is initialised meanwhile waits for
// the outcome.
int32_t set_up_store_once() {
    int32_t status = MQTT_ERR_NO_MEMORY;
    const bool ready = zep::start_once(g_sub_ctx_inited, g_store_claimed, [&] {
        status = mqtt_topic_list_init(&g_mqtt_sub_ctx);
        if (status == MQTT_OK) {
            zep::shared(g_sub_ctx_inited).store(1);
        }
    });
    if (!ready) {
        LOG_FATAL("静态订阅列表初始化失败，错误码：%d", status);
        return MQTT_ERR_NO_MEMORY;
    }
    return MQTT_OK;
}

// Keeps is_destroying at 1 while sessions are being destroyed, of which several may be at once on
// different threads. It is not accepted when the flag is up and no destroy of the library runs. The
// lock is held for a few instructions only, never across a release or a log line.
class destroy_run {
 public:
    destroy_run() {
        const std::lock_guard guard(g_lock);
        accepted_ = g_running > 0 || flag().load() == 0;
        if (accepted_) {
            ++g_running;
            flag().store(1);
        }
    }

    ~destroy_run() {
        if (!accepted_) {
            return;
        }
        const std::lock_guard guard(g_lock);
        if (--g_running == 0) {
            flag().store(0);
        }
    }

    destroy_run(const destroy_run &) = delete;
    destroy_run &operator=(const destroy_run &) = delete;

    bool accepted() const { return accepted_; }

 private:
    static zep::shared<uint8_t> flag() { return zep::shared(is_destroying); }

    static inline constinit zep::static_lock g_lock;
    static inline uint32_t g_running = 0;

    bool accepted_ = false;
};

void release_will(mqtt_session &session) {
    LOG_DEBUG("开始释放 will 资源");
    if (session.will_topic != nullptr) {
        LOG_DEBUG("释放 will_topic: %p", static_cast<const void *>(session.will_topic));
        platform_free(session.will_topic);
        session.will_topic = nullptr;
    }
    if (session.will_payload != nullptr) {
        LOG_DEBUG("释放 will_payload: %p", static_cast<const void *>(session.will_payload));
        platform_free(session.will_payload);
        session.will_payload = nullptr;
    }
    session.will_payload_len = 0;
    session.will_flag = 0;
    session.will_qos = 0;
    session.will_retain = 0;
    LOG_DEBUG("will 资源释放完成");
}

template <typename Entry>
void release_cache(int level, Entry *&head, uint32_t &count) {
    LOG_DEBUG("开始销毁 QoS%d 缓存，数量：%d", level, count);
    while (head != nullptr) {
        Entry *entry = head;
        head = entry->next;
        message_free(&entry->msg);
        platform_free(entry);
    }
    count = 0;
    LOG_DEBUG("QoS%d 缓存销毁完成", level);
}

void reset_packet_ids(mqtt_session &session) {
    session.next_packet_id = MQTT_PACKET_ID_MIN;
    session.id_pool_top = -1;
    std::memset(session.id_pool, 0, sizeof session.id_pool);
    std::memset(session.id_in_use, 0, sizeof session.id_in_use);
}

// The client identifier and the counts outlive what they describe: the last lines carry them.
void destroy(mqtt_session &session) {
    char client_id[sizeof session.client_id];
    platform_strcpy_s(client_id, sizeof client_id, session.client_id);
    const uint32_t qos1_count = session.qos1_count;
    const uint32_t qos2_count = session.qos2_count;

    LOG_DEBUG("client_id: %s", client_id);
    release_will(session);
    release_cache(1, session.qos1_cache, session.qos1_count);
    release_cache(2, session.qos2_cache, session.qos2_count);
    LOG_DEBUG("跳过全局订阅锁销毁（CLIENT模式安全）");
    LOG_DEBUG("开始清理 packet_id 资源");
    reset_packet_ids(session);
    LOG_DEBUG("packet_id 资源清理完成");
    LOG_DEBUG("清空会话结构体内存");
    session = mqtt_session{};
    LOG_INFO("MQTT会话销毁成功：ClientID=%s, 已释放QoS1缓存%d个, QoS2缓存%d个", client_id,
             qos1_count, qos2_count);
    LOG_DEBUG("=== 会话销毁全部完成 ===\n");
}

}  // namespace

int32_t mqtt_session_init(mqtt_session *session, const char *client_id, uint8_t clean_start,
                          uint16_t keep_alive) {
    if (session == nullptr) {
        LOG_ERROR("会话初始化失败：session为空");
        return MQTT_ERR_INVALID_PARAM;
    }
    int32_t status = check_client_id(client_id);
    if (status != MQTT_OK) {
        return status;
    }
    mqtt_session fresh = {};
    platform_strcpy_s(fresh.client_id, sizeof fresh.client_id, client_id);
    fresh.clean_start = clean_start;
    fresh.keep_alive = keep_alive;
    reset_packet_ids(fresh);
    *session = fresh;

    status = set_up_store_once();
    if (status != MQTT_OK) {
        return status;
    }
    LOG_INFO("MQTT会话初始化成功：ClientID=%s, CleanStart=%d, KeepAlive=%d", session->client_id,
             clean_start, keep_alive);
    return MQTT_OK;
}

int32_t mqtt_session_destroy(mqtt_session *session) {
    LOG_DEBUG("=== 会话销毁开始 ===");
    LOG_DEBUG("session 地址 = %p", static_cast<const void *>(session));
    if (session == nullptr) {
        LOG_ERROR("会话销毁参数非法：session=%p", static_cast<const void *>(session));
        return MQTT_ERR_INVALID_PARAM;
    }
    const destroy_run run;
    if (!run.accepted()) {
        LOG_WARN("会话正在销毁中，跳过重复调用：session=%p", static_cast<const void *>(session));
        return MQTT_OK;
    }
    destroy(*session);
    return MQTT_OK;
}
