// The twist line kernel on 128-bit integer vectors (SSE4.1), 8 pixels a
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

#define OZU_TWIST_TARGET __attribute__((target("sse4.1")))

namespace ozu::sse4 {
namespace {

using V = __m128i;
constexpr int32_t kBlock = 8;

OZU_TWIST_TARGET inline V load_block(const uint8_t* p) {
    return _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}
OZU_TWIST_TARGET inline V load_block(const int8_t* p) {
    return _mm_cvtepi8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}
OZU_TWIST_TARGET inline V load_block(const int16_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
OZU_TWIST_TARGET inline V load_block(const uint16_t* p) {
    return _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)),
                         _mm_set1_epi16(int16_t(0x8000)));
}

OZU_TWIST_TARGET inline V unpack_lo16(V a, V b) { return _mm_unpacklo_epi16(a, b); }
OZU_TWIST_TARGET inline V unpack_hi16(V a, V b) { return _mm_unpackhi_epi16(a, b); }
OZU_TWIST_TARGET inline V madd16(V a, V b) { return _mm_madd_epi16(a, b); }
OZU_TWIST_TARGET inline V mullo32(V a, V b) { return _mm_mullo_epi32(a, b); }
OZU_TWIST_TARGET inline V add32(V a, V b) { return _mm_add_epi32(a, b); }
template <int N>
OZU_TWIST_TARGET inline V srai32(V a) {
    return _mm_srai_epi32(a, N);
}
OZU_TWIST_TARGET inline V set32(int32_t v) { return _mm_set1_epi32(v); }
OZU_TWIST_TARGET inline V set16(int16_t v) { return _mm_set1_epi16(v); }
OZU_TWIST_TARGET inline V vzero() { return _mm_setzero_si128(); }

// Streamed stores for the 16-byte blocks of 16-bit destinations; the 8-byte
// blocks of 8-bit ones have no streamed store and are written as usual.
template <bool kStream>
OZU_TWIST_TARGET inline void put128(void* p, V v) {
    if constexpr (kStream)
        _mm_stream_si128(static_cast<__m128i*>(p), v);
    else
        _mm_storeu_si128(static_cast<__m128i*>(p), v);
}

template <bool kStream>
OZU_TWIST_TARGET inline void store_block(uint8_t* p, V lo, V hi) {
    const V w = _mm_packs_epi32(lo, hi);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(w, w));
}
template <bool kStream>
OZU_TWIST_TARGET inline void store_block(int8_t* p, V lo, V hi) {
    const V w = _mm_packs_epi32(lo, hi);
    const V b = _mm_max_epi8(_mm_packs_epi16(w, w), _mm_setzero_si128());
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), b);
}
template <bool kStream>
OZU_TWIST_TARGET inline void store_block(uint16_t* p, V lo, V hi) {
    put128<kStream>(p, _mm_packus_epi32(lo, hi));
}
template <bool kStream>
OZU_TWIST_TARGET inline void store_block(int16_t* p, V lo, V hi) {
    put128<kStream>(p, _mm_max_epi16(_mm_packs_epi32(lo, hi), _mm_setzero_si128()));
}

OZU_TWIST_TARGET inline void store_fence() { _mm_sfence(); }

}  // namespace
}  // namespace ozu::sse4

#define OZU_TWIST_NS sse4
#include "transform/twist_kernel_x86-inl.h"
#undef OZU_TWIST_NS
#undef OZU_TWIST_TARGET

#endif
