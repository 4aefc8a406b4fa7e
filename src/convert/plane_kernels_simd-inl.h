// Vector versions of subInvert and subReNormalize, compiled once per target
// by plane_kernels.cpp (see frame/cpu_target.h). Like the scalar kernels
// they work plane after plane; every result keeps its low bits.
#if defined(OZU_CONVERT_PLANE_KERNELS_SIMD_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef OZU_CONVERT_PLANE_KERNELS_SIMD_INL_H_
#undef OZU_CONVERT_PLANE_KERNELS_SIMD_INL_H_
#else
#define OZU_CONVERT_PLANE_KERNELS_SIMD_INL_H_
#endif

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "convert/plane_kernels.h"
#include "frame/fixed_point.h"
#include "frame/simd_lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace ozu {
namespace HWY_NAMESPACE {
namespace plane_simd {

// One plane through op(v) on 32-bit lanes, stored by its low bits.
template <class S, class D, class Op>
HWY_INLINE void MapPlane(const S* in, D* out, int32_t width, const Op& op) {
    constexpr size_t kLanes = hn::MaxLanes(DI32());
    const S* const src[3] = {in, nullptr, nullptr};
    D* const dst[3] = {out, nullptr, nullptr};
    const auto step = [OZU_STEP_CAPTURE](const S* const* p, D* const* q, size_t x)
                          OZU_INLINE_LAMBDA { StoreLow(op(LoadI32(p[0] + x)), q[0] + x); };
    WalkLine<kLanes>(src, dst, width, hn::Lanes(DI32()), step);
}

// c - v between elements of one size, in lanes of that size: the low bits
// of a difference depend only on the low bits of its terms, so this is
// store<D>(wsub(c, load(v))) without widening. For bytes with c = 255 it is
// the bitwise complement.
template <class S, class D>
HWY_INLINE void MirrorPlane(const S* in, D* out, int32_t width, int32_t c) {
    static_assert(sizeof(S) == sizeof(D));
    using U = std::make_unsigned_t<S>;
    // Vectors of 32 bytes at most (fewer where the processor's SVE vectors
    // are shorter): the work is all loads and stores, which
    // wider vectors do not speed up, and some processors split them in two.
    constexpr size_t kLanes = hn::MaxLanes(hn::CappedTag<U, 32 / sizeof(U)>());
    const hn::CappedTag<U, kLanes> du;
    const hn::CappedTag<S, kLanes> ds;
    const hn::CappedTag<D, kLanes> dd;
    // Four vectors a step: one load, one subtraction and one store each leave
    // the loop's own counting a large share of the work on narrow vectors.
    constexpr size_t kUnroll = 4;
    const auto k = hn::Set(du, static_cast<U>(static_cast<uint32_t>(c)));
    const S* const src[3] = {in, nullptr, nullptr};
    D* const dst[3] = {out, nullptr, nullptr};
    const size_t lanes = hn::Lanes(du);
    const auto step = [OZU_STEP_CAPTURE](const S* const* p, D* const* q, size_t x) OZU_INLINE_LAMBDA {
        for (size_t u = 0; u < kUnroll; ++u) {
            const auto v = hn::BitCast(du, hn::LoadU(ds, p[0] + x + u * lanes));
            hn::StoreU(hn::BitCast(dd, hn::Sub(k, v)), dd, q[0] + x + u * lanes);
        }
    };
    WalkLine<kUnroll * kLanes>(src, dst, width, kUnroll * lanes, step);
}

// The range adaptation of one plane.
template <class S, class D>
HWY_INLINE void RescalePlane(const S* in, D* out, int32_t width, int32_t factor) {
    if (sizeof(S) == sizeof(D) && sizeof(S) <= 2 && factor == kFixOne) {
        // (v x 8192) >> 13 = v for |v| < 2^18, and elements of one size keep
        // their bit pattern: a copy. In place there is nothing to do.
        if (width > 0 && static_cast<const void*>(in) != static_cast<const void*>(out))
            std::memmove(out, in, static_cast<size_t>(width) * sizeof(D));
        return;
    }
    const VI32 scale = hn::Set(DI32(), factor);
    MapPlane(in, out, width,
             [OZU_STEP_CAPTURE](VI32 v) OZU_INLINE_LAMBDA { return hn::ShiftRight<kFixBits>(hn::Mul(v, scale)); });
}

}  // namespace plane_simd

template <class S, class D>
bool SubInvert(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
               int32_t dstMax) {
    if (srcMax == dstMax) {
        for (int plane = 0; plane < 3; ++plane) {
            if constexpr (sizeof(S) == sizeof(D) && sizeof(S) <= 2) {
                plane_simd::MirrorPlane(src[plane], dst[plane], width, srcMax);
            } else {
                const VI32 top = hn::Set(DI32(), srcMax);
                plane_simd::MapPlane(src[plane], dst[plane], width,
                                     [OZU_STEP_CAPTURE](VI32 v) OZU_INLINE_LAMBDA { return hn::Sub(top, v); });
            }
        }
    } else {
        const VI32 scale = hn::Set(DI32(), range_factor(srcMax, dstMax));
        const VI32 top = hn::Set(DI32(), dstMax);
        for (int plane = 0; plane < 3; ++plane)
            plane_simd::MapPlane(src[plane], dst[plane], width, [OZU_STEP_CAPTURE](VI32 v) OZU_INLINE_LAMBDA {
                return hn::ShiftRight<kFixBits>(hn::Sub(top, hn::Mul(v, scale)));
            });
    }
    return true;
}

template <class S, class D>
bool SubReNormalize(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                    int32_t dstMax) {
    const int32_t factor = range_factor(srcMax, dstMax);
    plane_simd::RescalePlane(src[0], dst[0], width, factor);
    for (int plane = 1; plane < 3; ++plane)
        if (dst[plane] != nullptr && src[plane] != nullptr)
            plane_simd::RescalePlane(src[plane], dst[plane], width, factor);
    return true;
}

}  // namespace HWY_NAMESPACE
}  // namespace ozu
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
