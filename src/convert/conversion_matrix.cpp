// COL_GetConversionMatrix: the fixed-point matrix of a linear conversion, so
// that a caller can run the same product through COL_ColorTwist (with an
// offset the conversion itself does not add, say).

#include <ozu/color.h>

#include "convert/matrices.h"
#include "frame/entry_frame.h"
#include "frame/error_codes.h"

namespace {
constexpr ozu::EntryTexts kTexts{"Leaving COL_GetConversionMatrix - Error: %s (%d)",
                                 "Leaving COL_GetConversionMatrix - Win32 Error: %ld"};

struct Entry {
    int32_t space;
    const ozu::Matrix3* fromRgb;
    const ozu::Matrix3* toRgb;
};

constexpr Entry kEntries[] = {
    {COL_XYZ601, &ozu::kRgbToXyz601, &ozu::kXyz601ToRgb},
    {COL_XYZ709, &ozu::kRgbToXyz709, &ozu::kXyz709ToRgb},
    {COL_XYZITU, &ozu::kRgbToXyzItu, &ozu::kXyzItuToRgb},
    {COL_YCC, &ozu::kRgbToYcc, &ozu::kYccToRgb},
    {COL_YIQ, &ozu::kRgbToYiq, &ozu::kYiqToRgb},
    {COL_YUV, &ozu::kRgbToYuv, &ozu::kYuvToRgb},
};

const ozu::Matrix3* find(uint32_t code) {
    const int32_t from = static_cast<int32_t>(code & 0xFFFFu);
    const int32_t to = static_cast<int32_t>(code >> 16);
    for (const Entry& e : kEntries) {
        if (from == COL_RGB && to == e.space) return e.fromRgb;
        if (to == COL_RGB && from == e.space) return e.toRgb;
    }
    return nullptr;
}
}  // namespace

extern "C" OZU_COLOR_API int32_t COL_GetConversionMatrix(uint32_t code, int32_t* matrix) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, kTexts, [&] {
        if (matrix == nullptr) ozu::raise(ozu::kErrNullPointer);
        const ozu::Matrix3* m = find(code);
        if (m == nullptr) ozu::raise(ozu::kErrColorSpace);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) matrix[i * 3 + j] = (*m)[i][j];
    });
}
