// COL_ModelTinting.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "model/model_tinting.h"
#include "test_support.h"

namespace {

using ozu_test::attribute;
using ozu_test::Buffer;
using ozu_test::make_image;
using ozu_test::read_plane;
using ozu_test::seeded_pixels;
using ozu_test::write_plane;

using Ramp = std::array<int32_t, 3>;
using RampFunction = Ramp (*)(int32_t);

// A table of the default shape: 256 x 1, three planes, unsigned 8-bit.
int32_t make_table(int32_t type = BASE_TYPE_U8, int32_t height = 1) {
    return make_image(256, height, 3, type, 1, 1, BASE_KIND_TABLE);
}

// Fills every plane of the table with a seeded pattern, so that a ramp
// written by the entry and a table left alone both show.
std::vector<std::vector<uint8_t>> fill_pattern(int32_t lut) {
    std::vector<std::vector<uint8_t>> planes;
    const int32_t height = attribute(lut, BASE_ATTR_HEIGHT);
    for (int32_t k = 0; k < 3; ++k) {
        planes.push_back(seeded_pixels<uint8_t>(size_t(256) * size_t(height), 77u + uint32_t(k)));
        write_plane(lut, k, planes.back());
    }
    return planes;
}

std::vector<std::vector<uint8_t>> read_planes(int32_t lut) {
    std::vector<std::vector<uint8_t>> planes;
    for (int32_t k = 0; k < 3; ++k) planes.push_back(read_plane<uint8_t>(lut, k));
    return planes;
}

// Line 0 of the table against expected(i), entry by entry; the first
// mismatch names the plane and the entry.
void expect_ramp(int32_t lut, RampFunction expected) {
    const auto planes = read_planes(lut);
    for (int32_t k = 0; k < 3; ++k) {
        for (int32_t i = 0; i < 256; ++i) {
            ASSERT_EQ(int32_t{planes[size_t(k)][size_t(i)]}, expected(i)[size_t(k)])
                << "plane " << k << ", entry " << i;
        }
    }
}

// Tints a fresh unsigned 8-bit table with `model` and compares its ramp.
void expect_tint(const char* model, RampFunction expected) {
    SCOPED_TRACE(std::string("model \"") + model + "\"");
    Buffer lut(make_table());
    fill_pattern(lut.handle());
    int32_t handle = lut.handle();
    ASSERT_EQ(COL_ModelTinting(model, &handle), 1);
    EXPECT_EQ(handle, lut.handle());
    expect_ramp(lut.handle(), expected);
}

// A failure with `code`, the table untouched and no buffer left behind.
void expect_refused(const char* model, int32_t code) {
    SCOPED_TRACE(std::string("model \"") + model + "\"");
    Buffer lut(make_table());
    const auto before = fill_pattern(lut.handle());
    const int32_t count = BASE_BufferCount();
    int32_t handle = lut.handle();
    EXPECT_COL_ERROR(code, COL_ModelTinting(model, &handle));
    EXPECT_EQ(handle, lut.handle());
    EXPECT_EQ(BASE_BufferCount(), count);
    EXPECT_EQ(read_planes(lut.handle()), before);
}

// The ramps as the tints define them, written out per entry.
Ramp grey(int32_t i) { return {i, i, i}; }
Ramp red(int32_t i) { return {i, 0, 0}; }
Ramp green(int32_t i) { return {0, i, 0}; }
Ramp blue(int32_t i) { return {0, 0, i}; }
Ramp cyan(int32_t i) { return {255 - i, 255, 255}; }
Ramp magenta(int32_t i) { return {255, 255 - i, 255}; }
Ramp yellow(int32_t i) { return {255, 255, 255 - i}; }
// trunc(0.5 i) + 128 and 128 - trunc(0.3 i); 3i / 10 is trunc(0.3 i) for
// every entry, the double product included.
Ramp saturation(int32_t i) { return {i / 2 + 128, i / 2 + 128, 128 - 3 * i / 10}; }

// The hue rainbow: red up to yellow, down to green, up to cyan, down to blue,
// up to magenta, back towards red, by 6 per entry.
Ramp hue(int32_t i) {
    if (i <= 42) return {255, 6 * i, 0};
    if (i <= 85) return {255 - 6 * (i - 43), 255, 0};
    if (i <= 127) return {0, 255, 6 * (i - 86)};
    if (i <= 169) return {0, 255 - 6 * (i - 128), 255};
    if (i <= 212) return {6 * (i - 170), 0, 255};
    return {255, 0, 255 - 6 * (i - 213)};
}

// ---------------------------------------------------------------------------
// The ramps of the named components.

TEST(ModelTinting, TintsTheFirstChannelOfRgbRed) {
    expect_tint("R/G/B", red);
    expect_tint("RGB", red);
}

TEST(ModelTinting, GivesEachNamedRampEntryByEntry) {
    expect_tint("I", grey);
    expect_tint("R", red);
    expect_tint("G", green);
    expect_tint("B", blue);
    expect_tint("C", cyan);
    expect_tint("M", magenta);
    expect_tint("Yel", yellow);
    expect_tint("S", saturation);
}

TEST(ModelTinting, TakesLongChannelNames) {
    expect_tint("Intensity", grey);
    expect_tint("Green", green);
    expect_tint("Blue/Red/Green", blue);
    expect_tint("Cyan/Magenta/Yellow", cyan);
    expect_tint("Magenta", magenta);
    expect_tint("Yellow", yellow);
    expect_tint("Saturation/H", saturation);
}

TEST(ModelTinting, SaturationEndsAtFiftyTwoOnPlaneTwo) {
    Buffer lut(make_table());
    int32_t handle = lut.handle();
    ASSERT_EQ(COL_ModelTinting("S", &handle), 1);
    const auto planes = read_planes(lut.handle());
    // 128 + trunc(127.5) and 128 + trunc(-76.5).
    EXPECT_EQ(planes[0][255], 255);
    EXPECT_EQ(planes[1][255], 255);
    EXPECT_EQ(planes[2][255], 52);
    EXPECT_EQ(planes[2][0], 128);
}

TEST(ModelTinting, GivesTheHueRainbowInSixUnevenSegments) {
    expect_tint("H", hue);
    expect_tint("HSV", hue);
    expect_tint("Hue/Luminance/Saturation", hue);
}

TEST(ModelTinting, HueSegmentsStopShortOfTheirEnds) {
    Buffer lut(make_table());
    int32_t handle = lut.handle();
    ASSERT_EQ(COL_ModelTinting("H", &handle), 1);
    const auto p = read_planes(lut.handle());
    // Last entries of the rising and falling segments, and the first of the next.
    EXPECT_EQ((Ramp{p[0][42], p[1][42], p[2][42]}), (Ramp{255, 252, 0}));
    EXPECT_EQ((Ramp{p[0][43], p[1][43], p[2][43]}), (Ramp{255, 255, 0}));
    EXPECT_EQ((Ramp{p[0][85], p[1][85], p[2][85]}), (Ramp{3, 255, 0}));
    EXPECT_EQ((Ramp{p[0][127], p[1][127], p[2][127]}), (Ramp{0, 255, 246}));
    EXPECT_EQ((Ramp{p[0][169], p[1][169], p[2][169]}), (Ramp{0, 9, 255}));
    EXPECT_EQ((Ramp{p[0][212], p[1][212], p[2][212]}), (Ramp{252, 0, 255}));
    EXPECT_EQ((Ramp{p[0][255], p[1][255], p[2][255]}), (Ramp{255, 0, 3}));
}

TEST(ModelTinting, ReadsALumaChannelAsYellow) {
    // The first channel of "Y/C/C" and "Y/I/Q" is "Y", which the compact form
    // turns into yellow.
    expect_tint("YCC", yellow);
    expect_tint("YIQ", yellow);
}

// ---------------------------------------------------------------------------
// Wavelength channels.

// Expects the ramp from black to the RGB colour of `nm`: entry i of plane k
// is the low byte of trunc(f_k x i).
void expect_wavelength_ramp(const char* model, int32_t nm) {
    SCOPED_TRACE(std::string("model \"") + model + "\"");
    double f[3] = {-1.0, -1.0, -1.0};
    ASSERT_EQ(COL_SpectralToColor(nm, COL_RGB, &f[0], &f[1], &f[2]), 1);
    Buffer lut(make_table());
    fill_pattern(lut.handle());
    int32_t handle = lut.handle();
    ASSERT_EQ(COL_ModelTinting(model, &handle), 1);
    const auto planes = read_planes(lut.handle());
    for (int32_t k = 0; k < 3; ++k) {
        ASSERT_GE(f[k], 0.0);
        ASSERT_LE(f[k], 1.0);
        for (int32_t i = 0; i < 256; ++i) {
            const int32_t expected = static_cast<int32_t>(std::trunc(f[k] * i)) & 0xFF;
            ASSERT_EQ(int32_t{planes[size_t(k)][size_t(i)]}, expected)
                << "plane " << k << ", entry " << i;
        }
    }
}

TEST(ModelTinting, RampsToTheColourOfAWavelength) {
    expect_wavelength_ramp("550nm", 550);
    expect_wavelength_ramp("500", 500);
    expect_wavelength_ramp("580nm/R", 580);
    expect_wavelength_ramp("779nm", 779);
    expect_wavelength_ramp("380", 380);
}

TEST(ModelTinting, WavelengthRampRisesFromBlack) {
    // 580 nm is orange-yellow: red and green fractional, no blue.
    Buffer lut(make_table());
    int32_t handle = lut.handle();
    ASSERT_EQ(COL_ModelTinting("580nm", &handle), 1);
    const auto planes = read_planes(lut.handle());
    EXPECT_EQ(planes[0][0], 0);
    EXPECT_EQ(planes[1][0], 0);
    EXPECT_EQ(planes[2][0], 0);
    EXPECT_GT(planes[0][255], planes[1][255]);
    EXPECT_GT(planes[1][255], 0);
    EXPECT_LT(planes[0][255], 255);
    EXPECT_EQ(planes[2][255], 0);
    // 580 nm is RGB (0.891447, 0.416251, 0): trunc(227.3) and trunc(106.1).
    EXPECT_EQ(planes[0][255], 227);
    EXPECT_EQ(planes[1][255], 106);
}

TEST(ModelTinting, UsesOnlyTheFirstComponent) {
    expect_tint("G/500/R", green);
    expect_wavelength_ramp("450/R/G", 450);
}

// ---------------------------------------------------------------------------
// The table buffer.

TEST(ModelTinting, CreatesAnUnsigned8BitTableForMinusOne) {
    const int32_t count = BASE_BufferCount();
    Buffer lut;
    ASSERT_EQ(COL_ModelTinting("G", lut.slot()), 1);
    ASSERT_NE(lut.handle(), -1);
    EXPECT_EQ(BASE_BufferCount(), count + 1);
    EXPECT_EQ(attribute(lut.handle(), BASE_ATTR_WIDTH), 256);
    EXPECT_EQ(attribute(lut.handle(), BASE_ATTR_HEIGHT), 1);
    EXPECT_EQ(attribute(lut.handle(), BASE_ATTR_PLANES), 3);
    EXPECT_EQ(attribute(lut.handle(), BASE_ATTR_EXT2), 1);
    EXPECT_EQ(attribute(lut.handle(), BASE_ATTR_EXT3), 1);
    EXPECT_EQ(attribute(lut.handle(), BASE_ATTR_TYPE), BASE_TYPE_U8);
    EXPECT_EQ(attribute(lut.handle(), BASE_ATTR_KIND), BASE_KIND_TABLE);
    expect_ramp(lut.handle(), green);
}

TEST(ModelTinting, KeepsACreatedTableWhenALaterCheckFails) {
    const int32_t count = BASE_BufferCount();
    Buffer lut;
    EXPECT_COL_ERROR(COL_ERR_COLOR_SPACE, COL_ModelTinting("Foo", lut.slot()));
    ASSERT_NE(lut.handle(), -1);
    EXPECT_TRUE(BASE_IsBufferExistent(lut.handle()));
    EXPECT_EQ(BASE_BufferCount(), count + 1);
}

TEST(ModelTinting, AcceptsASigned8BitTable) {
    Buffer lut(make_table(BASE_TYPE_S8));
    int32_t handle = lut.handle();
    ASSERT_EQ(COL_ModelTinting("C", &handle), 1);
    expect_ramp(lut.handle(), cyan);
    ASSERT_EQ(COL_ModelTinting("H", &handle), 1);
    expect_ramp(lut.handle(), hue);
}

TEST(ModelTinting, AcceptsAnImageBufferAndWritesOnlyLineZero) {
    Buffer lut(make_image(256, 3, 3, BASE_TYPE_U8));
    const auto before = fill_pattern(lut.handle());
    int32_t handle = lut.handle();
    ASSERT_EQ(COL_ModelTinting("B", &handle), 1);
    const auto after = read_planes(lut.handle());
    for (size_t k = 0; k < 3; ++k) {
        for (size_t i = 0; i < 256; ++i) ASSERT_EQ(after[k][i], k == 2 ? i : 0) << k << " " << i;
        // Lines 1 and 2 keep their pattern.
        EXPECT_TRUE(std::equal(after[k].begin() + 256, after[k].end(), before[k].begin() + 256));
    }
}

TEST(ModelTinting, LeavesNoBufferBehind) {
    Buffer lut(make_table());
    int32_t handle = lut.handle();
    const int32_t count = BASE_BufferCount();
    for (const char* model : {"I", "H", "S", "550nm", "V", "Foo"}) COL_ModelTinting(model, &handle);
    EXPECT_EQ(BASE_BufferCount(), count);
}

TEST(ModelTinting, LeavesTheCallersModelUnchanged) {
    char text[] = "R/G/B";
    Buffer lut(make_table());
    int32_t handle = lut.handle();
    ASSERT_EQ(COL_ModelTinting(text, &handle), 1);
    EXPECT_STREQ(text, "R/G/B");
    EXPECT_EQ(std::memcmp(text, "R/G/B", sizeof text), 0);

    char wavelength[] = "Red/550/Hue";
    ASSERT_EQ(COL_ModelTinting(wavelength, &handle), 1);
    EXPECT_EQ(std::memcmp(wavelength, "Red/550/Hue", sizeof wavelength), 0);

    char failing[] = "R/Foo/G";
    EXPECT_COL_ERROR(COL_ERR_COLOR_SPACE, COL_ModelTinting(failing, &handle));
    EXPECT_EQ(std::memcmp(failing, "R/Foo/G", sizeof failing), 0);

    // A literal lives in read-only memory: writing to it would crash.
    ASSERT_EQ(COL_ModelTinting("Hue/Saturation/Value", &handle), 1);
}

TEST(ModelTinting, ClearsTheErrorSlotOnlyThroughTheExtraction) {
    // A success leaves the slot as the found channel left it: cleared.
    Buffer lut(make_table());
    int32_t handle = lut.handle();
    IPL_SetErrorCode(-9999);
    ASSERT_EQ(COL_ModelTinting("M", &handle), 1);
    EXPECT_EQ(IPL_GetErrorCode2(), 0);
}

// ---------------------------------------------------------------------------
// Failures, each leaving the table as it was.

TEST(ModelTinting, RefusesANullModel) {
    Buffer lut(make_table());
    const auto before = fill_pattern(lut.handle());
    int32_t handle = lut.handle();
    EXPECT_COL_ERROR(COL_ERR_NULL_POINTER, COL_ModelTinting(nullptr, &handle));
    EXPECT_EQ(read_planes(lut.handle()), before);
    // Checked before the handle: nothing is created.
    const int32_t count = BASE_BufferCount();
    int32_t fresh = -1;
    EXPECT_COL_ERROR(COL_ERR_NULL_POINTER, COL_ModelTinting(nullptr, &fresh));
    EXPECT_EQ(fresh, -1);
    EXPECT_EQ(BASE_BufferCount(), count);
}

TEST(ModelTinting, RefusesANullHandlePointer) {
    EXPECT_COL_ERROR(COL_ERR_NULL_POINTER, COL_ModelTinting("R", nullptr));
}

TEST(ModelTinting, RefusesAHandleThatNamesNoBuffer) {
    int32_t handle = make_table();
    ASSERT_EQ(IPL_BufFree(handle), 1);
    ASSERT_FALSE(BASE_IsBufferExistent(handle));
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER, COL_ModelTinting("R", &handle));
    int32_t other = -2;
    EXPECT_COL_ERROR(COL_ERR_NO_BUFFER, COL_ModelTinting("R", &other));
}

// Tints a table of the given shape, expecting `code` and its pattern kept.
void expect_shape_refused(int32_t width, int32_t planes, int32_t type, int32_t code) {
    SCOPED_TRACE("width " + std::to_string(width) + ", planes " + std::to_string(planes) +
                 ", type " + std::to_string(type));
    Buffer lut(make_image(width, 1, planes, type));
    std::vector<std::vector<uint8_t>> before;
    if (type <= BASE_TYPE_U8) {
        for (int32_t k = 0; k < planes; ++k) {
            before.push_back(seeded_pixels<uint8_t>(size_t(width), 5u + uint32_t(k)));
            write_plane(lut.handle(), k, before.back());
        }
    }
    int32_t handle = lut.handle();
    EXPECT_COL_ERROR(code, COL_ModelTinting("R", &handle));
    for (int32_t k = 0; k < int32_t(before.size()); ++k)
        EXPECT_EQ(read_plane<uint8_t>(lut.handle(), k), before[size_t(k)]);
}

TEST(ModelTinting, RefusesATableWithoutThreePlanes) {
    expect_shape_refused(256, 1, BASE_TYPE_U8, COL_ERR_PLANES);
    expect_shape_refused(256, 4, BASE_TYPE_U8, COL_ERR_PLANES);
    // Planes are checked before the width.
    expect_shape_refused(255, 1, BASE_TYPE_U8, COL_ERR_PLANES);
}

TEST(ModelTinting, RefusesATableNot256Wide) {
    expect_shape_refused(255, 3, BASE_TYPE_U8, COL_ERR_WIDTH);
    expect_shape_refused(257, 3, BASE_TYPE_U8, COL_ERR_WIDTH);
    // The width is checked before the pixel type.
    expect_shape_refused(255, 3, BASE_TYPE_U16, COL_ERR_WIDTH);
}

TEST(ModelTinting, RefusesATableThatIsNot8Bit) {
    expect_shape_refused(256, 3, BASE_TYPE_S16, COL_ERR_PIXEL_TYPE);
    expect_shape_refused(256, 3, BASE_TYPE_U16, COL_ERR_PIXEL_TYPE);
    expect_shape_refused(256, 3, BASE_TYPE_S32, COL_ERR_PIXEL_TYPE);
}

TEST(ModelTinting, RefusesAKnownChannelThatHasNoTint) {
    for (const char* model : {"V", "L", "Q", "U", "X601", "Y601", "ZITU", "XYZ", "Value/R"})
        expect_refused(model, COL_ERR_RANGE);
}

TEST(ModelTinting, RefusesAnEmptyModel) {
    expect_refused("", COL_ERR_RANGE);
    expect_refused("//", COL_ERR_RANGE);
}

TEST(ModelTinting, RefusesAnUnknownNameThroughTheExtraction) {
    expect_refused("Foo", COL_ERR_COLOR_SPACE);
    expect_refused("red", COL_ERR_COLOR_SPACE);
    // An unknown token anywhere in the model, even after a good first one.
    expect_refused("R/G/Foo", COL_ERR_COLOR_SPACE);
}

TEST(ModelTinting, RefusesAWavelengthOutsideTheSpectrumThroughTheExtraction) {
    // The channel-list form admits 380..779 only, so such a name never
    // reaches the wavelength lookup.
    expect_refused("300nm", COL_ERR_COLOR_SPACE);
    expect_refused("379", COL_ERR_COLOR_SPACE);
    expect_refused("780nm", COL_ERR_COLOR_SPACE);
}

TEST(ModelTinting, PassesOnTheHostCodeWhenTheTableHoldsNoPixels) {
    Buffer lut(make_image(256, 1, 3, BASE_TYPE_U8, 1, 1, BASE_KIND_TABLE, BASE_ALLOC_NO_DATA));
    int32_t handle = lut.handle();
    EXPECT_COL_ERROR(BASE_ERR_REGION, COL_ModelTinting("R", &handle));
}

// ---------------------------------------------------------------------------
// The helpers behind the entry.

TEST(ModelTinting, KnowsExactlyTheNamedTints) {
    ozu::LinearTint tint;
    for (const char* name : {"I", "R", "G", "B", "C", "M", "Yel", "S"})
        EXPECT_TRUE(ozu::named_tint(name, tint)) << name;
    for (const char* name : {"H", "Y", "Y601", "V", "", "R ", "Rd", "550"})
        EXPECT_FALSE(ozu::named_tint(name, tint)) << name;
}

TEST(ModelTinting, LinearTintKeepsTheLowByte) {
    ozu::LinearTint tint;
    tint.factor[0] = 2.0;
    tint.factor[1] = -1.0;
    tint.factor[2] = 0.75;
    tint.offset[0] = 0;
    tint.offset[1] = 0;
    tint.offset[2] = 300;
    ozu::TintPlanes planes{};
    ozu::fill_linear_tint(tint, planes);
    EXPECT_EQ(planes[0][200], 400 & 0xFF);
    EXPECT_EQ(planes[1][1], 0xFF);
    // trunc(0.75 x 255) = 191, + 300 = 491.
    EXPECT_EQ(planes[2][255], 491 & 0xFF);
}

}  // namespace
