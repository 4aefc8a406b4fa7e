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

// The body of the three kernels (see matrix_detail::transform_line). With
// kScale false the range change is left out: it is then the factor 8192 of
// equal ranges, and (t x 8192) >> 13 gives t back for every t = sum >> 13
// (|t| < 2^18, so the product stays within 32 bits).
template <bool kScale, class S, class D>
HWY_INLINE void TransformLine(const S* const src[3], D* const dst[3], int32_t width,
                              int32_t dstMax, const int32_t (*m)[3], int32_t factor,
                              int32_t inOffset, int32_t outOffset) {
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
    // One output channel; the clamp to 0..dstMax is the scalar one as long
    // as dstMax >= 0, which the caller ensures.
    const auto channel = [=](VI32 c0, VI32 c1, VI32 c2, VI32 a, VI32 b, VI32 c, VI32 offset) OZU_INLINE_LAMBDA {
        VI32 t = hn::ShiftRight<kFixBits>(hn::Add(hn::Add(hn::Mul(c0, a), hn::Mul(c1, b)), hn::Mul(c2, c)));
        if constexpr (kScale) t = hn::ShiftRight<kFixBits>(hn::Mul(t, scale));
        return hn::Min(hn::Max(hn::Add(t, offset), zero), top);
    };
    WalkLine<kLanes>(src, dst, width, [=](const S* const* p, D* const* q, size_t x) OZU_INLINE_LAMBDA {
        const VI32 a = LoadI32(p[0] + x);
        const VI32 b = hn::Sub(LoadI32(p[1] + x), in);
        const VI32 c = hn::Sub(LoadI32(p[2] + x), in);
        const VI32 r0 = channel(k00, k01, k02, a, b, c, zero);
        const VI32 r1 = channel(k10, k11, k12, a, b, c, out);
        const VI32 r2 = channel(k20, k21, k22, a, b, c, out);
        StoreLow(r0, q[0] + x);
        StoreLow(r1, q[1] + x);
        StoreLow(r2, q[2] + x);
    });
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
// interleaved first, and the narrowing of the two halves undoes the
// interleaving (both work within 128-bit blocks).
template <class S, class D>
HWY_INLINE void TransformBytes(const S* const src[3], D* const dst[3], int32_t width,
                               int32_t dstMax, const int32_t (*m)[3], int32_t inOffset,
                               int32_t outOffset) {
    using D16 = hn::ScalableTag<int16_t>;
    const D16 d16;
    const hn::Repartition<int32_t, D16> d32;
    const hn::Rebind<S, D16> ds;
    const hn::Rebind<D, D16> dd;
    constexpr size_t kLanes = hn::MaxLanes(D16());
    // (lo, hi) in the even and odd 16-bit lanes of each 32-bit lane.
    const auto pair = [&](int32_t lo, int32_t hi) {
        const uint32_t bits = uint32_t{static_cast<uint16_t>(lo)} | (uint32_t{static_cast<uint16_t>(hi)} << 16);
        return hn::BitCast(d16, hn::Set(d32, static_cast<int32_t>(bits)));
    };
    const auto ab0 = pair(m[0][0], m[0][1]), c0 = pair(m[0][2], 0);
    const auto ab1 = pair(m[1][0], m[1][1]), c1 = pair(m[1][2], 0);
    const auto ab2 = pair(m[2][0], m[2][1]), c2 = pair(m[2][2], 0);
    const auto in = hn::Set(d16, static_cast<int16_t>(inOffset));
    const auto out = hn::Set(d16, static_cast<int16_t>(outOffset));
    const auto top = hn::Set(d16, static_cast<int16_t>(dstMax));
    const auto zero = hn::Zero(d16);
    const auto channel = [=](decltype(zero) ab, decltype(zero) cz, decltype(zero) kab,
                             decltype(zero) kc, decltype(hn::Zero(d32))& sum) OZU_INLINE_LAMBDA {
        decltype(hn::Zero(d32)) unused = hn::Zero(d32);
        sum = hn::ReorderWidenMulAccumulate(d32, ab, kab, hn::Zero(d32), unused);
        sum = hn::ReorderWidenMulAccumulate(d32, cz, kc, sum, unused);
        sum = hn::ShiftRight<kFixBits>(sum);
    };
    WalkLine<kLanes>(src, dst, width, [=](const S* const* p, D* const* q, size_t x) OZU_INLINE_LAMBDA {
        const auto a = hn::PromoteTo(d16, hn::LoadU(ds, p[0] + x));
        const auto b = hn::Sub(hn::PromoteTo(d16, hn::LoadU(ds, p[1] + x)), in);
        const auto c = hn::Sub(hn::PromoteTo(d16, hn::LoadU(ds, p[2] + x)), in);
        const auto abLo = hn::InterleaveLower(d16, a, b), abHi = hn::InterleaveUpper(d16, a, b);
        const auto cLo = hn::InterleaveLower(d16, c, zero), cHi = hn::InterleaveUpper(d16, c, zero);
        const auto row = [&](decltype(zero) kab, decltype(zero) kc, decltype(zero) offset, D* o) {
            auto lo = hn::Zero(d32), hi = hn::Zero(d32);
            channel(abLo, cLo, kab, kc, lo);
            channel(abHi, cHi, kab, kc, hi);
            const auto t = hn::Min(hn::Max(hn::Add(hn::ReorderDemote2To(d16, lo, hi), offset), zero), top);
            hn::StoreU(hn::DemoteTo(dd, t), dd, o + x);
        };
        row(ab0, c0, zero, q[0]);
        row(ab1, c1, out, q[1]);
        row(ab2, c2, out, q[2]);
    });
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
