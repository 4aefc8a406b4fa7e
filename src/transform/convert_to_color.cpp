// COL_ConvertToColor and its kernel entry colk_convert_to_color.
#include "transform/convert_to_color.h"

#include <ozu/color.h>
#include <ozu/color_kernels.h>

#include "frame/entry_frame.h"
#include "frame/error_codes.h"
#include "frame/pixel_types.h"
#include "transform/weighted_conversion.h"

namespace {
constexpr ozu::EntryTexts kTexts{"Leaving COL_ConvertToColor - Error: %s (%d)",
                                 "Leaving COL_ConvertToColor - Win32 Error: %ld"};
}  // namespace

extern "C" OZU_COLOR_API bool colk_convert_to_color(int32_t src, int32_t* dst, int32_t srcType,
                                                    int32_t dstType, double w0, double w1,
                                                    double w2) {
    const auto result = ozu::dispatch_pixel_pair(srcType, dstType, [&](auto* s, auto* d) {
        return ozu::tmpl_convert_to_color(src, *dst, w0, w1, w2, s, d);
    });
    if (!result) {
        IPL_SetErrorCode(ozu::kErrPixelType);
        return false;
    }
    return *result;
}

extern "C" OZU_COLOR_API int32_t COL_ConvertToColor(int32_t src, int32_t* dst, double w0, double w1,
                                                    double w2) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, kTexts, [&] {
        ozu::run_weighted_conversion(src, dst, w0, w1, w2, 1, 3, &colk_convert_to_color);
    });
}
