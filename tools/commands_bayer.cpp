// ozu-color demosaic: a raw Bayer mosaic to colour or grey.

#include <ozu/base.h>
#include <ozu/color.h>

#include "command_line.h"
#include "commands.h"
#include "image_io.h"

namespace ozu::tool {
namespace {

constexpr const char* kUsage =
    "usage: ozu-color demosaic [--parity N] [--to RGB|I] INPUT OUTPUT\n"
    "\n"
    "Demosaics a raw Bayer image, one 8-bit sample per pixel as a camera sensor\n"
    "delivers it (a PGM P5, or a grey PNG), into colour or grey\n"
    "(COL_ConvertColorSpace from the Bayer raw space; bilinear interpolation).\n"
    "\n"
    "options:\n"
    "  --parity N       the colours of the top-left 2x2 cell (default 0):\n"
    "                     0 = G R / B G   1 = R G / G B\n"
    "                     2 = B G / G R   3 = G B / R G\n"
    "  --to SPACE       RGB (default), or I for grey\n" OZU_TOOL_TYPE_HELP
    "                   Default here u8, since the mosaic path takes 8-bit\n"
    "                   images only.\n"
    "\n"
    "example:\n"
    "  ozu-color demosaic --parity 1 raw.pgm colour.png\n";

void run(const Invocation& inv) {
    const Arguments args(inv.words, {{"parity", true}, {"to", true}, {"type", true}});
    args.expect_positional(2, 2, "INPUT OUTPUT");
    const std::string parityText = args.value_or("parity", "0");
    const int32_t parity = parse_int32(parityText, "--parity");
    if (parity < 0 || parity > 3)
        throw ToolError(COL_ERR_RANGE, "bad --parity '" + parityText + "': expected 0, 1, 2 or 3");
    const std::string toName = args.value_or("to", "RGB");
    const int32_t to = parse_space(toName, "--to");
    // The mosaic path serves these two; any other target would fail there
    // without a code of its own.
    if (to != COL_RGB && to != COL_I)
        throw ToolError(COL_ERR_COLOR_SPACE,
                        "demosaic --to '" + toName + "': the mosaic converts to RGB or I only");
    const int32_t type = parse_pixel_type(args.value_or("type", "u8"));
    const std::string& input = args.positional()[0];
    const std::string& output = args.positional()[1];
    check_output_path(output, to == COL_I ? 1 : 3);

    HostBuffer raw = load_image(inv.out, input, type);
    // The mosaic's layout travels on the buffer's descriptor, where the Bayer
    // path reads it.
    BASE_Buffer* descriptor = BASE_GetAtBuffer(raw.get());
    if (descriptor == nullptr) throw ToolError(COL_ERR_NO_BUFFER, "BASE_GetAtBuffer failed");
    descriptor->bayerParity = parity;

    HostBuffer result;
    library_call("COL_ConvertColorSpace", [&] {
        return COL_ConvertColorSpace(raw.get(), result.slot(), COL_CODE(COL_BAYER, to));
    });
    save_image(inv.out, result.get(), output, channel_meaning(to));
}

}  // namespace

const Command kDemosaicCommand{"demosaic", "demosaic a raw Bayer image (PGM) into colour", kUsage,
                               run};

}  // namespace ozu::tool
