// Extreme sizes: empty, one pixel wide or high, a million pixels in one line
// or one column, many blocks, and sizes whose bytes do not fit 32 bits or the
// address space (on 32-bit PowerPC, where size_t has 32 bits, as elsewhere).
//
// A size the host cannot hold is refused with -1003 before any memory is
// asked for, never allocated with a wrapped size. Images of a million pixels
// in a line or a column, and images of thousands of blocks, convert to the
// same bits as the same pixels laid out as an ordinary image.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "base_test_support.h"
#include "test_support.h"

// A huge request that passes the host's size checks on a 64-bit host goes to
// the allocator, which must be allowed to say no: AddressSanitizer's would
// otherwise stop the program rather than return null.
#if defined(__SANITIZE_ADDRESS__)
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
#endif
#endif

namespace {

using ozu_test::attribute;
using ozu_test::Buffer;
using ozu_test::make_image;
using ozu_test::read_plane;
using ozu_test::seeded_pixels;
using ozu_test::write_plane;

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr bool kNarrowSize = sizeof(std::size_t) < 8;

// Every test must free what it makes.
class HugeSizes : public base_test::BufferCountCheck {};

// ---- The host: sizes it cannot hold ------------------------------------------

TEST_F(HugeSizes, EmptyWidthsAndHeightsAreRefusedEverywhere) {
    int32_t h = -1;
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc(&h, 0, 1, 1, 1, 1, BASE_TYPE_U8, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc(&h, 1, 0, 1, 1, 1, BASE_TYPE_U8, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc(&h, 0, 0, 3, 1, 1, BASE_TYPE_U16, 1,
                                                      BASE_ALLOC_NO_DATA));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_BufAlloc1D(&h, 0, BASE_TYPE_U8, 2, 0));
    EXPECT_EQ(h, -1);

    Buffer one(make_image(1, 1, 1, BASE_TYPE_U8));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_BufAllocChild2D(&h, one.handle(), 0, 0, 0, 0, 0, 0, 1));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_BufAllocChild2D(&h, one.handle(), 0, 0, 0, 0, 0, 1, 0));
    int32_t pitch = 0;
    void* ptr = nullptr;
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_GetPtrEx(one.handle(), BASE_MODE_READ, 0, 0, 0, 0, 0,
                                                      0, 1, &pitch, &ptr));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_GetPtrEx(one.handle(), BASE_MODE_READ, 0, 0, 0, 0, 0,
                                                      1, 0, &pitch, &ptr));
    uint8_t byte = 0;
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_GetBufDataEx(one.handle(), 0, 0, 0, 0, 0, 0, 1, 0, 1, &byte, 2));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_StatLineProfileImage(one.handle(), &h, 0, 0, 0, 0, 0,
                                                                  0));
    EXPECT_EQ(h, -1);
    EXPECT_EQ(ptr, nullptr);
}

TEST_F(HugeSizes, OnePixelBuffersWork) {
    // The pixel converts as it does as the first of a 3 x 2 image.
    const uint8_t pixel[3] = {200, 100, 50};
    Buffer src(make_image(1, 1, 3, BASE_TYPE_U8));
    Buffer six(make_image(3, 2, 3, BASE_TYPE_U8));
    for (int32_t p = 0; p < 3; ++p) {
        write_plane<uint8_t>(src.handle(), p, {pixel[p]});
        write_plane<uint8_t>(six.handle(), p, {pixel[p], 1, 2, 3, 4, 5});
    }
    Buffer hsv, hsvSix;
    ASSERT_EQ(COL_ConvertColorSpace(src.handle(), hsv.slot(), COL_CODE(COL_RGB, COL_HSV)), 1);
    ASSERT_EQ(COL_ConvertColorSpace(six.handle(), hsvSix.slot(), COL_CODE(COL_RGB, COL_HSV)), 1);
    for (int32_t p = 0; p < 3; ++p) {
        EXPECT_EQ(read_plane<uint8_t>(hsv.handle(), p),
                  std::vector<uint8_t>{read_plane<uint8_t>(hsvSix.handle(), p)[0]});
    }
    // V of HSV is the largest channel.
    EXPECT_EQ(read_plane<uint8_t>(hsv.handle(), 2), std::vector<uint8_t>{200});
    Buffer line;
    ASSERT_EQ(IPL_StatLineProfileImage(src.handle(), line.slot(), 0, 0, 0, 0, 1, 1), 1);
    EXPECT_EQ(attribute(line.handle(), BASE_ATTR_WIDTH), 1);
    EXPECT_EQ(read_plane<uint8_t>(line.handle(), 1), std::vector<uint8_t>{100});
}

// Pixel bytes of 2^32 and more: on a 32-bit host beyond size_t, where the
// host refuses them (a wrapped size would be a small allocation, of 65536
// bytes for 65536 x 65537); on a 64-bit host an ordinary size, checked here
// on descriptors alone so that no test asks for gigabytes.
TEST_F(HugeSizes, PixelBytesBeyondThirtyTwoBits) {
    struct Size {
        int32_t width, height, planes, ext2, ext3, type;
        uint64_t pitch;
    };
    const Size sizes[] = {
        {65536, 65536, 1, 1, 1, BASE_TYPE_U8, 65536},
        {65536, 65537, 1, 1, 1, BASE_TYPE_U8, 65536},
        {65536, 32768, 2, 1, 1, BASE_TYPE_U8, 65536},
        {46341, 46341, 1, 1, 1, BASE_TYPE_U16, 92736},
        {4096, 4096, 4, 32, 2, BASE_TYPE_U8, 4096},
        {1, 1, 1, 65536, 1025, BASE_TYPE_S16, 64},
        {1000000, 1, 3, 700, 3, BASE_TYPE_U16, 2000000},
        {1, 1000000, 3, 2, 12, BASE_TYPE_U8, 64},
    };
    for (const Size& s : sizes) {
        SCOPED_TRACE(testing::Message() << s.width << " x " << s.height << " x " << s.planes
                                        << " planes x " << s.ext2 << " x " << s.ext3 << ", type "
                                        << s.type);
        int32_t h = -1;
        if (kNarrowSize) {
            EXPECT_HOST_ERROR(BASE_ERR_MEMORY, IPL_BufAlloc(&h, s.width, s.height, s.planes, s.ext2,
                                                            s.ext3, s.type, 1, 0));
            EXPECT_HOST_ERROR(BASE_ERR_MEMORY, IPL_BufAlloc(&h, s.width, s.height, s.planes, s.ext2,
                                                            s.ext3, s.type, 1, BASE_ALLOC_NO_DATA));
            EXPECT_EQ(h, -1);
            continue;
        }
        ASSERT_EQ(IPL_BufAlloc(&h, s.width, s.height, s.planes, s.ext2, s.ext3, s.type, 1,
                               BASE_ALLOC_NO_DATA),
                  1);
        EXPECT_EQ(attribute(h, BASE_ATTR_WIDTH), s.width);
        EXPECT_EQ(attribute(h, BASE_ATTR_HEIGHT), s.height);
        EXPECT_EQ(attribute(h, BASE_ATTR_EXT2), s.ext2);
        EXPECT_EQ(attribute(h, BASE_ATTR_EXT3), s.ext3);
        EXPECT_EQ(uint64_t(attribute(h, BASE_ATTR_PITCH)), s.pitch);
        EXPECT_EQ(IPL_BufFree(h), 1);
    }
}

// Between 2^31 and 2^32 bytes: more than a 32-bit host's pointer
// differences reach, so refused there as well.
TEST_F(HugeSizes, PixelBytesBeyondThirtyOneBitsOnA32BitHost) {
    int32_t h = -1;
    const int rc = IPL_BufAlloc(&h, 49152, 49152, 1, 1, 1, BASE_TYPE_U8, 1, BASE_ALLOC_NO_DATA);
    if (kNarrowSize) {
        EXPECT_EQ(rc, 0);
        EXPECT_EQ(IPL_GetErrorCode2(), BASE_ERR_MEMORY);
        EXPECT_EQ(h, -1);
    } else {
        ASSERT_EQ(rc, 1);
        EXPECT_EQ(IPL_BufFree(h), 1);
    }
}

// Sizes beyond every address space: refused with -1003 on every host, as
// descriptors too when the count of bytes itself overflows 64 bits.
TEST_F(HugeSizes, SizesBeyondAnyMemoryAreRefused) {
    int32_t h = -1;
    // About 2^61 bytes: the host asks and the allocator says no (a 32-bit
    // host does not even ask).
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY,
                      IPL_BufAlloc(&h, 1 << 30, kMax, 1, 1, 1, BASE_TYPE_U8, 1, 0));
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY, IPL_BufAlloc(&h, 1, 1, 4, kMax, kMax, BASE_TYPE_U8, 1, 0));
    // 2^31 x 2^31 x 4 blocks of 2^31 lines: past 64 bits.
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY, IPL_BufAlloc(&h, kMax, kMax, 4, kMax, kMax, BASE_TYPE_S32,
                                                    1, BASE_ALLOC_NO_DATA));
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY, IPL_BufAlloc(&h, 8, kMax, 4, kMax, kMax, BASE_TYPE_U8, 1,
                                                    BASE_ALLOC_NO_DATA));
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY, IPL_BufAlloc(&h, 1, kMax, 1, kMax, kMax, BASE_TYPE_U8, 1,
                                                    BASE_ALLOC_NO_DATA | BASE_ALLOC_ALIGN(1)));
    // A line whose pitch does not fit the 32-bit attribute, also once it is
    // padded to the 64-byte alignment.
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY, IPL_BufAlloc1D(&h, kMax / 2 + 1, BASE_TYPE_U16, 2, 0));
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY,
                      IPL_BufAlloc(&h, kMax - 62, 1, 1, 1, 1, BASE_TYPE_U8, 1, 0));
    EXPECT_EQ(h, -1);
}

// A pointer request that runs past the block is staged in an area of the
// region's size; a region beyond memory is refused the same way.
TEST_F(HugeSizes, StagingAreasBeyondMemoryAreRefused) {
    Buffer one(make_image(1, 1, 1, BASE_TYPE_U8));
    int32_t pitch = 0;
    void* ptr = nullptr;
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY, IPL_GetPtrEx(one.handle(), BASE_MODE_READ, 0, 0, 0, 0, 0,
                                                    kMax, kMax, &pitch, &ptr));
    Buffer wide(make_image(1, 1, 1, BASE_TYPE_U16));
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY, IPL_GetPtrEx(wide.handle(), BASE_MODE_WRITE, 0, 0, 0, 0,
                                                    0, kMax / 2 + 1, 1, &pitch, &ptr));
    if (kNarrowSize) {
        // 2^32 bytes, 0 when wrapped.
        EXPECT_HOST_ERROR(BASE_ERR_MEMORY, IPL_GetPtrEx(one.handle(), BASE_MODE_READ, 0, 0, 0, 0,
                                                        0, 65536, 65536, &pitch, &ptr));
    }
    EXPECT_EQ(ptr, nullptr);
    // Nothing is left out: both buffers go at once.
    EXPECT_EQ(IPL_BufFree(one.handle()), 1);
    *one.slot() = -1;
    EXPECT_EQ(IPL_BufFree(wide.handle()), 1);
    *wide.slot() = -1;
}

// A strip sampled along a line is a new image: one too large for memory is
// refused before anything is taken, and one longer than 2^31 - 1 samples is
// an argument out of range.
TEST_F(HugeSizes, LineProfileStripsBeyondMemoryAreRefused) {
    Buffer src(make_image(2, 2, 3, BASE_TYPE_U8));
    int32_t strip = -1;
    EXPECT_HOST_ERROR(BASE_ERR_MEMORY, IPL_StatLineProfileImage(src.handle(), &strip, 0, 0,
                                                                kMax - 1, 0, kMax, 0));
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT, IPL_StatLineProfileImage(src.handle(), &strip, -2, 0,
                                                                  kMax, 0, 1, 0));
    EXPECT_EQ(strip, -1);
    int32_t length = 0;
    EXPECT_HOST_ERROR(BASE_ERR_ARGUMENT,
                      IPL_StatGetLineProfileLength(std::numeric_limits<int32_t>::min(), 0, kMax,
                                                   0, &length));
    ASSERT_EQ(IPL_StatGetLineProfileLength(0, 0, kMax - 1, 5, &length), 1);
    EXPECT_EQ(length, kMax);
}

// ---- Whole images of a million pixels in a line or a column ------------------

constexpr int32_t kPixels = 1000000;
// The pixels repeat with this period, a prime that none of the walks' sizes
// (pieces of 2048, 64-byte lines, bands) divides: a line or a column of a
// million pixels must give, pixel by pixel, the bits of one period converted
// as an ordinary small image.
constexpr int32_t kPeriod = 9973;

// The line and the column are packed (a pitch of their width), which a
// column needs: at the default 64-byte line alignment it would take 64 MB a
// plane. The period is an image of the default layout.
struct Shape {
    const char* name;
    int32_t width, height;
    int32_t flags;
};
const Shape kLine{"line", kPixels, 1, BASE_ALLOC_ALIGN(1)};
const Shape kColumn{"column", 1, kPixels, BASE_ALLOC_ALIGN(1)};
const Shape kPeriodImage{"period", kPeriod, 1, 0};

// `planes` planes of `n` pixels repeating kPeriod seeded ones.
template <class T>
std::vector<std::vector<T>> planes_of(int32_t planes, uint32_t seed, int32_t n = kPixels) {
    std::vector<std::vector<T>> out;
    for (int32_t p = 0; p < planes; ++p) {
        const std::vector<T> period = seeded_pixels<T>(kPeriod, seed + uint32_t(p));
        std::vector<T> plane(static_cast<size_t>(n));
        for (size_t k = 0; k < plane.size(); ++k) plane[k] = period[k % size_t(kPeriod)];
        out.push_back(std::move(plane));
    }
    return out;
}

template <class T>
int32_t image_of(const Shape& shape, const std::vector<std::vector<T>>& planes, int32_t type,
                 int32_t space = 0) {
    const int32_t h = make_image(shape.width, shape.height, int32_t(planes.size()), type, 1, 1,
                                 BASE_KIND_IMAGE, shape.flags);
    const size_t n = size_t(shape.width) * size_t(shape.height);
    for (size_t p = 0; p < planes.size(); ++p) {
        write_plane<T>(h, int32_t(p),
                       std::vector<T>(planes[p].begin(), planes[p].begin() + ptrdiff_t(n)));
    }
    if (space != 0) {
        EXPECT_EQ(IPL_BufControl(h, BASE_ATTR_COLOR_SPACE, &space), 1);
    }
    return h;
}

int32_t empty_of(const Shape& shape, int32_t planes, int32_t type) {
    return make_image(shape.width, shape.height, planes, type, 1, 1, BASE_KIND_IMAGE, shape.flags);
}

// The first difference, not a million values. `want` repeats over `got`.
template <class T>
void expect_same(const std::vector<T>& got, const std::vector<T>& want, const std::string& what) {
    ASSERT_FALSE(want.empty()) << what;
    for (size_t k = 0; k < got.size(); ++k) {
        if (got[k] != want[k % want.size()]) {
            ADD_FAILURE() << what << ": pixel " << k << " is " << int64_t{got[k]} << ", not "
                          << int64_t{want[k % want.size()]};
            return;
        }
    }
}

// Runs `convert(source, destination)` on the period, the line and the
// column, each source made of `planes`, and expects the line and the column
// to repeat the period's result, plane by plane.
template <class D, class S>
void expect_shapes_agree(const std::vector<std::vector<S>>& planes, int32_t srcType,
                         int32_t dstPlanes, int32_t dstType,
                         const std::function<int32_t(int32_t, int32_t*)>& convert) {
    std::vector<std::vector<D>> reference;
    for (const Shape* shape : {&kPeriodImage, &kLine, &kColumn}) {
        SCOPED_TRACE(shape->name);
        Buffer src(image_of(*shape, planes, srcType));
        Buffer dst(empty_of(*shape, dstPlanes, dstType));
        int32_t h = dst.handle();
        IPL_SetErrorCode(0);
        ASSERT_EQ(convert(src.handle(), &h), 1) << IPL_GetErrorCode2();
        for (int32_t p = 0; p < dstPlanes; ++p) {
            std::vector<D> plane = read_plane<D>(h, p);
            if (shape == &kPeriodImage) {
                reference.push_back(std::move(plane));
            } else {
                expect_same(plane, reference[size_t(p)],
                            std::string(shape->name) + " plane " + std::to_string(p));
            }
        }
    }
}

// The hue conversions take the same walk through the lines as these; they
// are left out only for their cost under an emulator.
TEST_F(HugeSizes, ColourSpaceConversionsOfALineAndAColumn) {
    expect_shapes_agree<uint8_t>(planes_of<uint8_t>(3, 11), BASE_TYPE_U8, 3, BASE_TYPE_U8,
                                 [](int32_t src, int32_t* dst) {
                                     return COL_ConvertColorSpace(src, dst,
                                                                  COL_CODE(COL_YCC, COL_YIQ));
                                 });
    // Sixteen bits, signed into unsigned, and into and out of intensity.
    const auto s16 = planes_of<int16_t>(3, 31);
    expect_shapes_agree<uint16_t>(s16, BASE_TYPE_S16, 3, BASE_TYPE_U16,
                                  [](int32_t src, int32_t* dst) {
                                      return COL_ConvertColorSpace(
                                          src, dst, COL_CODE(COL_XYZ601, COL_CMY));
                                  });
    expect_shapes_agree<uint16_t>(s16, BASE_TYPE_S16, 1, BASE_TYPE_U16,
                                  [](int32_t src, int32_t* dst) {
                                      return COL_ConvertColorSpace(src, dst,
                                                                   COL_CODE(COL_RGB, COL_I));
                                  });
    expect_shapes_agree<int8_t>(planes_of<uint8_t>(1, 41), BASE_TYPE_U8, 3, BASE_TYPE_S8,
                                [](int32_t src, int32_t* dst) {
                                    return COL_ConvertColorSpace(src, dst,
                                                                 COL_CODE(COL_I, COL_RGB));
                                });
}

TEST_F(HugeSizes, WeightedConversionsAndTwistOfALineAndAColumn) {
    const auto rgb = planes_of<uint16_t>(3, 51);
    expect_shapes_agree<uint16_t>(
        std::vector<std::vector<uint16_t>>(rgb.begin(), rgb.begin() + 1), BASE_TYPE_U16, 3,
        BASE_TYPE_U16,
        [](int32_t src, int32_t* dst) { return COL_ConvertToColor(src, dst, 0.9, 0.5, 0.1); });
    expect_shapes_agree<int16_t>(rgb, BASE_TYPE_U16, 1, BASE_TYPE_S16,
                                 [](int32_t src, int32_t* dst) {
                                     return COL_ConvertToGrayscale(src, dst, 0.299, 0.587, 0.114);
                                 });
    const double twist[16] = {0.9, -0.1, 0.2, 0, 0.3, 1.1, -0.2, 0, 0.1, 0.2, 0.7, 0,
                              0.05, -0.02, 0.01, 0};
    expect_shapes_agree<uint8_t>(planes_of<uint8_t>(3, 61), BASE_TYPE_U8, 3, BASE_TYPE_U8,
                                 [&](int32_t src, int32_t* dst) {
                                     return COL_ColorTwist(src, dst, twist);
                                 });
}

TEST_F(HugeSizes, AnalysisOfALineAndAColumn) {
    const auto rgb = planes_of<uint8_t>(3, 71);
    expect_shapes_agree<uint8_t>(rgb, BASE_TYPE_U8, 1, BASE_TYPE_U8, [](int32_t src, int32_t* dst) {
        return COL_CalcColorDistanceImage(src, dst, 0x20C040, 0x808080);
    });
    expect_shapes_agree<uint8_t>(rgb, BASE_TYPE_U8, 1, BASE_TYPE_U8, [](int32_t src, int32_t* dst) {
        return COL_Threshold(src, dst, COL_RGB, COL_YUV, 10, 200, 30, 255, 0, 180, 3);
    });
}

// Along a line and a column longer than 65535 pixels: plane 1 holds the
// only edge, so the search writes plane 1 out unchanged, all of it.
TEST_F(HugeSizes, MaxContrastAlongALineAndAColumn) {
    constexpr int32_t kLength = 100000;
    const Shape shapes[] = {{"line", kLength, 1, BASE_ALLOC_ALIGN(1)},
                            {"column", 1, kLength, BASE_ALLOC_ALIGN(1)}};
    for (const Shape& shape : shapes) {
        SCOPED_TRACE(shape.name);
        std::vector<std::vector<uint8_t>> planes(3, std::vector<uint8_t>(kLength, 90));
        for (int32_t i = kLength / 3; i < kLength; ++i) planes[1][size_t(i)] = 160;
        Buffer src(image_of(shape, planes, BASE_TYPE_U8, COL_RGB));
        Buffer dst(empty_of(shape, 1, BASE_TYPE_U8));
        const uint32_t line[4] = {0, 0, uint32_t(shape.width - 1), uint32_t(shape.height - 1)};
        int32_t h = dst.handle();
        const int32_t before = BASE_BufferCount();
        ASSERT_EQ(COL_GetMaxContrastPlane(src.handle(), &h, nullptr, 0, line, 1, 5), 1);
        EXPECT_EQ(BASE_BufferCount(), before);
        const std::vector<uint8_t> got = read_plane<uint8_t>(h, 0);
        ASSERT_EQ(got.size(), planes[1].size());
        expect_same(got, planes[1], "the winning plane");
    }
}

// The demosaic needs two lines and two columns: a line or a column of one
// pixel is refused by the host's converter, which the entry reports as an
// unknown failure with nothing left out; two lines or columns of a uniform
// mosaic give its colour everywhere, as a small one does.
TEST_F(HugeSizes, BayerMosaicsOfALineAndAColumn) {
    for (const Shape& shape : {kLine, kColumn}) {
        SCOPED_TRACE(shape.name);
        Buffer raw(image_of(shape, planes_of<uint8_t>(1, 81), BASE_TYPE_U8, COL_BAYER));
        Buffer dst(empty_of(shape, 3, BASE_TYPE_U8));
        int32_t h = dst.handle();
        IPL_SetErrorCode(0);
        EXPECT_EQ(COL_ConvertColorSpace(raw.handle(), &h, COL_CODE(COL_BAYER, COL_RGB)), 0);
        EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_UNKNOWN);
        EXPECT_EQ(IPL_BufFree(raw.handle()), 1);
        *raw.slot() = -1;
    }
    // G R / B G everywhere: green 70 on the diagonal, red 200, blue 30.
    const auto mosaic = [](int32_t width, int32_t height) {
        std::vector<uint8_t> v(size_t(width) * size_t(height));
        for (int32_t y = 0; y < height; ++y)
            for (int32_t x = 0; x < width; ++x)
                v[size_t(y) * size_t(width) + size_t(x)] =
                    (x + y) % 2 == 0 ? 70 : y % 2 == 0 ? 200 : 30;
        return v;
    };
    const int32_t sizes[][2] = {{kPixels / 2, 2}, {2, kPixels / 2}, {4, 4}};
    for (const auto& size : sizes) {
        SCOPED_TRACE(testing::Message() << size[0] << " x " << size[1]);
        const int32_t flags = BASE_ALLOC_ALIGN(1);
        Buffer raw(make_image(size[0], size[1], 1, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, flags));
        write_plane<uint8_t>(raw.handle(), 0, mosaic(size[0], size[1]));
        BASE_GetAtBuffer(raw.handle())->bayerParity = 0;
        Buffer rgb(make_image(size[0], size[1], 3, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, flags));
        Buffer grey(make_image(size[0], size[1], 1, BASE_TYPE_U8, 1, 1, BASE_KIND_IMAGE, flags));
        int32_t h = rgb.handle();
        ASSERT_EQ(COL_ConvertColorSpace(raw.handle(), &h, COL_CODE(COL_BAYER, COL_RGB)), 1);
        const uint8_t colour[3] = {200, 70, 30};
        const size_t n = size_t(size[0]) * size_t(size[1]);
        for (int32_t p = 0; p < 3; ++p)
            expect_same(read_plane<uint8_t>(h, p), std::vector<uint8_t>(n, colour[p]),
                        "plane " + std::to_string(p));
        h = grey.handle();
        ASSERT_EQ(COL_ConvertColorSpace(raw.handle(), &h, COL_CODE(COL_BAYER, COL_I)), 1);
        // 0.299 x 200 + 0.587 x 70 + 0.114 x 30 = 104.31.
        expect_same(read_plane<uint8_t>(h, 0), std::vector<uint8_t>(n, 104), "intensity");
    }
}

// ---- Many blocks ------------------------------------------------------------

// Thousands of blocks of a few pixels along extent 2 or extent 3 convert as
// the same pixels stacked into one tall image do.
TEST_F(HugeSizes, ThousandsOfBlocksConvertAsOneTallImage) {
    constexpr int32_t kBlocks = 3000;
    constexpr int32_t kBw = 3, kBh = 2;
    const auto pixels = planes_of<uint8_t>(3, 91, 3 * 2 * 3000);
    const size_t perBlock = size_t(kBw) * kBh;
    const auto block_plane = [&](int32_t p, int32_t b) {
        const auto first = pixels[size_t(p)].begin() + ptrdiff_t(perBlock * size_t(b));
        return std::vector<uint8_t>(first, first + ptrdiff_t(perBlock));
    };
    const auto tall_plane = [&](int32_t p) {
        return std::vector<uint8_t>(pixels[size_t(p)].begin(),
                                    pixels[size_t(p)].begin() + ptrdiff_t(perBlock * kBlocks));
    };
    const double twist[16] = {0.5, 0.5, 0, 0, 0.5, 0, 0.5, 0, 0, 0.5, 0.5, 0, 0, 0, 0, 0};
    const std::function<int32_t(int32_t, int32_t*)> conversions[] = {
        [](int32_t s, int32_t* d) {
            return COL_ConvertColorSpace(s, d, COL_CODE(COL_RGB, COL_HSV));
        },
        [&](int32_t s, int32_t* d) { return COL_ColorTwist(s, d, twist); },
    };
    for (const auto& convert : conversions) {
        Buffer tall(make_image(kBw, kBh * kBlocks, 3, BASE_TYPE_U8));
        for (int32_t p = 0; p < 3; ++p) write_plane<uint8_t>(tall.handle(), p, tall_plane(p));
        Buffer tallOut(make_image(kBw, kBh * kBlocks, 3, BASE_TYPE_U8));
        int32_t h = tallOut.handle();
        ASSERT_EQ(convert(tall.handle(), &h), 1);
        std::vector<std::vector<uint8_t>> want;
        for (int32_t p = 0; p < 3; ++p) want.push_back(read_plane<uint8_t>(h, p));

        for (const bool alongExtent3 : {false, true}) {
            SCOPED_TRACE(alongExtent3 ? "extent 3" : "extent 2");
            const int32_t ext2 = alongExtent3 ? 1 : kBlocks;
            const int32_t ext3 = alongExtent3 ? kBlocks : 1;
            Buffer src(make_image(kBw, kBh, 3, BASE_TYPE_U8, ext2, ext3));
            for (int32_t b = 0; b < kBlocks; ++b)
                for (int32_t p = 0; p < 3; ++p)
                    write_plane<uint8_t>(src.handle(), p, block_plane(p, b), alongExtent3 ? 0 : b,
                                         alongExtent3 ? b : 0);
            // The twist makes a new destination with the two extents
            // swapped, so both are given one of the right shape.
            Buffer dst(make_image(kBw, kBh, 3, BASE_TYPE_U8, ext2, ext3));
            int32_t d = dst.handle();
            ASSERT_EQ(convert(src.handle(), &d), 1);
            for (int32_t b = 0; b < kBlocks; ++b) {
                for (int32_t p = 0; p < 3; ++p) {
                    const auto got = read_plane<uint8_t>(d, p, alongExtent3 ? 0 : b,
                                                         alongExtent3 ? b : 0);
                    const std::vector<uint8_t> expected(
                        want[size_t(p)].begin() + ptrdiff_t(perBlock * size_t(b)),
                        want[size_t(p)].begin() + ptrdiff_t(perBlock * size_t(b + 1)));
                    ASSERT_EQ(got, expected) << "block " << b << ", plane " << p;
                }
            }
        }
    }
}

}  // namespace
