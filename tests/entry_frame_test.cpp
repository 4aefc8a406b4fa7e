// The frame every exported entry runs in: results, raising and catching.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>

#include <ozu/base.h>
#include <ozu/color.h>

#include "frame/entry_frame.h"
#include "frame/host_access.h"

namespace {

constexpr ozu::EntryTexts kTexts{"Leaving COL_Test - Error: %s (%d)",
                                 "Leaving COL_Test - Win32 Error: %ld"};

TEST(EntryFrame, ReturnsOneWhenTheBodyCompletes) {
    ozu::OnceFlag once;
    EXPECT_EQ(ozu::run_entry(once, kTexts, [] {}), 1);
}

TEST(EntryFrame, SetsItsOneTimeFlagOnTheFirstCall) {
    ozu::OnceFlag once;
    EXPECT_EQ(once.done, 0);
    ozu::run_entry(once, kTexts, [] {});
    EXPECT_EQ(once.done, 1);
    ozu::run_entry(once, kTexts, [] {});
    EXPECT_EQ(once.done, 1);
}

TEST(EntryFrame, ClearsErrnoBeforeTheBodyRuns) {
    ozu::OnceFlag once;
    errno = EINVAL;
    int seen = -1;
    ozu::run_entry(once, kTexts, [&] { seen = errno; });
    EXPECT_EQ(seen, 0);
}

TEST(EntryFrame, RaisedCodeIsRecordedAndTheResultIsZero) {
    ozu::OnceFlag once;
    IPL_SetErrorCode(0);
    EXPECT_EQ(ozu::run_entry(once, kTexts, [] { ozu::raise(COL_ERR_RANGE); }), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_RANGE);
}

TEST(EntryFrame, ThrownIntegerIsNotRecordedAgain) {
    ozu::OnceFlag once;
    IPL_SetErrorCode(-42);
    EXPECT_EQ(ozu::run_entry(once, kTexts, [] { throw 7; }), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), -42);
}

TEST(EntryFrame, HostFailureKeepsTheHostsOwnCode) {
    ozu::OnceFlag once;
    IPL_SetErrorCode(0);
    int32_t value = 0;
    EXPECT_EQ(ozu::run_entry(once, kTexts,
                             [&] { ozu::check_host(IPL_BufInquire(0x7FFFFFF0, 0, &value)); }),
              0);
    EXPECT_EQ(IPL_GetErrorCode2(), BASE_ERR_NO_BUFFER);
}

TEST(EntryFrame, OtherExceptionWithErrnoZeroLeavesMinus100) {
    ozu::OnceFlag once;
    IPL_SetErrorCode(0);
    EXPECT_EQ(ozu::run_entry(once, kTexts, [] { throw std::runtime_error("boom"); }), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_UNKNOWN);
}

TEST(EntryFrame, OtherExceptionAfterFailedSystemCallLeavesErrno) {
    ozu::OnceFlag once;
    IPL_SetErrorCode(0);
    EXPECT_EQ(ozu::run_entry(once, kTexts,
                             [] {
                                 // A real failing system call sets errno.
                                 FILE* f = std::fopen("/nonexistent-dir/ozu/none", "r");
                                 if (f == nullptr) throw std::runtime_error("open failed");
                                 std::fclose(f);
                             }),
              0);
    EXPECT_EQ(IPL_GetErrorCode2(), ENOENT);
}

TEST(EntryFrame, BadAllocIsCaughtLikeAnyOtherException) {
    ozu::OnceFlag once;
    IPL_SetErrorCode(0);
    EXPECT_EQ(ozu::run_entry(once, kTexts, [] { throw std::bad_alloc(); }), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_UNKNOWN);
}

TEST(EntryFrame, LaterSuccessDoesNotClearTheErrorSlot) {
    ozu::OnceFlag once;
    ozu::run_entry(once, kTexts, [] { ozu::raise(COL_ERR_PLANES); });
    EXPECT_EQ(ozu::run_entry(once, kTexts, [] {}), 1);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_PLANES);
    char buffer[16];
    EXPECT_EQ(COL_GetVersion(buffer, sizeof buffer), 1);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_PLANES);
}

TEST(HostAccess, InquireRaisesTheHostsCodeForAnUnknownBuffer) {
    ozu::OnceFlag once;
    EXPECT_EQ(ozu::run_entry(once, kTexts, [] { ozu::inquire(0x7FFFFFF1, 0); }), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), BASE_ERR_NO_BUFFER);
}

TEST(HostAccess, RequireBufferRaisesMinus107) {
    ozu::OnceFlag once;
    EXPECT_EQ(ozu::run_entry(once, kTexts, [] { ozu::require_buffer(-1); }), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_NO_BUFFER);
}

TEST(HostAccess, ElementWidthsPairEightWithEightAndSixteenWithSixteen) {
    EXPECT_TRUE(ozu::same_element_width(1, 2));
    EXPECT_TRUE(ozu::same_element_width(4, 3));
    EXPECT_FALSE(ozu::same_element_width(2, 4));
    EXPECT_FALSE(ozu::same_element_width(3, 1));
}

}  // namespace
