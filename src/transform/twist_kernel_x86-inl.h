// The body of the hand-written vector twist line kernels, one copy per
// instruction set. Included once by each of twist_kernel_avx2.cpp and
// twist_kernel_sse4.cpp, which first define, in namespace
// ozu::<OZU_TWIST_NS>::(unnamed), the vector type V of kBlock 16-bit lanes and
// the few operations below on it, each with the instruction set's target
// attribute (OZU_TWIST_TARGET):
//
//   load_block(const S*)          kBlock pixels as signed 16-bit lanes
//   unpack_lo16, unpack_hi16      16-bit interleaves within each 128 bits
//   madd16, mullo32, add32        pair products summed, 32-bit products, sums
//   srai32<n>, set32, set16, vzero
//   store_block<kStream>(D*, lo, hi)  the clamp and the store of kBlock pixels
//   store_fence()                 orders streamed stores
//
// Everything here carries the target attribute itself and lives in the
// instruction set's own namespace, so no copy of it can reach a caller
// compiled for another set; shared inline code (fixed_point.h, the scalar
// kernel for the tails) stays compiled for the baseline.

namespace ozu::OZU_TWIST_NS {
namespace {

// Unsigned 16-bit pixels do not fit in signed 16-bit lanes: load_block moves
// them down by 32768 (the top bit flipped), and the constant of the sum gives
// back 32768 x (the three weights).
template <class S>
constexpr int32_t kBias = std::is_same_v<S, uint16_t> ? 32768 : 0;

// The packs: the 32-bit results come in two vectors as the 16-bit unpacks
// leave them (`lo` holds the first four pixels of each 128 bits, `hi` the
// next four); the packs undo that order and clamp to 0 .. dstMax with their
// saturation: the signed pack to 16 bits keeps every value's sign and keeps
// it inside -32768 .. 32767, so the second saturation (or a maximum with 0)
// finishes the clamp.

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
    V w01;    // (m[i], m[4+i]) as 16-bit pairs, or m[i]
    V w2;     // (m[8+i], t) as 16-bit pairs, or m[8+i]
    V w1;     // m[4+i] (products only)
    V offset; // the constant, when it is not folded
};

template <class S, class D, SumForm F, bool kStream>
OZU_TWIST_TARGET void twist_body(const S* s0, const S* s1, const S* s2, D* d0, D* d1, D* d2,
                         int32_t blocks, const int32_t* matrix) {
    // The range factor is that of the two types: it is what tmpl_twist
    // passes, and the caller has checked that it was given exactly that.
    constexpr int32_t kScale = range_factor(pixel_max<S>, pixel_max<D>);
    const V scale = set32(kScale);

    PlaneWeights w[3];
    for (int i = 0; i < 3; ++i) {
        // The constant of the sum: the offset row shifted up by 13, plus
        // what the moved-down unsigned 16-bit samples lost.
        const int64_t weights = int64_t{matrix[i]} + matrix[4 + i] + matrix[8 + i];
        const int32_t constant =
            wadd(wshl(matrix[12 + i], kFixBits), wmul(kBias<S>, static_cast<int32_t>(weights)));
        if constexpr (F == SumForm::kProducts) {
            w[i].w01 = set32(matrix[i]);
            w[i].w1 = set32(matrix[4 + i]);
            w[i].w2 = set32(matrix[8 + i]);
            w[i].offset = set32(constant);
        } else {
            const auto pair = [](int32_t low, int32_t high) {
                return static_cast<int32_t>((static_cast<uint32_t>(low) & 0xFFFFu) |
                                            (static_cast<uint32_t>(high) << 16));
            };
            const int32_t folded = static_cast<int32_t>(
                int64_t{matrix[12 + i]} + (kBias<S> != 0 ? 4 * weights : 0));
            w[i].w01 = set32(pair(matrix[i], matrix[4 + i]));
            w[i].w2 = set32(
                pair(matrix[8 + i], F == SumForm::kPairsFolded ? folded : 0));
            w[i].w1 = vzero();
            w[i].offset = set32(F == SumForm::kPairsFolded ? 0 : constant);
        }
    }
    // The partner of s2 in its pairs: 8192 carries the folded constant.
    const V partner =
        set16(F == SumForm::kPairsFolded ? int16_t{kFixOne} : int16_t{0});
    const V zero = vzero();

    D* const out[3] = {d0, d1, d2};
    for (int32_t b = 0; b < blocks; ++b) {
        const std::ptrdiff_t x = std::ptrdiff_t{b} * kBlock;
        const V x0 = load_block(s0 + x);
        const V x1 = load_block(s1 + x);
        const V x2 = load_block(s2 + x);
        V in[6];
        if constexpr (F == SumForm::kProducts) {
            // Each 16-bit lane into the top half of a 32-bit lane, then down
            // again with its sign.
            in[0] = srai32<16>(unpack_lo16(zero, x0));
            in[1] = srai32<16>(unpack_hi16(zero, x0));
            in[2] = srai32<16>(unpack_lo16(zero, x1));
            in[3] = srai32<16>(unpack_hi16(zero, x1));
            in[4] = srai32<16>(unpack_lo16(zero, x2));
            in[5] = srai32<16>(unpack_hi16(zero, x2));
        } else {
            in[0] = unpack_lo16(x0, x1);
            in[1] = unpack_hi16(x0, x1);
            in[2] = unpack_lo16(x2, partner);
            in[3] = unpack_hi16(x2, partner);
        }
        for (int i = 0; i < 3; ++i) {
            V lo, hi;
            if constexpr (F == SumForm::kProducts) {
                lo = add32(
                    add32(mullo32(in[0], w[i].w01),
                                     mullo32(in[2], w[i].w1)),
                    add32(mullo32(in[4], w[i].w2), w[i].offset));
                hi = add32(
                    add32(mullo32(in[1], w[i].w01),
                                     mullo32(in[3], w[i].w1)),
                    add32(mullo32(in[5], w[i].w2), w[i].offset));
            } else {
                lo = add32(madd16(in[0], w[i].w01),
                                      madd16(in[2], w[i].w2));
                hi = add32(madd16(in[1], w[i].w01),
                                      madd16(in[3], w[i].w2));
                if constexpr (F == SumForm::kPairs) {
                    lo = add32(lo, w[i].offset);
                    hi = add32(hi, w[i].offset);
                }
            }
            // a = sum >> 13 lies in -2^18 .. 2^18 - 1, so a x 8192 never
            // wraps and the same-range factor leaves a as it is.
            lo = srai32<kFixBits>(lo);
            hi = srai32<kFixBits>(hi);
            if constexpr (kScale != kFixOne) {
                lo = srai32<kFixBits>(mullo32(lo, scale));
                hi = srai32<kFixBits>(mullo32(hi, scale));
            }
            store_block<kStream>(out[i] + x, lo, hi);
        }
    }
}

bool fits16(int32_t v) { return v >= -32768 && v <= 32767; }

template <class S, class D, bool kStream>
OZU_TWIST_TARGET bool twist_run(const S* const* srcPlanes, D* const* dstPlanes, int32_t count,
                         int32_t srcMax, int32_t dstMax, const int32_t* matrix) {
    // The vector body knows the ranges of the types only; any other range
    // stays with the scalar kernel.
    if (srcMax != pixel_max<S> || dstMax != pixel_max<D>)
        return sub4x4MatMult<S, D>(srcPlanes, dstPlanes, count, srcMax, dstMax, matrix);
    if (count <= 0) return true;
    int32_t blocks = count / kBlock;

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
    if constexpr (kStream) store_fence();
    const int32_t done = blocks * kBlock;
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
OZU_TWIST_TARGET bool twist_line(const S* const* srcPlanes, D* const* dstPlanes, int32_t count,
                         int32_t srcMax, int32_t dstMax, const int32_t* matrix) {
    return twist_run<S, D, false>(srcPlanes, dstPlanes, count, srcMax, dstMax, matrix);
}

template <class S, class D>
OZU_TWIST_TARGET bool twist_line_streamed(const S* const* srcPlanes, D* const* dstPlanes,
                                  int32_t count, int32_t srcMax, int32_t dstMax,
                                  const int32_t* matrix) {
    // A block's store covers kBlock elements: aligned to their size when every
    // destination line starts so aligned.
    for (int p = 0; p < 3; ++p)
        if (reinterpret_cast<std::uintptr_t>(dstPlanes[p]) % (kBlock * sizeof(D)) != 0)
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

}  // namespace ozu::OZU_TWIST_NS
