// Point operations of the image-buffer host: the rescaling copy, the table
// mapping and the bitwise combinations of buffers.
#include <gtest/gtest.h>
#include <ozu/base.h>

#include <cstdint>
#include <vector>

#include "base_test_support.h"
#include "test_support.h"

namespace {

using ozu_test::attribute;
using ozu_test::Buffer;
using ozu_test::make_image;
using ozu_test::read_plane;
using ozu_test::write_plane;

class PtBufCopy : public base_test::BufferCountCheck {};
class PtLutMap : public base_test::BufferCountCheck {};
class PtToPoint : public base_test::BufferCountCheck {};

// A descriptor-only buffer: it exists, but holds no pixels.
int32_t make_descriptor(int32_t width, int32_t height, int32_t planes = 1,
                        int32_t type = BASE_TYPE_U8) {
    return make_image(width, height, planes, type, 1, 1, BASE_KIND_IMAGE, BASE_ALLOC_NO_DATA);
}

// A handle that names no buffer.
constexpr int32_t kNoSuchBuffer = 0x7FFF0000;

// Every block (plane, i, j) of a buffer filled with value(plane, i, j, x, y).
template <class T, class Value>
void fill_all(int32_t h, Value value) {
    const int32_t width = attribute(h, BASE_ATTR_WIDTH);
    const int32_t height = attribute(h, BASE_ATTR_HEIGHT);
    for (int32_t j = 0; j < attribute(h, BASE_ATTR_EXT3); ++j) {
        for (int32_t i = 0; i < attribute(h, BASE_ATTR_EXT2); ++i) {
            for (int32_t p = 0; p < attribute(h, BASE_ATTR_PLANES); ++p) {
                std::vector<T> data(size_t(width) * size_t(height));
                for (int32_t y = 0; y < height; ++y) {
                    for (int32_t x = 0; x < width; ++x) {
                        data[size_t(y) * width + x] = T(value(p, i, j, x, y));
                    }
                }
                write_plane<T>(h, p, data, i, j);
            }
        }
    }
}

// Every block of a buffer compared with expected(plane, i, j, x, y).
template <class T, class Value>
void expect_all(int32_t h, Value expected) {
    const int32_t width = attribute(h, BASE_ATTR_WIDTH);
    const int32_t height = attribute(h, BASE_ATTR_HEIGHT);
    for (int32_t j = 0; j < attribute(h, BASE_ATTR_EXT3); ++j) {
        for (int32_t i = 0; i < attribute(h, BASE_ATTR_EXT2); ++i) {
            for (int32_t p = 0; p < attribute(h, BASE_ATTR_PLANES); ++p) {
                const std::vector<T> data = read_plane<T>(h, p, i, j);
                for (int32_t y = 0; y < height; ++y) {
                    for (int32_t x = 0; x < width; ++x) {
                        ASSERT_EQ(int64_t(data[size_t(y) * width + x]),
                                  int64_t(T(expected(p, i, j, x, y))))
                            << "plane " << p << " block (" << i << ", " << j << ") at (" << x
                            << ", " << y << ")";
                    }
                }
            }
        }
    }
}

// A one-line buffer holding `values`.
template <class T>
int32_t line_of(const std::vector<T>& values, int32_t type) {
    const int32_t h = make_image(int32_t(values.size()), 1, 1, type);
    write_plane<T>(h, 0, values);
    return h;
}

// ================================================================ IPL_PtBufCopy

TEST_F(PtBufCopy, CopiesEqualTypesBitForBitIntoEveryBlock) {
    Buffer src(make_image(3, 2, 2, BASE_TYPE_S16, 2, 3));
    const auto value = [](int p, int i, int j, int x, int y) {
        return -20000 + 1000 * p + 300 * i + 70 * j + 10 * y + x;
    };
    fill_all<int16_t>(src.handle(), value);
    Buffer dst(make_image(3, 2, 2, BASE_TYPE_S16, 2, 3));
    int32_t handle = dst.handle();
    ASSERT_EQ(IPL_PtBufCopy(src.handle(), &handle, -1, -1, 0), 1);
    EXPECT_EQ(handle, dst.handle());
    expect_all<int16_t>(dst.handle(), value);
}

TEST_F(PtBufCopy, CreatesADestinationLikeTheSource) {
    Buffer src(make_image(4, 3, 3, BASE_TYPE_U16, 2, 2, 15));
    int32_t space = 16;
    ASSERT_EQ(IPL_BufControl(src.handle(), BASE_ATTR_COLOR_SPACE, &space), 1);
    const auto value = [](int p, int i, int j, int x, int y) {
        return 60000 + 1000 * p + 300 * i + 70 * j + 10 * y + x;
    };
    fill_all<uint16_t>(src.handle(), value);
    Buffer dst;
    ASSERT_EQ(IPL_PtBufCopy(src.handle(), dst.slot(), 65535, 65535, 0), 1);
    ASSERT_NE(dst.handle(), -1);
    EXPECT_NE(dst.handle(), src.handle());
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_WIDTH), 4);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_HEIGHT), 3);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_PLANES), 3);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_EXT2), 2);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_EXT3), 2);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_TYPE), BASE_TYPE_U16);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_KIND), 15);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_COLOR_SPACE), 16);
    expect_all<uint16_t>(dst.handle(), value);
}

TEST_F(PtBufCopy, CreatedDestinationHasNoColourSpaceWhenTheSourceHasNone) {
    Buffer src(make_image(2, 2, 1, BASE_TYPE_U8));
    Buffer dst;
    ASSERT_EQ(IPL_PtBufCopy(src.handle(), dst.slot(), -1, -1, 0), 1);
    int32_t space = -5;
    EXPECT_HOST_ERROR(BASE_ERR_ATTRIBUTE,
                      IPL_BufInquire(dst.handle(), BASE_ATTR_COLOR_SPACE, &space));
}

TEST_F(PtBufCopy, CopiesThirtyTwoBitBuffersBitForBit) {
    Buffer src(line_of<int32_t>({-2147483647 - 1, -1, 0, 2147483647}, BASE_TYPE_S32));
    Buffer dst;
    ASSERT_EQ(IPL_PtBufCopy(src.handle(), dst.slot(), -1, -1, 0), 1);
    EXPECT_EQ(read_plane<int32_t>(dst.handle(), 0),
              (std::vector<int32_t>{-2147483647 - 1, -1, 0, 2147483647}));
}

// Copies `values` of type S into a new one-line buffer of type D.
template <class S, class D>
std::vector<D> rescaled(const std::vector<S>& values) {
    Buffer src(line_of<S>(values, ozu::PixelTraits<S>::code));
    Buffer dst(make_image(int32_t(values.size()), 1, 1, ozu::PixelTraits<D>::code));
    int32_t handle = dst.handle();
    EXPECT_EQ(IPL_PtBufCopy(src.handle(), &handle, -1, -1, 0), 1);
    return read_plane<D>(dst.handle(), 0);
}

// d = clamp(round(v * dstMax / srcMax)), halves away from zero; each
// expectation is annotated with the exact quotient.
TEST_F(PtBufCopy, RescalesFromUnsigned8Bit) {
    // 1 * 127 / 255 = 0.498, 2 -> 0.996, 128 -> 63.749
    EXPECT_EQ((rescaled<uint8_t, int8_t>({255, 1, 2, 128})), (std::vector<int8_t>{127, 0, 1, 64}));
    // 1 * 32767 / 255 = 128.498, 2 -> 256.996
    EXPECT_EQ((rescaled<uint8_t, int16_t>({255, 1, 2, 0})),
              (std::vector<int16_t>{32767, 128, 257, 0}));
    // exactly v * 257
    EXPECT_EQ((rescaled<uint8_t, uint16_t>({0, 1, 255, 128})),
              (std::vector<uint16_t>{0, 257, 65535, 32896}));
}

TEST_F(PtBufCopy, RescalesFromSigned8Bit) {
    // -1 -> -2.008 clamped to 0, 1 -> 2.008, 63 -> 126.496, 64 -> 128.504
    EXPECT_EQ((rescaled<int8_t, uint8_t>({-1, 1, 63, 64, 127})),
              (std::vector<uint8_t>{0, 2, 126, 129, 255}));
    // -128 -> -33025.008 clamped to -32768, -1 -> -258.008 (away from zero)
    EXPECT_EQ((rescaled<int8_t, int16_t>({-128, -1, 1, 127})),
              (std::vector<int16_t>{-32768, -258, 258, 32767}));
    // 1 -> 516.024, -128 clamped to 0
    EXPECT_EQ((rescaled<int8_t, uint16_t>({127, 1, -128})), (std::vector<uint16_t>{65535, 516, 0}));
}

TEST_F(PtBufCopy, RescalesFromSigned16BitRoundingHalvesAwayFromZero) {
    // -200 -> -0.775 rounds to -1 (not 0), -100 -> -0.388 rounds to 0 (not
    // -1), -32768 -> -127.004
    EXPECT_EQ((rescaled<int16_t, int8_t>({-200, -100, 100, 200, -32768, 32767})),
              (std::vector<int8_t>{-1, 0, 0, 1, -127, 127}));
    // 64 -> 0.498, 65 -> 0.506, -1 clamped to 0
    EXPECT_EQ((rescaled<int16_t, uint8_t>({32767, 64, 65, -1})),
              (std::vector<uint8_t>{255, 0, 1, 0}));
    // -5 clamped to 0, 1 -> 2.00003
    EXPECT_EQ((rescaled<int16_t, uint16_t>({-5, 1, 32767})), (std::vector<uint16_t>{0, 2, 65535}));
}

TEST_F(PtBufCopy, RescalesFromUnsigned16Bit) {
    // 258 -> 0.49998, 259 -> 0.50192
    EXPECT_EQ((rescaled<uint16_t, int8_t>({258, 259, 65535})), (std::vector<int8_t>{0, 1, 127}));
    // 128 -> 0.498, 129 -> 0.502
    EXPECT_EQ((rescaled<uint16_t, uint8_t>({128, 129, 65535, 32896})),
              (std::vector<uint8_t>{0, 1, 255, 128}));
    // 1 -> 0.49999, 2 -> 0.99998
    EXPECT_EQ((rescaled<uint16_t, int16_t>({65535, 2, 1})), (std::vector<int16_t>{32767, 1, 0}));
}

TEST_F(PtBufCopy, RescalesEveryBlock) {
    Buffer src(make_image(2, 2, 3, BASE_TYPE_U8, 2, 2));
    fill_all<uint8_t>(src.handle(), [](int p, int i, int j, int x, int y) {
        return 40 * p + 20 * i + 10 * j + 2 * y + x;
    });
    Buffer dst(make_image(2, 2, 3, BASE_TYPE_U16, 2, 2));
    int32_t handle = dst.handle();
    ASSERT_EQ(IPL_PtBufCopy(src.handle(), &handle, -1, -1, 0), 1);
    expect_all<uint16_t>(dst.handle(), [](int p, int i, int j, int x, int y) {
        return 257 * (40 * p + 20 * i + 10 * j + 2 * y + x);
    });
}

TEST_F(PtBufCopy, CopiesOnlyTheCommonRegion) {
    Buffer src(make_image(4, 2, 1, BASE_TYPE_U8));
    fill_all<uint8_t>(src.handle(), [](int, int, int, int x, int y) { return 10 * y + x + 1; });
    Buffer dst(make_image(3, 3, 1, BASE_TYPE_U8));
    fill_all<uint8_t>(dst.handle(), [](int, int, int, int, int) { return 0x77; });
    int32_t handle = dst.handle();
    ASSERT_EQ(IPL_PtBufCopy(src.handle(), &handle, -1, -1, 0), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0),
              (std::vector<uint8_t>{1, 2, 3, 11, 12, 13, 0x77, 0x77, 0x77}));
}

TEST_F(PtBufCopy, LimitsTheRegionByMaxWidthAndMaxHeight) {
    Buffer src(make_image(4, 3, 1, BASE_TYPE_U8));
    fill_all<uint8_t>(src.handle(), [](int, int, int, int x, int y) { return 10 * y + x + 1; });
    Buffer dst(make_image(4, 3, 1, BASE_TYPE_U8));
    int32_t handle = dst.handle();
    ASSERT_EQ(IPL_PtBufCopy(src.handle(), &handle, 2, 1, 0), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0),
              (std::vector<uint8_t>{1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    // A limit above the buffers' size changes nothing.
    ASSERT_EQ(IPL_PtBufCopy(src.handle(), &handle, 65535, 65535, 0), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0),
              (std::vector<uint8_t>{1, 2, 3, 4, 11, 12, 13, 14, 21, 22, 23, 24}));
}

TEST_F(PtBufCopy, ZeroLimitCopiesNothing) {
    Buffer src(line_of<uint8_t>({5, 6}, BASE_TYPE_U8));
    Buffer dst(line_of<uint8_t>({1, 1}, BASE_TYPE_U8));
    int32_t handle = dst.handle();
    ASSERT_EQ(IPL_PtBufCopy(src.handle(), &handle, 0, -1, 0), 1);
    ASSERT_EQ(IPL_PtBufCopy(src.handle(), &handle, -1, 0, 0), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), (std::vector<uint8_t>{1, 1}));
}

TEST_F(PtBufCopy, CopiesABufferOntoItself) {
    Buffer buf(line_of<uint8_t>({9, 8, 7}, BASE_TYPE_U8));
    int32_t handle = buf.handle();
    ASSERT_EQ(IPL_PtBufCopy(buf.handle(), &handle, -1, -1, 0), 1);
    EXPECT_EQ(read_plane<uint8_t>(buf.handle(), 0), (std::vector<uint8_t>{9, 8, 7}));
}

// The destination is a view one line further down the source's memory:
// written line by line in place, line 1 would be overwritten before it is
// read.
TEST_F(PtBufCopy, ReadsTheSourceBeforeAnOverlappingDestinationIsWritten) {
    Buffer parent(make_image(1, 3, 1, BASE_TYPE_U8));
    write_plane<uint8_t>(parent.handle(), 0, {10, 20, 30});
    Buffer child;
    ASSERT_EQ(IPL_BufAllocChild2D(child.slot(), parent.handle(), 0, 1, 0, 0, 0, 1, 2), 1);
    int32_t handle = child.handle();
    ASSERT_EQ(IPL_PtBufCopy(parent.handle(), &handle, -1, -1, 0), 1);
    EXPECT_EQ(read_plane<uint8_t>(parent.handle(), 0), (std::vector<uint8_t>{10, 10, 20}));
}

TEST_F(PtBufCopy, RefusesUnknownBuffers) {
    Buffer src(make_image(2, 2, 1, BASE_TYPE_U8));
    int32_t handle = -1;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_PtBufCopy(kNoSuchBuffer, &handle, -1, -1, 0));
    EXPECT_EQ(handle, -1);
    handle = kNoSuchBuffer;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_PtBufCopy(src.handle(), &handle, -1, -1, 0));
}

TEST_F(PtBufCopy, RefusesANullDestinationAndUnknownFlags) {
    Buffer src(make_image(2, 2, 1, BASE_TYPE_U8));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_PtBufCopy(src.handle(), nullptr, -1, -1, 0));
    int32_t handle = -1;
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_PtBufCopy(src.handle(), &handle, -1, -1, 1));
    EXPECT_EQ(handle, -1);
}

TEST_F(PtBufCopy, RefusesBuffersWithoutPixelData) {
    Buffer empty(make_descriptor(2, 2));
    Buffer full(make_image(2, 2, 1, BASE_TYPE_U8));
    int32_t handle = -1;
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_PtBufCopy(empty.handle(), &handle, -1, -1, 0));
    EXPECT_EQ(handle, -1);
    handle = empty.handle();
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_PtBufCopy(full.handle(), &handle, -1, -1, 0));
}

TEST_F(PtBufCopy, RefusesDifferentPlanesOrExtents) {
    Buffer src(make_image(2, 2, 3, BASE_TYPE_U8, 2, 2));
    Buffer planes(make_image(2, 2, 1, BASE_TYPE_U8, 2, 2));
    Buffer ext2(make_image(2, 2, 3, BASE_TYPE_U8, 1, 2));
    Buffer ext3(make_image(2, 2, 3, BASE_TYPE_U8, 2, 3));
    for (int32_t h : {planes.handle(), ext2.handle(), ext3.handle()}) {
        int32_t handle = h;
        EXPECT_HOST_ERROR(BASE_ERR_GEOMETRY, IPL_PtBufCopy(src.handle(), &handle, -1, -1, 0));
    }
}

TEST_F(PtBufCopy, RefusesToRescaleThirtyTwoBitBuffers) {
    Buffer wide(make_image(2, 1, 1, BASE_TYPE_S32));
    Buffer narrow(make_image(2, 1, 1, BASE_TYPE_U8));
    int32_t handle = narrow.handle();
    EXPECT_HOST_ERROR(BASE_ERR_PIXEL_TYPE, IPL_PtBufCopy(wide.handle(), &handle, -1, -1, 0));
    handle = wide.handle();
    EXPECT_HOST_ERROR(BASE_ERR_PIXEL_TYPE, IPL_PtBufCopy(narrow.handle(), &handle, -1, -1, 0));
}

// ================================================================= IPL_PtLutMap

// A 256-entry table of `planes` planes whose plane p holds entry(p, v).
template <class T, class Entry>
int32_t table_256(int32_t type, int32_t planes, Entry entry) {
    int32_t h = -1;
    EXPECT_EQ(IPL_BufAlloc(&h, 256, 1, planes, 1, 1, type, BASE_KIND_TABLE, 0), 1);
    for (int32_t p = 0; p < planes; ++p) {
        std::vector<T> data(256);
        for (int v = 0; v < 256; ++v) data[size_t(v)] = T(entry(p, v));
        write_plane<T>(h, p, data);
    }
    return h;
}

TEST_F(PtLutMap, MapsEveryPlaneOfEveryBlockThroughItsOwnTablePlane) {
    Buffer src(make_image(3, 2, 3, BASE_TYPE_U8, 2, 2));
    const auto value = [](int p, int i, int j, int x, int y) {
        return 60 * p + 20 * i + 8 * j + 3 * y + x;
    };
    fill_all<uint8_t>(src.handle(), value);
    Buffer table(table_256<uint8_t>(BASE_TYPE_U8, 3, [](int p, int v) {
        return p == 0 ? v + 1 : p == 1 ? 255 - v : v / 2;
    }));
    Buffer dst;
    ASSERT_EQ(IPL_PtLutMap(src.handle(), -1, dst.slot(), table.handle()), 1);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_TYPE), BASE_TYPE_U8);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_PLANES), 3);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_EXT2), 2);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_EXT3), 2);
    expect_all<uint8_t>(dst.handle(), [&](int p, int i, int j, int x, int y) {
        const int v = value(p, i, j, x, y);
        return p == 0 ? v + 1 : p == 1 ? 255 - v : v / 2;
    });
    // The source is untouched.
    expect_all<uint8_t>(src.handle(), value);
}

TEST_F(PtLutMap, UsesTablePlaneZeroForPlanesTheTableLacks) {
    Buffer src(make_image(2, 1, 3, BASE_TYPE_U8));
    fill_all<uint8_t>(src.handle(), [](int p, int, int, int x, int) { return 10 * p + x; });
    Buffer table(table_256<uint8_t>(BASE_TYPE_U8, 2,
                                    [](int p, int v) { return p == 0 ? v + 100 : v + 200; }));
    Buffer dst;
    ASSERT_EQ(IPL_PtLutMap(src.handle(), -1, dst.slot(), table.handle()), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), (std::vector<uint8_t>{100, 101}));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 1), (std::vector<uint8_t>{210, 211}));
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 2), (std::vector<uint8_t>{120, 121}));
}

TEST_F(PtLutMap, MapsOnePlaneAndLeavesTheOthersOfAnExistingDestination) {
    Buffer src(make_image(2, 1, 3, BASE_TYPE_U8, 2, 1));
    fill_all<uint8_t>(src.handle(),
                      [](int p, int i, int, int x, int) { return 10 * p + 5 * i + x; });
    Buffer table(table_256<uint8_t>(BASE_TYPE_U8, 3, [](int p, int v) { return v + 100 * p; }));
    Buffer dst(make_image(2, 1, 3, BASE_TYPE_U8, 2, 1));
    fill_all<uint8_t>(dst.handle(), [](int, int, int, int, int) { return 9; });
    int32_t handle = dst.handle();
    ASSERT_EQ(IPL_PtLutMap(src.handle(), 1, &handle, table.handle()), 1);
    expect_all<uint8_t>(dst.handle(),
                        [](int p, int i, int, int x, int) { return p == 1 ? 110 + 5 * i + x : 9; });
}

TEST_F(PtLutMap, NewDestinationCopiesTheSourceInPlanesNotMapped) {
    Buffer src(make_image(2, 1, 2, BASE_TYPE_S8, 1, 2, 14));
    int32_t space = 8;
    ASSERT_EQ(IPL_BufControl(src.handle(), BASE_ATTR_COLOR_SPACE, &space), 1);
    fill_all<int8_t>(src.handle(),
                     [](int p, int, int j, int x, int) { return -10 * p - 3 * j - x; });
    Buffer table(table_256<uint8_t>(BASE_TYPE_U8, 1, [](int, int v) { return v ^ 0x80; }));
    Buffer dst;
    ASSERT_EQ(IPL_PtLutMap(src.handle(), 0, dst.slot(), table.handle()), 1);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_TYPE), BASE_TYPE_S8);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_KIND), 14);
    EXPECT_EQ(attribute(dst.handle(), BASE_ATTR_COLOR_SPACE), 8);
    // Plane 0: 0 -> 0x80 = -128, -3 (0xFD) -> 0x7D = 125, -1 -> 0x7F, -4 -> 0x7C.
    EXPECT_EQ(read_plane<int8_t>(dst.handle(), 0, 0, 0), (std::vector<int8_t>{-128, 127}));
    EXPECT_EQ(read_plane<int8_t>(dst.handle(), 0, 0, 1), (std::vector<int8_t>{125, 124}));
    EXPECT_EQ(read_plane<int8_t>(dst.handle(), 1, 0, 0), (std::vector<int8_t>{-10, -11}));
    EXPECT_EQ(read_plane<int8_t>(dst.handle(), 1, 0, 1), (std::vector<int8_t>{-13, -14}));
}

TEST_F(PtLutMap, MapsInPlace) {
    Buffer buf(make_image(3, 2, 2, BASE_TYPE_U8, 1, 2));
    fill_all<uint8_t>(buf.handle(),
                      [](int p, int, int j, int x, int y) { return 100 * p + 10 * j + 3 * y + x; });
    Buffer table(
        table_256<uint8_t>(BASE_TYPE_U8, 2, [](int p, int v) { return p == 0 ? 2 * v : v - 100; }));
    int32_t handle = buf.handle();
    ASSERT_EQ(IPL_PtLutMap(buf.handle(), -1, &handle, table.handle()), 1);
    EXPECT_EQ(handle, buf.handle());
    expect_all<uint8_t>(buf.handle(), [](int p, int, int j, int x, int y) {
        return p == 0 ? 2 * (10 * j + 3 * y + x) : 10 * j + 3 * y + x;
    });
}

// The entries are converted before any pixel is written: a table mapped
// through itself sees its old entries. 255 - (255 - v) = v.
TEST_F(PtLutMap, MapsATableThroughItselfWithItsOldEntries) {
    Buffer table(table_256<uint8_t>(BASE_TYPE_U8, 1, [](int, int v) { return 255 - v; }));
    int32_t handle = table.handle();
    ASSERT_EQ(IPL_PtLutMap(table.handle(), -1, &handle, table.handle()), 1);
    const std::vector<uint8_t> entries = read_plane<uint8_t>(table.handle(), 0);
    for (int v = 0; v < 256; ++v) ASSERT_EQ(entries[size_t(v)], v);
}

// The destination is the source's memory one column to the right.
TEST_F(PtLutMap, ReadsTheSourceBeforeAnOverlappingDestinationIsWritten) {
    Buffer parent(line_of<uint8_t>({1, 2, 3, 4}, BASE_TYPE_U8));
    Buffer left;
    Buffer right;
    ASSERT_EQ(IPL_BufAllocChild2D(left.slot(), parent.handle(), 0, 0, 0, 0, 0, 3, 1), 1);
    ASSERT_EQ(IPL_BufAllocChild2D(right.slot(), parent.handle(), 1, 0, 0, 0, 0, 3, 1), 1);
    Buffer table(table_256<uint8_t>(BASE_TYPE_U8, 1, [](int, int v) { return 10 * v; }));
    int32_t handle = right.handle();
    ASSERT_EQ(IPL_PtLutMap(left.handle(), -1, &handle, table.handle()), 1);
    EXPECT_EQ(read_plane<uint8_t>(parent.handle(), 0), (std::vector<uint8_t>{1, 10, 20, 30}));
}

TEST_F(PtLutMap, IndexesSigned8BitPixelsByTheirBitPattern) {
    Buffer src(line_of<int8_t>({-128, -1, 0, 127}, BASE_TYPE_S8));
    Buffer table(table_256<uint8_t>(BASE_TYPE_U8, 1, [](int, int v) { return v; }));
    Buffer dst(make_image(4, 1, 1, BASE_TYPE_U8));
    int32_t handle = dst.handle();
    ASSERT_EQ(IPL_PtLutMap(src.handle(), -1, &handle, table.handle()), 1);
    EXPECT_EQ(read_plane<uint8_t>(dst.handle(), 0), (std::vector<uint8_t>{128, 255, 0, 127}));
}

// A 65536-entry table of type T whose entry v is entry(v).
template <class T, class Entry>
int32_t table_65536(int32_t type, Entry entry) {
    int32_t h = -1;
    EXPECT_EQ(IPL_BufAlloc1D(&h, 65536, type, BASE_KIND_TABLE, 0), 1);
    std::vector<T> data(65536);
    for (int v = 0; v < 65536; ++v) data[size_t(v)] = T(entry(v));
    write_plane<T>(h, 0, data);
    return h;
}

TEST_F(PtLutMap, MapsSixteenBitPixelsThroughA65536EntryTable) {
    Buffer src(make_image(2, 1, 2, BASE_TYPE_U16, 2, 1));
    fill_all<uint16_t>(src.handle(), [](int p, int i, int, int x, int) {
        return 30000 * p + 1000 * i + 65534 * x;
    });
    Buffer table(table_65536<uint16_t>(BASE_TYPE_U16, [](int v) { return 65535 - v; }));
    Buffer dst;
    ASSERT_EQ(IPL_PtLutMap(src.handle(), -1, dst.slot(), table.handle()), 1);
    expect_all<uint16_t>(dst.handle(), [](int p, int i, int, int x, int) {
        return 65535 - uint16_t(30000 * p + 1000 * i + 65534 * x);
    });
}

TEST_F(PtLutMap, IndexesSigned16BitPixelsByTheirBitPattern) {
    Buffer src(line_of<int16_t>({-32768, -1, 0, 32767}, BASE_TYPE_S16));
    Buffer table(table_65536<int32_t>(BASE_TYPE_S32, [](int v) { return v; }));
    Buffer dst(make_image(4, 1, 1, BASE_TYPE_S32));
    int32_t handle = dst.handle();
    ASSERT_EQ(IPL_PtLutMap(src.handle(), -1, &handle, table.handle()), 1);
    EXPECT_EQ(read_plane<int32_t>(dst.handle(), 0), (std::vector<int32_t>{32768, 65535, 0, 32767}));
}

// Entries of the destination's element width go over bit for bit.
TEST_F(PtLutMap, StoresEntriesOfTheSameWidthBitForBit) {
    Buffer src(line_of<uint8_t>({0, 1, 2}, BASE_TYPE_U8));
    Buffer table(table_256<uint8_t>(BASE_TYPE_U8, 1, [](int, int v) { return 200 + 27 * v; }));
    Buffer dst(make_image(3, 1, 1, BASE_TYPE_S8));
    int32_t handle = dst.handle();
    ASSERT_EQ(IPL_PtLutMap(src.handle(), -1, &handle, table.handle()), 1);
    // 200 = 0xC8 -> -56, 227 -> -29, 254 -> -2
    EXPECT_EQ(read_plane<int8_t>(dst.handle(), 0), (std::vector<int8_t>{-56, -29, -2}));
}

// Entries of another width keep their value, clamped into the destination.
TEST_F(PtLutMap, StoresEntriesOfAnotherWidthByClampedValue) {
    Buffer src(line_of<uint8_t>({0, 1, 2, 3}, BASE_TYPE_U8));
    Buffer wide(table_256<int16_t>(BASE_TYPE_S16, 1, [](int, int v) {
        const int16_t entries[4] = {-5, 7, 300, 255};
        return v < 4 ? entries[v] : 0;
    }));
    Buffer u8(make_image(4, 1, 1, BASE_TYPE_U8));
    int32_t handle = u8.handle();
    ASSERT_EQ(IPL_PtLutMap(src.handle(), -1, &handle, wide.handle()), 1);
    EXPECT_EQ(read_plane<uint8_t>(u8.handle(), 0), (std::vector<uint8_t>{0, 7, 255, 255}));

    Buffer narrow(table_256<uint8_t>(BASE_TYPE_U8, 1, [](int, int v) { return 250 + v; }));
    Buffer u16(make_image(4, 1, 1, BASE_TYPE_U16));
    handle = u16.handle();
    ASSERT_EQ(IPL_PtLutMap(src.handle(), -1, &handle, narrow.handle()), 1);
    EXPECT_EQ(read_plane<uint16_t>(u16.handle(), 0), (std::vector<uint16_t>{250, 251, 252, 253}));

    Buffer s32(table_256<int32_t>(BASE_TYPE_S32, 1, [](int, int v) {
        const int32_t entries[4] = {100000, -100000, -7, 32767};
        return v < 4 ? entries[v] : 0;
    }));
    Buffer s16(make_image(4, 1, 1, BASE_TYPE_S16));
    handle = s16.handle();
    ASSERT_EQ(IPL_PtLutMap(src.handle(), -1, &handle, s32.handle()), 1);
    EXPECT_EQ(read_plane<int16_t>(s16.handle(), 0),
              (std::vector<int16_t>{32767, -32768, -7, 32767}));
}

TEST_F(PtLutMap, RefusesUnknownBuffers) {
    Buffer src(make_image(2, 1, 1, BASE_TYPE_U8));
    Buffer table(table_256<uint8_t>(BASE_TYPE_U8, 1, [](int, int v) { return v; }));
    int32_t handle = -1;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_PtLutMap(kNoSuchBuffer, -1, &handle, table.handle()));
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_PtLutMap(src.handle(), -1, &handle, kNoSuchBuffer));
    EXPECT_EQ(handle, -1);
    handle = kNoSuchBuffer;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_PtLutMap(src.handle(), -1, &handle, table.handle()));
}

TEST_F(PtLutMap, RefusesANullDestinationAndPlanesOutOfRange) {
    Buffer src(make_image(2, 1, 3, BASE_TYPE_U8));
    Buffer table(table_256<uint8_t>(BASE_TYPE_U8, 1, [](int, int v) { return v; }));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_PtLutMap(src.handle(), -1, nullptr, table.handle()));
    int32_t handle = -1;
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_PtLutMap(src.handle(), -2, &handle, table.handle()));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_PtLutMap(src.handle(), 3, &handle, table.handle()));
    EXPECT_EQ(handle, -1);
    EXPECT_EQ(IPL_PtLutMap(src.handle(), 2, &handle, table.handle()), 1);
    EXPECT_EQ(IPL_BufFree(handle), 1);
}

TEST_F(PtLutMap, RefusesBuffersWithoutPixelData) {
    Buffer src(make_image(2, 1, 1, BASE_TYPE_U8));
    Buffer table(table_256<uint8_t>(BASE_TYPE_U8, 1, [](int, int v) { return v; }));
    Buffer emptySrc(make_descriptor(2, 1));
    Buffer emptyTable(make_descriptor(256, 1));
    Buffer emptyDst(make_descriptor(2, 1));
    int32_t handle = -1;
    EXPECT_HOST_ERROR(BASE_ERR_REGION,
                      IPL_PtLutMap(emptySrc.handle(), -1, &handle, table.handle()));
    EXPECT_HOST_ERROR(BASE_ERR_REGION,
                      IPL_PtLutMap(src.handle(), -1, &handle, emptyTable.handle()));
    handle = emptyDst.handle();
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_PtLutMap(src.handle(), -1, &handle, table.handle()));
}

TEST_F(PtLutMap, RefusesATableOfTheWrongWidthAndThirtyTwoBitSources) {
    Buffer src8(make_image(2, 1, 1, BASE_TYPE_S8));
    Buffer src16(make_image(2, 1, 1, BASE_TYPE_U16));
    Buffer src32(make_image(2, 1, 1, BASE_TYPE_S32));
    Buffer table256(table_256<uint8_t>(BASE_TYPE_U8, 1, [](int, int v) { return v; }));
    Buffer table255(make_image(255, 1, 1, BASE_TYPE_U8));
    Buffer table65536(table_65536<uint16_t>(BASE_TYPE_U16, [](int v) { return v; }));
    int32_t handle = -1;
    EXPECT_HOST_ERROR(BASE_ERR_PIXEL_TYPE,
                      IPL_PtLutMap(src8.handle(), -1, &handle, table255.handle()));
    EXPECT_HOST_ERROR(BASE_ERR_PIXEL_TYPE,
                      IPL_PtLutMap(src8.handle(), -1, &handle, table65536.handle()));
    EXPECT_HOST_ERROR(BASE_ERR_PIXEL_TYPE,
                      IPL_PtLutMap(src16.handle(), -1, &handle, table256.handle()));
    EXPECT_HOST_ERROR(BASE_ERR_PIXEL_TYPE,
                      IPL_PtLutMap(src32.handle(), -1, &handle, table256.handle()));
    EXPECT_EQ(handle, -1);
}

TEST_F(PtLutMap, RefusesADestinationOfOtherGeometry) {
    Buffer src(make_image(2, 2, 2, BASE_TYPE_U8, 2, 2));
    Buffer table(table_256<uint8_t>(BASE_TYPE_U8, 1, [](int, int v) { return v; }));
    Buffer width(make_image(3, 2, 2, BASE_TYPE_U8, 2, 2));
    Buffer height(make_image(2, 1, 2, BASE_TYPE_U8, 2, 2));
    Buffer planes(make_image(2, 2, 1, BASE_TYPE_U8, 2, 2));
    Buffer ext2(make_image(2, 2, 2, BASE_TYPE_U8, 1, 2));
    Buffer ext3(make_image(2, 2, 2, BASE_TYPE_U8, 2, 1));
    for (int32_t h :
         {width.handle(), height.handle(), planes.handle(), ext2.handle(), ext3.handle()}) {
        int32_t handle = h;
        EXPECT_HOST_ERROR(BASE_ERR_GEOMETRY,
                          IPL_PtLutMap(src.handle(), -1, &handle, table.handle()));
    }
}

// ================================================================ IPL_PtToPoint

constexpr int32_t kOr = 6;
constexpr int32_t kAnd = 7;
constexpr int32_t kNot = 50;

TEST_F(PtToPoint, CombinesEveryBlockBitwise) {
    Buffer a(make_image(2, 2, 2, BASE_TYPE_U8, 2, 2));
    Buffer b(make_image(2, 2, 2, BASE_TYPE_U8, 2, 2));
    const auto va = [](int p, int i, int j, int x, int y) {
        return 0xF0 ^ (p << 3) ^ (i << 2) ^ (j << 1) ^ (2 * y + x);
    };
    const auto vb = [](int p, int i, int j, int x, int y) {
        return 0x3C + 64 * p + 16 * i + 4 * j + 2 * y + x;
    };
    fill_all<uint8_t>(a.handle(), va);
    fill_all<uint8_t>(b.handle(), vb);
    Buffer orResult;
    Buffer andResult;
    Buffer notResult;
    ASSERT_EQ(IPL_PtToPoint(a.handle(), b.handle(), orResult.slot(), kOr), 1);
    ASSERT_EQ(IPL_PtToPoint(a.handle(), b.handle(), andResult.slot(), kAnd), 1);
    ASSERT_EQ(IPL_PtToPoint(a.handle(), -1, notResult.slot(), kNot), 1);
    expect_all<uint8_t>(orResult.handle(), [&](int p, int i, int j, int x, int y) {
        return va(p, i, j, x, y) | vb(p, i, j, x, y);
    });
    expect_all<uint8_t>(andResult.handle(), [&](int p, int i, int j, int x, int y) {
        return va(p, i, j, x, y) & vb(p, i, j, x, y);
    });
    expect_all<uint8_t>(notResult.handle(), [&](int p, int i, int j, int x, int y) {
        return ~va(p, i, j, x, y) & 0xFF;
    });
}

TEST_F(PtToPoint, CombinesMasksOfZeroAnd255) {
    Buffer a(line_of<uint8_t>({0, 0, 255, 255}, BASE_TYPE_U8));
    Buffer b(line_of<uint8_t>({0, 255, 0, 255}, BASE_TYPE_U8));
    Buffer orResult;
    Buffer andResult;
    Buffer notResult;
    ASSERT_EQ(IPL_PtToPoint(a.handle(), b.handle(), orResult.slot(), kOr), 1);
    ASSERT_EQ(IPL_PtToPoint(a.handle(), b.handle(), andResult.slot(), kAnd), 1);
    ASSERT_EQ(IPL_PtToPoint(a.handle(), -1, notResult.slot(), kNot), 1);
    EXPECT_EQ(read_plane<uint8_t>(orResult.handle(), 0), (std::vector<uint8_t>{0, 255, 255, 255}));
    EXPECT_EQ(read_plane<uint8_t>(andResult.handle(), 0), (std::vector<uint8_t>{0, 0, 0, 255}));
    EXPECT_EQ(read_plane<uint8_t>(notResult.handle(), 0), (std::vector<uint8_t>{255, 255, 0, 0}));
}

TEST_F(PtToPoint, CreatesAResultLikeTheFirstOperand) {
    Buffer a(make_image(2, 1, 1, BASE_TYPE_S8, 1, 1, 14));
    int32_t space = 4;
    ASSERT_EQ(IPL_BufControl(a.handle(), BASE_ATTR_COLOR_SPACE, &space), 1);
    Buffer b(make_image(2, 1, 1, BASE_TYPE_U8));
    Buffer result;
    ASSERT_EQ(IPL_PtToPoint(a.handle(), b.handle(), result.slot(), kOr), 1);
    EXPECT_EQ(attribute(result.handle(), BASE_ATTR_TYPE), BASE_TYPE_S8);
    EXPECT_EQ(attribute(result.handle(), BASE_ATTR_KIND), 14);
    EXPECT_EQ(attribute(result.handle(), BASE_ATTR_COLOR_SPACE), 4);
}

// Signed and unsigned buffers of one element width mix: the operations see
// bit patterns.
TEST_F(PtToPoint, MixesSignedAndUnsignedSixteenBitOperands) {
    Buffer a(line_of<int16_t>({-1, 0x1234, -32768}, BASE_TYPE_S16));
    Buffer b(line_of<uint16_t>({0x00FF, 0xF0F0, 0x8001}, BASE_TYPE_U16));
    Buffer result(make_image(3, 1, 1, BASE_TYPE_U16));
    int32_t handle = result.handle();
    ASSERT_EQ(IPL_PtToPoint(a.handle(), b.handle(), &handle, kAnd), 1);
    EXPECT_EQ(read_plane<uint16_t>(result.handle(), 0),
              (std::vector<uint16_t>{0x00FF, 0x1030, 0x8000}));
    ASSERT_EQ(IPL_PtToPoint(a.handle(), b.handle(), &handle, kOr), 1);
    EXPECT_EQ(read_plane<uint16_t>(result.handle(), 0),
              (std::vector<uint16_t>{0xFFFF, 0xF2F4, 0x8001}));
    ASSERT_EQ(IPL_PtToPoint(a.handle(), -1, &handle, kNot), 1);
    EXPECT_EQ(read_plane<uint16_t>(result.handle(), 0),
              (std::vector<uint16_t>{0x0000, 0xEDCB, 0x7FFF}));
}

TEST_F(PtToPoint, CombinesThirtyTwoBitBuffers) {
    Buffer a(line_of<int32_t>({0x12345678, -1}, BASE_TYPE_S32));
    Buffer b(line_of<int32_t>({0x0F0F0F0F, 0x10}, BASE_TYPE_S32));
    Buffer result;
    ASSERT_EQ(IPL_PtToPoint(a.handle(), b.handle(), result.slot(), kAnd), 1);
    EXPECT_EQ(read_plane<int32_t>(result.handle(), 0), (std::vector<int32_t>{0x02040608, 0x10}));
    int32_t handle = result.handle();
    ASSERT_EQ(IPL_PtToPoint(a.handle(), -1, &handle, kNot), 1);
    EXPECT_EQ(read_plane<int32_t>(result.handle(), 0), (std::vector<int32_t>{-0x12345679, 0}));
}

TEST_F(PtToPoint, MayWriteIntoEitherOperand) {
    Buffer a(line_of<int8_t>({0x0F, 0x33}, BASE_TYPE_S8));
    Buffer b(line_of<uint8_t>({0x50, 0x0F}, BASE_TYPE_U8));
    int32_t handle = a.handle();
    ASSERT_EQ(IPL_PtToPoint(a.handle(), b.handle(), &handle, kOr), 1);
    EXPECT_EQ(handle, a.handle());
    EXPECT_EQ(read_plane<int8_t>(a.handle(), 0), (std::vector<int8_t>{0x5F, 0x3F}));
    handle = b.handle();
    ASSERT_EQ(IPL_PtToPoint(a.handle(), b.handle(), &handle, kAnd), 1);
    EXPECT_EQ(read_plane<uint8_t>(b.handle(), 0), (std::vector<uint8_t>{0x50, 0x0F}));
    handle = a.handle();
    ASSERT_EQ(IPL_PtToPoint(a.handle(), -1, &handle, kNot), 1);
    EXPECT_EQ(read_plane<int8_t>(a.handle(), 0), (std::vector<int8_t>{-0x60, -0x40}));
}

// The result is the operands' memory one column further on.
TEST_F(PtToPoint, ReadsOperandsBeforeAnOverlappingResultIsWritten) {
    Buffer parent(line_of<uint8_t>({1, 2, 4, 8}, BASE_TYPE_U8));
    Buffer left;
    Buffer right;
    ASSERT_EQ(IPL_BufAllocChild2D(left.slot(), parent.handle(), 0, 0, 0, 0, 0, 3, 1), 1);
    ASSERT_EQ(IPL_BufAllocChild2D(right.slot(), parent.handle(), 1, 0, 0, 0, 0, 3, 1), 1);
    int32_t handle = right.handle();
    ASSERT_EQ(IPL_PtToPoint(left.handle(), left.handle(), &handle, kOr), 1);
    EXPECT_EQ(read_plane<uint8_t>(parent.handle(), 0), (std::vector<uint8_t>{1, 1, 2, 4}));
}

TEST_F(PtToPoint, RefusesUnknownBuffers) {
    Buffer a(make_image(2, 1, 1, BASE_TYPE_U8));
    int32_t handle = -1;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_PtToPoint(kNoSuchBuffer, a.handle(), &handle, kOr));
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_PtToPoint(a.handle(), kNoSuchBuffer, &handle, kOr));
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_PtToPoint(a.handle(), -1, &handle, kAnd));
    EXPECT_EQ(handle, -1);
    handle = kNoSuchBuffer;
    EXPECT_HOST_ERROR(BASE_ERR_NO_BUFFER, IPL_PtToPoint(a.handle(), a.handle(), &handle, kOr));
}

TEST_F(PtToPoint, RefusesUnknownOperationsAndANullResult) {
    Buffer a(make_image(2, 1, 1, BASE_TYPE_U8));
    int32_t handle = -1;
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_PtToPoint(a.handle(), a.handle(), nullptr, kOr));
    for (int32_t op : {0, 5, 8, 49, 51}) {
        EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_PtToPoint(a.handle(), a.handle(), &handle, op));
    }
    // The inversion takes no second operand.
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_PtToPoint(a.handle(), a.handle(), &handle, kNot));
    EXPECT_EQ(handle, -1);
}

TEST_F(PtToPoint, RefusesBuffersWithoutPixelData) {
    Buffer a(make_image(2, 1, 1, BASE_TYPE_U8));
    Buffer empty(make_descriptor(2, 1));
    int32_t handle = -1;
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_PtToPoint(empty.handle(), a.handle(), &handle, kOr));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_PtToPoint(a.handle(), empty.handle(), &handle, kOr));
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_PtToPoint(empty.handle(), -1, &handle, kNot));
    handle = empty.handle();
    EXPECT_HOST_ERROR(BASE_ERR_REGION, IPL_PtToPoint(a.handle(), -1, &handle, kNot));
}

TEST_F(PtToPoint, RefusesOperandsOrResultsOfOtherGeometry) {
    Buffer a(make_image(2, 2, 2, BASE_TYPE_U8, 2, 2));
    Buffer width(make_image(3, 2, 2, BASE_TYPE_U8, 2, 2));
    Buffer height(make_image(2, 3, 2, BASE_TYPE_U8, 2, 2));
    Buffer planes(make_image(2, 2, 1, BASE_TYPE_U8, 2, 2));
    Buffer ext2(make_image(2, 2, 2, BASE_TYPE_U8, 1, 2));
    Buffer ext3(make_image(2, 2, 2, BASE_TYPE_U8, 2, 1));
    Buffer elementSize(make_image(2, 2, 2, BASE_TYPE_U16, 2, 2));
    for (int32_t other : {width.handle(), height.handle(), planes.handle(), ext2.handle(),
                          ext3.handle(), elementSize.handle()}) {
        int32_t handle = -1;
        EXPECT_HOST_ERROR(BASE_ERR_GEOMETRY, IPL_PtToPoint(a.handle(), other, &handle, kAnd));
        EXPECT_EQ(handle, -1);
        handle = other;
        EXPECT_HOST_ERROR(BASE_ERR_GEOMETRY, IPL_PtToPoint(a.handle(), a.handle(), &handle, kAnd));
        EXPECT_HOST_ERROR(BASE_ERR_GEOMETRY, IPL_PtToPoint(a.handle(), -1, &handle, kNot));
    }
}

}  // namespace
