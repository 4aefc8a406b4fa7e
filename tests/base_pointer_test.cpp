// Locks, pixel pointers, staging areas and region copies of the image-buffer
// host.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include <ozu/base.h>

#include "base_test_support.h"

namespace {

using base_test::fill_u8;
using base_test::make_buffer;
using base_test::read_u8;

class BufLock : public base_test::BufferCountCheck {};
class GetPtrEx : public base_test::BufferCountCheck {};
class ReleasePtrEx : public base_test::BufferCountCheck {};
class GetPtr : public base_test::BufferCountCheck {};
class GetBufDataEx : public base_test::BufferCountCheck {};
class PutBufDataEx : public base_test::BufferCountCheck {};
class PutBufData : public base_test::BufferCountCheck {};

// A 5 x 4 8-bit buffer whose pixel (x, y) holds 10 y + x + 1.
int32_t numbered_5x4() {
    int32_t h = make_buffer(5, 4);
    fill_u8(h, 0, 0, 0, [](int x, int y) { return 10 * y + x + 1; });
    return h;
}

// ------------------------------------------------------- IPL_BufLock / Unlock

TEST_F(BufLock, CountsLocksPerMode) {
    int32_t h = make_buffer(2, 2);
    ASSERT_EQ(IPL_BufLock(h, BASE_MODE_READ), 1);
    ASSERT_EQ(IPL_BufLock(h, BASE_MODE_READ), 1);
    EXPECT_EQ(IPL_BufUnlock(h, BASE_MODE_READ), 1);
    EXPECT_HOST_ERROR(BASE_ERR_BUSY, IPL_BufFree(h));
    EXPECT_EQ(IPL_BufUnlock(h, BASE_MODE_READ), 1);
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_BufUnlock(h, BASE_MODE_READ));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufLock, LocksOfBothModesDoNotExcludeEachOther) {
    int32_t h = make_buffer(2, 2);
    ASSERT_EQ(IPL_BufLock(h, BASE_MODE_READ), 1);
    ASSERT_EQ(IPL_BufLock(h, BASE_MODE_WRITE), 1);
    ASSERT_EQ(IPL_BufLock(h, BASE_MODE_WRITE), 1);
    // In-place work: the buffer is readable and writable while both are held.
    const uint8_t v = 9;
    EXPECT_EQ(IPL_PutBufData(h, 0, 0, 0, 0, 0, 1, 1, &v), 1);
    EXPECT_EQ(read_u8(h)[0], 9);
    EXPECT_EQ(IPL_BufUnlock(h, BASE_MODE_WRITE), 1);
    EXPECT_EQ(IPL_BufUnlock(h, BASE_MODE_READ), 1);
    EXPECT_EQ(IPL_BufUnlock(h, BASE_MODE_WRITE), 1);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufLock, UnlockMustMatchTheModeOfALock) {
    int32_t h = make_buffer(2, 2);
    ASSERT_EQ(IPL_BufLock(h, BASE_MODE_READ), 1);
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_BufUnlock(h, BASE_MODE_WRITE));
    EXPECT_EQ(IPL_BufUnlock(h, BASE_MODE_READ), 1);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufLock, RefusesAnUnknownHandle) {
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_BufLock(-1, BASE_MODE_READ));
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_BufUnlock(-1, BASE_MODE_READ));
}

TEST_F(BufLock, RefusesAnUnknownMode) {
    int32_t h = make_buffer(2, 2);
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufLock(h, 2));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufLock(h, -1));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufUnlock(h, 2));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

// ---------------------------------------------------------------- IPL_GetPtrEx

TEST_F(GetPtrEx, PointsStraightIntoTheBufferForARegionInside) {
    int32_t h = make_buffer(6, 5, BASE_TYPE_S16, 2, 2, 1);
    int32_t basePitch = 0, pitch = 0;
    void* base = nullptr;
    void* ptr = nullptr;
    ASSERT_EQ(IPL_GetPtr(h, BASE_MODE_READ, 1, 1, 0, &basePitch, &base), 1);
    ASSERT_EQ(IPL_GetPtrEx(h, BASE_MODE_WRITE, 2, 3, 1, 1, 0, 4, 2, &pitch, &ptr), 1);
    EXPECT_EQ(pitch, 64);
    EXPECT_EQ(basePitch, 64);
    EXPECT_EQ(static_cast<uint8_t*>(ptr), static_cast<uint8_t*>(base) + 3 * 64 + 2 * 2);
    // No copy: a write through the pointer is in the buffer at once.
    static_cast<int16_t*>(ptr)[1] = -1234;
    int16_t back = 0;
    ASSERT_EQ(IPL_GetBufDataEx(h, 3, 3, 1, 1, 0, 1, 1, 0, 2, &back, BASE_TYPE_S16), 1);
    EXPECT_EQ(back, -1234);
    EXPECT_EQ(IPL_ReleasePtrEx(h, BASE_MODE_WRITE, 2, 3, 1, 1, 0, 4, 2, ptr), 1);
    EXPECT_EQ(IPL_ReleasePtr(h, BASE_MODE_READ, 1, 1, 0, base), 1);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetPtrEx, StagesARegionPastTheLastColumnAndLine) {
    int32_t h = numbered_5x4();
    int32_t pitch = 0;
    void* ptr = nullptr;
    // Columns 3..6 of lines 2..4: columns 5, 6 and line 4 lie outside.
    ASSERT_EQ(IPL_GetPtrEx(h, BASE_MODE_READ, 3, 2, 0, 0, 0, 4, 3, &pitch, &ptr), 1);
    EXPECT_EQ(pitch, 4);
    const uint8_t* s = static_cast<const uint8_t*>(ptr);
    const uint8_t expected[12] = {24, 25, 0, 0,  //
                                  34, 35, 0, 0,  //
                                  0,  0,  0, 0};
    EXPECT_EQ(std::memcmp(s, expected, 12), 0);
    EXPECT_EQ(IPL_ReleasePtrEx(h, BASE_MODE_READ, 3, 2, 0, 0, 0, 4, 3, ptr), 1);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetPtrEx, StagingPitchIsTheRegionWidthInBytes) {
    int32_t h = make_buffer(5, 4, BASE_TYPE_U16);
    const uint16_t v[2] = {0x1234, 0xFEDC};
    ASSERT_EQ(IPL_PutBufData(h, 3, 3, 0, 0, 0, 2, 1, v), 1);
    int32_t pitch = 0;
    void* ptr = nullptr;
    ASSERT_EQ(IPL_GetPtrEx(h, BASE_MODE_READ, 3, 3, 0, 0, 0, 3, 2, &pitch, &ptr), 1);
    EXPECT_EQ(pitch, 6);
    const uint16_t* s = static_cast<const uint16_t*>(ptr);
    EXPECT_EQ(s[0], 0x1234);
    EXPECT_EQ(s[1], 0xFEDC);
    for (int k = 2; k < 6; ++k) EXPECT_EQ(s[k], 0) << k;
    EXPECT_EQ(IPL_ReleasePtrEx(h, BASE_MODE_READ, 3, 3, 0, 0, 0, 3, 2, ptr), 1);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetPtrEx, WriteModeStagingWritesBackOnlyTheOverlap) {
    int32_t h = numbered_5x4();
    int32_t pitch = 0;
    void* ptr = nullptr;
    ASSERT_EQ(IPL_GetPtrEx(h, BASE_MODE_WRITE, 2, 1, 0, 0, 0, 4, 5, &pitch, &ptr), 1);
    ASSERT_EQ(pitch, 4);
    uint8_t* s = static_cast<uint8_t*>(ptr);
    for (int k = 0; k < 20; ++k) s[k] = uint8_t(200 + k);
    ASSERT_EQ(IPL_ReleasePtrEx(h, BASE_MODE_WRITE, 2, 1, 0, 0, 0, 4, 5, ptr), 1);
    // Lines 1..3, columns 2..4 come from the staging area; everything past
    // the block (column 5, lines 4 and 5) was dropped.
    const std::vector<uint8_t> expected = {1,  2,  3,   4,   5,    //
                                           11, 12, 200, 201, 202,  //
                                           21, 22, 204, 205, 206,  //
                                           31, 32, 208, 209, 210};
    EXPECT_EQ(read_u8(h), expected);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetPtrEx, ReadModeStagingWritesNothingBack) {
    int32_t h = numbered_5x4();
    const std::vector<uint8_t> before = read_u8(h);
    int32_t pitch = 0;
    void* ptr = nullptr;
    ASSERT_EQ(IPL_GetPtrEx(h, BASE_MODE_READ, 0, 2, 0, 0, 0, 5, 4, &pitch, &ptr), 1);
    std::memset(ptr, 0x5A, 20);
    ASSERT_EQ(IPL_ReleasePtrEx(h, BASE_MODE_READ, 0, 2, 0, 0, 0, 5, 4, ptr), 1);
    EXPECT_EQ(read_u8(h), before);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetPtrEx, StagingOfAChildStaysInsideTheChild) {
    // A child in the middle of its parent: staging past the child's edge must
    // neither show nor overwrite the parent's pixels beyond it.
    int32_t parent = make_buffer(6, 6);
    fill_u8(parent, 0, 0, 0, [](int, int) { return 7; });
    int32_t child = -1;
    ASSERT_EQ(IPL_BufAllocChild2D(&child, parent, 1, 1, 0, 0, 0, 3, 3), 1);
    int32_t pitch = 0;
    void* ptr = nullptr;
    ASSERT_EQ(IPL_GetPtrEx(child, BASE_MODE_WRITE, 1, 1, 0, 0, 0, 3, 3, &pitch, &ptr), 1);
    uint8_t* s = static_cast<uint8_t*>(ptr);
    const uint8_t expected[9] = {7, 7, 0, 7, 7, 0, 0, 0, 0};
    EXPECT_EQ(std::memcmp(s, expected, 9), 0);
    std::memset(s, 1, 9);
    ASSERT_EQ(IPL_ReleasePtrEx(child, BASE_MODE_WRITE, 1, 1, 0, 0, 0, 3, 3, ptr), 1);
    std::vector<uint8_t> seen = read_u8(parent);
    for (int y = 0; y < 6; ++y) {
        for (int x = 0; x < 6; ++x) {
            const bool written = x >= 2 && x <= 3 && y >= 2 && y <= 3;
            EXPECT_EQ(seen[size_t(y) * 6 + x], written ? 1 : 7) << x << "," << y;
        }
    }
    EXPECT_EQ(IPL_BufFree(child), 1);
    EXPECT_EQ(IPL_BufFree(parent), 1);
}

TEST_F(GetPtrEx, RefusesAnUnknownHandle) {
    int32_t pitch = 0;
    void* ptr = nullptr;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER,
                      IPL_GetPtrEx(-1, BASE_MODE_READ, 0, 0, 0, 0, 0, 1, 1, &pitch, &ptr));
    EXPECT_EQ(ptr, nullptr);
}

TEST_F(GetPtrEx, RefusesArgumentsOutOfRange) {
    int32_t h = make_buffer(4, 4);
    int32_t pitch = 0;
    void* ptr = nullptr;
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_GetPtrEx(h, 2, 0, 0, 0, 0, 0, 1, 1, &pitch, &ptr));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_GetPtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 1, 1, nullptr, &ptr));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_GetPtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 1, 1, &pitch, nullptr));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_GetPtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 0, 1, &pitch, &ptr));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_GetPtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 1, 0, &pitch, &ptr));
    EXPECT_EQ(ptr, nullptr);
    EXPECT_EQ(IPL_BufFree(h), 1);  // nothing left pinned
}

TEST_F(GetPtrEx, RefusesARegionThatStartsOutsideTheBlock) {
    int32_t h = make_buffer(4, 3, BASE_TYPE_U8, 2, 2, 2);
    int32_t pitch = 0;
    void* ptr = nullptr;
    const int32_t r = BASE_MODE_READ;
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetPtrEx(h, r, -1, 0, 0, 0, 0, 2, 1, &pitch, &ptr));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetPtrEx(h, r, 0, -1, 0, 0, 0, 2, 1, &pitch, &ptr));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetPtrEx(h, r, 4, 0, 0, 0, 0, 1, 1, &pitch, &ptr));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetPtrEx(h, r, 0, 3, 0, 0, 0, 1, 1, &pitch, &ptr));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetPtrEx(h, r, 0, 0, 2, 0, 0, 1, 1, &pitch, &ptr));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetPtrEx(h, r, 0, 0, -1, 0, 0, 1, 1, &pitch, &ptr));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetPtrEx(h, r, 0, 0, 0, 2, 0, 1, 1, &pitch, &ptr));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetPtrEx(h, r, 0, 0, 0, 0, 2, 1, 1, &pitch, &ptr));
    EXPECT_EQ(ptr, nullptr);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetPtrEx, RefusesABufferWithoutPixelData) {
    int32_t h = make_buffer(4, 4, BASE_TYPE_U8, 1, 1, 1, BASE_ALLOC_NO_DATA);
    int32_t pitch = 0;
    void* ptr = nullptr;
    EXPECT_HOST_ERROR(BASE_ERR_REGION,
                      IPL_GetPtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 2, 2, &pitch, &ptr));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetPtrEx, RefusesAStagingAreaTooLargeToAddress) {
    int32_t h = make_buffer(4, 4, BASE_TYPE_S32);
    int32_t pitch = 0;
    void* ptr = nullptr;
    // 2^30 elements of 4 bytes per line do not fit a 32-bit pitch.
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY,
                      IPL_GetPtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 1 << 30, 1, &pitch, &ptr));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

// ------------------------------------------------------------ IPL_ReleasePtrEx

TEST_F(ReleasePtrEx, RefusesAnUnknownHandle) {
    int32_t h = make_buffer(2, 2);
    int32_t pitch = 0;
    void* ptr = nullptr;
    ASSERT_EQ(IPL_GetPtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 2, 2, &pitch, &ptr), 1);
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER,
                      IPL_ReleasePtrEx(-1, BASE_MODE_READ, 0, 0, 0, 0, 0, 2, 2, ptr));
    EXPECT_EQ(IPL_ReleasePtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 2, 2, ptr), 1);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(ReleasePtrEx, RefusesAnUnknownMode) {
    int32_t h = make_buffer(2, 2);
    int32_t dummy = 0;
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_ReleasePtrEx(h, 3, 0, 0, 0, 0, 0, 2, 2, &dummy));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(ReleasePtrEx, MustMatchAnOutstandingRequestExactly) {
    int32_t h = make_buffer(4, 4, BASE_TYPE_U8, 2, 2, 2);
    int32_t pitch = 0;
    void* ptr = nullptr;
    const int32_t w = BASE_MODE_WRITE;
    ASSERT_EQ(IPL_GetPtrEx(h, w, 1, 1, 1, 1, 1, 2, 2, &pitch, &ptr), 1);
    uint8_t* other = static_cast<uint8_t*>(ptr) + 1;
    // Any argument or the pointer different: no match.
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_ReleasePtrEx(h, BASE_MODE_READ, 1, 1, 1, 1, 1, 2, 2, ptr));
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_ReleasePtrEx(h, w, 0, 1, 1, 1, 1, 2, 2, ptr));
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_ReleasePtrEx(h, w, 1, 0, 1, 1, 1, 2, 2, ptr));
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_ReleasePtrEx(h, w, 1, 1, 0, 1, 1, 2, 2, ptr));
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_ReleasePtrEx(h, w, 1, 1, 1, 0, 1, 2, 2, ptr));
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_ReleasePtrEx(h, w, 1, 1, 1, 1, 0, 2, 2, ptr));
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_ReleasePtrEx(h, w, 1, 1, 1, 1, 1, 1, 2, ptr));
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_ReleasePtrEx(h, w, 1, 1, 1, 1, 1, 2, 1, ptr));
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_ReleasePtrEx(h, w, 1, 1, 1, 1, 1, 2, 2, other));
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_ReleasePtrEx(h, w, 1, 1, 1, 1, 1, 2, 2, nullptr));
    EXPECT_HOST_ERROR(BASE_ERR_BUSY, IPL_BufFree(h));
    EXPECT_EQ(IPL_ReleasePtrEx(h, w, 1, 1, 1, 1, 1, 2, 2, ptr), 1);
    // Released once, it matches nothing any more.
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_ReleasePtrEx(h, w, 1, 1, 1, 1, 1, 2, 2, ptr));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(ReleasePtrEx, ReleasesRepeatedRequestsOneByOne) {
    int32_t h = make_buffer(4, 4);
    int32_t pitch = 0;
    void* a = nullptr;
    void* b = nullptr;
    ASSERT_EQ(IPL_GetPtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 4, 4, &pitch, &a), 1);
    ASSERT_EQ(IPL_GetPtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 4, 4, &pitch, &b), 1);
    EXPECT_EQ(a, b);
    EXPECT_EQ(IPL_ReleasePtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 4, 4, a), 1);
    EXPECT_HOST_ERROR(BASE_ERR_BUSY, IPL_BufFree(h));
    EXPECT_EQ(IPL_ReleasePtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 4, 4, b), 1);
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_ReleasePtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 4, 4, a));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

// ------------------------------------------------------ IPL_GetPtr / ReleasePtr

TEST_F(GetPtr, GivesTheWholeBlock) {
    int32_t h = numbered_5x4();
    int32_t pitch = 0;
    void* ptr = nullptr;
    ASSERT_EQ(IPL_GetPtr(h, BASE_MODE_READ, 0, 0, 0, &pitch, &ptr), 1);
    EXPECT_EQ(pitch, 64);
    const uint8_t* p = static_cast<const uint8_t*>(ptr);
    EXPECT_EQ(p[0], 1);
    EXPECT_EQ(p[4], 5);
    EXPECT_EQ(p[3 * 64 + 4], 35);
    // The short form and the long form over the whole block are one request.
    EXPECT_EQ(IPL_ReleasePtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 5, 4, ptr), 1);
    ASSERT_EQ(IPL_GetPtr(h, BASE_MODE_WRITE, 0, 0, 0, &pitch, &ptr), 1);
    EXPECT_EQ(IPL_ReleasePtr(h, BASE_MODE_WRITE, 0, 0, 0, ptr), 1);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetPtr, RefusesAnUnknownHandle) {
    int32_t pitch = 0;
    void* ptr = nullptr;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_GetPtr(-1, BASE_MODE_READ, 0, 0, 0, &pitch, &ptr));
    int32_t dummy = 0;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_ReleasePtr(-1, BASE_MODE_READ, 0, 0, 0, &dummy));
}

TEST_F(GetPtr, RefusesArgumentsOutOfRange) {
    int32_t h = make_buffer(2, 2);
    int32_t pitch = 0;
    void* ptr = nullptr;
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_GetPtr(h, 5, 0, 0, 0, &pitch, &ptr));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_GetPtr(h, BASE_MODE_READ, 0, 0, 0, nullptr, &ptr));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_ReleasePtr(h, 5, 0, 0, 0, &pitch));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetPtr, RefusesABlockOutsideTheBuffer) {
    int32_t h = make_buffer(2, 2, BASE_TYPE_U8, 3);
    int32_t pitch = 0;
    void* ptr = nullptr;
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetPtr(h, BASE_MODE_READ, 3, 0, 0, &pitch, &ptr));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetPtr(h, BASE_MODE_READ, 0, 1, 0, &pitch, &ptr));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetPtr(h, BASE_MODE_READ, 0, 0, 1, &pitch, &ptr));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetPtr, ReleaseMustMatchARequest) {
    int32_t h = make_buffer(2, 2, BASE_TYPE_U8, 2);
    int32_t pitch = 0;
    void* ptr = nullptr;
    ASSERT_EQ(IPL_GetPtr(h, BASE_MODE_READ, 1, 0, 0, &pitch, &ptr), 1);
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_ReleasePtr(h, BASE_MODE_READ, 0, 0, 0, ptr));
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_ReleasePtr(h, BASE_MODE_WRITE, 1, 0, 0, ptr));
    EXPECT_HOST_ERROR(BASE_ERR_NOT_HELD, IPL_ReleasePtr(h, BASE_MODE_READ, 1, 0, 0, nullptr));
    EXPECT_EQ(IPL_ReleasePtr(h, BASE_MODE_READ, 1, 0, 0, ptr), 1);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

// ----------------------------------------------------------- IPL_GetBufDataEx

TEST_F(GetBufDataEx, CopiesIntoCallerLinesAtDataXAndDataPitch) {
    int32_t h = numbered_5x4();
    // Caller lines of 6 bytes; the region lands from element 2 of each line.
    std::vector<uint8_t> data(18, 0xEE);
    ASSERT_EQ(IPL_GetBufDataEx(h, 1, 1, 0, 0, 0, 3, 3, 2, 6, data.data(), BASE_TYPE_U8), 1);
    const std::vector<uint8_t> expected = {0xEE, 0xEE, 12, 13, 14, 0xEE,  //
                                           0xEE, 0xEE, 22, 23, 24, 0xEE,  //
                                           0xEE, 0xEE, 32, 33, 34, 0xEE};
    EXPECT_EQ(data, expected);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetBufDataEx, CountsDataXInElements) {
    int32_t h = make_buffer(3, 1, BASE_TYPE_S16);
    const int16_t v[3] = {-1, 2, -3};
    ASSERT_EQ(IPL_PutBufData(h, 0, 0, 0, 0, 0, 3, 1, v), 1);
    int16_t data[5] = {9, 9, 9, 9, 9};
    ASSERT_EQ(IPL_GetBufDataEx(h, 0, 0, 0, 0, 0, 3, 1, 2, 10, data, BASE_TYPE_S16), 1);
    EXPECT_EQ(data[1], 9);
    EXPECT_EQ(data[2], -1);
    EXPECT_EQ(data[3], 2);
    EXPECT_EQ(data[4], -3);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetBufDataEx, CopiesBytesAsTheyAreForATypeOfTheSameSize) {
    int32_t h = make_buffer(2, 1, BASE_TYPE_U8);
    const uint8_t v[2] = {255, 128};
    ASSERT_EQ(IPL_PutBufData(h, 0, 0, 0, 0, 0, 2, 1, v), 1);
    int8_t data[2] = {};
    ASSERT_EQ(IPL_GetBufDataEx(h, 0, 0, 0, 0, 0, 2, 1, 0, 2, data, BASE_TYPE_S8), 1);
    EXPECT_EQ(data[0], -1);
    EXPECT_EQ(data[1], -128);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetBufDataEx, RefusesAnUnknownHandle) {
    uint8_t data[1] = {};
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER,
                      IPL_GetBufDataEx(-1, 0, 0, 0, 0, 0, 1, 1, 0, 1, data, BASE_TYPE_U8));
}

TEST_F(GetBufDataEx, RefusesArgumentsOutOfRange) {
    int32_t h = make_buffer(3, 3);
    uint8_t data[9] = {};
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_GetBufDataEx(h, 0, 0, 0, 0, 0, 1, 1, 0, 1, nullptr, BASE_TYPE_U8));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_GetBufDataEx(h, 0, 0, 0, 0, 0, 0, 1, 0, 1, data, BASE_TYPE_U8));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_GetBufDataEx(h, 0, 0, 0, 0, 0, 1, 0, 0, 1, data, BASE_TYPE_U8));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_GetBufDataEx(h, 0, 0, 0, 0, 0, 1, 1, -1, 1, data, BASE_TYPE_U8));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetBufDataEx, RefusesADataTypeOfAnotherElementSize) {
    int32_t h = make_buffer(3, 3, BASE_TYPE_U16);
    uint8_t data[32] = {};
    for (int32_t type : {int32_t{BASE_TYPE_S8}, int32_t{BASE_TYPE_U8}, int32_t{BASE_TYPE_S32}, 0, 5}) {
        EXPECT_HOST_ERROR(BASE_ERR_PIXEL_TYPE,
                          IPL_GetBufDataEx(h, 0, 0, 0, 0, 0, 1, 1, 0, 8, data, type));
    }
    EXPECT_EQ(IPL_GetBufDataEx(h, 0, 0, 0, 0, 0, 1, 1, 0, 8, data, BASE_TYPE_S16), 1);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetBufDataEx, RefusesARegionOutsideTheBlock) {
    int32_t h = make_buffer(3, 3, BASE_TYPE_U8, 2);
    uint8_t data[16] = {};
    const int32_t t = BASE_TYPE_U8;
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetBufDataEx(h, 1, 0, 0, 0, 0, 3, 1, 0, 4, data, t));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetBufDataEx(h, 0, 1, 0, 0, 0, 1, 3, 0, 4, data, t));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetBufDataEx(h, -1, 0, 0, 0, 0, 1, 1, 0, 4, data, t));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetBufDataEx(h, 0, 0, 2, 0, 0, 1, 1, 0, 4, data, t));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetBufDataEx(h, 0, 0, 0, 1, 0, 1, 1, 0, 4, data, t));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetBufDataEx(h, 0, 0, 0, 0, 1, 1, 1, 0, 4, data, t));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(GetBufDataEx, RefusesABufferWithoutPixelData) {
    int32_t h = make_buffer(3, 3, BASE_TYPE_U8, 1, 1, 1, BASE_ALLOC_NO_DATA);
    uint8_t data[9] = {};
    EXPECT_HOST_ERROR(BASE_ERR_REGION,
                      IPL_GetBufDataEx(h, 0, 0, 0, 0, 0, 3, 3, 0, 3, data, BASE_TYPE_U8));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

// ----------------------------------------------------------- IPL_PutBufDataEx

TEST_F(PutBufDataEx, CopiesFromCallerLinesAtDataXAndDataPitch) {
    int32_t h = make_buffer(4, 3);
    const uint8_t data[12] = {0, 0, 1, 2,  //
                              0, 0, 3, 4,  //
                              0, 0, 5, 6};
    ASSERT_EQ(IPL_PutBufDataEx(h, 1, 1, 0, 0, 0, 2, 2, 2, 4, data, BASE_TYPE_S8), 1);
    const std::vector<uint8_t> expected = {0, 0, 0, 0,  //
                                           0, 1, 2, 0,  //
                                           0, 3, 4, 0};
    EXPECT_EQ(read_u8(h), expected);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(PutBufDataEx, WritesTheChosenPlaneOfTheChosenBlock) {
    int32_t h = make_buffer(2, 2, BASE_TYPE_U8, 2, 2, 2);
    const uint8_t v = 42;
    ASSERT_EQ(IPL_PutBufDataEx(h, 1, 0, 1, 0, 1, 1, 1, 0, 1, &v, BASE_TYPE_U8), 1);
    for (int32_t p = 0; p < 2; ++p) {
        for (int32_t i = 0; i < 2; ++i) {
            for (int32_t j = 0; j < 2; ++j) {
                const bool chosen = p == 1 && i == 0 && j == 1;
                EXPECT_EQ(read_u8(h, p, i, j),
                          (std::vector<uint8_t>{0, uint8_t(chosen ? 42 : 0), 0, 0}));
            }
        }
    }
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(PutBufDataEx, RefusesAnUnknownHandle) {
    const uint8_t data[1] = {};
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER,
                      IPL_PutBufDataEx(-1, 0, 0, 0, 0, 0, 1, 1, 0, 1, data, BASE_TYPE_U8));
}

TEST_F(PutBufDataEx, RefusesArgumentsOutOfRange) {
    int32_t h = make_buffer(3, 3);
    const uint8_t data[9] = {};
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_PutBufDataEx(h, 0, 0, 0, 0, 0, 1, 1, 0, 1, nullptr, BASE_TYPE_U8));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_PutBufDataEx(h, 0, 0, 0, 0, 0, -1, 1, 0, 1, data, BASE_TYPE_U8));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_PutBufDataEx(h, 0, 0, 0, 0, 0, 1, 1, -2, 1, data, BASE_TYPE_U8));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(PutBufDataEx, RefusesADataTypeOfAnotherElementSize) {
    int32_t h = make_buffer(3, 3);
    const uint16_t data[1] = {0xFFFF};
    EXPECT_HOST_ERROR(BASE_ERR_PIXEL_TYPE,
                      IPL_PutBufDataEx(h, 0, 0, 0, 0, 0, 1, 1, 0, 2, data, BASE_TYPE_U16));
    EXPECT_EQ(read_u8(h)[0], 0);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(PutBufDataEx, RefusesARegionOutsideTheBlock) {
    int32_t h = make_buffer(3, 3);
    const uint8_t data[16] = {};
    EXPECT_HOST_ERROR(BASE_ERR_REGION,
                      IPL_PutBufDataEx(h, 2, 2, 0, 0, 0, 2, 2, 0, 2, data, BASE_TYPE_U8));
    EXPECT_HOST_ERROR(BASE_ERR_REGION,
                      IPL_PutBufDataEx(h, 0, 0, 1, 0, 0, 1, 1, 0, 2, data, BASE_TYPE_U8));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

// ------------------------------------------------------------- IPL_PutBufData

TEST_F(PutBufData, TakesPackedCallerLines) {
    int32_t h = make_buffer(3, 2, BASE_TYPE_U16, 1, 1, 1, BASE_ALLOC_ALIGN(32));
    const uint16_t data[4] = {1, 2, 3, 4};
    ASSERT_EQ(IPL_PutBufData(h, 1, 0, 0, 0, 0, 2, 2, data), 1);
    uint16_t back[6] = {};
    ASSERT_EQ(IPL_GetBufDataEx(h, 0, 0, 0, 0, 0, 3, 2, 0, 6, back, BASE_TYPE_U16), 1);
    const uint16_t expected[6] = {0, 1, 2, 0, 3, 4};
    EXPECT_EQ(std::memcmp(back, expected, sizeof back), 0);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(PutBufData, RefusesAnUnknownHandle) {
    const uint8_t data[1] = {};
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_PutBufData(-1, 0, 0, 0, 0, 0, 1, 1, data));
}

TEST_F(PutBufData, RefusesArgumentsOutOfRange) {
    int32_t h = make_buffer(3, 3);
    const uint8_t data[1] = {};
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_PutBufData(h, 0, 0, 0, 0, 0, 1, 1, nullptr));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_PutBufData(h, 0, 0, 0, 0, 0, 0, 1, data));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(PutBufData, RefusesARegionOutsideTheBlock) {
    int32_t h = make_buffer(3, 3);
    const uint8_t data[9] = {};
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_PutBufData(h, 0, 1, 0, 0, 0, 3, 3, data));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_PutBufData(h, 0, 0, 0, 0, 1, 1, 1, data));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

}  // namespace
