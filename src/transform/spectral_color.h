// The colour of monochromatic light: chromaticity from the colour-matching
// table, EBU RGB through the 13-bit XYZ -> RGB matrix, then the requested
// space through the conversion kernels, all on one 32-bit working pixel.
#pragma once

#include <cstdint>

namespace ozu {

// The working range of the one-pixel line: chromaticities and RGB in 0..65535.
inline constexpr int32_t kSpectralMax = 65535;

}  // namespace ozu
