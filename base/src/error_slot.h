// The calling thread's error slot, as the library's own code records into it.
#pragma once

#include <cstdint>

namespace ozu::base {

// Stores a code in the calling thread's slot.
void record_error(int32_t code) noexcept;

// Records a failure and yields the 0 that every failing IPL_ function returns,
// so an entry can end with `return fail(BASE_ERR_...)`.
inline int32_t fail(int32_t code) noexcept {
    record_error(code);
    return 0;
}

}  // namespace ozu::base
