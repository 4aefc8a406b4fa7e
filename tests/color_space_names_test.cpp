// COL_GetColorSpaceID and COL_GetModelFromID.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <ozu/color.h>

namespace {

int32_t id_of(const char* name) {
    int32_t id = -1;
    EXPECT_EQ(COL_GetColorSpaceID(name, &id), 1) << name;
    return id;
}

TEST(GetColorSpaceID, EveryAcceptedNameGivesItsIdentifier) {
    const std::vector<std::pair<const char*, int32_t>> names = {
        {"CMY", 1},       {"C/M/Yel", 1},  {"Cyan/Magenta/Yellow", 1},
        {"I", 2},         {"Intensity", 2}, {"HLS", 4},
        {"H/L/S", 4},     {"Hue/Luminance/Saturation", 4},
        {"HSV", 8},       {"H/S/V", 8},    {"Hue/Saturation/Value", 8},
        {"RGB", 16},      {"R/G/B", 16},   {"Red/Green/Blue", 16},
        {"XYZ", 32},      {"X/Y/Z", 32},   {"XYZ601", 32},
        {"XYZ709", 64},   {"XYZITU", 128}, {"YCC", 256},
        {"YCrCb", 256},   {"Y/C/C", 256},  {"Y/Cr/Cb", 256},
        {"YCC601", 256},  {"YIQ", 512},    {"Y/I/Q", 512},
        {"YUV", 1024},    {"Y/U/V", 1024},
    };
    for (const auto& [name, id] : names) EXPECT_EQ(id_of(name), id) << name;
}

TEST(GetColorSpaceID, IntensityInAnotherCaseIsUnknownButNoError) {
    EXPECT_EQ(id_of("Intensity"), 2);
    EXPECT_EQ(id_of("intensity"), 0);
}

TEST(GetColorSpaceID, XyzMeansThe601Variant) {
    EXPECT_EQ(id_of("XYZ"), 32);
    EXPECT_EQ(id_of("XYZ709"), 64);
}

TEST(GetColorSpaceID, TrailingBlankAndPlaneTriplesMatchNothing) {
    EXPECT_EQ(id_of("RGB "), 0);
    EXPECT_EQ(id_of("RG"), 0);
    EXPECT_EQ(id_of(""), 0);
    EXPECT_EQ(id_of("X601/Y601/Z601"), 0);
    EXPECT_EQ(id_of("X709/Y709/Z709"), 0);
    EXPECT_EQ(id_of("XITU/YITU/ZITU"), 0);
}

TEST(GetColorSpaceID, NullNameFailsWithMinus101) {
    int32_t id = 5;
    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_GetColorSpaceID(nullptr, &id), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_NULL_POINTER);
    EXPECT_EQ(id, 5);
}

TEST(GetModelFromID, IntensityFitsInTwoBytes) {
    char buffer[2] = {'x', 'x'};
    EXPECT_EQ(COL_GetModelFromID(2, buffer, 2), 1);
    EXPECT_EQ(buffer[0], 'I');
    EXPECT_EQ(buffer[1], '\0');
}

TEST(GetModelFromID, IntensityWithSizeOneFailsAndClearsTheByte) {
    char buffer[1] = {'x'};
    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_GetModelFromID(2, buffer, 1), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_RANGE);
    EXPECT_EQ(buffer[0], '\0');
}

TEST(GetModelFromID, Xyz601NeedsSevenBytes) {
    char buffer[8];
    std::memset(buffer, 'x', sizeof buffer);
    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_GetModelFromID(32, buffer, 6), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_RANGE);
    for (int k = 0; k < 6; ++k) EXPECT_EQ(buffer[k], '\0');
    EXPECT_EQ(buffer[6], 'x');
    EXPECT_EQ(COL_GetModelFromID(32, buffer, 7), 1);
    EXPECT_STREQ(buffer, "XYZ601");
}

TEST(GetModelFromID, EveryIdentifierAtItsLeastSizeAndOneBelow) {
    const std::vector<std::pair<int32_t, std::string>> names = {
        {1, "CMY"},     {2, "I"},       {4, "HLS"},     {8, "HSV"},
        {16, "RGB"},    {32, "XYZ601"}, {64, "XYZ709"}, {128, "XYZITU"},
        {256, "YCC"},   {512, "YIQ"},   {1024, "YUV"},
    };
    for (const auto& [id, name] : names) {
        const int32_t least = static_cast<int32_t>(name.size()) + 1;
        std::vector<char> buffer(16, 'x');
        EXPECT_EQ(COL_GetModelFromID(id, buffer.data(), least), 1) << name;
        EXPECT_EQ(std::string(buffer.data()), name);
        EXPECT_EQ(buffer[least], 'x') << "wrote past size for " << name;
        IPL_SetErrorCode(0);
        EXPECT_EQ(COL_GetModelFromID(id, buffer.data(), least - 1), 0) << name;
        EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_RANGE);
    }
}

TEST(GetModelFromID, NamePaddedWithZerosToTheWholeSize) {
    char buffer[12];
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(COL_GetModelFromID(16, buffer, 12), 1);
    EXPECT_STREQ(buffer, "RGB");
    for (int k = 3; k < 12; ++k) EXPECT_EQ(buffer[k], '\0') << k;
}

TEST(GetModelFromID, UnknownIdentifierGivesTenZeroBytes) {
    for (int32_t id : {3, 0, 2048, -16, 48}) {
        char buffer[10];
        std::memset(buffer, 'x', sizeof buffer);
        EXPECT_EQ(COL_GetModelFromID(id, buffer, 10), 1) << id;
        for (char c : buffer) EXPECT_EQ(c, '\0') << id;
    }
}

TEST(GetModelFromID, NullBufferFailsWithMinus101) {
    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_GetModelFromID(16, nullptr, 10), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_NULL_POINTER);
}

// The original treated a negative size as a huge unsigned clearing count; the
// library clears nothing instead, and no name fits.
TEST(GetModelFromID, NegativeSizeClearsNothingAndNoNameFits) {
    char buffer[4] = {'x', 'x', 'x', 'x'};
    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_GetModelFromID(16, buffer, -1), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_RANGE);
    for (char c : buffer) EXPECT_EQ(c, 'x');
    EXPECT_EQ(COL_GetModelFromID(3, buffer, -1), 1);
    for (char c : buffer) EXPECT_EQ(c, 'x');
}

}  // namespace
