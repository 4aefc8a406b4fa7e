// The exported hue tables, built at compile time from the generators of
// hue_tables.h.
#include "convert/hue_tables.h"

namespace ozu {
namespace {

// The same entry as hsv_saturation_entry below the diagonal, but as written
// in real numbers and evaluated in double: the integer form must agree with
// it everywhere.
constexpr bool hue_fraction_matches_real_formula() {
    for (int32_t row = 1; row < 256; ++row) {
        for (int32_t col = 0; col < row; ++col) {
            const double v = 42.5 * col / row + 0.5;  // non-negative: truncation is floor
            const auto expected = static_cast<uint8_t>(static_cast<int32_t>(v) - 44);
            if (hsv_saturation_entry(row, col) != expected) return false;
        }
    }
    return true;
}
static_assert(hue_fraction_matches_real_formula());

static_assert(hls_lightness_entry(255, 0) == 127 && hls_lightness_entry(255, 255) == 255);
static_assert(hls_saturation_entry(255, 0) == 255 && hls_saturation_entry(100, 100) == 0);
// Light half: 100 * 255 / (510 - 300) = 121.4; dark half: 100 * 255 / 300 = 85.
static_assert(hls_saturation_entry(200, 100) == 121 && hls_saturation_entry(200, 100 - 100) == 255 &&
              hls_saturation_entry(150, 50) == 127);
// Row below column: -1 * 255 / 1 = -255, stored as its low 8 bits, 1.
static_assert(hls_saturation_entry(0, 1) == 1);
// The diagonal holds 255 in both readings of the HSV table, (0, 0) holds 0.
static_assert(hsv_saturation_entry(0, 0) == 0 && hsv_saturation_entry(1, 1) == 255 &&
              hsv_saturation_entry(255, 255) == 255);
// Saturation part: trunc(128 * 255 / 255) = 128, trunc(1 * 255 / 2) = 127.
static_assert(hsv_saturation_entry(128, 255) == 128 && hsv_saturation_entry(1, 2) == 127);
// Hue-fraction part: a fraction of 0 gives -44, a full sixth 43 - 44 = -1,
// exactly half of it floor(21.25 + 0.5) - 44 = -23.
static_assert(hsv_saturation_entry(255, 0) == static_cast<uint8_t>(-44));
static_assert(hsv_saturation_entry(255, 254) == static_cast<uint8_t>(-2));
static_assert(hsv_saturation_entry(2, 1) == static_cast<uint8_t>(-23));

}  // namespace
}  // namespace ozu

// A C array can only be initialised from a brace list, so the preprocessor
// spells out the 65536 indices 0x0000 .. 0xFFFF (row in the high byte,
// column in the low byte) and each element is the generator's constant.
#define OZU_HEX_D(f, a, b, c, d) f((0x##a##b##c##d) >> 8, (0x##a##b##c##d) & 0xFF),
#define OZU_HEX_C(f, a, b, c)                                                               \
    OZU_HEX_D(f, a, b, c, 0) OZU_HEX_D(f, a, b, c, 1) OZU_HEX_D(f, a, b, c, 2)             \
    OZU_HEX_D(f, a, b, c, 3) OZU_HEX_D(f, a, b, c, 4) OZU_HEX_D(f, a, b, c, 5)             \
    OZU_HEX_D(f, a, b, c, 6) OZU_HEX_D(f, a, b, c, 7) OZU_HEX_D(f, a, b, c, 8)             \
    OZU_HEX_D(f, a, b, c, 9) OZU_HEX_D(f, a, b, c, A) OZU_HEX_D(f, a, b, c, B)             \
    OZU_HEX_D(f, a, b, c, C) OZU_HEX_D(f, a, b, c, D) OZU_HEX_D(f, a, b, c, E)             \
    OZU_HEX_D(f, a, b, c, F)
#define OZU_HEX_B(f, a, b)                                                                   \
    OZU_HEX_C(f, a, b, 0) OZU_HEX_C(f, a, b, 1) OZU_HEX_C(f, a, b, 2) OZU_HEX_C(f, a, b, 3) \
    OZU_HEX_C(f, a, b, 4) OZU_HEX_C(f, a, b, 5) OZU_HEX_C(f, a, b, 6) OZU_HEX_C(f, a, b, 7) \
    OZU_HEX_C(f, a, b, 8) OZU_HEX_C(f, a, b, 9) OZU_HEX_C(f, a, b, A) OZU_HEX_C(f, a, b, B) \
    OZU_HEX_C(f, a, b, C) OZU_HEX_C(f, a, b, D) OZU_HEX_C(f, a, b, E) OZU_HEX_C(f, a, b, F)
#define OZU_HEX_A(f, a)                                                                  \
    OZU_HEX_B(f, a, 0) OZU_HEX_B(f, a, 1) OZU_HEX_B(f, a, 2) OZU_HEX_B(f, a, 3)         \
    OZU_HEX_B(f, a, 4) OZU_HEX_B(f, a, 5) OZU_HEX_B(f, a, 6) OZU_HEX_B(f, a, 7)         \
    OZU_HEX_B(f, a, 8) OZU_HEX_B(f, a, 9) OZU_HEX_B(f, a, A) OZU_HEX_B(f, a, B)         \
    OZU_HEX_B(f, a, C) OZU_HEX_B(f, a, D) OZU_HEX_B(f, a, E) OZU_HEX_B(f, a, F)
#define OZU_TABLE_65536(f)                                                                   \
    {                                                                                        \
        OZU_HEX_A(f, 0) OZU_HEX_A(f, 1) OZU_HEX_A(f, 2) OZU_HEX_A(f, 3) OZU_HEX_A(f, 4)     \
        OZU_HEX_A(f, 5) OZU_HEX_A(f, 6) OZU_HEX_A(f, 7) OZU_HEX_A(f, 8) OZU_HEX_A(f, 9)     \
        OZU_HEX_A(f, A) OZU_HEX_A(f, B) OZU_HEX_A(f, C) OZU_HEX_A(f, D) OZU_HEX_A(f, E)     \
        OZU_HEX_A(f, F)                                                                      \
    }

// Declared with C linkage and default visibility in ozu/color_kernels.h.
extern "C" {
constinit const uint8_t RGB2HLS_Lightness[65536] = OZU_TABLE_65536(ozu::hls_lightness_entry);
constinit const uint8_t RGB2HLS_Saturation[65536] = OZU_TABLE_65536(ozu::hls_saturation_entry);
constinit const uint8_t RGB2HSV_Saturation[65536] = OZU_TABLE_65536(ozu::hsv_saturation_entry);
}
