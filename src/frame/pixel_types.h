// Pixel element types and the one dispatch from a pair of pixel type codes to
// a template instance over (source, destination) element types.
#pragma once

#include <cstdint>
#include <optional>
#include <type_traits>

namespace ozu {

// Per-type facts: the range a kernel receives as srcMax / dstMax.
template <class T> struct PixelTraits;
template <> struct PixelTraits<int8_t> { static constexpr int32_t max = 127; static constexpr int32_t code = 1; };
template <> struct PixelTraits<uint8_t> { static constexpr int32_t max = 255; static constexpr int32_t code = 2; };
template <> struct PixelTraits<int16_t> { static constexpr int32_t max = 32767; static constexpr int32_t code = 3; };
template <> struct PixelTraits<uint16_t> { static constexpr int32_t max = 65535; static constexpr int32_t code = 4; };
// 32-bit working pixels of the spectral path carry their own ranges.
template <> struct PixelTraits<int32_t> { static constexpr int32_t max = 65535; static constexpr int32_t code = 6; };

template <class T> inline constexpr int32_t pixel_max = PixelTraits<T>::max;

// Calls fn(static_cast<T*>(nullptr)) with T the element type of a pixel type
// code 1..4. Returns false, calling nothing, for any other code.
template <class Fn>
bool visit_pixel_type(int32_t code, Fn&& fn) {
    switch (code) {
        case 1: fn(static_cast<int8_t*>(nullptr)); return true;
        case 2: fn(static_cast<uint8_t*>(nullptr)); return true;
        case 3: fn(static_cast<int16_t*>(nullptr)); return true;
        case 4: fn(static_cast<uint16_t*>(nullptr)); return true;
        default: return false;
    }
}

// Runs fn(S*, D*) for the (source, destination) codes, both 1..4, and returns
// its result; std::nullopt for any other pair. The pointers are null: they only
// select the instance, as the tmpl_ functions expect.
template <class Fn>
auto dispatch_pixel_pair(int32_t srcCode, int32_t dstCode, Fn&& fn)
    -> std::optional<decltype(fn(static_cast<uint8_t*>(nullptr), static_cast<uint8_t*>(nullptr)))> {
    using Result = decltype(fn(static_cast<uint8_t*>(nullptr), static_cast<uint8_t*>(nullptr)));
    std::optional<Result> result;
    visit_pixel_type(srcCode, [&](auto* s) {
        visit_pixel_type(dstCode, [&](auto* d) { result = fn(s, d); });
    });
    return result;
}

}  // namespace ozu
