// Many threads at once: every kind of entry on different images, the same
// source into different destinations, buffers created and freed meanwhile,
// and the thread pool as each thread's own runner and as one runner shared
// by several threads. Every result must be the bits of a run on one thread.
// Run under ThreadSanitizer too, where a data race fails the test.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>
#include <ozu/thread_pool.h>

#include "test_support.h"

namespace {

using ozu_test::Buffer;
using ozu_test::attribute;
using ozu_test::make_image;
using ozu_test::read_plane;
using ozu_test::seeded_pixels;
using ozu_test::write_plane;

constexpr int32_t kWidth = 203;
constexpr int32_t kHeight = 67;
constexpr int kThreads = 8;

struct Entry {
    const char* name;
    int32_t sourcePlanes;
    std::function<int32_t(int32_t, int32_t*)> call;
};

const std::vector<Entry>& entries() {
    static const double twist[16] = {0.75, -0.25, 0.1, 9.0,  0.2, 0.6, 0.2, -3.0,
                                     0.1,  0.3,   0.6, 0.0,  0.0, 0.0, 0.0, 0.0};
    static const std::vector<Entry> all = {
        {"RGB to HSV", 3,
         [](int32_t s, int32_t* d) {
             return COL_ConvertColorSpace(s, d, COL_CODE(COL_RGB, COL_HSV));
         }},
        {"HSV to YCC", 3,
         [](int32_t s, int32_t* d) {
             return COL_ConvertColorSpace(s, d, COL_CODE(COL_HSV, COL_YCC));
         }},
        {"Bayer to RGB", 1,
         [](int32_t s, int32_t* d) {
             return COL_ConvertColorSpace(s, d, COL_CODE(COL_BAYER, COL_RGB));
         }},
        {"twist", 3, [](int32_t s, int32_t* d) { return COL_ColorTwist(s, d, twist); }},
        {"to grey", 3,
         [](int32_t s, int32_t* d) { return COL_ConvertToGrayscale(s, d, 0.299, 0.587, 0.114); }},
        {"to colour", 1,
         [](int32_t s, int32_t* d) { return COL_ConvertToColor(s, d, 1.0, 0.8, 0.55); }},
        {"threshold", 3,
         [](int32_t s, int32_t* d) {
             return COL_Threshold(s, d, COL_RGB, COL_HSV, 10, 200, 20, 250, 30, 240, 0);
         }},
        {"distance", 3,
         [](int32_t s, int32_t* d) { return COL_CalcColorDistanceImage(s, d, 0x406080, 0xFF0000); }},
    };
    return all;
}

// An 8-bit source of `planes` planes from `seed`.
int32_t make_source(int32_t planes, uint32_t seed) {
    const int32_t h = make_image(kWidth, kHeight, planes, BASE_TYPE_U8);
    for (int32_t p = 0; p < planes; ++p)
        write_plane(h, p, seeded_pixels<uint8_t>(size_t(kWidth) * kHeight, seed * 7 + uint32_t(p)));
    return h;
}

using Result = std::vector<std::vector<uint8_t>>;  // planes; empty when the call failed

Result run_entry(const Entry& entry, int32_t source) {
    Buffer dst;
    if (entry.call(source, dst.slot()) != 1) return {};
    Result planes;
    for (int32_t p = 0; p < attribute(dst.handle(), BASE_ATTR_PLANES); ++p)
        planes.push_back(read_plane<uint8_t>(dst.handle(), p));
    return planes;
}

// Every entry on the images of seeds 0 .. kThreads - 1, on this thread.
std::vector<std::vector<Result>> serial_results() {
    std::vector<std::vector<Result>> results(kThreads);
    for (int seed = 0; seed < kThreads; ++seed)
        for (const Entry& entry : entries()) {
            Buffer source(make_source(entry.sourcePlanes, uint32_t(seed)));
            results[seed].push_back(run_entry(entry, source.handle()));
            EXPECT_FALSE(results[seed].back().empty()) << entry.name;
        }
    return results;
}

// Runs `work(t)` on kThreads threads at once and counts the results that
// differ from `want[seedOf(t)]`.
template <class Prepare>
int differing_results(const std::vector<std::vector<Result>>& want, bool sameSource,
                      Prepare prepare) {
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            prepare(t);
            const int seed = sameSource ? 0 : t;
            for (int round = 0; round < 2; ++round)
                for (size_t e = 0; e < entries().size(); ++e) {
                    Buffer source(make_source(entries()[e].sourcePlanes, uint32_t(seed)));
                    if (run_entry(entries()[e], source.handle()) != want[seed][e]) ++wrong;
                }
            COL_SetParallelRunner(nullptr, nullptr);
        });
    for (std::thread& thread : threads) thread.join();
    return wrong;
}

TEST(ThreadStress, EightThreadsConvertDifferentImagesWithEveryEntry) {
    const auto want = serial_results();
    EXPECT_EQ(differing_results(want, false, [](int) {}), 0);
}

TEST(ThreadStress, EightThreadsConvertOneSourceIntoTheirOwnDestinations) {
    const auto want = serial_results();
    // One source buffer for all, read by every thread at once.
    for (size_t e = 0; e < entries().size(); ++e) {
        Buffer source(make_source(entries()[e].sourcePlanes, 0));
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t)
            threads.emplace_back([&] {
                for (int round = 0; round < 3; ++round)
                    if (run_entry(entries()[e], source.handle()) != want[0][e]) ++wrong;
            });
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(wrong, 0) << entries()[e].name;
    }
}

TEST(ThreadStress, BuffersComeAndGoWhileOthersConvert) {
    const auto want = serial_results();
    const int32_t before = BASE_BufferCount();
    std::atomic<bool> stop{false};
    std::atomic<int> refused{0};
    std::vector<std::thread> churn;
    for (int t = 0; t < 2; ++t)
        churn.emplace_back([&, t] {
            while (!stop) {
                std::vector<int32_t> handles;
                for (int k = 0; k < 16; ++k) {
                    int32_t h = -1;
                    if (IPL_BufAlloc(&h, 17 + k + t, 5 + k, 1 + k % 3, 1, 1, BASE_TYPE_U8,
                                     BASE_KIND_IMAGE, 0) != 1)
                        ++refused;
                    handles.push_back(h);
                }
                for (int32_t h : handles)
                    if (h != -1) IPL_BufFree(h);
            }
        });
    const int wrong = differing_results(want, false, [](int) {});
    stop = true;
    for (std::thread& thread : churn) thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(refused, 0);
    EXPECT_EQ(BASE_BufferCount(), before);
}

TEST(ThreadStress, EachThreadWithAPoolOfItsOwn) {
    const auto want = serial_results();
    std::vector<void*> pools(kThreads);
    for (void*& pool : pools) {
        pool = OZU_ThreadPoolCreate(3);
        ASSERT_NE(pool, nullptr);
    }
    EXPECT_EQ(differing_results(want, false,
                                [&](int t) {
                                    COL_SetParallelRunner(OZU_ThreadPoolRunner, pools[t]);
                                    COL_SetParallelBandLines(5 + t);
                                }),
              0);
    for (void* pool : pools) OZU_ThreadPoolDestroy(pool);
}

TEST(ThreadStress, OnePoolSharedByEveryThread) {
    const auto want = serial_results();
    void* pool = OZU_ThreadPoolCreate(2);
    ASSERT_NE(pool, nullptr);
    EXPECT_EQ(differing_results(want, false,
                                [&](int t) {
                                    COL_SetParallelRunner(OZU_ThreadPoolRunner, pool);
                                    COL_SetParallelBandLines(3 + 2 * t);
                                }),
              0);
    OZU_ThreadPoolDestroy(pool);
}

}  // namespace
