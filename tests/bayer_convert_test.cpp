// The Bayer path of COL_ConvertColorSpace: colk_convert_bm and its template,
// from the checks that raise or fail silently to the demosaiced planes.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <vector>

#include <ozu/base.h>
#include <ozu/bayer.h>
#include <ozu/color.h>
#include <ozu/color_kernels.h>

#include "convert/bayer_convert.h"
#include "test_support.h"

namespace {

using ozu_test::attribute;
using ozu_test::Buffer;
using ozu_test::make_image;
using ozu_test::read_plane;
using ozu_test::write_plane;

constexpr uint32_t kToRGB = COL_CODE(COL_BAYER, COL_RGB);
constexpr uint32_t kToI = COL_CODE(COL_BAYER, COL_I);
constexpr uint32_t kToYUV = COL_CODE(COL_BAYER, COL_YUV);

// A code that no call of these tests records: a failure that must leave the
// slot alone is checked against it.
constexpr int32_t kHeld = -4242;

// Every test hands back every buffer it takes.
class BayerConvert : public ::testing::Test {
protected:
    void SetUp() override { start_ = BASE_BufferCount(); }
    void TearDown() override { EXPECT_EQ(BASE_BufferCount(), start_) << "buffers leaked"; }

private:
    int32_t start_ = 0;
};

enum Channel { R = 0, G = 1, B = 2 };

// The colour of each site of the top-left 2x2 cell, per parity.
constexpr Channel kCell[4][2][2] = {
    {{G, R}, {B, G}}, {{R, G}, {G, B}}, {{B, G}, {G, R}}, {{G, B}, {R, G}}};

Channel site(int32_t parity, int32_t x, int32_t y) { return kCell[parity][y & 1][x & 1]; }

BASE_Buffer& descriptor(int32_t h) { return *BASE_GetAtBuffer(h); }

// A one-plane raw buffer holding `pixels` (packed, width x height).
int32_t make_raw(int32_t width, int32_t height, const std::vector<uint8_t>& pixels,
                 int32_t parity = -1) {
    const int32_t h = make_image(width, height, 1, BASE_TYPE_U8);
    write_plane<uint8_t>(h, 0, pixels);
    descriptor(h).bayerParity = parity;
    return h;
}

// The mosaic of one uniform colour for a parity.
std::vector<uint8_t> uniform_mosaic(int32_t width, int32_t height, int32_t parity,
                                    const uint8_t (&rgb)[3]) {
    std::vector<uint8_t> raw(size_t(width) * size_t(height));
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) raw[size_t(y) * width + x] = rgb[site(parity, x, y)];
    return raw;
}

// Grey of the host's converter: 0.299 R + 0.587 G + 0.114 B rounded half up.
uint8_t grey(int32_t r, int32_t g, int32_t b) {
    return uint8_t((299 * r + 587 * g + 114 * b + 500) / 1000);
}

// Frees the buffer at once and reports whether the host agreed: it refuses
// while a pointer or lock is still out.
int32_t free_now(Buffer& buffer) {
    const int32_t h = buffer.handle();
    *buffer.slot() = -1;
    return IPL_BufFree(h);
}

// colk_convert_bm on unsigned 8-bit buffers; an int it throws is returned
// as that code.
int32_t run_kernel(int32_t src, int32_t dst, uint32_t code, int32_t srcType = BASE_TYPE_U8,
                   int32_t dstType = BASE_TYPE_U8) {
    try {
        return colk_convert_bm(src, &dst, srcType, dstType, int32_t(code));
    } catch (int thrown) {
        return thrown;
    }
}

std::vector<uint8_t> filled(size_t n, uint8_t v) { return std::vector<uint8_t>(n, v); }

// An unsigned 8-bit image whose line pitch is its width. An intensity result
// is one block copy that ignores the pitch, so only such a destination shows
// it line for line (the host's default pitch is a multiple of 64).
int32_t make_packed(int32_t width, int32_t height, int32_t planes) {
    const int32_t h =
        make_image(width, height, planes, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_ALIGN(1));
    EXPECT_EQ(attribute(h, BASE_ATTR_PITCH), width);
    return h;
}

// ---------------------------------------------------------------------------
// Demosaiced values

TEST_F(BayerConvert, UniformMosaicGivesItsColourAtEveryPixelForEveryParity) {
    const uint8_t colour[3] = {200, 120, 40};
    for (int32_t parity = 0; parity < 4; ++parity) {
        SCOPED_TRACE(parity);
        Buffer src(make_raw(7, 5, uniform_mosaic(7, 5, parity, colour), parity));
        Buffer dst;
        ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), kToRGB), 1);
        EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_PLANES), 3);
        for (int32_t p = 0; p < 3; ++p)
            EXPECT_EQ(read_plane<uint8_t>(dst.handle(), p), filled(35, colour[p])) << "plane " << p;
    }
}

TEST_F(BayerConvert, UniformMosaicGivesTheRoundedWeightedSumInIntensity) {
    const uint8_t colour[3] = {200, 120, 40};
    // 0.299 x 200 + 0.587 x 120 + 0.114 x 40 = 134.8.
    for (int32_t parity = 0; parity < 4; ++parity) {
        SCOPED_TRACE(parity);
        Buffer src(make_raw(7, 5, uniform_mosaic(7, 5, parity, colour), parity));
        Buffer dst(make_packed(7, 5, 1));
        ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), kToI), 1);
        EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_PLANES), 1);
        EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), filled(35, 135));
    }
}

// raw = 160 right of x = 2 plus 80 below y = 2, parity 0 (G R / B G).
std::vector<uint8_t> edge_mosaic() {
    std::vector<uint8_t> raw(16);
    for (int32_t y = 0; y < 4; ++y)
        for (int32_t x = 0; x < 4; ++x)
            raw[size_t(y) * 4 + x] = uint8_t((x >= 2 ? 160 : 0) + (y >= 2 ? 80 : 0));
    return raw;
}

// Worked out pixel by pixel with the bilinear rule: orthogonal and diagonal
// means of four (+2) / 4, line and column means of two (+1) / 2, borders
// reflected (index -1 reads 1, index 4 reads 2).
constexpr uint8_t kEdgeRGB[16][3] = {
    {0, 0, 0},       {0, 40, 80},     {80, 160, 160},  {160, 160, 160},
    {40, 20, 0},     {40, 0, 80},     {120, 140, 160}, {200, 160, 160},
    {80, 80, 40},    {80, 100, 120},  {160, 240, 200}, {240, 220, 200},
    {80, 80, 80},    {80, 80, 160},   {160, 200, 240}, {240, 240, 240}};

TEST_F(BayerConvert, SharpEdgesDemosaicByTheBilinearRule) {
    Buffer src(make_raw(4, 4, edge_mosaic(), 0));
    Buffer dst(make_image(4, 4, 3, BASE_TYPE_U8));
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), kToRGB), 1);
    for (int32_t p = 0; p < 3; ++p) {
        const std::vector<uint8_t> plane = read_plane<uint8_t>(dst.handle(), p);
        for (size_t i = 0; i < 16; ++i)
            EXPECT_EQ(plane[i], kEdgeRGB[i][p]) << "plane " << p << ", pixel " << i;
    }
}

TEST_F(BayerConvert, SharpEdgesInIntensityAreTheWeightedSumOfTheDemosaic) {
    Buffer src(make_raw(4, 4, edge_mosaic(), 0));
    Buffer dst(make_packed(4, 4, 1));
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), kToI), 1);
    const std::vector<uint8_t> plane = read_plane<uint8_t>(dst.handle(), 0);
    // Pixel 1 (0, 40, 80): 0.587 x 40 + 0.114 x 80 = 32.6.
    EXPECT_EQ(plane[1], 33);
    for (size_t i = 0; i < 16; ++i)
        EXPECT_EQ(plane[i], grey(kEdgeRGB[i][0], kEdgeRGB[i][1], kEdgeRGB[i][2])) << "pixel " << i;
}

TEST_F(BayerConvert, SignedTypesCarryTheBytesAsTheyAre) {
    const uint8_t colour[3] = {200, 120, 40};
    const std::vector<uint8_t> raw = uniform_mosaic(4, 2, 1, colour);
    for (int32_t srcType : {BASE_TYPE_S8, BASE_TYPE_U8}) {
        for (int32_t dstType : {BASE_TYPE_S8, BASE_TYPE_U8}) {
            SCOPED_TRACE(testing::Message() << srcType << " to " << dstType);
            Buffer src(make_image(4, 2, 1, srcType));
            ASSERT_EQ(IPL_PutBufData(src.handle(), 0, 0, 0, 0, 0, 4, 2, raw.data()), 1);
            descriptor(src.handle()).bayerParity = 1;
            Buffer dst(make_image(4, 2, 3, dstType));
            ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), kToRGB), 1);
            // Read back as bytes: 200 lands as -56 in a signed plane.
            std::vector<uint8_t> plane(8);
            ASSERT_EQ(IPL_GetBufDataEx(dst.handle(), 0, 0, 0, 0, 0, 4, 2, 0, 4, plane.data(),
                                       dstType),
                      1);
            EXPECT_EQ(plane, filled(8, 200));
            if (dstType == BASE_TYPE_S8) {
                EXPECT_EQ(read_plane<int8_t>(dst.handle(), 0), std::vector<int8_t>(8, -56));
            }
        }
    }
}

// ---------------------------------------------------------------------------
// Parity and look-up tables from the source's descriptor

TEST_F(BayerConvert, ParityWordOutsideZeroToThreeKeepsTheDefaultParity) {
    const uint8_t colour[3] = {200, 120, 40};
    // Laid out for parity 0, the converter's default.
    const std::vector<uint8_t> raw = uniform_mosaic(6, 4, 0, colour);
    for (int32_t word : {7, -1, 4}) {
        SCOPED_TRACE(word);
        Buffer src(make_raw(6, 4, raw, word));
        Buffer dst;
        ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), kToRGB), 1);
        for (int32_t p = 0; p < 3; ++p)
            EXPECT_EQ(read_plane<uint8_t>(dst.handle(), p), filled(24, colour[p]));
    }
    // The same mosaic read with another parity is not that colour: the word
    // does reach the converter when it is valid.
    Buffer src(make_raw(6, 4, raw, 2));
    Buffer dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), kToRGB), 1);
    EXPECT_NE(read_plane<uint8_t>(dst.handle(), 0), filled(24, 200));
}

// A uniform (200, 120, 40) converted with the descriptor's correction values.
std::vector<std::vector<uint8_t>> corrected(const double (&c)[7]) {
    const uint8_t colour[3] = {200, 120, 40};
    Buffer src(make_raw(4, 4, uniform_mosaic(4, 4, 3, colour), 3));
    std::memcpy(descriptor(src.handle()).colorCorrection, c, sizeof c);
    Buffer dst;
    EXPECT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), kToRGB), 1);
    std::vector<std::vector<uint8_t>> planes;
    for (int32_t p = 0; p < 3; ++p) planes.push_back(read_plane<uint8_t>(dst.handle(), p));
    return planes;
}

TEST_F(BayerConvert, HalfGainOnRedHalvesRed) {
    const auto planes = corrected({0.5, 0, 1, 0, 1, 0, 1});
    EXPECT_EQ(planes[0], filled(16, 100));
    EXPECT_EQ(planes[1], filled(16, 120));
    EXPECT_EQ(planes[2], filled(16, 40));
}

TEST_F(BayerConvert, CommonFactorScalesEveryGain) {
    auto planes = corrected({1, 0, 1, 0, 1, 0, 0.5});
    EXPECT_EQ(planes[0], filled(16, 100));
    EXPECT_EQ(planes[1], filled(16, 60));
    EXPECT_EQ(planes[2], filled(16, 20));
    // Gains 0.5 x 2, 1 x 2, 1.5 x 2: green clamps at 255.
    planes = corrected({0.5, 0, 1, 0, 1.5, 0, 2});
    EXPECT_EQ(planes[0], filled(16, 200));
    EXPECT_EQ(planes[1], filled(16, 240));
    EXPECT_EQ(planes[2], filled(16, 120));
}

TEST_F(BayerConvert, OffsetsAddToTheirChannelUnscaled) {
    auto planes = corrected({1, 10, 1, -20, 1, 5, 1});
    EXPECT_EQ(planes[0], filled(16, 210));
    EXPECT_EQ(planes[1], filled(16, 100));
    EXPECT_EQ(planes[2], filled(16, 45));
    // The common factor multiplies the gains only.
    planes = corrected({0.5, 10, 0.5, -20, 0.5, 5, 2});
    EXPECT_EQ(planes[0], filled(16, 210));
    EXPECT_EQ(planes[1], filled(16, 100));
    EXPECT_EQ(planes[2], filled(16, 45));
}

TEST_F(BayerConvert, IntensityWeighsTheCorrectedChannels) {
    const uint8_t colour[3] = {200, 120, 40};
    Buffer src(make_raw(4, 4, uniform_mosaic(4, 4, 0, colour), 0));
    descriptor(src.handle()).colorCorrection[0] = 0.5;
    Buffer dst(make_packed(4, 4, 1));
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), kToI), 1);
    // 0.299 x 100 + 0.587 x 120 + 0.114 x 40 = 104.9.
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), filled(16, 105));
}

// ---------------------------------------------------------------------------
// Destination line pitch

TEST_F(BayerConvert, PaddedIntensityDestinationReceivesThePackedRowsBackToBack) {
    std::vector<uint8_t> raw(5 * 4);
    for (size_t i = 0; i < raw.size(); ++i) raw[i] = uint8_t(11 * i + 3);
    Buffer src(make_raw(5, 4, raw, 0));
    Buffer packed(make_packed(5, 4, 1));
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), packed.slot(), kToI), 1);
    const std::vector<uint8_t> expected = read_plane<uint8_t>(packed.handle(), 0);

    Buffer padded(make_image(5, 4, 1, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_ALIGN(16)));
    ASSERT_EQ(attribute(padded.handle(), BASE_ATTR_PITCH), 16);
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), padded.slot(), kToI), 1);

    int32_t pitch = 0;
    void* memory = nullptr;
    ASSERT_EQ(IPL_GetPtrEx(padded.handle(), BASE_MODE_READ, 0, 0, 0, 0, 0, 5, 4, &pitch, &memory),
              1);
    ASSERT_EQ(pitch, 16);
    const uint8_t* bytes = static_cast<const uint8_t*>(memory);
    // The 20 grey values lie back to back from the first byte on, running
    // through the padding; the rest of the plane stays as allocated.
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 20), expected);
    EXPECT_EQ(std::vector<uint8_t>(bytes + 20, bytes + 64), filled(44, 0));
    ASSERT_EQ(IPL_ReleasePtrEx(padded.handle(), BASE_MODE_READ, 0, 0, 0, 0, 0, 5, 4, memory), 1);

    // So line 1 of the image holds packed values 16..20, lines 2 and 3 zeros.
    const std::vector<uint8_t> lines = read_plane<uint8_t>(padded.handle(), 0);
    EXPECT_EQ(std::vector<uint8_t>(lines.begin(), lines.begin() + 5),
              std::vector<uint8_t>(expected.begin(), expected.begin() + 5));
    EXPECT_EQ(std::vector<uint8_t>(lines.begin() + 5, lines.begin() + 9),
              std::vector<uint8_t>(expected.begin() + 16, expected.end()));
    EXPECT_EQ(std::vector<uint8_t>(lines.begin() + 10, lines.end()), filled(10, 0));
}

TEST_F(BayerConvert, CreatedIntensityDestinationGetsAllRowsInItsFirstLine) {
    // The host pads a new buffer's lines to 64 bytes: the 16 grey values of a
    // 4 x 4 image all land in line 0's memory, and lines 1..3 stay zero.
    Buffer src(make_raw(4, 4, edge_mosaic(), 0));
    Buffer dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), kToI), 1);
    ASSERT_EQ(attribute(dst.handle(), BASE_ATTR_PITCH), 64);
    int32_t pitch = 0;
    void* memory = nullptr;
    ASSERT_EQ(IPL_GetPtrEx(dst.handle(), BASE_MODE_READ, 0, 0, 0, 0, 0, 4, 4, &pitch, &memory), 1);
    const uint8_t* bytes = static_cast<const uint8_t*>(memory);
    for (size_t i = 0; i < 16; ++i)
        EXPECT_EQ(bytes[i], grey(kEdgeRGB[i][0], kEdgeRGB[i][1], kEdgeRGB[i][2])) << "byte " << i;
    ASSERT_EQ(IPL_ReleasePtrEx(dst.handle(), BASE_MODE_READ, 0, 0, 0, 0, 0, 4, 4, memory), 1);
    const std::vector<uint8_t> lines = read_plane<uint8_t>(dst.handle(), 0);
    EXPECT_EQ(std::vector<uint8_t>(lines.begin() + 4, lines.end()), filled(12, 0));
}

TEST_F(BayerConvert, PaddedRgbDestinationKeepsItsLines) {
    std::vector<uint8_t> raw(5 * 4);
    for (size_t i = 0; i < raw.size(); ++i) raw[i] = uint8_t(13 * i + 7);
    Buffer src(make_raw(5, 4, raw, 2));
    Buffer packed(make_image(5, 4, 3, BASE_TYPE_U8));
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), packed.slot(), kToRGB), 1);
    Buffer padded(make_image(5, 4, 3, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_ALIGN(24)));
    ASSERT_EQ(attribute(padded.handle(), BASE_ATTR_PITCH), 24);
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), padded.slot(), kToRGB), 1);
    for (int32_t p = 0; p < 3; ++p)
        EXPECT_EQ(read_plane<uint8_t>(padded.handle(), p), read_plane<uint8_t>(packed.handle(), p))
            << "plane " << p;
}

// ---------------------------------------------------------------------------
// Failures

TEST_F(BayerConvert, RawToYuvAlwaysFailsAfterBothBuffersPassTheirChecks) {
    const uint8_t colour[3] = {200, 120, 40};
    Buffer src(make_raw(4, 4, uniform_mosaic(4, 4, 0, colour), 0));
    Buffer dst(make_image(4, 4, 3, BASE_TYPE_U8));
    // No code of its own: the entry reports the one the host holds.
    IPL_SetErrorCode(kHeld);
    EXPECT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), kToYUV), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), kHeld);
    IPL_SetErrorCode(kHeld);
    EXPECT_EQ(run_kernel(src.handle(), dst.handle(), kToYUV), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), kHeld);
    for (int32_t p = 0; p < 3; ++p) EXPECT_EQ(read_plane<uint8_t>(dst.handle(), p), filled(16, 0));
    // The checks do run first.
    EXPECT_EQ(run_kernel(src.handle(), 0x7FFFFFF0, kToYUV), COL_ERR_NO_BUFFER);
    Buffer empty(make_image(4, 4, 3, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA));
    EXPECT_EQ(run_kernel(src.handle(), empty.handle(), kToYUV), COL_ERR_BAYER_MEMORY);
    // Whatever the failed call took is back with the host.
    EXPECT_EQ(free_now(dst), 1);
    EXPECT_EQ(free_now(src), 1);
}

TEST_F(BayerConvert, SixteenBitTypesFailWithoutACodeOfTheirOwn) {
    Buffer src(make_raw(4, 4, filled(16, 9), 0));
    Buffer dst(make_image(4, 4, 3, BASE_TYPE_U8));
    const int32_t pairs[][2] = {{BASE_TYPE_S16, BASE_TYPE_U8}, {BASE_TYPE_U8, BASE_TYPE_U16},
                                {BASE_TYPE_U16, BASE_TYPE_U16}, {BASE_TYPE_S8, BASE_TYPE_S16},
                                {0, BASE_TYPE_U8},  {BASE_TYPE_U8, BASE_TYPE_S32}};
    for (const auto& pair : pairs) {
        SCOPED_TRACE(testing::Message() << pair[0] << " to " << pair[1]);
        IPL_SetErrorCode(kHeld);
        EXPECT_EQ(run_kernel(src.handle(), dst.handle(), kToRGB, pair[0], pair[1]), 0);
        EXPECT_EQ(IPL_GetErrorCode2(), kHeld);
    }
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), filled(16, 0));

    // Through the entry a mixed pair is refused before the Bayer path ...
    Buffer wide(make_image(4, 4, 3, BASE_TYPE_U16));
    EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE, COL_ConvertColorSpace(src.handle(), wide.slot(), kToRGB));
    // ... and a 16-bit pair reaches it and fails with the host's code.
    Buffer wideSrc(make_image(4, 4, 1, BASE_TYPE_U16));
    IPL_SetErrorCode(kHeld);
    EXPECT_EQ(COL_ConvertColorSpace(wideSrc.handle(), wide.slot(), kToRGB), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), kHeld);
}

TEST_F(BayerConvert, SixteenBitInstancesExistAndConvertNothing) {
    Buffer src(make_image(4, 4, 1, BASE_TYPE_S16));
    Buffer rgb(make_image(4, 4, 3, BASE_TYPE_U16));
    Buffer grey16(make_image(4, 4, 1, BASE_TYPE_S16));
    IPL_SetErrorCode(kHeld);
    EXPECT_EQ(ozu::tmpl_convert_bm(src.handle(), rgb.handle(), int32_t(kToRGB),
                                   static_cast<int16_t*>(nullptr), static_cast<uint16_t*>(nullptr)),
              0);
    EXPECT_EQ(ozu::tmpl_convert_bm(src.handle(), grey16.handle(), int32_t(kToI),
                                   static_cast<int16_t*>(nullptr), static_cast<int16_t*>(nullptr)),
              0);
    EXPECT_EQ(IPL_GetErrorCode2(), kHeld);
    // The same checks run in every instance.
    EXPECT_THROW(ozu::tmpl_convert_bm(0x7FFFFFF0, rgb.handle(), int32_t(kToRGB),
                                      static_cast<uint16_t*>(nullptr),
                                      static_cast<int8_t*>(nullptr)),
                 int);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_NO_BUFFER);
    EXPECT_EQ(free_now(src), 1);
    EXPECT_EQ(free_now(rgb), 1);
}

TEST_F(BayerConvert, MissingBufferRaisesMinus107) {
    Buffer src(make_raw(4, 4, filled(16, 9), 0));
    Buffer dst(make_image(4, 4, 3, BASE_TYPE_U8));
    IPL_SetErrorCode(0);
    EXPECT_EQ(run_kernel(src.handle(), 0x7FFFFFF0, kToRGB), COL_ERR_NO_BUFFER);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_NO_BUFFER);
    IPL_SetErrorCode(0);
    EXPECT_EQ(run_kernel(0x7FFFFFF0, dst.handle(), kToRGB), COL_ERR_NO_BUFFER);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_NO_BUFFER);
    // A handle of -1 is no buffer at all and fails quietly.
    IPL_SetErrorCode(kHeld);
    EXPECT_EQ(run_kernel(-1, dst.handle(), kToRGB), 0);
    EXPECT_EQ(run_kernel(src.handle(), -1, kToRGB), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), kHeld);
}

TEST_F(BayerConvert, BufferWithoutPixelDataRaisesMinus105) {
    Buffer emptySrc(make_image(4, 4, 1, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA));
    Buffer dst(make_image(4, 4, 3, BASE_TYPE_U8));
    EXPECT_COL_ERROR(COL_ERR_BAYER_MEMORY,
                     COL_ConvertColorSpace(emptySrc.handle(), dst.slot(), kToRGB));

    Buffer src(make_raw(4, 4, filled(16, 9), 0));
    Buffer emptyDst(make_image(4, 4, 1, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA));
    EXPECT_COL_ERROR(COL_ERR_BAYER_MEMORY,
                     COL_ConvertColorSpace(src.handle(), emptyDst.slot(), kToI));
    // The source is checked in full before the destination.
    IPL_SetErrorCode(0);
    EXPECT_EQ(run_kernel(emptySrc.handle(), 0x7FFFFFF0, kToRGB), COL_ERR_BAYER_MEMORY);
    EXPECT_EQ(free_now(src), 1);
}

TEST_F(BayerConvert, WrongPlanesSizesOrCodeFailQuietly) {
    Buffer src(make_raw(4, 4, filled(16, 9), 0));
    Buffer colourSrc(make_image(4, 4, 3, BASE_TYPE_U8));
    Buffer rgb(make_image(4, 4, 3, BASE_TYPE_U8));
    Buffer grey1(make_image(4, 4, 1, BASE_TYPE_U8));
    Buffer narrow(make_image(3, 4, 3, BASE_TYPE_U8));
    Buffer low(make_image(4, 3, 3, BASE_TYPE_U8));
    Buffer lowGrey(make_image(4, 3, 1, BASE_TYPE_U8));
    IPL_SetErrorCode(kHeld);
    EXPECT_EQ(run_kernel(colourSrc.handle(), rgb.handle(), kToRGB), 0);
    EXPECT_EQ(run_kernel(src.handle(), grey1.handle(), kToRGB), 0);
    EXPECT_EQ(run_kernel(src.handle(), rgb.handle(), kToI), 0);
    EXPECT_EQ(run_kernel(src.handle(), grey1.handle(), kToYUV), 0);
    EXPECT_EQ(run_kernel(src.handle(), narrow.handle(), kToRGB), 0);
    EXPECT_EQ(run_kernel(src.handle(), low.handle(), kToRGB), 0);
    EXPECT_EQ(run_kernel(src.handle(), lowGrey.handle(), kToI), 0);
    // A code the path does not serve, after the source has been wrapped.
    EXPECT_EQ(run_kernel(src.handle(), rgb.handle(), COL_CODE(COL_BAYER, COL_HSV)), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), kHeld);
    EXPECT_EQ(read_plane<uint8_t>(rgb.handle(), 0), filled(16, 0));
    EXPECT_EQ(free_now(src), 1);
    EXPECT_EQ(free_now(rgb), 1);
}

TEST_F(BayerConvert, ConverterExceptionReachesTheEntryFrame) {
    // One pixel wide or high is below what the converter demosaics.
    const int32_t sizes[][2] = {{1, 4}, {4, 1}};
    for (const auto& size : sizes) {
        for (uint32_t code : {kToRGB, kToI}) {
            SCOPED_TRACE(testing::Message() << size[0] << "x" << size[1] << " code " << code);
            Buffer src(make_raw(size[0], size[1], filled(4, 50), 0));
            Buffer dst;
            IPL_SetErrorCode(0);
            errno = 0;
            EXPECT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), code), 0);
            EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_UNKNOWN);
            EXPECT_EQ(errno, 0);
            // The kernel itself lets the converter's exception through.
            EXPECT_THROW(run_kernel(src.handle(), dst.handle(), code), std::invalid_argument);
            // Nothing is left out: both buffers go back at once.
            EXPECT_EQ(free_now(dst), 1);
            EXPECT_EQ(free_now(src), 1);
        }
    }
}

TEST_F(BayerConvert, SuccessHandsEverythingBack) {
    const uint8_t colour[3] = {10, 20, 30};
    Buffer src(make_raw(6, 6, uniform_mosaic(6, 6, 1, colour), 1));
    Buffer rgb;
    Buffer grey1;
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), rgb.slot(), kToRGB), 1);
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), grey1.slot(), kToI), 1);
    EXPECT_EQ(free_now(rgb), 1);
    EXPECT_EQ(free_now(grey1), 1);
    EXPECT_EQ(free_now(src), 1);
}

// ---------------------------------------------------------------------------
// Large images, converted band by band

// The host's converter run once over the whole mosaic, as the reference of
// the banded conversion: packed RGB32 (4 bytes a pixel) or grey.
std::vector<uint8_t> whole_image_demosaic(const std::vector<uint8_t>& raw, int32_t width,
                                          int32_t height, int32_t parity, bool rgb,
                                          const double (&lut)[6]) {
    const int32_t bytes = rgb ? 4 : 1;
    std::vector<uint8_t> packed(size_t(width) * size_t(height) * size_t(bytes));
    CLPIMAGE in(static_cast<TIMAGE*>(std::calloc(1, sizeof(TIMAGE))));
    CLPIMAGE out(static_cast<TIMAGE*>(std::calloc(1, sizeof(TIMAGE))));
    EXPECT_EQ(in.setImage(const_cast<uint8_t*>(raw.data()), width, height, width, 8, 0), 0);
    EXPECT_EQ(out.setImage(packed.data(), width, height, width * bytes, 8 * bytes, 0), 0);
    CBMConvert converter;
    converter.SetParity(parity);
    converter.SetupLUTs(lut[0], lut[1], lut[2], lut[3], lut[4], lut[5]);
    if (rgb) {
        converter.RawToRGB32(in.lpi(), out.lpi());
    } else {
        converter.RawToMono8(in.lpi(), out.lpi());
    }
    return packed;
}

// Heights around the band boundaries: the last band full, one line long,
// one line short, and the largest image still converted whole.
std::vector<int32_t> band_heights(int32_t lineBytes) {
    const auto lines = int32_t(ozu::bayer_band_bytes() / size_t(lineBytes)) & ~1;
    return {2 * lines, 2 * lines + 1, 2 * lines + 2, 3 * lines + 1, 3 * lines + 2, 5 * lines - 1};
}

TEST_F(BayerConvert, BandedRgbEqualsTheWholeImageDemosaic) {
    // Every colour, cell and line of band edges is reached: random pixels,
    // all four parities, the identity tables (the vector stores) and gains
    // and offsets away from the identity (the table lookups).
    constexpr int32_t kWidth = 1030;
    const double corrections[2][7] = {{1.0, 0.0, 1.0, 0.0, 1.0, 0.0, 1.0},
                                      {0.4, 3.0, 0.55, -2.0, 0.65, 0.0, 2.0}};
    const double luts[2][6] = {{1.0, 0.0, 1.0, 0.0, 1.0, 0.0}, {0.8, 3.0, 1.1, -2.0, 1.3, 0.0}};
    std::mt19937 random(7);
    for (int32_t tables = 0; tables < 2; ++tables) {
        for (int32_t height : band_heights(4 * kWidth)) {
            for (int32_t parity = 0; parity < 4; ++parity) {
                SCOPED_TRACE(testing::Message() << "tables " << tables << " height " << height
                                                << " parity " << parity);
                std::vector<uint8_t> raw(size_t(kWidth) * size_t(height));
                for (auto& v : raw) v = uint8_t(random());
                Buffer src(make_raw(kWidth, height, raw, parity));
                for (int k = 0; k < 7; ++k)
                    descriptor(src.handle()).colorCorrection[k] = corrections[tables][k];
                Buffer dst;
                ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), kToRGB), 1);
                const auto packed =
                    whole_image_demosaic(raw, kWidth, height, parity, true, luts[tables]);
                for (int32_t p = 0; p < 3; ++p) {
                    const auto plane = read_plane<uint8_t>(dst.handle(), p);
                    ASSERT_EQ(plane.size(), raw.size());
                    for (size_t i = 0; i < plane.size(); ++i)
                        ASSERT_EQ(plane[i], packed[4 * i + size_t(p)])
                            << "plane " << p << " line " << i / kWidth << " column "
                            << i % kWidth;
                }
            }
        }
    }
}

TEST_F(BayerConvert, BandedIntensityEqualsTheWholeImageDemosaic) {
    constexpr int32_t kWidth = 2050;
    const double lut[6] = {1.0, 0.0, 1.0, 0.0, 1.0, 0.0};
    std::mt19937 random(11);
    for (int32_t height : band_heights(kWidth)) {
        for (int32_t parity = 0; parity < 4; ++parity) {
            SCOPED_TRACE(testing::Message() << "height " << height << " parity " << parity);
            std::vector<uint8_t> raw(size_t(kWidth) * size_t(height));
            for (auto& v : raw) v = uint8_t(random());
            Buffer src(make_raw(kWidth, height, raw, parity));
            // Packed lines, so that the block copy lands line for line.
            Buffer dst(make_packed(kWidth, height, 1));
            ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), kToI), 1);
            const auto packed = whole_image_demosaic(raw, kWidth, height, parity, false, lut);
            EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), packed);
        }
    }
}

TEST_F(BayerConvert, BandedIntensityIntoAPaddedDestinationIsStillOneBlock) {
    // The rows of every band follow the previous band's without a gap.
    constexpr int32_t kWidth = 2050;
    const double lut[6] = {1.0, 0.0, 1.0, 0.0, 1.0, 0.0};
    const int32_t height = band_heights(kWidth)[3];
    std::vector<uint8_t> raw(size_t(kWidth) * size_t(height));
    std::mt19937 random(13);
    for (auto& v : raw) v = uint8_t(random());
    Buffer src(make_raw(kWidth, height, raw, 0));
    Buffer dst(make_image(kWidth, height, 1, BASE_TYPE_U8));
    const int32_t pitch = attribute(dst.handle(), BASE_ATTR_PITCH);
    ASSERT_GT(pitch, kWidth);
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), kToI), 1);
    const auto packed = whole_image_demosaic(raw, kWidth, height, 0, false, lut);
    // The plane as it lies in memory, pitch by pitch.
    void* pointer = nullptr;
    int32_t linePitch = 0;
    ASSERT_EQ(IPL_GetPtrEx(dst.handle(), BASE_MODE_READ, 0, 0, 0, 0, 0, kWidth, height, &linePitch,
                           &pointer),
              1);
    const auto* memory = static_cast<const uint8_t*>(pointer);
    EXPECT_EQ(std::vector<uint8_t>(memory, memory + packed.size()), packed);
    IPL_ReleasePtrEx(dst.handle(), BASE_MODE_READ, 0, 0, 0, 0, 0, kWidth, height, pointer);
}

}  // namespace
