// --threads: every command takes it, the results are the library's bits for
// every count, and a count that cannot be used is a usage error.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "tool_test_support.h"

namespace {

using tool_test::buffer_from;
using tool_test::Owned;
using tool_test::random_samples;
using tool_test::read_pnm;
using tool_test::run_tool;
using tool_test::same_samples;
using tool_test::Samples;
using tool_test::samples_of;
using tool_test::ScratchDir;
using tool_test::write_pnm;

// Large enough for the library to cut it into several bands of lines.
constexpr int32_t kWidth = 641;
constexpr int32_t kHeight = 479;

TEST(ToolThreads, ConversionGivesTheLibrarysBitsOnEveryThreadCount) {
    ScratchDir dir;
    const Samples input = random_samples(kWidth, kHeight, 3, 8, 31);
    write_pnm(dir.file("in.ppm"), input);
    Owned src(buffer_from(input));
    Owned dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.get(), dst.slot(), COL_CODE(COL_RGB, COL_HLS)), 1);
    const Samples want = samples_of(dst.get());
    for (const std::vector<std::string>& threads :
         std::vector<std::vector<std::string>>{{"--threads", "1"}, {"--threads", "3"},
                                               {"--threads=7"}, {}}) {
        std::vector<std::string> args{"convert", "--to", "HLS", dir.file("in.ppm"),
                                      dir.file("out.ppm")};
        args.insert(args.begin() + 1, threads.begin(), threads.end());
        const auto run = run_tool(dir, args);
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_TRUE(same_samples(want, read_pnm(dir.file("out.ppm"))))
            << (threads.empty() ? "default" : threads.back());
    }
}

TEST(ToolThreads, DemosaicAndThresholdGiveTheSameBitsOnOneThreadAndOnThree) {
    ScratchDir dir;
    write_pnm(dir.file("raw.pgm"), random_samples(kWidth + 1, kHeight + 1, 1, 8, 32));
    write_pnm(dir.file("in.ppm"), random_samples(kWidth, kHeight, 3, 8, 33));
    const std::vector<std::vector<std::string>> commands = {
        {"demosaic", "--pattern", "RGGB", dir.file("raw.pgm")},
        {"threshold", "--space", "HSV", "--ranges", "10:200,20:250,30:240", dir.file("in.ppm")},
    };
    for (const auto& command : commands) {
        std::vector<Samples> results;
        for (const char* threads : {"1", "3"}) {
            std::vector<std::string> args = command;
            args.insert(args.end(), {dir.file("out.pnm"), "--threads", threads});
            const auto run = run_tool(dir, args);
            ASSERT_EQ(run.status, 0) << command[0] << ": " << run.err;
            results.push_back(read_pnm(dir.file("out.pnm")));
        }
        EXPECT_TRUE(same_samples(results[0], results[1])) << command[0];
    }
}

TEST(ToolThreads, ACountThatCannotBeUsedExitsWithTwo) {
    ScratchDir dir;
    write_pnm(dir.file("in.ppm"), random_samples(4, 3, 3, 8, 34));
    for (const std::vector<std::string>& bad :
         std::vector<std::vector<std::string>>{{"--threads", "0"}, {"--threads", "many"},
                                               {"--threads=-2"}, {"--threads", "5000"},
                                               {"--threads"}}) {
        std::vector<std::string> args{"convert", "--to", "HSV", dir.file("in.ppm"),
                                      dir.file("out.ppm")};
        args.insert(args.end(), bad.begin(), bad.end());
        const auto run = run_tool(dir, args);
        EXPECT_EQ(run.status, 2) << bad.back();
        EXPECT_NE(run.err.find("--threads"), std::string::npos) << run.err;
    }
}

}  // namespace
