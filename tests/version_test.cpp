// COL_GetVersion.
#include <gtest/gtest.h>

#include <cstring>

#include <ozu/color.h>

namespace {

TEST(GetVersion, SizeTenFailsAndLeavesTheBufferUntouched) {
    char buffer[16];
    std::memset(buffer, 'x', sizeof buffer);
    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_GetVersion(buffer, 10), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_VERSION_BUFFER);
    for (char c : buffer) EXPECT_EQ(c, 'x');
}

TEST(GetVersion, SizeElevenWritesExactlyTheStringAndItsZero) {
    char buffer[16];
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(COL_GetVersion(buffer, 11), 1);
    EXPECT_EQ(std::memcmp(buffer, "6.6.0.5300", 11), 0);
    EXPECT_EQ(buffer[10], '\0');
    EXPECT_EQ(buffer[11], 'x');
}

TEST(GetVersion, NegativeSizeFailsWithMinus104) {
    char buffer[16] = {};
    IPL_SetErrorCode(0);
    EXPECT_EQ(COL_GetVersion(buffer, -1), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_VERSION_BUFFER);
    EXPECT_EQ(COL_GetVersion(buffer, INT32_MIN), 0);
    EXPECT_EQ(buffer[0], '\0');
}

}  // namespace
