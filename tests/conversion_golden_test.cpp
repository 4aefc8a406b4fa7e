// Whole-image conversions pinned by checksums: every ordered pair of the
// eleven named colour spaces, for every pixel-type pair the conversion call
// admits, over a seeded odd-sized image with two layers along extent 2.
//
// The checksums were computed once from the scalar kernels and frozen. They
// may be recomputed (run with OZU_PRINT_GOLDEN=1 and paste the table) only
// when a deliberate change of results has been reviewed pixel by pixel: a
// vectorised kernel, a new compiler or a refactoring must reproduce them.
//
// On a mismatch the test recomputes the conversion pixel by pixel through the
// line kernels and reports the first pixel where the image differs from that
// reference, with its input, the expected and the actual value.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <ozu/base.h>
#include <ozu/color.h>

#include "convert/conversion_chain.h"
#include "frame/pixel_types.h"
#include "test_support.h"

namespace {

using ozu_test::Buffer;
using ozu_test::make_image;
using ozu_test::read_plane;
using ozu_test::seeded_pixels;
using ozu_test::write_plane;

constexpr int32_t kWidth = 263;
constexpr int32_t kHeight = 255;
constexpr int32_t kLayers = 2;
constexpr int32_t kSpaces[] = {COL_CMY,    COL_I,      COL_HLS, COL_HSV, COL_RGB, COL_XYZ601,
                               COL_XYZ709, COL_XYZITU, COL_YCC, COL_YIQ, COL_YUV};
constexpr int32_t kTypePairs[][2] = {{1, 1}, {1, 2}, {2, 1}, {2, 2},
                                     {3, 3}, {3, 4}, {4, 3}, {4, 4}};

struct Golden {
    int32_t from, to, srcType, dstType;
    uint64_t checksum;
};

// clang-format off
const Golden kGolden[] = {
#include "conversion_golden.inc"
};
// clang-format on

int32_t planes_of(int32_t space) { return space == COL_I ? 1 : 3; }

// FNV-1a over element values (not bytes), so both byte orders agree.
struct Checksum {
    uint64_t value = 1469598103934665603ull;
    void add(int32_t v) {
        uint32_t u = static_cast<uint32_t>(v);
        for (int k = 0; k < 4; ++k) {
            value ^= (u >> (8 * k)) & 0xFFu;
            value *= 1099511628211ull;
        }
    }
};

template <class S, class D>
struct Case {
    int32_t from, to;

    std::vector<std::vector<S>> source_planes() const {
        std::vector<std::vector<S>> planes;
        uint32_t seed = 1000u * static_cast<uint32_t>(from) + static_cast<uint32_t>(to);
        for (int32_t layer = 0; layer < kLayers; ++layer)
            for (int32_t p = 0; p < planes_of(from); ++p)
                planes.push_back(seeded_pixels<S>(size_t(kWidth) * kHeight, seed++));
        return planes;
    }

    // Converts through the entry and returns the destination planes, layer
    // by layer.
    std::vector<std::vector<D>> convert(const std::vector<std::vector<S>>& input) const {
        Buffer src(make_image(kWidth, kHeight, planes_of(from), ozu::PixelTraits<S>::code, kLayers, 1));
        size_t k = 0;
        for (int32_t layer = 0; layer < kLayers; ++layer)
            for (int32_t p = 0; p < planes_of(from); ++p) write_plane(src.handle(), p, input[k++], layer);
        Buffer dst(make_image(kWidth, kHeight, planes_of(to), ozu::PixelTraits<D>::code, kLayers, 1));
        int32_t h = dst.handle();
        EXPECT_EQ(COL_ConvertColorSpace(src.handle(), &h, COL_CODE(from, to)), 1)
            << "error " << IPL_GetErrorCode2();
        std::vector<std::vector<D>> out;
        for (int32_t layer = 0; layer < kLayers; ++layer)
            for (int32_t p = 0; p < planes_of(to); ++p) out.push_back(read_plane<D>(h, p, layer));
        return out;
    }

    // The same conversion one pixel at a time through the chain's kernels.
    std::vector<D> reference_pixel(const std::vector<std::vector<S>>& input, int32_t layer,
                                   size_t index) const {
        const auto chain = ozu::select_chain<S, D>(from, to);
        S in[3] = {};
        D mid[3] = {}, out[3] = {};
        for (int32_t p = 0; p < planes_of(from); ++p) in[p] = input[layer * planes_of(from) + p][index];
        const S* inPlanes[3] = {&in[0], planes_of(from) > 1 ? &in[1] : nullptr,
                                planes_of(from) > 1 ? &in[2] : nullptr};
        D* midPlanes[3] = {&mid[0], &mid[1], &mid[2]};
        const D* midIn[3] = {&mid[0], &mid[1], &mid[2]};
        D* outPlanes[3] = {&out[0], planes_of(to) > 1 ? &out[1] : nullptr,
                           planes_of(to) > 1 ? &out[2] : nullptr};
        if (chain.first) chain.first.run(inPlanes, midPlanes, 1, ozu::pixel_max<S>, ozu::pixel_max<D>);
        if (chain.second) chain.second.run(midIn, outPlanes, 1, ozu::pixel_max<D>, ozu::pixel_max<D>);
        return std::vector<D>(out, out + planes_of(to));
    }

    std::string first_wrong_pixel(const std::vector<std::vector<S>>& input,
                                  const std::vector<std::vector<D>>& output) const {
        for (int32_t layer = 0; layer < kLayers; ++layer) {
            for (size_t k = 0; k < size_t(kWidth) * kHeight; ++k) {
                const auto expected = reference_pixel(input, layer, k);
                for (int32_t p = 0; p < planes_of(to); ++p) {
                    const D actual = output[layer * planes_of(to) + p][k];
                    if (actual == expected[p]) continue;
                    std::ostringstream s;
                    s << "first wrong pixel: layer " << layer << " x " << k % kWidth << " y "
                      << k / kWidth << " plane " << p << ": input (";
                    for (int32_t q = 0; q < planes_of(from); ++q)
                        s << (q ? ", " : "") << int64_t{input[layer * planes_of(from) + q][k]};
                    s << ") expected " << int64_t{expected[p]} << " actual " << int64_t{actual};
                    return s.str();
                }
            }
        }
        return "every pixel equals the per-pixel kernel chain: the kernels themselves changed";
    }
};

uint64_t frozen(int32_t from, int32_t to, int32_t s, int32_t d, bool* found) {
    for (const auto& g : kGolden)
        if (g.from == from && g.to == to && g.srcType == s && g.dstType == d) {
            *found = true;
            return g.checksum;
        }
    *found = false;
    return 0;
}

TEST(ConversionGolden, EverySpacePairAndTypePairMatchesItsFrozenChecksum) {
    const bool print = std::getenv("OZU_PRINT_GOLDEN") != nullptr;
    int checked = 0;
    for (int32_t from : kSpaces) {
        for (int32_t to : kSpaces) {
            if (from == to) continue;
            for (const auto& pair : kTypePairs) {
                ozu::dispatch_pixel_pair(pair[0], pair[1], [&](auto* s, auto* d) {
                    using S = std::remove_pointer_t<decltype(s)>;
                    using D = std::remove_pointer_t<decltype(d)>;
                    const Case<S, D> c{from, to};
                    const auto input = c.source_planes();
                    const auto output = c.convert(input);
                    Checksum sum;
                    for (const auto& plane : output)
                        for (D v : plane) sum.add(static_cast<int32_t>(v));
                    if (print) {
                        std::printf("    {%d, %d, %d, %d, 0x%016llxull},\n", from, to, pair[0],
                                    pair[1], static_cast<unsigned long long>(sum.value));
                        return 0;
                    }
                    bool found = false;
                    const uint64_t expected = frozen(from, to, pair[0], pair[1], &found);
                    EXPECT_TRUE(found) << from << " -> " << to << " types " << pair[0] << "," << pair[1];
                    if (found && expected != sum.value) {
                        ADD_FAILURE() << from << " -> " << to << " types " << pair[0] << ","
                                      << pair[1] << ": checksum changed; "
                                      << c.first_wrong_pixel(input, output);
                    }
                    ++checked;
                    return 0;
                });
            }
        }
    }
    if (!print) {
        EXPECT_EQ(checked, 11 * 10 * 8);
    }
}

}  // namespace
