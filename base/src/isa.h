// The instruction sets the host's whole-buffer loops may use, chosen once per
// process.
//
// The plain loops are the definition of every result; a wider version of a
// loop is the same operation on more bytes at a time and gives the same bits.
// Which versions run follows the environment variable OZU_CPU_TARGET, read at
// first use, with the names the colour library uses for its own choice:
// "scalar", "sse2" and "sse4" keep the baseline loops, "avx2" allows 256-bit
// vectors, "avx512" also 512-bit ones; a name the processor cannot run, an
// unknown name or none at all gives the widest set the processor and the
// operating system support. Elsewhere than on x86 only the baseline exists.
#pragma once

namespace ozu::base {

enum class Isa : int {
    kBaseline = 0,    // what the compiler targets for every host
    kAvx2 = 1,        // AVX2
    kAvx512Vbmi = 2,  // AVX-512 F, BW, VL and VBMI (byte permutes)
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
#define OZU_BASE_TARGET_AVX2 __attribute__((target("avx2")))
#define OZU_BASE_TARGET_AVX512VBMI \
    __attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi")))
#else
#define OZU_BASE_X86 0
#endif
