// The copy-out of the Bayer path: every available CPU target's spread of
// packed RGB32 lines into three planes against the scalar spread, on random
// lines of every length from 0 to 100, for both 8-bit destination types.
#include "convert/bayer_spread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <random>
#include <vector>

#include "frame/cpu_target.h"

namespace {

using namespace ozu;

// Planes 64-byte aligned, as the host's lines are; one element of guard
// after each line.
template <class D>
struct Planes {
    alignas(64) D plane[3][128];
};

template <class D>
void check(CpuTarget target, std::mt19937& engine) {
    const auto spread = spread_rgb32_targets<D>().on(target);
    for (int32_t width = 0; width <= 100; ++width) {
        std::vector<uint8_t> packed(4 * std::size_t(width) + 4);
        for (auto& b : packed) b = static_cast<uint8_t>(engine());
        Planes<D> want, got;
        for (int p = 0; p < 3; ++p) {
            std::fill(std::begin(want.plane[p]), std::end(want.plane[p]), D(0x5A));
            std::fill(std::begin(got.plane[p]), std::end(got.plane[p]), D(0x5A));
        }
        D* const expected[3] = {want.plane[0], want.plane[1], want.plane[2]};
        D* const actual[3] = {got.plane[0], got.plane[1], got.plane[2]};
        scalar::spread_rgb32<D>(packed.data(), expected, width);
        spread(packed.data(), actual, width);
        for (int p = 0; p < 3; ++p) {
            ASSERT_TRUE(std::equal(std::begin(got.plane[p]), std::end(got.plane[p]),
                                   std::begin(want.plane[p])))
                << "target " << cpu_target_name(target)
                << " width " << width << " plane " << p;
            if (width > 0) {
                ASSERT_EQ(got.plane[p][0], D(packed[std::size_t(p)]));
            }
        }
    }
}

TEST(BayerSpread, EveryTargetMatchesTheScalarSpreadOnEveryLength) {
    std::mt19937 engine(31);
    for (CpuTarget target : kAllCpuTargets) {
        if (!cpu_target_available(target)) continue;
        check<uint8_t>(target, engine);
        check<int8_t>(target, engine);
    }
}

}  // namespace
