// --threads N, accepted by every command: the work of one run shared between
// N threads of a pool from libozu_threads, installed as the runner of the
// thread that runs the command. The default is every core, as OpenCV's; 1
// keeps all work in the calling thread. The results are the same bits for
// every N.
#pragma once

#include <string>
#include <vector>

#include <ozu/parallel_runner.h>

namespace ozu::tool {

class ThreadsOption {
public:
    // Takes `--threads N` or `--threads=N` out of `words` (the last one
    // counts) and installs the pool. Throws UsageError for a value that is
    // not a whole number from 1 to 1024, and ToolError when no pool can be
    // started.
    explicit ThreadsOption(std::vector<std::string>& words);
    // The runner that was installed before, and the pool destroyed.
    ~ThreadsOption();

    ThreadsOption(const ThreadsOption&) = delete;
    ThreadsOption& operator=(const ThreadsOption&) = delete;

private:
    void* pool_ = nullptr;
    OZU_ParallelRunner previous_ = nullptr;
    void* previousOpaque_ = nullptr;
};

}  // namespace ozu::tool
