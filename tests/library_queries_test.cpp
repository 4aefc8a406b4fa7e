// COL_GetCpuTarget and COL_GetConversionMatrix.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include <ozu/color.h>

#include "frame/cpu_target.h"
#include "test_support.h"

namespace {

TEST(GetCpuTarget, NamesTheActiveTarget) {
    char name[16];
    std::memset(name, 'x', sizeof name);
    ASSERT_EQ(COL_GetCpuTarget(name, sizeof name), 1);
    const std::string text = name;
    EXPECT_EQ(text, ozu::cpu_target_name(ozu::active_cpu_target()));
#if defined(__x86_64__)
    EXPECT_TRUE(text == "scalar" || text == "sse4" || text == "avx2" || text == "avx512") << text;
#elif defined(__aarch64__)
    EXPECT_TRUE(text == "scalar" || text == "neon" || text == "sve" || text == "sve2") << text;
#else
    EXPECT_EQ(text, "scalar");
#endif
    EXPECT_EQ(name[text.size() + 1], 'x');
}

TEST(GetCpuTarget, ATooSmallBufferIsARangeErrorAndLeavesItUntouched) {
    char name[16];
    std::memset(name, 'x', sizeof name);
    ASSERT_EQ(COL_GetCpuTarget(name, sizeof name), 1);
    const int32_t exact = static_cast<int32_t>(std::strlen(name)) + 1;
    char small[16];
    std::memset(small, 'y', sizeof small);
    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_GetCpuTarget(small, exact - 1), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_RANGE);
    EXPECT_EQ(small[0], 'y');
    EXPECT_EQ(COL_GetCpuTarget(small, -1), 0);
    EXPECT_EQ(COL_GetCpuTarget(small, exact), 1);
    EXPECT_STREQ(small, name);
    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_GetCpuTarget(nullptr, 16), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_NULL_POINTER);
}

TEST(GetConversionMatrix, GivesTheYccRowsBothWays) {
    int32_t m[9] = {};
    ASSERT_EQ(COL_GetConversionMatrix(COL_CODE(COL_RGB, COL_YCC), m), 1);
    const int32_t forward[9] = {2448, 4805, 937, -1382, -2713, 4096, 4096, -3427, -668};
    for (int k = 0; k < 9; ++k) EXPECT_EQ(m[k], forward[k]) << k;
    ASSERT_EQ(COL_GetConversionMatrix(COL_CODE(COL_YCC, COL_RGB), m), 1);
    const int32_t back[9] = {8192, 0, 11486, 8192, -2831, -5853, 8192, 14508, 0};
    for (int k = 0; k < 9; ++k) EXPECT_EQ(m[k], back[k]) << k;
}

TEST(GetConversionMatrix, RefusesNonLinearCodesAndANullMatrix) {
    int32_t m[9];
    std::memset(m, 0x55, sizeof m);
    for (uint32_t code : {COL_CODE(COL_RGB, COL_HSV), COL_CODE(COL_YUV, COL_YCC),
                          COL_CODE(COL_RGB, COL_RGB), COL_CODE(COL_BAYER, COL_RGB), 0u}) {
        IPL_SetErrorCode(0);
        EXPECT_EQ(COL_GetConversionMatrix(code, m), 0) << code;
        EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_COLOR_SPACE) << code;
    }
    EXPECT_EQ(m[0], 0x55555555);
    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_GetConversionMatrix(COL_CODE(COL_RGB, COL_YUV), nullptr), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_NULL_POINTER);
}

// The promise of the entry: the matrix through the twist is the conversion,
// for every linear space and both directions, at 8 and 16 bits; YUV and YIQ
// are compared where the conversion adds or removes no chroma offset (luma
// forward, and nothing of their way back).
template <class T>
void expect_twist_matches_conversion() {
    using ozu_test::Buffer;
    const int32_t width = 61, height = 7;
    const int32_t type = ozu::PixelTraits<T>::code;
    for (int32_t space : {COL_XYZ601, COL_XYZ709, COL_XYZITU, COL_YCC, COL_YIQ, COL_YUV}) {
        const bool offset = space == COL_YIQ || space == COL_YUV;
        for (bool forward : {true, false}) {
            if (!forward && offset) continue;
            const uint32_t code = forward ? COL_CODE(COL_RGB, space) : COL_CODE(space, COL_RGB);
            int32_t m[9] = {};
            ASSERT_EQ(COL_GetConversionMatrix(code, m), 1);
            double twist[16] = {};
            for (int i = 0; i < 3; ++i)
                for (int j = 0; j < 3; ++j) twist[4 * j + i] = m[3 * i + j] / 8192.0;
            Buffer src(ozu_test::make_image(width, height, 3, type));
            for (int32_t p = 0; p < 3; ++p)
                ozu_test::write_plane(src.handle(), p,
                                      ozu_test::seeded_pixels<T>(size_t(width) * height, 7 + p));
            Buffer converted, twisted;
            ASSERT_EQ(COL_ConvertColorSpace(src.handle(), converted.slot(), code), 1);
            ASSERT_EQ(COL_ColorTwist(src.handle(), twisted.slot(), twist), 1);
            for (int32_t p = 0; p < (offset ? 1 : 3); ++p)
                EXPECT_EQ(ozu_test::read_plane<T>(converted.handle(), p),
                          ozu_test::read_plane<T>(twisted.handle(), p))
                    << "space " << space << " forward " << forward << " plane " << p;
        }
    }
}

TEST(GetConversionMatrix, ThroughTheTwistMatchesTheConversionAtEightBits) {
    expect_twist_matches_conversion<uint8_t>();
}

TEST(GetConversionMatrix, ThroughTheTwistMatchesTheConversionAtSixteenBits) {
    expect_twist_matches_conversion<uint16_t>();
}

}  // namespace
