// libozu_threads: the ready runner. A run is shared out by an atomic job
// counter between the thread that asks for it (thread 0) and the pool's
// workers (threads 1 .. n-1), so a worker that finishes early takes the next
// band instead of waiting for a fixed share. Runs asked for by several
// threads at once take turns: the pool's threads serve one run at a time.
#include <ozu/thread_pool.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

namespace {

// A thread waiting for work or for the end of a run first watches for it
// this long before it sleeps: a caller converting frame after frame asks for
// the next run within microseconds, and waking a sleeping thread takes
// about as long as a small image's whole conversion.
constexpr auto kWatch = std::chrono::microseconds(100);

void relax() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

// Polls `ready` for up to kWatch; whether it became true.
template <class Ready>
bool watch(Ready ready) {
    const auto until = std::chrono::steady_clock::now() + kWatch;
    for (;;) {
        for (int i = 0; i < 64; ++i) {
            if (ready()) return true;
            relax();
        }
        if (std::chrono::steady_clock::now() >= until) return ready();
    }
}

class ThreadPool {
public:
    explicit ThreadPool(uint32_t threads) : threads_(threads) {}

    ~ThreadPool() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            stopping_.store(true, std::memory_order_release);
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
        if (used == 1) {
            for (uint32_t job = start; job < end; ++job) func(opaque, job, 0);
            return 0;
        }
        // The run's description is published by the new generation number:
        // a worker reads it only after it has seen that number.
        opaque_.store(opaque, std::memory_order_relaxed);
        func_.store(func, std::memory_order_relaxed);
        next_.store(start, std::memory_order_relaxed);
        end_.store(end, std::memory_order_relaxed);
        used_.store(used, std::memory_order_relaxed);
        busy_.store(used - 1, std::memory_order_relaxed);
        {
            // Under the lock, so that a worker about to sleep either sees
            // the new number or is already waiting when the notice comes.
            std::lock_guard<std::mutex> lock(mutex_);
            generation_.fetch_add(1, std::memory_order_release);
        }
        wake_.notify_all();
        take_jobs(0);
        const auto finished = [this] { return busy_.load(std::memory_order_acquire) == 0; };
        if (!watch(finished)) {
            std::unique_lock<std::mutex> lock(mutex_);
            done_.wait(lock, finished);
        }
        return 0;
    }

private:
    void take_jobs(uint32_t thread) {
        void* const opaque = opaque_.load(std::memory_order_relaxed);
        const OZU_ParallelRunFunction func = func_.load(std::memory_order_relaxed);
        const uint32_t end = end_.load(std::memory_order_relaxed);
        for (;;) {
            const uint32_t job = next_.fetch_add(1, std::memory_order_relaxed);
            if (job >= end) return;
            func(opaque, job, thread);
        }
    }

    void serve(uint32_t thread) {
        uint32_t seen = 0;
        const auto called = [&] {
            return stopping_.load(std::memory_order_acquire) ||
                   generation_.load(std::memory_order_acquire) != seen;
        };
        for (;;) {
            if (!watch(called)) {
                std::unique_lock<std::mutex> lock(mutex_);
                wake_.wait(lock, called);
            }
            if (stopping_.load(std::memory_order_acquire)) return;
            seen = generation_.load(std::memory_order_acquire);
            // A run on fewer threads than the pool has leaves this one out.
            if (thread >= used_.load(std::memory_order_relaxed)) continue;
            take_jobs(thread);
            if (busy_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
                std::lock_guard<std::mutex> lock(mutex_);
                done_.notify_one();
            }
        }
    }

    const uint32_t threads_;
    std::vector<std::thread> workers_;
    std::mutex runMutex_;  // one run at a time
    std::mutex mutex_;     // for sleeping and waking only
    std::condition_variable wake_;
    std::condition_variable done_;
    std::atomic<bool> stopping_{false};
    std::atomic<uint32_t> generation_{0};  // compared for change only: wraps freely
    // The current run.
    std::atomic<void*> opaque_{nullptr};
    std::atomic<OZU_ParallelRunFunction> func_{nullptr};
    std::atomic<uint32_t> next_{0};
    std::atomic<uint32_t> end_{0};
    std::atomic<uint32_t> used_{1};
    std::atomic<uint32_t> busy_{0};  // workers of the run still taking jobs
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
