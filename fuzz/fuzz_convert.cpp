// COL_ConvertColorSpace on small images: the source's pixel type, planes,
// extents, line padding, recorded colour space and pixels, the destination
// (created by the entry, given by the caller, or the source itself) and the
// conversion code all come from the input.
//
// The entry checks every handle and attribute itself; the one thing it
// trusts is the pointer to the destination handle, which is always valid
// here.
#include "fuzz_support.h"

using namespace ozu::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    BufferCountCheck leaks;
    RunnerChoice runner(in);

    const uint32_t code = pick_code(in);
    const ImageLayout sourceLayout = pick_layout(in, pick_planes(in, in.ConsumeBool() ? 3 : 1));
    Owned source;
    if (!make_image(sourceLayout, source)) return 0;

    // 0: the entry creates the destination; 1: the caller gives one;
    // 2: the source is its own destination (locks do not exclude each
    // other, so in-place work is allowed).
    const int how = in.ConsumeIntegralInRange<int>(0, 2);
    Owned destination;
    if (how == 1) {
        const ImageLayout layout = destination_like(in, sourceLayout, in.ConsumeBool() ? 3 : 1);
        if (!make_image(layout, destination)) return 0;
    }
    fill_pixels(in, source.get());

    int32_t target = how == 2 ? source.get() : destination.get();
    const int32_t result = COL_ConvertColorSpace(source.get(), &target, code);
    if (how == 0) {
        // A destination the entry created is the caller's, also when a
        // later check failed.
        *destination.slot() = target;
    } else if (target != (how == 2 ? source.get() : destination.get())) {
        fail("COL_ConvertColorSpace changed a given destination handle");
    }
    if (result != 0 && result != 1) fail("COL_ConvertColorSpace returned neither 0 nor 1");
    return 0;
}
