// --format NAME, accepted by every command: the format of every image the
// command writes, whatever the output's name (png, pnm, pnm-plain, jpeg,
// tiff, tiff-tiled). Standard output ("-") has no name to go by and needs it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "image_io.h"

namespace ozu::tool {

class FormatOption {
public:
    // Takes `--format NAME` or `--format=NAME` out of `words` (the last one
    // counts) and sets it for the calling thread. Throws UsageError for a
    // name that is not a format.
    explicit FormatOption(std::vector<std::string>& words);
    // The setting that was in force before.
    ~FormatOption();

    FormatOption(const FormatOption&) = delete;
    FormatOption& operator=(const FormatOption&) = delete;

private:
    std::optional<ImageFormat> previous_;
    bool set_ = false;
};

}  // namespace ozu::tool
