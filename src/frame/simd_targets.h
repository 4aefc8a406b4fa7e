// Included by a kernel source that has vector versions, right after it
// defines HWY_TARGET_INCLUDE as its own path (see frame/cpu_target.h).
//
// With Highway, foreach_target re-includes that source once per target with
// HWY_ONCE = 0, then the source goes on for the baseline target with
// HWY_ONCE = 1; the code under `#if HWY_ONCE` (scalar instances and target
// tables) is thus compiled once. Without Highway (the PowerPC build) HWY_ONCE
// is simply 1 and every table holds the scalar kernel alone.
#pragma once

#include "frame/cpu_target.h"

// True in the passes that compile vector code for one of our targets; the
// pass of Highway's own fallback (its one-lane scalar target, the baseline
// of a plain x86-64 build) is skipped: our scalar kernels serve there.
// Defined before foreach_target re-includes the source, which tests it.
#if OZU_HAVE_HWY
#define OZU_SIMD_PASS (HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128)
#else
#define OZU_SIMD_PASS 0
#endif

#if OZU_HAVE_HWY
#include <hwy/foreach_target.h>  // re-includes HWY_TARGET_INCLUDE per target
#include <hwy/highway.h>
#else
#ifndef HWY_ONCE
#define HWY_ONCE 1
#endif
#endif

// The vector entries of a TargetTable, in CpuTarget order after the scalar
// one: OZU_SIMD_ENTRIES(Kernel<S, D>) names ozu::N_<target>::Kernel<S, D>
// for each compiled target and null for the others.
#if OZU_HAVE_HWY && (HWY_TARGETS & HWY_SSE4)
#define OZU_SIMD_ON_SSE4(...) &::ozu::N_SSE4::__VA_ARGS__
#else
#define OZU_SIMD_ON_SSE4(...) nullptr
#endif
#if OZU_HAVE_HWY && (HWY_TARGETS & HWY_AVX2)
#define OZU_SIMD_ON_AVX2(...) &::ozu::N_AVX2::__VA_ARGS__
#else
#define OZU_SIMD_ON_AVX2(...) nullptr
#endif
#if OZU_HAVE_HWY && (HWY_TARGETS & HWY_AVX3)
#define OZU_SIMD_ON_AVX512(...) &::ozu::N_AVX3::__VA_ARGS__
#else
#define OZU_SIMD_ON_AVX512(...) nullptr
#endif

#if OZU_HAVE_HWY && (HWY_TARGETS & HWY_NEON)
#define OZU_SIMD_ON_NEON(...) &::ozu::N_NEON::__VA_ARGS__
#else
#define OZU_SIMD_ON_NEON(...) nullptr
#endif
#if OZU_HAVE_HWY && (HWY_TARGETS & HWY_SVE)
#define OZU_SIMD_ON_SVE(...) &::ozu::N_SVE::__VA_ARGS__
#else
#define OZU_SIMD_ON_SVE(...) nullptr
#endif
#if OZU_HAVE_HWY && (HWY_TARGETS & HWY_SVE2)
#define OZU_SIMD_ON_SVE2(...) &::ozu::N_SVE2::__VA_ARGS__
#else
#define OZU_SIMD_ON_SVE2(...) nullptr
#endif

#define OZU_SIMD_ENTRIES(...)                                                               \
    OZU_SIMD_ON_SSE4(__VA_ARGS__), OZU_SIMD_ON_AVX2(__VA_ARGS__),                           \
        OZU_SIMD_ON_AVX512(__VA_ARGS__), OZU_SIMD_ON_NEON(__VA_ARGS__),                     \
        OZU_SIMD_ON_SVE(__VA_ARGS__), OZU_SIMD_ON_SVE2(__VA_ARGS__)
