// The entry checks shared by COL_ConvertToColor and COL_ConvertToGrayscale.
#include "transform/weighted_conversion.h"

#include "frame/entry_frame.h"
#include "frame/host_access.h"

namespace ozu {

void run_weighted_conversion(int32_t src, int32_t* dst, double w0, double w1, double w2,
                             int32_t srcPlanes, int32_t dstPlanes, WeightedKernel kernel) {
    require_buffer(src);
    const int32_t srcKind = inquire(src, BASE_ATTR_KIND);
    if (srcKind == 14 || srcKind == 15) raise(kErrBufferKind);
    if (!weight_in_range(w0) || !weight_in_range(w1) || !weight_in_range(w2)) raise(kErrRange);
    if (inquire(src, BASE_ATTR_PLANES) != srcPlanes) raise(kErrPlanes);
    const int32_t srcType = inquire(src, BASE_ATTR_TYPE);
    if (!is_pixel_type(srcType)) raise(kErrPixelType);
    const int32_t width = inquire(src, BASE_ATTR_WIDTH);
    const int32_t height = inquire(src, BASE_ATTR_HEIGHT);
    const int32_t ext2 = inquire(src, BASE_ATTR_EXT2);
    const int32_t ext3 = inquire(src, BASE_ATTR_EXT3);

    // Unlike the colour twist, a new destination here takes the extents in
    // their own order.
    if (*dst == -1)
        check_host(IPL_BufAlloc(dst, width, height, dstPlanes, ext2, ext3, srcType, 1, 0));

    require_buffer(*dst);
    const int32_t dstKind = inquire(*dst, BASE_ATTR_KIND);
    if (dstKind == 14 || dstKind == 15) raise(kErrBufferKind);
    if (inquire(*dst, BASE_ATTR_PLANES) != dstPlanes) raise(kErrPlanes);
    const int32_t dstType = inquire(*dst, BASE_ATTR_TYPE);
    if (!is_pixel_type(dstType)) raise(kErrPixelType);
    if (!same_element_width(srcType, dstType)) raise(kErrPixelType);
    if (inquire(*dst, BASE_ATTR_WIDTH) != width) raise(kErrWidth);
    if (inquire(*dst, BASE_ATTR_HEIGHT) != height) raise(kErrHeight);
    if (inquire(*dst, BASE_ATTR_EXT3) != ext3) raise(kErrExtent3);
    if (inquire(*dst, BASE_ATTR_EXT2) != ext2) raise(kErrExtent2);

    const int32_t kernelSrcType = inquire(src, BASE_ATTR_TYPE);
    const int32_t kernelDstType = inquire(*dst, BASE_ATTR_TYPE);
    BASE_GetAtBuffer(src);
    BASE_GetAtBuffer(*dst);
    if (!kernel(src, dst, kernelSrcType, kernelDstType, w0, w1, w2)) raise_host();
}

}  // namespace ozu
