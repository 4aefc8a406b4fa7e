// COL_GetVersion: the library's version string.
#include <cstring>

#include <ozu/color.h>

#include "frame/entry_frame.h"
#include "frame/error_codes.h"

namespace {
// Ten characters and the terminating zero: eleven bytes in all.
constexpr char kVersion[] = "6.6.0.5300";
static_assert(sizeof kVersion == 11);

constexpr ozu::EntryTexts kTexts{"Leaving COL_GetVersion - Error: %s (%d)",
                                 "Leaving COL_GetVersion - Win32 Error: %ld"};
}  // namespace

extern "C" OZU_COLOR_API int32_t COL_GetVersion(char* buffer, int32_t size) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, kTexts, [&] {
        if (size <= 10) ozu::raise(ozu::kErrVersionBuffer);
        std::memcpy(buffer, kVersion, sizeof kVersion);
    });
}
