// Line loops of the point operations.
//
// The bitwise loops are written once, as blocks of 32 bytes that are read
// whole into vector values before the block is written, so a result that is
// one of its operands is still read before it is written.
// The same body is compiled for the baseline (SSE2 on x86-64, NEON on ARM)
// and, with the AVX2 target on the calling function, for 256-bit vectors.
//
// The 256-entry byte table has no plain vector form: on processors with
// AVX-512 VBMI two 128-entry byte permutes and a blend on the top index bit
// look up 64 bytes at once; with AVX2 (SSSE3) sixteen 16-entry byte shuffles
// look up 32 (16); on ARM four 64-entry lookups of four registers each look
// up 16; elsewhere the plain loop runs.
#include "point_kernels.h"

#include <cstring>

#include "isa.h"

#if OZU_BASE_X86
#include <immintrin.h>
#endif
#if OZU_BASE_NEON
#include <arm_neon.h>
#endif

namespace ozu::base {
namespace {

// 32 bytes as one value of the compiler's generic vectors: one register of
// a 256-bit target, two of the baseline's 128-bit ones.
typedef uint8_t Bytes32 __attribute__((vector_size(32)));
constexpr std::size_t kBlock = sizeof(Bytes32);

template <Bitwise Op>
inline __attribute__((always_inline)) void bitwise_body(const uint8_t* a, const uint8_t* b,
                                                        uint8_t* r, std::size_t bytes) {
    std::size_t k = 0;
    for (; k + kBlock <= bytes; k += kBlock) {
        Bytes32 x;
        Bytes32 y;
        std::memcpy(&x, a + k, kBlock);
        if constexpr (Op != Bitwise::kNot) std::memcpy(&y, b + k, kBlock);
        if constexpr (Op == Bitwise::kOr) x |= y;
        if constexpr (Op == Bitwise::kAnd) x &= y;
        if constexpr (Op == Bitwise::kNot) x = ~x;
        std::memcpy(r + k, &x, kBlock);
    }
    for (; k < bytes; ++k) {
        if constexpr (Op == Bitwise::kOr) r[k] = uint8_t(a[k] | b[k]);
        if constexpr (Op == Bitwise::kAnd) r[k] = uint8_t(a[k] & b[k]);
        if constexpr (Op == Bitwise::kNot) r[k] = uint8_t(~a[k]);
    }
}

template <Bitwise Op>
void bitwise_baseline(const uint8_t* a, const uint8_t* b, uint8_t* r, std::size_t bytes) {
    bitwise_body<Op>(a, b, r, bytes);
}

#if OZU_BASE_X86
template <Bitwise Op>
OZU_BASE_TARGET_AVX2 void bitwise_avx2(const uint8_t* a, const uint8_t* b, uint8_t* r,
                                       std::size_t bytes) {
    bitwise_body<Op>(a, b, r, bytes);
}

// A 256-entry byte table by its sixteen rows of sixteen: each row looked up
// by the low index nibble (one byte shuffle per row), kept in the lanes
// whose high nibble names the row.
OZU_BASE_TARGET_AVX2 void map_bytes_avx2(const uint8_t* in, uint8_t* out, std::size_t count,
                                         const uint8_t* table) {
    __m256i rows[16];
    for (int k = 0; k < 16; ++k)
        rows[k] = _mm256_broadcastsi128_si256(
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 16 * k)));
    const __m256i nibble = _mm256_set1_epi8(0x0F);
    std::size_t k = 0;
    for (; k + 32 <= count; k += 32) {
        const __m256i idx = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + k));
        const __m256i low = _mm256_and_si256(idx, nibble);
        const __m256i high = _mm256_and_si256(_mm256_srli_epi16(idx, 4), nibble);
        __m256i result = _mm256_setzero_si256();
        for (int row = 0; row < 16; ++row) {
            const __m256i here = _mm256_cmpeq_epi8(high, _mm256_set1_epi8(char(row)));
            result = _mm256_or_si256(result,
                                     _mm256_and_si256(_mm256_shuffle_epi8(rows[row], low), here));
        }
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + k), result);
    }
    for (; k < count; ++k) out[k] = table[in[k]];
}

// The same with 128-bit shuffles (SSSE3), 16 bytes at a time.
OZU_BASE_TARGET_SSE4 void map_bytes_sse4(const uint8_t* in, uint8_t* out, std::size_t count,
                                         const uint8_t* table) {
    __m128i rows[16];
    for (int k = 0; k < 16; ++k)
        rows[k] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(table + 16 * k));
    const __m128i nibble = _mm_set1_epi8(0x0F);
    std::size_t k = 0;
    for (; k + 16 <= count; k += 16) {
        const __m128i idx = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + k));
        const __m128i low = _mm_and_si128(idx, nibble);
        const __m128i high = _mm_and_si128(_mm_srli_epi16(idx, 4), nibble);
        __m128i result = _mm_setzero_si128();
        for (int row = 0; row < 16; ++row) {
            const __m128i here = _mm_cmpeq_epi8(high, _mm_set1_epi8(char(row)));
            result = _mm_or_si128(result, _mm_and_si128(_mm_shuffle_epi8(rows[row], low), here));
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + k), result);
    }
    for (; k < count; ++k) out[k] = table[in[k]];
}

OZU_BASE_TARGET_AVX512VBMI void map_bytes_vbmi(const uint8_t* in, uint8_t* out,
                                               std::size_t count, const uint8_t* table) {
    const __m512i t0 = _mm512_loadu_si512(table);
    const __m512i t1 = _mm512_loadu_si512(table + 64);
    const __m512i t2 = _mm512_loadu_si512(table + 128);
    const __m512i t3 = _mm512_loadu_si512(table + 192);
    std::size_t k = 0;
    for (; k + 64 <= count; k += 64) {
        const __m512i idx = _mm512_loadu_si512(in + k);
        // Entries 0..127 and 128..255 by the low seven index bits; the top
        // bit picks between them.
        const __m512i low = _mm512_permutex2var_epi8(t0, idx, t1);
        const __m512i high = _mm512_permutex2var_epi8(t2, idx, t3);
        const __mmask64 top = _mm512_movepi8_mask(idx);
        _mm512_storeu_si512(out + k, _mm512_mask_blend_epi8(top, low, high));
    }
    if (k < count) {
        // The last bytes under a mask: nothing past `count` is read or written.
        const __mmask64 live = ~uint64_t{0} >> (64 - (count - k));
        const __m512i idx = _mm512_maskz_loadu_epi8(live, in + k);
        const __m512i low = _mm512_permutex2var_epi8(t0, idx, t1);
        const __m512i high = _mm512_permutex2var_epi8(t2, idx, t3);
        const __mmask64 top = _mm512_movepi8_mask(idx);
        _mm512_mask_storeu_epi8(out + k, live, _mm512_mask_blend_epi8(top, low, high));
    }
}
#endif

#if OZU_BASE_NEON
// Four quarters of the table, 64 entries in four registers each. An index
// outside a lookup's 64 entries leaves the lane as it was (the extending
// form, vqtbx4q), so each quarter fills only the lanes of its own indices:
// the first by the index itself, the others by the index less 64, 128, 192,
// which wraps the earlier quarters' indices out of range.
void map_bytes_neon(const uint8_t* in, uint8_t* out, std::size_t count, const uint8_t* table) {
    const uint8x16x4_t q0 = vld1q_u8_x4(table);
    const uint8x16x4_t q1 = vld1q_u8_x4(table + 64);
    const uint8x16x4_t q2 = vld1q_u8_x4(table + 128);
    const uint8x16x4_t q3 = vld1q_u8_x4(table + 192);
    const uint8x16_t quarter = vdupq_n_u8(64);
    std::size_t k = 0;
    for (; k + 16 <= count; k += 16) {
        const uint8x16_t idx = vld1q_u8(in + k);
        uint8x16_t r = vqtbl4q_u8(q0, idx);
        const uint8x16_t i1 = vsubq_u8(idx, quarter);
        r = vqtbx4q_u8(r, q1, i1);
        const uint8x16_t i2 = vsubq_u8(i1, quarter);
        r = vqtbx4q_u8(r, q2, i2);
        r = vqtbx4q_u8(r, q3, vsubq_u8(i2, quarter));
        vst1q_u8(out + k, r);
    }
    for (; k < count; ++k) out[k] = table[in[k]];
}
#endif

}  // namespace

void bitwise_bytes_plain(Bitwise op, const uint8_t* a, const uint8_t* b, uint8_t* r,
                         std::size_t bytes) noexcept {
    for (std::size_t k = 0; k < bytes; ++k) {
        switch (op) {
            case Bitwise::kOr: r[k] = uint8_t(a[k] | b[k]); break;
            case Bitwise::kAnd: r[k] = uint8_t(a[k] & b[k]); break;
            case Bitwise::kNot: r[k] = uint8_t(~a[k]); break;
        }
    }
}

void map_bytes_plain(const uint8_t* in, uint8_t* out, std::size_t count,
                     const uint8_t* table) noexcept {
    for (std::size_t k = 0; k < count; ++k) out[k] = table[in[k]];
}

void bitwise_bytes(Bitwise op, const uint8_t* a, const uint8_t* b, uint8_t* r,
                   std::size_t bytes) noexcept {
#if OZU_BASE_X86
    if (isa_allows(Isa::kAvx2)) {
        switch (op) {
            case Bitwise::kOr: bitwise_avx2<Bitwise::kOr>(a, b, r, bytes); return;
            case Bitwise::kAnd: bitwise_avx2<Bitwise::kAnd>(a, b, r, bytes); return;
            case Bitwise::kNot: bitwise_avx2<Bitwise::kNot>(a, b, r, bytes); return;
        }
    }
#endif
    if (!isa_allows(Isa::kBaseline)) {
        bitwise_bytes_plain(op, a, b, r, bytes);
        return;
    }
    switch (op) {
        case Bitwise::kOr: bitwise_baseline<Bitwise::kOr>(a, b, r, bytes); return;
        case Bitwise::kAnd: bitwise_baseline<Bitwise::kAnd>(a, b, r, bytes); return;
        case Bitwise::kNot: bitwise_baseline<Bitwise::kNot>(a, b, r, bytes); return;
    }
}

void map_bytes(const uint8_t* in, uint8_t* out, std::size_t count,
               const uint8_t* table) noexcept {
#if OZU_BASE_X86
    if (isa_allows(Isa::kAvx512Vbmi)) {
        map_bytes_vbmi(in, out, count, table);
        return;
    }
    if (isa_allows(Isa::kAvx2)) {
        map_bytes_avx2(in, out, count, table);
        return;
    }
    if (isa_allows(Isa::kSse4)) {
        map_bytes_sse4(in, out, count, table);
        return;
    }
#endif
#if OZU_BASE_NEON
    if (isa_allows(Isa::kBaseline)) {
        map_bytes_neon(in, out, count, table);
        return;
    }
#endif
    map_bytes_plain(in, out, count, table);
}

}  // namespace ozu::base
