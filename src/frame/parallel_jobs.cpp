// COL_SetParallelRunner and its kin, and the run of a ParallelWork.
#include "frame/parallel_jobs.h"

#include <new>

#include <ozu/base.h>
#include <ozu/color.h>

#include "frame/entry_frame.h"
#include "frame/error_codes.h"

namespace ozu {

RunnerSetting& thread_runner() {
    thread_local RunnerSetting setting;
    return setting;
}

namespace {
// Runs and jobs under way on this thread.
thread_local int tRunDepth = 0;

struct RunDepth {
    RunDepth() { ++tRunDepth; }
    ~RunDepth() { --tRunDepth; }
    RunDepth(const RunDepth&) = delete;
    RunDepth& operator=(const RunDepth&) = delete;
};
}  // namespace

RunnerSetting active_runner() { return tRunDepth == 0 ? thread_runner() : RunnerSetting{}; }

int32_t band_lines(int32_t height, int64_t lineBytes) {
    const RunnerSetting setting = active_runner();
    if (height <= 0) return 1;
    if (setting.bandLines > 0) return std::min(setting.bandLines, height);
    if (setting.runner == nullptr) return height;
    const int64_t lines = kBandBytes / std::max<int64_t>(lineBytes, 1);
    return static_cast<int32_t>(std::clamp<int64_t>(lines, 1, height));
}

void ParallelWork::fail(uint32_t job, int32_t code) {
    std::lock_guard<std::mutex> lock(failMutex_);
    if (job < failedJob_) {
        failedJob_ = job;
        failedCode_ = code;
    }
}

bool ParallelWork::failed() {
    std::lock_guard<std::mutex> lock(failMutex_);
    return failedJob_ != std::numeric_limits<uint32_t>::max();
}

// The C functions handed to the runner.
struct ParallelTrampolines {
    static int32_t init(void* opaque, uint32_t threads) {
        auto* work = static_cast<ParallelWork*>(opaque);
        work->threads_ = threads;
        try {
            return work->prepare(threads) ? 0 : 1;
        } catch (const std::bad_alloc&) {
            work->fail(0, kErrNoMemory);
            return 1;
        } catch (...) {
            work->fail(0, kErrUnknown);
            return 1;
        }
    }
    static void run(void* opaque, uint32_t job, uint32_t thread) {
        auto* work = static_cast<ParallelWork*>(opaque);
        const RunDepth inJob;
        try {
            work->run(job, thread);
        } catch (int code) {
            work->fail(job, code);
        } catch (const std::bad_alloc&) {
            work->fail(job, kErrNoMemory);
        } catch (...) {
            work->fail(job, kErrUnknown);
        }
    }
};

bool ParallelWork::run_all(uint32_t jobs) {
    if (jobs == 0) return true;
    const RunnerSetting setting = active_runner();
    const RunDepth inRun;
    if (setting.runner == nullptr || jobs == 1) {
        // In order, in this thread: the first failure ends the run, as the
        // walk always ended at its first failure.
        if (ParallelTrampolines::init(this, 1) != 0) {
            if (!failed()) fail(0, kErrRunner);
        } else {
            for (uint32_t job = 0; job < jobs; ++job) {
                ParallelTrampolines::run(this, job, 0);
                if (failed()) break;
            }
        }
    } else {
        const int32_t status = setting.runner(setting.opaque, this, &ParallelTrampolines::init,
                                              &ParallelTrampolines::run, 0, jobs);
        if (status != 0 && !failed())
            fail(0, kErrRunner);
    }
    if (!failed()) return true;
    IPL_SetErrorCode(failedCode_);
    return false;
}

}  // namespace ozu

namespace {
constexpr ozu::EntryTexts kGetTexts{"Leaving COL_GetParallelRunner - Error: %s (%d)",
                                    "Leaving COL_GetParallelRunner - Win32 Error: %ld"};
constexpr ozu::EntryTexts kBandTexts{"Leaving COL_SetParallelBandLines - Error: %s (%d)",
                                     "Leaving COL_SetParallelBandLines - Win32 Error: %ld"};
}  // namespace

extern "C" OZU_COLOR_API int32_t COL_SetParallelRunner(OZU_ParallelRunner runner,
                                                       void* runnerOpaque) {
    ozu::RunnerSetting& setting = ozu::thread_runner();
    setting.runner = runner;
    setting.opaque = runner == nullptr ? nullptr : runnerOpaque;
    return 1;
}

extern "C" OZU_COLOR_API int32_t COL_GetParallelRunner(OZU_ParallelRunner* runner,
                                                       void** runnerOpaque) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, kGetTexts, [&] {
        if (runner == nullptr || runnerOpaque == nullptr) ozu::raise(ozu::kErrNullPointer);
        *runner = ozu::thread_runner().runner;
        *runnerOpaque = ozu::thread_runner().opaque;
    });
}

extern "C" OZU_COLOR_API int32_t COL_SetParallelBandLines(int32_t lines) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, kBandTexts, [&] {
        if (lines < 0) ozu::raise(ozu::kErrRange);
        ozu::thread_runner().bandLines = lines;
    });
}
