// The words of one sub-command's command line: options, their values and the
// positional arguments, and the parsing of the values the library takes
// (colour-space names, pixel types, numbers, lists, packed colours).
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ozu::tool {

struct OptionSpec {
    const char* name;  // without the leading "--"
    bool takesValue;
};

// Options are "--name value" or "--name=value", anywhere on the line; "--"
// ends them. A word that starts with "-" and a digit is a (negative) number,
// not an option. Unknown options, a missing value and a repeated option are
// usage errors.
class Arguments {
public:
    Arguments(const std::vector<std::string>& words, std::initializer_list<OptionSpec> specs);

    bool flag(std::string_view name) const;
    std::optional<std::string> value(std::string_view name) const;
    std::string value_or(std::string_view name, const std::string& fallback) const;
    std::string required(std::string_view name) const;

    const std::vector<std::string>& positional() const { return positional_; }
    // Usage error unless between `min` and `max` positional words were given;
    // `names` describes them for the message ("INPUT OUTPUT").
    void expect_positional(size_t min, size_t max, const char* names) const;

private:
    std::vector<std::pair<std::string, std::optional<std::string>>> options_;
    std::vector<std::string> positional_;
};

// Takes every "--name value" and "--name=value" of an option that every
// command accepts out of `words`; returns the last value, or nothing when
// the option is absent. A usage error when its value is missing.
std::optional<std::string> take_common_option(std::vector<std::string>& words,
                                              const std::string& name);

// Takes every "--name" before a "--" out of `words`: a flag that every
// command accepts. True when there was one.
bool take_common_flag(std::vector<std::string>& words, const std::string& name);

// True when the words ask for help ("--help" or "-h" before any "--").
bool wants_help(const std::vector<std::string>& words);

// A colour-space identifier from a name the library accepts
// (COL_GetColorSpaceID: "RGB", "Hue/Saturation/Value", "XYZ709", ...).
// A usage error with the code COL_ERR_COLOR_SPACE for a name it does not know.
int32_t parse_space(const std::string& name, const char* option);

// Pixel type code from "u8", "s8", "u16", "s16"; a usage error otherwise.
int32_t parse_pixel_type(const std::string& name);

// Numbers in the forms the options take. Every malformed or out-of-range
// value is a usage error with the code COL_ERR_RANGE, `what` naming the
// option in the message.
double parse_double(const std::string& text, const char* what);
int32_t parse_int32(const std::string& text, const char* what);
uint32_t parse_uint32(const std::string& text, const char* what);
// Exactly `count` comma-separated numbers. Malformed and out-of-range
// values are usage errors (exit status 2) with the code COL_ERR_RANGE.
std::vector<double> parse_doubles(const std::string& text, size_t count, const char* what);
std::vector<uint32_t> parse_uint32s(const std::string& text, size_t count, const char* what);
// Three weights of 0.0 to 1.0 each, as the grey and colour transforms take.
std::vector<double> parse_weights(const std::string& text, const char* what);
// A packed 24-bit colour: 0xRRGGBB, #RRGGBB or a decimal 0..16777215.
int32_t parse_colour(const std::string& text, const char* what);

}  // namespace ozu::tool
