// The progress line of a long command, and --quiet.

#include "progress.h"

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include "command_line.h"

namespace ozu::tool {
namespace {

// The command running in this thread and whether it was asked to be quiet;
// an empty name (outside a command) shows nothing.
struct ProgressSetting {
    std::string command;
    bool quiet = false;
};

thread_local ProgressSetting setting;

// A second: a run that ends sooner needs no progress, and its output is left
// as it was. OZU_TOOL_PROGRESS_AFTER_MS sets another delay, for the tests,
// which cannot wait on a slow run.
std::chrono::milliseconds delay() {
    if (const char* text = std::getenv("OZU_TOOL_PROGRESS_AFTER_MS"); text != nullptr) {
        char* end = nullptr;
        const long ms = std::strtol(text, &end, 10);
        if (*text != '\0' && *end == '\0' && ms >= 0) return std::chrono::milliseconds(ms);
    }
    return std::chrono::seconds(1);
}

}  // namespace

ProgressOption::ProgressOption(std::vector<std::string>& words, const std::string& command) {
    setting.quiet = take_common_flag(words, "quiet");
    setting.command = command;
}

ProgressOption::~ProgressOption() { setting = ProgressSetting{}; }

Progress::Progress()
    : start_(std::chrono::steady_clock::now()),
      delay_(delay()),
      enabled_(!setting.command.empty() && !setting.quiet && ::isatty(2) == 1) {}

Progress::~Progress() { end(); }

void Progress::update(int64_t done, int64_t total) {
    if (!enabled_ || total <= 0) return;
    if (!shown_ && std::chrono::steady_clock::now() - start_ < delay_) return;
    const int percent = int(done * 100 / total);
    if (percent == lastPercent_) return;
    lastPercent_ = percent;
    shown_ = true;
    std::fprintf(stderr, "\r%s: %d%%", setting.command.c_str(), percent);
    std::fflush(stderr);
}

void Progress::end() {
    if (shown_) {
        std::fputc('\n', stderr);
        std::fflush(stderr);
    }
    shown_ = false;
    enabled_ = false;
}

}  // namespace ozu::tool
