// What the program says: errors that name the argument or the file at
// fault, exit status 2 for every option value that cannot be used, the
// Bayer pattern names, the version, the labels of the spectral colours, the
// warning for an instruction set that cannot run, and the winner of the
// maximum-contrast search.

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

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
using tool_test::Samples;
using tool_test::samples_of;
using tool_test::ScratchDir;
using tool_test::usage_tail;
using tool_test::write_pnm;

// ---- demosaic ---------------------------------------------------------------

TEST(ToolMessages, DemosaicOfAnRgbFileNamesTheChannels) {
    ScratchDir dir;
    write_pnm(dir.file("rgb.ppm"), random_samples(8, 6, 3, 8, 1));
    const auto run = run_tool(dir, {"demosaic", dir.file("rgb.ppm"), dir.file("out.ppm")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "ozu-color demosaic: '" + dir.file("rgb.ppm") +
                           "' has 3 channels: a Bayer mosaic has one (a grey PGM or PNG straight "
                           "from the sensor)" +
                           error_tail(COL_ERR_PLANES));
    EXPECT_FALSE(std::filesystem::exists(dir.file("out.ppm")));
}

TEST(ToolMessages, AnImageWithTheWrongChannelCountIsNamed) {
    ScratchDir dir;
    write_pnm(dir.file("grey.pgm"), random_samples(5, 4, 1, 8, 2));
    write_pnm(dir.file("rgb.ppm"), random_samples(5, 4, 3, 8, 3));
    const std::string grey = "'" + dir.file("grey.pgm") + "' has 1 channel: ";
    const std::string rgb = "'" + dir.file("rgb.ppm") + "' has 3 channels: ";
    const struct {
        std::vector<std::string> words;
        std::string line;
    } cases[] = {
        {{"convert", "--to", "HSV", dir.file("grey.pgm"), dir.file("o.png")},
         "ozu-color convert: " + grey + "conversion from RGB needs 3"},
        {{"convert", "--from", "I", "--to", "RGB", dir.file("rgb.ppm"), dir.file("o.png")},
         "ozu-color convert: " + rgb + "conversion from I needs 1"},
        {{"to-grey", dir.file("grey.pgm"), dir.file("o.png")},
         "ozu-color to-grey: " + grey + "a weighted sum of three channels needs 3"},
        {{"to-colour", dir.file("rgb.ppm"), dir.file("o.png")},
         "ozu-color to-colour: " + rgb + "grey into colour needs 1"},
        {{"twist", "--matrix", "1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,1", dir.file("grey.pgm"),
          dir.file("o.png")},
         "ozu-color twist: " + grey + "the twist needs 3"},
        {{"threshold", "--space", "HSV", "--ranges", "0:9,0:9,0:9", dir.file("grey.pgm"),
          dir.file("o.png")},
         "ozu-color threshold: " + grey + "the threshold needs 3"},
        {{"distance", "--colour1", "0", "--colour2", "0xFFFFFF", dir.file("grey.pgm"),
          dir.file("o.png")},
         "ozu-color distance: " + grey + "the colour distance needs 3"},
    };
    for (const auto& c : cases) {
        const auto run = run_tool(dir, c.words);
        EXPECT_EQ(run.status, 1) << c.words[0];
        EXPECT_EQ(run.err, c.line + error_tail(COL_ERR_PLANES));
    }
    EXPECT_FALSE(std::filesystem::exists(dir.file("o.png")));
}

TEST(ToolMessages, AMosaicWithoutAWholeCellIsNamed) {
    ScratchDir dir;
    write_pnm(dir.file("thin.pgm"), random_samples(1, 6, 1, 8, 2));
    const auto thin = run_tool(dir, {"demosaic", dir.file("thin.pgm"), dir.file("out.ppm")});
    EXPECT_EQ(thin.status, 1);
    EXPECT_EQ(thin.err, "ozu-color demosaic: '" + dir.file("thin.pgm") +
                            "' is 1 x 6 pixels: a Bayer mosaic needs at least one 2 x 2 cell" +
                            error_tail(COL_ERR_WIDTH));
    write_pnm(dir.file("flat.pgm"), random_samples(6, 1, 1, 8, 3));
    const auto flat = run_tool(dir, {"demosaic", dir.file("flat.pgm"), dir.file("out.ppm")});
    EXPECT_EQ(flat.status, 1);
    EXPECT_TRUE(flat.err.ends_with("is 6 x 1 pixels: a Bayer mosaic needs at least one 2 x 2 cell" +
                                   error_tail(COL_ERR_HEIGHT)))
        << flat.err;
    // The smallest mosaic that works.
    write_pnm(dir.file("cell.pgm"), random_samples(2, 2, 1, 8, 4));
    EXPECT_EQ(run_tool(dir, {"demosaic", dir.file("cell.pgm"), dir.file("out.ppm")}).status, 0);
}

// A mosaic whose red, green and blue sites hold 200, 100 and 30 as the
// pattern says: demosaiced with that pattern every pixel inside the frame is
// (200, 100, 30); any other pattern mixes the colours up.
Samples mosaic_of(const std::string& pattern, int32_t width, int32_t height) {
    Samples s{width, height, 1, 8, {}};
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            const char site = pattern[size_t((y % 2) * 2 + (x % 2))];
            s.values.push_back(site == 'R' ? 200 : site == 'G' ? 100 : 30);
        }
    }
    return s;
}

TEST(ToolMessages, PatternNamesPutRedWhereTheyName) {
    ScratchDir dir;
    const int32_t width = 10, height = 8;
    const char* const patterns[4] = {"GRBG", "RGGB", "BGGR", "GBRG"};
    for (int32_t parity = 0; parity < 4; ++parity) {
        const std::string pattern = patterns[parity];
        write_pnm(dir.file("raw.pgm"), mosaic_of(pattern, width, height));
        const auto run = run_tool(dir, {"demosaic", "--pattern", pattern, dir.file("raw.pgm"),
                                        dir.file("rgb.ppm")});
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_NE(run.out.find("from the " + pattern + " mosaic\n"), std::string::npos) << run.out;
        const Samples rgb = read_pnm(dir.file("rgb.ppm"));
        for (int32_t y = 1; y < height - 1; ++y)
            for (int32_t x = 1; x < width - 1; ++x)
                for (int32_t c = 0; c < 3; ++c)
                    ASSERT_EQ(rgb.values[size_t((y * width + x) * 3 + c)], c == 0 ? 200 : c == 1 ? 100 : 30)
                        << pattern << " x " << x << " y " << y << " channel " << c;
        // The name and the library's number are the same request.
        const auto numbered = run_tool(dir, {"demosaic", "--parity", std::to_string(parity),
                                             dir.file("raw.pgm"), dir.file("n.ppm")});
        ASSERT_EQ(numbered.status, 0) << numbered.err;
        EXPECT_TRUE(same_samples(rgb, read_pnm(dir.file("n.ppm")))) << pattern;
    }
}

TEST(ToolMessages, PatternAndParityAreCheckedAsOptions) {
    ScratchDir dir;
    write_pnm(dir.file("raw.pgm"), mosaic_of("RGGB", 4, 4));
    const auto both = run_tool(dir, {"demosaic", "--pattern", "RGGB", "--parity", "1",
                                     dir.file("raw.pgm"), dir.file("o.ppm")});
    EXPECT_EQ(both.status, 2);
    EXPECT_EQ(both.err, "ozu-color demosaic: give --pattern or --parity, not both" +
                            usage_tail(EINVAL, "demosaic"));
    const auto bad = run_tool(dir, {"demosaic", "--pattern", "rggb", dir.file("raw.pgm"),
                                    dir.file("o.ppm")});
    EXPECT_EQ(bad.status, 2);
    EXPECT_EQ(bad.err, "ozu-color demosaic: bad --pattern 'rggb': expected RGGB, BGGR, GRBG or "
                       "GBRG" + usage_tail(COL_ERR_RANGE, "demosaic"));
    const auto wide = run_tool(dir, {"demosaic", "--type", "u16", dir.file("raw.pgm"),
                                     dir.file("o.ppm")});
    EXPECT_EQ(wide.status, 2);
    EXPECT_EQ(wide.err, "ozu-color demosaic: bad --type 'u16': the mosaic path takes 8-bit "
                        "pixels, u8 or s8" + usage_tail(COL_ERR_PIXEL_TYPE, "demosaic"));
}

TEST(ToolMessages, ASixteenBitMosaicIsDemosaicedAtEightBitsWithANote) {
    ScratchDir dir;
    Samples raw = mosaic_of("RGGB", 6, 6);
    raw.depth = 16;
    for (uint16_t& v : raw.values) v = static_cast<uint16_t>(v * 257);
    write_pnm(dir.file("raw.pgm"), raw);
    const auto run = run_tool(dir, {"demosaic", "--pattern", "RGGB", dir.file("raw.pgm"),
                                    dir.file("rgb.ppm")});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out.rfind("note: '" + dir.file("raw.pgm") +
                                "' has 16-bit samples; the library demosaics 8-bit ones, so they "
                                "are rescaled to 8 bits and the result is 8-bit\n",
                            0),
              0u)
        << run.out;
    const Samples rgb = read_pnm(dir.file("rgb.ppm"));
    EXPECT_EQ(rgb.depth, 8);
    EXPECT_EQ(rgb.values[size_t((2 * 6 + 2) * 3)], 200);
}

// ---- exit status 2 for every value that cannot be used -------------------------

TEST(ToolMessages, EveryUnusableOptionValueExitsWithTwo) {
    ScratchDir dir;
    write_pnm(dir.file("in.ppm"), random_samples(8, 6, 3, 8, 5));
    const std::string in = dir.file("in.ppm");
    const std::string out = dir.file("out.pgm");
    const std::vector<std::vector<std::string>> lines = {
        {"to-grey", "--weights", "0.3,0.3", in, out},
        {"to-grey", "--weights", "0.3,x,0.1", in, out},
        {"to-grey", "--weights", "-0.1,0.5,0.5", in, out},
        {"to-colour", "--weights", "1,1,2", in, dir.file("out.ppm")},
        {"twist", "--matrix", "1,2,3", in, dir.file("out.ppm")},
        {"demosaic", "--parity", "7", in, dir.file("out.ppm")},
        {"demosaic", "--parity", "one", in, dir.file("out.ppm")},
        {"distance", "--colour1", "0x1000000", "--colour2", "0", in, out},
        {"distance", "--colour1", "red", "--colour2", "0", in, out},
        {"threshold", "--space", "HSV", "--ranges", "0:10,0:255,0:300", in, out},
        {"max-contrast", "--line", "1,1,6", in, out},
        {"convert", "--to", "Luv", in, dir.file("out.ppm")},
        {"convert", "--to", "HSV", "--type", "u32", in, dir.file("out.ppm")},
        {"spectral", "550", "--space", "hsv"},
        {"spectral", "five"},
    };
    for (const auto& line : lines) {
        const auto run = run_tool(dir, line);
        EXPECT_EQ(run.status, 2) << line[0] << " " << line[1] << " " << line[2] << ": " << run.err;
        EXPECT_TRUE(is_single_line(run.err)) << run.err;
        EXPECT_TRUE(run.err.ends_with(" --help')\n")) << run.err;
    }
    EXPECT_FALSE(std::filesystem::exists(out));
}

// ---- version, spectral, instruction set ---------------------------------------------

TEST(ToolMessages, VersionOptionPrintsBothVersionsAndTheKernels) {
    ScratchDir dir;
    const auto option = run_tool(dir, {"--version"});
    ASSERT_EQ(option.status, 0) << option.err;
    char version[32] = {};
    ASSERT_EQ(COL_GetVersion(version, sizeof version), 1);
    char target[16] = {};
    ASSERT_EQ(COL_GetCpuTarget(target, sizeof target), 1);
    EXPECT_NE(option.out.find(std::string("\nlibozu_color ") + version + "\nkernels: " + target +
                              "\n"),
              std::string::npos)
        << option.out;
    EXPECT_EQ(option.out.rfind("ozu-color ", 0), 0u);
    EXPECT_EQ(run_tool(dir, {"version"}).out, option.out);
}

TEST(ToolMessages, SpectralLabelsTheSpaceTheLibraryAnswersIn) {
    ScratchDir dir;
    const auto yuv = run_tool(dir, {"spectral", "550", "--space", "YUV"});
    ASSERT_EQ(yuv.status, 0) << yuv.err;
    double c[3] = {};
    ASSERT_EQ(COL_SpectralToColor(550, COL_YUV, &c[0], &c[1], &c[2]), 1);
    double rgb[3] = {};
    ASSERT_EQ(COL_SpectralToColor(550, COL_RGB, &rgb[0], &rgb[1], &rgb[2]), 1);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(c[k], rgb[k]);  // the library's answer is RGB's
    char expected[256];
    std::snprintf(expected, sizeof expected,
                  "550 nm in RGB (the library's answer for YUV): R = %.6f, G = %.6f, B = %.6f\n",
                  c[0], c[1], c[2]);
    EXPECT_EQ(yuv.out, expected);
    const auto hsv = run_tool(dir, {"spectral", "550", "--space", "HSV"});
    EXPECT_EQ(hsv.out.rfind("550 nm in HSV: H = ", 0), 0u) << hsv.out;
}

// Runs the program with OZU_CPU_TARGET set for it alone.
tool_test::Run run_with_target(const ScratchDir& dir, const char* target,
                               const std::vector<std::string>& args) {
    setenv("OZU_CPU_TARGET", target, 1);
    const auto run = run_tool(dir, args);
    unsetenv("OZU_CPU_TARGET");
    return run;
}

TEST(ToolMessages, AnUnknownCpuTargetIsReportedWithTheOneInUse) {
    ScratchDir dir;
    char best[16] = {};
    ASSERT_EQ(COL_GetCpuTarget(best, sizeof best), 1);
    const auto run = run_with_target(dir, "bogus", {"spaces"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, std::string("ozu-color: warning: OZU_CPU_TARGET='bogus' is not a target "
                                   "this build and processor run (scalar, sse4, avx2 or avx512); "
                                   "running ") +
                           best + "\n");
    // A target that runs is taken without a word; scalar always runs.
    const auto scalar = run_with_target(dir, "scalar", {"version"});
    EXPECT_EQ(scalar.err, "");
    EXPECT_NE(scalar.out.find("kernels: scalar\n"), std::string::npos) << scalar.out;
}

// ---- max-contrast ------------------------------------------------------------------

// Left half grey, right half pure green: the steps of R, G, B and of YUV stay
// near 128; HSV's saturation jumps from 0 to 255 and wins.
TEST(ToolMessages, MaxContrastNamesTheWinningCandidateAndChannel) {
    ScratchDir dir;
    const int32_t width = 24, height = 9;
    Samples image{width, height, 3, 8, {}};
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            for (uint16_t v : x < width / 2 ? std::vector<uint16_t>{128, 128, 128}
                                            : std::vector<uint16_t>{0, 255, 0})
                image.values.push_back(v);
    write_pnm(dir.file("in.ppm"), image);
    const auto run = run_tool(dir, {"max-contrast", "--line", "2,4,21,4", "--candidates",
                                    "RGB:YUV,RGB:HSV", dir.file("in.ppm"), dir.file("e.pgm")});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "wrote " + dir.file("e.pgm") +
                           " (1 channel, 8-bit): the channel of strongest contrast along the "
                           "line: candidate 2, RGB:HSV, channel 2 (S)\n");
    Owned src(buffer_from(image));
    Owned hsv;
    ASSERT_EQ(COL_ConvertColorSpace(src.get(), hsv.slot(), COL_CODE(COL_RGB, COL_HSV)), 1);
    const Samples s = samples_of(hsv.get());
    const Samples plane = read_pnm(dir.file("e.pgm"));
    for (size_t k = 0; k < plane.values.size(); ++k) ASSERT_EQ(plane.values[k], s.values[3 * k + 1]);

    // Without candidates the input's own channels compete: R and B step by
    // 128, G by 127, and the first of the largest, R, wins.
    const auto own = run_tool(dir, {"max-contrast", "--line", "2,4,21,4", dir.file("in.ppm"),
                                    dir.file("e.pgm")});
    ASSERT_EQ(own.status, 0) << own.err;
    EXPECT_NE(own.out.find("line: the input as it is (RGB), channel 1 (R)\n"), std::string::npos)
        << own.out;
}

// ---- the behaviours kept for compatibility, as the README shows them ----------------

std::vector<uint16_t> one_pixel_result(const ScratchDir& dir, std::vector<uint16_t> pixel,
                                       std::vector<std::string> args, const char* output) {
    write_pnm(dir.file("pixel.ppm"), Samples{1, 1, 3, 8, pixel});
    args.push_back(dir.file("pixel.ppm"));
    args.push_back(dir.file(output));
    const auto run = run_tool(dir, args);
    EXPECT_EQ(run.status, 0) << run.err;
    return read_pnm(dir.file(output)).values;
}

TEST(ToolMessages, TheReadmesKeptBehavioursGiveTheValuesItShows) {
    ScratchDir dir;
    using V = std::vector<uint16_t>;
    EXPECT_EQ(one_pixel_result(dir, {255, 255, 255}, {"convert", "--from", "HSV", "--to", "RGB"},
                               "o.ppm"),
              (V{0, 0, 0}));
    EXPECT_EQ(one_pixel_result(dir, {254, 255, 255}, {"convert", "--from", "HSV", "--to", "RGB"},
                               "o.ppm"),
              (V{255, 0, 6}));
    EXPECT_EQ(one_pixel_result(dir, {128, 128, 128}, {"convert", "--to", "HSV"}, "o.ppm"),
              (V{44, 0, 128}));
    EXPECT_EQ(one_pixel_result(dir, {128, 128, 128}, {"convert", "--to", "HLS"}, "o.ppm"),
              (V{0, 128, 0}));
    EXPECT_EQ(one_pixel_result(dir, {200, 200, 200}, {"to-grey", "--weights", "1,1,1"}, "o.pgm"),
              (V{88}));
    EXPECT_EQ(one_pixel_result(dir, {255, 255, 255}, {"convert", "--to", "I"}, "o.pgm"), (V{254}));
    EXPECT_EQ(one_pixel_result(dir, {128, 128, 128},
                               {"twist", "--matrix", "1,0,0,0,0,1,0,0,0,0,1,0,0.01,0,0,0"}, "o.ppm"),
              (V{209, 128, 128}));
    const auto model = run_tool(dir, {"model", "long", "C/M/Y"});
    EXPECT_EQ(model.out, "C/M/Y601\n");
    const auto help = run_tool(dir, {"convert", "--help"});
    EXPECT_NE(help.out.find("README.md, section \"Behaviours kept for compatibility\""),
              std::string::npos)
        << help.out;
}

}  // namespace
