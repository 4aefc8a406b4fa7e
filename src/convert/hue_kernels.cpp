// The hue line kernels: the scalar references, their vector versions for
// every compiled target, and the entries that run the active target's
// version.
#define HWY_TARGET_INCLUDE "convert/hue_kernels.cpp"
#include "frame/simd_targets.h"  // compiles this file once per target

#if OZU_SIMD_PASS
#include "convert/hue_kernels_simd-inl.h"
#endif

#if HWY_ONCE
#include "convert/hue_kernels-inl.h"

namespace ozu {

namespace scalar {
namespace {
void hue_table_entries(const int32_t* rows, const int32_t* cols, int32_t* hls, int32_t* hsv,
                       size_t n) {
    for (size_t k = 0; k < n; ++k) {
        const int32_t at = hue_detail::table_index(rows[k], cols[k]);
        hls[k] = RGB2HLS_Saturation[at];
        hsv[k] = RGB2HSV_Saturation[at];
    }
}
}  // namespace
}  // namespace scalar

const TargetTable<HueTableEntries>& hue_table_entries_targets() {
    static constexpr TargetTable<HueTableEntries> table{
        {&scalar::hue_table_entries, OZU_SIMD_ENTRIES(HueTableEntries)}};
    return table;
}

#define OZU_HUE_ENTRY(kernel, Kernel)                                                      \
    template <class S, class D>                                                            \
    const TargetTable<LineKernel<S, D>>& kernel##_targets() {                              \
        static constexpr TargetTable<LineKernel<S, D>> table{                              \
            {&scalar::kernel<S, D>, OZU_SIMD_ENTRIES(Kernel<S, D>)}};                      \
        return table;                                                                      \
    }                                                                                      \
    template <class S, class D>                                                            \
    bool kernel(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,     \
                int32_t dstMax) {                                                          \
        return kernel##_targets<S, D>().active()(src, dst, width, srcMax, dstMax);        \
    }
OZU_HUE_ENTRY(subRGB2HLS, SubRGB2HLS)
OZU_HUE_ENTRY(subRGB2HSV, SubRGB2HSV)
OZU_HUE_ENTRY(subHLS2RGB, SubHLS2RGB)
OZU_HUE_ENTRY(subHSV2RGB, SubHSV2RGB)
#undef OZU_HUE_ENTRY

#define OZU_HUE_INSTANCES(kernel, S, D)                       \
    OZU_LINE_KERNEL_INSTANCE(template, scalar::kernel, S, D) \
    OZU_LINE_KERNEL_TARGETS_INSTANCE(template, kernel, S, D) \
    OZU_LINE_KERNEL_INSTANCE(template, kernel, S, D)
#define OZU_X(S, D) OZU_HUE_INSTANCES(subRGB2HLS, S, D) OZU_HUE_INSTANCES(subRGB2HSV, S, D)
OZU_HUE_FORWARD_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D) OZU_HUE_INSTANCES(subHLS2RGB, S, D) OZU_HUE_INSTANCES(subHSV2RGB, S, D)
OZU_HUE_INVERSE_PAIRS(OZU_X)
#undef OZU_X
#undef OZU_HUE_INSTANCES

}  // namespace ozu
#endif  // HWY_ONCE
