// BayerMosaicConversion / CBMConvert: bilinear demosaic of an 8-bit Bayer
// mosaic into packed RGB32 or 8-bit grey, through per-channel look-up tables.
//
// The image is walked line by line with three line pointers (above, current,
// below). Reflection at the top and bottom only changes which lines those
// pointers name, so every line runs the same code; within a line the interior
// pixels take a branch-free path over pairs of sites, and only the first and
// last pixel use reflected column indices. The output format is a template
// parameter: no per-pixel virtual call and no allocation.
#include <ozu/bayer.h>

#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <string>

namespace {

// What a pixel must interpolate depends on its own colour and, for green, on
// which colour shares its line (that one lies left and right of it, the other
// above and below).
enum class Site { Red, Blue, GreenOnRedLine, GreenOnBlueLine };

enum Colour { R, G, B };

// Colours of the top-left 2x2 cell per parity, index (y & 1) * 2 + (x & 1).
constexpr Colour kCell[4][4] = {
    {G, R, B, G},  // 0: G R / B G
    {R, G, G, B},  // 1: R G / G B
    {B, G, G, R},  // 2: B G / G R
    {G, B, R, G},  // 3: G B / R G
};

Site site_of(int32_t parity, int32_t x, int32_t y) {
    const Colour* line = kCell[parity] + (y & 1) * 2;
    switch (line[x & 1]) {
        case R: return Site::Red;
        case B: return Site::Blue;
        case G: break;
    }
    return line[(x & 1) ^ 1] == R ? Site::GreenOnRedLine : Site::GreenOnBlueLine;
}

struct Rgb {
    uint32_t r, g, b;
};

// The three source lines around the current one.
struct Lines {
    const uint8_t* up;
    const uint8_t* mid;
    const uint8_t* down;
};

// Demosaiced samples of pixel x, given the columns xl and xr to its left and
// right (x - 1 and x + 1 inside, reflected at the borders). The divisions are
// of non-negative integers, so "+ 1) / 2" and "+ 2) / 4" round half up.
template <Site S>
inline Rgb interpolate(const Lines& l, size_t xl, size_t x, size_t xr) {
    const uint8_t* u = l.up;
    const uint8_t* m = l.mid;
    const uint8_t* d = l.down;
    if constexpr (S == Site::Red || S == Site::Blue) {
        const uint32_t own = m[x];
        const uint32_t cross = (uint32_t(u[x]) + d[x] + m[xl] + m[xr] + 2) / 4;
        const uint32_t diagonal = (uint32_t(u[xl]) + u[xr] + d[xl] + d[xr] + 2) / 4;
        if constexpr (S == Site::Red) {
            return {own, cross, diagonal};
        } else {
            return {diagonal, cross, own};
        }
    } else {
        const uint32_t along = (uint32_t(m[xl]) + m[xr] + 1) / 2;
        const uint32_t across = (uint32_t(u[x]) + d[x] + 1) / 2;
        if constexpr (S == Site::GreenOnRedLine) {
            return {along, m[x], across};
        } else {
            return {across, m[x], along};
        }
    }
}

// One line; E is the site of the even columns, O that of the odd ones.
template <Site E, Site O, class Sink>
void demosaic_line(const Lines& l, size_t width, Sink& sink) {
    // Interior columns 1 .. width - 2, two per step so that both sites are
    // fixed at compile time.
    size_t x = 1;
    for (; x + 2 < width; x += 2) {
        sink(x, interpolate<O>(l, x - 1, x, x + 1));
        sink(x + 1, interpolate<E>(l, x, x + 1, x + 2));
    }
    if (x + 1 < width) sink(x, interpolate<O>(l, x - 1, x, x + 1));
    // Border columns: column -1 reads column 1, column width reads width - 2.
    sink(0, interpolate<E>(l, 1, 0, 1));
    const size_t last = width - 1;
    if (last & 1) {
        sink(last, interpolate<O>(l, last - 1, last, last - 1));
    } else {
        sink(last, interpolate<E>(l, last - 1, last, last - 1));
    }
}

template <class Sink>
void demosaic(const TIMAGE& src, int32_t parity, Sink& sink) {
    const size_t width = size_t(src.width);
    const int32_t height = src.height;
    const size_t pitch = size_t(src.lineBytes);
    auto line = [&](int32_t y) -> const uint8_t* { return src.pixels + size_t(y) * pitch; };
    for (int32_t y = 0; y < height; ++y) {
        // Line -1 reads line 1, line height reads height - 2.
        const Lines l{line(y == 0 ? 1 : y - 1), line(y), line(y == height - 1 ? height - 2 : y + 1)};
        sink.start_line(y);
        switch (site_of(parity, 0, y)) {
            case Site::Red:
                demosaic_line<Site::Red, Site::GreenOnRedLine>(l, width, sink);
                break;
            case Site::GreenOnRedLine:
                demosaic_line<Site::GreenOnRedLine, Site::Red>(l, width, sink);
                break;
            case Site::Blue:
                demosaic_line<Site::Blue, Site::GreenOnBlueLine>(l, width, sink);
                break;
            case Site::GreenOnBlueLine:
                demosaic_line<Site::GreenOnBlueLine, Site::Blue>(l, width, sink);
                break;
        }
    }
}

// Packed R, G, B, 255 through the tables.
class Rgb32Sink {
public:
    Rgb32Sink(const uint8_t (*lut)[256], const TIMAGE& dst) : lut_(lut), dst_(dst) {}
    void start_line(int32_t y) { out_ = dst_.pixels + size_t(y) * size_t(dst_.lineBytes); }
    void operator()(size_t x, Rgb v) {
        uint8_t* p = out_ + 4 * x;
        p[0] = lut_[0][v.r];
        p[1] = lut_[1][v.g];
        p[2] = lut_[2][v.b];
        p[3] = 255;
    }

private:
    const uint8_t (*lut_)[256];
    const TIMAGE& dst_;
    uint8_t* out_ = nullptr;
};

// Grey from the tables' outputs with the weights 0.299, 0.587, 0.114 in
// thousandths (they sum to 1000, so a grey input stays exactly that grey).
// The weighted table values are prepared once per call; the largest sum,
// 1000 * 255 + 500, fits easily in 32 bits.
class Mono8Sink {
public:
    static constexpr uint32_t kWeightR = 299, kWeightG = 587, kWeightB = 114;
    static_assert(kWeightR + kWeightG + kWeightB == 1000);

    Mono8Sink(const uint8_t (*lut)[256], const TIMAGE& dst) : dst_(dst) {
        for (int v = 0; v < 256; ++v) {
            weighted_[0][v] = kWeightR * lut[0][v];
            weighted_[1][v] = kWeightG * lut[1][v];
            weighted_[2][v] = kWeightB * lut[2][v];
        }
    }
    void start_line(int32_t y) { out_ = dst_.pixels + size_t(y) * size_t(dst_.lineBytes); }
    void operator()(size_t x, Rgb v) {
        // Round half up: + 500 before the truncating division.
        out_[x] = uint8_t((weighted_[0][v.r] + weighted_[1][v.g] + weighted_[2][v.b] + 500) / 1000);
    }

private:
    uint32_t weighted_[3][256];
    const TIMAGE& dst_;
    uint8_t* out_ = nullptr;
};

[[noreturn]] void refuse(const char* operation, const char* role, const char* what) {
    throw std::invalid_argument(std::string(operation) + ": " + role + " image " + what);
}

void check_image(const TIMAGE* image, int32_t bitsPerPixel, const char* operation,
                 const char* role) {
    if (image == nullptr) refuse(operation, role, "is missing");
    if (image->pixels == nullptr) refuse(operation, role, "has no pixels");
    if (image->width < 2 || image->height < 2) refuse(operation, role, "is smaller than 2 x 2");
    if (image->bitsPerPixel != bitsPerPixel) {
        refuse(operation, role,
               bitsPerPixel == 8 ? "must have 8 bits per pixel" : "must have 32 bits per pixel");
    }
    if (int64_t(image->lineBytes) < int64_t(image->width) * (bitsPerPixel / 8)) {
        refuse(operation, role, "has lines shorter than its width");
    }
}

void check_pair(const TIMAGE* src, const TIMAGE* dst, int32_t dstBits, const char* operation) {
    check_image(src, 8, operation, "source");
    check_image(dst, dstBits, operation, "destination");
    if (dst->width != src->width || dst->height != src->height) {
        refuse(operation, "destination", "differs in size from the source");
    }
}

// clamp(round(v * gain + offset), 0, 255), halves away from zero. The clamp
// is done in double so that no out-of-range value is ever converted.
uint8_t table_entry(int v, double gain, double offset) {
    const double r = std::round(double(v) * gain + offset);
    if (!(r > 0.0)) return 0; // negative, zero or NaN
    if (r >= 255.0) return 255;
    return uint8_t(r);
}

} // namespace

BayerMosaicConversion::BayerMosaicConversion(int32_t parity) {
    SetParity(parity);
    for (int c = 0; c < 3; ++c) {
        for (int v = 0; v < 256; ++v) lut_[c][v] = uint8_t(v);
    }
}

BayerMosaicConversion::~BayerMosaicConversion() = default;

void BayerMosaicConversion::SetParity(int32_t parity) {
    if (parity < 0 || parity > 3) {
        throw std::invalid_argument("SetParity: parity " + std::to_string(parity) +
                                    " is not 0, 1, 2 or 3");
    }
    parity_ = parity;
}

void BayerMosaicConversion::SetupLUTs(double gainR, double offsetR, double gainG, double offsetG,
                                      double gainB, double offsetB) noexcept {
    for (int v = 0; v < 256; ++v) {
        lut_[0][v] = table_entry(v, gainR, offsetR);
        lut_[1][v] = table_entry(v, gainG, offsetG);
        lut_[2][v] = table_entry(v, gainB, offsetB);
    }
}

void BayerMosaicConversion::RawToRGB32(const TIMAGE* src, TIMAGE* dst) const {
    check_pair(src, dst, 32, "RawToRGB32");
    Rgb32Sink sink(lut_, *dst);
    demosaic(*src, parity_, sink);
}

void BayerMosaicConversion::RawToMono8(const TIMAGE* src, TIMAGE* dst) const {
    check_pair(src, dst, 8, "RawToMono8");
    Mono8Sink sink(lut_, *dst);
    demosaic(*src, parity_, sink);
}

CBMConvert::CBMConvert() : BayerMosaicConversion(0) {}

CBMConvert::~CBMConvert() = default;
