// The RGB32 spread of the Bayer path: the scalar reference, its vector
// versions for every compiled target, and the entry that runs the active
// target's version.
#define HWY_TARGET_INCLUDE "convert/bayer_spread.cpp"
#include "frame/simd_targets.h"  // compiles this file once per target

#if OZU_SIMD_PASS
#include "convert/bayer_spread_simd-inl.h"
#endif

#if HWY_ONCE
#include "convert/bayer_spread.h"

namespace ozu {

namespace scalar {
template <class D>
void spread_rgb32(const uint8_t* packed, D* const planes[3], int32_t width) {
    for (int32_t x = 0; x < width; ++x, packed += 4)
        for (int p = 0; p < 3; ++p) planes[p][x] = static_cast<D>(packed[p]);
}
}  // namespace scalar

template <class D>
const TargetTable<SpreadLine<D>>& spread_rgb32_targets() {
    static constexpr TargetTable<SpreadLine<D>> table{
        {&scalar::spread_rgb32<D>, OZU_SIMD_ENTRIES(SpreadRgb32<D>)}};
    return table;
}

template <class D>
void spread_rgb32(const uint8_t* packed, D* const planes[3], int32_t width) {
    spread_rgb32_targets<D>().active()(packed, planes, width);
}

#define OZU_X(D)                                                                  \
    template void scalar::spread_rgb32<D>(const uint8_t*, D* const[3], int32_t);  \
    template const TargetTable<SpreadLine<D>>& spread_rgb32_targets<D>();         \
    template void spread_rgb32<D>(const uint8_t*, D* const[3], int32_t);
OZU_SPREAD_TYPES(OZU_X)
#undef OZU_X

}  // namespace ozu
#endif  // HWY_ONCE
