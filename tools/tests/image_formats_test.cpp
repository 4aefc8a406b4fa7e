// The program's other image formats: plain PNM and bitmaps, JPEG and TIFF
// read against files made by libjpeg and libtiff themselves, written and
// read back, their refusals; --format, and standard input and output.

#include <tiffio.h>

#include <cstddef>
#include <cstdio>
#include <jpeglib.h>

#include <cerrno>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include <ozu/base.h>

#include "image_io.h"
#include "tool_test_support.h"

namespace {

using ozu::tool::ImageFormat;
using ozu::tool::Raster;
using ozu::tool::ReadNotes;
using tool_test::ScratchDir;
using tool_test::thrown_code;

std::vector<uint8_t> text_bytes(const std::string& text) {
    return std::vector<uint8_t>(text.begin(), text.end());
}

Raster raster_of(const tool_test::Samples& s) {
    Raster r(s.width, s.height, s.channels, s.depth);
    r.samples = s.values;
    return r;
}

// Every output of this scope in `format`, whatever its name.
class FormatScope {
public:
    explicit FormatScope(ImageFormat format) : previous_(ozu::tool::set_output_format(format)) {}
    ~FormatScope() { ozu::tool::set_output_format(previous_); }

private:
    std::optional<ImageFormat> previous_;
};

// ---- plain PNM and bitmaps --------------------------------------------------

TEST(PlainPnm, GreyWithCommentsAndRgbWithShortMaxvalAreRead) {
    ScratchDir dir;
    tool_test::write_bytes(dir.file("a.pgm"), text_bytes("P2\n# hand made\n3 2 255\n0 1 2\n"
                                                         "# between rows\n253\t254 255\n"));
    const Raster grey = ozu::tool::read_image_file(dir.file("a.pgm"));
    EXPECT_EQ(grey.channels, 1);
    EXPECT_EQ(grey.depth, 8);
    EXPECT_EQ(grey.samples, (std::vector<uint16_t>{0, 1, 2, 253, 254, 255}));

    tool_test::write_bytes(dir.file("a.ppm"), text_bytes("P3 2 1 1000 0 500 1000 1 999 7"));
    ReadNotes notes;
    const Raster rgb = ozu::tool::read_image_file(dir.file("a.ppm"), &notes);
    EXPECT_EQ(rgb.channels, 3);
    EXPECT_EQ(rgb.depth, 16);
    // v * 65535 / 1000, rounded.
    EXPECT_EQ(rgb.samples, (std::vector<uint16_t>{0, 32768, 65535, 66, 65469, 459}));
    ASSERT_EQ(notes.lines.size(), 1u);
}

TEST(PlainPnm, BitmapsBecomeGreyBlackZeroWhiteFull) {
    ScratchDir dir;
    // Plain bits need no separators; binary rows are padded to whole bytes.
    tool_test::write_bytes(dir.file("a.pbm"), text_bytes("P1\n3 2\n101\n0 1\n1\n"));
    ReadNotes notes;
    const Raster plain = ozu::tool::read_image_file(dir.file("a.pbm"), &notes);
    EXPECT_EQ(plain.samples, (std::vector<uint16_t>{0, 255, 0, 255, 0, 0}));
    EXPECT_EQ(notes.lines.size(), 1u);

    std::vector<uint8_t> binary = text_bytes("P4\n10 2\n");
    for (uint8_t b : {0b10000000, 0b01000000, 0b00000000, 0b11111111}) binary.push_back(b);
    tool_test::write_bytes(dir.file("b.pbm"), binary);
    const Raster packed = ozu::tool::read_image_file(dir.file("b.pbm"));
    ASSERT_EQ(packed.width, 10);
    std::vector<uint16_t> expected(20, 255);
    expected[0] = 0;
    expected[9] = 0;
    expected[18] = 0;
    expected[19] = 0;
    EXPECT_EQ(packed.samples, expected);
}

TEST(PlainPnm, DamagedOrShortSamplesAreInputErrors) {
    ScratchDir dir;
    tool_test::write_bytes(dir.file("a.pgm"), text_bytes("P2 2 1 255 7 x"));
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("a.pgm")); }), EIO);
    tool_test::write_bytes(dir.file("b.pgm"), text_bytes("P2 2 1 255 7"));
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("b.pgm")); }), EIO);
    tool_test::write_bytes(dir.file("c.pgm"), text_bytes("P2 1 1 255 256"));
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("c.pgm")); }), EIO);
    tool_test::write_bytes(dir.file("d.pbm"), text_bytes("P1 2 1 1 2"));
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("d.pbm")); }), EIO);
    tool_test::write_bytes(dir.file("e.pbm"), text_bytes("P4 9 1\n\x01"));
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("e.pbm")); }), EIO);
}

TEST(PlainPnm, WrittenOneRowALineAndReadBack) {
    ScratchDir dir;
    Raster r(3, 2, 1, 16);
    r.samples = {0, 1, 65535, 300, 7, 40000};
    {
        const FormatScope plain(ImageFormat::PnmPlain);
        ozu::tool::write_image_file(dir.file("a.pgm"), r);
    }
    EXPECT_EQ(tool_test::read_text(dir.file("a.pgm")), "P2\n3 2\n65535\n0 1 65535\n300 7 40000\n");
    EXPECT_EQ(ozu::tool::read_image_file(dir.file("a.pgm")).samples, r.samples);
}

// ---- JPEG -------------------------------------------------------------------

// A JPEG made by libjpeg itself: `components` 1 (grey), 3 (RGB in, YCbCr
// in the file) or 4 (CMYK), from interleaved 8-bit samples.
std::vector<uint8_t> make_jpeg(int width, int height, int components,
                               const std::vector<uint8_t>& samples, bool progressive = false) {
    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &data, &size);
    info.image_width = JDIMENSION(width);
    info.image_height = JDIMENSION(height);
    info.input_components = components;
    info.in_color_space = components == 1 ? JCS_GRAYSCALE : components == 3 ? JCS_RGB : JCS_CMYK;
    jpeg_set_defaults(&info);
    if (progressive) jpeg_simple_progression(&info);
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        JSAMPROW row = const_cast<uint8_t*>(samples.data()) +
                       size_t(info.next_scanline) * size_t(width) * size_t(components);
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::vector<uint8_t> bytes(data, data + size);
    std::free(data);
    return bytes;
}

// libjpeg's own decoding of a JPEG: the samples, and each component's
// sampling factors.
struct Decoded {
    int width = 0, height = 0, components = 0;
    std::vector<uint8_t> samples;
    std::vector<int> factors;
};

Decoded decode_jpeg(const std::vector<uint8_t>& bytes) {
    jpeg_decompress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, bytes.data(), static_cast<unsigned long>(bytes.size()));
    jpeg_read_header(&info, TRUE);
    Decoded d;
    for (int c = 0; c < info.num_components; ++c) {
        d.factors.push_back(info.comp_info[c].h_samp_factor);
        d.factors.push_back(info.comp_info[c].v_samp_factor);
    }
    jpeg_start_decompress(&info);
    d.width = int(info.output_width);
    d.height = int(info.output_height);
    d.components = info.output_components;
    d.samples.resize(size_t(d.width) * size_t(d.height) * size_t(d.components));
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = d.samples.data() + size_t(info.output_scanline) * size_t(d.width) *
                                              size_t(d.components);
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    return d;
}

std::vector<uint8_t> gradient(int width, int height, int components) {
    std::vector<uint8_t> v(size_t(width) * size_t(height) * size_t(components));
    for (size_t k = 0; k < v.size(); ++k) v[k] = uint8_t((k * 7 + k / size_t(width) * 3) & 0xFF);
    return v;
}

TEST(JpegRead, SamplesAreLibjpegsOwnDecodingForGreyColourAndProgressive) {
    ScratchDir dir;
    for (int components : {1, 3})
        for (bool progressive : {false, true}) {
            const std::vector<uint8_t> file =
                make_jpeg(37, 21, components, gradient(37, 21, components), progressive);
            tool_test::write_bytes(dir.file("a.jpg"), file);
            const Raster r = ozu::tool::read_image_file(dir.file("a.jpg"));
            const Decoded d = decode_jpeg(file);
            EXPECT_EQ(r.width, 37);
            EXPECT_EQ(r.height, 21);
            EXPECT_EQ(r.channels, components);
            EXPECT_EQ(r.depth, 8);
            EXPECT_EQ(r.samples, std::vector<uint16_t>(d.samples.begin(), d.samples.end()))
                << components << " components, progressive " << progressive;
        }
}

TEST(JpegRead, CmykDamagedAndTruncatedFilesAreRefused) {
    ScratchDir dir;
    tool_test::write_bytes(dir.file("cmyk.jpg"), make_jpeg(8, 8, 4, gradient(8, 8, 4)));
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("cmyk.jpg")); }), ENOTSUP);
    std::vector<uint8_t> file = make_jpeg(16, 16, 3, gradient(16, 16, 3));
    file.resize(20);  // the start of the header only
    tool_test::write_bytes(dir.file("short.jpg"), file);
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("short.jpg")); }), EIO);
}

// The message of the ToolError that `call` throws, or "".
template <class Call>
std::string thrown_message(Call&& call) {
    try {
        call();
    } catch (const ozu::tool::ToolError& error) {
        return error.what();
    }
    return "";
}

// `file` with the size in its frame header changed to width x height.
std::vector<uint8_t> with_frame_size(std::vector<uint8_t> file, uint16_t width, uint16_t height) {
    for (size_t k = 0; k + 9 < file.size(); ++k) {
        // Baseline (C0) or progressive (C2) frame: marker, length, precision,
        // height, width, all big-endian.
        if (file[k] == 0xFF && (file[k + 1] == 0xC0 || file[k + 1] == 0xC2)) {
            file[k + 5] = uint8_t(height >> 8);
            file[k + 6] = uint8_t(height);
            file[k + 7] = uint8_t(width >> 8);
            file[k + 8] = uint8_t(width);
            return file;
        }
    }
    ADD_FAILURE() << "no frame header";
    return file;
}

TEST(JpegRead, AHeaderPromisingMoreThanTheFileCanHoldIsRefusedBeforeAllocating) {
    // A 16 x 16 picture whose header says 30000 x 30000: 2.7 GB of samples
    // cannot come out of a few hundred bytes of Huffman codes, so the file
    // is refused as damaged before libjpeg or the reader allocate for them.
    ScratchDir dir;
    for (bool progressive : {false, true}) {
        for (int components : {1, 3}) {
            const auto file = with_frame_size(
                make_jpeg(16, 16, components, gradient(16, 16, components), progressive), 30000,
                30000);
            tool_test::write_bytes(dir.file("big.jpg"), file);
            EXPECT_NE(thrown_message([&] { ozu::tool::read_image_file(dir.file("big.jpg")); })
                          .find("the header promises more pixels than the file holds"),
                      std::string::npos)
                << "progressive " << progressive << ", components " << components;
            EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("big.jpg")); }), EIO);
        }
    }
}

// A TIFF of 190 bytes (found by fuzz_image_readers) whose header declares
// 17011 x 12 pixels of 11009 samples each in one deflated strip of 20
// bytes: libtiff would allocate the 2.2 GB strip before finding the data
// short.
const uint8_t kTiffHugeSamples[] = {
    0x49, 0x49, 0x2A, 0x00, 0x1C, 0x00, 0x00, 0x00, 0x78, 0x9C, 0x4B, 0xBD, 0x10, 0xAD, 0x5D, 0x23,
    0x24, 0xC3, 0xB9, 0x7C, 0x42, 0xCD, 0x05, 0x1E, 0x00, 0x5C, 0x07, 0x16, 0x0D, 0x00, 0x00, 0x01,
    0x03, 0x00, 0x01, 0x00, 0x00, 0x00, 0x73, 0x42, 0x49, 0x54, 0x01, 0x01, 0x03, 0x00, 0x01, 0x00,
    0x00, 0x00, 0x0C, 0x00, 0x00, 0x00, 0x02, 0x01, 0x03, 0x00, 0x01, 0x00, 0x00, 0x00, 0x08, 0x00,
    0x00, 0x00, 0x03, 0x01, 0x03, 0x00, 0x01, 0x00, 0x00, 0x00, 0x08, 0x00, 0x00, 0x00, 0x06, 0x01,
    0x03, 0x00, 0x01, 0x00, 0x00, 0x04, 0x01, 0x00, 0x00, 0x00, 0x11, 0x01, 0x04, 0x00, 0x01, 0x00,
    0x00, 0x00, 0x08, 0x00, 0x00, 0x00, 0x12, 0x01, 0x50, 0x35, 0x0A, 0x04, 0x00, 0x00, 0x00, 0xFF,
    0xFE, 0x00, 0x15, 0x01, 0x03, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x2B, 0x00, 0x00, 0x16, 0x01,
    0x03, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x08, 0x00, 0x00, 0x17, 0x01, 0x04, 0x00, 0x01, 0x00,
    0x00, 0x00, 0x14, 0x00, 0x00, 0x00, 0x1C, 0x01, 0x03, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00,
    0x00, 0x00, 0x3D, 0x01, 0x03, 0x00, 0x01, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x53, 0x01,
    0x03, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
};

TEST(TiffRead, AHeaderOfBlocksLargerThanAnyImageIsRefusedBeforeAllocating) {
    ScratchDir dir;
    tool_test::write_bytes(dir.file("samples.tif"),
                           std::vector<uint8_t>(std::begin(kTiffHugeSamples),
                                                std::end(kTiffHugeSamples)));
    const auto read = [&] { ozu::tool::read_image_file(dir.file("samples.tif")); };
    EXPECT_NE(thrown_message(read).find("damaged TIFF header (11009 samples a pixel, blocks of "
                                        "2247289188 bytes for 17011 x 12 pixels)"),
              std::string::npos)
        << thrown_message(read);
    EXPECT_EQ(thrown_code(read), EIO);
}

TEST(JpegRead, TheMostCompressedPicturesAreStillRead) {
    // One grey level over 2048 x 2048: the fewest bits a block can take,
    // baseline and progressive, grey and colour, and still within what the
    // reader's check allows.
    ScratchDir dir;
    for (bool progressive : {false, true}) {
        for (int components : {1, 3}) {
            const std::vector<uint8_t> flat(size_t(2048) * 2048 * components, 77);
            tool_test::write_bytes(dir.file("flat.jpg"),
                                   make_jpeg(2048, 2048, components, flat, progressive));
            const Raster r = ozu::tool::read_image_file(dir.file("flat.jpg"));
            EXPECT_EQ(r.width, 2048);
            EXPECT_EQ(r.height, 2048);
            EXPECT_EQ(r.channels, components);
            EXPECT_EQ(r.at(2047, 2047, 0), 77) << "progressive " << progressive;
        }
    }
}

TEST(JpegWrite, EveryChromaSampleIsKeptAndTheImageComesBackClose) {
    ScratchDir dir;
    Raster r(40, 24, 3, 8);
    // Smooth colour: lossy coding moves each sample by a level or two only.
    for (int32_t y = 0; y < r.height; ++y)
        for (int32_t x = 0; x < r.width; ++x) {
            r.at(x, y, 0) = uint16_t(40 + 4 * x);
            r.at(x, y, 1) = uint16_t(60 + 5 * y);
            r.at(x, y, 2) = uint16_t(200 - 2 * x);
        }
    ozu::tool::write_image_file(dir.file("a.jpeg"), r);
    const Decoded d = decode_jpeg(tool_test::read_bytes(dir.file("a.jpeg")));
    EXPECT_EQ(d.factors, (std::vector<int>{1, 1, 1, 1, 1, 1}));
    ASSERT_EQ(d.samples.size(), r.samples.size());
    int worst = 0;
    for (size_t k = 0; k < r.samples.size(); ++k)
        worst = std::max(worst, std::abs(int(d.samples[k]) - int(r.samples[k])));
    EXPECT_LE(worst, 3);
}

TEST(JpegWrite, SixteenBitImagesAreRefusedBeforeAnyFileIsMade) {
    ScratchDir dir;
    Raster r(2, 2, 1, 16);
    r.samples = {1, 2, 3, 4};
    EXPECT_EQ(thrown_code([&] { ozu::tool::write_image_file(dir.file("a.jpg"), r); }), EINVAL);
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
    EXPECT_EQ(thrown_code([&] { ozu::tool::check_output_path(dir.file("a.jpg"), 1, 16); }),
              EINVAL);
}

// ---- TIFF -------------------------------------------------------------------

struct TiffPlan {
    uint32_t width = 0, height = 0;
    uint16_t samples = 1, bits = 8;
    uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    uint16_t planar = PLANARCONFIG_CONTIG;
    uint16_t format = SAMPLEFORMAT_UINT;
    uint16_t extras = 0;
    uint32_t tile = 0;          // 0: strips
    uint32_t rowsPerStrip = 3;  // for strips
    bool bigEndian = false;
    uint16_t compression = COMPRESSION_NONE;
    int pages = 1;
};

// A TIFF made by libtiff itself from interleaved samples (8 or 16 bits,
// `samples` per pixel), laid out as `plan` says.
void make_tiff(const std::string& path, const TiffPlan& plan, const std::vector<uint16_t>& values,
               const std::vector<uint16_t>& palette = {}) {
    TIFF* tiff = TIFFOpen(path.c_str(), plan.bigEndian ? "wb" : "wl");
    ASSERT_NE(tiff, nullptr);
    const size_t bytes = plan.bits / 8;
    for (int page = 0; page < plan.pages; ++page) {
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, plan.width);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, plan.height);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, plan.samples);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, plan.bits);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, plan.photometric);
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, plan.planar);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, plan.format);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, plan.compression);
        if (plan.extras != 0) {
            uint16_t kinds[1] = {EXTRASAMPLE_UNASSALPHA};
            TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, plan.extras, kinds);
        }
        if (!palette.empty()) {
            std::vector<uint16_t> r(256), g(256), b(256);
            for (size_t k = 0; k < palette.size() / 3; ++k) {
                r[k] = palette[3 * k];
                g[k] = palette[3 * k + 1];
                b[k] = palette[3 * k + 2];
            }
            TIFFSetField(tiff, TIFFTAG_COLORMAP, r.data(), g.data(), b.data());
        }
        const bool separate = plan.planar == PLANARCONFIG_SEPARATE;
        const uint16_t planes = separate ? plan.samples : 1;
        const size_t perPixel = separate ? 1 : plan.samples;
        auto put = [&](std::vector<uint8_t>& block, size_t k, uint16_t v) {
            if (bytes == 1) {
                block[k] = uint8_t(v);
            } else {
                std::memcpy(block.data() + 2 * k, &v, 2);
            }
        };
        auto value = [&](uint32_t x, uint32_t y, uint32_t c) {
            return values[(size_t(y) * plan.width + x) * plan.samples + c];
        };
        if (plan.tile != 0) {
            TIFFSetField(tiff, TIFFTAG_TILEWIDTH, plan.tile);
            TIFFSetField(tiff, TIFFTAG_TILELENGTH, plan.tile);
            std::vector<uint8_t> block(size_t(plan.tile) * plan.tile * perPixel * bytes);
            for (uint16_t p = 0; p < planes; ++p)
                for (uint32_t y0 = 0; y0 < plan.height; y0 += plan.tile)
                    for (uint32_t x0 = 0; x0 < plan.width; x0 += plan.tile) {
                        std::fill(block.begin(), block.end(), 0xEE);
                        for (uint32_t y = y0; y < std::min(plan.height, y0 + plan.tile); ++y)
                            for (uint32_t x = x0; x < std::min(plan.width, x0 + plan.tile); ++x)
                                for (size_t c = 0; c < perPixel; ++c)
                                    put(block, (size_t(y - y0) * plan.tile + (x - x0)) * perPixel + c,
                                        value(x, y, separate ? p : uint32_t(c)));
                        ASSERT_GE(TIFFWriteTile(tiff, block.data(), x0, y0, 0, p), 0);
                    }
        } else {
            TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, plan.rowsPerStrip);
            std::vector<uint8_t> row(size_t(plan.width) * perPixel * bytes);
            for (uint16_t p = 0; p < planes; ++p)
                for (uint32_t y = 0; y < plan.height; ++y) {
                    for (uint32_t x = 0; x < plan.width; ++x)
                        for (size_t c = 0; c < perPixel; ++c)
                            put(row, size_t(x) * perPixel + c, value(x, y, separate ? p : uint32_t(c)));
                    ASSERT_GE(TIFFWriteScanline(tiff, row.data(), y, p), 0);
                }
        }
        TIFFWriteDirectory(tiff);
    }
    TIFFClose(tiff);
}

std::vector<uint16_t> counting(size_t count, uint32_t depth) {
    std::vector<uint16_t> v(count);
    for (size_t k = 0; k < count; ++k)
        v[k] = uint16_t(depth == 8 ? (k * 37 + 11) & 0xFF : (k * 4099 + 12345) & 0xFFFF);
    return v;
}

// Keeps the first `keep` of every `every` samples.
std::vector<uint16_t> first_samples(const std::vector<uint16_t>& v, size_t every, size_t keep) {
    std::vector<uint16_t> out;
    for (size_t k = 0; k < v.size(); ++k)
        if (k % every < keep) out.push_back(v[k]);
    return out;
}

struct TiffCase {
    const char* what;
    TiffPlan plan;
};

class TiffLayouts : public ::testing::TestWithParam<TiffCase> {};

TEST_P(TiffLayouts, SamplesComeAsLibtiffWroteThem) {
    const TiffPlan& plan = GetParam().plan;
    ScratchDir dir;
    const std::vector<uint16_t> values =
        counting(size_t(plan.width) * plan.height * plan.samples, plan.bits);
    make_tiff(dir.file("a.tif"), plan, values);
    ReadNotes notes;
    const Raster r = ozu::tool::read_image_file(dir.file("a.tif"), &notes);
    const int32_t colours = plan.samples - plan.extras;
    EXPECT_EQ(r.width, int32_t(plan.width));
    EXPECT_EQ(r.height, int32_t(plan.height));
    EXPECT_EQ(r.channels, colours);
    EXPECT_EQ(r.depth, plan.bits);
    EXPECT_EQ(r.samples, first_samples(values, plan.samples, size_t(colours)));
    EXPECT_EQ(notes.lines.size(), plan.extras != 0 ? 1u : 0u);
}

TiffPlan layout(uint32_t w, uint32_t h, uint16_t samples, uint16_t bits) {
    TiffPlan s;
    s.width = w;
    s.height = h;
    s.samples = samples;
    s.bits = bits;
    s.photometric = samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    return s;
}

TiffPlan with(TiffPlan s, void (*change)(TiffPlan&)) {
    change(s);
    return s;
}

INSTANTIATE_TEST_SUITE_P(
    StripsTilesPlanesAndByteOrders, TiffLayouts,
    ::testing::Values(
        TiffCase{"grey8Strips", layout(23, 11, 1, 8)},
        TiffCase{"rgb16StripsBigEndian",
                 with(layout(19, 7, 3, 16), [](TiffPlan& s) { s.bigEndian = true; })},
        TiffCase{"grey16TilesDeflate", with(layout(40, 33, 1, 16),
                                            [](TiffPlan& s) {
                                                s.tile = 16;
                                                s.compression = COMPRESSION_ADOBE_DEFLATE;
                                            })},
        TiffCase{"rgb8TilesSeparatePlanes", with(layout(33, 17, 3, 8),
                                                 [](TiffPlan& s) {
                                                     s.tile = 16;
                                                     s.planar = PLANARCONFIG_SEPARATE;
                                                 })},
        TiffCase{"rgb16StripsSeparatePlanesLzw", with(layout(9, 10, 3, 16),
                                                      [](TiffPlan& s) {
                                                          s.planar = PLANARCONFIG_SEPARATE;
                                                          s.compression = COMPRESSION_LZW;
                                                      })},
        TiffCase{"rgbaAlphaDropped", with(layout(6, 5, 4, 8), [](TiffPlan& s) { s.extras = 1; })}),
    [](const ::testing::TestParamInfo<TiffCase>& info) { return std::string(info.param.what); });

TEST(TiffRead, WhiteIsZeroGreyIsTurnedOverWithANote) {
    ScratchDir dir;
    TiffPlan plan = layout(3, 1, 1, 8);
    plan.photometric = PHOTOMETRIC_MINISWHITE;
    make_tiff(dir.file("a.tif"), plan, {0, 100, 255});
    ReadNotes notes;
    EXPECT_EQ(ozu::tool::read_image_file(dir.file("a.tif"), &notes).samples,
              (std::vector<uint16_t>{255, 155, 0}));
    EXPECT_EQ(notes.lines.size(), 1u);
}

TEST(TiffRead, PaletteComesThroughLibtiffsRgbaReaderWithANote) {
    ScratchDir dir;
    TiffPlan plan = layout(3, 1, 1, 8);
    plan.photometric = PHOTOMETRIC_PALETTE;
    // 16-bit colour map entries, libtiff's RGBA reader takes their high byte.
    make_tiff(dir.file("a.tif"), plan, {0, 2, 1},
              {0x1000, 0x2000, 0x3000, 0xFFFF, 0x0000, 0x8000, 0x0A00, 0x0B00, 0x0C00});
    ReadNotes notes;
    const Raster r = ozu::tool::read_image_file(dir.file("a.tif"), &notes);
    EXPECT_EQ(r.channels, 3);
    EXPECT_EQ(r.depth, 8);
    EXPECT_EQ(r.samples, (std::vector<uint16_t>{0x10, 0x20, 0x30, 0x0A, 0x0B, 0x0C, 0xFF, 0x00, 0x80}));
    EXPECT_EQ(notes.lines.size(), 1u);
}

TEST(TiffRead, FirstPageOfManyIsReadWithANote) {
    ScratchDir dir;
    TiffPlan plan = layout(2, 1, 1, 8);
    plan.pages = 3;
    make_tiff(dir.file("a.tif"), plan, {5, 6});
    ReadNotes notes;
    EXPECT_EQ(ozu::tool::read_image_file(dir.file("a.tif"), &notes).samples,
              (std::vector<uint16_t>{5, 6}));
    ASSERT_EQ(notes.lines.size(), 1u);
    EXPECT_NE(notes.lines[0].find("first of 3"), std::string::npos);
}

TEST(TiffRead, FloatSamplesAndDamagedFilesAreRefused) {
    ScratchDir dir;
    TiffPlan plan = layout(2, 1, 1, 16);
    plan.format = SAMPLEFORMAT_INT;
    make_tiff(dir.file("signed.tif"), plan, {1, 2});
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("signed.tif")); }), ENOTSUP);

    make_tiff(dir.file("good.tif"), layout(64, 64, 3, 8), counting(64 * 64 * 3, 8));
    std::vector<uint8_t> bytes = tool_test::read_bytes(dir.file("good.tif"));
    bytes.resize(bytes.size() / 2);
    tool_test::write_bytes(dir.file("short.tif"), bytes);
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("short.tif")); }), EIO);
    tool_test::write_bytes(dir.file("header.tif"), text_bytes(std::string("II*\0", 4)));
    EXPECT_EQ(thrown_code([&] { ozu::tool::read_image_file(dir.file("header.tif")); }), EIO);
}

class TiffRoundTrip : public ::testing::TestWithParam<std::tuple<int32_t, int32_t, bool>> {};

TEST_P(TiffRoundTrip, SamplesComeBackUnchangedInStripsOrTiles) {
    const auto [channels, depth, tiled] = GetParam();
    ScratchDir dir;
    // Wider and taller than one 256 x 256 tile, so edge tiles are partial.
    const Raster r = raster_of(tool_test::random_samples(300, 260, channels, depth, 7u));
    {
        const FormatScope format(tiled ? ImageFormat::TiffTiled : ImageFormat::Tiff);
        ozu::tool::write_image_file(dir.file("a.tif"), r);
    }
    const Raster back = ozu::tool::read_image_file(dir.file("a.tif"));
    EXPECT_EQ(back.channels, channels);
    EXPECT_EQ(back.depth, depth);
    EXPECT_EQ(back.samples, r.samples);
    TIFF* tiff = TIFFOpen(dir.file("a.tif").c_str(), "r");
    ASSERT_NE(tiff, nullptr);
    EXPECT_EQ(TIFFIsTiled(tiff) != 0, tiled);
    TIFFClose(tiff);
}

INSTANTIATE_TEST_SUITE_P(GreyAndRgbAtEightAndSixteenBits, TiffRoundTrip,
                         ::testing::Combine(::testing::Values(1, 3), ::testing::Values(8, 16),
                                            ::testing::Bool()));

// ---- the choice of format ---------------------------------------------------

TEST(OutputFormat, NamesAndExtensionsChooseTheWriter) {
    ScratchDir dir;
    Raster r(2, 1, 1, 8);
    r.samples = {10, 20};
    for (const char* name : {"a.TIF", "a.tiff", "a.jpg", "a.JPEG", "a.png", "a.pgm"})
        ozu::tool::write_image_file(dir.file(name), r);
    EXPECT_EQ(tool_test::read_text(dir.file("a.TIF")).substr(0, 4), std::string("II*\0", 4));
    EXPECT_EQ(tool_test::read_bytes(dir.file("a.JPEG"))[0], 0xFF);
    EXPECT_EQ(tool_test::read_text(dir.file("a.png")).substr(1, 3), "PNG");
    {
        // --format wins over the name.
        const FormatScope format(ImageFormat::Png);
        ozu::tool::write_image_file(dir.file("b.tif"), r);
    }
    EXPECT_EQ(tool_test::read_text(dir.file("b.tif")).substr(1, 3), "PNG");
    EXPECT_EQ(ozu::tool::image_format_from_name("tiff-tiled"), ImageFormat::TiffTiled);
    EXPECT_EQ(ozu::tool::image_format_from_name("pnm-plain"), ImageFormat::PnmPlain);
    EXPECT_EQ(ozu::tool::image_format_from_name("gif"), std::nullopt);
    EXPECT_EQ(thrown_code([&] { ozu::tool::write_image_file(dir.file("a.gif"), r); }), ENOTSUP);
    EXPECT_EQ(thrown_code([&] { ozu::tool::check_output_path("-"); }), ENOTSUP);
}

// ---- the program on pipes ---------------------------------------------------

TEST(ToolPipes, StandardOutputCarriesTheImageAndMessagesGoToStandardError) {
    ScratchDir dir;
    tool_test::write_pnm(dir.file("in.ppm"), tool_test::random_samples(31, 9, 3, 8, 3u));
    const tool_test::Run file =
        tool_test::run_tool(dir, {"convert", "--to", "HSV", dir.file("in.ppm"), dir.file("a.tif")});
    ASSERT_EQ(file.status, 0) << file.err;
    const tool_test::Run piped = tool_test::run_tool(
        dir, {"convert", "--to", "HSV", "--format", "tiff", dir.file("in.ppm"), "-"});
    ASSERT_EQ(piped.status, 0) << piped.err;
    EXPECT_EQ(piped.out, tool_test::read_text(dir.file("a.tif")));
    EXPECT_EQ(piped.err.rfind("wrote standard output (3 channels, 8-bit): ", 0), 0u) << piped.err;
}

TEST(ToolPipes, StandardInputIsReadByContents) {
    ScratchDir dir;
    tool_test::write_pnm(dir.file("in.ppm"), tool_test::random_samples(13, 6, 3, 16, 4u));
    ASSERT_EQ(tool_test::run_tool(dir, {"convert", "--to", "YCC", dir.file("in.ppm"),
                                        dir.file("a.png")})
                  .status,
              0);
    const tool_test::Run piped = tool_test::run_tool(
        dir, {"convert", "--to", "YCC", "-", dir.file("b.png")}, dir.file("in.ppm"));
    ASSERT_EQ(piped.status, 0) << piped.err;
    EXPECT_EQ(tool_test::read_text(dir.file("a.png")), tool_test::read_text(dir.file("b.png")));
    EXPECT_TRUE(piped.out.empty());
}

TEST(ToolPipes, MissingOrUnknownFormatAndEmptyInputAreNamed) {
    ScratchDir dir;
    tool_test::write_pnm(dir.file("in.pgm"), tool_test::random_samples(4, 4, 1, 8, 5u));
    const tool_test::Run noFormat =
        tool_test::run_tool(dir, {"to-colour", dir.file("in.pgm"), "-"});
    EXPECT_EQ(noFormat.status, 1);
    EXPECT_NE(noFormat.err.find("needs --format"), std::string::npos) << noFormat.err;
    EXPECT_TRUE(noFormat.out.empty());

    const tool_test::Run unknown = tool_test::run_tool(
        dir, {"to-colour", "--format", "gif", dir.file("in.pgm"), dir.file("a.png")});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.err, "ozu-color to-colour: --format 'gif': give png, pnm, pnm-plain, jpeg, "
                           "tiff or tiff-tiled" + tool_test::usage_tail(ENOTSUP, "to-colour"));

    const tool_test::Run empty = tool_test::run_tool(dir, {"to-grey", "-", dir.file("a.png")});
    EXPECT_EQ(empty.status, 1);
    EXPECT_EQ(empty.err, "ozu-color to-grey: cannot read standard input: it is empty" +
                             tool_test::error_tail(EIO));
}

}  // namespace

namespace {

TEST(ToolPipes, DamagedAndUnreadableInputsGiveOneLineAndNoFile) {
    ScratchDir dir;
    // Cut in its entropy-coded data, past the headers.
    std::vector<uint8_t> jpeg = make_jpeg(256, 256, 3, gradient(256, 256, 3));
    jpeg.resize(jpeg.size() * 2 / 3);
    tool_test::write_bytes(dir.file("cut.jpg"), jpeg);
    TiffPlan plan = layout(4, 4, 3, 32);
    plan.format = SAMPLEFORMAT_IEEEFP;
    plan.planar = PLANARCONFIG_SEPARATE;
    make_tiff(dir.file("float.tif"), plan, std::vector<uint16_t>(4 * 4 * 3, 0));
    for (const char* name : {"cut.jpg", "float.tif"}) {
        const tool_test::Run run =
            tool_test::run_tool(dir, {"convert", "--to", "HSV", dir.file(name), dir.file("o.png")});
        EXPECT_EQ(run.status, 1) << name;
        EXPECT_TRUE(tool_test::is_single_line(run.err)) << run.err;
        EXPECT_NE(run.err.find(dir.file(name)), std::string::npos) << run.err;
        EXPECT_FALSE(std::filesystem::exists(dir.file("o.png"))) << name;
    }
}

}  // namespace
