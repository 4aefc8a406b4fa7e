// subBM2RGB: one RGB pixel from each 2x2 cell of two Bayer-mosaic lines.
#include "convert/bayer_cell_kernel.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "frame/pixel_types.h"
#include "test_support.h"

using namespace ozu;
using ozu_test::Line3;

TEST(SubBM2RGB, TakesRedTopRightBlueBottomLeftAndAveragesGreen) {
    // Cells: G R / B G.
    const std::vector<uint8_t> line0 = {10, 200, 20, 210};
    const std::vector<uint8_t> line1 = {100, 30, 110, 41};
    Line3<uint8_t> dst(2, 7);
    EXPECT_TRUE((subBM2RGB<uint8_t, uint8_t>(line0.data(), line1.data(), dst.out(), 4, 255, 255)));
    ozu_test::expect_planes(dst, {{200, 210}, {20, 30}, {100, 110}});
}

TEST(SubBM2RGB, WritesThreePixelsForWidthFive) {
    // The last cell of an odd width reads element 5 of both lines.
    const std::vector<uint8_t> line0 = {1, 2, 3, 4, 5, 6};
    const std::vector<uint8_t> line1 = {7, 8, 9, 10, 11, 12};
    Line3<uint8_t> dst(4, 99);
    EXPECT_TRUE((subBM2RGB<uint8_t, uint8_t>(line0.data(), line1.data(), dst.out(), 5, 255, 255)));
    // Green: (1 + 8) / 2 = 4, (3 + 10) / 2 = 6, (5 + 12) / 2 = 8.
    ozu_test::expect_planes(dst, {{2, 4, 6, 99}, {4, 6, 8, 99}, {7, 9, 11, 99}});
}

TEST(SubBM2RGB, AveragesSignedGreenTowardZero) {
    const std::vector<int8_t> line0 = {-3, 5, 3, 5};
    const std::vector<int8_t> line1 = {1, 0, 1, 0};
    Line3<int8_t> dst(2);
    EXPECT_TRUE((subBM2RGB<int8_t, int8_t>(line0.data(), line1.data(), dst.out(), 4, 127, 127)));
    // (-3 + 0) / 2 = -1 (not -2), (3 + 0) / 2 = 1.
    EXPECT_EQ(dst.plane[1][0], -1);
    EXPECT_EQ(dst.plane[1][1], 1);
}

TEST(SubBM2RGB, HalvesUnsignedSixteenBitGreenWithoutOverflow) {
    const std::vector<uint16_t> line0 = {65535, 0};
    const std::vector<uint16_t> line1 = {0, 65535};
    Line3<uint16_t> dst(1);
    EXPECT_TRUE((subBM2RGB<uint16_t, uint16_t>(line0.data(), line1.data(), dst.out(), 2, 65535, 65535)));
    EXPECT_EQ(dst.plane[1][0], 65535);
}

TEST(SubBM2RGB, RefusesUnequalRangesAndWritesNothing) {
    const std::vector<uint8_t> line0 = {1, 2};
    const std::vector<uint8_t> line1 = {3, 4};
    Line3<uint16_t> dst(1, 7);
    EXPECT_FALSE((subBM2RGB<uint8_t, uint16_t>(line0.data(), line1.data(), dst.out(), 2, 255, 65535)));
    ozu_test::expect_planes(dst, {{7}, {7}, {7}});
}

TEST(SubBM2RGB, WritesNothingForZeroWidth) {
    const std::vector<uint8_t> line0 = {1, 2};
    const std::vector<uint8_t> line1 = {3, 4};
    Line3<uint8_t> dst(1, 7);
    EXPECT_TRUE((subBM2RGB<uint8_t, uint8_t>(line0.data(), line1.data(), dst.out(), 0, 255, 255)));
    ozu_test::expect_planes(dst, {{7}, {7}, {7}});
}

// Every instance, called with equal ranges (those of the source type), on
// lines holding the ends of the source range; values are only rearranged and
// averaged, then stored by their low bits (source-major rows).
namespace {

constexpr int64_t kBayerCellExpected[16][3][2] = {
    {{-128, 127}, {113, -64}, {-128, 127}},  // int8_t -> int8_t
    {{128, 127}, {113, 192}, {128, 127}},  // int8_t -> uint8_t
    {{-128, 127}, {113, -64}, {-128, 127}},  // int8_t -> int16_t
    {{65408, 127}, {113, 65472}, {65408, 127}},  // int8_t -> uint16_t
    {{0, -1}, {-79, 0}, {0, -1}},  // uint8_t -> int8_t
    {{0, 255}, {177, 0}, {0, 255}},  // uint8_t -> uint8_t
    {{0, 255}, {177, 0}, {0, 255}},  // uint8_t -> int16_t
    {{0, 255}, {177, 0}, {0, 255}},  // uint8_t -> uint16_t
    {{0, -1}, {49, 0}, {0, -1}},  // int16_t -> int8_t
    {{0, 255}, {49, 0}, {0, 255}},  // int16_t -> uint8_t
    {{-32768, 32767}, {16433, -16384}, {-32768, 32767}},  // int16_t -> int16_t
    {{32768, 32767}, {16433, 49152}, {32768, 32767}},  // int16_t -> uint16_t
    {{0, -1}, {49, 0}, {0, -1}},  // uint16_t -> int8_t
    {{0, 255}, {49, 0}, {0, 255}},  // uint16_t -> uint8_t
    {{0, -1}, {-32719, 0}, {0, -1}},  // uint16_t -> int16_t
    {{0, 65535}, {32817, 0}, {0, 65535}},  // uint16_t -> uint16_t
};

}  // namespace

template <class P>
class SubBM2RGBInstance : public ::testing::Test {};
TYPED_TEST_SUITE(SubBM2RGBInstance, ozu_test::AllPixelPairs, ozu_test::TypePairName);

TYPED_TEST(SubBM2RGBInstance, RearrangesRangeEnds) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    const S m = static_cast<S>(pixel_max<S>);
    const S lo = std::numeric_limits<S>::lowest();
    const std::vector<S> line0 = {m, lo, 0, m};
    const std::vector<S> line1 = {lo, 100, m, lo};
    Line3<D> dst(2, D{7});
    EXPECT_TRUE((subBM2RGB<S, D>(line0.data(), line1.data(), dst.out(), 4, pixel_max<S>, pixel_max<S>)));
    ozu_test::expect_planes(dst, kBayerCellExpected[ozu_test::pair_row<S, D>()]);
}
