#include <algorithm>
#include <atomic>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/platform/timer.h>

#include "support/blocked_console.h"
#include "support/log_capture.h"

namespace {

constexpr uint32_t ENDLESS_MS = 3'600'000;

class platform_timer_test : public testing::Test {
 protected:
    platform_timer_test() { agent_log_set_level(AGENT_LOG_ERROR); }

    // A timer that counts its calls and does in them what the test wants done.
    platform_timer *create(uint32_t period_ms) {
        const auto call = [](void *arg) {
            auto *test = static_cast<platform_timer_test *>(arg);
            test->action(test->begun++);
            ++test->ended;
        };
        return timer = platform_timer_create_win32(call, this, period_ms);
    }
    bool calls_end(int count) const {
        for (int i = 0; i < 30'000 && ended < count; ++i) {
            platform_delay_ms(1);
        }
        return ended >= count;
    }
    void expect_lines(const std::vector<const char *> &in_this_order) {
        const std::string lines = log.take();
        size_t from = 0;
        for (const char *line : in_this_order) {
            from = lines.find(line, from);
            EXPECT_NE(from, std::string::npos) << line << " missing in\n" << lines;
        }
    }

    platform_timer *timer = nullptr;
    std::function<void(int)> action = [](int) {};
    std::atomic<int> begun{0};
    std::atomic<int> ended{0};
    zep_test::log_capture log;
};

TEST_F(platform_timer_test, starts_and_stops_once_and_refuses_what_is_no_timer) {
    agent_log_set_level(AGENT_LOG_WARN);
    const auto marked = reinterpret_cast<platform_timer *>(
        static_cast<uintptr_t>(0x12DDDDDDDD));  // on 32-bit systems without the 12
    const std::string shown = sizeof(void *) == 8 ? "0x12dddddddd" : "0xdddddddd";
    platform_timer_context unowned{[](void *) { FAIL(); }, nullptr, nullptr};
    EXPECT_EQ(platform_timer_create_win32(nullptr, nullptr, 0), nullptr);
    timer_callback_wrapper(nullptr);
    for (platform_timer *bad : {static_cast<platform_timer *>(nullptr), marked}) {
        EXPECT_EQ(platform_timer_start_win32(bad), 0);
        EXPECT_EQ(platform_timer_stop_win32(bad), 0);
        platform_timer_destroy_win32(bad);
    }
    timer_callback_wrapper(&unowned);

    create(ENDLESS_MS);
    EXPECT_EQ(platform_timer_stop_win32(timer), 1) << "never started";
    EXPECT_EQ(platform_timer_start_win32(timer), 1);
    EXPECT_EQ(platform_timer_start_win32(timer), 1);
    EXPECT_TRUE(calls_end(1));
    timer_callback_wrapper(timer->cb);
    EXPECT_EQ(ended, 2) << "the trampoline itself calls a running timer's function";
    EXPECT_EQ(platform_timer_stop_win32(timer), 1);
    timer_callback_wrapper(timer->cb);
    EXPECT_EQ(begun, 2);
    char at[48];
    std::snprintf(at, sizeof at, "地址：%p）\n", static_cast<void *>(timer));
    platform_timer_destroy_win32(timer);
    const std::string address = zep_test::as_on_linux(at);
    EXPECT_EQ(log.take(),
              "[ERROR] platform_timer_create_win32: 无效参数（func=(nil), period=0）\n"
              "[ERROR] platform_timer_start_win32: 无效指针（NULL）\n"
              "[ERROR] platform_timer_start_win32: 访问已释放的定时器（地址：" +
                  shown +
                  "）\n"
                  "[ERROR] platform_timer_stop_win32: 访问已释放的定时器（地址：" +
                  shown +
                  "）\n"
                  "[ERROR] platform_timer_destroy_win32: 访问已释放的定时器（地址：" +
                  shown +
                  "）\n"
                  "[WARN] timer_callback_wrapper: 定时器已失效，跳过回调（地址：(nil)）\n"
                  "[WARN] platform_timer_start_win32: 定时器已运行（" +
                  address + "[WARN] timer_callback_wrapper: 回调被阻止（定时器状态异常，" +
                  address);
}

// The lines of start and stop must not hold up what else needs the timer.
TEST_F(platform_timer_test, a_console_that_blocks_holds_up_its_writer_only) {
    log.take();
    agent_log_set_level(AGENT_LOG_DEBUG);
    create(ENDLESS_MS);
    std::jthread starting, stopping;
    std::future<int32_t> stopped_already;
    {
        const zep_test::blocked_console console;
        starting = std::jthread([&] { platform_timer_start_win32(timer); });
        EXPECT_TRUE(calls_end(1));
    }
    {
        const zep_test::blocked_console console;
        stopping = std::jthread([&] { platform_timer_stop_win32(timer); });
        platform_delay_ms(100);
        stopped_already = std::async(std::launch::async, platform_timer_stop_win32, timer);
        EXPECT_EQ(stopped_already.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    }
    EXPECT_EQ(stopped_already.get(), 1);
    stopping.join();
    platform_timer_destroy_win32(timer);
}

TEST_F(platform_timer_test, calls_first_at_once_then_on_a_grid_that_does_not_drift) {
    constexpr int64_t PERIOD_US = 100'000;
    constexpr size_t CALLS = 10;
    std::vector<int64_t> times;
    action = [&](int number) {
        times.push_back(platform_get_tick_us_win32());
        // The first call makes the second one 70 ms late; no other may be for that reason.
        platform_delay_ms(number == 0 ? 170 : 20);
    };
    create(PERIOD_US / 1000);
    const int64_t start = platform_get_tick_us_win32();
    ASSERT_EQ(platform_timer_start_win32(timer), 1);
    EXPECT_TRUE(calls_end(CALLS));
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

// Whatever an expiry and a restart do to each other, one start is worth one immediate call.
TEST_F(platform_timer_test, restarts_never_double_a_call) {
    constexpr int STARTS = 2000;
    create(ENDLESS_MS);
    for (int i = 0; i < STARTS; ++i) {
        ASSERT_EQ(platform_timer_start_win32(timer), 1);
        platform_delay_ms(i % 100 == 0 ? 1 : 0);
        ASSERT_EQ(platform_timer_stop_win32(timer), 1);
    }
    platform_timer_destroy_win32(timer);
    EXPECT_LE(begun, STARTS);
    EXPECT_EQ(begun, ended);
}

TEST_F(platform_timer_test, stopped_or_destroyed_inside_its_own_call_it_makes_no_other) {
    agent_log_set_level(AGENT_LOG_DEBUG);
    action = [&](int) { EXPECT_EQ(platform_timer_stop_win32(timer), 1); };
    ASSERT_EQ(platform_timer_start_win32(create(1)), 1);
    EXPECT_TRUE(calls_end(1));
    platform_delay_ms(20);
    EXPECT_EQ(begun, 1);
    // It stays readable until the call has ended.
    action = [&](int) {
        platform_timer_destroy_win32(timer);
        EXPECT_EQ(platform_timer_start_win32(timer), 0);
        EXPECT_EQ(platform_timer_stop_win32(timer), 0);
        platform_timer_destroy_win32(timer);
    };
    ASSERT_EQ(platform_timer_start_win32(timer), 1);
    EXPECT_TRUE(calls_end(2));
    platform_delay_ms(300);  // the thread is on its way out
    EXPECT_EQ(begun, 2);
    expect_lines({"start_win32: 定时器已失效或正在销毁", "stop_win32: 定时器已失效",
                  "[WARN] platform_timer_destroy_win32: 重复销毁", "彻底销毁"});
}

// At any moment of its life, a long call included; no call begins or goes on afterwards.
TEST_F(platform_timer_test, destroy_waits_for_a_running_call) {
    for (uint32_t moment = 0; moment < 8; ++moment) {
        const int first = begun;
        action = [first](int number) { platform_delay_ms(number == first + 1 ? 30 : 0); };
        ASSERT_EQ(platform_timer_start_win32(create(1)), 1);
        platform_delay_ms(moment);
        platform_timer_destroy_win32(timer);
        const int seen = begun;
        EXPECT_EQ(ended, seen);
        platform_delay_ms(3);
        EXPECT_EQ(begun, seen);
    }
}

}  // namespace
