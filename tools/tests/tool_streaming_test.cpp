// ozu-color works through images in strips of lines: the files it writes
// are the same bytes whether an image goes through in many strips or in one
// (OZU_TOOL_STRIP_ROWS=0, the whole image at once), for every per-line
// command, pixel type, --signed mode and file format. Progress appears only
// on a terminal and never with --quiet.

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include <png.h>

#include <ozu/color.h>

#include "image_io.h"
#include "strip_io.h"
#include "tool_test_support.h"

namespace {

using tool_test::random_samples;
using tool_test::read_bytes;
using ToolRun = tool_test::Run;
using tool_test::Samples;
using tool_test::ScratchDir;

// An odd-sized image far taller than the strips the tests ask for.
constexpr int32_t kWidth = 37;
constexpr int32_t kHeight = 101;
constexpr const char* kStripRows = "7";

// Sets an environment variable for the programs a test starts.
class Environment {
public:
    Environment(const char* name, const char* value) : name_(name) {
        const char* old = std::getenv(name);
        if (old != nullptr) old_ = old;
        had_ = old != nullptr;
        setenv(name, value, 1);
    }
    ~Environment() {
        if (had_) {
            setenv(name_.c_str(), old_.c_str(), 1);
        } else {
            unsetenv(name_.c_str());
        }
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    std::string name_;
    std::string old_;
    bool had_ = false;
};

ozu::tool::Raster raster_of(const Samples& s) {
    ozu::tool::Raster raster(s.width, s.height, s.channels, s.depth);
    raster.samples = s.values;
    return raster;
}

// Writes `samples` through the tool's own writer in the format of `name`.
std::string input_file(const ScratchDir& dir, const std::string& name, const Samples& samples) {
    const std::string path = dir.file(name);
    ozu::tool::write_image_file(path, raster_of(samples));
    return path;
}

// Runs `args` (OUTPUT last but for the name given) in strips of kStripRows
// lines and then whole, and expects both to succeed with the same messages
// and the same file. The output's name is `output` in two directories.
void expect_same_both_ways(const ScratchDir& dir, std::vector<std::string> args,
                           const std::string& output) {
    const std::string streamed = dir.file("streamed-" + output);
    const std::string whole = dir.file("whole-" + output);
    ToolRun byStrips;
    ToolRun atOnce;
    {
        const Environment rows("OZU_TOOL_STRIP_ROWS", kStripRows);
        args.push_back(streamed);
        byStrips = tool_test::run_tool(dir, args);
    }
    {
        const Environment rows("OZU_TOOL_STRIP_ROWS", "0");
        args.back() = whole;
        atOnce = tool_test::run_tool(dir, args);
    }
    std::string shown;
    for (const std::string& word : args) shown += word + " ";
    ASSERT_EQ(byStrips.status, 0) << shown << byStrips.err;
    ASSERT_EQ(atOnce.status, 0) << shown << atOnce.err;
    EXPECT_EQ(byStrips.err, atOnce.err) << shown;
    // The notes name the file written; with that name made the same, they
    // are the same too.
    std::string notes = byStrips.out;
    for (size_t at = notes.find(streamed); at != std::string::npos; at = notes.find(streamed))
        notes.replace(at, streamed.size(), whole);
    EXPECT_EQ(notes, atOnce.out) << shown;
    const std::vector<uint8_t> a = read_bytes(streamed);
    const std::vector<uint8_t> b = read_bytes(whole);
    ASSERT_FALSE(a.empty()) << shown;
    ASSERT_EQ(a.size(), b.size()) << shown;
    for (size_t k = 0; k < a.size(); ++k)
        if (a[k] != b[k]) {
            ADD_FAILURE() << shown << ": first different byte at " << k << " of " << a.size();
            break;
        }
}

TEST(ToolStreaming, ConversionsGiveTheSameFileInStripsAsWhole) {
    ScratchDir dir;
    const std::string rgb8 = input_file(dir, "rgb8.ppm", random_samples(kWidth, kHeight, 3, 8, 11));
    const std::string rgb16 =
        input_file(dir, "rgb16.ppm", random_samples(kWidth, kHeight, 3, 16, 12));
    const std::string grey8 = input_file(dir, "grey8.pgm", random_samples(kWidth, kHeight, 1, 8, 13));
    // Every pair here, among them HSV into YUV, which the library converts
    // with values carried from line to line (the tool then converts it
    // whole), and HSV into RGB, which carries nothing.
    const std::vector<std::pair<const char*, const char*>> pairs = {
        {"RGB", "HSV"}, {"RGB", "YCC"}, {"RGB", "YUV"}, {"RGB", "YIQ"},  {"RGB", "XYZ"},
        {"RGB", "I"},   {"HSV", "RGB"}, {"HSV", "YUV"}, {"HSV", "XYZ"},  {"HLS", "YIQ"},
        {"YCC", "RGB"}, {"YUV", "HSV"}, {"XYZ", "RGB"}, {"CMY", "HLS"},
    };
    for (const auto& [from, to] : pairs)
        for (const char* type : {"u8", "s8", "u16", "s16"})
            for (const char* mode : {"offset", "clip"}) {
                const std::string input = std::string(type).find("16") != std::string::npos ? rgb16 : rgb8;
                expect_same_both_ways(dir,
                                      {"convert", "--from", from, "--to", to, "--type", type,
                                       "--signed", mode, input},
                                      std::string(from) + "-" + to + "-" + type + "-" + mode +
                                          (std::string(to) == "I" ? ".pgm" : ".ppm"));
            }
    expect_same_both_ways(dir, {"convert", "--from", "I", "--to", "RGB", grey8}, "i-rgb.ppm");
}

TEST(ToolStreaming, WeightedTransformsGiveTheSameFileInStripsAsWhole) {
    ScratchDir dir;
    const std::string rgb8 = input_file(dir, "rgb8.ppm", random_samples(kWidth, kHeight, 3, 8, 21));
    const std::string rgb16 =
        input_file(dir, "rgb16.ppm", random_samples(kWidth, kHeight, 3, 16, 22));
    const std::string grey8 = input_file(dir, "grey8.pgm", random_samples(kWidth, kHeight, 1, 8, 23));
    const std::string grey16 =
        input_file(dir, "grey16.pgm", random_samples(kWidth, kHeight, 1, 16, 24));
    for (const char* type : {"u8", "s8", "u16", "s16"}) {
        const bool wide = std::string(type).find("16") != std::string::npos;
        const std::string t = type;
        expect_same_both_ways(dir,
                              {"twist", "--matrix", "0.5,0.2,1,0,0.3,0.7,0,0,0.1,0.1,0.1,0,0.05,0,-0.1,0",
                               "--type", type, wide ? rgb16 : rgb8},
                              "twist-" + t + ".ppm");
        for (const char* mode : {"offset", "clip"}) {
            const std::string m = mode;
            expect_same_both_ways(dir,
                                  {"to-grey", "--weights", "0.3,0.6,0.2", "--type", type,
                                   "--signed", mode, wide ? rgb16 : rgb8},
                                  "grey-" + t + "-" + m + ".pgm");
            expect_same_both_ways(dir,
                                  {"to-colour", "--weights", "1,0.8,0.55", "--type", type,
                                   "--signed", mode, wide ? grey16 : grey8},
                                  "colour-" + t + "-" + m + ".ppm");
        }
    }
}

TEST(ToolStreaming, ThresholdAndRawDistanceGiveTheSameFileInStripsAsWhole) {
    ScratchDir dir;
    const std::string rgb8 = input_file(dir, "rgb8.ppm", random_samples(kWidth, kHeight, 3, 8, 31));
    const std::string rgb16 =
        input_file(dir, "rgb16.ppm", random_samples(kWidth, kHeight, 3, 16, 32));
    for (const auto& [from, space] : std::vector<std::pair<const char*, const char*>>{
             {"RGB", "HSV"}, {"RGB", "YUV"}, {"HSV", "RGB"}, {"HSV", "YUV"}, {"XYZ", "HLS"}})
        // The threshold works at 8 bits: a 16-bit file is brought down first.
        for (const std::string& input : {rgb8, rgb16}) {
            const std::string name = std::string(from) + "-" + space +
                                     (input == rgb8 ? "-8" : "-16") + ".pgm";
            expect_same_both_ways(dir,
                                  {"threshold", "--from", from, "--space", space, "--ranges",
                                   "10:200,30:255,0:128", input},
                                  "threshold-" + name);
            expect_same_both_ways(dir,
                                  {"threshold", "--from", from, "--space", space, "--ranges",
                                   "10:200,30:255,0:128", "--any", "--invert", input},
                                  "threshold-any-" + name);
        }
    // The distance is computed at 8 bits, a 16-bit file brought down first.
    for (const std::string& input : {rgb8, rgb16})
        expect_same_both_ways(dir,
                              {"distance", "--colour1", "0x808080", "--colour2", "0xFF2010",
                               "--scale", "raw", input},
                              std::string("distance-") + (input == rgb8 ? "8" : "16") + ".pgm");
    // The stretched distance goes through a file twice, strip by strip (the
    // largest distance first, then the stretched result), and through
    // standard input, which can be read once, whole: all give the same file.
    for (const std::string& input : {rgb8, rgb16})
        expect_same_both_ways(dir,
                              {"distance", "--colour1", "0x808080", "--colour2", "0xFF2010", input},
                              std::string("stretched-") + (input == rgb8 ? "8" : "16") + ".pgm");
    const Environment rows("OZU_TOOL_STRIP_ROWS", kStripRows);
    const ToolRun file = tool_test::run_tool(
        dir, {"distance", "--colour1", "0x808080", "--colour2", "0xFF2010", rgb8, dir.file("f.pgm")});
    const ToolRun piped = tool_test::run_tool(
        dir, {"distance", "--colour1", "0x808080", "--colour2", "0xFF2010", "-", dir.file("p.pgm")},
        rgb8);
    ASSERT_EQ(file.status, 0) << file.err;
    ASSERT_EQ(piped.status, 0) << piped.err;
    EXPECT_EQ(read_bytes(dir.file("f.pgm")), read_bytes(dir.file("p.pgm")));
    // The note names the largest distance, which the stretch divides by.
    const std::string tail = file.out.substr(file.out.find(";"));
    EXPECT_EQ(piped.err.substr(piped.err.find(";")), tail);
    EXPECT_NE(tail.find("stretched: the library's 0.."), std::string::npos) << tail;
}

TEST(ToolStreaming, EveryFormatInAndOutGivesTheSameFileInStripsAsWhole) {
    ScratchDir dir;
    const Samples rgb8 = random_samples(kWidth, kHeight, 3, 8, 41);
    const Samples rgb16 = random_samples(kWidth, kHeight, 3, 16, 42);
    // Inputs in every format the tool reads, written by its own writer;
    // tiled TIFF is read whole, the others row by row.
    std::vector<std::string> inputs = {
        input_file(dir, "in8.png", rgb8),   input_file(dir, "in16.png", rgb16),
        input_file(dir, "in8.ppm", rgb8),   input_file(dir, "in16.ppm", rgb16),
        input_file(dir, "in8.tif", rgb8),   input_file(dir, "in16.tif", rgb16),
        input_file(dir, "in8.jpg", rgb8),
    };
    {
        const std::string plain = dir.file("in8-plain.ppm");
        const std::string tiled = dir.file("in8-tiled.tif");
        ozu::tool::set_output_format(ozu::tool::ImageFormat::PnmPlain);
        ozu::tool::write_image_file(plain, raster_of(rgb8));
        ozu::tool::set_output_format(ozu::tool::ImageFormat::TiffTiled);
        ozu::tool::write_image_file(tiled, raster_of(rgb8));
        ozu::tool::set_output_format(std::nullopt);
        inputs.push_back(plain);
        inputs.push_back(tiled);
    }
    const std::vector<std::pair<const char*, const char*>> outputs = {
        {"png", "png"}, {"pnm", "ppm"}, {"pnm-plain", "ppm"}, {"tiff", "tif"},
        {"tiff-tiled", "tif"}, {"jpeg", "jpg"},
    };
    for (size_t i = 0; i < inputs.size(); ++i)
        for (const auto& [format, extension] : outputs) {
            const bool wide = inputs[i].find("16") != std::string::npos;
            if (wide && std::string(format) == "jpeg") continue;  // JPEG holds 8 bits
            expect_same_both_ways(dir,
                                  {"convert", "--to", "HSV", "--format", format, inputs[i]},
                                  std::to_string(i) + "-" + format + "." + extension);
        }
}

TEST(ToolStreaming, StreamedFilesHoldTheConvertedImage) {
    // Many strips against the library run on the whole image in this
    // process: the same samples.
    ScratchDir dir;
    const Samples grey = random_samples(kWidth, kHeight, 1, 8, 51);
    const std::string input = input_file(dir, "grey.png", grey);
    const Environment rows("OZU_TOOL_STRIP_ROWS", "5");
    const ToolRun run = tool_test::run_tool(dir, {"to-colour", "--weights", "1,0.5,0.25", input,
                                              dir.file("out.ppm")});
    ASSERT_EQ(run.status, 0) << run.err;
    tool_test::Owned source(tool_test::buffer_from(grey));
    tool_test::Owned result;
    ASSERT_EQ(COL_ConvertToColor(source.get(), result.slot(), 1.0, 0.5, 0.25), 1);
    const Samples expected = tool_test::samples_of(result.get());
    const Samples written = tool_test::read_pnm(dir.file("out.ppm"));
    ASSERT_EQ(written.width, kWidth);
    ASSERT_EQ(written.height, kHeight);
    ASSERT_EQ(written.channels, 3);
    for (size_t k = 0; k < expected.values.size(); ++k)
        ASSERT_EQ(written.values[k], expected.values[k])
            << "pixel " << k / 3 % kWidth << "," << k / 3 / kWidth << " channel " << k % 3
            << ": grey " << grey.values[k / 3];
}

TEST(ToolStreaming, StandardInputAndOutputStreamToo) {
    ScratchDir dir;
    const std::string input = input_file(dir, "in.png", random_samples(kWidth, kHeight, 3, 8, 61));
    for (const char* format : {"png", "tiff"}) {
        std::vector<std::vector<uint8_t>> results;
        for (const char* rows : {kStripRows, "0"}) {
            const Environment strips("OZU_TOOL_STRIP_ROWS", rows);
            const ToolRun run = tool_test::run_tool(
                dir, {"convert", "--to", "YCC", "--format", format, "-", "-"}, input);
            ASSERT_EQ(run.status, 0) << run.err;
            results.emplace_back(run.out.begin(), run.out.end());
        }
        ASSERT_FALSE(results[0].empty()) << format;
        EXPECT_EQ(results[0], results[1]) << format;
    }
}

// ---- the strip reader and writer ----

// An Adam7-interlaced PNG, written by libpng here.
void write_interlaced_png(const std::string& path, const Samples& s) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, png_uint_32(s.width), png_uint_32(s.height), s.depth,
                 s.channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_ADAM7,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    const size_t perRow = size_t(s.width) * size_t(s.channels);
    std::vector<uint8_t> bytes(perRow * size_t(s.height) * (s.depth == 8 ? 1 : 2));
    for (size_t k = 0; k < s.values.size(); ++k) {
        if (s.depth == 8) {
            bytes[k] = uint8_t(s.values[k]);
        } else {
            bytes[2 * k] = uint8_t(s.values[k] >> 8);
            bytes[2 * k + 1] = uint8_t(s.values[k] & 0xFF);
        }
    }
    std::vector<png_bytep> rows(size_t(s.height));
    for (size_t y = 0; y < rows.size(); ++y)
        rows[y] = bytes.data() + y * perRow * (s.depth == 8 ? 1 : 2);
    png_write_image(png, rows.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}

// Reads `path` in strips of `rows` lines and puts them together again.
std::vector<uint16_t> read_in_strips(const std::string& path, int32_t rows, bool* streams) {
    ozu::tool::StripReader reader(path);
    *streams = reader.streams();
    std::vector<uint16_t> all;
    while (reader.rows_left() > 0) {
        const ozu::tool::Raster strip = reader.read(rows);
        EXPECT_EQ(strip.height, std::min(rows, strip.height + reader.rows_left()));
        all.insert(all.end(), strip.samples.begin(), strip.samples.end());
    }
    return all;
}

TEST(StripReader, GivesEveryLayoutsRowsInOrder) {
    ScratchDir dir;
    const Samples rgb8 = random_samples(kWidth, kHeight, 3, 8, 101);
    const Samples grey16 = random_samples(kWidth, kHeight, 1, 16, 102);
    struct Case {
        std::string path;
        const Samples* samples;
        bool streams;
    };
    std::vector<Case> cases = {
        {input_file(dir, "a.png", rgb8), &rgb8, true},
        {input_file(dir, "b.png", grey16), &grey16, true},
        {input_file(dir, "c.ppm", rgb8), &rgb8, true},
        {input_file(dir, "d.pgm", grey16), &grey16, true},
        {input_file(dir, "e.tif", rgb8), &rgb8, true},
        {input_file(dir, "f.tif", grey16), &grey16, true},
    };
    write_interlaced_png(dir.file("g.png"), rgb8);
    cases.push_back({dir.file("g.png"), &rgb8, false});
    write_interlaced_png(dir.file("h.png"), grey16);
    cases.push_back({dir.file("h.png"), &grey16, false});
    ozu::tool::set_output_format(ozu::tool::ImageFormat::TiffTiled);
    ozu::tool::write_image_file(dir.file("i.tif"), raster_of(rgb8));
    ozu::tool::set_output_format(ozu::tool::ImageFormat::PnmPlain);
    ozu::tool::write_image_file(dir.file("j.ppm"), raster_of(rgb8));
    ozu::tool::set_output_format(std::nullopt);
    cases.push_back({dir.file("i.tif"), &rgb8, false});
    cases.push_back({dir.file("j.ppm"), &rgb8, true});
    for (const Case& c : cases)
        for (int32_t rows : {1, 7, 100, kHeight}) {
            bool streams = false;
            EXPECT_EQ(read_in_strips(c.path, rows, &streams), c.samples->values)
                << c.path << " in strips of " << rows;
            EXPECT_EQ(streams, c.streams) << c.path;
        }
    // JPEG loses detail: its strips against the whole image read at once.
    const std::string jpeg = input_file(dir, "k.jpg", rgb8);
    bool streams = false;
    EXPECT_EQ(read_in_strips(jpeg, 7, &streams), ozu::tool::read_image_file(jpeg).samples);
    EXPECT_TRUE(streams);
}

TEST(StripWriter, WritesTheSameFileInStripsAsWhole) {
    ScratchDir dir;
    const Samples rgb8 = random_samples(kWidth, kHeight, 3, 8, 111);
    const Samples grey16 = random_samples(kWidth, 300, 1, 16, 112);
    for (const Samples* s : {&rgb8, &grey16})
        for (const char* format : {"png", "pnm", "pnm-plain", "jpeg", "tiff", "tiff-tiled"}) {
            if (s->depth == 16 && std::string(format) == "jpeg") continue;
            ozu::tool::set_output_format(ozu::tool::image_format_from_name(format));
            const std::string whole = dir.file("whole");
            ozu::tool::write_image_file(whole, raster_of(*s));
            for (int32_t rows : {1, 7, 255, 256, 257}) {
                const std::string strips = dir.file("strips");
                {
                    ozu::tool::StripWriter writer(strips, {s->width, s->height, s->channels, s->depth});
                    for (int32_t y = 0; y < s->height; y += rows) {
                        const int32_t n = std::min(rows, s->height - y);
                        ozu::tool::Raster strip(s->width, n, s->channels, s->depth);
                        const size_t perRow = size_t(s->width) * size_t(s->channels);
                        std::copy_n(s->values.begin() + ptrdiff_t(perRow * size_t(y)),
                                    perRow * size_t(n), strip.samples.begin());
                        writer.write(strip);
                    }
                    writer.finish();
                }
                EXPECT_EQ(read_bytes(strips), read_bytes(whole))
                    << format << ", " << s->depth << " bits, strips of " << rows;
            }
            ozu::tool::set_output_format(std::nullopt);
        }
}

TEST(StripWriter, LeavesNoFileWhenNotFinished) {
    ScratchDir dir;
    const Samples rgb8 = random_samples(kWidth, kHeight, 3, 8, 121);
    {
        ozu::tool::StripWriter writer(dir.file("never.png"), {kWidth, kHeight, 3, 8});
        ozu::tool::Raster strip(kWidth, 10, 3, 8);
        writer.write(strip);
        // Too few rows: finishing is refused, and nothing stays behind.
        EXPECT_THROW(writer.finish(), ozu::tool::ToolError);
    }
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

// ---- --quiet and progress ----

TEST(ToolQuiet, EveryCommandTakesQuiet) {
    ScratchDir dir;
    for (const char* command : {"convert", "twist", "to-grey", "to-colour", "threshold",
                                "distance", "max-contrast", "demosaic", "spectral", "model",
                                "spaces", "version", "demo"}) {
        // Without its other arguments a command fails, but never for --quiet.
        const ToolRun run = tool_test::run_tool(dir, {command, "--quiet"});
        EXPECT_EQ(run.err.find("--quiet"), std::string::npos) << command << ": " << run.err;
    }
    const ToolRun spaces = tool_test::run_tool(dir, {"spaces", "--quiet"});
    EXPECT_EQ(spaces.status, 0) << spaces.err;
    const ToolRun version = tool_test::run_tool(dir, {"version", "--quiet"});
    EXPECT_EQ(version.status, 0) << version.err;
    const ToolRun unknown = tool_test::run_tool(dir, {"spaces", "--quieter"});
    EXPECT_EQ(unknown.status, 2);
}

TEST(ToolQuiet, QuietKeepsTheNotes) {
    ScratchDir dir;
    const std::string input = input_file(dir, "in.ppm", random_samples(kWidth, kHeight, 3, 8, 71));
    const ToolRun loud = tool_test::run_tool(dir, {"to-grey", input, dir.file("a.pgm")});
    const ToolRun quiet = tool_test::run_tool(dir, {"to-grey", "--quiet", input, dir.file("a.pgm")});
    ASSERT_EQ(loud.status, 0) << loud.err;
    ASSERT_EQ(quiet.status, 0) << quiet.err;
    EXPECT_EQ(quiet.out, loud.out);
    EXPECT_EQ(quiet.out.rfind("wrote ", 0), 0u) << quiet.out;
}

// Runs the program with its standard error on a terminal (a pseudo-terminal
// this test reads), its standard output in a file; gives what appeared on
// the terminal.
std::string terminal_errors(const ScratchDir& dir, const std::vector<std::string>& args,
                            int* status) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_GE(master, 0);
    EXPECT_EQ(grantpt(master), 0);
    EXPECT_EQ(unlockpt(master), 0);
    const std::string slave = ptsname(master);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, dir.file(".stdout").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, slave.c_str(), O_RDWR | O_NOCTTY, 0);
    std::vector<std::string> words{OZU_TOOL_PATH};
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    EXPECT_EQ(posix_spawn(&pid, OZU_TOOL_PATH, &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    // Read while the program runs, so that it never blocks on a full
    // terminal; the end is the program's exit and nothing left to read.
    std::string text;
    bool exited = false;
    while (true) {
        pollfd fd{master, POLLIN, 0};
        const int ready = poll(&fd, 1, 50);
        if (ready > 0 && (fd.revents & POLLIN) != 0) {
            char chunk[4096];
            const ssize_t got = read(master, chunk, sizeof chunk);
            if (got > 0) {
                text.append(chunk, size_t(got));
                continue;
            }
        }
        if (exited) break;
        int wstatus = 0;
        if (waitpid(pid, &wstatus, WNOHANG) == pid) {
            exited = true;
            *status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : 128 + WTERMSIG(wstatus);
        } else if (ready > 0 && (fd.revents & (POLLHUP | POLLERR)) != 0) {
            usleep(10000);
        }
    }
    close(master);
    return text;
}

TEST(ToolProgress, ShownOnATerminalPerStripAndEndedWithANewLine) {
    ScratchDir dir;
    const std::string input = input_file(dir, "in.ppm", random_samples(kWidth, 100, 3, 8, 81));
    const Environment rows("OZU_TOOL_STRIP_ROWS", "10");
    const Environment now("OZU_TOOL_PROGRESS_AFTER_MS", "0");
    int status = -1;
    const std::string shown =
        terminal_errors(dir, {"convert", "--to", "HSV", input, dir.file("out.ppm")}, &status);
    EXPECT_EQ(status, 0) << shown;
    // Ten strips of ten lines: 10% after the first, 100% after the last. (A
    // terminal may turn "\n" into "\r\n".)
    std::string expected;
    for (int percent = 10; percent <= 100; percent += 10)
        expected += "\rozu-color convert: " + std::to_string(percent) + "%";
    EXPECT_TRUE(shown == expected + "\n" || shown == expected + "\r\n") << shown;

    const std::string quiet = terminal_errors(
        dir, {"convert", "--quiet", "--to", "HSV", input, dir.file("out.ppm")}, &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(quiet, "");
}

TEST(ToolProgress, NotShownWhenStandardErrorIsNotATerminal) {
    ScratchDir dir;
    const std::string input = input_file(dir, "in.ppm", random_samples(kWidth, 100, 3, 8, 91));
    const Environment rows("OZU_TOOL_STRIP_ROWS", "10");
    const Environment now("OZU_TOOL_PROGRESS_AFTER_MS", "0");
    const ToolRun run = tool_test::run_tool(dir, {"convert", "--to", "HSV", input, dir.file("o.ppm")});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
}

}  // namespace
