// Conversion to colour and to grey with three weights: the type scale, the
// two per-pixel rules, the kernel entries and the entries with their checks.
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
#include "transform/convert_to_color.h"
#include "transform/convert_to_grayscale.h"
#include "transform/type_scale.h"
#include "transform/weighted_conversion.h"

namespace {

using ozu_test::Buffer;
using ozu_test::make_image;
using ozu_test::read_plane;
using ozu_test::seeded_pixels;
using ozu_test::write_plane;

constexpr int32_t kMaxima[4] = {127, 255, 32767, 65535};

int32_t formula_scale(int32_t srcMax, int32_t dstMax) {
    const float ratio = static_cast<float>(dstMax) / static_cast<float>(srcMax);
    return static_cast<int32_t>(ratio * 8192.0f);
}

// ---- An independent model of both rules, in 64 bits with explicit wrap ----

int64_t wrap32(int64_t v) {
    const uint64_t low = static_cast<uint64_t>(v) & 0xFFFFFFFFu;
    return low >= 0x80000000u ? static_cast<int64_t>(low) - (int64_t{1} << 32)
                              : static_cast<int64_t>(low);
}

int64_t floor_shift(int64_t v, int n) {
    const int64_t d = int64_t{1} << n;
    return v >= 0 ? v / d : -((-v + d - 1) / d);
}

// The stored value: the low bits of v read as the destination element.
template <class D>
int64_t stored(int64_t v) {
    const uint64_t bits = static_cast<uint64_t>(v) & ((uint64_t{1} << (8 * sizeof(D))) - 1);
    if (std::is_signed_v<D> && bits >= (uint64_t{1} << (8 * sizeof(D) - 1)))
        return static_cast<int64_t>(bits) - (int64_t{1} << (8 * sizeof(D)));
    return static_cast<int64_t>(bits);
}

int64_t model_weight(double w) { return static_cast<int64_t>(std::trunc(w * 8192.0)); }

template <class S, class D>
int64_t model_color(int64_t s, double weight) {
    const int64_t w = model_weight(weight);
    if (std::is_same_v<S, D>) return stored<D>(floor_shift(wrap32(s * w), 13));
    const int64_t f = formula_scale(ozu::pixel_max<S>, ozu::pixel_max<D>);
    return stored<D>(floor_shift(wrap32(s * w * f), 26));
}

template <class S, class D>
int64_t model_gray(int64_t s0, int64_t s1, int64_t s2, const double (&weights)[3]) {
    const int64_t g = floor_shift(wrap32(s0 * model_weight(weights[0]) +
                                         s1 * model_weight(weights[1]) +
                                         s2 * model_weight(weights[2])),
                                  13);
    if (std::is_same_v<S, D>) return stored<D>(g);
    const int64_t f = formula_scale(ozu::pixel_max<S>, ozu::pixel_max<D>);
    return stored<D>(floor_shift(wrap32(g * f), 13));
}

// ---- Helpers ----

template <class T>
std::vector<T> plane_of(std::initializer_list<int> values) {
    std::vector<T> out;
    for (int v : values) out.push_back(static_cast<T>(v));
    return out;
}

template <class S>
int32_t seeded_image(int32_t width, int32_t height, int32_t planes, uint32_t seed,
                     int32_t ext2 = 1, int32_t ext3 = 1, int32_t flags = 0) {
    const int32_t h = make_image(width, height, planes, ozu::PixelTraits<S>::code, ext2, ext3,
                                 BASE_KIND_IMAGE, flags);
    for (int32_t j = 0; j < ext3; ++j)
        for (int32_t i = 0; i < ext2; ++i)
            for (int32_t p = 0; p < planes; ++p)
                write_plane(h, p,
                            seeded_pixels<S>(size_t(width) * height, seed + 31 * p + 7 * i + 3 * j),
                            i, j);
    return h;
}

template <class S, class D>
void expect_colored(int32_t src, int32_t dst, const double (&w)[3], const std::string& what) {
    const int32_t ext2 = ozu_test::attribute(src, BASE_ATTR_EXT2);
    const int32_t ext3 = ozu_test::attribute(src, BASE_ATTR_EXT3);
    for (int32_t j = 0; j < ext3; ++j)
        for (int32_t i = 0; i < ext2; ++i) {
            const std::vector<S> in = read_plane<S>(src, 0, i, j);
            for (int k = 0; k < 3; ++k) {
                const std::vector<D> out = read_plane<D>(dst, k, i, j);
                for (size_t x = 0; x < in.size(); ++x) {
                    const int64_t expected = model_color<S, D>(in[x], w[k]);
                    if (out[x] != expected) {
                        ADD_FAILURE() << what << ": first wrong pixel at index " << x
                                      << " of plane " << k << ", layer (" << i << ", " << j
                                      << "): input " << +in[x] << ", expected " << expected
                                      << ", got " << +out[x];
                        return;
                    }
                }
            }
        }
}

template <class S, class D>
void expect_grayed(int32_t src, int32_t dst, const double (&w)[3], const std::string& what) {
    const int32_t ext2 = ozu_test::attribute(src, BASE_ATTR_EXT2);
    const int32_t ext3 = ozu_test::attribute(src, BASE_ATTR_EXT3);
    for (int32_t j = 0; j < ext3; ++j)
        for (int32_t i = 0; i < ext2; ++i) {
            const std::vector<S> p0 = read_plane<S>(src, 0, i, j);
            const std::vector<S> p1 = read_plane<S>(src, 1, i, j);
            const std::vector<S> p2 = read_plane<S>(src, 2, i, j);
            const std::vector<D> out = read_plane<D>(dst, 0, i, j);
            for (size_t x = 0; x < out.size(); ++x) {
                const int64_t expected = model_gray<S, D>(p0[x], p1[x], p2[x], w);
                if (out[x] != expected) {
                    ADD_FAILURE() << what << ": first wrong pixel at index " << x << ", layer ("
                                  << i << ", " << j << "): input (" << +p0[x] << ", " << +p1[x]
                                  << ", " << +p2[x] << "), expected " << expected << ", got "
                                  << +out[x];
                    return;
                }
            }
        }
}

template <class S, class D>
std::string pair_name() {
    return std::to_string(ozu::PixelTraits<S>::code) + " -> " +
           std::to_string(ozu::PixelTraits<D>::code);
}

// Weights with fractions that truncate differently in 13 bits.
constexpr double kWeights[3] = {0.299, 1.0, 0.6180339};

// ---- The type scale ----

TEST(WeightedScale, EveryCrossTypeFactorIsTheTruncatedSinglePrecisionRatio) {
    for (int s = 0; s < 4; ++s) {
        for (int d = 0; d < 4; ++d) {
            if (s == d) continue;
            EXPECT_EQ(ozu::kTypeScale[s][d], formula_scale(kMaxima[s], kMaxima[d]))
                << "source " << kMaxima[s] << ", destination " << kMaxima[d];
        }
    }
}

TEST(WeightedScale, MatchesThePublishedFactors) {
    EXPECT_EQ((ozu::type_scale<int8_t, uint8_t>), 16448);
    EXPECT_EQ((ozu::type_scale<int8_t, int16_t>), 2113600);
    EXPECT_EQ((ozu::type_scale<int8_t, uint16_t>), 4227265);
    EXPECT_EQ((ozu::type_scale<uint8_t, int8_t>), 4079);
    EXPECT_EQ((ozu::type_scale<uint8_t, int16_t>), 1052655);
    EXPECT_EQ((ozu::type_scale<uint8_t, uint16_t>), 2105344);
    EXPECT_EQ((ozu::type_scale<int16_t, int8_t>), 31);
    EXPECT_EQ((ozu::type_scale<int16_t, uint8_t>), 63);
    EXPECT_EQ((ozu::type_scale<int16_t, uint16_t>), 16384);
    EXPECT_EQ((ozu::type_scale<uint16_t, int8_t>), 15);
    EXPECT_EQ((ozu::type_scale<uint16_t, uint8_t>), 31);
    EXPECT_EQ((ozu::type_scale<uint16_t, int16_t>), 4095);
}

// ---- Weights ----

TEST(WeightedWeights, AreTruncatedToThirteenFractionBits) {
    const ozu::FixedWeights fw = ozu::fix_weights(0.299, 0.587, 0.114);
    EXPECT_EQ(fw.w[0], 2449);
    EXPECT_EQ(fw.w[1], 4808);
    EXPECT_EQ(fw.w[2], 933);
    const ozu::FixedWeights ends = ozu::fix_weights(0.0, 1.0, 0.99999);
    EXPECT_EQ(ends.w[0], 0);
    EXPECT_EQ(ends.w[1], 8192);
    EXPECT_EQ(ends.w[2], 8191);
}

TEST(WeightedWeights, AcceptZeroToOneInclusiveAndNothingElse) {
    EXPECT_TRUE(ozu::weight_in_range(0.0));
    EXPECT_TRUE(ozu::weight_in_range(-0.0));
    EXPECT_TRUE(ozu::weight_in_range(1.0));
    EXPECT_TRUE(ozu::weight_in_range(0.5));
    EXPECT_FALSE(ozu::weight_in_range(1.0000001));
    EXPECT_FALSE(ozu::weight_in_range(-0.0000001));
    EXPECT_FALSE(ozu::weight_in_range(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_FALSE(ozu::weight_in_range(std::numeric_limits<double>::infinity()));
    EXPECT_FALSE(ozu::weight_in_range(-std::numeric_limits<double>::infinity()));
}

// ---- Per-pixel rules ----

TEST(ToColorPixel, SameTypeIsTheWeightedValue) {
    EXPECT_EQ((ozu::to_color_pixel<uint8_t, uint8_t>(255, 8192)), 255);
    EXPECT_EQ((ozu::to_color_pixel<uint8_t, uint8_t>(255, 4096)), 127);
    EXPECT_EQ((ozu::to_color_pixel<int8_t, int8_t>(-3, 4096)), -2);  // -1.5 floors to -2
    EXPECT_EQ((ozu::to_color_pixel<uint16_t, uint16_t>(65535, 8191)), 65527);
}

TEST(ToColorPixel, AcrossTypesMultipliesTwiceAndWrapsBeforeOneShift) {
    // 255 x 8192 x 2105344 wraps to -67108864, which shifts to -1 and is
    // stored as 65535; 128 wraps to exactly 0; 100 wraps to -28.
    EXPECT_EQ((ozu::to_color_pixel<uint8_t, uint16_t>(255, 8192)), 65535);
    EXPECT_EQ((ozu::to_color_pixel<uint8_t, uint16_t>(128, 8192)), 0);
    EXPECT_EQ((ozu::to_color_pixel<uint8_t, uint16_t>(100, 8192)), 65508);
    EXPECT_EQ((ozu::to_color_pixel<uint8_t, uint16_t>(1, 8192)), 1);
    // Without a wrap: 1000 x 8192 x 31 = 253952000 fits and shifts to 3.
    EXPECT_EQ((ozu::to_color_pixel<uint16_t, uint8_t>(1000, 8192)), 3);
    // 65535 x 4096 x 31 exceeds 32 bits and wraps to -268562432, which
    // shifts to -5 and is stored as 251.
    EXPECT_EQ((ozu::to_color_pixel<uint16_t, uint8_t>(65535, 4096)), 251);
}

TEST(ToGrayscalePixel, ShiftsTheSumBeforeTheTypeScale) {
    const ozu::FixedWeights luma = ozu::fix_weights(0.299, 0.587, 0.114);
    // 255 x (2449 + 4808 + 933) = 255 x 8190, shifted: 254, not 255.
    EXPECT_EQ((ozu::to_grayscale_pixel<uint8_t, uint8_t>(255, 255, 255, luma)), 254);
    // Across types the sum is shifted first: 254 x 2105344 >> 13 = 65278.
    EXPECT_EQ((ozu::to_grayscale_pixel<uint8_t, uint16_t>(255, 255, 255, luma)), 65278);
    // Nothing is clamped: the sum of three full weights is stored truncated.
    const ozu::FixedWeights full = ozu::fix_weights(1.0, 1.0, 1.0);
    EXPECT_EQ((ozu::to_grayscale_pixel<uint8_t, uint8_t>(200, 100, 10, full)), 310 - 256);
    EXPECT_EQ((ozu::to_grayscale_pixel<int8_t, int8_t>(-100, -100, 50, full)), -150 + 256);
}

// ---- The kernel entries over all sixteen pairs ----

template <class S, class D>
void check_color_pair(uint32_t seed) {
    Buffer src(seeded_image<S>(41, 9, 1, seed));
    Buffer dst(make_image(41, 9, 3, ozu::PixelTraits<D>::code));
    int32_t h = dst.handle();
    ASSERT_TRUE(colk_convert_to_color(src.handle(), &h, ozu::PixelTraits<S>::code,
                                      ozu::PixelTraits<D>::code, kWeights[0], kWeights[1],
                                      kWeights[2]))
        << pair_name<S, D>();
    expect_colored<S, D>(src.handle(), dst.handle(), kWeights, "to colour " + pair_name<S, D>());
}

template <class S, class D>
void check_gray_pair(uint32_t seed) {
    Buffer src(seeded_image<S>(41, 9, 3, seed));
    Buffer dst(make_image(41, 9, 1, ozu::PixelTraits<D>::code));
    int32_t h = dst.handle();
    ASSERT_TRUE(colk_convert_to_grayscale(src.handle(), &h, ozu::PixelTraits<S>::code,
                                          ozu::PixelTraits<D>::code, kWeights[0], kWeights[1],
                                          kWeights[2]))
        << pair_name<S, D>();
    expect_grayed<S, D>(src.handle(), dst.handle(), kWeights, "to grey " + pair_name<S, D>());
}

template <class S>
void check_all_destinations(uint32_t seed) {
    check_color_pair<S, int8_t>(seed);
    check_color_pair<S, uint8_t>(seed + 1);
    check_color_pair<S, int16_t>(seed + 2);
    check_color_pair<S, uint16_t>(seed + 3);
    check_gray_pair<S, int8_t>(seed + 4);
    check_gray_pair<S, uint8_t>(seed + 5);
    check_gray_pair<S, int16_t>(seed + 6);
    check_gray_pair<S, uint16_t>(seed + 7);
}

TEST(WeightedKernels, EveryTypePairFromSigned8BitMatchesAnIndependentModel) {
    check_all_destinations<int8_t>(100);
}
TEST(WeightedKernels, EveryTypePairFromUnsigned8BitMatchesAnIndependentModel) {
    check_all_destinations<uint8_t>(200);
}
TEST(WeightedKernels, EveryTypePairFromSigned16BitMatchesAnIndependentModel) {
    check_all_destinations<int16_t>(300);
}
TEST(WeightedKernels, EveryTypePairFromUnsigned16BitMatchesAnIndependentModel) {
    check_all_destinations<uint16_t>(400);
}

TEST(WeightedKernels, RefuseAnUnknownTypePair) {
    Buffer grey(make_image(4, 4, 1, BASE_TYPE_U8));
    Buffer colour(make_image(4, 4, 3, BASE_TYPE_U8));
    const std::pair<int32_t, int32_t> pairs[] = {{0, 2}, {2, 5}, {6, 2}, {2, 6}, {-1, -1}};
    for (auto [s, d] : pairs) {
        int32_t h = colour.handle();
        IPL_SetErrorCode(0);
        EXPECT_FALSE(colk_convert_to_color(grey.handle(), &h, s, d, 1, 1, 1)) << s << ", " << d;
        EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_PIXEL_TYPE);
        h = grey.handle();
        IPL_SetErrorCode(0);
        EXPECT_FALSE(colk_convert_to_grayscale(colour.handle(), &h, s, d, 1, 1, 1));
        EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_PIXEL_TYPE);
    }
}

TEST(WeightedKernels, RefuseTooFewPlanesForTheirRule) {
    Buffer grey(make_image(4, 4, 1, BASE_TYPE_U8));
    Buffer grey2(make_image(4, 4, 1, BASE_TYPE_U8));
    int32_t h = grey2.handle();
    IPL_SetErrorCode(0);
    EXPECT_FALSE(colk_convert_to_color(grey.handle(), &h, 2, 2, 1, 1, 1));
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_PLANES);
    IPL_SetErrorCode(0);
    EXPECT_FALSE(colk_convert_to_grayscale(grey.handle(), &h, 2, 2, 1, 1, 1));
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_PLANES);
}

// ---- The entries: results ----

TEST(ConvertToColor, FullWeightsGiveThreeCopiesOfTheGreyPlane) {
    Buffer src(seeded_image<uint8_t>(263, 255, 1, 5));
    Buffer dst;
    ASSERT_EQ(COL_ConvertToColor(src.handle(), dst.slot(), 1.0, 1.0, 1.0), 1);
    const std::vector<uint8_t> grey = read_plane<uint8_t>(src.handle(), 0);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(read_plane<uint8_t>(dst.handle(), k), grey);
}

TEST(ConvertToColor, WrapsAcrossTypesExactlyAsThirtyTwoBitProductsDo) {
    Buffer src(make_image(5, 1, 1, BASE_TYPE_U8));
    write_plane(src.handle(), 0, plane_of<uint8_t>({255, 128, 100, 1, 0}));
    Buffer dst(make_image(5, 1, 3, BASE_TYPE_U16));
    int32_t h = dst.handle();
    ASSERT_TRUE(colk_convert_to_color(src.handle(), &h, BASE_TYPE_U8, BASE_TYPE_U16, 1.0, 1.0,
                                      0.5));
    EXPECT_EQ(read_plane<uint16_t>(dst.handle(), 0), plane_of<uint16_t>({65535, 0, 65508, 1, 0}));
    EXPECT_EQ(read_plane<uint16_t>(dst.handle(), 1), plane_of<uint16_t>({65535, 0, 65508, 1, 0}));
    // Half weight: 255 x 4096 x 2105344 wraps to -33554432 (-1 after the
    // shift), 100 to -939524096 (-14), and 1 x 4096 x 2105344 = 2^25 shifts
    // to 0.
    EXPECT_EQ(read_plane<uint16_t>(dst.handle(), 2), plane_of<uint16_t>({65535, 0, 65522, 0, 0}));
}

TEST(ConvertToGrayscale, LumaWeightsTurnWhiteInto254) {
    Buffer src(make_image(2, 1, 3, BASE_TYPE_U8));
    for (int p = 0; p < 3; ++p) write_plane(src.handle(), p, plane_of<uint8_t>({255, 0}));
    Buffer dst;
    ASSERT_EQ(COL_ConvertToGrayscale(src.handle(), dst.slot(), 0.299, 0.587, 0.114), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), plane_of<uint8_t>({254, 0}));
}

template <class S, class D>
void check_entry_pair(uint32_t seed) {
    Buffer grey(seeded_image<S>(37, 11, 1, seed));
    Buffer colour(make_image(37, 11, 3, ozu::PixelTraits<D>::code));
    ASSERT_EQ(COL_ConvertToColor(grey.handle(), colour.slot(), kWeights[0], kWeights[1],
                                 kWeights[2]),
              1)
        << pair_name<S, D>();
    expect_colored<S, D>(grey.handle(), colour.handle(), kWeights, "entry " + pair_name<S, D>());

    Buffer source(seeded_image<S>(37, 11, 3, seed + 1));
    Buffer result(make_image(37, 11, 1, ozu::PixelTraits<D>::code));
    ASSERT_EQ(COL_ConvertToGrayscale(source.handle(), result.slot(), kWeights[0], kWeights[1],
                                     kWeights[2]),
              1)
        << pair_name<S, D>();
    expect_grayed<S, D>(source.handle(), result.handle(), kWeights, "entry " + pair_name<S, D>());
}

TEST(WeightedEntries, EveryAdmittedTypePairMatchesAnIndependentModel) {
    check_entry_pair<int8_t, int8_t>(1);
    check_entry_pair<int8_t, uint8_t>(2);
    check_entry_pair<uint8_t, int8_t>(3);
    check_entry_pair<uint8_t, uint8_t>(4);
    check_entry_pair<int16_t, int16_t>(5);
    check_entry_pair<int16_t, uint16_t>(6);
    check_entry_pair<uint16_t, int16_t>(7);
    check_entry_pair<uint16_t, uint16_t>(8);
}

TEST(WeightedEntries, ConvertEveryLayerOfBothExtents) {
    Buffer grey(seeded_image<uint16_t>(19, 5, 1, 50, 2, 2));
    Buffer colour;
    ASSERT_EQ(COL_ConvertToColor(grey.handle(), colour.slot(), 0.25, 0.5, 0.75), 1);
    const double w[3] = {0.25, 0.5, 0.75};
    expect_colored<uint16_t, uint16_t>(grey.handle(), colour.handle(), w, "layers");

    Buffer back;
    ASSERT_EQ(COL_ConvertToGrayscale(colour.handle(), back.slot(), 0.25, 0.5, 0.75), 1);
    expect_grayed<uint16_t, uint16_t>(colour.handle(), back.handle(), w, "layers");
}

TEST(WeightedEntries, StepLinesByTheHostPitchNotTheWidth) {
    Buffer grey(seeded_image<int16_t>(45, 6, 1, 60, 1, 1, BASE_ALLOC_ALIGN(256)));
    Buffer colour(
        make_image(45, 6, 3, BASE_TYPE_U16, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_ALIGN(128)));
    ASSERT_EQ(ozu_test::attribute(grey.handle(), BASE_ATTR_PITCH), 256);
    ASSERT_EQ(COL_ConvertToColor(grey.handle(), colour.slot(), 0.1, 0.2, 0.3), 1);
    const double w[3] = {0.1, 0.2, 0.3};
    expect_colored<int16_t, uint16_t>(grey.handle(), colour.handle(), w, "padded");

    Buffer back(
        make_image(45, 6, 1, BASE_TYPE_S16, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_ALIGN(512)));
    ASSERT_EQ(COL_ConvertToGrayscale(colour.handle(), back.slot(), 0.1, 0.2, 0.3), 1);
    expect_grayed<uint16_t, int16_t>(colour.handle(), back.handle(), w, "padded");
}

// ---- The entries: creation of the destination ----

TEST(WeightedEntries, CreateADestinationWithTheExtentsInTheirOwnOrder) {
    Buffer grey(seeded_image<int8_t>(7, 3, 1, 70, 2, 3));
    Buffer colour;
    ASSERT_EQ(COL_ConvertToColor(grey.handle(), colour.slot(), 1, 0.5, 0), 1);
    ASSERT_NE(colour.handle(), -1);
    EXPECT_EQ(ozu_test::attribute(colour.handle(), BASE_ATTR_PLANES), 3);
    EXPECT_EQ(ozu_test::attribute(colour.handle(), BASE_ATTR_TYPE), BASE_TYPE_S8);
    EXPECT_EQ(ozu_test::attribute(colour.handle(), BASE_ATTR_WIDTH), 7);
    EXPECT_EQ(ozu_test::attribute(colour.handle(), BASE_ATTR_HEIGHT), 3);
    EXPECT_EQ(ozu_test::attribute(colour.handle(), BASE_ATTR_EXT2), 2);
    EXPECT_EQ(ozu_test::attribute(colour.handle(), BASE_ATTR_EXT3), 3);

    Buffer back;
    ASSERT_EQ(COL_ConvertToGrayscale(colour.handle(), back.slot(), 1, 0, 0), 1);
    ASSERT_NE(back.handle(), -1);
    EXPECT_EQ(ozu_test::attribute(back.handle(), BASE_ATTR_PLANES), 1);
    EXPECT_EQ(ozu_test::attribute(back.handle(), BASE_ATTR_TYPE), BASE_TYPE_S8);
    EXPECT_EQ(ozu_test::attribute(back.handle(), BASE_ATTR_EXT2), 2);
    EXPECT_EQ(ozu_test::attribute(back.handle(), BASE_ATTR_EXT3), 3);
    for (int32_t j = 0; j < 3; ++j)
        for (int32_t i = 0; i < 2; ++i)
            EXPECT_EQ(read_plane<int8_t>(back.handle(), 0, i, j),
                      read_plane<int8_t>(grey.handle(), 0, i, j));
}

TEST(WeightedEntries, KeepACreatedDestinationWhenTheHostFailsLater) {
    Buffer grey(make_image(6, 3, 1, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA));
    Buffer colour;
    EXPECT_COL_ERROR(BASE_ERR_REGION, COL_ConvertToColor(grey.handle(), colour.slot(), 1, 1, 1));
    ASSERT_NE(colour.handle(), -1);
    EXPECT_EQ(BASE_IsBufferExistent(colour.handle()), 1);

    Buffer rgb(make_image(6, 3, 3, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA));
    Buffer back;
    EXPECT_COL_ERROR(BASE_ERR_REGION, COL_ConvertToGrayscale(rgb.handle(), back.slot(), 1, 1, 1));
    ASSERT_NE(back.handle(), -1);
    EXPECT_EQ(BASE_IsBufferExistent(back.handle()), 1);
}

TEST(WeightedEntries, LeaveNothingLockedOrHeldAfterAHostFailure) {
    int32_t src = make_image(6, 3, 1, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA);
    int32_t dst = make_image(6, 3, 3, BASE_TYPE_U8);
    EXPECT_COL_ERROR(BASE_ERR_REGION, COL_ConvertToColor(src, &dst, 1, 1, 1));
    // The host refuses to free a buffer that is locked or has a pointer out.
    EXPECT_EQ(IPL_BufFree(dst), 1);
    EXPECT_EQ(IPL_BufFree(src), 1);
}

// ---- The entries: every check, in order ----

// Both entries share their checks; only the plane counts are swapped.
struct Direction {
    const char* name;
    int32_t (*entry)(int32_t, int32_t*, double, double, double);
    int32_t srcPlanes;
    int32_t dstPlanes;
};

class WeightedChecks : public ::testing::TestWithParam<Direction> {
protected:
    int32_t call(int32_t src, int32_t* dst, double w0 = 1, double w1 = 1, double w2 = 1) {
        return GetParam().entry(src, dst, w0, w1, w2);
    }
    int32_t source(int32_t type = BASE_TYPE_U8, int32_t kind = BASE_KIND_IMAGE) {
        return make_image(4, 4, GetParam().srcPlanes, type, 1, 1, kind);
    }
    int32_t destination(int32_t type = BASE_TYPE_U8, int32_t width = 4, int32_t height = 4,
                        int32_t ext2 = 1, int32_t ext3 = 1, int32_t kind = BASE_KIND_IMAGE) {
        return make_image(width, height, GetParam().dstPlanes, type, ext2, ext3, kind);
    }
};

TEST_P(WeightedChecks, RefuseAMissingSource) {
    Buffer dst(destination());
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER, call(987654, dst.slot()));
    // A missing source is refused before the weights are looked at.
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER, call(987654, dst.slot(), 2.0, 2.0, 2.0));
}

TEST_P(WeightedChecks, RefuseSourceKinds14And15BeforeTheWeights) {
    for (int32_t kind : {14, 15}) {
        Buffer src(source(BASE_TYPE_U8, kind));
        Buffer dst(destination());
        EXPECT_COL_ERROR(COL_ERR_BUFFER_KIND, call(src.handle(), dst.slot()));
        EXPECT_COL_ERROR(COL_ERR_BUFFER_KIND, call(src.handle(), dst.slot(), -1, -1, -1));
    }
}

TEST_P(WeightedChecks, RefuseAWeightJustAboveOneOrJustBelowZero) {
    Buffer src(source());
    Buffer dst(destination());
    for (double bad : {1.0000001, -0.0000001}) {
        EXPECT_COL_ERROR(COL_ERR_RANGE, call(src.handle(), dst.slot(), bad, 1, 1));
        EXPECT_COL_ERROR(COL_ERR_RANGE, call(src.handle(), dst.slot(), 0, bad, 1));
        EXPECT_COL_ERROR(COL_ERR_RANGE, call(src.handle(), dst.slot(), 0, 0, bad));
    }
}

TEST_P(WeightedChecks, RefuseANanWeight) {
    Buffer src(source());
    Buffer dst(destination());
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_COL_ERROR(COL_ERR_RANGE, call(src.handle(), dst.slot(), nan, 0.5, 0.5));
    EXPECT_COL_ERROR(COL_ERR_RANGE, call(src.handle(), dst.slot(), 0.5, nan, 0.5));
    EXPECT_COL_ERROR(COL_ERR_RANGE, call(src.handle(), dst.slot(), 0.5, 0.5, nan));
}

TEST_P(WeightedChecks, AcceptTheEndsOfTheWeightRange) {
    Buffer src(source());
    Buffer dst(destination());
    EXPECT_EQ(call(src.handle(), dst.slot(), 0.0, 1.0, -0.0), 1);
}

TEST_P(WeightedChecks, CheckTheWeightsBeforeThePlanes) {
    Buffer src(make_image(4, 4, 2, BASE_TYPE_S32));
    Buffer dst(destination());
    EXPECT_COL_ERROR(COL_ERR_RANGE, call(src.handle(), dst.slot(), 1, 1, 1.5));
}

TEST_P(WeightedChecks, RefuseASourceOfTheWrongPlaneCount) {
    // To colour wants one plane and to grey three: give each the other's.
    Buffer src(make_image(4, 4, GetParam().dstPlanes, BASE_TYPE_S32));
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_PLANES, call(src.handle(), dst.slot()));
    EXPECT_EQ(dst.handle(), -1);  // refused before a destination is made
    Buffer two(make_image(4, 4, 2, BASE_TYPE_U8));
    EXPECT_COL_ERROR(COL_ERR_PLANES, call(two.handle(), dst.slot()));
}

TEST_P(WeightedChecks, RefuseASourcePixelTypeOutsideOneToFour) {
    Buffer src(source(BASE_TYPE_S32));
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE, call(src.handle(), dst.slot()));
    EXPECT_EQ(dst.handle(), -1);
}

TEST_P(WeightedChecks, RefuseAMissingDestination) {
    Buffer src(source());
    int32_t h = 987654;
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER, call(src.handle(), &h));
    EXPECT_EQ(h, 987654);
}

TEST_P(WeightedChecks, RefuseDestinationKinds14And15) {
    for (int32_t kind : {14, 15}) {
        Buffer src(source());
        Buffer dst(make_image(4, 4, 2, BASE_TYPE_S32, 1, 1, kind));
        EXPECT_COL_ERROR(COL_ERR_BUFFER_KIND, call(src.handle(), dst.slot()));
    }
}

TEST_P(WeightedChecks, RefuseADestinationOfTheWrongPlaneCount) {
    Buffer src(source());
    Buffer dst(make_image(4, 4, GetParam().srcPlanes, BASE_TYPE_S32));
    EXPECT_COL_ERROR(COL_ERR_PLANES, call(src.handle(), dst.slot()));
}

TEST_P(WeightedChecks, RefuseADestinationPixelTypeOutsideOneToFour) {
    Buffer src(source());
    Buffer dst(destination(BASE_TYPE_S32, 5));
    EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE, call(src.handle(), dst.slot()));
}

TEST_P(WeightedChecks, RefuseMixing8And16Bit) {
    Buffer narrow(source(BASE_TYPE_S8));
    Buffer wide(destination(BASE_TYPE_U16, 5));
    EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE, call(narrow.handle(), wide.slot()));
    Buffer wideSource(source(BASE_TYPE_S16));
    Buffer narrowDestination(destination(BASE_TYPE_U8, 5));
    EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE, call(wideSource.handle(), narrowDestination.slot()));
}

TEST_P(WeightedChecks, RefuseADifferentWidth) {
    Buffer src(source());
    Buffer dst(destination(BASE_TYPE_S8, 5, 3, 2, 2));
    EXPECT_COL_ERROR(COL_ERR_WIDTH, call(src.handle(), dst.slot()));
}

TEST_P(WeightedChecks, RefuseADifferentHeight) {
    Buffer src(source());
    Buffer dst(destination(BASE_TYPE_U8, 4, 3, 2, 2));
    EXPECT_COL_ERROR(COL_ERR_HEIGHT, call(src.handle(), dst.slot()));
}

TEST_P(WeightedChecks, RefuseADifferentExtent3BeforeExtent2) {
    Buffer src(source());
    Buffer dst(destination(BASE_TYPE_U8, 4, 4, 2, 2));
    EXPECT_COL_ERROR(COL_ERR_EXTENT3, call(src.handle(), dst.slot()));
}

TEST_P(WeightedChecks, RefuseADifferentExtent2) {
    Buffer src(source());
    Buffer dst(destination(BASE_TYPE_U8, 4, 4, 2, 1));
    EXPECT_COL_ERROR(COL_ERR_EXTENT2, call(src.handle(), dst.slot()));
}

INSTANTIATE_TEST_SUITE_P(BothDirections, WeightedChecks,
                         ::testing::Values(Direction{"ToColor", &COL_ConvertToColor, 1, 3},
                                           Direction{"ToGrayscale", &COL_ConvertToGrayscale, 3,
                                                     1}),
                         [](const ::testing::TestParamInfo<Direction>& info) {
                             return std::string(info.param.name);
                         });

TEST(ConvertToColor, RefusesAThreePlaneSource) {
    Buffer src(make_image(4, 4, 3, BASE_TYPE_U8));
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_PLANES, COL_ConvertToColor(src.handle(), dst.slot(), 1, 1, 1));
}

}  // namespace
