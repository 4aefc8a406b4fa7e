// The line kernel of the colour distance image: the scalar reference, its
// vector versions for every compiled target, and the entry that runs the
// active target's version.
#define HWY_TARGET_INCLUDE "analysis/distance_line.cpp"
#include "frame/simd_targets.h"  // compiles this file once per target

#if OZU_SIMD_PASS
#include "analysis/distance_line_simd-inl.h"
#endif

#if HWY_ONCE
#include "analysis/color_distance.h"

namespace ozu {

namespace scalar {
void distance_line(const uint8_t* __restrict p0, const uint8_t* __restrict p1,
                   const uint8_t* __restrict p2, uint8_t* __restrict out, int32_t width,
                   const ReferenceColor& first, const ReferenceColor& second) {
    // Copied to locals so the compiler sees them as loop invariants.
    const ReferenceColor u = first;
    const ReferenceColor w = second;
    for (int32_t x = 0; x < width; ++x) out[x] = distance_pixel(p0[x], p1[x], p2[x], u, w);
}
}  // namespace scalar

const TargetTable<DistanceLine>& distance_line_targets() {
    static constexpr TargetTable<DistanceLine> table{
        {&scalar::distance_line, OZU_SIMD_ENTRIES(DistanceLineSimd)}};
    return table;
}

void distance_line(const uint8_t* p0, const uint8_t* p1, const uint8_t* p2, uint8_t* out,
                   int32_t width, const ReferenceColor& first, const ReferenceColor& second) {
    distance_line_targets().active()(p0, p1, p2, out, width, first, second);
}

}  // namespace ozu
#endif  // HWY_ONCE
