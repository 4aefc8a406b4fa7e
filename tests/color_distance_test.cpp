// The colour distance image: unpacking of the reference colours, the
// per-pixel rule against an independent integer model, the kernel entry's
// walk and the entry's checks in their order.
#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>
#include <ozu/color_kernels.h>

#include "analysis/color_distance.h"
#include "test_support.h"

namespace {

using ozu_test::Buffer;
using ozu_test::make_image;
using ozu_test::read_plane;
using ozu_test::seeded_pixels;
using ozu_test::write_plane;

// ---- An independent model: the rule in plain integer arithmetic ----------

struct Rgb {
    int c[3];
};

// Components by signed, truncating division, as the packing defines them.
Rgb model_unpack(int64_t value) {
    const auto low_byte = [](int64_t v) { return int(((v % 256) + 256) % 256); };
    const auto trunc_div = [](int64_t a, int64_t b) { return a / b; };  // C++: toward zero
    return Rgb{{low_byte(trunc_div(value, 65536)), low_byte(trunc_div(value, 256)),
                low_byte(value)}};
}

int model_distance(int p0, int p1, int p2, const Rgb& r) {
    const int d0 = p0 - r.c[0], d1 = p1 - r.c[1], d2 = p2 - r.c[2];
    return (d0 * d0 + d1 * d1 + d2 * d2) / 765;
}

uint8_t model_pixel(int p0, int p1, int p2, int32_t colour1, int32_t colour2) {
    const int near = model_distance(p0, p1, p2, model_unpack(colour1));
    const int far = model_distance(p0, p1, p2, model_unpack(colour2));
    const int q = (near - far) / (far + 1);
    return static_cast<uint8_t>(q);
}

// A three-plane unsigned 8-bit image of one colour per plane.
int32_t uniform_rgb(int32_t width, int32_t height, uint8_t c0, uint8_t c1, uint8_t c2) {
    const int32_t h = make_image(width, height, 3, BASE_TYPE_U8);
    const size_t n = size_t(width) * size_t(height);
    write_plane<uint8_t>(h, 0, std::vector<uint8_t>(n, c0));
    write_plane<uint8_t>(h, 1, std::vector<uint8_t>(n, c1));
    write_plane<uint8_t>(h, 2, std::vector<uint8_t>(n, c2));
    return h;
}

// The distance image of a one-pixel image of colour (c0, c1, c2).
int single_pixel(uint8_t c0, uint8_t c1, uint8_t c2, int32_t colour1, int32_t colour2) {
    Buffer src(uniform_rgb(1, 1, c0, c1, c2));
    Buffer dst;
    EXPECT_EQ(COL_CalcColorDistanceImage(src.handle(), dst.slot(), colour1, colour2), 1);
    return read_plane<uint8_t>(dst.handle(), 0)[0];
}

// ---- Unpacking ------------------------------------------------------------

TEST(DistanceReference, UnpacksNonNegativeValuesAsRedGreenBlueBytes) {
    const ozu::ReferenceColor r = ozu::unpack_reference(0x12AB34);
    EXPECT_EQ(r.c[0], 0x12);
    EXPECT_EQ(r.c[1], 0xAB);
    EXPECT_EQ(r.c[2], 0x34);
    const ozu::ReferenceColor high = ozu::unpack_reference(0x7F123456);
    EXPECT_EQ(high.c[0], 0x12);  // the top byte is dropped
    EXPECT_EQ(high.c[1], 0x34);
    EXPECT_EQ(high.c[2], 0x56);
}

TEST(DistanceReference, UnpacksNegativeValuesByTruncatingDivision) {
    // A plain shift would give (255, 255, 255) for -1 and (255, 255, 0) for
    // -256; the truncating division gives these.
    const ozu::ReferenceColor minusOne = ozu::unpack_reference(-1);
    EXPECT_EQ(minusOne.c[0], 0);
    EXPECT_EQ(minusOne.c[1], 0);
    EXPECT_EQ(minusOne.c[2], 255);
    const ozu::ReferenceColor minus256 = ozu::unpack_reference(-256);
    EXPECT_EQ(minus256.c[0], 0);
    EXPECT_EQ(minus256.c[1], 255);
    EXPECT_EQ(minus256.c[2], 0);
    const ozu::ReferenceColor minus65536 = ozu::unpack_reference(-65536);
    EXPECT_EQ(minus65536.c[0], 255);
    EXPECT_EQ(minus65536.c[1], 0);
    EXPECT_EQ(minus65536.c[2], 0);
    const ozu::ReferenceColor minus65537 = ozu::unpack_reference(-65537);
    EXPECT_EQ(minus65537.c[0], 255);  // -65537 / 65536 = -1
    EXPECT_EQ(minus65537.c[1], 0);    // -65537 / 256 = -256
    EXPECT_EQ(minus65537.c[2], 255);
}

TEST(DistanceReference, MatchesTheModelOverSeededValues) {
    const std::vector<uint32_t> values = seeded_pixels<uint32_t>(4000, 17);
    for (uint32_t bits : values) {
        const int32_t v = static_cast<int32_t>(bits);
        const ozu::ReferenceColor r = ozu::unpack_reference(v);
        const Rgb m = model_unpack(v);
        ASSERT_EQ(r.c[0], m.c[0]) << v;
        ASSERT_EQ(r.c[1], m.c[1]) << v;
        ASSERT_EQ(r.c[2], m.c[2]) << v;
    }
    const ozu::ReferenceColor lowest = ozu::unpack_reference(INT32_MIN);
    EXPECT_EQ(lowest.c[0], 0);
    EXPECT_EQ(lowest.c[1], 0);
    EXPECT_EQ(lowest.c[2], 0);
}

// ---- The per-pixel rule ---------------------------------------------------

TEST(DistancePixel, SingleFloatDivisionsEqualIntegerDivisionsForEveryPixelAndColourPair) {
    // Every pixel (p0, p1) with p2 running through a few values, against
    // black, white and two mixed colours in both roles.
    const int32_t colours[] = {0x000000, 0xFFFFFF, 0x80FF10, 0x3C6E9A, -1};
    std::vector<uint8_t> p0(256), p1(256), p2(256), out(256);
    for (int v = 0; v < 256; ++v) p0[v] = uint8_t(v);
    for (int32_t c1 : colours) {
        for (int32_t c2 : colours) {
            const ozu::ReferenceColor r1 = ozu::unpack_reference(c1);
            const ozu::ReferenceColor r2 = ozu::unpack_reference(c2);
            for (int b : {0, 1, 127, 200, 255}) {
                for (int g = 0; g < 256; ++g) {
                    std::fill(p1.begin(), p1.end(), uint8_t(g));
                    std::fill(p2.begin(), p2.end(), uint8_t(b));
                    ozu::distance_line(p0.data(), p1.data(), p2.data(), out.data(), 256, r1, r2);
                    for (int r = 0; r < 256; ++r) {
                        ASSERT_EQ(out[r], model_pixel(r, g, b, c1, c2))
                            << "pixel (" << r << ", " << g << ", " << b << "), colours " << c1
                            << " and " << c2;
                    }
                }
            }
        }
    }
}

TEST(DistancePixel, EveryPairOfScaledDistancesGivesTheTruncatedQuotient) {
    // A pixel at distance 765 d1 from the first colour and 765 d2 from the
    // second cannot always be built; the quotient step is checked directly by
    // two colours on one axis: p = 0, colour 1 at a, colour 2 at b on plane 0
    // gives near = a^2 / 765 and far = b^2 / 765.
    for (int a = 0; a < 256; a += 3) {
        for (int b = 0; b < 256; b += 5) {
            const ozu::ReferenceColor r1{{a, 0, 0}};
            const ozu::ReferenceColor r2{{b, 0, 0}};
            const int near = a * a / 765;
            const int far = b * b / 765;
            ASSERT_EQ(ozu::distance_pixel(0, 0, 0, r1, r2), uint8_t((near - far) / (far + 1)))
                << a << ", " << b;
        }
    }
}

TEST(CalcColorDistanceImage, PixelEqualToFirstColourGivesZero) {
    EXPECT_EQ(single_pixel(10, 20, 30, 0x0A141E, 0xFFFFFF), 0);
    EXPECT_EQ(single_pixel(10, 20, 30, 0x0A141E, 0x0A141F), 0);
}

TEST(CalcColorDistanceImage, PixelEqualToSecondColourWithFirstAtFullDistanceGives255) {
    EXPECT_EQ(single_pixel(255, 255, 255, 0x000000, 0xFFFFFF), 255);
    EXPECT_EQ(single_pixel(0, 0, 0, 0xFFFFFF, 0x000000), 255);
}

TEST(CalcColorDistanceImage, EqualReferenceColoursGiveZeroEverywhere) {
    const int32_t width = 37, height = 11;
    Buffer src(make_image(width, height, 3, BASE_TYPE_U8));
    for (int p = 0; p < 3; ++p)
        write_plane<uint8_t>(src.handle(), p, seeded_pixels<uint8_t>(width * height, 40 + p));
    Buffer dst;
    ASSERT_EQ(COL_CalcColorDistanceImage(src.handle(), dst.slot(), 0x406080, 0x406080), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), std::vector<uint8_t>(width * height, 0));
}

TEST(CalcColorDistanceImage, DifferenceOf27InOneChannelVanishesAnd28DoesNot) {
    // 27^2 = 729 < 765: distance 0; 28^2 = 784: distance 1.
    EXPECT_EQ(single_pixel(100, 100, 100, 0x647F64, 0x646464), 0);  // first 27 off in plane 1
    EXPECT_EQ(single_pixel(100, 100, 100, 0x648064, 0x646464), 1);  // first 28 off
    EXPECT_EQ(single_pixel(100, 100, 100, 0x7F6464, 0x646464), 0);
    EXPECT_EQ(single_pixel(100, 100, 100, 0x646480, 0x646464), 1);
}

TEST(CalcColorDistanceImage, NearerToFirstColourIsZeroAndTheQuotientTruncates) {
    // near 5, far 4: (5 - 4) / 5 = 0. Pixel 0; first colour at 62 in plane 0
    // (3844 / 765 = 5), second at 56 (3136 / 765 = 4).
    EXPECT_EQ(single_pixel(0, 0, 0, 0x3E0000, 0x380000), 0);
    // near 85 (255 in one plane), far 0: 85.
    EXPECT_EQ(single_pixel(0, 0, 0, 0x0000FF, 0x000000), 85);
    // near 85, far 1 (28 off): 84 / 2 = 42.
    EXPECT_EQ(single_pixel(0, 0, 0, 0x0000FF, 0x1C0000), 42);
}

TEST(CalcColorDistanceImage, NegativeReferenceColoursUseTheTruncatingUnpacking) {
    // -65536 is (255, 0, 0) and -1 is (0, 0, 255): pixels equal to them are
    // at distance 0 from the second colour and 85 from black.
    EXPECT_EQ(single_pixel(255, 0, 0, 0x000000, -65536), 85);
    EXPECT_EQ(single_pixel(0, 0, 255, 0x000000, -1), 85);
    // A plain shift would make -1 white and a white pixel give 255; here it
    // is near 255, far 170: 85 / 171 = 0.
    EXPECT_EQ(single_pixel(255, 255, 255, 0x000000, -1), 0);
}

TEST(CalcColorDistanceImage, SeededImagesMatchTheModelInEveryBlock) {
    const int32_t width = 263, height = 25, ext2 = 2, ext3 = 3;
    const int32_t colour1 = 0x20C040, colour2 = 0xD02090;
    Buffer src(make_image(width, height, 3, BASE_TYPE_U8, ext2, ext3));
    std::vector<std::vector<uint8_t>> planes;
    uint32_t seed = 100;
    for (int32_t j = 0; j < ext3; ++j)
        for (int32_t i = 0; i < ext2; ++i)
            for (int p = 0; p < 3; ++p) {
                planes.push_back(seeded_pixels<uint8_t>(size_t(width) * height, seed++));
                write_plane<uint8_t>(src.handle(), p, planes.back(), i, j);
            }
    Buffer dst;
    ASSERT_EQ(COL_CalcColorDistanceImage(src.handle(), dst.slot(), colour1, colour2), 1);
    size_t block = 0;
    int nonzero = 0;
    for (int32_t j = 0; j < ext3; ++j) {
        for (int32_t i = 0; i < ext2; ++i, block += 3) {
            const std::vector<uint8_t> out = read_plane<uint8_t>(dst.handle(), 0, i, j);
            for (size_t k = 0; k < out.size(); ++k) {
                const uint8_t want = model_pixel(planes[block][k], planes[block + 1][k],
                                                 planes[block + 2][k], colour1, colour2);
                ASSERT_EQ(out[k], want) << "block (" << i << ", " << j << "), pixel " << k;
                nonzero += out[k] != 0;
            }
        }
    }
    EXPECT_GT(nonzero, 1000);  // the image is not trivially all zero
}

TEST(CalcColorDistanceImage, CreatesAOnePlaneUnsigned8BitDestinationOfTheSourceGeometry) {
    Buffer src(make_image(7, 5, 3, BASE_TYPE_U8, 2, 3));
    Buffer dst;
    ASSERT_EQ(COL_CalcColorDistanceImage(src.handle(), dst.slot(), 0, 0), 1);
    ASSERT_NE(dst.handle(), -1);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_WIDTH), 7);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_HEIGHT), 5);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_PLANES), 1);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_EXT2), 2);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_EXT3), 3);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_TYPE), BASE_TYPE_U8);
    EXPECT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_KIND), BASE_KIND_IMAGE);
}

// A destination allocated with another line alignment than the source's: the
// entry writes each line at the destination's own pitch, whichever pitch is
// the larger, and nothing past the destination's lines (a source spaced
// wider than its destination once wrote its later lines past the end).
TEST(CalcColorDistanceImage, WritesADestinationOfAnotherLinePitchLineByLine) {
    const int32_t width = 10, height = 6, ext2 = 2, ext3 = 1;
    const int32_t colour1 = 0x102030, colour2 = 0xF0E0D0;
    for (const auto& [srcAlign, dstAlign] : {std::pair{0, 1}, std::pair{1, 0}, std::pair{3, 7}}) {
        SCOPED_TRACE(testing::Message() << "alignments " << srcAlign << ", " << dstAlign);
        Buffer src(make_image(width, height, 3, BASE_TYPE_U8, ext2, ext3, BASE_KIND_IMAGE,
                              srcAlign == 0 ? 0 : BASE_ALLOC_ALIGN(srcAlign)));
        Buffer dst(make_image(width, height, 1, BASE_TYPE_U8, ext2, ext3, BASE_KIND_IMAGE,
                              dstAlign == 0 ? 0 : BASE_ALLOC_ALIGN(dstAlign)));
        ASSERT_NE(ozu_test::attribute(src.handle(), BASE_ATTR_PITCH),
                  ozu_test::attribute(dst.handle(), BASE_ATTR_PITCH));
        std::vector<std::vector<uint8_t>> planes;
        uint32_t seed = 7;
        for (int32_t i = 0; i < ext2; ++i)
            for (int p = 0; p < 3; ++p) {
                planes.push_back(seeded_pixels<uint8_t>(size_t(width) * height, seed++));
                write_plane<uint8_t>(src.handle(), p, planes.back(), i, 0);
            }
        int32_t handle = dst.handle();
        ASSERT_EQ(COL_CalcColorDistanceImage(src.handle(), &handle, colour1, colour2), 1);
        for (int32_t i = 0; i < ext2; ++i) {
            const std::vector<uint8_t> out = read_plane<uint8_t>(dst.handle(), 0, i, 0);
            const size_t block = size_t(i) * 3;
            for (size_t k = 0; k < out.size(); ++k) {
                ASSERT_EQ(out[k], model_pixel(planes[block][k], planes[block + 1][k],
                                              planes[block + 2][k], colour1, colour2))
                    << "block " << i << ", pixel " << k;
            }
        }
    }
}

// ---- The kernel entry -----------------------------------------------------

TEST(CalculateDistanceImage, AddressesDestinationLinesWithTheSourcePitch) {
    // Source lines 8 bytes apart, destination lines 64 apart: the three
    // result lines land packed in the first 24 bytes of the destination.
    const int32_t width = 8, height = 3;
    Buffer src(make_image(width, height, 3, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE,
                          BASE_ALLOC_ALIGN(8)));
    Buffer dst(make_image(width, height, 1, BASE_TYPE_U8));
    ASSERT_EQ(ozu_test::attribute(src.handle(), BASE_ATTR_PITCH), 8);
    ASSERT_EQ(ozu_test::attribute(dst.handle(), BASE_ATTR_PITCH), 64);
    std::vector<uint8_t> plane0(width * height, 0);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) plane0[y * width + x] = uint8_t(255 - 28 * (x + y));
    write_plane<uint8_t>(src.handle(), 0, plane0);
    ASSERT_EQ(colk_calculate_distance_image(src.handle(), dst.handle(), 0xFF0000, 0x000000), 1);

    int32_t pitch = 0;
    void* ptr = nullptr;
    ASSERT_EQ(IPL_GetPtr(dst.handle(), BASE_MODE_READ, 0, 0, 0, &pitch, &ptr), 1);
    const uint8_t* bytes = static_cast<const uint8_t*>(ptr);
    for (int32_t k = 0; k < width * height; ++k) {
        const int v = plane0[k];
        EXPECT_EQ(bytes[k], model_pixel(v, 0, 0, 0xFF0000, 0x000000)) << "byte " << k;
    }
    // Line 1 of the destination as its own pitch sees it was never written.
    for (int32_t x = 0; x < width; ++x) EXPECT_EQ(bytes[64 + x], 0) << x;
    ASSERT_EQ(IPL_ReleasePtr(dst.handle(), BASE_MODE_READ, 0, 0, 0, ptr), 1);
}

TEST(CalculateDistanceImage, FailsWithTheHostCodeOfAFailedInquiry) {
    Buffer src(uniform_rgb(3, 3, 1, 2, 3));
    IPL_SetErrorCode(0);
    EXPECT_EQ(colk_calculate_distance_image(src.handle(), 987654, 0, 0), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), BASE_ERR_NO_BUFFER);
}

TEST(CalculateDistanceImage, ReleasesEvenAfterAFailedPointerRequest) {
    // A source without pixel memory: its pointer requests fail (-1005), the
    // pixels are not computed, and the releases that follow anyway cannot
    // match a request and leave -1007. The destination's pointer goes back.
    Buffer src(make_image(4, 4, 3, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA));
    Buffer dst(make_image(4, 4, 1, BASE_TYPE_U8));
    IPL_SetErrorCode(0);
    EXPECT_EQ(colk_calculate_distance_image(src.handle(), dst.handle(), 0xFFFFFF, 0), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), BASE_ERR_NOT_HELD);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), std::vector<uint8_t>(16, 0));
    EXPECT_EQ(IPL_BufFree(dst.handle()), 1);  // no pointer left out
    *dst.slot() = -1;
}

TEST(CalculateDistanceImageDeathTest, OnAOnePlaneSourceReadsTheMissingPlanesThroughNull) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Buffer src(make_image(4, 2, 1, BASE_TYPE_U8));
    Buffer dst(make_image(4, 2, 1, BASE_TYPE_U8));
    EXPECT_DEATH(colk_calculate_distance_image(src.handle(), dst.handle(), 0, 0), "");
}

// ---- The entry's checks, in order -----------------------------------------

TEST(CalcColorDistanceImage, RefusesAMissingSource) {
    int32_t dst = -1;
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER, COL_CalcColorDistanceImage(987654, &dst, 0, 0));
    EXPECT_EQ(dst, -1);
}

TEST(CalcColorDistanceImage, RefusesEverySourceKindButOneBeforeItsPlanes) {
    for (int32_t kind : {2, 14, 15, 3}) {
        Buffer src(make_image(4, 4, 1, BASE_TYPE_U16, 1, 1, kind));
        int32_t dst = -1;
        EXPECT_COL_ERROR(COL_ERR_BUFFER_KIND, COL_CalcColorDistanceImage(src.handle(), &dst, 0, 0));
        EXPECT_EQ(dst, -1);
    }
}

TEST(CalcColorDistanceImage, RefusesASourceNotOfThreePlanesBeforeItsType) {
    for (int32_t planes : {1, 2, 4}) {
        Buffer src(make_image(4, 4, planes, BASE_TYPE_U16));
        int32_t dst = -1;
        EXPECT_COL_ERROR(COL_ERR_PLANES, COL_CalcColorDistanceImage(src.handle(), &dst, 0, 0));
    }
}

TEST(CalcColorDistanceImage, RefusesASixteenBitSourceBeforeAllocatingTheDestination) {
    const int32_t before = BASE_BufferCount();
    for (int32_t type : {BASE_TYPE_S8, BASE_TYPE_S16, BASE_TYPE_U16}) {
        Buffer src(make_image(4, 4, 3, type));
        int32_t dst = -1;
        EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE, COL_CalcColorDistanceImage(src.handle(), &dst, 0, 0));
        EXPECT_EQ(dst, -1);
        EXPECT_EQ(BASE_BufferCount(), before + 1);
    }
}

TEST(CalcColorDistanceImage, RefusesAMissingDestination) {
    Buffer src(uniform_rgb(4, 4, 0, 0, 0));
    int32_t dst = 987654;
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER, COL_CalcColorDistanceImage(src.handle(), &dst, 0, 0));
}

TEST(CalcColorDistanceImage, ChecksTheDestinationKindPlanesAndTypeInThatOrder) {
    Buffer src(uniform_rgb(4, 4, 0, 0, 0));
    {
        Buffer dst(make_image(5, 5, 3, BASE_TYPE_U16, 1, 1, 14));
        int32_t h = dst.handle();
        EXPECT_COL_ERROR(COL_ERR_BUFFER_KIND, COL_CalcColorDistanceImage(src.handle(), &h, 0, 0));
    }
    {
        Buffer dst(make_image(5, 5, 3, BASE_TYPE_U16));
        int32_t h = dst.handle();
        EXPECT_COL_ERROR(COL_ERR_PLANES, COL_CalcColorDistanceImage(src.handle(), &h, 0, 0));
    }
    for (int32_t type : {BASE_TYPE_S8, BASE_TYPE_S16, BASE_TYPE_U16}) {
        Buffer dst(make_image(5, 5, 1, type));
        int32_t h = dst.handle();
        EXPECT_COL_ERROR(COL_ERR_PIXEL_TYPE, COL_CalcColorDistanceImage(src.handle(), &h, 0, 0));
    }
}

TEST(CalcColorDistanceImage, RefusesAThreePlaneDestination) {
    Buffer src(uniform_rgb(4, 4, 0, 0, 0));
    Buffer dst(make_image(4, 4, 3, BASE_TYPE_U8));
    int32_t h = dst.handle();
    EXPECT_COL_ERROR(COL_ERR_PLANES, COL_CalcColorDistanceImage(src.handle(), &h, 0, 0));
}

TEST(CalcColorDistanceImage, ComparesWidthHeightExtent3AndExtent2InThatOrder) {
    Buffer src(make_image(4, 4, 3, BASE_TYPE_U8, 2, 3));
    const auto code_for = [&](int32_t w, int32_t h, int32_t e2, int32_t e3) {
        Buffer dst(make_image(w, h, 1, BASE_TYPE_U8, e2, e3));
        int32_t handle = dst.handle();
        IPL_SetErrorCode(0);
        EXPECT_EQ(COL_CalcColorDistanceImage(src.handle(), &handle, 0, 0), 0);
        return IPL_GetErrorCode2();
    };
    EXPECT_EQ(code_for(5, 5, 1, 1), COL_ERR_WIDTH);
    EXPECT_EQ(code_for(4, 5, 1, 1), COL_ERR_HEIGHT);
    EXPECT_EQ(code_for(4, 4, 1, 1), COL_ERR_EXTENT3);
    EXPECT_EQ(code_for(4, 4, 1, 3), COL_ERR_EXTENT2);
    Buffer match(make_image(4, 4, 1, BASE_TYPE_U8, 2, 3));
    int32_t handle = match.handle();
    EXPECT_EQ(COL_CalcColorDistanceImage(src.handle(), &handle, 0, 0), 1);
}

TEST(CalcColorDistanceImage, KeepsACreatedDestinationWhenTheKernelFails) {
    Buffer src(make_image(4, 4, 3, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA));
    Buffer dst;
    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_CalcColorDistanceImage(src.handle(), dst.slot(), 0, 0), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), BASE_ERR_NOT_HELD);
    ASSERT_NE(dst.handle(), -1);
    EXPECT_EQ(BASE_IsBufferExistent(dst.handle()), 1);
}

TEST(CalcColorDistanceImage, KernelFailurePassesTheHostCodeOn) {
    // A destination without pixel memory passes every check; its pointer
    // request fails with -1005 and its release with -1007.
    Buffer src(uniform_rgb(4, 4, 9, 9, 9));
    Buffer dst(make_image(4, 4, 1, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA));
    int32_t h = dst.handle();
    EXPECT_COL_ERROR(BASE_ERR_NOT_HELD, COL_CalcColorDistanceImage(src.handle(), &h, 0, 0));
}

}  // namespace
