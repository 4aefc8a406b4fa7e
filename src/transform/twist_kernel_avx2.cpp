// The twist line kernel on 256-bit integer vectors (AVX2).
//
// Every function here carries the AVX2 target itself rather than the file
// being compiled with -mavx2: inline helpers shared with the rest of the
// library (fixed_point.h, the scalar kernel for the tail) are then compiled
// for the baseline in this file too, so no copy of them that the linker might
// pick for baseline callers contains AVX2 instructions. The vector helpers
// live in an unnamed namespace and the entry points in ozu::avx2, so none of
// them shares a symbol with anything compiled for another target.
#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "convert/line_kernel.h"
#include "frame/fixed_point.h"
#include "frame/pixel_types.h"
#include "transform/twist_kernel.h"
#include "transform/twist_kernel_simd.h"

#define OZU_AVX2 __attribute__((target("avx2")))

namespace ozu::avx2 {
namespace {

// ----------------------------------------------------------------- loading
//
// 16 source pixels as signed 16-bit lanes in pixel order. Unsigned 16-bit
// pixels do not fit: they are moved down by 32768 (the top bit flipped), and
// the constant of the sum gives back 32768 x (the three weights).

OZU_AVX2 inline __m256i load16(const uint8_t* p) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}
OZU_AVX2 inline __m256i load16(const int8_t* p) {
    return _mm256_cvtepi8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}
OZU_AVX2 inline __m256i load16(const int16_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
OZU_AVX2 inline __m256i load16(const uint16_t* p) {
    return _mm256_xor_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)),
                            _mm256_set1_epi16(int16_t(0x8000)));
}

template <class S>
constexpr int32_t kBias = std::is_same_v<S, uint16_t> ? 32768 : 0;

// ----------------------------------------------------------------- storing
//
// The 32-bit results come in two vectors as the 16-bit unpacks leave them:
// `lo` holds pixels 0-3 and 8-11, `hi` pixels 4-7 and 12-15. The packs undo
// that order and do the clamp to 0 .. dstMax with their saturation: the signed
// pack to 16 bits keeps every value's sign and every value inside -32768..
// 32767, so the second saturation (or a maximum with 0) finishes the clamp.

// With kStream the stores bypass the caches (the caller has checked the
// alignment): a large image's destination is then written without first
// being read into the cache.
template <bool kStream>
OZU_AVX2 inline void put128(void* p, __m128i v) {
    if constexpr (kStream)
        _mm_stream_si128(static_cast<__m128i*>(p), v);
    else
        _mm_storeu_si128(static_cast<__m128i*>(p), v);
}
template <bool kStream>
OZU_AVX2 inline void put256(void* p, __m256i v) {
    if constexpr (kStream)
        _mm256_stream_si256(static_cast<__m256i*>(p), v);
    else
        _mm256_storeu_si256(static_cast<__m256i*>(p), v);
}

template <bool kStream>
OZU_AVX2 inline void store16(uint8_t* p, __m256i lo, __m256i hi) {
    const __m256i w = _mm256_packs_epi32(lo, hi);
    put128<kStream>(p, _mm_packus_epi16(_mm256_castsi256_si128(w), _mm256_extracti128_si256(w, 1)));
}
template <bool kStream>
OZU_AVX2 inline void store16(int8_t* p, __m256i lo, __m256i hi) {
    const __m256i w = _mm256_packs_epi32(lo, hi);
    const __m128i b = _mm_packs_epi16(_mm256_castsi256_si128(w), _mm256_extracti128_si256(w, 1));
    put128<kStream>(p, _mm_max_epi8(b, _mm_setzero_si128()));
}
template <bool kStream>
OZU_AVX2 inline void store16(uint16_t* p, __m256i lo, __m256i hi) {
    put256<kStream>(p, _mm256_packus_epi32(lo, hi));
}
template <bool kStream>
OZU_AVX2 inline void store16(int16_t* p, __m256i lo, __m256i hi) {
    put256<kStream>(p, _mm256_max_epi16(_mm256_packs_epi32(lo, hi), _mm256_setzero_si256()));
}

// ----------------------------------------------------------------- the sums
//
// The scalar kernel's sum is s0 m[i] + s1 m[4+i] + s2 m[8+i] + (m[12+i] << 13)
// modulo 2^32. Two ways give the same residue:
//
// - Pairs: when the nine weights fit in 16 bits, vpmaddwd forms s0 m[i] +
//   s1 m[4+i] from (s0, s1) pairs in one step. Both products are exact in
//   32 bits; only (-32768)^2 twice overflows, to -2^31, which is 2^31 modulo
//   2^32 all the same. The third product pairs s2 with the constant: when the
//   constant is 8192 t with t in 16 bits, (s2, 8192) x (m[8+i], t) adds it at
//   no cost; otherwise it is added on its own.
// - Products: any weights, one 32-bit multiply (low half, modulo 2^32) per
//   product.

enum class SumForm { kPairsFolded, kPairs, kProducts };

struct PlaneWeights {
    __m256i w01;    // (m[i], m[4+i]) as 16-bit pairs, or m[i]
    __m256i w2;     // (m[8+i], t) as 16-bit pairs, or m[8+i]
    __m256i w1;     // m[4+i] (products only)
    __m256i offset; // the constant, when it is not folded
};

template <class S, class D, SumForm F, bool kStream>
OZU_AVX2 void twist_body(const S* s0, const S* s1, const S* s2, D* d0, D* d1, D* d2,
                         int32_t blocks, const int32_t* matrix) {
    // The range factor is that of the two types: it is what tmpl_twist
    // passes, and the caller has checked that it was given exactly that.
    constexpr int32_t kScale = range_factor(pixel_max<S>, pixel_max<D>);
    const __m256i scale = _mm256_set1_epi32(kScale);

    PlaneWeights w[3];
    for (int i = 0; i < 3; ++i) {
        // The constant of the sum: the offset row shifted up by 13, plus
        // what the moved-down unsigned 16-bit samples lost.
        const int64_t weights = int64_t{matrix[i]} + matrix[4 + i] + matrix[8 + i];
        const int32_t constant =
            wadd(wshl(matrix[12 + i], kFixBits), wmul(kBias<S>, static_cast<int32_t>(weights)));
        if constexpr (F == SumForm::kProducts) {
            w[i].w01 = _mm256_set1_epi32(matrix[i]);
            w[i].w1 = _mm256_set1_epi32(matrix[4 + i]);
            w[i].w2 = _mm256_set1_epi32(matrix[8 + i]);
            w[i].offset = _mm256_set1_epi32(constant);
        } else {
            const auto pair = [](int32_t low, int32_t high) {
                return static_cast<int32_t>((static_cast<uint32_t>(low) & 0xFFFFu) |
                                            (static_cast<uint32_t>(high) << 16));
            };
            const int32_t folded = static_cast<int32_t>(
                int64_t{matrix[12 + i]} + (kBias<S> != 0 ? 4 * weights : 0));
            w[i].w01 = _mm256_set1_epi32(pair(matrix[i], matrix[4 + i]));
            w[i].w2 = _mm256_set1_epi32(
                pair(matrix[8 + i], F == SumForm::kPairsFolded ? folded : 0));
            w[i].w1 = _mm256_setzero_si256();
            w[i].offset = _mm256_set1_epi32(F == SumForm::kPairsFolded ? 0 : constant);
        }
    }
    // The partner of s2 in its pairs: 8192 carries the folded constant.
    const __m256i partner =
        _mm256_set1_epi16(F == SumForm::kPairsFolded ? int16_t{kFixOne} : int16_t{0});
    const __m256i zero = _mm256_setzero_si256();

    D* const out[3] = {d0, d1, d2};
    for (int32_t b = 0; b < blocks; ++b) {
        const std::ptrdiff_t x = std::ptrdiff_t{b} * 16;
        const __m256i x0 = load16(s0 + x);
        const __m256i x1 = load16(s1 + x);
        const __m256i x2 = load16(s2 + x);
        __m256i in[6];
        if constexpr (F == SumForm::kProducts) {
            // Each 16-bit lane into the top half of a 32-bit lane, then down
            // again with its sign.
            in[0] = _mm256_srai_epi32(_mm256_unpacklo_epi16(zero, x0), 16);
            in[1] = _mm256_srai_epi32(_mm256_unpackhi_epi16(zero, x0), 16);
            in[2] = _mm256_srai_epi32(_mm256_unpacklo_epi16(zero, x1), 16);
            in[3] = _mm256_srai_epi32(_mm256_unpackhi_epi16(zero, x1), 16);
            in[4] = _mm256_srai_epi32(_mm256_unpacklo_epi16(zero, x2), 16);
            in[5] = _mm256_srai_epi32(_mm256_unpackhi_epi16(zero, x2), 16);
        } else {
            in[0] = _mm256_unpacklo_epi16(x0, x1);
            in[1] = _mm256_unpackhi_epi16(x0, x1);
            in[2] = _mm256_unpacklo_epi16(x2, partner);
            in[3] = _mm256_unpackhi_epi16(x2, partner);
        }
        for (int i = 0; i < 3; ++i) {
            __m256i lo, hi;
            if constexpr (F == SumForm::kProducts) {
                lo = _mm256_add_epi32(
                    _mm256_add_epi32(_mm256_mullo_epi32(in[0], w[i].w01),
                                     _mm256_mullo_epi32(in[2], w[i].w1)),
                    _mm256_add_epi32(_mm256_mullo_epi32(in[4], w[i].w2), w[i].offset));
                hi = _mm256_add_epi32(
                    _mm256_add_epi32(_mm256_mullo_epi32(in[1], w[i].w01),
                                     _mm256_mullo_epi32(in[3], w[i].w1)),
                    _mm256_add_epi32(_mm256_mullo_epi32(in[5], w[i].w2), w[i].offset));
            } else {
                lo = _mm256_add_epi32(_mm256_madd_epi16(in[0], w[i].w01),
                                      _mm256_madd_epi16(in[2], w[i].w2));
                hi = _mm256_add_epi32(_mm256_madd_epi16(in[1], w[i].w01),
                                      _mm256_madd_epi16(in[3], w[i].w2));
                if constexpr (F == SumForm::kPairs) {
                    lo = _mm256_add_epi32(lo, w[i].offset);
                    hi = _mm256_add_epi32(hi, w[i].offset);
                }
            }
            // a = sum >> 13 lies in -2^18 .. 2^18 - 1, so a x 8192 never
            // wraps and the same-range factor leaves a as it is.
            lo = _mm256_srai_epi32(lo, kFixBits);
            hi = _mm256_srai_epi32(hi, kFixBits);
            if constexpr (kScale != kFixOne) {
                lo = _mm256_srai_epi32(_mm256_mullo_epi32(lo, scale), kFixBits);
                hi = _mm256_srai_epi32(_mm256_mullo_epi32(hi, scale), kFixBits);
            }
            store16<kStream>(out[i] + x, lo, hi);
        }
    }
}

bool fits16(int32_t v) { return v >= -32768 && v <= 32767; }

template <class S, class D, bool kStream>
OZU_AVX2 bool twist_run(const S* const* srcPlanes, D* const* dstPlanes, int32_t count,
                         int32_t srcMax, int32_t dstMax, const int32_t* matrix) {
    // The vector body knows the ranges of the types only; any other range
    // stays with the scalar kernel.
    if (srcMax != pixel_max<S> || dstMax != pixel_max<D>)
        return sub4x4MatMult<S, D>(srcPlanes, dstPlanes, count, srcMax, dstMax, matrix);
    if (count <= 0) return true;
    int32_t blocks = count / 16;

    // Planes that overlap at an offset would see the order of reads and
    // writes; those lines keep the scalar kernel's pixel-by-pixel order.
    const void* const srcAt[3] = {srcPlanes[0], srcPlanes[1], srcPlanes[2]};
    const void* const dstAt[3] = {dstPlanes[0], dstPlanes[1], dstPlanes[2]};
    if (!twist_planes_apart(srcAt, sizeof(S), dstAt, sizeof(D), count)) blocks = 0;

    if (blocks > 0) {
        bool pairs = true;
        for (int k = 0; k < 11; ++k)
            if ((k & 3) != 3 && !fits16(matrix[k])) pairs = false;
        bool folded = true;
        for (int i = 0; i < 3; ++i) {
            const int64_t t = int64_t{matrix[12 + i]} +
                              (kBias<S> != 0 ? 4 * (int64_t{matrix[i]} + matrix[4 + i] +
                                                    matrix[8 + i])
                                             : 0);
            if (t < -32768 || t > 32767) folded = false;
        }
        const S* s[3] = {srcPlanes[0], srcPlanes[1], srcPlanes[2]};
        if (pairs && folded)
            twist_body<S, D, SumForm::kPairsFolded, kStream>(s[0], s[1], s[2], dstPlanes[0], dstPlanes[1],
                                                    dstPlanes[2], blocks, matrix);
        else if (pairs)
            twist_body<S, D, SumForm::kPairs, kStream>(s[0], s[1], s[2], dstPlanes[0], dstPlanes[1],
                                              dstPlanes[2], blocks, matrix);
        else
            twist_body<S, D, SumForm::kProducts, kStream>(s[0], s[1], s[2], dstPlanes[0], dstPlanes[1],
                                                 dstPlanes[2], blocks, matrix);
    }

    // Streamed stores are ordered with everything after them only by a fence.
    if constexpr (kStream) _mm_sfence();
    const int32_t done = blocks * 16;
    if (done == count) return true;
    const S* tailSrc[3];
    D* tailDst[3];
    for (int p = 0; p < 3; ++p) {
        tailSrc[p] = srcPlanes[p] + done;
        tailDst[p] = dstPlanes[p] + done;
    }
    return sub4x4MatMult<S, D>(tailSrc, tailDst, count - done, srcMax, dstMax, matrix);
}

}  // namespace

template <class S, class D>
OZU_AVX2 bool twist_line(const S* const* srcPlanes, D* const* dstPlanes, int32_t count,
                         int32_t srcMax, int32_t dstMax, const int32_t* matrix) {
    return twist_run<S, D, false>(srcPlanes, dstPlanes, count, srcMax, dstMax, matrix);
}

template <class S, class D>
OZU_AVX2 bool twist_line_streamed(const S* const* srcPlanes, D* const* dstPlanes,
                                  int32_t count, int32_t srcMax, int32_t dstMax,
                                  const int32_t* matrix) {
    // A block's store covers 16 elements: aligned to their size when every
    // destination line starts so aligned.
    for (int p = 0; p < 3; ++p)
        if (reinterpret_cast<std::uintptr_t>(dstPlanes[p]) % (16 * sizeof(D)) != 0)
            return twist_run<S, D, false>(srcPlanes, dstPlanes, count, srcMax, dstMax, matrix);
    return twist_run<S, D, true>(srcPlanes, dstPlanes, count, srcMax, dstMax, matrix);
}

#define OZU_X(S, D)                                                                      \
    template bool twist_line<S, D>(const S* const*, D* const*, int32_t, int32_t, int32_t, \
                                   const int32_t*);                                        \
    template bool twist_line_streamed<S, D>(const S* const*, D* const*, int32_t, int32_t,  \
                                            int32_t, const int32_t*);
OZU_ALL_PIXEL_PAIRS(OZU_X)
#undef OZU_X

}  // namespace ozu::avx2

#endif
