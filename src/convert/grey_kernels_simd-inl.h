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

#if HWY_TARGET == HWY_SSE4 || HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_AVX3
// The x86 byte packs of two vectors of 16-bit lanes, per 128-bit block.
HWY_INLINE __m128i PackBytes(hn::Vec128<int16_t> a, hn::Vec128<int16_t> b) {
    return _mm_packus_epi16(a.raw, b.raw);
}
#if HWY_TARGET != HWY_SSE4
HWY_INLINE __m256i PackBytes(hn::Vec256<int16_t> a, hn::Vec256<int16_t> b) {
    return _mm256_packus_epi16(a.raw, b.raw);
}
#endif
#if HWY_TARGET == HWY_AVX3
HWY_INLINE __m512i PackBytes(hn::Vec512<int16_t> a, hn::Vec512<int16_t> b) {
    return _mm512_packus_epi16(a.raw, b.raw);
}
#endif

// GreyLine of byte pixels without a range change, a vector of bytes a step:
// the R and G weights go on in one multiply-add of 16-bit pairs (R, G), the
// B weight in one of pairs (B, 0), each pair summed into 32 bits. That is
// the sum of the 32-bit lanes exactly (bytes and weights are far inside the
// signed 16-bit range of the factors), in about two thirds of their
// operations. Each 128-bit block's unpacks put its pixels in another order,
// and the packs put them back; the greys (at most 254) pack unchanged.
HWY_INLINE void GreyBytesLine(const uint8_t* const src[3], uint8_t* const dst[3], int32_t width) {
    const hn::ScalableTag<uint8_t> d8;
    const hn::ScalableTag<int16_t> d16;
    const DI32 d32;
    constexpr size_t kBytes = hn::MaxLanes(d8);
    const uint8_t* const in[3] = {src[0], src[1], src[2]};
    uint8_t* const out[3] = {dst[0], nullptr, nullptr};
    const auto weightsRG = hn::BitCast(d16, hn::Set(d32, (kGreyWeightG << 16) | kGreyWeightR));
    const auto weightB = hn::BitCast(d16, hn::Set(d32, kGreyWeightB));
    const auto step = [=](const uint8_t* const* p, uint8_t* const* q, size_t x) OZU_INLINE_LAMBDA {
        const auto zero = hn::Zero(d8);
        const auto r = hn::LoadU(d8, p[0] + x), g = hn::LoadU(d8, p[1] + x);
        const auto b = hn::LoadU(d8, p[2] + x);
        // Per block, its first half of pixels in the low unpacks, the second
        // in the high ones.
        const auto rgLow = hn::InterleaveLower(d8, r, g), rgHigh = hn::InterleaveUpper(d8, r, g);
        const auto bLow = hn::BitCast(d16, hn::InterleaveLower(d8, b, zero));
        const auto bHigh = hn::BitCast(d16, hn::InterleaveUpper(d8, b, zero));
        const auto grey = [&](auto rgPairs, auto bWords, auto interleave) OZU_INLINE_LAMBDA {
            // On x86 the pairs' sums all go into the first sum; the second
            // is left as it is.
            VI32 none = hn::Zero(d32);
            const VI32 rg = hn::ReorderWidenMulAccumulate(
                d32, hn::BitCast(d16, interleave(d8, rgPairs, zero)), weightsRG, hn::Zero(d32),
                none);
            const VI32 sum = hn::ReorderWidenMulAccumulate(
                d32, interleave(d16, bWords, hn::Zero(d16)), weightB, rg, none);
            return hn::ShiftRight<kFixBits>(sum);
        };
        const auto lower = [](auto d, auto a, auto z) { return hn::InterleaveLower(d, a, z); };
        const auto upper = [](auto d, auto a, auto z) { return hn::InterleaveUpper(d, a, z); };
        const auto low = hn::ReorderDemote2To(d16, grey(rgLow, bLow, lower), grey(rgLow, bLow, upper));
        const auto high =
            hn::ReorderDemote2To(d16, grey(rgHigh, bHigh, lower), grey(rgHigh, bHigh, upper));
        hn::StoreU(hn::Vec<decltype(d8)>{PackBytes(low, high)}, d8, q[0] + x);
    };
    WalkLine<kBytes>(in, out, width, hn::Lanes(d8), step);
}
#endif

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
#if HWY_TARGET == HWY_SSE4 || HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_AVX3
    if constexpr (std::is_same_v<S, uint8_t> && std::is_same_v<D, uint8_t>) {
        if (factor == kFixOne) {
            grey_simd::GreyBytesLine(src, dst, width);
            return true;
        }
    }
#endif
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
