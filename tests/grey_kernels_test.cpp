// The grey line kernels: subRGB2Gray and subGray2RGB.
#include "convert/grey_kernels.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "frame/pixel_types.h"
#include "test_support.h"

using namespace ozu;
using ozu_test::Line3;

namespace {

template <class T>
Line3<T> range_ends_line() {
    const T m = static_cast<T>(pixel_max<T>);
    const T lo = std::numeric_limits<T>::lowest();
    return Line3<T>({0, m, lo, 100}, {0, static_cast<T>(m / 2), m, lo}, {0, 100, lo, m});
}

}  // namespace

TEST(SubRGB2Gray, WeighsChannelsWithTruncatedLumaWeights) {
    // 2449, 4808 and 933 in 1/8192 sum to 8190: white is one step short.
    Line3<uint8_t> src({255, 255, 0, 0}, {255, 0, 255, 0}, {255, 0, 0, 255});
    Line3<uint8_t> dst(4, 7);
    EXPECT_TRUE((subRGB2Gray<uint8_t, uint8_t>(src.in(), dst.out(), 4, 255, 255)));
    // 255 * 8190 >> 13 = 254, 255 * 2449 >> 13 = 76, 255 * 4808 >> 13 = 149,
    // 255 * 933 >> 13 = 29; planes 1 and 2 are not written.
    ozu_test::expect_planes(dst, {{254, 76, 149, 29}, {7, 7, 7, 7}, {7, 7, 7, 7}});
}

TEST(SubRGB2Gray, RoundsNegativeGreyDown) {
    // -128 * 8190 >> 13 = floor(-127.97) = -128.
    Line3<int8_t> src({-128}, {-128}, {-128});
    Line3<int8_t> dst(1);
    EXPECT_TRUE((subRGB2Gray<int8_t, int8_t>(src.in(), dst.out(), 1, 127, 127)));
    EXPECT_EQ(dst.plane[0][0], -128);
}

TEST(SubRGB2Gray, RescalesOnlyForUnequalRanges) {
    // Grey 254 of 8-bit white, then x 2105344 >> 13 (x 257) = 65278.
    Line3<int32_t> src({255, 100}, {255, 100}, {255, 100});
    Line3<int32_t> dst(2);
    EXPECT_TRUE((subRGB2Gray<int32_t, int32_t>(src.in(), dst.out(), 2, 255, 65535)));
    EXPECT_EQ(dst.plane[0][0], 65278);
    EXPECT_EQ(dst.plane[0][1], 99 * 257);
}

TEST(SubRGB2Gray, KeepsLowBitsOfAGreyBeyondTheType) {
    // Called with a range change 127 -> 255 on 8-bit lines: 254 x 16448 >> 13
    // = 509, stored as 509 - 256 = 253 (no clamp).
    Line3<uint8_t> src({255}, {255}, {255});
    Line3<uint8_t> dst(1);
    EXPECT_TRUE((subRGB2Gray<uint8_t, uint8_t>(src.in(), dst.out(), 1, 127, 255)));
    EXPECT_EQ(dst.plane[0][0], 253);
}

TEST(SubRGB2Gray, WrapsThirtyTwoBitSums) {
    // 8190 x 2^20 = 2^33 - 2^21 wraps to -2^21: grey -256.
    Line3<int32_t> src({1 << 20}, {1 << 20}, {1 << 20});
    Line3<int32_t> dst(1);
    EXPECT_TRUE((subRGB2Gray<int32_t, int32_t>(src.in(), dst.out(), 1, 65535, 65535)));
    EXPECT_EQ(dst.plane[0][0], -256);
}

TEST(SubGray2RGB, CopiesGreyIntoAllThreePlanesForEqualRanges) {
    Line3<int16_t> src({-32768, 0, 32767}, {1, 1, 1}, {2, 2, 2});
    Line3<int16_t> dst(3, 7);
    EXPECT_TRUE((subGray2RGB<int16_t, int16_t>(src.in(), dst.out(), 3, 32767, 32767)));
    ozu_test::expect_planes(dst, {{-32768, 0, 32767}, {-32768, 0, 32767}, {-32768, 0, 32767}});
}

TEST(SubGray2RGB, ScalesGreyIntoAllThreePlanesForUnequalRanges) {
    // 65535 -> 255: factor 31, so 65535 gives 65535 * 31 >> 13 = 247.
    Line3<uint16_t> src({0, 65535, 8192}, {1, 1, 1}, {2, 2, 2});
    Line3<uint8_t> dst(3, 7);
    EXPECT_TRUE((subGray2RGB<uint16_t, uint8_t>(src.in(), dst.out(), 3, 65535, 255)));
    ozu_test::expect_planes(dst, {{0, 247, 31}, {0, 247, 31}, {0, 247, 31}});
}

TEST(SubGray2RGB, WritesNothingForZeroWidth) {
    Line3<uint8_t> src({9}, {9}, {9});
    Line3<uint8_t> dst(1, 7);
    EXPECT_TRUE((subGray2RGB<uint8_t, uint8_t>(src.in(), dst.out(), 0, 255, 255)));
    ozu_test::expect_planes(dst, {{7}, {7}, {7}});
}

// Every instance over the ends of its source range with the driver's ranges;
// expected values worked out independently in exact integer arithmetic with
// 32-bit wrap-around and storing by the low bits (source-major rows).
namespace {

constexpr int64_t kGreyExpected[5][3][4] = {
    {{0, 86, 21, -31}, {7, 7, 7, 7}, {7, 7, 7, 7}},  // int8_t -> int8_t
    {{0, 162, 149, 58}, {7, 7, 7, 7}, {7, 7, 7, 7}},  // uint8_t -> uint8_t
    {{0, 19422, 5703, -15471}, {7, 7, 7, 7}, {7, 7, 7, 7}},  // int16_t -> int16_t
    {{0, 38834, 38463, 7493}, {7, 7, 7, 7}, {7, 7, 7, 7}},  // uint16_t -> uint16_t
    {{0, 38834, 38463, 7493}, {7, 7, 7, 7}, {7, 7, 7, 7}},  // int32_t -> int32_t
};
constexpr int64_t kGreyToRgbExpected[16][3][4] = {
    {{0, 127, -128, 100}, {0, 127, -128, 100}, {0, 127, -128, 100}},  // int8_t -> int8_t
    {{0, 254, 255, 200}, {0, 254, 255, 200}, {0, 254, 255, 200}},  // int8_t -> uint8_t
    {{0, 32766, 32511, 25800}, {0, 32766, 32511, 25800}, {0, 32766, 32511, 25800}},  // int8_t -> int16_t
    {{0, 65534, 65020, 51602}, {0, 65534, 65020, 51602}, {0, 65534, 65020, 51602}},  // int8_t -> uint16_t
    {{0, 126, 0, 49}, {0, 126, 0, 49}, {0, 126, 0, 49}},  // uint8_t -> int8_t
    {{0, 255, 0, 100}, {0, 255, 0, 100}, {0, 255, 0, 100}},  // uint8_t -> uint8_t
    {{0, 32766, 0, 12849}, {0, 32766, 0, 12849}, {0, 32766, 0, 12849}},  // uint8_t -> int16_t
    {{0, 65535, 0, 25700}, {0, 65535, 0, 25700}, {0, 65535, 0, 25700}},  // uint8_t -> uint16_t
    {{0, 123, -124, 0}, {0, 123, -124, 0}, {0, 123, -124, 0}},  // int16_t -> int8_t
    {{0, 251, 4, 0}, {0, 251, 4, 0}, {0, 251, 4, 0}},  // int16_t -> uint8_t
    {{0, 32767, -32768, 100}, {0, 32767, -32768, 100}, {0, 32767, -32768, 100}},  // int16_t -> int16_t
    {{0, 65534, 0, 200}, {0, 65534, 0, 200}, {0, 65534, 0, 200}},  // int16_t -> uint16_t
    {{0, 119, 0, 0}, {0, 119, 0, 0}, {0, 119, 0, 0}},  // uint16_t -> int8_t
    {{0, 247, 0, 0}, {0, 247, 0, 0}, {0, 247, 0, 0}},  // uint16_t -> uint8_t
    {{0, 32759, 0, 49}, {0, 32759, 0, 49}, {0, 32759, 0, 49}},  // uint16_t -> int16_t
    {{0, 65535, 0, 100}, {0, 65535, 0, 100}, {0, 65535, 0, 100}},  // uint16_t -> uint16_t
};

}  // namespace

template <class P>
class SubRGB2GrayInstance : public ::testing::Test {};
TYPED_TEST_SUITE(SubRGB2GrayInstance, ozu_test::SameTypePairsAndWorking, ozu_test::TypePairName);

TYPED_TEST(SubRGB2GrayInstance, ConvertsRangeEndsIntoPlaneZeroOnly) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    auto src = range_ends_line<S>();
    Line3<D> dst(4, D{7});
    EXPECT_TRUE((subRGB2Gray<S, D>(src.in(), dst.out(), 4, pixel_max<S>, pixel_max<D>)));
    ozu_test::expect_planes(dst, kGreyExpected[ozu_test::kTypeIndex<S>]);
}

template <class P>
class SubGray2RGBInstance : public ::testing::Test {};
TYPED_TEST_SUITE(SubGray2RGBInstance, ozu_test::AllPixelPairs, ozu_test::TypePairName);

TYPED_TEST(SubGray2RGBInstance, SpreadsRangeEndsOverThreePlanes) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    auto src = range_ends_line<S>();
    Line3<D> dst(4, D{7});
    EXPECT_TRUE((subGray2RGB<S, D>(src.in(), dst.out(), 4, pixel_max<S>, pixel_max<D>)));
    ozu_test::expect_planes(dst, kGreyToRgbExpected[ozu_test::pair_row<S, D>()]);
}

// Every vector version against the scalar kernel: seeded lines of every width
// 0..100 (so every tail), the ranges of every instance.

TYPED_TEST(SubRGB2GrayInstance, EveryTargetMatchesTheScalarKernel) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    for (const auto& [srcMax, dstMax] : ozu_test::kernel_ranges<S, D>())
        ozu_test::expect_targets_match_scalar<S, D>(subRGB2Gray_targets<S, D>(), srcMax, dstMax, true);
}

TYPED_TEST(SubGray2RGBInstance, EveryTargetMatchesTheScalarKernel) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    for (const auto& [srcMax, dstMax] : ozu_test::kernel_ranges<S, D>())
        ozu_test::expect_targets_match_scalar<S, D>(subGray2RGB_targets<S, D>(), srcMax, dstMax, true);
}
