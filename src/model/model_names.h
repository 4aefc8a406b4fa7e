// Model channel names: a model's compact form ("RGB") and its channel-list
// form ("R/G/B"), shared by COL_ModelToLong, COL_ModelToShort and the entries
// built on them (extraction, tinting).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ozu {

// Which of the two standard forms a name is turned into.
enum class ModelForm : uint8_t {
    kLong,   // channel list: "R/G/B", "X601/Y601/Z601", wavelengths as "500nm"
    kShort,  // compact model: "RGB", "XYZ601", wavelengths as "500"
};

// Fills a caller's text buffer with size zero bytes. The size is a signed
// count: a negative one would be a huge unsigned count for memset, so it
// clears nothing (and no result of the whole-model path fits it either).
inline void clear_text(char* out, int32_t size) {
    if (size > 0) std::memset(out, 0, static_cast<size_t>(size));
}

// The work of COL_ModelToLong / COL_ModelToShort after the null checks: clears
// out, then tries the whole-model names, then the slash-separated channel
// list (split in place with strtok_r, so model is modified). Raises -505 when
// a whole-model result does not fit size, -506 on an unknown list token (out
// then holds what was written before it). The list path is not bounded by
// size. Must run inside an entry frame.
void model_to_form(char* model, char* out, int32_t size, ModelForm form);

}  // namespace ozu
