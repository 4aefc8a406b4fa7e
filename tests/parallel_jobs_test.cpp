// The parallel runner as the library uses it: who gets asked to run what,
// what comes back from a runner that fails or runs jobs in another order,
// the per-thread scope of a runner, and the HSV source whose hue-out-of-range
// pixels show values from earlier lines, across bands and blocks.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include <ozu/color.h>
#include <ozu/color_kernels.h>
#include <ozu/thread_pool.h>

#include "test_support.h"

namespace {

using ozu_test::Buffer;
using ozu_test::make_image;
using ozu_test::read_plane;
using ozu_test::seeded_pixels;
using ozu_test::write_plane;

// Runs every job in the calling thread, in an order of the test's choosing,
// and counts what it was asked.
struct Recorder {
    bool reverse = false;
    int32_t status = 0;  // returned after running (non-zero: "could not")
    int32_t skipFrom = -1;  // jobs from this one on are not run
    std::atomic<int> runs{0};
    std::atomic<int> maxJobs{0};
};

int32_t recording_runner(void* opaque, void* jobOpaque, OZU_ParallelRunInit init,
                         OZU_ParallelRunFunction func, uint32_t start, uint32_t end) {
    auto* r = static_cast<Recorder*>(opaque);
    ++r->runs;
    r->maxJobs = std::max<int>(r->maxJobs, int(end - start));
    if (const int32_t status = init(jobOpaque, 1); status != 0) return status;
    for (uint32_t k = 0; k < end - start; ++k) {
        const uint32_t job = r->reverse ? end - 1 - k : start + k;
        if (r->skipFrom >= 0 && job >= uint32_t(r->skipFrom)) continue;
        func(jobOpaque, job, 0);
    }
    return r->status;
}

// Installs a runner (and a band size) for one test and takes both away.
class Installed {
public:
    Installed(OZU_ParallelRunner runner, void* opaque, int32_t lines) {
        COL_SetParallelRunner(runner, opaque);
        COL_SetParallelBandLines(lines);
    }
    ~Installed() {
        COL_SetParallelRunner(nullptr, nullptr);
        COL_SetParallelBandLines(0);
    }
};

// An 8-bit image of `planes` planes and seeded pixels in every block.
int32_t seeded_image(int32_t width, int32_t height, int32_t planes, uint32_t seed,
                     int32_t ext2 = 1, int32_t ext3 = 1) {
    const int32_t h = make_image(width, height, planes, BASE_TYPE_U8, ext2, ext3);
    for (int32_t j = 0; j < ext3; ++j)
        for (int32_t i = 0; i < ext2; ++i)
            for (int32_t p = 0; p < planes; ++p)
                write_plane(h, p,
                            seeded_pixels<uint8_t>(size_t(width) * height,
                                                   seed + uint32_t(p + 3 * (i + 2 * j))),
                            i, j);
    return h;
}

std::vector<std::vector<uint8_t>> all_planes(int32_t h, int32_t ext2 = 1, int32_t ext3 = 1) {
    std::vector<std::vector<uint8_t>> planes;
    const int32_t count = ozu_test::attribute(h, BASE_ATTR_PLANES);
    for (int32_t j = 0; j < ext3; ++j)
        for (int32_t i = 0; i < ext2; ++i)
            for (int32_t p = 0; p < count; ++p) planes.push_back(read_plane<uint8_t>(h, p, i, j));
    return planes;
}

// An HSV image in which a good share of the pixels have H = 255 (the hue
// out of range that leaves a pixel as it was), whole lines and whole columns
// of them included, so that values reach across several lines, bands and
// blocks; wider than one piece of the driver's intermediate lines.
int32_t hsv_with_hue_at_max(int32_t width, int32_t height, int32_t ext2) {
    const int32_t h = seeded_image(width, height, 3, 77, ext2);
    for (int32_t i = 0; i < ext2; ++i) {
        std::vector<uint8_t> hue = seeded_pixels<uint8_t>(size_t(width) * height, 900 + i);
        for (int32_t y = 0; y < height; ++y)
            for (int32_t x = 0; x < width; ++x) {
                uint8_t& v = hue[size_t(y) * width + x];
                if (v % 3 == 0 || y % 11 == 4 || x % 97 < 3 || (i == 1 && y < 20)) v = 255;
            }
        write_plane(h, 0, hue, i, 0);
    }
    return h;
}

std::vector<std::vector<uint8_t>> convert(int32_t src, uint32_t code, int32_t ext2 = 1) {
    Buffer dst;
    EXPECT_EQ(COL_ConvertColorSpace(src, dst.slot(), code), 1);
    return all_planes(dst.handle(), ext2);
}

TEST(ParallelRunner, HsvSourceGivesTheSerialBitsForEveryBandSizeAndOrder) {
    const int32_t width = 4500, height = 61, ext2 = 2;
    Buffer hsv(hsv_with_hue_at_max(width, height, ext2));
    for (const uint32_t code : {COL_CODE(COL_HSV, COL_YUV), COL_CODE(COL_HSV, COL_I)}) {
        const auto serial = convert(hsv.handle(), code, ext2);
        for (const int32_t lines : {1, 5, 16, 17, 60}) {
            for (const bool reverse : {false, true}) {
                Recorder recorder;
                recorder.reverse = reverse;
                Installed installed(recording_runner, &recorder, lines);
                EXPECT_EQ(convert(hsv.handle(), code, ext2), serial)
                    << "bands of " << lines << " lines, reverse " << reverse;
                EXPECT_GT(recorder.maxJobs, 1);
            }
        }
        void* pool = OZU_ThreadPoolCreate(3);
        ASSERT_NE(pool, nullptr);
        {
            Installed installed(OZU_ThreadPoolRunner, pool, 0);
            EXPECT_EQ(convert(hsv.handle(), code, ext2), serial);
        }
        OZU_ThreadPoolDestroy(pool);
    }
}

TEST(ParallelRunner, ResultsLargerThanTheCachesGiveTheSerialBits) {
    // Written around the caches when shared between threads and the
    // conversion moves 48 MiB or more: three byte planes, one 16-bit plane,
    // and one byte plane from three.
    struct Case {
        int32_t width, height, type;
        uint32_t code;
    };
    for (const Case c : {Case{4096, 4097, BASE_TYPE_U8, COL_CODE(COL_RGB, COL_YCC)},
                         Case{5003, 5031, BASE_TYPE_U16, COL_CODE(COL_RGB, COL_I)},
                         Case{4099, 3091, BASE_TYPE_U8, COL_CODE(COL_RGB, COL_I)}}) {
        Buffer rgb(make_image(c.width, c.height, 3, c.type));
        for (int32_t p = 0; p < 3; ++p) {
            if (c.type == BASE_TYPE_U8)
                write_plane(rgb.handle(), p,
                            seeded_pixels<uint8_t>(size_t(c.width) * c.height, 40 + p));
            else
                write_plane(rgb.handle(), p,
                            seeded_pixels<uint16_t>(size_t(c.width) * c.height, 40 + p));
        }
        Buffer serial, shared;
        ASSERT_EQ(COL_ConvertColorSpace(rgb.handle(), serial.slot(), c.code), 1);
        void* pool = OZU_ThreadPoolCreate(2);
        {
            Installed installed(OZU_ThreadPoolRunner, pool, 0);
            ASSERT_EQ(COL_ConvertColorSpace(rgb.handle(), shared.slot(), c.code), 1);
        }
        OZU_ThreadPoolDestroy(pool);
        const int32_t planes = ozu_test::attribute(serial.handle(), BASE_ATTR_PLANES);
        for (int32_t p = 0; p < planes; ++p) {
            if (c.type == BASE_TYPE_U8)
                EXPECT_EQ(read_plane<uint8_t>(shared.handle(), p),
                          read_plane<uint8_t>(serial.handle(), p)) << p;
            else
                EXPECT_EQ(read_plane<uint16_t>(shared.handle(), p),
                          read_plane<uint16_t>(serial.handle(), p)) << p;
        }
    }
}

// Each entry whose work goes line by line, run once, with its result.
struct EntryRun {
    const char* name;
    std::vector<std::vector<uint8_t>> (*run)(int32_t rgb, int32_t grey, int32_t raw);
};

std::vector<std::vector<uint8_t>> result_of(int32_t ok, const Buffer& dst) {
    EXPECT_EQ(ok, 1);
    return all_planes(dst.handle());
}

const EntryRun kEntries[] = {
    {"convert", [](int32_t rgb, int32_t, int32_t) {
         Buffer d;
         return result_of(COL_ConvertColorSpace(rgb, d.slot(), COL_CODE(COL_RGB, COL_HLS)), d);
     }},
    {"twist", [](int32_t rgb, int32_t, int32_t) {
         const double m[16] = {0.2, 0.7, 0.1, 0.0, 0.5, 0.5, 0.0, 0.1,
                               0.0, 0.3, 0.6, -0.05, 0, 0, 0, 1};
         Buffer d;
         return result_of(COL_ColorTwist(rgb, d.slot(), m), d);
     }},
    {"to colour", [](int32_t, int32_t grey, int32_t) {
         Buffer d;
         return result_of(COL_ConvertToColor(grey, d.slot(), 1.0, 0.8, 0.55), d);
     }},
    {"to grey", [](int32_t rgb, int32_t, int32_t) {
         Buffer d;
         return result_of(COL_ConvertToGrayscale(rgb, d.slot(), 0.299, 0.587, 0.114), d);
     }},
    {"threshold", [](int32_t rgb, int32_t, int32_t) {
         Buffer d;
         return result_of(
             COL_Threshold(rgb, d.slot(), COL_RGB, COL_HSV, 0, 90, 40, 255, 30, 255, 0), d);
     }},
    {"distance", [](int32_t rgb, int32_t, int32_t) {
         Buffer d;
         return result_of(COL_CalcColorDistanceImage(rgb, d.slot(), 0xFFFFFF, 0xFF2000), d);
     }},
    {"bayer", [](int32_t, int32_t, int32_t raw) {
         Buffer d;
         return result_of(COL_ConvertColorSpace(raw, d.slot(), COL_CODE(COL_BAYER, COL_RGB)), d);
     }},
};

class EveryLineEntry : public ::testing::TestWithParam<size_t> {};

TEST_P(EveryLineEntry, AsksTheRunnerForBandsAndGivesTheSerialBits) {
    const EntryRun& entry = kEntries[GetParam()];
    Buffer rgb(seeded_image(203, 97, 3, 5));
    Buffer grey(seeded_image(203, 97, 1, 6));
    Buffer raw(seeded_image(203, 97, 1, 7));
    int32_t bayer = COL_BAYER;
    ASSERT_EQ(IPL_BufControl(raw.handle(), BASE_ATTR_COLOR_SPACE, &bayer), 1);
    const auto serial = entry.run(rgb.handle(), grey.handle(), raw.handle());
    for (const bool reverse : {false, true}) {
        Recorder recorder;
        recorder.reverse = reverse;
        Installed installed(recording_runner, &recorder, 7);
        EXPECT_EQ(entry.run(rgb.handle(), grey.handle(), raw.handle()), serial) << entry.name;
        EXPECT_GT(recorder.maxJobs, 1) << entry.name << " did not go through the runner";
    }
}

TEST_P(EveryLineEntry, FailsWithTheRunnerCodeWhenTheRunnerRunsNotEveryJob) {
    const EntryRun& entry = kEntries[GetParam()];
    Buffer rgb(seeded_image(203, 97, 3, 5));
    Buffer grey(seeded_image(203, 97, 1, 6));
    Buffer raw(seeded_image(203, 97, 1, 7));
    int32_t bayer = COL_BAYER;
    ASSERT_EQ(IPL_BufControl(raw.handle(), BASE_ATTR_COLOR_SPACE, &bayer), 1);
    Recorder recorder;
    recorder.skipFrom = 1;
    recorder.status = -3;
    Installed installed(recording_runner, &recorder, 7);
    // The entries' own result: each call below must fail with the code.
    IPL_SetErrorCode(0);
    Buffer d;
    int32_t ok = 1;
    const double m[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    switch (GetParam()) {
        case 0: ok = COL_ConvertColorSpace(rgb.handle(), d.slot(), COL_CODE(COL_RGB, COL_HLS)); break;
        case 1: ok = COL_ColorTwist(rgb.handle(), d.slot(), m); break;
        case 2: ok = COL_ConvertToColor(grey.handle(), d.slot(), 1.0, 0.8, 0.55); break;
        case 3: ok = COL_ConvertToGrayscale(rgb.handle(), d.slot(), 0.299, 0.587, 0.114); break;
        case 4: ok = COL_Threshold(rgb.handle(), d.slot(), COL_RGB, COL_HSV, 0, 90, 40, 255, 30, 255, 0); break;
        case 5: ok = COL_CalcColorDistanceImage(rgb.handle(), d.slot(), 0xFFFFFF, 0xFF2000); break;
        case 6: ok = COL_ConvertColorSpace(raw.handle(), d.slot(), COL_CODE(COL_BAYER, COL_RGB)); break;
    }
    EXPECT_EQ(ok, 0) << entry.name;
    EXPECT_EQ(IPL_GetErrorCode2(), COL_ERR_RUNNER) << entry.name;
}

INSTANTIATE_TEST_SUITE_P(Entries, EveryLineEntry,
                         ::testing::Range(size_t{0}, std::size(kEntries)),
                         [](const auto& info) {
                             std::string name = kEntries[info.param].name;
                             std::replace(name.begin(), name.end(), ' ', '_');
                             return name;
                         });

int32_t refusing_init_runner(void*, void* jobOpaque, OZU_ParallelRunInit init,
                             OZU_ParallelRunFunction, uint32_t, uint32_t) {
    (void)init(jobOpaque, 2);
    return 42;  // as if its threads could not be had: nothing runs
}

TEST(ParallelRunner, RunnerThatRunsNothingFailsTheConversion) {
    Buffer rgb(seeded_image(64, 40, 3, 1));
    Installed installed(refusing_init_runner, nullptr, 4);
    Buffer dst;
    EXPECT_COL_ERROR(COL_ERR_RUNNER,
                     COL_ConvertColorSpace(rgb.handle(), dst.slot(), COL_CODE(COL_RGB, COL_HSV)));
}

TEST(ParallelRunner, AnImageOfOneBandRunsWithoutTheRunner) {
    Buffer rgb(seeded_image(64, 40, 3, 1));
    Recorder recorder;
    Installed installed(recording_runner, &recorder, 40);
    Buffer dst;
    EXPECT_EQ(COL_ConvertColorSpace(rgb.handle(), dst.slot(), COL_CODE(COL_RGB, COL_HSV)), 1);
    EXPECT_EQ(recorder.runs, 0);
}

TEST(ParallelRunner, BelongsToTheThreadThatInstalledIt) {
    Buffer rgb(seeded_image(64, 40, 3, 1));
    Recorder recorder;
    Installed installed(recording_runner, &recorder, 4);
    std::thread other([&] {
        OZU_ParallelRunner runner = recording_runner;
        void* opaque = &recorder;
        EXPECT_EQ(COL_GetParallelRunner(&runner, &opaque), 1);
        EXPECT_EQ(runner, nullptr);
        EXPECT_EQ(opaque, nullptr);
        Buffer dst;
        EXPECT_EQ(COL_ConvertColorSpace(rgb.handle(), dst.slot(), COL_CODE(COL_RGB, COL_HSV)), 1);
    });
    other.join();
    EXPECT_EQ(recorder.runs, 0);
    OZU_ParallelRunner runner = nullptr;
    void* opaque = nullptr;
    EXPECT_EQ(COL_GetParallelRunner(&runner, &opaque), 1);
    EXPECT_EQ(runner, &recording_runner);
    EXPECT_EQ(opaque, &recorder);
    Buffer dst;
    EXPECT_EQ(COL_ConvertColorSpace(rgb.handle(), dst.slot(), COL_CODE(COL_RGB, COL_HSV)), 1);
    EXPECT_GT(recorder.runs, 0);
}

TEST(ParallelRunner, RemovingTheRunnerForgetsItsOpaqueValue) {
    int anything = 0;
    COL_SetParallelRunner(nullptr, &anything);
    OZU_ParallelRunner runner = recording_runner;
    void* opaque = &anything;
    EXPECT_EQ(COL_GetParallelRunner(&runner, &opaque), 1);
    EXPECT_EQ(runner, nullptr);
    EXPECT_EQ(opaque, nullptr);
}

TEST(ParallelRunner, SettingsRefuseBadArguments) {
    EXPECT_COL_ERROR(COL_ERR_RANGE, COL_SetParallelBandLines(-1));
    void* opaque = nullptr;
    OZU_ParallelRunner runner = nullptr;
    EXPECT_COL_ERROR(COL_ERR_NULL_POINTER, COL_GetParallelRunner(nullptr, &opaque));
    EXPECT_COL_ERROR(COL_ERR_NULL_POINTER, COL_GetParallelRunner(&runner, nullptr));
}

}  // namespace
