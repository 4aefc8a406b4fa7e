// COL_ModelTinting: the colour look-up table that tints one component of a
// model, so that a single channel can be shown in the colour it stands for.
#include "model/model_tinting.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "frame/allocation_hook.h"
#include "frame/entry_frame.h"
#include "frame/error_codes.h"
#include "frame/fixed_point.h"
#include "frame/host_access.h"

namespace ozu {
namespace {

constexpr EntryTexts kTexts{"Leaving COL_ModelTinting - Error: %s (%d)",
                            "Leaving COL_ModelTinting - Win32 Error: %ld"};

// Both names of the component are built in buffers of this size, which is
// also the size the nested entries are told.
constexpr int32_t kNameSize = 1024;

// A wavelength plane is tinted with its colour as RGB.
constexpr int32_t kTintSpace = COL_RGB;

struct NamedTint {
    const char* name;
    LinearTint tint;
};

// Primaries ramp up from black, their complements down from white; "S" runs
// from grey 128 towards yellow (blue falls by 0.3 per step while red and
// green rise by 0.5).
const NamedTint kNamedTints[] = {
    {"I", {{1.0, 1.0, 1.0}, {0, 0, 0}}},
    {"R", {{1.0, 0.0, 0.0}, {0, 0, 0}}},
    {"G", {{0.0, 1.0, 0.0}, {0, 0, 0}}},
    {"B", {{0.0, 0.0, 1.0}, {0, 0, 0}}},
    {"C", {{-1.0, 0.0, 0.0}, {255, 255, 255}}},
    {"M", {{0.0, -1.0, 0.0}, {255, 255, 255}}},
    {"Yel", {{0.0, 0.0, -1.0}, {255, 255, 255}}},
    {"S", {{0.5, 0.5, -0.3}, {128, 128, 128}}},
};

// One segment of the hue rainbow: from entry `first` on, plane k holds
// start[k] + step[k] x (i - first). Each segment moves one primary by 6 per
// entry while the other two stay at 0 or 255; the uneven lengths mean no
// segment quite reaches the end of its move (the last rising value is 252 or
// 246), which is what the table has always held.
struct HueSegment {
    int32_t first;
    int32_t start[3];
    int32_t step[3];
};

const HueSegment kHueSegments[] = {
    {0, {255, 0, 0}, {0, 6, 0}},      // red, green rising
    {43, {255, 255, 0}, {-6, 0, 0}},  // yellow, red falling
    {86, {0, 255, 0}, {0, 0, 6}},     // green, blue rising
    {128, {0, 255, 255}, {0, -6, 0}}, // cyan, green falling
    {170, {0, 0, 255}, {6, 0, 0}},    // blue, red rising
    {213, {255, 0, 255}, {0, 0, -6}}, // magenta, blue falling
};

// The hue is the one component whose table is not a linear tint.
constexpr const char* kHueName = "H";

// The caller's text stays untouched: the extraction splits its input in
// place, so it gets a copy.
std::vector<char> writable_copy(const char* text) {
    before_allocation("colour: model text copy");
    return std::vector<char>(text, text + std::strlen(text) + 1);
}

}  // namespace

bool named_tint(const char* shortName, LinearTint& tint) {
    for (const NamedTint& named : kNamedTints) {
        if (std::strcmp(shortName, named.name) == 0) {
            tint = named.tint;
            return true;
        }
    }
    return false;
}

void fill_linear_tint(const LinearTint& tint, TintPlanes& planes) {
    for (int k = 0; k < 3; ++k) {
        for (int32_t i = 0; i < kTintEntries; ++i) {
            // Truncation toward zero, then the offset; only the low byte is
            // kept, so a sum outside 0..255 wraps.
            const int32_t scaled = static_cast<int32_t>(tint.factor[k] * static_cast<double>(i));
            planes[k][i] = static_cast<uint8_t>(static_cast<uint32_t>(wadd(scaled, tint.offset[k])));
        }
    }
}

void fill_hue_rainbow(TintPlanes& planes) {
    constexpr int32_t kSegments = sizeof kHueSegments / sizeof kHueSegments[0];
    for (int32_t s = 0; s < kSegments; ++s) {
        const HueSegment& segment = kHueSegments[s];
        const int32_t end = s + 1 < kSegments ? kHueSegments[s + 1].first : kTintEntries;
        for (int32_t i = segment.first; i < end; ++i) {
            for (int k = 0; k < 3; ++k) {
                // 8-bit arithmetic: the value is the low byte of the sum.
                const int32_t value = segment.start[k] + segment.step[k] * (i - segment.first);
                planes[k][i] = static_cast<uint8_t>(static_cast<uint32_t>(value));
            }
        }
    }
}

}  // namespace ozu

extern "C" OZU_COLOR_API int32_t COL_ModelTinting(const char* model, int32_t* lut) {
    using namespace ozu;
    static OnceFlag once;
    return run_entry(once, kTexts, [&] {
        if (model == nullptr) raise(kErrNullPointer);
        // The handle is read and may be written: without it there is no table.
        if (lut == nullptr) raise(kErrNullPointer);

        if (*lut == -1) {
            check_host(IPL_BufAlloc(lut, kTintEntries, 1, 3, 1, 1, BASE_TYPE_U8, BASE_KIND_TABLE,
                                    0));
        }
        require_buffer(*lut);
        if (inquire(*lut, BASE_ATTR_PLANES) != 3) raise(kErrPlanes);
        if (inquire(*lut, BASE_ATTR_WIDTH) != kTintEntries) raise(kErrWidth);
        const int32_t type = inquire(*lut, BASE_ATTR_TYPE);
        if (type != BASE_TYPE_S8 && type != BASE_TYPE_U8) raise(kErrPixelType);
        BASE_GetAtBuffer(*lut);

        // Component 0 in its channel-list form ("550nm", "Yel", "X601"), then
        // in its compact form ("550", "Yel", "X601"). Both go through the
        // exported entries, whose failure has already recorded its code.
        std::vector<char> text = writable_copy(model);
        char longName[kNameSize] = {};
        if (COL_ExtractModel(text.data(), 0, longName, kNameSize) == 0) raise_host();
        // The compact form is built from a copy: the long name is still
        // needed for the wavelength.
        std::vector<char> component = writable_copy(longName);
        char shortName[kNameSize] = {};
        if (COL_ModelToShort(component.data(), shortName, kNameSize) == 0) raise_host();

        const bool hue = std::strcmp(shortName, kHueName) == 0;
        LinearTint tint;
        if (!hue && !named_tint(shortName, tint)) {
            // Any other component must be a wavelength plane: a ramp from
            // black to the colour of that wavelength.
            int wavelength = 0;
            if (std::sscanf(longName, "%3d", &wavelength) != 1) raise(kErrRange);
            if (COL_SpectralToColor(wavelength, kTintSpace, &tint.factor[0], &tint.factor[1],
                                    &tint.factor[2]) == 0) {
                raise_host();
            }
        }

        // The current table is read first and then overwritten in full.
        TintPlanes planes;
        for (int32_t k = 0; k < 3; ++k) {
            check_host(IPL_GetBufDataEx(*lut, 0, 0, k, 0, 0, kTintEntries, 1, 0, kTintEntries,
                                        planes[k], BASE_TYPE_U8));
        }
        if (hue) {
            fill_hue_rainbow(planes);
        } else {
            fill_linear_tint(tint, planes);
        }
        for (int32_t k = 0; k < 3; ++k) {
            check_host(IPL_PutBufDataEx(*lut, 0, 0, k, 0, 0, kTintEntries, 1, 0, kTintEntries,
                                        planes[k], BASE_TYPE_U8));
        }
    });
}
