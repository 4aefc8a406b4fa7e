// Bayer mosaics: the colour module's raw path (COL_ConvertColorSpace from
// Bayer raw to RGB, intensity and YUV, and to the other spaces through the
// driver's own mosaic kernel) with the parity word and correction values of
// the source's record from the input; and the host's demosaic itself
// (CBMConvert over caller memory) with sizes, line padding, parity and
// look-up tables from the input.
//
// What the callee trusts and the target keeps: the host's converter reads
// and writes the caller memory its TIMAGE records describe, so those records
// describe memory that exists (allocated exactly, to the last pixel of the
// last line, so that a read or write past it is caught) and source and
// destination never overlap. Invalid sizes and parities are left in: the
// converter must refuse them by throwing std::invalid_argument.
#include <cstdlib>
#include <stdexcept>

#include <ozu/bayer.h>

#include "fuzz_support.h"

using namespace ozu::fuzz;

namespace {

void colour_module(FuzzedDataProvider& in) {
    static constexpr uint32_t kCodes[] = {
        COL_CODE(COL_BAYER, COL_RGB), COL_CODE(COL_BAYER, COL_I),   COL_CODE(COL_BAYER, COL_YUV),
        COL_CODE(COL_BAYER, COL_HSV), COL_CODE(COL_BAYER, COL_HLS), COL_CODE(COL_BAYER, COL_YCC)};
    const uint32_t code = in.ConsumeIntegralInRange<int>(0, 7) == 0 ? pick_code(in)
                                                                     : in.PickValueInArray(kCodes);
    ImageLayout layout = pick_layout(in, pick_planes(in, 1));
    if (in.ConsumeIntegralInRange<int>(0, 7) != 0)
        layout.type = in.ConsumeBool() ? BASE_TYPE_U8 : BASE_TYPE_S8;
    Owned source, destination;
    if (!make_image(layout, source)) return;

    // The record's parity and correction values are the caller's to write.
    BASE_Buffer* record = BASE_GetAtBuffer(source.get());
    if (record == nullptr) fail("a new buffer has no record");
    if (in.ConsumeBool()) {
        record->bayerParity = in.ConsumeIntegralInRange<int>(0, 7) == 0
                                  ? in.ConsumeIntegral<int32_t>()
                                  : in.ConsumeIntegralInRange<int32_t>(-1, 4);
    }
    if (in.ConsumeBool()) {
        for (double& c : record->colorCorrection) c = pick_double(in, -2.0, 300.0);
    }

    const bool created = in.ConsumeBool();
    if (!created) {
        const bool grey = (code >> 16) == COL_I;
        if (!make_image(destination_like(in, layout, grey ? 1 : 3), destination)) return;
    }
    fill_pixels(in, source.get());
    int32_t target = destination.get();
    COL_ConvertColorSpace(source.get(), &target, code);
    if (created) {
        *destination.slot() = target;
    } else if (target != destination.get()) {
        fail("COL_ConvertColorSpace changed a given destination handle");
    }
}

// Exactly the bytes an image of `lineBytes` per line needs: every line but
// the last in full, the last only to its last pixel.
size_t exact_bytes(int32_t width, int32_t height, int32_t lineBytes, int32_t bytesPerPixel) {
    if (width < 1 || height < 1) return 1;
    return size_t(height - 1) * size_t(lineBytes) + size_t(width) * size_t(bytesPerPixel);
}

// The same demosaic into three exactly sized planes, lines [first, end):
// refused when the image or the range is invalid, otherwise those lines
// hold bytes 0, 1 and 2 of the packed result and every other byte of the
// planes is left alone.
void planes_demosaic(const TIMAGE* raw, bool tables, const double (&lut)[6], int32_t parity,
                     bool valid, const uint8_t* packed, int32_t packedPitch, int32_t pitch,
                     int32_t first, int32_t end) {
    const int32_t width = raw->width, height = raw->height;
    const size_t size = exact_bytes(width, height, pitch, 1);
    uint8_t* memory[3];
    TIMAGE images[3];
    for (int c = 0; c < 3; ++c) {
        memory[c] = static_cast<uint8_t*>(std::malloc(size));
        if (memory[c] == nullptr) fail("out of memory");
        std::memset(memory[c], 0xA5, size);
        images[c] = TIMAGE{memory[c], width, height, pitch, 8, 0};
    }
    TIMAGE* const planes[3] = {&images[0], &images[1], &images[2]};
    bool refused = false;
    try {
        CBMConvert converter;
        converter.SetParity(parity);
        if (tables) converter.SetupLUTs(lut[0], lut[1], lut[2], lut[3], lut[4], lut[5]);
        converter.RawToPlanes8(raw, planes, first, end);
    } catch (const std::invalid_argument&) {
        refused = true;
    }
    const bool inRange = valid && first >= 0 && end <= height && first <= end;
    if (inRange && refused) fail("the planar converter refused a valid image and range");
    if (!inRange && !refused) fail("the planar converter accepted an invalid image or range");
    for (int c = 0; c < 3 && inRange; ++c) {
        for (size_t k = 0; k < size; ++k) {
            const size_t y = k / size_t(pitch), x = k % size_t(pitch);
            const bool written = y >= size_t(first) && y < size_t(end) && x < size_t(width);
            const uint8_t want =
                written ? packed[y * size_t(packedPitch) + 4 * x + size_t(c)] : uint8_t(0xA5);
            if (memory[c][k] != want) fail("the planes differ from the packed demosaic");
        }
    }
    for (uint8_t* m : memory) std::free(m);
}

void host_demosaic(FuzzedDataProvider& in) {
    // Sizes below 2 are invalid and must be refused; everything else is kept
    // small.
    const int32_t width = in.ConsumeIntegralInRange<int32_t>(0, 48);
    const int32_t height = in.ConsumeIntegralInRange<int32_t>(0, 48);
    const bool rgb = in.ConsumeBool();
    const int32_t outBytes = rgb ? 4 : 1;
    const int32_t rawPitch = width + in.ConsumeIntegralInRange<int32_t>(0, 9);
    const int32_t outPitch = width * outBytes + in.ConsumeIntegralInRange<int32_t>(0, 9);
    const int32_t parity = in.ConsumeIntegralInRange<int>(0, 7) == 0
                               ? in.ConsumeIntegral<int32_t>()
                               : in.ConsumeIntegralInRange<int32_t>(0, 3);
    const bool tables = in.ConsumeBool();
    double lut[6];
    for (double& v : lut) v = pick_double(in, -300.0, 300.0);
    // The planar form converts a range of lines, valid or not.
    const int32_t rangeFirst = in.ConsumeIntegralInRange<int32_t>(-1, 49);
    const int32_t rangeEnd = in.ConsumeIntegralInRange<int32_t>(-1, 49);
    const int32_t planePitch = width + in.ConsumeIntegralInRange<int32_t>(0, 9);

    // Heap blocks of exactly the described size: a read past the last pixel
    // is caught. Only the pixel bytes come from the input; the padding
    // between lines is a marker the converter must leave alone.
    const size_t rawSize = exact_bytes(width, height, rawPitch, 1);
    const size_t outSize = exact_bytes(width, height, outPitch, outBytes);
    auto* raw = static_cast<uint8_t*>(std::malloc(rawSize));
    auto* out = static_cast<uint8_t*>(std::malloc(outSize));
    if (raw == nullptr || out == nullptr) fail("out of memory");
    std::memset(raw, 0, rawSize);
    std::memset(out, 0xA5, outSize);
    const std::vector<uint8_t> pixels = in.ConsumeRemainingBytes<uint8_t>();
    for (size_t k = 0, y = 0; width > 0 && y < size_t(height) && k < pixels.size(); ++y) {
        const size_t n = std::min(size_t(width), pixels.size() - k);
        std::memcpy(raw + y * size_t(rawPitch), pixels.data() + k, n);
        k += n;
    }

    // The records are the holders' from here on; the pixels stay ours.
    CLPIMAGE rawImage(static_cast<TIMAGE*>(std::calloc(1, sizeof(TIMAGE))));
    CLPIMAGE outImage(static_cast<TIMAGE*>(std::calloc(1, sizeof(TIMAGE))));
    const int32_t rawSet = rawImage.setImage(raw, width, height, rawPitch, 8, 0);
    const int32_t outSet = outImage.setImage(out, width, height, outPitch, outBytes * 8, 0);
    if ((width < 1 || height < 1) != (rawSet == CLPIMAGE::kBadSize))
        fail("setImage judged a size wrongly");

    bool refused = false;
    try {
        CBMConvert converter;
        converter.SetParity(parity);
        if (tables) converter.SetupLUTs(lut[0], lut[1], lut[2], lut[3], lut[4], lut[5]);
        if (rgb)
            converter.RawToRGB32(rawImage.lpi(), outImage.lpi());
        else
            converter.RawToMono8(rawImage.lpi(), outImage.lpi());
    } catch (const std::invalid_argument&) {
        refused = true;
    }
    const bool valid = width >= 2 && height >= 2 && uint32_t(parity) <= 3u && rawSet == 0 &&
                       outSet == 0;
    if (valid && refused) fail("the converter refused a valid image");
    if (!valid && !refused) fail("the converter accepted an invalid image or parity");
    if (valid) {
        // Bytes between one line's end and the next line stay as they were.
        for (int32_t y = 0; y + 1 < height; ++y) {
            for (int32_t k = width * outBytes; k < outPitch; ++k) {
                if (out[size_t(y) * size_t(outPitch) + size_t(k)] != 0xA5)
                    fail("the converter wrote into a line's padding");
            }
        }
    }
    if (rgb) planes_demosaic(rawImage.lpi(), tables, lut, parity, valid, out, outPitch,
                             planePitch, rangeFirst, rangeEnd);
    rawImage.free_lpi();
    outImage.free_lpi();
    std::free(raw);
    std::free(out);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    BufferCountCheck leaks;
    RunnerChoice runner(in);
    if (in.ConsumeBool())
        colour_module(in);
    else
        host_demosaic(in);
    return 0;
}
