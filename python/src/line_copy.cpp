#include "line_copy.h"

#include <cstring>

// x86-64 with GCC or Clang: target clones and AVX2 functions in one build.
#if defined(__x86_64__) && defined(__GNUC__)
#define OZU_LINE_X86 1
#include <immintrin.h>
#else
#define OZU_LINE_X86 0
#endif

namespace ozu::python {
namespace {

// Interleaved to planar and back, as plain loops of fixed stride that the
// compiler vectorises (this file is built with -O3). On x86-64 each exists
// for AVX2 and the baseline, chosen once by the loader (target clones): a
// gather or scatter of stride 3 is a chain of byte shuffles, which AVX2 does
// twice as wide as SSE2 and without the extra unpacking. Byte lines, the
// common case, take whole steps of hand-written AVX2 shuffles first (below).
#if OZU_LINE_X86
#define OZU_LINE_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define OZU_LINE_CLONES
#endif

// One overload per element type rather than a template: Clang makes no
// target clones of a template.
#define OZU_SPLIT_JOIN(E)                                                                  \
    OZU_LINE_CLONES void split_plain(const E* __restrict in, E* __restrict p0,             \
                                    E* __restrict p1, E* __restrict p2, int32_t width) {   \
        for (int32_t x = 0; x < width; ++x) {                                              \
            p0[x] = in[3 * x];                                                             \
            p1[x] = in[3 * x + 1];                                                         \
            p2[x] = in[3 * x + 2];                                                         \
        }                                                                                  \
    }                                                                                      \
    OZU_LINE_CLONES void join_plain(const E* __restrict p0, const E* __restrict p1,        \
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

#if OZU_LINE_X86
// Bytes of three channels with AVX2, 32 pixels a step: each 128-bit lane
// holds 16 pixels (48 bytes in three loads) and gathers or scatters one
// channel with three byte shuffles, so the lanes never need to cross. The
// compilers' own vector code for these strides is slower, GCC's by far.
struct ByteShuffles {
    // split[c][k]: the bytes of channel c found in the k-th 16 bytes of 48.
    // join[c][k]: where channel c's bytes go in the k-th 16 bytes of 48.
    alignas(16) uint8_t split[3][3][16];
    alignas(16) uint8_t join[3][3][16];
    constexpr ByteShuffles() : split(), join() {
        for (int c = 0; c < 3; ++c)
            for (int k = 0; k < 3; ++k)
                for (int i = 0; i < 16; ++i) {
                    const int from = 3 * i + c - 16 * k;
                    split[c][k][i] = from >= 0 && from < 16 ? uint8_t(from) : 0x80;
                    const int at = 16 * k + i;
                    join[c][k][i] = at % 3 == c ? uint8_t(at / 3) : 0x80;
                }
    }
};
constexpr ByteShuffles kShuffles;

__attribute__((target("avx2"))) inline __m256i lanes(const uint8_t* lo, const uint8_t* hi) {
    return _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(lo))),
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(hi)), 1);
}

__attribute__((target("avx2"))) inline __m256i mask(const uint8_t* m) {
    return _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(m)));
}

// Whole steps of 32 pixels; returns the pixels done.
__attribute__((target("avx2"))) int32_t split_bytes_avx2(const uint8_t* in, uint8_t* p0,
                                                          uint8_t* p1, uint8_t* p2,
                                                          int32_t width) {
    uint8_t* const planes[3] = {p0, p1, p2};
    int32_t x = 0;
    for (; x + 32 <= width; x += 32) {
        const uint8_t* at = in + 3 * x;
        const __m256i part[3] = {lanes(at, at + 48), lanes(at + 16, at + 64),
                                 lanes(at + 32, at + 80)};
        for (int c = 0; c < 3; ++c) {
            __m256i v = _mm256_shuffle_epi8(part[0], mask(kShuffles.split[c][0]));
            v = _mm256_or_si256(v, _mm256_shuffle_epi8(part[1], mask(kShuffles.split[c][1])));
            v = _mm256_or_si256(v, _mm256_shuffle_epi8(part[2], mask(kShuffles.split[c][2])));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(planes[c] + x), v);
        }
    }
    return x;
}

__attribute__((target("avx2"))) int32_t join_bytes_avx2(const uint8_t* p0, const uint8_t* p1,
                                                         const uint8_t* p2, uint8_t* out,
                                                         int32_t width) {
    const uint8_t* const planes[3] = {p0, p1, p2};
    int32_t x = 0;
    for (; x + 32 <= width; x += 32) {
        __m256i channel[3];
        for (int c = 0; c < 3; ++c)
            channel[c] = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(planes[c] + x));
        __m256i part[3];
        for (int k = 0; k < 3; ++k) {
            __m256i v = _mm256_shuffle_epi8(channel[0], mask(kShuffles.join[0][k]));
            v = _mm256_or_si256(v, _mm256_shuffle_epi8(channel[1], mask(kShuffles.join[1][k])));
            v = _mm256_or_si256(v, _mm256_shuffle_epi8(channel[2], mask(kShuffles.join[2][k])));
            part[k] = v;
        }
        // Lane 0 holds bytes 0-47 of the step, lane 1 bytes 48-95.
        auto* o = reinterpret_cast<__m256i*>(out + 3 * x);
        _mm256_storeu_si256(o, _mm256_permute2x128_si256(part[0], part[1], 0x20));
        _mm256_storeu_si256(o + 1, _mm256_permute2x128_si256(part[2], part[0], 0x30));
        _mm256_storeu_si256(o + 2, _mm256_permute2x128_si256(part[1], part[2], 0x31));
    }
    return x;
}

bool has_avx2() {
    static const bool yes = __builtin_cpu_supports("avx2");
    return yes;
}

#endif

// Byte lines: whole steps with AVX2 where the processor has it, the rest by
// the plain loops.
void split_line(const uint8_t* in, uint8_t* p0, uint8_t* p1, uint8_t* p2, int32_t width) {
#if OZU_LINE_X86
    const int32_t done = has_avx2() ? split_bytes_avx2(in, p0, p1, p2, width) : 0;
#else
    const int32_t done = 0;
#endif
    split_plain(in + 3 * done, p0 + done, p1 + done, p2 + done, width - done);
}

void join_line(const uint8_t* p0, const uint8_t* p1, const uint8_t* p2, uint8_t* out,
               int32_t width) {
#if OZU_LINE_X86
    const int32_t done = has_avx2() ? join_bytes_avx2(p0, p1, p2, out, width) : 0;
#else
    const int32_t done = 0;
#endif
    join_plain(p0 + done, p1 + done, p2 + done, out + 3 * done, width - done);
}

void split_line(const uint16_t* in, uint16_t* p0, uint16_t* p1, uint16_t* p2, int32_t width) {
    split_plain(in, p0, p1, p2, width);
}

void join_line(const uint16_t* p0, const uint16_t* p1, const uint16_t* p2, uint16_t* out,
               int32_t width) {
    join_plain(p0, p1, p2, out, width);
}

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
