// Helpers for the tests of the image-buffer host (libozu_base).
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include <ozu/base.h>

// A failing host call returns 0 and leaves exactly `code` in the error slot.
// The slot is cleared first, so a code left by an earlier call cannot pass.
#define EXPECT_HOST_ERROR(code, call)                 \
    do {                                              \
        IPL_SetErrorCode(0);                          \
        EXPECT_EQ((call), 0);                         \
        EXPECT_EQ(IPL_GetErrorCode2(), (code));       \
    } while (0)

namespace base_test {

// Every test must free what it allocates: the live-buffer count at the end
// of a test equals the one at its start.
class BufferCountCheck : public ::testing::Test {
protected:
    void SetUp() override { start_ = BASE_BufferCount(); }
    void TearDown() override { EXPECT_EQ(BASE_BufferCount(), start_) << "buffers leaked"; }

private:
    int32_t start_ = 0;
};

// A new buffer, or -1 after a failed test assertion.
inline int32_t make_buffer(int32_t width, int32_t height, int32_t type = BASE_TYPE_U8,
                           int32_t planes = 1, int32_t ext2 = 1, int32_t ext3 = 1,
                           int32_t flags = 0) {
    int32_t h = -1;
    EXPECT_EQ(IPL_BufAlloc(&h, width, height, planes, ext2, ext3, type, BASE_KIND_IMAGE, flags),
              1);
    return h;
}

// Fills plane `plane` of block (i, j) of an 8-bit buffer with value(x, y).
template <class Value>
void fill_u8(int32_t h, int32_t plane, int32_t i, int32_t j, Value value) {
    int32_t width = 0, height = 0;
    ASSERT_EQ(IPL_BufInquire(h, BASE_ATTR_WIDTH, &width), 1);
    ASSERT_EQ(IPL_BufInquire(h, BASE_ATTR_HEIGHT, &height), 1);
    std::vector<uint8_t> data(size_t(width) * size_t(height));
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) data[size_t(y) * width + x] = uint8_t(value(x, y));
    }
    ASSERT_EQ(IPL_PutBufData(h, 0, 0, plane, i, j, width, height, data.data()), 1);
}

// Plane `plane` of block (i, j) of an 8-bit buffer, packed line by line.
inline std::vector<uint8_t> read_u8(int32_t h, int32_t plane = 0, int32_t i = 0, int32_t j = 0) {
    int32_t width = 0, height = 0;
    EXPECT_EQ(IPL_BufInquire(h, BASE_ATTR_WIDTH, &width), 1);
    EXPECT_EQ(IPL_BufInquire(h, BASE_ATTR_HEIGHT, &height), 1);
    std::vector<uint8_t> data(size_t(width) * size_t(height), 0xEE);
    EXPECT_EQ(IPL_GetBufDataEx(h, 0, 0, plane, i, j, width, height, 0, width, data.data(),
                               BASE_TYPE_U8),
              1);
    return data;
}

}  // namespace base_test
