// Helpers of the ozu-color tests: a scratch directory, running the built
// program, image files written and read byte by byte (independently of the
// program's own reader and writer), and host buffers filled from samples.
#pragma once

#include <gtest/gtest.h>

#include <spawn.h>
#include <sys/wait.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <ozu/base.h>

#include "tool_error.h"

#ifndef OZU_TOOL_PATH
#error "OZU_TOOL_PATH must name the built ozu-color program"
#endif

extern char** environ;

namespace tool_test {

// A fresh directory, removed with everything in it at the end of the test.
class ScratchDir {
public:
    ScratchDir() {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base != nullptr && base[0] != '\0' ? base : "/tmp") +
                              "/ozu-color-test-XXXXXX";
        std::vector<char> text(pattern.begin(), pattern.end());
        text.push_back('\0');
        if (mkdtemp(text.data()) == nullptr) ADD_FAILURE() << "mkdtemp failed";
        path_ = text.data();
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

inline std::string read_text(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline std::vector<uint8_t> read_bytes(const std::string& path) {
    const std::string text = read_text(path);
    return std::vector<uint8_t>(text.begin(), text.end());
}

inline void write_bytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

// The code of the ToolError that `call` throws, or 0.
template <class Call>
int32_t thrown_code(Call&& call) {
    try {
        call();
    } catch (const ozu::tool::ToolError& error) {
        return error.code();
    }
    return 0;
}

struct Run {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs the built program with `args`, its output and error streams captured
// in files of `dir`, its standard input the file `input` (none: empty).
inline Run run_tool(const ScratchDir& dir, const std::vector<std::string>& args,
                    const std::string& input = "/dev/null") {
    const std::string outPath = dir.file(".stdout");
    const std::string errPath = dir.file(".stderr");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, input.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    std::vector<std::string> words{OZU_TOOL_PATH};
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    Run run;
    const int spawned = posix_spawn(&pid, OZU_TOOL_PATH, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        ADD_FAILURE() << "cannot start " << OZU_TOOL_PATH;
        return run;
    }
    int wstatus = 0;
    waitpid(pid, &wstatus, 0);
    run.status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : 128 + WTERMSIG(wstatus);
    run.out = read_text(outPath);
    run.err = read_text(errPath);
    return run;
}

// The one failure line the program must print: "...: error CODE (TEXT)\n",
// the text being the host's for that code.
inline std::string error_tail(int32_t code) {
    return ": error " + std::to_string(code) + " (" + IPL_GetErrorString(code) + ")\n";
}

// The end of a usage error's line (exit status 2): the code and its text,
// then the pointer to the command's help.
inline std::string usage_tail(int32_t code, const std::string& command) {
    return ": error " + std::to_string(code) + " (" + IPL_GetErrorString(code) + ") (try '" +
           "ozu-color " + command + " --help')\n";
}

inline bool is_single_line(const std::string& text) {
    return !text.empty() && text.back() == '\n' && text.find('\n') == text.size() - 1;
}

// Interleaved samples of a width x height image of `channels` channels.
struct Samples {
    int32_t width = 0;
    int32_t height = 0;
    int32_t channels = 0;
    int32_t depth = 8;
    std::vector<uint16_t> values;
};

inline Samples random_samples(int32_t width, int32_t height, int32_t channels, int32_t depth,
                              uint32_t seed) {
    Samples s{width, height, channels, depth, {}};
    std::mt19937 random(seed);
    const uint32_t max = depth == 8 ? 255u : 65535u;
    s.values.resize(size_t(width) * size_t(height) * size_t(channels));
    for (uint16_t& v : s.values) v = static_cast<uint16_t>(random() % (max + 1));
    return s;
}

// A binary PNM file, written byte by byte: P5 or P6, maxval 255 or 65535,
// 16-bit samples big-endian.
inline void write_pnm(const std::string& path, const Samples& s) {
    std::string header = std::string(s.channels == 1 ? "P5" : "P6") + "\n" +
                         std::to_string(s.width) + " " + std::to_string(s.height) + "\n" +
                         (s.depth == 8 ? "255" : "65535") + "\n";
    std::vector<uint8_t> bytes(header.begin(), header.end());
    for (uint16_t v : s.values) {
        if (s.depth == 16) bytes.push_back(static_cast<uint8_t>(v >> 8));
        bytes.push_back(static_cast<uint8_t>(v & 0xFF));
    }
    write_bytes(path, bytes);
}

// Reads a PNM file the program wrote: "P5|P6\nW H\nMAXVAL\n" and samples.
inline Samples read_pnm(const std::string& path) {
    const std::vector<uint8_t> bytes = read_bytes(path);
    Samples s;
    std::string header;
    size_t at = 0;
    int lines = 0;
    while (at < bytes.size() && lines < 3) {
        if (bytes[at] == '\n') ++lines;
        header += static_cast<char>(bytes[at++]);
    }
    char magic[3] = {};
    unsigned maxval = 0;
    if (std::sscanf(header.c_str(), "%2s %d %d %u", magic, &s.width, &s.height, &maxval) != 4) {
        ADD_FAILURE() << path << " has no PNM header";
        return s;
    }
    s.channels = std::string(magic) == "P5" ? 1 : 3;
    s.depth = maxval == 255 ? 8 : 16;
    const size_t count = size_t(s.width) * size_t(s.height) * size_t(s.channels);
    const size_t need = count * (s.depth == 8 ? 1 : 2);
    if (bytes.size() - at != need) {
        ADD_FAILURE() << path << " holds " << bytes.size() - at << " sample bytes, not " << need;
        return s;
    }
    for (size_t k = 0; k < count; ++k)
        s.values.push_back(
            s.depth == 8 ? bytes[at + k]
                         : static_cast<uint16_t>((bytes[at + 2 * k] << 8) | bytes[at + 2 * k + 1]));
    return s;
}

// A host buffer of one plane per channel (unsigned 8 or 16 bit) holding the
// samples, made without the program's code.
inline int32_t buffer_from(const Samples& s) {
    const int32_t type = s.depth == 8 ? BASE_TYPE_U8 : BASE_TYPE_U16;
    int32_t h = -1;
    EXPECT_EQ(IPL_BufAlloc(&h, s.width, s.height, s.channels, 1, 1, type, BASE_KIND_IMAGE, 0), 1);
    const size_t count = size_t(s.width) * size_t(s.height);
    for (int32_t c = 0; c < s.channels; ++c) {
        std::vector<uint8_t> p8(count);
        std::vector<uint16_t> p16(count);
        for (size_t k = 0; k < count; ++k) {
            p8[k] = static_cast<uint8_t>(s.values[k * size_t(s.channels) + size_t(c)]);
            p16[k] = s.values[k * size_t(s.channels) + size_t(c)];
        }
        EXPECT_EQ(IPL_PutBufData(h, 0, 0, c, 0, 0, s.width, s.height,
                                 type == BASE_TYPE_U8 ? static_cast<const void*>(p8.data())
                                                      : static_cast<const void*>(p16.data())),
                  1);
    }
    return h;
}

// The samples of a one- or three-plane unsigned buffer, interleaved.
inline Samples samples_of(int32_t h) {
    Samples s;
    int32_t type = 0;
    EXPECT_EQ(IPL_BufInquire(h, BASE_ATTR_WIDTH, &s.width), 1);
    EXPECT_EQ(IPL_BufInquire(h, BASE_ATTR_HEIGHT, &s.height), 1);
    EXPECT_EQ(IPL_BufInquire(h, BASE_ATTR_PLANES, &s.channels), 1);
    EXPECT_EQ(IPL_BufInquire(h, BASE_ATTR_TYPE, &type), 1);
    EXPECT_TRUE(type == BASE_TYPE_U8 || type == BASE_TYPE_U16) << "type " << type;
    s.depth = type == BASE_TYPE_U8 ? 8 : 16;
    const size_t count = size_t(s.width) * size_t(s.height);
    s.values.assign(count * size_t(s.channels), 0);
    for (int32_t c = 0; c < s.channels; ++c) {
        std::vector<uint8_t> p8(count);
        std::vector<uint16_t> p16(count);
        void* data =
            type == BASE_TYPE_U8 ? static_cast<void*>(p8.data()) : static_cast<void*>(p16.data());
        EXPECT_EQ(IPL_GetBufDataEx(h, 0, 0, c, 0, 0, s.width, s.height, 0,
                                   s.width * (type == BASE_TYPE_U8 ? 1 : 2), data, type),
                  1);
        for (size_t k = 0; k < count; ++k)
            s.values[k * size_t(s.channels) + size_t(c)] = type == BASE_TYPE_U8 ? p8[k] : p16[k];
    }
    return s;
}

// Frees a host buffer at the end of a scope.
class Owned {
public:
    explicit Owned(int32_t h = -1) : h_(h) {}
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    ~Owned() {
        if (h_ != -1) IPL_BufFree(h_);
    }
    int32_t get() const { return h_; }
    int32_t* slot() { return &h_; }

private:
    int32_t h_;
};

// Equal images, or the first differing sample named.
inline ::testing::AssertionResult same_samples(const Samples& expected, const Samples& actual) {
    if (expected.width != actual.width || expected.height != actual.height ||
        expected.channels != actual.channels || expected.depth != actual.depth)
        return ::testing::AssertionFailure()
               << "expected " << expected.width << "x" << expected.height << "x"
               << expected.channels << " at " << expected.depth << " bits, got " << actual.width
               << "x" << actual.height << "x" << actual.channels << " at " << actual.depth;
    for (size_t k = 0; k < expected.values.size(); ++k) {
        if (expected.values[k] != actual.values[k]) {
            const size_t pixel = k / size_t(expected.channels);
            return ::testing::AssertionFailure()
                   << "first difference at x " << pixel % size_t(expected.width) << ", y "
                   << pixel / size_t(expected.width) << ", channel "
                   << k % size_t(expected.channels) << ": expected " << expected.values[k]
                   << ", got " << actual.values[k];
        }
    }
    return ::testing::AssertionSuccess();
}

}  // namespace tool_test
