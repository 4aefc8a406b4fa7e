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

template <class S, class D>
HWY_INLINE void Transform(const S* const src[3], D* const dst[3], int32_t width, int32_t dstMax,
                          const int32_t (*m)[3], int32_t factor, int32_t inOffset,
                          int32_t outOffset) {
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
