// The ozu-color program end to end: it runs on files the tests make, and
// every result must equal, sample for sample, what the library gives when
// called directly on the same pixels. Failures must print one line naming
// the error code and its text, and exit non-zero.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "image_io.h"
#include "tool_test_support.h"

namespace {

using tool_test::buffer_from;
using tool_test::error_tail;
using tool_test::is_single_line;
using tool_test::Owned;
using tool_test::random_samples;
using tool_test::read_pnm;
using tool_test::run_tool;
using tool_test::same_samples;
using tool_test::usage_tail;
using tool_test::Samples;
using tool_test::samples_of;
using tool_test::ScratchDir;
using tool_test::write_pnm;

// Odd sizes, so that no line length is a multiple of anything convenient.
constexpr int32_t kWidth = 37;
constexpr int32_t kHeight = 23;

// A buffer of `type` holding the samples as the program loads them: the
// file's own type, rescaled by the host's copy for another one.
int32_t loaded_as(const Samples& s, int32_t type) {
    const int32_t native = buffer_from(s);
    const int32_t nativeType = s.depth == 8 ? BASE_TYPE_U8 : BASE_TYPE_U16;
    if (type == nativeType) return native;
    int32_t converted = -1;
    EXPECT_EQ(
        IPL_BufAlloc(&converted, s.width, s.height, s.channels, 1, 1, type, BASE_KIND_IMAGE, 0), 1);
    EXPECT_EQ(IPL_PtBufCopy(native, &converted, -1, -1, 0), 1);
    IPL_BufFree(native);
    return converted;
}

// The samples of a result as the program writes them: signed types are
// rescaled by the host's copy into the unsigned type of the same width.
Samples written_as(int32_t h) {
    int32_t type = 0, planes = 0, width = 0, height = 0;
    IPL_BufInquire(h, BASE_ATTR_TYPE, &type);
    IPL_BufInquire(h, BASE_ATTR_PLANES, &planes);
    IPL_BufInquire(h, BASE_ATTR_WIDTH, &width);
    IPL_BufInquire(h, BASE_ATTR_HEIGHT, &height);
    if (type == BASE_TYPE_U8 || type == BASE_TYPE_U16) return samples_of(h);
    Owned unsignedCopy;
    EXPECT_EQ(IPL_BufAlloc(unsignedCopy.slot(), width, height, planes, 1, 1, type + 1,
                           BASE_KIND_IMAGE, 0),
              1);
    int32_t target = unsignedCopy.get();
    EXPECT_EQ(IPL_PtBufCopy(h, &target, -1, -1, 0), 1);
    return samples_of(unsignedCopy.get());
}

std::string code_line(int32_t code) { return error_tail(code); }

// ---- convert -----------------------------------------------------------------

TEST(ToolConvert, RgbToHsvMatchesTheLibrary) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 3, 8, 1);
    write_pnm(dir.file("in.ppm"), input);
    const auto run = run_tool(
        dir, {"convert", "--from", "RGB", "--to", "HSV", dir.file("in.ppm"), dir.file("out.ppm")});
    ASSERT_EQ(run.status, 0) << run.err;

    Owned src(buffer_from(input));
    Owned dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.get(), dst.slot(), COL_CODE(COL_RGB, COL_HSV)), 1);
    EXPECT_TRUE(same_samples(samples_of(dst.get()), read_pnm(dir.file("out.ppm"))));
}

TEST(ToolConvert, NamesTheChannelsOfAThreeChannelResult) {
    ScratchDir dir;
    write_pnm(dir.file("in.ppm"), random_samples(5, 4, 3, 8, 2));
    const auto run = run_tool(
        dir, {"convert", "--to", "Hue/Saturation/Value", dir.file("in.ppm"), dir.file("out.png")});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out,
              "wrote " + dir.file("out.png") +
                  " (3 channels, 8-bit): channel 1 = H, channel 2 = S, channel 3 = V (HSV)\n");
    EXPECT_EQ(run.err, "");
}

// (By default 16-bit chroma is centred at 32768 instead: signed_storage_test.)
TEST(ToolConvert, SixteenBitYuvWithSignedClipMatchesTheLibrary) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 3, 16, 3);
    write_pnm(dir.file("in.ppm"), input);
    const auto run = run_tool(dir, {"convert", "--to", "YUV", "--signed", "clip",
                                    dir.file("in.ppm"), dir.file("out.pnm")});
    ASSERT_EQ(run.status, 0) << run.err;

    Owned src(buffer_from(input));
    Owned dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.get(), dst.slot(), COL_CODE(COL_RGB, COL_YUV)), 1);
    const Samples output = read_pnm(dir.file("out.pnm"));
    EXPECT_EQ(output.depth, 16);
    EXPECT_TRUE(same_samples(samples_of(dst.get()), output));
}

TEST(ToolConvert, IntensityIsWrittenAsOneChannel) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 3, 8, 4);
    write_pnm(dir.file("in.ppm"), input);
    const auto run =
        run_tool(dir, {"convert", "--to", "I", dir.file("in.ppm"), dir.file("out.pgm")});
    ASSERT_EQ(run.status, 0) << run.err;

    Owned src(buffer_from(input));
    Owned dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.get(), dst.slot(), COL_CODE(COL_RGB, COL_I)), 1);
    const Samples output = read_pnm(dir.file("out.pgm"));
    EXPECT_EQ(output.channels, 1);
    EXPECT_TRUE(same_samples(samples_of(dst.get()), output));
}

TEST(ToolConvert, GreyInputConvertsFromIntensity) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 1, 8, 5);
    write_pnm(dir.file("in.pgm"), input);
    const auto run = run_tool(dir, {"convert", "--from", "Intensity", "--to", "RGB",
                                    dir.file("in.pgm"), dir.file("out.ppm")});
    ASSERT_EQ(run.status, 0) << run.err;

    Owned src(buffer_from(input));
    Owned dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.get(), dst.slot(), COL_CODE(COL_I, COL_RGB)), 1);
    EXPECT_TRUE(same_samples(samples_of(dst.get()), read_pnm(dir.file("out.ppm"))));
}

TEST(ToolConvert, SignedTypeWorksOnRescaledPixelsAndWritesThemBack) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 3, 8, 6);
    write_pnm(dir.file("in.ppm"), input);
    const auto run = run_tool(
        dir, {"convert", "--type", "s8", "--to", "YIQ", dir.file("in.ppm"), dir.file("out.ppm")});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("; s8 samples (never negative: the library clamps negative chroma on "
                           "s8 pixels; u8 or u16 keep it) rescaled to 0..255\n"),
              std::string::npos)
        << run.out;

    Owned src(loaded_as(input, BASE_TYPE_S8));
    Owned dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.get(), dst.slot(), COL_CODE(COL_RGB, COL_YIQ)), 1);
    EXPECT_TRUE(same_samples(written_as(dst.get()), read_pnm(dir.file("out.ppm"))));
}

TEST(ToolConvert, SixteenBitTypeFromEightBitFileGivesSixteenBitOutput) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 3, 8, 7);
    write_pnm(dir.file("in.ppm"), input);
    const auto run = run_tool(
        dir, {"convert", "--type", "u16", "--to", "HLS", dir.file("in.ppm"), dir.file("out.ppm")});
    ASSERT_EQ(run.status, 0) << run.err;

    Owned src(loaded_as(input, BASE_TYPE_U16));
    Owned dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.get(), dst.slot(), COL_CODE(COL_RGB, COL_HLS)), 1);
    EXPECT_TRUE(same_samples(written_as(dst.get()), read_pnm(dir.file("out.ppm"))));
}

TEST(ToolConvert, PngInAndOutMatchTheLibrary) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 3, 16, 8);
    ozu::tool::Raster raster(kWidth, kHeight, 3, 16);
    raster.samples = input.values;
    ozu::tool::write_image_file(dir.file("in.png"), raster);
    const auto run =
        run_tool(dir, {"convert", "--to", "XYZ709", dir.file("in.png"), dir.file("out.png")});
    ASSERT_EQ(run.status, 0) << run.err;

    Owned src(buffer_from(input));
    Owned dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.get(), dst.slot(), COL_CODE(COL_RGB, COL_XYZ709)), 1);
    const ozu::tool::Raster output = ozu::tool::read_image_file(dir.file("out.png"));
    const Samples expected = samples_of(dst.get());
    EXPECT_EQ(output.depth, 16);
    EXPECT_EQ(output.channels, 3);
    EXPECT_EQ(output.samples, expected.values);
}

// ---- weighted transforms ---------------------------------------------------------

TEST(ToolTwist, MatchesTheLibrary) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 3, 8, 9);
    write_pnm(dir.file("in.ppm"), input);
    const double m[16] = {0.5, 0.25, 0, 0, 0.25, 0.5, 1, 0, 0.125, 0, 0.5, 0, 0.01, -0.005, 0, 0};
    const auto run = run_tool(
        dir, {"twist", "--matrix", "0.5,0.25,0,0,0.25,0.5,1,0,0.125,0,0.5,0,0.01,-0.005,0,0",
              dir.file("in.ppm"), dir.file("out.ppm")});
    ASSERT_EQ(run.status, 0) << run.err;

    Owned src(buffer_from(input));
    Owned dst;
    ASSERT_EQ(COL_ColorTwist(src.get(), dst.slot(), m), 1);
    EXPECT_TRUE(same_samples(samples_of(dst.get()), read_pnm(dir.file("out.ppm"))));
}

TEST(ToolTwist, RefusesAMatrixOfFifteenNumbers) {
    ScratchDir dir;
    write_pnm(dir.file("in.ppm"), random_samples(4, 4, 3, 8, 10));
    const auto run = run_tool(dir, {"twist", "--matrix", "1,0,0,0,0,1,0,0,0,0,1,0,0,0,0",
                                    dir.file("in.ppm"), dir.file("out.ppm")});
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(is_single_line(run.err)) << run.err;
    EXPECT_NE(run.err.find("bad --matrix"), std::string::npos) << run.err;
    EXPECT_TRUE(run.err.ends_with(usage_tail(COL_ERR_RANGE, "twist"))) << run.err;
    EXPECT_FALSE(std::filesystem::exists(dir.file("out.ppm")));
}

TEST(ToolToGrey, MatchesTheLibrary) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 3, 16, 11);
    write_pnm(dir.file("in.ppm"), input);
    const auto run = run_tool(dir, {"to-grey", "--weights", "0.2126,0.7152,0.0722",
                                    dir.file("in.ppm"), dir.file("out.pgm")});
    ASSERT_EQ(run.status, 0) << run.err;

    Owned src(buffer_from(input));
    Owned dst;
    ASSERT_EQ(COL_ConvertToGrayscale(src.get(), dst.slot(), 0.2126, 0.7152, 0.0722), 1);
    EXPECT_TRUE(same_samples(samples_of(dst.get()), read_pnm(dir.file("out.pgm"))));
}

TEST(ToolToColour, MatchesTheLibrary) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 1, 8, 12);
    write_pnm(dir.file("in.pgm"), input);
    const auto run = run_tool(
        dir, {"to-colour", "--weights", "1,0.8,0.55", dir.file("in.pgm"), dir.file("out.ppm")});
    ASSERT_EQ(run.status, 0) << run.err;

    Owned src(buffer_from(input));
    Owned dst;
    ASSERT_EQ(COL_ConvertToColor(src.get(), dst.slot(), 1.0, 0.8, 0.55), 1);
    EXPECT_TRUE(same_samples(samples_of(dst.get()), read_pnm(dir.file("out.ppm"))));
}

TEST(ToolToColour, NamesAWeightAboveOneWithTheLibrarysRangeCode) {
    ScratchDir dir;
    write_pnm(dir.file("in.pgm"), random_samples(4, 4, 1, 8, 13));
    const auto run = run_tool(
        dir, {"to-colour", "--weights", "1,1.5,0", dir.file("in.pgm"), dir.file("out.ppm")});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err,
              "ozu-color to-colour: bad --weights '1,1.5,0': expected three weights from 0 to 1 "
              "each; weight 2 is out of range" +
                  usage_tail(COL_ERR_RANGE, "to-colour"));
    EXPECT_FALSE(std::filesystem::exists(dir.file("out.ppm")));
}

// ---- analysis ----------------------------------------------------------------------

TEST(ToolThreshold, AllRangesMatchTheLibrary) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 3, 8, 14);
    write_pnm(dir.file("in.ppm"), input);
    const auto run =
        run_tool(dir, {"threshold", "--space", "HSV", "--ranges", "0:120,60:255,50:255",
                       dir.file("in.ppm"), dir.file("mask.pgm")});
    ASSERT_EQ(run.status, 0) << run.err;

    Owned src(buffer_from(input));
    Owned dst;
    ASSERT_EQ(COL_Threshold(src.get(), dst.slot(), COL_RGB, COL_HSV, 0, 120, 60, 255, 50, 255, 0),
              1);
    const Samples expected = samples_of(dst.get());
    EXPECT_TRUE(same_samples(expected, read_pnm(dir.file("mask.pgm"))));
    // A mask that selects nothing, or everything, would pass for the wrong reason.
    EXPECT_NE(std::count(expected.values.begin(), expected.values.end(), 255), 0);
    EXPECT_NE(std::count(expected.values.begin(), expected.values.end(), 0), 0);
}

TEST(ToolThreshold, AnyAndInvertMatchTheLibrary) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 3, 8, 15);
    write_pnm(dir.file("in.ppm"), input);
    const auto run =
        run_tool(dir, {"threshold", "--space", "YUV", "--ranges", "200:255,0:60,190:255", "--any",
                       "--invert", dir.file("in.ppm"), dir.file("mask.pgm")});
    ASSERT_EQ(run.status, 0) << run.err;

    Owned src(buffer_from(input));
    Owned dst;
    ASSERT_EQ(COL_Threshold(src.get(), dst.slot(), COL_RGB, COL_YUV, 200, 255, 0, 60, 190, 255, 3),
              1);
    EXPECT_TRUE(same_samples(samples_of(dst.get()), read_pnm(dir.file("mask.pgm"))));
}

TEST(ToolThreshold, NamesARangeTheLibraryRefuses) {
    ScratchDir dir;
    write_pnm(dir.file("in.ppm"), random_samples(6, 5, 3, 8, 16));
    for (const char* ranges : {"30:10,0:255,0:255", "0:255,10:10,0:255", "0:255,0:255,0:256"}) {
        const auto run = run_tool(dir, {"threshold", "--space", "HSV", "--ranges", ranges,
                                        dir.file("in.ppm"), dir.file("mask.pgm")});
        EXPECT_EQ(run.status, 2) << ranges;
        const std::string text = ranges;
        const std::string bad = text == "30:10,0:255,0:255" ? "channel 1 has 30:10"
                                : text == "0:255,10:10,0:255" ? "channel 2 has 10:10"
                                                               : "channel 3 has 0:256";
        EXPECT_EQ(run.err, "ozu-color threshold: bad --ranges '" + text + "': " + bad +
                               "; each LOW must be below its HIGH and both 0 to 255 (0:255 "
                               "takes every value)" +
                               usage_tail(COL_ERR_RANGE, "threshold"));
        EXPECT_FALSE(std::filesystem::exists(dir.file("mask.pgm")));
    }
    // The library's own rule, which the message stands in for.
    Owned src(buffer_from(random_samples(6, 5, 3, 8, 16)));
    Owned dst;
    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_Threshold(src.get(), dst.slot(), COL_RGB, COL_HSV, 0, 255, 10, 10, 0, 255, 0), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_RANGE);
}

TEST(ToolThreshold, RefusesAMalformedRange) {
    ScratchDir dir;
    write_pnm(dir.file("in.ppm"), random_samples(6, 5, 3, 8, 17));
    for (const char* ranges : {"0-30,0:255,0:255", "0:30,0:255", "0:30,0:255,0:255,0:1",
                               "-1:30,0:255,0:255", "a:b,0:255,0:255"}) {
        const auto run = run_tool(dir, {"threshold", "--space", "HSV", "--ranges", ranges,
                                        dir.file("in.ppm"), dir.file("mask.pgm")});
        EXPECT_EQ(run.status, 2) << ranges;
        EXPECT_TRUE(is_single_line(run.err)) << run.err;
        EXPECT_EQ(
            run.err.rfind("ozu-color threshold: bad --ranges '" + std::string(ranges) + "'", 0), 0u)
            << run.err;
        EXPECT_TRUE(run.err.ends_with(usage_tail(COL_ERR_RANGE, "threshold"))) << run.err;
    }
}

TEST(ToolDistance, RawScaleMatchesTheLibrary) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 3, 8, 18);
    write_pnm(dir.file("in.ppm"), input);
    const auto run = run_tool(dir, {"distance", "--colour1", "0x102030", "--colour2", "#F0E0D0",
                                    "--scale", "raw", dir.file("in.ppm"), dir.file("d.pgm")});
    ASSERT_EQ(run.status, 0) << run.err;

    Owned src(buffer_from(input));
    Owned dst;
    ASSERT_EQ(COL_CalcColorDistanceImage(src.get(), dst.slot(), 0x102030, 0xF0E0D0), 1);
    const Samples expected = samples_of(dst.get());
    EXPECT_TRUE(same_samples(expected, read_pnm(dir.file("d.pgm"))));
    EXPECT_NE(*std::max_element(expected.values.begin(), expected.values.end()), 0);
}

TEST(ToolDistance, IsStretchedToTheFullRangeByDefault) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 3, 8, 18);
    write_pnm(dir.file("in.ppm"), input);
    const auto run = run_tool(dir, {"distance", "--colour1", "0x102030", "--colour2", "#F0E0D0",
                                    dir.file("in.ppm"), dir.file("d.pgm")});
    ASSERT_EQ(run.status, 0) << run.err;
    Owned src(buffer_from(input));
    Owned dst;
    ASSERT_EQ(COL_CalcColorDistanceImage(src.get(), dst.slot(), 0x102030, 0xF0E0D0), 1);
    const Samples raw = samples_of(dst.get());
    const uint32_t largest = *std::max_element(raw.values.begin(), raw.values.end());
    ASSERT_GT(largest, 0u);
    ASSERT_LT(largest, 255u);
    EXPECT_NE(run.out.find("; stretched: the library's 0.." + std::to_string(largest) +
                           " written as 0..255 (--scale raw keeps them)\n"),
              std::string::npos)
        << run.out;
    const Samples written = read_pnm(dir.file("d.pgm"));
    ASSERT_EQ(written.values.size(), raw.values.size());
    for (size_t k = 0; k < raw.values.size(); ++k)
        ASSERT_EQ(written.values[k], (raw.values[k] * 255u + largest / 2) / largest) << k;
    EXPECT_EQ(*std::max_element(written.values.begin(), written.values.end()), 255);
}

TEST(ToolMaxContrast, MatchesTheLibrary) {
    ScratchDir dir;
    // Left half one colour, right half another, with noise: an edge across
    // the middle line.
    Samples input = random_samples(kWidth, kHeight, 3, 8, 20);
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t x = 0; x < kWidth; ++x) {
            uint16_t* p = &input.values[(size_t(y) * kWidth + size_t(x)) * 3];
            p[0] = static_cast<uint16_t>((x < kWidth / 2 ? 200 : 60) + p[0] % 16);
            p[1] = static_cast<uint16_t>(90 + p[1] % 16);
            p[2] = static_cast<uint16_t>((x < kWidth / 2 ? 40 : 150) + p[2] % 16);
        }
    write_pnm(dir.file("in.ppm"), input);
    const auto run = run_tool(
        dir, {"max-contrast", "--line", "2,11,34,11", "--width", "3", "--filter", "5",
              "--candidates", "RGB:HSV,RGB:YUV", dir.file("in.ppm"), dir.file("plane.pgm")});
    ASSERT_EQ(run.status, 0) << run.err;

    Owned src(buffer_from(input));
    int32_t space = COL_RGB;
    ASSERT_EQ(IPL_BufControl(src.get(), BASE_ATTR_COLOR_SPACE, &space), 1);
    Owned dst;
    const int32_t candidates[2] = {int32_t(COL_CODE(COL_RGB, COL_HSV)),
                                   int32_t(COL_CODE(COL_RGB, COL_YUV))};
    const uint32_t line[4] = {2, 11, 34, 11};
    ASSERT_EQ(COL_GetMaxContrastPlane(src.get(), dst.slot(), candidates, 2, line, 3, 5), 1);
    EXPECT_TRUE(same_samples(samples_of(dst.get()), read_pnm(dir.file("plane.pgm"))));
}

TEST(ToolMaxContrast, NamesAnEvenFilterOrWidthWithTheProfileCode) {
    ScratchDir dir;
    write_pnm(dir.file("in.ppm"), random_samples(kWidth, kHeight, 3, 8, 21));
    const auto filter = run_tool(dir, {"max-contrast", "--line", "2,11,34,11", "--filter", "4",
                                       dir.file("in.ppm"), dir.file("plane.pgm")});
    EXPECT_EQ(filter.status, 2);
    EXPECT_EQ(filter.err, "ozu-color max-contrast: bad --filter '4': expected an odd number, 3 or "
                          "more" + usage_tail(COL_ERR_PROFILE_ARGS, "max-contrast"));
    const auto width = run_tool(dir, {"max-contrast", "--line", "2,11,34,11", "--width", "4",
                                      dir.file("in.ppm"), dir.file("plane.pgm")});
    EXPECT_EQ(width.status, 2);
    EXPECT_EQ(width.err, "ozu-color max-contrast: bad --width '4': expected an odd number, the "
                         "strip being centred on the line" +
                             usage_tail(COL_ERR_PROFILE_ARGS, "max-contrast"));
    const auto point = run_tool(dir, {"max-contrast", "--line", "5,5,5,5", dir.file("in.ppm"),
                                      dir.file("plane.pgm")});
    EXPECT_EQ(point.status, 2);
    EXPECT_EQ(point.err, "ozu-color max-contrast: bad --line '5,5,5,5': the two end points are "
                         "the same" + usage_tail(COL_ERR_PROFILE_ARGS, "max-contrast"));
    EXPECT_FALSE(std::filesystem::exists(dir.file("plane.pgm")));
}

TEST(ToolMaxContrast, ALineOutsideTheImageNamesTheOptionsAndTheSize) {
    ScratchDir dir;
    write_pnm(dir.file("in.ppm"), random_samples(kWidth, kHeight, 3, 8, 21));
    const auto run = run_tool(dir, {"max-contrast", "--line", "2,11,40,11", "--width", "3",
                                    dir.file("in.ppm"), dir.file("plane.pgm")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "ozu-color max-contrast: --line 2,11,40,11 with --width 3 and --filter 3 "
                       "does not fit '" + dir.file("in.ppm") + "' (37 x 23): both end points "
                       "and the whole strip must lie inside the image, and --filter must not "
                       "exceed the line's length in pixels" + code_line(COL_ERR_PROFILE_ARGS));
}

// ---- Bayer ----------------------------------------------------------------------------

TEST(ToolDemosaic, MatchesTheLibraryForEachParity) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth + 1, kHeight + 1, 1, 8, 22);
    write_pnm(dir.file("raw.pgm"), input);
    for (int32_t parity = 0; parity < 4; ++parity) {
        const auto run = run_tool(dir, {"demosaic", "--parity", std::to_string(parity),
                                        dir.file("raw.pgm"), dir.file("rgb.ppm")});
        ASSERT_EQ(run.status, 0) << run.err;

        Owned src(buffer_from(input));
        BASE_GetAtBuffer(src.get())->bayerParity = parity;
        Owned dst;
        ASSERT_EQ(COL_ConvertColorSpace(src.get(), dst.slot(), COL_CODE(COL_BAYER, COL_RGB)), 1);
        EXPECT_TRUE(same_samples(samples_of(dst.get()), read_pnm(dir.file("rgb.ppm"))))
            << "parity " << parity;
    }
}

TEST(ToolDemosaic, RefusesAParityOutsideZeroToThree) {
    ScratchDir dir;
    write_pnm(dir.file("raw.pgm"), random_samples(8, 8, 1, 8, 23));
    const auto run =
        run_tool(dir, {"demosaic", "--parity", "4", dir.file("raw.pgm"), dir.file("rgb.ppm")});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "ozu-color demosaic: bad --parity '4': expected 0, 1, 2 or 3" +
                           usage_tail(COL_ERR_RANGE, "demosaic"));
}

TEST(ToolDemosaic, GreyMatchesTheLibraryAndOtherTargetsAreRefused) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 1, 8, 26);
    write_pnm(dir.file("raw.pgm"), input);
    const auto run = run_tool(
        dir, {"demosaic", "--parity", "2", "--to", "I", dir.file("raw.pgm"), dir.file("grey.pgm")});
    ASSERT_EQ(run.status, 0) << run.err;
    Owned src(buffer_from(input));
    BASE_GetAtBuffer(src.get())->bayerParity = 2;
    Owned dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.get(), dst.slot(), COL_CODE(COL_BAYER, COL_I)), 1);
    EXPECT_TRUE(same_samples(samples_of(dst.get()), read_pnm(dir.file("grey.pgm"))));

    const auto yuv =
        run_tool(dir, {"demosaic", "--to", "YUV", dir.file("raw.pgm"), dir.file("yuv.ppm")});
    EXPECT_EQ(yuv.status, 2);
    EXPECT_EQ(yuv.err, "ozu-color demosaic: bad --to 'YUV': the mosaic converts to RGB or I only" +
                           usage_tail(COL_ERR_COLOR_SPACE, "demosaic"));
}

// ---- text commands ------------------------------------------------------------------

TEST(ToolSpectral, PrintsTheLibrarysComponents) {
    ScratchDir dir;
    const auto run = run_tool(dir, {"spectral", "485", "--space", "HSV"});
    ASSERT_EQ(run.status, 0) << run.err;
    double c[3] = {};
    ASSERT_EQ(COL_SpectralToColor(485, COL_HSV, &c[0], &c[1], &c[2]), 1);
    char expected[200];
    std::snprintf(expected, sizeof expected, "485 nm in HSV: H = %.6f, S = %.6f, V = %.6f\n", c[0],
                  c[1], c[2]);
    EXPECT_EQ(run.out, expected);
}

TEST(ToolSpectral, ReportsAWavelengthOutsideTheVisibleBand) {
    ScratchDir dir;
    const auto run = run_tool(dir, {"spectral", "780"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err,
              "ozu-color spectral: COL_SpectralToColor failed" + code_line(COL_ERR_WAVELENGTH));
}

TEST(ToolSpectral, StripHoldsEveryWavelengthAtEightBits) {
    ScratchDir dir;
    const auto run = run_tool(dir, {"spectral", "--strip", dir.file("s.ppm"), "--height", "2"});
    ASSERT_EQ(run.status, 0) << run.err;
    const Samples strip = read_pnm(dir.file("s.ppm"));
    ASSERT_EQ(strip.width, 400);
    ASSERT_EQ(strip.height, 2);
    for (int32_t nm : {380, 470, 550, 620, 779}) {
        double c[3] = {};
        ASSERT_EQ(COL_SpectralToColor(nm, COL_RGB, &c[0], &c[1], &c[2]), 1);
        for (int32_t k = 0; k < 3; ++k)
            EXPECT_EQ(strip.values[size_t(nm - 380) * 3 + size_t(k)],
                      uint16_t(std::floor(c[k] * 255 + 0.5)))
                << nm << " nm, channel " << k;
    }
}

std::string library_text(int32_t (*entry)(char*, char*, int32_t), const char* model) {
    char text[256] = {};
    std::strncpy(text, model, sizeof text - 1);
    char out[1024] = {};
    EXPECT_EQ(entry(text, out, sizeof out), 1);
    return out;
}

TEST(ToolModel, LongShortAndExtractPrintTheLibrarysNames) {
    ScratchDir dir;
    const auto longRun = run_tool(dir, {"model", "long", "Red/550/Blue"});
    ASSERT_EQ(longRun.status, 0) << longRun.err;
    EXPECT_EQ(longRun.out, library_text(COL_ModelToLong, "Red/550/Blue") + "\n");
    EXPECT_EQ(longRun.out, "R/550nm/B\n");

    const auto shortRun = run_tool(dir, {"model", "short", "X709/Y709/Z709"});
    ASSERT_EQ(shortRun.status, 0) << shortRun.err;
    EXPECT_EQ(shortRun.out, library_text(COL_ModelToShort, "X709/Y709/Z709") + "\n");

    const auto extractRun = run_tool(dir, {"model", "extract", "XYZ709", "2"});
    ASSERT_EQ(extractRun.status, 0) << extractRun.err;
    EXPECT_EQ(extractRun.out, "Z709\n");
}

TEST(ToolModel, ReportsAnUnknownChannelName) {
    ScratchDir dir;
    const auto run = run_tool(dir, {"model", "long", "R/Foo/G"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "ozu-color model: COL_ModelToLong failed" + code_line(COL_ERR_COLOR_SPACE));
}

TEST(ToolModel, TintTableMatchesTheLibrary) {
    ScratchDir dir;
    const auto run = run_tool(dir, {"model", "tint", "H"});
    ASSERT_EQ(run.status, 0) << run.err;
    Owned table;
    ASSERT_EQ(COL_ModelTinting("H", table.slot()), 1);
    const Samples t = samples_of(table.get());
    std::string expected;
    for (int32_t i = 0; i < 256; ++i)
        expected += std::to_string(i) + " " + std::to_string(t.values[size_t(i) * 3]) + " " +
                    std::to_string(t.values[size_t(i) * 3 + 1]) + " " +
                    std::to_string(t.values[size_t(i) * 3 + 2]) + "\n";
    EXPECT_EQ(run.out, expected);

    const auto image =
        run_tool(dir, {"model", "tint", "550nm", dir.file("t.ppm"), "--height", "3"});
    ASSERT_EQ(image.status, 0) << image.err;
    Owned table550;
    ASSERT_EQ(COL_ModelTinting("550nm", table550.slot()), 1);
    const Samples strip = read_pnm(dir.file("t.ppm"));
    ASSERT_EQ(strip.height, 3);
    const Samples t550 = samples_of(table550.get());
    EXPECT_TRUE(
        std::equal(t550.values.begin(), t550.values.end(), strip.values.begin() + 2 * 256 * 3));
}

TEST(ToolInfo, VersionAndSpacesComeFromTheLibrary) {
    ScratchDir dir;
    const auto version = run_tool(dir, {"version"});
    ASSERT_EQ(version.status, 0) << version.err;
    char text[32] = {};
    ASSERT_EQ(COL_GetVersion(text, sizeof text), 1);
    EXPECT_NE(version.out.find(std::string("libozu_color ") + text + "\n"), std::string::npos)
        << version.out;

    const auto spaces = run_tool(dir, {"spaces"});
    ASSERT_EQ(spaces.status, 0) << spaces.err;
    EXPECT_NE(spaces.out.find("HSV      H/S/V            HSV, H/S/V, Hue/Saturation/Value\n"),
              std::string::npos)
        << spaces.out;
    EXPECT_NE(spaces.out.find("XYZ601   X601/Y601/Z601   XYZ, X/Y/Z, XYZ601\n"), std::string::npos);
}

// ---- failures ------------------------------------------------------------------------

TEST(ToolErrors, MissingFileNamesTheSystemError) {
    ScratchDir dir;
    const auto run =
        run_tool(dir, {"convert", "--to", "HSV", dir.file("missing.png"), dir.file("out.png")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "ozu-color convert: cannot open '" + dir.file("missing.png") + "'" +
                           code_line(ENOENT));
    EXPECT_EQ(run.out, "");
}

TEST(ToolErrors, UnsupportedFormatIsRefused) {
    ScratchDir dir;
    tool_test::write_bytes(dir.file("in.bmp"), {'B', 'M', 0x36, 0, 0, 0, 0, 0, 0, 0, 0x36, 0});
    const auto run =
        run_tool(dir, {"convert", "--to", "HSV", dir.file("in.bmp"), dir.file("out.png")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "ozu-color convert: '" + dir.file("in.bmp") +
                           "' is not a PNG, JPEG, TIFF or PNM image" + code_line(ENOTSUP));
}

TEST(ToolErrors, AsciiPnmIsReadAsBinaryIs) {
    ScratchDir dir;
    const std::string text = "P3\n2 1\n255\n1 2 3 200 100 50\n";
    tool_test::write_bytes(dir.file("in.ppm"), std::vector<uint8_t>(text.begin(), text.end()));
    tool_test::write_bytes(dir.file("bin.ppm"), {'P', '6', ' ', '2', ' ', '1', ' ', '2', '5', '5',
                                                 '\n', 1, 2, 3, 200, 100, 50});
    for (const char* name : {"in.ppm", "bin.ppm"}) {
        const auto run = run_tool(dir, {"convert", "--to", "HSV", dir.file(name),
                                        dir.file(std::string(name) + ".png")});
        EXPECT_EQ(run.status, 0) << run.err;
    }
    EXPECT_EQ(tool_test::read_bytes(dir.file("in.ppm.png")),
              tool_test::read_bytes(dir.file("bin.ppm.png")));
}

TEST(ToolErrors, UnsupportedOutputFormatIsRefusedBeforeAnyWork) {
    ScratchDir dir;
    const auto run =
        run_tool(dir, {"convert", "--to", "HSV", dir.file("missing.png"), dir.file("out.gif")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "ozu-color convert: cannot write '" + dir.file("out.gif") +
                           "': the output name must end in .png, .jpg, .jpeg, .tif, .tiff, "
                           ".pgm, .ppm or .pnm (or --format names the format)" +
                           code_line(ENOTSUP));
}

TEST(ToolErrors, BadColourSpaceNameIsTheLibrarysColourSpaceError) {
    ScratchDir dir;
    write_pnm(dir.file("in.ppm"), random_samples(4, 4, 3, 8, 24));
    const auto run =
        run_tool(dir, {"convert", "--to", "hsv", dir.file("in.ppm"), dir.file("out.ppm")});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err,
              "ozu-color convert: unknown colour space 'hsv' for --to (names are "
              "case-sensitive; see 'ozu-color spaces')" +
                  usage_tail(COL_ERR_COLOR_SPACE, "convert"));
    EXPECT_FALSE(std::filesystem::exists(dir.file("out.ppm")));
}

TEST(ToolErrors, EqualSpacesAreAUsageErrorWithTheLibrarysCode) {
    ScratchDir dir;
    write_pnm(dir.file("in.ppm"), random_samples(4, 4, 3, 8, 25));
    const auto run = run_tool(dir, {"convert", "--from", "RGB", "--to", "Red/Green/Blue",
                                    dir.file("in.ppm"), dir.file("out.ppm")});
    EXPECT_EQ(run.status, 2);
    const std::string tail = code_line(COL_ERR_COLOR_SPACE);
    EXPECT_EQ(run.err,
              "ozu-color convert: --from 'RGB' and --to 'Red/Green/Blue' are the same colour "
              "space (RGB): nothing to convert" +
                  tail.substr(0, tail.size() - 1) + " (try 'ozu-color convert --help')\n");
    EXPECT_FALSE(std::filesystem::exists(dir.file("out.ppm")));
}

TEST(ToolErrors, UsageErrorsExitWithTwo) {
    ScratchDir dir;
    const auto unknownOption = run_tool(dir, {"convert", "--colour", "x"});
    EXPECT_EQ(unknownOption.status, 2);
    EXPECT_EQ(unknownOption.err, "ozu-color convert: unknown option '--colour'" +
                                     error_tail(EINVAL).substr(0, error_tail(EINVAL).size() - 1) +
                                     " (try 'ozu-color convert --help')\n");
    const auto missingValue = run_tool(dir, {"threshold", "--space"});
    EXPECT_EQ(missingValue.status, 2);
    EXPECT_TRUE(is_single_line(missingValue.err)) << missingValue.err;
    const auto unknownCommand = run_tool(dir, {"paint"});
    EXPECT_EQ(unknownCommand.status, 2);
    EXPECT_EQ(unknownCommand.err,
              "ozu-color: unknown command 'paint' (try 'ozu-color --help')" + error_tail(EINVAL));
    const auto nothing = run_tool(dir, {});
    EXPECT_EQ(nothing.status, 2);
    EXPECT_TRUE(is_single_line(nothing.err)) << nothing.err;
}

TEST(ToolHelp, EveryCommandHasHelp) {
    ScratchDir dir;
    for (const char* command :
         {"convert", "twist", "to-grey", "to-colour", "threshold", "distance", "max-contrast",
          "demosaic", "spectral", "model", "spaces", "version", "demo"}) {
        const auto run = run_tool(dir, {command, "--help"});
        EXPECT_EQ(run.status, 0) << command;
        EXPECT_EQ(run.out.rfind(std::string("usage: ozu-color ") + command, 0), 0u) << run.out;
        EXPECT_EQ(run.err, "") << command;
    }
    const auto overview = run_tool(dir, {"--help"});
    EXPECT_EQ(overview.status, 0);
    EXPECT_NE(overview.out.find("max-contrast"), std::string::npos);
}

}  // namespace
