// libozu_threads: the ready runner. A run's jobs are cut into one share of
// consecutive jobs per thread, the thread that asks for it (thread 0) and
// the pool's workers (threads 1 .. n-1); each thread takes the jobs of its
// own share in order, then those left in the others' shares, so a thread
// that finishes early helps instead of waiting. Shares cut the same way on
// every run give a thread the same part of an image frame after frame,
// whose lines are then still in the caches nearest that thread's core.
// Runs asked for by several threads at once take turns: the pool's threads
// serve one run at a time.
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
            shares_ = std::vector<Share>(threads_);
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
        for (uint32_t t = 0; t < used; ++t) {
            shares_[t].next.store(start + uint32_t(uint64_t(jobs) * t / used),
                                  std::memory_order_relaxed);
            shares_[t].end = start + uint32_t(uint64_t(jobs) * (t + 1) / used);
        }
        used_.store(used, std::memory_order_relaxed);
        // Each worker is told by name whether it takes part: the number the
        // run is published under, or 0, which names no run. Only run()
        // changes that number, one run at a time.
        uint32_t generation = generation_.load(std::memory_order_relaxed) + 1;
        if (generation == 0) generation = 1;
        for (uint32_t t = 1; t < threads_; ++t)
            shares_[t].run.store(t < used ? generation : 0, std::memory_order_relaxed);
        busy_.store(used - 1, std::memory_order_relaxed);
        {
            // Under the lock, so that a worker about to sleep either sees
            // the new number or is already waiting when the notice comes.
            std::lock_guard<std::mutex> lock(mutex_);
            generation_.store(generation, std::memory_order_release);
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
        const uint32_t used = used_.load(std::memory_order_relaxed);
        for (uint32_t k = 0; k < used; ++k) {
            Share& share = shares_[(thread + k) % used];
            for (;;) {
                const uint32_t job = share.next.fetch_add(1, std::memory_order_relaxed);
                if (job >= share.end) break;
                func(opaque, job, thread);
            }
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
            // Whether it does is read from this thread's own entry, which
            // names the run it was called to, not from the run's thread
            // count: a worker left out of one run that looks late may find
            // the count of the next run already there, and would then take
            // part in that run twice, once under each number.
            if (shares_[thread].run.load(std::memory_order_relaxed) != seen) continue;
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
    // The number of the current run, compared for change only: it wraps
    // freely, past 0 (never a run's number).
    std::atomic<uint32_t> generation_{0};
    // The current run.
    std::atomic<void*> opaque_{nullptr};
    std::atomic<OZU_ParallelRunFunction> func_{nullptr};
    // One share of the run's jobs per thread, each on its own cache line:
    // the next job not yet taken, and the end.
    struct alignas(64) Share {
        std::atomic<uint32_t> next{0};
        uint32_t end = 0;
        // For worker `thread`: the number of the run it is called to, 0
        // when it is left out of the current run.
        std::atomic<uint32_t> run{0};
    };
    std::vector<Share> shares_;
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
