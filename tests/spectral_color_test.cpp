// COL_SpectralToColor and colk_spectral.
#include <gtest/gtest.h>

#include <cstdint>

#include <ozu/color.h>
#include <ozu/color_kernels.h>

#include "test_support.h"

namespace {

struct Colour {
    double c[3] = {-7, -7, -7};
};

Colour spectral(int32_t wavelength, int32_t space) {
    Colour out;
    EXPECT_EQ(COL_SpectralToColor(wavelength, space, &out.c[0], &out.c[1], &out.c[2]), 1)
        << wavelength << " nm, space " << space;
    return out;
}

// Exact expectations: component values are integers out of 65535.
void expect_levels(const Colour& colour, int32_t l0, int32_t l1, int32_t l2) {
    EXPECT_EQ(colour.c[0], l0 / 65535.0);
    EXPECT_EQ(colour.c[1], l1 / 65535.0);
    EXPECT_EQ(colour.c[2], l2 / 65535.0);
}

TEST(SpectralToColor, RefusesWavelengthsOutside380To779) {
    for (int32_t nm : {379, 780, 0, -1, 1000, INT32_MIN, INT32_MAX}) {
        Colour out;
        EXPECT_COL_ERROR(COL_ERR_WAVELENGTH,
                         COL_SpectralToColor(nm, COL_RGB, &out.c[0], &out.c[1], &out.c[2]));
        EXPECT_EQ(out.c[0], -7);
    }
}

TEST(SpectralToColor, AcceptsBothEndsAnd779UsesThe775Row) {
    expect_levels(spectral(380, COL_RGB), 9906, 0, 58429);
    const Colour c779 = spectral(779, COL_RGB);
    const Colour c775 = spectral(775, COL_RGB);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(c779.c[k], c775.c[k]);
}

TEST(SpectralToColor, WavelengthsBetweenRowsUseTheRowBelow) {
    const Colour c383 = spectral(383, COL_HSV);
    const Colour c380 = spectral(380, COL_HSV);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(c383.c[k], c380.c[k]);
}

TEST(SpectralToColor, Row765IsPureXBeforeTheMatrix) {
    // Chromaticity (65535, 0, 0): R = 65535 x 25092 >> 13 clamps to 65535, G
    // is negative and clamps to 0, B = 65535 x 557 >> 13 = 4455.
    expect_levels(spectral(765, COL_RGB), 65535, 0, 4455);
}

TEST(SpectralToColor, KnownWavelengthsInRgbAndCmy) {
    expect_levels(spectral(555, COL_RGB), 7465, 59583, 0);
    expect_levels(spectral(600, COL_RGB), 65535, 5977, 0);
    expect_levels(spectral(555, COL_CMY), 58070, 5952, 65535);
    expect_levels(spectral(765, COL_CMY), 0, 65535, 61080);
}

TEST(SpectralToColor, IntensityIsTheGreyKernelOfTheRgb) {
    // Grey into component 0; components 1 and 2 keep G and B.
    expect_levels(spectral(555, COL_I), 37201, 59583, 0);
    expect_levels(spectral(765, COL_I), 20099, 0, 4455);
}

TEST(SpectralToColor, OtherNamedSpacesReturnTheRgbItself) {
    for (int32_t nm = 380; nm <= 779; ++nm) {
        const Colour rgb = spectral(nm, COL_RGB);
        for (int32_t space : {COL_XYZ601, COL_XYZ709, COL_XYZITU, COL_YCC, COL_YIQ, COL_YUV}) {
            const Colour other = spectral(nm, space);
            for (int k = 0; k < 3; ++k) ASSERT_EQ(other.c[k], rgb.c[k]) << nm << " nm, " << space;
        }
    }
}

TEST(SpectralToColor, EveryWavelengthGivesComponentsInZeroToOne) {
    for (int32_t space : {COL_CMY, COL_I, COL_HLS, COL_HSV, COL_RGB}) {
        for (int32_t nm = 380; nm <= 779; ++nm) {
            const Colour c = spectral(nm, space);
            for (double v : c.c) {
                ASSERT_GE(v, 0.0) << nm << " nm, space " << space;
                ASSERT_LE(v, 1.0) << nm << " nm, space " << space;
            }
        }
    }
}

TEST(SpectralToColor, HueSpacesOfAPureRedWavelength) {
    // 600 nm: RGB (65535, 5977, 0). HSV: V = 1, S = 1, hue from the common
    // rule in single precision: (5977/65535 ... ) x 60 / 360 x 65535.
    const Colour hsv = spectral(600, COL_HSV);
    EXPECT_EQ(hsv.c[1], 1.0);
    EXPECT_EQ(hsv.c[2], 1.0);
    EXPECT_GT(hsv.c[0], 0.0);
    EXPECT_LT(hsv.c[0], 1.0 / 6.0);
    const Colour hls = spectral(600, COL_HLS);
    EXPECT_EQ(hls.c[0], hsv.c[0]);
}

TEST(SpectralToColor, CombinedOrUnknownIdentifierFailsWithMinus506AndWritesNothing) {
    for (int32_t space : {3, 0, 2048, -1, 24}) {
        Colour out;
        EXPECT_COL_ERROR(COL_ERR_COLOR_SPACE,
                         COL_SpectralToColor(500, space, &out.c[0], &out.c[1], &out.c[2]));
        for (double v : out.c) EXPECT_EQ(v, -7);
    }
}

TEST(SpectralKernel, UnknownIdentifierReturnsZeroWithoutACode) {
    Colour out;
    IPL_SetErrorCode(-31);
    EXPECT_EQ(colk_spectral(500, 3, &out.c[0], &out.c[1], &out.c[2]), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), -31);
    EXPECT_EQ(out.c[0], -7);
}

TEST(SpectralKernel, RefusesWavelengthsWithoutAChromaticity) {
    Colour out;
    // The 780 nm row is all zero (0 / 0 has no chromaticity); nothing lies
    // beyond it or below 380 nm.
    EXPECT_EQ(colk_spectral(780, COL_RGB, &out.c[0], &out.c[1], &out.c[2]), 0);
    EXPECT_EQ(colk_spectral(785, COL_RGB, &out.c[0], &out.c[1], &out.c[2]), 0);
    EXPECT_EQ(colk_spectral(379, COL_RGB, &out.c[0], &out.c[1], &out.c[2]), 0);
    EXPECT_EQ(out.c[0], -7);
    EXPECT_EQ(colk_spectral(779, COL_RGB, &out.c[0], &out.c[1], &out.c[2]), 1);
}

}  // namespace
