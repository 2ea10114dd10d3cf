#include <gtest/gtest.h>
#include <signal.h>

#include <zep_mqtt/log/log.h>
#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/platform/mutex.h>
#include <zep_mqtt/platform/semaphore.h>
#include <zep_mqtt/platform/thread.h>

namespace {

bool takes_signals() {
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    return sigismember(&blocked, SIGTERM) == 0;
}

TEST(platform_thread, mutex_excludes_and_join_waits) {
    struct {
        void *mutex = platform_mutex_create();
        int count = 0;
    } shared;
    const auto work = [](void *arg) -> uint32_t {
        auto *s = static_cast<decltype(shared) *>(arg);
        for (int i = 0; i < 2000; ++i) {
            platform_mutex_lock(s->mutex);
            ++s->count;
            platform_mutex_unlock(s->mutex);
        }
        EXPECT_FALSE(takes_signals());
        return 0;
    };
    const bool took_signals = takes_signals();
    void *threads[3];
    for (void *&thread : threads) {
        thread = platform_thread_create(work, &shared);
    }
    for (void *thread : threads) {
        platform_thread_join(thread);
    }
    EXPECT_EQ(shared.count, 6000);
    EXPECT_EQ(takes_signals(), took_signals) << "the creator keeps its mask";
    platform_mutex_destroy(shared.mutex);
}

TEST(platform_thread, detached_runs_on_and_wakes_who_waits) {
    agent_log_set_level(AGENT_LOG_FATAL);
    // Never destroyed: the last thread may still be leaving it when the test ends.
    static void *const done = platform_sem_create_win32(0, 100);
    const auto post = [](void *semaphore) {
        platform_delay_ms(1);
        return static_cast<uint32_t>(platform_sem_post_win32(semaphore));
    };
    for (int i = 0; i < 100; ++i) {
        platform_thread_detach_win32(platform_thread_create(post, done));
    }
    for (const uint32_t bound : {30'000u, PLATFORM_WAIT_WITHOUT_LIMIT}) {
        for (int i = 0; i < 50; ++i) {
            ASSERT_EQ(platform_sem_timedwait(done, bound), 0);
        }
    }
}

TEST(platform_semaphore, counts_up_to_its_maximum) {
    EXPECT_EQ(platform_sem_timedwait(nullptr, 0), -1);
    EXPECT_EQ(platform_sem_post_win32(nullptr), -1);
    EXPECT_EQ(platform_sem_create_win32(0, 0), nullptr);
    EXPECT_EQ(platform_sem_create_win32(3, 2), nullptr);
    void *semaphore = platform_sem_create_win32(1, 2);
    EXPECT_EQ(platform_sem_post_win32(semaphore), 0);
    EXPECT_EQ(platform_sem_post_win32(semaphore), -1);
    EXPECT_EQ(platform_sem_timedwait(semaphore, 0), 0);
    EXPECT_EQ(platform_sem_timedwait(semaphore, PLATFORM_WAIT_WITHOUT_LIMIT), 0);
    const uint64_t before = platform_get_tick_ms();
    EXPECT_EQ(platform_sem_timedwait(semaphore, 0), -2);
    EXPECT_EQ(platform_sem_timedwait(semaphore, 50), -2);
    EXPECT_GE(platform_get_tick_ms() - before, 50u);
    platform_sem_destroy_win32(semaphore);
}

}  // namespace
