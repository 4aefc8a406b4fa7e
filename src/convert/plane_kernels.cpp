// The per-plane line kernels: the scalar references, the vector versions of
// subInvert and subReNormalize for every compiled target, and the entries
// that run the active target's version.
#define HWY_TARGET_INCLUDE "convert/plane_kernels.cpp"
#include "frame/simd_targets.h"  // compiles this file once per target

#if OZU_SIMD_PASS
#include "convert/plane_kernels_simd-inl.h"
#endif

#if HWY_ONCE
#include "convert/plane_kernels.h"
#include "frame/fixed_point.h"

namespace ozu {

namespace scalar {
namespace {

template <class S, class D>
void rescale_plane(const S* in, D* out, int32_t width, int32_t factor) {
    for (int32_t x = 0; x < width; ++x) out[x] = store<D>(unfix(wmul(load(in[x]), factor)));
}

}  // namespace

template <class S, class D>
bool subInvert(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
               int32_t dstMax) {
    if (srcMax == dstMax) {
        for (int plane = 0; plane < 3; ++plane) {
            const S* const in = src[plane];
            D* const out = dst[plane];
            for (int32_t x = 0; x < width; ++x) out[x] = store<D>(wsub(srcMax, load(in[x])));
        }
    } else {
        const int32_t factor = range_factor(srcMax, dstMax);
        for (int plane = 0; plane < 3; ++plane) {
            const S* const in = src[plane];
            D* const out = dst[plane];
            for (int32_t x = 0; x < width; ++x)
                out[x] = store<D>(unfix(wsub(dstMax, wmul(load(in[x]), factor))));
        }
    }
    return true;
}

template <class S, class D>
bool subReNormalize(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                    int32_t dstMax) {
    const int32_t factor = range_factor(srcMax, dstMax);
    rescale_plane(src[0], dst[0], width, factor);
    for (int plane = 1; plane < 3; ++plane) {
        if (dst[plane] != nullptr && src[plane] != nullptr)
            rescale_plane(src[plane], dst[plane], width, factor);
    }
    return true;
}

}  // namespace scalar

template <class S, class D>
bool subNoOp(const S* const[3], D* const[3], int32_t, int32_t, int32_t) {
    return true;
}

template <class S, class D>
const TargetTable<LineKernel<S, D>>& subInvert_targets() {
    static constexpr TargetTable<LineKernel<S, D>> table{
        {&scalar::subInvert<S, D>, OZU_SIMD_ENTRIES(SubInvert<S, D>)}};
    return table;
}

template <class S, class D>
const TargetTable<LineKernel<S, D>>& subReNormalize_targets() {
    static constexpr TargetTable<LineKernel<S, D>> table{
        {&scalar::subReNormalize<S, D>, OZU_SIMD_ENTRIES(SubReNormalize<S, D>)}};
    return table;
}

template <class S, class D>
bool subInvert(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
               int32_t dstMax) {
    return subInvert_targets<S, D>().active()(src, dst, width, srcMax, dstMax);
}

template <class S, class D>
bool subReNormalize(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                    int32_t dstMax) {
    return subReNormalize_targets<S, D>().active()(src, dst, width, srcMax, dstMax);
}

#define OZU_X(S, D)                                             \
    OZU_LINE_KERNEL_INSTANCE(template, scalar::subInvert, S, D) \
    OZU_LINE_KERNEL_TARGETS_INSTANCE(template, subInvert, S, D) \
    OZU_LINE_KERNEL_INSTANCE(template, subInvert, S, D)
OZU_INVERT_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D)                                                  \
    OZU_LINE_KERNEL_INSTANCE(template, scalar::subReNormalize, S, D) \
    OZU_LINE_KERNEL_TARGETS_INSTANCE(template, subReNormalize, S, D) \
    OZU_LINE_KERNEL_INSTANCE(template, subReNormalize, S, D)
OZU_RENORMALIZE_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D) OZU_LINE_KERNEL_INSTANCE(template, subNoOp, S, D)
OZU_NOOP_PAIRS(OZU_X)
#undef OZU_X

}  // namespace ozu
#endif  // HWY_ONCE
