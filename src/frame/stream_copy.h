// A copy that writes around the caches: for results larger than the caches,
// whose lines would otherwise be read into them only to be overwritten and
// evicted. The bytes are those of memcpy; they are ordered with later
// accesses of other threads only after stream_fence().
#pragma once

#include <cstddef>

#include "frame/cpu_target.h"

namespace ozu {

using StreamCopy = void (*)(const void* from, void* to, size_t bytes);

// The versions for each CPU target (memcpy where there are no vectors).
const TargetTable<StreamCopy>& stream_copy_targets();

// Orders the streamed stores of this thread before what follows.
void stream_fence();

}  // namespace ozu
