// The run-time choice of the instruction-set target of the kernels.
#include "frame/cpu_target.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "test_support.h"

using namespace ozu;

namespace {

// Puts the active target back at the end of a test that switches it.
class RestoreTarget {
public:
    RestoreTarget() : saved_(active_cpu_target()) {}
    ~RestoreTarget() { force_cpu_target(saved_); }

private:
    CpuTarget saved_;
};

bool f0() { return false; }
bool f1() { return true; }

}  // namespace

TEST(CpuTarget, NamesEveryTargetAndReadsTheNamesBack) {
    const char* expected[kCpuTargetCount] = {"scalar", "sse4", "avx2", "avx512",
                                             "neon",   "sve",  "sve2"};
    for (int i = 0; i < kCpuTargetCount; ++i) {
        EXPECT_STREQ(cpu_target_name(kAllCpuTargets[i]), expected[i]);
        EXPECT_EQ(cpu_target_from_name(expected[i]), kAllCpuTargets[i]);
    }
    EXPECT_FALSE(cpu_target_from_name("AVX2").has_value());
    EXPECT_FALSE(cpu_target_from_name("").has_value());
    EXPECT_FALSE(cpu_target_from_name("NEON").has_value());
    EXPECT_FALSE(cpu_target_from_name("sse2").has_value());
}

TEST(CpuTarget, ScalarIsAlwaysCompiledAndAvailable) {
    EXPECT_TRUE(cpu_target_compiled(CpuTarget::kScalar));
    EXPECT_TRUE(cpu_target_available(CpuTarget::kScalar));
}

TEST(CpuTarget, AvailableTargetsAreCompiledOnes) {
    for (CpuTarget t : kAllCpuTargets) {
        if (cpu_target_available(t)) {
            EXPECT_TRUE(cpu_target_compiled(t)) << cpu_target_name(t);
        }
    }
}

TEST(CpuTarget, BestTargetIsTheWidestAvailable) {
    const CpuTarget best = best_cpu_target();
    EXPECT_TRUE(cpu_target_available(best));
    for (int t = static_cast<int>(best) + 1; t < kCpuTargetCount; ++t)
        EXPECT_FALSE(cpu_target_available(static_cast<CpuTarget>(t))) << t;
}

TEST(CpuTarget, ForcingAnAvailableTargetMakesItActive) {
    RestoreTarget restore;
    for (CpuTarget t : kAllCpuTargets) {
        if (!cpu_target_available(t)) continue;
        EXPECT_TRUE(force_cpu_target(t));
        EXPECT_EQ(active_cpu_target(), t);
    }
}

TEST(CpuTarget, ForcingAnUnavailableTargetChangesNothing) {
    RestoreTarget restore;
    ASSERT_TRUE(force_cpu_target(CpuTarget::kScalar));
    for (CpuTarget t : kAllCpuTargets) {
        if (cpu_target_available(t)) continue;
        EXPECT_FALSE(force_cpu_target(t)) << cpu_target_name(t);
        EXPECT_EQ(active_cpu_target(), CpuTarget::kScalar);
    }
}

TEST(CpuTarget, StartsOnTheTargetTheEnvironmentNamesOrOnTheBest) {
    // This process may have been started with OZU_CPU_TARGET set (the
    // per-target test runs); the first use then chose that target.
    const char* name = std::getenv("OZU_CPU_TARGET");
    const auto named = name != nullptr ? cpu_target_from_name(name) : std::nullopt;
    if (named && cpu_target_available(*named))
        EXPECT_EQ(active_cpu_target(), *named);
    else
        EXPECT_EQ(active_cpu_target(), best_cpu_target());
}

#if defined(__x86_64__) && OZU_HAVE_HWY
TEST(CpuTarget, AnX86BuildHoldsEveryVectorTarget) {
    EXPECT_TRUE(cpu_target_compiled(CpuTarget::kSse4));
    EXPECT_TRUE(cpu_target_compiled(CpuTarget::kAvx2));
    EXPECT_TRUE(cpu_target_compiled(CpuTarget::kAvx512));
}
#endif

#if defined(__aarch64__) && OZU_HAVE_HWY
TEST(CpuTarget, AnArmBuildHoldsNeonAndNoX86Target) {
    EXPECT_TRUE(cpu_target_compiled(CpuTarget::kNeon));
    EXPECT_TRUE(cpu_target_available(CpuTarget::kNeon));
    EXPECT_FALSE(cpu_target_compiled(CpuTarget::kSse4));
    EXPECT_FALSE(cpu_target_compiled(CpuTarget::kAvx2));
    EXPECT_FALSE(cpu_target_compiled(CpuTarget::kAvx512));
}
#endif

TEST(TargetTable, FallsBackToTheNearestPlainerVersion) {
    const TargetTable<bool (*)()> table{{&f0, nullptr, &f1, nullptr}};
    EXPECT_EQ(table.on(CpuTarget::kScalar), &f0);
    EXPECT_EQ(table.on(CpuTarget::kSse4), &f0);
    EXPECT_EQ(table.on(CpuTarget::kAvx2), &f1);
    EXPECT_EQ(table.on(CpuTarget::kAvx512), &f1);
}

TEST(TargetTable, FallsBackWithinTheArmTargets) {
    const TargetTable<bool (*)()> table{{&f0, nullptr, nullptr, nullptr, &f1, nullptr, nullptr}};
    EXPECT_EQ(table.on(CpuTarget::kNeon), &f1);
    EXPECT_EQ(table.on(CpuTarget::kSve), &f1);
    EXPECT_EQ(table.on(CpuTarget::kSve2), &f1);
    const TargetTable<bool (*)()> scalarOnly{{&f0}};
    EXPECT_EQ(scalarOnly.on(CpuTarget::kSve2), &f0);
}

TEST(TargetTable, RunsTheActiveTargetsVersion) {
    RestoreTarget restore;
    const TargetTable<bool (*)()> table{{&f0, &f1, &f1, &f1, &f1, &f1, &f1}};
    ASSERT_TRUE(force_cpu_target(CpuTarget::kScalar));
    EXPECT_FALSE(table.active()());
    if (force_cpu_target(best_cpu_target()) && best_cpu_target() != CpuTarget::kScalar) {
        EXPECT_TRUE(table.active()());
    }
}
