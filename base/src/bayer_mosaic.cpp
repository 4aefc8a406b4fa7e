// BayerMosaicConversion / CBMConvert: bilinear demosaic of an 8-bit Bayer
// mosaic into packed RGB32 or 8-bit grey, through per-channel look-up tables.
//
// The image is walked line by line with three line pointers (above, current,
// below). Reflection at the top and bottom only changes which lines those
// pointers name, so every line runs the same code; within a line the interior
// pixels take a branch-free path over pairs of sites, and only the first and
// last pixel use reflected column indices. The output format is a template
// parameter: no per-pixel virtual call and no allocation.
#include <ozu/bayer.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "isa.h"

#if OZU_BASE_X86
#include <immintrin.h>
#endif
#if OZU_BASE_NEON
#include <arm_neon.h>
#endif

namespace {

// What a pixel must interpolate depends on its own colour and, for green, on
// which colour shares its line (that one lies left and right of it, the other
// above and below).
enum class Site { Red, Blue, GreenOnRedLine, GreenOnBlueLine };

enum Colour { R, G, B };

// Colours of the top-left 2x2 cell per parity, index (y & 1) * 2 + (x & 1).
constexpr Colour kCell[4][4] = {
    {G, R, B, G},  // 0: G R / B G
    {R, G, G, B},  // 1: R G / G B
    {B, G, G, R},  // 2: B G / G R
    {G, B, R, G},  // 3: G B / R G
};

Site site_of(int32_t parity, int32_t x, int32_t y) {
    const Colour* line = kCell[parity] + (y & 1) * 2;
    switch (line[x & 1]) {
        case R: return Site::Red;
        case B: return Site::Blue;
        case G: break;
    }
    return line[(x & 1) ^ 1] == R ? Site::GreenOnRedLine : Site::GreenOnBlueLine;
}

struct Rgb {
    uint32_t r, g, b;
};

// The three source lines around the current one.
struct Lines {
    const uint8_t* up;
    const uint8_t* mid;
    const uint8_t* down;
};

// Demosaiced samples of pixel x, given the columns xl and xr to its left and
// right (x - 1 and x + 1 inside, reflected at the borders). The divisions are
// of non-negative integers, so "+ 1) / 2" and "+ 2) / 4" round half up.
template <Site S>
inline Rgb interpolate(const Lines& l, size_t xl, size_t x, size_t xr) {
    const uint8_t* u = l.up;
    const uint8_t* m = l.mid;
    const uint8_t* d = l.down;
    if constexpr (S == Site::Red || S == Site::Blue) {
        const uint32_t own = m[x];
        const uint32_t cross = (uint32_t(u[x]) + d[x] + m[xl] + m[xr] + 2) / 4;
        const uint32_t diagonal = (uint32_t(u[xl]) + u[xr] + d[xl] + d[xr] + 2) / 4;
        if constexpr (S == Site::Red) {
            return {own, cross, diagonal};
        } else {
            return {diagonal, cross, own};
        }
    } else {
        const uint32_t along = (uint32_t(m[xl]) + m[xr] + 1) / 2;
        const uint32_t across = (uint32_t(u[x]) + d[x] + 1) / 2;
        if constexpr (S == Site::GreenOnRedLine) {
            return {along, m[x], across};
        } else {
            return {across, m[x], along};
        }
    }
}

// One line; E is the site of the even columns, O that of the odd ones.
// Interior columns [x, end) of one line, each with the site of its parity;
// two per step where possible, so that both sites are fixed at compile time.
template <Site E, Site O, class Sink>
size_t interior_columns(const Lines& l, size_t x, size_t end, Sink& sink) {
    if (x < end && (x & 1) == 0) {
        sink(x, interpolate<E>(l, x - 1, x, x + 1));
        ++x;
    }
    for (; x + 1 < end; x += 2) {
        sink(x, interpolate<O>(l, x - 1, x, x + 1));
        sink(x + 1, interpolate<E>(l, x, x + 1, x + 2));
    }
    if (x < end) {
        sink(x, interpolate<O>(l, x - 1, x, x + 1));
        ++x;
    }
    return x;
}

// One line; E is the site of the even columns, O that of the odd ones.
template <Site E, Site O, class Sink>
void demosaic_line(const Lines& l, size_t width, Sink& sink) {
    // Interior columns 1 .. width - 2. The sink may take them from column 1
    // on at once; those it leaves go one by one.
    const size_t x = sink.run(l, width, E == Site::Red || E == Site::Blue,
                              E == Site::Red || E == Site::GreenOnRedLine);
    interior_columns<E, O>(l, x, width - 1, sink);
    // Border columns: column -1 reads column 1, column width reads width - 2.
    sink(0, interpolate<E>(l, 1, 0, 1));
    const size_t last = width - 1;
    if (last & 1) {
        sink(last, interpolate<O>(l, last - 1, last, last - 1));
    } else {
        sink(last, interpolate<E>(l, last - 1, last, last - 1));
    }
}

// Lines [first, end) of the image; the lines around them are read as the
// image's own, so a range gives exactly those lines of the whole.
template <class Sink>
void demosaic(const TIMAGE& src, int32_t parity, Sink& sink, int32_t first, int32_t end) {
    const size_t width = size_t(src.width);
    const int32_t height = src.height;
    const size_t pitch = size_t(src.lineBytes);
    auto line = [&](int32_t y) -> const uint8_t* { return src.pixels + size_t(y) * pitch; };
    for (int32_t y = first; y < end; ++y) {
        // Line -1 reads line 1, line height reads height - 2.
        const Lines l{line(y == 0 ? 1 : y - 1), line(y), line(y == height - 1 ? height - 2 : y + 1)};
        sink.start_line(y);
        switch (site_of(parity, 0, y)) {
            case Site::Red:
                demosaic_line<Site::Red, Site::GreenOnRedLine>(l, width, sink);
                break;
            case Site::GreenOnRedLine:
                demosaic_line<Site::GreenOnRedLine, Site::Red>(l, width, sink);
                break;
            case Site::Blue:
                demosaic_line<Site::Blue, Site::GreenOnBlueLine>(l, width, sink);
                break;
            case Site::GreenOnBlueLine:
                demosaic_line<Site::GreenOnBlueLine, Site::Blue>(l, width, sink);
                break;
        }
    }
}

// Whether all three tables map every value to itself (as they do until
// SetupLUTs, and after it for unit gains and zero offsets).
bool identity_tables(const uint8_t (*lut)[256]) {
    for (int c = 0; c < 3; ++c)
        for (int v = 0; v < 256; ++v)
            if (lut[c][v] != v) return false;
    return true;
}

// Puts `n` pixels of demosaiced samples r, g, b, column x onwards, through
// the tables: packed as R, G, B, 255 at `packed` + 4 x, or into three
// planes at planes[c] + x. The vector runs' way out when the tables are not
// the identity.
inline void pack_through_tables(uint8_t* packed, size_t x, const uint8_t* r, const uint8_t* g,
                                const uint8_t* b, int n, const uint8_t (*lut)[256]) {
    uint8_t* p = packed + 4 * x;
    for (int k = 0; k < n; ++k) {
        p[4 * k] = lut[0][r[k]];
        p[4 * k + 1] = lut[1][g[k]];
        p[4 * k + 2] = lut[2][b[k]];
        p[4 * k + 3] = 255;
    }
}

inline void planes_through_tables(uint8_t* const planes[3], size_t x, const uint8_t* r,
                                  const uint8_t* g, const uint8_t* b, int n,
                                  const uint8_t (*lut)[256]) {
    for (int k = 0; k < n; ++k) {
        planes[0][x + k] = lut[0][r[k]];
        planes[1][x + k] = lut[1][g[k]];
        planes[2][x + k] = lut[2][b[k]];
    }
}

// The vector runs below compute the demosaiced samples of interior columns
// x, x + 1, ... a vector at a time, while the right neighbour of the last
// column of a block is still inside the line, and hand each block's red,
// green and blue vectors to an output (`put`), which packs or spreads them;
// they return the first column not done. The means are those of
// interpolate(), all on bytes: the two-sample ones are the byte average
// (a + b + 1) >> 1, the four-sample ones mean4. Lane k is column x + k, so
// with x odd the colour sites are the odd lanes when the even columns hold
// them. Streamed outputs write around the caches (identity tables only; the
// caller has put x where every store is aligned).

#if OZU_BASE_X86
OZU_BASE_TARGET_AVX2 inline __m256i load32(const uint8_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

// (a + b + c + d + 2) >> 2 on bytes, exactly, without widening: with the
// rounded-up means p = (a + b + 1) >> 1 and q = (c + d + 1) >> 1, the mean
// of p and q rounded up is one too high exactly when p + q is odd and a + b
// or c + d was odd (checked for every a, b, c, d).
OZU_BASE_TARGET_AVX2 inline __m256i mean4(__m256i a, __m256i b, __m256i c, __m256i d) {
    const __m256i p = _mm256_avg_epu8(a, b);
    const __m256i q = _mm256_avg_epu8(c, d);
    const __m256i odd = _mm256_or_si256(_mm256_xor_si256(a, b), _mm256_xor_si256(c, d));
    const __m256i high = _mm256_and_si256(_mm256_and_si256(_mm256_xor_si256(p, q), odd),
                                          _mm256_set1_epi8(1));
    return _mm256_sub_epi8(_mm256_avg_epu8(p, q), high);
}

template <bool kStream>
OZU_BASE_TARGET_AVX2 inline void put32(void* p, __m256i v) {
    if constexpr (kStream)
        _mm256_stream_si256(static_cast<__m256i*>(p), v);
    else
        _mm256_storeu_si256(static_cast<__m256i*>(p), v);
}

OZU_BASE_TARGET_AVX2 void store_fence() { _mm_sfence(); }

// 32 columns a step.
template <class Put>
OZU_BASE_TARGET_AVX2 size_t run_avx2(const Lines& l, size_t x, size_t width, bool colourAtEven,
                                     bool redLine, const Put& put) {
    const bool colourOnEvenLanes = (x & 1) == 0 ? colourAtEven : !colourAtEven;
    const __m256i evenLanes = _mm256_set1_epi16(0x00FF);
    const __m256i colour =
        colourOnEvenLanes ? evenLanes : _mm256_xor_si256(evenLanes, _mm256_set1_epi8(-1));
    // The colour-site lanes from a, the green ones from b.
#define OZU_PICK(a, b) _mm256_blendv_epi8((b), (a), colour)

    for (; x + 33 <= width; x += 32) {
        const __m256i ul = load32(l.up + x - 1), uc = load32(l.up + x);
        const __m256i ur = load32(l.up + x + 1);
        const __m256i ml = load32(l.mid + x - 1), mc = load32(l.mid + x);
        const __m256i mr = load32(l.mid + x + 1);
        const __m256i dl = load32(l.down + x - 1), dc = load32(l.down + x);
        const __m256i dr = load32(l.down + x + 1);
        const __m256i cross = mean4(uc, dc, ml, mr);
        const __m256i diagonal = mean4(ul, ur, dl, dr);
        const __m256i along = _mm256_avg_epu8(ml, mr);
        const __m256i across = _mm256_avg_epu8(uc, dc);
        // On a red line the colour sites are red and the green ones have red
        // beside them; on a blue line the same with red and blue swapped.
        const __m256i beside = OZU_PICK(mc, along);
        const __m256i apart = OZU_PICK(diagonal, across);
        put(x, redLine ? beside : apart, OZU_PICK(cross, mc), redLine ? apart : beside);
    }
#undef OZU_PICK
    return x;
}

template <bool kStream>
struct Rgb32Avx2 {
    uint8_t* out;
    const uint8_t (*lut)[256];
    bool identity;
    OZU_BASE_TARGET_AVX2 void operator()(size_t x, __m256i r, __m256i g, __m256i b) const {
        if (identity) {
            // Within each 128-bit half: pixels 0-7 / 16-23 and 8-15 / 24-31,
            // then four pixels per 32-bit group; the halves are put back in
            // order when stored.
            const __m256i opaque = _mm256_set1_epi8(-1);
            const __m256i rgLow = _mm256_unpacklo_epi8(r, g), rgHigh = _mm256_unpackhi_epi8(r, g);
            const __m256i baLow = _mm256_unpacklo_epi8(b, opaque);
            const __m256i baHigh = _mm256_unpackhi_epi8(b, opaque);
            const __m256i q0 = _mm256_unpacklo_epi16(rgLow, baLow);    // 0-3 | 16-19
            const __m256i q1 = _mm256_unpackhi_epi16(rgLow, baLow);    // 4-7 | 20-23
            const __m256i q2 = _mm256_unpacklo_epi16(rgHigh, baHigh);  // 8-11 | 24-27
            const __m256i q3 = _mm256_unpackhi_epi16(rgHigh, baHigh);  // 12-15 | 28-31
            auto* o = reinterpret_cast<__m256i*>(out + 4 * x);
            put32<kStream>(o, _mm256_permute2x128_si256(q0, q1, 0x20));
            put32<kStream>(o + 1, _mm256_permute2x128_si256(q2, q3, 0x20));
            put32<kStream>(o + 2, _mm256_permute2x128_si256(q0, q1, 0x31));
            put32<kStream>(o + 3, _mm256_permute2x128_si256(q2, q3, 0x31));
        } else {
            alignas(32) uint8_t rs[32], gs[32], bs[32];
            _mm256_store_si256(reinterpret_cast<__m256i*>(rs), r);
            _mm256_store_si256(reinterpret_cast<__m256i*>(gs), g);
            _mm256_store_si256(reinterpret_cast<__m256i*>(bs), b);
            pack_through_tables(out, x, rs, gs, bs, 32, lut);
        }
    }
};

struct PlanesAvx2 {
    uint8_t* const* out;
    const uint8_t (*lut)[256];
    bool identity;
    OZU_BASE_TARGET_AVX2 void operator()(size_t x, __m256i r, __m256i g, __m256i b) const {
        if (identity) {
            put32<false>(out[0] + x, r);
            put32<false>(out[1] + x, g);
            put32<false>(out[2] + x, b);
        } else {
            alignas(32) uint8_t rs[32], gs[32], bs[32];
            _mm256_store_si256(reinterpret_cast<__m256i*>(rs), r);
            _mm256_store_si256(reinterpret_cast<__m256i*>(gs), g);
            _mm256_store_si256(reinterpret_cast<__m256i*>(bs), b);
            planes_through_tables(out, x, rs, gs, bs, 32, lut);
        }
    }
};

// The same runs on 128-bit vectors, 16 columns at a time, with what every
// x86-64 has (SSE2): the blend is done with masks.
OZU_BASE_TARGET_SSE2 inline __m128i load16(const uint8_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

OZU_BASE_TARGET_SSE2 inline __m128i mean4(__m128i a, __m128i b, __m128i c, __m128i d) {
    const __m128i p = _mm_avg_epu8(a, b);
    const __m128i q = _mm_avg_epu8(c, d);
    const __m128i odd = _mm_or_si128(_mm_xor_si128(a, b), _mm_xor_si128(c, d));
    const __m128i high =
        _mm_and_si128(_mm_and_si128(_mm_xor_si128(p, q), odd), _mm_set1_epi8(1));
    return _mm_sub_epi8(_mm_avg_epu8(p, q), high);
}

template <bool kStream>
OZU_BASE_TARGET_SSE2 inline void put16(void* p, __m128i v) {
    if constexpr (kStream)
        _mm_stream_si128(static_cast<__m128i*>(p), v);
    else
        _mm_storeu_si128(static_cast<__m128i*>(p), v);
}

OZU_BASE_TARGET_SSE2 void store_fence_sse2() { _mm_sfence(); }

template <class Put>
OZU_BASE_TARGET_SSE2 size_t run_sse2(const Lines& l, size_t x, size_t width, bool colourAtEven,
                                     bool redLine, const Put& put) {
    const bool colourOnEvenLanes = (x & 1) == 0 ? colourAtEven : !colourAtEven;
    const __m128i evenLanes = _mm_set1_epi16(0x00FF);
    const __m128i colour =
        colourOnEvenLanes ? evenLanes : _mm_xor_si128(evenLanes, _mm_set1_epi8(-1));
#define OZU_PICK(a, b) _mm_or_si128(_mm_and_si128(colour, (a)), _mm_andnot_si128(colour, (b)))

    for (; x + 17 <= width; x += 16) {
        const __m128i ul = load16(l.up + x - 1), uc = load16(l.up + x);
        const __m128i ur = load16(l.up + x + 1);
        const __m128i ml = load16(l.mid + x - 1), mc = load16(l.mid + x);
        const __m128i mr = load16(l.mid + x + 1);
        const __m128i dl = load16(l.down + x - 1), dc = load16(l.down + x);
        const __m128i dr = load16(l.down + x + 1);
        const __m128i cross = mean4(uc, dc, ml, mr);
        const __m128i diagonal = mean4(ul, ur, dl, dr);
        const __m128i along = _mm_avg_epu8(ml, mr);
        const __m128i across = _mm_avg_epu8(uc, dc);
        const __m128i beside = OZU_PICK(mc, along);
        const __m128i apart = OZU_PICK(diagonal, across);
        put(x, redLine ? beside : apart, OZU_PICK(cross, mc), redLine ? apart : beside);
    }
#undef OZU_PICK
    return x;
}

template <bool kStream>
struct Rgb32Sse2 {
    uint8_t* out;
    const uint8_t (*lut)[256];
    bool identity;
    OZU_BASE_TARGET_SSE2 void operator()(size_t x, __m128i r, __m128i g, __m128i b) const {
        if (identity) {
            const __m128i opaque = _mm_set1_epi8(-1);
            const __m128i rgLow = _mm_unpacklo_epi8(r, g), rgHigh = _mm_unpackhi_epi8(r, g);
            const __m128i baLow = _mm_unpacklo_epi8(b, opaque);
            const __m128i baHigh = _mm_unpackhi_epi8(b, opaque);
            auto* o = reinterpret_cast<__m128i*>(out + 4 * x);
            put16<kStream>(o, _mm_unpacklo_epi16(rgLow, baLow));
            put16<kStream>(o + 1, _mm_unpackhi_epi16(rgLow, baLow));
            put16<kStream>(o + 2, _mm_unpacklo_epi16(rgHigh, baHigh));
            put16<kStream>(o + 3, _mm_unpackhi_epi16(rgHigh, baHigh));
        } else {
            alignas(16) uint8_t rs[16], gs[16], bs[16];
            _mm_store_si128(reinterpret_cast<__m128i*>(rs), r);
            _mm_store_si128(reinterpret_cast<__m128i*>(gs), g);
            _mm_store_si128(reinterpret_cast<__m128i*>(bs), b);
            pack_through_tables(out, x, rs, gs, bs, 16, lut);
        }
    }
};

struct PlanesSse2 {
    uint8_t* const* out;
    const uint8_t (*lut)[256];
    bool identity;
    OZU_BASE_TARGET_SSE2 void operator()(size_t x, __m128i r, __m128i g, __m128i b) const {
        if (identity) {
            put16<false>(out[0] + x, r);
            put16<false>(out[1] + x, g);
            put16<false>(out[2] + x, b);
        } else {
            alignas(16) uint8_t rs[16], gs[16], bs[16];
            _mm_store_si128(reinterpret_cast<__m128i*>(rs), r);
            _mm_store_si128(reinterpret_cast<__m128i*>(gs), g);
            _mm_store_si128(reinterpret_cast<__m128i*>(bs), b);
            planes_through_tables(out, x, rs, gs, bs, 16, lut);
        }
    }
};
#endif

#if OZU_BASE_NEON
// The same runs with NEON, 16 columns at a time: the rounding halving add
// vrhaddq_u8 is the byte average (a + b + 1) >> 1, and the interleaving
// store vst4q_u8 packs sixteen R, G, B, 255 pixels at once. ARM has no
// stores around the caches that a loop can ask for, so there is no streamed
// form.
inline uint8x16_t mean4(uint8x16_t a, uint8x16_t b, uint8x16_t c, uint8x16_t d) {
    const uint8x16_t p = vrhaddq_u8(a, b);
    const uint8x16_t q = vrhaddq_u8(c, d);
    const uint8x16_t odd = vorrq_u8(veorq_u8(a, b), veorq_u8(c, d));
    const uint8x16_t high = vandq_u8(vandq_u8(veorq_u8(p, q), odd), vdupq_n_u8(1));
    return vsubq_u8(vrhaddq_u8(p, q), high);
}

template <class Put>
size_t run_neon(const Lines& l, size_t x, size_t width, bool colourAtEven, bool redLine,
                const Put& put) {
    const bool colourOnEvenLanes = (x & 1) == 0 ? colourAtEven : !colourAtEven;
    const uint8x16_t evenLanes = vreinterpretq_u8_u16(vdupq_n_u16(0x00FF));
    const uint8x16_t colour = colourOnEvenLanes ? evenLanes : vmvnq_u8(evenLanes);
    auto pick = [colour](uint8x16_t a, uint8x16_t b) { return vbslq_u8(colour, a, b); };

    for (; x + 17 <= width; x += 16) {
        const uint8x16_t ul = vld1q_u8(l.up + x - 1), uc = vld1q_u8(l.up + x);
        const uint8x16_t ur = vld1q_u8(l.up + x + 1);
        const uint8x16_t ml = vld1q_u8(l.mid + x - 1), mc = vld1q_u8(l.mid + x);
        const uint8x16_t mr = vld1q_u8(l.mid + x + 1);
        const uint8x16_t dl = vld1q_u8(l.down + x - 1), dc = vld1q_u8(l.down + x);
        const uint8x16_t dr = vld1q_u8(l.down + x + 1);
        const uint8x16_t cross = mean4(uc, dc, ml, mr);
        const uint8x16_t diagonal = mean4(ul, ur, dl, dr);
        const uint8x16_t along = vrhaddq_u8(ml, mr);
        const uint8x16_t across = vrhaddq_u8(uc, dc);
        const uint8x16_t beside = pick(mc, along);
        const uint8x16_t apart = pick(diagonal, across);
        put(x, redLine ? beside : apart, pick(cross, mc), redLine ? apart : beside);
    }
    return x;
}

struct Rgb32Neon {
    uint8_t* out;
    const uint8_t (*lut)[256];
    bool identity;
    void operator()(size_t x, uint8x16_t r, uint8x16_t g, uint8x16_t b) const {
        if (identity) {
            vst4q_u8(out + 4 * x, uint8x16x4_t{{r, g, b, vdupq_n_u8(255)}});
        } else {
            uint8_t rs[16], gs[16], bs[16];
            vst1q_u8(rs, r);
            vst1q_u8(gs, g);
            vst1q_u8(bs, b);
            pack_through_tables(out, x, rs, gs, bs, 16, lut);
        }
    }
};

struct PlanesNeon {
    uint8_t* const* out;
    const uint8_t (*lut)[256];
    bool identity;
    void operator()(size_t x, uint8x16_t r, uint8x16_t g, uint8x16_t b) const {
        if (identity) {
            vst1q_u8(out[0] + x, r);
            vst1q_u8(out[1] + x, g);
            vst1q_u8(out[2] + x, b);
        } else {
            uint8_t rs[16], gs[16], bs[16];
            vst1q_u8(rs, r);
            vst1q_u8(gs, g);
            vst1q_u8(bs, b);
            planes_through_tables(out, x, rs, gs, bs, 16, lut);
        }
    }
};
#endif

// Outputs this large are written around the caches: they would only be
// evicted again before anyone reads them.
constexpr uint64_t kStreamBytes = uint64_t{48} << 20;

// Orders a sink's streamed stores with what follows, which only a fence
// does, when the sink goes.
class StreamFence {
public:
    explicit StreamFence(bool stream) : stream_(stream) {}
    StreamFence(const StreamFence&) = delete;
    StreamFence& operator=(const StreamFence&) = delete;
    ~StreamFence() {
#if OZU_BASE_X86
        if (stream_ && ozu::base::isa_allows(ozu::base::Isa::kAvx2)) store_fence();
        else if (stream_ && ozu::base::isa_allows(ozu::base::Isa::kBaseline)) store_fence_sse2();
#endif
    }
    bool streams() const { return stream_; }

private:
    bool stream_;
};

// Interior columns from 1 on with vector blocks of `step` columns: a block
// at x needs column x + step inside the line. `plain(x, limit)` and
// `streamed(x, limit)` run blocks from x while x + step < limit and return
// the first column not done. A line too short for a block is left to the
// caller. Otherwise the first block, at column 1, and a last one that ends
// at the last interior column overlap the others instead of leaving up to
// a block's worth of columns to the one-by-one code at each end; an
// overlapped column is written twice with the same bytes. Streamed blocks
// start at `aligned`, the first column whose stores are aligned, when the
// first block reaches it.
template <class Plain, class Streamed>
size_t overlapped_run(const Plain& plain, const Streamed& streamed, size_t step, size_t width,
                      bool stream, size_t aligned) {
    if (width < step + 2) return 1;
    size_t x = plain(1, step + 2);
    if (stream && aligned <= x) x = streamed(aligned, width);
    x = plain(x, width);
    if (x + 1 < width) x = plain(width - 1 - step, width);
    return x;
}

#if OZU_BASE_X86
// The interior columns through one x86 run (`run(x, limit, output)`, blocks
// of `step` columns) with the sink's outputs of that width, Plain and
// Streamed.
template <class Plain, class Streamed, class Sink, class Run>
size_t x86_run(const Sink& sink, size_t step, size_t width, bool stream, const Run& run) {
    auto plain = [&](size_t x, size_t limit) {
        return run(x, limit, Plain{sink.out(), sink.lut(), sink.identity()});
    };
    if constexpr (Sink::kStreams) {
        auto streamed = [&](size_t x, size_t limit) {
            return run(x, limit, Streamed{sink.out(), sink.lut(), true});
        };
        return overlapped_run(plain, streamed, step, width, stream,
                              stream ? sink.aligned_column(step, width) : 1);
    } else {
        return overlapped_run(plain, plain, step, width, false, 1);
    }
}
#endif

// Interior columns from 1 on through the widest vector run the set in use
// allows, with the sink's output for it: the sink names its outputs as
// Avx2<kStream>, Sse2<kStream> and Neon, says whether it may stream
// (kStreams), and gives the first column whose stores of a given width are
// aligned. Returns the first column not done.
template <class Sink>
size_t vector_run(const Sink& sink, const Lines& l, size_t width, bool colourAtEven,
                  bool redLine, bool stream) {
#if OZU_BASE_X86
    using ozu::base::Isa;
    if (ozu::base::isa_allows(Isa::kAvx2)) {
        return x86_run<typename Sink::template Avx2<false>, typename Sink::template Avx2<true>>(
            sink, 32, width, stream, [&](size_t x, size_t limit, const auto& put) {
                return run_avx2(l, x, limit, colourAtEven, redLine, put);
            });
    }
    if (ozu::base::isa_allows(Isa::kBaseline)) {
        return x86_run<typename Sink::template Sse2<false>, typename Sink::template Sse2<true>>(
            sink, 16, width, stream, [&](size_t x, size_t limit, const auto& put) {
                return run_sse2(l, x, limit, colourAtEven, redLine, put);
            });
    }
#endif
#if OZU_BASE_NEON
    if (ozu::base::isa_allows(ozu::base::Isa::kBaseline)) {
        auto plain = [&](size_t x, size_t limit) {
            return run_neon(l, x, limit, colourAtEven, redLine,
                            typename Sink::Neon{sink.out(), sink.lut(), sink.identity()});
        };
        return overlapped_run(plain, plain, 16, width, false, 1);
    }
#endif
    (void)sink, (void)l, (void)width, (void)colourAtEven, (void)redLine, (void)stream;
    return 1;
}

// Packed R, G, B, 255 through the tables.
class Rgb32Sink {
public:
    static constexpr bool kStreams = true;
#if OZU_BASE_X86
    template <bool kStream>
    using Avx2 = Rgb32Avx2<kStream>;
    template <bool kStream>
    using Sse2 = Rgb32Sse2<kStream>;
#endif
#if OZU_BASE_NEON
    using Neon = Rgb32Neon;
#endif

    Rgb32Sink(const uint8_t (*lut)[256], const TIMAGE& dst)
        : lut_(lut), dst_(dst), identity_(identity_tables(lut)),
          // Streamed stores exist on x86 only.
          fence_(OZU_BASE_X86 && identity_ &&
                 uint64_t(uint32_t(dst.lineBytes)) * uint32_t(dst.height) >= kStreamBytes &&
                 dst.lineBytes % 4 == 0 && (reinterpret_cast<uintptr_t>(dst.pixels) & 3) == 0) {}
    void start_line(int32_t y) { out_ = dst_.pixels + size_t(y) * size_t(dst_.lineBytes); }
    size_t run(const Lines& l, size_t width, bool colourAtEven, bool redLine) {
        return vector_run(*this, l, width, colourAtEven, redLine, fence_.streams());
    }
    // The first column from 1 whose packed pixel lies on a boundary of
    // `bytes`, or `width`.
    size_t aligned_column(size_t bytes, size_t width) const {
        size_t x = 1;
        while (x < width && (reinterpret_cast<uintptr_t>(out_ + 4 * x) & (bytes - 1)) != 0) ++x;
        return x;
    }
    void operator()(size_t x, Rgb v) {
        uint8_t* p = out_ + 4 * x;
        p[0] = lut_[0][v.r];
        p[1] = lut_[1][v.g];
        p[2] = lut_[2][v.b];
        p[3] = 255;
    }
    uint8_t* out() const { return out_; }
    const uint8_t (*lut() const)[256] { return lut_; }
    bool identity() const { return identity_; }

private:
    const uint8_t (*lut_)[256];
    const TIMAGE& dst_;
    bool identity_;
    StreamFence fence_;
    uint8_t* out_ = nullptr;
};

// Three 8-bit planes, R, G and B, through the tables.
class PlanesSink {
public:
    // Three planes written around the caches ran slower than through them
    // (7680x4320 on a Zen 4: 3.6 against 4.5 Gpixel/s on one thread), so
    // the planes are never streamed.
    static constexpr bool kStreams = false;
#if OZU_BASE_X86
    template <bool>
    using Avx2 = PlanesAvx2;
    template <bool>
    using Sse2 = PlanesSse2;
#endif
#if OZU_BASE_NEON
    using Neon = PlanesNeon;
#endif

    PlanesSink(const uint8_t (*lut)[256], TIMAGE* const planes[3])
        : lut_(lut), planes_(planes), identity_(identity_tables(lut)) {}
    void start_line(int32_t y) {
        for (int c = 0; c < 3; ++c)
            out_[c] = planes_[c]->pixels + size_t(y) * size_t(planes_[c]->lineBytes);
    }
    size_t run(const Lines& l, size_t width, bool colourAtEven, bool redLine) {
        return vector_run(*this, l, width, colourAtEven, redLine, false);
    }
    void operator()(size_t x, Rgb v) {
        out_[0][x] = lut_[0][v.r];
        out_[1][x] = lut_[1][v.g];
        out_[2][x] = lut_[2][v.b];
    }
    uint8_t* const* out() const { return out_; }
    const uint8_t (*lut() const)[256] { return lut_; }
    bool identity() const { return identity_; }

private:
    const uint8_t (*lut_)[256];
    TIMAGE* const* planes_;
    bool identity_;
    uint8_t* out_[3] = {nullptr, nullptr, nullptr};
};

// Grey from the tables' outputs with the weights 0.299, 0.587, 0.114 in
// thousandths (they sum to 1000, so a grey input stays exactly that grey).
// The weighted table values are prepared once per call; the largest sum,
// 1000 * 255 + 500, fits easily in 32 bits.
class Mono8Sink {
public:
    static constexpr uint32_t kWeightR = 299, kWeightG = 587, kWeightB = 114;
    static_assert(kWeightR + kWeightG + kWeightB == 1000);

    Mono8Sink(const uint8_t (*lut)[256], const TIMAGE& dst) : dst_(dst) {
        for (int v = 0; v < 256; ++v) {
            weighted_[0][v] = kWeightR * lut[0][v];
            weighted_[1][v] = kWeightG * lut[1][v];
            weighted_[2][v] = kWeightB * lut[2][v];
        }
    }
    void start_line(int32_t y) { out_ = dst_.pixels + size_t(y) * size_t(dst_.lineBytes); }
    size_t run(const Lines&, size_t, bool, bool) { return 1; }
    void operator()(size_t x, Rgb v) {
        // Round half up: + 500 before the truncating division.
        out_[x] = uint8_t((weighted_[0][v.r] + weighted_[1][v.g] + weighted_[2][v.b] + 500) / 1000);
    }

private:
    uint32_t weighted_[3][256];
    const TIMAGE& dst_;
    uint8_t* out_ = nullptr;
};

[[noreturn]] void refuse(const char* operation, const char* role, const char* what) {
    throw std::invalid_argument(std::string(operation) + ": " + role + " image " + what);
}

void check_image(const TIMAGE* image, int32_t bitsPerPixel, const char* operation,
                 const char* role) {
    if (image == nullptr) refuse(operation, role, "is missing");
    if (image->pixels == nullptr) refuse(operation, role, "has no pixels");
    if (image->width < 2 || image->height < 2) refuse(operation, role, "is smaller than 2 x 2");
    if (image->bitsPerPixel != bitsPerPixel) {
        refuse(operation, role,
               bitsPerPixel == 8 ? "must have 8 bits per pixel" : "must have 32 bits per pixel");
    }
    if (int64_t(image->lineBytes) < int64_t(image->width) * (bitsPerPixel / 8)) {
        refuse(operation, role, "has lines shorter than its width");
    }
}

void check_pair(const TIMAGE* src, const TIMAGE* dst, int32_t dstBits, const char* operation) {
    check_image(src, 8, operation, "source");
    check_image(dst, dstBits, operation, "destination");
    if (dst->width != src->width || dst->height != src->height) {
        refuse(operation, "destination", "differs in size from the source");
    }
}

// clamp(round(v * gain + offset), 0, 255), halves away from zero. The clamp
// is done in double so that no out-of-range value is ever converted.
uint8_t table_entry(int v, double gain, double offset) {
    const double r = std::round(double(v) * gain + offset);
    if (!(r > 0.0)) return 0; // negative, zero or NaN
    if (r >= 255.0) return 255;
    return uint8_t(r);
}

} // namespace

BayerMosaicConversion::BayerMosaicConversion(int32_t parity) {
    SetParity(parity);
    for (int c = 0; c < 3; ++c) {
        for (int v = 0; v < 256; ++v) lut_[c][v] = uint8_t(v);
    }
}

BayerMosaicConversion::~BayerMosaicConversion() = default;

void BayerMosaicConversion::SetParity(int32_t parity) {
    if (parity < 0 || parity > 3) {
        throw std::invalid_argument("SetParity: parity " + std::to_string(parity) +
                                    " is not 0, 1, 2 or 3");
    }
    parity_ = parity;
}

void BayerMosaicConversion::SetupLUTs(double gainR, double offsetR, double gainG, double offsetG,
                                      double gainB, double offsetB) noexcept {
    for (int v = 0; v < 256; ++v) {
        lut_[0][v] = table_entry(v, gainR, offsetR);
        lut_[1][v] = table_entry(v, gainG, offsetG);
        lut_[2][v] = table_entry(v, gainB, offsetB);
    }
}

void BayerMosaicConversion::RawToRGB32(const TIMAGE* src, TIMAGE* dst) const {
    check_pair(src, dst, 32, "RawToRGB32");
    Rgb32Sink sink(lut_, *dst);
    demosaic(*src, parity_, sink, 0, src->height);
}

void BayerMosaicConversion::RawToMono8(const TIMAGE* src, TIMAGE* dst) const {
    check_pair(src, dst, 8, "RawToMono8");
    Mono8Sink sink(lut_, *dst);
    demosaic(*src, parity_, sink, 0, src->height);
}

void BayerMosaicConversion::RawToPlanes8(const TIMAGE* src, TIMAGE* const planes[3],
                                         int32_t firstLine, int32_t endLine) const {
    if (planes == nullptr) refuse("RawToPlanes8", "destination", "is missing");
    for (int c = 0; c < 3; ++c) check_pair(src, planes[c], 8, "RawToPlanes8");
    if (firstLine < 0 || endLine > src->height || firstLine > endLine) {
        throw std::invalid_argument("RawToPlanes8: lines " + std::to_string(firstLine) + " to " +
                                    std::to_string(endLine) + " are not within the image");
    }
    PlanesSink sink(lut_, planes);
    demosaic(*src, parity_, sink, firstLine, endLine);
}

CBMConvert::CBMConvert() : BayerMosaicConversion(0) {}

CBMConvert::~CBMConvert() = default;
