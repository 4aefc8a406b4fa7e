// The maximum-contrast search: the step measure (ApplyFilter), the hue
// rotation (ShiftObjectHue), the strip's corners, the candidate competition
// with its tie rules, the written plane, and the checks in their order.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <initializer_list>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "analysis/max_contrast.h"
#include "test_support.h"

namespace {

using ozu_test::Buffer;
using ozu_test::make_image;
using ozu_test::read_plane;
using ozu_test::write_plane;

// ---- Helpers --------------------------------------------------------------

constexpr int32_t kWidth = 20;
constexpr int32_t kHeight = 9;
// Along the middle row, from the first column to the last: L = 20.
constexpr uint32_t kRow[4] = {0, 4, 19, 4};

struct Rgb {
    int c[3];
};

// A three-plane image whose pixels depend on x only, so that every sample of
// a strip along a row, interpolated or not, is the pixel value itself.
template <class T = uint8_t>
int32_t columns_image(const std::function<Rgb(int32_t)>& colour, int32_t space,
                      int32_t type = BASE_TYPE_U8, int32_t ext2 = 1, int32_t ext3 = 1) {
    const int32_t h = make_image(kWidth, kHeight, 3, type, ext2, ext3);
    for (int p = 0; p < 3; ++p) {
        std::vector<T> plane(size_t(kWidth) * kHeight);
        for (int32_t y = 0; y < kHeight; ++y) {
            for (int32_t x = 0; x < kWidth; ++x) plane[size_t(y) * kWidth + x] = T(colour(x).c[p]);
        }
        for (int32_t j = 0; j < ext3; ++j) {
            for (int32_t i = 0; i < ext2; ++i) write_plane<T>(h, p, plane, i, j);
        }
    }
    if (space >= 0) {
        EXPECT_EQ(IPL_BufControl(h, BASE_ATTR_COLOR_SPACE, &space), 1);
    }
    return h;
}

// Plane `plane` of the whole image converted with `code`.
std::vector<uint8_t> converted_plane(int32_t src, uint32_t code, int32_t plane) {
    Buffer converted;
    EXPECT_EQ(COL_ConvertColorSpace(src, converted.slot(), code), 1);
    return read_plane<uint8_t>(converted.handle(), plane);
}

// One line of a value per column, repeated over every row.
std::vector<uint8_t> by_column(const std::function<int(int32_t)>& value) {
    std::vector<uint8_t> v(size_t(kWidth) * kHeight);
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t x = 0; x < kWidth; ++x) v[size_t(y) * kWidth + x] = uint8_t(value(x));
    return v;
}

int32_t search(int32_t src, int32_t* dst, std::initializer_list<int32_t> candidates,
               const uint32_t* line = kRow, uint32_t lineWidth = 3, uint32_t filterSize = 3) {
    const std::vector<int32_t> list(candidates);
    return COL_GetMaxContrastPlane(src, dst, list.empty() ? nullptr : list.data(),
                                   uint32_t(list.size()), line, lineWidth, filterSize);
}

// A failed search leaves the buffers it made behind. Handles count up, so
// they are the live handles above a mark taken before the call; freeing them
// newest first frees views before the buffers they view.
class LeftBehind {
public:
    LeftBehind() : mark_(next_handle()) {}

    // Frees them all except `keep`; returns how many there were.
    int free_all_but(std::initializer_list<int32_t> keep = {}) const {
        int freed = 0;
        for (int32_t h = next_handle() - 1; h > mark_; --h) {
            if (std::find(keep.begin(), keep.end(), h) != keep.end()) continue;
            if (BASE_IsBufferExistent(h)) {
                EXPECT_EQ(IPL_BufFree(h), 1) << h;
                ++freed;
            }
        }
        return freed;
    }

private:
    static int32_t next_handle() {
        int32_t h = -1;
        EXPECT_EQ(IPL_BufAlloc(&h, 1, 1, 1, 1, 1, BASE_TYPE_U8, BASE_KIND_IMAGE, 0), 1);
        IPL_BufFree(h);
        return h;
    }
    int32_t mark_;
};

// A one-line signed 32-bit profile buffer of `planes` x ext2 x ext3 blocks,
// each block's plane filled by values(p, i, j).
int32_t profile_of(int32_t n, int32_t planes, int32_t ext2, int32_t ext3,
                   const std::function<std::vector<int32_t>(int, int, int)>& values) {
    int32_t h = -1;
    EXPECT_EQ(IPL_BufAlloc(&h, n, 1, planes, ext2, ext3, BASE_TYPE_S32, BASE_KIND_TABLE, 0), 1);
    for (int32_t j = 0; j < ext3; ++j)
        for (int32_t i = 0; i < ext2; ++i)
            for (int32_t p = 0; p < planes; ++p) write_plane<int32_t>(h, p, values(p, i, j), i, j);
    return h;
}

struct Found {
    uint32_t step = 0xBAD, plane = 0xBAD, i = 0xBAD, j = 0xBAD;
};

Found filter(int32_t profile, uint32_t filterSize) {
    Found f;
    ozu::ApplyFilter(profile, filterSize, &f.step, &f.plane, &f.i, &f.j);
    return f;
}

// ---- ApplyFilter ----------------------------------------------------------

TEST(ApplyFilter, MeasuresTheCentralDifferenceOverTwiceTheHalfSize) {
    Buffer profile(profile_of(5, 1, 1, 1, [](int, int, int) {
        return std::vector<int32_t>{0, 10, 30, 60, 100};
    }));
    // Half 1: |v[k-1] - v[k+1]| is 10, 30, 50, 70, 40 (ends repeated).
    EXPECT_EQ(filter(profile.handle(), 3).step, 70u);
    // Half 2: the largest is |v[0] - v[4]| = 100.
    EXPECT_EQ(filter(profile.handle(), 5).step, 100u);
}

TEST(ApplyFilter, RepeatsTheProfileEndsOutward) {
    // With the filter as long as the profile only k = 2 has both partners
    // inside, and there |v[0] - v[4]| = 0; the 80 is seen only at k = 0
    // (|v[0] - v[2]|) and k = 4 (|v[2] - v[4]|) with the ends repeated.
    Buffer profile(profile_of(5, 1, 1, 1, [](int, int, int) {
        return std::vector<int32_t>{0, 0, 80, 0, 0};
    }));
    EXPECT_EQ(filter(profile.handle(), 5).step, 80u);
}

TEST(ApplyFilter, ReportsTheFirstStrictMaximumInBlockThenPlaneOrder) {
    // Extent 3 outer, extent 2 inner, plane innermost: of the two blocks
    // holding the largest step, (i 1, j 0) plane 1 comes before (i 0, j 1)
    // plane 0.
    Buffer profile(profile_of(4, 2, 2, 2, [](int p, int i, int j) {
        const bool top = (p == 1 && i == 1 && j == 0) || (p == 0 && i == 0 && j == 1);
        return top ? std::vector<int32_t>{0, 0, 50, 50} : std::vector<int32_t>{0, 0, 49, 49};
    }));
    const Found f = filter(profile.handle(), 3);
    EXPECT_EQ(f.step, 50u);
    EXPECT_EQ(f.plane, 1u);
    EXPECT_EQ(f.i, 1u);
    EXPECT_EQ(f.j, 0u);
}

TEST(ApplyFilter, AFlatProfileReportsZeroPlaneZeroAndBlockZero) {
    Buffer profile(profile_of(6, 3, 2, 2, [](int p, int i, int j) {
        return std::vector<int32_t>(6, 100 * p + 10 * i + j);
    }));
    const Found f = filter(profile.handle(), 3);
    EXPECT_EQ(f.step, 0u);
    EXPECT_EQ(f.plane, 0u);
    EXPECT_EQ(f.i, 0u);
    EXPECT_EQ(f.j, 0u);
}

TEST(ApplyFilter, TakesTheDifferenceInWrapAroundArithmeticAndComparesUnsigned) {
    // INT32_MAX - (-1) wraps to INT32_MIN, whose magnitude read unsigned is
    // 2^31: larger than INT32_MAX itself. INT32_MAX - INT32_MIN wraps to -1.
    Buffer profile(profile_of(3, 1, 1, 1, [](int, int, int) {
        return std::vector<int32_t>{INT32_MAX, 0, -1};
    }));
    EXPECT_EQ(filter(profile.handle(), 3).step, 2147483648u);
    Buffer extremes(profile_of(3, 1, 1, 1, [](int, int, int) {
        return std::vector<int32_t>{INT32_MAX, INT32_MIN, INT32_MIN};
    }));
    // k 0: |MAX - MIN| -> 1; k 1: |MAX - MIN| -> 1; k 2: 0. The 2^31 - 1 a
    // wider subtraction would give never appears.
    EXPECT_EQ(filter(extremes.handle(), 3).step, 1u);
}

TEST(ApplyFilter, RefusesAProfileNotOfSigned32BitPixelsBeforeTouchingItsOutputs) {
    Buffer image(make_image(5, 1, 1, BASE_TYPE_U8));
    Found f;
    IPL_SetErrorCode(0);
    EXPECT_THROW(ozu::ApplyFilter(image.handle(), 3, &f.step, &f.plane, &f.i, &f.j), int);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_PIXEL_TYPE);
    EXPECT_EQ(f.step, 0xBADu);
    EXPECT_EQ(f.plane, 0xBADu);
}

// ---- ShiftObjectHue -------------------------------------------------------

int32_t hue_image(const std::vector<std::pair<int, int>>& valueCounts) {
    std::vector<uint8_t> values;
    for (auto [v, n] : valueCounts) values.insert(values.end(), size_t(n), uint8_t(v));
    const int32_t h = make_image(int32_t(values.size()), 1, 1, BASE_TYPE_U8);
    write_plane<uint8_t>(h, 0, values);
    return h;
}

TEST(ShiftObjectHue, MovesTheBestThresholdTo128AndWrapsAbove255) {
    // Threshold 10 ({10} against {50, 255}): shift 118; 255 + 118 wraps to 117.
    Buffer hue(hue_image({{10, 1000}, {50, 1000}, {255, 1}}));
    int32_t result = hue.handle();
    int32_t shift = 0;
    EXPECT_EQ(ozu::ShiftObjectHue(hue.handle(), &result, &shift), 1);
    EXPECT_EQ(result, hue.handle());
    EXPECT_EQ(shift, 118);
    const std::vector<uint8_t> out = read_plane<uint8_t>(hue.handle(), 0);
    EXPECT_EQ(out[0], 128);
    EXPECT_EQ(out[1000], 168);
    EXPECT_EQ(out[2000], 117);
}

TEST(ShiftObjectHue, WrapsBelowZero) {
    // Threshold 200 ({0, 200} against {240}): shift -72; 0 - 72 wraps to 184.
    Buffer hue(hue_image({{0, 1}, {200, 1000}, {240, 1000}}));
    int32_t result = hue.handle();
    int32_t shift = 0;
    EXPECT_EQ(ozu::ShiftObjectHue(hue.handle(), &result, &shift), 1);
    EXPECT_EQ(shift, -72);
    const std::vector<uint8_t> out = read_plane<uint8_t>(hue.handle(), 0);
    EXPECT_EQ(out[0], 184);
    EXPECT_EQ(out[1], 128);
    EXPECT_EQ(out[1001], 168);
}

TEST(ShiftObjectHue, BringsAnObjectStraddlingZeroTogether) {
    // An object of hues 250 and 6 on a background of 128: {6} against
    // {128, 250} and {6, 128} against {250} separate equally well, the lower
    // threshold 6 is taken; the object becomes 116 and 128, the background
    // 250.
    Buffer hue(hue_image({{250, 30}, {6, 30}, {128, 60}}));
    Buffer result;
    int32_t shift = 0;
    EXPECT_EQ(ozu::ShiftObjectHue(hue.handle(), result.slot(), &shift), 1);
    EXPECT_EQ(shift, 122);
    const std::vector<uint8_t> out = read_plane<uint8_t>(result.handle(), 0);
    EXPECT_EQ(out[0], 116);
    EXPECT_EQ(out[30], 128);
    EXPECT_EQ(out[60], 250);
}

TEST(ShiftObjectHue, CreatesAResultWhenAskedAndTakesANullShiftPointer) {
    Buffer hue(hue_image({{20, 5}, {90, 5}}));
    Buffer result;
    EXPECT_EQ(ozu::ShiftObjectHue(hue.handle(), result.slot(), nullptr), 1);
    ASSERT_NE(result.handle(), -1);
    const std::vector<uint8_t> out = read_plane<uint8_t>(result.handle(), 0);
    EXPECT_EQ(out[0], 128);  // threshold 20, shift 108
    EXPECT_EQ(out[5], 198);
    EXPECT_EQ(read_plane<uint8_t>(hue.handle(), 0)[0], 20);  // the input is kept
}

TEST(ShiftObjectHue, FailsOnASixteenBitPlaneWithTheHostCode) {
    Buffer hue(make_image(4, 1, 1, BASE_TYPE_U16));
    LeftBehind left;
    int32_t result = hue.handle();
    IPL_SetErrorCode(0);
    EXPECT_THROW(ozu::ShiftObjectHue(hue.handle(), &result, nullptr), int);
    EXPECT_EQ(IPL_GetErrorCode2(), BASE_ERR_PIXEL_TYPE);
    EXPECT_EQ(left.free_all_but(), 1);  // the table is left behind
}

TEST(RotateHue, TurnsOnceAroundTheCircle) {
    EXPECT_EQ(ozu::rotate_hue(250, 10), 4);
    EXPECT_EQ(ozu::rotate_hue(5, -10), 251);
    EXPECT_EQ(ozu::rotate_hue(0, 0), 0);
    EXPECT_EQ(ozu::rotate_hue(255, 1), 0);
    EXPECT_EQ(ozu::rotate_hue(0, -1), 255);
    EXPECT_EQ(ozu::rotate_hue(100, 128), 228);
}

// ---- Strip corners --------------------------------------------------------

TEST(StripInside, RoundsCornersByAddingHalfAndTruncatingTowardZero) {
    // Along row 0 of a 20 x 9 image (L 20): width 3 moves the corners by
    // 19 / 20 = 0.95 rows, to -0.95 + 0.5 = -0.45, truncated to 0: inside.
    // Width 5 moves them 1.9 rows, to -1.4, truncated to -1: outside.
    EXPECT_TRUE(ozu::strip_inside(0, 0, 19, 0, 3, 20, 20, 9));
    EXPECT_FALSE(ozu::strip_inside(0, 0, 19, 0, 5, 20, 20, 9));
    EXPECT_TRUE(ozu::strip_inside(0, 1, 19, 1, 5, 20, 20, 9));
    // The last row: 8 + 0.95 + 0.5 = 9.45 -> 9, outside.
    EXPECT_FALSE(ozu::strip_inside(0, 8, 19, 8, 3, 20, 20, 9));
    EXPECT_TRUE(ozu::strip_inside(0, 7, 19, 7, 3, 20, 20, 9));
    // Width 1: the end points themselves.
    EXPECT_TRUE(ozu::strip_inside(0, 8, 19, 8, 1, 20, 20, 9));
}

TEST(StripInside, MovesAcrossTheLineForAnyDirection) {
    // A vertical line moves the corners along x, by (y1 - y0) x h / L.
    EXPECT_FALSE(ozu::strip_inside(0, 0, 0, 8, 5, 9, 20, 9));   // 8 x 2 / 9 = 1.78
    EXPECT_TRUE(ozu::strip_inside(2, 0, 2, 8, 5, 9, 20, 9));
    EXPECT_FALSE(ozu::strip_inside(19, 8, 19, 0, 3, 9, 20, 9));  // 19 + 0.89 -> 20
    // A diagonal: both coordinates move.
    EXPECT_TRUE(ozu::strip_inside(2, 2, 6, 6, 3, 5, 20, 9));
    EXPECT_FALSE(ozu::strip_inside(0, 2, 4, 6, 5, 5, 20, 9));  // x0 - 1.6 -> -1
}

// ---- The search -----------------------------------------------------------

TEST(GetMaxContrastPlane, WithoutCandidatesCopiesTheSourcePlaneWithTheEdge) {
    Buffer src(columns_image([](int32_t x) { return Rgb{{50, 50, x < 10 ? 20 : 200}}; },
                             COL_RGB));
    Buffer dst;
    ASSERT_EQ(search(src.handle(), dst.slot(), {}), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0),
              by_column([](int32_t x) { return x < 10 ? 20 : 200; }));
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_PLANES), 1);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_TYPE), BASE_TYPE_U8);
}

TEST(GetMaxContrastPlane, CopiesSixteenBitPlanesAsTheyAre) {
    Buffer src(columns_image<uint16_t>(
        [](int32_t x) { return Rgb{{x < 7 ? 1000 : 60000, 7, 7}}; }, COL_RGB, BASE_TYPE_U16));
    Buffer dst;
    ASSERT_EQ(search(src.handle(), dst.slot(), {}), 1);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_TYPE), BASE_TYPE_U16);
    const std::vector<uint16_t> out = read_plane<uint16_t>(dst.handle(), 0);
    EXPECT_EQ(out[6], 1000);
    EXPECT_EQ(out[7], 60000);
}

TEST(GetMaxContrastPlane, AUniformImageCopiesPlaneZeroOfBlockZero) {
    Buffer src(make_image(kWidth, kHeight, 3, BASE_TYPE_U8, 2, 2));
    for (int32_t j = 0; j < 2; ++j)
        for (int32_t i = 0; i < 2; ++i)
            for (int p = 0; p < 3; ++p)
                write_plane<uint8_t>(src.handle(), p,
                                     by_column([&](int32_t) { return 7 + 50 * p + 20 * i + 10 * j; }),
                                     i, j);
    int32_t space = COL_RGB;
    ASSERT_EQ(IPL_BufControl(src.handle(), BASE_ATTR_COLOR_SPACE, &space), 1);
    Buffer dst;
    ASSERT_EQ(search(src.handle(), dst.slot(), {COL_CODE(COL_RGB, COL_CMY)}), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), by_column([](int32_t) { return 7; }));
}

TEST(GetMaxContrastPlane, WritesOutTheBlockThatHoldsTheEdge) {
    Buffer src(make_image(kWidth, kHeight, 3, BASE_TYPE_U8, 3, 1));
    for (int32_t i = 0; i < 3; ++i)
        for (int p = 0; p < 3; ++p)
            write_plane<uint8_t>(src.handle(), p, by_column([&](int32_t x) {
                                     return (i == 2 && p == 1 && x >= 12) ? 90 : 30;
                                 }),
                                 i, 0);
    int32_t space = COL_RGB;
    ASSERT_EQ(IPL_BufControl(src.handle(), BASE_ATTR_COLOR_SPACE, &space), 1);
    Buffer dst;
    ASSERT_EQ(search(src.handle(), dst.slot(), {}), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0),
              by_column([](int32_t x) { return x >= 12 ? 90 : 30; }));
}

TEST(GetMaxContrastPlane, FindsTheOneCandidatePlaneWithTheStrongestEdge) {
    // Dull red beside dark red: in RGB, G and B step by 20; in HSV the hue
    // (0) and the value (40) are flat and only the saturation steps, from
    // about half to full. That plane of the whole image is written out.
    Buffer src(columns_image(
        [](int32_t x) { return x < 10 ? Rgb{{40, 20, 20}} : Rgb{{40, 0, 0}}; }, COL_RGB));
    const uint32_t toHsv = COL_CODE(COL_RGB, COL_HSV);
    EXPECT_EQ(converted_plane(src.handle(), toHsv, 0), by_column([](int32_t) { return 0; }));
    EXPECT_EQ(converted_plane(src.handle(), toHsv, 2), by_column([](int32_t) { return 40; }));
    const std::vector<uint8_t> saturation = converted_plane(src.handle(), toHsv, 1);
    ASSERT_EQ(saturation[19], 255);
    ASSERT_LT(saturation[0], 130);

    Buffer dst;
    ASSERT_EQ(search(src.handle(), dst.slot(),
                     {COL_CODE(COL_RGB, COL_YUV), int32_t(toHsv), COL_CODE(COL_RGB, COL_CMY)}),
              1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), saturation);
}

// The two-class threshold of a histogram as the host defines it: the t
// maximising (N S0 - n0 S)^2 / (n0 (N - n0)), the smallest on ties, compared
// exactly by cross-multiplying.
int model_threshold(const std::map<int, int64_t>& bins) {
    int64_t n = 0, sum = 0;
    for (auto [v, c] : bins) n += c, sum += c * v;
    int best = -1;
    int64_t bestNum = 0, bestDen = 1;
    int64_t n0 = 0, s0 = 0;
    for (auto [v, c] : bins) {
        n0 += c;
        s0 += c * v;
        if (n0 == n) break;
        const int64_t diff = n * s0 - n0 * sum;
        const int64_t num = diff * diff, den = n0 * (n - n0);
        if (best < 0 || num * bestDen > bestNum * den) best = v, bestNum = num, bestDen = den;
    }
    return best;
}

TEST(GetMaxContrastPlane, RotatesAWinningHsvHuePlaneWhoseObjectStraddlesZero) {
    // A dim object of two reds, one just below hue 0 (x < 5) and one just
    // above (x 5..9), on a dim blue background (hue 170). RGB and the other
    // HSV planes barely step; the hue plane wins. Unrotated, the object
    // would carry an edge of its own, from about 244 to about 10.
    Buffer src(columns_image(
        [](int32_t x) {
            if (x < 5) return Rgb{{40, 36, 37}};
            if (x < 10) return Rgb{{40, 37, 36}};
            return Rgb{{36, 36, 40}};
        },
        COL_RGB));
    const std::vector<uint8_t> hue = converted_plane(src.handle(), COL_CODE(COL_RGB, COL_HSV), 0);
    const int below = hue[0], above = hue[5], background = hue[10];
    ASSERT_GT(below, 200);
    ASSERT_LT(above, 30);
    ASSERT_GT(background, 150);
    ASSERT_LT(background, 190);

    // The strip holds each column three times; the background lies nearer to
    // the upper object hue, so the threshold separates the lower one.
    const int t = model_threshold({{above, 15}, {background, 30}, {below, 15}});
    ASSERT_EQ(t, above);
    const int shift = 128 - t;
    Buffer dst;
    ASSERT_EQ(search(src.handle(), dst.slot(), {COL_CODE(COL_RGB, COL_HSV)}), 1);
    const std::vector<uint8_t> out = read_plane<uint8_t>(dst.handle(), 0);
    EXPECT_EQ(out, by_column([&](int32_t x) { return ozu::rotate_hue(hue[x], shift); }));
    EXPECT_EQ(out[5], 128);
    EXPECT_EQ(out[0], below + shift - 256);
    EXPECT_EQ(out[10], background + shift - 256);
    // The object's two hues now lie side by side, away from the wrap.
    EXPECT_LT(std::abs(int(out[0]) - int(out[5])), 30);
}

TEST(GetMaxContrastPlane, OnATieTheEarlierCandidateWins) {
    // An HSV source whose hue steps from 0 (red) to 43 (yellow): in RGB the
    // green plane steps by about 255, in CMY the magenta plane by the same.
    const auto colour = [](int32_t x) { return Rgb{{x < 10 ? 0 : 43, 255, 255}}; };
    Buffer src(columns_image(colour, COL_HSV));
    const uint32_t toRgb = COL_CODE(COL_HSV, COL_RGB);
    const uint32_t toCmy = COL_CODE(COL_HSV, COL_CMY);
    const std::vector<uint8_t> green = converted_plane(src.handle(), toRgb, 1);
    const std::vector<uint8_t> magenta = converted_plane(src.handle(), toCmy, 1);
    ASSERT_EQ(std::abs(int(green[0]) - int(green[19])), std::abs(int(magenta[0]) - int(magenta[19])));
    ASSERT_NE(green, magenta);

    Buffer first;
    ASSERT_EQ(search(src.handle(), first.slot(), {int32_t(toRgb), int32_t(toCmy)}), 1);
    EXPECT_EQ(read_plane<uint8_t>(first.handle(), 0), green);
    Buffer second;
    ASSERT_EQ(search(src.handle(), second.slot(), {int32_t(toCmy), int32_t(toRgb)}), 1);
    EXPECT_EQ(read_plane<uint8_t>(second.handle(), 0), magenta);
}

TEST(GetMaxContrastPlane, OnATieTheUnconvertedSourceWins) {
    // Red steps by 200; cyan (255 - red) by the same 200.
    Buffer src(columns_image([](int32_t x) { return Rgb{{x < 10 ? 0 : 200, 0, 0}}; }, COL_RGB));
    const std::vector<uint8_t> cyan = converted_plane(src.handle(), COL_CODE(COL_RGB, COL_CMY), 0);
    ASSERT_EQ(cyan[0], 255);
    ASSERT_EQ(cyan[19], 55);
    Buffer dst;
    ASSERT_EQ(search(src.handle(), dst.slot(), {COL_CODE(COL_RGB, COL_CMY)}), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0),
              by_column([](int32_t x) { return x < 10 ? 0 : 200; }));
}

TEST(GetMaxContrastPlane, AWinningHuePlaneOfTheSourceGoesThroughAnUnshiftedTable) {
    // The source's own hue plane is not rotated for measuring; written out it
    // passes a table with shift 0, which leaves it as it is.
    Buffer src(columns_image([](int32_t x) { return Rgb{{x < 10 ? 250 : 10, 100, 100}}; },
                             COL_HSV));
    Buffer dst;
    ASSERT_EQ(search(src.handle(), dst.slot(), {}), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0),
              by_column([](int32_t x) { return x < 10 ? 250 : 10; }));
}

TEST(GetMaxContrastPlane, ASixteenBitHuePlaneFailsInTheEightBitTable) {
    // The same path on 16 bits: the 256-entry table does not fit the plane.
    Buffer src(columns_image<uint16_t>([](int32_t x) { return Rgb{{x < 10 ? 9 : 900, 5, 5}}; },
                                       COL_HSV, BASE_TYPE_U16));
    Buffer dst(make_image(kWidth, kHeight, 1, BASE_TYPE_U16));
    LeftBehind left;
    int32_t h = dst.handle();
    EXPECT_COL_ERROR(BASE_ERR_PIXEL_TYPE, search(src.handle(), &h, {}));
    EXPECT_EQ(left.free_all_but(), 2);  // the view of the source and the table
}

TEST(GetMaxContrastPlane, ASixteenBitHsvCandidateFailsInTheHueRotation) {
    Buffer src(columns_image<uint16_t>([](int32_t x) { return Rgb{{x < 10 ? 9 : 900, 5, 5}}; },
                                       COL_RGB, BASE_TYPE_U16));
    Buffer dst(make_image(kWidth, kHeight, 1, BASE_TYPE_U16));
    LeftBehind left;
    int32_t h = dst.handle();
    EXPECT_COL_ERROR(BASE_ERR_PIXEL_TYPE, search(src.handle(), &h, {COL_CODE(COL_RGB, COL_HSV)}));
    // Strip, profile, converted strip, its hue view and the table.
    EXPECT_EQ(left.free_all_but(), 5);
}

TEST(GetMaxContrastPlane, AWinningSourceWithoutAColourSpaceFailsAtItsInquiry) {
    Buffer src(columns_image([](int32_t x) { return Rgb{{x < 10 ? 0 : 99, 0, 0}}; }, -1));
    Buffer dst;
    LeftBehind left;
    EXPECT_COL_ERROR(BASE_ERR_ATTRIBUTE, search(src.handle(), dst.slot(), {}));
    // The destination made on request is kept; the view of the source is
    // left behind, and holds the source until it is freed.
    ASSERT_NE(dst.handle(), -1);
    EXPECT_EQ(BASE_IsBufferExistent(dst.handle()), 1);
    EXPECT_EQ(IPL_BufFree(src.handle()), 0);
    EXPECT_EQ(left.free_all_but({dst.handle()}), 1);
}

TEST(GetMaxContrastPlane, ASuccessLeavesNoBufferBehind) {
    Buffer src(columns_image(
        [](int32_t x) { return x < 10 ? Rgb{{40, 40, 40}} : Rgb{{40, 0, 0}}; }, COL_RGB, BASE_TYPE_U8,
        2, 2));
    Buffer dst(make_image(kWidth, kHeight, 1, BASE_TYPE_U8));
    const int32_t before = BASE_BufferCount();
    int32_t h = dst.handle();
    ASSERT_EQ(search(src.handle(), &h,
                     {COL_CODE(COL_RGB, COL_HLS), COL_CODE(COL_RGB, COL_HSV),
                      COL_CODE(COL_RGB, COL_YIQ)}),
              1);
    EXPECT_EQ(BASE_BufferCount(), before);
}

TEST(GetMaxContrastPlane, PassesACandidateConversionFailureOn) {
    Buffer src(columns_image([](int32_t x) { return Rgb{{x, x, x}}; }, COL_RGB));
    Buffer dst;
    LeftBehind left;
    EXPECT_COL_ERROR(COL_ERR_COLOR_SPACE,
                     search(src.handle(), dst.slot(), {COL_CODE(COL_RGB, COL_RGB)}));
    EXPECT_EQ(left.free_all_but({dst.handle()}), 2);  // strip and profile
}

// ---- Arguments ------------------------------------------------------------

TEST(GetMaxContrastPlaneArguments, AcceptsAFilterAsLongAsTheProfile) {
    Buffer src(columns_image([](int32_t x) { return Rgb{{x < 9 ? 0 : 50, 0, 0}}; }, COL_RGB));
    Buffer dst;
    const uint32_t line[4] = {0, 4, 18, 4};  // L = 19
    EXPECT_EQ(search(src.handle(), dst.slot(), {}, line, 3, 19), 1);
    EXPECT_COL_ERROR(COL_ERR_PROFILE_ARGS, search(src.handle(), dst.slot(), {}, line, 3, 21));
}

TEST(GetMaxContrastPlaneArguments, RefusesAFilterOfOneOrOfAnEvenSize) {
    Buffer src(columns_image([](int32_t x) { return Rgb{{x, 0, 0}}; }, COL_RGB));
    Buffer dst;
    for (uint32_t size : {0u, 1u, 2u, 4u, 18u, 20u}) {
        SCOPED_TRACE(size);
        EXPECT_COL_ERROR(COL_ERR_PROFILE_ARGS, search(src.handle(), dst.slot(), {}, kRow, 3, size));
    }
    EXPECT_EQ(search(src.handle(), dst.slot(), {}, kRow, 3, 3), 1);
}

TEST(GetMaxContrastPlaneArguments, RefusesAFilterLongerThanAShortProfile) {
    Buffer src(columns_image([](int32_t x) { return Rgb{{x, 0, 0}}; }, COL_RGB));
    Buffer dst;
    const uint32_t twoPixels[4] = {3, 3, 4, 4};  // L = 2
    EXPECT_COL_ERROR(COL_ERR_PROFILE_ARGS, search(src.handle(), dst.slot(), {}, twoPixels, 1, 3));
}

TEST(GetMaxContrastPlaneArguments, RefusesAnEvenOrZeroLineWidth) {
    Buffer src(columns_image([](int32_t x) { return Rgb{{x, 0, 0}}; }, COL_RGB));
    Buffer dst;
    for (uint32_t width : {0u, 2u, 4u}) {
        SCOPED_TRACE(width);
        EXPECT_COL_ERROR(COL_ERR_PROFILE_ARGS, search(src.handle(), dst.slot(), {}, kRow, width));
    }
    EXPECT_EQ(search(src.handle(), dst.slot(), {}, kRow, 1), 1);
}

TEST(GetMaxContrastPlaneArguments, RefusesAStripReachingPastTheBorder) {
    Buffer src(columns_image([](int32_t x) { return Rgb{{x, 0, 0}}; }, COL_RGB));
    Buffer dst;
    const uint32_t topRow[4] = {0, 0, 19, 0};
    const uint32_t bottomRow[4] = {0, 8, 19, 8};
    EXPECT_COL_ERROR(COL_ERR_PROFILE_ARGS, search(src.handle(), dst.slot(), {}, topRow, 5));
    EXPECT_COL_ERROR(COL_ERR_PROFILE_ARGS, search(src.handle(), dst.slot(), {}, bottomRow, 3));
    // Within half a pixel above the image still counts as inside.
    EXPECT_EQ(search(src.handle(), dst.slot(), {}, topRow, 3), 1);
    EXPECT_EQ(search(src.handle(), dst.slot(), {}, bottomRow, 1), 1);
}

TEST(GetMaxContrastPlaneArguments, RefusesEndPointsOutsideTheImageOrEqual) {
    Buffer src(columns_image([](int32_t x) { return Rgb{{x, 0, 0}}; }, COL_RGB));
    Buffer dst;
    const uint32_t lines[][4] = {{20, 4, 0, 4},  {0, 4, 20, 4},          {0, 9, 19, 4},
                                 {0, 4, 19, 9},  {0xFFFFFFFFu, 4, 0, 4}, {5, 5, 5, 5}};
    for (const auto& line : lines) {
        SCOPED_TRACE(line[0]);
        EXPECT_COL_ERROR(COL_ERR_PROFILE_ARGS, search(src.handle(), dst.slot(), {}, line));
    }
    const uint32_t vertical[4] = {5, 0, 5, 8};  // same x, different y: a line
    EXPECT_EQ(search(src.handle(), dst.slot(), {}, vertical, 1), 1);
}

// ---- Checks, in order -----------------------------------------------------

TEST(GetMaxContrastPlaneChecks, RefusesAMissingSource) {
    int32_t dst = -1;
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER, search(987654, &dst, {}));
    EXPECT_EQ(dst, -1);
}

TEST(GetMaxContrastPlaneChecks, AcceptsOnlySourcesOfKindOneBeforeLookingAtTheLine) {
    const uint32_t outside[4] = {100, 100, 200, 200};
    for (int32_t kind : {2, 14, 15}) {
        Buffer src(make_image(kWidth, kHeight, 3, BASE_TYPE_U8, 1, 1, kind));
        int32_t dst = -1;
        EXPECT_COL_ERROR(COL_ERR_BUFFER_KIND, search(src.handle(), &dst, {}, outside));
        EXPECT_EQ(dst, -1);
    }
}

TEST(GetMaxContrastPlaneChecks, JudgesTheLineBeforeCreatingOrCheckingTheDestination) {
    Buffer src(columns_image([](int32_t x) { return Rgb{{x, 0, 0}}; }, COL_RGB));
    const int32_t before = BASE_BufferCount();
    int32_t dst = -1;
    EXPECT_COL_ERROR(COL_ERR_PROFILE_ARGS, search(src.handle(), &dst, {}, kRow, 3, 4));
    EXPECT_EQ(dst, -1);
    EXPECT_EQ(BASE_BufferCount(), before);
    Buffer threePlanes(make_image(kWidth, kHeight, 3, BASE_TYPE_U8));
    int32_t h = threePlanes.handle();
    EXPECT_COL_ERROR(COL_ERR_PROFILE_ARGS, search(src.handle(), &h, {}, kRow, 2));
}

TEST(GetMaxContrastPlaneChecks, CreatesAOnePlaneDestinationOfTheSourceTypeAndSize) {
    Buffer src(columns_image<int16_t>([](int32_t x) { return Rgb{{x, 0, 0}}; }, COL_RGB,
                                      BASE_TYPE_S16, 2, 3));
    Buffer dst;
    ASSERT_EQ(search(src.handle(), dst.slot(), {}), 1);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_WIDTH), kWidth);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_HEIGHT), kHeight);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_PLANES), 1);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_EXT2), 1);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_EXT3), 1);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_TYPE), BASE_TYPE_S16);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_KIND), BASE_KIND_IMAGE);
}

TEST(GetMaxContrastPlaneChecks, ChecksTheDestinationInOrder) {
    Buffer src(columns_image([](int32_t x) { return Rgb{{x, 0, 0}}; }, COL_RGB));
    const auto code_for = [&](int32_t h) {
        IPL_SetErrorCode(0);
        EXPECT_EQ(search(src.handle(), &h, {}), 0);
        return IPL_GetErrorCode2();
    };
    EXPECT_EQ(code_for(987654), COL_ERR_NO_BUFFER);
    {
        Buffer dst(make_image(1, 1, 3, BASE_TYPE_S16, 1, 1, BASE_KIND_TABLE));
        EXPECT_EQ(code_for(dst.handle()), COL_ERR_BUFFER_KIND);
    }
    {
        Buffer dst(make_image(1, 1, 3, BASE_TYPE_S16));
        EXPECT_EQ(code_for(dst.handle()), COL_ERR_PLANES);
    }
    {
        // Another type of the same width is refused as well.
        Buffer dst(make_image(1, 1, 1, BASE_TYPE_S8));
        EXPECT_EQ(code_for(dst.handle()), COL_ERR_PIXEL_TYPE);
    }
    {
        Buffer dst(make_image(kWidth + 1, 1, 1, BASE_TYPE_U8));
        EXPECT_EQ(code_for(dst.handle()), COL_ERR_WIDTH);
    }
    {
        Buffer dst(make_image(kWidth, kHeight + 1, 1, BASE_TYPE_U8));
        EXPECT_EQ(code_for(dst.handle()), COL_ERR_HEIGHT);
    }
}

}  // namespace
