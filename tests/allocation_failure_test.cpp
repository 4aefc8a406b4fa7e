// Allocation failure: every allocation an entry makes, of the colour module
// and of the host, made to fail in turn.
//
// The libraries of a test build count their allocations
// (base/src/allocation_hook.h); this program links their objects directly
// and joins the colour module's hook to the host's counter, so one count runs
// over both. For each case the entry is first called with nothing refused,
// which must succeed and gives its number of allocations, pinned below; then
// once more for every N from 1 to that number with allocation N refused. Each
// of those calls must return the entry's failure value, leave the
// out-of-memory code of the place that failed (the host's -1003, ENOMEM for
// the colour module's own memory, which is what the entry frame reports for
// a failed allocation, -105 for the Bayer path's working memory), keep no
// buffer the call made (apart from a destination made on request, which the
// contract leaves to the caller) and leave every buffer free of locks and
// pointers, so that it can be freed at once.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>
#include <ozu/color_kernels.h>

#include "allocation_hook.h"
#include "frame/allocation_hook.h"
#include "test_support.h"

namespace {

namespace hook = ozu::base::testing;

using ozu_test::make_image;
using ozu_test::seeded_pixels;
using ozu_test::write_plane;

// One count over both libraries: the colour module asks the host's counter.
const bool kHooked = [] {
    ozu::allocation_hook = &ozu::base::allocation_refused;
    return true;
}();

// The code a refused allocation leaves, by the library part it belongs to.
int32_t memory_code(const std::string& site) {
    if (site.rfind("host:", 0) == 0) return BASE_ERR_MEMORY;
    if (site.rfind("bayer:", 0) == 0) return COL_ERR_BAYER_MEMORY;
    return ENOMEM;
}

// The next handle the host will give out: every buffer made after this has a
// larger one (handles count up).
int32_t next_handle() {
    int32_t h = -1;
    EXPECT_EQ(IPL_BufAlloc(&h, 1, 1, 1, 1, 1, BASE_TYPE_U8, BASE_KIND_IMAGE, 0), 1);
    EXPECT_EQ(IPL_BufFree(h), 1);
    return h;
}

// What a case's set-up makes and its call uses: the buffers the set-up owns
// (freed, in reverse order, at the end of each call) and the slot of a
// destination the entry may make.
struct Inputs {
    std::vector<int32_t> buffers;
    int32_t made = -1;
    std::vector<char> text;
    std::vector<char> out = std::vector<char>(4096, 0);

    int32_t add(int32_t h) {
        buffers.push_back(h);
        return h;
    }
    int32_t operator[](size_t k) const { return buffers[k]; }
};

struct Case {
    const char* name;
    std::function<void(Inputs&)> setup;
    // The entry, returning its result; a thrown int (the Bayer kernel's way
    // of raising) is returned as 0, the code being in the slot.
    std::function<int32_t(Inputs&)> call;
    // Allocations of a successful call.
    uint32_t allocations;
    // COL_GetMaxContrastPlane leaves the buffers of its search behind when
    // it fails (see its interface): they are freed here, and must be free
    // of locks and pointers.
    bool leavesTemporaries = false;
    // colk_calculate_distance_image releases every plane of a block even
    // after a refused pointer request; that release matches nothing and
    // leaves the host's -1007 (pinned in color_distance_test).
    bool releasesRefusedPointers = false;
};

// The code a failed call of `c` must leave after the refusal at `site`.
int32_t expected_code(const Case& c, const std::string& site) {
    if (c.releasesRefusedPointers && site == "host: pointer request") return BASE_ERR_NOT_HELD;
    return memory_code(site);
}

std::ostream& operator<<(std::ostream& os, const Case& c) { return os << c.name; }

// Frees every buffer the set-up made and the destination the call made;
// each free must succeed, so nothing may be left locked or lent out.
void tear_down(Inputs& in) {
    if (in.made != -1) {
        EXPECT_EQ(IPL_BufFree(in.made), 1) << "made " << in.made;
    }
    for (auto it = in.buffers.rbegin(); it != in.buffers.rend(); ++it) {
        EXPECT_EQ(IPL_BufFree(*it), 1) << "buffer " << *it;
    }
}

// Frees what a failed call left behind: the buffers above `mark` but the
// destination. Newest first, so views go before the buffers they view.
void free_left_behind(int32_t mark, const Inputs& in) {
    for (int32_t h = next_handle() - 1; h > mark; --h) {
        if (h != in.made && BASE_IsBufferExistent(h)) {
            EXPECT_EQ(IPL_BufFree(h), 1) << h;
        }
    }
}

int32_t catching(const std::function<int32_t()>& call) {
    try {
        return call();
    } catch (int) {
        return 0;
    }
}

// The sites of a case's first `count` allocations, one call per allocation,
// for the report of a count that changed.
std::string sites_of(const Case& c, uint32_t count) {
    std::string sites;
    for (uint32_t n = 1; n <= count; ++n) {
        Inputs in;
        c.setup(in);
        const int32_t mark = next_handle();
        hook::refuse_allocation(n);
        catching([&] { return c.call(in); });
        const char* site = hook::refused_site();
        hook::refuse_allocation(0);
        sites += "\n  " + std::to_string(n) + ": " + (site != nullptr ? site : "(none)");
        if (c.leavesTemporaries) free_left_behind(mark, in);
        tear_down(in);
    }
    return sites;
}

class AllocationFailure : public ::testing::TestWithParam<Case> {};

TEST_P(AllocationFailure, EveryAllocationFailsCleanly) {
    const Case& c = GetParam();
    ASSERT_TRUE(kHooked);
    const int32_t start = BASE_BufferCount();

    // Counting: nothing refused, the call succeeds.
    {
        Inputs in;
        c.setup(in);
        hook::refuse_allocation(0);
        const int32_t result = catching([&] { return c.call(in); });
        const uint32_t counted = hook::allocations_counted();
        EXPECT_EQ(result, 1);
        tear_down(in);
        EXPECT_EQ(counted, c.allocations) << "the allocations:" << sites_of(c, counted);
    }

    for (uint32_t n = 1; n <= c.allocations; ++n) {
        Inputs in;
        c.setup(in);
        const int32_t before = BASE_BufferCount();
        const int32_t mark = next_handle();
        IPL_SetErrorCode(0);
        errno = 0;
        hook::refuse_allocation(n);
        const int32_t result = catching([&] { return c.call(in); });
        const char* refused = hook::refused_site();
        hook::refuse_allocation(0);
        ASSERT_NE(refused, nullptr) << "allocation " << n << " was never asked for";
        SCOPED_TRACE(testing::Message() << "allocation " << n << " (" << refused << ") refused");
        EXPECT_EQ(result, 0);
        EXPECT_EQ(IPL_GetErrorCode2(), expected_code(c, refused));
        if (c.leavesTemporaries) free_left_behind(mark, in);
        EXPECT_EQ(BASE_BufferCount(), before + (in.made != -1 ? 1 : 0)) << "buffers leaked";
        tear_down(in);
    }

    // Nothing failed for good: the same call succeeds with the same count.
    {
        Inputs in;
        c.setup(in);
        hook::refuse_allocation(0);
        EXPECT_EQ(catching([&] { return c.call(in); }), 1);
        EXPECT_EQ(hook::allocations_counted(), c.allocations);
        tear_down(in);
    }
    EXPECT_EQ(BASE_BufferCount(), start);
}

// ---- Inputs ----------------------------------------------------------------

constexpr int32_t kW = 7;
constexpr int32_t kH = 5;

// A three-plane (or one-plane) image of seeded pixels, with a colour space
// when `space` is not 0.
int32_t image(Inputs& in, int32_t planes, int32_t type = BASE_TYPE_U8, int32_t space = 0,
              int32_t width = kW, int32_t height = kH, int32_t ext2 = 1, int32_t ext3 = 1) {
    const int32_t h = in.add(make_image(width, height, planes, type, ext2, ext3));
    for (int32_t j = 0; j < ext3; ++j) {
        for (int32_t i = 0; i < ext2; ++i) {
            for (int32_t p = 0; p < planes; ++p) {
                const size_t n = size_t(width) * size_t(height);
                const uint32_t seed = uint32_t(100 * p + 10 * i + j);
                if (type == BASE_TYPE_U8 || type == BASE_TYPE_S8)
                    write_plane<uint8_t>(h, p, seeded_pixels<uint8_t>(n, seed), i, j);
                else
                    write_plane<uint16_t>(h, p, seeded_pixels<uint16_t>(n, seed), i, j);
            }
        }
    }
    if (space != 0) {
        EXPECT_EQ(IPL_BufControl(h, BASE_ATTR_COLOR_SPACE, &space), 1);
    }
    return h;
}

// A Bayer raw image: one 8-bit plane, colour space Bayer.
int32_t raw_image(Inputs& in, int32_t width = 8, int32_t height = 6) {
    return image(in, 1, BASE_TYPE_U8, COL_BAYER, width, height);
}

void set_text(Inputs& in, const std::string& text) {
    in.text.assign(text.begin(), text.end());
    in.text.push_back('\0');
}

// A model long enough that COL_ExtractModel builds its long form on the heap.
std::string long_model() {
    std::string model = "R";
    for (int k = 0; k < 100; ++k) model += "/G";
    return model;
}

const double kTwist[16] = {0.5, 0.25, 0.125, 0, 0.25, 0.5, 0.25, 0, 0.125, 0.25, 0.5, 0,
                           0.01, 0.02, 0.03, 0};

// Runs `call` with bands of `lines` lines, so that a serial call goes through
// the banded paths (as a runner would share them out).
int32_t in_bands(int32_t lines, const std::function<int32_t()>& call) {
    COL_SetParallelBandLines(lines);
    const int32_t result = catching(call);
    COL_SetParallelBandLines(0);
    return result;
}

void nothing(Inputs&) {}

// 20 x 9, reddish left of column 10 and bluish right of it, all of one
// brightness: the hue plane of an HSV candidate shows the strongest edge.
void contrast_image(Inputs& in) {
    const int32_t h = in.add(make_image(20, 9, 3, BASE_TYPE_U8));
    for (int32_t p = 0; p < 3; ++p) {
        std::vector<uint8_t> plane(20 * 9);
        for (size_t k = 0; k < plane.size(); ++k) {
            const bool left = k % 20 < 10;
            plane[k] = p == 1 ? 100 : (p == 0) == left ? 120 : 100;
        }
        write_plane<uint8_t>(h, p, plane);
    }
    int32_t space = COL_RGB;
    EXPECT_EQ(IPL_BufControl(h, BASE_ATTR_COLOR_SPACE, &space), 1);
}

// ---- Colour module entries ---------------------------------------------------

const Case kColourCases[] = {
    {"GetVersion", nothing,
     [](Inputs& in) { return COL_GetVersion(in.out.data(), 64); }, 0},
    {"GetCpuTarget", nothing,
     [](Inputs& in) { return COL_GetCpuTarget(in.out.data(), 64); }, 0},
    {"GetConversionMatrix", nothing,
     [](Inputs&) {
         int32_t m[9];
         return COL_GetConversionMatrix(COL_CODE(COL_RGB, COL_YUV), m);
     },
     0},
    {"GetColorSpaceID", nothing,
     [](Inputs&) {
         int32_t id = 0;
         return COL_GetColorSpaceID("Red/Green/Blue", &id);
     },
     0},
    {"GetModelFromID", nothing,
     [](Inputs& in) { return COL_GetModelFromID(COL_XYZ709, in.out.data(), 64); }, 0},
    {"ModelToLong", [](Inputs& in) { set_text(in, "R/450/Hue/Y"); },
     [](Inputs& in) { return COL_ModelToLong(in.text.data(), in.out.data(), 64); }, 0},
    {"ModelToShort", [](Inputs& in) { set_text(in, "Red/Green/Blue"); },
     [](Inputs& in) { return COL_ModelToShort(in.text.data(), in.out.data(), 64); }, 0},
    {"ExtractModel", [](Inputs& in) { set_text(in, "XYZ709"); },
     [](Inputs& in) { return COL_ExtractModel(in.text.data(), 2, in.out.data(), 64); }, 0},
    {"ExtractModelOfALongModel", [](Inputs& in) { set_text(in, long_model()); },
     [](Inputs& in) { return COL_ExtractModel(in.text.data(), 50, in.out.data(), 64); }, 1},
    // The table made on request: record, pixel memory (two allocations),
    // the share and the registry entry; then the two copies of the text.
    {"ModelTintingMakingTheTable", nothing,
     [](Inputs& in) { return COL_ModelTinting("H/L/S", &in.made); }, 7},
    {"ModelTintingOfAWavelength",
     [](Inputs& in) { in.add(make_image(256, 1, 3, BASE_TYPE_U8, 1, 1, BASE_KIND_TABLE)); },
     [](Inputs& in) {
         int32_t lut = in[0];
         return COL_ModelTinting("550nm/R", &lut);
     },
     2},
    {"ModelTintingOfALongModel",
     [](Inputs& in) { in.add(make_image(256, 1, 3, BASE_TYPE_U8, 1, 1, BASE_KIND_TABLE)); },
     [](Inputs& in) {
         int32_t lut = in[0];
         return COL_ModelTinting(long_model().c_str(), &lut);
     },
     3},
    {"SpectralToColor", nothing,
     [](Inputs&) {
         double c[3];
         return COL_SpectralToColor(550, COL_HSV, &c[0], &c[1], &c[2]);
     },
     0},
    // Destination made (5), the intermediate lines, six pointer requests.
    {"ConvertColorSpaceMakingTheDestination", [](Inputs& in) { image(in, 3); },
     [](Inputs& in) { return COL_ConvertColorSpace(in[0], &in.made, COL_CODE(COL_RGB, COL_HSV)); },
     12},
    // Two blocks of two, sixteen bits: 4 x 6 pointer requests.
    {"ConvertColorSpaceIntoADestination",
     [](Inputs& in) {
         image(in, 3, BASE_TYPE_U16, 0, kW, kH, 2, 2);
         in.add(make_image(kW, kH, 3, BASE_TYPE_S16, 2, 2));
     },
     [](Inputs& in) {
         int32_t dst = in[1];
         return COL_ConvertColorSpace(in[0], &dst, COL_CODE(COL_YIQ, COL_XYZ709));
     },
     25},
    // HSV in bands: the tails and starting states of the bands as well.
    {"ConvertColorSpaceFromHsvInBands",
     [](Inputs& in) {
         image(in, 3, BASE_TYPE_U8, 0, kW, 40);
         in.add(make_image(kW, 40, 3, BASE_TYPE_U8));
     },
     [](Inputs& in) {
         return in_bands(2, [&] {
             int32_t dst = in[1];
             return COL_ConvertColorSpace(in[0], &dst, COL_CODE(COL_HSV, COL_YUV));
         });
     },
     9},
    // The Bayer path: the destination (5), the source plane's pointer, the
    // converter's two image records and packed array, the band list, the
    // array list, then the destination's three planes.
    {"ConvertColorSpaceFromBayerRaw", [](Inputs& in) { raw_image(in); },
     [](Inputs& in) {
         return COL_ConvertColorSpace(in[0], &in.made, COL_CODE(COL_BAYER, COL_RGB));
     },
     15},
    {"ConvertColorSpaceFromBayerRawToIntensity",
     [](Inputs& in) {
         raw_image(in);
         in.add(make_image(8, 6, 1, BASE_TYPE_U8));
     },
     [](Inputs& in) {
         int32_t dst = in[1];
         return COL_ConvertColorSpace(in[0], &dst, COL_CODE(COL_BAYER, COL_I));
     },
     8},
    {"ConvertToColor", [](Inputs& in) { image(in, 1); },
     [](Inputs& in) { return COL_ConvertToColor(in[0], &in.made, 0.25, 0.5, 1.0); }, 9},
    {"ConvertToGrayscale", [](Inputs& in) { image(in, 3); },
     [](Inputs& in) { return COL_ConvertToGrayscale(in[0], &in.made, 0.299, 0.587, 0.114); }, 9},
    {"ColorTwist", [](Inputs& in) { image(in, 3); },
     [](Inputs& in) { return COL_ColorTwist(in[0], &in.made, kTwist); }, 11},
    // Copy path: the destination, the converted image, the table, the
    // mapping, the views of the three masks and two combinations.
    {"ThresholdByCopy", [](Inputs& in) { image(in, 3, BASE_TYPE_U16); },
     [](Inputs& in) {
         return COL_Threshold(in[0], &in.made, COL_RGB, COL_RGB, 10, 200, 0, 255, 30, 90, 2);
     },
     25},
    {"ThresholdByConversion",
     [](Inputs& in) {
         image(in, 3);
         in.add(make_image(kW, kH, 1, BASE_TYPE_S8));
     },
     [](Inputs& in) {
         int32_t dst = in[1];
         return COL_Threshold(in[0], &dst, COL_RGB, COL_HSV, 10, 200, 0, 255, 30, 90, 1);
     },
     27},
    {"ThresholdInBands",
     [](Inputs& in) {
         image(in, 3);
         in.add(make_image(kW, kH, 1, BASE_TYPE_U8));
     },
     [](Inputs& in) {
         return in_bands(2, [&] {
             int32_t dst = in[1];
             return COL_Threshold(in[0], &dst, COL_RGB, COL_YUV, 0, 128, 0, 255, 0, 255, 0);
         });
     },
     79},
    {"CalcColorDistanceImage", [](Inputs& in) { image(in, 3); },
     [](Inputs& in) {
         return COL_CalcColorDistanceImage(in[0], &in.made, 0x102030, 0xC0B0A0);
     },
     9, false, true},
    // Strip, profile, two candidate conversions with the hue rotation of
    // the first, the winner converted in full, its plane's view and table.
    {"GetMaxContrastPlane", [](Inputs& in) { contrast_image(in); },
     [](Inputs& in) {
         const int32_t candidates[] = {int32_t(COL_CODE(COL_RGB, COL_HSV)),
                                       int32_t(COL_CODE(COL_RGB, COL_YIQ))};
         const uint32_t line[4] = {0, 4, 19, 4};
         return COL_GetMaxContrastPlane(in[0], &in.made, candidates, 2, line, 3, 3);
     },
     102, true},
    {"ParallelRunnerEntries", nothing,
     [](Inputs&) {
         OZU_ParallelRunner runner = nullptr;
         void* opaque = nullptr;
         return COL_SetParallelRunner(nullptr, nullptr) &&
                COL_GetParallelRunner(&runner, &opaque) && COL_SetParallelBandLines(0);
     },
     0},
};

// ---- Kernel entries ----------------------------------------------------------
// They must not throw (the Bayer kernel raises its own codes as ints): a
// refused allocation of their own comes back as 0 with ENOMEM recorded.

const Case kKernelCases[] = {
    {"ConvertKernel",
     [](Inputs& in) {
         image(in, 3);
         in.add(make_image(kW, kH, 3, BASE_TYPE_S8));
     },
     [](Inputs& in) {
         int32_t dst = in[1];
         return colk_convert(in[0], &dst, BASE_TYPE_U8, BASE_TYPE_S8,
                             int32_t(COL_CODE(COL_RGB, COL_HLS)));
     },
     7},
    {"ConvertKernelFromHsvInBands",
     [](Inputs& in) {
         image(in, 3, BASE_TYPE_U16, 0, kW, 40);
         in.add(make_image(kW, 40, 3, BASE_TYPE_U16));
     },
     [](Inputs& in) {
         return in_bands(3, [&] {
             int32_t dst = in[1];
             return colk_convert(in[0], &dst, BASE_TYPE_U16, BASE_TYPE_U16,
                                 int32_t(COL_CODE(COL_HSV, COL_XYZ601)));
         });
     },
     9},
    {"BayerKernel",
     [](Inputs& in) {
         raw_image(in, 9, 7);
         in.add(make_image(9, 7, 3, BASE_TYPE_U8));
     },
     [](Inputs& in) {
         int32_t dst = in[1];
         return colk_convert_bm(in[0], &dst, BASE_TYPE_U8, BASE_TYPE_U8,
                                int32_t(COL_CODE(COL_BAYER, COL_RGB)));
     },
     10},
    {"ToColorKernel",
     [](Inputs& in) {
         image(in, 1, BASE_TYPE_U16);
         in.add(make_image(kW, kH, 3, BASE_TYPE_U8));
     },
     [](Inputs& in) {
         int32_t dst = in[1];
         return int32_t(colk_convert_to_color(in[0], &dst, BASE_TYPE_U16, BASE_TYPE_U8, 1, 0.5,
                                              0.25));
     },
     4},
    {"ToGrayscaleKernel",
     [](Inputs& in) {
         image(in, 3);
         in.add(make_image(kW, kH, 1, BASE_TYPE_U8));
     },
     [](Inputs& in) {
         int32_t dst = in[1];
         return int32_t(colk_convert_to_grayscale(in[0], &dst, BASE_TYPE_U8, BASE_TYPE_U8, 0.2,
                                                  0.3, 0.5));
     },
     4},
    {"TwistKernel",
     [](Inputs& in) {
         image(in, 3, BASE_TYPE_S16);
         in.add(make_image(kW, kH, 3, BASE_TYPE_U16));
     },
     [](Inputs& in) {
         int32_t dst = in[1];
         return int32_t(colk_twist(in[0], &dst, BASE_TYPE_S16, BASE_TYPE_U16, kTwist));
     },
     6},
    {"DistanceKernel",
     [](Inputs& in) {
         image(in, 3, BASE_TYPE_U8, 0, kW, kH, 2, 1);
         in.add(make_image(kW, kH, 1, BASE_TYPE_U8, 2, 1));
     },
     [](Inputs& in) { return colk_calculate_distance_image(in[0], in[1], 0x405060, 0x060504); },
     8, false, true},
    {"SpectralKernel", nothing,
     [](Inputs&) {
         double c[3];
         return colk_spectral(700, COL_HLS, &c[0], &c[1], &c[2]);
     },
     0},
};

// ---- Host entries ----------------------------------------------------------
// A new buffer with pixel memory takes five allocations: its record, the
// memory and the memory's own record, the memory's share and its registry
// entry.

const Case kHostCases[] = {
    {"BufAlloc", nothing,
     [](Inputs& in) {
         return IPL_BufAlloc(&in.made, 5, 3, 4, 2, 3, BASE_TYPE_S16, BASE_KIND_IMAGE,
                             BASE_ALLOC_ALIGN(24));
     },
     5},
    {"BufAllocWithoutPixels", nothing,
     [](Inputs& in) {
         return IPL_BufAlloc(&in.made, 5, 3, 1, 1, 1, BASE_TYPE_U8, BASE_KIND_IMAGE,
                             BASE_ALLOC_NO_DATA);
     },
     2},
    {"BufAlloc1D", nothing,
     [](Inputs& in) { return IPL_BufAlloc1D(&in.made, 256, BASE_TYPE_U8, BASE_KIND_TABLE, 0); },
     5},
    {"BufAllocChild", [](Inputs& in) { image(in, 3, BASE_TYPE_U8, 0, kW, kH, 2, 2); },
     [](Inputs& in) { return IPL_BufAllocChild(&in.made, in[0], 1, 1, 1, 0, 1, 3, 2, 2, 2, 1); },
     2},
    {"BufAllocChild2D", [](Inputs& in) { image(in, 1); },
     [](Inputs& in) { return IPL_BufAllocChild2D(&in.made, in[0], 2, 0, 0, 0, 0, 3, 3); }, 2},
    {"GetPtrExInsideTheBlock", [](Inputs& in) { image(in, 3); },
     [](Inputs& in) {
         int32_t pitch = 0;
         void* ptr = nullptr;
         if (!IPL_GetPtrEx(in[0], BASE_MODE_WRITE, 1, 1, 2, 0, 0, 4, 3, &pitch, &ptr)) return 0;
         return IPL_ReleasePtrEx(in[0], BASE_MODE_WRITE, 1, 1, 2, 0, 0, 4, 3, ptr);
     },
     1},
    // A region past the block is staged: memory, its record, the request.
    {"GetPtrExPastTheBlock", [](Inputs& in) { image(in, 3); },
     [](Inputs& in) {
         int32_t pitch = 0;
         void* ptr = nullptr;
         if (!IPL_GetPtrEx(in[0], BASE_MODE_READ, 3, 2, 0, 0, 0, 16, 8, &pitch, &ptr)) return 0;
         return IPL_ReleasePtrEx(in[0], BASE_MODE_READ, 3, 2, 0, 0, 0, 16, 8, ptr);
     },
     3},
    {"GetPtr", [](Inputs& in) { image(in, 1); },
     [](Inputs& in) {
         int32_t pitch = 0;
         void* ptr = nullptr;
         if (!IPL_GetPtr(in[0], BASE_MODE_READ, 0, 0, 0, &pitch, &ptr)) return 0;
         return IPL_ReleasePtr(in[0], BASE_MODE_READ, 0, 0, 0, ptr);
     },
     1},
    {"PtBufCopyMakingTheDestination", [](Inputs& in) { image(in, 3, BASE_TYPE_U16, COL_YUV); },
     [](Inputs& in) { return IPL_PtBufCopy(in[0], &in.made, -1, -1, 0); }, 5},
    // A child copied onto its parent is first copied aside: memory, its
    // record and its share.
    {"PtBufCopyOntoAnOverlappingBuffer",
     [](Inputs& in) {
         const int32_t parent = image(in, 3);
         int32_t child = -1;
         EXPECT_EQ(IPL_BufAllocChild(&child, parent, 1, 1, 0, 0, 0, 5, 3, 3, 1, 1), 1);
         in.add(child);
     },
     [](Inputs& in) {
         int32_t dst = in[0];
         return IPL_PtBufCopy(in[1], &dst, -1, -1, 0);
     },
     3},
    // The list of tables, one converted table per mapped plane, the result.
    {"PtLutMapMakingTheDestination",
     [](Inputs& in) {
         image(in, 3);
         in.add(make_image(256, 1, 2, BASE_TYPE_U8, 1, 1, BASE_KIND_TABLE));
     },
     [](Inputs& in) { return IPL_PtLutMap(in[0], -1, &in.made, in[1]); }, 9},
    {"PtLutMapOfSixteenBitsInPlace",
     [](Inputs& in) {
         image(in, 1, BASE_TYPE_U16);
         in.add(make_image(65536, 1, 1, BASE_TYPE_S32, 1, 1, BASE_KIND_TABLE));
     },
     [](Inputs& in) {
         int32_t dst = in[0];
         return IPL_PtLutMap(in[0], 0, &dst, in[1]);
     },
     2},
    // Two views of one parent, a line apart: the source is copied aside.
    {"PtLutMapOntoAnOverlappingBuffer",
     [](Inputs& in) {
         const int32_t parent = image(in, 1);
         int32_t a = -1, b = -1;
         EXPECT_EQ(IPL_BufAllocChild2D(&a, parent, 0, 0, 0, 0, 0, kW, kH - 1), 1);
         in.add(a);
         EXPECT_EQ(IPL_BufAllocChild2D(&b, parent, 0, 1, 0, 0, 0, kW, kH - 1), 1);
         in.add(b);
         in.add(make_image(256, 1, 1, BASE_TYPE_U8, 1, 1, BASE_KIND_TABLE));
     },
     [](Inputs& in) {
         int32_t dst = in[2];
         return IPL_PtLutMap(in[1], -1, &dst, in[3]);
     },
     5},
    {"PtToPointMakingTheResult",
     [](Inputs& in) {
         image(in, 3);
         image(in, 3);
     },
     [](Inputs& in) { return IPL_PtToPoint(in[0], in[1], &in.made, 6); }, 5},
    // Both operands overlap the result: each is copied aside.
    {"PtToPointOntoOverlappingOperands",
     [](Inputs& in) {
         const int32_t parent = image(in, 1, BASE_TYPE_U8, 0, 8, 8);
         int32_t a = -1, b = -1, result = -1;
         EXPECT_EQ(IPL_BufAllocChild2D(&a, parent, 0, 0, 0, 0, 0, 4, 4), 1);
         in.add(a);
         EXPECT_EQ(IPL_BufAllocChild2D(&b, parent, 1, 1, 0, 0, 0, 4, 4), 1);
         in.add(b);
         EXPECT_EQ(IPL_BufAllocChild2D(&result, parent, 2, 2, 0, 0, 0, 4, 4), 1);
         in.add(result);
     },
     [](Inputs& in) {
         int32_t result = in[3];
         return IPL_PtToPoint(in[1], in[2], &result, 7);
     },
     6},
    {"StatHistogram", [](Inputs& in) { image(in, 3, BASE_TYPE_S16); },
     [](Inputs& in) { return IPL_StatHistogram(in[0], &in.made); }, 6},
    {"StatProfile", [](Inputs& in) { image(in, 3, BASE_TYPE_U8, 0, kW, kH, 1, 2); },
     [](Inputs& in) { return IPL_StatProfile(in[0], &in.made, 1); }, 6},
    {"StatLineProfileImage", [](Inputs& in) { image(in, 3, BASE_TYPE_U8, COL_HLS); },
     [](Inputs& in) { return IPL_StatLineProfileImage(in[0], &in.made, 0, 0, 6, 4, 3, 1); }, 6},
    {"StatBestThreshold",
     [](Inputs& in) {
         const int32_t image_ = image(in, 1);
         int32_t hist = -1;
         EXPECT_EQ(IPL_StatHistogram(image_, &hist), 1);
         in.add(hist);
     },
     [](Inputs& in) {
         int32_t t = 0;
         return IPL_StatBestThreshold(in[1], &t);
     },
     1},
};

INSTANTIATE_TEST_SUITE_P(ColourEntries, AllocationFailure, ::testing::ValuesIn(kColourCases),
                         [](const auto& info) { return std::string(info.param.name); });
INSTANTIATE_TEST_SUITE_P(KernelEntries, AllocationFailure, ::testing::ValuesIn(kKernelCases),
                         [](const auto& info) { return std::string(info.param.name); });
INSTANTIATE_TEST_SUITE_P(HostEntries, AllocationFailure, ::testing::ValuesIn(kHostCases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
