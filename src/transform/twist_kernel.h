// The per-line kernel of the colour twist: an affine 4x4 matrix in 13-bit
// fixed point applied to one line of three planes.
#pragma once

#include <cstdint>

#include "frame/fixed_point.h"

namespace ozu {

// Destination plane i of pixel x is
//   a = (s0 m[i] + s1 m[4+i] + s2 m[8+i] + (m[12+i] << 13)) >> 13
//   v = (a x scale) >> 13,   scale = dstMax / srcMax x 8192 (truncated)
// clamped to 0..dstMax. Column 3 of the matrix is never read.
//
// The offset row is shifted up by 13 although it already carries the 8192 of
// the fixed-point conversion, so an offset of 1.0 adds 8192 source levels:
// callers state offsets in those units and depend on it.
//
// Every step wraps in 32 bits and shifts arithmetically (negative values round
// toward minus infinity). The clamp also sends negative values to 0 for signed
// destinations: a twisted pixel is never negative.
//
// Always succeeds; a count of 0 or less touches nothing.
template <class S, class D>
bool sub4x4MatMult(const S* const* srcPlanes, D* const* dstPlanes, int32_t count,
                   int32_t srcMax, int32_t dstMax, const int32_t* matrix) {
    const int32_t scale = range_factor(srcMax, dstMax);
    const S* s0 = srcPlanes[0];
    const S* s1 = srcPlanes[1];
    const S* s2 = srcPlanes[2];
    for (int32_t x = 0; x < count; ++x) {
        const int32_t a0 = s0[x];
        const int32_t a1 = s1[x];
        const int32_t a2 = s2[x];
        for (int i = 0; i < 3; ++i) {
            int32_t sum = wmul(a0, matrix[i]);
            sum = wadd(sum, wmul(a1, matrix[4 + i]));
            sum = wadd(sum, wmul(a2, matrix[8 + i]));
            sum = wadd(sum, wshl(matrix[12 + i], kFixBits));
            int32_t v = unfix(wmul(unfix(sum), scale));
            if (v < 0) v = 0;
            if (v > dstMax) v = dstMax;
            dstPlanes[i][x] = static_cast<D>(v);
        }
    }
    return true;
}

}  // namespace ozu
