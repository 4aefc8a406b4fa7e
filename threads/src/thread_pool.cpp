// libozu_threads: the ready runner. A run is shared out by an atomic job
// counter between the thread that asks for it (thread 0) and the pool's
// workers (threads 1 .. n-1), so a worker that finishes early takes the next
// band instead of waiting for a fixed share. Runs asked for by several
// threads at once take turns: the pool's threads serve one run at a time.
#include <ozu/thread_pool.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

namespace {

class ThreadPool {
public:
    explicit ThreadPool(uint32_t threads) : threads_(threads) {}

    ~ThreadPool() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        for (std::thread& worker : workers_) worker.join();
    }

    // Starts the workers; false (with none left running) when the system
    // refuses a thread.
    bool start() {
        try {
            for (uint32_t t = 1; t < threads_; ++t) workers_.emplace_back([this, t] { serve(t); });
        } catch (...) {
            return false;
        }
        return true;
    }

    uint32_t threads() const { return threads_; }

    int32_t run(void* opaque, OZU_ParallelRunInit init, OZU_ParallelRunFunction func,
                uint32_t start, uint32_t end) {
        std::lock_guard<std::mutex> turn(runMutex_);
        // No more threads than jobs are woken: a one-band image runs here.
        const uint32_t jobs = end > start ? end - start : 0;
        const uint32_t used = std::max<uint32_t>(1, std::min<uint32_t>(threads_, jobs));
        if (init != nullptr) {
            const int32_t status = init(opaque, used);
            if (status != 0) return status;
        }
        if (jobs == 0) return 0;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            opaque_ = opaque;
            func_ = func;
            next_.store(start, std::memory_order_relaxed);
            end_ = end;
            used_ = used;
            busy_ = used - 1;
            ++generation_;
        }
        if (used > 1) wake_.notify_all();
        take_jobs(0);
        std::unique_lock<std::mutex> lock(mutex_);
        done_.wait(lock, [this] { return busy_ == 0; });
        return 0;
    }

private:
    void take_jobs(uint32_t thread) {
        for (;;) {
            const uint32_t job = next_.fetch_add(1, std::memory_order_relaxed);
            if (job >= end_) return;
            func_(opaque_, job, thread);
        }
    }

    void serve(uint32_t thread) {
        uint64_t seen = 0;
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            wake_.wait(lock, [&] { return stopping_ || generation_ != seen; });
            if (stopping_) return;
            seen = generation_;
            // A run on fewer threads than the pool has leaves this one out.
            if (thread >= used_) continue;
            lock.unlock();
            take_jobs(thread);
            lock.lock();
            if (--busy_ == 0) done_.notify_one();
        }
    }

    const uint32_t threads_;
    std::vector<std::thread> workers_;
    std::mutex runMutex_;  // one run at a time
    std::mutex mutex_;     // guards the run's description and the counters
    std::condition_variable wake_;
    std::condition_variable done_;
    bool stopping_ = false;
    uint64_t generation_ = 0;
    void* opaque_ = nullptr;
    OZU_ParallelRunFunction func_ = nullptr;
    std::atomic<uint32_t> next_{0};
    uint32_t end_ = 0;
    uint32_t used_ = 1;
    uint32_t busy_ = 0;
};

}  // namespace

extern "C" {

OZU_THREADS_API uint32_t OZU_ThreadPoolDefaultThreads(void) {
    return std::max(1u, std::thread::hardware_concurrency());
}

OZU_THREADS_API void* OZU_ThreadPoolCreate(uint32_t threads) {
    if (threads == 0) threads = OZU_ThreadPoolDefaultThreads();
    auto* pool = new (std::nothrow) ThreadPool(threads);
    if (pool == nullptr) return nullptr;
    if (!pool->start()) {
        delete pool;
        return nullptr;
    }
    return pool;
}

OZU_THREADS_API void OZU_ThreadPoolDestroy(void* pool) { delete static_cast<ThreadPool*>(pool); }

OZU_THREADS_API uint32_t OZU_ThreadPoolThreads(const void* pool) {
    return pool == nullptr ? 0 : static_cast<const ThreadPool*>(pool)->threads();
}

OZU_THREADS_API int32_t OZU_ThreadPoolRunner(void* pool, void* jobOpaque, OZU_ParallelRunInit init,
                                             OZU_ParallelRunFunction func, uint32_t startJob,
                                             uint32_t endJob) {
    if (pool == nullptr || func == nullptr) return -1;
    return static_cast<ThreadPool*>(pool)->run(jobOpaque, init, func, startJob, endJob);
}

}  // extern "C"
