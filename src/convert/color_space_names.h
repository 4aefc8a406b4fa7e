// Colour-space identifiers: one bit per model, so that a (destination, source)
// pair packs into one 32-bit conversion code.
#pragma once

#include <cstdint>

namespace ozu {

enum ColorSpace : int32_t {
    kSpaceUnknown = 0,
    kSpaceCMY = 1,
    kSpaceI = 2,
    kSpaceHLS = 4,
    kSpaceHSV = 8,
    kSpaceRGB = 16,
    kSpaceXYZ601 = 32,
    kSpaceXYZ709 = 64,
    kSpaceXYZITU = 128,
    kSpaceYCC = 256,
    kSpaceYIQ = 512,
    kSpaceYUV = 1024,
    kSpaceBayer = 2048,
};

// The low half of a conversion code is the source space, read unsigned; the
// high half the destination, read signed.
constexpr int32_t code_from(uint32_t code) { return static_cast<int32_t>(code & 0xFFFFu); }
constexpr int32_t code_to(uint32_t code) { return static_cast<int16_t>(code >> 16); }
constexpr uint32_t make_code(int32_t from, int32_t to) {
    return (static_cast<uint32_t>(to) << 16) | static_cast<uint32_t>(from);
}

}  // namespace ozu
