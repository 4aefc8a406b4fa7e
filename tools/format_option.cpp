#include "format_option.h"

#include "command_line.h"
#include "tool_error.h"

namespace ozu::tool {

FormatOption::FormatOption(std::vector<std::string>& words) {
    const std::optional<std::string> name = take_common_option(words, "format");
    if (!name) return;
    const std::optional<ImageFormat> format = image_format_from_name(*name);
    if (!format)
        throw UsageError(ENOTSUP, "--format '" + *name +
                                      "': give png, pnm, pnm-plain, jpeg, tiff or tiff-tiled");
    previous_ = set_output_format(format);
    set_ = true;
}

FormatOption::~FormatOption() {
    if (set_) set_output_format(previous_);
}

}  // namespace ozu::tool
