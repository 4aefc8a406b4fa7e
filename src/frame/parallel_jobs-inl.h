// run_bands: a ParallelWork around one function object.
#pragma once

#include <exception>

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

}  // namespace ozu
