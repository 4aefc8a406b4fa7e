// The active instruction-set target: what this build holds, what the
// processor runs, and the choice at first use.
#include "frame/cpu_target.h"

#include <atomic>
#include <cstdlib>

#if OZU_HAVE_HWY
#include <hwy/detect_targets.h>
#endif

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#elif defined(__aarch64__) && defined(__linux__)
#include <sys/auxv.h>
#endif

namespace ozu {
namespace {

constexpr const char* kNames[kCpuTargetCount] = {"scalar", "sse4", "avx2", "avx512",
                                                  "neon",   "sve",  "sve2"};

// Whether the Highway target behind each of ours is compiled.
constexpr bool compiled_in(CpuTarget target) {
#if OZU_HAVE_HWY
    switch (target) {
        case CpuTarget::kScalar:
            return true;
        case CpuTarget::kSse4:
            return (HWY_TARGETS & HWY_SSE4) != 0;
        case CpuTarget::kAvx2:
            return (HWY_TARGETS & HWY_AVX2) != 0;
        case CpuTarget::kAvx512:
            return (HWY_TARGETS & HWY_AVX3) != 0;
        case CpuTarget::kNeon:
            return (HWY_TARGETS & HWY_NEON) != 0;
        case CpuTarget::kSve:
            return (HWY_TARGETS & HWY_SVE) != 0;
        case CpuTarget::kSve2:
            return (HWY_TARGETS & HWY_SVE2) != 0;
    }
    return false;
#else
    return target == CpuTarget::kScalar;
#endif
}

#if defined(__x86_64__) || defined(__i386__)

// What the processor offers and the operating system saves on a context
// switch. The targets are compiled with exactly these extensions enabled (the
// build turns off Highway's optional AES, CLMUL, BMI, FMA and F16C ones), so
// these bits are all a target needs.
struct Features {
    bool ssse3 = false, sse41 = false, sse42 = false;
    bool avx2 = false;    // AVX and AVX2, with the YMM state enabled
    bool avx512 = false;  // F, VL, DQ, BW, with the opmask and ZMM state enabled
};

uint64_t enabled_state() {
    uint32_t lo = 0, hi = 0;
    __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
    return (uint64_t{hi} << 32) | lo;
}

Features detect() {
    Features f;
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (!__get_cpuid(1, &a, &b, &c, &d)) return f;
    f.ssse3 = (c >> 9) & 1;
    f.sse41 = (c >> 19) & 1;
    f.sse42 = (c >> 20) & 1;
    const bool osxsave = (c >> 27) & 1;
    const bool avx = (c >> 28) & 1;
    if (!osxsave || !avx) return f;
    const uint64_t state = enabled_state();
    const bool ymm = (state & 0x6) == 0x6;    // SSE and AVX state
    const bool zmm = (state & 0xE0) == 0xE0;  // opmask, ZMM_Hi256, Hi16_ZMM
    unsigned b7 = 0, c7 = 0, d7 = 0, a7 = 0;
    if (!__get_cpuid_count(7, 0, &a7, &b7, &c7, &d7)) return f;
    f.avx2 = ymm && ((b7 >> 5) & 1);
    const bool f512 = (b7 >> 16) & 1, dq = (b7 >> 17) & 1, bw = (b7 >> 30) & 1, vl = (b7 >> 31) & 1;
    f.avx512 = f.avx2 && zmm && f512 && dq && bw && vl;
    return f;
}

bool processor_runs(CpuTarget target) {
    static const Features f = detect();
    switch (target) {
        case CpuTarget::kScalar:
            return true;
        case CpuTarget::kSse4:
            return f.ssse3 && f.sse41 && f.sse42;
        case CpuTarget::kAvx2:
            return f.ssse3 && f.sse41 && f.sse42 && f.avx2;
        case CpuTarget::kAvx512:
            return f.ssse3 && f.sse41 && f.sse42 && f.avx512;
        default:
            return false;
    }
}

#elif defined(__aarch64__) && defined(__linux__)

// What the processor offers, as the kernel reports it. NEON is part of every
// aarch64 processor. Highway compiles its NEON and SVE2 targets with the
// crypto extensions enabled ("+crypto", "+sve2-aes"), but the compiler emits
// those instructions only for their intrinsics, which no kernel uses: the
// targets need no more than the extension they are named after.
bool processor_runs(CpuTarget target) {
    constexpr unsigned long kHwcapAsimd = 1ul << 1;  // HWCAP_ASIMD
    constexpr unsigned long kHwcapSve = 1ul << 22;   // HWCAP_SVE
    constexpr unsigned long kHwcap2Sve2 = 1ul << 1;  // HWCAP2_SVE2
    static const unsigned long hwcap = getauxval(AT_HWCAP);
    static const unsigned long hwcap2 = getauxval(AT_HWCAP2);
    switch (target) {
        case CpuTarget::kScalar:
            return true;
        case CpuTarget::kNeon:
            return (hwcap & kHwcapAsimd) != 0;
        case CpuTarget::kSve:
            return (hwcap & kHwcapSve) != 0;
        case CpuTarget::kSve2:
            return (hwcap & kHwcapSve) != 0 && (hwcap2 & kHwcap2Sve2) != 0;
        default:
            return false;
    }
}

#else

bool processor_runs(CpuTarget target) { return target == CpuTarget::kScalar; }

#endif

// -1 until the first use.
std::atomic<int32_t> g_active{-1};

CpuTarget initial_target() {
    if (const char* name = std::getenv("OZU_CPU_TARGET")) {
        const auto named = cpu_target_from_name(name);
        if (named && cpu_target_available(*named)) return *named;
    }
    return best_cpu_target();
}

}  // namespace

const char* cpu_target_name(CpuTarget target) {
    const int i = static_cast<int>(target);
    return i >= 0 && i < kCpuTargetCount ? kNames[i] : "unknown";
}

std::optional<CpuTarget> cpu_target_from_name(std::string_view name) {
    for (CpuTarget t : kAllCpuTargets)
        if (name == kNames[static_cast<int>(t)]) return t;
    return std::nullopt;
}

bool cpu_target_compiled(CpuTarget target) { return compiled_in(target); }

bool cpu_target_available(CpuTarget target) {
    return compiled_in(target) && processor_runs(target);
}

CpuTarget best_cpu_target() {
    for (int t = kCpuTargetCount - 1; t > 0; --t)
        if (cpu_target_available(static_cast<CpuTarget>(t))) return static_cast<CpuTarget>(t);
    return CpuTarget::kScalar;
}

CpuTarget active_cpu_target() {
    int32_t t = g_active.load(std::memory_order_relaxed);
    if (t < 0) {
        // Two first uses at once compute the same value; either store wins.
        int32_t unset = -1;
        g_active.compare_exchange_strong(unset, static_cast<int32_t>(initial_target()),
                                         std::memory_order_relaxed);
        t = g_active.load(std::memory_order_relaxed);
    }
    return static_cast<CpuTarget>(t);
}

bool force_cpu_target(CpuTarget target) {
    if (!cpu_target_available(target)) return false;
    g_active.store(static_cast<int32_t>(target), std::memory_order_relaxed);
    return true;
}

}  // namespace ozu
