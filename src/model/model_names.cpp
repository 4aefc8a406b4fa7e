// COL_ModelToLong and COL_ModelToShort: a model name, or a slash-separated list
// of channel names and wavelengths, in its channel-list or compact form.
#include "model/model_names.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include <ozu/color.h>

#include "frame/entry_frame.h"
#include "frame/error_codes.h"

namespace ozu {
namespace {

// One whole-model row: the names it accepts (tested left to right, null
// ends the list) and the two forms it gives.
struct WholeModel {
    const char* names[4];
    // "C/M/Y" names the CMY model for the compact form only: as a channel
    // list its "Y" is the 601 luminance, so the long form sends it down the
    // list path (giving "C/M/Y601"). The asymmetry is wanted.
    const char* short_only;
    const char* long_text;
    const char* short_text;
};

// Tested in this order before any list splitting. A single "Y" is yellow
// here, never luma.
constexpr WholeModel kWholeModels[] = {
    {{"I", "Intensity", nullptr}, nullptr, "I", "I"},
    {{"RGB", "R/G/B", "Red/Green/Blue", nullptr}, nullptr, "R/G/B", "RGB"},
    {{"XYZ", "XYZ601", "X/Y/Z", "X601/Y601/Z601"}, nullptr, "X601/Y601/Z601", "XYZ601"},
    {{"XYZ709", "X709/Y709/Z709", nullptr}, nullptr, "X709/Y709/Z709", "XYZ709"},
    {{"XYZITU", "XITU/YITU/ZITU", nullptr}, nullptr, "XITU/YITU/ZITU", "XYZITU"},
    {{"HSV", "H/S/V", "Hue/Saturation/Value", nullptr}, nullptr, "H/S/V", "HSV"},
    {{"HLS", "H/L/S", "Hue/Luminance/Saturation", nullptr}, nullptr, "H/L/S", "HLS"},
    {{"YCC", "YCrCb", "Y/C/C", "Y/Cr/Cb"}, nullptr, "Y/C/C", "YCC"},
    {{"CMY", "C/M/Yel", "Cyan/Magenta/Yellow", nullptr}, "C/M/Y", "C/M/Yel", "CMY"},
    {{"YIQ", "Y/I/Q", nullptr}, nullptr, "Y/I/Q", "YIQ"},
    {{"YUV", "Y/U/V", nullptr}, nullptr, "Y/U/V", "YUV"},
    {{"R", "Red", nullptr}, nullptr, "R", "R"},
    {{"G", "Green", nullptr}, nullptr, "G", "G"},
    {{"B", "Blue", nullptr}, nullptr, "B", "B"},
    {{"C", "Cyan", nullptr}, nullptr, "C", "C"},
    {{"M", "Magenta", nullptr}, nullptr, "M", "M"},
    {{"Y", "Yel", "Yellow", nullptr}, nullptr, "Yel", "Yel"},
};

// The longest whole-model result decides the least buffer a caller needs for
// any model name: 14 characters and the zero.
static_assert(std::string_view("X601/Y601/Z601").size() == 14);

// One channel name of the list path, the same for both forms.
struct ChannelName {
    const char* tokens[2];  // second may be null
    const char* text;
};

// Tested in this order. There is no token for "Cr" or "Cb": the YCC channels
// are known only through the whole-model names. "Y" here is the 601
// luminance, unlike the whole-model "Y".
constexpr ChannelName kChannelNames[] = {
    {{"I", "Intensity"}, "I"},   {{"R", "Red"}, "R"},         {{"G", "Green"}, "G"},
    {{"B", "Blue"}, "B"},        {{"C", "Cyan"}, "C"},        {{"M", "Magenta"}, "M"},
    {{"Yel", "Yellow"}, "Yel"},  {{"X", "X601"}, "X601"},     {{"X709", nullptr}, "X709"},
    {{"XITU", nullptr}, "XITU"}, {{"Y", "Y601"}, "Y601"},     {{"Y709", nullptr}, "Y709"},
    {{"YITU", nullptr}, "YITU"}, {{"Z", "Z601"}, "Z601"},     {{"Z709", nullptr}, "Z709"},
    {{"ZITU", nullptr}, "ZITU"}, {{"H", "Hue"}, "H"},         {{"S", "Saturation"}, "S"},
    {{"V", "Value"}, "V"},       {{"L", "Luminance"}, "L"},   {{"Q", nullptr}, "Q"},
    {{"U", nullptr}, "U"},
};

// Visible spectral planes are named after their wavelength in nanometres.
constexpr int kFirstWavelength = 380;
constexpr int kLastWavelength = 779;

// Room for the longest token text: a channel name of four characters or a
// wavelength "779nm", and the zero.
constexpr size_t kTokenTextSize = 16;

bool same(const char* a, const char* b) { return b != nullptr && std::strcmp(a, b) == 0; }

const WholeModel* find_whole_model(const char* model, ModelForm form) {
    for (const auto& row : kWholeModels) {
        for (const char* name : row.names) {
            if (same(model, name)) return &row;
        }
        if (form == ModelForm::kShort && same(model, row.short_only)) return &row;
    }
    return nullptr;
}

// The text one list token stands for; false when it is neither a visible
// wavelength nor a channel name. The wavelength is read as at most three
// digits from the token's start, trailing characters ignored: "500nm" and
// "500x" are 500, while "1000" reads as 100 and so is no wavelength.
bool token_text(const char* token, ModelForm form, char (&text)[kTokenTextSize]) {
    int wavelength = 0;
    if (std::sscanf(token, "%3d", &wavelength) == 1 && wavelength >= kFirstWavelength &&
        wavelength <= kLastWavelength) {
        std::snprintf(text, sizeof text, form == ModelForm::kLong ? "%dnm" : "%d", wavelength);
        return true;
    }
    for (const auto& row : kChannelNames) {
        if (same(token, row.tokens[0]) || same(token, row.tokens[1])) {
            std::snprintf(text, sizeof text, "%s", row.text);
            return true;
        }
    }
    return false;
}

constexpr EntryTexts kLongTexts{"Leaving COL_ModelToLong - Error: %s (%d)",
                                "Leaving COL_ModelToLong - Win32 Error: %ld"};
constexpr EntryTexts kShortTexts{"Leaving COL_ModelToShort - Error: %s (%d)",
                                 "Leaving COL_ModelToShort - Win32 Error: %ld"};

void model_entry_body(char* model, char* out, int32_t size, ModelForm form) {
    if (model == nullptr || out == nullptr) raise(kErrNullPointer);
    model_to_form(model, out, size, form);
}

}  // namespace

void model_to_form(char* model, char* out, int32_t size, ModelForm form) {
    clear_text(out, size);

    if (const WholeModel* row = find_whole_model(model, form)) {
        const char* result = form == ModelForm::kLong ? row->long_text : row->short_text;
        // Signed comparison: a zero or negative size never fits.
        if (size <= static_cast<int32_t>(std::strlen(result))) raise(kErrRange);
        std::strncpy(out, result, static_cast<size_t>(size));
        return;
    }

    // Channel list. strtok_r splits like strtok (empty fields vanish, model
    // is cut in place) but keeps its position in a local, so two threads can
    // split their own strings at once. The caller's buffer must be large
    // enough: this path does not look at size.
    char* at = out;
    // The list's zero is written even when the list is empty: a zero or
    // negative size cleared nothing, and the result must still end.
    *at = '\0';
    char* position = nullptr;
    bool first = true;
    for (char* token = strtok_r(model, "/", &position); token != nullptr;
         token = strtok_r(nullptr, "/", &position)) {
        char text[kTokenTextSize];
        if (!token_text(token, form, text)) {
            // The separator goes out only with a token that resolved, so the
            // text so far ends where the unknown token would have begun.
            *at = '\0';
            raise(kErrColorSpace);
        }
        if (!first) *at++ = '/';
        const size_t length = std::strlen(text);
        std::memcpy(at, text, length + 1);
        at += length;
        first = false;
    }
}

}  // namespace ozu

extern "C" OZU_COLOR_API int32_t COL_ModelToLong(char* model, char* out, int32_t size) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, ozu::kLongTexts, [&] {
        ozu::model_entry_body(model, out, size, ozu::ModelForm::kLong);
    });
}

extern "C" OZU_COLOR_API int32_t COL_ModelToShort(char* model, char* out, int32_t size) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, ozu::kShortTexts, [&] {
        ozu::model_entry_body(model, out, size, ozu::ModelForm::kShort);
    });
}
