// COL_CalcColorDistanceImage and its kernel entry colk_calculate_distance_image.
#include "analysis/color_distance.h"

#include <algorithm>
#include <cstddef>

#include <ozu/base.h>
#include <ozu/color.h>
#include <ozu/color_kernels.h>

#include "frame/entry_frame.h"
#include "frame/error_codes.h"
#include "frame/host_access.h"
#include "frame/parallel_jobs.h"

namespace ozu {
namespace {

constexpr EntryTexts kTexts{"Leaving COL_CalcColorDistanceImage - Error: %s (%d)",
                            "Leaving COL_CalcColorDistanceImage - Win32 Error: %ld"};

// The distance image is defined for unsigned 8-bit pixels only.
constexpr int32_t kDistanceType = BASE_TYPE_U8;

// The walk of the kernel entry. The exported kernel addresses destination
// lines with the source's pitch, as it always has (a caller of the kernel
// gives it buffers spaced alike); the exported entry has no such promise
// from its caller, whose destination may be allocated with another line
// alignment, and so writes each line at the destination's own pitch.
enum class DestinationLines { kSourcePitch, kOwnPitch };

int32_t distance_image(int32_t src, int32_t dst, int32_t colour1, int32_t colour2,
                       DestinationLines lines) {
    int32_t width = 0, height = 0, srcPlanes = 0, ext2 = 0, ext3 = 0, dstPlanes = 0;
    if (IPL_BufInquire(src, BASE_ATTR_WIDTH, &width) == 0 ||
        IPL_BufInquire(src, BASE_ATTR_HEIGHT, &height) == 0 ||
        IPL_BufInquire(src, BASE_ATTR_PLANES, &srcPlanes) == 0 ||
        IPL_BufInquire(src, BASE_ATTR_EXT2, &ext2) == 0 ||
        IPL_BufInquire(src, BASE_ATTR_EXT3, &ext3) == 0 ||
        IPL_BufInquire(dst, BASE_ATTR_PLANES, &dstPlanes) == 0) {
        return 0;
    }
    const int32_t usedSrc = std::min(srcPlanes, 3);
    const int32_t usedDst = std::min(dstPlanes, 1);
    const ozu::ReferenceColor first = ozu::unpack_reference(colour1);
    const ozu::ReferenceColor second = ozu::unpack_reference(colour2);

    // Planes the source lacks stay null: only the entry's checks keep a
    // one-plane source away from here.
    void* in[3] = {nullptr, nullptr, nullptr};
    void* out = nullptr;
    int32_t srcPitch = 0;
    int32_t dstPitch = 0;
    int32_t flag = 1;
    if (ext3 <= 0) return 1;

    for (int32_t j = 0; j < ext3; ++j) {
        for (int32_t i = 0; i < ext2; ++i) {
            for (int32_t p = 0; p < usedSrc; ++p)
                flag &= IPL_GetPtr(src, BASE_MODE_READ, p, i, j, &srcPitch, &in[p]);
            for (int32_t p = 0; p < usedDst; ++p)
                flag &= IPL_GetPtr(dst, BASE_MODE_WRITE, 0, i, j, &dstPitch, &out);
            if (flag == 1) {
                const std::ptrdiff_t outPitch =
                    lines == DestinationLines::kSourcePitch ? srcPitch : dstPitch;
                const bool ran = ozu::for_each_band(height, int64_t{width} * 4, [&](int32_t top,
                                                                                    int32_t end) {
                    for (int32_t y = top; y < end; ++y) {
                        const std::ptrdiff_t offset = std::ptrdiff_t(y) * srcPitch;
                        ozu::distance_line(static_cast<const uint8_t*>(in[0]) + offset,
                                           static_cast<const uint8_t*>(in[1]) + offset,
                                           static_cast<const uint8_t*>(in[2]) + offset,
                                           static_cast<uint8_t*>(out) + y * outPitch, width,
                                           first, second);
                    }
                    return true;
                });
                if (!ran) flag = 0;
            }
            for (int32_t p = 0; p < usedSrc; ++p)
                flag &= IPL_ReleasePtr(src, BASE_MODE_READ, p, i, j, in[p]);
            for (int32_t p = 0; p < usedDst; ++p)
                flag &= IPL_ReleasePtr(dst, BASE_MODE_WRITE, 0, i, j, out);
        }
    }
    return flag;
}

void calc_color_distance_image(int32_t source, int32_t* destination, int32_t colour1,
                               int32_t colour2) {
    require_buffer(source);
    if (inquire(source, BASE_ATTR_KIND) != BASE_KIND_IMAGE) raise(kErrBufferKind);
    if (inquire(source, BASE_ATTR_PLANES) != 3) raise(kErrPlanes);
    if (inquire(source, BASE_ATTR_TYPE) != kDistanceType) raise(kErrPixelType);
    const int32_t width = inquire(source, BASE_ATTR_WIDTH);
    const int32_t height = inquire(source, BASE_ATTR_HEIGHT);
    const int32_t ext2 = inquire(source, BASE_ATTR_EXT2);
    const int32_t ext3 = inquire(source, BASE_ATTR_EXT3);

    if (*destination == -1) {
        check_host(IPL_BufAlloc(destination, width, height, 1, ext2, ext3, kDistanceType,
                                BASE_KIND_IMAGE, 0));
    }
    require_buffer(*destination);
    if (inquire(*destination, BASE_ATTR_KIND) != BASE_KIND_IMAGE) raise(kErrBufferKind);
    if (inquire(*destination, BASE_ATTR_PLANES) != 1) raise(kErrPlanes);
    if (inquire(*destination, BASE_ATTR_TYPE) != kDistanceType) raise(kErrPixelType);
    if (inquire(*destination, BASE_ATTR_WIDTH) != width) raise(kErrWidth);
    if (inquire(*destination, BASE_ATTR_HEIGHT) != height) raise(kErrHeight);
    // Extent 3 is compared before extent 2, as in every image entry.
    if (inquire(*destination, BASE_ATTR_EXT3) != ext3) raise(kErrExtent3);
    if (inquire(*destination, BASE_ATTR_EXT2) != ext2) raise(kErrExtent2);

    // Holds both buffers for the work; nothing releases them here.
    BASE_GetAtBuffer(source);
    BASE_GetAtBuffer(*destination);

    if (distance_image(source, *destination, colour1, colour2, DestinationLines::kOwnPitch) == 0)
        raise_host();
}

}  // namespace
}  // namespace ozu

extern "C" OZU_COLOR_API int32_t colk_calculate_distance_image(int32_t src, int32_t dst,
                                                               int32_t colour1, int32_t colour2) {
    return ozu::distance_image(src, dst, colour1, colour2, ozu::DestinationLines::kSourcePitch);
}

extern "C" OZU_COLOR_API int32_t COL_CalcColorDistanceImage(int32_t src, int32_t* dst,
                                                            int32_t colour1, int32_t colour2) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, ozu::kTexts,
                          [&] { ozu::calc_color_distance_image(src, dst, colour1, colour2); });
}
