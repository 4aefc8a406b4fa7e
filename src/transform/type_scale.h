// The scale between the ranges of two pixel types, as the colour transforms
// apply it: dstMax / srcMax x 8192 in single precision, truncated. Truncation
// means full scale does not always reach full scale (an unsigned 16-bit 65535
// lands on 247 in unsigned 8-bit, not 255); results are pinned to that, so the
// factor must never be rounded.
#pragma once

#include <array>
#include <cstdint>

#include "frame/fixed_point.h"
#include "frame/pixel_types.h"

namespace ozu {

// Rows are the source, columns the destination, both in pixel type code order
// (signed 8, unsigned 8, signed 16, unsigned 16). The diagonal is 1.0 (8192).
inline constexpr std::array<std::array<int32_t, 4>, 4> kTypeScale = [] {
    constexpr std::array<int32_t, 4> maxima = {pixel_max<int8_t>, pixel_max<uint8_t>,
                                               pixel_max<int16_t>, pixel_max<uint16_t>};
    std::array<std::array<int32_t, 4>, 4> table{};
    for (int s = 0; s < 4; ++s)
        for (int d = 0; d < 4; ++d) table[s][d] = range_factor(maxima[s], maxima[d]);
    return table;
}();

// The scale of one (source, destination) element pair.
template <class S, class D>
inline constexpr int32_t type_scale =
    kTypeScale[PixelTraits<S>::code - 1][PixelTraits<D>::code - 1];

// The factors callers rely on, held against single-precision evaluation on
// every compiler and host. A change here changes pixels.
static_assert(kTypeScale[0][0] == 8192 && kTypeScale[0][1] == 16448 &&
              kTypeScale[0][2] == 2113600 && kTypeScale[0][3] == 4227265,
              "signed 8-bit source row");
static_assert(kTypeScale[1][0] == 4079 && kTypeScale[1][1] == 8192 &&
              kTypeScale[1][2] == 1052655 && kTypeScale[1][3] == 2105344,
              "unsigned 8-bit source row");
static_assert(kTypeScale[2][0] == 31 && kTypeScale[2][1] == 63 &&
              kTypeScale[2][2] == 8192 && kTypeScale[2][3] == 16384,
              "signed 16-bit source row");
static_assert(kTypeScale[3][0] == 15 && kTypeScale[3][1] == 31 &&
              kTypeScale[3][2] == 4095 && kTypeScale[3][3] == 8192,
              "unsigned 16-bit source row");

}  // namespace ozu
