// stream_copy: memcpy for the scalar target, streamed stores for the others.
#define HWY_TARGET_INCLUDE "frame/stream_copy.cpp"
#include "frame/simd_targets.h"  // compiles this file once per target

#if OZU_SIMD_PASS
#include "frame/stream_copy_simd-inl.h"
#endif

#if HWY_ONCE
#include <cstring>

#if OZU_HAVE_HWY
#include <hwy/cache_control.h>
#endif

#include "frame/stream_copy.h"

namespace ozu {
namespace scalar {
void stream_copy(const void* from, void* to, size_t bytes) { std::memcpy(to, from, bytes); }
}  // namespace scalar

const TargetTable<StreamCopy>& stream_copy_targets() {
    static constexpr TargetTable<StreamCopy> table{
        {&scalar::stream_copy, OZU_SIMD_ENTRIES(StreamCopyBytes)}};
    return table;
}

void stream_fence() {
#if OZU_HAVE_HWY
    hwy::FlushStream();
#endif
}

}  // namespace ozu
#endif  // HWY_ONCE
