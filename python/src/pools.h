// Threads for the extension's calls: one libozu_threads pool per thread
// count, created on first use and kept for the life of the process, shared
// by every Python thread that asks for that count (their runs take turns on
// it). A call on one thread uses no pool at all.
#pragma once

#include <cstdint>
#include <limits>
#include <mutex>
#include <string>

#include <ozu/parallel_runner.h>

namespace ozu::python {

// The thread count of a call: `requested` when positive, else every
// processor of the machine. Raises COL_ERR_RANGE for a negative count.
uint32_t thread_count(int64_t requested);

// The cached pool of `threads` threads (at least 2); LibraryError
// (COL_ERR_RUNNER) when its threads cannot be started.
void* pool_for(uint32_t threads);

// Forgets the cached pools without touching them: in the child of a fork
// their worker threads do not exist.
void forget_pools();

// Installs the pool of `threads` threads as the calling thread's runner for
// the colour module's own band work (nothing for one thread), and puts back
// what was installed before when it goes.
class RunnerScope {
public:
    explicit RunnerScope(uint32_t threads);
    RunnerScope(const RunnerScope&) = delete;
    RunnerScope& operator=(const RunnerScope&) = delete;
    ~RunnerScope();

private:
    OZU_ParallelRunner previous_ = nullptr;
    void* previousOpaque_ = nullptr;
    bool installed_ = false;
};

// Work of the extension's own, cut into jobs that run on a pool through the
// same runner function the library is given. A job that fails records its
// code; of several, the one of the lowest job is raised after the run.
class Jobs {
public:
    virtual ~Jobs() = default;
    // Told how many threads will run the jobs, before any runs.
    virtual void prepare(uint32_t threads) { (void)threads; }
    virtual void run(uint32_t job, uint32_t thread) = 0;

    void fail(uint32_t job, int32_t code, const std::string& what);
    // True once a job has failed: later jobs may skip their work.
    bool failed();

    // Runs jobs [0, count) on `threads` threads (in this thread, in order,
    // for one) and raises the first failure as LibraryError.
    void run_all(uint32_t count, uint32_t threads);

private:
    friend struct JobTrampolines;
    std::mutex mutex_;
    uint32_t failedJob_ = std::numeric_limits<uint32_t>::max();
    int32_t failedCode_ = 0;
    std::string failedWhat_;
};

}  // namespace ozu::python
