// COL_Threshold: the four modes, the copy and conversion paths (8-bit and
// 16-bit sources), the checks in their order, and that every temporary
// buffer is gone after a success and after each failure.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "test_support.h"

namespace {

using ozu_test::Buffer;
using ozu_test::make_image;
using ozu_test::read_plane;
using ozu_test::write_plane;

struct Pixel {
    int c[3];
};

// Ranges used by most tests: channel 0 in 100..200, 1 in 50..150, 2 in 0..10.
constexpr uint32_t kLow0 = 100, kHigh0 = 200, kLow1 = 50, kHigh1 = 150, kLow2 = 0, kHigh2 = 10;

// Six pixels: all channels in range (twice, at the bounds), some, none.
const std::vector<Pixel> kPixels = {
    {{150, 100, 5}},   // all in
    {{150, 100, 20}},  // channel 2 out
    {{99, 49, 11}},    // none in
    {{200, 150, 10}},  // all in, at the upper bounds
    {{201, 151, 0}},   // only channel 2 in
    {{100, 50, 0}},    // all in, at the lower bounds
};
const std::vector<uint8_t> kAllIn = {255, 0, 0, 255, 0, 255};
const std::vector<uint8_t> kAnyIn = {255, 255, 0, 255, 255, 255};

std::vector<uint8_t> inverted(std::vector<uint8_t> v) {
    for (auto& b : v) b = uint8_t(~b);
    return v;
}

// A three-plane image of `pixels` in one line, in every block.
template <class T>
int32_t image_of(const std::vector<Pixel>& pixels, int32_t type, int32_t ext2 = 1,
                 int32_t ext3 = 1) {
    const int32_t h = make_image(int32_t(pixels.size()), 1, 3, type, ext2, ext3);
    for (int p = 0; p < 3; ++p) {
        std::vector<T> plane;
        for (const Pixel& px : pixels) plane.push_back(T(px.c[p]));
        for (int32_t j = 0; j < ext3; ++j)
            for (int32_t i = 0; i < ext2; ++i) write_plane<T>(h, p, plane, i, j);
    }
    return h;
}

int32_t rgb8(const std::vector<Pixel>& pixels) { return image_of<uint8_t>(pixels, BASE_TYPE_U8); }

int32_t run(int32_t src, int32_t* dst, int32_t mode, int32_t srcSpace = COL_RGB,
            int32_t thrSpace = COL_RGB) {
    return COL_Threshold(src, dst, srcSpace, thrSpace, kLow0, kHigh0, kLow1, kHigh1, kLow2,
                         kHigh2, mode);
}

// ---- Results --------------------------------------------------------------

TEST(Threshold, ModeZeroSelectsPixelsWithEveryChannelInRange) {
    Buffer src(rgb8(kPixels));
    Buffer dst;
    ASSERT_EQ(run(src.handle(), dst.slot(), 0), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), kAllIn);
}

TEST(Threshold, ModeOneSelectsPixelsWithAnyChannelInRange) {
    Buffer src(rgb8(kPixels));
    Buffer dst;
    ASSERT_EQ(run(src.handle(), dst.slot(), 1), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), kAnyIn);
}

TEST(Threshold, ModeTwoInvertsTheAllChannelsMask) {
    Buffer src(rgb8(kPixels));
    Buffer dst;
    ASSERT_EQ(run(src.handle(), dst.slot(), 2), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), inverted(kAllIn));
}

TEST(Threshold, ModeThreeInvertsTheAnyChannelMask) {
    Buffer src(rgb8(kPixels));
    Buffer dst;
    ASSERT_EQ(run(src.handle(), dst.slot(), 3), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), inverted(kAnyIn));
}

TEST(Threshold, ModeTwoOnAnImageWhollyInsideGivesZerosWhereModeZeroGives255) {
    const std::vector<Pixel> inside = {{{150, 100, 5}}, {{100, 50, 0}}, {{200, 150, 10}}};
    Buffer src(rgb8(inside));
    Buffer plain;
    Buffer inverse;
    ASSERT_EQ(run(src.handle(), plain.slot(), 0), 1);
    ASSERT_EQ(run(src.handle(), inverse.slot(), 2), 1);
    EXPECT_EQ(read_plane<uint8_t>(plain.handle(), 0), std::vector<uint8_t>(3, 255));
    EXPECT_EQ(read_plane<uint8_t>(inverse.handle(), 0), std::vector<uint8_t>(3, 0));
}

TEST(Threshold, FullRangesAcceptEveryValue) {
    const std::vector<Pixel> any = {{{0, 0, 0}}, {{255, 255, 255}}, {{0, 128, 255}}};
    Buffer src(rgb8(any));
    Buffer dst;
    ASSERT_EQ(COL_Threshold(src.handle(), dst.slot(), COL_RGB, COL_RGB, 0, 255, 0, 255, 0, 255, 0),
              1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), std::vector<uint8_t>(3, 255));
}

TEST(Threshold, ASigned8BitDestinationReceivesTheSameBytes) {
    Buffer src(rgb8(kPixels));
    Buffer dst(make_image(int32_t(kPixels.size()), 1, 1, BASE_TYPE_S8));
    int32_t h = dst.handle();
    ASSERT_EQ(run(src.handle(), &h, 0), 1);
    EXPECT_EQ(h, dst.handle());
    std::vector<int8_t> want;
    for (uint8_t b : kAllIn) want.push_back(int8_t(b));  // 255 reads as -1
    EXPECT_EQ(read_plane<int8_t>(dst.handle(), 0), want);
}

TEST(Threshold, CreatesAnUnsigned8BitOnePlaneDestinationOfTheSourceGeometry) {
    Buffer src(image_of<uint8_t>(kPixels, BASE_TYPE_U8, 2, 3));
    Buffer dst;
    ASSERT_EQ(run(src.handle(), dst.slot(), 0), 1);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_PLANES), 1);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_TYPE), BASE_TYPE_U8);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_WIDTH), int32_t(kPixels.size()));
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_HEIGHT), 1);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_EXT2), 2);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_EXT3), 3);
    // Every block is thresholded.
    for (int32_t j = 0; j < 3; ++j)
        for (int32_t i = 0; i < 2; ++i)
            EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0, i, j), kAllIn) << i << ", " << j;
}

TEST(Threshold, ThresholdsInTheConvertedColourSpace) {
    // Red and green RGB pixels: in HSV, red has hue 0 and green hue 85, both
    // saturation and value 255. A hue range of 0..10 keeps only red.
    const std::vector<Pixel> rgb = {{{255, 0, 0}}, {{0, 255, 0}}, {{250, 5, 5}}};
    Buffer src(rgb8(rgb));
    Buffer dst;
    ASSERT_EQ(COL_Threshold(src.handle(), dst.slot(), COL_RGB, COL_HSV, 0, 10, 200, 255, 200, 255,
                            0),
              1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), (std::vector<uint8_t>{255, 0, 255}));

    // The same against the converted image that COL_ConvertColorSpace gives.
    Buffer hsv;
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), hsv.slot(), COL_CODE(COL_RGB, COL_HSV)), 1);
    const auto h = read_plane<uint8_t>(hsv.handle(), 0);
    const auto s = read_plane<uint8_t>(hsv.handle(), 1);
    const auto v = read_plane<uint8_t>(hsv.handle(), 2);
    for (size_t k = 0; k < rgb.size(); ++k) {
        const bool in = h[k] <= 10 && s[k] >= 200 && v[k] >= 200;
        EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0)[k], in ? 255 : 0) << k;
    }
}

TEST(Threshold, EqualSpacesCopyASixteenBitSourceDownToEightBits) {
    // The copy rescales by range, rounding: 65535 / 255 = 257, so v becomes
    // round(v / 257): 25700 -> 100, 25572 -> 99.502 -> 100, 25571 -> 99.498
    // -> 99, 51400 -> 200, 51529 -> 200.502 -> 201.
    const std::vector<Pixel> wide = {
        {{25700, 12850, 0}},      // (100, 50, 0): all in
        {{25572, 12850, 0}},      // channel 0 rounds up to 100: all in
        {{25571, 12850, 0}},      // channel 0 rounds down to 99: out
        {{51400, 38550, 2570}},   // (200, 150, 10): all in
        {{51529, 38550, 2570}},   // channel 0 201: out
        {{65535, 65535, 65535}},  // (255, 255, 255): out
    };
    Buffer src(image_of<uint16_t>(wide, BASE_TYPE_U16));
    Buffer dst;
    ASSERT_EQ(run(src.handle(), dst.slot(), 0), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0),
              (std::vector<uint8_t>{255, 255, 0, 255, 0, 0}));
}

TEST(Threshold, ASixteenBitSourceInAnotherSpaceIsRefusedByTheConversion) {
    const int32_t before = BASE_BufferCount();
    Buffer src(image_of<uint16_t>(kPixels, BASE_TYPE_U16));
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE, run(src.handle(), dst.slot(), 0, COL_RGB, COL_HSV));
    // The destination made on request survives; every temporary is gone.
    ASSERT_NE(dst.handle(), -1);
    EXPECT_EQ(BASE_IsBufferExistent(dst.handle()), 1);
    EXPECT_EQ(BASE_BufferCount(), before + 2);
    // Signed 16-bit likewise.
    Buffer signedSrc(image_of<int16_t>(kPixels, BASE_TYPE_S16));
    int32_t h = dst.handle();
    EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE, run(signedSrc.handle(), &h, 0, COL_YUV, COL_RGB));
    EXPECT_EQ(BASE_BufferCount(), before + 3);
}

TEST(Threshold, ASigned8BitSourceIsConvertedIntoTheUnsignedWorkingImage) {
    // Signed to unsigned 8-bit is a conversion the colour-space call
    // accepts; the copy rescales 127 to 255 and clamps negatives to 0.
    const std::vector<Pixel> small = {{{127, 127, 127}}, {{-5, 60, 3}}, {{64, 32, 2}}};
    Buffer src(image_of<int8_t>(small, BASE_TYPE_S8));
    Buffer copied;
    ASSERT_EQ(COL_Threshold(src.handle(), copied.slot(), COL_RGB, COL_RGB, 120, 255, 0, 255, 0,
                            255, 0),
              1);
    // 127 -> 255, -5 -> 0, 64 -> 128.5 -> 129.
    EXPECT_EQ(read_plane<uint8_t>(copied.handle(), 0), (std::vector<uint8_t>{255, 0, 255}));
    Buffer converted;
    ASSERT_EQ(COL_Threshold(src.handle(), converted.slot(), COL_RGB, COL_CMY, 0, 254, 0, 255, 0,
                            255, 0),
              1);
    EXPECT_EQ(ozu_test::attribute(converted.handle(), BASE_ATTR_TYPE), BASE_TYPE_U8);
}

// ---- Temporaries ----------------------------------------------------------

TEST(ThresholdBuffers, ASuccessLeavesNoTemporaryBehind) {
    Buffer src(rgb8(kPixels));
    Buffer dst(make_image(int32_t(kPixels.size()), 1, 1, BASE_TYPE_U8));
    for (int32_t mode = 0; mode < 4; ++mode) {
        for (int32_t space : {COL_RGB, COL_HSV, COL_YUV}) {
            const int32_t before = BASE_BufferCount();
            int32_t h = dst.handle();
            ASSERT_EQ(run(src.handle(), &h, mode, COL_RGB, space), 1) << mode << ", " << space;
            EXPECT_EQ(BASE_BufferCount(), before) << mode << ", " << space;
        }
    }
}

TEST(ThresholdBuffers, AFailedCopyFreesTheConvertedImage) {
    // A source without pixel memory passes the checks; the copy fails.
    Buffer src(make_image(6, 1, 3, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA));
    Buffer dst(make_image(6, 1, 1, BASE_TYPE_U8));
    const int32_t before = BASE_BufferCount();
    int32_t h = dst.handle();
    EXPECT_COL_ERROR(BASE_ERR_REGION, run(src.handle(), &h, 0));
    EXPECT_EQ(BASE_BufferCount(), before);
}

TEST(ThresholdBuffers, AFailedConversionFreesTheConvertedImage) {
    Buffer src(make_image(6, 1, 3, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA));
    Buffer dst(make_image(6, 1, 1, BASE_TYPE_U8));
    const int32_t before = BASE_BufferCount();
    int32_t h = dst.handle();
    // The conversion's pointer request fails; its code comes through as is.
    EXPECT_COL_ERROR(BASE_ERR_REGION, run(src.handle(), &h, 0, COL_RGB, COL_YIQ));
    EXPECT_EQ(BASE_BufferCount(), before);
}

TEST(ThresholdBuffers, AFailedCombinationFreesTheViewsTheTableAndTheConvertedImage) {
    // A destination without pixel memory passes every check; the first
    // combination into it fails when all five temporaries exist.
    Buffer src(rgb8(kPixels));
    Buffer dst(make_image(int32_t(kPixels.size()), 1, 1, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE,
                          BASE_ALLOC_NO_DATA));
    const int32_t before = BASE_BufferCount();
    for (int32_t mode = 0; mode < 4; ++mode) {
        int32_t h = dst.handle();
        EXPECT_COL_ERROR(BASE_ERR_REGION, run(src.handle(), &h, mode, COL_RGB, COL_HLS));
        EXPECT_EQ(BASE_BufferCount(), before);
    }
}

TEST(ThresholdBuffers, ADestinationMadeOnRequestSurvivesALaterFailure) {
    Buffer src(rgb8(kPixels));
    const int32_t before = BASE_BufferCount();
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_COLOR_SPACE, run(src.handle(), dst.slot(), 0, COL_I, COL_RGB));
    ASSERT_NE(dst.handle(), -1);
    EXPECT_EQ(BASE_IsBufferExistent(dst.handle()), 1);
    EXPECT_EQ(BASE_BufferCount(), before + 1);
    // It is a proper destination for the next call.
    int32_t h = dst.handle();
    ASSERT_EQ(run(src.handle(), &h, 0), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), kAllIn);
}

// ---- Checks, in order -----------------------------------------------------

TEST(ThresholdChecks, RefusesAMissingSource) {
    int32_t dst = -1;
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER, run(987654, &dst, 0));
    EXPECT_EQ(dst, -1);
}

TEST(ThresholdChecks, RefusesSourceKinds14And15BeforeThePlanes) {
    for (int32_t kind : {14, 15}) {
        Buffer src(make_image(4, 4, 1, BASE_TYPE_S32, 1, 1, kind));
        int32_t dst = -1;
        EXPECT_COL_ERROR(COL_ERR_BUFFER_KIND, run(src.handle(), &dst, 0));
        EXPECT_EQ(dst, -1);
    }
}

TEST(ThresholdChecks, AcceptsAnyOtherSourceKind) {
    Buffer src(make_image(int32_t(kPixels.size()), 1, 3, BASE_TYPE_U8, 1, 1, BASE_KIND_TABLE));
    for (int p = 0; p < 3; ++p) {
        std::vector<uint8_t> plane;
        for (const Pixel& px : kPixels) plane.push_back(uint8_t(px.c[p]));
        write_plane<uint8_t>(src.handle(), p, plane);
    }
    Buffer dst;
    ASSERT_EQ(run(src.handle(), dst.slot(), 0), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), kAllIn);
}

TEST(ThresholdChecks, RefusesASourceNotOfThreePlanesBeforeItsType) {
    for (int32_t planes : {1, 2, 4}) {
        Buffer src(make_image(4, 4, planes, BASE_TYPE_S32));
        int32_t dst = -1;
        EXPECT_COL_ERROR(COL_ERR_PLANES, run(src.handle(), &dst, 0));
    }
}

TEST(ThresholdChecks, RefusesASourceOfAnotherPixelTypeBeforeAllocating) {
    Buffer src(make_image(4, 4, 3, BASE_TYPE_S32));
    const int32_t before = BASE_BufferCount();
    int32_t dst = -1;
    EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE, run(src.handle(), &dst, 0));
    EXPECT_EQ(dst, -1);
    EXPECT_EQ(BASE_BufferCount(), before);
}

TEST(ThresholdChecks, RefusesAMissingDestination) {
    Buffer src(rgb8(kPixels));
    int32_t dst = 987654;
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER, run(src.handle(), &dst, 0));
}

TEST(ThresholdChecks, ChecksTheDestinationKindPlanesAndTypeInThatOrder) {
    Buffer src(rgb8(kPixels));
    for (int32_t kind : {14, 15}) {
        Buffer dst(make_image(9, 9, 3, BASE_TYPE_U16, 1, 1, kind));
        int32_t h = dst.handle();
        EXPECT_COL_ERROR(COL_ERR_BUFFER_KIND, run(src.handle(), &h, 0));
    }
    {
        Buffer dst(make_image(9, 9, 3, BASE_TYPE_U16));
        int32_t h = dst.handle();
        EXPECT_COL_ERROR(COL_ERR_PLANES, run(src.handle(), &h, 0));
    }
    for (int32_t type : {BASE_TYPE_S16, BASE_TYPE_U16, BASE_TYPE_S32}) {
        Buffer dst(make_image(9, 9, 1, type));
        int32_t h = dst.handle();
        EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE, run(src.handle(), &h, 0));
    }
}

TEST(ThresholdChecks, ComparesWidthHeightExtent3AndExtent2InThatOrder) {
    Buffer src(image_of<uint8_t>(kPixels, BASE_TYPE_U8, 2, 3));
    const int32_t w = int32_t(kPixels.size());
    const auto code_for = [&](int32_t width, int32_t height, int32_t e2, int32_t e3) {
        Buffer dst(make_image(width, height, 1, BASE_TYPE_U8, e2, e3));
        int32_t h = dst.handle();
        IPL_SetErrorCode(0);
        EXPECT_EQ(run(src.handle(), &h, 0), 0);
        return IPL_GetErrorCode2();
    };
    EXPECT_EQ(code_for(w + 1, 2, 1, 1), COL_ERR_WIDTH);
    EXPECT_EQ(code_for(w, 2, 1, 1), COL_ERR_HEIGHT);
    EXPECT_EQ(code_for(w, 1, 1, 1), COL_ERR_EXTENT3);
    EXPECT_EQ(code_for(w, 1, 1, 3), COL_ERR_EXTENT2);
}

TEST(ThresholdChecks, BufferChecksComeBeforeColourSpacesAndRanges) {
    Buffer src(rgb8(kPixels));
    Buffer dst(make_image(2, 1, 1, BASE_TYPE_U8));
    int32_t h = dst.handle();
    EXPECT_COL_ERROR(COL_ERR_WIDTH, COL_Threshold(src.handle(), &h, COL_I, 3, 9, 9, 9, 9, 9, 9, 7));
}

TEST(ThresholdChecks, RefusesIntensityCombinationsAndUnknownSpaces) {
    Buffer src(rgb8(kPixels));
    Buffer dst;
    for (int32_t bad : {COL_I, COL_RGB | COL_HSV, 0, COL_BAYER, 4096, -1}) {
        SCOPED_TRACE(bad);
        EXPECT_COL_ERROR(COL_ERR_COLOR_SPACE, run(src.handle(), dst.slot(), 0, bad, COL_RGB));
        EXPECT_COL_ERROR(COL_ERR_COLOR_SPACE, run(src.handle(), dst.slot(), 0, COL_RGB, bad));
    }
}

TEST(ThresholdChecks, AcceptsEveryThreeChannelSpaceOnBothSides) {
    Buffer src(rgb8(kPixels));
    Buffer dst;
    for (int32_t space : {COL_CMY, COL_HLS, COL_HSV, COL_RGB, COL_XYZ601, COL_XYZ709,
                          COL_XYZITU, COL_YCC, COL_YIQ, COL_YUV}) {
        EXPECT_EQ(run(src.handle(), dst.slot(), 0, COL_RGB, space), 1) << space;
        EXPECT_EQ(run(src.handle(), dst.slot(), 0, space, space), 1) << space;
    }
}

TEST(ThresholdChecks, ColourSpacesComeBeforeRanges) {
    Buffer src(rgb8(kPixels));
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_COLOR_SPACE,
                     COL_Threshold(src.handle(), dst.slot(), COL_RGB, COL_I, 5, 5, 0, 1, 0, 1, 9));
}

TEST(ThresholdChecks, RefusesALowBoundEqualToItsHighBound) {
    Buffer src(rgb8(kPixels));
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_RANGE, COL_Threshold(src.handle(), dst.slot(), COL_RGB, COL_RGB, 7, 7,
                                                  0, 255, 0, 255, 0));
    EXPECT_COL_ERROR(COL_ERR_RANGE, COL_Threshold(src.handle(), dst.slot(), COL_RGB, COL_RGB, 0,
                                                  255, 255, 255, 0, 255, 0));
    EXPECT_COL_ERROR(COL_ERR_RANGE, COL_Threshold(src.handle(), dst.slot(), COL_RGB, COL_RGB, 0,
                                                  255, 0, 255, 0, 0, 0));
    // One below is accepted.
    EXPECT_EQ(COL_Threshold(src.handle(), dst.slot(), COL_RGB, COL_RGB, 6, 7, 0, 255, 0, 255, 0),
              1);
}

TEST(ThresholdChecks, RefusesALowBoundAboveItsHighBound) {
    Buffer src(rgb8(kPixels));
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_RANGE, COL_Threshold(src.handle(), dst.slot(), COL_RGB, COL_RGB, 0,
                                                  255, 200, 100, 0, 255, 0));
}

TEST(ThresholdChecks, RefusesBoundsOf256AndNegativeOnes) {
    Buffer src(rgb8(kPixels));
    Buffer dst;
    const uint32_t minusOne = 0xFFFFFFFFu;
    EXPECT_COL_ERROR(COL_ERR_RANGE, COL_Threshold(src.handle(), dst.slot(), COL_RGB, COL_RGB, 256,
                                                  300, 0, 255, 0, 255, 0));
    EXPECT_COL_ERROR(COL_ERR_RANGE, COL_Threshold(src.handle(), dst.slot(), COL_RGB, COL_RGB, 0,
                                                  256, 0, 255, 0, 255, 0));
    EXPECT_COL_ERROR(COL_ERR_RANGE, COL_Threshold(src.handle(), dst.slot(), COL_RGB, COL_RGB,
                                                  minusOne, 255, 0, 255, 0, 255, 0));
    EXPECT_COL_ERROR(COL_ERR_RANGE, COL_Threshold(src.handle(), dst.slot(), COL_RGB, COL_RGB, 0,
                                                  255, 0, 255, minusOne, 10, 0));
}

TEST(ThresholdChecks, RefusesAModeOutsideZeroToThreeAfterTheRanges) {
    Buffer src(rgb8(kPixels));
    Buffer dst;
    for (int32_t mode : {-1, 4, 5, 256, INT32_MIN}) {
        SCOPED_TRACE(mode);
        EXPECT_COL_ERROR(COL_ERR_RANGE, run(src.handle(), dst.slot(), mode));
    }
}

}  // namespace
