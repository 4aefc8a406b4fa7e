// The tint of one colour component: three 256-entry ramps (red, green, blue)
// that show the component's colour from its low to its high values.
#pragma once

#include <cstdint>

namespace ozu {

// One ramp per plane of the look-up table, indexed by the component value.
inline constexpr int32_t kTintEntries = 256;
using TintPlanes = uint8_t[3][kTintEntries];

// A linear tint: entry i of plane k is the low byte of trunc(factor[k] x i) +
// offset[k]. A negative factor with offset 255 runs from white down to the
// complementary colour.
struct LinearTint {
    double factor[3] = {0.0, 0.0, 0.0};
    int32_t offset[3] = {0, 0, 0};
};

// The fixed tints of the named components ("I", "R", "G", "B", "C", "M",
// "Yel", "S"), looked up by the compact channel name, compared whole. Returns
// false for any other name ("H" included: the hue has its own rainbow).
bool named_tint(const char* shortName, LinearTint& tint);

// Fills the three planes from a linear tint.
void fill_linear_tint(const LinearTint& tint, TintPlanes& planes);

// Fills the three planes with the hue rainbow: six segments of 43, 43, 42,
// 42, 43 and 43 entries, each stepping one primary by 6.
void fill_hue_rainbow(TintPlanes& planes);

}  // namespace ozu
