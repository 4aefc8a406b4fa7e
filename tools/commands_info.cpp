// ozu-color spaces and version: what the library knows and which it is.

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <ozu/color.h>

#include "command_line.h"
#include "commands.h"

#ifndef OZU_TOOL_VERSION
#define OZU_TOOL_VERSION "unknown"
#endif

namespace ozu::tool {
namespace {

constexpr const char* kSpacesUsage =
    "usage: ozu-color spaces\n"
    "\n"
    "Lists the colour spaces of the library: identifier, short name\n"
    "(COL_GetModelFromID), channels (COL_ModelToLong) and every name the\n"
    "options of this tool accept for it (COL_GetColorSpaceID).\n";

constexpr const char* kVersionUsage =
    "usage: ozu-color version\n"
    "\n"
    "Prints the version of this tool and of the library (COL_GetVersion), and\n"
    "the instruction set its kernels run on (COL_GetCpuTarget). 'ozu-color\n"
    "--version' is the same.\n";

// Names worth trying for each space; only those the library accepts are
// listed, so the list cannot claim more than the library does.
// clang-format off
constexpr const char* kCandidateNames[] = {
    "CMY", "C/M/Yel", "Cyan/Magenta/Yellow",
    "I", "Intensity",
    "HLS", "H/L/S", "Hue/Luminance/Saturation",
    "HSV", "H/S/V", "Hue/Saturation/Value",
    "RGB", "R/G/B", "Red/Green/Blue",
    "XYZ", "X/Y/Z", "XYZ601", "XYZ709", "XYZITU",
    "YCC", "YCrCb", "Y/C/C", "Y/Cr/Cb", "YCC601",
    "YIQ", "Y/I/Q",
    "YUV", "Y/U/V",
};
// clang-format on

std::string long_form(const std::string& name) {
    std::vector<char> model(256, '\0');
    std::vector<char> out(2048, '\0');
    name.copy(model.data(), std::min<size_t>(name.size(), 200));
    IPL_SetErrorCode(0);
    if (COL_ModelToLong(model.data(), out.data(), int32_t(out.size())) == 0) return "?";
    return out.data();
}

void run_spaces(const Invocation& inv) {
    const Arguments args(inv.words, {});
    args.expect_positional(0, 0, "no arguments");
    char line[512];
    std::snprintf(line, sizeof line, "%-6s %-8s %-16s %s", "id", "name", "channels",
                  "accepted names");
    inv.out << line << '\n';
    for (int32_t id = 1; id <= 1024; id <<= 1) {
        const std::string name = space_name(id);
        std::string accepted;
        for (const char* candidate : kCandidateNames) {
            int32_t found = 0;
            IPL_SetErrorCode(0);
            if (COL_GetColorSpaceID(candidate, &found) != 0 && found == id)
                accepted += (accepted.empty() ? "" : ", ") + std::string(candidate);
        }
        std::snprintf(line, sizeof line, "%-6d %-8s %-16s %s", static_cast<int>(id), name.c_str(),
                      long_form(name).c_str(), accepted.c_str());
        inv.out << line << '\n';
    }
    std::snprintf(line, sizeof line, "%-6d %-8s %-16s %s", COL_BAYER, "-", "(one raw plane)",
                  "none: the Bayer raw mosaic, see 'ozu-color demosaic'");
    inv.out << line << '\n';
}

void run_version(const Invocation& inv) {
    const Arguments args(inv.words, {});
    args.expect_positional(0, 0, "no arguments");
    char version[32] = {};
    library_call("COL_GetVersion", [&] { return COL_GetVersion(version, sizeof version); });
    char target[16] = {};
    library_call("COL_GetCpuTarget", [&] { return COL_GetCpuTarget(target, sizeof target); });
    inv.out << "ozu-color " << OZU_TOOL_VERSION << '\n'
            << "libozu_color " << version << '\n'
            << "kernels: " << target << '\n';
}

}  // namespace

const Command kSpacesCommand{"spaces", "list the colour spaces and their names", kSpacesUsage,
                             run_spaces};
const Command kVersionCommand{"version", "versions of the tool and the library", kVersionUsage,
                              run_version};

}  // namespace ozu::tool
