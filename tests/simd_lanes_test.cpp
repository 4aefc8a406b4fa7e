// Pieces the vector kernels share (frame/simd_lanes-inl.h), on every target
// of the build.
//
// The float-to-integer conversion of the hue kernels (TruncToI32): the
// instructions underneath disagree on out-of-range and NaN inputs (x86 gives
// 0x80000000 for both, ARM saturates and gives 0 for NaN), and every target
// must give the scalar rule of trunc_to_int32: truncation toward zero,
// saturation beyond the 32-bit range, 0 for NaN.
//
// The walk that starts each group's first part ahead of its second
// (WalkLineSplit): every pixel of every width once, none outside the line,
// the same in place.
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

// out = 3 x in + 1 over a line of `width` pixels of plane 0 (planes 1 and 2
// null), the product in the head of each group and the sum in its tail, the
// head `ahead` (1 or 2) groups early where the target allows it. The head
// hands on a mask and a second vector too, which the tail checks.
void AheadLine(const int32_t* in, int32_t* out, int32_t width, int ahead) {
    const int32_t* const src[3] = {in, nullptr, nullptr};
    int32_t* const dst[3] = {out, nullptr, nullptr};
    constexpr size_t kLanes = hn::MaxLanes(DI32());
    const auto head = [](const int32_t* const* p, size_t x, const auto& then) {
        const VI32 v = hn::LoadU(DI32(), p[0] + x);
        return then(hn::Mul(v, hn::Set(DI32(), 3)), hn::Eq(v, v), v);
    };
    const auto tail = [](VI32 product, MI32 all, VI32 v, int32_t* const* q, size_t x) {
        const VI32 sum = hn::Add(product, hn::Set(DI32(), 1));
        const bool handed = hn::AllTrue(DI32(), all) &&
                            hn::AllTrue(DI32(), hn::Eq(product, hn::Mul(v, hn::Set(DI32(), 3))));
        hn::StoreU(handed ? sum : hn::Set(DI32(), -1), DI32(), q[0] + x);
    };
    if (ahead == 1)
        WalkLineSplit<kLanes, 1>(src, dst, width, hn::Lanes(DI32()), head, tail);
    else
        WalkLineSplit<kLanes, 2>(src, dst, width, hn::Lanes(DI32()), head, tail);
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

using AheadFn = void (*)(const int32_t*, int32_t*, int32_t, int);
void NoScalarAhead(const int32_t*, int32_t*, int32_t, int) {}
constexpr ozu::TargetTable<AheadFn> kAhead{{&NoScalarAhead, OZU_SIMD_ENTRIES(AheadLine)}};

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
    ozu_test::for_each_vector_entry(kTrunc, [&](const char* target, TruncFn fn) {
        std::vector<int32_t> out(n, 12345);
        fn(in.data(), out.data(), n);
        for (size_t i = 0; i < n; ++i)
            ASSERT_EQ(out[i], kCases[i % kCaseCount].out)
                << target << " lane input " << in[i] << " at " << i;
    });
}

TEST(WalkLineSplit, EveryTargetWalksEveryPixelOnceAndNoneBeyondTheLine) {
    // Widths from none to past four groups of the widest vectors here, with
    // guards on both sides; then in place.
    constexpr int32_t kGuard = 64;
    ozu_test::for_each_vector_entry(kAhead, [&](const char* target, AheadFn fn) {
        for (int ahead = 1; ahead <= 2; ++ahead) {
            for (int32_t width = 0; width <= 70; ++width) {
                std::vector<int32_t> in(width + 2 * kGuard), out(width + 2 * kGuard, -7);
                for (size_t i = 0; i < in.size(); ++i) in[i] = static_cast<int32_t>(i * 7 + 1);
                fn(in.data() + kGuard, out.data() + kGuard, width, ahead);
                for (int32_t i = 0; i < width + 2 * kGuard; ++i) {
                    const bool inside = i >= kGuard && i < kGuard + width;
                    ASSERT_EQ(out[i], inside ? 3 * in[i] + 1 : -7)
                        << target << " ahead " << ahead << " width " << width << " at "
                        << i - kGuard;
                }
                std::vector<int32_t> same = in;
                fn(same.data() + kGuard, same.data() + kGuard, width, ahead);
                for (int32_t i = 0; i < width + 2 * kGuard; ++i) {
                    const bool inside = i >= kGuard && i < kGuard + width;
                    ASSERT_EQ(same[i], inside ? 3 * in[i] + 1 : in[i])
                        << target << " in place, ahead " << ahead << " width " << width
                        << " at " << i - kGuard;
                }
            }
        }
    });
}

}  // namespace
#endif  // HWY_ONCE
