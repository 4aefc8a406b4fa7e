// ozu-color keeps a huge image's memory bounded by its strips: grey to
// colour of a 20000 x 20000 PNG, the result going to standard output, stays
// far below what the image itself takes (400 MB of grey, 1.2 GB of RGB).

#include <spawn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <string>
#include <vector>

#include "image_io.h"
#include "strip_io.h"
#include "tool_test_support.h"

extern char** environ;

namespace {

constexpr int32_t kSide = 20000;
// The strips, the codecs' rows and the program itself; the whole image
// would take 1.6 GB.
constexpr long kMostKilobytes = 300 * 1024;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

TEST(ToolMemory, AHugeConversionStaysWithinItsStrips) {
    // AddressSanitizer's shadow memory and quarantine are not the program's.
    if (kSanitized) GTEST_SKIP() << "peak memory is measured without the sanitizers";
    tool_test::ScratchDir dir;
    const std::string input = dir.file("big.png");
    {
        // Written in strips too: a row of one value each, which deflate packs
        // into a small file.
        ozu::tool::StripWriter writer(input, {kSide, kSide, 1, 8});
        constexpr int32_t kRows = 500;
        ozu::tool::Raster strip(kSide, kRows, 1, 8);
        for (int32_t y0 = 0; y0 < kSide; y0 += kRows) {
            for (int32_t y = 0; y < kRows; ++y)
                std::fill_n(strip.samples.begin() + ptrdiff_t(y) * kSide, kSide,
                            uint16_t((y0 + y) * 7 & 0xFF));
            writer.write(strip);
        }
        writer.finish();
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, dir.file("err").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::vector<std::string> words{OZU_TOOL_PATH, "to-colour", "--format", "pnm", input, "-"};
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    ASSERT_EQ(posix_spawn(&pid, OZU_TOOL_PATH, &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    rusage usage{};
    ASSERT_EQ(wait4(pid, &status, 0, &usage), pid);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << tool_test::read_text(dir.file("err"));
    EXPECT_LT(usage.ru_maxrss, kMostKilobytes) << "peak resident kilobytes";
}

}  // namespace
