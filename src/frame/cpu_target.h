// Run-time choice of the instruction set the per-line kernels run on.
//
// One binary has to be fast on every x86-64 and every 64-bit ARM and still
// right on PowerPC, and every result has to stay bit for bit that of the
// scalar kernels. So each
// kernel that has vector versions exists several times over:
//
//   - the scalar kernel, plain C++, is the reference: it is the readable
//     definition of the results, it is what the PowerPC build runs, and the
//     tests compare every vector version against it;
//   - one vector version per target compiled into this build, written once
//     with Highway (hwy/highway.h) and compiled by Highway's foreach_target
//     once per instruction set, each copy in its own namespace
//     (ozu::N_SSE4, ozu::N_AVX2, ozu::N_AVX3 on x86-64; ozu::N_NEON,
//     ozu::N_SVE, ozu::N_SVE2 on ARM).
//
// Targets, from the plainest to the widest within each architecture:
//
//   scalar  the reference kernels, compiled for the baseline of the build:
//           SSE2 on x86-64 (what a processor without SSE4.1 runs), the
//           ARMv8-A baseline on aarch64, and the whole of the PowerPC build.
//   sse4    SSE4.1 / SSE4.2 (128-bit vectors).
//   avx2    AVX2 (256-bit).
//   avx512  AVX-512 F, VL, DQ and BW (512-bit).
//   neon    ARM's Advanced SIMD (128-bit), which every aarch64 processor has.
//   sve     the Scalable Vector Extension (128 to 2048 bits, as the
//           processor has them: the kernels take the lane count at run time).
//   sve2    SVE2.
//
// A build holds the targets of one architecture only; the table entries of
// the others stay null.
// There is no vector version for the bare SSE2 baseline: Highway's portable
// 128-bit target, the only one that would run there, is slower than the
// scalar kernels with this compiler, and processors without SSE4.1 are more
// than a decade old.
//
// Only scalar exists where Highway is not built in (the PowerPC cross build,
// or OZU_SIMD=OFF). At first use the active target is the widest one the
// processor and the operating system support, unless the environment
// variable OZU_CPU_TARGET names another available one (scalar, sse4, avx2,
// avx512, neon, sve, sve2); an unknown or unavailable name is ignored. Tests and
// benchmarks switch with force_cpu_target. The choice is global; since every
// target gives the same bits, a switch while a conversion runs only changes
// the speed of the lines still to come.
//
// Why per-target namespaces: an inline function or template instance that
// one translation unit compiles with AVX2 enabled and another without is
// emitted twice under one name, and the linker keeps either copy; an AVX2
// copy picked for a baseline caller stops an older processor with an illegal
// instruction. Highway opens each target's code with
// HWY_BEFORE_NAMESPACE() (a `#pragma GCC target` region) and puts it in that
// target's namespace, so no symbol compiled for a wider target is shared.
// Code outside that region (fixed_point.h, the scalar kernels, the standard
// library) is compiled for the baseline and may be inlined into any target.
// Rules for vector code: define every helper inside
// `namespace ozu { namespace HWY_NAMESPACE {` between HWY_BEFORE_NAMESPACE()
// and HWY_AFTER_NAMESPACE(); never define a function outside it in a file
// that foreach_target compiles more than once. tests/baseline_isa.cmake
// fails the build's tests when a weak symbol outside the per-target
// namespaces holds wider instructions, and with qemu-x86_64 the conversion
// tests also run on emulated processors without SSE4.1, AVX or AVX-512.
//
// Giving a kernel vector versions (see convert/matrix_kernels.cpp):
//
//   1. Keep the scalar kernel in namespace ozu::scalar.
//   2. Write the vector kernel in "<dir>/<operation>_simd-inl.h", guarded as
//      Highway's per-target headers are (the `#if defined(GUARD) ==
//      defined(HWY_TARGET_TOGGLE)` dance) and placed in
//      ozu::HWY_NAMESPACE; frame/simd_lanes-inl.h has the shared pieces
//      (loads of any pixel type as 32-bit lanes, stores keeping the low
//      bits, the saturating float-to-integer conversion, a line walk that
//      runs the tail through the same vector code).
//   3. In "<dir>/<operation>.cpp":
//
//        #define HWY_TARGET_INCLUDE "<dir>/<operation>.cpp"
//        #include "frame/simd_targets.h"          // foreach_target, once
//        #if OZU_SIMD_PASS
//        #include "<dir>/<operation>_simd-inl.h"  // once per target
//        #endif
//        #if HWY_ONCE
//        ... scalar instances, then one TargetTable per instance:
//        static constexpr TargetTable<Fn> table{
//            {&scalar::kernel<S, D>, OZU_SIMD_ENTRIES(Kernel<S, D>)}};
//        ... and the dispatching entry calls table.active()(...)
//        #endif
//
//   4. Test the vector versions against the scalar one for every available
//      target (ozu_test::expect_targets_match_scalar in tests/test_support.h:
//      lines of every width 0..100, every admitted type pair), and list the
//      exactness tests in OZU_PER_TARGET_TESTS (tests/CMakeLists.txt) so
//      that they run once per target.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace ozu {

enum class CpuTarget : int32_t {
    kScalar = 0,
    kSse4 = 1,
    kAvx2 = 2,
    kAvx512 = 3,
    kNeon = 4,
    kSve = 5,
    kSve2 = 6,
};
inline constexpr int kCpuTargetCount = 7;

inline constexpr CpuTarget kAllCpuTargets[kCpuTargetCount] = {
    CpuTarget::kScalar, CpuTarget::kSse4, CpuTarget::kAvx2, CpuTarget::kAvx512,
    CpuTarget::kNeon,   CpuTarget::kSve,  CpuTarget::kSve2};

// "scalar", "sse4", "avx2", "avx512", "neon", "sve", "sve2".
const char* cpu_target_name(CpuTarget target);
// The target of that name; nothing for any other text.
std::optional<CpuTarget> cpu_target_from_name(std::string_view name);

// This build holds vector code for the target (scalar: always).
bool cpu_target_compiled(CpuTarget target);
// Compiled, and the processor and the operating system can run it.
bool cpu_target_available(CpuTarget target);
// The widest available target.
CpuTarget best_cpu_target();

// The target the kernels run on now (see the top of this file).
CpuTarget active_cpu_target();
// Makes `target` the active one and returns true; returns false and changes
// nothing when it is not available.
bool force_cpu_target(CpuTarget target);

// The versions of one kernel instance, indexed by CpuTarget; entries of
// targets this build lacks are null, the scalar entry never is.
template <class Fn>
struct TargetTable {
    Fn entry[kCpuTargetCount];

    // The version for `target`, or failing that the nearest plainer one
    // compiled: a kernel without a version of its own for a target runs the
    // next best code, at worst the scalar reference. (The entries of the
    // other architecture's targets, passed on the way, are null.)
    Fn on(CpuTarget target) const {
        for (int t = static_cast<int>(target); t > 0; --t)
            if (entry[t] != nullptr) return entry[t];
        return entry[0];
    }
    Fn active() const { return on(active_cpu_target()); }
};

}  // namespace ozu
