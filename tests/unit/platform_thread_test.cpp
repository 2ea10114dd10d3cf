#include <atomic>
#include <gtest/gtest.h>
#include <signal.h>

#include <zep_mqtt/log/log.h>
#include <zep_mqtt/platform/clock.h>
#include <zep_mqtt/platform/mutex.h>
#include <zep_mqtt/platform/semaphore.h>
#include <zep_mqtt/platform/thread.h>

#include "support/failing_malloc.h"

namespace {

constexpr uint32_t LONG_MS = 30'000;  // never reached by a test that passes

class platform_thread : public testing::Test {
 protected:
    platform_thread() { agent_log_set_level(AGENT_LOG_WARN); }
};
using platform_semaphore = platform_thread;

TEST_F(platform_thread, join_waits_for_the_end) {
    struct {
        uint32_t id = 0;
        bool takes_signals = true;
    } seen;
    void *thread = platform_thread_create(
        [](void *arg) -> uint32_t {
            platform_delay_ms(20);
            auto *out = static_cast<decltype(seen) *>(arg);
            out->id = platform_thread_id_win32();
            sigset_t blocked;
            pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
            out->takes_signals = sigismember(&blocked, SIGTERM) == 0;
            return 0;
        },
        &seen);
    ASSERT_NE(thread, nullptr);
    platform_thread_join(thread);
    EXPECT_NE(seen.id, 0u);
    EXPECT_NE(seen.id, platform_thread_id_win32());
    EXPECT_FALSE(seen.takes_signals);
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    EXPECT_FALSE(sigismember(&blocked, SIGTERM)) << "the creator keeps its mask";
}

TEST_F(platform_thread, detached_runs_on) {
    // Never destroyed: the last thread may still be leaving it when the test ends.
    static void *done;
    done = platform_sem_create_win32(0, 100);
    const auto post = [](void *semaphore) -> uint32_t {
        return static_cast<uint32_t>(platform_sem_post_win32(semaphore));
    };
    for (int i = 0; i < 100; ++i) {
        void *thread = platform_thread_create(post, done);
        ASSERT_NE(thread, nullptr);
        platform_thread_detach_win32(thread);
    }
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(platform_sem_timedwait(done, LONG_MS), 0);
    }
}

TEST_F(platform_thread, mutex_excludes) {
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
        return 0;
    };
    void *threads[3];
    for (void *&thread : threads) {
        thread = platform_thread_create(work, &shared);
    }
    for (void *thread : threads) {
        platform_thread_join(thread);
    }
    EXPECT_EQ(shared.count, 6000);
    platform_mutex_destroy(shared.mutex);
}

TEST_F(platform_thread, creates_nothing_without_memory) {
    agent_log_set_level(AGENT_LOG_FATAL);
    const auto never = [](void *) -> uint32_t {
        ADD_FAILURE();
        return 0;
    };
    const zep_test::failing_malloc thread_fails(0);
    EXPECT_EQ(platform_thread_create(never, nullptr), nullptr);
    const zep_test::failing_malloc mutex_fails(0);
    EXPECT_EQ(platform_mutex_create(), nullptr);
    const zep_test::failing_malloc semaphore_fails(0);
    EXPECT_EQ(platform_sem_create_win32(0, 1), nullptr);
}

TEST_F(platform_semaphore, counts_up_to_its_maximum) {
    EXPECT_EQ(platform_sem_create_win32(0, 0), nullptr);
    EXPECT_EQ(platform_sem_create_win32(3, 2), nullptr);
    void *semaphore = platform_sem_create_win32(1, 2);
    ASSERT_NE(semaphore, nullptr);
    EXPECT_EQ(platform_sem_post_win32(semaphore), 0);
    EXPECT_EQ(platform_sem_post_win32(semaphore), -1);
    EXPECT_EQ(platform_sem_timedwait(semaphore, 0), 0);
    EXPECT_EQ(platform_sem_timedwait(semaphore, PLATFORM_WAIT_WITHOUT_LIMIT), 0);
    EXPECT_EQ(platform_sem_timedwait(semaphore, 0), -2);
    const uint64_t before = platform_get_tick_ms();
    EXPECT_EQ(platform_sem_timedwait(semaphore, 50), -2);
    EXPECT_GE(platform_get_tick_ms() - before, 49u) << "both ends are cut to milliseconds";
    EXPECT_EQ(platform_sem_post_win32(semaphore), 0);
    EXPECT_EQ(platform_sem_timedwait(semaphore, 50), 0);
    platform_sem_destroy_win32(semaphore);
}

// Every post of one thread wakes the other, whichever of the two comes first.
TEST_F(platform_semaphore, wakes_a_waiting_thread) {
    for (const uint32_t timeout : {LONG_MS, PLATFORM_WAIT_WITHOUT_LIMIT}) {
        void *semaphore = platform_sem_create_win32(0, 1000);
        void *poster = platform_thread_create(
            [](void *arg) -> uint32_t {
                platform_delay_ms(20);
                for (int i = 0; i < 1000; ++i) {
                    EXPECT_EQ(platform_sem_post_win32(arg), 0);
                }
                return 0;
            },
            semaphore);
        for (int i = 0; i < 1000; ++i) {
            ASSERT_EQ(platform_sem_timedwait(semaphore, timeout), 0);
        }
        platform_thread_join(poster);
        EXPECT_EQ(platform_sem_timedwait(semaphore, 0), -2);
        platform_sem_destroy_win32(semaphore);
    }
}

}  // namespace
