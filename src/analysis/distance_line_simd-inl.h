// Vector versions of the distance line kernel, compiled once per target by
// distance_line.cpp (see frame/cpu_target.h). Lane by lane they take the
// steps of distance_pixel: the squared distances in 32-bit integers, every
// conversion and division a single-precision IEEE operation as in the scalar
// code (conversions to integer truncate, all values are far inside the
// range), so every lane gives the scalar bits.
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
    const DI32 di;
    const DF32 df;
    constexpr size_t kLanes = hn::MaxLanes(DI32());
    const VI32 u0 = hn::Set(di, first.c[0]), u1 = hn::Set(di, first.c[1]);
    const VI32 u2 = hn::Set(di, first.c[2]);
    const VI32 w0 = hn::Set(di, second.c[0]), w1 = hn::Set(di, second.c[1]);
    const VI32 w2 = hn::Set(di, second.c[2]);
    const VF32 range = hn::Set(df, 765.0f);
    const VF32 half = hn::Set(df, 0.5f);
    const VI32 one = hn::Set(di, 1);
    const auto squared = [](VI32 a, VI32 b) OZU_INLINE_LAMBDA {
        const VI32 d = hn::Sub(a, b);
        return hn::Mul(d, d);
    };
    // The two distances, each a division: the head, which WalkLineSplit
    // starts early; then their ratio, a division on both, and the store.
    const auto head = [OZU_STEP_CAPTURE](const uint8_t* const* p, size_t x,
                                         const auto& then) OZU_INLINE_LAMBDA {
        const VI32 a = LoadI32(p[0] + x);
        const VI32 b = LoadI32(p[1] + x);
        const VI32 c = LoadI32(p[2] + x);
        const VI32 sum1 = hn::Add(hn::Add(squared(a, u0), squared(b, u1)), squared(c, u2));
        const VI32 sum2 = hn::Add(hn::Add(squared(a, w0), squared(b, w1)), squared(c, w2));
        return then(hn::ConvertTo(di, hn::Div(hn::ConvertTo(df, sum1), range)),
                    hn::ConvertTo(di, hn::Div(hn::ConvertTo(df, sum2), range)));
    };
    const auto tail = [OZU_STEP_CAPTURE](VI32 near, VI32 far, uint8_t* const* q,
                                         size_t x) OZU_INLINE_LAMBDA {
        const VI32 ratio = hn::ConvertTo(
            di, hn::Div(hn::ConvertTo(df, hn::Sub(near, far)), hn::ConvertTo(df, hn::Add(far, one))));
        StoreLow(hn::ConvertTo(di, hn::Add(hn::ConvertTo(df, ratio), half)), q[0] + x);
    };
    const uint8_t* const src[3] = {p0, p1, p2};
    uint8_t* const dst[3] = {out, nullptr, nullptr};
    WalkLineSplit<kLanes>(src, dst, width, hn::Lanes(di), head, tail);
}

}  // namespace HWY_NAMESPACE
}  // namespace ozu
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
