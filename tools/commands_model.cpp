// ozu-color model: model and channel names, and the tint table of a channel.

#include <cstdio>
#include <string>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "command_line.h"
#include "commands.h"
#include "image_io.h"

namespace ozu::tool {
namespace {

constexpr const char* kUsage =
    "usage: ozu-color model long MODEL\n"
    "       ozu-color model short MODEL\n"
    "       ozu-color model extract MODEL INDEX\n"
    "       ozu-color model tint MODEL [OUTPUT] [--height H]\n"
    "\n"
    "Names of colour models and their channels. MODEL is a compact name (RGB,\n"
    "XYZ709, HLS), a long one (Red/Green/Blue) or a slash-separated channel list\n"
    "that may name planes by wavelength (R/550/B, R/550nm/B).\n"
    "\n"
    "  long      the channel-list form: RGB gives R/G/B (COL_ModelToLong)\n"
    "  short     the compact form: Red/Green/Blue gives RGB (COL_ModelToShort)\n"
    "  extract   the name of channel INDEX, from 0: RGB 1 gives G (COL_ExtractModel)\n"
    "  tint      the 256-entry colour table that shows the first channel of MODEL\n"
    "            from low to high values (COL_ModelTinting): printed as lines\n"
    "            'INDEX R G B', or written to OUTPUT as an image 256 wide\n"
    "\n"
    "options:\n"
    "  --height H       lines of the tint image (default 1: the table itself)\n"
    "\n"
    "examples:\n"
    "  ozu-color model long Hue/Saturation/Value\n"
    "  ozu-color model extract XYZ709 2\n"
    "  ozu-color model tint H hue.png --height 24\n";

// The library writes a channel list into the caller's buffer without a size
// limit. Each character of the input yields at most six bytes of it (a
// one-letter token and its separator become "/X601"; a wavelength gains
// "nm"), so a bounded input keeps the list inside the buffer.
constexpr size_t kMaxModel = 1000;
constexpr size_t kTextSize = 6 * kMaxModel + 64;

std::vector<char> model_text(const std::string& model) {
    if (model.size() > kMaxModel)
        throw ToolError(COL_ERR_RANGE,
                        "MODEL is longer than " + std::to_string(kMaxModel) + " characters");
    std::vector<char> text(kTextSize, '\0');
    model.copy(text.data(), model.size());
    return text;
}

void run_names(const Invocation& inv, const Arguments& args, const std::string& action) {
    std::vector<char> text;
    std::vector<char> out(kTextSize, '\0');
    if (action == "extract") {
        args.expect_positional(3, 3, "extract MODEL INDEX");
        text = model_text(args.positional()[1]);
        const int32_t index = parse_int32(args.positional()[2], "INDEX");
        library_call("COL_ExtractModel", [&] {
            return COL_ExtractModel(text.data(), index, out.data(), int32_t(out.size()));
        });
    } else {
        args.expect_positional(2, 2, (action + " MODEL").c_str());
        text = model_text(args.positional()[1]);
        if (action == "long") {
            library_call("COL_ModelToLong", [&] {
                return COL_ModelToLong(text.data(), out.data(), int32_t(out.size()));
            });
        } else {
            library_call("COL_ModelToShort", [&] {
                return COL_ModelToShort(text.data(), out.data(), int32_t(out.size()));
            });
        }
    }
    inv.out << out.data() << '\n';
}

void run_tint(const Invocation& inv, const Arguments& args) {
    args.expect_positional(2, 3, "tint MODEL [OUTPUT]");
    const std::string& model = args.positional()[1];
    const bool toFile = args.positional().size() == 3;
    const int32_t height = parse_int32(args.value_or("height", "1"), "--height");
    if (height < 1 || height > kMaxSide)
        throw ToolError(COL_ERR_RANGE, "bad --height '" + std::to_string(height) +
                                           "': expected 1 to " + std::to_string(kMaxSide));
    if (toFile) check_output_path(args.positional()[2], 3);

    HostBuffer table;
    library_call("COL_ModelTinting", [&] { return COL_ModelTinting(model.c_str(), table.slot()); });
    uint8_t planes[3][256] = {};
    for (int32_t p = 0; p < 3; ++p) {
        library_call("IPL_GetBufDataEx", [&] {
            return IPL_GetBufDataEx(table.get(), 0, 0, p, 0, 0, 256, 1, 0, 256, planes[p],
                                    BASE_TYPE_U8);
        });
    }
    if (!toFile) {
        for (int32_t i = 0; i < 256; ++i)
            inv.out << i << ' ' << int(planes[0][i]) << ' ' << int(planes[1][i]) << ' '
                    << int(planes[2][i]) << '\n';
        return;
    }
    Raster raster(256, height, 3, 8);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < 256; ++x)
            for (int32_t p = 0; p < 3; ++p) raster.at(x, y, p) = planes[p][x];
    save_raster(inv.out, raster, args.positional()[2],
                "column x = the tint of value x; channel 1 = R, channel 2 = G, channel 3 = B");
}

void run(const Invocation& inv) {
    const Arguments args(inv.words, {{"height", true}});
    if (args.positional().empty()) throw UsageError("expected long, short, extract or tint");
    const std::string& action = args.positional()[0];
    if (action == "tint") {
        run_tint(inv, args);
        return;
    }
    if (args.value("height")) throw UsageError("--height goes with 'model tint' only");
    if (action == "long" || action == "short" || action == "extract") {
        run_names(inv, args, action);
        return;
    }
    throw UsageError("unknown model action '" + action +
                     "': expected long, short, extract or tint");
}

}  // namespace

const Command kModelCommand{"model", "model and channel names; channel tint tables", kUsage, run};

}  // namespace ozu::tool
