// Parallel work of the per-line entries: bands of lines handed to the
// calling thread's runner (or run here, in order, when it has none).
//
// The host's locks and pointers are taken by the calling thread before a run
// and handed back after it; a job only reads and writes the memory it was
// lent. The host's error slot belongs to a thread, so a job that fails keeps
// its code in the work, and the run raises the code of the first failed job
// (in job order, as a serial run would meet it) in the calling thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <mutex>
#include <vector>

#include <ozu/parallel_runner.h>

namespace ozu {

// The calling thread's runner and band size, as COL_SetParallelRunner and
// COL_SetParallelBandLines left them.
struct RunnerSetting {
    OZU_ParallelRunner runner = nullptr;
    void* opaque = nullptr;
    int32_t bandLines = 0;  // 0: sized for the cache
};
RunnerSetting& thread_runner();

// What the work of an entry follows: the calling thread's setting, except
// inside a job or while this thread waits for a run. An entry called from a
// job (the threshold's conversion of a band) then works serially, rather
// than asking a runner that is busy with the job that called it.
RunnerSetting active_runner();

// The bytes of source and destination lines one band should hold: small
// enough to stay in a core's second-level cache while both sides of it are
// worked on.
inline constexpr int64_t kBandBytes = int64_t{192} << 10;

// Lines per band for a block of `height` lines of `lineBytes` bytes (source
// and destination together). Without a runner and without a size of the
// caller's, a block is one band: the work runs exactly as it always did.
int32_t band_lines(int32_t height, int64_t lineBytes);

// The number of bands of `lines` lines (the last may be shorter) in `height`.
inline uint32_t band_count(int32_t height, int32_t lines) {
    if (height <= 0) return 0;
    return static_cast<uint32_t>((int64_t{height} + lines - 1) / lines);
}

// A run of jobs. `prepare` is told how many threads will run them; `run`
// does one job on one of them. A job that fails calls fail().
class ParallelWork {
public:
    virtual ~ParallelWork() = default;
    // False stops the run before any job (after recording a code with fail).
    virtual bool prepare(uint32_t threads) {
        (void)threads;
        return true;
    }
    virtual void run(uint32_t job, uint32_t thread) = 0;

    // Records that job `job` failed with `code`; of several failures the one
    // of the lowest job is kept.
    void fail(uint32_t job, int32_t code);

    // Runs jobs [0, jobs) through the calling thread's runner. Returns false,
    // with the code recorded in the calling thread's slot, when a job failed
    // or the runner did not run them all.
    bool run_all(uint32_t jobs);

private:
    bool failed();

    std::mutex failMutex_;
    uint32_t failedJob_ = std::numeric_limits<uint32_t>::max();
    int32_t failedCode_ = 0;
    uint32_t threads_ = 1;
    friend struct ParallelTrampolines;
};

// A run of bands whose every job is one call of a function object: a job
// that returns false fails with the host's code of its thread. For work that
// needs no memory per thread.
template <class Fn>
bool run_bands(uint32_t jobs, Fn&& fn);

// Runs rows(first, end), which returns true or leaves the host's code and
// returns false, over lines [0, lines) in bands of band_lines() lines. One
// band runs here, without the runner.
template <class Fn>
bool for_each_band(int32_t lines, int64_t lineBytes, Fn&& rows);
// The same with bands of `perBand` lines.
template <class Fn>
bool for_each_band_of(int32_t lines, int32_t perBand, Fn&& rows);

}  // namespace ozu

#include "frame/parallel_jobs-inl.h"
