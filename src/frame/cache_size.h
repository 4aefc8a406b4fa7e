// The size of a core's second-level cache, which the banded walks size
// their working sets by.
#pragma once

#include <cstddef>

namespace ozu {

// What the C library reports for this processor, read once; 1 MiB where it
// reports nothing (as under some emulators).
size_t l2_cache_bytes();

}  // namespace ozu
