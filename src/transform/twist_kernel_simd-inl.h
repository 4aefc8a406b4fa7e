// The twist line kernel on vectors of 32-bit lanes, compiled once per target
// by twist_kernel_simd.cpp (see frame/cpu_target.h). Lane by lane it takes
// the scalar kernel's steps: products and sums wrap in 32 bits as wmul and
// wadd do, the shifts are arithmetic, the clamp is the scalar one (dstMax is
// the positive range of D). Lines whose ranges are not those of the types,
// and lines whose planes overlap at an offset, run the scalar kernel.
#if defined(OZU_TRANSFORM_TWIST_KERNEL_SIMD_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef OZU_TRANSFORM_TWIST_KERNEL_SIMD_INL_H_
#undef OZU_TRANSFORM_TWIST_KERNEL_SIMD_INL_H_
#else
#define OZU_TRANSFORM_TWIST_KERNEL_SIMD_INL_H_
#endif

#include <cstdint>

#include "frame/fixed_point.h"
#include "frame/pixel_types.h"
#include "frame/simd_lanes-inl.h"
#include "transform/twist_kernel.h"
#include "transform/twist_kernel_simd.h"

HWY_BEFORE_NAMESPACE();
namespace ozu {
namespace HWY_NAMESPACE {

template <class S, class D>
bool TwistLineSimd(const S* const* srcPlanes, D* const* dstPlanes, int32_t count, int32_t srcMax,
                   int32_t dstMax, const int32_t* m) {
    const void* const srcAt[3] = {srcPlanes[0], srcPlanes[1], srcPlanes[2]};
    const void* const dstAt[3] = {dstPlanes[0], dstPlanes[1], dstPlanes[2]};
    if (srcMax != pixel_max<S> || dstMax != pixel_max<D> ||
        !twist_planes_apart(srcAt, sizeof(S), dstAt, sizeof(D), count))
        return sub4x4MatMult<S, D>(srcPlanes, dstPlanes, count, srcMax, dstMax, m);
    constexpr int32_t kScale = range_factor(pixel_max<S>, pixel_max<D>);
    const DI32 d;
    constexpr size_t kLanes = hn::MaxLanes(DI32());
    VI32 w[3][3];
    VI32 offset[3];
    for (int i = 0; i < 3; ++i) {
        for (int k = 0; k < 3; ++k) w[i][k] = hn::Set(d, m[4 * k + i]);
        offset[i] = hn::Set(d, wshl(m[12 + i], kFixBits));
    }
    const VI32 scale = hn::Set(d, kScale);
    const VI32 top = hn::Set(d, pixel_max<D>);
    const VI32 zero = hn::Zero(d);
    const S* const src[3] = {srcPlanes[0], srcPlanes[1], srcPlanes[2]};
    D* const dst[3] = {dstPlanes[0], dstPlanes[1], dstPlanes[2]};
    WalkLine<kLanes>(src, dst, count, [&](const S* const* p, D* const* q, size_t x) {
        const VI32 a = LoadI32(p[0] + x);
        const VI32 b = LoadI32(p[1] + x);
        const VI32 c = LoadI32(p[2] + x);
        VI32 v[3];
        for (int i = 0; i < 3; ++i) {
            const VI32 sum = hn::Add(hn::Add(hn::Mul(a, w[i][0]), hn::Mul(b, w[i][1])),
                                     hn::Add(hn::Mul(c, w[i][2]), offset[i]));
            VI32 t = hn::ShiftRight<kFixBits>(sum);
            // Equal ranges: t x 8192 >> 13 gives t back (|t| < 2^18).
            if constexpr (kScale != kFixOne) t = hn::ShiftRight<kFixBits>(hn::Mul(t, scale));
            v[i] = hn::Min(hn::Max(t, zero), top);
        }
        // All three planes are read before any is written.
        for (int i = 0; i < 3; ++i) StoreLow(v[i], q[i] + x);
    });
    return true;
}

}  // namespace HWY_NAMESPACE
}  // namespace ozu
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
