// COL_Threshold: a colour image segmented by a box in a chosen colour space.
//
// Composed entirely of host operations over temporary buffers: the image is
// brought to unsigned 8 bits in the threshold space, each channel is mapped
// through a 0/255 table of its range, and the three channel masks (viewed as
// one-plane children of the converted image) are combined into the
// destination. Each temporary sits in an OwnedBuffer, so a failure anywhere
// frees whatever exists at that moment, newest first.
#include <algorithm>
#include <array>
#include <cstdint>

#include <ozu/base.h>
#include <ozu/color.h>

#include "analysis/owned_buffer.h"
#include "convert/color_space_names.h"
#include "frame/entry_frame.h"
#include "frame/error_codes.h"
#include "frame/host_access.h"
#include "frame/parallel_jobs.h"

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

struct Shape {
    int32_t width, height, ext2, ext3;
};

struct Spaces {
    int32_t source, threshold;
};

int32_t element_bytes(int32_t type) { return type == BASE_TYPE_S16 || type == BASE_TYPE_U16 ? 2 : 1; }

// Bytes of source, converted image and mask that one band should hold, so
// that they stay in a core's second-level cache from the conversion to the
// combination of the masks; and lines per band for them, or the caller's.
constexpr int64_t kThresholdBandBytes = int64_t{512} << 10;
int32_t threshold_band_lines(int32_t height, int64_t lineBytes) {
    const int32_t asked = active_runner().bandLines;
    if (asked > 0) return std::min(asked, std::max(height, 1));
    return int32_t(std::clamp<int64_t>(kThresholdBandBytes / std::max<int64_t>(lineBytes, 1), 16,
                                       std::max(height, 16)));
}

// The image in the threshold space, unsigned 8-bit. Equal spaces only copy,
// which is also the one way a 16-bit source comes down to 8 bits: the
// conversion refuses to mix 8-bit and 16-bit buffers.
void fill(int32_t source, int32_t converted, const Spaces& spaces) {
    int32_t target = converted;
    if (spaces.source == spaces.threshold) {
        check_host(IPL_PtBufCopy(source, &target, -1, -1, 0));
    } else if (COL_ConvertColorSpace(source, &target, make_code(spaces.source, spaces.threshold)) ==
               0) {
        raise_host();
    }
}

// Each converted channel becomes its 0/255 mask through the table, and the
// three masks, viewed as one-plane children, are combined left to right into
// the destination, which is inverted afterwards for mode bit 1.
void map_and_combine(int32_t converted, int32_t destination, int32_t table, const Shape& shape,
                     int32_t mode) {
    {
        int32_t target = converted;
        check_host(IPL_PtLutMap(converted, -1, &target, table));
    }
    OwnedBuffer masks[3];
    for (int32_t p = 0; p < 3; ++p) {
        check_host(IPL_BufAllocChild(masks[p].slot(), converted, 0, 0, p, 0, 0, shape.width,
                                     shape.height, 1, shape.ext2, shape.ext3));
        BASE_GetAtBuffer(masks[p].get());
    }
    const int32_t op = (mode & 1) != 0 ? kOpOr : kOpAnd;
    int32_t result = destination;
    check_host(IPL_PtToPoint(masks[0].get(), masks[1].get(), &result, op));
    check_host(IPL_PtToPoint(result, masks[2].get(), &result, op));
    masks[2].reset();
    masks[1].reset();
    masks[0].reset();
    if ((mode & 2) != 0) check_host(IPL_PtToPoint(result, -1, &result, kOpNot));
}

// Lines [first, first + band.height) of every block, through views of the
// three images.
void threshold_band(int32_t source, int32_t converted, int32_t destination, int32_t table,
                    const Shape& band, int32_t first, const Spaces& spaces, int32_t mode) {
    OwnedBuffer in, out, result;
    check_host(IPL_BufAllocChild(in.slot(), source, 0, first, 0, 0, 0, band.width, band.height, 3,
                                 band.ext2, band.ext3));
    check_host(IPL_BufAllocChild(out.slot(), converted, 0, first, 0, 0, 0, band.width,
                                 band.height, 3, band.ext2, band.ext3));
    check_host(IPL_BufAllocChild(result.slot(), destination, 0, first, 0, 0, 0, band.width,
                                 band.height, 1, band.ext2, band.ext3));
    fill(in.get(), out.get(), spaces);
    map_and_combine(out.get(), result.get(), table, band, mode);
}

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

    OwnedBuffer converted;
    check_host(IPL_BufAlloc(converted.slot(), width, height, 3, ext2, ext3, BASE_TYPE_U8,
                            BASE_KIND_IMAGE, 0));
    BASE_GetAtBuffer(converted.get());

    // Plane k of the table turns channel k into its 0/255 mask.
    OwnedBuffer table;
    const auto make_table = [&] {
        check_host(IPL_BufAlloc(table.slot(), 256, 1, 3, 1, 1, BASE_TYPE_U8, BASE_KIND_TABLE, 0));
        BASE_GetAtBuffer(table.get());
        for (int32_t k = 0; k < 3; ++k) {
            std::array<uint8_t, 256> line{};
            const int32_t low = static_cast<int32_t>(ranges[k].low);
            const int32_t high = static_cast<int32_t>(ranges[k].high);
            for (int32_t v = 0; v < 256; ++v) line[v] = (low <= v && v <= high) ? 255 : 0;
            check_host(IPL_PutBufData(table.get(), 0, 0, k, 0, 0, 256, 1, line.data()));
        }
    };
    const Shape shape{width, height, ext2, ext3};
    const Spaces spaces{srcSpace, thresholdSpace};

    // Large images go band by band, so that a band's converted lines are
    // mapped and combined while they are still in the cache, and the bands
    // run through the calling thread's runner. A band is a set of views
    // (child buffers) of the same lines of the source, the converted image
    // and the destination, worked on by the same host operations as the
    // whole image; they work pixel by pixel, so the bits are those of one
    // pass over the whole. An HSV source converted into another space than
    // RGB is the exception: a pixel whose hue is out of range shows what
    // the line before left in the conversion's intermediate lines, so it is
    // converted in one piece.
    const int64_t lineBytes =
        int64_t{width} * (3 * element_bytes(inquire(source, BASE_ATTR_TYPE)) + 3 + 1);
    const int32_t perBand = threshold_band_lines(height, lineBytes);
    if (perBand < height && !(srcSpace == kSpaceHSV && thresholdSpace != kSpaceRGB)) {
        make_table();
        if (!for_each_band_of(height, perBand, [&](int32_t first, int32_t end) {
                threshold_band(source, converted.get(), *destination, table.get(),
                               {width, end - first, ext2, ext3}, first, spaces, mode);
                return true;
            }))
            raise_host();
        return;
    }
    fill(source, converted.get(), spaces);
    make_table();
    map_and_combine(converted.get(), *destination, table.get(), shape, mode);
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
