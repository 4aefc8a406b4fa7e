// The vector versions of the twist line kernel against the scalar
// sub4x4MatMult: every available CPU target, all sixteen type pairs, random
// lines of every length from 0 to 100, and matrices that take each way of
// forming the sums (small weights and offsets, large offsets, weights beyond
// 16 bits, arbitrary 32-bit values that wrap).
#include "transform/twist_kernel_simd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "frame/cpu_target.h"
#include "frame/pixel_types.h"
#include "transform/twist_kernel.h"

namespace {

using namespace ozu;

enum class Family { kSmall, kLargeOffset, kLargeWeights, kAnything };

std::vector<int32_t> random_matrix(std::mt19937& engine, Family family) {
    std::vector<int32_t> m(16);
    for (int k = 0; k < 16; ++k) {
        const bool offset = k >= 12;
        switch (family) {
            case Family::kSmall:
                // Twists of a few times unity, offsets of a few 8192 levels.
                m[k] = static_cast<int32_t>(engine() % 40000) - 20000;
                break;
            case Family::kLargeOffset:
                m[k] = offset ? static_cast<int32_t>(engine()) >> 4
                              : static_cast<int32_t>(engine() % 20000) - 10000;
                break;
            case Family::kLargeWeights:
                m[k] = static_cast<int32_t>(engine() % 2000000) - 1000000;
                break;
            case Family::kAnything:
                m[k] = static_cast<int32_t>(engine());
                break;
        }
    }
    return m;
}

template <class T>
std::vector<T> random_line(std::mt19937& engine, int32_t n) {
    std::vector<T> v(static_cast<std::size_t>(n));
    for (auto& e : v) e = static_cast<T>(engine());
    return v;
}

// Destination planes 64-byte aligned, as the host's lines are, so that the
// streamed versions take their streaming path.
template <class D>
struct AlignedPlanes {
    alignas(64) D plane[3][128];
};

template <class S, class D>
void check_pair(std::mt19937& engine, CpuTarget target, bool streamed) {
    const auto kernel = streamed ? twist_line_streamed_targets<S, D>().on(target)
                                 : twist_line_targets<S, D>().on(target);
    for (Family family :
         {Family::kSmall, Family::kLargeOffset, Family::kLargeWeights, Family::kAnything}) {
        for (int32_t count = 0; count <= 100; ++count) {
            const std::vector<int32_t> m = random_matrix(engine, family);
            std::vector<S> in[3];
            for (auto& plane : in) plane = random_line<S>(engine, count);
            // Destinations start with the same junk, so untouched pixels agree.
            const std::vector<D> junk = random_line<D>(engine, count);
            AlignedPlanes<D> want, got;
            for (int p = 0; p < 3; ++p) {
                std::copy(junk.begin(), junk.end(), want.plane[p]);
                std::copy(junk.begin(), junk.end(), got.plane[p]);
            }
            const S* src[3] = {in[0].data(), in[1].data(), in[2].data()};
            D* expected[3] = {want.plane[0], want.plane[1], want.plane[2]};
            D* actual[3] = {got.plane[0], got.plane[1], got.plane[2]};
            const bool scalarDone =
                sub4x4MatMult<S, D>(src, expected, count, pixel_max<S>, pixel_max<D>, m.data());
            ASSERT_TRUE(scalarDone);
            ASSERT_TRUE(kernel(src, actual, count, pixel_max<S>, pixel_max<D>, m.data()));
            for (int p = 0; p < 3; ++p) {
                for (int32_t x = 0; x < count; ++x) {
                    ASSERT_EQ(int(got.plane[p][x]), int(want.plane[p][x]))
                        << "target " << cpu_target_name(target) << (streamed ? " streamed" : "")
                        << " family "
                        << int(family) << " count " << count << " plane " << p << " pixel "
                        << x << " from (" << int(in[0][x]) << ", " << int(in[1][x]) << ", "
                        << int(in[2][x]) << ")";
                }
            }
        }
    }
}

template <class S>
void check_from(std::mt19937& engine, CpuTarget target) {
    for (bool streamed : {false, true}) {
        check_pair<S, int8_t>(engine, target, streamed);
        check_pair<S, uint8_t>(engine, target, streamed);
        check_pair<S, int16_t>(engine, target, streamed);
        check_pair<S, uint16_t>(engine, target, streamed);
    }
}

TEST(TwistLineTargets, EveryTargetMatchesTheScalarKernelOnEveryPairAndLength) {
    std::mt19937 engine(4242);
    for (CpuTarget target : kAllCpuTargets) {
        if (!cpu_target_available(target)) continue;
        check_from<int8_t>(engine, target);
        check_from<uint8_t>(engine, target);
        check_from<int16_t>(engine, target);
        check_from<uint16_t>(engine, target);
    }
}

// In place (destination planes are the source planes, permuted), and with a
// destination plane one pixel past a source plane: the order of reads and
// writes then shows, and the vector versions must keep the scalar one.
TEST(TwistLineTargets, InPlaceAndOverlappingPlanesMatchTheScalarKernel) {
    std::mt19937 engine(77);
    const std::vector<int32_t> m = random_matrix(engine, Family::kSmall);
    for (CpuTarget target : kAllCpuTargets) {
        if (!cpu_target_available(target)) continue;
        const auto kernel = twist_line_targets<uint8_t, uint8_t>().on(target);
        for (int32_t count = 0; count <= 100; ++count) {
            const auto a = random_line<uint8_t>(engine, 3 * (count + 1));
            std::vector<uint8_t> want = a, got = a;
            const int32_t n = count + 1;
            // Destination planes 1, 2, 0 of the same memory.
            {
                const uint8_t* s[3] = {want.data(), want.data() + n, want.data() + 2 * n};
                uint8_t* d[3] = {want.data() + n, want.data() + 2 * n, want.data()};
                sub4x4MatMult<uint8_t, uint8_t>(s, d, count, 255, 255, m.data());
                const uint8_t* s2[3] = {got.data(), got.data() + n, got.data() + 2 * n};
                uint8_t* d2[3] = {got.data() + n, got.data() + 2 * n, got.data()};
                kernel(s2, d2, count, 255, 255, m.data());
                ASSERT_EQ(got, want) << "in place, target " << cpu_target_name(target)
                                     << " count " << count;
            }
            // Destination plane 0 starts one pixel into source plane 0.
            if (count > 0) {
                const uint8_t* s[3] = {want.data(), want.data() + n, want.data() + 2 * n};
                uint8_t* d[3] = {want.data() + 1, want.data() + n, want.data() + 2 * n};
                sub4x4MatMult<uint8_t, uint8_t>(s, d, count, 255, 255, m.data());
                const uint8_t* s2[3] = {got.data(), got.data() + n, got.data() + 2 * n};
                uint8_t* d2[3] = {got.data() + 1, got.data() + n, got.data() + 2 * n};
                kernel(s2, d2, count, 255, 255, m.data());
                ASSERT_EQ(got, want) << "shifted, target " << cpu_target_name(target)
                                     << " count " << count;
            }
        }
    }
}

// Ranges other than those of the types (which tmpl_twist never passes) give
// the scalar kernel's results as well.
TEST(TwistLineTargets, OtherRangesGiveTheScalarResults) {
    std::mt19937 engine(5);
    const std::vector<int32_t> m = random_matrix(engine, Family::kSmall);
    for (CpuTarget target : kAllCpuTargets) {
        if (!cpu_target_available(target)) continue;
        const auto kernel = twist_line_targets<uint8_t, uint8_t>().on(target);
        const auto in = random_line<uint8_t>(engine, 40);
        std::vector<uint8_t> want(40), got(40);
        const uint8_t* s[3] = {in.data(), in.data(), in.data()};
        uint8_t* dw[3] = {want.data(), want.data(), want.data()};
        uint8_t* dg[3] = {got.data(), got.data(), got.data()};
        sub4x4MatMult<uint8_t, uint8_t>(s, dw, 40, 200, 100, m.data());
        kernel(s, dg, 40, 200, 100, m.data());
        EXPECT_EQ(got, want) << cpu_target_name(target);
    }
}

}  // namespace
