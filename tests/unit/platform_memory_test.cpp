#include <cstdlib>
#include <cstring>

#include <zep_mqtt/platform/byte_order.h>
#include <zep_mqtt/platform/memory.h>
#include <zep_mqtt/platform/mutex.h>
#include <zep_mqtt/platform/semaphore.h>
#include <zep_mqtt/platform/thread.h>

#include "support/failing_malloc.h"
#include "support/log_capture.h"

namespace {

TEST(platform_memory, reports_every_block) {
    zep_test::log_capture log;
    EXPECT_EQ(platform_malloc(0), nullptr);
    void *block = platform_malloc(7);
    char address[32];
    std::snprintf(address, sizeof address, "%p", block);
    platform_free(block);
    const zep_test::failing_malloc failing(0);
    EXPECT_EQ(platform_malloc(4096), nullptr);
    platform_free_win32(nullptr);
    platform_free_aligned_win32(nullptr);
    platform_free_aligned_win32(std::aligned_alloc(64, 128));
    const std::string block_at = zep_test::as_on_linux(address);
    EXPECT_EQ(log.take(),
              "[WARN] [内存日志] 跳过0字节malloc\n"
              "[DEBUG] [内存日志] malloc成功：" +
                  block_at + ", 大小=7字节\n" + "[DEBUG] [内存日志] 正常释放内存：" + block_at +
                  "\n" +
                  "[ERROR] [内存日志] malloc失败：申请大小=4096字节\n"
                  "[DEBUG] [内存日志] 跳过空指针释放：(nil)\n");
}

// A pointer that was cut to 32 bits and sign-extended must be reported and never be followed.
TEST(platform_memory, refuses_truncated_pointers) {
    if (sizeof(void *) != sizeof(uint64_t)) {
        GTEST_SKIP() << "only pointers of 64 bits can have been cut";
    }
    void *const cut = reinterpret_cast<void *>(static_cast<uintptr_t>(0xFFFFFFFF80001230));
    zep_test::log_capture log;
    platform_free(cut);
    const auto entry = reinterpret_cast<platform_thread_entry>(cut);
    EXPECT_EQ(platform_thread_create(entry, nullptr), nullptr);
    platform_thread_join(cut);
    platform_mutex_lock(cut);
    platform_mutex_unlock(cut);
    platform_mutex_destroy(cut);
    EXPECT_EQ(platform_sem_timedwait(cut, 0), -1);
    std::string expected;
    for (const char *line :
         {"platform_free: 尝试释放无效指针（已截断）：0xffffffff80001230",
          "platform_thread_create: 无效回调函数指针（已截断）",
          "platform_thread_join: 无效线程指针（已截断）：0xffffffff80001230",
          "platform_mutex_lock: 无效指针（已截断）：0xffffffff80001230",
          "platform_mutex_unlock: 无效指针（已截断）：0xffffffff80001230",
          "mutex_destroy: invalid pointer",
          "platform_sem_timedwait: 无效信号量指针（已截断）：0xffffffff80001230"}) {
        expected += "[ERROR] Invalid pointer (truncated): 0xffffffff80001230\n[ERROR] ";
        expected += line + std::string("\n");
    }
    EXPECT_EQ(log.take(), expected);
}

TEST(platform_memory, touches_no_more_than_fits) {
    uint8_t bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(platform_memset_s(nullptr, 8, 0, 8), 0u);
    EXPECT_EQ(platform_memset_s(bytes, 2, 0xEE, 5), 2u);
    EXPECT_EQ(platform_memcpy_s(nullptr, 8, bytes, 8), 0u);
    EXPECT_EQ(platform_memcpy_s(bytes, 8, nullptr, 8), 0u);
    EXPECT_EQ(platform_memcpy_s(bytes + 1, 5, bytes, 99), 5u) << "overlapping";
    EXPECT_EQ(std::memcmp(bytes, "\xEE\xEE\xEE\3\4\5\7\x8", 8), 0);
    EXPECT_LT(platform_memcmp("abc", "abd", 3), 0);
    EXPECT_EQ(platform_memcmp("abc", "abd", 2), 0);
    zep_test::log_capture log;
    EXPECT_EQ(platform_memcmp("a", "a", 0), -1);
    EXPECT_EQ(platform_memcmp(nullptr, nullptr, 1), -1);
    EXPECT_TRUE(log.take().ends_with(
        "[ERROR] platform_memcmp: 非法参数 (buf1=(nil), buf2=(nil), len=1)\n"));
}

TEST(platform_byte_order, is_that_of_the_network) {
    uint32_t wide = 0;
    uint16_t narrow = 0;
    platform_cpu_to_be32(&wide, 0x01020304);
    platform_cpu_to_be16(&narrow, 0x0102);
    EXPECT_EQ(std::memcmp(&wide, "\1\2\3\4", 4) | std::memcmp(&narrow, "\1\2", 2), 0);
    EXPECT_EQ(platform_be32_to_cpu(&wide), 0x01020304u);
    EXPECT_EQ(platform_be16_to_cpu(&narrow), 0x0102);
}

}  // namespace
