// The chain of at most two line kernels that converts one colour space into
// another: step 1 over (S, D) from the source line into the intermediate
// line (a range adaptation, or a conversion to RGB), step 2 over (D, D) from
// the intermediate line into the destination line (the conversion into the
// target space).
#pragma once

#include <cstdint>

#include "convert/bayer_cell_kernel.h"
#include "convert/color_space_names.h"
#include "convert/grey_kernels.h"
#include "convert/hue_kernels.h"
#include "convert/line_kernel.h"
#include "convert/matrices.h"
#include "convert/matrix_kernels.h"
#include "convert/plane_kernels.h"

namespace ozu {

// One step: a plain kernel, or a matrix kernel with its matrix. Empty when
// the space pair has no kernel for that step.
template <class S, class D>
struct ChainStep {
    LineKernel<S, D> plain = nullptr;
    MatrixLineKernel<S, D> matrix_kernel = nullptr;
    const int32_t (*matrix)[3] = nullptr;
    // Planes the kernel reads from its input and writes to its output; the
    // range adaptation reads and writes plane 0 and whichever of 1 and 2 both
    // sides have.
    int reads = 3;
    int writes = 3;

    explicit operator bool() const { return plain != nullptr || matrix_kernel != nullptr; }

    void run(const S* const in[3], D* const out[3], int32_t width, int32_t inMax,
             int32_t outMax) const {
        if (plain != nullptr) {
            plain(in, out, width, inMax, outMax);
        } else if (matrix_kernel != nullptr) {
            matrix_kernel(in, out, width, inMax, outMax, matrix);
        }
    }
};

template <class S, class D>
ChainStep<S, D> plain_step(LineKernel<S, D> kernel, int reads = 3, int writes = 3) {
    ChainStep<S, D> step;
    step.plain = kernel;
    step.reads = reads;
    step.writes = writes;
    return step;
}

template <class S, class D>
ChainStep<S, D> matrix_step(MatrixLineKernel<S, D> kernel, const Matrix3& m) {
    ChainStep<S, D> step;
    step.matrix_kernel = kernel;
    step.matrix = m;
    return step;
}

template <class S, class D>
struct ConversionChain {
    ChainStep<S, D> first;   // source -> intermediate
    ChainStep<D, D> second;  // intermediate -> destination
    // Bayer raw to RGB: the 2x2-cell reduction reads source lines r and r + 1
    // and writes the destination directly; there is no second step.
    bool bayer_cells = false;
};

// Step 1 of the through-RGB rows: the source space into RGB. A YIQ source
// goes through the plain matrix kernel here, a YUV source through the chroma
// kernel: the asymmetry is old and results depend on it.
template <class S, class D>
ChainStep<S, D> to_rgb_step(int32_t from) {
    switch (from) {
        case kSpaceCMY: return plain_step<S, D>(&subInvert<S, D>);
        case kSpaceI: return plain_step<S, D>(&subGray2RGB<S, D>, 1, 3);
        case kSpaceHLS: return plain_step<S, D>(&subHLS2RGB<S, D>);
        case kSpaceHSV: return plain_step<S, D>(&subHSV2RGB<S, D>);
        case kSpaceRGB: return plain_step<S, D>(&subReNormalize<S, D>, 1, 1);
        case kSpaceXYZ601: return matrix_step<S, D>(&sub3x3MatMult<S, D>, kXyz601ToRgb);
        case kSpaceXYZ709: return matrix_step<S, D>(&sub3x3MatMult<S, D>, kXyz709ToRgb);
        case kSpaceXYZITU: return matrix_step<S, D>(&sub3x3MatMult<S, D>, kXyzItuToRgb);
        case kSpaceYCC: return matrix_step<S, D>(&sub3x3MatMult<S, D>, kYccToRgb);
        case kSpaceYIQ: return matrix_step<S, D>(&sub3x3MatMult<S, D>, kYiqToRgb);
        case kSpaceYUV: return matrix_step<S, D>(&subYUV_YIQ_YCrCb2RGB<S, D>, kYuvToRgb);
        default: return {};
    }
}

// Step 2 of the through-RGB rows: RGB into the target space.
template <class D>
ChainStep<D, D> from_rgb_step(int32_t to) {
    switch (to) {
        case kSpaceCMY: return plain_step<D, D>(&subInvert<D, D>);
        case kSpaceI: return plain_step<D, D>(&subRGB2Gray<D, D>, 3, 1);
        case kSpaceHLS: return plain_step<D, D>(&subRGB2HLS<D, D>);
        case kSpaceHSV: return plain_step<D, D>(&subRGB2HSV<D, D>);
        case kSpaceRGB: return plain_step<D, D>(&subNoOp<D, D>, 0, 0);
        case kSpaceXYZ601: return matrix_step<D, D>(&sub3x3MatMult<D, D>, kRgbToXyz601);
        case kSpaceXYZ709: return matrix_step<D, D>(&sub3x3MatMult<D, D>, kRgbToXyz709);
        case kSpaceXYZITU: return matrix_step<D, D>(&sub3x3MatMult<D, D>, kRgbToXyzItu);
        case kSpaceYCC: return matrix_step<D, D>(&sub3x3MatMult<D, D>, kRgbToYcc);
        case kSpaceYIQ: return matrix_step<D, D>(&subRGB2YUV_YIQ_YCrCb<D, D>, kRgbToYiq);
        case kSpaceYUV: return matrix_step<D, D>(&subRGB2YUV_YIQ_YCrCb<D, D>, kRgbToYuv);
        default: return {};
    }
}

// Step 2 of the direct rows (RGB to a space, or a space to RGB), which
// always adapt the range first. They differ from the through-RGB steps in one
// place only: a direct YIQ to RGB takes the chroma kernel.
template <class D>
ChainStep<D, D> direct_second_step(int32_t from, int32_t to) {
    if (from == kSpaceRGB) return from_rgb_step<D>(to);
    if (from == kSpaceYIQ) return matrix_step<D, D>(&subYUV_YIQ_YCrCb2RGB<D, D>, kYiqToRgb);
    return to_rgb_step<D, D>(from);
}

// The chain for a conversion code (destination in the high half, read
// signed; source in the low half).
template <class S, class D>
ConversionChain<S, D> select_chain(int32_t from, int32_t to) {
    ConversionChain<S, D> chain;
    const auto renormalize = plain_step<S, D>(&subReNormalize<S, D>, 1, 1);
    if (from == to) {
        // Only a direct caller of the driver gets here: two range adaptations.
        chain.first = renormalize;
        chain.second = plain_step<D, D>(&subReNormalize<D, D>, 1, 1);
        return chain;
    }
    if (from == kSpaceBayer && to == kSpaceRGB) {
        chain.bayer_cells = true;
        return chain;
    }
    if (from == kSpaceRGB || to == kSpaceRGB) {
        if (auto second = direct_second_step<D>(from, to)) {
            chain.first = renormalize;
            chain.second = second;
            return chain;
        }
    }
    // Any other pair goes through RGB; no range adaptation except for an RGB
    // source.
    chain.first = to_rgb_step<S, D>(from);
    chain.second = from_rgb_step<D>(to);
    return chain;
}

}  // namespace ozu
