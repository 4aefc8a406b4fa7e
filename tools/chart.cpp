// The demo's test chart and its Bayer mosaic.

#include "chart.h"

#include <cmath>

namespace ozu::tool {
namespace {

constexpr uint32_t kPatches[2 * kPatchesPerRow] = {
    // primaries, secondaries, white and black
    0xFF0000,
    0x00FF00,
    0x0000FF,
    0x00FFFF,
    0xFF00FF,
    0xFFFF00,
    0xFFFFFF,
    0x000000,
    // greys
    0x404040,
    0x808080,
    0xC0C0C0,
    0x202020,
    // everyday colours: skin tones, foliage, sky, brick, ...
    0xE0AC69,
    0x8D5524,
    0x4F7942,
    0x87CEEB,
    0xB22222,
    0xFF8C00,
    0x6A5ACD,
    0x2E8B57,
    0xF5DEB3,
    0x800000,
    0x008080,
    0xFFC0CB,
};

uint16_t to_byte(double v) {
    const double scaled = std::floor(v * 255.0 + 0.5);
    return static_cast<uint16_t>(scaled < 0.0 ? 0.0 : (scaled > 255.0 ? 255.0 : scaled));
}

// Hue (degrees), saturation and lightness (0..1) to RGB (0..1), the usual
// hexcone construction.
void hsl_to_rgb(double hue, double saturation, double lightness, double rgb[3]) {
    const double chroma = (1.0 - std::fabs(2.0 * lightness - 1.0)) * saturation;
    const double sector = hue / 60.0;
    const double x = chroma * (1.0 - std::fabs(std::fmod(sector, 2.0) - 1.0));
    double r = 0, g = 0, b = 0;
    if (sector < 1) {
        r = chroma;
        g = x;
    } else if (sector < 2) {
        r = x;
        g = chroma;
    } else if (sector < 3) {
        g = chroma;
        b = x;
    } else if (sector < 4) {
        g = x;
        b = chroma;
    } else if (sector < 5) {
        r = x;
        b = chroma;
    } else {
        r = chroma;
        b = x;
    }
    const double m = lightness - chroma / 2.0;
    rgb[0] = r + m;
    rgb[1] = g + m;
    rgb[2] = b + m;
}

}  // namespace

uint32_t chart_patch_colour(int32_t index) { return kPatches[index]; }

Raster make_chart() {
    Raster chart(kChartWidth, kChartHeight, 3, 8);
    for (int32_t y = 0; y < kSweepLines; ++y) {
        const double lightness = 0.92 - 0.84 * y / double(kSweepLines - 1);
        for (int32_t x = 0; x < kChartWidth; ++x) {
            double rgb[3];
            hsl_to_rgb(360.0 * x / kChartWidth, 1.0, lightness, rgb);
            for (int32_t c = 0; c < 3; ++c) chart.at(x, y, c) = to_byte(rgb[c]);
        }
    }
    for (int32_t y = kRampTop; y < kRampTop + kRampLines; ++y)
        for (int32_t x = 0; x < kChartWidth; ++x)
            for (int32_t c = 0; c < 3; ++c)
                chart.at(x, y, c) = to_byte(x / double(kChartWidth - 1));
    for (int32_t y = kPatchTop; y < kChartHeight; ++y) {
        const int32_t row = (y - kPatchTop) / kPatchHeight;
        for (int32_t x = 0; x < kChartWidth; ++x) {
            const uint32_t colour = kPatches[row * kPatchesPerRow + x / kPatchWidth];
            chart.at(x, y, 0) = static_cast<uint16_t>((colour >> 16) & 0xFF);
            chart.at(x, y, 1) = static_cast<uint16_t>((colour >> 8) & 0xFF);
            chart.at(x, y, 2) = static_cast<uint16_t>(colour & 0xFF);
        }
    }
    return chart;
}

Raster make_bayer_mosaic(const Raster& rgb, int32_t parity) {
    // Channel (0 R, 1 G, 2 B) of each position of the top-left 2 x 2 cell,
    // [parity][line][column].
    static constexpr int32_t kCell[4][2][2] = {
        {{1, 0}, {2, 1}},  // G R / B G
        {{0, 1}, {1, 2}},  // R G / G B
        {{2, 1}, {1, 0}},  // B G / G R
        {{1, 2}, {0, 1}},  // G B / R G
    };
    Raster raw(rgb.width, rgb.height, 1, rgb.depth);
    for (int32_t y = 0; y < rgb.height; ++y)
        for (int32_t x = 0; x < rgb.width; ++x)
            raw.at(x, y, 0) = rgb.at(x, y, kCell[parity & 3][y & 1][x & 1]);
    return raw;
}

}  // namespace ozu::tool
