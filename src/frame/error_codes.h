// Named error codes of the colour module, for the library's own code.
#pragma once

#include <cerrno>
#include <cstdint>

#include <ozu/color.h>

namespace ozu {

inline constexpr int32_t kErrUnknown = COL_ERR_UNKNOWN;
inline constexpr int32_t kErrNullPointer = COL_ERR_NULL_POINTER;
inline constexpr int32_t kErrVersionBuffer = COL_ERR_VERSION_BUFFER;
inline constexpr int32_t kErrBayerMemory = COL_ERR_BAYER_MEMORY;
inline constexpr int32_t kErrPixelType = COL_ERR_PIXEL_TYPE;
inline constexpr int32_t kErrNoBuffer = COL_ERR_NO_BUFFER;
inline constexpr int32_t kErrProfileArgs = COL_ERR_PROFILE_ARGS;
inline constexpr int32_t kErrBufferKind = COL_ERR_BUFFER_KIND;
inline constexpr int32_t kErrPlanes = COL_ERR_PLANES;
inline constexpr int32_t kErrWidth = COL_ERR_WIDTH;
inline constexpr int32_t kErrHeight = COL_ERR_HEIGHT;
inline constexpr int32_t kErrExtent2 = COL_ERR_EXTENT2;
inline constexpr int32_t kErrExtent3 = COL_ERR_EXTENT3;
inline constexpr int32_t kErrRange = COL_ERR_RANGE;
inline constexpr int32_t kErrColorSpace = COL_ERR_COLOR_SPACE;
inline constexpr int32_t kErrWavelength = COL_ERR_WAVELENGTH;
inline constexpr int32_t kErrRunner = COL_ERR_RUNNER;

// A failed allocation of the module's own memory. The entry frame reports
// one as the errno value the failing allocator leaves, ENOMEM; code that
// catches the failure itself (a kernel entry, which must not throw, or a job
// of a parallel run) records the same value, so that the caller sees one
// code for it wherever it happened.
inline constexpr int32_t kErrNoMemory = ENOMEM;

}  // namespace ozu
