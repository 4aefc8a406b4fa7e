// Definitions of the scalar hue line kernels declared in hue_kernels.h: the
// reference every vector version must match bit for bit. Included only by
// hue_kernels.cpp, which instantiates them.
#pragma once

#include <cstdint>
#include <limits>

#include "convert/hue_kernels.h"
#include "convert/hue_tables.h"
#include "frame/fixed_point.h"

namespace ozu {
namespace hue_detail {

// trunc(v) as a 32-bit integer, defined for every float. In range it is the
// plain truncation toward zero. Beyond the range it saturates, as the
// PowerPC conversion instruction does; NaN gives 0, which is also what that
// instruction leaves in the low 8 and 16 bits (it gives 0x80000000).
inline int32_t trunc_to_int32(float v) {
    if (v != v) return 0;
    if (v >= 2147483648.0f) return std::numeric_limits<int32_t>::max();
    if (v < -2147483648.0f) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(v);
}

template <class V>
struct Extremes {
    V max;
    V min;
};

// The larger and smaller of G and B first, then R is compared with them.
template <class V>
inline Extremes<V> extremes(V r, V g, V b) {
    const V hi = g > b ? g : b;
    const V lo = g > b ? b : g;
    Extremes<V> e{hi, lo};
    if (r < lo)
        e.min = r;
    else if (r > hi)
        e.max = r;
    return e;
}

// a - b in single precision: integer channels are subtracted first (exact for
// the values of a line), float channels in float.
inline float difference(int32_t a, int32_t b) { return static_cast<float>(wsub(a, b)); }
inline float difference(float a, float b) { return a - b; }

// The hue in degrees, 0 <= h <= 360, of a pixel with max > min, d = max - min.
// Each sector's fraction is formed as the difference of two quotients over
// d, and ties for the maximum go to R, then G, then B.
template <class V>
inline float hue_degrees(V r, V g, V b, V max, float d) {
    float h;
    if (r == max)
        h = difference(max, b) / d - difference(max, g) / d;
    else if (g == max)
        h = 2.0f + difference(max, r) / d - difference(max, b) / d;
    else
        h = 4.0f + difference(max, g) / d - difference(max, r) / d;
    h = h * 60.0f;
    if (h < 0.0f) h = h + 360.0f;
    return h;
}

// Degrees to the line's range: the full circle is dstMax.
inline int32_t scale_hue(float degrees, float dstMax) {
    return trunc_to_int32(degrees / 360.0f * dstMax);
}

inline int32_t table_index(int32_t row, int32_t col) { return ((row & 0xFF) << 8) | (col & 0xFF); }

// HLS -> RGB: the value of one channel whose hue is x degrees.
inline float hls_channel(float m1, float m2, float x) {
    if (x > 360.0f)
        x = x - 360.0f;
    else if (x < 0.0f)
        x = x + 360.0f;
    if (x < 60.0f) return m1 + (m2 - m1) * x / 60.0f;
    if (x < 180.0f) return m2;
    if (x < 240.0f) return m1 + (m2 - m1) * (240.0f - x) / 60.0f;
    return m1;
}

}  // namespace hue_detail

namespace scalar {

template <class S, class D>
bool subRGB2HLS(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax) {
    using namespace hue_detail;
    const S* const pr = src[0];
    const S* const pg = src[1];
    const S* const pb = src[2];
    D* const ph = dst[0];
    D* const pl = dst[1];
    D* const ps = dst[2];
    const float fdst = static_cast<float>(dstMax);

    if (srcMax == 255 && dstMax == 255) {
        // 8-bit: L and S are two table reads at (max, min); only the hue
        // needs floating point. The indices keep the low 8 bits, which is
        // every bit of the 8-bit data this path is meant for.
        for (int32_t x = 0; x < width; ++x) {
            const int32_t r = load(pr[x]), g = load(pg[x]), b = load(pb[x]);
            const Extremes<int32_t> e = extremes(r, g, b);
            const int32_t at = table_index(e.max, e.min);
            int32_t h = 0;
            if (e.max != e.min) {
                const float d = static_cast<float>(wsub(e.max, e.min));
                h = scale_hue(hue_degrees(r, g, b, e.max, d), fdst);
            }
            ph[x] = store<D>(h);
            pl[x] = store<D>(RGB2HLS_Lightness[at]);
            ps[x] = store<D>(RGB2HLS_Saturation[at]);
        }
    } else if (srcMax == dstMax) {
        // Equal ranges: L in integers; S = d / den scaled, den the distance of
        // the sum max + min from the nearer end of 0 .. 2 srcMax.
        const int32_t halfRange = srcMax / 2;
        for (int32_t x = 0; x < width; ++x) {
            const int32_t r = load(pr[x]), g = load(pg[x]), b = load(pb[x]);
            const Extremes<int32_t> e = extremes(r, g, b);
            const int32_t l = wadd(e.max, e.min) >> 1;
            int32_t h = 0;
            int32_t s = 0;
            if (e.max != e.min) {
                const int32_t d = wsub(e.max, e.min);
                const int32_t den =
                    l > halfRange ? wsub(wsub(wmul(2, srcMax), e.max), e.min) : wadd(e.max, e.min);
                s = trunc_to_int32(static_cast<float>(d) / static_cast<float>(den) * fdst);
                h = scale_hue(hue_degrees(r, g, b, e.max, static_cast<float>(d)), fdst);
            }
            ph[x] = store<D>(h);
            pl[x] = store<D>(l);
            ps[x] = store<D>(s);
        }
    } else {
        // Unequal ranges: everything in 0..1 floats.
        const float fsrc = static_cast<float>(srcMax);
        for (int32_t x = 0; x < width; ++x) {
            const float r = static_cast<float>(load(pr[x])) / fsrc;
            const float g = static_cast<float>(load(pg[x])) / fsrc;
            const float b = static_cast<float>(load(pb[x])) / fsrc;
            const Extremes<float> e = extremes(r, g, b);
            const float l = (e.max + e.min) * 0.5f;
            int32_t h = 0;
            int32_t s = 0;
            if (e.max != e.min) {
                const float d = e.max - e.min;
                const float sat = l <= 0.5f ? d / (e.max + e.min) : d / (2.0f - e.max - e.min);
                s = trunc_to_int32(sat * fdst);
                h = scale_hue(hue_degrees(r, g, b, e.max, d), fdst);
            }
            ph[x] = store<D>(h);
            pl[x] = store<D>(trunc_to_int32(l * fdst));
            ps[x] = store<D>(s);
        }
    }
    return true;
}

template <class S, class D>
bool subRGB2HSV(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax) {
    using namespace hue_detail;
    const S* const pr = src[0];
    const S* const pg = src[1];
    const S* const pb = src[2];
    D* const ph = dst[0];
    D* const ps = dst[1];
    D* const pv = dst[2];
    const float fdst = static_cast<float>(dstMax);

    if (srcMax == 255 && dstMax == 255) {
        // 8-bit without floating point. One table holds both the saturation
        // (row d = max - min, column max) and, below its diagonal, the
        // position of the middle channel within the sixth of the hue circle
        // (row d, column middle - min) as 42.5 x fraction - 44. Each case adds
        // its sector's offset modulo 256; this hue scale is this path's own
        // (pure blue gives 169, grey 44) and results are pinned to it. The
        // differences wrap around: only their low 8 bits index the table,
        // which is all of them for 8-bit data.
        const auto t = [](int32_t row, int32_t col) -> int32_t {
            return RGB2HSV_Saturation[table_index(row, col)];
        };
        for (int32_t x = 0; x < width; ++x) {
            const int32_t r = load(pr[x]), g = load(pg[x]), b = load(pb[x]);
            int32_t h, s, v;
            if (r < g) {
                if (g < b) {
                    v = b, s = t(wsub(b, r), b), h = -128 - t(wsub(b, r), wsub(g, r));
                } else if (r < b) {
                    v = g, s = t(wsub(g, r), g), h = t(wsub(g, r), wsub(b, r)) - 128;
                } else {
                    v = g, s = t(wsub(g, b), g), h = 43 - t(wsub(g, b), wsub(r, b));
                }
            } else if (r < b) {
                v = b, s = t(wsub(b, g), b), h = t(wsub(b, g), wsub(r, g)) - 43;
            } else if (g < b) {
                v = r, s = t(wsub(r, g), r), h = -44 - t(wsub(r, g), wsub(b, g));
            } else {
                v = r, s = t(wsub(r, b), r), h = t(wsub(r, b), wsub(g, b)) + 44;
            }
            ph[x] = store<D>(h & 0xFF);
            ps[x] = store<D>(s & 0xFF);
            pv[x] = store<D>(v & 0xFF);
        }
    } else if (srcMax == dstMax) {
        for (int32_t x = 0; x < width; ++x) {
            const int32_t r = load(pr[x]), g = load(pg[x]), b = load(pb[x]);
            const Extremes<int32_t> e = extremes(r, g, b);
            int32_t h = 0;
            int32_t s = 0;
            if (e.max != 0) {
                const int32_t d = wsub(e.max, e.min);
                s = trunc_to_int32(static_cast<float>(d) / static_cast<float>(e.max) * fdst);
                // Grey: the hue would be 0 / 0; it is written as 0.
                if (d != 0) h = scale_hue(hue_degrees(r, g, b, e.max, static_cast<float>(d)), fdst);
            }
            ph[x] = store<D>(h);
            ps[x] = store<D>(s);
            pv[x] = store<D>(e.max);
        }
    } else {
        const float fsrc = static_cast<float>(srcMax);
        for (int32_t x = 0; x < width; ++x) {
            const float r = static_cast<float>(load(pr[x])) / fsrc;
            const float g = static_cast<float>(load(pg[x])) / fsrc;
            const float b = static_cast<float>(load(pb[x])) / fsrc;
            const Extremes<float> e = extremes(r, g, b);
            int32_t h = 0;
            int32_t s = 0;
            if (e.max != 0.0f) {
                const float d = e.max - e.min;
                s = trunc_to_int32(d / e.max * fdst);
                // Grey: the hue would be 0 / 0; it is written as 0.
                if (d != 0.0f) h = scale_hue(hue_degrees(r, g, b, e.max, d), fdst);
            }
            ph[x] = store<D>(h);
            ps[x] = store<D>(s);
            pv[x] = store<D>(trunc_to_int32(e.max * fdst));
        }
    }
    return true;
}

template <class S, class D>
bool subHLS2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax) {
    using namespace hue_detail;
    const S* const ph = src[0];
    const S* const pl = src[1];
    const S* const ps = src[2];
    D* const pr = dst[0];
    D* const pg = dst[1];
    D* const pb = dst[2];
    const float fsrc = static_cast<float>(srcMax);
    const float fdst = static_cast<float>(dstMax);
    for (int32_t x = 0; x < width; ++x) {
        const float h = static_cast<float>(load(ph[x])) * 360.0f / fsrc;
        const float l = static_cast<float>(load(pl[x])) / fsrc;
        const float s = static_cast<float>(load(ps[x])) / fsrc;
        if (s == 0.0f) {
            const D grey = store<D>(trunc_to_int32(l * fdst));
            pr[x] = grey;
            pg[x] = grey;
            pb[x] = grey;
            continue;
        }
        const float m2 = l <= 0.5f ? l * (1.0f + s) : (l + s) - l * s;
        const float m1 = 2.0f * l - m2;
        pr[x] = store<D>(trunc_to_int32(hls_channel(m1, m2, h + 120.0f) * fdst));
        pg[x] = store<D>(trunc_to_int32(hls_channel(m1, m2, h) * fdst));
        pb[x] = store<D>(trunc_to_int32(hls_channel(m1, m2, h - 120.0f) * fdst));
    }
    return true;
}

template <class S, class D>
bool subHSV2RGB(const S* const src[3], D* const dst[3], int32_t width, int32_t srcMax,
                int32_t dstMax) {
    using namespace hue_detail;
    const S* const ph = src[0];
    const S* const ps = src[1];
    const S* const pv = src[2];
    D* const pr = dst[0];
    D* const pg = dst[1];
    D* const pb = dst[2];
    const float fsrc = static_cast<float>(srcMax);
    const float fdst = static_cast<float>(dstMax);
    for (int32_t x = 0; x < width; ++x) {
        const float h = static_cast<float>(load(ph[x])) / fsrc;
        const float s = static_cast<float>(load(ps[x])) / fsrc;
        const float v = static_cast<float>(load(pv[x])) / fsrc;
        if (s == 0.0f) {
            const D grey = store<D>(trunc_to_int32(v * fdst));
            pr[x] = grey;
            pg[x] = grey;
            pb[x] = grey;
            continue;
        }
        const float sector = h * 360.0f / 60.0f;
        const int32_t i = trunc_to_int32(sector);
        const float f = sector - static_cast<float>(i);
        const float p = v * (1.0f - s);
        const float q = v * (1.0f - s * f);
        const float t = v * (1.0f - s * (1.0f - f));
        float r, g, b;
        switch (i) {
            case 0: r = v, g = t, b = p; break;
            case 1: r = q, g = v, b = p; break;
            case 2: r = p, g = v, b = t; break;
            case 3: r = p, g = q, b = v; break;
            case 4: r = t, g = p, b = v; break;
            case 5: r = v, g = p, b = q; break;
            // H = srcMax (sector 6) or a negative hue: the pixel is left as
            // it was. Deliberate, and kept: results are pinned to it.
            default: continue;
        }
        pr[x] = store<D>(trunc_to_int32(r * fdst));
        pg[x] = store<D>(trunc_to_int32(g * fdst));
        pb[x] = store<D>(trunc_to_int32(b * fdst));
    }
    return true;
}

}  // namespace scalar
}  // namespace ozu
