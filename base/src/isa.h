// The instruction sets the host's whole-buffer loops may use, chosen once per
// process.
//
// The plain loops are the definition of every result; a wider version of a
// loop is the same operation on more bytes at a time and gives the same bits.
// Which versions run follows the environment variable OZU_CPU_TARGET, read at
// first use, with the names the colour library uses for its own choice:
// "scalar" runs the plain loops everywhere. On x86-64 "sse2" adds the vectors
// of the baseline (SSE2), "sse4" the byte shuffles of SSSE3 and SSE4.1,
// "avx2" 256-bit vectors, "avx512" also 512-bit ones. On 64-bit ARM every
// processor has NEON, the baseline there: "neon", "sve" and "sve2" all run
// the NEON loops (the host's loops are byte averages, blends, interleaved
// stores and table lookups, which NEON does in 128 bits as well as SVE's
// wider vectors would, and SVE lacks NEON's four-register table lookup).
// A name the processor cannot run, an unknown name or none at all gives the
// widest set the processor and the operating system support. Other
// processors run the plain loops.
//
// The vector versions are written with each architecture's own intrinsics,
// not with Highway as the colour library's kernels are: the host is the one
// library every tool, test and cross build links, it builds where Highway is
// absent (32-bit PowerPC), and its vector loops are few and short.
#pragma once

namespace ozu::base {

enum class Isa : int {
    kPlain = 0,       // the plain loops only
    kBaseline = 1,    // vectors every host of the build has (SSE2 on x86-64, NEON on ARM)
    kSse4 = 2,        // SSSE3 and SSE4.1 (byte shuffles)
    kAvx2 = 3,        // AVX2
    kAvx512Vbmi = 4,  // AVX-512 F, BW, VL and VBMI (byte permutes)
};

// The widest set allowed, fixed at the first call.
Isa isa() noexcept;

// Whether the versions written for `level` may run.
inline bool isa_allows(Isa level) noexcept {
    return static_cast<int>(isa()) >= static_cast<int>(level);
}

}  // namespace ozu::base

// A function compiled for a wider set than the baseline: only ever called
// after isa_allows() said yes. Empty where those sets do not exist.
#if defined(__x86_64__) || defined(__i386__)
#define OZU_BASE_X86 1
#define OZU_BASE_TARGET_SSE2 __attribute__((target("sse2")))
#define OZU_BASE_TARGET_SSE4 __attribute__((target("ssse3,sse4.1")))
#define OZU_BASE_TARGET_AVX2 __attribute__((target("avx2")))
#define OZU_BASE_TARGET_AVX512VBMI \
    __attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi")))
#else
#define OZU_BASE_X86 0
#endif
#if defined(__aarch64__) && defined(__ARM_NEON)
#define OZU_BASE_NEON 1
#else
#define OZU_BASE_NEON 0
#endif
