// ozu-color convert: one image from one colour space into another.

#include <ozu/color.h>

#include "command_line.h"
#include "commands.h"
#include "image_io.h"

namespace ozu::tool {
namespace {

constexpr const char* kUsage =
    "usage: ozu-color convert [--from SPACE] --to SPACE [--type T] [--signed MODE]\n"
    "                         INPUT OUTPUT\n"
    "\n"
    "Converts INPUT from one colour space into another (COL_ConvertColorSpace).\n"
    "SPACE is a name the library accepts: RGB, HSV, HLS, YUV, YIQ, YCC, XYZ\n"
    "(the 601 variant), XYZ709, XYZITU, CMY or I, and their long forms such as\n"
    "Hue/Saturation/Value (see 'ozu-color spaces'). I is a one-channel (grey)\n"
    "image; every other space has three channels. The note printed names the\n"
    "channels of OUTPUT.\n"
    "\n"
    "YCC, YUV and YIQ have signed channels 2 and 3. They are stored with an\n"
    "offset of half the range, +128 at 8 bits and +32768 at 16, as OpenCV\n"
    "stores chroma, and a file read with --from YCC, YUV or YIQ has it taken off\n"
    "again before the library's conversion back runs (see --signed).\n"
    "\n"
    "Some results of the library are kept on purpose although they surprise\n"
    "(HSV to RGB leaves a pixel with H at the maximum as it was, the hue of\n"
    "grey pixels, ...): README.md, section \"Behaviours kept for compatibility\",\n"
    "lists them with examples.\n"
    "\n"
    "options:\n"
    "  --from SPACE     the colour space INPUT is in (default RGB)\n"
    "  --to SPACE       the colour space to convert into (required)\n" OZU_TOOL_TYPE_HELP
    "  --signed MODE    offset (default): signed channels stored and read with\n"
    "                   the offset above; clip: the library's unsigned results as\n"
    "                   they come (YCC chroma below 0, and 16-bit YUV and YIQ\n"
    "                   chroma below -128, become 0), signed pixel types\n"
    "                   rescaled by range\n"
    "\n"
    "example:\n"
    "  ozu-color convert --from RGB --to HSV photo.png photo-hsv.png\n";

void run(const Invocation& inv) {
    const Arguments args(inv.words,
                         {{"from", true}, {"to", true}, {"type", true}, {"signed", true}});
    args.expect_positional(2, 2, "INPUT OUTPUT");
    const int32_t from = parse_space(args.value_or("from", "RGB"), "--from");
    const int32_t to = parse_space(args.required("to"), "--to");
    if (from == to)
        throw UsageError(COL_ERR_COLOR_SPACE, "--from '" + args.value_or("from", "RGB") +
                                                  "' and --to '" + args.required("to") +
                                                  "' are the same colour space (" +
                                                  space_name(to) + "): nothing to convert");
    const int32_t type = args.value("type") ? parse_pixel_type(*args.value("type")) : 0;
    const SignedMode mode = parse_signed_mode(args.value("signed"));
    const std::string& input = args.positional()[0];
    const std::string& output = args.positional()[1];
    check_output_path(output, to == COL_I ? 1 : 3);

    StripJob job;
    job.input = input;
    job.output = output;
    job.type = type;
    job.space = from;
    job.channels = from == COL_I ? 1 : 3;
    job.needs = "conversion from " + space_name(from);
    // The library's conversion out of HSV into any space but RGB carries
    // values from line to line (a pixel whose hue is out of range shows
    // through what an earlier line left), so its lines depend on the ones
    // above them: it converts the whole image at once.
    job.byLines = !(from == COL_HSV && to != COL_RGB);
    job.meaning = channel_meaning(to);
    job.mode = mode;
    job.resultSpace = to;
    run_by_strips(inv.out, job, [&](int32_t source) {
        return convert_keeping_signs(source, from, to, mode);
    });
}

}  // namespace

const Command kConvertCommand{"convert", "convert between colour spaces (RGB, HSV, YUV, ...)",
                              kUsage, run};

}  // namespace ozu::tool
