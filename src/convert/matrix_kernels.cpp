// The instances of the matrix line kernels: the scalar references, their
// vector versions for every compiled target, and the entries that run the
// active target's version.
#define HWY_TARGET_INCLUDE "convert/matrix_kernels.cpp"
#include "frame/simd_targets.h"  // compiles this file once per target

#if OZU_SIMD_PASS
#include "convert/matrix_kernels_simd-inl.h"
#endif

#if HWY_ONCE
#include "convert/matrix_kernels-inl.h"

namespace ozu {

#define OZU_X(S, D) OZU_MATRIX_KERNEL_INSTANCE(template, scalar::sub3x3MatMult, S, D)
OZU_MATRIX_MULT_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D) OZU_MATRIX_KERNEL_INSTANCE(template, scalar::subRGB2YUV_YIQ_YCrCb, S, D)
OZU_TO_CHROMA_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D) OZU_MATRIX_KERNEL_INSTANCE(template, scalar::subYUV_YIQ_YCrCb2RGB, S, D)
OZU_FROM_CHROMA_PAIRS(OZU_X)
#undef OZU_X

template <class S, class D>
const TargetTable<MatrixLineKernel<S, D>>& sub3x3MatMult_targets() {
    static constexpr TargetTable<MatrixLineKernel<S, D>> table{
        {&scalar::sub3x3MatMult<S, D>, OZU_SIMD_ENTRIES(Sub3x3MatMult<S, D>)}};
    return table;
}

template <class S, class D>
const TargetTable<MatrixLineKernel<S, D>>& subRGB2YUV_YIQ_YCrCb_targets() {
    static constexpr TargetTable<MatrixLineKernel<S, D>> table{
        {&scalar::subRGB2YUV_YIQ_YCrCb<S, D>, OZU_SIMD_ENTRIES(SubRGB2YUV_YIQ_YCrCb<S, D>)}};
    return table;
}

template <class S, class D>
const TargetTable<MatrixLineKernel<S, D>>& subYUV_YIQ_YCrCb2RGB_targets() {
    static constexpr TargetTable<MatrixLineKernel<S, D>> table{
        {&scalar::subYUV_YIQ_YCrCb2RGB<S, D>, OZU_SIMD_ENTRIES(SubYUV_YIQ_YCrCb2RGB<S, D>)}};
    return table;
}

template <class S, class D>
bool sub3x3MatMult(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                   int32_t dstMax, const int32_t (*m)[3]) {
    return sub3x3MatMult_targets<S, D>().active()(src, dst, width, srcMax, dstMax, m);
}

template <class S, class D>
bool subRGB2YUV_YIQ_YCrCb(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                          int32_t dstMax, const int32_t (*m)[3]) {
    return subRGB2YUV_YIQ_YCrCb_targets<S, D>().active()(src, dst, width, srcMax, dstMax, m);
}

template <class S, class D>
bool subYUV_YIQ_YCrCb2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                          int32_t dstMax, const int32_t (*m)[3]) {
    return subYUV_YIQ_YCrCb2RGB_targets<S, D>().active()(src, dst, width, srcMax, dstMax, m);
}

#define OZU_X(S, D)                                                 \
    OZU_MATRIX_KERNEL_TARGETS_INSTANCE(template, sub3x3MatMult, S, D) \
    OZU_MATRIX_KERNEL_INSTANCE(template, sub3x3MatMult, S, D)
OZU_MATRIX_MULT_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D)                                                        \
    OZU_MATRIX_KERNEL_TARGETS_INSTANCE(template, subRGB2YUV_YIQ_YCrCb, S, D) \
    OZU_MATRIX_KERNEL_INSTANCE(template, subRGB2YUV_YIQ_YCrCb, S, D)
OZU_TO_CHROMA_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D)                                                        \
    OZU_MATRIX_KERNEL_TARGETS_INSTANCE(template, subYUV_YIQ_YCrCb2RGB, S, D) \
    OZU_MATRIX_KERNEL_INSTANCE(template, subYUV_YIQ_YCrCb2RGB, S, D)
OZU_FROM_CHROMA_PAIRS(OZU_X)
#undef OZU_X

}  // namespace ozu
#endif  // HWY_ONCE
