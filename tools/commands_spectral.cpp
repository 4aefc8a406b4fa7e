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
    "  --space SPACE    CMY, I, HLS, HSV or RGB (default RGB); the other names\n"
    "                   are accepted and give the RGB values\n"
    "  --strip OUTPUT   write the whole band instead: 400 columns, 380 to 779 nm,\n"
    "                   each the three components at 8 bits\n"
    "  --height H       lines of the strip (default 32)\n"
    "\n"
    "examples:\n"
    "  ozu-color spectral 550\n"
    "  ozu-color spectral --strip spectrum.png\n";

constexpr int32_t kFirst = 380;
constexpr int32_t kLast = 779;

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
    std::vector<std::string> names;
    const std::string model = space_name(space);
    for (int32_t k = 0; k < 3; ++k) {
        char text[64] = {};
        std::strncpy(text, model.c_str(), sizeof text - 1);
        char channel[64] = {};
        IPL_SetErrorCode(0);
        if (COL_ExtractModel(text, k, channel, sizeof channel) == 0 || channel[0] == '\0')
            names.push_back("component " + std::to_string(k + 1));
        else
            names.emplace_back(channel);
    }
    return names;
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
        const std::vector<std::string> names = component_names(space);
        save_raster(inv.out, raster, *strip,
                    "column x = " + std::to_string(kFirst) + " + x nm; channel 1 = " + names[0] +
                        ", channel 2 = " + names[1] + ", channel 3 = " + names[2] + " (" +
                        space_name(space) + "), 0..1 as 0..255");
        return;
    }

    args.expect_positional(1, 1, "WAVELENGTH");
    const int32_t wavelength = parse_int32(args.positional()[0], "WAVELENGTH");
    const Components c = spectral(wavelength, space);
    const std::vector<std::string> names = component_names(space);
    char line[256];
    std::snprintf(line, sizeof line, "%d nm in %s: %s = %.6f, %s = %.6f, %s = %.6f",
                  static_cast<int>(wavelength), space_name(space).c_str(), names[0].c_str(), c.v[0],
                  names[1].c_str(), c.v[1], names[2].c_str(), c.v[2]);
    inv.out << line << '\n';
}

}  // namespace

const Command kSpectralCommand{"spectral", "the colour of a wavelength (380..779 nm)", kUsage, run};

}  // namespace ozu::tool
