// COL_ExtractModel: the name of one channel of a model, taken from the
// model's channel-list form.
#include <cstring>
#include <memory>

#include <ozu/color.h>

#include "frame/allocation_hook.h"
#include "frame/entry_frame.h"
#include "frame/error_codes.h"
#include "model/model_names.h"

namespace {

// The channel-list form is built in a working buffer of this size, and this
// is the size passed to COL_ModelToLong.
constexpr int32_t kWorkSize = 1024;

// Every token of a list starts at a character of the model and writes at most
// six bytes (a separator and "779nm"); with the zero and the longest
// whole-model result ("X601/Y601/Z601") this bounds the long form. A model
// long enough to exceed the working buffer gets a larger one from the heap,
// so the unbounded list path can never run past it.
size_t long_form_bound(const char* model) { return 6 * std::strlen(model) + 16; }

constexpr ozu::EntryTexts kTexts{"Leaving COL_ExtractModel - Error: %s (%d)",
                                 "Leaving COL_ExtractModel - Win32 Error: %ld"};

}  // namespace

extern "C" OZU_COLOR_API int32_t COL_ExtractModel(char* model, int32_t index, char* out,
                                                 int32_t size) {
    static ozu::OnceFlag once;
    return ozu::run_entry(once, kTexts, [&] {
        if (model == nullptr) ozu::raise(ozu::kErrNullPointer);
        if (index < 0) ozu::raise(ozu::kErrRange);
        if (out == nullptr) ozu::raise(ozu::kErrNullPointer);
        ozu::clear_text(out, size);

        char local[kWorkSize];
        std::unique_ptr<char[]> large;
        char* work = local;
        const size_t bound = long_form_bound(model);
        if (bound > sizeof local) {
            ozu::before_allocation("colour: long model form");
            large = std::make_unique<char[]>(bound);
            work = large.get();
        }

        // Through the exported entry, in its own frame: a failure there has
        // already recorded its code, which is passed on unchanged.
        if (COL_ModelToLong(model, work, kWorkSize) == 0) ozu::raise_host();

        char* position = nullptr;
        int32_t count = 0;
        for (char* token = strtok_r(work, "/", &position); token != nullptr;
             token = strtok_r(nullptr, "/", &position), ++count) {
            if (count == index) {
                // Not bounded by size: out must hold the channel name (a few
                // characters, or a wavelength such as "500nm").
                std::strcpy(out, token);
                // A found channel leaves a clean error slot behind.
                IPL_SetErrorCode(0);
                return;
            }
        }
        // An index at or past the channel count succeeds with out as cleared.
    });
}
