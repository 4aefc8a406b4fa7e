// Grey to colour: one plane spread into three, each the grey value times its
// own weight.
#pragma once

#include <cstdint>
#include <type_traits>

#include "frame/fixed_point.h"
#include "transform/type_scale.h"
#include "transform/weighted_conversion.h"

namespace ozu {

// One pixel, plane k of three. For equal types (s x w) >> 13. Across types
// the type scale joins the product before the single shift by 26, so both
// multiplications wrap in 32 bits: an unsigned 8-bit 255 at weight 1.0 into
// unsigned 16-bit is 255 x 8192 x 2105344, far beyond 32 bits. Results are
// pinned to that wrapped value. Nothing is clamped; the store truncates to
// the destination element.
template <class S, class D>
constexpr D to_color_pixel(int32_t s, int32_t weight) {
    if constexpr (std::is_same_v<S, D>)
        return static_cast<D>(unfix(wmul(s, weight)));
    else
        return static_cast<D>(wmul(wmul(s, weight), type_scale<S, D>) >> (2 * kFixBits));
}

// Spreads plane 0 of src into planes 0..2 of dst with the weights w0..w2
// (not checked here). The trailing pointers only select the instance.
template <class S, class D>
bool tmpl_convert_to_color(int32_t src, int32_t dst, double w0, double w1, double w2, S*, D*) {
    const FixedWeights fw = fix_weights(w0, w1, w2);
    return walk_weighted<S, D>(src, dst, 1, 3,
                               [&](const S* const* in, D* const* out, int32_t width) {
                                   for (int32_t x = 0; x < width; ++x) {
                                       const int32_t s = in[0][x];
                                       for (int k = 0; k < 3; ++k)
                                           out[k][x] = to_color_pixel<S, D>(s, fw.w[k]);
                                   }
                               });
}

}  // namespace ozu
