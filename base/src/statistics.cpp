// Statistics over whole buffers: the histogram of each plane, the column
// profile of an image, and the length of a line profile. The results are new
// signed 32-bit table buffers (pixel type 6, kind 2).

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "buffer_view.h"

namespace ozu::base {
namespace {

constexpr int64_t kInt32Max = std::numeric_limits<int32_t>::max();
constexpr int64_t kInt32Min = std::numeric_limits<int32_t>::min();

int32_t saturate(int64_t v) { return static_cast<int32_t>(std::clamp(v, kInt32Min, kInt32Max)); }

// -------------------------------------------------------------- histogram

// Counts one plane of one block into `bins`, indexed by the pixel's bit
// pattern read as unsigned (U is the unsigned type of the element's width).
template <class U>
void count_block(const BufferView& src, int32_t p, int32_t i, int32_t j,
                 std::vector<uint64_t>& bins) {
    for (int32_t y = 0; y < src.height; ++y) {
        const U* in = src.line<U>(p, i, j, y);
        for (int32_t x = 0; x < src.width; ++x) ++bins[in[x]];
    }
}

int32_t histogram(int32_t srcHandle, int32_t* histHandle) {
    BufferView src;
    if (!view_of(srcHandle, src)) return fail(BASE_ERR_NO_BUFFER);
    if (histHandle == nullptr) return fail(BASE_ERR_ARGUMENT);
    if (!is_image_type(src.type)) return fail(BASE_ERR_PIXEL_TYPE);
    if (!src.has_pixels()) return fail(BASE_ERR_REGION);

    const int32_t bins = src.elementSize == 1 ? 256 : 65536;
    // Counted wide: the bins of a 16-bit image can hold more pixels than a
    // 32-bit bin reports; such a bin is stored saturated at 2^31 - 1.
    before_allocation("host: histogram counts");
    std::vector<std::vector<uint64_t>> counts(std::size_t(src.planes),
                                              std::vector<uint64_t>(std::size_t(bins)));
    for_each_block(src, [&](int32_t p, int32_t i, int32_t j) {
        if (src.elementSize == 1) {
            count_block<uint8_t>(src, p, i, j, counts[p]);
        } else {
            count_block<uint16_t>(src, p, i, j, counts[p]);
        }
    });

    BufferView hist;
    int32_t created = -1;
    if (!create_buffer(&created, hist, bins, 1, src.planes, 1, 1, BASE_TYPE_S32, BASE_KIND_TABLE,
                       nullptr)) {
        return 0;
    }
    for (int32_t p = 0; p < src.planes; ++p) {
        int32_t* out = hist.line<int32_t>(p, 0, 0, 0);
        for (int32_t k = 0; k < bins; ++k) {
            out[k] = static_cast<int32_t>(std::min<uint64_t>(counts[p][k], kInt32Max));
        }
    }
    *histHandle = created;
    return 1;
}

// ---------------------------------------------------------------- profile

// The mean of `count` values summing to `sum`, halves rounded away from
// zero, in integers: (2 |sum| + count) / (2 count) with the sign put back.
int64_t rounded_mean(int64_t sum, int64_t count) {
    // |sum| <= 2^31 x count, and count is a line count: 2 |sum| + count
    // stays below 2^64.
    const uint64_t magnitude = sum < 0 ? uint64_t(-(sum + 1)) + 1 : uint64_t(sum);
    const uint64_t q = (2 * magnitude + uint64_t(count)) / (2 * uint64_t(count));
    return sum < 0 ? -int64_t(q) : int64_t(q);
}

template <class T>
void profile_block(const BufferView& src, const BufferView& out, int32_t p, int32_t i,
                   int32_t j, int32_t mode, std::vector<int64_t>& sums) {
    std::fill(sums.begin(), sums.end(), 0);
    for (int32_t y = 0; y < src.height; ++y) {
        const T* in = src.line<T>(p, i, j, y);
        for (int32_t x = 0; x < src.width; ++x) sums[std::size_t(x)] += in[x];
    }
    int32_t* result = out.line<int32_t>(p, i, j, 0);
    for (int32_t x = 0; x < src.width; ++x) {
        const int64_t sum = sums[std::size_t(x)];
        // A sum over many lines of 16-bit or 32-bit pixels may not fit the
        // 32-bit result: it is stored saturated. A mean always fits.
        result[x] = mode == 0 ? saturate(sum) : saturate(rounded_mean(sum, src.height));
    }
}

int32_t profile(int32_t srcHandle, int32_t* profileHandle, int32_t mode) {
    BufferView src;
    if (!view_of(srcHandle, src)) return fail(BASE_ERR_NO_BUFFER);
    if (profileHandle == nullptr || (mode != 0 && mode != 1)) return fail(BASE_ERR_ARGUMENT);
    if (!src.has_pixels()) return fail(BASE_ERR_REGION);

    before_allocation("host: profile sums");
    std::vector<int64_t> sums(std::size_t(src.width));
    BufferView out;
    int32_t created = -1;
    if (!create_buffer(&created, out, src.width, 1, src.planes, src.ext2, src.ext3,
                       BASE_TYPE_S32, BASE_KIND_TABLE, nullptr)) {
        return 0;
    }
    visit_element_type(src.type, [&](auto* t) {
        using T = std::remove_pointer_t<decltype(t)>;
        for_each_block(src, [&](int32_t p, int32_t i, int32_t j) {
            profile_block<T>(src, out, p, i, j, mode, sums);
        });
    });
    *profileHandle = created;
    return 1;
}

// ---------------------------------------------------- line profile length

int32_t line_profile_length(int32_t x0, int32_t y0, int32_t x1, int32_t y1, int32_t* length) {
    if (length == nullptr) return fail(BASE_ERR_ARGUMENT);
    const int64_t dx = int64_t(x1) - x0;
    const int64_t dy = int64_t(y1) - y0;
    const int64_t samples = std::max(dx < 0 ? -dx : dx, dy < 0 ? -dy : dy) + 1;
    // End points at opposite ends of the 32-bit range.
    if (samples > kInt32Max) return fail(BASE_ERR_ARGUMENT);
    *length = static_cast<int32_t>(samples);
    return 1;
}

}  // namespace
}  // namespace ozu::base

extern "C" {

// A new histogram of `src`: type 6, kind 2, one line of 256 bins (8-bit
// source) or 65536 bins (16-bit), one plane per source plane, extents 1 and
// 1, counting every block; the bin of a pixel is its bit pattern read as
// unsigned; a count above 2^31 - 1 is stored as 2^31 - 1. The incoming value
// of *hist is not used. Errors: -1001 unknown src; -1002 null hist; -1008
// src of type 6; -1005 src without pixel data; -1003 no memory.
OZU_BASE_API int32_t IPL_StatHistogram(int32_t src, int32_t* hist) {
    return ozu::base::guarded([&] { return ozu::base::histogram(src, hist); });
}

// max(|x1 - x0|, |y1 - y0|) + 1. Errors: -1002 null length, or a length
// above 2^31 - 1.
OZU_BASE_API int32_t IPL_StatGetLineProfileLength(int32_t x0, int32_t y0, int32_t x1,
                                                  int32_t y1, int32_t* length) {
    return ozu::base::guarded(
        [&] { return ozu::base::line_profile_length(x0, y0, x1, y1, length); });
}

// A new buffer of type 6 and kind 2, width = source width, height 1, the
// source's planes and extents. Mode 0: each column's sum over all lines
// (saturated to the 32-bit range); mode 1: its mean, halves rounded away from
// zero. Any pixel type. The incoming value of *profile is not used. Errors:
// -1001 unknown src; -1002 null profile or mode not 0 or 1; -1005 src
// without pixel data; -1003 no memory.
OZU_BASE_API int32_t IPL_StatProfile(int32_t src, int32_t* profile, int32_t mode) {
    return ozu::base::guarded([&] { return ozu::base::profile(src, profile, mode); });
}

}  // extern "C"
