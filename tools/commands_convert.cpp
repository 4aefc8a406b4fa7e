// ozu-color convert: one image from one colour space into another.

#include <ozu/color.h>

#include "command_line.h"
#include "commands.h"
#include "image_io.h"

namespace ozu::tool {
namespace {

constexpr const char* kUsage =
    "usage: ozu-color convert [--from SPACE] --to SPACE [--type T] INPUT OUTPUT\n"
    "\n"
    "Converts INPUT from one colour space into another (COL_ConvertColorSpace).\n"
    "SPACE is a name the library accepts: RGB, HSV, HLS, YUV, YIQ, YCC, XYZ\n"
    "(the 601 variant), XYZ709, XYZITU, CMY or I, and their long forms such as\n"
    "Hue/Saturation/Value (see 'ozu-color spaces'). I is a one-channel (grey)\n"
    "image; every other space has three channels. The note printed names the\n"
    "channels of OUTPUT.\n"
    "\n"
    "options:\n"
    "  --from SPACE     the colour space INPUT is in (default RGB)\n"
    "  --to SPACE       the colour space to convert into (required)\n" OZU_TOOL_TYPE_HELP
    "\n"
    "example:\n"
    "  ozu-color convert --from RGB --to HSV photo.png photo-hsv.png\n";

void run(const Invocation& inv) {
    const Arguments args(inv.words, {{"from", true}, {"to", true}, {"type", true}});
    args.expect_positional(2, 2, "INPUT OUTPUT");
    const int32_t from = parse_space(args.value_or("from", "RGB"), "--from");
    const int32_t to = parse_space(args.required("to"), "--to");
    const int32_t type = args.value("type") ? parse_pixel_type(*args.value("type")) : 0;
    const std::string& input = args.positional()[0];
    const std::string& output = args.positional()[1];
    check_output_path(output, to == COL_I ? 1 : 3);

    HostBuffer source = load_image(inv.out, input, type, from);
    HostBuffer result;
    library_call("COL_ConvertColorSpace", [&] {
        return COL_ConvertColorSpace(source.get(), result.slot(), COL_CODE(from, to));
    });
    save_image(inv.out, result.get(), output, channel_meaning(to));
}

}  // namespace

const Command kConvertCommand{"convert", "convert between colour spaces (RGB, HSV, YUV, ...)",
                              kUsage, run};

}  // namespace ozu::tool
