// The common shape of the per-line colour kernels, and the lists of
// (source, destination) element-type pairs they are instantiated for.
//
// A line kernel converts one image line. It receives, for planes 0, 1 and 2,
// a pointer to that line of the source and of the destination (null for a
// plane the buffer does not have), the width in pixels and the value ranges
// srcMax and dstMax (127, 255, 32767 or 65535 for the pixel types; the
// spectral path passes its own). It returns true; only subBM2RGB can fail.
//
//   template <class S, class D>
//   bool subX(const S* const src[3], D* const dst[3],
//             int32_t width, int32_t srcMax, int32_t dstMax);
//
// The matrix kernels take a trailing `const int32_t (*m)[3]`: a pointer to the
// first of three rows of a 3x3 fixed-point matrix (see matrices.h), so any
// `const int32_t[3][3]` table can be passed as it is.
//
// Every kernel reads a whole pixel before it writes it, so a line may be
// converted in place (src and dst naming the same planes, S = D).
//
// A kernel with vector versions is declared twice: ozu::subX is the entry
// that runs the version of the active instruction-set target
// (frame/cpu_target.h), ozu::scalar::subX the scalar reference that defines
// the results; subX_targets<S, D>() returns the table of all its versions.
#pragma once

#include <cstdint>

#include "frame/cpu_target.h"

namespace ozu {

template <class S, class D>
using LineKernel = bool (*)(const S* const src[3], D* const dst[3], int32_t width,
                            int32_t srcMax, int32_t dstMax);

template <class S, class D>
using MatrixLineKernel = bool (*)(const S* const src[3], D* const dst[3], int32_t width,
                                  int32_t srcMax, int32_t dstMax, const int32_t (*m)[3]);

// Reads one source element as a 32-bit value: signed types sign-extend,
// unsigned ones zero-extend.
template <class S>
constexpr int32_t load(S v) {
    return static_cast<int32_t>(v);
}

// Stores a 32-bit result: the conversion keeps the low bits of the value, so
// results outside the destination type wrap around.
template <class D>
constexpr D store(int32_t v) {
    return static_cast<D>(v);
}

}  // namespace ozu

// Instance lists. Each macro calls X(S, D) once per (source, destination)
// pair; the kernel headers use them to declare their instances with
// `extern template` and the kernel sources to define the same instances.
#define OZU_PAIRS_FROM(X, S) X(S, int8_t) X(S, uint8_t) X(S, int16_t) X(S, uint16_t)
// The sixteen pairs of the four image pixel types.
#define OZU_ALL_PIXEL_PAIRS(X)                                                             \
    OZU_PAIRS_FROM(X, int8_t) OZU_PAIRS_FROM(X, uint8_t) OZU_PAIRS_FROM(X, int16_t)       \
    OZU_PAIRS_FROM(X, uint16_t)
// The four same-type pairs.
#define OZU_SAME_TYPE_PIXEL_PAIRS(X) \
    X(int8_t, int8_t) X(uint8_t, uint8_t) X(int16_t, int16_t) X(uint16_t, uint16_t)
// The 32-bit working lines of the spectral path.
#define OZU_WORKING_PAIR(X) X(int32_t, int32_t)

// One explicit instantiation (kw = template) or instantiation declaration
// (kw = extern template) of a line kernel, and of a matrix line kernel.
#define OZU_LINE_KERNEL_INSTANCE(kw, kernel, S, D) \
    kw bool kernel<S, D>(const S* const[3], D* const[3], int32_t, int32_t, int32_t);
#define OZU_MATRIX_KERNEL_INSTANCE(kw, kernel, S, D)                                    \
    kw bool kernel<S, D>(const S* const[3], D* const[3], int32_t, int32_t, int32_t, \
                         const int32_t (*)[3]);

// The same for the table of a kernel's versions per instruction-set target
// (frame/cpu_target.h): kernel_targets<S, D>() returns it.
#define OZU_LINE_KERNEL_TARGETS_INSTANCE(kw, kernel, S, D) \
    kw const TargetTable<LineKernel<S, D>>& kernel##_targets<S, D>();
#define OZU_MATRIX_KERNEL_TARGETS_INSTANCE(kw, kernel, S, D) \
    kw const TargetTable<MatrixLineKernel<S, D>>& kernel##_targets<S, D>();
