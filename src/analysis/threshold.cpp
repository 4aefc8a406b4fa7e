// COL_Threshold: a colour image segmented by a box in a chosen colour space.
//
// Composed entirely of host operations over temporary buffers: the image is
// brought to unsigned 8 bits in the threshold space, each channel is mapped
// through a 0/255 table of its range, and the three channel masks (viewed as
// one-plane children of the converted image) are combined into the
// destination. Each temporary sits in an OwnedBuffer, so a failure anywhere
// frees whatever exists at that moment, newest first.
#include <array>
#include <cstdint>

#include <ozu/base.h>
#include <ozu/color.h>

#include "analysis/owned_buffer.h"
#include "convert/color_space_names.h"
#include "frame/entry_frame.h"
#include "frame/error_codes.h"
#include "frame/host_access.h"

namespace ozu {
namespace {

constexpr EntryTexts kTexts{"Leaving COL_Threshold - Error: %s (%d)",
                            "Leaving COL_Threshold - Win32 Error: %ld"};

// The host's point operation codes: the two ways of combining 0/255 masks
// and the inversion of one.
constexpr int32_t kOpOr = 6;
constexpr int32_t kOpAnd = 7;
constexpr int32_t kOpNot = 50;

// Every three-channel colour space; intensity has one channel, Bayer raw is
// not a colour space one can threshold in, and combinations name nothing.
bool is_threshold_space(int32_t space) {
    switch (space) {
        case kSpaceCMY: case kSpaceHLS: case kSpaceHSV: case kSpaceRGB: case kSpaceXYZ601:
        case kSpaceXYZ709: case kSpaceXYZITU: case kSpaceYCC: case kSpaceYIQ: case kSpaceYUV:
            return true;
        default:
            return false;
    }
}

// Inclusive at both ends and strictly ordered: a range of one value cannot
// be asked for, while 0..255 accepts everything.
bool is_range(uint32_t low, uint32_t high) { return low <= 255 && high <= 255 && low < high; }

struct Range {
    uint32_t low;
    uint32_t high;
};

void threshold(int32_t source, int32_t* destination, int32_t srcSpace, int32_t thresholdSpace,
               const std::array<Range, 3>& ranges, int32_t mode) {
    require_buffer(source);
    const int32_t srcKind = inquire(source, BASE_ATTR_KIND);
    if (srcKind == 14 || srcKind == 15) raise(kErrBufferKind);
    if (inquire(source, BASE_ATTR_PLANES) != 3) raise(kErrPlanes);
    if (!is_pixel_type(inquire(source, BASE_ATTR_TYPE))) raise(kErrPixelType);
    const int32_t width = inquire(source, BASE_ATTR_WIDTH);
    const int32_t height = inquire(source, BASE_ATTR_HEIGHT);
    const int32_t ext2 = inquire(source, BASE_ATTR_EXT2);
    const int32_t ext3 = inquire(source, BASE_ATTR_EXT3);

    // A destination created here is the caller's from now on, also when a
    // later step fails.
    if (*destination == -1) {
        check_host(IPL_BufAlloc(destination, width, height, 1, ext2, ext3, BASE_TYPE_U8,
                                BASE_KIND_IMAGE, 0));
    }
    require_buffer(*destination);
    const int32_t dstKind = inquire(*destination, BASE_ATTR_KIND);
    if (dstKind == 14 || dstKind == 15) raise(kErrBufferKind);
    if (inquire(*destination, BASE_ATTR_PLANES) != 1) raise(kErrPlanes);
    const int32_t dstType = inquire(*destination, BASE_ATTR_TYPE);
    if (dstType != BASE_TYPE_S8 && dstType != BASE_TYPE_U8) raise(kErrPixelType);
    if (inquire(*destination, BASE_ATTR_WIDTH) != width) raise(kErrWidth);
    if (inquire(*destination, BASE_ATTR_HEIGHT) != height) raise(kErrHeight);
    if (inquire(*destination, BASE_ATTR_EXT3) != ext3) raise(kErrExtent3);
    if (inquire(*destination, BASE_ATTR_EXT2) != ext2) raise(kErrExtent2);

    // The arguments are judged only once the buffers have passed.
    if (!is_threshold_space(srcSpace) || !is_threshold_space(thresholdSpace))
        raise(kErrColorSpace);
    for (const Range& r : ranges)
        if (!is_range(r.low, r.high)) raise(kErrRange);
    if (mode < 0 || mode > 3) raise(kErrRange);

    BASE_GetAtBuffer(source);
    BASE_GetAtBuffer(*destination);

    // The image in the threshold space, unsigned 8-bit. Equal spaces only
    // copy, which is also the one way a 16-bit source comes down to 8 bits:
    // the conversion refuses to mix 8-bit and 16-bit buffers.
    OwnedBuffer converted;
    check_host(IPL_BufAlloc(converted.slot(), width, height, 3, ext2, ext3, BASE_TYPE_U8,
                            BASE_KIND_IMAGE, 0));
    BASE_GetAtBuffer(converted.get());
    if (srcSpace == thresholdSpace) {
        int32_t target = converted.get();
        check_host(IPL_PtBufCopy(source, &target, -1, -1, 0));
    } else {
        int32_t target = converted.get();
        if (COL_ConvertColorSpace(source, &target, make_code(srcSpace, thresholdSpace)) == 0)
            raise_host();
    }

    // Plane k of the table turns channel k into its 0/255 mask.
    OwnedBuffer table;
    check_host(IPL_BufAlloc(table.slot(), 256, 1, 3, 1, 1, BASE_TYPE_U8, BASE_KIND_TABLE, 0));
    BASE_GetAtBuffer(table.get());
    for (int32_t k = 0; k < 3; ++k) {
        std::array<uint8_t, 256> line{};
        const int32_t low = static_cast<int32_t>(ranges[k].low);
        const int32_t high = static_cast<int32_t>(ranges[k].high);
        for (int32_t v = 0; v < 256; ++v) line[v] = (low <= v && v <= high) ? 255 : 0;
        check_host(IPL_PutBufData(table.get(), 0, 0, k, 0, 0, 256, 1, line.data()));
    }
    {
        int32_t target = converted.get();
        check_host(IPL_PtLutMap(converted.get(), -1, &target, table.get()));
    }

    // One-plane views of the three masks, combined left to right.
    OwnedBuffer masks[3];
    for (int32_t p = 0; p < 3; ++p) {
        check_host(IPL_BufAllocChild(masks[p].slot(), converted.get(), 0, 0, p, 0, 0, width,
                                     height, 1, ext2, ext3));
        BASE_GetAtBuffer(masks[p].get());
    }
    const int32_t op = (mode & 1) != 0 ? kOpOr : kOpAnd;
    check_host(IPL_PtToPoint(masks[0].get(), masks[1].get(), destination, op));
    check_host(IPL_PtToPoint(*destination, masks[2].get(), destination, op));
    masks[2].reset();
    masks[1].reset();
    masks[0].reset();

    if ((mode & 2) != 0) check_host(IPL_PtToPoint(*destination, -1, destination, kOpNot));
    table.reset();
    converted.reset();
}

}  // namespace
}  // namespace ozu

extern "C" OZU_COLOR_API int32_t COL_Threshold(int32_t src, int32_t* dst, int32_t srcSpace,
                                               int32_t thresholdSpace, uint32_t low0,
                                               uint32_t high0, uint32_t low1, uint32_t high1,
                                               uint32_t low2, uint32_t high2, int32_t mode) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, ozu::kTexts, [&] {
        ozu::threshold(src, dst, srcSpace, thresholdSpace,
                       {{{low0, high0}, {low1, high1}, {low2, high2}}}, mode);
    });
}
