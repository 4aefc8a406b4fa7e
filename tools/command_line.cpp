// Option parsing and value parsing of the sub-commands.

#include "command_line.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>

#include <ozu/color.h>

#include "image_io.h"
#include "tool_error.h"

namespace ozu::tool {
namespace {

bool is_option_word(const std::string& word) {
    return word.size() >= 2 && word[0] == '-' &&
           !std::isdigit(static_cast<unsigned char>(word[1])) && word[1] != '.';
}

// A value that cannot be used is a usage error (exit status 2) carrying the
// library's code for a value out of range.
[[noreturn]] void bad_value(const char* what, const std::string& text, const char* expected) {
    throw UsageError(COL_ERR_RANGE,
                     std::string("bad ") + what + " '" + text + "': expected " + expected);
}

std::vector<std::string> split_commas(const std::string& text) {
    std::vector<std::string> parts;
    size_t start = 0;
    while (true) {
        const size_t comma = text.find(',', start);
        parts.push_back(
            text.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    return parts;
}

// Digits only (an optional leading '-' when `allowMinus`), no blanks, no
// base prefixes: the numbers of this tool are decimal.
bool all_digits(const std::string& text, bool allowMinus) {
    size_t k = (allowMinus && !text.empty() && text[0] == '-') ? 1 : 0;
    if (k == text.size()) return false;
    for (; k < text.size(); ++k)
        if (!std::isdigit(static_cast<unsigned char>(text[k]))) return false;
    return true;
}

}  // namespace

Arguments::Arguments(const std::vector<std::string>& words,
                     std::initializer_list<OptionSpec> specs) {
    bool optionsEnded = false;
    for (size_t k = 0; k < words.size(); ++k) {
        const std::string& word = words[k];
        if (optionsEnded || !is_option_word(word)) {
            positional_.push_back(word);
            continue;
        }
        if (word == "--") {
            optionsEnded = true;
            continue;
        }
        if (word.rfind("--", 0) != 0) throw UsageError("unknown option '" + word + "'");
        std::string name = word.substr(2);
        std::optional<std::string> inlineValue;
        if (const size_t eq = name.find('='); eq != std::string::npos) {
            inlineValue = name.substr(eq + 1);
            name.resize(eq);
        }
        const OptionSpec* known = nullptr;
        for (const OptionSpec& s : specs)
            if (name == s.name) known = &s;
        if (known == nullptr) throw UsageError("unknown option '--" + name + "'");
        for (const auto& seen : options_)
            if (seen.first == name) throw UsageError("option '--" + name + "' given twice");
        if (!known->takesValue) {
            if (inlineValue) throw UsageError("option '--" + name + "' takes no value");
            options_.emplace_back(name, std::nullopt);
        } else if (inlineValue) {
            options_.emplace_back(name, inlineValue);
        } else {
            if (k + 1 >= words.size()) throw UsageError("option '--" + name + "' needs a value");
            options_.emplace_back(name, words[++k]);
        }
    }
}

bool Arguments::flag(std::string_view name) const {
    for (const auto& option : options_)
        if (option.first == name) return true;
    return false;
}

std::optional<std::string> Arguments::value(std::string_view name) const {
    for (const auto& option : options_)
        if (option.first == name) return option.second;
    return std::nullopt;
}

std::string Arguments::value_or(std::string_view name, const std::string& fallback) const {
    const auto found = value(name);
    return found ? *found : fallback;
}

std::string Arguments::required(std::string_view name) const {
    const auto found = value(name);
    if (!found) throw UsageError("option '--" + std::string(name) + "' is required");
    return *found;
}

void Arguments::expect_positional(size_t min, size_t max, const char* names) const {
    if (positional_.size() < min || positional_.size() > max)
        throw UsageError(std::string("expected ") + names + ", got " +
                         std::to_string(positional_.size()) + " argument" +
                         (positional_.size() == 1 ? "" : "s"));
}

std::optional<std::string> take_common_option(std::vector<std::string>& words,
                                              const std::string& name) {
    const std::string option = "--" + name;
    std::optional<std::string> value;
    for (size_t k = 0; k < words.size();) {
        size_t taken = 1;
        if (words[k] == option) {
            if (k + 1 >= words.size()) throw UsageError(option + " needs a value");
            value = words[k + 1];
            taken = 2;
        } else if (words[k].rfind(option + "=", 0) == 0) {
            value = words[k].substr(option.size() + 1);
        } else {
            ++k;
            continue;
        }
        words.erase(words.begin() + static_cast<std::ptrdiff_t>(k),
                    words.begin() + static_cast<std::ptrdiff_t>(k + taken));
    }
    return value;
}

bool take_common_flag(std::vector<std::string>& words, const std::string& name) {
    const std::string option = "--" + name;
    bool found = false;
    for (size_t k = 0; k < words.size() && words[k] != "--";) {
        if (words[k] == option) {
            words.erase(words.begin() + static_cast<std::ptrdiff_t>(k));
            found = true;
        } else {
            ++k;
        }
    }
    return found;
}

bool wants_help(const std::vector<std::string>& words) {
    for (const std::string& word : words) {
        if (word == "--") return false;
        if (word == "--help" || word == "-h") return true;
    }
    return false;
}

int32_t parse_space(const std::string& name, const char* option) {
    int32_t id = 0;
    library_call("COL_GetColorSpaceID", [&] { return COL_GetColorSpaceID(name.c_str(), &id); });
    // An unknown name is no error to the library (it answers 0); to the tool
    // it is, with the library's code for an invalid colour space.
    if (id == 0)
        throw UsageError(COL_ERR_COLOR_SPACE,
                        std::string("unknown colour space '") + name + "' for " + option +
                            " (names are case-sensitive; see 'ozu-color spaces')");
    return id;
}

int32_t parse_pixel_type(const std::string& name) {
    const int32_t type = pixel_type_from_name(name);
    if (type == 0) throw UsageError("bad --type '" + name + "': expected u8, s8, u16 or s16");
    return type;
}

double parse_double(const std::string& text, const char* what) {
    if (text.empty() || std::isspace(static_cast<unsigned char>(text[0])))
        bad_value(what, text, "a number");
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(text.c_str(), &end);
    if (end != text.c_str() + text.size() || errno == ERANGE || !std::isfinite(value))
        bad_value(what, text, "a number");
    return value;
}

int32_t parse_int32(const std::string& text, const char* what) {
    if (!all_digits(text, true)) bad_value(what, text, "a whole number");
    errno = 0;
    const long long value = std::strtoll(text.c_str(), nullptr, 10);
    if (errno == ERANGE || value < INT32_MIN || value > INT32_MAX)
        bad_value(what, text, "a whole number in 32 bits");
    return static_cast<int32_t>(value);
}

uint32_t parse_uint32(const std::string& text, const char* what) {
    if (!all_digits(text, false)) bad_value(what, text, "a whole number, 0 or more");
    errno = 0;
    const unsigned long long value = std::strtoull(text.c_str(), nullptr, 10);
    if (errno == ERANGE || value > UINT32_MAX) bad_value(what, text, "a whole number in 32 bits");
    return static_cast<uint32_t>(value);
}

std::vector<double> parse_doubles(const std::string& text, size_t count, const char* what) {
    const std::vector<std::string> parts = split_commas(text);
    if (parts.size() != count)
        bad_value(what, text, (std::to_string(count) + " comma-separated numbers").c_str());
    std::vector<double> values;
    for (const std::string& part : parts) values.push_back(parse_double(part, what));
    return values;
}

std::vector<uint32_t> parse_uint32s(const std::string& text, size_t count, const char* what) {
    const std::vector<std::string> parts = split_commas(text);
    if (parts.size() != count)
        bad_value(what, text, (std::to_string(count) + " comma-separated whole numbers").c_str());
    std::vector<uint32_t> values;
    for (const std::string& part : parts) values.push_back(parse_uint32(part, what));
    return values;
}

std::vector<double> parse_weights(const std::string& text, const char* what) {
    const std::vector<double> weights = parse_doubles(text, 3, what);
    // The library takes each weight from 0.0 to 1.0 (their sum may exceed 1).
    for (size_t k = 0; k < weights.size(); ++k)
        if (!(weights[k] >= 0.0 && weights[k] <= 1.0))
            bad_value(what, text,
                      ("three weights from 0 to 1 each; weight " + std::to_string(k + 1) +
                       " is out of range").c_str());
    return weights;
}

int32_t parse_colour(const std::string& text, const char* what) {
    std::string digits;
    int base = 10;
    if (text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0) {
        digits = text.substr(2);
        base = 16;
    } else if (text.rfind('#', 0) == 0) {
        digits = text.substr(1);
        base = 16;
    } else {
        digits = text;
    }
    bool ok = !digits.empty() && digits.size() <= 8;
    for (char c : digits)
        ok = ok && (base == 16 ? std::isxdigit(static_cast<unsigned char>(c)) != 0
                               : std::isdigit(static_cast<unsigned char>(c)) != 0);
    const unsigned long value = ok ? std::strtoul(digits.c_str(), nullptr, base) : 0;
    if (!ok || value > 0xFFFFFFul) bad_value(what, text, "a colour 0xRRGGBB");
    return static_cast<int32_t>(value);
}

}  // namespace ozu::tool
