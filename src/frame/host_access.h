// Small wrappers over the host calls that entries make again and again. Each
// raises through the entry frame when the host refuses.
#pragma once

#include <cstdint>

#include <ozu/base.h>

#include "frame/entry_frame.h"
#include "frame/error_codes.h"

namespace ozu {

// One attribute of a buffer; a failed inquiry raises the host's code.
inline int32_t inquire(int32_t handle, int32_t attribute) {
    int32_t value = 0;
    check_host(IPL_BufInquire(handle, attribute, &value));
    return value;
}

// A caller's handle must name a live buffer.
inline void require_buffer(int32_t handle) {
    if (!BASE_IsBufferExistent(handle)) raise(kErrNoBuffer);
}

// Both 8-bit (codes 1, 2) or both 16-bit (codes 3, 4): signedness may differ.
inline bool same_element_width(int32_t typeA, int32_t typeB) {
    return (typeA <= 2) == (typeB <= 2);
}

inline bool is_pixel_type(int32_t type) { return type >= 1 && type <= 4; }

}  // namespace ozu
