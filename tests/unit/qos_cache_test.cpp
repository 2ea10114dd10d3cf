#include "qos/cache_private.h"
#include "qos/received_ids.h"
#include "qos_fixture.h"
#include "support/failing_malloc.h"

namespace {

using namespace zep_test;

class qos_cache : public qos_fixture {};
class qos_cache_both : public qos_both {};
INSTANTIATE_TEST_SUITE_P(qos, qos_cache_both, testing::Values(1u, 2u));

TEST_F(qos_cache, admission_refuses_in_its_order) {
    const std::vector<uint8_t> payload(1025);
    const struct {
        uint32_t version;
        uint32_t qos;
        const char *topic;  // null for no message at all
        uint32_t payload_len;
        uint16_t id;
        int32_t status;
        const char *line;
    } cases[] = {
        {3, 9, nullptr, 0, 0, -109, "[ERROR] 不支持的MQTT版本：3（仅支持3.1.1/5.0）\n"},
        {4, 9, nullptr, 0, 0, -101, "[ERROR] QoS消息处理参数非法：msg=(nil), session=0x"},
        {4, 3, "a/+", 0, 0, -102, "[ERROR] 非法QoS等级：3\n"},
        {4, 0, "a/+", 0, 0, -101, "[ERROR] [协议合规] 发布主题非法"},
        {5, 1, "a/b", 1025, 0, -101, "[ERROR] [Payload校验] 内容长度超限：实际=1025, 最大=1024\n"},
        {5, 1, "a/b", UINT32_MAX, 0, -101, "[ERROR] [Payload校验] 内容长度超限"},
        {4, 1, "a/b", 1024, 0, -101, "[ERROR] 非法Packet ID：0（版本4）\n"},
        {5, 2, "a/b", 1024, 129, -101, "[ERROR] 非法Packet ID：129（版本5）\n"},
        {4, 0, "a/b", 1024, 129, 0, ""},
    };
    for (const auto &c : cases) {
        mqtt_message msg = message(c.id);
        msg.topic = c.topic;
        msg.payload = payload.data();
        msg.payload_len = c.payload_len;
        zep_test::log_capture log;
        EXPECT_EQ(mqtt_qos_message_process(c.version, c.qos, c.topic == nullptr ? nullptr : &msg,
                                           &session),
                  c.status);
        EXPECT_EQ(log.take().find(c.line), 0u) << c.line;
        EXPECT_EQ(count(1) + count(2), 0u);
    }
    mqtt_message msg = message(1);
    EXPECT_EQ(mqtt_qos_message_process(4, 1, &msg, nullptr), -101);
}

TEST_P(qos_cache_both, an_admitted_message_is_a_copy_at_the_head) {
    admit(qos(), 1);
    mqtt_message msg = message(2, 7);
    msg.retain = 1;
    msg.message_expiry = 60;
    agent_log_set_level(AGENT_LOG_INFO);
    const uint64_t before = platform_get_tick_ms();
    ASSERT_EQ(mqtt_qos_message_process(5, qos(), &msg, &session), 0);
    EXPECT_EQ(msg.priority, 1) << "reset in the caller's record";
    const cached head = entries(qos()).front();
    EXPECT_EQ(cached_ids(qos()), (ids{2, 1}));
    EXPECT_NE(head.msg.topic, msg.topic);
    EXPECT_STREQ(head.msg.topic, "a/b");
    EXPECT_EQ(bytes(head.msg.payload, head.msg.payload + 2), (bytes{'h', 'i'}));
    EXPECT_EQ(head.msg.retain, 1);
    EXPECT_EQ(head.retry_count, 0u);
    EXPECT_GE(head.send_tick, before);
    EXPECT_LE(head.send_tick, platform_get_tick_ms());
    if (qos() == 2) {
        EXPECT_EQ(session.qos2_cache->state, static_cast<uint32_t>(WAIT_PUBREC));
        EXPECT_EQ(session.qos2_cache->priority, 1);
        EXPECT_EQ(session.qos2_cache->version, 5u);
    } else {
        EXPECT_EQ(session.qos1_cache->priority, 1);
        EXPECT_EQ(session.qos1_cache->version, 5u);
    }
}

TEST_P(qos_cache_both, a_full_cache_expires_only_old_messages_of_low_priority) {
    for (uint16_t id = 1; id <= limit(); ++id) {
        admit(qos(), id, id == 7 ? MQTT_PRIORITY_LOW : MQTT_PRIORITY_NORMAL);
    }
    const std::string max = std::to_string(limit());
    mqtt_message msg = message(128);
    agent_log_set_level(AGENT_LOG_INFO);
    {
        zep_test::log_capture log;
        EXPECT_EQ(mqtt_qos_message_process(4, qos(), &msg, &session), MQTT_ERR_CACHE_FULL);
        EXPECT_EQ(log.take(), "[WARN] " + name() + "缓存满，尝试清理低优先级超时缓存：当前" + max +
                                  "，最大" + max + "\n[ERROR] " + name() +
                                  "缓存满且清理失败：当前" + max + "，最大" + max + "\n");
    }
    pass(5001);
    zep_test::log_capture log;
    EXPECT_EQ(mqtt_qos_message_process(4, qos(), &msg, &session), 0);
    EXPECT_NE(log.take().find("[INFO] 清理低优先级缓存1个，缓存可用：当前" +
                              std::to_string(limit() - 1) + "\n"),
              std::string::npos);
    EXPECT_FALSE(in_use(7));
    EXPECT_EQ(count(qos()), limit());
    EXPECT_EQ(entries(qos()).front().msg.msg_id, 128);
}

TEST_P(qos_cache_both, room_in_the_other_cache_does_not_help) {
    for (uint16_t id = 1; id <= limit(); ++id) {
        admit(qos(), id);
    }
    admit(3 - qos(), 101, MQTT_PRIORITY_LOW);
    pass(5001);
    mqtt_message msg = message(128);
    EXPECT_EQ(mqtt_qos_message_process(4, qos(), &msg, &session), MQTT_ERR_CACHE_FULL);
    EXPECT_EQ(count(3 - qos()), 0u);
    EXPECT_FALSE(in_use(101));
}

TEST_P(qos_cache_both, without_memory_nothing_is_cached) {
    const std::string lines[] = {"[FATAL] " + name() + "缓存内存分配失败\n",
                                 "[ERROR] " + name() + "消息深拷贝失败：PacketID=1\n",
                                 "[ERROR] " + name() + "消息深拷贝失败：PacketID=1\n"};
    uint64_t fail_at = 0;
    for (const std::string &line : lines) {
        mqtt_message msg = message(1);
        const failing_malloc failure(fail_at++);
        zep_test::log_capture log;
        EXPECT_EQ(mqtt_qos_message_process(4, qos(), &msg, &session), MQTT_ERR_NO_MEMORY);
        EXPECT_TRUE(log.take().ends_with(line)) << line;
        EXPECT_TRUE(entries(qos()).empty());
    }
}

TEST_P(qos_cache_both, clean_ups_look_at_age_and_priority) {
    for (uint16_t id = 1; id <= 6; ++id) {
        admit(qos(), id, static_cast<uint8_t>(id % 3));  // 3 and 6 are low
    }
    pass(240000);
    EXPECT_EQ(mqtt_cache_clean_timeout(&session), 0);
    EXPECT_EQ(mqtt_cache_clean_prio_timeout(&session, 0, 0), 0);
    EXPECT_EQ(mqtt_cache_clean_prio_timeout(&session, 0, 250000), 0);
    EXPECT_EQ(mqtt_cache_clean_prio_timeout(&session, 0, 240000 - 1), 2);
    EXPECT_EQ(cached_ids(qos()), (ids{5, 4, 2, 1}));
    pass(60001);
    entries(qos())[1].send_tick += 240000;  // sent again a minute ago
    EXPECT_EQ(mqtt_cache_clean_timeout(&session), 3);
    EXPECT_EQ(cached_ids(qos()), (ids{4}));
    for (uint16_t id = 1; id <= 6; ++id) {
        EXPECT_EQ(in_use(id), id == 4) << id;
    }
}

TEST_F(qos_cache, clean_ups_refuse_bad_arguments) {
    zep_test::log_capture log;
    EXPECT_EQ(mqtt_cache_clean_timeout(nullptr), -1);
    EXPECT_EQ(mqtt_cache_clean_prio_timeout(nullptr, 0, 1), 0);
    EXPECT_EQ(mqtt_cache_clean_prio_timeout(&session, 3, 0), 0);
    EXPECT_EQ(mqtt_cache_clean_prio_timeout(&session, 2, 0), 0);
    EXPECT_EQ(log.take(),
              "[ERROR] 缓存清理参数非法：session=(nil)\n"
              "[ERROR] 按优先级清理缓存参数非法：session=(nil)\n"
              "[ERROR] 按优先级清理缓存参数非法：priority=3（范围[0,2]）\n"
              "[WARN] 按优先级清理缓存：timeout_ms=0，使用默认值300000ms\n");
}

TEST_F(qos_cache, back_off_doubles_up_to_30_seconds) {
    const uint32_t expected[] = {2000, 4000, 8000, 16000, 30000, 30000};
    for (uint32_t retry = 0; retry < std::size(expected); ++retry) {
        EXPECT_EQ(mqtt_calc_exponential_backoff(retry), expected[retry]);
    }
    for (uint32_t retry : {20u, 21u, 31u, 32u, 64u, UINT32_MAX}) {
        EXPECT_EQ(mqtt_calc_exponential_backoff(retry), 30000u);
    }
}

// A 5.0 message sent again under its earlier identifier while the first is still cached.
TEST_P(qos_cache_both, an_identifier_goes_back_with_the_last_entry_that_holds_it) {
    const uint32_t other = 3 - qos();
    admit(qos(), 5);
    admit(other, 5);
    admit(qos(), 6);
    zep::qos_cache_withdraw(&session, 5);
    EXPECT_EQ(count(other), 0u) << "the newest one goes, whichever cache it is in";
    EXPECT_TRUE(in_use(5));
    zep::qos_cache_withdraw(&session, 5);
    EXPECT_FALSE(in_use(5));
    EXPECT_EQ(cached_ids(qos()), (ids{6}));
    zep::qos_cache_withdraw(&session, 5);
    EXPECT_EQ(session.id_pool_top, 0);

    admit(qos(), 6);
    EXPECT_EQ(mqtt_cache_clean_timeout(&session), 0);
    entries(qos())[1].send_tick -= 300001;
    EXPECT_EQ(mqtt_cache_clean_timeout(&session), 1);
    EXPECT_TRUE(in_use(6));
}

TEST(received_ids, keeps_each_of_the_65536_apart) {
    uint8_t bitmap[zep::RECEIVED_IDS_SIZE] = {};
    for (uint16_t id : ids{0, 1, 7, 8, 65535}) {
        zep::received_ids_add(bitmap, id);
        zep::received_ids_add(bitmap, id);
    }
    zep::received_ids_remove(bitmap, 7);
    zep::received_ids_remove(bitmap, 9);
    std::vector<int> found;
    for (int id = 0; id <= 65535; ++id) {
        if (zep::received_ids_contains(bitmap, static_cast<uint16_t>(id))) {
            found.push_back(id);
        }
    }
    EXPECT_EQ(found, (std::vector<int>{0, 1, 8, 65535}));
    zep::received_ids_clear(bitmap);
    EXPECT_FALSE(zep::received_ids_contains(bitmap, 65535));
}

}  // namespace
