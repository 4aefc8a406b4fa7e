// COL_GetMaxContrastPlane: the channel, among the source's own and those of
// candidate colour-space conversions, in which an edge across a line is
// strongest, written out for the whole image.
//
// The image is sampled along the line into a strip, the strip summed across
// into one profile per plane and block, and each profile's strongest step
// measured. The strip, not the image, is converted for every candidate; only
// the winner is converted in full. Hue planes are rotated before they are
// measured and when written, because hue wraps around at 255/0: an object
// whose hue straddles that point would otherwise show an edge of its own.
//
// Buffers made for the search are freed on the way to success only: a
// failure leaves them as they are (see the interface's warning).
#include "analysis/max_contrast.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "convert/color_space_names.h"
#include "frame/allocation_hook.h"
#include "frame/entry_frame.h"
#include "frame/error_codes.h"
#include "frame/fixed_point.h"
#include "frame/host_access.h"

namespace ozu {
namespace {

constexpr EntryTexts kTexts{"Leaving COL_GetMaxContrastPlane - Error: %s (%d)",
                            "Leaving COL_GetMaxContrastPlane - Win32 Error: %ld"};

// The trailing arguments the host takes for these requests: bilinear
// sampling of the strip, column sums for profiles, a byte table, and a copy
// not limited in width or height. The copy's limits are the largest the
// host takes: 65535, enough for the images of old, cut the winning plane of
// a wider or taller image short.
constexpr int32_t kStripInterpolate = 1;
constexpr int32_t kProfileSum = 0;
constexpr int32_t kCopyAll = std::numeric_limits<int32_t>::max();

bool is_hue_space(int32_t space) { return space == kSpaceHLS || space == kSpaceHSV; }

// A new 256-entry unsigned 8-bit table turning v into rotate_hue(v, shift).
int32_t hue_table(int32_t shift) {
    int32_t table = -1;
    check_host(IPL_BufAlloc1D(&table, 256, BASE_TYPE_U8, BASE_KIND_TABLE, 0));
    int32_t pitch = 0;
    void* ptr = nullptr;
    check_host(IPL_GetPtr(table, BASE_MODE_WRITE, 0, 0, 0, &pitch, &ptr));
    uint8_t* entries = static_cast<uint8_t*>(ptr);
    for (int32_t v = 0; v < 256; ++v) entries[v] = rotate_hue(v, shift);
    check_host(IPL_ReleasePtr(table, BASE_MODE_WRITE, 0, 0, 0, ptr));
    return table;
}

// The running winner: its step, where it was found, and the rotation its
// plane had when it was measured.
struct Best {
    uint32_t step = 0;
    uint32_t plane = 0;
    uint32_t i = 0;
    uint32_t j = 0;
    uint32_t candidate = 0;
    int32_t hueShift = 0;
};

void get_max_contrast_plane(int32_t source, int32_t* destination, const int32_t* candidates,
                            uint32_t count, const uint32_t* line, uint32_t lineWidth,
                            uint32_t filterSize) {
    require_buffer(source);
    if (inquire(source, BASE_ATTR_KIND) != BASE_KIND_IMAGE) raise(kErrBufferKind);
    const int32_t width = inquire(source, BASE_ATTR_WIDTH);
    const int32_t height = inquire(source, BASE_ATTR_HEIGHT);

    const uint32_t x0 = line[0], y0 = line[1], x1 = line[2], y1 = line[3];
    if (x0 >= uint32_t(width) || x1 >= uint32_t(width) || y0 >= uint32_t(height) ||
        y1 >= uint32_t(height) || (x0 == x1 && y0 == y1)) {
        raise(kErrProfileArgs);
    }
    // The end points are inside the image, so they fit a signed 32-bit value.
    const int32_t px0 = int32_t(x0), py0 = int32_t(y0), px1 = int32_t(x1), py1 = int32_t(y1);
    int32_t length = 0;
    check_host(IPL_StatGetLineProfileLength(px0, py0, px1, py1, &length));
    if (filterSize > uint32_t(length) || filterSize % 2 == 0 || filterSize < 3 ||
        lineWidth % 2 == 0 || lineWidth == 0) {
        raise(kErrProfileArgs);
    }
    if (!strip_inside(x0, y0, x1, y1, lineWidth, length, width, height)) raise(kErrProfileArgs);

    inquire(source, BASE_ATTR_PLANES);  // read, not judged: any plane count competes
    inquire(source, BASE_ATTR_EXT2);
    inquire(source, BASE_ATTR_EXT3);
    const int32_t type = inquire(source, BASE_ATTR_TYPE);

    // A destination created here is the caller's from now on.
    if (*destination == -1) {
        check_host(IPL_BufAlloc(destination, width, height, 1, 1, 1, type, BASE_KIND_IMAGE, 0));
    }
    require_buffer(*destination);
    if (inquire(*destination, BASE_ATTR_KIND) != BASE_KIND_IMAGE) raise(kErrBufferKind);
    if (inquire(*destination, BASE_ATTR_PLANES) != 1) raise(kErrPlanes);
    if (inquire(*destination, BASE_ATTR_TYPE) != type) raise(kErrPixelType);
    if (inquire(*destination, BASE_ATTR_WIDTH) != width) raise(kErrWidth);
    if (inquire(*destination, BASE_ATTR_HEIGHT) != height) raise(kErrHeight);

    // Candidate 0: the strip as it is.
    int32_t strip = -1;
    check_host(IPL_StatLineProfileImage(source, &strip, px0, py0, px1, py1, int32_t(lineWidth),
                                        kStripInterpolate));
    int32_t profile = -1;
    check_host(IPL_StatProfile(strip, &profile, kProfileSum));
    Best best;
    ApplyFilter(profile, filterSize, &best.step, &best.plane, &best.i, &best.j);

    for (uint32_t k = 1; k <= count; ++k) {
        int32_t converted = -1;
        if (COL_ConvertColorSpace(strip, &converted, uint32_t(candidates[k - 1])) == 0)
            raise_host();
        const int32_t ext2 = inquire(converted, BASE_ATTR_EXT2);
        const int32_t ext3 = inquire(converted, BASE_ATTR_EXT3);
        const int32_t space = inquire(converted, BASE_ATTR_COLOR_SPACE);

        // Each block's hue is rotated on its own; the shift is remembered in
        // case that block's hue plane wins.
        std::vector<int32_t> shifts;
        if (is_hue_space(space)) {
            const int32_t stripWidth = inquire(converted, BASE_ATTR_WIDTH);
            const int32_t stripHeight = inquire(converted, BASE_ATTR_HEIGHT);
            before_allocation("colour: hue shifts");
            shifts.assign(std::size_t(ext2) * std::size_t(ext3), 0);
            for (int32_t bi = 0; bi < ext2; ++bi) {
                for (int32_t bj = 0; bj < ext3; ++bj) {
                    int32_t child = -1;
                    check_host(IPL_BufAllocChild2D(&child, converted, 0, 0, 0, bi, bj, stripWidth,
                                                   stripHeight));
                    int32_t shift = 0;
                    ShiftObjectHue(child, &child, &shift);
                    shifts[std::size_t(ext3) * bi + bj] = shift;
                    IPL_BufFree(child);
                }
            }
        }

        int32_t candidateProfile = -1;
        check_host(IPL_StatProfile(converted, &candidateProfile, kProfileSum));
        uint32_t step = 0, plane = 0, bi = 0, bj = 0;
        ApplyFilter(candidateProfile, filterSize, &step, &plane, &bi, &bj);
        // Strictly greater: on a tie the earlier candidate, and the source
        // before any candidate, keeps the place.
        if (step > best.step) {
            best = Best{step, plane, bi, bj, k, 0};
            if (is_hue_space(space) && plane == 0)
                best.hueShift = shifts[std::size_t(ext3) * bi + bj];
        }
        IPL_BufFree(candidateProfile);
        IPL_BufFree(converted);
    }
    IPL_BufFree(profile);
    IPL_BufFree(strip);

    // The winning plane of the whole image.
    int32_t result = source;
    if (best.candidate != 0) {
        result = -1;
        if (COL_ConvertColorSpace(source, &result, uint32_t(candidates[best.candidate - 1])) == 0)
            raise_host();
    }
    int32_t child = -1;
    check_host(IPL_BufAllocChild2D(&child, result, 0, 0, int32_t(best.plane), int32_t(best.i),
                                   int32_t(best.j), width, height));
    if (is_hue_space(inquire(result, BASE_ATTR_COLOR_SPACE)) && best.plane == 0) {
        const int32_t table = hue_table(best.hueShift);
        check_host(IPL_PtLutMap(child, -1, destination, table));
        IPL_BufFree(table);
    } else {
        check_host(IPL_PtBufCopy(child, destination, kCopyAll, kCopyAll, 0));
    }
    IPL_BufFree(child);
    if (result != source) IPL_BufFree(result);
}

}  // namespace

bool strip_inside(uint32_t x0, uint32_t y0, uint32_t x1, uint32_t y1, uint32_t lineWidth,
                  int32_t length, int32_t width, int32_t height) {
    if (lineWidth <= 1) return true;  // the corners are the end points
    const uint32_t halfWidth = (lineWidth - 1) / 2;
    const double f = double(halfWidth) / double(uint32_t(length));
    const double dx = double(wsub(int32_t(y1), int32_t(y0))) * f;
    const double dy = double(wsub(int32_t(x0), int32_t(x1))) * f;
    // Rounded by adding 0.5 and truncating toward zero, so a corner up to
    // half a pixel left of or above the image still counts as inside.
    const auto inside = [&](double x, double y) {
        const double cx = std::trunc(x + 0.5);
        const double cy = std::trunc(y + 0.5);
        return cx >= 0.0 && cx < double(width) && cy >= 0.0 && cy < double(height);
    };
    const double ax = double(x0), ay = double(y0), bx = double(x1), by = double(y1);
    return inside(ax + dx, ay + dy) && inside(ax - dx, ay - dy) && inside(bx + dx, by + dy) &&
           inside(bx - dx, by - dy);
}

int32_t ShiftObjectHue(int32_t hue, int32_t* result, int32_t* shift) {
    int32_t histogram = -1;
    check_host(IPL_StatHistogram(hue, &histogram));
    int32_t threshold = 0;
    check_host(IPL_StatBestThreshold(histogram, &threshold));
    IPL_BufFree(histogram);

    const int32_t s = wsub(128, threshold);
    if (shift != nullptr) *shift = s;
    const int32_t table = hue_table(s);
    check_host(IPL_PtLutMap(hue, -1, result, table));
    IPL_BufFree(table);
    return 1;
}

void ApplyFilter(int32_t profile, uint32_t filterSize, uint32_t* maxStep, uint32_t* plane,
                 uint32_t* i, uint32_t* j) {
    if (inquire(profile, BASE_ATTR_TYPE) != BASE_TYPE_S32) raise(kErrPixelType);
    *maxStep = 0;
    *plane = 0;
    *i = 0;
    *j = 0;
    const int32_t planes = inquire(profile, BASE_ATTR_PLANES);
    const int32_t ext2 = inquire(profile, BASE_ATTR_EXT2);
    const int32_t ext3 = inquire(profile, BASE_ATTR_EXT3);
    const int64_t n = inquire(profile, BASE_ATTR_WIDTH);
    const int64_t half = (filterSize - 1) / 2;

    for (int32_t bj = 0; bj < ext3; ++bj) {
        for (int32_t bi = 0; bi < ext2; ++bi) {
            for (int32_t p = 0; p < planes; ++p) {
                int32_t pitch = 0;
                void* ptr = nullptr;
                check_host(IPL_GetPtr(profile, BASE_MODE_READ, p, bi, bj, &pitch, &ptr));
                const int32_t* v = static_cast<const int32_t*>(ptr);
                for (int64_t k = 0; k < n; ++k) {
                    // The profile's ends are repeated outward.
                    const int32_t a = k - half > 0 ? v[k - half] : v[0];
                    const int32_t b = k + half < n ? v[k + half] : v[n - 1];
                    // |a - b| of the 32-bit difference, read unsigned.
                    const int32_t d = wsub(a, b);
                    const uint32_t step = d < 0 ? 0u - uint32_t(d) : uint32_t(d);
                    if (step > *maxStep) {
                        *maxStep = step;
                        *plane = uint32_t(p);
                        *i = uint32_t(bi);
                        *j = uint32_t(bj);
                    }
                }
                check_host(IPL_ReleasePtr(profile, BASE_MODE_READ, p, bi, bj, ptr));
            }
        }
    }
}

}  // namespace ozu

extern "C" OZU_COLOR_API int32_t COL_GetMaxContrastPlane(int32_t src, int32_t* dst,
                                                         const int32_t* candidates,
                                                         uint32_t count, const uint32_t* line,
                                                         uint32_t lineWidth,
                                                         uint32_t filterSize) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, ozu::kTexts, [&] {
        ozu::get_max_contrast_plane(src, dst, candidates, count, line, lineWidth, filterSize);
    });
}
