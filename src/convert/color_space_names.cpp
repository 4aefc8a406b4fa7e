// COL_GetColorSpaceID and COL_GetModelFromID: names to identifiers and back.
#include "convert/color_space_names.h"

#include <cstddef>
#include <cstring>

#include <ozu/color.h>

#include "frame/entry_frame.h"
#include "frame/error_codes.h"

namespace ozu {
namespace {

struct NameRow {
    int32_t id;
    const char* names[5];  // accepted names, left to right; null-terminated list
};

// Tested row by row and within a row left to right: the first match wins.
// The plane-name triples of the XYZ variants are deliberately absent.
constexpr NameRow kNames[] = {
    {kSpaceCMY, {"CMY", "C/M/Yel", "Cyan/Magenta/Yellow", nullptr}},
    {kSpaceI, {"I", "Intensity", nullptr}},
    {kSpaceHLS, {"HLS", "H/L/S", "Hue/Luminance/Saturation", nullptr}},
    {kSpaceHSV, {"HSV", "H/S/V", "Hue/Saturation/Value", nullptr}},
    {kSpaceRGB, {"RGB", "R/G/B", "Red/Green/Blue", nullptr}},
    {kSpaceXYZ601, {"XYZ", "X/Y/Z", "XYZ601", nullptr}},
    {kSpaceXYZ709, {"XYZ709", nullptr}},
    {kSpaceXYZITU, {"XYZITU", nullptr}},
    {kSpaceYCC, {"YCC", "YCrCb", "Y/C/C", "Y/Cr/Cb", "YCC601"}},
    {kSpaceYIQ, {"YIQ", "Y/I/Q", nullptr}},
    {kSpaceYUV, {"YUV", "Y/U/V", nullptr}},
};

struct ShortName {
    int32_t id;
    const char* name;
};

// The name each identifier reports; the buffer must be longer than the name.
constexpr ShortName kShortNames[] = {
    {kSpaceCMY, "CMY"},       {kSpaceI, "I"},           {kSpaceHLS, "HLS"},
    {kSpaceHSV, "HSV"},       {kSpaceRGB, "RGB"},       {kSpaceXYZ601, "XYZ601"},
    {kSpaceXYZ709, "XYZ709"}, {kSpaceXYZITU, "XYZITU"}, {kSpaceYCC, "YCC"},
    {kSpaceYIQ, "YIQ"},       {kSpaceYUV, "YUV"},
};

// An exact comparison that includes the terminating zero: a trailing blank or
// another letter case matches nothing.
bool same_name(const char* name, const char* accepted) {
    return std::strcmp(name, accepted) == 0;
}

constexpr EntryTexts kIdTexts{"Leaving COL_GetColorSpaceID - Error: %s (%d)",
                              "Leaving COL_GetColorSpaceID - Win32 Error: %ld"};
constexpr EntryTexts kModelTexts{"Leaving COL_GetModelFromID - Error: %s (%d)",
                                 "Leaving COL_GetModelFromID - Win32 Error: %ld"};

}  // namespace
}  // namespace ozu

extern "C" OZU_COLOR_API int32_t COL_GetColorSpaceID(const char* name, int32_t* id) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, ozu::kIdTexts, [&] {
        if (name == nullptr) ozu::raise(ozu::kErrNullPointer);
        for (const auto& row : ozu::kNames) {
            for (const char* accepted : row.names) {
                if (accepted == nullptr) break;
                if (ozu::same_name(name, accepted)) {
                    *id = row.id;
                    return;
                }
            }
        }
        // An unknown name is no error: callers test for identifier 0.
        *id = ozu::kSpaceUnknown;
    });
}

extern "C" OZU_COLOR_API int32_t COL_GetModelFromID(int32_t id, char* buffer, int32_t size) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, ozu::kModelTexts, [&] {
        if (buffer == nullptr) ozu::raise(ozu::kErrNullPointer);
        // A negative size would be a huge unsigned count here; clearing nothing
        // is the only safe reading of it, and the name then does not fit.
        if (size > 0) std::memset(buffer, 0, static_cast<size_t>(size));
        for (const auto& entry : ozu::kShortNames) {
            if (entry.id != id) continue;
            if (size <= static_cast<int32_t>(std::strlen(entry.name))) ozu::raise(ozu::kErrRange);
            std::strncpy(buffer, entry.name, static_cast<size_t>(size));
            return;
        }
        // Any other identifier yields an empty name, not an error.
    });
}
