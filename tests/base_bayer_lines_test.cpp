// The demosaic's line loop on every line width from 2 to 100, every parity,
// with the identity tables and with tables of a gain and an offset: the
// interior runs that the vector forms take 16 or 32 columns at a time,
// the columns after them and the borders. Each pixel is compared with the
// rule written out here, so the test pins the same bits whichever set the
// host runs; ctest runs it once per set (OZU_CPU_TARGET).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include <ozu/bayer.h>

namespace {

const char* const kCells[4] = {"GRBG", "RGGB", "BGGR", "GBRG"};

char colour_at(int parity, int x, int y) { return kCells[parity][(y & 1) * 2 + (x & 1)]; }

int reflect(int i, int n) { return i < 0 ? -i : (i >= n ? 2 * (n - 1) - i : i); }

// The mean, rounded half up, of the samples of colour c among the pixel and
// its eight neighbours (reflected at the borders); the pixel's own sample
// when it is of that colour.
int demosaiced(int parity, const std::vector<uint8_t>& raw, int pitch, int width, int height,
               int x, int y, char c) {
    if (colour_at(parity, x, y) == c) return raw[std::size_t(y) * pitch + x];
    int sum = 0, n = 0;
    for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
            const int sx = reflect(x + dx, width), sy = reflect(y + dy, height);
            if (colour_at(parity, sx, sy) == c) {
                sum += raw[std::size_t(sy) * pitch + sx];
                ++n;
            }
        }
    }
    return (sum + n / 2) / n;
}

int table(int v, double gain, double offset) {
    const double r = std::round(double(v) * gain + offset);
    return r <= 0.0 ? 0 : r >= 255.0 ? 255 : int(r);
}

// A random mosaic of `pitch` bytes a line, the bytes after each line 0xEE:
// a stray read changes a result.
std::vector<uint8_t> random_mosaic(std::mt19937& engine, int width, int height, int pitch) {
    std::vector<uint8_t> raw(std::size_t(pitch) * height, 0xEE);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) raw[std::size_t(y) * pitch + x] = uint8_t(engine());
    return raw;
}

// A converter of the parity, with the tables of the gains and offsets or
// (identity) none.
CBMConvert converter(int parity, bool identity, const double (&gains)[3],
                     const double (&offsets)[3]) {
    CBMConvert conv;
    conv.SetParity(parity);
    if (!identity)
        conv.SetupLUTs(gains[0], offsets[0], gains[1], offsets[1], gains[2], offsets[2]);
    return conv;
}

TEST(BayerLines, Rgb32MatchesTheRuleOnEveryWidthParityAndTable) {
    std::mt19937 engine(99);
    const double gains[3] = {1.25, 0.5, 2.0};
    const double offsets[3] = {-3.0, 7.5, 0.0};
    for (int tables = 0; tables < 2; ++tables) {
        for (int parity = 0; parity < 4; ++parity) {
            for (int width = 2; width <= 100; ++width) {
                for (int height : {2, 3}) {
                    SCOPED_TRACE(testing::Message() << "tables " << tables << " parity " << parity
                                                    << " " << width << "x" << height);
                    const int srcPitch = width + 5;
                    const int dstPitch = 4 * width + 7;
                    // Padding bytes of 0xEE: a stray write shows there.
                    std::vector<uint8_t> raw = random_mosaic(engine, width, height, srcPitch);
                    std::vector<uint8_t> out(std::size_t(dstPitch) * height, 0xEE);
                    TIMAGE src{raw.data(), width, height, srcPitch, 8, 0};
                    TIMAGE dst{out.data(), width, height, dstPitch, 32, 0};
                    converter(parity, tables == 0, gains, offsets).RawToRGB32(&src, &dst);

                    bool ok = true;
                    for (int y = 0; y < height && ok; ++y) {
                        for (int x = 0; x < width && ok; ++x) {
                            const uint8_t* p = out.data() + std::size_t(y) * dstPitch + 4 * x;
                            int want[4] = {0, 0, 0, 255};
                            for (int c = 0; c < 3; ++c) {
                                want[c] = demosaiced(parity, raw, srcPitch, width, height, x, y,
                                                     "RGB"[c]);
                                if (tables == 1) want[c] = table(want[c], gains[c], offsets[c]);
                            }
                            for (int c = 0; c < 4; ++c) {
                                if (p[c] != want[c]) {
                                    ADD_FAILURE() << "pixel (" << x << ", " << y << ") byte " << c
                                                  << ": expected " << want[c] << ", got "
                                                  << int(p[c]);
                                    ok = false;
                                    break;
                                }
                            }
                        }
                        for (int k = 4 * width; k < dstPitch && ok; ++k) {
                            if (out[std::size_t(y) * dstPitch + k] != 0xEE) {
                                ADD_FAILURE() << "padding byte " << k << " of line " << y
                                              << " written";
                                ok = false;
                            }
                        }
                    }
                }
            }
        }
    }
}

// Three planes, each line range by itself: a range writes its own lines of
// the whole image's demosaic and nothing else, so that the image is whole
// when two ranges meet at any line.
TEST(BayerLines, PlanesMatchTheRuleOnEveryWidthParityTableAndLineRange) {
    std::mt19937 engine(7);
    const double gains[3] = {0.75, 1.5, 1.0};
    const double offsets[3] = {4.0, -20.0, 0.5};
    constexpr int kHeight = 5;
    for (int tables = 0; tables < 2; ++tables) {
        for (int parity = 0; parity < 4; ++parity) {
            for (int width = 2; width <= 100; ++width) {
                SCOPED_TRACE(testing::Message() << "tables " << tables << " parity " << parity
                                                << " width " << width);
                const int srcPitch = width + 3;
                std::vector<uint8_t> raw = random_mosaic(engine, width, kHeight, srcPitch);
                TIMAGE src{raw.data(), width, kHeight, srcPitch, 8, 0};
                const CBMConvert conv = converter(parity, tables == 0, gains, offsets);
                // Planes of different pitches, each with its padding.
                const int pitches[3] = {width + 1, width + 9, width + 40};
                for (int split = 0; split <= kHeight; ++split) {
                    std::vector<uint8_t> out[3];
                    TIMAGE images[3];
                    for (int c = 0; c < 3; ++c) {
                        out[c].assign(std::size_t(pitches[c]) * kHeight, 0xEE);
                        images[c] = {out[c].data(), width, kHeight, pitches[c], 8, 0};
                    }
                    TIMAGE* const planes[3] = {&images[0], &images[1], &images[2]};
                    conv.RawToPlanes8(&src, planes, 0, split);
                    // The lines after the range are still untouched.
                    for (int c = 0; c < 3; ++c)
                        for (std::size_t k = std::size_t(split) * pitches[c];
                             k < out[c].size(); ++k)
                            ASSERT_EQ(out[c][k], 0xEE) << "split " << split << " plane " << c;
                    conv.RawToPlanes8(&src, planes, split, kHeight);
                    for (int c = 0; c < 3; ++c) {
                        for (int y = 0; y < kHeight; ++y) {
                            const uint8_t* line = out[c].data() + std::size_t(y) * pitches[c];
                            for (int x = 0; x < width; ++x) {
                                int want = demosaiced(parity, raw, srcPitch, width, kHeight, x,
                                                      y, "RGB"[c]);
                                if (tables == 1) want = table(want, gains[c], offsets[c]);
                                ASSERT_EQ(line[x], want) << "split " << split << " plane " << c
                                                         << " pixel (" << x << ", " << y << ")";
                            }
                            for (int x = width; x < pitches[c]; ++x)
                                ASSERT_EQ(line[x], 0xEE) << "padding of plane " << c;
                        }
                    }
                }
            }
        }
    }
}

#if defined(__x86_64__) || defined(__i386__)
// An output of more than 48 MiB is written around the caches, each line's
// run starting where its pixels meet a 32-byte boundary. A line of 4001
// pixels moves that start from line to line.
TEST(BayerLines, LargeRgb32OutputMatchesTheRuleOnEveryPixel) {
    constexpr int kWidth = 4001, kHeight = 3300;
    std::mt19937 engine(2026);
    std::vector<uint8_t> raw(std::size_t(kWidth) * kHeight);
    for (auto& v : raw) v = uint8_t(engine());
    std::vector<uint8_t> out(std::size_t(kWidth) * 4 * kHeight);
    TIMAGE src{raw.data(), kWidth, kHeight, kWidth, 8, 0};
    TIMAGE dst{out.data(), kWidth, kHeight, 4 * kWidth, 32, 0};
    CBMConvert conv;
    conv.SetParity(1);
    conv.RawToRGB32(&src, &dst);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const uint8_t* p = out.data() + (std::size_t(y) * kWidth + x) * 4;
            for (int c = 0; c < 3; ++c) {
                const int want = demosaiced(1, raw, kWidth, kWidth, kHeight, x, y, "RGB"[c]);
                if (p[c] != want) {
                    FAIL() << "pixel (" << x << ", " << y << ") byte " << c << ": expected "
                           << want << ", got " << int(p[c]);
                }
            }
            if (p[3] != 255) FAIL() << "pixel (" << x << ", " << y << ") alpha " << int(p[3]);
        }
    }
}
#endif

}  // namespace
