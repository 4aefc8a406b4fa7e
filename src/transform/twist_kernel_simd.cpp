// The twist line kernel's versions per CPU target, and the choice of the
// active one. On x86-64 the vector versions are written by hand
// (twist_kernel_avx2.cpp, twist_kernel_sse4.cpp): pair products of 16-bit
// lanes need an order of lanes that the 16-bit unpacks and packs of x86 keep
// by themselves, and they are faster there than 32-bit products. On 64-bit
// ARM one Highway body (twist_kernel_simd-inl.h) serves NEON, SVE and SVE2.
// PowerPC runs the scalar kernel, which defines the results.
#define HWY_TARGET_INCLUDE "transform/twist_kernel_simd.cpp"
#include "frame/simd_targets.h"

#if OZU_SIMD_PASS && defined(__aarch64__)
#include "transform/twist_kernel_simd-inl.h"
#endif

#if HWY_ONCE
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
#elif OZU_HAVE_HWY && defined(__aarch64__)
    static constexpr TargetTable<TwistLineKernel<S, D>> table{
        {&sub4x4MatMult<S, D>, OZU_SIMD_ENTRIES(TwistLine<S, D>)}};
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
#elif OZU_HAVE_HWY && defined(__aarch64__)
    // ARM's stores need no streaming form: the plain kernel serves.
    static constexpr TargetTable<TwistLineKernel<S, D>> table{
        {&sub4x4MatMult<S, D>, OZU_SIMD_ENTRIES(TwistLine<S, D>)}};
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

#endif  // HWY_ONCE
