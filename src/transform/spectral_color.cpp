// COL_SpectralToColor and colk_spectral.
#include "transform/spectral_color.h"

#include <ozu/color.h>
#include <ozu/color_kernels.h>

#include "convert/color_space_names.h"
#include "convert/grey_kernels.h"
#include "convert/hue_kernels.h"
#include "convert/line_kernel.h"
#include "convert/matrices.h"
#include "convert/matrix_kernels.h"
#include "convert/plane_kernels.h"
#include "frame/entry_frame.h"
#include "frame/error_codes.h"
#include "transform/colour_matching.h"

namespace ozu {
namespace {

constexpr EntryTexts kTexts{"Leaving COL_SpectralToColor - Error: %s (%d)",
                            "Leaving COL_SpectralToColor - Win32 Error: %ld"};

// The XYZ -> RGB matrix of the EBU primaries with D65 white (3.0630, -1.3929,
// -0.4760 / -0.9690, 1.8760, 0.0420 / 0.0680, -0.2289, 1.0690).
constexpr const Matrix3& kSpectralXyzToRgb = kXyzItuToRgb;
static_assert(kSpectralXyzToRgb[0][0] == 25092 && kSpectralXyzToRgb[2][2] == 8757);

using WorkingKernel = LineKernel<int32_t, int32_t>;

// The kernel that takes the RGB pixel into the requested space. Every
// identifier starts from the pass-through; the XYZ, YCC, YIQ and YUV
// identifiers pick a matrix but never replace the kernel, so they report the
// RGB itself, exactly as RGB does. Only an unknown identifier clears it.
WorkingKernel kernel_for(int32_t space) {
    WorkingKernel kernel = &subNoOp<int32_t, int32_t>;
    switch (space) {
        case kSpaceCMY: kernel = &subInvert<int32_t, int32_t>; break;
        case kSpaceI: kernel = &subRGB2Gray<int32_t, int32_t>; break;
        case kSpaceHLS: kernel = &subRGB2HLS<int32_t, int32_t>; break;
        case kSpaceHSV: kernel = &subRGB2HSV<int32_t, int32_t>; break;
        case kSpaceRGB:
        case kSpaceXYZ601:
        case kSpaceXYZ709:
        case kSpaceXYZITU:
        case kSpaceYCC:
        case kSpaceYIQ:
        case kSpaceYUV: break;
        default: kernel = nullptr; break;
    }
    return kernel;
}

}  // namespace
}  // namespace ozu

extern "C" OZU_COLOR_API int32_t colk_spectral(int32_t wavelength, int32_t space, double* out0,
                                               double* out1, double* out2) {
    using namespace ozu;
    // The entry admits 380..779 nm. A direct caller gets no further either:
    // below there is no row, and the 780 nm row is all zero, which has no
    // chromaticity (0 / 0).
    const uint32_t offset = static_cast<uint32_t>(wavelength) - uint32_t{kColourMatchingFirstNm};
    if (offset >= uint32_t{(kColourMatchingRows - 1) * kColourMatchingStepNm}) return 0;
    const WorkingKernel kernel = kernel_for(space);
    if (kernel == nullptr) return 0;

    // Only the chromaticity is kept: the brightness of the wavelength goes.
    const double* row = kColourMatching[offset / kColourMatchingStepNm];
    const double sum = row[0] + row[1] + row[2];
    int32_t xyz[3];
    for (int k = 0; k < 3; ++k) xyz[k] = static_cast<int32_t>(row[k] / sum * 65535.0);

    int32_t rgb[3];
    const int32_t* xyzPlanes[3] = {&xyz[0], &xyz[1], &xyz[2]};
    int32_t* rgbPlanes[3] = {&rgb[0], &rgb[1], &rgb[2]};
    sub3x3MatMult<int32_t, int32_t>(xyzPlanes, rgbPlanes, 1, kSpectralMax, kSpectralMax,
                                    kSpectralXyzToRgb);
    // The target space is converted in place on the same pixel.
    const int32_t* rgbIn[3] = {&rgb[0], &rgb[1], &rgb[2]};
    kernel(rgbIn, rgbPlanes, 1, kSpectralMax, kSpectralMax);

    *out0 = rgb[0] / 65535.0;
    *out1 = rgb[1] / 65535.0;
    *out2 = rgb[2] / 65535.0;
    return 1;
}

extern "C" OZU_COLOR_API int32_t COL_SpectralToColor(int32_t wavelength, int32_t space,
                                                     double* out0, double* out1, double* out2) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, ozu::kTexts, [&] {
        if (static_cast<uint32_t>(wavelength) - 380u > 399u) ozu::raise(ozu::kErrWavelength);
        if (colk_spectral(wavelength, space, out0, out1, out2) == 0)
            ozu::raise(ozu::kErrColorSpace);
    });
}
