// The colour distance image: how much nearer each pixel of an unsigned 8-bit
// three-plane image lies to a second reference colour than to a first one.
#pragma once

#include <cstdint>

#include "frame/cpu_target.h"

namespace ozu {

// A packed reference colour taken apart into the three values that planes 0,
// 1 and 2 are compared with.
struct ReferenceColor {
    int32_t c[3];
};

// Component 0 is the low byte of value / 65536, component 1 that of
// value / 256, component 2 the low byte of the value itself. The divisions
// are signed and truncate toward zero: for 0xRRGGBB this is the usual
// packing with plane 0 in bits 16-23, while a negative value gives other
// components than a plain shift would (-65536 is (255, 0, 0), -1 is
// (0, 0, 255)). Callers rely on exactly this, so it stays.
constexpr ReferenceColor unpack_reference(int32_t value) {
    return ReferenceColor{{(value / 65536) & 0xFF, (value / 256) & 0xFF, value & 0xFF}};
}

// One pixel. Each distance is the squared Euclidean distance to a reference
// colour over 765 (= 3 x 255), so that the largest possible one, 3 x 255^2,
// is 255. The result is (near - far) / (far + 1) truncated toward zero, taken
// through floating point plus 0.5 and truncated again, stored as its low
// byte: 0 wherever the pixel is at least as near to the first colour as to
// the second (then |near - far| < far + 1), at most 255 (near 255, far 0).
// No square root is taken and nothing needs clamping.
//
// The divisions are done in single precision because that lets the line loop
// be vectorised (there is no vector integer division), and they give the
// integer results exactly. Every operand is an integer below 2^18, so exact
// in a float, and every quotient is below 256 in magnitude, so its correctly
// rounded value is off by at most 2^-17; the exact quotient of a / b lies at
// least 1/b (b <= 765) away from the next integer further from zero. Hence
// truncating the float quotient truncates the true one.
inline uint8_t distance_pixel(int32_t p0, int32_t p1, int32_t p2, const ReferenceColor& first,
                              const ReferenceColor& second) {
    const auto sq = [](int32_t d) { return d * d; };
    const float sum1 = float(sq(p0 - first.c[0]) + sq(p1 - first.c[1]) + sq(p2 - first.c[2]));
    const float sum2 = float(sq(p0 - second.c[0]) + sq(p1 - second.c[1]) + sq(p2 - second.c[2]));
    const int32_t near = static_cast<int32_t>(sum1 / 765.0f);
    const int32_t far = static_cast<int32_t>(sum2 / 765.0f);
    const int32_t q = static_cast<int32_t>(float(near - far) / float(far + 1));
    return static_cast<uint8_t>(static_cast<int32_t>(float(q) + 0.5f));
}

// One image line: out[x] for the pixels (p0[x], p1[x], p2[x]), x < width.
// The versions for each CPU target (distance_line.cpp) all give the bits of
// the scalar one, which is distance_pixel applied pixel by pixel.
using DistanceLine = void (*)(const uint8_t* p0, const uint8_t* p1, const uint8_t* p2,
                              uint8_t* out, int32_t width, const ReferenceColor& first,
                              const ReferenceColor& second);

namespace scalar {
void distance_line(const uint8_t* __restrict p0, const uint8_t* __restrict p1,
                   const uint8_t* __restrict p2, uint8_t* __restrict out, int32_t width,
                   const ReferenceColor& first, const ReferenceColor& second);
}  // namespace scalar

const TargetTable<DistanceLine>& distance_line_targets();

// The line by the active target's version.
void distance_line(const uint8_t* p0, const uint8_t* p1, const uint8_t* p2, uint8_t* out,
                   int32_t width, const ReferenceColor& first, const ReferenceColor& second);

}  // namespace ozu
