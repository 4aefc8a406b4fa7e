// ozu-color demo: it must run every operation and produce every file its
// page links to.

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>
#include <string>

#include "tool_test_support.h"

namespace {

using tool_test::run_tool;
using tool_test::ScratchDir;

TEST(Demo, ProducesEveryFileItsPageLinksTo) {
    ScratchDir dir;
    const std::string out = dir.file("demo");
    const auto run = run_tool(dir, {"demo", out});
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_EQ(run.err, "");

    const std::string page = tool_test::read_text(out + "/index.html");
    ASSERT_FALSE(page.empty());
    const std::regex reference("(?:href|src)=\"([^\"]+)\"");
    std::set<std::string> files;
    for (auto it = std::sregex_iterator(page.begin(), page.end(), reference);
         it != std::sregex_iterator(); ++it)
        files.insert((*it)[1]);
    // The chart, its mosaic and one output per image step at the least.
    EXPECT_GE(files.size(), 25u);
    size_t anchors = 0;
    for (const std::string& file : files) {
        // The table of contents links to the sections on the page itself.
        if (file[0] == '#') {
            ++anchors;
            EXPECT_NE(page.find("id=\"" + file.substr(1) + "\""), std::string::npos) << file;
            continue;
        }
        EXPECT_TRUE(std::filesystem::is_regular_file(out + "/" + file)) << file;
        EXPECT_GT(std::filesystem::file_size(out + "/" + file), 0u) << file;
    }
    EXPECT_EQ(page.find("failed:"), std::string::npos);
    // The chart and every step have their entry in the contents, and every
    // step says how long it took.
    const size_t steps = size_t(std::count(page.begin(), page.end(), '$'));
    EXPECT_EQ(anchors, steps + 1);
    size_t timed = 0;
    for (size_t at = page.find("<p class=\"took\">took "); at != std::string::npos;
         at = page.find("<p class=\"took\">took ", at + 1))
        ++timed;
    EXPECT_EQ(timed, steps);
    // Three-channel results are shown channel by channel with their ranges.
    EXPECT_TRUE(files.count("convert-hsv-channel1.png") == 1 &&
                files.count("convert-hsv-channel3.png") == 1);
    EXPECT_NE(page.find("channel 2 of convert-hsv.png, values 0..255"), std::string::npos);
    EXPECT_EQ(files.count("distance-channel1.png"), 0u);
}

TEST(Demo, ShowsACommandOfEveryOperation) {
    ScratchDir dir;
    const std::string out = dir.file("demo");
    const auto run = run_tool(dir, {"demo", out});
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    const std::string page = tool_test::read_text(out + "/index.html");
    for (const char* command : {"convert", "twist", "to-grey", "to-colour", "threshold", "distance",
                                "max-contrast", "demosaic", "spectral", "model long", "model short",
                                "model extract", "model tint", "spaces", "version"})
        EXPECT_NE(page.find(std::string("$ ozu-color ") + command), std::string::npos) << command;
}

TEST(Demo, PrintsWhereThePageIs) {
    ScratchDir dir;
    const std::string out = dir.file("nested/demo");
    const auto run = run_tool(dir, {"demo", out});
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    const std::string expected =
        "demo page: " + std::filesystem::absolute(out + "/index.html").lexically_normal().string() +
        "\n";
    EXPECT_TRUE(run.out.ends_with(expected)) << run.out;
}

}  // namespace

namespace {

TEST(Demo, RunsEveryStepOnAUsersPicture) {
    ScratchDir dir;
    // A grey 16-bit picture: the demo takes it as 8-bit RGB.
    const tool_test::Samples grey = tool_test::random_samples(64, 48, 1, 16, 21u);
    tool_test::write_pnm(dir.file("photo.pgm"), grey);
    const std::string out = dir.file("demo");
    const auto run = run_tool(dir, {"demo", "--image", dir.file("photo.pgm"), out});
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    const std::string page = tool_test::read_text(out + "/index.html");
    EXPECT_EQ(page.find("failed:"), std::string::npos);
    EXPECT_NE(page.find("--line 8,24,55,24"), std::string::npos);

    const auto converted = run_tool(dir, {"convert", "--to", "RGB", "--from", "HSV",
                                          out + "/convert-hsv.png", dir.file("back.ppm")});
    ASSERT_EQ(converted.status, 0) << converted.err;
    const tool_test::Samples chart = tool_test::read_pnm(dir.file("back.ppm"));
    ASSERT_EQ(chart.width, 64);
    ASSERT_EQ(chart.channels, 3);
    ASSERT_EQ(chart.depth, 8);
    // Grey pixels go through HSV and back unchanged: each channel is the
    // 16-bit sample rounded to 8 bits.
    for (size_t k = 0; k < grey.values.size(); ++k)
        for (size_t c = 0; c < 3; ++c)
            ASSERT_EQ(chart.values[3 * k + c], (uint32_t(grey.values[k]) * 255 + 32767) / 65535)
                << k;
}

}  // namespace
