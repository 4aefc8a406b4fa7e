// The conversion driver: type dispatch, chains, the walk over blocks and
// lines, locking, and the colour-space stamp.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>
#include <ozu/color_kernels.h>

#include "convert/convert_driver.h"
#include "convert/matrices.h"
#include "convert/matrix_kernels.h"
#include "test_support.h"

namespace {

using ozu_test::attribute;
using ozu_test::Buffer;
using ozu_test::make_image;
using ozu_test::read_plane;
using ozu_test::seeded_pixels;
using ozu_test::write_plane;

template <class T>
void fill_seeded(int32_t h, uint32_t seed) {
    const int32_t planes = attribute(h, BASE_ATTR_PLANES);
    const int32_t w = attribute(h, BASE_ATTR_WIDTH), ht = attribute(h, BASE_ATTR_HEIGHT);
    const int32_t e2 = attribute(h, BASE_ATTR_EXT2), e3 = attribute(h, BASE_ATTR_EXT3);
    for (int32_t j = 0; j < e3; ++j)
        for (int32_t i = 0; i < e2; ++i)
            for (int32_t p = 0; p < planes; ++p)
                write_plane<T>(h, p, seeded_pixels<T>(size_t(w) * ht, seed++), i, j);
}

TEST(ConvertDriver, UnsupportedTypePairFailsWithMinus106) {
    Buffer src(make_image(2, 2, 3, BASE_TYPE_U8));
    Buffer dst(make_image(2, 2, 3, BASE_TYPE_U8));
    int32_t h = dst.handle();
    for (auto [s, d] : {std::pair{0, 2}, std::pair{2, 5}, std::pair{6, 2}, std::pair{2, 6}}) {
        IPL_SetErrorCode(0);
        EXPECT_EQ(colk_convert(src.handle(), &h, s, d, COL_CODE(COL_RGB, COL_HSV)), 0);
        EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_PIXEL_TYPE);
    }
}

TEST(ConvertDriver, HlsToHlsCopiesThroughTwoRangeAdaptations) {
    Buffer src(make_image(7, 3, 3, BASE_TYPE_U8));
    fill_seeded<uint8_t>(src.handle(), 11);
    Buffer dst(make_image(7, 3, 3, BASE_TYPE_U8));
    int32_t h = dst.handle();
    ASSERT_EQ(colk_convert(src.handle(), &h, 2, 2, COL_CODE(COL_HLS, COL_HLS)), 1);
    for (int p = 0; p < 3; ++p)
        EXPECT_EQ(read_plane<uint8_t>(dst.handle(), p), read_plane<uint8_t>(src.handle(), p));
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_COLOR_SPACE), COL_HLS);
}

TEST(ConvertDriver, YiqToXyz601RunsTwoPlainMatrixProducts) {
    const std::vector<uint8_t> y = {0, 255, 128, 10, 200}, i = {128, 0, 255, 140, 77},
                               q = {128, 255, 0, 90, 201};
    Buffer src(make_image(5, 1, 3, BASE_TYPE_U8));
    write_plane(src.handle(), 0, y);
    write_plane(src.handle(), 1, i);
    write_plane(src.handle(), 2, q);
    Buffer dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), COL_CODE(COL_YIQ, COL_XYZ601)), 1);
    // The plain product subtracts no chroma offset from a YIQ source.
    uint8_t rgb[3][5], xyz[3][5];
    const uint8_t* in[3] = {y.data(), i.data(), q.data()};
    uint8_t* mid[3] = {rgb[0], rgb[1], rgb[2]};
    const uint8_t* midIn[3] = {rgb[0], rgb[1], rgb[2]};
    uint8_t* out[3] = {xyz[0], xyz[1], xyz[2]};
    ozu::sub3x3MatMult<uint8_t, uint8_t>(in, mid, 5, 255, 255, ozu::kYiqToRgb);
    ozu::sub3x3MatMult<uint8_t, uint8_t>(midIn, out, 5, 255, 255, ozu::kRgbToXyz601);
    for (int p = 0; p < 3; ++p)
        EXPECT_EQ(read_plane<uint8_t>(dst.handle(), p), std::vector<uint8_t>(xyz[p], xyz[p] + 5));
    // Pixel 0 is Y 0, I = Q = 128: the product of 128s, not of zeros.
    EXPECT_NE(xyz[0][0], 0);
}

TEST(ConvertDriver, YiqToRgbDirectlyUsesTheChromaKernel) {
    Buffer src(make_image(1, 1, 3, BASE_TYPE_U8));
    write_plane<uint8_t>(src.handle(), 0, {100});
    write_plane<uint8_t>(src.handle(), 1, {128});
    write_plane<uint8_t>(src.handle(), 2, {128});
    Buffer dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), COL_CODE(COL_YIQ, COL_RGB)), 1);
    // Grey: the offset 128 is removed, so R = G = B = Y.
    for (int p = 0; p < 3; ++p)
        EXPECT_EQ(read_plane<uint8_t>(dst.handle(), p), std::vector<uint8_t>{100});
}

TEST(ConvertDriver, SuccessStampsTheDestinationAndFailureLeavesItUnchanged) {
    Buffer src(make_image(3, 2, 3, BASE_TYPE_U8));
    Buffer dst(make_image(3, 2, 3, BASE_TYPE_U8));
    int32_t space = COL_CMY;
    IPL_BufControl(dst.handle(), BASE_ATTR_COLOR_SPACE, &space);
    int32_t h = dst.handle();
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), &h, COL_CODE(COL_RGB, COL_YUV)), 1);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_COLOR_SPACE), COL_YUV);

    // A destination without pixel memory passes every check of the entry but
    // refuses its pointers: the host's code comes back and the stamp stays.
    int32_t bare = -1;
    ASSERT_EQ(IPL_BufAlloc(&bare, 3, 2, 3, 1, 1, BASE_TYPE_U8, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA), 1);
    Buffer bareOwner(bare);
    IPL_BufControl(bare, BASE_ATTR_COLOR_SPACE, &space);
    EXPECT_COL_ERROR(BASE_ERR_REGION,
                     COL_ConvertColorSpace(src.handle(), &bare, COL_CODE(COL_RGB, COL_YUV)));
    EXPECT_EQ(attribute(bare, BASE_ATTR_COLOR_SPACE), COL_CMY);
    // Both buffers were unlocked again: they can be freed.
    EXPECT_EQ(BASE_BufferCount() > 0, true);
}

TEST(ConvertDriver, Unsigned16ToSigned8AdaptsWithBothRangesThenConvertsAt127) {
    // Step 1 maps 65535 -> 127 with factor trunc(127 / 65535 x 8192) = 15;
    // step 2 inverts with ranges 127, 127.
    Buffer src(make_image(3, 1, 3, BASE_TYPE_U16));
    for (int p = 0; p < 3; ++p) write_plane<uint16_t>(src.handle(), p, {65535, 0, 1000});
    Buffer dst(make_image(3, 1, 3, BASE_TYPE_S8));
    int32_t h = dst.handle();
    ASSERT_EQ(colk_convert(src.handle(), &h, 4, 1, COL_CODE(COL_RGB, COL_CMY)), 1);
    // 65535 x 15 >> 13 = 119 -> 127 - 119 = 8; 0 -> 127; 1000 x 15 >> 13 = 1 -> 126.
    for (int p = 0; p < 3; ++p)
        EXPECT_EQ(read_plane<int8_t>(dst.handle(), p), (std::vector<int8_t>{8, 127, 126}));
}

TEST(ConvertDriver, WalksEveryBlockOfBothExtents) {
    Buffer src(make_image(5, 4, 3, BASE_TYPE_U8, 2, 3));
    fill_seeded<uint8_t>(src.handle(), 5);
    Buffer dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), COL_CODE(COL_RGB, COL_CMY)), 1);
    for (int32_t j = 0; j < 3; ++j)
        for (int32_t i = 0; i < 2; ++i)
            for (int p = 0; p < 3; ++p) {
                auto in = read_plane<uint8_t>(src.handle(), p, i, j);
                auto out = read_plane<uint8_t>(dst.handle(), p, i, j);
                for (size_t k = 0; k < in.size(); ++k)
                    ASSERT_EQ(out[k], 255 - in[k]) << "block " << i << "," << j << " plane " << p;
            }
}

TEST(ConvertDriver, PaddedLinePitchesOnBothSides) {
    int32_t s = -1, d = -1;
    ASSERT_EQ(IPL_BufAlloc(&s, 13, 5, 3, 1, 1, BASE_TYPE_U16, 1, BASE_ALLOC_ALIGN(96)), 1);
    ASSERT_EQ(IPL_BufAlloc(&d, 13, 5, 1, 1, 1, BASE_TYPE_U16, 1, BASE_ALLOC_ALIGN(48)), 1);
    Buffer src(s), dst(d);
    EXPECT_EQ(attribute(s, BASE_ATTR_PITCH), 96);
    EXPECT_EQ(attribute(d, BASE_ATTR_PITCH), 48);
    fill_seeded<uint16_t>(s, 21);
    ASSERT_EQ(COL_ConvertColorSpace(s, &d, COL_CODE(COL_RGB, COL_I)), 1);
    auto r = read_plane<uint16_t>(s, 0), g = read_plane<uint16_t>(s, 1), b = read_plane<uint16_t>(s, 2);
    auto grey = read_plane<uint16_t>(d, 0);
    for (size_t k = 0; k < grey.size(); ++k) {
        const int32_t expected = (2449 * int32_t{r[k]} + 4808 * int32_t{g[k]} + 933 * int32_t{b[k]}) >> 13;
        ASSERT_EQ(grey[k], uint16_t(expected)) << k;
    }
}

TEST(ConvertDriver, ConvertsInPlace) {
    Buffer img(make_image(9, 4, 3, BASE_TYPE_U8, 2, 1));
    fill_seeded<uint8_t>(img.handle(), 3);
    Buffer copy(make_image(9, 4, 3, BASE_TYPE_U8, 2, 1));
    fill_seeded<uint8_t>(copy.handle(), 3);
    Buffer expected;
    ASSERT_EQ(COL_ConvertColorSpace(copy.handle(), expected.slot(), COL_CODE(COL_RGB, COL_HSV)), 1);
    int32_t h = img.handle();
    ASSERT_EQ(COL_ConvertColorSpace(img.handle(), &h, COL_CODE(COL_RGB, COL_HSV)), 1);
    for (int32_t i = 0; i < 2; ++i)
        for (int p = 0; p < 3; ++p)
            EXPECT_EQ(read_plane<uint8_t>(img.handle(), p, i), read_plane<uint8_t>(expected.handle(), p, i));
    EXPECT_EQ(attribute(img.handle(), BASE_ATTR_COLOR_SPACE), COL_HSV);
}

TEST(ConvertDriver, LineOfAMillionPixelsConverts) {
    constexpr int32_t kWidth = 1000000;
    Buffer src(make_image(kWidth, 1, 3, BASE_TYPE_U16));
    fill_seeded<uint16_t>(src.handle(), 99);
    Buffer dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), COL_CODE(COL_RGB, COL_CMY)), 1);
    for (int p = 0; p < 3; ++p) {
        auto in = read_plane<uint16_t>(src.handle(), p);
        auto out = read_plane<uint16_t>(dst.handle(), p);
        for (size_t k = 0; k < in.size(); ++k) ASSERT_EQ(out[k], 65535 - in[k]) << k;
    }
    // A two-step chain over the same width: YUV goes through RGB pieces.
    Buffer yuv;
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), yuv.slot(), COL_CODE(COL_HLS, COL_YUV)), 1);
    Buffer narrow(make_image(3, 1, 3, BASE_TYPE_U16));
    for (int p = 0; p < 3; ++p) {
        auto in = read_plane<uint16_t>(src.handle(), p);
        write_plane<uint16_t>(narrow.handle(), p, {in[0], in[kWidth / 2 + 7], in[kWidth - 1]});
    }
    Buffer narrowYuv;
    ASSERT_EQ(COL_ConvertColorSpace(narrow.handle(), narrowYuv.slot(), COL_CODE(COL_HLS, COL_YUV)), 1);
    for (int p = 0; p < 3; ++p) {
        auto wide = read_plane<uint16_t>(yuv.handle(), p);
        auto small = read_plane<uint16_t>(narrowYuv.handle(), p);
        EXPECT_EQ(small, (std::vector<uint16_t>{wide[0], wide[kWidth / 2 + 7], wide[kWidth - 1]}));
    }
}

TEST(ConvertDriver, BayerCellsHalveTheWidthForADirectCaller) {
    // G R / B G cells: a direct call with a half-size destination reduces each
    // 2x2 cell to one RGB pixel; the walk steps two source lines at a time.
    Buffer src(make_image(4, 2, 1, BASE_TYPE_U8));
    write_plane<uint8_t>(src.handle(), 0, {10, 20, 30, 40, /* */ 50, 60, 70, 80});
    Buffer dst(make_image(2, 1, 3, BASE_TYPE_U8));
    int32_t h = dst.handle();
    ASSERT_EQ(colk_convert(src.handle(), &h, 2, 2, COL_CODE(COL_BAYER, COL_RGB)), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), (std::vector<uint8_t>{20, 40}));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 1), (std::vector<uint8_t>{35, 55}));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 2), (std::vector<uint8_t>{50, 70}));
}

TEST(ConvertDriver, OddHeightBayerWalkReadsTheZeroSlackBelowTheBlock) {
    Buffer src(make_image(2, 3, 1, BASE_TYPE_U8));
    write_plane<uint8_t>(src.handle(), 0, {10, 20, 30, 40, 50, 60});
    Buffer dst(make_image(1, 2, 3, BASE_TYPE_U8));
    int32_t h = dst.handle();
    // Ratio 2 over height 3: source lines 0 and 2; line 2 pairs with the
    // zero slack below the block.
    ASSERT_EQ(colk_convert(src.handle(), &h, 2, 2, COL_CODE(COL_BAYER, COL_RGB)), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), (std::vector<uint8_t>{20, 60}));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 1), (std::vector<uint8_t>{25, 25}));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 2), (std::vector<uint8_t>{30, 0}));
    // A destination of height / ratio lines gets the first cell line only.
    Buffer shortDst(make_image(1, 1, 3, BASE_TYPE_U8));
    h = shortDst.handle();
    ASSERT_EQ(colk_convert(src.handle(), &h, 2, 2, COL_CODE(COL_BAYER, COL_RGB)), 1);
    EXPECT_EQ(read_plane<uint8_t>(shortDst.handle(), 0), (std::vector<uint8_t>{20}));
}

TEST(ConvertDriver, DestinationWiderThanTheSourceIsRefused) {
    Buffer src(make_image(2, 2, 3, BASE_TYPE_U8));
    Buffer dst(make_image(3, 2, 3, BASE_TYPE_U8));
    int32_t h = dst.handle();
    EXPECT_COL_ERROR(COL_ERR_WIDTH, colk_convert(src.handle(), &h, 2, 2, COL_CODE(COL_RGB, COL_HSV)));
}

TEST(ConvertDriver, MissingPlanesSkipTheStepInsteadOfWritingThroughNull) {
    // A direct caller may hand a one-plane destination to a three-plane
    // conversion: nothing is written and the walk still succeeds.
    Buffer src(make_image(2, 1, 3, BASE_TYPE_U8));
    fill_seeded<uint8_t>(src.handle(), 1);
    Buffer dst(make_image(2, 1, 1, BASE_TYPE_U8));
    int32_t h = dst.handle();
    EXPECT_EQ(colk_convert(src.handle(), &h, 2, 2, COL_CODE(COL_RGB, COL_HSV)), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), (std::vector<uint8_t>{0, 0}));
}

TEST(ConvertDriver, ReadsALineOfAnOverlappingViewBeforeWritingIt) {
    // Source and destination are views of one parent, the destination one
    // pixel to the right: each destination line covers the source line but
    // its first pixel. The line is read whole before it is written, as
    // through the intermediate lines, so every pixel is inverted once.
    constexpr int32_t kWidth = 70;
    Buffer parent(make_image(kWidth + 1, 2, 3, BASE_TYPE_U8));
    fill_seeded<uint8_t>(parent.handle(), 31);
    std::vector<uint8_t> before[3];
    for (int p = 0; p < 3; ++p) before[p] = read_plane<uint8_t>(parent.handle(), p);
    int32_t s = -1, d = -1;
    ASSERT_EQ(IPL_BufAllocChild(&s, parent.handle(), 0, 0, 0, 0, 0, kWidth, 2, 3, 1, 1), 1);
    ASSERT_EQ(IPL_BufAllocChild(&d, parent.handle(), 1, 0, 0, 0, 0, kWidth, 2, 3, 1, 1), 1);
    {
        Buffer src(s), dst(d);
        ASSERT_EQ(colk_convert(s, &d, 2, 2, COL_CODE(COL_RGB, COL_CMY)), 1);
    }
    for (int p = 0; p < 3; ++p) {
        const auto after = read_plane<uint8_t>(parent.handle(), p);
        for (int32_t y = 0; y < 2; ++y) {
            const size_t row = size_t(y) * (kWidth + 1);
            EXPECT_EQ(after[row], before[p][row]) << "plane " << p << " line " << y;
            for (int32_t x = 0; x < kWidth; ++x)
                ASSERT_EQ(after[row + x + 1], 255 - before[p][row + x])
                    << "plane " << p << " line " << y << " pixel " << x;
        }
    }
}

TEST(ConvertDriver, SameTypeRangeAdaptationOfAOnePlaneSourceLeavesOtherPlanesAsTheIntermediateHadThem) {
    // A direct caller's HLS to HLS over a one-plane source: the range
    // adaptation fills intermediate plane 0 only, planes 1 and 2 keep their
    // zeros, and the second adaptation copies all three.
    Buffer src(make_image(3, 2, 1, BASE_TYPE_U8));
    write_plane<uint8_t>(src.handle(), 0, {1, 2, 3, 4, 5, 6});
    Buffer dst(make_image(3, 2, 3, BASE_TYPE_U8));
    for (int p = 0; p < 3; ++p) write_plane<uint8_t>(dst.handle(), p, {9, 9, 9, 9, 9, 9});
    int32_t h = dst.handle();
    ASSERT_EQ(colk_convert(src.handle(), &h, 2, 2, COL_CODE(COL_HLS, COL_HLS)), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), (std::vector<uint8_t>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 1), (std::vector<uint8_t>{0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 2), (std::vector<uint8_t>{0, 0, 0, 0, 0, 0}));
}

TEST(ConvertDriver, GaplessLinesConvertAsPaddedOnesDo) {
    // Lines 64 bytes long follow one another without a gap (the host pads
    // pitches to 64 bytes) and may be converted as one run; a pitch of 96
    // keeps them apart. Both give the same bits, also where an HSV pixel
    // with an out-of-range hue sector lets the intermediate line show
    // through (HSV to YUV goes through RGB): there the previous line's pixel
    // at the same position shows, on lines 2 and 4 here.
    constexpr int32_t kW = 64, kH = 5;
    const uint32_t codes[] = {COL_CODE(COL_HSV, COL_YUV), COL_CODE(COL_RGB, COL_HSV),
                              COL_CODE(COL_RGB, COL_CMY), COL_CODE(COL_YIQ, COL_XYZ601),
                              COL_CODE(COL_HLS, COL_RGB), COL_CODE(COL_I, COL_RGB)};
    for (uint32_t code : codes) {
        const int32_t from = static_cast<int32_t>(code & 0xFFFF);
        const int32_t to = static_cast<int32_t>(code >> 16);
        const int32_t inPlanes = from == COL_I ? 1 : 3, outPlanes = to == COL_I ? 1 : 3;
        int32_t s = -1, d = -1, ps = -1, pd = -1;
        ASSERT_EQ(IPL_BufAlloc(&s, kW, kH, inPlanes, 1, 1, BASE_TYPE_U8, 1, 0), 1);
        ASSERT_EQ(IPL_BufAlloc(&d, kW, kH, outPlanes, 1, 1, BASE_TYPE_U8, 1, 0), 1);
        ASSERT_EQ(IPL_BufAlloc(&ps, kW, kH, inPlanes, 1, 1, BASE_TYPE_U8, 1, BASE_ALLOC_ALIGN(96)), 1);
        ASSERT_EQ(IPL_BufAlloc(&pd, kW, kH, outPlanes, 1, 1, BASE_TYPE_U8, 1, BASE_ALLOC_ALIGN(96)), 1);
        Buffer src(s), dst(d), paddedSrc(ps), paddedDst(pd);
        ASSERT_EQ(attribute(s, BASE_ATTR_PITCH), kW);
        ASSERT_EQ(attribute(ps, BASE_ATTR_PITCH), 96);
        for (int32_t p = 0; p < inPlanes; ++p) {
            auto pixels = seeded_pixels<uint8_t>(size_t(kW) * kH, 40 + p);
            if (from == COL_HSV && p == 0) pixels[2 * kW + 3] = pixels[4 * kW + 10] = 255;
            if (from == COL_HSV && p == 1) pixels[2 * kW + 3] = pixels[4 * kW + 10] = 200;
            write_plane<uint8_t>(s, p, pixels);
            write_plane<uint8_t>(ps, p, pixels);
        }
        int32_t h = d, hp = pd;
        ASSERT_EQ(colk_convert(s, &h, 2, 2, static_cast<int32_t>(code)), 1) << from << " -> " << to;
        ASSERT_EQ(colk_convert(ps, &hp, 2, 2, static_cast<int32_t>(code)), 1) << from << " -> " << to;
        for (int32_t p = 0; p < outPlanes; ++p)
            EXPECT_EQ(read_plane<uint8_t>(d, p), read_plane<uint8_t>(pd, p))
                << from << " -> " << to << ", plane " << p;
    }
}

TEST(ConvertDriver, TemplateInstanceIsReachableDirectly) {
    Buffer src(make_image(1, 1, 3, BASE_TYPE_S16));
    for (int p = 0; p < 3; ++p) write_plane<int16_t>(src.handle(), p, {-32768});
    Buffer dst(make_image(1, 1, 3, BASE_TYPE_S16));
    const bool done = ozu::tmpl_convert<int16_t, int16_t>(
        src.handle(), dst.handle(), static_cast<int32_t>(COL_CODE(COL_RGB, COL_CMY)), nullptr, nullptr);
    EXPECT_TRUE(done);
    // Equal ranges: 32767 - (-32768) = 65535, stored as -1.
    EXPECT_EQ(read_plane<int16_t>(dst.handle(), 0), std::vector<int16_t>{-1});
}

}  // namespace
