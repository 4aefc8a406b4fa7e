// The twist line kernel on 256-bit integer vectors (AVX2), 16 pixels a
// block; the body is twist_kernel_x86-inl.h.
#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "convert/line_kernel.h"
#include "frame/fixed_point.h"
#include "frame/pixel_types.h"
#include "transform/twist_kernel.h"
#include "transform/twist_kernel_simd.h"

#define OZU_TWIST_TARGET __attribute__((target("avx2")))

namespace ozu::avx2 {
namespace {

using V = __m256i;
constexpr int32_t kBlock = 16;

OZU_TWIST_TARGET inline V load_block(const uint8_t* p) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}
OZU_TWIST_TARGET inline V load_block(const int8_t* p) {
    return _mm256_cvtepi8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}
OZU_TWIST_TARGET inline V load_block(const int16_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}
OZU_TWIST_TARGET inline V load_block(const uint16_t* p) {
    return _mm256_xor_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)),
                            _mm256_set1_epi16(int16_t(0x8000)));
}

OZU_TWIST_TARGET inline V unpack_lo16(V a, V b) { return _mm256_unpacklo_epi16(a, b); }
OZU_TWIST_TARGET inline V unpack_hi16(V a, V b) { return _mm256_unpackhi_epi16(a, b); }
OZU_TWIST_TARGET inline V madd16(V a, V b) { return _mm256_madd_epi16(a, b); }
OZU_TWIST_TARGET inline V mullo32(V a, V b) { return _mm256_mullo_epi32(a, b); }
OZU_TWIST_TARGET inline V add32(V a, V b) { return _mm256_add_epi32(a, b); }
template <int N>
OZU_TWIST_TARGET inline V srai32(V a) {
    return _mm256_srai_epi32(a, N);
}
OZU_TWIST_TARGET inline V set32(int32_t v) { return _mm256_set1_epi32(v); }
OZU_TWIST_TARGET inline V set16(int16_t v) { return _mm256_set1_epi16(v); }
OZU_TWIST_TARGET inline V vzero() { return _mm256_setzero_si256(); }

// With kStream the stores bypass the caches (the caller has checked the
// alignment): a large image's destination is then written without first
// being read into the cache.
template <bool kStream>
OZU_TWIST_TARGET inline void put128(void* p, __m128i v) {
    if constexpr (kStream)
        _mm_stream_si128(static_cast<__m128i*>(p), v);
    else
        _mm_storeu_si128(static_cast<__m128i*>(p), v);
}
template <bool kStream>
OZU_TWIST_TARGET inline void put256(void* p, V v) {
    if constexpr (kStream)
        _mm256_stream_si256(static_cast<__m256i*>(p), v);
    else
        _mm256_storeu_si256(static_cast<__m256i*>(p), v);
}

template <bool kStream>
OZU_TWIST_TARGET inline void store_block(uint8_t* p, V lo, V hi) {
    const V w = _mm256_packs_epi32(lo, hi);
    put128<kStream>(p, _mm_packus_epi16(_mm256_castsi256_si128(w), _mm256_extracti128_si256(w, 1)));
}
template <bool kStream>
OZU_TWIST_TARGET inline void store_block(int8_t* p, V lo, V hi) {
    const V w = _mm256_packs_epi32(lo, hi);
    const __m128i b = _mm_packs_epi16(_mm256_castsi256_si128(w), _mm256_extracti128_si256(w, 1));
    put128<kStream>(p, _mm_max_epi8(b, _mm_setzero_si128()));
}
template <bool kStream>
OZU_TWIST_TARGET inline void store_block(uint16_t* p, V lo, V hi) {
    put256<kStream>(p, _mm256_packus_epi32(lo, hi));
}
template <bool kStream>
OZU_TWIST_TARGET inline void store_block(int16_t* p, V lo, V hi) {
    put256<kStream>(p, _mm256_max_epi16(_mm256_packs_epi32(lo, hi), _mm256_setzero_si256()));
}

OZU_TWIST_TARGET inline void store_fence() { _mm_sfence(); }

}  // namespace
}  // namespace ozu::avx2

#define OZU_TWIST_NS avx2
#include "transform/twist_kernel_x86-inl.h"
#undef OZU_TWIST_NS
#undef OZU_TWIST_TARGET

#endif
