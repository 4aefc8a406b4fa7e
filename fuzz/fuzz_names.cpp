// The text entries: colour-space names to identifiers and back, model names
// in their long and short forms, the extraction of one channel's name, and
// the tinting table of a model's first channel; with them the small queries
// that fill caller buffers (version, vector target, conversion matrices).
//
// These entries trust their caller with the size of what they write:
// COL_ModelToLong and COL_ModelToShort write a whole channel list whatever
// `size` says, COL_ExtractModel writes the channel name without looking at
// `size`, and every entry clears `size` bytes of its buffer. The target
// keeps that trust: each buffer holds the longest result its model can give
// and `size` never exceeds the buffer. Everything else comes from the input.
#include <string>

#include "fuzz_support.h"

using namespace ozu::fuzz;

namespace {

// A channel list turns every token of at least one character into at most
// five ("X" becomes "X601", "500" becomes "500nm") plus its separator, and
// the longest whole-model result is 14 characters.
size_t long_form_capacity(const std::string& model) { return 6 * model.size() + 16; }

// The model text, now and then cut short of its zero: an embedded zero in
// the input ends the name where C would.
std::vector<char> as_c_text(const std::string& text) {
    std::vector<char> chars(text.begin(), text.end());
    chars.push_back('\0');
    return chars;
}

void model_forms(FuzzedDataProvider& in, const std::string& model) {
    const size_t capacity = long_form_capacity(model);
    std::vector<char> out(capacity, '\x55');
    const int32_t size = in.ConsumeIntegralInRange<int32_t>(0, int32_t(capacity));
    std::vector<char> text = as_c_text(model);
    const int32_t result = in.ConsumeBool() ? COL_ModelToLong(text.data(), out.data(), size)
                                            : COL_ModelToShort(text.data(), out.data(), size);
    if (result == 1 && std::memchr(out.data(), '\0', out.size()) == nullptr)
        fail("a model name came back without its zero");
}

void extract(FuzzedDataProvider& in, const std::string& model) {
    // A channel name is at most "779nm" or "X601" with its zero.
    char out[16];
    std::memset(out, 0x55, sizeof out);
    const int32_t index = in.ConsumeIntegralInRange<int32_t>(-2, 6);
    const int32_t size = in.ConsumeIntegralInRange<int32_t>(0, int32_t(sizeof out));
    std::vector<char> text = as_c_text(model);
    // An index past the last channel leaves out as cleared: with a size of
    // 0, untouched.
    if (COL_ExtractModel(text.data(), index, out, size) == 1 && size > 0 &&
        std::memchr(out, '\0', sizeof out) == nullptr) {
        fail("an extracted channel came back without its zero");
    }
}

void tint(FuzzedDataProvider& in, const std::string& model) {
    Owned lut;
    if (in.ConsumeBool()) {
        // A caller's table, usually of the right shape.
        ImageLayout layout;
        layout.width = in.ConsumeIntegralInRange<int>(0, 7) == 0
                         ? in.ConsumeIntegralInRange<int32_t>(1, 300)
                         : 256;
        layout.height = in.ConsumeIntegralInRange<int32_t>(1, 2);
        layout.planes = pick_planes(in, 3);
        layout.type = in.ConsumeBool() ? BASE_TYPE_U8 : pick_type(in);
        layout.kind = in.ConsumeBool() ? BASE_KIND_TABLE : pick_kind(in);
        layout.align = in.ConsumeBool() ? 0 : in.ConsumeIntegralInRange<int32_t>(1, 200);
        if (!make_image(layout, lut)) return;
    }
    // The entry works on its own copy: a const text must come back as it was.
    const std::vector<char> text = as_c_text(model);
    const std::vector<char> before = text;
    COL_ModelTinting(text.data(), lut.slot());
    if (text != before) fail("COL_ModelTinting changed its model text");
}

void space_names(FuzzedDataProvider& in, const std::string& name) {
    int32_t id = -7;
    const std::vector<char> text = as_c_text(name);
    if (COL_GetColorSpaceID(text.data(), &id) != 1) fail("COL_GetColorSpaceID failed on a name");

    // And back: the name of the identifier found, or of any other.
    const int32_t asked = in.ConsumeBool() ? id : pick_space(in);
    char buffer[16];
    const int32_t size = in.ConsumeIntegralInRange<int32_t>(0, int32_t(sizeof buffer));
    if (COL_GetModelFromID(asked, buffer, size) == 1 && size > 0 &&
        std::memchr(buffer, '\0', size_t(size)) == nullptr) {
        fail("a colour-space name filled its whole buffer");
    }
}

void queries(FuzzedDataProvider& in) {
    char buffer[16];
    const int32_t size = in.ConsumeIntegralInRange<int32_t>(-4, int32_t(sizeof buffer));
    switch (in.ConsumeIntegralInRange<int>(0, 2)) {
        case 0:
            COL_GetVersion(buffer, size);
            break;
        case 1:
            COL_GetCpuTarget(buffer, size < 0 ? 0 : size);
            break;
        default: {
            int32_t matrix[9];
            COL_GetConversionMatrix(pick_code(in), matrix);
            break;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    BufferCountCheck leaks;
    const int which = in.ConsumeIntegralInRange<int>(0, 4);
    // The text is read from the input's front (the provider takes numbers
    // from the back), so that the dictionary's words land in it unchanged.
    const std::string text = in.ConsumeRandomLengthString(256);
    switch (which) {
        case 0:
            model_forms(in, text);
            break;
        case 1:
            extract(in, text);
            break;
        case 2:
            tint(in, text);
            break;
        case 3:
            space_names(in, text);
            break;
        default:
            queries(in);
            break;
    }
    return 0;
}
