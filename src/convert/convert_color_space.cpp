// COL_ConvertColorSpace: checks a conversion request and hands it to the
// driver, or to the Bayer path for the three raw conversions it serves.
#include <ozu/base.h>
#include <ozu/color.h>
#include <ozu/color_kernels.h>

#include "convert/color_space_names.h"
#include "frame/entry_frame.h"
#include "frame/error_codes.h"
#include "frame/host_access.h"

namespace ozu {
namespace {

constexpr EntryTexts kTexts{"Leaving COL_ConvertColorSpace - Error: %s (%d)",
                            "Leaving COL_ConvertColorSpace - Win32 Error: %ld"};

// The colour space recorded on a buffer; a buffer without one makes the
// request undeterminable.
int32_t recorded_space(int32_t handle) {
    int32_t space = 0;
    if (handle == -1 || !IPL_BufInquire(handle, BASE_ATTR_COLOR_SPACE, &space))
        raise(kErrColorSpace);
    return space;
}

// Intensity and Bayer raw are single-plane models; every other one has three.
int32_t planes_of(int32_t space) {
    return (space == kSpaceI || space == kSpaceBayer) ? 1 : 3;
}

bool is_bayer_code(uint32_t code) {
    return code == make_code(kSpaceBayer, kSpaceRGB) || code == make_code(kSpaceBayer, kSpaceYUV) ||
           code == make_code(kSpaceBayer, kSpaceI);
}

void convert_color_space(int32_t source, int32_t* destination, uint32_t code) {
    int32_t from = code_from(code);
    int32_t to = code_to(code);
    if (to == 0 && from != 0) {
        to = from;
        from = recorded_space(source);
    } else if (to == 0) {
        from = recorded_space(source);
        to = recorded_space(*destination);
    }
    code = make_code(from, to);
    if (from == to) raise(kErrColorSpace);

    require_buffer(source);
    if (inquire(source, BASE_ATTR_KIND) == 14) raise(kErrBufferKind);
    if (inquire(source, BASE_ATTR_PLANES) != planes_of(from))
        raise(kErrPlanes);
    const int32_t srcType = inquire(source, BASE_ATTR_TYPE);
    if (!is_pixel_type(srcType)) raise(kErrPixelType);
    const int32_t width = inquire(source, BASE_ATTR_WIDTH);
    const int32_t height = inquire(source, BASE_ATTR_HEIGHT);
    const int32_t ext2 = inquire(source, BASE_ATTR_EXT2);
    const int32_t ext3 = inquire(source, BASE_ATTR_EXT3);

    if (*destination == -1) {
        check_host(IPL_BufAlloc(destination, width, height, to == kSpaceI ? 1 : 3, ext2, ext3,
                                srcType, BASE_KIND_IMAGE, 0));
    }
    require_buffer(*destination);
    const int32_t kind = inquire(*destination, BASE_ATTR_KIND);
    // A destination is refused for one kind more than a source.
    if (kind == 14 || kind == 15) raise(kErrBufferKind);
    if (inquire(*destination, BASE_ATTR_PLANES) != (to == kSpaceI ? 1 : 3)) raise(kErrPlanes);
    const int32_t dstType = inquire(*destination, BASE_ATTR_TYPE);
    if (!is_pixel_type(dstType) || !same_element_width(srcType, dstType)) raise(kErrPixelType);
    if (inquire(*destination, BASE_ATTR_WIDTH) != width) raise(kErrWidth);
    if (inquire(*destination, BASE_ATTR_HEIGHT) != height) raise(kErrHeight);
    // Extent 3 is compared before extent 2.
    if (inquire(*destination, BASE_ATTR_EXT3) != ext3) raise(kErrExtent3);
    if (inquire(*destination, BASE_ATTR_EXT2) != ext2) raise(kErrExtent2);

    const int32_t sourceType = inquire(source, BASE_ATTR_TYPE);
    const int32_t destinationType = inquire(*destination, BASE_ATTR_TYPE);
    // Holds both buffers for the work; nothing releases them here.
    BASE_GetAtBuffer(source);
    BASE_GetAtBuffer(*destination);

    const int32_t signedCode = static_cast<int32_t>(code);
    const int32_t done =
        is_bayer_code(code)
            ? colk_convert_bm(source, destination, sourceType, destinationType, signedCode)
            : colk_convert(source, destination, sourceType, destinationType, signedCode);
    if (done == 0) raise_host();
}

}  // namespace
}  // namespace ozu

extern "C" OZU_COLOR_API int32_t COL_ConvertColorSpace(int32_t src, int32_t* dst, uint32_t code) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, ozu::kTexts, [&] { ozu::convert_color_space(src, dst, code); });
}
