// libozu_threads: every job once, on threads the pool names, from several
// calling threads at once; init's refusal passed on.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <thread>
#include <vector>

#include <ozu/thread_pool.h>

namespace {

struct Jobs {
    explicit Jobs(size_t n) : counts(n) {}
    std::vector<std::atomic<int>> counts;
    std::atomic<uint32_t> threads{0};
    std::atomic<uint32_t> badThread{0};
    int32_t initResult = 0;
};

int32_t count_init(void* opaque, uint32_t threads) {
    auto* jobs = static_cast<Jobs*>(opaque);
    jobs->threads = threads;
    return jobs->initResult;
}

void count_job(void* opaque, uint32_t job, uint32_t thread) {
    auto* jobs = static_cast<Jobs*>(opaque);
    if (thread >= jobs->threads) ++jobs->badThread;
    ++jobs->counts[job];
}

TEST(ThreadPool, RunsEveryJobOfTheRangeOnceOnThreadsBelowInitsCount) {
    for (const uint32_t threads : {1u, 2u, 3u, 7u}) {
        void* pool = OZU_ThreadPoolCreate(threads);
        ASSERT_NE(pool, nullptr);
        EXPECT_EQ(OZU_ThreadPoolThreads(pool), threads);
        for (const uint32_t n : {0u, 1u, 5u, 1000u}) {
            Jobs jobs(n + 3);
            EXPECT_EQ(OZU_ThreadPoolRunner(pool, &jobs, count_init, count_job, 3, n + 3), 0);
            for (uint32_t k = 0; k < n + 3; ++k) EXPECT_EQ(jobs.counts[k], k < 3 ? 0 : 1);
            EXPECT_EQ(jobs.badThread, 0u);
            EXPECT_LE(jobs.threads, threads);
            EXPECT_GE(jobs.threads, 1u);
        }
        OZU_ThreadPoolDestroy(pool);
    }
}

TEST(ThreadPool, PassesInitsRefusalOnAndRunsNothing) {
    void* pool = OZU_ThreadPoolCreate(2);
    Jobs jobs(10);
    jobs.initResult = 17;
    EXPECT_EQ(OZU_ThreadPoolRunner(pool, &jobs, count_init, count_job, 0, 10), 17);
    for (auto& c : jobs.counts) EXPECT_EQ(c, 0);
    OZU_ThreadPoolDestroy(pool);
}

TEST(ThreadPool, ServesSeveralCallingThreadsAtOnce) {
    void* pool = OZU_ThreadPoolCreate(3);
    std::vector<std::thread> callers;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 6; ++t)
        callers.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                Jobs jobs(64);
                if (OZU_ThreadPoolRunner(pool, &jobs, count_init, count_job, 0, 64) != 0) ++wrong;
                for (auto& c : jobs.counts)
                    if (c != 1) ++wrong;
            }
        });
    for (auto& c : callers) c.join();
    EXPECT_EQ(wrong, 0);
    OZU_ThreadPoolDestroy(pool);
}

// Workers watch for the next run for a while and then sleep: runs that
// follow at once, after a pause longer than the watch, with fewer jobs than
// threads (some workers left out) and with jobs that outlast the watch
// (the calling thread then sleeps until the last worker is done).
TEST(ThreadPool, RunsBackToBackAfterPausesAndWithJobsOutlastingTheWatch) {
    void* pool = OZU_ThreadPoolCreate(4);
    ASSERT_NE(pool, nullptr);
    int wrong = 0;
    for (int round = 0; round < 400; ++round) {
        const uint32_t n = std::array<uint32_t, 4>{1, 2, 3, 50}[round % 4];
        if (round % 50 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(2));
        Jobs jobs(n);
        if (OZU_ThreadPoolRunner(pool, &jobs, count_init, count_job, 0, n) != 0) ++wrong;
        for (auto& c : jobs.counts) wrong += c != 1;
        wrong += jobs.badThread != 0u;
    }
    EXPECT_EQ(wrong, 0);

    std::atomic<int> done{0};
    const auto slow = [](void* opaque, uint32_t, uint32_t) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ++*static_cast<std::atomic<int>*>(opaque);
    };
    EXPECT_EQ(OZU_ThreadPoolRunner(pool, &done, nullptr, slow, 0, 9), 0);
    EXPECT_EQ(done, 9);
    OZU_ThreadPoolDestroy(pool);
}

// Runs on few threads and on all in turn, so that workers left out of one
// run are often still looking when the next, which calls them, is
// published: each must take part in that run once, not again under the
// earlier run's number (which would let a run end with jobs still going,
// or never end). A run that never ends fails the test here rather than at
// the test driver's time limit.
TEST(ThreadPool, WorkersLeftOutOfOneRunTakePartInTheNextOnce) {
    void* pool = OZU_ThreadPoolCreate(8);
    ASSERT_NE(pool, nullptr);
    auto rounds = std::async(std::launch::async, [pool] {
        int wrong = 0;
        for (int round = 0; round < 3000; ++round) {
            const uint32_t n = round % 2 == 0 ? 2 : 8;
            Jobs jobs(n);
            if (OZU_ThreadPoolRunner(pool, &jobs, count_init, count_job, 0, n) != 0) ++wrong;
            for (auto& c : jobs.counts) wrong += c != 1;
            wrong += jobs.badThread != 0u;
        }
        return wrong;
    });
    if (rounds.wait_for(std::chrono::minutes(3)) != std::future_status::ready) {
        ADD_FAILURE() << "a run of the pool never ended";
        std::_Exit(1);
    }
    EXPECT_EQ(rounds.get(), 0);
    OZU_ThreadPoolDestroy(pool);
}

TEST(ThreadPool, NullPoolIsRefusedAndZeroThreadsMeansEveryCore) {
    Jobs jobs(1);
    EXPECT_EQ(OZU_ThreadPoolRunner(nullptr, &jobs, count_init, count_job, 0, 1), -1);
    EXPECT_EQ(jobs.counts[0], 0);
    OZU_ThreadPoolDestroy(nullptr);
    void* pool = OZU_ThreadPoolCreate(0);
    EXPECT_EQ(OZU_ThreadPoolThreads(pool), OZU_ThreadPoolDefaultThreads());
    OZU_ThreadPoolDestroy(pool);
}

}  // namespace
