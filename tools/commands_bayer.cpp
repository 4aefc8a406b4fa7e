// ozu-color demosaic: a raw Bayer mosaic to colour or grey.

#include <ozu/base.h>
#include <ozu/color.h>

#include "command_line.h"
#include "commands.h"
#include "image_io.h"

namespace ozu::tool {
namespace {

constexpr const char* kUsage =
    "usage: ozu-color demosaic [--pattern P | --parity N] [--to RGB|I] INPUT OUTPUT\n"
    "\n"
    "Demosaics a raw Bayer image, one sample per pixel as a camera sensor\n"
    "delivers it (a PGM P5, or a grey PNG, at least 2 x 2 pixels), into colour\n"
    "or grey (COL_ConvertColorSpace from the Bayer raw space; bilinear\n"
    "interpolation). The library's mosaic path works on 8-bit samples only: a\n"
    "16-bit mosaic (a 12-bit one stored in 16 bits included) is rescaled to 8\n"
    "bits by range first and the result is 8-bit; a note says so.\n"
    "\n"
    "options:\n"
    "  --pattern P      the colours of the top-left 2x2 cell, row by row: RGGB,\n"
    "                   BGGR, GRBG or GBRG (default GRBG)\n"
    "  --parity N       the same as the library's number (default 0):\n"
    "                     0 = GRBG (G R / B G)   1 = RGGB (R G / G B)\n"
    "                     2 = BGGR (B G / G R)   3 = GBRG (G B / R G)\n"
    "  --to SPACE       RGB (default), or I for grey\n"
    "  --type T         u8 (default), or s8: the mosaic path takes 8-bit pixels\n"
    "\n"
    "example:\n"
    "  ozu-color demosaic --pattern RGGB raw.pgm colour.png\n";

// The library's parity numbers and the cells they stand for.
constexpr const char* kPatterns[4] = {"GRBG", "RGGB", "BGGR", "GBRG"};

int32_t parity_of(const Arguments& args) {
    const auto pattern = args.value("pattern");
    const auto parityText = args.value("parity");
    if (pattern && parityText) throw UsageError("give --pattern or --parity, not both");
    if (pattern) {
        for (int32_t k = 0; k < 4; ++k)
            if (*pattern == kPatterns[k]) return k;
        throw UsageError(COL_ERR_RANGE,
                         "bad --pattern '" + *pattern + "': expected RGGB, BGGR, GRBG or GBRG");
    }
    const std::string text = parityText.value_or("0");
    const int32_t parity = parse_int32(text, "--parity");
    if (parity < 0 || parity > 3)
        throw UsageError(COL_ERR_RANGE, "bad --parity '" + text + "': expected 0, 1, 2 or 3");
    return parity;
}

void run(const Invocation& inv) {
    const Arguments args(inv.words,
                         {{"pattern", true}, {"parity", true}, {"to", true}, {"type", true}});
    args.expect_positional(2, 2, "INPUT OUTPUT");
    const int32_t parity = parity_of(args);
    const std::string toName = args.value_or("to", "RGB");
    const int32_t to = parse_space(toName, "--to");
    // The mosaic path serves these two; any other target would fail there
    // without a code of its own.
    if (to != COL_RGB && to != COL_I)
        throw UsageError(COL_ERR_COLOR_SPACE,
                         "bad --to '" + toName + "': the mosaic converts to RGB or I only");
    const int32_t type = parse_pixel_type(args.value_or("type", "u8"));
    if (type != BASE_TYPE_U8 && type != BASE_TYPE_S8)
        throw UsageError(COL_ERR_PIXEL_TYPE, "bad --type '" + *args.value("type") +
                                                 "': the mosaic path takes 8-bit pixels, u8 or s8");
    const std::string& input = args.positional()[0];
    const std::string& output = args.positional()[1];
    check_output_path(output, to == COL_I ? 1 : 3);

    int32_t depth = 0;
    HostBuffer raw = load_image(inv.out, input, type, 0, &depth);
    const int32_t planes = raw.attribute(BASE_ATTR_PLANES);
    if (planes != 1)
        throw ToolError(COL_ERR_PLANES, "'" + input + "' has " + std::to_string(planes) +
                                            " channels: a Bayer mosaic has one (a grey PGM or "
                                            "PNG straight from the sensor)");
    const int32_t width = raw.attribute(BASE_ATTR_WIDTH);
    const int32_t height = raw.attribute(BASE_ATTR_HEIGHT);
    if (width < 2 || height < 2)
        throw ToolError(width < 2 ? COL_ERR_WIDTH : COL_ERR_HEIGHT,
                        "'" + input + "' is " + std::to_string(width) + " x " +
                            std::to_string(height) +
                            " pixels: a Bayer mosaic needs at least one 2 x 2 cell");
    if (depth == 16)
        inv.out << "note: '" << input
                << "' has 16-bit samples; the library demosaics 8-bit ones, so they are "
                   "rescaled to 8 bits and the result is 8-bit\n";
    // The mosaic's layout travels on the buffer's descriptor, where the Bayer
    // path reads it.
    BASE_Buffer* descriptor = BASE_GetAtBuffer(raw.get());
    if (descriptor == nullptr) throw ToolError(COL_ERR_NO_BUFFER, "BASE_GetAtBuffer failed");
    descriptor->bayerParity = parity;

    HostBuffer result;
    library_call("COL_ConvertColorSpace", [&] {
        return COL_ConvertColorSpace(raw.get(), result.slot(), COL_CODE(COL_BAYER, to));
    });
    save_image(inv.out, result.get(), output,
               channel_meaning(to) + ", from the " + kPatterns[parity] + " mosaic");
}

}  // namespace

const Command kDemosaicCommand{"demosaic", "demosaic a raw Bayer image (RGGB, ...) into colour", kUsage,
                               run};

}  // namespace ozu::tool
