// The image-buffer host's per-thread error slot and its message texts.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <set>
#include <string>
#include <thread>

#include <ozu/base.h>

#include "base_test_support.h"

namespace {

struct Expected {
    int32_t code;
    const char* text;
};

// Every code of the colour module's table and of the host's own.
const Expected kTexts[] = {
    {-100, "unknown failure"},
    {-101, "null pointer argument"},
    {-104, "version buffer too small"},
    {-105, "Bayer working memory unavailable, or no pixel data"},
    {-106, "pixel type not supported"},
    {-107, "no such image buffer"},
    {-111, "invalid profile line or filter arguments"},
    {-123, "buffer kind cannot be processed"},
    {-500, "wrong number of planes"},
    {-501, "width differs"},
    {-502, "height differs"},
    {-503, "extent 2 differs"},
    {-504, "extent 3 differs"},
    {-505, "argument value out of range"},
    {-506, "invalid colour space or model"},
    {-507, "wavelength outside 380..779 nm"},
    {-508, "the parallel runner did not run every job"},
    {-1001, "no buffer with this handle"},
    {-1002, "argument out of range"},
    {-1003, "out of memory, or size overflow"},
    {-1004, "attribute unknown, not writable, or not set"},
    {-1005, "region outside the buffer, or the buffer holds no pixel data"},
    {-1006, "buffer busy: locked, pointer out, or live children"},
    {-1007, "unlock or release that matches no lock or request"},
    {-1008, "pixel type not supported by this operation"},
    {-1009, "operands of different geometry"},
};

TEST(ErrorSlot, KeepsAnyValueItIsGiven) {
    for (int32_t code : {0, -1, -1003, 42, std::numeric_limits<int32_t>::min(),
                         std::numeric_limits<int32_t>::max()}) {
        IPL_SetErrorCode(code);
        EXPECT_EQ(IPL_GetErrorCode2(), code);
    }
}

TEST(ErrorSlot, IsNotClearedBySuccess) {
    IPL_SetErrorCode(-505);
    int32_t h = -1;
    ASSERT_EQ(IPL_BufAlloc(&h, 2, 2, 1, 1, 1, BASE_TYPE_U8, 1, 0), 1);
    int32_t width = 0;
    ASSERT_EQ(IPL_BufInquire(h, BASE_ATTR_WIDTH, &width), 1);
    ASSERT_EQ(IPL_BufFree(h), 1);
    EXPECT_EQ(IPL_GetErrorCode2(), -505);
}

TEST(ErrorSlot, HoldsTheCodeOfTheLastFailure) {
    IPL_SetErrorCode(0);
    EXPECT_EQ(IPL_BufFree(-1), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), BASE_ERR_NO_BUFFER);
    int32_t h = -1;
    EXPECT_EQ(IPL_BufAlloc(&h, 0, 1, 1, 1, 1, BASE_TYPE_U8, 1, 0), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), BASE_ERR_ARGUMENT);
}

TEST(ErrorSlot, BelongsToEachThread) {
    IPL_SetErrorCode(-101);
    int32_t fresh = 99;
    int32_t afterFailure = 0;
    std::thread other([&] {
        fresh = IPL_GetErrorCode2();
        IPL_BufFree(-1);
        afterFailure = IPL_GetErrorCode2();
        IPL_SetErrorCode(-777);
    });
    other.join();
    EXPECT_EQ(fresh, 0);  // a new thread starts with no error
    EXPECT_EQ(afterFailure, BASE_ERR_NO_BUFFER);
    EXPECT_EQ(IPL_GetErrorCode2(), -101);  // untouched by the other thread
}

TEST(ErrorString, NamesEveryCodeOfBothTables) {
    std::set<std::string> distinct;
    for (const Expected& e : kTexts) {
        const char* text = IPL_GetErrorString(e.code);
        ASSERT_NE(text, nullptr) << e.code;
        EXPECT_STREQ(text, e.text) << e.code;
        distinct.insert(text);
    }
    EXPECT_EQ(distinct.size(), std::size(kTexts));
}

TEST(ErrorString, MatchesTheNamedHostCodes) {
    EXPECT_STREQ(IPL_GetErrorString(BASE_ERR_NO_BUFFER), "no buffer with this handle");
    EXPECT_STREQ(IPL_GetErrorString(BASE_ERR_GEOMETRY), "operands of different geometry");
}

TEST(ErrorString, GivesTheSystemTextForPositiveCodes) {
    for (int code : {EINVAL, ENOMEM, ENOENT, EACCES}) {
        const std::string system = std::strerror(code);
        const char* text = IPL_GetErrorString(code);
        ASSERT_NE(text, nullptr);
        EXPECT_EQ(system, text) << code;
    }
}

TEST(ErrorString, GivesSomeTextForAPositiveCodeTheSystemDoesNotKnow) {
    const char* text = IPL_GetErrorString(987654);
    ASSERT_NE(text, nullptr);
    EXPECT_NE(text[0], '\0');
}

TEST(ErrorString, SaysUnknownErrorForEveryOtherCode) {
    for (int32_t code : {0, -1, -99, -102, -103, -108, -499, -509, -1000, -1010,
                         std::numeric_limits<int32_t>::min()}) {
        const char* text = IPL_GetErrorString(code);
        ASSERT_NE(text, nullptr) << code;
        EXPECT_STREQ(text, "unknown error") << code;
    }
}

TEST(ErrorString, GivesSystemTextsSafelyFromManyThreads) {
    const std::string expected = std::strerror(EINVAL);
    int mismatches[4] = {};
    std::thread threads[4];
    for (int t = 0; t < 4; ++t) {
        threads[t] = std::thread([t, &mismatches, &expected] {
            for (int k = 0; k < 200; ++k) {
                const char* text = IPL_GetErrorString(EINVAL);
                if (text == nullptr || expected != text) ++mismatches[t];
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (int t = 0; t < 4; ++t) EXPECT_EQ(mismatches[t], 0) << t;
}

}  // namespace
