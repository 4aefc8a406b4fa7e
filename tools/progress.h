// Progress of a long command on standard error: "ozu-color convert: 42%",
// rewritten in place after each strip of lines, for a person watching a
// terminal. Runs shorter than about a second print nothing, nor does any run
// whose standard error is not a terminal (a log file would fill with
// carriage returns) or that was given --quiet. (The environment variable
// OZU_TOOL_PROGRESS_AFTER_MS sets the delay in milliseconds, for tests.)
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace ozu::tool {

// --quiet, accepted by every command: no progress. The command's notes
// ("wrote ...") are printed all the same.
class ProgressOption {
public:
    // Takes every "--quiet" before a "--" out of `words`, and names the
    // running command ("ozu-color convert") for the progress line.
    ProgressOption(std::vector<std::string>& words, const std::string& command);
    ~ProgressOption();

    ProgressOption(const ProgressOption&) = delete;
    ProgressOption& operator=(const ProgressOption&) = delete;
};

class Progress {
public:
    Progress();
    // Ends the line if one was shown.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // `done` of `total` units of work are complete.
    void update(int64_t done, int64_t total);
    // Ends the line, if one was shown; later updates show nothing.
    void end();

private:
    std::chrono::steady_clock::time_point start_;
    std::chrono::milliseconds delay_;
    bool enabled_ = false;
    bool shown_ = false;
    int lastPercent_ = -1;
};

}  // namespace ozu::tool
