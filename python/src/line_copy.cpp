#include "line_copy.h"

#include <cstring>

namespace ozu::python {
namespace {

// Interleaved to planar and back, as plain loops of fixed stride that the
// compiler vectorises (this file is built with -O3). On x86-64 each exists
// for AVX2 and the baseline, chosen once by the loader (GCC's target
// clones): a gather or scatter of stride 3 is a chain of byte shuffles,
// which AVX2 does twice as wide as SSE2 and without the extra unpacking.
#if defined(__x86_64__) && defined(__GNUC__)
#define OZU_LINE_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define OZU_LINE_CLONES
#endif

// One overload per element type rather than a template: Clang makes no
// target clones of a template.
#define OZU_SPLIT_JOIN(E)                                                                  \
    OZU_LINE_CLONES void split_line(const E* __restrict in, E* __restrict p0,              \
                                    E* __restrict p1, E* __restrict p2, int32_t width) {   \
        for (int32_t x = 0; x < width; ++x) {                                              \
            p0[x] = in[3 * x];                                                             \
            p1[x] = in[3 * x + 1];                                                         \
            p2[x] = in[3 * x + 2];                                                         \
        }                                                                                  \
    }                                                                                      \
    OZU_LINE_CLONES void join_line(const E* __restrict p0, const E* __restrict p1,         \
                                   const E* __restrict p2, E* __restrict out, int32_t width) { \
        for (int32_t x = 0; x < width; ++x) {                                              \
            out[3 * x] = p0[x];                                                            \
            out[3 * x + 1] = p1[x];                                                        \
            out[3 * x + 2] = p2[x];                                                        \
        }                                                                                  \
    }
OZU_SPLIT_JOIN(uint8_t)
OZU_SPLIT_JOIN(uint16_t)
#undef OZU_SPLIT_JOIN

template <class E>
void split_lines(const ArrayImage& image, int32_t block, int32_t y, int32_t n,
                 const HostLines& host) {
    for (int32_t r = 0; r < n; ++r)
        split_line(reinterpret_cast<const E*>(image.line(block, 0, y + r)),
                   reinterpret_cast<E*>(host.line(0, r)), reinterpret_cast<E*>(host.line(1, r)),
                   reinterpret_cast<E*>(host.line(2, r)), image.shape.width);
}

template <class E>
void join_lines(const HostLines& host, const ArrayImage& image, int32_t block, int32_t y,
                int32_t n) {
    for (int32_t r = 0; r < n; ++r)
        join_line(reinterpret_cast<const E*>(host.line(0, r)),
                  reinterpret_cast<const E*>(host.line(1, r)),
                  reinterpret_cast<const E*>(host.line(2, r)),
                  reinterpret_cast<E*>(image.line(block, 0, y + r)), image.shape.width);
}

size_t line_bytes(const ArrayImage& image) {
    return static_cast<size_t>(image.shape.width) * image.elementSize;
}

}  // namespace

HostLines HostLines::from(int32_t r) const {
    HostLines moved = *this;
    for (int32_t p = 0; p < planes; ++p) moved.plane[p] = line(p, r);
    return moved;
}

void copy_to_host(const ArrayImage& image, int32_t block, int32_t y, int32_t n,
                  const HostLines& host) {
    if (image.interleaved) {
        if (image.elementSize == 1)
            split_lines<uint8_t>(image, block, y, n, host);
        else
            split_lines<uint16_t>(image, block, y, n, host);
        return;
    }
    for (int32_t p = 0; p < image.shape.planes; ++p)
        for (int32_t r = 0; r < n; ++r)
            std::memcpy(host.line(p, r), image.line(block, p, y + r), line_bytes(image));
}

void copy_from_host(const HostLines& host, const ArrayImage& image, int32_t block, int32_t y,
                    int32_t n) {
    if (image.interleaved) {
        if (image.elementSize == 1)
            join_lines<uint8_t>(host, image, block, y, n);
        else
            join_lines<uint16_t>(host, image, block, y, n);
        return;
    }
    for (int32_t p = 0; p < image.shape.planes; ++p)
        for (int32_t r = 0; r < n; ++r)
            std::memcpy(image.line(block, p, y + r), host.line(p, r), line_bytes(image));
}

}  // namespace ozu::python
