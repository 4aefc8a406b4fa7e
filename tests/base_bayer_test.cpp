// The host's Bayer demosaic: TIMAGE / CLPIMAGE descriptors and the
// BayerMosaicConversion / CBMConvert converter.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <stdexcept>
#include <vector>

#include <ozu/bayer.h>

namespace {

struct Rgb {
    int r, g, b;
};

bool operator==(const Rgb& a, const Rgb& b) { return a.r == b.r && a.g == b.g && a.b == b.b; }

std::ostream& operator<<(std::ostream& os, const Rgb& c) {
    return os << "(" << c.r << ", " << c.g << ", " << c.b << ")";
}

// Colours of the top-left 2x2 cell, written out per parity.
const char* const kCells[4] = {"GRBG", "RGGB", "BGGR", "GBRG"};

char colour_at(int parity, int x, int y) { return kCells[parity][(y & 1) * 2 + (x & 1)]; }

int sample_of(char colour, const Rgb& c) { return colour == 'R' ? c.r : colour == 'G' ? c.g : c.b; }

// An 8-bit image in a vector, with optional padding at the end of each line
// filled with `pad` so that stray reads and writes show.
struct Image {
    int width, height, bytesPerPixel, lineBytes;
    std::vector<uint8_t> bytes;
    TIMAGE rec;

    Image(int w, int h, int bpp, int padding = 0, uint8_t pad = 0)
        : width(w), height(h), bytesPerPixel(bpp), lineBytes(w * bpp + padding),
          bytes(size_t(lineBytes) * size_t(h), pad) {
        rec = TIMAGE{bytes.data(), w, h, lineBytes, bpp * 8, 0};
    }
    uint8_t& at(int x, int y, int byte = 0) {
        return bytes[size_t(y) * size_t(lineBytes) + size_t(x) * bytesPerPixel + byte];
    }
    Rgb rgb(int x, int y) { return {at(x, y, 0), at(x, y, 1), at(x, y, 2)}; }
};

// A mosaic in which each site holds the sample of its colour from colour(x, y).
template <class ColourAt>
Image mosaic(int parity, int w, int h, ColourAt colour, int padding = 0, uint8_t pad = 0) {
    Image raw(w, h, 1, padding, pad);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) raw.at(x, y) = uint8_t(sample_of(colour_at(parity, x, y), colour(x, y)));
    }
    return raw;
}

Image uniform_mosaic(int parity, int w, int h, Rgb c) {
    return mosaic(parity, w, h, [&](int, int) { return c; });
}

Image to_rgb32(const BayerMosaicConversion& conv, Image& raw, int padding = 0, uint8_t pad = 0) {
    Image out(raw.width, raw.height, 4, padding, pad);
    conv.RawToRGB32(&raw.rec, &out.rec);
    return out;
}

Image to_mono8(const BayerMosaicConversion& conv, Image& raw, int padding = 0, uint8_t pad = 0) {
    Image out(raw.width, raw.height, 1, padding, pad);
    conv.RawToMono8(&raw.rec, &out.rec);
    return out;
}

// The demosaic written a second way: a missing sample is the mean, rounded
// half up, of the samples of its colour among the 8 window positions around
// the pixel, positions outside the image reflected (-1 -> 1, n -> n - 2).
int reflect(int i, int n) { return i < 0 ? -i : (i >= n ? 2 * (n - 1) - i : i); }

Rgb reference_pixel(int parity, Image& raw, int x, int y) {
    int value[3];
    const char names[3] = {'R', 'G', 'B'};
    for (int c = 0; c < 3; ++c) {
        if (colour_at(parity, x, y) == names[c]) {
            value[c] = raw.at(x, y);
            continue;
        }
        int sum = 0, n = 0;
        for (int dy = -1; dy <= 1; ++dy) {
            for (int dx = -1; dx <= 1; ++dx) {
                const int sx = reflect(x + dx, raw.width), sy = reflect(y + dy, raw.height);
                if (colour_at(parity, sx, sy) == names[c]) {
                    sum += raw.at(sx, sy);
                    ++n;
                }
            }
        }
        value[c] = (sum + n / 2) / n;
    }
    return {value[0], value[1], value[2]};
}

// 0.299 R + 0.587 G + 0.114 B rounded half up, in exact integer thousandths.
int grey_of(const Rgb& c) { return (299 * c.r + 587 * c.g + 114 * c.b + 500) / 1000; }

// Every pixel of an RGB32 result has the colour `expected(x, y)` and alpha 255.
template <class Expected>
void expect_rgb32(Image& out, Expected expected, const char* what) {
    for (int y = 0; y < out.height; ++y) {
        for (int x = 0; x < out.width; ++x) {
            const Rgb want = expected(x, y);
            if (!(out.rgb(x, y) == want) || out.at(x, y, 3) != 255) {
                ADD_FAILURE() << what << ": first wrong pixel (" << x << ", " << y << ") of "
                              << out.width << "x" << out.height << ": expected " << want
                              << " alpha 255, got " << out.rgb(x, y) << " alpha "
                              << int(out.at(x, y, 3));
                return;
            }
        }
    }
}

template <class Expected>
void expect_mono8(Image& out, Expected expected, const char* what) {
    for (int y = 0; y < out.height; ++y) {
        for (int x = 0; x < out.width; ++x) {
            const int want = expected(x, y);
            if (out.at(x, y) != want) {
                ADD_FAILURE() << what << ": first wrong pixel (" << x << ", " << y << ") of "
                              << out.width << "x" << out.height << ": expected " << want
                              << ", got " << int(out.at(x, y));
                return;
            }
        }
    }
}

struct Size {
    int w, h;
};
const Size kSizes[] = {{2, 2}, {3, 2}, {2, 3}, {3, 3}, {4, 4}, {5, 3}, {6, 5}, {7, 7}, {8, 2}};

// ---------------------------------------------------------------- uniform

TEST(BayerDemosaic, UniformMosaicGivesItsColourEverywhereInRgb32) {
    const Rgb colour{200, 100, 50};
    for (int parity = 0; parity < 4; ++parity) {
        for (const Size& s : kSizes) {
            SCOPED_TRACE(::testing::Message() << "parity " << parity << ", " << s.w << "x" << s.h);
            CBMConvert conv;
            conv.SetParity(parity);
            Image raw = uniform_mosaic(parity, s.w, s.h, colour);
            Image out = to_rgb32(conv, raw);
            expect_rgb32(out, [&](int, int) { return colour; }, "uniform");
        }
    }
}

TEST(BayerDemosaic, UniformMosaicGivesRoundedWeightedGreyEverywhereInMono8) {
    // 0.299*200 + 0.587*100 + 0.114*50 = 124.2; 0.114*250 = 28.5 rounds up.
    const struct {
        Rgb colour;
        int grey;
    } cases[] = {{{200, 100, 50}, 124}, {{0, 0, 250}, 29}, {{255, 255, 255}, 255}, {{0, 0, 0}, 0}};
    for (const auto& c : cases) {
        for (int parity = 0; parity < 4; ++parity) {
            for (const Size& s : kSizes) {
                SCOPED_TRACE(::testing::Message() << "colour " << c.colour << ", parity " << parity
                                                  << ", " << s.w << "x" << s.h);
                CBMConvert conv;
                conv.SetParity(parity);
                Image raw = uniform_mosaic(parity, s.w, s.h, c.colour);
                Image out = to_mono8(conv, raw);
                expect_mono8(out, [&](int, int) { return c.grey; }, "uniform grey");
            }
        }
    }
}

// ---------------------------------------------------------------- edges

// Parity 0 (G R / B G), 5 x 4, colour (10, 20, 30) in columns 0..1 and
// (111, 121, 131) in columns 2..4. Expected values worked out by hand with the
// bilinear rule, e.g. even line, column 1 (red site): G = (20 + 20 + 20 + 121
// + 2) / 4 = 45, B = (30 + 131 + 30 + 131 + 2) / 4 = 81.
TEST(BayerDemosaic, VerticalEdgeMatchesHandComputedValues) {
    const Rgb evenLine[5] = {{10, 20, 30}, {10, 45, 81}, {61, 121, 131}, {111, 121, 131}, {111, 121, 131}};
    const Rgb oddLine[5] = {{10, 20, 30}, {10, 20, 81}, {61, 96, 131}, {111, 121, 131}, {111, 121, 131}};
    const int evenGrey[5] = {18, 39, 104, 119, 119};
    const int oddGrey[5] = {18, 24, 90, 119, 119};

    Image raw = mosaic(0, 5, 4, [](int x, int) { return x < 2 ? Rgb{10, 20, 30} : Rgb{111, 121, 131}; });
    CBMConvert conv;
    Image rgb = to_rgb32(conv, raw);
    expect_rgb32(rgb, [&](int x, int y) { return (y & 1) ? oddLine[x] : evenLine[x]; }, "vertical edge");
    Image grey = to_mono8(conv, raw);
    expect_mono8(grey, [&](int x, int y) { return (y & 1) ? oddGrey[x] : evenGrey[x]; },
                 "vertical edge grey");
}

// Parity 3 (G B / R G), 4 x 5, colour (200, 150, 100) in lines 0..1 and
// (51, 31, 1) in lines 2..4. By hand, e.g. line 1, column 0 (red site):
// G = (150 + 31 + 150 + 150 + 2) / 4 = 120, B = (100 + 100 + 1 + 1 + 2) / 4 = 51;
// line 2, column 1 (blue site): R = (200 + 200 + 51 + 51 + 2) / 4 = 126.
TEST(BayerDemosaic, HorizontalEdgeMatchesHandComputedValues) {
    const Rgb lines[5][2] = {
        {{200, 150, 100}, {200, 150, 100}},
        {{200, 120, 51}, {200, 150, 51}},
        {{126, 31, 1}, {126, 61, 1}},
        {{51, 31, 1}, {51, 31, 1}},
        {{51, 31, 1}, {51, 31, 1}},
    };
    Image raw = mosaic(3, 4, 5, [](int, int y) { return y < 2 ? Rgb{200, 150, 100} : Rgb{51, 31, 1}; });
    CBMConvert conv;
    conv.SetParity(3);
    Image rgb = to_rgb32(conv, raw);
    expect_rgb32(rgb, [&](int x, int y) { return lines[y][x & 1]; }, "horizontal edge");
}

// ---------------------------------------------------------------- reference

TEST(BayerDemosaic, RandomMosaicsMatchTheWindowMeanRuleOnEveryPixel) {
    std::mt19937 rng(20240611u);
    const Size sizes[] = {{2, 2}, {3, 2}, {2, 3}, {3, 3}, {5, 4}, {4, 5}, {7, 7}, {16, 9}, {33, 17}};
    for (int parity = 0; parity < 4; ++parity) {
        for (const Size& s : sizes) {
            SCOPED_TRACE(::testing::Message() << "parity " << parity << ", " << s.w << "x" << s.h);
            // Padded source lines full of 0xEE: reading past a line shows.
            Image raw(s.w, s.h, 1, 3, 0xEE);
            for (int y = 0; y < s.h; ++y) {
                for (int x = 0; x < s.w; ++x) raw.at(x, y) = uint8_t(rng() & 0xFF);
            }
            CBMConvert conv;
            conv.SetParity(parity);
            Image rgb = to_rgb32(conv, raw);
            expect_rgb32(rgb, [&](int x, int y) { return reference_pixel(parity, raw, x, y); }, "random");
            Image grey = to_mono8(conv, raw);
            expect_mono8(grey, [&](int x, int y) { return grey_of(reference_pixel(parity, raw, x, y)); },
                         "random grey");
        }
    }
}

TEST(BayerDemosaic, ParitySelectsTheCellLayout) {
    // The same bytes read under each parity: the top-left pixel of a uniform
    // mosaic built for parity p is red for p = 1, blue for p = 2, green else.
    const Rgb colour{90, 60, 30};
    for (int built = 0; built < 4; ++built) {
        Image raw = uniform_mosaic(built, 4, 4, colour);
        for (int used = 0; used < 4; ++used) {
            CBMConvert conv;
            conv.SetParity(used);
            Image out = to_rgb32(conv, raw);
            if (used == built) {
                EXPECT_EQ(out.rgb(0, 0), colour) << built << " read as " << used;
            } else {
                EXPECT_FALSE(out.rgb(0, 0) == colour) << built << " read as " << used;
            }
        }
    }
}

// ---------------------------------------------------------------- layout

TEST(BayerDemosaic, Rgb32WritesRgbThen255AndHonoursDestinationLineBytes) {
    Image raw = uniform_mosaic(1, 3, 3, {7, 8, 9});
    CBMConvert conv;
    conv.SetParity(1);
    Image out = to_rgb32(conv, raw, 5, 0xAB);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 3; ++x) {
            EXPECT_EQ(out.at(x, y, 0), 7);
            EXPECT_EQ(out.at(x, y, 1), 8);
            EXPECT_EQ(out.at(x, y, 2), 9);
            EXPECT_EQ(out.at(x, y, 3), 255);
        }
        for (int p = 12; p < 17; ++p) EXPECT_EQ(out.bytes[size_t(y) * 17 + p], 0xAB) << "padding";
    }
}

TEST(BayerDemosaic, Mono8HonoursDestinationLineBytes) {
    Image raw = uniform_mosaic(2, 5, 3, {200, 100, 50});
    CBMConvert conv;
    conv.SetParity(2);
    Image out = to_mono8(conv, raw, 3, 0xAB);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 5; ++x) EXPECT_EQ(out.at(x, y), 124);
        for (int p = 5; p < 8; ++p) EXPECT_EQ(out.bytes[size_t(y) * 8 + p], 0xAB) << "padding";
    }
}

// ---------------------------------------------------------------- tables

Rgb convert_uniform(const BayerMosaicConversion& conv, Rgb c) {
    Image raw = uniform_mosaic(conv.Parity(), 2, 2, c);
    Image out = to_rgb32(conv, raw);
    return out.rgb(1, 1);
}

TEST(BayerLookUpTables, AreTheIdentityWithoutSetup) {
    CBMConvert conv;
    for (int v = 0; v < 256; ++v) {
        ASSERT_EQ(convert_uniform(conv, {v, 255 - v, v}), (Rgb{v, 255 - v, v})) << v;
    }
}

TEST(BayerLookUpTables, HalfGainOnRedHalvesRedRoundingHalvesUp) {
    CBMConvert conv;
    conv.SetupLUTs(0.5, 0.0, 1.0, 0.0, 1.0, 0.0);
    for (int v = 0; v < 256; ++v) {
        // v / 2 with halves rounded away from zero: 201 -> 101, 1 -> 1.
        ASSERT_EQ(convert_uniform(conv, {v, v, v}), (Rgb{(v + 1) / 2, v, v})) << v;
    }
    EXPECT_EQ(convert_uniform(conv, {201, 10, 20}), (Rgb{101, 10, 20}));
}

TEST(BayerLookUpTables, ApplyGainAndOffsetPerChannel) {
    CBMConvert conv;
    conv.SetupLUTs(1.0, 10.5, 1.5, -3.0, 0.25, 4.0);
    // R: 100 + 10.5 = 110.5 -> 111; G: 150 - 3 = 147; B: 50 / 4 + 4 = 16.5 -> 17.
    EXPECT_EQ(convert_uniform(conv, {100, 100, 50}), (Rgb{111, 147, 17}));
    // R: 0 + 10.5 -> 11; G: 2 * 1.5 - 3 = 0; B: 2 / 4 + 4 = 4.5 -> 5.
    EXPECT_EQ(convert_uniform(conv, {0, 2, 2}), (Rgb{11, 0, 5}));
}

TEST(BayerLookUpTables, ClampAtZeroAnd255) {
    CBMConvert conv;
    conv.SetupLUTs(2.0, 0.0, 1.0, 300.0, 1.0, -300.0);
    EXPECT_EQ(convert_uniform(conv, {200, 0, 255}), (Rgb{255, 255, 0}));
    EXPECT_EQ(convert_uniform(conv, {127, 0, 0}), (Rgb{254, 255, 0}));
    EXPECT_EQ(convert_uniform(conv, {128, 0, 0}), (Rgb{255, 255, 0}));
    // -0.5 rounds away from zero to -1, then clamps to 0; 254.5 rounds to 255.
    conv.SetupLUTs(-0.5, 0.0, 1.0, 0.5, 1.0, -0.5);
    EXPECT_EQ(convert_uniform(conv, {1, 254, 1}), (Rgb{0, 255, 1}));
    EXPECT_EQ(convert_uniform(conv, {1, 253, 2}), (Rgb{0, 254, 2}));
}

TEST(BayerLookUpTables, NotANumberGivesZero) {
    CBMConvert conv;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    conv.SetupLUTs(nan, 0.0, 1.0, nan, 1.0, 0.0);
    EXPECT_EQ(convert_uniform(conv, {100, 100, 100}), (Rgb{0, 0, 100}));
}

TEST(BayerLookUpTables, LaterSetupReplacesEarlierTables) {
    CBMConvert conv;
    conv.SetupLUTs(0.0, 0.0, 0.0, 0.0, 0.0, 0.0);
    conv.SetupLUTs(1.0, 1.0, 1.0, 2.0, 1.0, 3.0);
    EXPECT_EQ(convert_uniform(conv, {10, 20, 30}), (Rgb{11, 22, 33}));
}

TEST(BayerLookUpTables, GreyWeighsTheTableOutputs) {
    CBMConvert conv;
    conv.SetupLUTs(0.5, 0.0, 1.0, 0.0, 1.0, 0.0);
    // Red 201 -> 101 first; 0.299 * 101 + 0.587 * 100 + 0.114 * 50 = 95.099.
    Image raw = uniform_mosaic(0, 3, 3, {201, 100, 50});
    Image out = to_mono8(conv, raw);
    expect_mono8(out, [](int, int) { return 95; }, "grey after tables");
    // 0.299 * 0 + 0.587 * 0 + 0.114 * (125 * 2) = 28.5 -> 29.
    conv.SetupLUTs(1.0, 0.0, 1.0, 0.0, 2.0, 0.0);
    Image raw2 = uniform_mosaic(0, 2, 2, {0, 0, 125});
    Image out2 = to_mono8(conv, raw2);
    expect_mono8(out2, [](int, int) { return 29; }, "grey half");
}

// ---------------------------------------------------------------- parity

TEST(BayerParity, DefaultsToZeroAndKeepsWhatIsSet) {
    CBMConvert conv;
    EXPECT_EQ(conv.Parity(), 0);
    for (int p = 0; p < 4; ++p) {
        conv.SetParity(p);
        EXPECT_EQ(conv.Parity(), p);
    }
    BayerMosaicConversion two(2);
    EXPECT_EQ(two.Parity(), 2);
}

TEST(BayerParity, RefusesValuesOutsideZeroToThree) {
    CBMConvert conv;
    conv.SetParity(3);
    EXPECT_THROW(conv.SetParity(4), std::invalid_argument);
    EXPECT_THROW(conv.SetParity(-1), std::invalid_argument);
    EXPECT_EQ(conv.Parity(), 3);
    EXPECT_THROW(BayerMosaicConversion bad(7), std::invalid_argument);
}

// ---------------------------------------------------------------- refusals

// Runs both conversions on copies of valid 4x3 images after `spoil` has
// changed one record, and expects both to refuse and write nothing.
template <class Spoil>
void expect_refused(Spoil spoil, bool spoilsRgbOnly = false, bool spoilsMonoOnly = false) {
    CBMConvert conv;
    for (int mono = 0; mono < 2; ++mono) {
        if ((mono && spoilsRgbOnly) || (!mono && spoilsMonoOnly)) continue;
        Image raw = uniform_mosaic(0, 4, 3, {1, 2, 3});
        Image out(4, 3, mono ? 1 : 4, 0, 0xCD);
        TIMAGE* src = &raw.rec;
        TIMAGE* dst = &out.rec;
        spoil(src, dst);
        if (mono) {
            EXPECT_THROW(conv.RawToMono8(src, dst), std::invalid_argument) << "Mono8";
        } else {
            EXPECT_THROW(conv.RawToRGB32(src, dst), std::invalid_argument) << "RGB32";
        }
        for (uint8_t b : out.bytes) ASSERT_EQ(b, 0xCD) << "written before refusing";
    }
}

TEST(BayerRefusals, NullImagePointers) {
    expect_refused([](TIMAGE*& src, TIMAGE*) { src = nullptr; });
    expect_refused([](TIMAGE*, TIMAGE*& dst) { dst = nullptr; });
}

TEST(BayerRefusals, NullPixels) {
    expect_refused([](TIMAGE* src, TIMAGE*) { src->pixels = nullptr; });
    expect_refused([](TIMAGE*, TIMAGE* dst) { dst->pixels = nullptr; });
    // A record fresh from calloc describes no image.
    expect_refused([](TIMAGE* src, TIMAGE*) { *src = TIMAGE{}; });
}

TEST(BayerRefusals, SizesBelowTwo) {
    expect_refused([](TIMAGE* src, TIMAGE* dst) { src->width = dst->width = 1; });
    expect_refused([](TIMAGE* src, TIMAGE* dst) { src->height = dst->height = 1; });
    expect_refused([](TIMAGE* src, TIMAGE* dst) { src->width = dst->width = 0; });
    expect_refused([](TIMAGE* src, TIMAGE* dst) { src->height = dst->height = -2; });
}

TEST(BayerRefusals, SourceNotEightBitsPerPixel) {
    expect_refused([](TIMAGE* src, TIMAGE*) { src->bitsPerPixel = 16; });
    expect_refused([](TIMAGE* src, TIMAGE*) { src->bitsPerPixel = 0; });
}

TEST(BayerRefusals, DestinationWithWrongBitsPerPixel) {
    // RGB32 wants 32, Mono8 wants 8.
    expect_refused([](TIMAGE*, TIMAGE* dst) { dst->bitsPerPixel = 24; }, true);
    expect_refused([](TIMAGE*, TIMAGE* dst) { dst->bitsPerPixel = 8; }, true);
    expect_refused([](TIMAGE*, TIMAGE* dst) { dst->bitsPerPixel = 32; }, false, true);
    expect_refused([](TIMAGE*, TIMAGE* dst) { dst->bitsPerPixel = 16; }, false, true);
}

TEST(BayerRefusals, DestinationSizeDifferingFromSource) {
    expect_refused([](TIMAGE*, TIMAGE* dst) { dst->width = 3; });
    expect_refused([](TIMAGE*, TIMAGE* dst) { dst->height = 2; });
    expect_refused([](TIMAGE* src, TIMAGE*) { src->width = 3; });
}

TEST(BayerRefusals, LinesShorterThanTheWidth) {
    expect_refused([](TIMAGE* src, TIMAGE*) { src->lineBytes = 3; });
    expect_refused([](TIMAGE*, TIMAGE* dst) { dst->lineBytes = 15; }, true);
    expect_refused([](TIMAGE*, TIMAGE* dst) { dst->lineBytes = 3; }, false, true);
}

// The planar conversion refuses what the packed ones refuse in any of its
// three planes, and a line range outside the image, before writing.
TEST(BayerRefusals, PlanesRefuseBadPlanesAndRangesWithoutWriting) {
    CBMConvert conv;
    auto expect_refused = [&](auto spoil) {
        Image raw = uniform_mosaic(2, 4, 3, {1, 2, 3});
        Image planes[3] = {Image(4, 3, 1, 0, 0xCD), Image(4, 3, 1, 0, 0xCD),
                           Image(4, 3, 1, 0, 0xCD)};
        TIMAGE* src = &raw.rec;
        TIMAGE* images[3] = {&planes[0].rec, &planes[1].rec, &planes[2].rec};
        int32_t first = 0, end = 3;
        const bool noArray = spoil(src, images, first, end);
        EXPECT_THROW(conv.RawToPlanes8(src, noArray ? nullptr : images, first, end),
                     std::invalid_argument);
        for (const Image& plane : planes)
            for (uint8_t b : plane.bytes) ASSERT_EQ(b, 0xCD) << "written before refusing";
    };
    expect_refused([](TIMAGE*&, TIMAGE**, int32_t&, int32_t&) { return true; });
    expect_refused([](TIMAGE*& src, TIMAGE**, int32_t&, int32_t&) { src = nullptr; return false; });
    expect_refused([](TIMAGE*, TIMAGE** p, int32_t&, int32_t&) { p[2] = nullptr; return false; });
    expect_refused([](TIMAGE*, TIMAGE** p, int32_t&, int32_t&) {
        p[1]->bitsPerPixel = 32;
        return false;
    });
    expect_refused([](TIMAGE*, TIMAGE** p, int32_t&, int32_t&) { p[2]->height = 2; return false; });
    expect_refused([](TIMAGE*, TIMAGE** p, int32_t&, int32_t&) { p[0]->lineBytes = 3; return false; });
    expect_refused([](TIMAGE* src, TIMAGE**, int32_t&, int32_t&) { src->width = 1; return false; });
    expect_refused([](TIMAGE*, TIMAGE**, int32_t& first, int32_t&) { first = -1; return false; });
    expect_refused([](TIMAGE*, TIMAGE**, int32_t&, int32_t& end) { end = 4; return false; });
    expect_refused([](TIMAGE*, TIMAGE**, int32_t& first, int32_t& end) {
        first = 2;
        end = 1;
        return false;
    });
}

TEST(BayerDemosaic, PlanesOfAnEmptyRangeAreLeftAlone) {
    CBMConvert conv;
    Image raw = uniform_mosaic(0, 4, 3, {10, 20, 30});
    Image planes[3] = {Image(4, 3, 1, 0, 0xCD), Image(4, 3, 1, 0, 0xCD), Image(4, 3, 1, 0, 0xCD)};
    TIMAGE* images[3] = {&planes[0].rec, &planes[1].rec, &planes[2].rec};
    conv.RawToPlanes8(&raw.rec, images, 3, 3);
    for (const Image& plane : planes)
        for (uint8_t b : plane.bytes) ASSERT_EQ(b, 0xCD);
    conv.RawToPlanes8(&raw.rec, images, 0, 3);
    for (int c = 0; c < 3; ++c)
        for (uint8_t b : planes[c].bytes) ASSERT_EQ(b, 10 * (c + 1));
}

// ---------------------------------------------------------------- CLPIMAGE

TIMAGE* new_record() { return static_cast<TIMAGE*>(std::calloc(1, sizeof(TIMAGE))); }

TEST(ClpImage, SetImageFillsTheRecord) {
    std::vector<uint8_t> pixels(64);
    CLPIMAGE img(new_record());
    ASSERT_NE(img.lpi(), nullptr);
    EXPECT_EQ(img.setImage(pixels.data(), 5, 3, 20, 32, 0), 0);
    const TIMAGE* r = img.lpi();
    EXPECT_EQ(r->pixels, pixels.data());
    EXPECT_EQ(r->width, 5);
    EXPECT_EQ(r->height, 3);
    EXPECT_EQ(r->lineBytes, 20);
    EXPECT_EQ(r->bitsPerPixel, 32);
    EXPECT_EQ(r->flags, 0);
    // A 1 x 1 image is a valid description; only the converter needs 2 x 2.
    EXPECT_EQ(img.setImage(pixels.data(), 1, 1, 1, 8, 0), 0);
    EXPECT_EQ(img.setImage(pixels.data(), 2, 2, 4, 16, 0), 0);
}

TEST(ClpImage, SetImageRefusesInvalidArgumentsAndKeepsTheRecord) {
    std::vector<uint8_t> pixels(64);
    CLPIMAGE img(new_record());
    ASSERT_EQ(img.setImage(pixels.data(), 4, 3, 6, 8, 0), 0);
    const TIMAGE before = *img.lpi();
    const struct {
        void* pixels;
        int32_t w, h, line, bits, flags;
        int32_t result;
    } cases[] = {
        {nullptr, 4, 3, 4, 8, 0, CLPIMAGE::kNullPixels},
        {pixels.data(), 0, 3, 4, 8, 0, CLPIMAGE::kBadSize},
        {pixels.data(), 4, 0, 4, 8, 0, CLPIMAGE::kBadSize},
        {pixels.data(), -4, 3, 4, 8, 0, CLPIMAGE::kBadSize},
        {pixels.data(), 4, 3, 4, 0, 0, CLPIMAGE::kBadBits},
        {pixels.data(), 4, 3, 4, 12, 0, CLPIMAGE::kBadBits},
        {pixels.data(), 4, 3, 40, 72, 0, CLPIMAGE::kBadBits},
        {pixels.data(), 4, 3, -8, 8, 0, CLPIMAGE::kBadLineBytes},
        {pixels.data(), 4, 3, 3, 8, 0, CLPIMAGE::kBadLineBytes},
        {pixels.data(), 4, 3, 15, 32, 0, CLPIMAGE::kBadLineBytes},
        {pixels.data(), 4, 3, 4, 8, 1, CLPIMAGE::kBadFlags},
    };
    for (const auto& c : cases) {
        const int32_t result = img.setImage(c.pixels, c.w, c.h, c.line, c.bits, c.flags);
        EXPECT_LT(result, 0);
        EXPECT_EQ(result, c.result) << c.w << "x" << c.h << " line " << c.line << " bits " << c.bits;
        EXPECT_EQ(img.lpi()->pixels, before.pixels);
        EXPECT_EQ(img.lpi()->width, before.width);
        EXPECT_EQ(img.lpi()->height, before.height);
        EXPECT_EQ(img.lpi()->lineBytes, before.lineBytes);
        EXPECT_EQ(img.lpi()->bitsPerPixel, before.bitsPerPixel);
    }
    // A line length that would overflow 32 bits as width * bytes per pixel.
    EXPECT_EQ(img.setImage(pixels.data(), 0x40000000, 1, 0x7FFFFFFF, 32, 0), CLPIMAGE::kBadLineBytes);
}

TEST(ClpImage, SetImageWithoutARecordIsRefused) {
    std::vector<uint8_t> pixels(16);
    CLPIMAGE empty;
    EXPECT_EQ(empty.lpi(), nullptr);
    EXPECT_EQ(empty.setImage(pixels.data(), 2, 2, 2, 8, 0), CLPIMAGE::kNoRecord);
}

TEST(ClpImage, FreeLpiFreesTheRecordAndForgetsItButNotThePixels) {
    // The pixels come from operator new: were free_lpi to free them, the
    // sanitizer build would report the mismatch; a record not freed would be
    // reported as a leak.
    std::vector<uint8_t> pixels(16, 9);
    CLPIMAGE img(new_record());
    ASSERT_EQ(img.setImage(pixels.data(), 4, 4, 4, 8, 0), 0);
    img.free_lpi();
    EXPECT_EQ(img.lpi(), nullptr);
    EXPECT_EQ(img.setImage(pixels.data(), 4, 4, 4, 8, 0), CLPIMAGE::kNoRecord);
    img.free_lpi(); // nothing held: nothing happens
    pixels[15] = 10;
    EXPECT_EQ(pixels[0], 9);
}

TEST(ClpImage, DestructorAndReplacementFreeTheRecordHeld) {
    CLPIMAGE a(new_record());
    a.set_lpi(new_record()); // the first record is freed here
    a.set_lpi(a.lpi());      // same record: kept
    ASSERT_NE(a.lpi(), nullptr);
    CLPIMAGE b(std::move(a));
    EXPECT_EQ(a.lpi(), nullptr);
    ASSERT_NE(b.lpi(), nullptr);
    CLPIMAGE c(new_record());
    c = std::move(b); // c's own record is freed, b's moves over
    EXPECT_EQ(b.lpi(), nullptr);
    EXPECT_NE(c.lpi(), nullptr);
    // c's record is freed by its destructor.
}

TEST(ClpImage, WrapsImagesForTheConverter) {
    Image raw = uniform_mosaic(1, 3, 2, {40, 50, 60});
    std::vector<uint8_t> packed(3 * 2 * 4);
    CLPIMAGE src(new_record());
    CLPIMAGE dst(new_record());
    ASSERT_EQ(src.setImage(raw.bytes.data(), 3, 2, 3, 8, 0), 0);
    ASSERT_EQ(dst.setImage(packed.data(), 3, 2, 12, 32, 0), 0);
    CBMConvert conv;
    conv.SetParity(1);
    conv.RawToRGB32(src.lpi(), dst.lpi());
    for (size_t i = 0; i < packed.size(); i += 4) {
        EXPECT_EQ(packed[i + 0], 40);
        EXPECT_EQ(packed[i + 1], 50);
        EXPECT_EQ(packed[i + 2], 60);
        EXPECT_EQ(packed[i + 3], 255);
    }
    src.free_lpi();
    dst.free_lpi();
}

} // namespace
