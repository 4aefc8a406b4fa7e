// run_bands: a ParallelWork around one function object.
#pragma once

#include <algorithm>
#include <type_traits>

#include <ozu/base.h>

namespace ozu {

template <class Fn>
class FunctionWork final : public ParallelWork {
public:
    explicit FunctionWork(Fn& fn) : fn_(fn) {}
    void run(uint32_t job, uint32_t thread) override {
        (void)thread;
        if (!fn_(job)) fail(job, IPL_GetErrorCode2());
    }

private:
    Fn& fn_;
};

template <class Fn>
bool run_bands(uint32_t jobs, Fn&& fn) {
    FunctionWork<std::remove_reference_t<Fn>> work(fn);
    return work.run_all(jobs);
}

template <class Fn>
bool for_each_band_of(int32_t lines, int32_t perBand, Fn&& rows) {
    const uint32_t jobs = band_count(lines, perBand);
    if (jobs <= 1) return lines <= 0 || rows(int32_t{0}, lines);
    return run_bands(jobs, [&](uint32_t job) {
        const int32_t first = int32_t(job) * perBand;
        return rows(first, int32_t(std::min<int64_t>(lines, int64_t{first} + perBand)));
    });
}

template <class Fn>
bool for_each_band(int32_t lines, int64_t lineBytes, Fn&& rows) {
    return for_each_band_of(lines, band_lines(lines, lineBytes), rows);
}

}  // namespace ozu
