// The copy-out of the Bayer path: a line of packed RGB32 pixels (bytes R, G,
// B and a fourth byte that is dropped) spread into three planes.
#pragma once

#include <cstdint>

#include "frame/cpu_target.h"

namespace ozu {

template <class D>
using SpreadLine = void (*)(const uint8_t* packed, D* const planes[3], int32_t width);

namespace scalar {
// planes[p][x] = packed[4 x + p] for p = 0, 1, 2 and x < width, the byte
// taken as D. The reference of the vector versions.
template <class D>
void spread_rgb32(const uint8_t* packed, D* const planes[3], int32_t width);
}  // namespace scalar

// The versions for each CPU target, and the line spread of the active one.
template <class D>
const TargetTable<SpreadLine<D>>& spread_rgb32_targets();

template <class D>
void spread_rgb32(const uint8_t* packed, D* const planes[3], int32_t width);

// Every pixel type: the 16-bit ones serve the instances no caller reaches.
#define OZU_SPREAD_TYPES(X) X(int8_t) X(uint8_t) X(int16_t) X(uint16_t)
#define OZU_X(D)                                                                            \
    extern template void scalar::spread_rgb32<D>(const uint8_t*, D* const[3], int32_t);    \
    extern template const TargetTable<SpreadLine<D>>& spread_rgb32_targets<D>();           \
    extern template void spread_rgb32<D>(const uint8_t*, D* const[3], int32_t);
OZU_SPREAD_TYPES(OZU_X)
#undef OZU_X

}  // namespace ozu
