// The colour transforms and the analysis entries with parameters from the
// input: grey to colour and back with three weights, the colour twist, the
// spectral colour, the colour threshold, the colour distance image and the
// search for the plane of maximum contrast along a line.
//
// What the entries trust their caller with, and the target keeps: every
// pointer argument points at what it names (the sixteen twist coefficients,
// the four line coordinates, `count` candidate codes, the three outputs of
// the spectral colour). Handles, attributes, weights, ranges, modes, codes,
// coordinates and sizes are the input's to choose, valid or not.
#include "fuzz_support.h"

using namespace ozu::fuzz;

namespace {

enum class Dest { kCreated, kGiven, kSource };

// The destination of one request: created by the entry (the slot reads -1),
// a caller's buffer shaped from `layout`, or, where `inPlace` allows it, the
// source itself.
Dest pick_destination(FuzzedDataProvider& in, bool inPlace) {
    const int choice = in.ConsumeIntegralInRange<int>(0, inPlace ? 2 : 1);
    return choice == 0 ? Dest::kCreated : choice == 1 ? Dest::kGiven : Dest::kSource;
}

// Runs `call` with the destination handle in the right slot and takes over
// what the entry created.
template <typename Call>
void with_destination(Dest how, Owned& source, Owned& destination, Call call) {
    int32_t target = how == Dest::kSource ? source.get() : destination.get();
    const int32_t given = target;
    call(&target);
    if (how == Dest::kCreated) {
        *destination.slot() = target;  // the caller's, even after a failed check
    } else if (target != given) {
        fail("an entry changed a given destination handle");
    }
}

void weighted(FuzzedDataProvider& in, bool toColour) {
    const ImageLayout layout = pick_layout(in, pick_planes(in, toColour ? 1 : 3));
    Owned source, destination;
    if (!make_image(layout, source)) return;
    const Dest how = pick_destination(in, false);
    if (how == Dest::kGiven &&
        !make_image(destination_like(in, layout, toColour ? 3 : 1), destination)) {
        return;
    }
    double w[3];
    for (double& weight : w) weight = pick_double(in, -0.25, 1.25);
    fill_pixels(in, source.get());
    with_destination(how, source, destination, [&](int32_t* dst) {
        if (toColour)
            COL_ConvertToColor(source.get(), dst, w[0], w[1], w[2]);
        else
            COL_ConvertToGrayscale(source.get(), dst, w[0], w[1], w[2]);
    });
}

void twist(FuzzedDataProvider& in) {
    const ImageLayout layout = pick_layout(in, pick_planes(in, 3));
    Owned source, destination;
    if (!make_image(layout, source)) return;
    // Locks do not exclude each other: a twist may write over its source.
    const Dest how = pick_destination(in, true);
    if (how == Dest::kGiven && !make_image(destination_like(in, layout, 3), destination)) return;
    double coefficients[16];
    for (double& c : coefficients) c = pick_double(in, -4.0, 4.0);
    fill_pixels(in, source.get());
    with_destination(how, source, destination,
                     [&](int32_t* dst) { COL_ColorTwist(source.get(), dst, coefficients); });
}

void spectral(FuzzedDataProvider& in) {
    const int32_t wavelength = in.ConsumeBool() ? in.ConsumeIntegralInRange<int32_t>(370, 790)
                                                : in.ConsumeIntegral<int32_t>();
    double out[3] = {-1.0, -1.0, -1.0};
    if (COL_SpectralToColor(wavelength, pick_space(in), &out[0], &out[1], &out[2]) == 1) {
        for (double v : out) {
            if (!(v >= 0.0 && v <= 1.0)) fail("a spectral colour component outside 0..1");
        }
    }
}

uint32_t pick_bound(FuzzedDataProvider& in) {
    return in.ConsumeIntegralInRange<int>(0, 15) == 0 ? in.ConsumeIntegral<uint32_t>()
                                                       : in.ConsumeIntegralInRange<uint32_t>(0, 255);
}

void threshold(FuzzedDataProvider& in) {
    const ImageLayout layout = pick_layout(in, pick_planes(in, 3));
    Owned source, destination;
    if (!make_image(layout, source)) return;
    const Dest how = pick_destination(in, false);
    if (how == Dest::kGiven) {
        ImageLayout d = destination_like(in, layout, 1);
        if (in.ConsumeIntegralInRange<int>(0, 7) != 0) d.type = in.ConsumeBool() ? BASE_TYPE_U8 : BASE_TYPE_S8;
        if (!make_image(d, destination)) return;
    }
    const int32_t sourceSpace = pick_space(in);
    const int32_t thresholdSpace = pick_space(in);
    uint32_t bounds[6];
    for (uint32_t& b : bounds) b = pick_bound(in);
    const int32_t mode = in.ConsumeIntegralInRange<int>(0, 15) == 0 ? in.ConsumeIntegral<int32_t>()
                                                                     : in.ConsumeIntegralInRange<int32_t>(0, 3);
    fill_pixels(in, source.get());
    with_destination(how, source, destination, [&](int32_t* dst) {
        COL_Threshold(source.get(), dst, sourceSpace, thresholdSpace, bounds[0], bounds[1],
                      bounds[2], bounds[3], bounds[4], bounds[5], mode);
    });
}

void distance(FuzzedDataProvider& in) {
    ImageLayout layout = pick_layout(in, pick_planes(in, 3));
    if (in.ConsumeIntegralInRange<int>(0, 7) != 0) layout.type = BASE_TYPE_U8;
    Owned source, destination;
    if (!make_image(layout, source)) return;
    const Dest how = pick_destination(in, false);
    if (how == Dest::kGiven) {
        ImageLayout d = destination_like(in, layout, 1);
        if (in.ConsumeIntegralInRange<int>(0, 7) != 0) d.type = BASE_TYPE_U8;
        if (!make_image(d, destination)) return;
    }
    const int32_t colour1 = in.ConsumeIntegral<int32_t>();
    const int32_t colour2 = in.ConsumeIntegral<int32_t>();
    fill_pixels(in, source.get());
    with_destination(how, source, destination, [&](int32_t* dst) {
        COL_CalcColorDistanceImage(source.get(), dst, colour1, colour2);
    });
}

// The handle the host will give out next (handles count up).
int32_t next_handle() {
    int32_t probe = -1;
    if (IPL_BufAlloc(&probe, 1, 1, 1, 1, 1, BASE_TYPE_U8, BASE_KIND_IMAGE, 0) == 0)
        fail("the host cannot allocate one pixel");
    IPL_BufFree(probe);
    return probe;
}

// A failed search leaves the buffers it made so far (its interface says so,
// views of the source included). They are the live handles from `first` up
// to the next one the host gives out, less the destination the caller now
// owns; newest first, so that views go before what they view.
void free_leftovers(int32_t first, int32_t keep) {
    for (int32_t h = next_handle() - 1; h >= first; --h) {
        if (h != keep && BASE_IsBufferExistent(h) != 0 && IPL_BufFree(h) == 0)
            fail("a buffer left by a failed search cannot be freed");
    }
}

uint32_t pick_coordinate(FuzzedDataProvider& in, int32_t side) {
    if (in.ConsumeIntegralInRange<int>(0, 15) == 0) return in.ConsumeIntegral<uint32_t>();
    return in.ConsumeIntegralInRange<uint32_t>(0, uint32_t(side));  // side itself is outside
}

void max_contrast(FuzzedDataProvider& in) {
    ImageLayout layout = pick_layout(in, pick_planes(in, 3));
    if (in.ConsumeIntegralInRange<int>(0, 3) != 0) {
        layout.hasSpace = true;
        layout.space = COL_RGB;
    }
    Owned source, destination;
    if (!make_image(layout, source)) return;
    const Dest how = pick_destination(in, false);
    if (how == Dest::kGiven) {
        ImageLayout d = destination_like(in, layout, 1);
        d.ext2 = d.ext3 = 1;
        if (!make_image(d, destination)) return;
    }
    const uint32_t line[4] = {pick_coordinate(in, layout.width), pick_coordinate(in, layout.height),
                              pick_coordinate(in, layout.width), pick_coordinate(in, layout.height)};
    const uint32_t lineWidth = in.ConsumeIntegralInRange<int>(0, 15) == 0
                                   ? in.ConsumeIntegral<uint32_t>()
                                   : in.ConsumeIntegralInRange<uint32_t>(0, 9);
    const uint32_t filterSize = in.ConsumeIntegralInRange<int>(0, 15) == 0
                                    ? in.ConsumeIntegral<uint32_t>()
                                    : in.ConsumeIntegralInRange<uint32_t>(0, 65);
    std::vector<int32_t> candidates(in.ConsumeIntegralInRange<size_t>(0, 4));
    for (int32_t& code : candidates) {
        // Usually from the source's space, as a caller would ask.
        code = in.ConsumeBool() ? int32_t(COL_CODE(COL_RGB, pick_space(in))) : int32_t(pick_code(in));
    }
    fill_pixels(in, source.get());

    const int32_t first = next_handle();
    int32_t result = 0;
    with_destination(how, source, destination, [&](int32_t* dst) {
        result = COL_GetMaxContrastPlane(source.get(), dst, candidates.data(),
                                         uint32_t(candidates.size()), line, lineWidth, filterSize);
    });
    if (result == 0) free_leftovers(first, destination.get());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    BufferCountCheck leaks;
    RunnerChoice runner(in);
    switch (in.ConsumeIntegralInRange<int>(0, 6)) {
        case 0: weighted(in, true); break;
        case 1: weighted(in, false); break;
        case 2: twist(in); break;
        case 3: spectral(in); break;
        case 4: threshold(in); break;
        case 5: distance(in); break;
        default: max_contrast(in); break;
    }
    return 0;
}
