// Pieces shared by the vector kernels, compiled once per target (see
// frame/cpu_target.h): pixels of any element type as 32-bit lanes, stores
// that keep the low bits as the scalar kernels' store<D> does, the sums of
// pairs of 16-bit products of the byte lines, the saturating
// float-to-integer conversion of the hue kernels, and the walks over a line
// in whole vectors: a step at a time, or a step's head run ahead of its
// tail.

// Step lambdas (the per-vector bodies handed to WalkLine) capture by value
// and are always inlined: a lambda that captures vectors by reference keeps
// them in memory, and every byte store of the loop, which may alias
// anything, would then reload them.
#ifndef OZU_INLINE_LAMBDA
#define OZU_INLINE_LAMBDA __attribute__((always_inline))
#endif

// Per-target include guard: foreach_target includes this file once per
// target, toggling HWY_TARGET_TOGGLE in between.
#if defined(OZU_FRAME_SIMD_LANES_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef OZU_FRAME_SIMD_LANES_INL_H_
#undef OZU_FRAME_SIMD_LANES_INL_H_
#else
#define OZU_FRAME_SIMD_LANES_INL_H_
#endif

#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "frame/fixed_point.h"

// How the step lambdas take the vectors they use: by value (see above),
// except on the SVE targets, whose sizeless vector types cannot be members
// of a lambda; there they are referenced, and the compiler keeps them in
// registers as well as it can.
#undef OZU_STEP_CAPTURE
#if HWY_HAVE_SCALABLE
#define OZU_STEP_CAPTURE &
#else
#define OZU_STEP_CAPTURE =
#endif

HWY_BEFORE_NAMESPACE();
namespace ozu {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// The descriptors every kernel works with: full vectors of 32-bit lanes, and
// of floats of the same lane count.
using DI32 = hn::ScalableTag<int32_t>;
using DU32 = hn::ScalableTag<uint32_t>;
using DF32 = hn::ScalableTag<float>;
using VI32 = hn::Vec<DI32>;
using VF32 = hn::Vec<DF32>;
using MI32 = hn::Mask<DI32>;

// Lanes(DI32) elements of type S from p, each widened to 32 bits as the
// scalar load<S> does: signed types sign-extend, unsigned ones zero-extend.
template <class S>
HWY_INLINE VI32 LoadI32(const S* HWY_RESTRICT p) {
    const DI32 d;
    if constexpr (sizeof(S) == 4) {
        static_assert(std::is_same_v<S, int32_t>);
        return hn::LoadU(d, p);
    } else {
        return hn::PromoteTo(d, hn::LoadU(hn::Rebind<S, DI32>(), p));
    }
}

// Stores Lanes(DI32) values as elements of type D, keeping the low bits of
// each as the scalar store<D> does.
template <class D>
HWY_INLINE void StoreLow(VI32 v, D* HWY_RESTRICT p) {
    const DI32 d;
    if constexpr (sizeof(D) == 4) {
        static_assert(std::is_same_v<D, int32_t>);
        hn::StoreU(v, d, p);
#if HWY_TARGET == HWY_AVX3
    } else if constexpr (sizeof(D) == 1) {
        // AVX-512 narrows with one truncating move.
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm512_cvtepi32_epi8(v.raw));
    } else if constexpr (sizeof(D) == 2) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm512_cvtepi32_epi16(v.raw));
#endif
    } else {
        using U = std::make_unsigned_t<D>;
        const hn::Rebind<U, DI32> du;
        const hn::Rebind<D, DI32> dd;
        hn::StoreU(hn::BitCast(dd, hn::TruncateTo(du, hn::BitCast(DU32(), v))), dd, p);
    }
}

// trunc(v) as a 32-bit integer with the rule of hue_detail::trunc_to_int32:
// truncation toward zero in range, saturation beyond it, 0 for NaN.
// Highway's conversion saturates out-of-range lanes on every target we
// build: on x86 through its fix-up of the instruction's 0x80000000, on ARM
// (NEON FCVTZS, SVE FCVTZS) in the instruction itself. NaN lanes, which x86
// would turn into a saturated value, are zeroed by a lane select.
// tests/simd_lanes_test.cpp holds every target to this rule.
HWY_INLINE VI32 TruncToI32(VF32 v) {
    const auto number = hn::Eq(v, v);
    return hn::IfThenElseZero(hn::RebindMask(DI32(), number),
                              hn::ConvertTo(DI32(), hn::IfThenElseZero(number, v)));
}

// trunc(v) for lanes that are numbers within the 32-bit range, which the
// caller has proven; other lanes get an unspecified value. The bare
// conversion instruction, without the saturation fix-up of TruncToI32.
HWY_INLINE VI32 TruncInRange(VF32 v) {
#if HWY_TARGET == HWY_AVX3
    return VI32{_mm512_cvttps_epi32(v.raw)};
#elif HWY_TARGET == HWY_AVX2
    return VI32{_mm256_cvttps_epi32(v.raw)};
#elif HWY_TARGET == HWY_SSE4
    return VI32{_mm_cvttps_epi32(v.raw)};
#else
    return hn::ConvertTo(DI32(), v);
#endif
}

// Stores three vectors as elements of a byte type D, given that every lane
// lies in 0..255, so that saturating packs keep exactly the low byte that
// StoreLow keeps. On AVX2 the three go through one chain of packs and one
// permutation instead of a narrowing each.
template <class D>
HWY_INLINE void StoreBytes3(VI32 a, VI32 b, VI32 c, D* HWY_RESTRICT pa, D* HWY_RESTRICT pb,
                            D* HWY_RESTRICT pc) {
    static_assert(sizeof(D) == 1);
#if HWY_TARGET == HWY_AVX2
    // Per 128-bit half, in 32-bit groups: a0-3 b0-3 c0-3 c0-3 | a4-7 b4-7 c4-7 c4-7.
    const __m256i bytes = _mm256_packus_epi16(_mm256_packus_epi32(a.raw, b.raw),
                                              _mm256_packus_epi32(c.raw, c.raw));
    const __m256i ordered =
        _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    const __m128i ab = _mm256_castsi256_si128(ordered);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(pa), ab);
    _mm_storeh_pd(reinterpret_cast<double*>(pb), _mm_castsi128_pd(ab));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(pc), _mm256_extracti128_si256(ordered, 1));
#else
    StoreLow(a, pa);
    StoreLow(b, pb);
    StoreLow(c, pc);
#endif
}

#if HWY_TARGET == HWY_AVX2
// StoreBytes3 of sixteen pixels, two vectors a channel (a0 the first eight
// pixels of pa, a1 the next eight), through one chain of packs and two
// permutations.
template <class D>
HWY_INLINE void StoreBytes3x2(VI32 a0, VI32 b0, VI32 c0, VI32 a1, VI32 b1, VI32 c1,
                              D* HWY_RESTRICT pa, D* HWY_RESTRICT pb, D* HWY_RESTRICT pc) {
    static_assert(sizeof(D) == 1);
    // Per 128-bit half, in 32-bit groups of four pixels:
    // a0 0-3, a1 0-3, b0 0-3, b1 0-3 | a0 4-7, a1 4-7, b0 4-7, b1 4-7.
    const __m256i ab = _mm256_packus_epi16(_mm256_packus_epi32(a0.raw, a1.raw),
                                           _mm256_packus_epi32(b0.raw, b1.raw));
    const __m256i c = _mm256_packus_epi32(c0.raw, c1.raw);
    const __m256i cc = _mm256_packus_epi16(c, c);
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    const __m256i abOrdered = _mm256_permutevar8x32_epi32(ab, order);
    const __m256i cOrdered = _mm256_permutevar8x32_epi32(cc, order);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pa), _mm256_castsi256_si128(abOrdered));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pb), _mm256_extracti128_si256(abOrdered, 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pc), _mm256_castsi256_si128(cOrdered));
}
#endif

// ---- sums of pairs of 16-bit products -----------------------------------
// Byte channels widened to 16 bits only, two of them multiplied and added
// into 32 bits by one instruction: the matrix kernels' and the grey
// kernel's byte lines.

using D16 = hn::ScalableTag<int16_t>;
using VI16 = hn::Vec<D16>;
using D32Of16 = hn::Repartition<int32_t, D16>;

// (lo, hi) in the even and odd 16-bit lanes of every 32-bit lane.
HWY_INLINE VI16 CoefficientPair(int32_t lo, int32_t hi) {
    const uint32_t bits =
        uint32_t{static_cast<uint16_t>(lo)} | (uint32_t{static_cast<uint16_t>(hi)} << 16);
    return hn::BitCast(D16(), hn::Set(D32Of16(), static_cast<int32_t>(bits)));
}

// (k0 x + k1 y + k2 z) >> 13 for pixels whose (x, y) and (z, 0) pairs fill
// adjacent lanes of xy and z0, with kxy = (k0, k1) and kz = (k2, 0).
// Where each product lands between the two accumulators is the target's
// choice (x86 sums each pair into one lane of the first; NEON puts the
// products of the low and high halves in different accumulators; SVE the
// even and odd ones): only RearrangeToOddPlusEven turns the two into the
// pair sums in lane order. On x86 it is free.
HWY_INLINE hn::Vec<D32Of16> PairSums(VI16 xy, VI16 z0, VI16 kxy, VI16 kz) {
    const D32Of16 d32;
    hn::Vec<D32Of16> sum1 = hn::Zero(d32);
    auto sum0 = hn::ReorderWidenMulAccumulate(d32, xy, kxy, hn::Zero(d32), sum1);
    sum0 = hn::ReorderWidenMulAccumulate(d32, z0, kz, sum0, sum1);
    return hn::ShiftRight<kFixBits>(hn::RearrangeToOddPlusEven(sum0, sum1));
}

// The 16-bit channels x and y of every pixel as (x, y) pairs in 32-bit
// lanes, split over two vectors `first` and `second` in the order that
// ReorderDemote2To, given their pair sums, turns back into pixel order. On
// x86 and NEON that narrowing concatenates its inputs within each 128-bit
// block, so the pairs of the lower and upper half of each block go to first
// and second (InterleaveLower and InterleaveUpper work within blocks too).
// On SVE it interleaves its inputs lane by lane instead, so first holds the
// pairs of the even pixels and second those of the odd ones.
HWY_INLINE void PairUp(VI16 x, VI16 y, VI16& first, VI16& second) {
#if HWY_HAVE_SCALABLE
    const D32Of16 d32;
    first = hn::OddEven(hn::BitCast(D16(), hn::ShiftLeft<16>(hn::BitCast(d32, y))), x);
    second = hn::OddEven(y, hn::BitCast(D16(), hn::ShiftRight<16>(hn::BitCast(d32, x))));
#else
    first = hn::InterleaveLower(D16(), x, y);
    second = hn::InterleaveUpper(D16(), x, y);
#endif
}

// TruncInRange where kInRange, else TruncToI32.
template <bool kInRange>
HWY_INLINE VI32 Trunc(VF32 v) {
    if constexpr (kInRange)
        return TruncInRange(v);
    else
        return TruncToI32(v);
}

// int32 -> float, rounding to nearest as static_cast<float> does.
HWY_INLINE VF32 ToF32(VI32 v) { return hn::ConvertTo(DF32(), v); }

// Runs step(in, out, x) for x = 0, N, 2N, ... over a line of `width` pixels,
// N = `stride` pixels per call (at most kMaxStride, the count for the
// widest vectors the target allows: on the scalable SVE targets the
// processor's vectors may be shorter, and N comes from hn::Lanes at run
// time); in and out are the plane pointer arrays. The
// last, partial, group runs the same step on copies of its pixels padded to a
// whole group (null planes stay null), and only its `width mod N` pixels are
// copied back: every pixel goes through the same vector code whatever the
// width, and nothing outside the line is read or written. The copies take
// the destination's previous contents too, so a step that leaves a pixel as
// it was (subHSV2RGB) leaves it so in the tail as well.
//
// The padded group goes through the same loop as the whole ones, so the
// step's code exists once. The loop's plane pointers are plain variables
// gathered into fresh arrays on each pass: arrays the loop itself changed, or
// any the compiler could not follow, would be reloaded after every byte
// store, which may alias anything.
template <size_t kMaxStride, class S, class D, class Step>
HWY_INLINE void WalkLine(const S* const src[3], D* const dst[3], int32_t width, size_t stride,
                         const Step& step) {
    if (width <= 0) return;
    const size_t n = static_cast<size_t>(width);
    const size_t whole = n - n % stride;
    const size_t rest = n - whole;
    HWY_ALIGN S inPad[3][kMaxStride];
    HWY_ALIGN D outPad[3][kMaxStride];
    const S *s0 = src[0], *s1 = src[1], *s2 = src[2];
    D *d0 = dst[0], *d1 = dst[1], *d2 = dst[2];
    size_t end = whole;
    for (int pass = 0;; ++pass) {
        const S* const in[3] = {s0, s1, s2};
        D* const out[3] = {d0, d1, d2};
        for (size_t x = 0; x < end; x += stride) step(in, out, x);
        if (pass == 1 || rest == 0) break;
        std::memset(inPad, 0, sizeof inPad);
        std::memset(outPad, 0, sizeof outPad);
        for (int p = 0; p < 3; ++p) {
            if (src[p] != nullptr) std::memcpy(inPad[p], src[p] + whole, rest * sizeof(S));
            if (dst[p] != nullptr) std::memcpy(outPad[p], dst[p] + whole, rest * sizeof(D));
        }
        s0 = src[0] != nullptr ? inPad[0] : nullptr;
        s1 = src[1] != nullptr ? inPad[1] : nullptr;
        s2 = src[2] != nullptr ? inPad[2] : nullptr;
        d0 = dst[0] != nullptr ? outPad[0] : nullptr;
        d1 = dst[1] != nullptr ? outPad[1] : nullptr;
        d2 = dst[2] != nullptr ? outPad[2] : nullptr;
        end = stride;
    }
    if (rest == 0) return;
    for (int p = 0; p < 3; ++p)
        if (dst[p] != nullptr) std::memcpy(dst[p] + whole, outPad[p], rest * sizeof(D));
}

#if !HWY_HAVE_SCALABLE
// WalkLine for a step in two parts: front(in, x) loads the group of pixels
// at x and returns what its first steps made of them, back(state, out, x)
// finishes the group and stores it. Each group's front runs kAhead groups
// before its back. A step that opens with a long chain of latencies
// (divisions, each waiting on the one before) otherwise fills the
// processor's schedulers with the rest of its own group, all waiting on that
// chain, and too few groups are ever in flight; with the chain started early,
// the back finds its inputs ready. The pixels, the operations and the stores
// are those of WalkLine with back(front(in, x), out, x), and so are the
// bits, for planes that are the same as or apart from the ones they are read
// from (groups are read before the ones before them are stored).
// Not on the scalable targets: their vectors cannot be held in a struct.
template <size_t kMaxStride, size_t kAhead = 2, class S, class D, class Front, class Back>
HWY_INLINE void WalkLineAhead(const S* const src[3], D* const dst[3], int32_t width,
                              size_t stride, const Front& front, const Back& back) {
    static_assert(kAhead == 1 || kAhead == 2);
    if (width <= 0) return;
    const size_t n = static_cast<size_t>(width);
    const size_t whole = n - n % stride;
    if (whole != 0) {
        const S* const in[3] = {src[0], src[1], src[2]};
        D* const out[3] = {dst[0], dst[1], dst[2]};
        auto first = front(in, 0);
        size_t x = 0;
        if (kAhead == 2 && whole > stride) {
            auto second = front(in, stride);
            for (; x + 2 * stride < whole; x += stride) {
                const auto next = front(in, x + 2 * stride);
                back(first, out, x);
                first = second;
                second = next;
            }
            back(first, out, x);
            back(second, out, x + stride);
        } else {
            for (; x + stride < whole; x += stride) {
                const auto next = front(in, x + stride);
                back(first, out, x);
                first = next;
            }
            back(first, out, x);
        }
    }
    if (whole == n) return;
    const auto from = [whole](auto* plane) { return plane != nullptr ? plane + whole : plane; };
    const S* const in[3] = {from(src[0]), from(src[1]), from(src[2])};
    D* const out[3] = {from(dst[0]), from(dst[1]), from(dst[2])};
    WalkLine<kMaxStride>(in, out, static_cast<int32_t>(n - whole), stride,
                         [&](const S* const* p, D* const* q, size_t x) OZU_INLINE_LAMBDA {
                             back(front(p, x), q, x);
                         });
}

// The vectors and masks a group carries from its front to its back, as one
// struct, and a call with them as arguments. The struct is always built
// from values: default-constructing it would call the vectors' default
// constructors from its own implicit one, which GCC compiles without the
// target's instructions and then refuses to inline them into (NEON).
template <class... T>
struct Parts {};
template <class T, class... Rest>
struct Parts<T, Rest...> {
    T first;
    Parts<Rest...> rest;
};

HWY_INLINE Parts<> MakeParts() { return {}; }
template <class T, class... Rest>
HWY_INLINE Parts<T, Rest...> MakeParts(T first, Rest... rest) {
    return {first, MakeParts(rest...)};
}

template <class F, class... Done>
HWY_INLINE void ApplyParts(const F& f, const Parts<>&, Done... done) {
    f(done...);
}
template <class F, class T, class... Rest, class... Done>
HWY_INLINE void ApplyParts(const F& f, const Parts<T, Rest...>& parts, Done... done) {
    ApplyParts(f, parts.rest, done..., parts.first);
}
#endif

// A kernel's step as two parts: head(in, x, then) computes the first part
// of the group at x and hands its results to then(results...), which
// tail(results..., out, x) finishes and stores. Where vectors can be held
// in a struct the heads run ahead of the tails (WalkLineAhead); on the
// scalable targets each tail follows its head.
template <size_t kMaxStride, size_t kAhead = 2, class S, class D, class Head, class Tail>
HWY_INLINE void WalkLineSplit(const S* const src[3], D* const dst[3], int32_t width,
                              size_t stride, const Head& head, const Tail& tail) {
#if HWY_HAVE_SCALABLE
    WalkLine<kMaxStride>(src, dst, width, stride,
                         [&](const S* const* p, D* const* q, size_t x) OZU_INLINE_LAMBDA {
                             head(p, x, [&](auto... parts) OZU_INLINE_LAMBDA {
                                 tail(parts..., q, x);
                             });
                         });
#else
    const auto front = [&](const S* const* p, size_t x) OZU_INLINE_LAMBDA {
        return head(p, x, [](auto... parts) OZU_INLINE_LAMBDA { return MakeParts(parts...); });
    };
    const auto back = [&](const auto& parts, D* const* q, size_t x) OZU_INLINE_LAMBDA {
        ApplyParts([&](auto... done) OZU_INLINE_LAMBDA { tail(done..., q, x); }, parts);
    };
    WalkLineAhead<kMaxStride, kAhead>(src, dst, width, stride, front, back);
#endif
}

}  // namespace HWY_NAMESPACE
}  // namespace ozu
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
