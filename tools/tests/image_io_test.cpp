// The program's image files: binary PNM read and written byte for byte, PNG
// round trips at 8 and 16 bits, the refusals, and the passage of samples into
// and out of host buffers of every pixel type.

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "image_io.h"
#include "tool_test_support.h"

namespace {

using ozu::tool::Raster;
using ozu::tool::ReadNotes;
using tool_test::ScratchDir;
using tool_test::thrown_code;

std::vector<uint8_t> bytes_of(const std::string& header, std::initializer_list<int> samples) {
    std::vector<uint8_t> bytes(header.begin(), header.end());
    for (int v : samples) bytes.push_back(static_cast<uint8_t>(v));
    return bytes;
}

TEST(PnmRead, EightBitP6SamplesComeAsTheyAre) {
    ScratchDir dir;
    tool_test::write_bytes(dir.file("a.ppm"), bytes_of("P6\n2 1\n255\n", {1, 2, 3, 250, 251, 252}));
    const Raster r = ozu::tool::read_image_file(dir.file("a.ppm"));
    EXPECT_EQ(r.width, 2);
    EXPECT_EQ(r.height, 1);
    EXPECT_EQ(r.channels, 3);
    EXPECT_EQ(r.depth, 8);
    EXPECT_EQ(r.samples, (std::vector<uint16_t>{1, 2, 3, 250, 251, 252}));
}

TEST(PnmRead, SixteenBitSamplesAreBigEndian) {
    ScratchDir dir;
    tool_test::write_bytes(dir.file("a.pgm"), bytes_of("P5 2 1 65535\n", {0x12, 0x34, 0xFF, 0x01}));
    const Raster r = ozu::tool::read_image_file(dir.file("a.pgm"));
    EXPECT_EQ(r.channels, 1);
    EXPECT_EQ(r.depth, 16);
    EXPECT_EQ(r.samples, (std::vector<uint16_t>{0x1234, 0xFF01}));
}

TEST(PnmRead, CommentsBetweenHeaderFieldsAreSkipped) {
    ScratchDir dir;
    tool_test::write_bytes(dir.file("a.pgm"),
                           bytes_of("P5\n# made by hand\n3 # width\n1\n255\n", {7, 8, 9}));
    const Raster r = ozu::tool::read_image_file(dir.file("a.pgm"));
    EXPECT_EQ(r.width, 3);
    EXPECT_EQ(r.samples, (std::vector<uint16_t>{7, 8, 9}));
}

TEST(PnmRead, ShortMaxvalIsSpreadOverTheFullRangeWithANote) {
    ScratchDir dir;
    tool_test::write_bytes(dir.file("a.pgm"), bytes_of("P5\n4 1\n15\n", {0, 1, 7, 15}));
    ReadNotes notes;
    const Raster r = ozu::tool::read_image_file(dir.file("a.pgm"), &notes);
    // v * 255 / 15 rounded: 0, 17, 119, 255.
    EXPECT_EQ(r.samples, (std::vector<uint16_t>{0, 17, 119, 255}));
    ASSERT_EQ(notes.lines.size(), 1u);
    EXPECT_EQ(notes.lines[0], dir.file("a.pgm") + ": maxval 15 rescaled to 0..255");
}

TEST(PnmRead, TwelveBitMaxvalBecomesSixteenBit) {
    ScratchDir dir;
    tool_test::write_bytes(dir.file("a.pgm"),
                           bytes_of("P5\n2 1\n4095\n", {0x0F, 0xFF, 0x08, 0x00}));
    const Raster r = ozu::tool::read_image_file(dir.file("a.pgm"));
    EXPECT_EQ(r.depth, 16);
    // 4095 -> 65535; 2048 -> (2048 * 65535 + 2047) / 4095 = 32776.
    EXPECT_EQ(r.samples, (std::vector<uint16_t>{65535, 32776}));
}

TEST(PnmRead, TruncatedDataIsAnInputError) {
    ScratchDir dir;
    tool_test::write_bytes(dir.file("a.ppm"), bytes_of("P6\n2 2\n255\n", {1, 2, 3}));
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("a.ppm")); }), EIO);
}

TEST(PnmRead, AHeaderPromisingMoreThanTheFileHoldsIsRefusedBeforeAllocating) {
    // 32768 x 32768 16-bit RGB would take 6 GiB of samples; the two bytes
    // that follow the header are refused at once, as truncated data.
    ScratchDir dir;
    tool_test::write_bytes(dir.file("a.ppm"), bytes_of("P6\n32768 32768\n65535\n", {1, 2}));
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("a.ppm")); }), EIO);
    // One byte short of a small image is refused the same way, and the
    // exact size is read.
    tool_test::write_bytes(dir.file("b.pgm"), bytes_of("P5\n2 2\n255\n", {1, 2, 3}));
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("b.pgm")); }), EIO);
    tool_test::write_bytes(dir.file("c.pgm"), bytes_of("P5\n2 2\n255\n", {1, 2, 3, 4}));
    EXPECT_EQ(ozu::tool::read_image_file(dir.file("c.pgm")).samples.size(), 4u);
}

TEST(PnmRead, SampleAboveMaxvalIsAnInputError) {
    ScratchDir dir;
    tool_test::write_bytes(dir.file("a.pgm"), bytes_of("P5\n1 1\n100\n", {101}));
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("a.pgm")); }), EIO);
}

TEST(PnmRead, ArbitraryMapsAreNotSupported) {
    ScratchDir dir;
    for (const char* magic : {"P7"}) {
        tool_test::write_bytes(dir.file("a.pnm"),
                               bytes_of(std::string(magic) + "\n1 1\n255\n", {0}));
        EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("a.pnm")); }), ENOTSUP)
            << magic;
    }
}

TEST(PnmRead, ZeroSizeAndHugeMaxvalAreRefused) {
    ScratchDir dir;
    tool_test::write_bytes(dir.file("a.pgm"), bytes_of("P5\n0 1\n255\n", {}));
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("a.pgm")); }), EIO);
    tool_test::write_bytes(dir.file("b.pgm"), bytes_of("P5\n1 1\n65536\n", {0, 0}));
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("b.pgm")); }), ENOTSUP);
    tool_test::write_bytes(dir.file("c.pgm"), bytes_of("P5\n40000 1\n255\n", {0}));
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("c.pgm")); }), EFBIG);
}

TEST(ImageRead, MissingFileCarriesItsErrno) {
    ScratchDir dir;
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("none.png")); }), ENOENT);
}

TEST(ImageRead, UnknownContentsAreNotSupported) {
    ScratchDir dir;
    tool_test::write_bytes(dir.file("a.png"), bytes_of("GIF89a", {1, 0, 1, 0}));
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("a.png")); }), ENOTSUP);
    tool_test::write_bytes(dir.file("empty.png"), {});
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("empty.png")); }), ENOTSUP);
}

TEST(PnmWrite, SixteenBitIsWrittenBigEndianWithItsHeader) {
    ScratchDir dir;
    Raster r(2, 1, 1, 16);
    r.samples = {0x1234, 0xABCD};
    ozu::tool::write_image_file(dir.file("a.pgm"), r);
    EXPECT_EQ(tool_test::read_bytes(dir.file("a.pgm")),
              bytes_of("P5\n2 1\n65535\n", {0x12, 0x34, 0xAB, 0xCD}));
}

TEST(PnmWrite, PnmExtensionTakesEitherChannelCount) {
    ScratchDir dir;
    Raster grey(1, 1, 1, 8);
    grey.samples = {9};
    ozu::tool::write_image_file(dir.file("g.pnm"), grey);
    EXPECT_EQ(tool_test::read_bytes(dir.file("g.pnm")), bytes_of("P5\n1 1\n255\n", {9}));
    Raster colour(1, 1, 3, 8);
    colour.samples = {1, 2, 3};
    ozu::tool::write_image_file(dir.file("c.pnm"), colour);
    EXPECT_EQ(tool_test::read_bytes(dir.file("c.pnm")), bytes_of("P6\n1 1\n255\n", {1, 2, 3}));
}

TEST(ImageWrite, ExtensionAndChannelCountMustFit) {
    ScratchDir dir;
    Raster colour(1, 1, 3, 8);
    colour.samples = {1, 2, 3};
    EXPECT_EQ(thrown_code([&] { ozu::tool::write_image_file(dir.file("a.gif"), colour); }),
              ENOTSUP);
    EXPECT_EQ(thrown_code([&] { ozu::tool::write_image_file(dir.file("noext"), colour); }),
              ENOTSUP);
    EXPECT_EQ(thrown_code([&] { ozu::tool::write_image_file(dir.file("a.pgm"), colour); }), EINVAL);
    Raster grey(1, 1, 1, 8);
    grey.samples = {1};
    EXPECT_EQ(thrown_code([&] { ozu::tool::write_image_file(dir.file("a.ppm"), grey); }), EINVAL);
    EXPECT_FALSE(std::filesystem::exists(dir.file("a.pgm")));
    // Upper-case extensions are the same formats.
    EXPECT_EQ(thrown_code([&] { ozu::tool::write_image_file(dir.file("A.PNG"), colour); }), 0);
}

TEST(ImageWrite, UnwritableDirectoryCarriesItsErrno) {
    ScratchDir dir;
    Raster grey(1, 1, 1, 8);
    grey.samples = {1};
    EXPECT_EQ(thrown_code([&] { ozu::tool::write_image_file(dir.file("no/such/dir.png"), grey); }),
              ENOENT);
}

class PngRoundTrip : public ::testing::TestWithParam<std::pair<int32_t, int32_t>> {};

TEST_P(PngRoundTrip, SamplesComeBackUnchanged) {
    const auto [channels, depth] = GetParam();
    ScratchDir dir;
    const tool_test::Samples s =
        tool_test::random_samples(29, 17, channels, depth, 40u + uint32_t(depth));
    Raster r(29, 17, channels, depth);
    r.samples = s.values;
    ozu::tool::write_image_file(dir.file("a.png"), r);
    const Raster back = ozu::tool::read_image_file(dir.file("a.png"));
    EXPECT_EQ(back.width, 29);
    EXPECT_EQ(back.height, 17);
    EXPECT_EQ(back.channels, channels);
    EXPECT_EQ(back.depth, depth);
    EXPECT_EQ(back.samples, r.samples);
}

INSTANTIATE_TEST_SUITE_P(GreyAndRgbAtEightAndSixteenBits, PngRoundTrip,
                         ::testing::Values(std::make_pair(1, 8), std::make_pair(3, 8),
                                           std::make_pair(1, 16), std::make_pair(3, 16)));

// Writes a PNG of colour type `colorType` with libpng itself.
void write_png_direct(const std::string& path, int colorType, int bitDepth, int width,
                      const std::vector<uint8_t>& row) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, png_uint_32(width), 1, bitDepth, colorType, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (colorType == PNG_COLOR_TYPE_PALETTE) {
        png_color palette[2] = {{10, 20, 30}, {200, 150, 100}};
        png_set_PLTE(png, info, palette, 2);
    }
    png_write_info(png, info);
    png_write_row(png, row.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}

TEST(PngRead, AHeaderPromisingMoreThanTheFileCanHoldIsRefusedBeforeAllocating) {
    // A 32768 x 32768 16-bit RGB header and one row, the file cut off there:
    // 6 GiB of rows cannot come out of a few kilobytes, so the file is
    // damaged and refused without allocating them.
    ScratchDir dir;
    const std::string path = dir.file("cut.png");
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, 32768, 32768, 16, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    std::vector<uint8_t> row(32768 * 6, 7);
    png_write_row(png, row.data());
    png_write_flush(png);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
    EXPECT_LT(std::filesystem::file_size(path), 100000u);
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(path); }), EIO);
}

TEST(PngRead, AlphaIsDroppedWithANote) {
    ScratchDir dir;
    write_png_direct(dir.file("a.png"), PNG_COLOR_TYPE_RGB_ALPHA, 8, 2, {1, 2, 3, 4, 5, 6, 7, 8});
    ReadNotes notes;
    const Raster r = ozu::tool::read_image_file(dir.file("a.png"), &notes);
    EXPECT_EQ(r.channels, 3);
    EXPECT_EQ(r.samples, (std::vector<uint16_t>{1, 2, 3, 5, 6, 7}));
    ASSERT_EQ(notes.lines.size(), 1u);
    EXPECT_EQ(notes.lines[0], dir.file("a.png") + ": alpha channel ignored");
}

TEST(PngRead, PaletteAndLowBitGreyAreExpandedToEightBits) {
    ScratchDir dir;
    write_png_direct(dir.file("p.png"), PNG_COLOR_TYPE_PALETTE, 8, 2, {1, 0});
    const Raster p = ozu::tool::read_image_file(dir.file("p.png"));
    EXPECT_EQ(p.channels, 3);
    EXPECT_EQ(p.samples, (std::vector<uint16_t>{200, 150, 100, 10, 20, 30}));

    write_png_direct(dir.file("g.png"), PNG_COLOR_TYPE_GRAY, 1, 8, {0xA0});
    const Raster g = ozu::tool::read_image_file(dir.file("g.png"));
    EXPECT_EQ(g.depth, 8);
    EXPECT_EQ(g.samples, (std::vector<uint16_t>{255, 0, 255, 0, 0, 0, 0, 0}));
}

TEST(PngRead, DamagedFileIsAnInputError) {
    ScratchDir dir;
    Raster r(8, 8, 3, 8);
    ozu::tool::write_image_file(dir.file("a.png"), r);
    std::vector<uint8_t> bytes = tool_test::read_bytes(dir.file("a.png"));
    bytes.resize(bytes.size() / 2);
    tool_test::write_bytes(dir.file("a.png"), bytes);
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("a.png")); }), EIO);
}

TEST(HostBuffers, EveryPixelTypeComesFromTheHostCopy) {
    const tool_test::Samples s = tool_test::random_samples(13, 7, 3, 8, 50);
    Raster r(13, 7, 3, 8);
    r.samples = s.values;
    for (int32_t type : {BASE_TYPE_S8, BASE_TYPE_U8, BASE_TYPE_S16, BASE_TYPE_U16}) {
        ozu::tool::HostBuffer buffer = ozu::tool::raster_to_buffer(r, type);
        EXPECT_EQ(buffer.attribute(BASE_ATTR_TYPE), type);
        EXPECT_EQ(buffer.attribute(BASE_ATTR_PLANES), 3);

        tool_test::Owned native(tool_test::buffer_from(s));
        tool_test::Owned expected;
        ASSERT_EQ(IPL_BufAlloc(expected.slot(), 13, 7, 3, 1, 1, type, BASE_KIND_IMAGE, 0), 1);
        int32_t target = expected.get();
        ASSERT_EQ(IPL_PtBufCopy(native.get(), &target, -1, -1, 0), 1);
        // Same bytes in every plane.
        for (int32_t p = 0; p < 3; ++p) {
            const int32_t size = type <= BASE_TYPE_U8 ? 1 : 2;
            std::vector<uint8_t> a(13 * 7 * 2), b(13 * 7 * 2);
            ASSERT_EQ(
                IPL_GetBufDataEx(buffer.get(), 0, 0, p, 0, 0, 13, 7, 0, 13 * size, a.data(), type),
                1);
            ASSERT_EQ(IPL_GetBufDataEx(expected.get(), 0, 0, p, 0, 0, 13, 7, 0, 13 * size, b.data(),
                                       type),
                      1);
            EXPECT_EQ(a, b) << "type " << type << ", plane " << p;
        }
        // And back: unsigned types unchanged, signed ones rescaled up again
        // (255 -> 127 -> 255, so 8-bit values survive only to within one).
        const Raster back = ozu::tool::buffer_to_raster(buffer.get());
        EXPECT_EQ(back.depth, type <= BASE_TYPE_U8 ? 8 : 16);
        if (type == BASE_TYPE_U8) {
            EXPECT_EQ(back.samples, r.samples);
        }
    }
    EXPECT_EQ(BASE_BufferCount(), 0);
}

TEST(HostBuffers, SignedResultIsWrittenThroughTheHostCopy) {
    tool_test::Owned h;
    ASSERT_EQ(IPL_BufAlloc(h.slot(), 4, 1, 1, 1, 1, BASE_TYPE_S8, BASE_KIND_IMAGE, 0), 1);
    const int8_t values[4] = {-128, -1, 64, 127};
    ASSERT_EQ(IPL_PutBufData(h.get(), 0, 0, 0, 0, 0, 4, 1, values), 1);
    const Raster r = ozu::tool::buffer_to_raster(h.get());
    EXPECT_EQ(r.depth, 8);
    // round(v * 255 / 127), negatives clamped to 0.
    EXPECT_EQ(r.samples, (std::vector<uint16_t>{0, 0, 129, 255}));
}

TEST(HostBuffers, TwoPlaneBufferCannotBeWritten) {
    tool_test::Owned h;
    ASSERT_EQ(IPL_BufAlloc(h.slot(), 2, 2, 2, 1, 1, BASE_TYPE_U8, BASE_KIND_IMAGE, 0), 1);
    EXPECT_EQ(thrown_code([&] { ozu::tool::buffer_to_raster(h.get()); }), EINVAL);
}

TEST(PixelTypeNames, NameAndCodeGoBothWays) {
    for (int32_t type : {BASE_TYPE_S8, BASE_TYPE_U8, BASE_TYPE_S16, BASE_TYPE_U16})
        EXPECT_EQ(ozu::tool::pixel_type_from_name(ozu::tool::pixel_type_name(type)), type);
    EXPECT_EQ(ozu::tool::pixel_type_from_name("u32"), 0);
    EXPECT_EQ(ozu::tool::pixel_type_from_name("U8"), 0);
}

}  // namespace

namespace {

std::vector<std::string> names_in(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// The image is written under another name and takes its own at the end: a
// good run leaves the target alone in its folder, an image already there is
// replaced whole, and a run that cannot write leaves that image as it was.
TEST(ImageWrite, TheTargetAppearsOnlyWholeAndNothingElseIsLeft) {
    ScratchDir dir;
    ozu::tool::Raster first(3, 2, 1, 8);
    for (size_t k = 0; k < first.samples.size(); ++k) first.samples[k] = uint16_t(10 * k);
    ozu::tool::write_image_file(dir.file("out.png"), first);
    EXPECT_EQ(names_in(dir.path()), std::vector<std::string>{"out.png"});

    // A second name of the first file keeps the first image: the new one is
    // a new file, never the old one written over in place.
    std::filesystem::create_hard_link(dir.file("out.png"), dir.file("first.png"));
    ozu::tool::Raster second(5, 4, 3, 16);
    for (size_t k = 0; k < second.samples.size(); ++k) second.samples[k] = uint16_t(999 * k);
    ozu::tool::write_image_file(dir.file("out.png"), second);
    EXPECT_EQ(names_in(dir.path()), (std::vector<std::string>{"first.png", "out.png"}));
    EXPECT_EQ(ozu::tool::read_image_file(dir.file("out.png")).samples, second.samples);
    EXPECT_EQ(ozu::tool::read_image_file(dir.file("first.png")).samples, first.samples);
    std::filesystem::remove(dir.file("first.png"));

    // A folder in the target's place: the image cannot take the name.
    std::filesystem::create_directory(dir.file("taken.pgm"));
    EXPECT_THROW(ozu::tool::write_image_file(dir.file("taken.pgm"), first), ozu::tool::ToolError);
    EXPECT_EQ(names_in(dir.path()), (std::vector<std::string>{"out.png", "taken.pgm"}));
    EXPECT_TRUE(std::filesystem::is_empty(dir.file("taken.pgm")));
}

}  // namespace
