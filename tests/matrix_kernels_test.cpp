// The matrix line kernels: sub3x3MatMult, subRGB2YUV_YIQ_YCrCb and
// subYUV_YIQ_YCrCb2RGB.
#include "convert/matrix_kernels.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "convert/matrices.h"
#include "frame/pixel_types.h"
#include "test_support.h"

using namespace ozu;
using ozu_test::Line3;

namespace {

// A pixel of three equal channels, repeated for each grey value given.
template <class T>
Line3<T> grey_line(const std::vector<int64_t>& greys) {
    std::vector<T> v;
    for (int64_t g : greys) v.push_back(static_cast<T>(g));
    return Line3<T>(v, v, v);
}

// Four pixels over the ends of a type's range: black, near white, the type's
// lowest value in every channel position, and a mid value against it.
template <class T>
Line3<T> range_ends_line() {
    const T m = static_cast<T>(pixel_max<T>);
    const T lo = std::numeric_limits<T>::lowest();
    return Line3<T>({0, m, lo, 100}, {0, static_cast<T>(m / 2), m, lo}, {0, 100, lo, m});
}

}  // namespace

TEST(Sub3x3MatMult, ClampsEightBitWhiteXyzToRange) {
    auto src = grey_line<uint8_t>({255});
    Line3<uint8_t> dst(1);
    EXPECT_TRUE((sub3x3MatMult<uint8_t, uint8_t>(src.in(), dst.out(), 1, 255, 255, kRgbToXyz601)));
    // X = 255 * 8035 >> 13 = 250; Y = 255 * 8436 >> 13 = 262 and Z = 255 * 9682
    // >> 13 = 301 are clamped to 255 (unclamped they would wrap to 6 and 45).
    EXPECT_EQ(dst.plane[0][0], 250);
    EXPECT_EQ(dst.plane[1][0], 255);
    EXPECT_EQ(dst.plane[2][0], 255);
}

TEST(Sub3x3MatMult, ClampsNegativeChromaOfYccToZero) {
    // No chroma offset in the plain product: Cb of red and Cr of blue are
    // negative and become 0.
    Line3<uint8_t> src({255, 0}, {0, 0}, {0, 255});
    Line3<uint8_t> dst(2);
    EXPECT_TRUE((sub3x3MatMult<uint8_t, uint8_t>(src.in(), dst.out(), 2, 255, 255, kRgbToYcc)));
    // Red: Y = 2448 * 255 >> 13 = 76, Cb = -1382 * 255 >> 13 = -44 -> 0,
    // Cr = 4096 * 255 >> 13 = 127. Blue: Y = 937 * 255 >> 13 = 29, Cb = 127,
    // Cr = -668 * 255 >> 13 = -21 -> 0.
    ozu_test::expect_planes(dst, {{76, 29}, {0, 127}, {127, 0}});
}

TEST(Sub3x3MatMult, TruncatesProductAndRangeChangeSeparately) {
    // One half in each channel, 8-bit to 16-bit (factor 2105344 = 257 x 8192):
    // 255 -> 127 -> 127 * 257 = 32639, not 127.5 * 257 = 32767.
    const int32_t half[3][3] = {{4096, 0, 0}, {0, 4096, 0}, {0, 0, 4096}};
    Line3<uint8_t> src({255}, {1}, {2});
    Line3<uint16_t> dst(1);
    EXPECT_TRUE((sub3x3MatMult<uint8_t, uint16_t>(src.in(), dst.out(), 1, 255, 65535, half)));
    ozu_test::expect_planes(dst, {{32639}, {0}, {257}});
}

TEST(Sub3x3MatMult, WrapsThirtyTwoBitProducts) {
    // 8192 x (2^18 + 5) = 2^31 + 40960 wraps to a negative sum, clamped to 0;
    // 8192 x (2^18 - 1) still fits and is clamped to 65535.
    const int32_t identity[3][3] = {{8192, 0, 0}, {0, 8192, 0}, {0, 0, 8192}};
    Line3<int32_t> src({(1 << 18) + 5}, {(1 << 18) - 1}, {100});
    Line3<int32_t> dst(1);
    EXPECT_TRUE((sub3x3MatMult<int32_t, int32_t>(src.in(), dst.out(), 1, 65535, 65535, identity)));
    ozu_test::expect_planes(dst, {{0}, {65535}, {100}});
}

TEST(Sub3x3MatMult, ConvertsALineInPlace) {
    Line3<uint8_t> line({255, 10, 0}, {0, 20, 0}, {0, 30, 255});
    Line3<uint8_t> copy({255, 10, 0}, {0, 20, 0}, {0, 30, 255});
    Line3<uint8_t> expected(3);
    sub3x3MatMult<uint8_t, uint8_t>(copy.in(), expected.out(), 3, 255, 255, kRgbToXyz709);
    EXPECT_TRUE((sub3x3MatMult<uint8_t, uint8_t>(line.in(), line.out(), 3, 255, 255, kRgbToXyz709)));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(line.plane[i], expected.plane[i]) << "plane " << i;
}

TEST(Sub3x3MatMult, WritesNothingForZeroOrNegativeWidth) {
    auto src = grey_line<uint8_t>({200});
    Line3<uint8_t> dst(1, 7);
    EXPECT_TRUE((sub3x3MatMult<uint8_t, uint8_t>(src.in(), dst.out(), 0, 255, 255, kRgbToXyz709)));
    EXPECT_TRUE((sub3x3MatMult<uint8_t, uint8_t>(src.in(), dst.out(), -1, 255, 255, kRgbToXyz709)));
    ozu_test::expect_planes(dst, {{7}, {7}, {7}});
}

TEST(SubRGB2YUV_YIQ_YCrCb, CentresChromaOfEightBitGreyAt128) {
    std::vector<int64_t> greys;
    for (int g = 0; g < 256; ++g) greys.push_back(g);
    auto src = grey_line<uint8_t>(greys);
    Line3<uint8_t> dst(256);
    EXPECT_TRUE((subRGB2YUV_YIQ_YCrCb<uint8_t, uint8_t>(src.in(), dst.out(), 256, 255, 255, kRgbToYuv)));
    for (int g = 0; g < 256; ++g) {
        EXPECT_EQ(dst.plane[0][g], g * 8190 >> 13) << "grey " << g;
        EXPECT_EQ(dst.plane[1][g], 128) << "grey " << g;
        EXPECT_EQ(dst.plane[2][g], 128) << "grey " << g;
    }
}

TEST(SubRGB2YUV_YIQ_YCrCb, CentresChromaOfSixteenBitGreyBelow8192At128) {
    // The U row sums to 0 and the V row to +1/8192: below 8192 both round to
    // 0 and the offset 128 (not 32768) is all that is left.
    auto src = grey_line<uint16_t>({0, 1, 1000, 8191});
    Line3<uint16_t> dst(4);
    EXPECT_TRUE((subRGB2YUV_YIQ_YCrCb<uint16_t, uint16_t>(src.in(), dst.out(), 4, 65535, 65535, kRgbToYuv)));
    ozu_test::expect_planes(dst, {{0, 0, 999, 8189}, {128, 128, 128, 128}, {128, 128, 128, 128}});
}

TEST(SubRGB2YUV_YIQ_YCrCb, RaisesSixteenBitGreyVOneStepPer8192) {
    auto src = grey_line<uint16_t>({8192, 16384, 65535});
    Line3<uint16_t> dst(3);
    EXPECT_TRUE((subRGB2YUV_YIQ_YCrCb<uint16_t, uint16_t>(src.in(), dst.out(), 3, 65535, 65535, kRgbToYuv)));
    ozu_test::expect_planes(dst, {{8190, 16380, 65519}, {128, 128, 128}, {129, 130, 135}});
}

TEST(SubRGB2YUV_YIQ_YCrCb, GivesQ127ForGreyUpTo8192) {
    // The Q row sums to -1/8192: the arithmetic shift takes -g/8192 down to
    // -1 for 0 < g <= 8192; black stays at 128.
    auto src8 = grey_line<uint8_t>({0, 1, 128, 255});
    Line3<uint8_t> dst8(4);
    EXPECT_TRUE((subRGB2YUV_YIQ_YCrCb<uint8_t, uint8_t>(src8.in(), dst8.out(), 4, 255, 255, kRgbToYiq)));
    ozu_test::expect_planes(dst8, {{0, 0, 127, 254}, {128, 128, 128, 128}, {128, 127, 127, 127}});

    auto src16 = grey_line<uint16_t>({1, 8192});
    Line3<uint16_t> dst16(2);
    EXPECT_TRUE((subRGB2YUV_YIQ_YCrCb<uint16_t, uint16_t>(src16.in(), dst16.out(), 2, 65535, 65535, kRgbToYiq)));
    ozu_test::expect_planes(dst16, {{0, 8190}, {128, 129}, {127, 127}});
}

TEST(SubRGB2YUV_YIQ_YCrCb, LowersSixteenBitGreyQOneStepPer8192Above) {
    auto src = grey_line<uint16_t>({8193, 16384, 16385, 65535});
    Line3<uint16_t> dst(4);
    EXPECT_TRUE((subRGB2YUV_YIQ_YCrCb<uint16_t, uint16_t>(src.in(), dst.out(), 4, 65535, 65535, kRgbToYiq)));
    ozu_test::expect_planes(dst, {{8190, 16380, 16380, 65519}, {129, 130, 130, 135}, {126, 126, 125, 120}});
}

TEST(SubYUV_YIQ_YCrCb2RGB, SubtractsNoOffsetForSignedRanges) {
    // (Y, U, V) = (100, 10, 0) with srcMax 127: R = 100, G = (819200 - 32440)
    // >> 13 = 96, B = (819200 + 166210) >> 13 = 120.
    Line3<int8_t> src8({100}, {10}, {0});
    Line3<int8_t> dst8(1);
    EXPECT_TRUE((subYUV_YIQ_YCrCb2RGB<int8_t, int8_t>(src8.in(), dst8.out(), 1, 127, 127, kYuvToRgb)));
    ozu_test::expect_planes(dst8, {{100}, {96}, {120}});

    Line3<int16_t> src16({1000}, {100}, {0});
    Line3<int16_t> dst16(1);
    EXPECT_TRUE((subYUV_YIQ_YCrCb2RGB<int16_t, int16_t>(src16.in(), dst16.out(), 1, 32767, 32767, kYuvToRgb)));
    ozu_test::expect_planes(dst16, {{1000}, {960}, {1202}});
}

TEST(SubYUV_YIQ_YCrCb2RGB, CentresUnsignedChromaAtHalfRange) {
    // The same colours as above, held with chroma around 128 and 32768.
    Line3<uint8_t> src8({100}, {138}, {128});
    Line3<uint8_t> dst8(1);
    EXPECT_TRUE((subYUV_YIQ_YCrCb2RGB<uint8_t, uint8_t>(src8.in(), dst8.out(), 1, 255, 255, kYuvToRgb)));
    ozu_test::expect_planes(dst8, {{100}, {96}, {120}});

    Line3<uint16_t> src16({1000}, {32868}, {32768});
    Line3<uint16_t> dst16(1);
    EXPECT_TRUE((subYUV_YIQ_YCrCb2RGB<uint16_t, uint16_t>(src16.in(), dst16.out(), 1, 65535, 65535, kYuvToRgb)));
    ozu_test::expect_planes(dst16, {{1000}, {960}, {1202}});
}

TEST(SubYUV_YIQ_YCrCb2RGB, ReadsSixteenBitChromaWrittenAt128AsFarBelowCentre) {
    // 16-bit grey 1000 becomes (999, 128, 128) and is read back centred at
    // 32768: both chroma values count as -32640.
    auto grey = grey_line<uint16_t>({1000});
    Line3<uint16_t> yuv(1);
    Line3<uint16_t> rgb(1);
    subRGB2YUV_YIQ_YCrCb<uint16_t, uint16_t>(grey.in(), yuv.out(), 1, 65535, 65535, kRgbToYuv);
    ozu_test::expect_planes(yuv, {{999}, {128}, {128}});
    EXPECT_TRUE((subYUV_YIQ_YCrCb2RGB<uint16_t, uint16_t>(yuv.in(), rgb.out(), 1, 65535, 65535, kYuvToRgb)));
    ozu_test::expect_planes(rgb, {{0}, {32885}, {0}});
}

// Every instance over the ends of its source range (pixel_max and the type's
// lowest value), with the ranges the conversion driver passes. The expected
// values were worked out independently in exact integer arithmetic with
// 32-bit wrap-around; rows follow the instance lists (source-major).
namespace {

constexpr int64_t kXyz709Expected[17][3][4] = {
    {{0, 92, 0, 18}, {0, 79, 54, 0}, {0, 104, 0, 107}},  // int8_t -> int8_t
    {{0, 184, 0, 36}, {0, 158, 108, 0}, {0, 208, 0, 214}},  // int8_t -> uint8_t
    {{0, 23736, 0, 4644}, {0, 20382, 13932, 0}, {0, 26832, 0, 27606}},  // int8_t -> int16_t
    {{0, 47474, 0, 9288}, {0, 40765, 27865, 0}, {0, 53666, 0, 55214}},  // int8_t -> uint16_t
    {{0, 83, 45, 43}, {0, 75, 90, 19}, {0, 56, 14, 121}},  // uint8_t -> int8_t
    {{0, 168, 91, 87}, {0, 152, 182, 39}, {0, 114, 30, 244}},  // uint8_t -> uint8_t
    {{0, 21587, 11693, 11179}, {0, 19531, 23386, 5011}, {0, 14648, 3854, 31353}},  // uint8_t -> int16_t
    {{0, 43176, 23387, 22359}, {0, 39064, 46774, 10023}, {0, 29298, 7710, 62708}},  // uint8_t -> uint16_t
    {{0, 73, 0, 0}, {0, 70, 53, 0}, {0, 10, 0, 103}},  // int16_t -> int8_t
    {{0, 149, 0, 0}, {0, 143, 108, 0}, {0, 20, 0, 209}},  // int16_t -> uint8_t
    {{0, 19381, 0, 0}, {0, 18696, 14095, 0}, {0, 2662, 0, 27232}},  // int16_t -> int16_t
    {{0, 38762, 0, 0}, {0, 37392, 28190, 0}, {0, 5324, 0, 54464}},  // int16_t -> uint16_t
    {{0, 70, 42, 21}, {0, 68, 85, 8}, {0, 9, 14, 113}},  // uint16_t -> int8_t
    {{0, 146, 88, 44}, {0, 141, 177, 17}, {0, 19, 29, 235}},  // uint16_t -> uint8_t
    {{0, 19367, 11724, 5915}, {0, 18688, 23421, 2365}, {0, 2614, 3894, 31120}},  // uint16_t -> int16_t
    {{0, 38745, 23455, 11833}, {0, 37386, 46855, 4733}, {0, 5230, 7791, 62256}},  // uint16_t -> uint16_t
    {{0, 38745, 0, 11833}, {0, 37386, 0, 0}, {0, 5230, 0, 62256}},  // int32_t -> int32_t
};
constexpr int64_t kYiqExpected[5][3][4] = {
    {{0, 86, 21, 0}, {127, 127, 58, 127}, {127, 127, 0, 127}},  // int8_t -> int8_t
    {{0, 162, 149, 58}, {128, 212, 58, 105}, {128, 146, 0, 228}},  // uint8_t -> uint8_t
    {{0, 19422, 5703, 0}, {128, 15135, 0, 0}, {128, 0, 0, 27472}},  // int16_t -> int16_t
    {{0, 38834, 38463, 7493}, {128, 30175, 0, 0}, {128, 0, 0, 20524}},  // uint16_t -> uint16_t
    {{0, 38834, 38463, 7493}, {128, 30175, 65535, 0}, {128, 0, 65535, 20524}},  // int32_t -> int32_t
};
constexpr int64_t kYuvToRgbExpected[16][3][4] = {
    {{0, 127, 0, 127}, {0, 43, 0, 76}, {0, 127, 127, 0}},  // int8_t -> int8_t
    {{0, 255, 0, 255}, {0, 86, 0, 152}, {0, 255, 255, 0}},  // int8_t -> uint8_t
    {{0, 32767, 0, 32767}, {0, 11094, 0, 19608}, {0, 32767, 32767, 0}},  // int8_t -> int16_t
    {{0, 65535, 0, 65535}, {0, 22189, 0, 39217}, {0, 65535, 65535, 0}},  // int8_t -> uint16_t
    {{0, 111, 0, 121}, {62, 127, 11, 37}, {0, 125, 127, 0}},  // uint8_t -> int8_t
    {{0, 223, 0, 244}, {125, 255, 24, 76}, {0, 252, 255, 0}},  // uint8_t -> uint8_t
    {{0, 28655, 0, 31353}, {16062, 32767, 3083, 9765}, {0, 32381, 32767, 0}},  // uint8_t -> int16_t
    {{0, 57311, 0, 62708}, {32125, 65535, 6168, 19532}, {0, 64764, 65535, 0}},  // uint8_t -> uint16_t
    {{0, 124, 0, 127}, {0, 99, 0, 0}, {0, 127, 127, 0}},  // int16_t -> int8_t
    {{0, 252, 0, 255}, {0, 201, 0, 0}, {0, 255, 255, 0}},  // int16_t -> uint8_t
    {{0, 32767, 0, 32767}, {0, 26221, 0, 0}, {0, 32767, 32767, 0}},  // int16_t -> int16_t
    {{0, 65535, 0, 65535}, {0, 52442, 0, 0}, {0, 65535, 65535, 0}},  // int16_t -> uint16_t
    {{0, 51, 0, 68}, {58, 127, 11, 0}, {0, 119, 121, 0}},  // uint16_t -> int8_t
    {{0, 107, 0, 141}, {121, 255, 22, 0}, {0, 247, 251, 0}},  // uint16_t -> uint8_t
    {{0, 14144, 0, 18720}, {16002, 32767, 3029, 0}, {0, 32758, 32767, 0}},  // uint16_t -> int16_t
    {{0, 28296, 0, 37450}, {32012, 65535, 6060, 0}, {0, 65532, 65535, 0}},  // uint16_t -> uint16_t
};

}  // namespace

template <class P>
class Sub3x3MatMultInstance : public ::testing::Test {};
TYPED_TEST_SUITE(Sub3x3MatMultInstance, ozu_test::AllPixelPairsAndWorking, ozu_test::TypePairName);

TYPED_TEST(Sub3x3MatMultInstance, ConvertsRangeEndsAndClamps) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    auto src = range_ends_line<S>();
    Line3<D> dst(4, D{7});
    EXPECT_TRUE((sub3x3MatMult<S, D>(src.in(), dst.out(), 4, pixel_max<S>, pixel_max<D>, kRgbToXyz709)));
    ozu_test::expect_planes(dst, kXyz709Expected[ozu_test::pair_row<S, D>()]);
}

template <class P>
class SubRGB2YUV_YIQ_YCrCbInstance : public ::testing::Test {};
TYPED_TEST_SUITE(SubRGB2YUV_YIQ_YCrCbInstance, ozu_test::SameTypePairsAndWorking, ozu_test::TypePairName);

TYPED_TEST(SubRGB2YUV_YIQ_YCrCbInstance, ConvertsRangeEndsWithOffset128) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    auto src = range_ends_line<S>();
    Line3<D> dst(4, D{7});
    EXPECT_TRUE((subRGB2YUV_YIQ_YCrCb<S, D>(src.in(), dst.out(), 4, pixel_max<S>, pixel_max<D>, kRgbToYiq)));
    ozu_test::expect_planes(dst, kYiqExpected[ozu_test::kTypeIndex<S>]);
}

template <class P>
class SubYUV_YIQ_YCrCb2RGBInstance : public ::testing::Test {};
TYPED_TEST_SUITE(SubYUV_YIQ_YCrCb2RGBInstance, ozu_test::AllPixelPairs, ozu_test::TypePairName);

TYPED_TEST(SubYUV_YIQ_YCrCb2RGBInstance, ConvertsRangeEndsAndClamps) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    auto src = range_ends_line<S>();
    Line3<D> dst(4, D{7});
    EXPECT_TRUE((subYUV_YIQ_YCrCb2RGB<S, D>(src.in(), dst.out(), 4, pixel_max<S>, pixel_max<D>, kYuvToRgb)));
    ozu_test::expect_planes(dst, kYuvToRgbExpected[ozu_test::pair_row<S, D>()]);
}

// Every vector version against the scalar kernel: seeded lines of every width
// 0..100 (so every tail), several matrices, the ranges of every instance.

TYPED_TEST(Sub3x3MatMultInstance, EveryTargetMatchesTheScalarKernel) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    for (const auto& [srcMax, dstMax] : ozu_test::kernel_ranges<S, D>())
        for (const Matrix3* m : {&kRgbToXyz709, &kYccToRgb, &kXyz601ToRgb, &kRgbToYcc})
            ozu_test::expect_targets_match_scalar<S, D>(sub3x3MatMult_targets<S, D>(), srcMax, dstMax,
                                                        true, *m);
}

TYPED_TEST(SubRGB2YUV_YIQ_YCrCbInstance, EveryTargetMatchesTheScalarKernel) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    for (const auto& [srcMax, dstMax] : ozu_test::kernel_ranges<S, D>())
        for (const Matrix3* m : {&kRgbToYuv, &kRgbToYiq})
            ozu_test::expect_targets_match_scalar<S, D>(subRGB2YUV_YIQ_YCrCb_targets<S, D>(), srcMax,
                                                        dstMax, true, *m);
}

TYPED_TEST(SubYUV_YIQ_YCrCb2RGBInstance, EveryTargetMatchesTheScalarKernel) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    for (const auto& [srcMax, dstMax] : ozu_test::kernel_ranges<S, D>())
        for (const Matrix3* m : {&kYuvToRgb, &kYiqToRgb})
            ozu_test::expect_targets_match_scalar<S, D>(subYUV_YIQ_YCrCb2RGB_targets<S, D>(), srcMax,
                                                        dstMax, true, *m);
}
