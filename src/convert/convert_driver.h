// The conversion driver: one walk over every block and line of an image,
// running the conversion chain of a code line by line.
#pragma once

#include <cstdint>

namespace ozu {

// Converts buffer `source` into buffer `destination` (both already checked by
// the caller) for the packed conversion code, then records the destination's
// new colour space. The pointer arguments are null and only select the
// instance. Returns false, leaving the host's code, when a host call fails.
template <class S, class D>
bool tmpl_convert(int32_t source, int32_t destination, int32_t code, S*, D*);

}  // namespace ozu
