// The instances of the hue line kernels.
#include "convert/hue_kernels-inl.h"

namespace ozu {

#define OZU_X(S, D)                                           \
    OZU_LINE_KERNEL_INSTANCE(template, subRGB2HLS, S, D) \
    OZU_LINE_KERNEL_INSTANCE(template, subRGB2HSV, S, D)
OZU_HUE_FORWARD_PAIRS(OZU_X)
#undef OZU_X
#define OZU_X(S, D)                                           \
    OZU_LINE_KERNEL_INSTANCE(template, subHLS2RGB, S, D) \
    OZU_LINE_KERNEL_INSTANCE(template, subHSV2RGB, S, D)
OZU_HUE_INVERSE_PAIRS(OZU_X)
#undef OZU_X

}  // namespace ozu
