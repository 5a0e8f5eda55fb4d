// The work queue with real threads: every job runs once, and termination around a
// running job. The ring's capacity is checked where queries and pictures fill it.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "net/work_queue.h"
#include "platform/wake.h"

static thread_queue_t test_queue;

static std::atomic<u32> job_runs[1024];

static void count_job(void* argument) { job_runs[(u64)argument] += 1; }

TEST(WorkQueue, ThousandJobsRunOnceOnAtMostSevenWorkers) {
    for (auto& runs : job_runs) runs = 0;
    thread_queue_create(&test_queue, 20);
    ASSERT_EQ(test_queue.thread_count, 7u);
    for (u64 i = 0; i < 1000; i++) ASSERT_TRUE(thread_queue_work(&test_queue, count_job, (void*)i));
    // The workers finish on their own; completion is watched, not helped.
    while (__atomic_load_n(&test_queue.completed_count, __ATOMIC_ACQUIRE) != 1000) std::this_thread::yield();
    thread_terminate(&test_queue);
    EXPECT_EQ(test_queue.terminated_count, 7u);
    for (u64 i = 0; i < 1024; i++) EXPECT_EQ(job_runs[i].load(), i < 1000 ? 1u : 0u) << i;
}

static std::atomic<u32> blocking_started;
static std::atomic<u32> blocking_release;

static void blocking_job(void* argument) {
    blocking_started = 1;
    while (!blocking_release) std::this_thread::yield();
    job_runs[(u64)argument] += 1;
}

TEST(WorkQueue, TerminateWaitsForTheRunningJobAndDropsTheRest) {
    for (auto& runs : job_runs) runs = 0;
    blocking_started = 0;
    blocking_release = 0;
    thread_queue_create(&test_queue, 1);
    ASSERT_TRUE(thread_queue_work(&test_queue, blocking_job, (void*)0));
    for (u64 i = 1; i <= 10; i++) ASSERT_TRUE(thread_queue_work(&test_queue, count_job, (void*)i));
    while (!blocking_started) std::this_thread::yield();
    std::atomic<bool> returned = false;
    std::thread terminator([&] {
        thread_terminate(&test_queue);
        returned = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(returned.load());
    blocking_release = 1;
    terminator.join();
    EXPECT_EQ(job_runs[0].load(), 1u);
    for (u64 i = 1; i <= 10; i++) EXPECT_EQ(job_runs[i].load(), 0u) << i;
}

TEST(WorkQueue, TerminateRightAfterABurstDoesNotHang) {
    // Wake-ups still pending when terminate comes must not leave a worker asleep.
    for (u32 round = 0; round < 50; round++) {
        thread_queue_create(&test_queue, 6);
        for (u64 i = 0; i < 12; i++) thread_queue_work(&test_queue, count_job, (void*)(i % 1000));
        thread_terminate(&test_queue);
        ASSERT_EQ(test_queue.terminated_count, 6u);
    }
}

static std::atomic<u32> installed_posts;
static void count_post() { installed_posts += 1; }
static void post_job(void*) { wake_post(); }

TEST(WakeUp, AWorkerEndsTheMainThreadsWait) {
    wake_wait(0);  // nothing left over from elsewhere
    EXPECT_FALSE(wake_wait(20));
    thread_queue_create(&test_queue, 2);
    ASSERT_TRUE(thread_queue_work(&test_queue, post_job, nullptr));
    EXPECT_TRUE(wake_wait(10000));
    // Posts aren't counted: two posts end one wait.
    wake_post();
    wake_post();
    EXPECT_TRUE(wake_wait(0));
    EXPECT_FALSE(wake_wait(0));
    // The window's own post goes through the same door.
    installed_posts = 0;
    wake_install(count_post);
    ASSERT_TRUE(thread_queue_work(&test_queue, post_job, nullptr));
    EXPECT_TRUE(wake_wait(10000));
    EXPECT_EQ(installed_posts.load(), 1u);
    wake_install(nullptr);
    thread_terminate(&test_queue);
}
