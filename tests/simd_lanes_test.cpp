// The float-to-integer conversion the vector hue kernels share
// (TruncToI32 in frame/simd_lanes-inl.h), on every target of the build:
// the instructions underneath disagree on out-of-range and NaN inputs (x86
// gives 0x80000000 for both, ARM saturates and gives 0 for NaN), and every
// target must give the scalar rule of trunc_to_int32: truncation toward
// zero, saturation beyond the 32-bit range, 0 for NaN.
#define HWY_TARGET_INCLUDE "simd_lanes_test.cpp"
#include "frame/simd_targets.h"  // IWYU pragma: keep

#if OZU_SIMD_PASS
#include "frame/simd_lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace ozu {
namespace HWY_NAMESPACE {

// TruncToI32 over n floats, n a multiple of the lane count.
void TruncLanes(const float* in, int32_t* out, size_t n) {
    const DF32 df;
    const size_t lanes = hn::Lanes(df);
    for (size_t x = 0; x + lanes <= n; x += lanes)
        hn::StoreU(TruncToI32(hn::LoadU(df, in + x)), DI32(), out + x);
}

}  // namespace HWY_NAMESPACE
}  // namespace ozu
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "test_support.h"

namespace {

using TruncFn = void (*)(const float*, int32_t*, size_t);

// The table holds no scalar version: the expected values below are the rule.
void NoScalar(const float*, int32_t*, size_t) {}
constexpr ozu::TargetTable<TruncFn> kTrunc{{&NoScalar, OZU_SIMD_ENTRIES(TruncLanes)}};

struct Case {
    float in;
    int32_t out;
};

constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// In range, at the edges of the range, beyond it, and not numbers: what a
// saturation value divided by a tiny denominator, or 0/0, brings to the
// kernels' conversion.
const Case kCases[] = {
    {0.0f, 0},
    {-0.0f, 0},
    {1.0e-45f, 0},
    {0.99f, 0},
    {1.5f, 1},
    {-1.5f, -1},
    {255.999f, 255},
    {-65535.5f, -65535},
    {16777216.0f, 16777216},
    {2147483520.0f, 2147483520},    // the largest float below 2^31
    {2147483648.0f, kMax},          // 2^31
    {1.0e10f, kMax},
    {3.4e38f, kMax},
    {kInf, kMax},
    {-2147483648.0f, kMin},         // -2^31, in range
    {-2147483904.0f, kMin},         // the next float below
    {-1.0e10f, kMin},
    {-kInf, kMin},
    {kNaN, 0},
    {-kNaN, 0},
    {std::numeric_limits<float>::signaling_NaN(), 0},
};
constexpr size_t kCaseCount = sizeof(kCases) / sizeof(kCases[0]);

TEST(TruncToI32, EveryTargetTruncatesSaturatesAndZeroesNaN) {
    // Each case in every lane position: 64 lanes are the widest vectors
    // (2048-bit SVE), and the count is prime to 64.
    const size_t n = 64 * kCaseCount;
    std::vector<float> in(n);
    for (size_t i = 0; i < n; ++i) in[i] = kCases[i % kCaseCount].in;
    int tested = 0;
    for (ozu::CpuTarget target : ozu::kAllCpuTargets) {
        if (target == ozu::CpuTarget::kScalar || !ozu::cpu_target_available(target)) continue;
        const TruncFn fn = kTrunc.entry[static_cast<int>(target)];
        if (fn == nullptr) continue;
        ++tested;
        std::vector<int32_t> out(n, 12345);
        fn(in.data(), out.data(), n);
        for (size_t i = 0; i < n; ++i)
            ASSERT_EQ(out[i], kCases[i % kCaseCount].out)
                << ozu::cpu_target_name(target) << " lane input " << in[i] << " at " << i;
    }
#if OZU_HAVE_HWY
    EXPECT_GT(tested, 0) << "a build with vector targets tested none";
#endif
}

}  // namespace
#endif  // HWY_ONCE
