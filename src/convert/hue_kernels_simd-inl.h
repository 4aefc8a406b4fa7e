// Vector versions of the hue line kernels, compiled once per target by
// hue_kernels.cpp (see frame/cpu_target.h).
//
// Each path of hue_kernels-inl.h is followed step by step in lanes: the same
// comparisons in the same order (so ties and NaN go the same way; note that
// a != b is written Not(Eq(a, b)), true for NaN like the C++ operator, never
// Ne, which some targets compare ordered), the same single-precision
// operations in the same order (vector division, multiplication, addition and
// conversion from integer are rounded as the scalar ones are), the same
// saturating float-to-integer rule, and every branch computed for all lanes
// and selected. The two 8-bit table paths compute their table entries
// instead of reading them: the quotients involved are exact in single
// precision, and hue_tables_test proves the computed entries equal to the
// exported tables at all 65536 indices on every target.
#if defined(OZU_CONVERT_HUE_KERNELS_SIMD_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef OZU_CONVERT_HUE_KERNELS_SIMD_INL_H_
#undef OZU_CONVERT_HUE_KERNELS_SIMD_INL_H_
#else
#define OZU_CONVERT_HUE_KERNELS_SIMD_INL_H_
#endif

#include <cstdint>
#include <limits>
#include <type_traits>

#include "convert/hue_kernels.h"
#include "frame/fixed_point.h"
#include "frame/simd_lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace ozu {
namespace HWY_NAMESPACE {
namespace hue_simd {

constexpr size_t kLanes = hn::MaxLanes(DI32());

HWY_INLINE VF32 F(float v) { return hn::Set(DF32(), v); }
HWY_INLINE VI32 I(int32_t v) { return hn::Set(DI32(), v); }

// Masks of integer lanes as masks of float lanes and back (same lane size;
// on SVE both are the one predicate type).
template <class M>
HWY_INLINE hn::Mask<DF32> AsF(M m) {
    return hn::RebindMask(DF32(), m);
}
HWY_INLINE hn::Mask<DI32> AsI(hn::Mask<DF32> m) { return hn::RebindMask(DI32(), m); }

// a != b as C++ has it: true when either is NaN.
template <class V>
HWY_INLINE auto Differ(V a, V b) {
    return hn::Not(hn::Eq(a, b));
}

// hue_detail::extremes: the larger and smaller of G and B, then R against
// them; min = R if R < lo, else max = R if R > hi. (Results through
// references: SVE's vectors cannot be members of a struct.)
template <class V>
HWY_INLINE void FindExtremes(V r, V g, V b, V& max, V& min) {
    const auto gb = hn::Gt(g, b);
    const V hi = hn::IfThenElse(gb, g, b);
    const V lo = hn::IfThenElse(gb, b, g);
    const auto rLo = hn::Lt(r, lo);
    const auto rHi = hn::AndNot(rLo, hn::Gt(r, hi));
    max = hn::IfThenElse(rHi, r, hi);
    min = hn::IfThenElse(rLo, r, lo);
}

// hue_detail::difference: integer channels subtracted with wrap-around and
// then converted, float channels subtracted in float.
HWY_INLINE VF32 Difference(VI32 a, VI32 b) { return ToF32(hn::Sub(a, b)); }
HWY_INLINE VF32 Difference(VF32 a, VF32 b) { return hn::Sub(a, b); }

// hue_detail::hue_degrees with its three cases chosen per lane: the two
// quotients of the chosen case, in the scalar order of operations.
template <class V>
HWY_INLINE VF32 HueDegrees(V r, V g, V b, V max, VF32 d) {
    const auto isR = AsF(hn::Eq(r, max));
    const auto isG = hn::AndNot(isR, AsF(hn::Eq(g, max)));
    const VF32 mb = Difference(max, b);
    const VF32 mg = Difference(max, g);
    const VF32 mr = Difference(max, r);
    const VF32 first = hn::IfThenElse(isR, mb, hn::IfThenElse(isG, mr, mg));
    const VF32 second = hn::IfThenElse(isR, mg, hn::IfThenElse(isG, mb, mr));
    const VF32 base = hn::IfThenElse(isG, F(2.0f), F(4.0f));
    const VF32 q1 = hn::Div(first, d);
    const VF32 q2 = hn::Div(second, d);
    VF32 h = hn::IfThenElse(isR, hn::Sub(q1, q2), hn::Sub(hn::Add(base, q1), q2));
    h = hn::Mul(h, F(60.0f));
    return hn::IfThenElse(hn::Lt(h, F(0.0f)), hn::Add(h, F(360.0f)), h);
}

// hue_detail::scale_hue; kInRange when the lanes that count hold 0..360
// degrees and dstMax is a pixel range.
template <bool kInRange = false>
HWY_INLINE VI32 ScaleHue(VF32 degrees, VF32 dstMax) {
    return Trunc<kInRange>(hn::Mul(hn::Div(degrees, F(360.0f)), dstMax));
}

// value / srcMax in single precision.
template <class S>
HWY_INLINE VF32 LoadNormalised(const S* p, VF32 srcMax) {
    return hn::Div(ToF32(LoadI32(p)), srcMax);
}

// ---- the two 8-bit tables, computed --------------------------------------

// RGB2HLS_Saturation at (row, col), both 0..255: 0 on the diagonal, else
// (row - col) x 255 over row + col (sum <= 255) or 510 - row - col,
// truncated toward zero, low 8 bits. |quotient| <= 255 and the divisor is at
// most 510, so the single-precision quotient is never within one rounding
// of the next integer: truncating it gives the integer quotient.
HWY_INLINE VI32 HlsSaturationEntry(VI32 row, VI32 col) {
    const auto same = hn::Eq(row, col);
    const VI32 sum = hn::Add(row, col);
    VI32 den = hn::IfThenElse(hn::Gt(sum, I(255)), hn::Sub(I(510), sum), sum);
    den = hn::IfThenElse(same, I(1), den);
    const VI32 num = hn::Mul(hn::Sub(row, col), I(255));
    const VI32 q = TruncInRange(hn::Div(ToF32(num), ToF32(den)));
    return hn::IfThenZeroElse(same, hn::And(q, I(0xFF)));
}

// RGB2HSV_Saturation at (row, col), both 0..255: row <= col gives
// trunc(row x 255 / col) (0 for col 0), row > col gives
// (85 col + row) / (2 row) - 44, low 8 bits. Both quotients are below 256
// with divisors below 511: exact as above.
HWY_INLINE VI32 HsvTableEntry(VI32 row, VI32 col) {
    const auto upper = hn::Not(hn::Gt(row, col));
    const VI32 num = hn::IfThenElse(upper, hn::Mul(row, I(255)), hn::Add(hn::Mul(col, I(85)), row));
    const VI32 den = hn::IfThenElse(upper, hn::Max(col, I(1)), hn::Add(row, row));
    const VI32 q = TruncInRange(hn::Div(ToF32(num), ToF32(den)));
    return hn::And(hn::IfThenElse(upper, q, hn::Sub(q, I(44))), I(0xFF));
}

// ---- RGB -> HLS ------------------------------------------------------------

// With elements of 16 bits or fewer, max - min is exact and no channel lies
// outside min..max, so a chromatic pixel's hue lies in 0..360 degrees; 32-bit
// differences may wrap and take the saturating conversion.
template <class S, class D>
HWY_INLINE void HlsTablePath(const S* const src[3], D* const dst[3], int32_t width) {
    constexpr bool kNarrow = sizeof(S) <= 2;
    const VF32 fdst = F(255.0f);
    // Up to the hue in degrees (three divisions), then the hue scaled (the
    // fourth) and the stores: WalkLineSplit starts the first part early.
    const auto head = [OZU_STEP_CAPTURE](const S* const* p, size_t x,
                                         const auto& then) OZU_INLINE_LAMBDA {
        const VI32 r = LoadI32(p[0] + x), g = LoadI32(p[1] + x), b = LoadI32(p[2] + x);
        VI32 eMax, eMin;
        FindExtremes(r, g, b, eMax, eMin);
        const VI32 row = hn::And(eMax, I(0xFF));
        const VI32 col = hn::And(eMin, I(0xFF));
        return then(hn::ShiftRight<1>(hn::Add(row, col)), HlsSaturationEntry(row, col),
                    HueDegrees(r, g, b, eMax, ToF32(hn::Sub(eMax, eMin))), hn::Ne(eMax, eMin));
    };
    const auto tail = [OZU_STEP_CAPTURE](VI32 lightness, VI32 saturation, VF32 degrees,
                                         MI32 chromatic, D* const* q, size_t x) OZU_INLINE_LAMBDA {
        StoreLow(hn::IfThenElseZero(chromatic, ScaleHue<kNarrow>(degrees, fdst)), q[0] + x);
        StoreLow(lightness, q[1] + x);
        StoreLow(saturation, q[2] + x);
    };
    WalkLineSplit<kLanes>(src, dst, width, hn::Lanes(DI32()), head, tail);
}

template <class S, class D>
HWY_INLINE void HlsEqualPath(const S* const src[3], D* const dst[3], int32_t width,
                             int32_t srcMax) {
    const VF32 fdst = F(static_cast<float>(srcMax));
    const VI32 halfRange = I(srcMax / 2);
    const VI32 twiceRange = I(wmul(2, srcMax));
    // Up to the saturation's quotient and the hue in degrees (three
    // divisions), which WalkLineSplit starts early; then the scaling.
    const auto head = [OZU_STEP_CAPTURE](const S* const* p, size_t x,
                                         const auto& then) OZU_INLINE_LAMBDA {
        const VI32 r = LoadI32(p[0] + x), g = LoadI32(p[1] + x), b = LoadI32(p[2] + x);
        VI32 eMax, eMin;
        FindExtremes(r, g, b, eMax, eMin);
        const VI32 l = hn::ShiftRight<1>(hn::Add(eMax, eMin));
        const VI32 d = hn::Sub(eMax, eMin);
        const VI32 den =
            hn::IfThenElse(hn::Gt(l, halfRange), hn::Sub(hn::Sub(twiceRange, eMax), eMin),
                           hn::Add(eMax, eMin));
        const VF32 fd = ToF32(d);
        return then(l, hn::Div(fd, ToF32(den)), HueDegrees(r, g, b, eMax, fd),
                    hn::Ne(eMax, eMin));
    };
    const auto tail = [OZU_STEP_CAPTURE](VI32 l, VF32 quotient, VF32 degrees, MI32 chromatic,
                                         D* const* q, size_t x) OZU_INLINE_LAMBDA {
        const VI32 s = TruncToI32(hn::Mul(quotient, fdst));
        StoreLow(hn::IfThenElseZero(chromatic, ScaleHue(degrees, fdst)), q[0] + x);
        StoreLow(l, q[1] + x);
        StoreLow(hn::IfThenElseZero(chromatic, s), q[2] + x);
    };
    WalkLineSplit<kLanes>(src, dst, width, hn::Lanes(DI32()), head, tail);
}

template <class S, class D>
HWY_INLINE void HlsFloatPath(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                             int32_t dstMax) {
    const VF32 fsrc = F(static_cast<float>(srcMax));
    const VF32 fdst = F(static_cast<float>(dstMax));
    // Up to the saturation's quotient and the hue in degrees (six
    // divisions), which WalkLineSplit starts early; then the scaling.
    const auto head = [OZU_STEP_CAPTURE](const S* const* p, size_t x,
                                         const auto& then) OZU_INLINE_LAMBDA {
        const VF32 r = LoadNormalised(p[0] + x, fsrc);
        const VF32 g = LoadNormalised(p[1] + x, fsrc);
        const VF32 b = LoadNormalised(p[2] + x, fsrc);
        VF32 eMax, eMin;
        FindExtremes(r, g, b, eMax, eMin);
        const VF32 l = hn::Mul(hn::Add(eMax, eMin), F(0.5f));
        const VF32 d = hn::Sub(eMax, eMin);
        const VF32 den = hn::IfThenElse(hn::Le(l, F(0.5f)), hn::Add(eMax, eMin),
                                        hn::Sub(hn::Sub(F(2.0f), eMax), eMin));
        return then(l, hn::Div(d, den), HueDegrees(r, g, b, eMax, d),
                    AsI(Differ(eMax, eMin)));
    };
    const auto tail = [OZU_STEP_CAPTURE](VF32 l, VF32 quotient, VF32 degrees, MI32 chromatic,
                                         D* const* q, size_t x) OZU_INLINE_LAMBDA {
        const VI32 s = TruncToI32(hn::Mul(quotient, fdst));
        StoreLow(hn::IfThenElseZero(chromatic, ScaleHue(degrees, fdst)), q[0] + x);
        StoreLow(TruncToI32(hn::Mul(l, fdst)), q[1] + x);
        StoreLow(hn::IfThenElseZero(chromatic, s), q[2] + x);
    };
    WalkLineSplit<kLanes>(src, dst, width, hn::Lanes(DI32()), head, tail);
}

// ---- RGB -> HSV ------------------------------------------------------------

// The case table of the scalar kernel, with max, min and the middle channel
// found directly: in every case V is the maximum, the saturation entry is
// read at (max - min, max) and the hue-fraction entry at (max - min,
// middle - min), and the case only decides the sign of the entry and the
// sector offset added to it. The sums wrap around like the scalar
// subtractions, and only the low 8 bits of an index count.
template <class S, class D>
HWY_INLINE void HsvTablePath(const S* const src[3], D* const dst[3], int32_t width) {
    const VI32 low = I(0xFF);
    const auto step = [OZU_STEP_CAPTURE](const S* const* p, D* const* q, size_t x) OZU_INLINE_LAMBDA {
        const VI32 r = LoadI32(p[0] + x), g = LoadI32(p[1] + x), b = LoadI32(p[2] + x);
        const VI32 max = hn::Max(r, hn::Max(g, b));
        const VI32 min = hn::Min(r, hn::Min(g, b));
        const VI32 d = hn::And(hn::Sub(max, min), low);
        const VI32 mid = hn::Sub(hn::Sub(hn::Add(hn::Add(r, g), b), max), min);
        const VI32 s = HsvTableEntry(d, hn::And(max, low));
        const VI32 fraction = HsvTableEntry(d, hn::And(hn::Sub(mid, min), low));
        // Cases by R < G, then G < B and R < B, as the scalar branches:
        //   R < G:  G < B: -128 - T;  R < B: T - 128;  else 43 - T
        //   R >= G: R < B: T - 43;  G < B: -44 - T;  else T + 44
        const auto rg = hn::Lt(r, g);
        const auto gb = hn::Lt(g, b);
        const auto rb = hn::Lt(r, b);
        const auto negative =
            hn::Or(hn::And(rg, hn::Not(hn::AndNot(gb, rb))), hn::AndNot(rg, hn::AndNot(rb, gb)));
        const VI32 offset =
            hn::IfThenElse(rg, hn::IfThenElse(hn::Or(gb, rb), I(-128), I(43)),
                           hn::IfThenElse(rb, I(-43), hn::IfThenElse(gb, I(-44), I(44))));
        const VI32 h = hn::Add(offset, hn::IfThenElse(negative, hn::Neg(fraction), fraction));
        StoreLow(hn::And(h, low), q[0] + x);
        StoreLow(s, q[1] + x);
        StoreLow(hn::And(max, low), q[2] + x);
    };
    WalkLine<kLanes>(src, dst, width, hn::Lanes(DI32()), step);
}

template <class S, class D>
HWY_INLINE void HsvEqualPath(const S* const src[3], D* const dst[3], int32_t width,
                             int32_t srcMax) {
    const VF32 fdst = F(static_cast<float>(srcMax));
    // Up to the saturation's quotient and the hue in degrees (three
    // divisions), which WalkLineSplit starts early; then the scaling.
    const auto head = [OZU_STEP_CAPTURE](const S* const* p, size_t x,
                                         const auto& then) OZU_INLINE_LAMBDA {
        const VI32 r = LoadI32(p[0] + x), g = LoadI32(p[1] + x), b = LoadI32(p[2] + x);
        VI32 eMax, eMin;
        FindExtremes(r, g, b, eMax, eMin);
        const VI32 d = hn::Sub(eMax, eMin);
        const VF32 fd = ToF32(d);
        return then(eMax, d, hn::Div(fd, ToF32(eMax)), HueDegrees(r, g, b, eMax, fd));
    };
    const auto tail = [OZU_STEP_CAPTURE](VI32 eMax, VI32 d, VF32 quotient, VF32 degrees,
                                         D* const* q, size_t x) OZU_INLINE_LAMBDA {
        const VI32 s = TruncToI32(hn::Mul(quotient, fdst));
        const VI32 h = ScaleHue(degrees, fdst);
        const auto lit = hn::Ne(eMax, I(0));
        StoreLow(hn::IfThenElseZero(hn::And(lit, hn::Ne(d, I(0))), h), q[0] + x);
        StoreLow(hn::IfThenElseZero(lit, s), q[1] + x);
        StoreLow(eMax, q[2] + x);
    };
    WalkLineSplit<kLanes>(src, dst, width, hn::Lanes(DI32()), head, tail);
}

template <class S, class D>
HWY_INLINE void HsvFloatPath(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                             int32_t dstMax) {
    const VF32 fsrc = F(static_cast<float>(srcMax));
    const VF32 fdst = F(static_cast<float>(dstMax));
    // Up to the saturation's quotient and the hue in degrees (six
    // divisions), which WalkLineSplit starts early; then the scaling.
    const auto head = [OZU_STEP_CAPTURE](const S* const* p, size_t x,
                                         const auto& then) OZU_INLINE_LAMBDA {
        const VF32 r = LoadNormalised(p[0] + x, fsrc);
        const VF32 g = LoadNormalised(p[1] + x, fsrc);
        const VF32 b = LoadNormalised(p[2] + x, fsrc);
        VF32 eMax, eMin;
        FindExtremes(r, g, b, eMax, eMin);
        const VF32 d = hn::Sub(eMax, eMin);
        return then(eMax, d, hn::Div(d, eMax), HueDegrees(r, g, b, eMax, d));
    };
    const auto tail = [OZU_STEP_CAPTURE](VF32 eMax, VF32 d, VF32 quotient, VF32 degrees,
                                         D* const* q, size_t x) OZU_INLINE_LAMBDA {
        const VI32 s = TruncToI32(hn::Mul(quotient, fdst));
        const VI32 h = ScaleHue(degrees, fdst);
        const auto lit = Differ(eMax, F(0.0f));
        StoreLow(hn::IfThenElseZero(AsI(hn::And(lit, Differ(d, F(0.0f)))), h), q[0] + x);
        StoreLow(hn::IfThenElseZero(AsI(lit), s), q[1] + x);
        StoreLow(TruncToI32(hn::Mul(eMax, fdst)), q[2] + x);
    };
    WalkLineSplit<kLanes>(src, dst, width, hn::Lanes(DI32()), head, tail);
}

// ---- HLS and HSV -> RGB ----------------------------------------------------

// The largest |value / srcMax| of an element of type S: every normalised
// channel lies within it. Infinite for a range of 0 or less.
template <class S>
HWY_INLINE double NormalisedBound(int32_t srcMax) {
    if (srcMax <= 0) return 1e300;
    const double lowest = -static_cast<double>(std::numeric_limits<S>::lowest());
    const double highest = static_cast<double>(std::numeric_limits<S>::max());
    return (lowest > highest ? lowest : highest) / srcMax;
}

// Whether every float the inverse kernels convert to an integer is a number
// well inside the 32-bit range, so that the bare conversion serves. With
// channels within R of 0 (NormalisedBound) and a positive srcMax nothing
// divides by zero; the bounds follow the steps of each kernel:
//   HSV: |sector| <= 6R; p, q, t within R (2 + 2R); results times dstMax.
//   HLS: |m2| <= 2R + R^2, |m1| <= 4R + R^2, |hue| <= 360R + 480, so a ramp
//        stays within |m1| + (|m1| + |m2|)(6R + 12); results times dstMax.
// A quarter of 2^32 leaves room for every rounding on the way.
HWY_INLINE bool HsvResultsInRange(double r, int32_t dstMax) {
    const double scale = dstMax < 0 ? -static_cast<double>(dstMax) : (dstMax > 0 ? dstMax : 1);
    return 6 * r < 1073741824.0 && r * (2 + 2 * r) * scale < 1073741824.0;
}
HWY_INLINE bool HlsResultsInRange(double r, int32_t dstMax) {
    const double scale = dstMax < 0 ? -static_cast<double>(dstMax) : (dstMax > 0 ? dstMax : 1);
    const double m1 = 4 * r + r * r, m2 = 2 * r + r * r;
    return r < 1e6 && (m1 + (m1 + m2) * (6 * r + 12)) * scale < 1073741824.0;
}

// hue_detail::hls_channel: the hue brought into 0..360 once, then the ramp
// up below 60 degrees, m2 below 180, the ramp down below 240 and m1 above.
// Both ramps are m1 + (m2 - m1) x t / 60, with t = x or 240 - x.
HWY_INLINE VF32 HlsChannel(VF32 m1, VF32 m2, VF32 x) {
    x = hn::IfThenElse(hn::Gt(x, F(360.0f)), hn::Sub(x, F(360.0f)),
                       hn::IfThenElse(hn::Lt(x, F(0.0f)), hn::Add(x, F(360.0f)), x));
    const auto rising = hn::Lt(x, F(60.0f));
    const VF32 t = hn::IfThenElse(rising, x, hn::Sub(F(240.0f), x));
    const VF32 ramp = hn::Add(m1, hn::Div(hn::Mul(hn::Sub(m2, m1), t), F(60.0f)));
    return hn::IfThenElse(
        rising, ramp,
        hn::IfThenElse(hn::Lt(x, F(180.0f)), m2, hn::IfThenElse(hn::Lt(x, F(240.0f)), ramp, m1)));
}

template <bool kInRange, class S, class D>
HWY_INLINE void HlsToRgb(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                         int32_t dstMax) {
    const VF32 fsrc = F(static_cast<float>(srcMax));
    const VF32 fdst = F(static_cast<float>(dstMax));
    // The hue in degrees, the lightness, m1, m2, and whether the pixel is
    // grey: the three normalising divisions, which WalkLineSplit starts early.
    const auto head = [OZU_STEP_CAPTURE](const S* const* p, size_t x,
                                         const auto& then) OZU_INLINE_LAMBDA {
        const VF32 h = hn::Div(hn::Mul(ToF32(LoadI32(p[0] + x)), F(360.0f)), fsrc);
        const VF32 l = LoadNormalised(p[1] + x, fsrc);
        const VF32 s = LoadNormalised(p[2] + x, fsrc);
        const VF32 m2 = hn::IfThenElse(hn::Le(l, F(0.5f)), hn::Mul(l, hn::Add(F(1.0f), s)),
                                       hn::Sub(hn::Add(l, s), hn::Mul(l, s)));
        const VF32 m1 = hn::Sub(hn::Mul(F(2.0f), l), m2);
        return then(h, l, m1, m2, AsI(hn::Eq(s, F(0.0f))));
    };
    const auto tail = [OZU_STEP_CAPTURE](VF32 h, VF32 l, VF32 m1, VF32 m2, MI32 grey, D* const* q,
                                         size_t x) OZU_INLINE_LAMBDA {
        const VI32 flat = Trunc<kInRange>(hn::Mul(l, fdst));
        const auto channel = [OZU_STEP_CAPTURE](VF32 hue) OZU_INLINE_LAMBDA {
            return hn::IfThenElse(grey, flat,
                                  Trunc<kInRange>(hn::Mul(HlsChannel(m1, m2, hue), fdst)));
        };
        StoreLow(channel(hn::Add(h, F(120.0f))), q[0] + x);
        StoreLow(channel(h), q[1] + x);
        StoreLow(channel(hn::Sub(h, F(120.0f))), q[2] + x);
    };
    WalkLineSplit<kLanes>(src, dst, width, hn::Lanes(DI32()), head, tail);
}

template <bool kInRange, bool kBytes, class S, class D>
HWY_INLINE void HsvToRgb(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                         int32_t dstMax) {
    const VF32 fsrc = F(static_cast<float>(srcMax));
    const VF32 fdst = F(static_cast<float>(dstMax));
    const VF32 one = F(1.0f);
    const size_t lanes = hn::Lanes(DI32());
    // The sector, its fraction, and the normalised saturation and value of
    // Lanes(DI32) pixels from column x on. Its four divisions, two of them
    // one after the other, are the long chain of latencies that
    // WalkLineSplit starts early.
    const auto head = [OZU_STEP_CAPTURE](const S* const* p, size_t x,
                                         const auto& then) OZU_INLINE_LAMBDA {
        const VF32 h = LoadNormalised(p[0] + x, fsrc);
        const VF32 s = LoadNormalised(p[1] + x, fsrc);
        const VF32 v = LoadNormalised(p[2] + x, fsrc);
        const VF32 sector = hn::Div(hn::Mul(h, F(360.0f)), F(60.0f));
        const VI32 i = Trunc<kInRange>(sector);
        return then(i, hn::Sub(sector, ToF32(i)), s, v);
    };
    // The channels of those pixels, each a value of the destination's range,
    // into rOut, gOut and bOut.
    const auto channels = [OZU_STEP_CAPTURE](VI32 i, VF32 f, VF32 s, VF32 v, D* const* q, size_t x,
                                             VI32& rOut, VI32& gOut,
                                             VI32& bOut) OZU_INLINE_LAMBDA {
        const VF32 pv = hn::Mul(v, hn::Sub(one, s));
        const VF32 qv = hn::Mul(v, hn::Sub(one, hn::Mul(s, f)));
        const VF32 tv = hn::Mul(v, hn::Sub(one, hn::Mul(s, hn::Sub(one, f))));
        // Sectors 0..5: (v, t, p), (q, v, p), (p, v, t), (p, q, v), (t, p, v), (v, p, q),
        // picked by the three low bits of the sector, each moved to the sign
        // bit that a blend reads. With x = (bit 0 ? q : v) and y = (bit 0 ?
        // v : t): R = bit 2 ? y : (bit 1 ? p : x), G = bit 2 ? p : (bit 1 ?
        // x : y), B = bit 2 ? x : (bit 1 ? y : p). A sector outside 0..5
        // picks anything: its pixel is left as it was below.
        const VF32 bit0 = hn::BitCast(DF32(), hn::ShiftLeft<31>(i));
        const VF32 bit1 = hn::BitCast(DF32(), hn::ShiftLeft<30>(i));
        const VF32 bit2 = hn::BitCast(DF32(), hn::ShiftLeft<29>(i));
        const VF32 qOrV = hn::IfNegativeThenElse(bit0, qv, v);
        const VF32 vOrT = hn::IfNegativeThenElse(bit0, v, tv);
        const VF32 rf =
            hn::IfNegativeThenElse(bit2, vOrT, hn::IfNegativeThenElse(bit1, pv, qOrV));
        const VF32 gf =
            hn::IfNegativeThenElse(bit2, pv, hn::IfNegativeThenElse(bit1, qOrV, vOrT));
        const VF32 bf =
            hn::IfNegativeThenElse(bit2, qOrV, hn::IfNegativeThenElse(bit1, vOrT, pv));
        rOut = Trunc<kInRange>(hn::Mul(rf, fdst));
        gOut = Trunc<kInRange>(hn::Mul(gf, fdst));
        bOut = Trunc<kInRange>(hn::Mul(bf, fdst));
        // A sector outside 0..5 leaves the pixel as it was, unless it is
        // grey. A grey pixel (s = 0) needs no case of its own: then p, q and
        // t are v exactly (v x (1 - 0), f finite because a zero s means a
        // nonzero srcMax), so every pick is v and each channel trunc(v x
        // dstMax), as the scalar kernel's grey branch writes, whatever the
        // sector. With the channels of the byte stores (HsvStoresBytes) the
        // hue lies in 0..1, and 6 is the only sector outside 0..5. Such
        // sectors are rare: grey is asked for only when there is one.
        const auto outside = kBytes ? hn::Eq(i, I(6)) : hn::Or(hn::Lt(i, I(0)), hn::Gt(i, I(5)));
        if (!hn::AllFalse(DI32(), outside)) {
            const auto skip = hn::AndNot(AsI(hn::Eq(s, F(0.0f))), outside);
            rOut = hn::IfThenElse(skip, LoadI32(q[0] + x), rOut);
            gOut = hn::IfThenElse(skip, LoadI32(q[1] + x), gOut);
            bOut = hn::IfThenElse(skip, LoadI32(q[2] + x), bOut);
        }
    };
#if HWY_TARGET == HWY_AVX2
    if constexpr (kBytes) {
        // Two vectors of pixels a step, stored together; sixteen pixels a
        // step are far enough ahead for the next step's head.
        const auto head2 = [OZU_STEP_CAPTURE](const S* const* p, size_t x,
                                              const auto& then) OZU_INLINE_LAMBDA {
            return head(p, x, [&](VI32 i0, VF32 f0, VF32 s0, VF32 v0) OZU_INLINE_LAMBDA {
                return head(p, x + lanes, [&](VI32 i1, VF32 f1, VF32 s1, VF32 v1) OZU_INLINE_LAMBDA {
                    return then(i0, f0, s0, v0, i1, f1, s1, v1);
                });
            });
        };
        const auto tail2 = [OZU_STEP_CAPTURE](VI32 i0, VF32 f0, VF32 s0, VF32 v0, VI32 i1, VF32 f1,
                                              VF32 s1, VF32 v1, D* const* q,
                                              size_t x) OZU_INLINE_LAMBDA {
            VI32 r0, g0, b0, r1, g1, b1;
            channels(i0, f0, s0, v0, q, x, r0, g0, b0);
            channels(i1, f1, s1, v1, q, x + lanes, r1, g1, b1);
            StoreBytes3x2(r0, g0, b0, r1, g1, b1, q[0] + x, q[1] + x, q[2] + x);
        };
        WalkLineSplit<2 * kLanes, 1>(src, dst, width, 2 * lanes, head2, tail2);
        return;
    }
#endif
    const auto tail = [OZU_STEP_CAPTURE](VI32 i, VF32 f, VF32 s, VF32 v, D* const* q,
                                         size_t x) OZU_INLINE_LAMBDA {
        VI32 r, g, b;
        channels(i, f, s, v, q, x, r, g, b);
        if constexpr (kBytes) {
            StoreBytes3(r, g, b, q[0] + x, q[1] + x, q[2] + x);
        } else {
            StoreLow(r, q[0] + x);
            StoreLow(g, q[1] + x);
            StoreLow(b, q[2] + x);
        }
    };
    WalkLineSplit<kLanes>(src, dst, width, lanes, head, tail);
}

// Whether every channel HsvToRgb stores lies in 0..255, so that it may
// store through StoreBytes3: unsigned channels no larger than srcMax
// normalise into 0..1, and then p, q, t and v stay in 0..1 (each a product
// of numbers in 0..1, and f in [0, 1)), so that times a dstMax of 0..255 and
// truncated they are 0..255; an untouched pixel keeps its unsigned byte (a
// signed one would come back negative).
template <class S, class D>
HWY_INLINE bool HsvStoresBytes(int32_t srcMax, int32_t dstMax) {
    if constexpr (std::is_same_v<D, uint8_t> && std::is_unsigned_v<S>) {
        return srcMax >= static_cast<int32_t>(std::numeric_limits<S>::max()) && dstMax >= 0 &&
               dstMax <= 255;
    } else {
        return false;
    }
}

}  // namespace hue_simd

template <class S, class D>
bool SubRGB2HLS(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax) {
    if (srcMax == 255 && dstMax == 255)
        hue_simd::HlsTablePath(src, dst, width);
    else if (srcMax == dstMax)
        hue_simd::HlsEqualPath(src, dst, width, srcMax);
    else
        hue_simd::HlsFloatPath(src, dst, width, srcMax, dstMax);
    return true;
}

template <class S, class D>
bool SubRGB2HSV(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax) {
    if (srcMax == 255 && dstMax == 255)
        hue_simd::HsvTablePath(src, dst, width);
    else if (srcMax == dstMax)
        hue_simd::HsvEqualPath(src, dst, width, srcMax);
    else
        hue_simd::HsvFloatPath(src, dst, width, srcMax, dstMax);
    return true;
}

template <class S, class D>
bool SubHLS2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax) {
    if (hue_simd::HlsResultsInRange(hue_simd::NormalisedBound<S>(srcMax), dstMax))
        hue_simd::HlsToRgb<true>(src, dst, width, srcMax, dstMax);
    else
        hue_simd::HlsToRgb<false>(src, dst, width, srcMax, dstMax);
    return true;
}

template <class S, class D>
bool SubHSV2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax) {
    if (!hue_simd::HsvResultsInRange(hue_simd::NormalisedBound<S>(srcMax), dstMax)) {
        hue_simd::HsvToRgb<false, false>(src, dst, width, srcMax, dstMax);
        return true;
    }
    if constexpr (std::is_same_v<D, uint8_t>) {
        if (hue_simd::HsvStoresBytes<S, D>(srcMax, dstMax)) {
            hue_simd::HsvToRgb<true, true>(src, dst, width, srcMax, dstMax);
            return true;
        }
    }
    hue_simd::HsvToRgb<true, false>(src, dst, width, srcMax, dstMax);
    return true;
}

// The computed entries of the two 8-bit tables, for the exhaustive test:
// entry (row, col) of RGB2HLS_Saturation and RGB2HSV_Saturation for n pairs,
// n a multiple of the lane count (16 is for vectors up to 512 bits).
inline void HueTableEntries(const int32_t* rows, const int32_t* cols, int32_t* hls, int32_t* hsv,
                            size_t n) {
    const size_t lanes = hn::Lanes(DI32());
    for (size_t x = 0; x + lanes <= n; x += lanes) {
        const VI32 row = hn::LoadU(DI32(), rows + x), col = hn::LoadU(DI32(), cols + x);
        hn::StoreU(hue_simd::HlsSaturationEntry(row, col), DI32(), hls + x);
        hn::StoreU(hue_simd::HsvTableEntry(row, col), DI32(), hsv + x);
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace ozu
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
