// Fixed-point arithmetic shared by every kernel.
//
// Weights and matrices carry 13 fraction bits: 8192 stands for 1.0, which keeps
// a coefficient's error below 1/8192 while a product of a 16-bit value and a
// coefficient of up to about 4.0 still fits in 32 bits. Sums wrap around in 32
// bits exactly as they did on the 32-bit platform the results are pinned to;
// the wrap is done in uint32_t so that no step relies on signed overflow.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace ozu {

inline constexpr int kFixBits = 13;
inline constexpr int32_t kFixOne = int32_t{1} << kFixBits;

// trunc(c x 8192): a real coefficient as the integer the tables hold.
constexpr int32_t fix(double c) { return static_cast<int32_t>(c * 8192.0); }

// Wrap-around 32-bit multiply and add.
constexpr int32_t wmul(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}
constexpr int32_t wadd(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
constexpr int32_t wsub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
// Wrap-around left shift (the value times 2^n, modulo 2^32).
constexpr int32_t wshl(int32_t a, int n) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) << n);
}

// Arithmetic shift right by 13: rounds toward minus infinity.
constexpr int32_t unfix(int32_t v) { return v >> kFixBits; }

// The range factor between two pixel ranges: dstMax / srcMax x 8192 computed in
// single precision and truncated. Truncation means full scale does not always
// reach full scale (65535 -> 255 gives 31, not 31.875); results depend on it.
constexpr int32_t range_factor(int32_t srcMax, int32_t dstMax) {
    const float ratio = static_cast<float>(dstMax) / static_cast<float>(srcMax);
    return static_cast<int32_t>(ratio * 8192.0f);
}

// trunc(c x 8192) with the conversion rules of the original platform made
// explicit: values beyond the 32-bit range saturate and NaN becomes INT32_MIN.
inline int32_t fix_saturating(double c) {
    const double v = c * 8192.0;
    if (std::isnan(v)) return std::numeric_limits<int32_t>::min();
    if (v >= 2147483648.0) return std::numeric_limits<int32_t>::max();
    if (v <= -2147483649.0) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(v);
}

}  // namespace ozu
