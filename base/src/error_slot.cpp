// The per-thread error slot and the message text of every code.
//
// Each thread has its own slot, so two threads that fail at the same time each
// read back their own code. Only failures write the slot: a later success
// leaves the last failure's code in place for the caller to inspect.

#include "error_slot.h"

#include <cstring>
#include <iterator>

#include <ozu/base.h>

namespace ozu::base {
namespace {

thread_local int32_t t_error_code = 0;

struct CodeText {
    int32_t code;
    const char* text;
};

// The colour module's codes come first, then the host's own. The colour
// module formats these texts into its closing messages, so both tables live
// here, where every caller of the host can reach them.
constexpr CodeText kTexts[] = {
    {-100, "unknown failure"},
    {-101, "null pointer argument"},
    {-104, "version buffer too small"},
    {-105, "Bayer working memory unavailable, or no pixel data"},
    {-106, "pixel type not supported"},
    {-107, "no such image buffer"},
    {-111, "invalid profile line or filter arguments"},
    {-123, "buffer kind cannot be processed"},
    {-500, "wrong number of planes"},
    {-501, "width differs"},
    {-502, "height differs"},
    {-503, "extent 2 differs"},
    {-504, "extent 3 differs"},
    {-505, "argument value out of range"},
    {-506, "invalid colour space or model"},
    {-507, "wavelength outside 380..779 nm"},
    {-508, "the parallel runner did not run every job"},
    {BASE_ERR_NO_BUFFER, "no buffer with this handle"},
    {BASE_ERR_ARGUMENT, "argument out of range"},
    {BASE_ERR_MEMORY, "out of memory, or size overflow"},
    {BASE_ERR_ATTRIBUTE, "attribute unknown, not writable, or not set"},
    {BASE_ERR_REGION, "region outside the buffer, or the buffer holds no pixel data"},
    {BASE_ERR_BUSY, "buffer busy: locked, pointer out, or live children"},
    {BASE_ERR_NOT_HELD, "unlock or release that matches no lock or request"},
    {BASE_ERR_PIXEL_TYPE, "pixel type not supported by this operation"},
    {BASE_ERR_GEOMETRY, "operands of different geometry"},
};

constexpr const char* kUnknown = "unknown error";

// strerror itself may share one buffer between threads. strerror_r comes in
// two flavours: the GNU one returns the text (perhaps not in our buffer), the
// XSI one returns a status and always fills our buffer. Overloading on the
// result type accepts whichever the C library declares.
[[maybe_unused]] const char* strerror_result(char* text, const char*) { return text; }
[[maybe_unused]] const char* strerror_result(int status, const char* buffer) {
    return status == 0 ? buffer : kUnknown;
}

const char* system_text(int32_t code) {
    thread_local char buffer[256];
    buffer[0] = '\0';
    const char* text = strerror_result(strerror_r(code, buffer, sizeof buffer), buffer);
    return (text != nullptr && text[0] != '\0') ? text : kUnknown;
}

}  // namespace

void record_error(int32_t code) noexcept { t_error_code = code; }

}  // namespace ozu::base

extern "C" {

OZU_BASE_API void IPL_SetErrorCode(int32_t code) { ozu::base::record_error(code); }

OZU_BASE_API int32_t IPL_GetErrorCode2(void) { return ozu::base::t_error_code; }

OZU_BASE_API const char* IPL_GetErrorString(int32_t code) {
    using namespace ozu::base;
    for (const CodeText& entry : kTexts) {
        if (entry.code == code) return entry.text;
    }
    if (code > 0) return system_text(code);
    return kUnknown;
}

}  // extern "C"
