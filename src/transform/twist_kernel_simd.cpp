// The twist line kernel's versions per CPU target, and the choice of the
// active one. The vector versions are written by hand (twist_kernel_avx2.cpp,
// twist_kernel_sse4.cpp): pair products of 16-bit lanes need an order of
// lanes that the 16-bit unpacks and packs of x86 keep by themselves.
//
// Why they are not one Highway body serving ARM as well: such a body can now
// put the pairs in every target's order (PairUp and PairSums in
// convert/matrix_kernels_simd-inl.h), but it replaces these versions only
// once bench/compare shows it as fast on x86-64 (16-bit pair products, all
// three sum forms, the stores around the caches), and that has not been
// measured. Until then ARM (and PowerPC) run the scalar kernel, which
// defines the results and passes every test there.
#include <cstddef>
#include <cstdint>

#include "transform/twist_kernel.h"
#include "transform/twist_kernel_simd.h"

namespace ozu {

bool twist_planes_apart(const void* const* src, std::size_t srcSize, const void* const* dst,
                        std::size_t dstSize, int32_t count) {
    if (count <= 0) return true;
    const auto apart = [](const void* a, std::size_t aBytes, const void* b, std::size_t bBytes) {
        const auto x = reinterpret_cast<std::uintptr_t>(a);
        const auto y = reinterpret_cast<std::uintptr_t>(b);
        return x == y || x + aBytes <= y || y + bBytes <= x;
    };
    const std::size_t srcBytes = std::size_t(count) * srcSize;
    const std::size_t dstBytes = std::size_t(count) * dstSize;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            if (!apart(dst[i], dstBytes, src[j], srcBytes)) return false;
            if (!apart(dst[i], dstBytes, dst[j], dstBytes)) return false;
        }
    }
    return true;
}

template <class S, class D>
const TargetTable<TwistLineKernel<S, D>>& twist_line_targets() {
    // Vector code only where the build has vector targets at all; the AVX2
    // version serves the AVX-512 target as well.
#if OZU_HAVE_HWY && (defined(__x86_64__) || defined(__i386__))
    static constexpr TargetTable<TwistLineKernel<S, D>> table{
        {&sub4x4MatMult<S, D>, &sse4::twist_line<S, D>, &avx2::twist_line<S, D>, nullptr}};
#else
    static constexpr TargetTable<TwistLineKernel<S, D>> table{{&sub4x4MatMult<S, D>}};
#endif
    return table;
}

template <class S, class D>
const TargetTable<TwistLineKernel<S, D>>& twist_line_streamed_targets() {
#if OZU_HAVE_HWY && (defined(__x86_64__) || defined(__i386__))
    static constexpr TargetTable<TwistLineKernel<S, D>> table{
        {&sub4x4MatMult<S, D>, &sse4::twist_line_streamed<S, D>,
         &avx2::twist_line_streamed<S, D>, nullptr}};
#else
    static constexpr TargetTable<TwistLineKernel<S, D>> table{{&sub4x4MatMult<S, D>}};
#endif
    return table;
}

template <class S, class D>
bool twist_line(const S* const* srcPlanes, D* const* dstPlanes, int32_t count, int32_t srcMax,
                int32_t dstMax, const int32_t* matrix) {
    return twist_line_targets<S, D>().active()(srcPlanes, dstPlanes, count, srcMax, dstMax,
                                                 matrix);
}

#define OZU_X(S, D)                                                                       \
    template const TargetTable<TwistLineKernel<S, D>>& twist_line_targets<S, D>();        \
    template const TargetTable<TwistLineKernel<S, D>>& twist_line_streamed_targets<S, D>(); \
    template bool twist_line<S, D>(const S* const*, D* const*, int32_t, int32_t, int32_t, \
                                   const int32_t*);
OZU_ALL_PIXEL_PAIRS(OZU_X)
#undef OZU_X

}  // namespace ozu
