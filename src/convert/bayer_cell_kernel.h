// subBM2RGB: the line kernel that reduces each 2x2 cell of two Bayer-mosaic
// lines to one RGB pixel (no interpolation; the demosaicing proper lives in
// the Bayer conversion path).
#pragma once

#include <cstdint>

#include "convert/line_kernel.h"

namespace ozu {

// Cell layout: green at top-left and bottom-right, red at top-right, blue at
// bottom-left. For i = 0, 2, 4, ... while i < width, pixel k = i / 2 gets
//   dst[0][k] = line0[i + 1]
//   dst[1][k] = (line0[i] + line1[i + 1]) / 2   (toward zero)
//   dst[2][k] = line1[i]
// so the output line has (width + 1) / 2 pixels. For an odd width the last
// cell reads element `width` of both lines: each line must hold an even
// number of elements, width rounded up. The ranges must be equal (the values
// are only rearranged); otherwise nothing is written and the result is false.
template <class S, class D>
bool subBM2RGB(const S* line0, const S* line1, D* const dst[3], int32_t width, int32_t srcMax,
               int32_t dstMax);

#define OZU_BAYER_CELL_PAIRS(X) OZU_ALL_PIXEL_PAIRS(X)

#define OZU_X(S, D)                                                                          \
    extern template bool subBM2RGB<S, D>(const S*, const S*, D* const[3], int32_t, int32_t, \
                                         int32_t);
OZU_BAYER_CELL_PAIRS(OZU_X)
#undef OZU_X

}  // namespace ozu
