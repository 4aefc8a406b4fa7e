#include "pools.h"

#include <algorithm>
#include <map>

#include <ozu/color.h>
#include <ozu/thread_pool.h>

#include "errors.h"

namespace ozu::python {
namespace {

// Both never destroyed: a pool may be running a daemon thread's call while the
// interpreter exits, and its worker threads end with the process.
std::mutex* g_poolsMutex = new std::mutex;
std::map<uint32_t, void*>* g_pools = new std::map<uint32_t, void*>;

}  // namespace

uint32_t thread_count(int64_t requested) {
    if (requested < 0) fail(COL_ERR_RANGE, "threads=" + std::to_string(requested) + " is negative");
    if (requested == 0) return OZU_ThreadPoolDefaultThreads();
    return static_cast<uint32_t>(std::min<int64_t>(requested, 1024));
}

void* pool_for(uint32_t threads) {
    std::lock_guard<std::mutex> lock(*g_poolsMutex);
    void*& pool = (*g_pools)[threads];
    if (pool == nullptr) pool = OZU_ThreadPoolCreate(threads);
    if (pool == nullptr) {
        g_pools->erase(threads);
        fail(COL_ERR_RUNNER, "cannot start a pool of " + std::to_string(threads) + " threads");
    }
    return pool;
}

void forget_pools() {
    // The mutex, too, may have been held by another thread at the fork.
    g_poolsMutex = new std::mutex;
    g_pools = new std::map<uint32_t, void*>;
}

RunnerScope::RunnerScope(uint32_t threads) {
    if (threads < 2) return;
    void* pool = pool_for(threads);
    COL_GetParallelRunner(&previous_, &previousOpaque_);
    COL_SetParallelRunner(OZU_ThreadPoolRunner, pool);
    installed_ = true;
}

RunnerScope::~RunnerScope() {
    if (installed_) COL_SetParallelRunner(previous_, previousOpaque_);
}

void Jobs::fail(uint32_t job, int32_t code, const std::string& what) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (job < failedJob_) {
        failedJob_ = job;
        failedCode_ = code;
        failedWhat_ = what;
    }
}

bool Jobs::failed() {
    std::lock_guard<std::mutex> lock(mutex_);
    return failedJob_ != std::numeric_limits<uint32_t>::max();
}

// The C functions handed to the runner; nothing may be thrown through it.
struct JobTrampolines {
    static int32_t init(void* opaque, uint32_t threads) {
        auto* jobs = static_cast<Jobs*>(opaque);
        try {
            jobs->prepare(threads);
            return 0;
        } catch (const LibraryError& e) {
            jobs->fail(0, e.code(), e.what());
        } catch (...) {
            jobs->fail(0, COL_ERR_UNKNOWN, "preparing the work failed");
        }
        return 1;
    }
    static void run(void* opaque, uint32_t job, uint32_t thread) {
        auto* jobs = static_cast<Jobs*>(opaque);
        if (jobs->failed()) return;
        try {
            jobs->run(job, thread);
        } catch (const LibraryError& e) {
            jobs->fail(job, e.code(), e.what());
        } catch (...) {
            jobs->fail(job, COL_ERR_UNKNOWN, "a job failed");
        }
    }
};

void Jobs::run_all(uint32_t count, uint32_t threads) {
    if (count == 0) return;
    if (threads < 2 || count == 1) {
        if (JobTrampolines::init(this, 1) == 0)
            for (uint32_t job = 0; job < count && !failed(); ++job)
                JobTrampolines::run(this, job, 0);
    } else {
        const int32_t status = OZU_ThreadPoolRunner(pool_for(threads), this, &JobTrampolines::init,
                                                    &JobTrampolines::run, 0, count);
        if (status != 0 && !failed()) fail(0, COL_ERR_RUNNER, "the pool did not run every job");
    }
    if (failed()) python::fail(failedCode_, failedWhat_);
}

}  // namespace ozu::python
