// The three exported hue tables, checked entry by entry against their
// defining formulas evaluated here in long double.
#include <ozu/color_kernels.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "convert/hue_kernels.h"
#include "convert/hue_tables.h"
#include "frame/cpu_target.h"
#include "test_support.h"

namespace {

// The low 8 bits of an integer-valued real, as the tables store it.
uint8_t low_byte(long double v) {
    const auto i = static_cast<int64_t>(v);
    return static_cast<uint8_t>(((i % 256) + 256) % 256);
}

struct Mismatches {
    int count = 0;
    int row = -1, col = -1, expected = -1, actual = -1;
    void check(int r, int c, uint8_t want, uint8_t got) {
        if (want == got) return;
        if (count++ == 0) row = r, col = c, expected = want, actual = got;
    }
};

void expect_none(const Mismatches& m) {
    EXPECT_EQ(m.count, 0) << "first wrong entry at row " << m.row << ", column " << m.col
                          << ": expected " << m.expected << ", got " << m.actual;
}

}  // namespace

TEST(HueTables, AreExportedWith65536EntriesEach) {
    EXPECT_EQ(sizeof(RGB2HLS_Lightness), 65536u);
    EXPECT_EQ(sizeof(RGB2HLS_Saturation), 65536u);
    EXPECT_EQ(sizeof(RGB2HSV_Saturation), 65536u);
}

TEST(HueTables, HoldLightnessAsHalfTheSumOfRowAndColumn) {
    Mismatches m;
    for (int r = 0; r < 256; ++r)
        for (int c = 0; c < 256; ++c)
            m.check(r, c, low_byte(std::floor((r + c) / 2.0L)), RGB2HLS_Lightness[r * 256 + c]);
    expect_none(m);
    EXPECT_EQ(RGB2HLS_Lightness[255 * 256 + 0], 127);
    EXPECT_EQ(RGB2HLS_Lightness[255 * 256 + 255], 255);
}

TEST(HueTables, HoldHlsSaturationScaledByTheNearerEndOfTheSum) {
    Mismatches m;
    for (int r = 0; r < 256; ++r) {
        for (int c = 0; c < 256; ++c) {
            long double want = 0;
            if (r != c) {
                const long double den = r + c <= 255 ? r + c : 510 - r - c;
                want = std::trunc((r - c) * 255.0L / den);
            }
            m.check(r, c, low_byte(want), RGB2HLS_Saturation[r * 256 + c]);
        }
    }
    expect_none(m);
    EXPECT_EQ(RGB2HLS_Saturation[255 * 256 + 0], 255);
    EXPECT_EQ(RGB2HLS_Saturation[200 * 256 + 100], 121);  // 100 * 255 / 210
    EXPECT_EQ(RGB2HLS_Saturation[0 * 256 + 1], 1);        // -255, wrapped
}

TEST(HueTables, HoldHsvSaturationOnAndAboveTheDiagonal) {
    Mismatches m;
    for (int r = 0; r < 256; ++r)
        for (int c = r; c < 256; ++c)
            m.check(r, c, c == 0 ? 0 : low_byte(std::trunc(r * 255.0L / c)), RGB2HSV_Saturation[r * 256 + c]);
    expect_none(m);
    EXPECT_EQ(RGB2HSV_Saturation[0], 0);
    EXPECT_EQ(RGB2HSV_Saturation[1 * 256 + 2], 127);
}

TEST(HueTables, HoldHsvHueFractionBelowTheDiagonal) {
    Mismatches m;
    for (int r = 1; r < 256; ++r)
        for (int c = 0; c < r; ++c)
            m.check(r, c, low_byte(std::floor(42.5L * c / r + 0.5L) - 44), RGB2HSV_Saturation[r * 256 + c]);
    expect_none(m);
    // A fraction of 0 is -44; just below a whole sixth it is -2; one half -23.
    EXPECT_EQ(static_cast<int8_t>(RGB2HSV_Saturation[255 * 256 + 0]), -44);
    EXPECT_EQ(static_cast<int8_t>(RGB2HSV_Saturation[255 * 256 + 254]), -2);
    EXPECT_EQ(static_cast<int8_t>(RGB2HSV_Saturation[2 * 256 + 1]), -23);
}

TEST(HueTables, HoldFullScaleOnTheHsvDiagonal) {
    for (int v = 1; v < 256; ++v) EXPECT_EQ(RGB2HSV_Saturation[v * 256 + v], 255) << "at " << v;
}

TEST(HueTables, MatchTheirCompileTimeGenerators) {
    for (int r = 0; r < 256; ++r) {
        for (int c = 0; c < 256; ++c) {
            ASSERT_EQ(RGB2HLS_Lightness[r * 256 + c], ozu::hls_lightness_entry(r, c));
            ASSERT_EQ(RGB2HLS_Saturation[r * 256 + c], ozu::hls_saturation_entry(r, c));
            ASSERT_EQ(RGB2HSV_Saturation[r * 256 + c], ozu::hsv_saturation_entry(r, c));
        }
    }
}

TEST(HueTables, AreComputedExactlyByEveryVectorTarget) {
    // The 8-bit hue paths of the vector kernels compute the two saturation
    // tables instead of reading them; every one of the 65536 entries must
    // come out as the table holds it.
    std::vector<int32_t> rows(65536), cols(65536), hls(65536), hsv(65536);
    for (int32_t k = 0; k < 65536; ++k) rows[k] = k >> 8, cols[k] = k & 0xFF;
    for (ozu::CpuTarget target : ozu::kAllCpuTargets) {
        if (!ozu::cpu_target_available(target)) continue;
        std::fill(hls.begin(), hls.end(), -1);
        std::fill(hsv.begin(), hsv.end(), -1);
        ozu::hue_table_entries_targets().on(target)(rows.data(), cols.data(), hls.data(), hsv.data(),
                                                    rows.size());
        Mismatches hlsWrong, hsvWrong;
        for (int32_t k = 0; k < 65536; ++k) {
            hlsWrong.check(k >> 8, k & 0xFF, RGB2HLS_Saturation[k], static_cast<uint8_t>(hls[k]));
            hsvWrong.check(k >> 8, k & 0xFF, RGB2HSV_Saturation[k], static_cast<uint8_t>(hsv[k]));
            ASSERT_TRUE(hls[k] >= 0 && hls[k] <= 255 && hsv[k] >= 0 && hsv[k] <= 255)
                << ozu::cpu_target_name(target) << " at " << k;
        }
        SCOPED_TRACE(ozu::cpu_target_name(target));
        expect_none(hlsWrong);
        expect_none(hsvWrong);
    }
}
