// Definitions of the scalar matrix line kernels declared in matrix_kernels.h:
// the reference every vector version must match bit for bit. Included only
// by matrix_kernels.cpp, which instantiates them.
#pragma once

#include "convert/matrix_kernels.h"
#include "frame/fixed_point.h"

namespace ozu::scalar {
namespace matrix_detail {

// One body for the three kernels: inOffset is taken off input channels 1 and
// 2 before the product, outOffset added to output channels 1 and 2 after the
// range change. Both are 0 for the plain product.
template <class S, class D>
void transform_line(const S* const src[3], D* const dst[3], int32_t width, int32_t dstMax,
                    const int32_t (*m)[3], int32_t factor, int32_t inOffset, int32_t outOffset) {
    const S* const p0 = src[0];
    const S* const p1 = src[1];
    const S* const p2 = src[2];
    D* const q0 = dst[0];
    D* const q1 = dst[1];
    D* const q2 = dst[2];
    const int32_t offsets[3] = {0, outOffset, outOffset};
    for (int32_t x = 0; x < width; ++x) {
        const int32_t a = load(p0[x]);
        const int32_t b = wsub(load(p1[x]), inOffset);
        const int32_t c = wsub(load(p2[x]), inOffset);
        int32_t out[3];
        for (int i = 0; i < 3; ++i) {
            int32_t t = unfix(wadd(wadd(wmul(m[i][0], a), wmul(m[i][1], b)), wmul(m[i][2], c)));
            t = wadd(unfix(wmul(t, factor)), offsets[i]);
            out[i] = t < 0 ? 0 : (t > dstMax ? dstMax : t);
        }
        q0[x] = store<D>(out[0]);
        q1[x] = store<D>(out[1]);
        q2[x] = store<D>(out[2]);
    }
}

}  // namespace matrix_detail

template <class S, class D>
bool sub3x3MatMult(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                   int32_t dstMax, const int32_t (*m)[3]) {
    matrix_detail::transform_line(src, dst, width, dstMax, m, range_factor(srcMax, dstMax), 0, 0);
    return true;
}

template <class S, class D>
bool subRGB2YUV_YIQ_YCrCb(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                          int32_t dstMax, const int32_t (*m)[3]) {
    // The chroma offset is 128 for every range: a 16-bit line is centred at
    // 128, not at the middle of its range. Results depend on it.
    matrix_detail::transform_line(src, dst, width, dstMax, m, range_factor(srcMax, dstMax), 0, 128);
    return true;
}

template <class S, class D>
bool subYUV_YIQ_YCrCb2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                          int32_t dstMax, const int32_t (*m)[3]) {
    // Unsigned lines keep chroma centred at half range; signed lines hold it
    // as a signed value already.
    const int32_t offset = srcMax == 255 ? 128 : (srcMax == 65535 ? 32768 : 0);
    matrix_detail::transform_line(src, dst, width, dstMax, m, range_factor(srcMax, dstMax), offset, 0);
    return true;
}

}  // namespace ozu::scalar
