// Statistics of the image-buffer host: histograms, the best two-class
// threshold, column profiles, line profile lengths and line profile images.
#include <gtest/gtest.h>
#include <ozu/base.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "base_test_support.h"
#include "test_support.h"

namespace {

using ozu_test::attribute;
using ozu_test::Buffer;
using ozu_test::make_image;
using ozu_test::read_plane;
using ozu_test::write_plane;

class StatHistogram : public base_test::BufferCountCheck {};
class StatBestThreshold : public base_test::BufferCountCheck {};
class StatGetLineProfileLength : public base_test::BufferCountCheck {};
class StatLineProfileImage : public base_test::BufferCountCheck {};
class StatProfile : public base_test::BufferCountCheck {};

constexpr int32_t kNoSuchBuffer = 0x7FFF0000;
constexpr int32_t kInt32Max = std::numeric_limits<int32_t>::max();

int32_t make_descriptor(int32_t width, int32_t height, int32_t type = BASE_TYPE_U8) {
    return make_image(width, height, 1, type, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA);
}

// Plane p of block (i, j) filled with value(x, y).
template <class T, class Value>
void fill(int32_t h, int32_t p, int32_t i, int32_t j, Value value) {
    const int32_t width = attribute(h, BASE_ATTR_WIDTH);
    const int32_t height = attribute(h, BASE_ATTR_HEIGHT);
    std::vector<T> data(size_t(width) * size_t(height));
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) data[size_t(y) * width + x] = T(value(x, y));
    }
    write_plane<T>(h, p, data, i, j);
}

// A one-line buffer of type 6 holding `counts`.
int32_t histogram_of(const std::vector<int32_t>& counts) {
    const int32_t h =
        make_image(int32_t(counts.size()), 1, 1, BASE_TYPE_S32, 1, 1, BASE_KIND_TABLE);
    write_plane<int32_t>(h, 0, counts);
    return h;
}

int32_t threshold_of(const std::vector<int32_t>& counts) {
    Buffer hist(histogram_of(counts));
    int32_t t = -7;
    EXPECT_EQ(IPL_StatBestThreshold(hist.handle(), &t), 1);
    return t;
}

void expect_table_geometry(int32_t h, int32_t width, int32_t planes, int32_t ext2 = 1,
                           int32_t ext3 = 1) {
    EXPECT_EQ(attribute(h, BASE_ATTR_WIDTH), width);
    EXPECT_EQ(attribute(h, BASE_ATTR_HEIGHT), 1);
    EXPECT_EQ(attribute(h, BASE_ATTR_PLANES), planes);
    EXPECT_EQ(attribute(h, BASE_ATTR_EXT2), ext2);
    EXPECT_EQ(attribute(h, BASE_ATTR_EXT3), ext3);
    EXPECT_EQ(attribute(h, BASE_ATTR_TYPE), BASE_TYPE_S32);
    EXPECT_EQ(attribute(h, BASE_ATTR_KIND), BASE_KIND_TABLE);
}

// ============================================================ IPL_StatHistogram

TEST_F(StatHistogram, CountsEveryBlockIntoOneLinePerPlane) {
    Buffer src(make_image(3, 2, 2, BASE_TYPE_U8, 2, 3));
    for (int32_t j = 0; j < 3; ++j) {
        for (int32_t i = 0; i < 2; ++i) {
            // Plane 0: every block all 7 but its pixel (0, 0), which is
            // 10 i + j. Plane 1: 200 + x.
            fill<uint8_t>(src.handle(), 0, i, j,
                          [&](int x, int y) { return x + y == 0 ? 10 * i + j : 7; });
            fill<uint8_t>(src.handle(), 1, i, j, [](int x, int) { return 200 + x; });
        }
    }
    Buffer hist;
    ASSERT_EQ(IPL_StatHistogram(src.handle(), hist.slot()), 1);
    expect_table_geometry(hist.handle(), 256, 2);
    std::vector<int32_t> plane0(256, 0);
    plane0[7] = 6 * 5;
    for (int v : {0, 1, 2, 10, 11, 12}) plane0[size_t(v)] = 1;
    std::vector<int32_t> plane1(256, 0);
    plane1[200] = plane1[201] = plane1[202] = 2 * 6;
    EXPECT_EQ(read_plane<int32_t>(hist.handle(), 0), plane0);
    EXPECT_EQ(read_plane<int32_t>(hist.handle(), 1), plane1);
}

TEST_F(StatHistogram, BinsSigned8BitPixelsByTheirBitPattern) {
    Buffer src(make_image(4, 1, 1, BASE_TYPE_S8));
    write_plane<int8_t>(src.handle(), 0, {-128, -1, -1, 127});
    Buffer hist;
    ASSERT_EQ(IPL_StatHistogram(src.handle(), hist.slot()), 1);
    std::vector<int32_t> expected(256, 0);
    expected[128] = 1;
    expected[255] = 2;
    expected[127] = 1;
    EXPECT_EQ(read_plane<int32_t>(hist.handle(), 0), expected);
}

TEST_F(StatHistogram, HasA65536BinLineForSixteenBitImages) {
    Buffer u16(make_image(3, 1, 1, BASE_TYPE_U16));
    write_plane<uint16_t>(u16.handle(), 0, {65535, 300, 65535});
    Buffer s16(make_image(3, 1, 1, BASE_TYPE_S16, 1, 2));
    write_plane<int16_t>(s16.handle(), 0, {-1, -32768, 5}, 0, 0);
    write_plane<int16_t>(s16.handle(), 0, {-1, 0, 5}, 0, 1);
    Buffer histU;
    Buffer histS;
    ASSERT_EQ(IPL_StatHistogram(u16.handle(), histU.slot()), 1);
    ASSERT_EQ(IPL_StatHistogram(s16.handle(), histS.slot()), 1);
    expect_table_geometry(histU.handle(), 65536, 1);
    expect_table_geometry(histS.handle(), 65536, 1);
    std::vector<int32_t> expectedU(65536, 0);
    expectedU[65535] = 2;
    expectedU[300] = 1;
    std::vector<int32_t> expectedS(65536, 0);
    expectedS[65535] = 2;
    expectedS[32768] = 1;
    expectedS[0] = 1;
    expectedS[5] = 2;
    EXPECT_EQ(read_plane<int32_t>(histU.handle(), 0), expectedU);
    EXPECT_EQ(read_plane<int32_t>(histS.handle(), 0), expectedS);
}

TEST_F(StatHistogram, IgnoresTheIncomingHandle) {
    Buffer src(make_image(2, 1, 1, BASE_TYPE_U8));
    Buffer other(make_image(2, 1, 1, BASE_TYPE_U8));
    Buffer hist(other.handle());
    ASSERT_EQ(IPL_StatHistogram(src.handle(), hist.slot()), 1);
    EXPECT_NE(hist.handle(), other.handle());
    EXPECT_EQ(attribute(hist.handle(), BASE_ATTR_WIDTH), 256);
    // `other` is still there and is freed by its own owner.
    EXPECT_EQ(BASE_IsBufferExistent(other.handle()), 1);
}

TEST_F(StatHistogram, RefusesBadArguments) {
    Buffer src(make_image(2, 1, 1, BASE_TYPE_U8));
    Buffer wide(make_image(2, 1, 1, BASE_TYPE_S32));
    Buffer empty(make_descriptor(2, 1));
    int32_t h = -1;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_StatHistogram(kNoSuchBuffer, &h));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_StatHistogram(src.handle(), nullptr));
    EXPECT_HOST_ERROR(BASE_ERR_PIXEL_TYPE, IPL_StatHistogram(wide.handle(), &h));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_StatHistogram(empty.handle(), &h));
    EXPECT_EQ(h, -1);
}

// ======================================================== IPL_StatBestThreshold

// The criterion (N S0 - n0 S)^2 / (n0 (N - n0)) for this histogram
// (N = 49, S = 226) at t = 3: (49*27 - 22*226)^2 / (22*27) = 22416.2,
// t = 4: (49*31 - 23*226)^2 / (23*26) = 22633.8, t = 5: 22326.0.
TEST_F(StatBestThreshold, MaximisesTheBetweenClassVariance) {
    EXPECT_EQ(threshold_of({5, 9, 6, 2, 1, 1, 3, 8, 10, 4}), 4);
}

// Two clusters: every t from 2 to 4 makes the same best split; the smallest wins.
TEST_F(StatBestThreshold, SplitsABimodalHistogramAtTheFirstBestBin) {
    EXPECT_EQ(threshold_of({2, 3, 1, 0, 0, 1, 3, 2}), 2);
}

// t = 0 and t = 1 are different splits with the same criterion, 16/3.
TEST_F(StatBestThreshold, TakesTheSmallestOfEqualSplits) {
    EXPECT_EQ(threshold_of({1, 2, 1}), 0);
    EXPECT_EQ(threshold_of({1, 0, 1}), 0);
    EXPECT_EQ(threshold_of({0, 0, 4, 9}), 2);
}

TEST_F(StatBestThreshold, FallsBackToTheOnlyOccupiedBin) {
    EXPECT_EQ(threshold_of(std::vector<int32_t>(256, 0)), 0);
    std::vector<int32_t> single(256, 0);
    single[37] = 12;
    EXPECT_EQ(threshold_of(single), 37);
    single[37] = 0;
    single[255] = 1;
    EXPECT_EQ(threshold_of(single), 255);
    EXPECT_EQ(threshold_of({9}), 0);
}

// Bins full to 2^31 - 1: the cross products reach about 2^400, far past any
// native integer. Bins 0 and 1 against 65535 beat bin 0 against 1 and 65535.
TEST_F(StatBestThreshold, ComparesExactlyWithFullBins) {
    std::vector<int32_t> counts(65536, 0);
    counts[0] = counts[1] = counts[65535] = kInt32Max;
    EXPECT_EQ(threshold_of(counts), 1);
    // Every even bin full: the halves split after bin 32766.
    for (size_t k = 0; k < counts.size(); ++k) counts[k] = k % 2 == 0 ? kInt32Max : 0;
    EXPECT_EQ(threshold_of(counts), 32766);
}

// Counts k * 2654435761 mod 2^31; the threshold was worked out in exact
// rational arithmetic.
TEST_F(StatBestThreshold, MatchesExactArithmeticOnALargeHistogram) {
    std::vector<int32_t> counts(65536);
    for (size_t k = 0; k < counts.size(); ++k) {
        counts[k] = int32_t((uint64_t(k) * 2654435761u) % (uint64_t(1) << 31));
    }
    EXPECT_EQ(threshold_of(counts), 32767);
}

// A 64 x 48 image: columns 0..39 hold 30..33, the rest 200..203.
TEST_F(StatBestThreshold, SeparatesTheTwoObjectsOfAnImageHistogram) {
    Buffer image(make_image(64, 48, 1, BASE_TYPE_U8));
    fill<uint8_t>(image.handle(), 0, 0, 0,
                  [](int x, int y) { return x < 40 ? 30 + (x + y) % 4 : 200 + (x * y) % 4; });
    Buffer hist;
    ASSERT_EQ(IPL_StatHistogram(image.handle(), hist.slot()), 1);
    int32_t t = -1;
    ASSERT_EQ(IPL_StatBestThreshold(hist.handle(), &t), 1);
    EXPECT_EQ(t, 33);
}

TEST_F(StatBestThreshold, UsesPlaneZeroOfTheHistogram) {
    Buffer hist(make_image(4, 1, 2, BASE_TYPE_S32, 1, 1, BASE_KIND_TABLE));
    write_plane<int32_t>(hist.handle(), 0, {0, 5, 0, 0});
    write_plane<int32_t>(hist.handle(), 1, {1, 0, 0, 1});
    int32_t t = -1;
    ASSERT_EQ(IPL_StatBestThreshold(hist.handle(), &t), 1);
    EXPECT_EQ(t, 1);
}

TEST_F(StatBestThreshold, AcceptsCountsOfAnyPixelType) {
    Buffer hist(make_image(4, 1, 1, BASE_TYPE_U16));
    write_plane<uint16_t>(hist.handle(), 0, {60000, 0, 1, 60000});
    int32_t t = -1;
    ASSERT_EQ(IPL_StatBestThreshold(hist.handle(), &t), 1);
    // t = 0: 60000 * 60001 * (0 - 179997/60001)^2 against t = 2:
    // 60001 * 60000 * (2/60001 - 3)^2, which is smaller.
    EXPECT_EQ(t, 0);
}

TEST_F(StatBestThreshold, RefusesBadArguments) {
    Buffer hist(histogram_of({1, 2, 3}));
    Buffer negative(histogram_of({1, -2, 3}));
    Buffer empty(make_descriptor(256, 1, BASE_TYPE_S32));
    int32_t t = -7;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_StatBestThreshold(kNoSuchBuffer, &t));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_StatBestThreshold(hist.handle(), nullptr));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_StatBestThreshold(negative.handle(), &t));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_StatBestThreshold(empty.handle(), &t));
    EXPECT_EQ(t, -7);
}

// ================================================== IPL_StatGetLineProfileLength

int32_t length_of(int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
    int32_t length = -1;
    EXPECT_EQ(IPL_StatGetLineProfileLength(x0, y0, x1, y1, &length), 1);
    return length;
}

TEST_F(StatGetLineProfileLength, CountsTheLongerAxisPlusOne) {
    EXPECT_EQ(length_of(0, 0, 3, 1), 4);
    EXPECT_EQ(length_of(10, 2, 0, 7), 11);
    EXPECT_EQ(length_of(4, 9, 6, 1), 9);
    EXPECT_EQ(length_of(5, 5, 5, 5), 1);
    EXPECT_EQ(length_of(-3, 0, 3, 0), 7);
    EXPECT_EQ(length_of(0, 0, kInt32Max - 1, 0), kInt32Max);
}

TEST_F(StatGetLineProfileLength, RefusesANullResultAndLengthsPast32Bits) {
    int32_t length = -1;
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_StatGetLineProfileLength(0, 0, 1, 1, nullptr));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_StatGetLineProfileLength(0, 0, kInt32Max, 0, &length));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_StatGetLineProfileLength(0, -kInt32Max - 1, 0, kInt32Max, &length));
    EXPECT_EQ(length, -1);
}

// ===================================================== IPL_StatLineProfileImage

// A width x height image of one plane whose pixel (x, y) is value(x, y).
template <class T, class Value>
int32_t image_of(int32_t width, int32_t height, Value value) {
    const int32_t h = make_image(width, height, 1, ozu::PixelTraits<T>::code);
    fill<T>(h, 0, 0, 0, value);
    return h;
}

// The strip's lines, top to bottom.
template <class T>
std::vector<std::vector<T>> strip_lines(int32_t strip) {
    const int32_t width = attribute(strip, BASE_ATTR_WIDTH);
    const std::vector<T> all = read_plane<T>(strip, 0);
    std::vector<std::vector<T>> lines;
    for (size_t k = 0; k < all.size(); k += size_t(width)) {
        lines.emplace_back(all.begin() + std::ptrdiff_t(k),
                           all.begin() + std::ptrdiff_t(k) + width);
    }
    return lines;
}

using Lines8 = std::vector<std::vector<uint8_t>>;

const auto kNumbered = [](int x, int y) { return 10 * y + x + 1; };

TEST_F(StatLineProfileImage, SamplesAHorizontalLine) {
    Buffer src(image_of<uint8_t>(5, 3, kNumbered));
    Buffer strip;
    ASSERT_EQ(IPL_StatLineProfileImage(src.handle(), strip.slot(), 0, 1, 4, 1, 1, 0), 1);
    EXPECT_EQ(attribute(strip.handle(), BASE_ATTR_WIDTH), 5);
    EXPECT_EQ(attribute(strip.handle(), BASE_ATTR_HEIGHT), 1);
    EXPECT_EQ(attribute(strip.handle(), BASE_ATTR_TYPE), BASE_TYPE_U8);
    EXPECT_EQ(attribute(strip.handle(), BASE_ATTR_KIND), BASE_KIND_IMAGE);
    EXPECT_EQ(strip_lines<uint8_t>(strip.handle()), (Lines8{{11, 12, 13, 14, 15}}));
}

// (0, 0) to (4, 2): y = k / 2 = 0, 0.5, 1, 1.5, 2, nearest lines 0, 1, 1, 2, 2.
TEST_F(StatLineProfileImage, TakesTheNearestPixelAlongADiagonal) {
    Buffer src(image_of<uint8_t>(5, 3, kNumbered));
    Buffer strip;
    ASSERT_EQ(IPL_StatLineProfileImage(src.handle(), strip.slot(), 0, 0, 4, 2, 1, 0), 1);
    EXPECT_EQ(strip_lines<uint8_t>(strip.handle()), (Lines8{{1, 12, 13, 24, 25}}));
}

// The same diagonal over v = +-(x^2 + 7 y^2): at (1, 0.5) the mean of 1 and
// 8 is 4.5, at (3, 1.5) that of 16 and 37 is 26.5; both round away from zero.
template <class T>
void expect_bilinear_diagonal(int sign) {
    Buffer src(image_of<T>(5, 3, [&](int x, int y) { return sign * (x * x + 7 * y * y); }));
    Buffer strip;
    ASSERT_EQ(IPL_StatLineProfileImage(src.handle(), strip.slot(), 0, 0, 4, 2, 1, 1), 1);
    EXPECT_EQ(attribute(strip.handle(), BASE_ATTR_TYPE), ozu::PixelTraits<T>::code);
    const std::vector<int> magnitudes = {0, 5, 11, 27, 44};
    std::vector<T> expected;
    for (int m : magnitudes) expected.push_back(T(sign * m));
    EXPECT_EQ(strip_lines<T>(strip.handle()), (std::vector<std::vector<T>>{expected}));
}

TEST_F(StatLineProfileImage, InterpolatesBilinearlyRoundingHalvesAwayFromZero) {
    expect_bilinear_diagonal<uint8_t>(1);
    expect_bilinear_diagonal<uint16_t>(1);
    expect_bilinear_diagonal<int8_t>(-1);
    expect_bilinear_diagonal<int16_t>(-1);
}

// Line (1, 2) to (3, 2), width 3: h = 1, offsets (m - 1) / 3 * (0, -2), so
// line m of the strip samples y = 2 2/3, 2 and 1 1/3.
TEST_F(StatLineProfileImage, SamplesAcrossAHorizontalLineOfWidthThree) {
    Buffer src(image_of<uint8_t>(5, 5, kNumbered));
    Buffer nearest;
    Buffer bilinear;
    ASSERT_EQ(IPL_StatLineProfileImage(src.handle(), nearest.slot(), 1, 2, 3, 2, 3, 0), 1);
    ASSERT_EQ(IPL_StatLineProfileImage(src.handle(), bilinear.slot(), 1, 2, 3, 2, 3, 1), 1);
    EXPECT_EQ(attribute(nearest.handle(), BASE_ATTR_WIDTH), 3);
    EXPECT_EQ(attribute(nearest.handle(), BASE_ATTR_HEIGHT), 3);
    EXPECT_EQ(strip_lines<uint8_t>(nearest.handle()),
              (Lines8{{32, 33, 34}, {22, 23, 24}, {12, 13, 14}}));
    // 10 y + x + 1 at y = 2.667: 28.67, at y = 1.333: 15.33.
    EXPECT_EQ(strip_lines<uint8_t>(bilinear.handle()),
              (Lines8{{29, 30, 31}, {22, 23, 24}, {15, 16, 17}}));
}

// Line (1, 1) to (3, 3), width 3: offsets (m - 1) / 3 * (2, -2); line 0 runs
// through (1/3, 5/3), (4/3, 8/3), (7/3, 11/3).
TEST_F(StatLineProfileImage, SamplesAcrossADiagonalOfWidthThree) {
    Buffer src(image_of<uint8_t>(5, 5, kNumbered));
    Buffer nearest;
    Buffer bilinear;
    ASSERT_EQ(IPL_StatLineProfileImage(src.handle(), nearest.slot(), 1, 1, 3, 3, 3, 0), 1);
    ASSERT_EQ(IPL_StatLineProfileImage(src.handle(), bilinear.slot(), 1, 1, 3, 3, 3, 1), 1);
    EXPECT_EQ(strip_lines<uint8_t>(nearest.handle()),
              (Lines8{{21, 32, 43}, {12, 23, 34}, {3, 14, 25}}));
    // The image is linear, so bilinear sampling gives 10 y + x + 1 exactly.
    EXPECT_EQ(strip_lines<uint8_t>(bilinear.handle()),
              (Lines8{{18, 29, 40}, {12, 23, 34}, {6, 17, 28}}));
}

TEST_F(StatLineProfileImage, ClampsSamplesIntoTheImage) {
    Buffer row(image_of<uint8_t>(3, 1, [](int x, int) { return 5 + x; }));
    Buffer strip;
    ASSERT_EQ(IPL_StatLineProfileImage(row.handle(), strip.slot(), -2, 0, 2, 0, 1, 0), 1);
    EXPECT_EQ(strip_lines<uint8_t>(strip.handle()), (Lines8{{5, 5, 5, 6, 7}}));

    Buffer square(image_of<uint8_t>(3, 3, kNumbered));
    Buffer column;
    ASSERT_EQ(IPL_StatLineProfileImage(square.handle(), column.slot(), 1, -3, 1, 5, 1, 1), 1);
    EXPECT_EQ(strip_lines<uint8_t>(column.handle()), (Lines8{{2, 2, 2, 2, 12, 22, 22, 22, 22}}));
}

// L = 1: no step along the line, and the offset across it is zero too.
TEST_F(StatLineProfileImage, SamplesTheEndPointForEqualEndPoints) {
    Buffer src(image_of<uint8_t>(3, 3, kNumbered));
    Buffer strip;
    ASSERT_EQ(IPL_StatLineProfileImage(src.handle(), strip.slot(), 2, 1, 2, 1, 3, 1), 1);
    EXPECT_EQ(strip_lines<uint8_t>(strip.handle()), (Lines8{{13}, {13}, {13}}));
}

// (0, 0) to (2, 1): samples (0, 0), (1, 1), (2, 1) of each block.
TEST_F(StatLineProfileImage, SamplesEveryBlockFromItsOwnBlock) {
    Buffer src(make_image(3, 2, 2, BASE_TYPE_U16, 2, 2, 15));
    const auto value = [](int p, int i, int j, int x, int y) {
        return 1000 * p + 10000 * i + 20000 * j + 10 * y + x;
    };
    for (int j = 0; j < 2; ++j) {
        for (int i = 0; i < 2; ++i) {
            for (int p = 0; p < 2; ++p) {
                fill<uint16_t>(src.handle(), p, i, j,
                               [&](int x, int y) { return value(p, i, j, x, y); });
            }
        }
    }
    Buffer strip;
    ASSERT_EQ(IPL_StatLineProfileImage(src.handle(), strip.slot(), 0, 0, 2, 1, 1, 0), 1);
    EXPECT_EQ(attribute(strip.handle(), BASE_ATTR_PLANES), 2);
    EXPECT_EQ(attribute(strip.handle(), BASE_ATTR_EXT2), 2);
    EXPECT_EQ(attribute(strip.handle(), BASE_ATTR_EXT3), 2);
    EXPECT_EQ(attribute(strip.handle(), BASE_ATTR_TYPE), BASE_TYPE_U16);
    EXPECT_EQ(attribute(strip.handle(), BASE_ATTR_KIND), BASE_KIND_IMAGE);
    for (int j = 0; j < 2; ++j) {
        for (int i = 0; i < 2; ++i) {
            for (int p = 0; p < 2; ++p) {
                const std::vector<uint16_t> expected = {uint16_t(value(p, i, j, 0, 0)),
                                                        uint16_t(value(p, i, j, 1, 1)),
                                                        uint16_t(value(p, i, j, 2, 1))};
                EXPECT_EQ(read_plane<uint16_t>(strip.handle(), p, i, j), expected)
                    << "plane " << p << " block (" << i << ", " << j << ")";
            }
        }
    }
}

TEST_F(StatLineProfileImage, CarriesTheColourSpaceOver) {
    Buffer src(image_of<uint8_t>(3, 3, kNumbered));
    Buffer before;
    ASSERT_EQ(IPL_StatLineProfileImage(src.handle(), before.slot(), 0, 0, 2, 2, 1, 0), 1);
    int32_t space = -5;
    EXPECT_HOST_ERROR(BASE_ERR_ATTRIBUTE,
                      IPL_BufInquire(before.handle(), BASE_ATTR_COLOR_SPACE, &space));
    space = 8;
    ASSERT_EQ(IPL_BufControl(src.handle(), BASE_ATTR_COLOR_SPACE, &space), 1);
    Buffer after;
    ASSERT_EQ(IPL_StatLineProfileImage(src.handle(), after.slot(), 0, 0, 2, 2, 1, 0), 1);
    EXPECT_EQ(attribute(after.handle(), BASE_ATTR_COLOR_SPACE), 8);
}

TEST_F(StatLineProfileImage, RefusesBadArguments) {
    Buffer src(image_of<uint8_t>(3, 3, kNumbered));
    Buffer wide(make_image(3, 3, 1, BASE_TYPE_S32));
    Buffer empty(make_descriptor(3, 3));
    int32_t strip = -1;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER,
                      IPL_StatLineProfileImage(kNoSuchBuffer, &strip, 0, 0, 2, 2, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_StatLineProfileImage(src.handle(), nullptr, 0, 0, 2, 2, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_StatLineProfileImage(src.handle(), &strip, 0, 0, 2, 2, 0, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_StatLineProfileImage(src.handle(), &strip, 0, 0, 2, 2, -1, 1));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_StatLineProfileImage(src.handle(), &strip, 0, 0, 2, 2, 1, 2));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_StatLineProfileImage(src.handle(), &strip, 0, 0, 2, 2, 1, -1));
    EXPECT_HOST_ERROR(
        BASE_ERR_ARGUMENT,
        IPL_StatLineProfileImage(src.handle(), &strip, -kInt32Max - 1, 0, kInt32Max, 0, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_PIXEL_TYPE,
                      IPL_StatLineProfileImage(wide.handle(), &strip, 0, 0, 2, 2, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_REGION,
                      IPL_StatLineProfileImage(empty.handle(), &strip, 0, 0, 2, 2, 1, 0));
    EXPECT_EQ(strip, -1);
}

// 2^30 + 1 samples of 16 bits need a line pitch past 32 bits.
TEST_F(StatLineProfileImage, ReportsAStripTooLargeForMemory) {
    Buffer src(image_of<uint16_t>(3, 3, kNumbered));
    int32_t strip = -1;
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY,
                      IPL_StatLineProfileImage(src.handle(), &strip, 0, 0, 1 << 30, 0, 1, 0));
    EXPECT_EQ(strip, -1);
}

// ================================================================ IPL_StatProfile

TEST_F(StatProfile, SumsEveryColumnOfEveryBlock) {
    Buffer src(make_image(3, 4, 2, BASE_TYPE_U8, 2, 3));
    for (int j = 0; j < 3; ++j) {
        for (int i = 0; i < 2; ++i) {
            for (int p = 0; p < 2; ++p) {
                fill<uint8_t>(src.handle(), p, i, j,
                              [&](int x, int y) { return 50 * p + 10 * i + 3 * j + x * y; });
            }
        }
    }
    Buffer profile;
    ASSERT_EQ(IPL_StatProfile(src.handle(), profile.slot(), 0), 1);
    expect_table_geometry(profile.handle(), 3, 2, 2, 3);
    for (int j = 0; j < 3; ++j) {
        for (int i = 0; i < 2; ++i) {
            for (int p = 0; p < 2; ++p) {
                const int base = 4 * (50 * p + 10 * i + 3 * j);
                // x * (0 + 1 + 2 + 3) for column x.
                EXPECT_EQ(read_plane<int32_t>(profile.handle(), p, i, j),
                          (std::vector<int32_t>{base, base + 6, base + 12}));
            }
        }
    }
}

TEST_F(StatProfile, SumsPastTheSourceRange) {
    Buffer u16(make_image(2, 3, 1, BASE_TYPE_U16));
    write_plane<uint16_t>(u16.handle(), 0, {65535, 1, 65535, 2, 65535, 3});
    Buffer s16(make_image(1, 2, 1, BASE_TYPE_S16));
    write_plane<int16_t>(s16.handle(), 0, {-32768, -32768});
    Buffer profU;
    Buffer profS;
    ASSERT_EQ(IPL_StatProfile(u16.handle(), profU.slot(), 0), 1);
    ASSERT_EQ(IPL_StatProfile(s16.handle(), profS.slot(), 0), 1);
    EXPECT_EQ(read_plane<int32_t>(profU.handle(), 0), (std::vector<int32_t>{196605, 6}));
    EXPECT_EQ(read_plane<int32_t>(profS.handle(), 0), (std::vector<int32_t>{-65536}));
}

// Column means: 1.5 -> 2, -1.5 -> -2, 4/3 -> 1, 0.5 -> 1, -0.5 -> -1, 5/3 -> 2.
TEST_F(StatProfile, AveragesRoundingHalvesAwayFromZero) {
    Buffer pairs(make_image(4, 2, 1, BASE_TYPE_S8));
    write_plane<int8_t>(pairs.handle(), 0, {1, -1, 0, -1, 2, -2, 1, 0});
    Buffer triples(make_image(2, 3, 1, BASE_TYPE_U8));
    write_plane<uint8_t>(triples.handle(), 0, {1, 1, 1, 2, 2, 2});
    Buffer meanPairs;
    Buffer meanTriples;
    ASSERT_EQ(IPL_StatProfile(pairs.handle(), meanPairs.slot(), 1), 1);
    ASSERT_EQ(IPL_StatProfile(triples.handle(), meanTriples.slot(), 1), 1);
    EXPECT_EQ(read_plane<int32_t>(meanPairs.handle(), 0), (std::vector<int32_t>{2, -2, 1, -1}));
    EXPECT_EQ(read_plane<int32_t>(meanTriples.handle(), 0), (std::vector<int32_t>{1, 2}));
}

// A profile of 32-bit values: the sum saturates, the mean does not.
TEST_F(StatProfile, SaturatesSumsOfThirtyTwoBitValues) {
    Buffer src(make_image(2, 2, 1, BASE_TYPE_S32));
    write_plane<int32_t>(src.handle(), 0, {kInt32Max, -kInt32Max - 1, kInt32Max, -kInt32Max - 1});
    Buffer sum;
    Buffer mean;
    ASSERT_EQ(IPL_StatProfile(src.handle(), sum.slot(), 0), 1);
    ASSERT_EQ(IPL_StatProfile(src.handle(), mean.slot(), 1), 1);
    EXPECT_EQ(read_plane<int32_t>(sum.handle(), 0),
              (std::vector<int32_t>{kInt32Max, -kInt32Max - 1}));
    EXPECT_EQ(read_plane<int32_t>(mean.handle(), 0),
              (std::vector<int32_t>{kInt32Max, -kInt32Max - 1}));
}

TEST_F(StatProfile, RefusesBadArguments) {
    Buffer src(make_image(2, 2, 1, BASE_TYPE_U8));
    Buffer empty(make_descriptor(2, 2));
    int32_t profile = -1;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_StatProfile(kNoSuchBuffer, &profile, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_StatProfile(src.handle(), nullptr, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_StatProfile(src.handle(), &profile, 2));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_StatProfile(src.handle(), &profile, -1));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_StatProfile(empty.handle(), &profile, 0));
    EXPECT_EQ(profile, -1);
}

}  // namespace
