// Vector versions of the distance line kernel, compiled once per target by
// distance_line.cpp (see frame/cpu_target.h). Lane by lane they take the
// steps of distance_pixel: the squared distances in 32-bit integers, every
// conversion and division a single-precision IEEE operation as in the scalar
// code (conversions to integer truncate, all values are far inside the
// range), so every lane gives the scalar bits. The pixels after the last
// whole vector go through the scalar kernel.
#if defined(OZU_ANALYSIS_DISTANCE_LINE_SIMD_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef OZU_ANALYSIS_DISTANCE_LINE_SIMD_INL_H_
#undef OZU_ANALYSIS_DISTANCE_LINE_SIMD_INL_H_
#else
#define OZU_ANALYSIS_DISTANCE_LINE_SIMD_INL_H_
#endif

#include <cstddef>
#include <cstdint>

#include "analysis/color_distance.h"
#include "frame/simd_lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace ozu {
namespace HWY_NAMESPACE {

void DistanceLineSimd(const uint8_t* p0, const uint8_t* p1, const uint8_t* p2, uint8_t* out,
                      int32_t width, const ReferenceColor& first, const ReferenceColor& second) {
    if (width <= 0) return;
    const DI32 di;
    const DF32 df;
    const size_t lanes = hn::Lanes(di);
    const size_t n = static_cast<size_t>(width);
    const VI32 u0 = hn::Set(di, first.c[0]), u1 = hn::Set(di, first.c[1]);
    const VI32 u2 = hn::Set(di, first.c[2]);
    const VI32 w0 = hn::Set(di, second.c[0]), w1 = hn::Set(di, second.c[1]);
    const VI32 w2 = hn::Set(di, second.c[2]);
    const VF32 range = hn::Set(df, 765.0f);
    const VF32 half = hn::Set(df, 0.5f);
    const VI32 one = hn::Set(di, 1);
    const auto squared = [](VI32 a, VI32 b) {
        const VI32 d = hn::Sub(a, b);
        return hn::Mul(d, d);
    };
    size_t x = 0;
    for (; x + lanes <= n; x += lanes) {
        const VI32 a = LoadI32(p0 + x);
        const VI32 b = LoadI32(p1 + x);
        const VI32 c = LoadI32(p2 + x);
        const VI32 sum1 = hn::Add(hn::Add(squared(a, u0), squared(b, u1)), squared(c, u2));
        const VI32 sum2 = hn::Add(hn::Add(squared(a, w0), squared(b, w1)), squared(c, w2));
        const VI32 near = hn::ConvertTo(di, hn::Div(hn::ConvertTo(df, sum1), range));
        const VI32 far = hn::ConvertTo(di, hn::Div(hn::ConvertTo(df, sum2), range));
        const VI32 q = hn::ConvertTo(
            di, hn::Div(hn::ConvertTo(df, hn::Sub(near, far)), hn::ConvertTo(df, hn::Add(far, one))));
        StoreLow(hn::ConvertTo(di, hn::Add(hn::ConvertTo(df, q), half)), out + x);
    }
    if (x < n)
        scalar::distance_line(p0 + x, p1 + x, p2 + x, out + x, static_cast<int32_t>(n - x), first,
                              second);
}

}  // namespace HWY_NAMESPACE
}  // namespace ozu
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
