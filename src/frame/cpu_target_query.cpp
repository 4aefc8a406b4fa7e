// COL_GetCpuTarget: the name of the instruction set the kernels run on.
#include <cstring>

#include <ozu/color.h>

#include "frame/cpu_target.h"
#include "frame/entry_frame.h"
#include "frame/error_codes.h"

namespace {
constexpr ozu::EntryTexts kTexts{"Leaving COL_GetCpuTarget - Error: %s (%d)",
                                 "Leaving COL_GetCpuTarget - Win32 Error: %ld"};
}  // namespace

extern "C" OZU_COLOR_API int32_t COL_GetCpuTarget(char* buffer, int32_t size) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, kTexts, [&] {
        if (buffer == nullptr) ozu::raise(ozu::kErrNullPointer);
        const char* name = ozu::cpu_target_name(ozu::active_cpu_target());
        const size_t length = std::strlen(name);
        if (size < 0 || static_cast<size_t>(size) <= length) ozu::raise(ozu::kErrRange);
        std::memcpy(buffer, name, length + 1);
    });
}
