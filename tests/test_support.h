// Helpers shared by the colour module's tests: buffers of the host library,
// typed plane access, seeded pixels and the check of an entry's error code.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>
#include <ozu/thread_pool.h>

#include "frame/cpu_target.h"
#include "frame/pixel_types.h"

// A failing entry returns 0 and leaves exactly `code` in the error slot. The
// slot is cleared first, so a code left by an earlier call cannot pass.
#define EXPECT_COL_ERROR(code, call)            \
    do {                                        \
        IPL_SetErrorCode(0);                    \
        EXPECT_EQ((call), 0);                   \
        EXPECT_EQ(IPL_GetErrorCode2(), (code)); \
    } while (0)

namespace ozu_test {

// A test program started with OZU_CPU_TARGET set (the per-target runs that
// tests/CMakeLists.txt registers) must run its kernels on that target. On a
// processor that lacks it the program says so and exits with 77, which ctest
// reports as skipped: running on another target instead would pass without
// testing the one named. An unknown name is an error.
inline const bool kForcedTargetChecked = [] {
    const char* name = std::getenv("OZU_CPU_TARGET");
    if (name == nullptr) return true;
    const auto target = ozu::cpu_target_from_name(name);
    if (!target) {
        std::fprintf(stderr, "OZU_CPU_TARGET=%s names no instruction-set target\n", name);
        std::exit(1);
    }
    if (!ozu::force_cpu_target(*target)) {
        std::printf("instruction-set target %s is not available on this processor: skipped\n", name);
        std::exit(77);
    }
    std::printf("kernels run on instruction-set target %s\n", name);
    return true;
}();

// A test program started with OZU_TEST_THREADS=N (the parallel runs that
// tests/CMakeLists.txt registers) converts through a pool of N threads
// installed on its main thread, in bands of OZU_TEST_BAND_LINES lines when
// that is set: every result it pins must come out the same.
class TestRunner {
public:
    TestRunner() {
        const char* threads = std::getenv("OZU_TEST_THREADS");
        const char* lines = std::getenv("OZU_TEST_BAND_LINES");
        if (lines != nullptr) COL_SetParallelBandLines(std::atoi(lines));
        if (threads == nullptr) return;
        pool_ = OZU_ThreadPoolCreate(static_cast<uint32_t>(std::atoi(threads)));
        if (pool_ == nullptr) {
            std::fprintf(stderr, "no pool of %s threads\n", threads);
            std::exit(1);
        }
        COL_SetParallelRunner(OZU_ThreadPoolRunner, pool_);
        std::printf("converting through a pool of %s threads, bands of %s lines\n", threads,
                    lines != nullptr ? lines : "automatic");
    }
    ~TestRunner() {
        COL_SetParallelRunner(nullptr, nullptr);
        OZU_ThreadPoolDestroy(pool_);
    }

private:
    void* pool_ = nullptr;
};
inline TestRunner kTestRunner;

// Owns one host buffer and frees it at the end of the scope. handle() is -1
// after a failed allocation (the test has then already failed).
class Buffer {
public:
    Buffer() = default;
    explicit Buffer(int32_t handle) : handle_(handle) {}
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() {
        if (handle_ != -1) IPL_BufFree(handle_);
    }
    int32_t handle() const { return handle_; }
    // For entries that create their result: pass &slot, -1 on the way in.
    int32_t* slot() { return &handle_; }

private:
    int32_t handle_ = -1;
};

// Allocates an image buffer (kind 1 unless told); -1 and a test failure when
// the host refuses.
inline int32_t make_image(int32_t width, int32_t height, int32_t planes, int32_t type,
                          int32_t ext2 = 1, int32_t ext3 = 1, int32_t kind = BASE_KIND_IMAGE,
                          int32_t flags = 0) {
    int32_t h = -1;
    EXPECT_EQ(IPL_BufAlloc(&h, width, height, planes, ext2, ext3, type, kind, flags), 1);
    return h;
}

inline int32_t attribute(int32_t h, int32_t attr) {
    int32_t value = -12345;
    EXPECT_EQ(IPL_BufInquire(h, attr, &value), 1);
    return value;
}

// Writes a packed width x height plane of block (i, j).
template <class T>
void write_plane(int32_t h, int32_t plane, const std::vector<T>& data, int32_t i = 0,
                 int32_t j = 0) {
    const int32_t width = attribute(h, BASE_ATTR_WIDTH);
    const int32_t height = attribute(h, BASE_ATTR_HEIGHT);
    ASSERT_EQ(data.size(), size_t(width) * size_t(height));
    ASSERT_EQ(IPL_PutBufDataEx(h, 0, 0, plane, i, j, width, height, 0,
                               width * int32_t(sizeof(T)), data.data(), ozu::PixelTraits<T>::code),
              1);
}

// Reads plane `plane` of block (i, j), packed line by line.
template <class T>
std::vector<T> read_plane(int32_t h, int32_t plane, int32_t i = 0, int32_t j = 0) {
    const int32_t width = attribute(h, BASE_ATTR_WIDTH);
    const int32_t height = attribute(h, BASE_ATTR_HEIGHT);
    std::vector<T> data(size_t(width) * size_t(height));
    EXPECT_EQ(IPL_GetBufDataEx(h, 0, 0, plane, i, j, width, height, 0,
                               width * int32_t(sizeof(T)), data.data(), ozu::PixelTraits<T>::code),
              1);
    return data;
}

// n pixels of type T, the same on every host for the same seed: the raw
// mt19937 output (fully specified by the standard) cut to the element width.
template <class T>
std::vector<T> seeded_pixels(size_t n, uint32_t seed) {
    std::mt19937 engine(seed);
    std::vector<T> data(n);
    for (auto& v : data) v = static_cast<T>(engine());
    return data;
}

}  // namespace ozu_test

// ---------------------------------------------------------------------------
// Line kernels: (source, destination) element-type pairs for typed tests, and
// three-plane lines in the shape the kernels take.

namespace ozu_test {

template <class S, class D>
struct TypePair {
    using Src = S;
    using Dst = D;
};

// The sixteen pairs of the four image pixel types.
using AllPixelPairs = ::testing::Types<
    TypePair<int8_t, int8_t>, TypePair<int8_t, uint8_t>, TypePair<int8_t, int16_t>,
    TypePair<int8_t, uint16_t>, TypePair<uint8_t, int8_t>, TypePair<uint8_t, uint8_t>,
    TypePair<uint8_t, int16_t>, TypePair<uint8_t, uint16_t>, TypePair<int16_t, int8_t>,
    TypePair<int16_t, uint8_t>, TypePair<int16_t, int16_t>, TypePair<int16_t, uint16_t>,
    TypePair<uint16_t, int8_t>, TypePair<uint16_t, uint8_t>, TypePair<uint16_t, int16_t>,
    TypePair<uint16_t, uint16_t>>;
// The sixteen and the 32-bit working pair.
using AllPixelPairsAndWorking = ::testing::Types<
    TypePair<int8_t, int8_t>, TypePair<int8_t, uint8_t>, TypePair<int8_t, int16_t>,
    TypePair<int8_t, uint16_t>, TypePair<uint8_t, int8_t>, TypePair<uint8_t, uint8_t>,
    TypePair<uint8_t, int16_t>, TypePair<uint8_t, uint16_t>, TypePair<int16_t, int8_t>,
    TypePair<int16_t, uint8_t>, TypePair<int16_t, int16_t>, TypePair<int16_t, uint16_t>,
    TypePair<uint16_t, int8_t>, TypePair<uint16_t, uint8_t>, TypePair<uint16_t, int16_t>,
    TypePair<uint16_t, uint16_t>, TypePair<int32_t, int32_t>>;
// The four same-type pairs and the 32-bit working pair.
using SameTypePairsAndWorking =
    ::testing::Types<TypePair<int8_t, int8_t>, TypePair<uint8_t, uint8_t>,
                     TypePair<int16_t, int16_t>, TypePair<uint16_t, uint16_t>,
                     TypePair<int32_t, int32_t>>;

// Position of an element type in int8, uint8, int16, uint16, int32 order.
template <class T> inline constexpr int kTypeIndex = -1;
template <> inline constexpr int kTypeIndex<int8_t> = 0;
template <> inline constexpr int kTypeIndex<uint8_t> = 1;
template <> inline constexpr int kTypeIndex<int16_t> = 2;
template <> inline constexpr int kTypeIndex<uint16_t> = 3;
template <> inline constexpr int kTypeIndex<int32_t> = 4;

// Row of a pair in the lists above: 4 x source + destination for the
// sixteen, 16 for the working pair; in SameTypePairsAndWorking the source's
// index.
template <class S, class D>
constexpr int pair_row() {
    return kTypeIndex<S> == 4 ? 16 : 4 * kTypeIndex<S> + kTypeIndex<D>;
}

// Names typed tests after their pair: "int8_to_uint16".
struct TypePairName {
    template <class T> static const char* type_name() {
        constexpr int i = kTypeIndex<T>;
        return i == 0 ? "int8" : i == 1 ? "uint8" : i == 2 ? "int16" : i == 3 ? "uint16" : "int32";
    }
    template <class P> static std::string GetName(int) {
        return std::string(type_name<typename P::Src>()) + "_to_" + type_name<typename P::Dst>();
    }
};

// Three planes of one image line with the pointer arrays a line kernel takes:
// in() as its source, out() as its destination.
template <class T>
class Line3 {
public:
    explicit Line3(size_t width, T fill = T{})
        : Line3(std::vector<T>(width, fill), std::vector<T>(width, fill), std::vector<T>(width, fill)) {}
    Line3(std::vector<T> p0, std::vector<T> p1, std::vector<T> p2)
        : plane{std::move(p0), std::move(p1), std::move(p2)} {
        for (int i = 0; i < 3; ++i) {
            out_[i] = plane[i].data();
            in_[i] = plane[i].data();
        }
    }
    Line3(const Line3&) = delete;
    Line3& operator=(const Line3&) = delete;

    const T* const* in() const { return in_; }
    T* const* out() { return out_; }

    std::vector<T> plane[3];

private:
    T* out_[3];
    const T* in_[3];
};

// Expects plane i of `line` to hold expected[i][0..N-1]; a mismatch names the
// plane and the pixel.
template <class T, size_t N>
void expect_planes(const Line3<T>& line, const int64_t (&expected)[3][N]) {
    for (int i = 0; i < 3; ++i) {
        ASSERT_GE(line.plane[i].size(), N);
        for (size_t x = 0; x < N; ++x)
            EXPECT_EQ(int64_t{line.plane[i][x]}, expected[i][x]) << "plane " << i << ", pixel " << x;
    }
}

}  // namespace ozu_test

// ---------------------------------------------------------------------------
// Vector kernels against their scalar references (frame/cpu_target.h).

namespace ozu_test {

// A line of `width` pixels over three planes for exercising a kernel: mostly
// seeded random values over the whole element type, mixed with the pixels
// that take special paths (grey, two equal channels, range ends, zero).
template <class T>
std::vector<std::vector<T>> testing_planes(size_t width, uint32_t seed, int32_t max) {
    std::mt19937 engine(seed);
    std::vector<std::vector<T>> planes(3, std::vector<T>(width));
    const T specials[] = {T{0}, T{1}, static_cast<T>(max), static_cast<T>(max - 1),
                          static_cast<T>(max / 2), std::numeric_limits<T>::lowest(),
                          std::numeric_limits<T>::max()};
    const auto any = [&] { return static_cast<T>(engine()); };
    const auto special = [&] { return specials[engine() % (sizeof specials / sizeof specials[0])]; };
    for (size_t x = 0; x < width; ++x) {
        T v[3] = {any(), any(), any()};
        switch (engine() % 8) {
            case 4: v[1] = v[2] = v[0]; break;                       // grey
            case 5: {  // two channels tie
                const unsigned a = engine() % 3, b = (a + 1 + engine() % 2) % 3;
                v[a] = v[b];
                break;
            }
            case 6: v[0] = special(), v[1] = special(), v[2] = special(); break;
            case 7: v[engine() % 3] = special(); break;
            default: break;
        }
        for (int p = 0; p < 3; ++p) planes[p][x] = v[p];
    }
    return planes;
}

// The (srcMax, dstMax) pairs a kernel instance is tried with: the ranges of
// its types, as the driver passes them, and for same-type instances (which
// the spectral path and direct callers also run with other ranges) equal and
// unequal ranges of the other pixel types, so that every path is taken.
template <class S, class D>
std::vector<std::pair<int32_t, int32_t>> kernel_ranges() {
    std::vector<std::pair<int32_t, int32_t>> ranges = {{ozu::pixel_max<S>, ozu::pixel_max<D>}};
    const std::pair<int32_t, int32_t> more[] = {{255, 255},   {127, 127},   {65535, 65535},
                                                {255, 65535}, {65535, 255}, {32767, 127}};
    if constexpr (std::is_same_v<S, D>) {
        for (const auto& r : more)
            if (r != ranges.front()) ranges.push_back(r);
    }
    return ranges;
}

// Runs check(name, entry) with the entry of `table` for every vector
// target this processor has (none where the build has no vector code, and
// then nothing is expected), and expects a build with vector targets to have
// run it at least once.
template <class Fn, class Check>
void for_each_vector_entry(const ozu::TargetTable<Fn>& table, const Check& check) {
    int tested = 0;
    for (ozu::CpuTarget target : ozu::kAllCpuTargets) {
        if (target == ozu::CpuTarget::kScalar || !ozu::cpu_target_available(target)) continue;
        const Fn fn = table.entry[static_cast<int>(target)];
        if (fn == nullptr) continue;
        ++tested;
        check(ozu::cpu_target_name(target), fn);
    }
#if OZU_HAVE_HWY
    EXPECT_GT(tested, 0) << "a build with vector targets tested none";
#endif
}

// Runs the scalar entry of `table` and every other available target's
// version on the same seeded lines of every width 0..100, each from the same
// seeded destination contents, and expects the same result and the same
// three destination planes, written or not. `extra` is passed after dstMax
// (the matrix of a matrix kernel). With `inPlace`, S = D, the kernels also
// convert the lines in place. The first difference is reported with its
// target, width, pixel and input.
template <class S, class D, class Fn, class... Extra>
void expect_targets_match_scalar(const ozu::TargetTable<Fn>& table, int32_t srcMax,
                                 int32_t dstMax, bool inPlace, Extra... extra) {
    const Fn reference = table.entry[0];
    for (ozu::CpuTarget target : ozu::kAllCpuTargets) {
        if (target == ozu::CpuTarget::kScalar || !ozu::cpu_target_available(target)) continue;
        const Fn candidate = table.on(target);
        for (size_t width = 0; width <= 100; ++width) {
            const uint32_t seed = static_cast<uint32_t>(1000 * width + srcMax % 1000 + dstMax % 7);
            const auto input = testing_planes<S>(width, seed, srcMax);
            const auto start = testing_planes<D>(width, seed + 1, dstMax);
            auto want = start;
            auto got = start;
            const S* in[3] = {input[0].data(), input[1].data(), input[2].data()};
            D* wantOut[3] = {want[0].data(), want[1].data(), want[2].data()};
            D* gotOut[3] = {got[0].data(), got[1].data(), got[2].data()};
            const bool wantResult = reference(in, wantOut, int32_t(width), srcMax, dstMax, extra...);
            const bool gotResult = candidate(in, gotOut, int32_t(width), srcMax, dstMax, extra...);
            ASSERT_EQ(gotResult, wantResult) << ozu::cpu_target_name(target) << " width " << width;
            if constexpr (std::is_same_v<S, D>) {
                if (inPlace) {
                    auto wantHere = input;
                    auto gotHere = input;
                    S* w[3] = {wantHere[0].data(), wantHere[1].data(), wantHere[2].data()};
                    S* g[3] = {gotHere[0].data(), gotHere[1].data(), gotHere[2].data()};
                    const S* wIn[3] = {w[0], w[1], w[2]};
                    const S* gIn[3] = {g[0], g[1], g[2]};
                    reference(wIn, w, int32_t(width), srcMax, dstMax, extra...);
                    candidate(gIn, g, int32_t(width), srcMax, dstMax, extra...);
                    for (int p = 0; p < 3; ++p)
                        for (size_t x = 0; x < width; ++x)
                            ASSERT_EQ(int64_t{gotHere[p][x]}, int64_t{wantHere[p][x]})
                                << ozu::cpu_target_name(target) << " in place, width " << width
                                << ", plane " << p << ", pixel " << x << ", input ("
                                << int64_t{input[0][x]} << ", " << int64_t{input[1][x]} << ", "
                                << int64_t{input[2][x]} << "), ranges " << srcMax << " -> " << dstMax;
                }
            }
            for (int p = 0; p < 3; ++p)
                for (size_t x = 0; x < width; ++x)
                    ASSERT_EQ(int64_t{got[p][x]}, int64_t{want[p][x]})
                        << ozu::cpu_target_name(target) << " width " << width << ", plane " << p
                        << ", pixel " << x << ", input (" << int64_t{input[0][x]} << ", "
                        << int64_t{input[1][x]} << ", " << int64_t{input[2][x]} << "), ranges "
                        << srcMax << " -> " << dstMax;
        }
    }
}

}  // namespace ozu_test
