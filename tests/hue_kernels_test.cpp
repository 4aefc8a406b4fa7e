// The hue line kernels: subRGB2HLS, subRGB2HSV, subHLS2RGB and subHSV2RGB.
#include "convert/hue_kernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "frame/pixel_types.h"
#include "test_support.h"

using namespace ozu;
using ozu_test::Line3;

namespace {

template <class T>
Line3<T> pixels(std::initializer_list<std::array<int64_t, 3>> list) {
    std::vector<T> p[3];
    for (const auto& px : list)
        for (int i = 0; i < 3; ++i) p[i].push_back(static_cast<T>(px[i]));
    return Line3<T>(p[0], p[1], p[2]);
}

}  // namespace

// ---- RGB -> HLS -----------------------------------------------------------

TEST(SubRGB2HLS, ConvertsEightBitPrimariesAndGreyThroughTheTables) {
    auto src = pixels<uint8_t>({{255, 0, 0}, {0, 255, 0}, {100, 100, 100}});
    Line3<uint8_t> dst(3, 7);
    EXPECT_TRUE((subRGB2HLS<uint8_t, uint8_t>(src.in(), dst.out(), 3, 255, 255)));
    // Red: H 0, L 127, S 255. Green: H = trunc(120 / 360 * 255) = 85. Grey:
    // H 0, L 100, S 0.
    ozu_test::expect_planes(dst, {{0, 85, 0}, {127, 127, 100}, {255, 255, 0}});
}

TEST(SubRGB2HLS, PlacesEightBitSecondariesOnTheHueCircle) {
    // Yellow 60 degrees -> 42, cyan 180 -> 127, magenta 300 -> 212, blue 240
    // -> 170. R and G tie for the maximum of (200, 200, 100): R wins, h = 60.
    auto src = pixels<uint8_t>({{255, 255, 0}, {0, 255, 255}, {255, 0, 255}, {0, 0, 255}, {200, 200, 100}});
    Line3<uint8_t> dst(5);
    EXPECT_TRUE((subRGB2HLS<uint8_t, uint8_t>(src.in(), dst.out(), 5, 255, 255)));
    ozu_test::expect_planes(dst, {{42, 127, 212, 170, 42}, {127, 127, 127, 127, 150}, {255, 255, 255, 255, 121}});
}

TEST(SubRGB2HLS, ComputesSixteenBitLinesWithEqualRanges) {
    // L = (max + min) >> 1; S = d / den x 65535 with den = max + min in the
    // dark half; (40000, 20000, 10000): h = 20 degrees -> 3640,
    // L = 25000, S = 30000 / 50000 -> 39321.
    auto src = pixels<uint16_t>({{65535, 0, 0}, {0, 0, 65535}, {30000, 30000, 30000}, {40000, 20000, 10000}});
    Line3<uint16_t> dst(4, 7);
    EXPECT_TRUE((subRGB2HLS<uint16_t, uint16_t>(src.in(), dst.out(), 4, 65535, 65535)));
    ozu_test::expect_planes(dst, {{0, 43690, 0, 3640}, {32767, 32767, 30000, 25000}, {65535, 65535, 0, 39321}});
}

TEST(SubRGB2HLS, SaturatesASaturationDividedByZero) {
    // Signed (5, -5, -5): max + min = 0 is the denominator in the dark half,
    // so S = +inf, converted as the largest 32-bit value and stored by its
    // low byte (-1).
    auto src = pixels<int8_t>({{5, -5, -5}});
    Line3<int8_t> dst(1, 7);
    EXPECT_TRUE((subRGB2HLS<int8_t, int8_t>(src.in(), dst.out(), 1, 127, 127)));
    ozu_test::expect_planes(dst, {{0}, {0}, {-1}});
}

TEST(SubRGB2HLS, WorksOnNormalisedValuesForUnequalRanges) {
    // 8-bit values into 16-bit results: r, g, b = v / 255.
    auto src = pixels<int32_t>({{255, 0, 0}, {0, 255, 0}, {200, 100, 50}, {100, 100, 100}});
    Line3<int32_t> dst(4, 7);
    EXPECT_TRUE((subRGB2HLS<int32_t, int32_t>(src.in(), dst.out(), 4, 255, 65535)));
    ozu_test::expect_planes(dst, {{0, 21845, 3640, 0}, {32767, 32767, 32125, 25700}, {65535, 65535, 39321, 0}});
}

TEST(SubRGB2HLS, ConvertsALineInPlace) {
    auto line = pixels<int32_t>({{65535, 0, 0}, {40000, 20000, 10000}});
    EXPECT_TRUE((subRGB2HLS<int32_t, int32_t>(line.in(), line.out(), 2, 65535, 65535)));
    ozu_test::expect_planes(line, {{0, 3640}, {32767, 25000}, {65535, 39321}});
}

// ---- RGB -> HSV -----------------------------------------------------------

TEST(SubRGB2HSV, ConvertsEightBitRedBlueAndGreyOnItsOwnHueScale) {
    auto src = pixels<uint8_t>({{255, 0, 0}, {0, 0, 255}, {100, 100, 100}});
    Line3<uint8_t> dst(3, 7);
    EXPECT_TRUE((subRGB2HSV<uint8_t, uint8_t>(src.in(), dst.out(), 3, 255, 255)));
    // Pure blue is 169 here (170 in the computed paths); grey falls into the
    // last case with d = 0 and gets H 44.
    ozu_test::expect_planes(dst, {{0, 169, 44}, {255, 255, 0}, {255, 255, 100}});
}

TEST(SubRGB2HSV, ComputesSixteenBitLinesWithEqualRanges) {
    auto src = pixels<uint16_t>({{65535, 0, 0}, {0, 0, 65535}, {40000, 20000, 10000}, {0, 0, 0}});
    Line3<uint16_t> dst(4, 7);
    EXPECT_TRUE((subRGB2HSV<uint16_t, uint16_t>(src.in(), dst.out(), 4, 65535, 65535)));
    // (40000, 20000, 10000): S = 30000 / 40000 x 65535 = 49151.25 -> 49151.
    ozu_test::expect_planes(dst, {{0, 43690, 3640, 0}, {65535, 65535, 49151, 0}, {65535, 65535, 40000, 0}});
}

TEST(SubRGB2HSV, WritesHueZeroForGreyWithEqualRanges) {
    // max > 0 and d = 0: the hue would be 0 / 0.
    auto src8 = pixels<int8_t>({{50, 50, 50}, {-5, -5, -5}});
    Line3<int8_t> dst8(2, 7);
    EXPECT_TRUE((subRGB2HSV<int8_t, int8_t>(src8.in(), dst8.out(), 2, 127, 127)));
    ozu_test::expect_planes(dst8, {{0, 0}, {0, 0}, {50, -5}});

    auto src16 = pixels<uint16_t>({{30000, 30000, 30000}});
    Line3<uint16_t> dst16(1, 7);
    EXPECT_TRUE((subRGB2HSV<uint16_t, uint16_t>(src16.in(), dst16.out(), 1, 65535, 65535)));
    ozu_test::expect_planes(dst16, {{0}, {0}, {30000}});
}

TEST(SubRGB2HSV, WritesHueZeroForGreyInThirtyTwoBitLines) {
    // The 32-bit working lines give grey the same hue 0 as the image types.
    auto src = pixels<int32_t>({{30000, 30000, 30000}, {65535, 65535, 65535}});
    Line3<int32_t> dst(2, 7);
    EXPECT_TRUE((subRGB2HSV<int32_t, int32_t>(src.in(), dst.out(), 2, 65535, 65535)));
    ozu_test::expect_planes(dst, {{0, 0}, {0, 0}, {30000, 65535}});

    Line3<int32_t> scaled(2, 7);
    EXPECT_TRUE((subRGB2HSV<int32_t, int32_t>(src.in(), scaled.out(), 1, 255, 65535)));
    EXPECT_EQ(scaled.plane[0][0], 0);
    EXPECT_EQ(scaled.plane[1][0], 0);
    EXPECT_EQ(scaled.plane[2][0], 7710000);  // 30000 / 255 x 65535, truncated
}

TEST(SubRGB2HSV, WorksOnNormalisedValuesForUnequalRanges) {
    auto src = pixels<int32_t>({{255, 0, 0}, {0, 255, 0}, {200, 100, 50}, {100, 100, 100}, {0, 0, 0}});
    Line3<int32_t> dst(5, 7);
    EXPECT_TRUE((subRGB2HSV<int32_t, int32_t>(src.in(), dst.out(), 5, 255, 65535)));
    ozu_test::expect_planes(dst, {{0, 21845, 3640, 0, 0}, {65535, 65535, 49151, 0, 0}, {65535, 65535, 51400, 25700, 0}});
}

TEST(SubRGB2HSV, ConvertsALineInPlace) {
    auto line = pixels<int32_t>({{65535, 0, 0}, {40000, 20000, 10000}});
    EXPECT_TRUE((subRGB2HSV<int32_t, int32_t>(line.in(), line.out(), 2, 65535, 65535)));
    ozu_test::expect_planes(line, {{0, 3640}, {65535, 49151}, {65535, 40000}});
}

namespace {

// The 8-bit HSV case table written out independently: the saturation /
// hue-fraction table from its real-number definition, and each case as the
// condition it is listed with.
class HsvCaseTable {
public:
    HsvCaseTable() {
        for (int r = 0; r < 256; ++r) {
            for (int c = 0; c < 256; ++c) {
                int v;
                if (r <= c)
                    v = c == 0 ? 0 : static_cast<int>(r * 255.0 / c);
                else
                    v = static_cast<int>(std::floor(42.5 * c / r + 0.5)) - 44;
                t_[r][c] = static_cast<uint8_t>(v & 0xFF);
            }
        }
    }

    // Returns H, S, V as bytes, or -1 in H when not exactly one case holds.
    void convert(int R, int G, int B, int& H, int& S, int& V) const {
        const bool cases[6] = {
            R < G && G < B,
            R < G && G >= B && R < B,
            R < G && G >= B && R >= B,
            R >= G && R < B,
            R >= G && R >= B && G < B,
            R >= G && R >= B && G >= B,
        };
        int which = -1;
        for (int i = 0; i < 6; ++i) {
            if (!cases[i]) continue;
            if (which != -1) {
                H = -1;
                return;
            }
            which = i;
        }
        switch (which) {
            case 0: V = B, S = t(B - R, B), H = -128 - t(B - R, G - R); break;
            case 1: V = G, S = t(G - R, G), H = t(G - R, B - R) - 128; break;
            case 2: V = G, S = t(G - B, G), H = 43 - t(G - B, R - B); break;
            case 3: V = B, S = t(B - G, B), H = t(B - G, R - G) - 43; break;
            case 4: V = R, S = t(R - G, R), H = -44 - t(R - G, B - G); break;
            case 5: V = R, S = t(R - B, R), H = t(R - B, G - B) + 44; break;
            default: H = -1; return;
        }
        H &= 0xFF;
        S &= 0xFF;
        V &= 0xFF;
    }

private:
    int t(int row, int col) const { return t_[row][col]; }
    uint8_t t_[256][256];
};

}  // namespace

TEST(SubRGB2HSV, MatchesTheCaseTableForEveryEightBitColour) {
    const auto reference = std::make_unique<HsvCaseTable>();
    Line3<uint8_t> src(256);
    Line3<uint8_t> dst(256);
    for (int b = 0; b < 256; ++b) src.plane[2][b] = static_cast<uint8_t>(b);
    long mismatches = 0;
    int first[3] = {-1, -1, -1};
    for (int r = 0; r < 256; ++r) {
        std::fill(src.plane[0].begin(), src.plane[0].end(), static_cast<uint8_t>(r));
        for (int g = 0; g < 256; ++g) {
            std::fill(src.plane[1].begin(), src.plane[1].end(), static_cast<uint8_t>(g));
            subRGB2HSV<uint8_t, uint8_t>(src.in(), dst.out(), 256, 255, 255);
            for (int b = 0; b < 256; ++b) {
                int h, s, v;
                reference->convert(r, g, b, h, s, v);
                if (h == dst.plane[0][b] && s == dst.plane[1][b] && v == dst.plane[2][b]) continue;
                if (mismatches++ == 0) first[0] = r, first[1] = g, first[2] = b;
            }
        }
    }
    EXPECT_EQ(mismatches, 0) << "first wrong colour (" << first[0] << ", " << first[1] << ", " << first[2] << ")";
}

TEST(SubRGB2HLS, TakesEightBitLightnessAndSaturationFromMaxAndMin) {
    // L and S from their definitions, with max and min found here
    // independently of the kernel. Blue runs over the whole line and red over
    // every value; green takes a few values and that of red, so every
    // (max, min) pair occurs in every position of the channels.
    Line3<uint8_t> src(256);
    Line3<uint8_t> dst(256);
    for (int b = 0; b < 256; ++b) src.plane[2][b] = static_cast<uint8_t>(b);
    long mismatches = 0;
    int first[3] = {-1, -1, -1};
    for (int r = 0; r < 256; ++r) {
        std::fill(src.plane[0].begin(), src.plane[0].end(), static_cast<uint8_t>(r));
        for (int g : {0, 1, 64, 127, 128, 200, 254, 255, r}) {
            std::fill(src.plane[1].begin(), src.plane[1].end(), static_cast<uint8_t>(g));
            subRGB2HLS<uint8_t, uint8_t>(src.in(), dst.out(), 256, 255, 255);
            for (int b = 0; b < 256; ++b) {
                const int mx = std::max({r, g, b}), mn = std::min({r, g, b});
                const int sum = mx + mn;
                const int s = mx == mn ? 0 : (mx - mn) * 255 / (sum <= 255 ? sum : 510 - sum);
                if (dst.plane[1][b] == sum / 2 && dst.plane[2][b] == s) continue;
                if (mismatches++ == 0) first[0] = r, first[1] = g, first[2] = b;
            }
        }
    }
    EXPECT_EQ(mismatches, 0) << "first wrong colour (" << first[0] << ", " << first[1] << ", " << first[2] << ")";
}

// ---- HLS -> RGB -----------------------------------------------------------

TEST(SubHLS2RGB, CopiesLightnessIntoAllChannelsWithoutSaturation) {
    auto src = pixels<uint8_t>({{50, 100, 0}, {200, 255, 0}});
    Line3<uint8_t> dst(2, 7);
    EXPECT_TRUE((subHLS2RGB<uint8_t, uint8_t>(src.in(), dst.out(), 2, 255, 255)));
    ozu_test::expect_planes(dst, {{100, 255}, {100, 255}, {100, 255}});

    Line3<uint16_t> wide(2, 7);
    EXPECT_TRUE((subHLS2RGB<uint8_t, uint16_t>(src.in(), wide.out(), 2, 255, 65535)));
    ozu_test::expect_planes(wide, {{25700, 65535}, {25700, 65535}, {25700, 65535}});
}

TEST(SubHLS2RGB, RebuildsPrimaries) {
    // L = 127 is just below one half: red comes back as 254. (170, 64, 128):
    // a darker, half-saturated blue.
    auto src = pixels<uint8_t>({{0, 127, 255}, {85, 128, 255}, {170, 64, 128}});
    Line3<uint8_t> dst(3);
    EXPECT_TRUE((subHLS2RGB<uint8_t, uint8_t>(src.in(), dst.out(), 3, 255, 255)));
    ozu_test::expect_planes(dst, {{254, 1, 31}, {0, 254, 31}, {0, 1, 96}});
}

// ---- HSV -> RGB -----------------------------------------------------------

TEST(SubHSV2RGB, LeavesAPixelWithFullCircleHueUntouched) {
    // H = 255 of 255 is sector 6: nothing is written for that pixel.
    auto src = pixels<uint8_t>({{255, 255, 255}, {0, 255, 255}, {85, 255, 255}});
    Line3<uint8_t> dst(3, 7);
    EXPECT_TRUE((subHSV2RGB<uint8_t, uint8_t>(src.in(), dst.out(), 3, 255, 255)));
    ozu_test::expect_planes(dst, {{7, 255, 0}, {7, 0, 255}, {7, 0, 0}});
}

TEST(SubHSV2RGB, LeavesAPixelWithHueBelowMinusOneSectorUntouched) {
    // Signed hue: -22 / 127 x 6 = -1.04 is sector -1 and skipped; -21 gives
    // -0.99, which truncates to sector 0 and is converted (its fraction is
    // negative, so G comes out negative).
    auto src = pixels<int8_t>({{-22, 127, 127}, {-21, 127, 127}, {-1, 127, 127}});
    Line3<int8_t> dst(3, 7);
    EXPECT_TRUE((subHSV2RGB<int8_t, int8_t>(src.in(), dst.out(), 3, 127, 127)));
    ozu_test::expect_planes(dst, {{7, 127, 127}, {7, -126, -5}, {7, 0, 0}});
}

TEST(SubHSV2RGB, CopiesValueIntoAllChannelsWithoutSaturation) {
    auto src = pixels<uint16_t>({{1000, 0, 40000}});
    Line3<uint8_t> dst(1, 7);
    EXPECT_TRUE((subHSV2RGB<uint16_t, uint8_t>(src.in(), dst.out(), 1, 65535, 255)));
    // 40000 / 65535 x 255 = 155.6
    ozu_test::expect_planes(dst, {{155}, {155}, {155}});
}

// ---- Every instance -------------------------------------------------------
// Forward kernels: red, green, blue, grey 100, (max, max / 2, 0), (lowest,
// max, lowest), (max / 3, lowest, max / 2). Inverse kernels: (0, max / 2,
// max), (max / 3, max / 2, max), (max / 2, max / 4, max / 2), (0, max, 0),
// (max, 100, max), (lowest, lowest, lowest), (lowest, max / 2, max); 7 where
// a pixel is skipped. All with the driver's ranges. Expected values were
// worked out independently, every single-precision step rounded as the
// kernels do (source-major rows).
namespace {

template <class T>
Line3<T> forward_line() {
    const int64_t m = pixel_max<T>;
    const int64_t lo = std::numeric_limits<T>::lowest();
    return pixels<T>({{m, 0, 0}, {0, m, 0}, {0, 0, m}, {100, 100, 100}, {m, m / 2, 0}, {lo, m, lo}, {m / 3, lo, m / 2}});
}

template <class T>
Line3<T> inverse_line() {
    const int64_t m = pixel_max<T>;
    const int64_t lo = std::numeric_limits<T>::lowest();
    return pixels<T>({{0, m / 2, m}, {m / 3, m / 2, m}, {m / 2, m / 4, m / 2}, {0, m, 0}, {m, 100, m}, {lo, lo, lo}, {lo, m / 2, m}});
}

constexpr int64_t kHlsExpected[5][3][7] = {
    {{0, 42, 84, 0, 10, 42, 103}, {63, 63, 63, 100, 63, -1, -33}, {127, 127, 127, 0, 127, 127, -117}},  // int8_t -> int8_t
    {{0, 85, 170, 0, 21, 85, 198}, {127, 127, 127, 100, 127, 127, 63}, {255, 255, 255, 0, 255, 255, 255}},  // uint8_t -> uint8_t
    {{0, 10922, 21844, 0, 2730, 10922, 26699}, {16383, 16383, 16383, 100, 16383, -1, -8193}, {32767, 32767, 32767, 0, 32767, -32768, -32757}},  // int16_t -> int16_t
    {{0, 21845, 43690, 0, 5461, 21845, 50971}, {32767, 32767, 32767, 100, 32767, 32767, 16383}, {65535, 65535, 65535, 0, 65535, 65535, 65535}},  // uint16_t -> uint16_t
    {{0, 21845, 43690, 0, 5461, 21845, 54612}, {32767, 32767, 32767, 100, 32767, -1073709057, -1073725441}, {65535, 65535, 65535, 0, 65535, 65535, 65535}},  // int32_t -> int32_t
};
constexpr int64_t kHsvExpected[5][3][7] = {
    {{0, 42, 84, 0, 10, 42, 103}, {127, 127, 127, 0, 127, -1, -127}, {127, 127, 127, 100, 127, 127, 63}},  // int8_t -> int8_t
    {{0, 87, 169, 44, 21, 87, 197}, {255, 255, 255, 0, 255, 255, 255}, {255, 255, 255, 100, 255, 255, 127}},  // uint8_t -> uint8_t
    {{0, 10922, 21844, 0, 2730, 10922, 26699}, {32767, 32767, 32767, 0, 32767, -1, -32767}, {32767, 32767, 32767, 100, 32767, 32767, 16383}},  // int16_t -> int16_t
    {{0, 21845, 43690, 0, 5461, 21845, 50971}, {65535, 65535, 65535, 0, 65535, 65535, 65535}, {65535, 65535, 65535, 100, 65535, 65535, 32767}},  // uint16_t -> uint16_t
    {{0, 21845, 43690, 0, 5461, 21845, 54612}, {65535, 65535, 65535, 0, 65535, -2147418112, INT32_MIN}, {65535, 65535, 65535, 100, 65535, 65535, 32767}},  // int32_t -> int32_t
};
constexpr int64_t kHlsToRgbExpected[16][3][7] = {
    {{126, 1, 15, 127, 127, 1, 126}, {0, 126, 46, 127, 72, -13, -5}, {0, 0, 45, 127, 72, -17, -1}},  // int8_t -> int8_t
    {{252, 3, 31, 255, 255, 2, 252}, {0, 252, 93, 255, 146, 228, 245}, {0, 0, 91, 255, 146, 216, 251}},  // int8_t -> uint8_t
    {{32508, 511, 4030, 32767, 32767, 260, 32508}, {0, 32508, 11965, 32767, 18834, -3919, -1535}, {0, 0, 11778, 32767, 18834, -5987, -1017}},  // int8_t -> int16_t
    {{65018, 1023, 8061, 65535, 65535, 520, 65018}, {0, 65018, 23932, 65535, 37669, 57696, 62465}, {0, 0, 23557, 65535, 37669, 53556, 63499}},  // int8_t -> uint16_t
    {{126, 0, 15, 127, 99, 0, 126}, {0, 126, 47, 127, 0, 0, 0}, {0, 0, 46, 127, 0, 0, 0}},  // uint8_t -> int8_t
    {{254, 0, 31, 255, 200, 0, 254}, {0, 254, 94, 255, 0, 0, 0}, {0, 0, 93, 255, 0, 0, 0}},  // uint8_t -> uint8_t
    {{32638, 0, 4063, 32767, 25699, 0, 32638}, {0, 32638, 12127, 32767, 0, 0, 0}, {0, 0, 12032, 32767, 0, 0, 0}},  // uint8_t -> int16_t
    {{65278, 0, 8127, 65535, 51400, 0, 65278}, {0, 65278, 24254, 65535, 0, 0, 0}, {0, 0, 24065, 65535, 0, 0, 0}},  // uint8_t -> uint16_t
    {{126, 0, 15, 127, 0, 0, 126}, {0, 126, 47, 127, 0, 2, 0}, {0, 0, 47, 127, 0, 6, 2}},  // int16_t -> int8_t
    {{254, 0, 31, 255, 1, 0, 254}, {0, 254, 95, 255, 0, 2, 0}, {0, 0, 95, 255, 0, 6, 2}},  // int16_t -> uint8_t
    {{32766, 1, 4095, 32767, 200, 1, 32766}, {0, 32766, 12286, 32767, 0, -13, -5}, {0, 0, 12285, 32767, 0, -17, -2}},  // int16_t -> int16_t
    {{65533, 3, 8191, 65535, 400, 2, 65533}, {0, 65533, 24573, 65535, 0, 65508, 65525}, {0, 0, 24571, 65535, 0, 65496, 65530}},  // int16_t -> uint16_t
    {{126, 0, 15, 127, 0, 0, 126}, {0, 126, 47, 127, 0, 0, 0}, {0, 0, 47, 127, 0, 0, 0}},  // uint16_t -> int8_t
    {{254, 0, 31, 255, 0, 0, 254}, {0, 254, 95, 255, 0, 0, 0}, {0, 0, 95, 255, 0, 0, 0}},  // uint16_t -> uint8_t
    {{32766, 0, 4095, 32767, 99, 0, 32766}, {0, 32766, 12287, 32767, 0, 0, 0}, {0, 0, 12286, 32767, 0, 0, 0}},  // uint16_t -> int16_t
    {{65534, 0, 8191, 65535, 200, 0, 65534}, {0, 65534, 24574, 65535, 0, 0, 0}, {0, 0, 24573, 65535, 0, 0, 0}},  // uint16_t -> uint16_t
};
constexpr int64_t kHsvToRgbExpected[16][3][7] = {
    {{127, 64, 47, 0, 7, 7, 7}, {64, 127, 63, 0, 7, 7, 7}, {64, 64, 62, 0, 7, 7, 7}},  // int8_t -> int8_t
    {{255, 130, 95, 0, 7, 7, 7}, {128, 255, 126, 0, 7, 7, 7}, {128, 128, 125, 0, 7, 7, 7}},  // int8_t -> uint8_t
    {{32767, 16768, 12286, 0, 7, 7, 7}, {16512, 32767, 16254, 0, 7, 7, 7}, {16512, 16512, 16160, 0, 7, 7, 7}},  // int8_t -> int16_t
    {{65535, 33537, 24574, 0, 7, 7, 7}, {33025, 65535, 32509, 0, 7, 7, 7}, {33025, 33025, 32322, 0, 7, 7, 7}},  // int8_t -> uint16_t
    {{127, 63, 47, 0, 7, 0, 127}, {63, 127, 63, 0, 7, 0, 63}, {63, 63, 63, 0, 7, 0, 63}},  // uint8_t -> int8_t
    {{255, 127, 95, 0, 7, 0, 255}, {127, 255, 127, 0, 7, 0, 127}, {127, 127, 126, 0, 7, 0, 127}},  // uint8_t -> uint8_t
    {{32767, 16447, 12287, 0, 7, 0, 32767}, {16447, 32767, 16319, 0, 7, 0, 16447}, {16447, 16447, 16271, 0, 7, 0, 16447}},  // uint8_t -> int16_t
    {{65535, 32895, 24575, 0, 7, 0, 65535}, {32895, 65535, 32639, 0, 7, 0, 32895}, {32895, 32895, 32544, 0, 7, 0, 32895}},  // uint8_t -> uint16_t
    {{127, 63, 47, 0, 7, 7, 7}, {63, 127, 63, 0, 7, 7, 7}, {63, 63, 63, 0, 7, 7, 7}},  // int16_t -> int8_t
    {{255, 127, 95, 0, 7, 7, 7}, {127, 255, 127, 0, 7, 7, 7}, {127, 127, 127, 0, 7, 7, 7}},  // int16_t -> uint8_t
    {{32767, 16385, 12287, 0, 7, 7, 7}, {16384, 32767, 16383, 0, 7, 7, 7}, {16384, 16384, 16382, 0, 7, 7, 7}},  // int16_t -> int16_t
    {{65535, 32770, 24575, 0, 7, 7, 7}, {32768, 65535, 32766, 0, 7, 7, 7}, {32768, 32768, 32765, 0, 7, 7, 7}},  // int16_t -> uint16_t
    {{127, 63, 47, 0, 7, 0, 127}, {63, 127, 63, 0, 7, 0, 63}, {63, 63, 63, 0, 7, 0, 63}},  // uint16_t -> int8_t
    {{255, 127, 95, 0, 7, 0, 255}, {127, 255, 127, 0, 7, 0, 127}, {127, 127, 127, 0, 7, 0, 127}},  // uint16_t -> uint8_t
    {{32767, 16383, 12287, 0, 7, 0, 32767}, {16383, 32767, 16383, 0, 7, 0, 16383}, {16383, 16383, 16383, 0, 7, 0, 16383}},  // uint16_t -> int16_t
    {{65535, 32768, 24575, 0, 7, 0, 65535}, {32768, 65535, 32767, 0, 7, 0, 32768}, {32768, 32768, 32766, 0, 7, 0, 32768}},  // uint16_t -> uint16_t
};

}  // namespace

template <class P>
class HueForwardInstance : public ::testing::Test {};
TYPED_TEST_SUITE(HueForwardInstance, ozu_test::SameTypePairsAndWorking, ozu_test::TypePairName);

TYPED_TEST(HueForwardInstance, ConvertsRgbRangeEndsToHls) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    auto src = forward_line<S>();
    Line3<D> dst(7, D{7});
    EXPECT_TRUE((subRGB2HLS<S, D>(src.in(), dst.out(), 7, pixel_max<S>, pixel_max<D>)));
    ozu_test::expect_planes(dst, kHlsExpected[ozu_test::kTypeIndex<S>]);
}

TYPED_TEST(HueForwardInstance, ConvertsRgbRangeEndsToHsv) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    auto src = forward_line<S>();
    Line3<D> dst(7, D{7});
    EXPECT_TRUE((subRGB2HSV<S, D>(src.in(), dst.out(), 7, pixel_max<S>, pixel_max<D>)));
    ozu_test::expect_planes(dst, kHsvExpected[ozu_test::kTypeIndex<S>]);
}

template <class P>
class HueInverseInstance : public ::testing::Test {};
TYPED_TEST_SUITE(HueInverseInstance, ozu_test::AllPixelPairs, ozu_test::TypePairName);

TYPED_TEST(HueInverseInstance, ConvertsHlsRangeEndsToRgb) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    auto src = inverse_line<S>();
    Line3<D> dst(7, D{7});
    EXPECT_TRUE((subHLS2RGB<S, D>(src.in(), dst.out(), 7, pixel_max<S>, pixel_max<D>)));
    ozu_test::expect_planes(dst, kHlsToRgbExpected[ozu_test::pair_row<S, D>()]);
}

TYPED_TEST(HueInverseInstance, ConvertsHsvRangeEndsToRgb) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    auto src = inverse_line<S>();
    Line3<D> dst(7, D{7});
    EXPECT_TRUE((subHSV2RGB<S, D>(src.in(), dst.out(), 7, pixel_max<S>, pixel_max<D>)));
    ozu_test::expect_planes(dst, kHsvToRgbExpected[ozu_test::pair_row<S, D>()]);
}

// Every vector version against the scalar kernel: seeded lines of every width
// 0..100 (so every tail) with grey, tied and range-end pixels mixed in, over
// the ranges that take each path (255 -> 255 the table path, other equal
// ranges the integer path, unequal ranges the float path).

TYPED_TEST(HueForwardInstance, EveryTargetMatchesTheScalarHlsKernel) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    for (const auto& [srcMax, dstMax] : ozu_test::kernel_ranges<S, D>())
        ozu_test::expect_targets_match_scalar<S, D>(subRGB2HLS_targets<S, D>(), srcMax, dstMax, true);
}

TYPED_TEST(HueForwardInstance, EveryTargetMatchesTheScalarHsvKernel) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    for (const auto& [srcMax, dstMax] : ozu_test::kernel_ranges<S, D>())
        ozu_test::expect_targets_match_scalar<S, D>(subRGB2HSV_targets<S, D>(), srcMax, dstMax, true);
}

TYPED_TEST(HueInverseInstance, EveryTargetMatchesTheScalarHlsToRgbKernel) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    for (const auto& [srcMax, dstMax] : ozu_test::kernel_ranges<S, D>())
        ozu_test::expect_targets_match_scalar<S, D>(subHLS2RGB_targets<S, D>(), srcMax, dstMax, true);
}

TYPED_TEST(HueInverseInstance, EveryTargetMatchesTheScalarHsvToRgbKernel) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    for (const auto& [srcMax, dstMax] : ozu_test::kernel_ranges<S, D>())
        ozu_test::expect_targets_match_scalar<S, D>(subHSV2RGB_targets<S, D>(), srcMax, dstMax, true);
}

// Divisors other than the ranges of pixel types: odd, small, larger than
// the source type holds, zero and negative (whose quotients are infinite or
// negative and take the saturating conversion).
TYPED_TEST(HueInverseInstance, EveryTargetMatchesTheScalarHsvToRgbKernelForAnyDivisor) {
    using S = typename TypeParam::Src;
    using D = typename TypeParam::Dst;
    for (const int32_t srcMax : {0, 1, 3, 7, 60, 100, 254, 1000, 40000, -5})
        ozu_test::expect_targets_match_scalar<S, D>(subHSV2RGB_targets<S, D>(), srcMax,
                                                    ozu::pixel_max<D>, true);
}

// The whole 8-bit cube, one line per (red, green) with blue running over
// the line, through each available target of a kernel against its scalar
// version.
template <class Targets, class Scalar>
void expect_cube_matches_scalar(const Targets& targets, Scalar scalarKernel) {
    Line3<uint8_t> src(256);
    Line3<uint8_t> want(256);
    Line3<uint8_t> got(256);
    for (int b = 0; b < 256; ++b) src.plane[2][b] = static_cast<uint8_t>(b);
    for (CpuTarget target : kAllCpuTargets) {
        if (target == CpuTarget::kScalar || !cpu_target_available(target)) continue;
        const auto kernel = targets.on(target);
        long mismatches = 0;
        int first[3] = {-1, -1, -1};
        for (int r = 0; r < 256; ++r) {
            std::fill(src.plane[0].begin(), src.plane[0].end(), static_cast<uint8_t>(r));
            for (int g = 0; g < 256; ++g) {
                std::fill(src.plane[1].begin(), src.plane[1].end(), static_cast<uint8_t>(g));
                scalarKernel(src.in(), want.out(), 256, 255, 255);
                kernel(src.in(), got.out(), 256, 255, 255);
                for (int p = 0; p < 3; ++p) {
                    if (want.plane[p] == got.plane[p]) continue;
                    if (mismatches++ == 0) {
                        for (int b = 0; b < 256; ++b)
                            if (want.plane[p][b] != got.plane[p][b]) {
                                first[0] = r, first[1] = g, first[2] = b;
                                break;
                            }
                    }
                }
            }
        }
        EXPECT_EQ(mismatches, 0) << cpu_target_name(target) << ": first wrong colour (" << first[0]
                                 << ", " << first[1] << ", " << first[2] << ")";
    }
}

TEST(SubRGB2HSV, GivesEveryEightBitColourTheSameBitsOnEveryTarget) {
    expect_cube_matches_scalar(subRGB2HSV_targets<uint8_t, uint8_t>(),
                               scalar::subRGB2HSV<uint8_t, uint8_t>);
}

TEST(SubRGB2HLS, GivesEveryEightBitColourTheSameBitsOnEveryTarget) {
    expect_cube_matches_scalar(subRGB2HLS_targets<uint8_t, uint8_t>(),
                               scalar::subRGB2HLS<uint8_t, uint8_t>);
}

TEST(SubHSV2RGB, GivesEveryEightBitTripleTheSameBitsOnEveryTarget) {
    // Here the planes hold H, S and V.
    expect_cube_matches_scalar(subHSV2RGB_targets<uint8_t, uint8_t>(),
                               scalar::subHSV2RGB<uint8_t, uint8_t>);
}

TEST(SubHLS2RGB, GivesEveryEightBitTripleTheSameBitsOnEveryTarget) {
    expect_cube_matches_scalar(subHLS2RGB_targets<uint8_t, uint8_t>(),
                               scalar::subHLS2RGB<uint8_t, uint8_t>);
}
