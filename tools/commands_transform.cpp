// ozu-color twist, to-grey and to-colour: the weighted transforms.

#include <cstdio>
#include <string>
#include <vector>

#include <ozu/color.h>

#include "command_line.h"
#include "commands.h"
#include "image_io.h"

namespace ozu::tool {
namespace {

constexpr const char* kTwistUsage =
    "usage: ozu-color twist --matrix M1,...,M16 [--type T] INPUT OUTPUT\n"
    "\n"
    "Applies an affine colour matrix to a three-channel image (COL_ColorTwist).\n"
    "The 16 numbers are four rows of four. Rows 1 to 3 weigh input channels 1\n"
    "to 3, row 4 is an offset (1.0 adds 8192 levels); column k (1 to 3) makes\n"
    "output channel k and column 4 is ignored. The arithmetic is 13-bit fixed\n"
    "point and every result is clamped to 0 .. the pixel type's maximum (a\n"
    "twist gives no negative values, signed types included).\n"
    "\n"
    "options:\n"
    "  --matrix LIST    the 16 coefficients, row by row (required)\n" OZU_TOOL_TYPE_HELP
    "\n"
    "example (swap red and blue):\n"
    "  ozu-color twist --matrix 0,0,1,0,0,1,0,0,1,0,0,0,0,0,0,0 in.png out.png\n";

constexpr const char* kToGreyUsage =
    "usage: ozu-color to-grey [--weights W1,W2,W3] [--type T] [--signed MODE]\n"
    "                 INPUT OUTPUT\n"
    "\n"
    "Reduces a three-channel image to one channel, the weighted sum of its\n"
    "channels (COL_ConvertToGrayscale). Each weight is 0.0 to 1.0.\n"
    "\n"
    "options:\n"
    "  --weights LIST   three weights (default 0.299,0.587,0.114)\n" OZU_TOOL_TYPE_HELP
        OZU_TOOL_SIGNED_HELP
    "\n"
    "example:\n"
    "  ozu-color to-grey --weights 0.2126,0.7152,0.0722 photo.png grey.png\n";

constexpr const char* kToColourUsage =
    "usage: ozu-color to-colour [--weights W1,W2,W3] [--type T] [--signed MODE]\n"
    "                 INPUT OUTPUT\n"
    "\n"
    "Spreads a one-channel image into three channels, channel k being the grey\n"
    "value times weight k (COL_ConvertToColor). Each weight is 0.0 to 1.0.\n"
    "\n"
    "options:\n"
    "  --weights LIST   three weights (default 1,1,1)\n" OZU_TOOL_TYPE_HELP
        OZU_TOOL_SIGNED_HELP
    "\n"
    "example (a sepia tint):\n"
    "  ozu-color to-colour --weights 1,0.8,0.55 grey.png sepia.png\n";

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

struct ImageArguments {
    std::string input;
    std::string output;
    int32_t type = 0;
    SignedMode mode = SignedMode::Offset;
};

ImageArguments image_arguments(const Arguments& args) {
    args.expect_positional(2, 2, "INPUT OUTPUT");
    ImageArguments result;
    result.input = args.positional()[0];
    result.output = args.positional()[1];
    if (args.value("type")) result.type = parse_pixel_type(*args.value("type"));
    result.mode = parse_signed_mode(args.value("signed"));
    return result;
}

// Every weighted transform is a sum of the channels of one pixel: each runs
// strip by strip.
StripJob job_for(const ImageArguments& files, int32_t channels, const std::string& needs,
                 const std::string& meaning) {
    StripJob job;
    job.input = files.input;
    job.output = files.output;
    job.type = files.type;
    job.channels = channels;
    job.needs = needs;
    job.meaning = meaning;
    job.mode = files.mode;
    return job;
}

void run_twist(const Invocation& inv) {
    const Arguments args(inv.words, {{"matrix", true}, {"type", true}});
    const ImageArguments files = image_arguments(args);
    const std::vector<double> matrix = parse_doubles(args.required("matrix"), 16, "--matrix");
    check_output_path(files.output, 3);

    StripJob job = job_for(files, 3, "the twist",
                           "channel k = column k of the matrix applied to the input channels");
    // A twist clamps at 0, signed types too: its results are rescaled by
    // range as unsigned ones are, never stored with an offset.
    job.mode = SignedMode::Clip;
    run_by_strips(inv.out, job, [&](int32_t source) {
        HostBuffer result;
        library_call("COL_ColorTwist",
                     [&] { return COL_ColorTwist(source, result.slot(), matrix.data()); });
        return result;
    });
}

void run_to_grey(const Invocation& inv) {
    const Arguments args(inv.words, {{"weights", true}, {"type", true}, {"signed", true}});
    const ImageArguments files = image_arguments(args);
    const std::vector<double> w =
        parse_weights(args.value_or("weights", "0.299,0.587,0.114"), "--weights");
    check_output_path(files.output, 1);

    run_by_strips(inv.out,
                  job_for(files, 3, "a weighted sum of three channels",
                          "grey = " + number(w[0]) + " x channel 1 + " + number(w[1]) +
                              " x channel 2 + " + number(w[2]) + " x channel 3"),
                  [&](int32_t source) {
                      HostBuffer result;
                      library_call("COL_ConvertToGrayscale", [&] {
                          return COL_ConvertToGrayscale(source, result.slot(), w[0], w[1], w[2]);
                      });
                      return result;
                  });
}

void run_to_colour(const Invocation& inv) {
    const Arguments args(inv.words, {{"weights", true}, {"type", true}, {"signed", true}});
    const ImageArguments files = image_arguments(args);
    const std::vector<double> w = parse_weights(args.value_or("weights", "1,1,1"), "--weights");
    check_output_path(files.output, 3);

    run_by_strips(inv.out,
                  job_for(files, 1, "grey into colour",
                          "channel 1 = grey x " + number(w[0]) + ", channel 2 = grey x " +
                              number(w[1]) + ", channel 3 = grey x " + number(w[2])),
                  [&](int32_t source) {
                      HostBuffer result;
                      library_call("COL_ConvertToColor", [&] {
                          return COL_ConvertToColor(source, result.slot(), w[0], w[1], w[2]);
                      });
                      return result;
                  });
}

}  // namespace

const Command kTwistCommand{"twist", "apply a 4x4 colour-twist matrix", kTwistUsage, run_twist};
const Command kToGreyCommand{"to-grey", "weighted sum of three channels into grey", kToGreyUsage,
                             run_to_grey};
const Command kToColourCommand{"to-colour", "grey into three weighted channels", kToColourUsage,
                               run_to_colour};

}  // namespace ozu::tool
