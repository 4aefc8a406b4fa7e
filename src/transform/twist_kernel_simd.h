// Vector forms of the twist line kernel, and the choice between them and the
// scalar sub4x4MatMult, which stays the definition of every result.
#pragma once

#include <cstddef>
#include <cstdint>

#include "convert/line_kernel.h"
#include "frame/cpu_target.h"

namespace ozu {

// Whether every destination plane of a line of `count` elements is each
// source plane and each other destination plane, or lies wholly apart from
// it: then a version that reads a block of pixels on all planes before it
// writes them gives the scalar kernel's bits. (Planes that overlap at an
// offset see the order of reads and writes.)
bool twist_planes_apart(const void* const* src, std::size_t srcSize, const void* const* dst,
                        std::size_t dstSize, int32_t count);

// The shape of sub4x4MatMult<S, D>.
template <class S, class D>
using TwistLineKernel = bool (*)(const S* const* srcPlanes, D* const* dstPlanes, int32_t count,
                                 int32_t srcMax, int32_t dstMax, const int32_t* matrix);

#if defined(__x86_64__) || defined(__i386__)
// sub4x4MatMult<S, D> on blocks of pixels with integer vectors: 16 pixels a
// block with AVX2 (namespace avx2), 8 with SSE4.1 (namespace sse4); the
// pixels after the last whole block, and whole lines whose ranges are not
// those of S and D or whose planes overlap at an offset, go through the
// scalar kernel. Same bits as the scalar kernel for every matrix and line,
// also when destination planes are source planes (in place). Each must only
// run where the CPU has its instruction set.
//
// The streamed forms write around the caches where the destination lines
// are aligned for it, for images too large to stay in the cache.
#define OZU_TWIST_DECLARE(ns)                                                                \
    namespace ns {                                                                           \
    template <class S, class D>                                                              \
    bool twist_line(const S* const* srcPlanes, D* const* dstPlanes, int32_t count,           \
                    int32_t srcMax, int32_t dstMax, const int32_t* matrix);                  \
    template <class S, class D>                                                              \
    bool twist_line_streamed(const S* const* srcPlanes, D* const* dstPlanes, int32_t count,  \
                             int32_t srcMax, int32_t dstMax, const int32_t* matrix);         \
    }
OZU_TWIST_DECLARE(avx2)
OZU_TWIST_DECLARE(sse4)
#undef OZU_TWIST_DECLARE
#endif

// The versions of the twist line kernel for each CPU target (the AVX2 one
// also serves AVX-512: measured, 16-bit pair products at 256 bits beat
// 32-bit lanes at 512), and the twist of one line by the active target's.
// The streamed versions write around the caches: for destinations larger
// than the caches, which would only be evicted again before anyone reads
// them. Both give the same bits.
template <class S, class D>
const TargetTable<TwistLineKernel<S, D>>& twist_line_targets();
template <class S, class D>
const TargetTable<TwistLineKernel<S, D>>& twist_line_streamed_targets();

// Destination images of at least this many bytes are written streamed.
inline constexpr uint64_t kTwistStreamBytes = uint64_t{48} << 20;

template <class S, class D>
bool twist_line(const S* const* srcPlanes, D* const* dstPlanes, int32_t count, int32_t srcMax,
                int32_t dstMax, const int32_t* matrix);

#define OZU_X(S, D)                                                                           \
    extern template const TargetTable<TwistLineKernel<S, D>>& twist_line_targets<S, D>();     \
    extern template const TargetTable<TwistLineKernel<S, D>>&                                \
    twist_line_streamed_targets<S, D>();                                                      \
    extern template bool twist_line<S, D>(const S* const*, D* const*, int32_t, int32_t,       \
                                          int32_t, const int32_t*);
OZU_ALL_PIXEL_PAIRS(OZU_X)
#undef OZU_X

}  // namespace ozu
