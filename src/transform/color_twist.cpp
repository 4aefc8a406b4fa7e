// COL_ColorTwist and its kernel entry colk_twist.
#include "transform/color_twist.h"

#include <ozu/color.h>
#include <ozu/color_kernels.h>

#include "frame/entry_frame.h"
#include "frame/error_codes.h"
#include "frame/host_access.h"
#include "frame/pixel_types.h"

namespace {
constexpr ozu::EntryTexts kTexts{"Leaving COL_ColorTwist - Error: %s (%d)",
                                 "Leaving COL_ColorTwist - Win32 Error: %ld"};
}  // namespace

extern "C" OZU_COLOR_API bool colk_twist(int32_t src, int32_t* dst, int32_t srcType,
                                         int32_t dstType, const double* twist) {
    const auto result = ozu::dispatch_pixel_pair(srcType, dstType, [&](auto* s, auto* d) {
        return ozu::tmpl_twist(src, *dst, twist, s, d);
    });
    if (!result) {
        IPL_SetErrorCode(ozu::kErrPixelType);
        return false;
    }
    return *result;
}

extern "C" OZU_COLOR_API int32_t COL_ColorTwist(int32_t src, int32_t* dst, const double* twist) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, kTexts, [&] {
        using namespace ozu;
        require_buffer(src);
        const int32_t srcKind = inquire(src, BASE_ATTR_KIND);
        if (srcKind == 14 || srcKind == 15) raise(kErrBufferKind);
        if (inquire(src, BASE_ATTR_PLANES) != 3) raise(kErrPlanes);
        const int32_t srcType = inquire(src, BASE_ATTR_TYPE);
        if (!is_pixel_type(srcType)) raise(kErrPixelType);
        const int32_t width = inquire(src, BASE_ATTR_WIDTH);
        const int32_t height = inquire(src, BASE_ATTR_HEIGHT);
        const int32_t ext2 = inquire(src, BASE_ATTR_EXT2);
        const int32_t ext3 = inquire(src, BASE_ATTR_EXT3);

        // A new destination takes extent 3 before extent 2; a source whose
        // two extents differ therefore gets a destination that the extent
        // checks below refuse, and the new buffer stays the caller's.
        if (*dst == -1)
            check_host(IPL_BufAlloc(dst, width, height, 3, ext3, ext2, srcType, 1, 0));

        require_buffer(*dst);
        const int32_t dstKind = inquire(*dst, BASE_ATTR_KIND);
        if (dstKind == 14 || dstKind == 15) raise(kErrBufferKind);
        if (inquire(*dst, BASE_ATTR_PLANES) != 3) raise(kErrPlanes);
        const int32_t dstType = inquire(*dst, BASE_ATTR_TYPE);
        if (!is_pixel_type(dstType)) raise(kErrPixelType);
        // The kernel handles every pair; the entry keeps 8-bit with 8-bit and
        // 16-bit with 16-bit on purpose.
        if (!same_element_width(srcType, dstType)) raise(kErrPixelType);
        if (inquire(*dst, BASE_ATTR_WIDTH) != width) raise(kErrWidth);
        if (inquire(*dst, BASE_ATTR_HEIGHT) != height) raise(kErrHeight);
        if (inquire(*dst, BASE_ATTR_EXT3) != ext3) raise(kErrExtent3);
        if (inquire(*dst, BASE_ATTR_EXT2) != ext2) raise(kErrExtent2);

        const int32_t kernelSrcType = inquire(src, BASE_ATTR_TYPE);
        const int32_t kernelDstType = inquire(*dst, BASE_ATTR_TYPE);
        BASE_GetAtBuffer(src);
        BASE_GetAtBuffer(*dst);
        if (!colk_twist(src, dst, kernelSrcType, kernelDstType, twist)) raise_host();
    });
}
