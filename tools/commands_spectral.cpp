// ozu-color spectral: the colour of light of one wavelength, or of them all.

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <ozu/color.h>

#include "command_line.h"
#include "commands.h"
#include "image_io.h"

namespace ozu::tool {
namespace {

constexpr const char* kUsage =
    "usage: ozu-color spectral WAVELENGTH [--space SPACE]\n"
    "       ozu-color spectral --strip OUTPUT [--space SPACE] [--height H]\n"
    "\n"
    "Prints the colour of light of one wavelength, 380 to 779 nm, as three\n"
    "components from 0 to 1 (COL_SpectralToColor). Only the hue of the light\n"
    "counts, not its brightness.\n"
    "\n"
    "options:\n"
    "  --space SPACE    CMY, I, HLS, HSV or RGB (default RGB); the library accepts\n"
    "                   the other spaces too and gives the RGB values for them,\n"
    "                   which are labelled R, G, B\n"
    "  --strip OUTPUT   write the whole band instead: 400 columns, 380 to 779 nm,\n"
    "                   each the three components at 8 bits\n"
    "  --height H       lines of the strip (default 32)\n"
    "\n"
    "examples:\n"
    "  ozu-color spectral 550\n"
    "  ozu-color spectral --strip spectrum.png\n";

constexpr int32_t kFirst = 380;
constexpr int32_t kLast = 779;

// The space whose values COL_SpectralToColor gives for `space`: the linear
// spaces get RGB's, as the library has always answered.
int32_t answered_space(int32_t space) {
    switch (space) {
        case COL_XYZ601:
        case COL_XYZ709:
        case COL_XYZITU:
        case COL_YCC:
        case COL_YIQ:
        case COL_YUV:
            return COL_RGB;
        default:
            return space;
    }
}

struct Components {
    double v[3] = {};
};

Components spectral(int32_t wavelength, int32_t space) {
    Components c;
    library_call("COL_SpectralToColor",
                 [&] { return COL_SpectralToColor(wavelength, space, &c.v[0], &c.v[1], &c.v[2]); });
    return c;
}

// Channel names of the space's model; "component k" where the model has none
// (I reports one grey value and two more).
std::vector<std::string> component_names(int32_t space) {
    std::vector<std::string> names = channel_names(space);
    while (names.size() < 3) names.push_back("component " + std::to_string(names.size() + 1));
    return names;
}

// "RGB", or "RGB (the library's answer for YUV)" where it answers in RGB.
std::string answered(int32_t space) {
    const int32_t actual = answered_space(space);
    if (actual == space) return space_name(space);
    return space_name(actual) + " (the library's answer for " + space_name(space) + ")";
}

uint16_t to_byte(double v) {
    const double scaled = std::floor(v * 255.0 + 0.5);
    return static_cast<uint16_t>(scaled < 0.0 ? 0.0 : (scaled > 255.0 ? 255.0 : scaled));
}

void run(const Invocation& inv) {
    const Arguments args(inv.words, {{"space", true}, {"strip", true}, {"height", true}});
    const int32_t space = parse_space(args.value_or("space", "RGB"), "--space");

    if (const auto strip = args.value("strip")) {
        args.expect_positional(0, 0, "no WAVELENGTH with --strip");
        const int32_t height = parse_int32(args.value_or("height", "32"), "--height");
        if (height < 1 || height > kMaxSide)
            throw ToolError(COL_ERR_RANGE, "bad --height '" + std::to_string(height) +
                                               "': expected 1 to " + std::to_string(kMaxSide));
        check_output_path(*strip, 3);
        Raster raster(kLast - kFirst + 1, height, 3, 8);
        for (int32_t nm = kFirst; nm <= kLast; ++nm) {
            const Components c = spectral(nm, space);
            for (int32_t y = 0; y < height; ++y)
                for (int32_t k = 0; k < 3; ++k) raster.at(nm - kFirst, y, k) = to_byte(c.v[k]);
        }
        const std::vector<std::string> names = component_names(answered_space(space));
        save_raster(inv.out, raster, *strip,
                    "column x = " + std::to_string(kFirst) + " + x nm; channel 1 = " + names[0] +
                        ", channel 2 = " + names[1] + ", channel 3 = " + names[2] + " (" +
                        answered(space) + "), 0..1 as 0..255");
        return;
    }

    args.expect_positional(1, 1, "WAVELENGTH");
    const int32_t wavelength = parse_int32(args.positional()[0], "WAVELENGTH");
    const Components c = spectral(wavelength, space);
    const std::vector<std::string> names = component_names(answered_space(space));
    char line[256];
    std::snprintf(line, sizeof line, "%d nm in %s: %s = %.6f, %s = %.6f, %s = %.6f",
                  static_cast<int>(wavelength), answered(space).c_str(), names[0].c_str(), c.v[0],
                  names[1].c_str(), c.v[1], names[2].c_str(), c.v[2]);
    inv.out << line << '\n';
}

}  // namespace

const Command kSpectralCommand{"spectral", "the colour of a wavelength (380..779 nm)", kUsage, run};

}  // namespace ozu::tool
