// The per-plane line kernels: subInvert, subReNormalize and subNoOp.
#include "convert/plane_kernels.h"

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

TEST(SubInvert, MirrorsEightBitValuesForEqualRanges) {
    Line3<uint8_t> src({0, 255}, {1, 254}, {128, 127});
    Line3<uint8_t> dst(2);
    EXPECT_TRUE((subInvert<uint8_t, uint8_t>(src.in(), dst.out(), 2, 255, 255)));
    ozu_test::expect_planes(dst, {{255, 0}, {254, 1}, {127, 128}});
}

TEST(SubInvert, SubtractsUnscaledDestinationMaximumForUnequalRanges) {
    // (65535 - v x 2105344) >> 13: 0 gives 65535 >> 13 = 7; 1 gives -250 and
    // 255 gives -65528, stored as 65286 and 8.
    Line3<uint8_t> src({0}, {1}, {255});
    Line3<uint16_t> dst(1);
    EXPECT_TRUE((subInvert<uint8_t, uint16_t>(src.in(), dst.out(), 1, 255, 65535)));
    ozu_test::expect_planes(dst, {{7}, {65286}, {8}});
}

TEST(SubInvert, WrapsSignedMinimumOnStoring) {
    // 127 - (-128) = 255 does not fit a signed byte: stored as -1.
    Line3<int8_t> src({-128}, {127}, {0});
    Line3<int8_t> dst(1);
    EXPECT_TRUE((subInvert<int8_t, int8_t>(src.in(), dst.out(), 1, 127, 127)));
    ozu_test::expect_planes(dst, {{-1}, {0}, {127}});
}

TEST(SubInvert, InvertsInPlace) {
    Line3<int32_t> line({0, 65535}, {1, 2}, {3, 40000});
    EXPECT_TRUE((subInvert<int32_t, int32_t>(line.in(), line.out(), 2, 65535, 65535)));
    ozu_test::expect_planes(line, {{65535, 0}, {65534, 65533}, {65532, 25535}});
}

TEST(SubReNormalize, ScalesEachPlaneByTheRangeFactor) {
    // 8-bit to 16-bit: factor 2105344, i.e. x 257.
    Line3<uint8_t> src({0, 255}, {1, 128}, {2, 100});
    Line3<uint16_t> dst(2);
    EXPECT_TRUE((subReNormalize<uint8_t, uint16_t>(src.in(), dst.out(), 2, 255, 65535)));
    ozu_test::expect_planes(dst, {{0, 65535}, {257, 32896}, {514, 25700}});
}

TEST(SubReNormalize, LosesFullScaleThroughTheTruncatedFactor) {
    // 65535 -> 255 has factor 31 (not 31.875): 65535 gives 247, not 255.
    Line3<uint16_t> src({65535}, {65535}, {0});
    Line3<uint8_t> dst(1);
    EXPECT_TRUE((subReNormalize<uint16_t, uint8_t>(src.in(), dst.out(), 1, 65535, 255)));
    ozu_test::expect_planes(dst, {{247}, {247}, {0}});
}

TEST(SubReNormalize, CopiesEqualRangesThroughFactor8192) {
    Line3<int16_t> src({-32768, 32767}, {-1, 1}, {0, 5});
    Line3<int16_t> dst(2);
    EXPECT_TRUE((subReNormalize<int16_t, int16_t>(src.in(), dst.out(), 2, 32767, 32767)));
    ozu_test::expect_planes(dst, {{-32768, 32767}, {-1, 1}, {0, 5}});
}

TEST(SubReNormalize, LeavesDestinationPlaneOneUntouchedWithoutSourcePlaneOne) {
    Line3<uint8_t> src({10}, {20}, {30});
    Line3<uint8_t> dst(1, 7);
    const uint8_t* in[3] = {src.plane[0].data(), nullptr, src.plane[2].data()};
    EXPECT_TRUE((subReNormalize<uint8_t, uint8_t>(in, dst.out(), 1, 255, 255)));
    ozu_test::expect_planes(dst, {{10}, {7}, {30}});
}

TEST(SubReNormalize, SkipsAPlaneTheDestinationLacks) {
    Line3<uint8_t> src({10}, {20}, {30});
    Line3<uint8_t> dst(1, 7);
    uint8_t* out[3] = {dst.plane[0].data(), dst.plane[1].data(), nullptr};
    EXPECT_TRUE((subReNormalize<uint8_t, uint8_t>(src.in(), out, 1, 255, 255)));
    ozu_test::expect_planes(dst, {{10}, {20}, {7}});
}

TEST(SubReNormalize, ConvertsOnlyPlaneZeroOfAOnePlaneLine) {
    std::vector<uint16_t> grey = {65535, 8192};
    std::vector<uint8_t> out(2, 7);
    const uint16_t* in[3] = {grey.data(), nullptr, nullptr};
    uint8_t* dst[3] = {out.data(), nullptr, nullptr};
    EXPECT_TRUE((subReNormalize<uint16_t, uint8_t>(in, dst, 2, 65535, 255)));
    EXPECT_EQ(out, (std::vector<uint8_t>{247, 31}));
}

template <class P>
class SubNoOpInstance : public ::testing::Test {};
TYPED_TEST_SUITE(SubNoOpInstance, ozu_test::SameTypePairsAndWorking, ozu_test::TypePairName);

TYPED_TEST(SubNoOpInstance, TouchesNothing) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    Line3<S> src(3, S{1});
    Line3<D> dst(3, D{7});
    EXPECT_TRUE((subNoOp<S, D>(src.in(), dst.out(), 3, pixel_max<S>, pixel_max<D>)));
    ozu_test::expect_planes(dst, {{7, 7, 7}, {7, 7, 7}, {7, 7, 7}});
    ozu_test::expect_planes(src, {{1, 1, 1}, {1, 1, 1}, {1, 1, 1}});
}

// Every instance over the ends of its source range with the driver's ranges;
// expected values worked out independently in exact integer arithmetic with
// 32-bit wrap-around and storing by the low bits (source-major rows).
namespace {

constexpr int64_t kInvertExpected[17][3][4] = {
    {{127, 0, -1, 27}, {127, 64, 0, -1}, {127, 27, -1, 0}},  // int8_t -> int8_t
    {{0, 1, 1, 55}, {0, 129, 1, 1}, {0, 55, 1, 1}},  // int8_t -> uint8_t
    {{3, -32763, -32508, -25797}, {3, -16251, -32763, -32508}, {3, -25797, -32508, -32763}},  // int8_t -> int16_t
    {{7, 9, 523, 13941}, {7, 33034, 9, 523}, {7, 13941, 523, 9}},  // int8_t -> uint16_t
    {{0, -127, 0, -50}, {0, -64, -127, 0}, {0, -50, 0, -127}},  // uint8_t -> int8_t
    {{255, 0, 255, 155}, {255, 128, 0, 255}, {255, 155, 255, 0}},  // uint8_t -> uint8_t
    {{3, -32763, 3, -12846}, {3, -16316, -32763, 3}, {3, -12846, 3, -32763}},  // uint8_t -> int16_t
    {{7, 8, 7, 39843}, {7, 32904, 8, 7}, {7, 39843, 7, 8}},  // uint8_t -> uint16_t
    {{0, -124, 124, -1}, {0, -62, -124, 124}, {0, -1, 124, -124}},  // int16_t -> int8_t
    {{0, 4, 252, 255}, {0, 130, 4, 252}, {0, 255, 252, 4}},  // int16_t -> uint8_t
    {{32767, 0, -1, 32667}, {32767, 16384, 0, -1}, {32767, 32667, -1, 0}},  // int16_t -> int16_t
    {{7, 9, 7, 65343}, {7, 32777, 9, 7}, {7, 65343, 7, 9}},  // int16_t -> uint16_t
    {{0, -120, 0, -1}, {0, -60, -120, 0}, {0, -1, 0, -120}},  // uint16_t -> int8_t
    {{0, 8, 0, 255}, {0, 132, 8, 0}, {0, 255, 0, 8}},  // uint16_t -> uint8_t
    {{3, -32756, 3, -46}, {3, -16376, -32756, 3}, {3, -46, 3, -32756}},  // uint16_t -> int16_t
    {{65535, 0, 65535, 65435}, {65535, 32768, 0, 65535}, {65535, 65435, 65535, 0}},  // uint16_t -> uint16_t
    {{65535, 0, -2147418113, 65435}, {65535, 32768, 0, -2147418113}, {65535, 65435, -2147418113, 0}},  // int32_t -> int32_t
};
constexpr int64_t kReNormalizeExpected[16][3][4] = {
    {{0, 127, -128, 100}, {0, 63, 127, -128}, {0, 100, -128, 127}},  // int8_t -> int8_t
    {{0, 254, 255, 200}, {0, 126, 254, 255}, {0, 200, 255, 254}},  // int8_t -> uint8_t
    {{0, 32766, 32511, 25800}, {0, 16254, 32766, 32511}, {0, 25800, 32511, 32766}},  // int8_t -> int16_t
    {{0, 65534, 65020, 51602}, {0, 32509, 65534, 65020}, {0, 51602, 65020, 65534}},  // int8_t -> uint16_t
    {{0, 126, 0, 49}, {0, 63, 126, 0}, {0, 49, 0, 126}},  // uint8_t -> int8_t
    {{0, 255, 0, 100}, {0, 127, 255, 0}, {0, 100, 0, 255}},  // uint8_t -> uint8_t
    {{0, 32766, 0, 12849}, {0, 16319, 32766, 0}, {0, 12849, 0, 32766}},  // uint8_t -> int16_t
    {{0, 65535, 0, 25700}, {0, 32639, 65535, 0}, {0, 25700, 0, 65535}},  // uint8_t -> uint16_t
    {{0, 123, -124, 0}, {0, 61, 123, -124}, {0, 0, -124, 123}},  // int16_t -> int8_t
    {{0, 251, 4, 0}, {0, 125, 251, 4}, {0, 0, 4, 251}},  // int16_t -> uint8_t
    {{0, 32767, -32768, 100}, {0, 16383, 32767, -32768}, {0, 100, -32768, 32767}},  // int16_t -> int16_t
    {{0, 65534, 0, 200}, {0, 32766, 65534, 0}, {0, 200, 0, 65534}},  // int16_t -> uint16_t
    {{0, 119, 0, 0}, {0, 59, 119, 0}, {0, 0, 0, 119}},  // uint16_t -> int8_t
    {{0, 247, 0, 0}, {0, 123, 247, 0}, {0, 0, 0, 247}},  // uint16_t -> uint8_t
    {{0, 32759, 0, 49}, {0, 16379, 32759, 0}, {0, 49, 0, 32759}},  // uint16_t -> int16_t
    {{0, 65535, 0, 100}, {0, 32767, 65535, 0}, {0, 100, 0, 65535}},  // uint16_t -> uint16_t
};

}  // namespace

template <class P>
class SubInvertInstance : public ::testing::Test {};
TYPED_TEST_SUITE(SubInvertInstance, ozu_test::AllPixelPairsAndWorking, ozu_test::TypePairName);

TYPED_TEST(SubInvertInstance, InvertsRangeEnds) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    auto src = range_ends_line<S>();
    Line3<D> dst(4, D{7});
    EXPECT_TRUE((subInvert<S, D>(src.in(), dst.out(), 4, pixel_max<S>, pixel_max<D>)));
    ozu_test::expect_planes(dst, kInvertExpected[ozu_test::pair_row<S, D>()]);
}

template <class P>
class SubReNormalizeInstance : public ::testing::Test {};
TYPED_TEST_SUITE(SubReNormalizeInstance, ozu_test::AllPixelPairs, ozu_test::TypePairName);

TYPED_TEST(SubReNormalizeInstance, RescalesRangeEnds) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    auto src = range_ends_line<S>();
    Line3<D> dst(4, D{7});
    EXPECT_TRUE((subReNormalize<S, D>(src.in(), dst.out(), 4, pixel_max<S>, pixel_max<D>)));
    ozu_test::expect_planes(dst, kReNormalizeExpected[ozu_test::pair_row<S, D>()]);
}

// Every vector version against the scalar kernel: seeded lines of every width
// 0..100 (so every tail), the ranges of every instance.

TYPED_TEST(SubInvertInstance, EveryTargetMatchesTheScalarKernel) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    for (const auto& [srcMax, dstMax] : ozu_test::kernel_ranges<S, D>())
        ozu_test::expect_targets_match_scalar<S, D>(subInvert_targets<S, D>(), srcMax, dstMax, true);
}

TYPED_TEST(SubReNormalizeInstance, EveryTargetMatchesTheScalarKernel) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    for (const auto& [srcMax, dstMax] : ozu_test::kernel_ranges<S, D>())
        ozu_test::expect_targets_match_scalar<S, D>(subReNormalize_targets<S, D>(), srcMax, dstMax, true);
}

// The inversion between elements of one size takes several vectors a step:
// lines long enough for whole steps, with every kind of tail after them.
template <class T>
void expect_long_inverted_lines_match_scalar() {
    for (CpuTarget target : kAllCpuTargets) {
        if (target == CpuTarget::kScalar || !cpu_target_available(target)) continue;
        const auto kernel = subInvert_targets<T, T>().on(target);
        for (size_t width : {255, 256, 257, 511, 512, 513, 767, 1024, 1025, 1100, 1471}) {
            const auto input = ozu_test::testing_planes<T>(width, uint32_t(width), pixel_max<T>);
            auto want = ozu_test::testing_planes<T>(width, uint32_t(width) + 1, pixel_max<T>);
            auto got = want;
            const T* in[3] = {input[0].data(), input[1].data(), input[2].data()};
            T* wantOut[3] = {want[0].data(), want[1].data(), want[2].data()};
            T* gotOut[3] = {got[0].data(), got[1].data(), got[2].data()};
            ASSERT_TRUE((scalar::subInvert<T, T>(in, wantOut, int32_t(width), pixel_max<T>,
                                                 pixel_max<T>)));
            ASSERT_TRUE(kernel(in, gotOut, int32_t(width), pixel_max<T>, pixel_max<T>));
            EXPECT_EQ(got, want) << cpu_target_name(target) << " width " << width;
        }
    }
}

TEST(SubInvert, LongLinesMatchTheScalarKernelOnEveryTarget) {
    expect_long_inverted_lines_match_scalar<uint8_t>();
    expect_long_inverted_lines_match_scalar<int8_t>();
    expect_long_inverted_lines_match_scalar<uint16_t>();
    expect_long_inverted_lines_match_scalar<int16_t>();
}
