// COL_ConvertColorSpace: resolving the two spaces, the checks in their order,
// the destination created on request, and the hand-off to the driver.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "test_support.h"

namespace {

using ozu_test::attribute;
using ozu_test::Buffer;
using ozu_test::make_image;
using ozu_test::read_plane;
using ozu_test::write_plane;

int32_t with_space(int32_t h, int32_t space) {
    EXPECT_EQ(IPL_BufControl(h, BASE_ATTR_COLOR_SPACE, &space), 1);
    return h;
}

TEST(ConvertColorSpace, RefusesEqualSourceAndDestinationSpace) {
    // A code of 16 (high half 0) takes the source's recorded space, RGB.
    Buffer src(with_space(make_image(4, 2, 3, BASE_TYPE_U8), COL_RGB));
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_COLOR_SPACE, COL_ConvertColorSpace(src.handle(), dst.slot(), 16));
    EXPECT_EQ(dst.handle(), -1);
    EXPECT_COL_ERROR(COL_ERR_COLOR_SPACE,
                     COL_ConvertColorSpace(src.handle(), dst.slot(), COL_CODE(COL_HSV, COL_HSV)));
}

TEST(ConvertColorSpace, LowHalfAloneNamesTheDestination) {
    Buffer src(with_space(make_image(2, 1, 3, BASE_TYPE_U8), COL_RGB));
    write_plane<uint8_t>(src.handle(), 0, {255, 0});
    Buffer dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), COL_CMY), 1);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_COLOR_SPACE), COL_CMY);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), (std::vector<uint8_t>{0, 255}));
}

TEST(ConvertColorSpace, LowHalfAloneNeedsARecordedSourceSpace) {
    Buffer src(make_image(2, 1, 3, BASE_TYPE_U8));
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_COLOR_SPACE, COL_ConvertColorSpace(src.handle(), dst.slot(), COL_HSV));
    // The space is resolved before the source is looked at at all.
    EXPECT_COL_ERROR(COL_ERR_COLOR_SPACE, COL_ConvertColorSpace(0x7FFFFF00, dst.slot(), COL_HSV));
}

TEST(ConvertColorSpace, ZeroCodeWithoutDestinationFails) {
    Buffer src(with_space(make_image(2, 1, 3, BASE_TYPE_U8), COL_RGB));
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_COLOR_SPACE, COL_ConvertColorSpace(src.handle(), dst.slot(), 0));
    EXPECT_EQ(dst.handle(), -1);
}

TEST(ConvertColorSpace, ZeroCodeTakesBothSpacesFromTheBuffers) {
    Buffer src(with_space(make_image(1, 1, 3, BASE_TYPE_U8), COL_RGB));
    Buffer dst(with_space(make_image(1, 1, 1, BASE_TYPE_U8), COL_I));
    write_plane<uint8_t>(src.handle(), 0, {255});
    write_plane<uint8_t>(src.handle(), 1, {255});
    write_plane<uint8_t>(src.handle(), 2, {255});
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), 0), 1);
    // (2449 + 4808 + 933) x 255 >> 13 = 254.
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), (std::vector<uint8_t>{254}));
}

TEST(ConvertColorSpace, ZeroCodeNeedsARecordedDestinationSpace) {
    Buffer src(with_space(make_image(1, 1, 3, BASE_TYPE_U8), COL_RGB));
    Buffer dst(make_image(1, 1, 3, BASE_TYPE_U8));
    EXPECT_COL_ERROR(COL_ERR_COLOR_SPACE, COL_ConvertColorSpace(src.handle(), dst.slot(), 0));
    Buffer bare(make_image(1, 1, 3, BASE_TYPE_U8));
    Buffer dst2(with_space(make_image(1, 1, 3, BASE_TYPE_U8), COL_HSV));
    EXPECT_COL_ERROR(COL_ERR_COLOR_SPACE, COL_ConvertColorSpace(bare.handle(), dst2.slot(), 0));
}

TEST(ConvertColorSpace, MissingSourceFailsWithMinus107) {
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER,
                     COL_ConvertColorSpace(0x7FFFFF00, dst.slot(), COL_CODE(COL_RGB, COL_HSV)));
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER,
                     COL_ConvertColorSpace(-1, dst.slot(), COL_CODE(COL_RGB, COL_HSV)));
}

TEST(ConvertColorSpace, SourceOfKind14IsRefusedButKind15Accepted) {
    Buffer k14(make_image(2, 2, 3, BASE_TYPE_U8, 1, 1, 14));
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_BUFFER_KIND,
                     COL_ConvertColorSpace(k14.handle(), dst.slot(), COL_CODE(COL_RGB, COL_HSV)));
    Buffer k15(make_image(2, 2, 3, BASE_TYPE_U8, 1, 1, 15));
    Buffer dst15;
    EXPECT_EQ(COL_ConvertColorSpace(k15.handle(), dst15.slot(), COL_CODE(COL_RGB, COL_HSV)), 1);
}

TEST(ConvertColorSpace, IntensitySourceWithThreePlanesFailsWithMinus500) {
    Buffer src(make_image(2, 2, 3, BASE_TYPE_U8));
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_PLANES,
                     COL_ConvertColorSpace(src.handle(), dst.slot(), COL_CODE(COL_I, COL_RGB)));
    Buffer grey(make_image(2, 2, 1, BASE_TYPE_U8));
    EXPECT_COL_ERROR(COL_ERR_PLANES,
                     COL_ConvertColorSpace(grey.handle(), dst.slot(), COL_CODE(COL_RGB, COL_HSV)));
    EXPECT_COL_ERROR(COL_ERR_PLANES, COL_ConvertColorSpace(src.handle(), dst.slot(),
                                                           COL_CODE(COL_BAYER, COL_HSV)));
    EXPECT_EQ(dst.handle(), -1);
}

TEST(ConvertColorSpace, SourceOfProfileTypeFailsWithMinus106) {
    Buffer src(make_image(2, 2, 3, BASE_TYPE_S32));
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE,
                     COL_ConvertColorSpace(src.handle(), dst.slot(), COL_CODE(COL_RGB, COL_HSV)));
}

TEST(ConvertColorSpace, CreatesTheDestinationLikeTheSource) {
    Buffer src(make_image(5, 3, 3, BASE_TYPE_S16, 2, 3));
    Buffer dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), COL_CODE(COL_RGB, COL_I)), 1);
    ASSERT_NE(dst.handle(), -1);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_WIDTH), 5);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_HEIGHT), 3);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_PLANES), 1);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_EXT2), 2);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_EXT3), 3);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_TYPE), BASE_TYPE_S16);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_KIND), BASE_KIND_IMAGE);
    Buffer colour;
    ASSERT_EQ(COL_ConvertColorSpace(dst.handle(), colour.slot(), COL_CODE(COL_I, COL_YUV)), 1);
    EXPECT_EQ(attribute(colour.handle(), BASE_ATTR_PLANES), 3);
}

TEST(ConvertColorSpace, CreatedDestinationIsKeptWhenTheConversionFails) {
    // Bayer raw to YUV has no conversion: the destination survives the failure.
    Buffer src(make_image(4, 4, 1, BASE_TYPE_U8));
    Buffer dst;
    const int32_t before = BASE_BufferCount();
    EXPECT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), COL_CODE(COL_BAYER, COL_YUV)), 0);
    EXPECT_NE(dst.handle(), -1);
    EXPECT_EQ(BASE_IsBufferExistent(dst.handle()), 1);
    EXPECT_EQ(BASE_BufferCount(), before + 1);
}

TEST(ConvertColorSpace, MissingDestinationFailsWithMinus107) {
    Buffer src(make_image(2, 2, 3, BASE_TYPE_U8));
    int32_t dst = 0x7FFFFF00;
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER,
                     COL_ConvertColorSpace(src.handle(), &dst, COL_CODE(COL_RGB, COL_HSV)));
}

TEST(ConvertColorSpace, DestinationOfKind14Or15IsRefused) {
    Buffer src(make_image(2, 2, 3, BASE_TYPE_U8));
    for (int32_t kind : {14, 15}) {
        Buffer dst(make_image(2, 2, 3, BASE_TYPE_U8, 1, 1, kind));
        int32_t h = dst.handle();
        EXPECT_COL_ERROR(COL_ERR_BUFFER_KIND,
                         COL_ConvertColorSpace(src.handle(), &h, COL_CODE(COL_RGB, COL_HSV)));
    }
}

TEST(ConvertColorSpace, DestinationPlanesFollowTheTargetSpace) {
    Buffer src(make_image(2, 2, 3, BASE_TYPE_U8));
    Buffer three(make_image(2, 2, 3, BASE_TYPE_U8));
    int32_t h = three.handle();
    EXPECT_COL_ERROR(COL_ERR_PLANES,
                     COL_ConvertColorSpace(src.handle(), &h, COL_CODE(COL_RGB, COL_I)));
    Buffer one(make_image(2, 2, 1, BASE_TYPE_U8));
    h = one.handle();
    EXPECT_COL_ERROR(COL_ERR_PLANES,
                     COL_ConvertColorSpace(src.handle(), &h, COL_CODE(COL_RGB, COL_HSV)));
}

TEST(ConvertColorSpace, SignednessMayDifferButNotTheElementWidth) {
    Buffer src(make_image(1, 1, 3, BASE_TYPE_S8));
    write_plane<int8_t>(src.handle(), 0, {100});
    write_plane<int8_t>(src.handle(), 1, {-3});
    write_plane<int8_t>(src.handle(), 2, {127});
    Buffer u8(make_image(1, 1, 3, BASE_TYPE_U8));
    int32_t h = u8.handle();
    EXPECT_EQ(COL_ConvertColorSpace(src.handle(), &h, COL_CODE(COL_RGB, COL_CMY)), 1);
    for (int32_t type : {BASE_TYPE_S16, BASE_TYPE_U16}) {
        Buffer wide(make_image(1, 1, 3, type));
        h = wide.handle();
        EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE,
                         COL_ConvertColorSpace(src.handle(), &h, COL_CODE(COL_RGB, COL_CMY)));
    }
    Buffer profile(make_image(1, 1, 3, BASE_TYPE_S32));
    h = profile.handle();
    EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE,
                     COL_ConvertColorSpace(src.handle(), &h, COL_CODE(COL_RGB, COL_CMY)));
}

TEST(ConvertColorSpace, GeometryChecksRunWidthHeightExtent3ThenExtent2) {
    Buffer src(make_image(4, 3, 3, BASE_TYPE_U8, 2, 2));
    struct Case {
        int32_t w, h, e2, e3, code;
    };
    const Case cases[] = {
        {5, 9, 9, 9, COL_ERR_WIDTH},   {4, 9, 9, 9, COL_ERR_HEIGHT},
        {4, 3, 9, 9, COL_ERR_EXTENT3}, {4, 3, 9, 2, COL_ERR_EXTENT2},
        {4, 3, 2, 9, COL_ERR_EXTENT3},
    };
    for (const auto& c : cases) {
        Buffer dst(make_image(c.w, c.h, 3, BASE_TYPE_U8, c.e2, c.e3));
        int32_t h = dst.handle();
        EXPECT_COL_ERROR(c.code,
                         COL_ConvertColorSpace(src.handle(), &h, COL_CODE(COL_RGB, COL_HSV)));
    }
}

TEST(ConvertColorSpace, SuccessStampsTheDestinationSpace) {
    Buffer src(make_image(3, 2, 3, BASE_TYPE_U16));
    Buffer dst(with_space(make_image(3, 2, 3, BASE_TYPE_U16), COL_RGB));
    int32_t h = dst.handle();
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), &h, COL_CODE(COL_RGB, COL_YIQ)), 1);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_COLOR_SPACE), COL_YIQ);
}

TEST(ConvertColorSpace, BayerRawToHsvGoesThroughTheDriver) {
    // The Bayer path serves only RGB, YUV and intensity: raw to HSV is run by
    // the driver, which has no first step for raw data and converts its
    // (zero) intermediate lines into HSV.
    Buffer src(make_image(4, 2, 1, BASE_TYPE_U8));
    write_plane<uint8_t>(src.handle(), 0, std::vector<uint8_t>(8, 77));
    Buffer dst;
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), COL_CODE(COL_BAYER, COL_HSV)), 1);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_COLOR_SPACE), COL_HSV);
    // Black through the table path: H 44, S 0, V 0.
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), std::vector<uint8_t>(8, 44));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 1), std::vector<uint8_t>(8, 0));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 2), std::vector<uint8_t>(8, 0));
}

TEST(ConvertColorSpace, BayerRawToYuvFailsWithTheHostsCurrentCode) {
    Buffer src(make_image(4, 4, 1, BASE_TYPE_U8));
    Buffer dst;
    IPL_SetErrorCode(-4242);
    EXPECT_EQ(COL_ConvertColorSpace(src.handle(), dst.slot(), COL_CODE(COL_BAYER, COL_YUV)), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), -4242);
}

TEST(ConvertColorSpace, HighHalfIsReadSigned) {
    // A high half of 0xFFFF is -1: no space at all, so nothing converts into it
    // but the call still reaches the driver and stamps -1.
    Buffer src(make_image(1, 1, 3, BASE_TYPE_U8));
    Buffer dst(make_image(1, 1, 3, BASE_TYPE_U8));
    int32_t h = dst.handle();
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), &h, 0xFFFF0010u), 1);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_COLOR_SPACE), -1);
}

}  // namespace
