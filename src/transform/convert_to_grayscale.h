// Colour to grey: three planes reduced to one, their weighted sum.
#pragma once

#include <cstdint>
#include <type_traits>

#include "frame/fixed_point.h"
#include "transform/type_scale.h"
#include "transform/weighted_conversion.h"

namespace ozu {

// One pixel: g = (s0 w0 + s1 w1 + s2 w2) >> 13 in 32-bit wrap-around
// arithmetic, then, across types, (g x F) >> 13 with the type scale F. Unlike
// the way to colour, the sum is shifted down before the type scale applies.
// Nothing is clamped; the store truncates to the destination element. Weights
// (0.299, 0.587, 0.114) sum to 8190, so white 255 gives 254.
template <class S, class D>
constexpr D to_grayscale_pixel(int32_t s0, int32_t s1, int32_t s2, const FixedWeights& fw) {
    const int32_t g = unfix(wadd(wadd(wmul(s0, fw.w[0]), wmul(s1, fw.w[1])), wmul(s2, fw.w[2])));
    if constexpr (std::is_same_v<S, D>)
        return static_cast<D>(g);
    else
        return static_cast<D>(unfix(wmul(g, type_scale<S, D>)));
}

// Reduces planes 0..2 of src into plane 0 of dst with the weights w0..w2
// (not checked here). The trailing pointers only select the instance.
template <class S, class D>
bool tmpl_convert_to_grayscale(int32_t src, int32_t dst, double w0, double w1, double w2, S*,
                               D*) {
    const FixedWeights fw = fix_weights(w0, w1, w2);
    return walk_weighted<S, D>(src, dst, 3, 1,
                               [&](const S* const* in, D* const* out, int32_t width) {
                                   for (int32_t x = 0; x < width; ++x)
                                       out[0][x] = to_grayscale_pixel<S, D>(in[0][x], in[1][x],
                                                                            in[2][x], fw);
                               });
}

}  // namespace ozu
