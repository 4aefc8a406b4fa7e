// The twist line kernel in Highway, compiled once per target by
// twist_kernel_simd.cpp for 64-bit ARM (NEON, SVE, SVE2). It forms every
// product in 32-bit lanes, the scalar kernel's arithmetic lane for lane:
// products and sums wrapping modulo 2^32, arithmetic shifts, the clamp to
// 0..dstMax. x86-64 keeps its hand-written versions (twist_kernel_avx2.cpp,
// twist_kernel_sse4.cpp), whose 16-bit pair products are faster there than
// these 32-bit ones; ARM has no pair product of that shape to gain from.
#if defined(OZU_TRANSFORM_TWIST_KERNEL_SIMD_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef OZU_TRANSFORM_TWIST_KERNEL_SIMD_INL_H_
#undef OZU_TRANSFORM_TWIST_KERNEL_SIMD_INL_H_
#else
#define OZU_TRANSFORM_TWIST_KERNEL_SIMD_INL_H_
#endif

#include <cstdint>

#include "frame/fixed_point.h"
#include "frame/simd_lanes-inl.h"
#include "transform/twist_kernel.h"
#include "transform/twist_kernel_simd.h"

HWY_BEFORE_NAMESPACE();
namespace ozu {
namespace HWY_NAMESPACE {

#if HWY_ARCH_ARM_A64

template <class S, class D>
bool TwistLine(const S* const* srcPlanes, D* const* dstPlanes, int32_t count, int32_t srcMax,
               int32_t dstMax, const int32_t* matrix) {
    // Planes that overlap at an offset would see the order of reads and
    // writes; those lines keep the scalar kernel's pixel-by-pixel order.
    const void* const srcAt[3] = {srcPlanes[0], srcPlanes[1], srcPlanes[2]};
    const void* const dstAt[3] = {dstPlanes[0], dstPlanes[1], dstPlanes[2]};
    if (!twist_planes_apart(srcAt, sizeof(S), dstAt, sizeof(D), count))
        return sub4x4MatMult<S, D>(srcPlanes, dstPlanes, count, srcMax, dstMax, matrix);

    const DI32 d;
    constexpr size_t kLanes = hn::MaxLanes(DI32());
    // Sizeless SVE vectors cannot be array elements: one name each.
    const VI32 w00 = hn::Set(d, matrix[0]), w01 = hn::Set(d, matrix[1]),
               w02 = hn::Set(d, matrix[2]);
    const VI32 w10 = hn::Set(d, matrix[4]), w11 = hn::Set(d, matrix[5]),
               w12 = hn::Set(d, matrix[6]);
    const VI32 w20 = hn::Set(d, matrix[8]), w21 = hn::Set(d, matrix[9]),
               w22 = hn::Set(d, matrix[10]);
    const VI32 c0 = hn::Set(d, wshl(matrix[12], kFixBits));
    const VI32 c1 = hn::Set(d, wshl(matrix[13], kFixBits));
    const VI32 c2 = hn::Set(d, wshl(matrix[14], kFixBits));
    const VI32 scale = hn::Set(d, range_factor(srcMax, dstMax));
    const VI32 zero = hn::Zero(d);
    const VI32 top = hn::Set(d, dstMax);
    const S* const in[3] = {srcPlanes[0], srcPlanes[1], srcPlanes[2]};
    D* const out[3] = {dstPlanes[0], dstPlanes[1], dstPlanes[2]};
    const auto step = [OZU_STEP_CAPTURE](const S* const* p, D* const* q,
                                         size_t x) OZU_INLINE_LAMBDA {
        const VI32 a0 = LoadI32(p[0] + x);
        const VI32 a1 = LoadI32(p[1] + x);
        const VI32 a2 = LoadI32(p[2] + x);
        const auto plane = [&](VI32 wa, VI32 wb, VI32 wc, VI32 c) OZU_INLINE_LAMBDA {
            const VI32 sum =
                hn::Add(hn::Add(hn::Add(hn::Mul(a0, wa), hn::Mul(a1, wb)), hn::Mul(a2, wc)), c);
            const VI32 v = hn::ShiftRight<kFixBits>(hn::Mul(hn::ShiftRight<kFixBits>(sum), scale));
            return hn::Min(hn::Max(v, zero), top);
        };
        StoreLow(plane(w00, w10, w20, c0), q[0] + x);
        StoreLow(plane(w01, w11, w21, c1), q[1] + x);
        StoreLow(plane(w02, w12, w22, c2), q[2] + x);
    };
    WalkLine<kLanes>(in, out, count, hn::Lanes(d), step);
    return true;
}

#endif  // HWY_ARCH_ARM_A64

}  // namespace HWY_NAMESPACE
}  // namespace ozu
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
