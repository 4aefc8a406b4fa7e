// ozu-color: the colour library on image files, one sub-command per exported
// operation. This file holds the command table and the dispatch.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "command_line.h"
#include "command_support.h"
#include "commands.h"
#include "format_option.h"
#include "progress.h"
#include "threads_option.h"
#include "tool_error.h"

namespace ozu::tool {
namespace {

constexpr const char* kOverviewHead =
    "usage: ozu-color COMMAND [OPTIONS] [ARGUMENTS]\n"
    "\n"
    "Runs the operations of libozu_color on image files: PNG, JPEG, TIFF and PNM\n"
    "(PBM/PGM/PPM, plain or binary), grey or RGB, 8 or 16 bits per sample. The\n"
    "format of an input is found from its contents, that of an output from its\n"
    "name. 'ozu-color COMMAND --help' describes one command.\n"
    "\n"
    "commands:\n";

constexpr const char* kOverviewTail =
    "\n"
    "  --version     the same as 'version'\n"
    "\n"
    "Every command takes --threads N: the work shared between N threads (default:\n"
    "every core; 1 keeps it in one thread). The results are the same for every N.\n"
    "\n"
    "Every command takes --format F: the format of the images it writes, whatever\n"
    "their names: png, pnm, pnm-plain (ASCII), jpeg (8-bit only, quality 95, no\n"
    "chroma subsampling), tiff or tiff-tiled (deflate-compressed). A file named\n"
    "'-' is standard input or output; writing to standard output needs --format,\n"
    "and the tool's own messages then go to standard error.\n"
    "\n"
    "Every command takes --quiet: no progress line. convert, to-grey, to-colour,\n"
    "twist, threshold and distance go through an image in strips of lines,\n"
    "holding a few megabytes of it however large it is; a run longer than a\n"
    "second shows its progress on standard error when that is a terminal\n"
    "('ozu-color convert: 42%').\n"
    "\n"
    "Every failure prints one line, 'ozu-color COMMAND: WHAT: error CODE (TEXT)',\n"
    "and exits with status 1, or 2 for a command line that cannot be used (an\n"
    "unknown option, a value out of range).\n";

void print_overview(std::ostream& out) {
    out << kOverviewHead;
    for (const Command* command : all_commands())
        out << "  " << command->name << std::string(14 - std::string(command->name).size(), ' ')
            << command->summary << '\n';
    out << kOverviewTail;
}

}  // namespace

const std::vector<const Command*>& all_commands() {
    static const std::vector<const Command*> commands = {
        &kConvertCommand,   &kTwistCommand,    &kToGreyCommand,      &kToColourCommand,
        &kThresholdCommand, &kDistanceCommand, &kMaxContrastCommand, &kDemosaicCommand,
        &kSpectralCommand,  &kModelCommand,    &kSpacesCommand,      &kVersionCommand,
        &kDemoCommand,
    };
    return commands;
}

namespace {

std::string failure_line(const std::string& prefix, int32_t code, const std::string& what) {
    return prefix + ": " + what + ": error " + std::to_string(code) + " (" +
           IPL_GetErrorString(code) + ")";
}

}  // namespace

Outcome execute(const std::vector<std::string>& words, std::ostream& out) {
    if (words.empty())
        return {2, EINVAL,
                failure_line("ozu-color", EINVAL, "no command given (try 'ozu-color --help')")};
    const std::string& name = words[0] == "--version" ? std::string("version") : words[0];
    if (name == "--help" || name == "-h" || name == "help") {
        print_overview(out);
        return {};
    }
    const Command* command = nullptr;
    for (const Command* candidate : all_commands())
        if (name == candidate->name) command = candidate;
    if (command == nullptr)
        return {2, EINVAL,
                failure_line("ozu-color", EINVAL,
                             "unknown command '" + name + "' (try 'ozu-color --help')")};

    Invocation invocation{std::vector<std::string>(words.begin() + 1, words.end()), out};
    if (wants_help(invocation.words)) {
        out << command->usage;
        return {};
    }
    const std::string prefix = "ozu-color " + name;
    Outcome outcome;
    try {
        const ThreadsOption threads(invocation.words);
        const FormatOption format(invocation.words);
        const ProgressOption progress(invocation.words, prefix);
        command->run(invocation);
    } catch (const UsageError& error) {
        outcome = {2, error.code(),
                   prefix + ": " + describe(error) + " (try '" + prefix + " --help')"};
    } catch (const ToolError& error) {
        outcome = {1, error.code(), prefix + ": " + describe(error)};
    } catch (const std::bad_alloc&) {
        outcome = {1, ENOMEM, failure_line(prefix, ENOMEM, "out of memory")};
    }
    out.flush();
    return outcome;
}

namespace {

// The library ignores an OZU_CPU_TARGET it cannot honour (an unknown name, or
// a target this build or processor lacks) and runs its best target; a user
// who asked for one is told, once, which runs instead.
void warn_about_cpu_target(std::ostream& err) {
    const char* wanted = std::getenv("OZU_CPU_TARGET");
    if (wanted == nullptr) return;
    char active[16] = {};
    IPL_SetErrorCode(0);
    if (COL_GetCpuTarget(active, sizeof active) == 0 || std::strcmp(wanted, active) == 0) return;
    err << "ozu-color: warning: OZU_CPU_TARGET='" << wanted
        << "' is not a target this build and processor run (scalar, sse4, avx2 or avx512); "
           "running "
        << active << '\n';
}

}  // namespace

int run_tool(const std::vector<std::string>& words, std::ostream& out, std::ostream& err) {
    warn_about_cpu_target(err);
    // When an image comes from or goes to a pipe ("-"), the tool's own text
    // goes to standard error: standard output may be carrying the image.
    const bool piped = std::find(words.begin(), words.end(), "-") != words.end();
    const Outcome outcome = execute(words, piped ? err : out);
    if (!outcome.line.empty()) err << outcome.line << '\n';
    return outcome.status;
}

}  // namespace ozu::tool

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    const int status = ozu::tool::run_tool(words, std::cout, std::cerr);
    // Every host buffer the tool takes is owned and freed; one left over after
    // a successful run is a defect of the tool, reported rather than hidden.
    // (After a failure a library entry may by design keep its temporaries.)
    if (status == 0 && BASE_BufferCount() != 0) {
        std::cerr << "ozu-color: internal error: " << BASE_BufferCount()
                  << " image buffers left at exit: error " << COL_ERR_UNKNOWN << " ("
                  << IPL_GetErrorString(COL_ERR_UNKNOWN) << ")\n";
        return 1;
    }
    return status;
}
