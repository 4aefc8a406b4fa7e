// The grey line kernels: the scalar references, their vector versions for
// every compiled target, and the entries that run the active target's
// version.
#define HWY_TARGET_INCLUDE "convert/grey_kernels.cpp"
#include "frame/simd_targets.h"  // compiles this file once per target

#if OZU_SIMD_PASS
#include "convert/grey_kernels_simd-inl.h"
#endif

#if HWY_ONCE
#include "convert/grey_kernels.h"
#include "frame/fixed_point.h"

namespace ozu {

namespace scalar {

template <class S, class D>
bool subRGB2Gray(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                 int32_t dstMax) {
    const S* const r = src[0];
    const S* const g = src[1];
    const S* const b = src[2];
    D* const out = dst[0];
    if (srcMax == dstMax) {
        for (int32_t x = 0; x < width; ++x) {
            const int32_t sum = wadd(wadd(wmul(kGreyWeightR, load(r[x])), wmul(kGreyWeightG, load(g[x]))),
                                     wmul(kGreyWeightB, load(b[x])));
            out[x] = store<D>(unfix(sum));
        }
    } else {
        const int32_t factor = range_factor(srcMax, dstMax);
        for (int32_t x = 0; x < width; ++x) {
            const int32_t sum = wadd(wadd(wmul(kGreyWeightR, load(r[x])), wmul(kGreyWeightG, load(g[x]))),
                                     wmul(kGreyWeightB, load(b[x])));
            out[x] = store<D>(unfix(wmul(unfix(sum), factor)));
        }
    }
    return true;
}

template <class S, class D>
bool subGray2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                 int32_t dstMax) {
    const S* const in = src[0];
    if (srcMax == dstMax) {
        for (int plane = 0; plane < 3; ++plane) {
            D* const out = dst[plane];
            for (int32_t x = 0; x < width; ++x) out[x] = store<D>(load(in[x]));
        }
    } else {
        const int32_t factor = range_factor(srcMax, dstMax);
        D* const out0 = dst[0];
        D* const out1 = dst[1];
        D* const out2 = dst[2];
        for (int32_t x = 0; x < width; ++x) {
            const D v = store<D>(unfix(wmul(load(in[x]), factor)));
            out0[x] = v;
            out1[x] = v;
            out2[x] = v;
        }
    }
    return true;
}

}  // namespace scalar

template <class S, class D>
const TargetTable<LineKernel<S, D>>& subRGB2Gray_targets() {
    static constexpr TargetTable<LineKernel<S, D>> table{
        {&scalar::subRGB2Gray<S, D>, OZU_SIMD_ENTRIES(SubRGB2Gray<S, D>)}};
    return table;
}

template <class S, class D>
const TargetTable<LineKernel<S, D>>& subGray2RGB_targets() {
    static constexpr TargetTable<LineKernel<S, D>> table{
        {&scalar::subGray2RGB<S, D>, OZU_SIMD_ENTRIES(SubGray2RGB<S, D>)}};
    return table;
}

template <class S, class D>
bool subRGB2Gray(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                 int32_t dstMax) {
    return subRGB2Gray_targets<S, D>().active()(src, dst, width, srcMax, dstMax);
}

template <class S, class D>
bool subGray2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                 int32_t dstMax) {
    return subGray2RGB_targets<S, D>().active()(src, dst, width, srcMax, dstMax);
}

#define OZU_X(S, D)                                               \
    OZU_LINE_KERNEL_INSTANCE(template, scalar::subRGB2Gray, S, D) \
    OZU_LINE_KERNEL_TARGETS_INSTANCE(template, subRGB2Gray, S, D) \
    OZU_LINE_KERNEL_INSTANCE(template, subRGB2Gray, S, D)
OZU_RGB2GRAY_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D)                                               \
    OZU_LINE_KERNEL_INSTANCE(template, scalar::subGray2RGB, S, D) \
    OZU_LINE_KERNEL_TARGETS_INSTANCE(template, subGray2RGB, S, D) \
    OZU_LINE_KERNEL_INSTANCE(template, subGray2RGB, S, D)
OZU_GRAY2RGB_PAIRS(OZU_X)
#undef OZU_X

}  // namespace ozu
#endif  // HWY_ONCE
