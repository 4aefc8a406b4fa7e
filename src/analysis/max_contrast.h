// The search for the colour plane of highest contrast along a line, and its
// two helpers: the rotation of a hue plane and the step measure of a profile.
#pragma once

#include <cstdint>

namespace ozu {

// v + shift brought back into 0..255 by one turn of the hue circle (minus
// 256 above 255, plus 256 below 0), stored as its low byte. The hue tables
// of the search are built from it.
constexpr uint8_t rotate_hue(int32_t v, int32_t shift) {
    int32_t e = v + shift;
    if (e > 255)
        e -= 256;
    else if (e < 0)
        e += 256;
    return static_cast<uint8_t>(e & 0xFF);
}

// Whether the sampled strip of a line (x0, y0)-(x1, y1) of profile length
// `length`, `lineWidth` samples wide, lies inside a width x height image:
// its four corners, each the end point moved by +-(y1 - y0, x0 - x1) x
// halfWidth / length, rounded by adding 0.5 and truncating toward zero.
// A line width of 1 has the end points as its corners.
bool strip_inside(uint32_t x0, uint32_t y0, uint32_t x1, uint32_t y1, uint32_t lineWidth,
                  int32_t length, int32_t width, int32_t height);

// Rotates the hue buffer `hue` so that the best two-class threshold t of its
// histogram moves to 128: every value v becomes rotate_hue(v, 128 - t),
// written into *result (-1 creates it; it may be `hue` itself). The shift
// 128 - t is stored through `shift` when that is not null. Returns 1; a
// failing host call is raised with the host's code (through the entry
// frame of the caller). Works on 8-bit buffers; a 16-bit one fails in the
// mapping (the table has 256 entries). Nothing it allocated is freed when it
// fails.
int32_t ShiftObjectHue(int32_t hue, int32_t* result, int32_t* shift);

// The strongest step of a profile buffer (pixel type 6, one line per plane
// and block): at each position k, |v[k - h] - v[k + h]| with h =
// (filterSize - 1) / 2, the first value standing in left of the profile and
// the last one right of it, the difference taken in 32-bit wrap-around
// arithmetic and compared unsigned. The first strict maximum in the order
// block j (extent 3), block i (extent 2), plane, position is reported in
// *maxStep, *plane, *i, *j, which are all zeroed first (a flat profile
// reports 0, plane 0, block (0, 0)). A profile of another pixel type raises
// COL_ERR_PIXEL_TYPE before any output is touched; a failing host call
// raises the host's code.
void ApplyFilter(int32_t profile, uint32_t filterSize, uint32_t* maxStep, uint32_t* plane,
                 uint32_t* i, uint32_t* j);

}  // namespace ozu
