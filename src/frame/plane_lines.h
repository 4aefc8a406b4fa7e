// Lines inside a region the host handed out: the region's pointer advanced by
// whole line pitches. The host counts pitches in bytes, so the step is taken
// on bytes whatever the element is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace ozu {

template <class T>
T* line_at(T* region, int32_t pitch, int32_t row) {
    using Byte = std::conditional_t<std::is_const_v<T>, const unsigned char, unsigned char>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(region) +
                                static_cast<std::ptrdiff_t>(row) * pitch);
}

}  // namespace ozu
