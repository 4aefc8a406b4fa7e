// Buffers of the image-buffer host: allocation, layout, children, freeing,
// attributes and the registry.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <set>
#include <thread>
#include <vector>

#include <ozu/base.h>

#include "base_test_support.h"

namespace {

using base_test::make_buffer;
using base_test::read_u8;

class BufAlloc : public base_test::BufferCountCheck {};
class BufAlloc1D : public base_test::BufferCountCheck {};
class BufAllocChild : public base_test::BufferCountCheck {};
class BufFree : public base_test::BufferCountCheck {};
class BufInquire : public base_test::BufferCountCheck {};
class BufControl : public base_test::BufferCountCheck {};
class Registry : public base_test::BufferCountCheck {};

int32_t attr(int32_t h, int32_t attribute) {
    int32_t value = -12345;
    EXPECT_EQ(IPL_BufInquire(h, attribute, &value), 1);
    return value;
}

// Pointer to the first pixel of a whole block.
uint8_t* block_pointer(int32_t h, int32_t plane, int32_t i, int32_t j, int32_t* pitch) {
    void* ptr = nullptr;
    EXPECT_EQ(IPL_GetPtr(h, BASE_MODE_READ, plane, i, j, pitch, &ptr), 1);
    return static_cast<uint8_t*>(ptr);
}

void release_block(int32_t h, int32_t plane, int32_t i, int32_t j, uint8_t* ptr) {
    EXPECT_EQ(IPL_ReleasePtr(h, BASE_MODE_READ, plane, i, j, ptr), 1);
}

// ---------------------------------------------------------------- IPL_BufAlloc

TEST_F(BufAlloc, CreatesABufferWithTheRequestedGeometry) {
    int32_t h = -1;
    ASSERT_EQ(IPL_BufAlloc(&h, 7, 5, 3, 2, 4, BASE_TYPE_S16, 15, 0), 1);
    EXPECT_GT(h, 0);
    EXPECT_EQ(attr(h, BASE_ATTR_WIDTH), 7);
    EXPECT_EQ(attr(h, BASE_ATTR_HEIGHT), 5);
    EXPECT_EQ(attr(h, BASE_ATTR_EXT2), 2);
    EXPECT_EQ(attr(h, BASE_ATTR_EXT3), 4);
    EXPECT_EQ(attr(h, BASE_ATTR_PLANES), 3);
    EXPECT_EQ(attr(h, BASE_ATTR_TYPE), BASE_TYPE_S16);
    EXPECT_EQ(attr(h, BASE_ATTR_KIND), 15);
    EXPECT_EQ(attr(h, BASE_ATTR_PITCH), 64);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufAlloc, FillsTheDescriptorOfANewBuffer) {
    int32_t h = make_buffer(100, 3, BASE_TYPE_U16, 3);
    const BASE_Buffer* d = BASE_GetAtBuffer(h);
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->handle, h);
    EXPECT_EQ(d->width, 100);
    EXPECT_EQ(d->height, 3);
    EXPECT_EQ(d->planes, 3);
    EXPECT_EQ(d->ext2, 1);
    EXPECT_EQ(d->ext3, 1);
    EXPECT_EQ(d->type, BASE_TYPE_U16);
    EXPECT_EQ(d->kind, BASE_KIND_IMAGE);
    EXPECT_EQ(d->pitch, 256);
    EXPECT_EQ(d->bitsPerSample, 16);
    EXPECT_EQ(d->dataPresent, 1);
    EXPECT_EQ(d->bayerParity, -1);
    const double neutral[7] = {1, 0, 1, 0, 1, 0, 1};
    for (int k = 0; k < 7; ++k) EXPECT_EQ(d->colorCorrection[k], neutral[k]) << k;
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufAlloc, GivesEveryPixelTypeItsElementSize) {
    const int32_t types[] = {BASE_TYPE_S8, BASE_TYPE_U8, BASE_TYPE_S16, BASE_TYPE_U16,
                             BASE_TYPE_S32};
    const int32_t bits[] = {8, 8, 16, 16, 32};
    for (int k = 0; k < 5; ++k) {
        int32_t h = make_buffer(3, 1, types[k], 1, 1, 1, BASE_ALLOC_ALIGN(1));
        EXPECT_EQ(BASE_GetAtBuffer(h)->bitsPerSample, bits[k]);
        EXPECT_EQ(attr(h, BASE_ATTR_PITCH), 3 * bits[k] / 8);
        EXPECT_EQ(IPL_BufFree(h), 1);
    }
}

TEST_F(BufAlloc, IgnoresTheIncomingHandleValue) {
    int32_t first = make_buffer(2, 2);
    int32_t h = first;
    ASSERT_EQ(IPL_BufAlloc(&h, 2, 2, 1, 1, 1, BASE_TYPE_U8, 1, 0), 1);
    EXPECT_NE(h, first);
    EXPECT_EQ(BASE_IsBufferExistent(first), 1);
    EXPECT_EQ(IPL_BufFree(h), 1);
    EXPECT_EQ(IPL_BufFree(first), 1);
}

TEST_F(BufAlloc, RefusesArgumentsOutOfRange) {
    int32_t h = -1;
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc(nullptr, 4, 4, 1, 1, 1, 2, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc(&h, 0, 4, 1, 1, 1, 2, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc(&h, -3, 4, 1, 1, 1, 2, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc(&h, 4, 0, 1, 1, 1, 2, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc(&h, 4, 4, 0, 1, 1, 2, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc(&h, 4, 4, 5, 1, 1, 2, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc(&h, 4, 4, 1, 0, 1, 2, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc(&h, 4, 4, 1, 1, 0, 2, 1, 0));
    for (int32_t type : {0, 5, 7, -1}) {
        EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc(&h, 4, 4, 1, 1, 1, type, 1, 0));
    }
    // Flag bits other than bit 0 and the alignment field mean nothing.
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc(&h, 4, 4, 1, 1, 1, 2, 1, 2));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc(&h, 4, 4, 1, 1, 1, 2, 1, 1 << 24));
    EXPECT_EQ(h, -1);
}

TEST_F(BufAlloc, RefusesAPitchBeyondThirtyTwoBits) {
    int32_t h = -1;
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY,
                      IPL_BufAlloc(&h, std::numeric_limits<int32_t>::max(), 1, 1, 1, 1,
                                   BASE_TYPE_U16, 1, 0));
    EXPECT_EQ(h, -1);
}

TEST_F(BufAlloc, RefusesATotalSizeThatOverflows) {
    int32_t h = -1;
    // 2^16 x 2^16 pixels in 4 x 2^16 x 2^16 blocks: 2^66 bytes.
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY,
                      IPL_BufAlloc(&h, 65536, 65536, 4, 65536, 65536, BASE_TYPE_U8, 1, 0));
    // The same size check applies to a buffer without pixel memory.
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY, IPL_BufAlloc(&h, 65536, 65536, 4, 65536, 65536,
                                                    BASE_TYPE_U8, 1, BASE_ALLOC_NO_DATA));
    EXPECT_EQ(h, -1);
}

TEST_F(BufAlloc, ZeroFillsPixelMemory) {
    int32_t h = make_buffer(13, 9, BASE_TYPE_U8, 2, 2, 1);
    for (int32_t plane = 0; plane < 2; ++plane) {
        for (int32_t i = 0; i < 2; ++i) {
            for (uint8_t v : read_u8(h, plane, i, 0)) ASSERT_EQ(v, 0);
        }
    }
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufAlloc, StartsEveryLineOnA64ByteBoundaryByDefault) {
    int32_t h = make_buffer(65, 4, BASE_TYPE_U8, 2, 3, 1);
    EXPECT_EQ(attr(h, BASE_ATTR_PITCH), 128);
    for (int32_t plane = 0; plane < 2; ++plane) {
        for (int32_t i = 0; i < 3; ++i) {
            int32_t pitch = 0;
            uint8_t* p = block_pointer(h, plane, i, 0, &pitch);
            for (int32_t y = 0; y < 4; ++y) {
                EXPECT_EQ(reinterpret_cast<uintptr_t>(p + y * pitch) % 64, 0u);
            }
            release_block(h, plane, i, 0, p);
        }
    }
    EXPECT_EQ(IPL_BufFree(h), 1);
}

// An alignment that is no multiple of the element size pads the pitch to a
// multiple of both: a 16-bit buffer aligned to 3 bytes once had lines
// starting at odd addresses, read misaligned by every kernel.
TEST_F(BufAlloc, KeepsEveryLineOnAnElementBoundaryWhateverTheAlignment) {
    struct Case {
        int32_t align, width, type, pitch;
    } cases[] = {{3, 1, BASE_TYPE_S16, 6},  {3, 5, BASE_TYPE_U16, 12}, {1, 3, BASE_TYPE_U16, 6},
                 {5, 3, BASE_TYPE_S32, 20}, {6, 1, BASE_TYPE_S32, 12}, {7, 2, BASE_TYPE_S8, 7}};
    for (const Case& c : cases) {
        int32_t h = make_buffer(c.width, 3, c.type, 2, 1, 1, BASE_ALLOC_ALIGN(c.align));
        EXPECT_EQ(attr(h, BASE_ATTR_PITCH), c.pitch) << "alignment " << c.align;
        const int32_t element = BASE_GetAtBuffer(h)->bitsPerSample / 8;
        for (int32_t plane = 0; plane < 2; ++plane) {
            int32_t pitch = 0;
            uint8_t* p = block_pointer(h, plane, 0, 0, &pitch);
            for (int32_t y = 0; y < 3; ++y)
                EXPECT_EQ(reinterpret_cast<uintptr_t>(p + y * pitch) % uintptr_t(element), 0u)
                    << "alignment " << c.align << ", plane " << plane << ", line " << y;
            release_block(h, plane, 0, 0, p);
        }
        EXPECT_EQ(IPL_BufFree(h), 1);
    }
}

TEST_F(BufAlloc, PadsLinesToTheRequestedAlignment) {
    struct Case {
        int32_t align, width, type, pitch;
    } cases[] = {{16, 10, BASE_TYPE_U8, 16}, {1, 10, BASE_TYPE_U8, 10},
                 {3, 10, BASE_TYPE_U8, 12},  {1, 5, BASE_TYPE_S16, 10},
                 {8, 5, BASE_TYPE_S32, 24},  {256, 3, BASE_TYPE_U8, 256}};
    for (const Case& c : cases) {
        int32_t h = make_buffer(c.width, 3, c.type, 1, 1, 1, BASE_ALLOC_ALIGN(c.align));
        EXPECT_EQ(attr(h, BASE_ATTR_PITCH), c.pitch) << "alignment " << c.align;
        EXPECT_EQ(IPL_BufFree(h), 1);
    }
}

TEST_F(BufAlloc, AlignsLinesToALargePowerOfTwoAlignment) {
    int32_t h = make_buffer(3, 3, BASE_TYPE_U8, 1, 1, 1, BASE_ALLOC_ALIGN(256));
    int32_t pitch = 0;
    uint8_t* p = block_pointer(h, 0, 0, 0, &pitch);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 256, 0u);
    release_block(h, 0, 0, 0, p);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufAlloc, KeepsPaddedPitchSeparateFromWidth) {
    // Width 5, pitch 8: pixel (0, 1) lies 8 bytes after pixel (0, 0).
    int32_t h = make_buffer(5, 2, BASE_TYPE_U8, 1, 1, 1, BASE_ALLOC_ALIGN(8));
    const uint8_t data[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    ASSERT_EQ(IPL_PutBufData(h, 0, 0, 0, 0, 0, 5, 2, data), 1);
    int32_t pitch = 0;
    uint8_t* p = block_pointer(h, 0, 0, 0, &pitch);
    EXPECT_EQ(pitch, 8);
    EXPECT_EQ(p[5], 0);  // padding, never written
    EXPECT_EQ(p[8], 6);
    EXPECT_EQ(p[12], 10);
    release_block(h, 0, 0, 0, p);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufAlloc, FollowsThePixelsWithZeroedSlack) {
    // The last block is the last in memory; after its last line come a line
    // pitch plus 64 bytes that stay zero even when every pixel is written.
    int32_t h = make_buffer(10, 3, BASE_TYPE_U8, 2, 2, 2, BASE_ALLOC_ALIGN(16));
    for (int32_t plane = 0; plane < 2; ++plane) {
        for (int32_t i = 0; i < 2; ++i) {
            for (int32_t j = 0; j < 2; ++j) base_test::fill_u8(h, plane, i, j, [](int, int) {
                return 0xFF;
            });
        }
    }
    int32_t pitch = 0;
    uint8_t* p = block_pointer(h, 1, 1, 1, &pitch);
    ASSERT_EQ(pitch, 16);
    EXPECT_EQ(p[2 * pitch + 9], 0xFF);  // last pixel
    for (int32_t k = 3 * pitch; k < 4 * pitch + 64; ++k) ASSERT_EQ(p[k], 0) << k;
    release_block(h, 1, 1, 1, p);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufAlloc, MakesADescriptorWithoutPixelMemory) {
    int32_t h = make_buffer(9, 4, BASE_TYPE_U8, 1, 1, 1, BASE_ALLOC_NO_DATA);
    EXPECT_EQ(BASE_GetAtBuffer(h)->dataPresent, 0);
    EXPECT_EQ(attr(h, BASE_ATTR_WIDTH), 9);
    EXPECT_EQ(attr(h, BASE_ATTR_PITCH), 64);
    int32_t pitch = 0;
    void* ptr = nullptr;
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_GetPtr(h, BASE_MODE_READ, 0, 0, 0, &pitch, &ptr));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

// -------------------------------------------------------------- IPL_BufAlloc1D

TEST_F(BufAlloc1D, CreatesOneLineOfOnePlane) {
    int32_t h = -1;
    ASSERT_EQ(IPL_BufAlloc1D(&h, 256, BASE_TYPE_S32, BASE_KIND_TABLE, 0), 1);
    EXPECT_EQ(attr(h, BASE_ATTR_WIDTH), 256);
    EXPECT_EQ(attr(h, BASE_ATTR_HEIGHT), 1);
    EXPECT_EQ(attr(h, BASE_ATTR_PLANES), 1);
    EXPECT_EQ(attr(h, BASE_ATTR_EXT2), 1);
    EXPECT_EQ(attr(h, BASE_ATTR_EXT3), 1);
    EXPECT_EQ(attr(h, BASE_ATTR_TYPE), BASE_TYPE_S32);
    EXPECT_EQ(attr(h, BASE_ATTR_KIND), BASE_KIND_TABLE);
    EXPECT_EQ(attr(h, BASE_ATTR_PITCH), 1024);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufAlloc1D, RefusesArgumentsOutOfRange) {
    int32_t h = -1;
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc1D(nullptr, 4, BASE_TYPE_U8, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc1D(&h, 0, BASE_TYPE_U8, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc1D(&h, 4, 5, 1, 0));
    EXPECT_EQ(h, -1);
}

TEST_F(BufAlloc1D, RefusesALineTooLongForItsPitch) {
    int32_t h = -1;
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY,
                      IPL_BufAlloc1D(&h, std::numeric_limits<int32_t>::max(), BASE_TYPE_S32,
                                     BASE_KIND_TABLE, 0));
    EXPECT_EQ(h, -1);
}

// ------------------------------------------------- IPL_BufAllocChild / Child2D

TEST_F(BufAllocChild, IsAViewWithTheParentsTypeKindAndPitch) {
    int32_t parent = -1;
    ASSERT_EQ(IPL_BufAlloc(&parent, 20, 10, 3, 2, 2, BASE_TYPE_U8, 14, 0), 1);
    int32_t child = -1;
    ASSERT_EQ(IPL_BufAllocChild(&child, parent, 4, 3, 1, 1, 0, 6, 5, 2, 1, 2), 1);
    EXPECT_GT(child, 0);
    EXPECT_NE(child, parent);
    EXPECT_EQ(attr(child, BASE_ATTR_WIDTH), 6);
    EXPECT_EQ(attr(child, BASE_ATTR_HEIGHT), 5);
    EXPECT_EQ(attr(child, BASE_ATTR_PLANES), 2);
    EXPECT_EQ(attr(child, BASE_ATTR_EXT2), 1);
    EXPECT_EQ(attr(child, BASE_ATTR_EXT3), 2);
    EXPECT_EQ(attr(child, BASE_ATTR_TYPE), BASE_TYPE_U8);
    EXPECT_EQ(attr(child, BASE_ATTR_KIND), 14);
    EXPECT_EQ(attr(child, BASE_ATTR_PITCH), attr(parent, BASE_ATTR_PITCH));
    EXPECT_EQ(BASE_GetAtBuffer(child)->dataPresent, 1);
    EXPECT_EQ(IPL_BufFree(child), 1);
    EXPECT_EQ(IPL_BufFree(parent), 1);
}

TEST_F(BufAllocChild, SharesThePixelsOfItsParent) {
    int32_t parent = make_buffer(8, 6, BASE_TYPE_U8, 3, 2, 2);
    // Parent plane p, block (i, j) holds 100 p + 10 (2 i + j) + ... per pixel.
    for (int32_t p = 0; p < 3; ++p) {
        for (int32_t i = 0; i < 2; ++i) {
            for (int32_t j = 0; j < 2; ++j) {
                base_test::fill_u8(parent, p, i, j, [&](int x, int y) {
                    return 60 * p + 15 * (2 * i + j) + x + y;
                });
            }
        }
    }
    int32_t child = -1;
    ASSERT_EQ(IPL_BufAllocChild(&child, parent, 2, 1, 1, 1, 0, 3, 4, 2, 1, 2), 1);
    for (int32_t p = 0; p < 2; ++p) {
        for (int32_t j = 0; j < 2; ++j) {
            std::vector<uint8_t> seen = read_u8(child, p, 0, j);
            for (int32_t y = 0; y < 4; ++y) {
                for (int32_t x = 0; x < 3; ++x) {
                    ASSERT_EQ(seen[size_t(y) * 3 + x], 60 * (p + 1) + 15 * (2 + j) + (x + 2) + (y + 1))
                        << "plane " << p << " block " << j << " at " << x << "," << y;
                }
            }
        }
    }
    // A write through the child shows in the parent, and only there.
    const uint8_t mark = 0xAB;
    ASSERT_EQ(IPL_PutBufData(child, 2, 3, 1, 0, 1, 1, 1, &mark), 1);
    std::vector<uint8_t> after = read_u8(parent, 2, 1, 1);
    EXPECT_EQ(after[size_t(4) * 8 + 4], 0xAB);
    EXPECT_EQ(after[size_t(4) * 8 + 3], 60 * 2 + 15 * 3 + 3 + 4);
    EXPECT_EQ(IPL_BufFree(child), 1);
    EXPECT_EQ(IPL_BufFree(parent), 1);
}

TEST_F(BufAllocChild, SeesWritesToTheParent) {
    int32_t parent = make_buffer(8, 8);
    int32_t child = -1;
    ASSERT_EQ(IPL_BufAllocChild2D(&child, parent, 5, 6, 0, 0, 0, 3, 2), 1);
    const uint8_t v = 77;
    ASSERT_EQ(IPL_PutBufData(parent, 7, 7, 0, 0, 0, 1, 1, &v), 1);
    EXPECT_EQ(read_u8(child)[size_t(1) * 3 + 2], 77);
    EXPECT_EQ(IPL_BufFree(child), 1);
    EXPECT_EQ(IPL_BufFree(parent), 1);
}

TEST_F(BufAllocChild, TwoDimensionalFormTakesOnePlaneOfOneBlock) {
    int32_t parent = make_buffer(8, 8, BASE_TYPE_U16, 3, 2, 2);
    int32_t child = -1;
    ASSERT_EQ(IPL_BufAllocChild2D(&child, parent, 1, 2, 2, 1, 1, 4, 3), 1);
    EXPECT_EQ(attr(child, BASE_ATTR_WIDTH), 4);
    EXPECT_EQ(attr(child, BASE_ATTR_HEIGHT), 3);
    EXPECT_EQ(attr(child, BASE_ATTR_PLANES), 1);
    EXPECT_EQ(attr(child, BASE_ATTR_EXT2), 1);
    EXPECT_EQ(attr(child, BASE_ATTR_EXT3), 1);
    EXPECT_EQ(attr(child, BASE_ATTR_TYPE), BASE_TYPE_U16);
    const uint16_t v = 0xBEEF;
    ASSERT_EQ(IPL_PutBufData(child, 0, 0, 0, 0, 0, 1, 1, &v), 1);
    uint16_t back = 0;
    ASSERT_EQ(IPL_GetBufDataEx(parent, 1, 2, 2, 1, 1, 1, 1, 0, 2, &back, BASE_TYPE_U16), 1);
    EXPECT_EQ(back, 0xBEEF);
    EXPECT_EQ(IPL_BufFree(child), 1);
    EXPECT_EQ(IPL_BufFree(parent), 1);
}

TEST_F(BufAllocChild, ChildOfAChildAddsTheOffsets) {
    int32_t parent = make_buffer(10, 10);
    base_test::fill_u8(parent, 0, 0, 0, [](int x, int y) { return 10 * y + x; });
    int32_t child = -1, grandchild = -1;
    ASSERT_EQ(IPL_BufAllocChild2D(&child, parent, 2, 3, 0, 0, 0, 6, 6), 1);
    ASSERT_EQ(IPL_BufAllocChild2D(&grandchild, child, 1, 2, 0, 0, 0, 2, 2), 1);
    EXPECT_EQ(read_u8(grandchild), (std::vector<uint8_t>{53, 54, 63, 64}));
    EXPECT_HOST_ERROR(BASE_ERR_BUSY, IPL_BufFree(child));
    EXPECT_EQ(IPL_BufFree(grandchild), 1);
    EXPECT_EQ(IPL_BufFree(child), 1);
    EXPECT_EQ(IPL_BufFree(parent), 1);
}

TEST_F(BufAllocChild, CopiesTheParentsColourSpaceWhenSet) {
    int32_t parent = make_buffer(4, 4);
    int32_t unset = -1;
    ASSERT_EQ(IPL_BufAllocChild2D(&unset, parent, 0, 0, 0, 0, 0, 2, 2), 1);
    int32_t value = 0;
    EXPECT_HOST_ERROR(BASE_ERR_ATTRIBUTE, IPL_BufInquire(unset, BASE_ATTR_COLOR_SPACE, &value));

    int32_t space = 17;
    ASSERT_EQ(IPL_BufControl(parent, BASE_ATTR_COLOR_SPACE, &space), 1);
    int32_t set = -1;
    ASSERT_EQ(IPL_BufAllocChild2D(&set, parent, 1, 1, 0, 0, 0, 2, 2), 1);
    EXPECT_EQ(attr(set, BASE_ATTR_COLOR_SPACE), 17);
    // A copy, not a link: the child keeps its own value afterwards.
    int32_t other = 3;
    ASSERT_EQ(IPL_BufControl(set, BASE_ATTR_COLOR_SPACE, &other), 1);
    EXPECT_EQ(attr(parent, BASE_ATTR_COLOR_SPACE), 17);

    EXPECT_EQ(IPL_BufFree(set), 1);
    EXPECT_EQ(IPL_BufFree(unset), 1);
    EXPECT_EQ(IPL_BufFree(parent), 1);
}

TEST_F(BufAllocChild, OfADescriptorHasNoPixelsEither) {
    int32_t parent = make_buffer(4, 4, BASE_TYPE_U8, 1, 1, 1, BASE_ALLOC_NO_DATA);
    int32_t child = -1;
    ASSERT_EQ(IPL_BufAllocChild2D(&child, parent, 1, 1, 0, 0, 0, 2, 2), 1);
    EXPECT_EQ(BASE_GetAtBuffer(child)->dataPresent, 0);
    uint8_t data[4] = {};
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_PutBufData(child, 0, 0, 0, 0, 0, 2, 2, data));
    EXPECT_EQ(IPL_BufFree(child), 1);
    EXPECT_EQ(IPL_BufFree(parent), 1);
}

TEST_F(BufAllocChild, RefusesAnUnknownParent) {
    int32_t h = -1;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_BufAllocChild(&h, -1, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1));
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_BufAllocChild2D(&h, 0, 0, 0, 0, 0, 0, 1, 1));
    EXPECT_EQ(h, -1);
}

TEST_F(BufAllocChild, RefusesArgumentsOutOfRange) {
    int32_t parent = make_buffer(8, 8, BASE_TYPE_U8, 2, 2, 2);
    int32_t h = -1;
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_BufAllocChild(nullptr, parent, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAllocChild(&h, parent, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAllocChild(&h, parent, 0, 0, 0, 0, 0, 1, 0, 1, 1, 1));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAllocChild(&h, parent, 0, 0, 0, 0, 0, 1, 1, 0, 1, 1));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAllocChild(&h, parent, 0, 0, 0, 0, 0, 1, 1, 1, 0, 1));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAllocChild(&h, parent, 0, 0, 0, 0, 0, 1, 1, 1, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAllocChild2D(&h, parent, 0, 0, 0, 0, 0, 1, -1));
    EXPECT_EQ(h, -1);
    EXPECT_EQ(IPL_BufFree(parent), 1);
}

TEST_F(BufAllocChild, RefusesARegionOutsideTheParent) {
    int32_t parent = make_buffer(8, 6, BASE_TYPE_U8, 2, 2, 3);
    int32_t h = -1;
    // Rectangle.
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_BufAllocChild2D(&h, parent, -1, 0, 0, 0, 0, 2, 2));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_BufAllocChild2D(&h, parent, 0, -1, 0, 0, 0, 2, 2));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_BufAllocChild2D(&h, parent, 7, 0, 0, 0, 0, 2, 2));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_BufAllocChild2D(&h, parent, 0, 5, 0, 0, 0, 2, 2));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_BufAllocChild2D(&h, parent, 0, 0, 0, 0, 0, 9, 1));
    EXPECT_HOST_ERROR(BASE_ERR_REGION,
                      IPL_BufAllocChild2D(&h, parent, 1, 0, 0, 0, 0,
                                          std::numeric_limits<int32_t>::max(), 1));
    // Planes and blocks.
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_BufAllocChild2D(&h, parent, 0, 0, 2, 0, 0, 1, 1));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_BufAllocChild2D(&h, parent, 0, 0, -1, 0, 0, 1, 1));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_BufAllocChild2D(&h, parent, 0, 0, 0, 2, 0, 1, 1));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_BufAllocChild2D(&h, parent, 0, 0, 0, 0, 3, 1, 1));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_BufAllocChild(&h, parent, 0, 0, 1, 0, 0, 1, 1, 2, 1, 1));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_BufAllocChild(&h, parent, 0, 0, 0, 1, 0, 1, 1, 1, 2, 1));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_BufAllocChild(&h, parent, 0, 0, 0, 0, 1, 1, 1, 1, 1, 3));
    EXPECT_EQ(h, -1);
    // The whole parent is inside.
    ASSERT_EQ(IPL_BufAllocChild(&h, parent, 0, 0, 0, 0, 0, 8, 6, 2, 2, 3), 1);
    EXPECT_EQ(IPL_BufFree(h), 1);
    EXPECT_EQ(IPL_BufFree(parent), 1);
}

// ----------------------------------------------------------------- IPL_BufFree

TEST_F(BufFree, ForgetsTheHandle) {
    const int32_t before = BASE_BufferCount();
    int32_t h = make_buffer(3, 3);
    EXPECT_EQ(BASE_BufferCount(), before + 1);
    EXPECT_EQ(IPL_BufFree(h), 1);
    EXPECT_EQ(BASE_BufferCount(), before);
    EXPECT_EQ(BASE_IsBufferExistent(h), 0);
    EXPECT_EQ(BASE_GetAtBuffer(h), nullptr);
}

TEST_F(BufFree, RefusesAnUnknownHandle) {
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_BufFree(-1));
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_BufFree(0));
    int32_t h = make_buffer(3, 3);
    ASSERT_EQ(IPL_BufFree(h), 1);
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_BufFree(h));
}

TEST_F(BufFree, RefusesALockedBufferInEitherMode) {
    int32_t h = make_buffer(3, 3);
    for (int32_t mode : {BASE_MODE_READ, BASE_MODE_WRITE}) {
        ASSERT_EQ(IPL_BufLock(h, mode), 1);
        EXPECT_HOST_ERROR(BASE_ERR_BUSY, IPL_BufFree(h));
        EXPECT_EQ(BASE_IsBufferExistent(h), 1);
        ASSERT_EQ(IPL_BufUnlock(h, mode), 1);
    }
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufFree, RefusesABufferWithAPointerOut) {
    int32_t h = make_buffer(3, 3);
    int32_t pitch = 0;
    void* ptr = nullptr;
    ASSERT_EQ(IPL_GetPtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 2, 2, &pitch, &ptr), 1);
    EXPECT_HOST_ERROR(BASE_ERR_BUSY, IPL_BufFree(h));
    ASSERT_EQ(IPL_ReleasePtrEx(h, BASE_MODE_READ, 0, 0, 0, 0, 0, 2, 2, ptr), 1);
    // A staging area pins the buffer too.
    ASSERT_EQ(IPL_GetPtrEx(h, BASE_MODE_WRITE, 2, 2, 0, 0, 0, 4, 4, &pitch, &ptr), 1);
    EXPECT_HOST_ERROR(BASE_ERR_BUSY, IPL_BufFree(h));
    ASSERT_EQ(IPL_ReleasePtrEx(h, BASE_MODE_WRITE, 2, 2, 0, 0, 0, 4, 4, ptr), 1);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufFree, RefusesAParentWithLiveChildren) {
    int32_t parent = make_buffer(4, 4);
    int32_t a = -1, b = -1;
    ASSERT_EQ(IPL_BufAllocChild2D(&a, parent, 0, 0, 0, 0, 0, 2, 2), 1);
    ASSERT_EQ(IPL_BufAllocChild2D(&b, parent, 2, 2, 0, 0, 0, 2, 2), 1);
    EXPECT_HOST_ERROR(BASE_ERR_BUSY, IPL_BufFree(parent));
    EXPECT_EQ(IPL_BufFree(a), 1);
    EXPECT_HOST_ERROR(BASE_ERR_BUSY, IPL_BufFree(parent));
    EXPECT_EQ(IPL_BufFree(b), 1);
    EXPECT_EQ(IPL_BufFree(parent), 1);
}

// -------------------------------------------------------------- IPL_BufInquire

TEST_F(BufInquire, RefusesAnUnknownHandle) {
    int32_t value = 5;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_BufInquire(-1, BASE_ATTR_WIDTH, &value));
    EXPECT_EQ(value, 5);
}

TEST_F(BufInquire, RefusesANullValuePointer) {
    int32_t h = make_buffer(3, 3);
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufInquire(h, BASE_ATTR_WIDTH, nullptr));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufInquire, RefusesAnUnknownAttribute) {
    int32_t h = make_buffer(3, 3);
    int32_t value = 5;
    for (int32_t a : {-1, 8, 42, 44}) {
        EXPECT_HOST_ERROR(BASE_ERR_ATTRIBUTE, IPL_BufInquire(h, a, &value));
    }
    EXPECT_EQ(value, 5);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufInquire, ReportsAColourSpaceOnlyOnceItIsSet) {
    int32_t h = make_buffer(3, 3);
    int32_t value = 5;
    EXPECT_HOST_ERROR(BASE_ERR_ATTRIBUTE, IPL_BufInquire(h, BASE_ATTR_COLOR_SPACE, &value));
    EXPECT_EQ(value, 5);
    int32_t zero = 0;
    ASSERT_EQ(IPL_BufControl(h, BASE_ATTR_COLOR_SPACE, &zero), 1);
    ASSERT_EQ(IPL_BufInquire(h, BASE_ATTR_COLOR_SPACE, &value), 1);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

// -------------------------------------------------------------- IPL_BufControl

TEST_F(BufControl, RecordsTheColourSpace) {
    int32_t h = make_buffer(3, 3);
    int32_t space = 12;
    ASSERT_EQ(IPL_BufControl(h, BASE_ATTR_COLOR_SPACE, &space), 1);
    EXPECT_EQ(attr(h, BASE_ATTR_COLOR_SPACE), 12);
    space = -7;
    ASSERT_EQ(IPL_BufControl(h, BASE_ATTR_COLOR_SPACE, &space), 1);
    EXPECT_EQ(attr(h, BASE_ATTR_COLOR_SPACE), -7);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufControl, RefusesAnUnknownHandle) {
    int32_t space = 1;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_BufControl(12345678, BASE_ATTR_COLOR_SPACE, &space));
}

TEST_F(BufControl, RefusesANullValuePointer) {
    int32_t h = make_buffer(3, 3);
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufControl(h, BASE_ATTR_COLOR_SPACE, nullptr));
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(BufControl, RefusesEveryOtherAttribute) {
    int32_t h = make_buffer(3, 3);
    int32_t value = 9;
    for (int32_t a : {0, 1, 2, 3, 4, 5, 6, 7, 8, 42, -1}) {
        EXPECT_HOST_ERROR(BASE_ERR_ATTRIBUTE, IPL_BufControl(h, a, &value));
    }
    EXPECT_EQ(attr(h, BASE_ATTR_WIDTH), 3);
    EXPECT_EQ(attr(h, BASE_ATTR_PITCH), 64);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

// ------------------------------------------------------------------ registry

TEST_F(Registry, ExistenceTestRecordsNothing) {
    int32_t h = make_buffer(2, 2);
    IPL_SetErrorCode(4321);
    EXPECT_EQ(BASE_IsBufferExistent(h), 1);
    EXPECT_EQ(BASE_IsBufferExistent(-1), 0);
    EXPECT_EQ(BASE_IsBufferExistent(0), 0);
    EXPECT_EQ(BASE_IsBufferExistent(std::numeric_limits<int32_t>::max()), 0);
    EXPECT_EQ(IPL_GetErrorCode2(), 4321);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(Registry, DescriptorIsNullForAnUnknownHandle) {
    EXPECT_EQ(BASE_GetAtBuffer(-1), nullptr);
    EXPECT_EQ(BASE_GetAtBuffer(0), nullptr);
}

TEST_F(Registry, DescriptorKeepsWhatTheCallerWrites) {
    int32_t h = make_buffer(2, 2);
    BASE_Buffer* d = BASE_GetAtBuffer(h);
    ASSERT_NE(d, nullptr);
    d->bayerParity = 2;
    d->colorCorrection[3] = 0.5;
    EXPECT_EQ(BASE_GetAtBuffer(h), d);
    EXPECT_EQ(BASE_GetAtBuffer(h)->bayerParity, 2);
    EXPECT_EQ(BASE_GetAtBuffer(h)->colorCorrection[3], 0.5);
    EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(Registry, CountsLiveBuffers) {
    const int32_t before = BASE_BufferCount();
    int32_t a = make_buffer(2, 2);
    int32_t b = -1;
    ASSERT_EQ(IPL_BufAlloc1D(&b, 5, BASE_TYPE_U8, 1, 0), 1);
    int32_t c = -1;
    ASSERT_EQ(IPL_BufAllocChild2D(&c, a, 0, 0, 0, 0, 0, 1, 1), 1);
    EXPECT_EQ(BASE_BufferCount(), before + 3);
    EXPECT_EQ(IPL_BufFree(c), 1);
    EXPECT_EQ(IPL_BufFree(b), 1);
    EXPECT_EQ(IPL_BufFree(a), 1);
    EXPECT_EQ(BASE_BufferCount(), before);
}

TEST_F(Registry, GivesDistinctPositiveHandlesToLiveBuffers) {
    std::vector<int32_t> handles;
    std::set<int32_t> distinct;
    for (int k = 0; k < 50; ++k) {
        handles.push_back(make_buffer(1, 1));
        EXPECT_GT(handles.back(), 0);
        distinct.insert(handles.back());
    }
    EXPECT_EQ(distinct.size(), handles.size());
    for (int32_t h : handles) EXPECT_EQ(IPL_BufFree(h), 1);
}

TEST_F(Registry, SurvivesEightThreadsAllocatingAndFreeing) {
    const int32_t before = BASE_BufferCount();
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([t, &failures] {
            for (int round = 0; round < 100; ++round) {
                int32_t h = -1;
                if (IPL_BufAlloc(&h, 8 + t, 4, 1, 1, 1, BASE_TYPE_U8, 1, 0) != 1) {
                    ++failures;
                    continue;
                }
                int32_t child = -1;
                const uint8_t v = uint8_t(t * 16 + round % 16);
                uint8_t back = 0;
                if (IPL_BufAllocChild2D(&child, h, 1, 1, 0, 0, 0, 2, 2) != 1 ||
                    IPL_BufLock(h, BASE_MODE_WRITE) != 1 ||
                    IPL_PutBufData(child, 1, 1, 0, 0, 0, 1, 1, &v) != 1 ||
                    IPL_GetBufDataEx(h, 2, 2, 0, 0, 0, 1, 1, 0, 1, &back, BASE_TYPE_U8) != 1 ||
                    back != v || IPL_BufUnlock(h, BASE_MODE_WRITE) != 1 ||
                    IPL_BufFree(child) != 1) {
                    ++failures;
                }
                if (IPL_BufFree(h) != 1) ++failures;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(BASE_BufferCount(), before);
}

}  // namespace
