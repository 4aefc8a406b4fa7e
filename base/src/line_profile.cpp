// The line profile image: a strip sampled from an image along a segment,
// L samples along it (L = max(|x1 - x0|, |y1 - y0|) + 1) by `lineWidth`
// samples across it.
//
// Sample (k, m), k along the line and m across it, with h = (lineWidth - 1) / 2
// (a real number, so the strip is centred on the segment for any width):
//
//     P = P0 + k / (L - 1) * (P1 - P0) + (m - h) / L * (y1 - y0, x0 - x1)
//
// with k / (L - 1) taken as 0 when L is 1. P is computed in double, each
// operation rounded on its own and in that order, then clamped into the image
// (0 .. width - 1, 0 .. height - 1). Mode 0 takes the pixel at
// floor(P + 0.5). Mode 1 interpolates between the four pixels around P, with
// a = floor(P), f = P - a and the far neighbour clamped to the last column or
// line:
//
//     top    = v(ax, ay)     + fx * (v(ax + 1, ay)     - v(ax, ay))
//     bottom = v(ax, ay + 1) + fx * (v(ax + 1, ay + 1) - v(ax, ay + 1))
//     value  = round(top + fy * (bottom - top))
//
// rounding halves away from zero. Every step is one IEEE double operation,
// so all hosts produce the same strip.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "buffer_view.h"

namespace ozu::base {
namespace {

// Where one sample of a strip line reads the image.
struct Sample {
    int32_t x0, y0;  // the pixel, or the top-left of the four around it
    int32_t x1, y1;  // the right and lower neighbours, clamped into the image
    double fx, fy;   // the position's fractions past (x0, y0)
};

struct Segment {
    int32_t x0, y0;
    int64_t dx, dy;  // x1 - x0, y1 - y0
    int32_t length;
    double half;  // h
};

// The samples of strip line m.
void plan_line(const Segment& s, const BufferView& src, int32_t mode, int32_t m,
               std::vector<Sample>& line) {
    const double across = (double(m) - s.half) / double(s.length);
    const double xMax = double(src.width - 1);
    const double yMax = double(src.height - 1);
    for (int32_t k = 0; k < s.length; ++k) {
        const double along = s.length == 1 ? 0.0 : double(k) / double(s.length - 1);
        double px = double(s.x0) + along * double(s.dx) + across * double(s.dy);
        double py = double(s.y0) + along * double(s.dy) + across * double(-s.dx);
        px = std::clamp(px, 0.0, xMax);
        py = std::clamp(py, 0.0, yMax);
        Sample& sample = line[std::size_t(k)];
        if (mode == 0) {
            // P + 0.5 <= width - 0.5 after the clamp: the index stays inside.
            sample.x0 = sample.x1 = static_cast<int32_t>(std::floor(px + 0.5));
            sample.y0 = sample.y1 = static_cast<int32_t>(std::floor(py + 0.5));
            sample.fx = sample.fy = 0.0;
        } else {
            const double ax = std::floor(px);
            const double ay = std::floor(py);
            sample.x0 = static_cast<int32_t>(ax);
            sample.y0 = static_cast<int32_t>(ay);
            sample.x1 = std::min(sample.x0 + 1, src.width - 1);
            sample.y1 = std::min(sample.y0 + 1, src.height - 1);
            sample.fx = px - ax;
            sample.fy = py - ay;
        }
    }
}

template <class T>
void sample_block(const BufferView& src, const BufferView& out, int32_t p, int32_t i,
                  int32_t j, int32_t mode, int32_t m, const std::vector<Sample>& line) {
    T* result = out.line<T>(p, i, j, m);
    const auto at = [&](int32_t x, int32_t y) { return double(src.line<T>(p, i, j, y)[x]); };
    const double lo = double(std::numeric_limits<T>::min());
    const double hi = double(std::numeric_limits<T>::max());
    for (std::size_t k = 0; k < line.size(); ++k) {
        const Sample& s = line[k];
        if (mode == 0) {
            result[k] = src.line<T>(p, i, j, s.y0)[s.x0];
            continue;
        }
        const double a = at(s.x0, s.y0);
        const double b = at(s.x1, s.y0);
        const double c = at(s.x0, s.y1);
        const double d = at(s.x1, s.y1);
        const double top = a + s.fx * (b - a);
        const double bottom = c + s.fx * (d - c);
        const double value = std::round(top + s.fy * (bottom - top));
        // Already within the four pixels' range; the clamp only guards the
        // conversion.
        result[k] = static_cast<T>(std::clamp(value, lo, hi));
    }
}

int32_t line_profile_image(int32_t srcHandle, int32_t* strip, int32_t x0, int32_t y0,
                           int32_t x1, int32_t y1, int32_t lineWidth, int32_t mode) {
    BufferView src;
    if (!view_of(srcHandle, src)) return fail(BASE_ERR_NO_BUFFER);
    if (strip == nullptr || lineWidth < 1 || (mode != 0 && mode != 1)) {
        return fail(BASE_ERR_ARGUMENT);
    }
    if (!is_image_type(src.type)) return fail(BASE_ERR_PIXEL_TYPE);
    if (!src.has_pixels()) return fail(BASE_ERR_REGION);

    Segment segment{x0, y0, int64_t(x1) - x0, int64_t(y1) - y0, 0, (lineWidth - 1) / 2.0};
    const int64_t length =
        std::max(segment.dx < 0 ? -segment.dx : segment.dx,
                 segment.dy < 0 ? -segment.dy : segment.dy) + 1;
    if (length > std::numeric_limits<int32_t>::max()) return fail(BASE_ERR_ARGUMENT);
    segment.length = static_cast<int32_t>(length);

    // The strip first: a strip too large for memory is refused by the
    // allocation's own size check before anything else is taken.
    BufferView out;
    int32_t created = -1;
    if (!create_buffer(&created, out, segment.length, lineWidth, src.planes, src.ext2, src.ext3,
                       src.type, BASE_KIND_IMAGE, &src)) {
        return 0;
    }
    std::vector<Sample> line;
    try {
        before_allocation("host: profile samples");
        line.resize(std::size_t(segment.length));
    } catch (...) {
        discard_buffer(created);
        throw;
    }
    for (int32_t m = 0; m < lineWidth; ++m) {
        plan_line(segment, src, mode, m, line);
        visit_element_type(src.type, [&](auto* t) {
            using T = std::remove_pointer_t<decltype(t)>;
            for_each_block(src, [&](int32_t p, int32_t i, int32_t j) {
                sample_block<T>(src, out, p, i, j, mode, m, line);
            });
        });
    }
    *strip = created;
    return 1;
}

}  // namespace
}  // namespace ozu::base

extern "C" {

// A new image (kind 1) of width L = max(|x1 - x0|, |y1 - y0|) + 1 and height
// lineWidth, with the source's planes, pixel type, extents and colour space
// (when set), each block sampled from the same block of `src` as described
// at the top of this file. End points may lie outside the image: every
// sample is clamped into it. The incoming value of *strip is not used.
// Errors: -1001 unknown src; -1002 null strip, lineWidth < 1, mode not 0 or
// 1, or L above 2^31 - 1; -1008 src of type 6; -1005 src without pixel data;
// -1003 no memory.
OZU_BASE_API int32_t IPL_StatLineProfileImage(int32_t src, int32_t* strip, int32_t x0,
                                              int32_t y0, int32_t x1, int32_t y1,
                                              int32_t lineWidth, int32_t mode) {
    return ozu::base::guarded([&] {
        return ozu::base::line_profile_image(src, strip, x0, y0, x1, y1, lineWidth, mode);
    });
}

}  // extern "C"
