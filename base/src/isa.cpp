// The instruction sets the processor offers, and the one chosen.
#include "isa.h"

#include <cstdlib>
#include <cstring>

namespace ozu::base {
namespace {

Isa widest_supported() noexcept {
#if OZU_BASE_X86
    // The compiler's own probe also checks that the operating system saves
    // the wider registers.
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi"))
        return Isa::kAvx512Vbmi;
    if (__builtin_cpu_supports("avx2")) return Isa::kAvx2;
    if (__builtin_cpu_supports("ssse3") && __builtin_cpu_supports("sse4.1")) return Isa::kSse4;
    return Isa::kBaseline;
#elif OZU_BASE_NEON
    return Isa::kBaseline;
#else
    return Isa::kPlain;
#endif
}

Isa choose() noexcept {
    const Isa widest = widest_supported();
    const char* name = std::getenv("OZU_CPU_TARGET");
    if (name == nullptr) return widest;
    Isa asked = widest;
    if (std::strcmp(name, "scalar") == 0)
        asked = Isa::kPlain;
    else if (std::strcmp(name, "neon") == 0 || std::strcmp(name, "sve") == 0 ||
             std::strcmp(name, "sve2") == 0)
        asked = OZU_BASE_NEON ? Isa::kBaseline : widest;
    else if (std::strcmp(name, "sse2") == 0)
        asked = Isa::kBaseline;
    else if (std::strcmp(name, "sse4") == 0)
        asked = Isa::kSse4;
    else if (std::strcmp(name, "avx2") == 0)
        asked = Isa::kAvx2;
    else if (std::strcmp(name, "avx512") == 0)
        asked = Isa::kAvx512Vbmi;
    // A set the processor lacks cannot be had; the widest it has is used.
    return static_cast<int>(asked) <= static_cast<int>(widest) ? asked : widest;
}

}  // namespace

Isa isa() noexcept {
    // A function-local static: initialised once, also with threads racing.
    static const Isa chosen = choose();
    return chosen;
}

}  // namespace ozu::base
