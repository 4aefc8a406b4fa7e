// Vector versions of the RGB32 spread, compiled once per target by
// bayer_spread.cpp (see frame/cpu_target.h): whole vectors of pixels are
// de-interleaved into their four byte channels and the first three stored;
// the pixels after the last whole vector go through the scalar spread.
#if defined(OZU_CONVERT_BAYER_SPREAD_SIMD_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef OZU_CONVERT_BAYER_SPREAD_SIMD_INL_H_
#undef OZU_CONVERT_BAYER_SPREAD_SIMD_INL_H_
#else
#define OZU_CONVERT_BAYER_SPREAD_SIMD_INL_H_
#endif

#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#include "convert/bayer_spread.h"

HWY_BEFORE_NAMESPACE();
namespace ozu {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

template <class D>
void SpreadRgb32(const uint8_t* packed, D* const planes[3], int32_t width) {
    if constexpr (sizeof(D) != 1) {
        // Bytes widened to 16 bits: only the instances no caller reaches.
        scalar::spread_rgb32<D>(packed, planes, width);
        return;
    }
    if (width <= 0) return;
    const hn::ScalableTag<uint8_t> d;
    const size_t lanes = hn::Lanes(d);
    const size_t n = static_cast<size_t>(width);
    // The bytes go over as they are: a signed plane gets the same bits.
    uint8_t* out[3];
    for (int p = 0; p < 3; ++p) out[p] = reinterpret_cast<uint8_t*>(planes[p]);
    size_t x = 0;
    for (; x + lanes <= n; x += lanes) {
        hn::Vec<decltype(d)> r, g, b, dropped;
        hn::LoadInterleaved4(d, packed + 4 * x, r, g, b, dropped);
        hn::StoreU(r, d, out[0] + x);
        hn::StoreU(g, d, out[1] + x);
        hn::StoreU(b, d, out[2] + x);
    }
    if (x < n) {
        D* const rest[3] = {planes[0] + x, planes[1] + x, planes[2] + x};
        scalar::spread_rgb32<D>(packed + 4 * x, rest, static_cast<int32_t>(n - x));
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace ozu
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
