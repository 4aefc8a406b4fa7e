// The vector versions of the distance line kernel against the scalar one:
// every available CPU target, random lines of every length from 0 to 100,
// random reference colours (negative packed values included), and lines
// holding the reference colours themselves and the extremes 0 and 255.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "analysis/color_distance.h"
#include "frame/cpu_target.h"

namespace {

using namespace ozu;

TEST(DistanceLineTargets, EveryTargetMatchesTheScalarKernelOnEveryLength) {
    std::mt19937 engine(1215);
    for (CpuTarget target : kAllCpuTargets) {
        if (!cpu_target_available(target)) continue;
        const DistanceLine kernel = distance_line_targets().on(target);
        for (int round = 0; round < 4; ++round) {
            for (int32_t width = 0; width <= 100; ++width) {
                const ReferenceColor first = unpack_reference(static_cast<int32_t>(engine()));
                const ReferenceColor second =
                    round == 0 ? first : unpack_reference(static_cast<int32_t>(engine()));
                std::vector<uint8_t> p[3];
                for (int c = 0; c < 3; ++c) {
                    p[c].resize(std::size_t(width));
                    for (int32_t x = 0; x < width; ++x) {
                        const uint32_t pick = engine() % 8;
                        p[c][std::size_t(x)] =
                            pick == 0   ? uint8_t(first.c[c])
                            : pick == 1 ? uint8_t(second.c[c])
                            : pick == 2 ? uint8_t(0)
                            : pick == 3 ? uint8_t(255)
                                        : static_cast<uint8_t>(engine());
                    }
                }
                std::vector<uint8_t> want(std::size_t(width) + 1, 0xA5);
                std::vector<uint8_t> got(std::size_t(width) + 1, 0xA5);
                scalar::distance_line(p[0].data(), p[1].data(), p[2].data(), want.data(), width,
                                      first, second);
                kernel(p[0].data(), p[1].data(), p[2].data(), got.data(), width, first, second);
                ASSERT_EQ(got, want) << "target " << cpu_target_name(target) << " width "
                                     << width << " round " << round;
            }
        }
    }
}

// Every pixel value of one channel against colours 0 and 255 there: the
// whole range of each distance and quotient, 255 included.
TEST(DistanceLineTargets, EveryTargetMatchesTheScalarKernelOverTheWholeRange) {
    const ReferenceColor black = unpack_reference(0);
    const ReferenceColor white = unpack_reference(0xFFFFFF);
    std::vector<uint8_t> v(256), zero(256, 0), full(256, 255);
    for (int k = 0; k < 256; ++k) v[std::size_t(k)] = uint8_t(k);
    for (CpuTarget target : kAllCpuTargets) {
        if (!cpu_target_available(target)) continue;
        const DistanceLine kernel = distance_line_targets().on(target);
        for (const auto* rest : {&zero, &full}) {
            for (bool swap : {false, true}) {
                const ReferenceColor& a = swap ? white : black;
                const ReferenceColor& b = swap ? black : white;
                std::vector<uint8_t> want(256), got(256);
                scalar::distance_line(v.data(), rest->data(), rest->data(), want.data(), 256, a, b);
                kernel(v.data(), rest->data(), rest->data(), got.data(), 256, a, b);
                EXPECT_EQ(got, want) << cpu_target_name(target);
            }
        }
    }
}

}  // namespace
