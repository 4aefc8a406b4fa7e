// The line loops of the point operations, each in a plain version that
// defines the result and, on x86, wider versions picked by isa().
#pragma once

#include <cstddef>
#include <cstdint>

namespace ozu::base {

enum class Bitwise { kOr, kAnd, kNot };

// r[k] = a[k] | b[k], a[k] & b[k] or ~a[k] for k < bytes (b unused for kNot).
// Bitwise operations do not care where elements begin, so every element size
// is a run of bytes. r may be a or b itself; it must not overlap them in any
// other way.
void bitwise_bytes(Bitwise op, const uint8_t* a, const uint8_t* b, uint8_t* r,
                   std::size_t bytes) noexcept;

// out[k] = table[in[k]] for k < count. out may be in itself; it must not
// overlap it in any other way.
void map_bytes(const uint8_t* in, uint8_t* out, std::size_t count,
               const uint8_t* table) noexcept;

// The plain versions, which the wider ones must match bit for bit.
void bitwise_bytes_plain(Bitwise op, const uint8_t* a, const uint8_t* b, uint8_t* r,
                         std::size_t bytes) noexcept;
void map_bytes_plain(const uint8_t* in, uint8_t* out, std::size_t count,
                     const uint8_t* table) noexcept;

}  // namespace ozu::base
