#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <vector>

#include <zep_mqtt/log/log.h>
#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/platform/thread.h>
#include <zep_mqtt/platform/timer.h>

#include "support/failing_malloc.h"
#include "support/log_capture.h"

namespace {

constexpr uint32_t ENDLESS_MS = 3'600'000;

// What a timer calls: counts, and does what the test wants done.
struct probe {
    std::function<void(int)> action = [](int) {};
    std::atomic<int> begun{0};
    std::atomic<int> ended{0};

    static void run(void *arg) {
        auto *p = static_cast<probe *>(arg);
        p->action(p->begun++);
        ++p->ended;
    }
};

bool wait_until(const std::function<bool()> &reached) {
    for (int i = 0; i < 30'000 && !reached(); ++i) {
        platform_delay_ms(1);
    }
    return reached();
}

class platform_timer_test : public testing::Test {
 protected:
    platform_timer_test() { agent_log_set_level(AGENT_LOG_FATAL); }
};

TEST_F(platform_timer_test, refuses_and_reports) {
    agent_log_set_level(AGENT_LOG_DEBUG);
    const auto marked = reinterpret_cast<platform_timer *>(0x12DDDDDDDD);
    platform_timer_context unowned{probe::run, nullptr, nullptr};
    zep_test::log_capture log;
    EXPECT_EQ(platform_timer_create_win32(nullptr, nullptr, 0), nullptr);
    EXPECT_EQ(platform_timer_start_win32(nullptr), 0);
    EXPECT_EQ(platform_timer_stop_win32(nullptr), 0);
    platform_timer_destroy_win32(nullptr);
    timer_callback_wrapper(nullptr);
    EXPECT_EQ(platform_timer_start_win32(marked), 0);
    EXPECT_EQ(platform_timer_stop_win32(marked), 0);
    platform_timer_destroy_win32(marked);
    timer_callback_wrapper(&unowned);
    EXPECT_EQ(log.take(),
              "[ERROR] platform_timer_create_win32: 无效参数（func=(nil), period=0）\n"
              "[ERROR] platform_timer_start_win32: 无效指针（NULL）\n"
              "[ERROR] platform_timer_start_win32: 访问已释放的定时器（地址：0x12dddddddd）\n"
              "[ERROR] platform_timer_stop_win32: 访问已释放的定时器（地址：0x12dddddddd）\n"
              "[ERROR] platform_timer_destroy_win32: 访问已释放的定时器（地址：0x12dddddddd）\n"
              "[WARN] timer_callback_wrapper: 定时器已失效，跳过回调（地址：(nil)）\n");
}

TEST_F(platform_timer_test, leaves_nothing_behind_without_memory) {
    agent_log_set_level(AGENT_LOG_ERROR);
    const char *const lines[] = {"内存分配失败\n", "互斥锁创建失败\n",
                                 "定时器句柄创建失败（错误码：12）\n", "上下文内存分配失败\n"};
    for (uint64_t i = 0; i < std::size(lines); ++i) {
        zep_test::log_capture log;
        const zep_test::failing_malloc failing(i);
        EXPECT_EQ(platform_timer_create_win32(probe::run, nullptr, 5), nullptr);
        EXPECT_NE(log.take().find(std::string("[ERROR] platform_timer_create_win32: ") + lines[i]),
                  std::string::npos)
            << lines[i];
    }
    probe calls;
    platform_timer *timer = platform_timer_create_win32(probe::run, &calls, ENDLESS_MS);
    ASSERT_NE(timer, nullptr);
    {
        zep_test::log_capture log;
        const zep_test::failing_malloc failing(0);
        EXPECT_EQ(platform_timer_start_win32(timer), 0);
        EXPECT_NE(log.take().find("启动失败（错误码：12，"), std::string::npos);
    }
    EXPECT_EQ(platform_timer_start_win32(timer), 1) << "it can be had later";
    EXPECT_TRUE(wait_until([&] { return calls.ended == 1; }));
    platform_timer_destroy_win32(timer);
}

TEST_F(platform_timer_test, calls_first_at_once_then_on_a_grid_that_does_not_drift) {
    constexpr int64_t PERIOD_US = 100'000;
    constexpr size_t CALLS = 10;
    std::mutex lock;
    std::vector<int64_t> times;
    probe calls;
    calls.action = [&](int number) {
        {
            const std::lock_guard guard(lock);
            times.push_back(platform_get_tick_us_win32());
        }
        // The first call makes the second one 70 ms late; no other may be for that reason.
        platform_delay_ms(number == 0 ? 170 : 20);
    };
    platform_timer *timer = platform_timer_create_win32(probe::run, &calls, PERIOD_US / 1000);
    const int64_t start = platform_get_tick_us_win32();
    ASSERT_EQ(platform_timer_start_win32(timer), 1);
    EXPECT_EQ(timer->running, 1);
    EXPECT_TRUE(wait_until([&] { return calls.begun >= static_cast<int>(CALLS); }));
    EXPECT_EQ(platform_timer_stop_win32(timer), 1);
    platform_timer_destroy_win32(timer);

    std::vector<int64_t> lateness;
    for (size_t i = 0; i < CALLS; ++i) {
        EXPECT_GE(times[i], start + static_cast<int64_t>(i) * PERIOD_US) << "call " << i;
        if (i >= 2) {
            lateness.push_back((times[i] - start) % PERIOD_US);
        }
    }
    // A busy machine makes many a call late, but of calls that drift hardly one is in time.
    std::sort(lateness.begin(), lateness.end());
    EXPECT_LT(lateness[lateness.size() / 4], 50'000);
}

TEST_F(platform_timer_test, starts_and_stops_once) {
    agent_log_set_level(AGENT_LOG_WARN);
    zep_test::log_capture log;
    probe calls;
    platform_timer *timer = platform_timer_create_win32(probe::run, &calls, ENDLESS_MS);
    EXPECT_EQ(platform_timer_stop_win32(timer), 1) << "never started";
    EXPECT_EQ(platform_timer_start_win32(timer), 1);
    EXPECT_EQ(platform_timer_start_win32(timer), 1);
    EXPECT_TRUE(wait_until([&] { return calls.ended == 1; }));
    timer_callback_wrapper(timer->cb);
    EXPECT_EQ(calls.ended, 2) << "the trampoline itself calls a running timer's function";
    EXPECT_EQ(platform_timer_stop_win32(timer), 1);
    timer_callback_wrapper(timer->cb);
    EXPECT_EQ(calls.begun, 2);
    char address[32];
    std::snprintf(address, sizeof address, "%p", static_cast<void *>(timer));
    EXPECT_EQ(log.take(), std::string("[WARN] platform_timer_start_win32: 定时器已运行（地址：") +
                              address + "）\n[WARN] timer_callback_wrapper: 回调被阻止（" +
                              "定时器状态异常，地址：" + address + "）\n");
    platform_timer_destroy_win32(timer);
}

// Whatever an expiry and a restart do to each other, one start is worth one immediate call.
TEST_F(platform_timer_test, restarts_never_double_a_call) {
    constexpr int STARTS = 2000;
    probe calls;
    platform_timer *timer = platform_timer_create_win32(probe::run, &calls, ENDLESS_MS);
    for (int i = 0; i < STARTS; ++i) {
        ASSERT_EQ(platform_timer_start_win32(timer), 1);
        platform_delay_ms(i % 100 == 0 ? 1 : 0);
        ASSERT_EQ(platform_timer_stop_win32(timer), 1);
    }
    platform_timer_destroy_win32(timer);
    EXPECT_LE(calls.begun, STARTS);
    EXPECT_EQ(calls.begun, calls.ended);
}

TEST_F(platform_timer_test, stops_inside_its_own_call) {
    probe calls;
    platform_timer *timer = platform_timer_create_win32(probe::run, &calls, 1);
    calls.action = [&](int) { EXPECT_EQ(platform_timer_stop_win32(timer), 1); };
    ASSERT_EQ(platform_timer_start_win32(timer), 1);
    EXPECT_TRUE(wait_until([&] { return calls.ended == 1; }));
    platform_delay_ms(20);
    EXPECT_EQ(calls.begun, 1);
    platform_timer_destroy_win32(timer);
}

TEST_F(platform_timer_test, destroyed_inside_its_own_call_stays_readable_until_the_end) {
    agent_log_set_level(AGENT_LOG_DEBUG);
    zep_test::log_capture log;
    probe calls;
    platform_timer *timer = platform_timer_create_win32(probe::run, &calls, 1);
    std::atomic<bool> refused{false};
    calls.action = [&](int) {
        platform_timer_destroy_win32(timer);
        refused = platform_timer_start_win32(timer) == 0 && platform_timer_stop_win32(timer) == 0;
        platform_timer_destroy_win32(timer);
    };
    ASSERT_EQ(platform_timer_start_win32(timer), 1);
    EXPECT_TRUE(wait_until([&] { return calls.ended == 1; }));
    platform_delay_ms(300);  // the thread is on its way out
    EXPECT_EQ(calls.begun, 1);
    EXPECT_TRUE(refused);
    const std::string lines = log.take();
    size_t from = 0;
    for (const char *line : {"start_win32: 定时器已失效或正在销毁", "stop_win32: 定时器已失效",
                             "[WARN] platform_timer_destroy_win32: 重复销毁", "彻底销毁"}) {
        from = lines.find(line, from);
        EXPECT_NE(from, std::string::npos) << line << " missing in\n" << lines;
    }
}

// At any moment of its life, a long call included; no call begins or goes on afterwards.
TEST_F(platform_timer_test, destroy_waits_for_a_running_call) {
    for (uint32_t moment = 0; moment < 8; ++moment) {
        probe calls;
        calls.action = [](int number) { platform_delay_ms(number == 1 ? 30 : 0); };
        platform_timer *timer = platform_timer_create_win32(probe::run, &calls, 1);
        ASSERT_EQ(platform_timer_start_win32(timer), 1);
        platform_delay_ms(moment);
        platform_timer_destroy_win32(timer);
        const int begun = calls.begun;
        EXPECT_EQ(calls.ended, begun);
        platform_delay_ms(3);
        EXPECT_EQ(calls.begun, begun);
    }
}

}  // namespace
