// Vector versions of the matrix line kernels, compiled once per target by
// matrix_kernels.cpp (see frame/cpu_target.h). They compute what the scalar
// kernels of matrix_kernels-inl.h compute, lane by lane in 32-bit integers:
// the products and sums wrap around in 32 bits as wmul and wadd do, the
// shifts are arithmetic, and the clamp is the scalar one.
#if defined(OZU_CONVERT_MATRIX_KERNELS_SIMD_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef OZU_CONVERT_MATRIX_KERNELS_SIMD_INL_H_
#undef OZU_CONVERT_MATRIX_KERNELS_SIMD_INL_H_
#else
#define OZU_CONVERT_MATRIX_KERNELS_SIMD_INL_H_
#endif

#include <cstdint>
#include <limits>

#include "convert/matrix_kernels.h"
#include "frame/fixed_point.h"
#include "frame/simd_lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace ozu {
namespace HWY_NAMESPACE {
namespace matrix_simd {

// One output channel: the three products summed and shifted, the range
// change with kScale, the offset, and the clamp to 0..top, which is the
// scalar one as long as top >= 0 (the callers ensure it).
template <bool kScale>
HWY_INLINE VI32 Channel(VI32 c0, VI32 c1, VI32 c2, VI32 a, VI32 b, VI32 c, VI32 scale, VI32 offset,
                        VI32 top) {
    const VI32 sum = hn::Add(hn::Add(hn::Mul(c0, a), hn::Mul(c1, b)), hn::Mul(c2, c));
    VI32 t = hn::ShiftRight<kFixBits>(sum);
    if constexpr (kScale) t = hn::ShiftRight<kFixBits>(hn::Mul(t, scale));
    return hn::Min(hn::Max(hn::Add(t, offset), hn::Zero(DI32())), top);
}

// The body of the three kernels (see matrix_detail::transform_line). With
// kScale false the range change is left out: it is then the factor 8192 of
// equal ranges, and (t x 8192) >> 13 gives t back for every t = sum >> 13
// (|t| < 2^18, so the product stays within 32 bits).
template <bool kScale, class S, class D>
HWY_INLINE void TransformLine(const S* const src[3], D* const dst[3], int32_t width, int32_t dstMax,
                              const int32_t (*m)[3], int32_t factor, int32_t inOffset,
                              int32_t outOffset) {
    const DI32 d;
    constexpr size_t kLanes = hn::MaxLanes(DI32());
    const VI32 k00 = hn::Set(d, m[0][0]), k01 = hn::Set(d, m[0][1]), k02 = hn::Set(d, m[0][2]);
    const VI32 k10 = hn::Set(d, m[1][0]), k11 = hn::Set(d, m[1][1]), k12 = hn::Set(d, m[1][2]);
    const VI32 k20 = hn::Set(d, m[2][0]), k21 = hn::Set(d, m[2][1]), k22 = hn::Set(d, m[2][2]);
    const VI32 scale = hn::Set(d, factor);
    const VI32 in = hn::Set(d, inOffset);
    const VI32 out = hn::Set(d, outOffset);
    const VI32 top = hn::Set(d, dstMax);
    const VI32 zero = hn::Zero(d);
    const auto step = [OZU_STEP_CAPTURE](const S* const* p, D* const* q, size_t x) OZU_INLINE_LAMBDA {
        const VI32 a = LoadI32(p[0] + x);
        const VI32 b = hn::Sub(LoadI32(p[1] + x), in);
        const VI32 c = hn::Sub(LoadI32(p[2] + x), in);
        StoreLow(Channel<kScale>(k00, k01, k02, a, b, c, scale, zero, top), q[0] + x);
        StoreLow(Channel<kScale>(k10, k11, k12, a, b, c, scale, out, top), q[1] + x);
        StoreLow(Channel<kScale>(k20, k21, k22, a, b, c, scale, out, top), q[2] + x);
    };
    WalkLine<kLanes>(src, dst, width, hn::Lanes(DI32()), step);
}

// Whether the byte-line form below computes exactly what TransformLine does:
// equal ranges (no range change), coefficients and offsets that fit 16 bits,
// and a destination range within the destination type, so that the clamped
// results need no low-bit truncation.
template <class D>
HWY_INLINE bool BytesFit(const int32_t (*m)[3], int32_t dstMax, int32_t factor, int32_t inOffset,
                         int32_t outOffset) {
    if (factor != kFixOne || dstMax > std::numeric_limits<D>::max()) return false;
    if (inOffset < -255 || inOffset > 255 || outOffset < -255 || outOffset > 255) return false;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            if (m[i][j] < -32767 || m[i][j] > 32767) return false;
    return true;
}

// TransformLine for byte lines, twice as many pixels per vector: the
// channels are widened to 16 bits only, and each product pair
// m0 a + m1 b (then m2 c + 0) is one widening multiply-add of 16-bit lanes
// into 32-bit sums. With |a|, |b|, |c| <= 255 and 16-bit coefficients the
// products and sums are exact, so they equal the wrap-around ones; after the
// shift every result fits 16 bits and is offset, clamped and narrowed
// there. The multiply-add pairs adjacent lanes, so the channels are
// paired up first (PairUp), and the narrowing of the two halves undoes the
// pairing.
template <class S, class D>
HWY_INLINE void TransformBytes(const S* const src[3], D* const dst[3], int32_t width,
                               int32_t dstMax, const int32_t (*m)[3], int32_t inOffset,
                               int32_t outOffset) {
    const D16 d16;
    const hn::Rebind<S, D16> ds;
    const hn::Rebind<D, D16> dd;
    constexpr size_t kLanes = hn::MaxLanes(D16());
    const VI16 ab0 = CoefficientPair(m[0][0], m[0][1]), c0 = CoefficientPair(m[0][2], 0);
    const VI16 ab1 = CoefficientPair(m[1][0], m[1][1]), c1 = CoefficientPair(m[1][2], 0);
    const VI16 ab2 = CoefficientPair(m[2][0], m[2][1]), c2 = CoefficientPair(m[2][2], 0);
    const VI16 in = hn::Set(d16, static_cast<int16_t>(inOffset));
    const VI16 out = hn::Set(d16, static_cast<int16_t>(outOffset));
    const VI16 top = hn::Set(d16, static_cast<int16_t>(dstMax));
    const VI16 zero = hn::Zero(d16);
    const auto step = [OZU_STEP_CAPTURE](const S* const* p, D* const* q, size_t x) OZU_INLINE_LAMBDA {
        const VI16 a = hn::PromoteTo(d16, hn::LoadU(ds, p[0] + x));
        const VI16 b = hn::Sub(hn::PromoteTo(d16, hn::LoadU(ds, p[1] + x)), in);
        const VI16 c = hn::Sub(hn::PromoteTo(d16, hn::LoadU(ds, p[2] + x)), in);
        VI16 abLo, abHi, cLo, cHi;
        PairUp(a, b, abLo, abHi);
        PairUp(c, zero, cLo, cHi);
        const auto channel = [&](VI16 kab, VI16 kc, VI16 offset, D* o) OZU_INLINE_LAMBDA {
            const VI16 t = hn::ReorderDemote2To(d16, PairSums(abLo, cLo, kab, kc),
                                                PairSums(abHi, cHi, kab, kc));
            hn::StoreU(hn::DemoteTo(dd, hn::Min(hn::Max(hn::Add(t, offset), zero), top)), dd,
                       o + x);
        };
        channel(ab0, c0, zero, q[0]);
        channel(ab1, c1, out, q[1]);
        channel(ab2, c2, out, q[2]);
    };
    WalkLine<kLanes>(src, dst, width, hn::Lanes(d16), step);
}

template <class S, class D>
HWY_INLINE void Transform(const S* const src[3], D* const dst[3], int32_t width, int32_t dstMax,
                          const int32_t (*m)[3], int32_t factor, int32_t inOffset,
                          int32_t outOffset) {
    if constexpr (sizeof(S) == 1 && sizeof(D) == 1) {
        if (BytesFit<D>(m, dstMax, factor, inOffset, outOffset)) {
            TransformBytes(src, dst, width, dstMax, m, inOffset, outOffset);
            return;
        }
    }
    if (factor == kFixOne)
        TransformLine<false>(src, dst, width, dstMax, m, factor, inOffset, outOffset);
    else
        TransformLine<true>(src, dst, width, dstMax, m, factor, inOffset, outOffset);
}

}  // namespace matrix_simd

// A negative destination range, which no caller passes, would make the clamp
// differ from min/max: such a call runs the scalar kernel.
template <class S, class D>
bool Sub3x3MatMult(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                   int32_t dstMax, const int32_t (*m)[3]) {
    if (dstMax < 0) return scalar::sub3x3MatMult<S, D>(src, dst, width, srcMax, dstMax, m);
    matrix_simd::Transform(src, dst, width, dstMax, m, range_factor(srcMax, dstMax), 0, 0);
    return true;
}

template <class S, class D>
bool SubRGB2YUV_YIQ_YCrCb(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                          int32_t dstMax, const int32_t (*m)[3]) {
    if (dstMax < 0) return scalar::subRGB2YUV_YIQ_YCrCb<S, D>(src, dst, width, srcMax, dstMax, m);
    matrix_simd::Transform(src, dst, width, dstMax, m, range_factor(srcMax, dstMax), 0, 128);
    return true;
}

template <class S, class D>
bool SubYUV_YIQ_YCrCb2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                          int32_t dstMax, const int32_t (*m)[3]) {
    if (dstMax < 0) return scalar::subYUV_YIQ_YCrCb2RGB<S, D>(src, dst, width, srcMax, dstMax, m);
    const int32_t offset = srcMax == 255 ? 128 : (srcMax == 65535 ? 32768 : 0);
    matrix_simd::Transform(src, dst, width, dstMax, m, range_factor(srcMax, dstMax), offset, 0);
    return true;
}

}  // namespace HWY_NAMESPACE
}  // namespace ozu
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
