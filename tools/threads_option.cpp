#include "threads_option.h"

#include <cerrno>
#include <cstdint>

#include <ozu/color.h>
#include <ozu/thread_pool.h>

#include "command_line.h"
#include "tool_error.h"

namespace ozu::tool {
namespace {

// More threads than this is a typing error, not a machine.
constexpr uint32_t kMostThreads = 1024;

}  // namespace

ThreadsOption::ThreadsOption(std::vector<std::string>& words) {
    uint32_t threads = 0;  // every core
    if (const std::optional<std::string> value = take_common_option(words, "threads")) {
        threads = parse_uint32(*value, "--threads");
        if (threads == 0 || threads > kMostThreads)
            throw UsageError("--threads '" + *value + "': give 1 to " +
                             std::to_string(kMostThreads) + " threads");
    }
    COL_GetParallelRunner(&previous_, &previousOpaque_);
    // A command run by another (the demo's steps) shares the pool already
    // installed unless it names its own count.
    if (threads == 0 && previous_ != nullptr) return;
    if (threads == 0) threads = OZU_ThreadPoolDefaultThreads();
    if (threads == 1) return;
    pool_ = OZU_ThreadPoolCreate(threads);
    if (pool_ == nullptr)
        throw ToolError(EAGAIN, "cannot start " + std::to_string(threads) + " threads");
    COL_SetParallelRunner(OZU_ThreadPoolRunner, pool_);
}

ThreadsOption::~ThreadsOption() {
    if (pool_ == nullptr) return;
    COL_SetParallelRunner(previous_, previousOpaque_);
    OZU_ThreadPoolDestroy(pool_);
}

}  // namespace ozu::tool
