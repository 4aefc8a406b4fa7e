// Vector versions of the grey line kernels, compiled once per target by
// grey_kernels.cpp (see frame/cpu_target.h): the sums and products of the
// scalar kernels in 32-bit lanes with the same wrap-around, shifts and
// low-bit stores.
#if defined(OZU_CONVERT_GREY_KERNELS_SIMD_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef OZU_CONVERT_GREY_KERNELS_SIMD_INL_H_
#undef OZU_CONVERT_GREY_KERNELS_SIMD_INL_H_
#else
#define OZU_CONVERT_GREY_KERNELS_SIMD_INL_H_
#endif

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "convert/grey_kernels.h"
#include "frame/fixed_point.h"
#include "frame/simd_lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace ozu {
namespace HWY_NAMESPACE {
namespace grey_simd {

// grey = (2449 R + 4808 G + 933 B) >> 13, then with kScale the range change
// (grey x factor) >> 13, into plane 0.
template <bool kScale, class S, class D>
HWY_INLINE void GreyLine(const S* const src[3], D* const dst[3], int32_t width, int32_t factor) {
    const DI32 d;
    constexpr size_t kLanes = hn::MaxLanes(DI32());
    const VI32 wr = hn::Set(d, kGreyWeightR);
    const VI32 wg = hn::Set(d, kGreyWeightG);
    const VI32 wb = hn::Set(d, kGreyWeightB);
    const VI32 scale = hn::Set(d, factor);
    const S* const in[3] = {src[0], src[1], src[2]};
    D* const out[3] = {dst[0], nullptr, nullptr};
    const auto step = [OZU_STEP_CAPTURE](const S* const* p, D* const* q, size_t x) OZU_INLINE_LAMBDA {
        const VI32 sum =
            hn::Add(hn::Add(hn::Mul(wr, LoadI32(p[0] + x)), hn::Mul(wg, LoadI32(p[1] + x))),
                    hn::Mul(wb, LoadI32(p[2] + x)));
        VI32 grey = hn::ShiftRight<kFixBits>(sum);
        if constexpr (kScale) grey = hn::ShiftRight<kFixBits>(hn::Mul(grey, scale));
        StoreLow(grey, q[0] + x);
    };
    WalkLine<kLanes>(in, out, width, hn::Lanes(DI32()), step);
}

// GreyLine of byte pixels without a range change, twice as many pixels a
// vector: the channels are widened to 16 bits only, and the R and G weights
// go on in one widening multiply-add of (R, G) pairs, the B weight in one of
// (B, 0) pairs (PairSums). Bytes and weights below 2^13 give exact products
// and sums, the 32-bit ones of GreyLine; the greys (at most 254) narrow
// back unchanged.
HWY_INLINE void GreyBytesLine(const uint8_t* const src[3], uint8_t* const dst[3], int32_t width) {
    const D16 d16;
    const hn::Rebind<uint8_t, D16> d8;
    constexpr size_t kLanes = hn::MaxLanes(D16());
    const uint8_t* const in[3] = {src[0], src[1], src[2]};
    uint8_t* const out[3] = {dst[0], nullptr, nullptr};
    const VI16 weightsRG = CoefficientPair(kGreyWeightR, kGreyWeightG);
    const VI16 weightB = CoefficientPair(kGreyWeightB, 0);
    const VI16 zero = hn::Zero(d16);
    const auto step = [OZU_STEP_CAPTURE](const uint8_t* const* p, uint8_t* const* q,
                                         size_t x) OZU_INLINE_LAMBDA {
        const VI16 r = hn::PromoteTo(d16, hn::LoadU(d8, p[0] + x));
        const VI16 g = hn::PromoteTo(d16, hn::LoadU(d8, p[1] + x));
        const VI16 b = hn::PromoteTo(d16, hn::LoadU(d8, p[2] + x));
        VI16 rgLo, rgHi, bLo, bHi;
        PairUp(r, g, rgLo, rgHi);
        PairUp(b, zero, bLo, bHi);
        const VI16 grey = hn::ReorderDemote2To(d16, PairSums(rgLo, bLo, weightsRG, weightB),
                                               PairSums(rgHi, bHi, weightsRG, weightB));
        hn::StoreU(hn::DemoteTo(d8, grey), d8, q[0] + x);
    };
    WalkLine<kLanes>(in, out, width, hn::Lanes(d16), step);
}

// Plane 0 into all three planes, rescaled with kScale.
template <bool kScale, class S, class D>
HWY_INLINE void SpreadLine(const S* const src[3], D* const dst[3], int32_t width, int32_t factor) {
    constexpr size_t kLanes = hn::MaxLanes(DI32());
    const VI32 scale = hn::Set(DI32(), factor);
    const S* const in[3] = {src[0], nullptr, nullptr};
    const auto step = [OZU_STEP_CAPTURE](const S* const* p, D* const* q, size_t x) OZU_INLINE_LAMBDA {
        VI32 v = LoadI32(p[0] + x);
        if constexpr (kScale) v = hn::ShiftRight<kFixBits>(hn::Mul(v, scale));
        StoreLow(v, q[0] + x);
        StoreLow(v, q[1] + x);
        StoreLow(v, q[2] + x);
    };
    WalkLine<kLanes>(in, dst, width, hn::Lanes(DI32()), step);
}

}  // namespace grey_simd

template <class S, class D>
bool SubRGB2Gray(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                 int32_t dstMax) {
    // (t x 8192) >> 13 gives every t = sum >> 13 back: a factor of 8192
    // between unequal ranges needs no multiply either.
    const int32_t factor = srcMax == dstMax ? kFixOne : range_factor(srcMax, dstMax);
    if constexpr (std::is_same_v<S, uint8_t> && std::is_same_v<D, uint8_t>) {
        if (factor == kFixOne) {
            grey_simd::GreyBytesLine(src, dst, width);
            return true;
        }
    }
    if (factor == kFixOne)
        grey_simd::GreyLine<false>(src, dst, width, factor);
    else
        grey_simd::GreyLine<true>(src, dst, width, factor);
    return true;
}

template <class S, class D>
bool SubGray2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                 int32_t dstMax) {
    if (srcMax == dstMax && std::is_same_v<S, D>) {
        // A copy of plane 0 into each plane; in place, plane 0 stays as it is.
        if (width <= 0) return true;
        for (int plane = 0; plane < 3; ++plane)
            if (static_cast<const void*>(dst[plane]) != static_cast<const void*>(src[0]))
                std::memmove(dst[plane], src[0], static_cast<size_t>(width) * sizeof(D));
    } else if (srcMax == dstMax) {
        grey_simd::SpreadLine<false>(src, dst, width, kFixOne);
    } else {
        grey_simd::SpreadLine<true>(src, dst, width, range_factor(srcMax, dstMax));
    }
    return true;
}

}  // namespace HWY_NAMESPACE
}  // namespace ozu
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
