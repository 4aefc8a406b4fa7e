// The colour twist: its scale table, the line kernel, the banded walk, the
// kernel entry and COL_ColorTwist with its checks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>
#include <ozu/color_kernels.h>

#include "frame/pixel_types.h"
#include "test_support.h"
#include "transform/color_twist.h"
#include "transform/twist_kernel.h"
#include "transform/type_scale.h"

namespace {

using ozu_test::Buffer;
using ozu_test::make_image;
using ozu_test::read_plane;
using ozu_test::seeded_pixels;
using ozu_test::write_plane;

constexpr int32_t kMaxima[4] = {127, 255, 32767, 65535};

// The scale as the pixel format documentation states it: the ratio of the
// two ranges times 8192, in single precision, truncated.
int32_t formula_scale(int32_t srcMax, int32_t dstMax) {
    const float ratio = static_cast<float>(dstMax) / static_cast<float>(srcMax);
    return static_cast<int32_t>(ratio * 8192.0f);
}

// ---- An independent model of the twist, in 64 bits with explicit wrap ----

int64_t wrap32(int64_t v) {
    const uint64_t low = static_cast<uint64_t>(v) & 0xFFFFFFFFu;
    return low >= 0x80000000u ? static_cast<int64_t>(low) - (int64_t{1} << 32)
                              : static_cast<int64_t>(low);
}

// Floor division by 2^n, which is what an arithmetic shift does.
int64_t floor_shift(int64_t v, int n) {
    const int64_t d = int64_t{1} << n;
    return v >= 0 ? v / d : -((-v + d - 1) / d);
}

int64_t model_fixed(double t) { return static_cast<int64_t>(std::trunc(t * 8192.0)); }

// The twist of one (source, destination) type pair, its coefficients and
// scale prepared once.
struct TwistModel {
    int64_t m[16];
    int64_t scale;
    int64_t dstMax;

    TwistModel(const double* t, int32_t srcMax, int32_t dstMax_)
        : scale(formula_scale(srcMax, dstMax_)), dstMax(dstMax_) {
        for (int k = 0; k < 16; ++k) m[k] = model_fixed(t[k]);
    }

    int64_t operator()(const int64_t s[3], int plane) const {
        const int64_t sum = wrap32(s[0] * m[plane] + s[1] * m[4 + plane] + s[2] * m[8 + plane] +
                                   m[12 + plane] * 8192);
        const int64_t a = floor_shift(sum, 13);
        int64_t v = floor_shift(wrap32(a * scale), 13);
        if (v < 0) v = 0;
        if (v > dstMax) v = dstMax;
        return v;
    }
};

// ---- Helpers ----

template <class T>
std::vector<T> plane_of(std::initializer_list<int> values) {
    std::vector<T> out;
    for (int v : values) out.push_back(static_cast<T>(v));
    return out;
}

// Runs the line kernel on one line of three planes and returns the three
// destination planes.
template <class S, class D>
std::vector<std::vector<D>> run_line(const std::vector<std::vector<S>>& in, const double* twist) {
    const int32_t count = static_cast<int32_t>(in[0].size());
    std::vector<std::vector<D>> out(3, std::vector<D>(count, D(99)));
    const S* src[3] = {in[0].data(), in[1].data(), in[2].data()};
    D* dst[3] = {out[0].data(), out[1].data(), out[2].data()};
    int32_t matrix[16];
    ozu::twist_fixed_matrix(twist, matrix);
    const bool ok =
        ozu::sub4x4MatMult<S, D>(src, dst, count, ozu::pixel_max<S>, ozu::pixel_max<D>, matrix);
    EXPECT_TRUE(ok);
    return out;
}

struct Identity {
    double t[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0};
};

// A three-plane image with seeded pixels in every plane and layer.
template <class S>
int32_t seeded_image(int32_t width, int32_t height, uint32_t seed, int32_t ext2 = 1,
                     int32_t ext3 = 1, int32_t flags = 0) {
    const int32_t h =
        make_image(width, height, 3, ozu::PixelTraits<S>::code, ext2, ext3, BASE_KIND_IMAGE, flags);
    for (int32_t j = 0; j < ext3; ++j)
        for (int32_t i = 0; i < ext2; ++i)
            for (int32_t p = 0; p < 3; ++p) {
                const uint32_t layerSeed = seed + 97 * p + 13 * i + 7 * j;
                write_plane(h, p, seeded_pixels<S>(size_t(width) * height, layerSeed), i, j);
            }
    return h;
}

// Every pixel of every plane and layer of dst is the model's twist of src.
template <class S, class D>
void expect_twisted(int32_t src, int32_t dst, const double* twist, const std::string& what) {
    const int32_t ext2 = ozu_test::attribute(src, BASE_ATTR_EXT2);
    const int32_t ext3 = ozu_test::attribute(src, BASE_ATTR_EXT3);
    for (int32_t j = 0; j < ext3; ++j) {
        for (int32_t i = 0; i < ext2; ++i) {
            const TwistModel model(twist, ozu::pixel_max<S>, ozu::pixel_max<D>);
            std::vector<std::vector<S>> in;
            for (int p = 0; p < 3; ++p) in.push_back(read_plane<S>(src, p, i, j));
            for (int p = 0; p < 3; ++p) {
                const std::vector<D> out = read_plane<D>(dst, p, i, j);
                for (size_t x = 0; x < out.size(); ++x) {
                    const int64_t s[3] = {in[0][x], in[1][x], in[2][x]};
                    const int64_t expected = model(s, p);
                    if (out[x] != expected) {
                        ADD_FAILURE() << what << ": first wrong pixel at index " << x
                                      << " of plane " << p << ", layer (" << i << ", " << j
                                      << "): input (" << s[0] << ", " << s[1] << ", " << s[2]
                                      << "), expected " << expected << ", got " << +out[x];
                        return;
                    }
                }
            }
        }
    }
}

// A matrix with negative weights, weights above 1 and offsets both ways.
constexpr double kMixedTwist[16] = {0.75,  -0.25, 0.1, 9.0,   //
                                    0.5,   1.25,  -0.6, -9.0,  //
                                    -0.125, 0.3,  0.9, 3.0,   //
                                    0.01,  -0.02, 0.005, 7.0};

// ---- The scale table ----

TEST(TwistScale, EveryEntryIsTheTruncatedSinglePrecisionRatio) {
    for (int s = 0; s < 4; ++s)
        for (int d = 0; d < 4; ++d)
            EXPECT_EQ(ozu::kTypeScale[s][d], formula_scale(kMaxima[s], kMaxima[d]))
                << "source " << kMaxima[s] << ", destination " << kMaxima[d];
}

TEST(TwistScale, MatchesThePublishedFactors) {
    constexpr int32_t published[4][4] = {{8192, 16448, 2113600, 4227265},
                                         {4079, 8192, 1052655, 2105344},
                                         {31, 63, 8192, 16384},
                                         {15, 31, 4095, 8192}};
    for (int s = 0; s < 4; ++s)
        for (int d = 0; d < 4; ++d) EXPECT_EQ(ozu::kTypeScale[s][d], published[s][d]);
}

// ---- The fixed-point matrix ----

TEST(TwistMatrix, TruncatesTowardZero) {
    double t[16] = {1.0, 0.5, -0.5, 0.299, -0.299, 1.0 / 8192, -1.0 / 8192, 0.99999};
    int32_t m[16];
    ozu::twist_fixed_matrix(t, m);
    EXPECT_EQ(m[0], 8192);
    EXPECT_EQ(m[1], 4096);
    EXPECT_EQ(m[2], -4096);
    EXPECT_EQ(m[3], 2449);
    EXPECT_EQ(m[4], -2449);
    EXPECT_EQ(m[5], 1);
    EXPECT_EQ(m[6], -1);
    EXPECT_EQ(m[7], 8191);
    EXPECT_EQ(m[8], 0);
}

TEST(TwistMatrix, SaturatesHugeCoefficientsAndTurnsNanIntoTheMostNegativeValue) {
    double t[16] = {1e12, -1e12, std::numeric_limits<double>::quiet_NaN(),
                    262143.9999, -262144.0, std::numeric_limits<double>::infinity()};
    int32_t m[16];
    ozu::twist_fixed_matrix(t, m);
    EXPECT_EQ(m[0], std::numeric_limits<int32_t>::max());
    EXPECT_EQ(m[1], std::numeric_limits<int32_t>::min());
    EXPECT_EQ(m[2], std::numeric_limits<int32_t>::min());
    EXPECT_EQ(m[3], 2147483647);  // 262143.9999 x 8192 truncates just below 2^31
    EXPECT_EQ(m[4], std::numeric_limits<int32_t>::min());
    EXPECT_EQ(m[5], std::numeric_limits<int32_t>::max());
}

// ---- The line kernel ----

TEST(TwistLine, IdentityReproducesAnUnsigned8BitLine) {
    const Identity id;
    const std::vector<std::vector<uint8_t>> in = {plane_of<uint8_t>({0, 1, 128, 254, 255}),
                                                  plane_of<uint8_t>({5, 77, 0, 200, 255}),
                                                  plane_of<uint8_t>({255, 3, 9, 1, 0})};
    EXPECT_EQ((run_line<uint8_t, uint8_t>(in, id.t)), in);
}

TEST(TwistLine, IdentityFromUnsigned16To8BitMapsFullScaleTo247) {
    const Identity id;
    const std::vector<std::vector<uint16_t>> in = {plane_of<uint16_t>({65535, 0, 32768}),
                                                   plane_of<uint16_t>({65535, 257, 1000}),
                                                   plane_of<uint16_t>({65535, 65280, 264})};
    const auto out = run_line<uint16_t, uint8_t>(in, id.t);
    // (v x 31) >> 13: 65535 -> 247, 32768 -> 124, 257 -> 0, 1000 -> 3,
    // 65280 -> 247, 264 -> 0.
    EXPECT_EQ(out[0], plane_of<uint8_t>({247, 0, 124}));
    EXPECT_EQ(out[1], plane_of<uint8_t>({247, 0, 3}));
    EXPECT_EQ(out[2], plane_of<uint8_t>({247, 247, 0}));
}

TEST(TwistLine, FullScaleDoesNotAlwaysReachFullScale) {
    const Identity id;
    const auto toSigned =
        run_line<uint8_t, int8_t>({plane_of<uint8_t>({255}), plane_of<uint8_t>({255}),
                                   plane_of<uint8_t>({255})},
                                  id.t);
    EXPECT_EQ(toSigned[0][0], 126);  // (255 x 4079) >> 13
    const auto toUnsigned = run_line<int8_t, uint8_t>(
        {plane_of<int8_t>({127}), plane_of<int8_t>({127}), plane_of<int8_t>({127})}, id.t);
    EXPECT_EQ(toUnsigned[0][0], 254);  // (127 x 16448) >> 13
}

TEST(TwistLine, NegativeResultIsStoredAsZeroInSignedDestinations) {
    double negate[16] = {-1, 0, 0, 0, 0, -1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 0};
    const auto out8 = run_line<int8_t, int8_t>(
        {plane_of<int8_t>({5, -10, 0}), plane_of<int8_t>({127, -128, 1}),
         plane_of<int8_t>({1, 2, 3})},
        negate);
    // Negative inputs are sign-extended: -10 negated is 10, -128 is 128,
    // clamped to 127.
    EXPECT_EQ(out8[0], plane_of<int8_t>({0, 10, 0}));
    EXPECT_EQ(out8[1], plane_of<int8_t>({0, 127, 0}));
    EXPECT_EQ(out8[2], plane_of<int8_t>({0, 0, 0}));
    const auto out16 = run_line<int16_t, int16_t>(
        {plane_of<int16_t>({300, -300}), plane_of<int16_t>({0, 0}), plane_of<int16_t>({0, 0})},
        negate);
    EXPECT_EQ(out16[0], plane_of<int16_t>({0, 300}));
}

TEST(TwistLine, ClampsAboveTheDestinationRange) {
    double twice[16] = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0};
    const auto out = run_line<uint8_t, uint8_t>(
        {plane_of<uint8_t>({127, 128, 255}), plane_of<uint8_t>({0, 0, 0}),
         plane_of<uint8_t>({0, 0, 0})},
        twice);
    EXPECT_EQ(out[0], plane_of<uint8_t>({254, 255, 255}));
}

TEST(TwistLine, OffsetsCountIn8192SourceLevels) {
    // An offset coefficient c adds trunc(c x 8192) source levels: 1/8192 adds
    // one level, 0.001 adds 8, 1.0 adds 8192.
    double t[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1.0 / 8192, 0.001, 1.0, 0};
    const auto out = run_line<uint16_t, uint16_t>(
        {plane_of<uint16_t>({0, 500}), plane_of<uint16_t>({0, 500}),
         plane_of<uint16_t>({0, 500})},
        t);
    EXPECT_EQ(out[0], plane_of<uint16_t>({1, 1}));
    EXPECT_EQ(out[1], plane_of<uint16_t>({8, 8}));
    EXPECT_EQ(out[2], plane_of<uint16_t>({8192, 8192}));
}

TEST(TwistLine, NegativeOffsetsPullDown) {
    double t[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -10.0 / 8192, 0, 0, 0};
    const auto out = run_line<uint8_t, uint8_t>(
        {plane_of<uint8_t>({15, 5}), plane_of<uint8_t>({7, 7}), plane_of<uint8_t>({9, 9})}, t);
    EXPECT_EQ(out[0], plane_of<uint8_t>({5, 0}));
    EXPECT_EQ(out[1], plane_of<uint8_t>({7, 7}));
}

TEST(TwistLine, OffsetJoinsTheSumBeforeTheShift) {
    // The weighted sum and the offset are shifted together: 3 x -0.5 + 3
    // levels = 1.5 gives 1 (cutting -1.5 toward zero first would give 2), and
    // 3 x -0.5 + 2 levels = 0.5 gives 0.
    double t[16] = {-0.5, -0.5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2.0 / 8192, 3.0 / 8192, 0, 0};
    const auto out = run_line<uint8_t, uint8_t>(
        {plane_of<uint8_t>({3}), plane_of<uint8_t>({0}), plane_of<uint8_t>({0})}, t);
    EXPECT_EQ(out[0][0], 0);
    EXPECT_EQ(out[1][0], 1);
}

TEST(TwistLine, IgnoresColumnThree) {
    double plain[16] = {0.5, 0.25, 1, 0, 0.25, 0.5, 0, 0, 0.25, 0.25, 0, 0, 0, 0, 0, 0};
    double noisy[16] = {0.5, 0.25, 1, 77, 0.25, 0.5, 0, -3, 0.25, 0.25, 0, 1e9, 0, 0, 0, 5};
    const std::vector<std::vector<uint8_t>> in = {plane_of<uint8_t>({10, 200, 255}),
                                                  plane_of<uint8_t>({20, 100, 255}),
                                                  plane_of<uint8_t>({30, 50, 255})};
    EXPECT_EQ((run_line<uint8_t, uint8_t>(in, noisy)), (run_line<uint8_t, uint8_t>(in, plain)));
}

TEST(TwistLine, CountZeroOrNegativeTouchesNothingAndSucceeds) {
    uint8_t a = 10, b = 20, c = 30, d0 = 1, d1 = 2, d2 = 3;
    const uint8_t* src[3] = {&a, &b, &c};
    uint8_t* dst[3] = {&d0, &d1, &d2};
    int32_t m[16] = {8192, 0, 0, 0, 0, 8192, 0, 0, 0, 0, 8192, 0, 0, 0, 0, 0};
    EXPECT_TRUE((ozu::sub4x4MatMult<uint8_t, uint8_t>(src, dst, 0, 255, 255, m)));
    EXPECT_TRUE((ozu::sub4x4MatMult<uint8_t, uint8_t>(src, dst, -5, 255, 255, m)));
    EXPECT_EQ(d0, 1);
    EXPECT_EQ(d1, 2);
    EXPECT_EQ(d2, 3);
}

TEST(TwistLine, WrapsAroundInThirtyTwoBits) {
    // A coefficient of 262143 (m = 2^31 - 8192) times 2 wraps to -16384,
    // which is negative and clamps to 0; times 1 it stays large and clamps
    // to 255.
    double t[16] = {262143, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    const auto out = run_line<uint8_t, uint8_t>(
        {plane_of<uint8_t>({1, 2, 0}), plane_of<uint8_t>({0, 0, 0}),
         plane_of<uint8_t>({0, 0, 0})},
        t);
    EXPECT_EQ(out[0], plane_of<uint8_t>({255, 0, 0}));
}

// ---- Band height ----

TEST(TwistBand, IsAbout640KiBOfSourceLines) {
    EXPECT_EQ(ozu::twist_band_lines(100000, 10, 1), 6);
    EXPECT_EQ(ozu::twist_band_lines(100000, 100, 2), 3);
    EXPECT_EQ(ozu::twist_band_lines(1024, 1000, 1), 640);
    EXPECT_EQ(ozu::twist_band_lines(1024, 1000, 2), 320);
}

TEST(TwistBand, IsCappedAtTheImageHeight) {
    EXPECT_EQ(ozu::twist_band_lines(10, 5, 1), 5);
    EXPECT_EQ(ozu::twist_band_lines(1, 1, 2), 1);
}

TEST(TwistBand, IsOneLineWhenALineExceedsTheBudget) {
    EXPECT_EQ(ozu::twist_band_lines(700000, 3, 1), 1);
    EXPECT_EQ(ozu::twist_band_lines(655361, 3, 1), 1);
    EXPECT_EQ(ozu::twist_band_lines(655360, 3, 1), 1);
    EXPECT_EQ(ozu::twist_band_lines(327681, 3, 2), 1);
}

// ---- The walk and the kernel entry ----

TEST(ColorTwist, IdentityReproducesAnUnsigned8BitImage) {
    Buffer src(seeded_image<uint8_t>(263, 255, 1));
    Buffer dst;
    const Identity id;
    ASSERT_EQ(COL_ColorTwist(src.handle(), dst.slot(), id.t), 1);
    for (int p = 0; p < 3; ++p)
        EXPECT_EQ(read_plane<uint8_t>(dst.handle(), p), read_plane<uint8_t>(src.handle(), p));
}

TEST(ColorTwist, IdentityMapsUnsigned16FullScaleTo247InUnsigned8Bit) {
    Buffer src(make_image(4, 2, 3, BASE_TYPE_U16));
    for (int p = 0; p < 3; ++p)
        write_plane(src.handle(), p,
                    plane_of<uint16_t>({65535, 0, 256, 512, 1000, 30000, 65535, 8}));
    Buffer dst(make_image(4, 2, 3, BASE_TYPE_U8));
    const Identity id;
    int32_t h = dst.handle();
    // The entry refuses the 16-to-8-bit pair; the kernel entry serves it.
    ASSERT_TRUE(colk_twist(src.handle(), &h, BASE_TYPE_U16, BASE_TYPE_U8, id.t));
    for (int p = 0; p < 3; ++p)
        EXPECT_EQ(read_plane<uint8_t>(dst.handle(), p),
                  plane_of<uint8_t>({247, 0, 0, 1, 3, 113, 247, 0}));
}

TEST(ColorTwist, PermutesPlanes) {
    Buffer src(seeded_image<uint8_t>(17, 9, 2));
    Buffer dst;
    // Plane 0 <- source plane 2, plane 1 <- source plane 0, plane 2 <- plane 1.
    double t[16] = {0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 0};
    ASSERT_EQ(COL_ColorTwist(src.handle(), dst.slot(), t), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), read_plane<uint8_t>(src.handle(), 2));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 1), read_plane<uint8_t>(src.handle(), 0));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 2), read_plane<uint8_t>(src.handle(), 1));
}

TEST(ColorTwist, AppliesNegativeCoefficientsAndOffsets) {
    Buffer src(make_image(3, 1, 3, BASE_TYPE_U8));
    write_plane(src.handle(), 0, plane_of<uint8_t>({100, 200, 0}));
    write_plane(src.handle(), 1, plane_of<uint8_t>({50, 10, 255}));
    write_plane(src.handle(), 2, plane_of<uint8_t>({20, 30, 40}));
    Buffer dst;
    // Plane 0 = s0 - s1 + 10 levels; plane 1 = 255 - s0; plane 2 = s2 - 5.
    double t[16] = {1, -1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0,
                    10.0 / 8192, 255.0 / 8192, -5.0 / 8192, 0};
    ASSERT_EQ(COL_ColorTwist(src.handle(), dst.slot(), t), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), plane_of<uint8_t>({60, 200, 0}));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 1), plane_of<uint8_t>({155, 55, 255}));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 2), plane_of<uint8_t>({15, 25, 35}));
}

template <class S, class D>
void check_entry_pair(uint32_t seed) {
    const std::string what = "pair " + std::to_string(ozu::PixelTraits<S>::code) + " -> " +
                             std::to_string(ozu::PixelTraits<D>::code);
    Buffer src(seeded_image<S>(263, 31, seed));
    Buffer dst(make_image(263, 31, 3, ozu::PixelTraits<D>::code));
    ASSERT_EQ(COL_ColorTwist(src.handle(), dst.slot(), kMixedTwist), 1) << what;
    expect_twisted<S, D>(src.handle(), dst.handle(), kMixedTwist, what);
}

TEST(ColorTwist, EveryAdmittedTypePairMatchesAnIndependentModel) {
    check_entry_pair<int8_t, int8_t>(11);
    check_entry_pair<int8_t, uint8_t>(12);
    check_entry_pair<uint8_t, int8_t>(13);
    check_entry_pair<uint8_t, uint8_t>(14);
    check_entry_pair<int16_t, int16_t>(15);
    check_entry_pair<int16_t, uint16_t>(16);
    check_entry_pair<uint16_t, int16_t>(17);
    check_entry_pair<uint16_t, uint16_t>(18);
}

template <class S, class D>
void check_kernel_pair(uint32_t seed) {
    const std::string what = "kernel pair " + std::to_string(ozu::PixelTraits<S>::code) + " -> " +
                             std::to_string(ozu::PixelTraits<D>::code);
    Buffer src(seeded_image<S>(37, 5, seed));
    Buffer dst(make_image(37, 5, 3, ozu::PixelTraits<D>::code));
    int32_t h = dst.handle();
    ASSERT_TRUE(colk_twist(src.handle(), &h, ozu::PixelTraits<S>::code, ozu::PixelTraits<D>::code,
                           kMixedTwist))
        << what;
    expect_twisted<S, D>(src.handle(), dst.handle(), kMixedTwist, what);
}

TEST(ColorTwistKernel, ServesTheMixedWidthPairsTheEntryRefuses) {
    check_kernel_pair<int8_t, int16_t>(21);
    check_kernel_pair<int8_t, uint16_t>(22);
    check_kernel_pair<uint8_t, int16_t>(23);
    check_kernel_pair<uint8_t, uint16_t>(24);
    check_kernel_pair<int16_t, int8_t>(25);
    check_kernel_pair<int16_t, uint8_t>(26);
    check_kernel_pair<uint16_t, int8_t>(27);
    check_kernel_pair<uint16_t, uint8_t>(28);
}

TEST(ColorTwistKernel, RefusesAnUnknownTypePair) {
    Buffer src(seeded_image<uint8_t>(4, 4, 3));
    Buffer dst(make_image(4, 4, 3, BASE_TYPE_U8));
    int32_t h = dst.handle();
    const Identity id;
    const std::pair<int32_t, int32_t> pairs[] = {{0, 2}, {2, 5}, {6, 2}, {2, 6}, {-1, -1}};
    for (auto [s, d] : pairs) {
        IPL_SetErrorCode(0);
        EXPECT_FALSE(colk_twist(src.handle(), &h, s, d, id.t)) << s << ", " << d;
        EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_PIXEL_TYPE);
    }
}

TEST(ColorTwistKernel, RefusesBuffersWithFewerThanThreePlanes) {
    Buffer src(seeded_image<uint8_t>(4, 4, 3));
    Buffer grey(make_image(4, 4, 1, BASE_TYPE_U8));
    const Identity id;
    int32_t h = grey.handle();
    IPL_SetErrorCode(0);
    EXPECT_FALSE(colk_twist(src.handle(), &h, BASE_TYPE_U8, BASE_TYPE_U8, id.t));
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_PLANES);
    h = src.handle();
    IPL_SetErrorCode(0);
    EXPECT_FALSE(colk_twist(grey.handle(), &h, BASE_TYPE_U8, BASE_TYPE_U8, id.t));
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_PLANES);
}

TEST(ColorTwist, LastBandRunningPastTheImageStillTwistsEveryLine) {
    // 100000 unsigned 8-bit pixels a line give bands of 6 lines: lines 0..5,
    // then a band of 6 starting at line 6 of which only 4 lines exist.
    ASSERT_EQ(ozu::twist_band_lines(100000, 10, 1), 6);
    Buffer src(seeded_image<uint8_t>(100000, 10, 4));
    Buffer dst;
    ASSERT_EQ(COL_ColorTwist(src.handle(), dst.slot(), kMixedTwist), 1);
    expect_twisted<uint8_t, uint8_t>(src.handle(), dst.handle(), kMixedTwist, "banded");
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_HEIGHT), 10);
}

TEST(ColorTwist, LineLongerThanTheBandBudgetIsWorkedOneLineABand) {
    ASSERT_EQ(ozu::twist_band_lines(700000, 2, 1), 1);
    Buffer src(seeded_image<uint8_t>(700000, 2, 5));
    Buffer dst;
    double t[16] = {0, 0, 1, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0};
    ASSERT_EQ(COL_ColorTwist(src.handle(), dst.slot(), t), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), read_plane<uint8_t>(src.handle(), 1));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 1), read_plane<uint8_t>(src.handle(), 2));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 2), read_plane<uint8_t>(src.handle(), 0));
}

TEST(ColorTwist, TwistsEveryLayerOfBothExtents) {
    Buffer src(seeded_image<int16_t>(29, 7, 6, 2, 2));
    Buffer dst(make_image(29, 7, 3, BASE_TYPE_U16, 2, 2));
    ASSERT_EQ(COL_ColorTwist(src.handle(), dst.slot(), kMixedTwist), 1);
    expect_twisted<int16_t, uint16_t>(src.handle(), dst.handle(), kMixedTwist, "layers");
}

TEST(ColorTwist, StepsLinesByTheHostPitchNotTheWidth) {
    // Lines padded to 256 bytes: a walk that stepped by the width would read
    // and write the wrong lines.
    Buffer src(seeded_image<uint16_t>(45, 6, 7, 1, 1, BASE_ALLOC_ALIGN(256)));
    Buffer dst(make_image(45, 6, 3, BASE_TYPE_U16, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_ALIGN(256)));
    ASSERT_EQ(ozu_test::attribute(src.handle(), BASE_ATTR_PITCH), 256);
    ASSERT_EQ(COL_ColorTwist(src.handle(), dst.slot(), kMixedTwist), 1);
    expect_twisted<uint16_t, uint16_t>(src.handle(), dst.handle(), kMixedTwist, "padded");
}

TEST(ColorTwist, WorksInPlace) {
    Buffer img(seeded_image<uint8_t>(33, 8, 8));
    Buffer copy(seeded_image<uint8_t>(33, 8, 8));
    int32_t h = img.handle();
    ASSERT_EQ(COL_ColorTwist(img.handle(), &h, kMixedTwist), 1);
    EXPECT_EQ(h, img.handle());
    expect_twisted<uint8_t, uint8_t>(copy.handle(), img.handle(), kMixedTwist, "in place");
}

TEST(ColorTwist, NanAndHugeCoefficientsUseTheSaturatedMatrix) {
    Buffer src(make_image(4, 1, 3, BASE_TYPE_U8));
    write_plane(src.handle(), 0, plane_of<uint8_t>({1, 2, 3, 4}));
    write_plane(src.handle(), 1, plane_of<uint8_t>({10, 20, 30, 40}));
    write_plane(src.handle(), 2, plane_of<uint8_t>({1, 1, 2, 2}));
    Buffer dst;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // Plane 0: NaN x s0 + s1. NaN is INT32_MIN, so an even s0 wraps to 0 and
    // leaves s1; an odd s0 drives the sum negative and gives 0.
    // Plane 1: 1e12 x s2 saturates to INT32_MAX: s2 = 1 clamps to 255, s2 = 2
    // wraps to -2 and gives 0.
    // Plane 2: -1e12 x s2 saturates to INT32_MIN: s2 = 1 gives 0, s2 = 2 wraps
    // to 0 and leaves the offset of 7 levels.
    double t[16] = {nan, 0, 0, 0, 1, 0, 0, 0, 0, 1e12, -1e12, 0, 0, 0, 7.0 / 8192, 0};
    ASSERT_EQ(COL_ColorTwist(src.handle(), dst.slot(), t), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), plane_of<uint8_t>({0, 20, 0, 40}));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 1), plane_of<uint8_t>({255, 255, 0, 0}));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 2), plane_of<uint8_t>({0, 0, 7, 7}));
}

// ---- COL_ColorTwist: creation of the destination ----

TEST(ColorTwist, CreatesAThreePlaneDestinationOfTheSourceTypeAndSize) {
    Buffer src(seeded_image<int16_t>(21, 13, 9, 2, 2));
    Buffer dst;
    ASSERT_EQ(COL_ColorTwist(src.handle(), dst.slot(), kMixedTwist), 1);
    ASSERT_NE(dst.handle(), -1);
    EXPECT_EQ(BASE_IsBufferExistent(dst.handle()), 1);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_PLANES), 3);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_TYPE), BASE_TYPE_S16);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_WIDTH), 21);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_HEIGHT), 13);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_KIND), BASE_KIND_IMAGE);
    expect_twisted<int16_t, int16_t>(src.handle(), dst.handle(), kMixedTwist, "created");
}

TEST(ColorTwist, CreatedDestinationSwapsTheExtentsAndIsKeptWhenRefused) {
    // The new buffer takes extent 3 as its extent 2 and extent 2 as its
    // extent 3, so a source of extents (2, 3) is then refused on extent 3.
    Buffer src(seeded_image<uint8_t>(5, 4, 10, 2, 3));
    Buffer dst;
    const Identity id;
    EXPECT_COL_ERROR(COL_ERR_EXTENT3, COL_ColorTwist(src.handle(), dst.slot(), id.t));
    ASSERT_NE(dst.handle(), -1);
    EXPECT_EQ(BASE_IsBufferExistent(dst.handle()), 1);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_EXT2), 3);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_EXT3), 2);
}

TEST(ColorTwist, CreatedDestinationIsKeptWhenTheHostFailsLater) {
    // A buffer without pixel memory passes every check; the pointer request
    // of the walk fails and its host code is what the entry reports.
    Buffer src(make_image(6, 3, 3, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA));
    Buffer dst;
    const Identity id;
    EXPECT_COL_ERROR(BASE_ERR_REGION, COL_ColorTwist(src.handle(), dst.slot(), id.t));
    ASSERT_NE(dst.handle(), -1);
    EXPECT_EQ(BASE_IsBufferExistent(dst.handle()), 1);
}

TEST(ColorTwist, LeavesNothingLockedOrHeldAfterAHostFailure) {
    int32_t src = make_image(6, 3, 3, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA);
    int32_t dst = make_image(6, 3, 3, BASE_TYPE_U8);
    const Identity id;
    EXPECT_COL_ERROR(BASE_ERR_REGION, COL_ColorTwist(src, &dst, id.t));
    // The host refuses to free a buffer that is locked or has a pointer out.
    EXPECT_EQ(IPL_BufFree(dst), 1);
    EXPECT_EQ(IPL_BufFree(src), 1);
}

// ---- COL_ColorTwist: every check, in order ----

class ColorTwistChecks : public ::testing::Test {
protected:
    Identity id;
};

TEST_F(ColorTwistChecks, RefusesAMissingSource) {
    Buffer dst(make_image(4, 4, 3, BASE_TYPE_U8));
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER, COL_ColorTwist(987654, dst.slot(), id.t));
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER, COL_ColorTwist(-1, dst.slot(), id.t));
}

TEST_F(ColorTwistChecks, RefusesSourceKinds14And15) {
    for (int32_t kind : {14, 15}) {
        Buffer src(make_image(4, 4, 3, BASE_TYPE_U8, 1, 1, kind));
        Buffer dst(make_image(4, 4, 3, BASE_TYPE_U8));
        EXPECT_COL_ERROR(COL_ERR_BUFFER_KIND, COL_ColorTwist(src.handle(), dst.slot(), id.t));
    }
}

TEST_F(ColorTwistChecks, AcceptsOtherSourceKinds) {
    Buffer src(make_image(4, 4, 3, BASE_TYPE_U8, 1, 1, 16));
    Buffer dst(make_image(4, 4, 3, BASE_TYPE_U8, 1, 1, 13));
    EXPECT_EQ(COL_ColorTwist(src.handle(), dst.slot(), id.t), 1);
}

TEST_F(ColorTwistChecks, ChecksTheSourceKindBeforeItsPlanes) {
    Buffer src(make_image(4, 4, 1, BASE_TYPE_U8, 1, 1, 14));
    Buffer dst(make_image(4, 4, 3, BASE_TYPE_U8));
    EXPECT_COL_ERROR(COL_ERR_BUFFER_KIND, COL_ColorTwist(src.handle(), dst.slot(), id.t));
}

TEST_F(ColorTwistChecks, RefusesAOnePlaneSource) {
    Buffer src(make_image(4, 4, 1, BASE_TYPE_U8));
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_PLANES, COL_ColorTwist(src.handle(), dst.slot(), id.t));
    EXPECT_EQ(dst.handle(), -1);  // refused before a destination is made
}

TEST_F(ColorTwistChecks, ChecksTheSourcePlanesBeforeItsType) {
    Buffer src(make_image(4, 4, 1, BASE_TYPE_S32));
    Buffer dst(make_image(4, 4, 3, BASE_TYPE_U8));
    EXPECT_COL_ERROR(COL_ERR_PLANES, COL_ColorTwist(src.handle(), dst.slot(), id.t));
}

TEST_F(ColorTwistChecks, RefusesASourcePixelTypeOutsideOneToFour) {
    Buffer src(make_image(4, 4, 3, BASE_TYPE_S32));
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE, COL_ColorTwist(src.handle(), dst.slot(), id.t));
    EXPECT_EQ(dst.handle(), -1);
}

TEST_F(ColorTwistChecks, RefusesAMissingDestination) {
    Buffer src(make_image(4, 4, 3, BASE_TYPE_U8));
    int32_t h = 987654;
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER, COL_ColorTwist(src.handle(), &h, id.t));
    EXPECT_EQ(h, 987654);
}

TEST_F(ColorTwistChecks, RefusesDestinationKinds14And15) {
    for (int32_t kind : {14, 15}) {
        Buffer src(make_image(4, 4, 3, BASE_TYPE_U8));
        Buffer dst(make_image(4, 4, 1, BASE_TYPE_U8, 1, 1, kind));
        EXPECT_COL_ERROR(COL_ERR_BUFFER_KIND, COL_ColorTwist(src.handle(), dst.slot(), id.t));
    }
}

TEST_F(ColorTwistChecks, RefusesAOnePlaneDestination) {
    Buffer src(make_image(4, 4, 3, BASE_TYPE_U8));
    Buffer dst(make_image(4, 4, 1, BASE_TYPE_S32));
    EXPECT_COL_ERROR(COL_ERR_PLANES, COL_ColorTwist(src.handle(), dst.slot(), id.t));
}

TEST_F(ColorTwistChecks, RefusesADestinationPixelTypeOutsideOneToFour) {
    Buffer src(make_image(4, 4, 3, BASE_TYPE_U8));
    Buffer dst(make_image(5, 4, 3, BASE_TYPE_S32));
    EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE, COL_ColorTwist(src.handle(), dst.slot(), id.t));
}

TEST_F(ColorTwistChecks, RefusesMixing8And16BitAlthoughTheKernelAcceptsIt) {
    Buffer src(seeded_image<uint8_t>(4, 4, 30));
    Buffer dst(make_image(5, 4, 3, BASE_TYPE_U16));
    EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE, COL_ColorTwist(src.handle(), dst.slot(), id.t));
    Buffer wide(make_image(4, 4, 3, BASE_TYPE_S16));
    Buffer narrow(make_image(5, 4, 3, BASE_TYPE_S8));
    EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE, COL_ColorTwist(wide.handle(), narrow.slot(), id.t));
    Buffer fitting(make_image(4, 4, 3, BASE_TYPE_U16));
    int32_t h = fitting.handle();
    EXPECT_TRUE(colk_twist(src.handle(), &h, BASE_TYPE_U8, BASE_TYPE_U16, id.t));
}

TEST_F(ColorTwistChecks, RefusesADifferentWidth) {
    Buffer src(make_image(4, 4, 3, BASE_TYPE_U8));
    Buffer dst(make_image(5, 3, 3, BASE_TYPE_S8, 2, 2));
    EXPECT_COL_ERROR(COL_ERR_WIDTH, COL_ColorTwist(src.handle(), dst.slot(), id.t));
}

TEST_F(ColorTwistChecks, RefusesADifferentHeight) {
    Buffer src(make_image(4, 4, 3, BASE_TYPE_U8));
    Buffer dst(make_image(4, 3, 3, BASE_TYPE_U8, 2, 2));
    EXPECT_COL_ERROR(COL_ERR_HEIGHT, COL_ColorTwist(src.handle(), dst.slot(), id.t));
}

TEST_F(ColorTwistChecks, RefusesADifferentExtent3BeforeExtent2) {
    Buffer src(make_image(4, 4, 3, BASE_TYPE_U8));
    Buffer dst(make_image(4, 4, 3, BASE_TYPE_U8, 2, 2));
    EXPECT_COL_ERROR(COL_ERR_EXTENT3, COL_ColorTwist(src.handle(), dst.slot(), id.t));
}

TEST_F(ColorTwistChecks, RefusesADifferentExtent2) {
    Buffer src(make_image(4, 4, 3, BASE_TYPE_U8));
    Buffer dst(make_image(4, 4, 3, BASE_TYPE_U8, 2, 1));
    EXPECT_COL_ERROR(COL_ERR_EXTENT2, COL_ColorTwist(src.handle(), dst.slot(), id.t));
}

}  // namespace
