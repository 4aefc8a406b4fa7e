// The instances of the matrix line kernels.
#include "convert/matrix_kernels-inl.h"

namespace ozu {

#define OZU_X(S, D) OZU_MATRIX_KERNEL_INSTANCE(template, sub3x3MatMult, S, D)
OZU_MATRIX_MULT_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D) OZU_MATRIX_KERNEL_INSTANCE(template, subRGB2YUV_YIQ_YCrCb, S, D)
OZU_TO_CHROMA_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D) OZU_MATRIX_KERNEL_INSTANCE(template, subYUV_YIQ_YCrCb2RGB, S, D)
OZU_FROM_CHROMA_PAIRS(OZU_X)
#undef OZU_X

}  // namespace ozu
