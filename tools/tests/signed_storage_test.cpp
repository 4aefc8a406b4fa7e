// Signed channels in image files: YCC, YUV and YIQ chroma stored with an
// offset of half the range and read back without it, the signed results of
// the weighted transforms likewise, and `--signed clip` for the older bytes.
// Expected values come from the library called directly and from its
// documented fixed-point arithmetic, never from the program's own code.

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "tool_test_support.h"

namespace {

using tool_test::buffer_from;
using tool_test::error_tail;
using tool_test::Owned;
using tool_test::read_pnm;
using tool_test::run_tool;
using tool_test::same_samples;
using tool_test::Samples;
using tool_test::samples_of;
using tool_test::ScratchDir;
using tool_test::write_pnm;

constexpr int32_t kWidth = 53;
constexpr int32_t kHeight = 31;

// Smooth colour gradients and a few saturated patches, as a photograph has:
// every hue, so chroma of both signs.
Samples photo_like(int32_t depth) {
    Samples s{kWidth, kHeight, 3, depth, {}};
    const double max = depth == 8 ? 255.0 : 65535.0;
    for (int32_t y = 0; y < kHeight; ++y) {
        for (int32_t x = 0; x < kWidth; ++x) {
            const double r = 0.5 + 0.45 * std::sin(x / 7.0 + y / 11.0);
            const double g = 0.5 + 0.45 * std::cos(y / 5.0 - x / 13.0);
            const double b = (x + 2 * y) % 64 / 63.0;
            for (double v : {r, g, b}) s.values.push_back(static_cast<uint16_t>(std::floor(v * max)));
        }
    }
    return s;
}

std::vector<int32_t> matrix_of(uint32_t code) {
    std::vector<int32_t> m(9);
    EXPECT_EQ(COL_GetConversionMatrix(code, m.data()), 1);
    return m;
}

// floor(sum / 8192) of the library's 32-bit products, as its kernels shift.
int32_t product(const std::vector<int32_t>& m, int row, int32_t a, int32_t b, int32_t c) {
    const int64_t sum = int64_t{m[3 * row]} * a + int64_t{m[3 * row + 1]} * b +
                        int64_t{m[3 * row + 2]} * c;
    return static_cast<int32_t>(sum >= 0 ? sum / 8192 : -((-sum + 8191) / 8192));
}

int32_t clamp(int32_t v, int32_t max) { return std::min(std::max(v, 0), max); }

TEST(SignedStorage, YccChromaOfAPhotoIsStoredPlus128OnBothSides) {
    ScratchDir dir;
    const Samples input = photo_like(8);
    write_pnm(dir.file("in.ppm"), input);
    const auto run = run_tool(dir, {"convert", "--to", "YCC", dir.file("in.ppm"), dir.file("ycc.ppm")});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("; channels 2 and 3 (Cb, Cr) signed, stored +128\n"), std::string::npos)
        << run.out;
    const Samples ycc = read_pnm(dir.file("ycc.ppm"));

    // The library's own YCC keeps luma and the chroma it does not clamp.
    Owned src(buffer_from(input));
    Owned lib;
    ASSERT_EQ(COL_ConvertColorSpace(src.get(), lib.slot(), COL_CODE(COL_RGB, COL_YCC)), 1);
    const Samples library = samples_of(lib.get());
    const std::vector<int32_t> m = matrix_of(COL_CODE(COL_RGB, COL_YCC));
    int32_t below = 0, above = 0;
    for (size_t p = 0; p < ycc.values.size() / 3; ++p) {
        const int32_t r = input.values[3 * p], g = input.values[3 * p + 1], b = input.values[3 * p + 2];
        ASSERT_EQ(ycc.values[3 * p], library.values[3 * p]) << "pixel " << p;
        for (int c = 1; c < 3; ++c) {
            const int32_t chroma = product(m, c, r, g, b);
            ASSERT_EQ(ycc.values[3 * p + c], chroma + 128) << "pixel " << p << " channel " << c;
            if (chroma > 0) {
                ASSERT_EQ(library.values[3 * p + c], chroma);
            }
        }
        below += ycc.values[3 * p + 1] < 128;
        above += ycc.values[3 * p + 1] > 128;
    }
    EXPECT_GT(below, kWidth * kHeight / 5);
    EXPECT_GT(above, kWidth * kHeight / 5);
}

TEST(SignedStorage, YccReadBackRemovesTheOffsetBeforeTheLibrarysProduct) {
    ScratchDir dir;
    const Samples input = photo_like(8);
    write_pnm(dir.file("in.ppm"), input);
    ASSERT_EQ(run_tool(dir, {"convert", "--to", "YCC", dir.file("in.ppm"), dir.file("ycc.ppm")}).status, 0);
    const auto run = run_tool(
        dir, {"convert", "--from", "YCC", "--to", "RGB", dir.file("ycc.ppm"), dir.file("back.ppm")});
    ASSERT_EQ(run.status, 0) << run.err;
    const Samples ycc = read_pnm(dir.file("ycc.ppm"));
    const Samples back = read_pnm(dir.file("back.ppm"));
    const std::vector<int32_t> m = matrix_of(COL_CODE(COL_YCC, COL_RGB));
    ASSERT_EQ(back.values.size(), input.values.size());
    for (size_t p = 0; p < back.values.size() / 3; ++p) {
        const int32_t y = ycc.values[3 * p], cb = ycc.values[3 * p + 1] - 128,
                      cr = ycc.values[3 * p + 2] - 128;
        for (int c = 0; c < 3; ++c) {
            ASSERT_EQ(back.values[3 * p + c], clamp(product(m, c, y, cb, cr), 255))
                << "pixel " << p << " channel " << c;
            // The round trip itself: the library's two products lose a few levels.
            ASSERT_LE(std::abs(int32_t(back.values[3 * p + c]) - int32_t(input.values[3 * p + c])), 4);
        }
    }
}

TEST(SignedStorage, SixteenBitYccRoundTripsThroughTheOffset) {
    ScratchDir dir;
    const Samples input = photo_like(16);
    write_pnm(dir.file("in.ppm"), input);
    const auto run = run_tool(dir, {"convert", "--to", "YCC", dir.file("in.ppm"), dir.file("ycc.ppm")});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("stored +32768\n"), std::string::npos) << run.out;
    ASSERT_EQ(run_tool(dir, {"convert", "--from", "YCC", "--to", "RGB", dir.file("ycc.ppm"),
                             dir.file("back.ppm")})
                  .status,
              0);
    const Samples ycc = read_pnm(dir.file("ycc.ppm"));
    const Samples back = read_pnm(dir.file("back.ppm"));
    const std::vector<int32_t> forward = matrix_of(COL_CODE(COL_RGB, COL_YCC));
    const std::vector<int32_t> inverse = matrix_of(COL_CODE(COL_YCC, COL_RGB));
    for (size_t p = 0; p < input.values.size() / 3; ++p) {
        const int32_t r = input.values[3 * p], g = input.values[3 * p + 1], b = input.values[3 * p + 2];
        for (int c = 1; c < 3; ++c)
            ASSERT_EQ(ycc.values[3 * p + c], product(forward, c, r, g, b) + 32768) << p;
        const int32_t y = ycc.values[3 * p], cb = ycc.values[3 * p + 1] - 32768,
                      cr = ycc.values[3 * p + 2] - 32768;
        for (int c = 0; c < 3; ++c)
            ASSERT_EQ(back.values[3 * p + c], clamp(product(inverse, c, y, cb, cr), 65535)) << p;
    }
}

TEST(SignedStorage, SixteenBitYuvIsCentredAt32768AndTheLibraryReadsItBack) {
    ScratchDir dir;
    const Samples input = photo_like(16);
    write_pnm(dir.file("in.ppm"), input);
    ASSERT_EQ(run_tool(dir, {"convert", "--to", "YUV", dir.file("in.ppm"), dir.file("yuv.ppm")}).status, 0);
    const Samples yuv = read_pnm(dir.file("yuv.ppm"));
    const std::vector<int32_t> m = matrix_of(COL_CODE(COL_RGB, COL_YUV));
    int32_t below = 0;
    for (size_t p = 0; p < yuv.values.size() / 3; ++p) {
        const int32_t r = input.values[3 * p], g = input.values[3 * p + 1], b = input.values[3 * p + 2];
        for (int c = 1; c < 3; ++c)
            ASSERT_EQ(yuv.values[3 * p + c], clamp(product(m, c, r, g, b) + 32768, 65535)) << p;
        below += yuv.values[3 * p + 1] < 32768;
    }
    EXPECT_GT(below, kWidth * kHeight / 5);

    // Back: the library's own YUV to RGB, which takes 32768 off at 16 bits.
    const auto run = run_tool(
        dir, {"convert", "--from", "YUV", "--to", "RGB", dir.file("yuv.ppm"), dir.file("back.ppm")});
    ASSERT_EQ(run.status, 0) << run.err;
    Owned src(buffer_from(yuv));
    Owned rgb;
    ASSERT_EQ(COL_ConvertColorSpace(src.get(), rgb.slot(), COL_CODE(COL_YUV, COL_RGB)), 1);
    EXPECT_TRUE(same_samples(samples_of(rgb.get()), read_pnm(dir.file("back.ppm"))));
}

TEST(SignedStorage, SignedClipGivesTheLibrarysClampedBytes) {
    ScratchDir dir;
    const Samples input = photo_like(8);
    write_pnm(dir.file("in.ppm"), input);
    const auto run = run_tool(dir, {"convert", "--to", "YCC", "--signed", "clip",
                                    dir.file("in.ppm"), dir.file("ycc.ppm")});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("negative values clamped to 0 by the library"), std::string::npos)
        << run.out;
    Owned src(buffer_from(input));
    Owned lib;
    ASSERT_EQ(COL_ConvertColorSpace(src.get(), lib.slot(), COL_CODE(COL_RGB, COL_YCC)), 1);
    EXPECT_TRUE(same_samples(samples_of(lib.get()), read_pnm(dir.file("ycc.ppm"))));
}

TEST(SignedStorage, EightBitYuvKeepsTheLibrarysOwnCentre) {
    ScratchDir dir;
    const Samples input = photo_like(8);
    write_pnm(dir.file("in.ppm"), input);
    const auto run = run_tool(dir, {"convert", "--to", "YIQ", dir.file("in.ppm"), dir.file("yiq.ppm")});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("; channels 2 and 3 signed, stored +128 (by the library)\n"),
              std::string::npos)
        << run.out;
    Owned src(buffer_from(input));
    Owned lib;
    ASSERT_EQ(COL_ConvertColorSpace(src.get(), lib.slot(), COL_CODE(COL_RGB, COL_YIQ)), 1);
    EXPECT_TRUE(same_samples(samples_of(lib.get()), read_pnm(dir.file("yiq.ppm"))));
}

// Grey weights that sum over 1 wrap around below 0 at signed types: the
// offset keeps every such value, clip writes them as 0.
TEST(SignedStorage, SignedGreyIsStoredPlusHalfTheRangeOrClipped) {
    ScratchDir dir;
    const Samples input = photo_like(8);
    write_pnm(dir.file("in.ppm"), input);
    const auto run = run_tool(dir, {"to-grey", "--type", "s8", "--weights", "1,1,1",
                                    dir.file("in.ppm"), dir.file("grey.pgm")});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("; every channel signed s8, stored +128\n"), std::string::npos) << run.out;

    Owned rgb(buffer_from(input));
    Owned s8;
    ASSERT_EQ(IPL_BufAlloc(s8.slot(), kWidth, kHeight, 3, 1, 1, BASE_TYPE_S8, BASE_KIND_IMAGE, 0), 1);
    int32_t target = s8.get();
    ASSERT_EQ(IPL_PtBufCopy(rgb.get(), &target, -1, -1, 0), 1);
    Owned grey;
    ASSERT_EQ(COL_ConvertToGrayscale(s8.get(), grey.slot(), 1, 1, 1), 1);
    std::vector<int8_t> values(size_t(kWidth) * kHeight);
    ASSERT_EQ(IPL_GetBufDataEx(grey.get(), 0, 0, 0, 0, 0, kWidth, kHeight, 0, kWidth,
                               values.data(), BASE_TYPE_S8),
              1);
    const Samples written = read_pnm(dir.file("grey.pgm"));
    ASSERT_EQ(written.values.size(), values.size());
    int32_t negative = 0;
    for (size_t k = 0; k < values.size(); ++k) {
        ASSERT_EQ(written.values[k], values[k] + 128) << k;
        negative += values[k] < 0;
    }
    EXPECT_GT(negative, 0);

    const auto clip = run_tool(dir, {"to-grey", "--type", "s8", "--weights", "1,1,1", "--signed",
                                     "clip", dir.file("in.ppm"), dir.file("clip.pgm")});
    ASSERT_EQ(clip.status, 0) << clip.err;
    const Samples clipped = read_pnm(dir.file("clip.pgm"));
    for (size_t k = 0; k < values.size(); ++k)
        ASSERT_EQ(clipped.values[k], values[k] <= 0 ? 0 : std::lround(values[k] * 255.0 / 127.0))
            << k;
}

TEST(SignedStorage, AGreyImageAsYccGetsThePlaneErrorBeforeAnyOffsetIsTaken) {
    ScratchDir dir;
    write_pnm(dir.file("grey.pgm"), tool_test::random_samples(5, 4, 1, 8, 9));
    const auto run = run_tool(dir, {"convert", "--from", "YCC", "--to", "RGB", dir.file("grey.pgm"),
                                    dir.file("out.ppm")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "ozu-color convert: '" + dir.file("grey.pgm") +
                           "' has 1 channel: conversion from YCC needs 3" +
                           error_tail(COL_ERR_PLANES));
    EXPECT_FALSE(std::filesystem::exists(dir.file("out.ppm")));
}

TEST(SignedStorage, AnUnknownModeIsAUsageError) {
    ScratchDir dir;
    const auto run = run_tool(dir, {"convert", "--to", "YCC", "--signed", "wrap", "a.ppm", "b.ppm"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "ozu-color convert: bad --signed 'wrap': expected offset or clip: error " +
                           std::to_string(COL_ERR_RANGE) + " (" +
                           IPL_GetErrorString(COL_ERR_RANGE) + ") (try 'ozu-color convert --help')\n");
}

}  // namespace
